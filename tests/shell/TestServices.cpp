#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestDoubles.h"
#include "TestMain.h"

#include "app/StatusWindow.h"
#include "platform/QtPrompter.h"
#include "db/SqlText.h"
#include "platform/DateForm.h"
#include "server/ConfigureWindow.h"
#include "services/AccountSweep.h"
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

#include <optional>

using namespace Qt::StringLiterals;

// The services every window uses: one session per operation with the connection-error
// dialog's repair and give-up paths, the status log and its window, and the daily sweep
// and the start-up lower-casing on every engine. (The launchers' tests write the carried
// files.)
class TestServices : public QObject
{
    Q_OBJECT

    static inline const QString Unreachable = u"Provider=SQLite;Data Source=/nonexistent/accounts.db"_s;

    // An account with a row in each table the sweep deletes from; a missing date is NULL.
    static void addUser(TestDatabase& db, const QString& name, std::optional<QString> expires, std::optional<QString> disableOn)
    {
        const auto optional = [](const std::optional<QString>& text) { return text ? sqlQuote(*text) : u"NULL"_s; };
        db.exec(u"INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, quota_current, disable_user, Expires, "
                "DisableOn) VALUES (%1, 'c:\\ftp', 'pw', 1, 1, 0, 0, %2, %3)"_s.arg(sqlQuote(name), optional(expires), optional(disableOn)));
        for (const QString& child : {u"dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES (%1, 'c:\\ftp', 'RL', 1)"_s,
                                     u"file_rights (username, filename, file_rights) VALUES (%1, 'a.txt', 'R')"_s,
                                     u"ratio_free_files (username, filename) VALUES (%1, 'a.txt')"_s,
                                     u"blocked_ips_by_user (username, ip) VALUES (%1, '10.0.0.1')"_s})
            db.exec(u"INSERT INTO "_s + child.arg(sqlQuote(name)));
    }

    static int rowsOf(TestDatabase& db, const QString& name)
    {
        int total = 0;
        for (const char* table : {"users", "dir_rights", "file_rights", "ratio_free_files", "blocked_ips_by_user"})
            total += db.count(u"select username from %1 where username=%2"_s.arg(QLatin1String(table), sqlQuote(name)));
        return total;
    }

private slots:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    // A session closed while its rows are still held leaves no connection behind and no warning. (The sweep's
    // and the first run's tests reach a failed statement and a quiet open that fails.)
    void sessionClosedWhileItsRowsAreHeld_data() { addEngineRows(); }
    void sessionClosedWhileItsRowsAreHeld()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        QTest::failOnWarning(QRegularExpression(u"still in use"_s));
        const qsizetype connections = QSqlDatabase::connectionNames().size();
        {
            Session session(program.env.context);
            QVERIFY(session.open());
            Rows rows = session.select(u"select username from users"_s);
            QVERIFY(rows.isValid());
            session.close();
            QVERIFY(!session.isOpen());
        }
        QCOMPARE(QSqlDatabase::connectionNames().size(), connections);
    }

    // Yes shows the configuration window with the tag "CDB", where Cancel ends the program with the
    // critical message and a commit lets the next operation work. (The first run's test answers No.)
    void connectionErrorDialog_data()
    {
        QTest::addColumn<QString>("answer");
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
        program.env.prompter.answerMessage(prompt::Answer::Yes, u"There was an error connecting to the database."_s);
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
        QVERIFY(tagWhileShown == u"CDB" && timerOn);
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
        TestEnvironment env;
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
        QVERIFY(stayed && !env.process.hasEnded());
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
        dates = DateForm(u"dd.MM.yyyy"_s); // a change of the form shows in the next line
        log.logStatus(u"close database"_s);
        QCOMPARE(window.findChild<QPlainTextEdit*>(u"txtLog"_s)->toPlainText(),
                 u"Log File\n11/22/2026 9:30 AM:  attempt to open database\n05.01.2027 17:04:  close database"_s);
        QVERIFY(log.contains(u"close database"_s) && !log.contains(u"close"_s));

        for (int i = 1; i <= StatusLog::MaxLines + 5; ++i)
            log.logStatus(QString::number(i));
        QCOMPARE(static_cast<int>(log.lines().size()), StatusLog::MaxLines);
        QVERIFY(log.lines().front().endsWith(u":  6"_s));
    }

    // Expired accounts go with all their rows, disable-due ones are switched off once, and nothing goes before
    // its day: the dates are read in the installation's form, whatever locale the sweep's process runs under.
    void accountsGoOnTheirDayAndNotBefore_data()
    {
        // The dates were written under the first locale; the sweep runs under the second (ssh, sudo, cron).
        QTest::addColumn<TestEngine>("engine");
        QTest::addColumn<QString>("installedUnder");
        QTest::addColumn<QString>("locale");
        QTest::newRow("sqlite") << TestEngine::Sqlite << "en_US" << "en_US";
        QTest::newRow("postgresql") << TestEngine::PostgreSql << "en_US" << "en_US";
        QTest::newRow("en_GB form, en_US process") << TestEngine::Sqlite << "en_GB" << "en_US";
        QTest::newRow("C form, de_DE process") << TestEngine::Sqlite << "C" << "de_DE";
    }
    void accountsGoOnTheirDayAndNotBefore()
    {
        QFETCH(QString, installedUnder);
        QFETCH(QString, locale);
        QLocale::setDefault(QLocale(installedUnder));
        ProgramUnderTest program;
        program.env.clock.setNow(QDateTime(QDate(2026, 11, 22), QTime(8, 0)));
        QUILLMERE_OPEN_DATABASE(db, program.env);
        // A date "yyyy-MM-dd" is written in the installation's form, "yy:yyyy-MM-dd" with a two-digit year.
        const auto stored = [&program](const char* text) -> std::optional<QString> {
            const QString given = QString::fromLatin1(text);
            const bool shortYear = given.startsWith(u"yy:");
            const QDate date = QDate::fromString(given.mid(shortYear ? 3 : 0), Qt::ISODate);
            const DateForm form(shortYear ? program.env.dates.pattern().replace(u"yyyy"_s, u"yy"_s) : program.env.dates.pattern());
            return text ? std::optional(date.isValid() ? form.format(date) : given) : std::nullopt;
        };
        struct Account { const char* name; const char* expires; const char* disableOn; int rows; bool disabled; };
        const Account accounts[] = {
            {"today", "2026-11-22", nullptr, 0, false},
            {"o'hara", "2026-01-05", nullptr, 0, false},
            {"both", "2026-11-01", "2026-11-01", 0, false},
            {"tomorrow", "2026-11-23", nullptr, 5, false},
            {"sorts-before", "2027-10-05", nullptr, 5, false}, // before today's text as text in some forms, but a date next year
            {"short-future", "yy:2027-03-07", nullptr, 5, false}, // two-digit years belong to the century around today
            {"short-past", "yy:2026-03-07", nullptr, 0, false},
            {"last-century", "yy:1999-12-01", nullptr, 0, false},
            {"no-date", nullptr, nullptr, 5, false},
            {"empty", "", "", 5, false},
            {"word", "soon", nullptr, 5, false},
            {"due", nullptr, "2026-11-22", 5, true},
            {"odd", nullptr, "31/31/31", 5, false},
        };
        for (const Account& account : accounts)
            addUser(*db, QLatin1String(account.name), stored(account.expires), stored(account.disableOn));

        QLocale::setDefault(QLocale(locale));
        program.env.dates = DateForm::forInstallation(program.env.settings);
        accountSweep(program.env.context);
        for (const Account& account : accounts) {
            QVERIFY2(rowsOf(*db, QLatin1String(account.name)) == account.rows, account.name);
            if (account.rows)
                QCOMPARE(db->column(u"select disable_user from users where username="_s + sqlQuote(QLatin1String(account.name))),
                         QStringList({account.disabled ? "1" : "0"}));
        }
        // The date that disabled it goes, so an account the administrator enables again stays enabled.
        QCOMPARE(db->column(u"select DisableOn from users where username='due'"_s), QStringList({""}));
        for (const char* line : {"User 'today' is expired", "User 'o'hara' is expired",
                                 "User 'word' has an expiry date 'soon' that is not a date; left as it is",
                                 "User 'odd' has a disable date '31/31/31' that is not a date; left as it is"})
            QVERIFY2(program.env.log.contains(QLatin1String(line)), line);
        QVERIFY(program.env.prompter.records().isEmpty());

        // The start-up lower-casing: POSIX paths name folders on a case-sensitive file system and keep their case.
        db->exec(u"INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip) "
                 "VALUES ('Mixed', 'C:\\FTP\\Mixed', 1, 1), ('Posix', '/srv/ftp/Incoming', 1, 1)"_s);
        db->exec(u"INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) "
                 "VALUES ('Mixed', 'D:\\Shared\\Up', 'RWL', 1), ('Posix', '/srv/ftp/Incoming/Up', 'RWL', 1)"_s);
        lowerCaseStoredPaths(program.env.context);
        QCOMPARE(db->column(u"select username || ' ' || homedir from users where username in ('Mixed', 'Posix') order by username"_s),
                 QStringList({"Mixed c:\\ftp\\mixed", "Posix /srv/ftp/Incoming"}));
        QCOMPARE(db->column(u"select directory from dir_rights where username in ('Mixed', 'Posix') order by username"_s),
                 QStringList({"d:\\shared\\up", "/srv/ftp/Incoming/Up"}));
        QVERIFY(program.env.prompter.records().isEmpty());
    }

    void failureStopsTheSweepWithItsMessage_data()
    {
        // What is left of the account's rows in the first three tables.
        QTest::addColumn<TestEngine>("engine");
        QTest::addColumn<bool>("commitRefused");
        QTest::addColumn<int>("childRowsLeft");
        QTest::newRow("postgresql, missing table") << TestEngine::PostgreSql << false << 0;
        // Another connection reads the file, so the writer's commit cannot take its lock.
        QTest::newRow("sqlite, commit refused") << TestEngine::Sqlite << true << 3;
    }
    void failureStopsTheSweepWithItsMessage()
    {
        QFETCH(bool, commitRefused);
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        const QString past = program.env.dates.format(QDate(2020, 1, 1));
        addUser(*db, u"gone"_s, past, past);
        program.env.prompter.answerMessage(prompt::Answer::Ok, u"The database specified may have incorrect tables or be missing."_s);
        Database holder(db->connectionString());
        if (commitRefused) {
            QVERIFY(holder.open() && holder.beginTransaction());
            Rows held = holder.select(u"select username from users"_s);
            QVERIFY(held.next());
            accountSweep(program.env.context);
            holder.rollback();
        } else {
            db->exec(u"DROP TABLE ratio_free_files"_s);
            accountSweep(program.env.context);
        }
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
        int childRows = 0;
        for (const char* child : {"blocked_ips_by_user", "dir_rights", "file_rights"})
            childRows += db->count(u"select username from "_s + QLatin1String(child));
        QTEST(childRows, "childRowsLeft");
        QCOMPARE(db->column(u"select username from users"_s), QStringList({"gone"}));
        // The sweep ended there: the account was not disabled either, and no deletion was logged.
        QCOMPARE(db->column(u"select disable_user from users"_s), QStringList({"0"}));
        QVERIFY(!program.env.log.contains(u"User 'gone' is expired"_s));
    }
};

QUILLMERE_TEST(TestServices)
#include "TestServices.moc"
