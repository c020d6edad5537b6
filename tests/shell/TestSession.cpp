#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"

#include "platform/QtPrompter.h"
#include "server/ConfigureWindow.h"
#include "services/Session.h"

#include <QApplication>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSqlDatabase>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

// One session per operation: the open, the connection-error dialog with its
// repair and give-up paths, quiet opens and statement failures.
class TestSession : public QObject
{
    Q_OBJECT

    static inline const QString Unreachable = u"Provider=SQLite;Data Source=/nonexistent/accounts.db"_s;

private slots:
    void sessionOfOneOperation_data() { addEngineRows(); }
    void sessionOfOneOperation()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        QTest::failOnWarning(QRegularExpression(u"still in use"_s));
        const qsizetype connections = QSqlDatabase::connectionNames().size();
        program.env.prompter.answerMessage(prompt::Answer::Ok, u"The database specified may have incorrect tables or be missing.\r\n"
                                                               "Please check your database and your connection string."_s);
        {
            Session session(program.env.context);
            QVERIFY(session.open());
            // A failed statement shows the database message, logs the engine's text, and the session goes on.
            QVERIFY(!session.execute(u"UPDATE no_such_table SET x=1"_s));
            const QString lastLine = program.env.log.lines().back();
            QVERIFY2(lastLine.contains(u"database error: "_s) && lastLine.contains(u"no_such_table"_s), qPrintable(lastLine));
            Rows rows = session.select(u"select username from users"_s);
            QVERIFY(rows.isValid());
            session.close(); // while the rows are still held
            QVERIFY(!session.isOpen());
        }
        QCOMPARE(QSqlDatabase::connectionNames().size(), connections);
        QVERIFY(program.env.log.contains(u"attempt to open database"_s));
        QCOMPARE(program.env.prompter.records().size(), 1);
        QCOMPARE(program.env.prompter.records()[0].icon, prompt::Icon::Exclamation);

        // Each operation reads the stored string anew; a quiet open that fails shows nothing and ends nothing.
        program.env.settings.saveConnectionString(Unreachable);
        QVERIFY(!Session(program.env.context).open(Session::Feedback::Quiet));
        QCOMPARE(program.env.prompter.records().size(), 1);
        QVERIFY(!program.env.process.hasEnded());
        program.env.settings.saveConnectionString(db->connectionString());
        QVERIFY(Session(program.env.context).open(Session::Feedback::Quiet));
    }

    // No ends the program with the critical message; Yes shows the configuration window with the
    // tag "CDB", where Cancel ends it too and a commit lets the next operation work.
    void connectionErrorDialog_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::newRow("No") << "No";
        QTest::newRow("Yes, then Cancel") << "cmdCancel";
        QTest::newRow("Yes, then a commit") << "cmdCommitChanges";
    }
    void connectionErrorDialog()
    {
        QFETCH(QString, answer);
        ProgramUnderTest program;
        program.configure();
        const QString working = program.env.settings.readConnectionString();
        QVERIFY(QFile(program.env.path(u"servu/ServUDaemon.ini"_s)).open(QIODevice::WriteOnly));
        program.env.tray.add(TrayPicture::Blue, u"Quillmere"_s);
        program.env.settings.saveConnectionString(Unreachable);
        QString tagWhileShown;
        bool timerOn = false;
        program.env.prompter.answerMessage(answer == u"No" ? prompt::Answer::No : prompt::Answer::Yes,
                                           u"Would you like to verify your connection string settings now?"_s);
        if (answer != u"No")
            program.env.prompter.onModal(u"frmConfigure"_s, [&](QWidget* window) {
                tagWhileShown = static_cast<ConfigureWindow*>(window)->tag();
                timerOn = static_cast<ConfigureWindow*>(window)->isCommitTimerActive();
                window->findChild<QPlainTextEdit*>(u"txtConnectionString"_s)->setPlainText(working);
                if (answer == u"cmdCommitChanges") {
                    window->findChild<QLineEdit*>(u"txtServuPath"_s)->setText(program.env.path(u"servu"_s));
                    window->findChild<QLineEdit*>(u"txtFTPdirectory"_s)->setText(program.env.path(u"ftp"_s));
                    program.env.prompter.answerMessage(prompt::Answer::Ok, u"You must restart the Serv-U server"_s);
                }
                QTest::mouseClick(window->findChild<QPushButton*>(answer), Qt::LeftButton);
            });
        if (answer != u"cmdCommitChanges")
            program.env.prompter.answerMessage(prompt::Answer::Ok, u"We could not connect to the database specified."_s);
        // The operation that asked is abandoned either way.
        QVERIFY(!Session(program.env.context).open());
        QCOMPARE(program.env.prompter.unusedSteps(), 0);

        const PromptRecord question = program.env.prompter.messages().value(0);
        QCOMPARE(question.caption, u"Vantrel"_s);
        QCOMPARE(question.icon, prompt::Icon::Exclamation);
        QCOMPARE(question.buttons, prompt::Buttons::YesNo);
        QVERIFY(question.text.startsWith(u"There was an error connecting to the database. The list below contains possible cause:\r\n\r\n"
                                         "    \u00B7 Connection string has an incorrect path\r\n"_s));
        QCOMPARE(tagWhileShown, answer == u"No" ? QString() : u"CDB"_s);
        QCOMPARE(timerOn, answer != u"No");
        if (answer == u"cmdCommitChanges") {
            QCOMPARE(program.windows.configure().tag(), QString());
            QVERIFY(!program.env.process.hasEnded());
            QVERIFY(Session(program.env.context).open());
            return;
        }
        QCOMPARE(program.env.prompter.messages().constLast().caption, u"Quillmere CRITICAL ERROR"_s);
        QCOMPARE(program.env.prompter.messages().constLast().icon, prompt::Icon::Critical);
        QCOMPARE(program.env.tray.current(), TrayPicture::Red);
        QVERIFY(!program.env.tray.isAdded());
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
    }

    // The real message box: Escape and its close box do not give up; the box stays for an answer.
    void escapeAndTheCloseBoxDoNotGiveUp_data()
    {
        QTest::addColumn<bool>("escape");
        QTest::newRow("Escape") << true;
        QTest::newRow("close box") << false;
    }
    void escapeAndTheCloseBoxDoNotGiveUp()
    {
        QFETCH(bool, escape);
        ProgramUnderTest program;
        TestEnvironment& env = program.env;
        env.tray.add(TrayPicture::Blue, u"Quillmere"_s);
        env.settings.saveConnectionString(Unreachable);
        QtPrompter realBoxes;
        AppContext context(env.settings, env.dates, realBoxes, env.log, env.clock, env.tray, env.starter, env.process, env.instanceLock,
                           env.keys, env.programDir());
        // The administrator tries to get rid of the box, then looks again: if it is still there,
        // answers Yes; any other box is closed.
        QPointer<QMessageBox> box;
        bool stayed = false;
        QTimer administrator;
        administrator.setInterval(10);
        connect(&administrator, &QTimer::timeout, &administrator, [&] {
            auto* shown = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!shown)
                return;
            if (!box) {
                box = shown;
                return escape ? QTest::keyClick(box->focusWidget() ? box->focusWidget() : box.data(), Qt::Key_Escape) : void(box->close());
            }
            stayed = shown == box && box->isVisible();
            if (stayed)
                box->button(QMessageBox::Yes)->click();
            else
                shown->close();
            administrator.stop();
        });
        administrator.start();
        QVERIFY(!Session(context).open());
        QVERIFY(stayed);
        QVERIFY(!env.process.hasEnded());
        QCOMPARE(env.tray.current(), TrayPicture::Blue);
    }
};

QUILLMERE_TEST(TestSession)
#include "TestSession.moc"
