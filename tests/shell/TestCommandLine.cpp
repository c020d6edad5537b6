#include "ConsoleRun.h"
#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"

#include "accounts/ExpiringWindow.h"
#include "app/MainWindow.h"
#include "db/SqlText.h"
#include "services/AppInfo.h"

#include <QAction>
#include <QHeaderView>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTest>

using namespace Qt::StringLiterals;

// The accounts coming due, as Tools -> Expiring Accounts lists, sorts and exports them and as
// the command-line modes report and sweep them the way cron, a systemd timer or an
// administrator's shell runs them: the real program, no display, the exit status and the
// printed lines.
class TestCommandLine : public QObject
{
    Q_OBJECT

    static QStringList column(QTableWidget* table, int column)
    {
        QStringList texts;
        for (int row = 0; row < table->rowCount(); ++row)
            texts.append(table->item(row, column)->text());
        return texts;
    }

private slots:
    void expiringAccountsInTheWindowAndTheModes_data() { addEngineRows(); }
    void expiringAccountsInTheWindowAndTheModes()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        // The modes run on the system's clock; the dates are in the installation's form.
        const QDate today = QDate::currentDate();
        program.env.clock.setNow(QDateTime(today, QTime(8, 0)));
        const auto day = [&program, today](int fromToday) { return program.env.dates.format(today.addDays(fromToday)); };
        const auto addAccount = [&db](const QString& name, const QString& expires, const QString& disableOn) {
            db->exec(u"INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip, Expires, DisableOn) "
                     "VALUES (%1, '/srv/ftp', 1, 1, %2, %3)"_s.arg(sqlQuote(name), sqlQuote(expires), sqlQuote(disableOn)));
        };
        // Three days and twenty days ahead: as texts they sort the other way round in some forms.
        for (const auto& [name, expires, disableOn] : {std::tuple{u"ann"_s, day(3), QString()}, {u"Bob"_s, QString(), day(0)},
                                                       {u"cid"_s, day(20), QString()}, {u"dan"_s, day(45), QString()},
                                                       {u"say \"hi\", then"_s, day(5), day(2)}, {u"gone"_s, day(-1), QString()}})
            addAccount(name, expires, disableOn);

        program.windows.main().findChild<QAction*>(u"tools1_expiring"_s)->trigger();
        ExpiringWindow& window = program.windows.expiring();
        auto* table = window.findChild<QTableWidget*>(u"tblAccounts"_s);
        QCOMPARE(column(table, ExpiringWindow::NameColumn), QStringList({"gone", "Bob", "say \"hi\", then", "ann", "cid"}));
        QCOMPARE(column(table, ExpiringWindow::ActionColumn), QStringList({"delete", "disable", "disable", "delete", "delete"}));
        auto* days = window.findChild<QSpinBox*>(u"spnDays"_s);
        days->selectAll();
        QTest::keyClicks(days, u"45"_s);
        QCOMPARE(column(table, ExpiringWindow::DaysLeftColumn), QStringList({"-1", "0", "2", "3", "20", "45"}));

        // The export writes the rows as shown, which the report mode prints too; a file that cannot
        // be written is named.
        const QString path = program.env.path(u"due.csv"_s), unwritable = program.env.path(u"missing/due.csv"_s);
        program.env.prompter.answerFile(path).answerFile(unwritable).answerMessage(prompt::Answer::Ok, unwritable);
        for (int i = 0; i < 2; ++i)
            QTest::mouseClick(window.findChild<QPushButton*>(u"cmdExport"_s), Qt::LeftButton);
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QStringList exported = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(exported.value(3), u"\"say \"\"hi\"\", then\",%1,%2,2,disable"_s.arg(day(5), day(2)));
        const ConsoleRun report = runVantrel({u"--report-expiring"_s, u"45"_s}, program.env.settingsPath());
        QVERIFY2(report.finished && report.exitCode == 0, qPrintable(report.errors));
        QCOMPARE(report.lines(), exported);
        QHeaderView* header = table->horizontalHeader();
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                          QPoint(header->sectionViewportPosition(ExpiringWindow::ExpiresColumn) + 4, header->height() / 2));
        QCOMPARE(column(table, ExpiringWindow::NameColumn).mid(0, 4), QStringList({"Bob", "gone", "ann", "say \"hi\", then"}));

        const ConsoleRun sweep = runVantrel({u"--sweep"_s}, program.env.settingsPath());
        QVERIFY2(sweep.finished && sweep.exitCode == 0, qPrintable(sweep.errors));
        // The status log's own lines, each after the log's time stamp.
        for (const QString& line : sweep.lines())
            QVERIFY2(line.startsWith(day(0) + u' ') && line.contains(u":  "_s), qPrintable(line));
        QVERIFY(sweep.out.contains(u":  User 'gone' is expired\n"_s));
        QCOMPARE(db->count(u"select username from users where username='gone'"_s), 0);
        QCOMPARE(db->column(u"select disable_user from users where username='Bob'"_s), QStringList({"1"}));

        // A failed statement ends the sweep with 2 and its message, which nobody has to answer.
        db->exec(u"DROP TABLE ratio_free_files"_s);
        addAccount(u"expired"_s, day(-3), {});
        const ConsoleRun failed = runVantrel({u"--sweep"_s}, program.env.settingsPath());
        QVERIFY(failed.finished && failed.exitCode == 2);
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
