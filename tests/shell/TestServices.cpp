#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestDoubles.h"
#include "TestMain.h"

#include "app/StatusWindow.h"
#include "platform/QtPrompter.h"
#include "server/ConfigureWindow.h"
#include "services/Session.h"
#include "services/StatusLog.h"

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

// The services every window uses: one session per operation with the connection-error
// dialog's repair and give-up paths, and the status log and its window. (The launchers'
// tests write the carried files.)
class TestServices : public QObject
{
    Q_OBJECT

    static inline const QString Unreachable = u"Provider=SQLite;Data Source=/nonexistent/accounts.db"_s;

private slots:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void sessionOfOneOperation_data() { addEngineRows(); }
    void sessionOfOneOperation()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        QTest::failOnWarning(QRegularExpression(u"still in use"_s));
        const qsizetype connections = QSqlDatabase::connectionNames().size();
        program.env.prompter.answerMessage(prompt::Answer::Ok, u"The database specified may have incorrect tables or be missing."_s);
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
        QCOMPARE(program.env.prompter.unusedSteps(), 0);

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
                                           u"There was an error connecting to the database."_s);
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
        QCOMPARE(tagWhileShown, answer == u"No" ? QString() : u"CDB"_s);
        QCOMPARE(timerOn, answer != u"No");
        if (answer == u"cmdCommitChanges") {
            QCOMPARE(program.windows.configure().tag(), QString());
            QVERIFY(!program.env.process.hasEnded());
            QVERIFY(Session(program.env.context).open());
            return;
        }
        QCOMPARE(program.env.prompter.messages().constLast().icon, prompt::Icon::Critical);
        QVERIFY(program.env.tray.current() == TrayPicture::Red && !program.env.tray.isAdded());
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

    // Each line has the date in the installation's form and the locale's time; the newest ten thousand
    // stay, and the window shows the lines from before it opened and after.
    void statusLogLinesAndWindow()
    {
        QLocale::setDefault(QLocale(u"en_US"_s));
        FixedClock clock(QDateTime(QDate(2026, 11, 22), QTime(9, 30, 15)));
        DateForm dates(u"M/d/yyyy"_s);
        StatusLog log(clock, dates);
        log.logStatus(u"attempt to open database"_s);
        QCOMPARE(log.text(), u"Log File\r\n11/22/2026 9:30 AM:  attempt to open database\r\n"_s);
        StatusWindow window(log);
        QLocale::setDefault(QLocale(u"de_DE"_s));
        clock.setNow(QDateTime(QDate(2027, 1, 5), QTime(17, 4)));
        log.logStatus(u"close database"_s);
        QCOMPARE(log.lines().back(), u"1/5/2027 17:04:  close database"_s);
        QCOMPARE(window.findChild<QPlainTextEdit*>(u"txtLog"_s)->toPlainText(), u"Log File\n"_s + log.lines()[1] + u'\n' + log.lines()[2]);
        // A change of the form shows in the next line; only whole messages are found.
        dates = DateForm(u"dd.MM.yyyy"_s);
        log.logStatus(u"save data"_s);
        QCOMPARE(log.lines().back(), u"05.01.2027 17:04:  save data"_s);
        QVERIFY(log.contains(u"close database"_s) && !log.contains(u"close"_s));

        for (int i = 1; i <= StatusLog::MaxLines + 5; ++i)
            log.logStatus(QString::number(i));
        QCOMPARE(static_cast<int>(log.lines().size()), StatusLog::MaxLines);
        QVERIFY(log.lines().front().endsWith(u":  6"_s));
    }

};

QUILLMERE_TEST(TestServices)
#include "TestServices.moc"
