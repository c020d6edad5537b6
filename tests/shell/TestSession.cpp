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

// One session per operation: the open, the connection-error dialog with its
// repair and give-up paths, quiet opens and statement failures.
class TestSession : public QObject
{
    Q_OBJECT

    static const QString& unreachable()
    {
        static const QString text = QStringLiteral("Provider=SQLite;Data Source=/nonexistent/accounts.db");
        return text;
    }

private slots:
    void opensAndClosesWithoutLeavingConnections_data() { addEngineRows(); }
    void opensAndClosesWithoutLeavingConnections()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        QTest::failOnWarning(QRegularExpression(QStringLiteral("still in use")));
        const int before = static_cast<int>(QSqlDatabase::connectionNames().size());
        {
            Session session(program.env.context);
            QVERIFY(session.open());
            Rows rows = session.select(QStringLiteral("select username from users"));
            QVERIFY(rows.isValid());
            // The rows are still held when the session closes.
            session.close();
            QVERIFY(!session.isOpen());
        }
        QCOMPARE(static_cast<int>(QSqlDatabase::connectionNames().size()), before);
        QVERIFY(program.env.log.contains(QStringLiteral("attempt to open database")));
        QVERIFY(program.env.prompter.records().isEmpty());
    }

    void quietOpenThatFailsShowsNothing()
    {
        ProgramUnderTest program;
        program.env.settings.saveConnectionString(unreachable());
        Session session(program.env.context);
        QVERIFY(!session.open(Session::Feedback::Quiet));
        QVERIFY(program.env.prompter.records().isEmpty());
        QVERIFY(!program.env.process.hasEnded());
    }

    void givingUpEndsWithTheCriticalMessage()
    {
        ProgramUnderTest program;
        program.env.tray.add(TrayPicture::Blue, QStringLiteral("Quillmere"));
        program.env.settings.saveConnectionString(unreachable());
        TrayPicture trayAtCriticalMessage = TrayPicture::None;
        program.env.prompter.answerMessage(prompt::Answer::No);
        program.env.prompter.answerMessage(prompt::Answer::Ok);
        Session session(program.env.context);
        QVERIFY(!session.open());
        trayAtCriticalMessage = program.env.tray.current();

        const auto messages = program.env.prompter.messages();
        QCOMPARE(messages.size(), 2);
        QCOMPARE(messages[0].caption, QStringLiteral("Vantrel"));
        QCOMPARE(messages[0].icon, prompt::Icon::Exclamation);
        QCOMPARE(messages[0].buttons, prompt::Buttons::YesNo);
        QCOMPARE(messages[0].text,
                 QStringLiteral("There was an error connecting to the database. The list below contains possible cause:\r\n\r\n"
                                "    \u00B7 Connection string has an incorrect path\r\n    \u00B7 The database is locked\r\n"
                                "    \u00B7 You do not have rights\r\n    \u00B7 The connection might be slow\r\n\r\n"
                                "Would you like to verify your connection string settings now?\r\n"));
        QCOMPARE(messages[1].caption, QStringLiteral("Quillmere CRITICAL ERROR"));
        QCOMPARE(messages[1].icon, prompt::Icon::Critical);
        QCOMPARE(trayAtCriticalMessage, TrayPicture::Red);
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
        env.tray.add(TrayPicture::Blue, QStringLiteral("Quillmere"));
        env.settings.saveConnectionString(unreachable());
        QtPrompter realBoxes;
        AppContext context(env.settings, env.dates, realBoxes, env.log, env.clock, env.tray, env.starter, env.process,
                           env.instanceLock, env.keys, env.programDir());

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

    void repairThenCancelEndsTheProgram()
    {
        ProgramUnderTest program;
        program.env.tray.add(TrayPicture::Blue, QStringLiteral("Quillmere"));
        program.env.settings.saveConnectionString(unreachable());
        QString tagWhileShown;
        bool timerOn = false;
        program.env.prompter.answerMessage(prompt::Answer::Yes, QStringLiteral("There was an error connecting"))
            .onModal(QStringLiteral("frmConfigure"), [&](QWidget* window) {
                auto* configure = static_cast<ConfigureWindow*>(window);
                tagWhileShown = configure->tag();
                timerOn = configure->isCommitTimerActive();
                QTest::mouseClick(window->findChild<QPushButton*>(QStringLiteral("cmdCancel")), Qt::LeftButton);
            })
            .answerMessage(prompt::Answer::Ok, QStringLiteral("We could not connect to the database specified."));
        Session session(program.env.context);
        QVERIFY(!session.open());
        QCOMPARE(tagWhileShown, QStringLiteral("CDB"));
        QVERIFY(timerOn);
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QCOMPARE(program.env.tray.current(), TrayPicture::Red);
        QVERIFY(!program.env.tray.isAdded());
    }

    void repairThenCommitLetsTheNextOperationSucceed()
    {
        ProgramUnderTest program;
        program.configure();
        const QString working = program.env.settings.readConnectionString();
        const QString servu = program.env.path(QStringLiteral("servu"));
        QFile ini(servu + QStringLiteral("/ServUDaemon.ini"));
        QVERIFY(ini.open(QIODevice::WriteOnly));
        ini.close();
        program.env.settings.saveConnectionString(unreachable());
        program.env.prompter.answerMessage(prompt::Answer::Yes, QStringLiteral("There was an error connecting"))
            .onModal(QStringLiteral("frmConfigure"), [&](QWidget* window) {
                window->findChild<QLineEdit*>(QStringLiteral("txtServuPath"))->setText(servu);
                window->findChild<QLineEdit*>(QStringLiteral("txtFTPdirectory"))->setText(program.env.path(QStringLiteral("ftp")));
                window->findChild<QPlainTextEdit*>(QStringLiteral("txtConnectionString"))->setPlainText(working);
                program.env.prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("You must restart the Serv-U server"));
                QTest::mouseClick(window->findChild<QPushButton*>(QStringLiteral("cmdCommitChanges")), Qt::LeftButton);
            });
        // The operation that asked is abandoned; the next one works with what was committed.
        QVERIFY(!Session(program.env.context).open());
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
        QCOMPARE(program.windows.configure().tag(), QString());
        QVERIFY(!program.env.process.hasEnded());
        QVERIFY(Session(program.env.context).open());
    }

    void failedStatementIsReportedWithTheEngineText_data() { addEngineRows(); }
    void failedStatementIsReportedWithTheEngineText()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        program.env.prompter.answerMessage(prompt::Answer::Ok);
        Session session(program.env.context);
        QVERIFY(session.open());
        QVERIFY(!session.execute(QStringLiteral("UPDATE no_such_table SET x=1")));
        const auto messages = program.env.prompter.messages();
        QCOMPARE(messages.size(), 1);
        QCOMPARE(messages[0].text, QStringLiteral("The database specified may have incorrect tables or be missing.\r\n"
                                                  "Please check your database and your connection string."));
        QCOMPARE(messages[0].icon, prompt::Icon::Exclamation);
        QCOMPARE(messages[0].caption, QStringLiteral("Vantrel"));
        const QString lastLine = program.env.log.lines().back();
        QVERIFY2(lastLine.contains(QStringLiteral("database error: ")) && lastLine.contains(QStringLiteral("no_such_table")),
                 qPrintable(lastLine));
        // The session stays usable for the next statement.
        QVERIFY(session.select(QStringLiteral("select username from users")).isValid());
    }

    void eachOperationReadsTheStoredStringAnew_data() { addEngineRows(); }
    void eachOperationReadsTheStoredStringAnew()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        const QString working = db->connectionString();
        program.env.settings.saveConnectionString(unreachable());
        QVERIFY(!Session(program.env.context).open(Session::Feedback::Quiet));
        program.env.settings.saveConnectionString(working);
        QVERIFY(Session(program.env.context).open(Session::Feedback::Quiet));
    }
};

QUILLMERE_TEST(TestSession)
#include "TestSession.moc"
