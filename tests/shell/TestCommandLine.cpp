#include "ConsoleRun.h"
#include "TestDatabase.h"
#include "TestEnvironment.h"
#include "TestMain.h"

#include "db/SqlText.h"
#include "services/AppInfo.h"

#include <QTest>

using namespace Qt::StringLiterals;

// The command-line modes as cron, a systemd timer or an administrator's shell runs
// them: the real program, no display, the exit status and the printed lines.
class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void sweepAndReportRunWithoutADisplay_data() { addEngineRows(); }
    void sweepAndReportRunWithoutADisplay()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        const QDate today = QDate::currentDate();
        // A date from today by the system's clock, which the program runs on, in the installation's form.
        const auto day = [&env, today](int fromToday) { return env.dates.format(today.addDays(fromToday)); };
        const auto addAccount = [&db](const QString& name, const QString& expires, const QString& disableOn) {
            const auto optional = [](const QString& text) { return text.isNull() ? u"NULL"_s : sqlQuote(text); };
            db->exec(u"INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, quota_current, disable_user, "
                     "Expires, DisableOn) VALUES (%1, '/srv/ftp', 'pw', 1, 1, 0, 0, %2, %3)"_s.arg(sqlQuote(name), optional(expires),
                                                                                                   optional(disableOn)));
        };
        addAccount(u"gone"_s, day(-1), {});
        addAccount(u"switch"_s, u""_s, day(0));
        addAccount(u"say \"hi\", then"_s, day(5), day(2));
        addAccount(u"later"_s, day(40), {});
        addAccount(u"dateless"_s, u""_s, {});
        addAccount(u"word"_s, u"soon"_s, {});

        const ConsoleRun report = runVantrel({u"--report-expiring"_s, u"30"_s}, env.settingsPath());
        QVERIFY2(report.finished && report.exitCode == 0, qPrintable(report.errors));
        QCOMPARE(report.lines(), QStringList({u"User name,Expires,Disable on,Days left,Sweep action"_s, u"gone,%1,,-1,delete"_s.arg(day(-1)),
                                              u"switch,,%1,0,disable"_s.arg(day(0)),
                                              u"\"say \"\"hi\"\", then\",%1,%2,2,disable"_s.arg(day(5), day(2))}));
        QCOMPARE(runVantrel({u"--report-expiring"_s, u"40"_s}, env.settingsPath()).lines().value(4), u"later,%1,,40,delete"_s.arg(day(40)));

        const ConsoleRun sweep = runVantrel({u"--sweep"_s}, env.settingsPath());
        QVERIFY2(sweep.finished && sweep.exitCode == 0, qPrintable(sweep.errors));
        // The status log's own lines, each after the log's time stamp.
        for (const QString& line : sweep.lines())
            QVERIFY2(line.startsWith(day(0) + u' ') && line.contains(u":  "_s), qPrintable(line));
        for (const char* line : {":  attempt to open database\n", ":  User 'gone' is expired\n",
                                 ":  User 'word' has an expiry date 'soon' that is not a date; left as it is\n"})
            QVERIFY2(sweep.out.contains(QLatin1String(line)), line);
        QCOMPARE(db->count(u"select username from users where username='gone'"_s), 0);
        QCOMPARE(db->column(u"select disable_user from users where username='switch'"_s), QStringList({"1"}));
        QCOMPARE(db->count(u"select username from users"_s), 5);

        // A failed statement ends the sweep with 2 and its message, which nobody has to answer.
        db->exec(u"DROP TABLE ratio_free_files"_s);
        addAccount(u"expired"_s, day(-3), {});
        const ConsoleRun failed = runVantrel({u"--sweep"_s}, env.settingsPath());
        QVERIFY(failed.finished);
        QCOMPARE(failed.exitCode, 2);
        QVERIFY2(failed.errors.contains(u"Vantrel: The database specified may have incorrect tables or be missing.\n"_s), qPrintable(failed.errors));
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
        QTest::newRow("test log-in, no database") << QStringList{"--test-login", "bob", "127.0.0.1"} << 1 << "Database: it cannot be opened";
        QTest::newRow("help") << QStringList{"--help"} << 0 << "--test-login <name> <address>";
        QTest::newRow("Qt's own option") << QStringList{"-platform", "offscreen", "--version"} << 0
                                         << u"Vantrel %1\n"_s.arg(appinfo::versionText());
    }
    void failuresEndWithAStatusAndAMessage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, says);
        TestEnvironment env;
        env.storeConnectionString(u"Provider=SQLite;Data Source="_s + env.path(u"missing.db"_s));
        const ConsoleRun run = runVantrel(arguments, env.settingsPath());
        QVERIFY(run.finished);
        QTEST(run.exitCode, "status");
        QVERIFY2((run.out + run.errors).contains(says), qPrintable(run.out + run.errors));
    }
};

QUILLMERE_TEST(TestCommandLine)
#include "TestCommandLine.moc"
