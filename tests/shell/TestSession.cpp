#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"

#include "platform/QtPrompter.h"
#include "server/ConfigureWindow.h"
#include "shell/Session.h"

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
        const int before = static_cast<int>(QSqlDatabase::connectionNames().size());
        program.env.prompter.answerMessage(prompt::Answer::Ok);
        {
            Session session(program.env.context);
            QVERIFY(session.open());
            // A failed statement shows the database message, logs the engine's text, and the session goes on.
            QVERIFY(!session.execute(u"UPDATE no_such_table SET x=1"_s));
            const QString lastLine = program.env.log.lines().back();
            QVERIFY2(lastLine.contains(u"database error: "_s) && lastLine.contains(u"no_such_table"_s), qPrintable(lastLine));
            Rows rows = session.select(u"select username from users"_s);
            QVERIFY(rows.isValid());
            // The rows are still held when the session closes.
            session.close();
            QVERIFY(!session.isOpen());
        }
        QCOMPARE(static_cast<int>(QSqlDatabase::connectionNames().size()), before);
        QVERIFY(program.env.log.contains(u"attempt to open database"_s));
        const auto messages = program.env.prompter.messages();
        QCOMPARE(messages.size(), 1);
        QCOMPARE(messages[0].text, u"The database specified may have incorrect tables or be missing.\r\n"
                                   "Please check your database and your connection string."_s);
        QCOMPARE(messages[0].icon, prompt::Icon::Exclamation);
        QCOMPARE(messages[0].caption, u"Vantrel"_s);

        // Each operation reads the stored string anew; a quiet open that fails shows nothing and ends nothing.
        program.env.prompter.reset();
        program.env.settings.saveConnectionString(Unreachable);
        QVERIFY(!Session(program.env.context).open(Session::Feedback::Quiet));
        QVERIFY(program.env.prompter.records().isEmpty());
        QVERIFY(!program.env.process.hasEnded());
        program.env.settings.saveConnectionString(db->connectionString());
        QVERIFY(Session(program.env.context).open(Session::Feedback::Quiet));
    }

    void givingUpEndsWithTheCriticalMessage_data()
    {
        QTest::addColumn<bool>("repair");
        QTest::newRow("No") << false;
        QTest::newRow("Yes, then Cancel in the configuration window") << true;
    }
    void givingUpEndsWithTheCriticalMessage()
    {
        QFETCH(bool, repair);
        ProgramUnderTest program;
        program.env.tray.add(TrayPicture::Blue, u"Quillmere"_s);
        program.env.settings.saveConnectionString(Unreachable);
        QString tagWhileShown;
        bool timerOn = false;
        program.env.prompter.answerMessage(repair ? prompt::Answer::Yes : prompt::Answer::No);
        if (repair)
            program.env.prompter.onModal(u"frmConfigure"_s, [&](QWidget* window) {
                tagWhileShown = static_cast<ConfigureWindow*>(window)->tag();
                timerOn = static_cast<ConfigureWindow*>(window)->isCommitTimerActive();
                QTest::mouseClick(window->findChild<QPushButton*>(u"cmdCancel"_s), Qt::LeftButton);
            });
        program.env.prompter.answerMessage(prompt::Answer::Ok, u"We could not connect to the database specified."_s);
        QVERIFY(!Session(program.env.context).open());
        QCOMPARE(program.env.prompter.unusedSteps(), 0);

        const auto messages = program.env.prompter.messages();
        QCOMPARE(messages[0].caption, u"Vantrel"_s);
        QCOMPARE(messages[0].icon, prompt::Icon::Exclamation);
        QCOMPARE(messages[0].buttons, prompt::Buttons::YesNo);
        QCOMPARE(messages[0].text,
                 u"There was an error connecting to the database. The list below contains possible cause:\r\n\r\n"
                 "    \u00B7 Connection string has an incorrect path\r\n    \u00B7 The database is locked\r\n"
                 "    \u00B7 You do not have rights\r\n    \u00B7 The connection might be slow\r\n\r\n"
                 "Would you like to verify your connection string settings now?\r\n"_s);
        QCOMPARE(messages[1].caption, u"Quillmere CRITICAL ERROR"_s);
        QCOMPARE(messages[1].icon, prompt::Icon::Critical);
        QCOMPARE(tagWhileShown, repair ? u"CDB"_s : QString());
        QCOMPARE(timerOn, repair);
        QCOMPARE(program.env.tray.current(), TrayPicture::Red);
        QVERIFY(!program.env.tray.isAdded());
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
    }

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

        // The administrator tries to get rid of the box, then looks again: if it is
        // still there, answers Yes; any other box is closed.
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
                if (escape)
                    QTest::keyClick(box->focusWidget() ? box->focusWidget() : box.data(), Qt::Key_Escape);
                else
                    box->close();
                return;
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

    void repairThenCommitLetsTheNextOperationSucceed()
    {
        ProgramUnderTest program;
        program.configure();
        const QString working = program.env.settings.readConnectionString();
        const QString servu = program.env.path(u"servu"_s);
        QVERIFY(QFile(servu + u"/ServUDaemon.ini"_s).open(QIODevice::WriteOnly));
        program.env.settings.saveConnectionString(Unreachable);
        program.env.prompter.answerMessage(prompt::Answer::Yes, u"There was an error connecting"_s)
            .onModal(u"frmConfigure"_s, [&](QWidget* window) {
                window->findChild<QLineEdit*>(u"txtServuPath"_s)->setText(servu);
                window->findChild<QLineEdit*>(u"txtFTPdirectory"_s)->setText(program.env.path(u"ftp"_s));
                window->findChild<QPlainTextEdit*>(u"txtConnectionString"_s)->setPlainText(working);
                program.env.prompter.answerMessage(prompt::Answer::Ok, u"You must restart the Serv-U server"_s);
                QTest::mouseClick(window->findChild<QPushButton*>(u"cmdCommitChanges"_s), Qt::LeftButton);
            });
        // The operation that asked is abandoned; the next one works with what was committed.
        QVERIFY(!Session(program.env.context).open());
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
        QCOMPARE(program.windows.configure().tag(), QString());
        QVERIFY(!program.env.process.hasEnded());
        QVERIFY(Session(program.env.context).open());
    }
};

QUILLMERE_TEST(TestSession)
#include "TestSession.moc"
