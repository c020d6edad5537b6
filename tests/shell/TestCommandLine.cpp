#include "ConsoleRun.h"
#include "TestDatabase.h"
#include "TestEnvironment.h"
#include "TestMain.h"

#include "db/SqlText.h"
#include "services/AppInfo.h"

#include <QTest>

// The command-line modes as cron, a systemd timer or an administrator's shell runs
// them: the real program, no display, the exit status and the printed lines.
class TestCommandLine : public QObject
{
    Q_OBJECT

    // A date from today by the system's clock, which the program runs on, in the installation's form.
    static QString day(const TestEnvironment& env, int fromToday) { return env.dates.format(QDate::currentDate().addDays(fromToday)); }

    static void addAccount(TestDatabase& db, const QString& name, const QString& expires, const QString& disableOn)
    {
        const auto optional = [](const QString& text) { return text.isNull() ? QStringLiteral("NULL") : sqlQuote(text); };
        db.exec(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, "
                               "quota_current, disable_user, Expires, DisableOn) VALUES (%1, '/srv/ftp', 'pw', 1, 1, 0, 0, %2, %3)")
                    .arg(sqlQuote(name), optional(expires), optional(disableOn)));
    }

private slots:
    void sweepAndReportRunWithoutADisplay_data() { addEngineRows(); }
    void sweepAndReportRunWithoutADisplay()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        const QDate today = QDate::currentDate();
        addAccount(*db, QStringLiteral("gone"), day(env, -1), {});
        addAccount(*db, QStringLiteral("switch"), QStringLiteral(""), day(env, 0));
        addAccount(*db, QStringLiteral("say \"hi\", then"), day(env, 5), day(env, 2));
        addAccount(*db, QStringLiteral("later"), day(env, 40), {});
        addAccount(*db, QStringLiteral("dateless"), QStringLiteral(""), {});
        addAccount(*db, QStringLiteral("word"), QStringLiteral("soon"), {});

        const ConsoleRun report = runVantrel({QStringLiteral("--report-expiring"), QStringLiteral("30")}, env.settingsPath());
        QVERIFY2(report.finished && report.exitCode == 0, qPrintable(report.errors));
        QCOMPARE(report.lines(), QStringList({QStringLiteral("User name,Expires,Disable on,Days left,Sweep action"),
                                              QStringLiteral("gone,%1,,-1,delete").arg(day(env, -1)),
                                              QStringLiteral("switch,,%1,0,disable").arg(day(env, 0)),
                                              QStringLiteral("\"say \"\"hi\"\", then\",%1,%2,2,disable").arg(day(env, 5), day(env, 2))}));
        QCOMPARE(runVantrel({QStringLiteral("--report-expiring"), QStringLiteral("40")}, env.settingsPath()).lines().value(4),
                 QStringLiteral("later,%1,,40,delete").arg(day(env, 40)));

        const ConsoleRun sweep = runVantrel({QStringLiteral("--sweep")}, env.settingsPath());
        QVERIFY2(sweep.finished && sweep.exitCode == 0, qPrintable(sweep.errors));
        // The status log's own lines, each after the log's time stamp.
        for (const QString& line : sweep.lines())
            QVERIFY2(line.startsWith(day(env, 0) + QLatin1Char(' ')) && line.contains(QStringLiteral(":  ")), qPrintable(line));
        QVERIFY(sweep.out.contains(QStringLiteral(":  attempt to open database\n")));
        QVERIFY(sweep.out.contains(QStringLiteral(":  User 'gone' is expired\n")));
        QVERIFY(sweep.out.contains(QStringLiteral(":  User 'word' has an expiry date 'soon' that is not a date; left as it is\n")));
        QCOMPARE(db->count(QStringLiteral("select username from users where username='gone'")), 0);
        QCOMPARE(db->column(QStringLiteral("select disable_user from users where username='switch'")), QStringList({"1"}));
        QCOMPARE(db->count(QStringLiteral("select username from users")), 5);

        // A failed statement ends the sweep with 2 and its message, which nobody has to answer.
        db->exec(QStringLiteral("DROP TABLE ratio_free_files"));
        addAccount(*db, QStringLiteral("expired"), day(env, -3), {});
        const ConsoleRun failed = runVantrel({QStringLiteral("--sweep")}, env.settingsPath());
        QVERIFY(failed.finished);
        QCOMPARE(failed.exitCode, 2);
        QVERIFY2(failed.errors.contains(QStringLiteral("Vantrel: The database specified may have incorrect tables or be missing.\n")),
                 qPrintable(failed.errors));
        if (QDate::currentDate() != today)
            QSKIP("The day changed while the test ran.");
    }

    void failuresEndWithAStatusAndAMessage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("says");
        QTest::newRow("unknown option") << QStringList{"--bogus"} << 64 << "Vantrel: Unknown option 'bogus'.";
        QTest::newRow("days not a number") << QStringList{"--report-expiring", "soon"} << 64
                                           << "--report-expiring needs a whole number of days from 0 to 3650, not \"soon\".";
        QTest::newRow("too many days") << QStringList{"--report-expiring", "3651"} << 64 << "not \"3651\".";
        QTest::newRow("two modes") << QStringList{"--sweep", "--report-expiring", "3"} << 64
                                   << "--sweep and --report-expiring cannot be used together.";
        QTest::newRow("address missing") << QStringList{"--test-login", "bob"} << 64 << "--test-login needs <address> after <name>.";
        QTest::newRow("stray argument") << QStringList{"--sweep", "now"} << 64 << "unexpected argument \"now\".";
        QTest::newRow("mode and window") << QStringList{"--sweep", "--screenshot", "a.png"} << 64
                                         << "--screenshot opens the window, which --sweep does not.";
        QTest::newRow("sweep, no database") << QStringList{"--sweep"} << 1 << ":  database error: ";
        QTest::newRow("report, no database") << QStringList{"--report-expiring", "30"} << 1 << ":  database error: ";
        QTest::newRow("test log-in, no database") << QStringList{"--test-login", "bob", "127.0.0.1"} << 1
                                                  << "Database: it cannot be opened";
        QTest::newRow("help") << QStringList{"--help"} << 0 << "--test-login <name> <address>";
        QTest::newRow("Qt's own option") << QStringList{"-platform", "offscreen", "--version"} << 0
                                         << QStringLiteral("Vantrel %1\n").arg(appinfo::versionText());
    }

    void failuresEndWithAStatusAndAMessage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, says);
        TestEnvironment env;
        env.storeConnectionString(QStringLiteral("Provider=SQLite;Data Source=") + env.path(QStringLiteral("missing.db")));
        const ConsoleRun run = runVantrel(arguments, env.settingsPath());
        QVERIFY(run.finished);
        QTEST(run.exitCode, "status");
        QVERIFY2((run.out + run.errors).contains(says), qPrintable(run.out + run.errors));
    }
};

QUILLMERE_TEST(TestCommandLine)
#include "TestCommandLine.moc"
