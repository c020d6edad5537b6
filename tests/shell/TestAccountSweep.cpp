#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"

#include "db/SqlText.h"
#include "platform/DateForm.h"
#include "services/AccountSweep.h"
#include "app/MainWindow.h"

#include <QTest>

// The daily sweep and the start-up lower-casing on every engine.
class TestAccountSweep : public QObject
{
    Q_OBJECT

    static void addUser(TestDatabase& db, const QString& name, const QString& expires, const QString& disableOn)
    {
        const auto optional = [](const QString& text) { return text.isNull() ? QStringLiteral("NULL") : sqlQuote(text); };
        db.exec(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, "
                               "quota_current, disable_user, Expires, DisableOn) VALUES (%1, 'c:\\ftp', 'pw', 1, 1, 0, 0, %2, %3)")
                    .arg(sqlQuote(name), optional(expires), optional(disableOn)));
        for (const char* table : {"dir_rights", "file_rights", "ratio_free_files", "blocked_ips_by_user"}) {
            const QString columns = QLatin1String(table) == QLatin1String("dir_rights")
                ? QStringLiteral("(username, directory, dir_rights, inherit_subdirs) VALUES (%1, 'c:\\ftp', 'RL', 1)")
                : QLatin1String(table) == QLatin1String("file_rights")  ? QStringLiteral("(username, filename, file_rights) VALUES (%1, 'a.txt', 'R')")
                : QLatin1String(table) == QLatin1String("ratio_free_files") ? QStringLiteral("(username, filename) VALUES (%1, 'a.txt')")
                                                                            : QStringLiteral("(username, ip) VALUES (%1, '10.0.0.1')");
            db.exec(QStringLiteral("INSERT INTO %1 %2").arg(QLatin1String(table), columns.arg(sqlQuote(name))));
        }
    }

    static int rowsOf(TestDatabase& db, const QString& name)
    {
        int total = 0;
        for (const char* table : {"users", "dir_rights", "file_rights", "ratio_free_files", "blocked_ips_by_user"})
            total += db.count(QStringLiteral("select username from %1 where username=%2").arg(QLatin1String(table), sqlQuote(name)));
        return total;
    }

private slots:
    void init()
    {
        // Today is 11/22/2026 in the regional form M/d/yy, widened to M/d/yyyy.
        QLocale::setDefault(QLocale(QStringLiteral("en_US")));
    }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void accountsGoOnTheirDayAndNotBefore_data() { addEngineRows(); }
    void accountsGoOnTheirDayAndNotBefore()
    {
        ProgramUnderTest program;
        program.env.clock.setNow(QDateTime(QDate(2026, 11, 22), QTime(8, 0)));
        QUILLMERE_OPEN_DATABASE(db, program.env);
        addUser(*db, QStringLiteral("today"), QStringLiteral("11/22/2026"), {});
        addUser(*db, QStringLiteral("o'hara"), QStringLiteral("1/5/2026"), {});
        addUser(*db, QStringLiteral("both"), QStringLiteral("11/1/2026"), QStringLiteral("11/1/2026"));
        addUser(*db, QStringLiteral("tomorrow"), QStringLiteral("11/23/2026"), {});
        // "10/5/2027" sorts before "11/22/2026" as text, but is a date next year.
        addUser(*db, QStringLiteral("sorts-before"), QStringLiteral("10/5/2027"), {});
        // Two-digit years belong to the century around today, not to the 1900s.
        addUser(*db, QStringLiteral("short-future"), QStringLiteral("3/7/27"), {});
        addUser(*db, QStringLiteral("short-past"), QStringLiteral("3/7/26"), {});
        addUser(*db, QStringLiteral("no-date"), QString(), {});
        addUser(*db, QStringLiteral("empty"), QStringLiteral(""), QStringLiteral(""));
        addUser(*db, QStringLiteral("word"), QStringLiteral("soon"), {});
        addUser(*db, QStringLiteral("*"), {}, {});

        accountSweep(program.env.context);

        for (const char* gone : {"today", "o'hara", "both", "short-past"})
            QVERIFY2(rowsOf(*db, QLatin1String(gone)) == 0, gone);
        for (const char* kept : {"tomorrow", "sorts-before", "short-future", "no-date", "empty", "word", "*"})
            QVERIFY2(rowsOf(*db, QLatin1String(kept)) == 5, kept);
        QVERIFY(program.env.log.contains(QStringLiteral("User 'today' is expired")));
        QVERIFY(program.env.log.contains(QStringLiteral("User 'o'hara' is expired")));
        QVERIFY(program.env.log.contains(QStringLiteral("User 'word' has an expiry date 'soon' that is not a date; left as it is")));
        QVERIFY(program.env.prompter.records().isEmpty());
    }

    void installationFormHoldsUnderEveryLocale_data()
    {
        // The texts were written under the first locale; the sweep runs under the second.
        QTest::addColumn<TestEngine>("engine");
        QTest::addColumn<QString>("installedUnder");
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("due");
        QTest::addColumn<QString>("notYet");
        QTest::newRow("en_GB text, en_US process") << TestEngine::Sqlite << "en_GB" << "en_US" << "22/11/2026" << "01/12/2026";
        QTest::newRow("en_US text, en_GB process") << TestEngine::Sqlite << "en_US" << "en_GB" << "11/22/2026" << "12/1/2026";
        QTest::newRow("de_DE text, en_US process") << TestEngine::Sqlite << "de_DE" << "en_US" << "22.11.2026" << "01.12.2026";
        QTest::newRow("C text, de_DE process") << TestEngine::Sqlite << "C" << "de_DE" << "22 Nov 2026" << "1 Dec 2026";
    }

    void installationFormHoldsUnderEveryLocale()
    {
        QFETCH(QString, installedUnder);
        QFETCH(QString, locale);
        QFETCH(QString, due);
        QFETCH(QString, notYet);
        QLocale::setDefault(QLocale(installedUnder));
        ProgramUnderTest program;
        program.env.clock.setNow(QDateTime(QDate(2026, 11, 22), QTime(8, 0)));
        QUILLMERE_OPEN_DATABASE(db, program.env);
        addUser(*db, QStringLiteral("due"), due, due);
        addUser(*db, QStringLiteral("not-yet"), notYet, notYet);

        // A later process of the installation, started under another locale (ssh, sudo, cron).
        QLocale::setDefault(QLocale(locale));
        program.env.dates = DateForm::forInstallation(program.env.settings);
        accountSweep(program.env.context);

        QCOMPARE(rowsOf(*db, QStringLiteral("due")), 0);
        QCOMPARE(rowsOf(*db, QStringLiteral("not-yet")), 5);
        QCOMPARE(db->column(QStringLiteral("select disable_user from users")), QStringList({"0"}));
        QVERIFY(program.env.log.contains(QStringLiteral("User 'due' is expired")));
    }

    void disableDateSwitchesTheAccountOffOnce_data() { addEngineRows(); }
    void disableDateSwitchesTheAccountOffOnce()
    {
        ProgramUnderTest program;
        program.env.clock.setNow(QDateTime(QDate(2026, 11, 22), QTime(8, 0)));
        QUILLMERE_OPEN_DATABASE(db, program.env);
        addUser(*db, QStringLiteral("due"), {}, QStringLiteral("11/22/2026"));
        addUser(*db, QStringLiteral("later"), {}, QStringLiteral("10/5/2027"));
        addUser(*db, QStringLiteral("odd"), {}, QStringLiteral("31/31/31"));

        accountSweep(program.env.context);
        QCOMPARE(db->column(QStringLiteral("select disable_user from users where username='due'")), QStringList({"1"}));
        QCOMPARE(db->column(QStringLiteral("select DisableOn from users where username='due'")), QStringList({""}));
        QCOMPARE(db->column(QStringLiteral("select disable_user from users where username='later'")), QStringList({"0"}));
        QCOMPARE(db->column(QStringLiteral("select disable_user from users where username='odd'")), QStringList({"0"}));
        QVERIFY(program.env.log.contains(QStringLiteral("User 'odd' has a disable date '31/31/31' that is not a date; left as it is")));

        // Enabled again by the administrator, it stays enabled.
        db->exec(QStringLiteral("update users set disable_user=0 where username='due'"));
        program.env.clock.setNow(QDateTime(QDate(2026, 11, 23), QTime(8, 0)));
        accountSweep(program.env.context);
        QCOMPARE(db->column(QStringLiteral("select disable_user from users where username='due'")), QStringList({"0"}));
    }

    void failureStopsTheSweepWithItsMessage_data()
    {
        // What is left of the account's rows in the first three tables.
        QTest::addColumn<TestEngine>("engine");
        QTest::addColumn<bool>("commitRefused");
        QTest::addColumn<int>("childRowsLeft");
        QTest::newRow("sqlite, missing table") << TestEngine::Sqlite << false << 0;
        QTest::newRow("postgresql, missing table") << TestEngine::PostgreSql << false << 0;
        // Another connection reads the file, so the writer's commit cannot take its lock.
        QTest::newRow("sqlite, commit refused") << TestEngine::Sqlite << true << 3;
    }

    void failureStopsTheSweepWithItsMessage()
    {
        QFETCH(bool, commitRefused);
        QFETCH(int, childRowsLeft);
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        addUser(*db, QStringLiteral("gone"), QStringLiteral("1/1/2020"), QStringLiteral("1/1/2020"));
        program.env.prompter.answerMessage(prompt::Answer::Ok);
        Database holder(db->connectionString());
        if (commitRefused) {
            QVERIFY(holder.open() && holder.beginTransaction());
            Rows held = holder.select(QStringLiteral("select username from users"));
            QVERIFY(held.next());
            accountSweep(program.env.context);
            holder.rollback();
        } else {
            db->exec(QStringLiteral("DROP TABLE ratio_free_files"));
            accountSweep(program.env.context);
        }

        QCOMPARE(program.env.prompter.messageTexts(),
                 QStringList({"The database specified may have incorrect tables or be missing.\r\n"
                              "Please check your database and your connection string."}));
        int childRows = 0;
        for (const char* child : {"blocked_ips_by_user", "dir_rights", "file_rights"})
            childRows += db->count(QStringLiteral("select username from %1").arg(QLatin1String(child)));
        QCOMPARE(childRows, childRowsLeft);
        QCOMPARE(db->column(QStringLiteral("select username from users")), QStringList({"gone"}));
        // The sweep ended there: the account was not disabled either, and no deletion was logged.
        QCOMPARE(db->column(QStringLiteral("select disable_user from users")), QStringList({"0"}));
        QVERIFY(!program.env.log.contains(QStringLiteral("User 'gone' is expired")));
    }

    void startupLowerCasesStoredPaths_data() { addEngineRows(); }
    void startupLowerCasesStoredPaths()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        db->exec(QStringLiteral("INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip) "
                                "VALUES ('Mixed', 'C:\\FTP\\Mixed', 1, 1)"));
        db->exec(QStringLiteral("INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip) "
                                "VALUES ('lower', 'c:\\ftp\\lower', 1, 1)"));
        db->exec(QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) "
                                "VALUES ('Mixed', 'D:\\Shared\\Up', 'RWL', 1)"));
        // POSIX paths name folders on a case-sensitive file system and keep their case.
        db->exec(QStringLiteral("INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip) "
                                "VALUES ('Posix', '/srv/ftp/Incoming', 1, 1)"));
        db->exec(QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) "
                                "VALUES ('Posix', '/srv/ftp/Incoming/Up', 'RWL', 1)"));

        lowerCaseStoredPaths(program.env.context);

        QCOMPARE(db->column(QStringLiteral("select homedir from users where username <> 'Posix' order by username")),
                 QStringList({"c:\\ftp\\mixed", "c:\\ftp\\lower"}));
        QCOMPARE(db->column(QStringLiteral("select directory from dir_rights where username='Mixed'")), QStringList({"d:\\shared\\up"}));
        QCOMPARE(db->column(QStringLiteral("select homedir from users where username='Posix'")), QStringList({"/srv/ftp/Incoming"}));
        QCOMPARE(db->column(QStringLiteral("select directory from dir_rights where username='Posix'")),
                 QStringList({"/srv/ftp/Incoming/Up"}));
        // Names are not paths and stay as they are; nothing was said to the administrator.
        QCOMPARE(db->column(QStringLiteral("select username from users where username <> 'Posix' order by username")),
                 QStringList({"Mixed", "lower"}));
        QVERIFY(program.env.prompter.records().isEmpty());
    }

    void sweepRunsAtStartupAndOnThe1440thTick()
    {
        ProgramUnderTest program;
        program.configure();
        program.env.clock.setNow(QDateTime(QDate(2026, 11, 22), QTime(8, 0)));
        program.start();
        QCOMPARE(program.sweeps, 1);
        Database db(program.env.settings.readConnectionString());
        QVERIFY(db.open());
        QVERIFY(db.execute(QStringLiteral("INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip, Expires) "
                                          "VALUES ('tomorrow', 'c:\\x', 1, 1, '11/23/2026')")));
        program.env.clock.setNow(QDateTime(QDate(2026, 11, 23), QTime(8, 0)));
        for (int tick = 0; tick < 1440; ++tick)
            program.windows.main().tmrTime_Timer();
        QCOMPARE(program.sweeps, 2);
        Rows left = db.select(QStringLiteral("select username from users"));
        QVERIFY(!left.next());
    }
};

QUILLMERE_TEST(TestAccountSweep)
#include "TestAccountSweep.moc"
