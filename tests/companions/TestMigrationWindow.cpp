#include "GatewickFixture.h"
#include "TestMain.h"

#include "MigrationWindow.h"

#include "accounts/AccessRules.h"

#include <QCheckBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTimer>
#include <QtTest>

using gatewicktest::fileContents;
using migration::Generation;

Q_DECLARE_METATYPE(migration::Generation)

namespace {

// A server INI file of the 4.0 layout, written for these tests.
const QByteArray ServerIni = QByteArray(R"([GLOBAL]
Version=6.0.0.0
IPAccess1=D|10.20.30.40

[Domain1]
User1=alice|1|0
User2=o'neil|1|0
User3=existing|1|0

[USER=alice|1]
Password=kq0BE9089682363B12E49AEFBB9356450D
HomeDir=/SRV/FTP/Alice
Access1=/SRV/FTP/Alice|RWAMLCDP
Access2=/srv/ftp/pub|RL
IPAccess1=D|127.0.0.2
TimeOut=600
ChangePassword=1
Note1=Alice's account

[USER=o'neil|1]
Password=plain-text
HomeDir=/srv/ftp/o'neil

[USER=existing|1]
Password=new-one
HomeDir=/srv/ftp/existing-new
Access1=/srv/ftp/existing-new|RL
)").replace("\n", "\r\n");

// An administrator's installation: Quillmere's settings file naming an SQLite
// accounts database and the server's INI file, both real files.
struct Installation
{
    TestEnvironment env;
    QString whyNot;
    std::unique_ptr<TestDatabase> db = TestDatabase::create(TestEngine::Sqlite, env, &whyNot);
    QString iniPath = env.path(QStringLiteral("ServUDaemon.ini"));

    void useIni(const QString& path) { env.settings.saveRegSetting(QStringLiteral("ini_path"), path); }
    bool writeIni()
    {
        useIni(iniPath);
        return !gatewicktest::writeFile(iniPath, ServerIni).isEmpty();
    }

    // The window after the administrator answered OK to the question about the server.
    std::unique_ptr<MigrationWindow> openWindow(Generation generation = Generation::V4)
    {
        env.prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("Stop the FTP server"));
        auto window = std::make_unique<MigrationWindow>(generation, env.settings, env.dates, env.prompter);
        if (window->prepare() != MigrationWindow::Preparation::Ready)
            return nullptr;
        window->show();
        return window;
    }
};

template <typename T> T* control(QWidget* window, const char* name)
{
    T* found = window->findChild<T*>(QLatin1String(name));
    if (!found)
        QTest::qFail(name, __FILE__, __LINE__);
    return found;
}

void click(QWidget* window, const char* name)
{
    auto* target = control<QAbstractButton>(window, name);
    const bool box = qobject_cast<QCheckBox*>(target) != nullptr;
    QTest::mouseClick(target, Qt::LeftButton, {}, box ? QPoint(8, target->height() / 2) : target->rect().center());
}

QStringList column(QWidget* window, const char* table, int index)
{
    QStringList texts;
    auto* widget = control<QTableWidget>(window, table);
    for (int row = 0; row < widget->rowCount(); ++row)
        texts << widget->item(row, index)->text();
    return texts;
}

bool onSummaryPage(QWidget* window)
{
    return control<QStackedWidget>(window, "stkPages")->currentWidget()->objectName() == QLatin1String("fraSummary");
}

} // namespace

// The migration tool's window driven as an administrator drives it, on a real
// settings file, a real INI file and a real SQLite accounts database. What lands in
// which column is the importer's test; the sample files are read back here.
class TestMigrationWindow : public QObject
{
    Q_OBJECT

private slots:
    void importFromThePreview()
    {
        Installation site;
        QVERIFY2(site.db, qPrintable(site.whyNot));
        QVERIFY(site.writeIni());
        site.db->exec(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, quota_current) "
                                     "VALUES ('existing', '/srv/ftp/existing-old', 'pw', 1, 1, 0)"));
        site.db->exec(QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES ('existing', '/old', 'R', 0)"));

        auto window = site.openWindow();
        QVERIFY(window);
        QCOMPARE(window->windowTitle(), QStringLiteral("Vantrel Migration Utility (FTP server 4.0 and later)"));
        QVERIFY(!onSummaryPage(window.get()));
        QCOMPARE(control<QLabel>(window.get(), "lblIniPath")->text(), site.iniPath);
        QCOMPARE(control<QLabel>(window.get(), "lblAccountCount")->text(), QStringLiteral("3 accounts: 2 new, 1 already in the database"));
        QCOMPARE(column(window.get(), "tblAccounts", 0), (QStringList{"alice", "o'neil", "existing"}));
        QCOMPARE(column(window.get(), "tblAccounts", 1), (QStringList{"/SRV/FTP/Alice", "/srv/ftp/o'neil", "/srv/ftp/existing-new"}));
        QCOMPARE(column(window.get(), "tblAccounts", 2), (QStringList{"new", "new", "already in the database"}));
        QVERIFY(column(window.get(), "tblNotCarried", 1).contains(QStringLiteral("ChangePassword")));

        // Replace is not ticked at first: the existing account is left as it was.
        click(window.get(), "cmdImport");
        QVERIFY(onSummaryPage(window.get()));
        QCOMPARE(control<QProgressBar>(window.get(), "prgImport")->value(), 3);
        QCOMPARE(window->report().imported, (QStringList{"alice", "o'neil"}));
        QCOMPARE(window->report().skippedExisting, QStringList{"existing"});
        QCOMPARE(site.db->column(QStringLiteral("select homedir from users where username='existing'")), QStringList{"/srv/ftp/existing-old"});
        QCOMPARE(site.db->column(QStringLiteral("select ip from blocked_ips")), QStringList{"10.20.30.40"});

        // The page shows the summary, and Save Summary writes it; a folder that is not there says so.
        auto* summary = control<QPlainTextEdit>(window.get(), "txtSummary");
        QVERIFY(summary->isReadOnly());
        const QString expected = migration::summaryText(window->source(), window->report());
        QCOMPARE(summary->toPlainText().trimmed(), expected.trimmed());
        const QString saved = site.env.path(QStringLiteral("summary.txt"));
        site.env.prompter.answerFile(saved);
        click(window.get(), "cmdSaveSummary");
        QCOMPARE(QString::fromUtf8(fileContents(saved)), expected);
        QVERIFY(control<QLabel>(window.get(), "lblSaved")->text().contains(saved));
        site.env.prompter.answerFile(site.env.path(QStringLiteral("no-such-folder/summary.txt")))
            .answerMessage(prompt::Answer::Ok, QStringLiteral("could not be saved"));
        click(window.get(), "cmdSaveSummary");
        QCOMPARE(site.env.prompter.unusedSteps(), 0);
        click(window.get(), "cmdClose");
        QVERIFY(!window->isVisible());

        // A second run with Replace ticked writes every account anew.
        window = site.openWindow();
        QVERIFY(window);
        QCOMPARE(control<QLabel>(window.get(), "lblAccountCount")->text(), QStringLiteral("3 accounts: 0 new, 3 already in the database"));
        click(window.get(), "chkReplace");
        QCOMPARE(column(window.get(), "tblAccounts", 3), (QStringList{"replace", "replace", "replace"}));
        click(window.get(), "cmdImport");
        QCOMPARE(window->report().replaced.size(), 3);
        QCOMPARE(site.db->column(QStringLiteral("select directory from dir_rights where username='existing'")), QStringList{"/srv/ftp/existing-new"});
        QCOMPARE(site.db->count(QStringLiteral("select username from dir_rights where username='alice'")), 2);
        QCOMPARE(site.db->count(QStringLiteral("select ip from blocked_ips")), 1);
    }

    void endsBeforeTouchingAnything_data()
    {
        QTest::addColumn<bool>("iniConfigured");
        QTest::addColumn<bool>("iniThere");
        QTest::addColumn<bool>("databaseConfigured");
        QTest::addColumn<QString>("serverQuestion"); // the answer to "Stop the FTP server", or empty when it is not asked
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("preparation");
        const int failed = static_cast<int>(MigrationWindow::Preparation::Failed);
        const QString unconfigured = QStringLiteral("save its configuration window");
        QTest::newRow("no INI file configured") << false << true << true << "" << unconfigured << failed;
        QTest::newRow("no database configured") << true << true << false << "" << unconfigured << failed;
        QTest::newRow("server not stopped") << true << true << true << "cancel" << "" << static_cast<int>(MigrationWindow::Preparation::Cancelled);
        QTest::newRow("INI file not there") << true << false << true << "ok" << "could not be read, so nothing has been imported" << failed;
    }
    void endsBeforeTouchingAnything()
    {
        QFETCH(bool, iniConfigured);
        QFETCH(bool, iniThere);
        QFETCH(bool, databaseConfigured);
        QFETCH(QString, serverQuestion);
        QFETCH(QString, message);
        Installation site;
        QVERIFY2(site.db, qPrintable(site.whyNot));
        if (iniThere)
            QVERIFY(!gatewicktest::writeFile(site.iniPath, ServerIni).isEmpty());
        // The test database wrote its connection string into the settings; without it the file starts empty.
        if (!databaseConfigured)
            QVERIFY(QFile::remove(site.env.settingsPath()));
        if (iniConfigured)
            site.useIni(site.iniPath);
        const QByteArray before = fileContents(site.env.path(QStringLiteral("accounts.db")));

        if (!serverQuestion.isEmpty())
            site.env.prompter.answerMessage(serverQuestion == QLatin1String("ok") ? prompt::Answer::Ok : prompt::Answer::Cancel,
                                            QStringLiteral("Stop the FTP server"));
        if (!message.isEmpty())
            site.env.prompter.answerMessage(prompt::Answer::Ok, message);
        MigrationWindow window(Generation::V4, site.env.settings, site.env.dates, site.env.prompter);
        QTEST(static_cast<int>(window.prepare()), "preparation");
        QCOMPARE(site.env.prompter.unusedSteps(), 0);
        QCOMPARE(site.env.prompter.records().size(), int(!serverQuestion.isEmpty()) + int(!message.isEmpty()));
        QVERIFY(!window.isVisible());
        QCOMPARE(fileContents(site.env.path(QStringLiteral("accounts.db"))), before);
        QCOMPARE(site.db->count(QStringLiteral("select username from users")), 0);
    }

    // Stop, or the close box, while the import runs: it ends after the account in hand.
    void stoppedWhileImporting_data()
    {
        QTest::addColumn<bool>("byCloseBox");
        QTest::newRow("Stop button") << false;
        QTest::newRow("close box") << true;
    }
    void stoppedWhileImporting()
    {
        QFETCH(bool, byCloseBox);
        Installation site;
        QVERIFY2(site.db, qPrintable(site.whyNot));
        QVERIFY(site.writeIni());
        auto window = site.openWindow();
        QVERIFY(window);
        MigrationWindow* shown = window.get();
        // Runs at the first event processing of the import, as a click would arrive.
        QTimer::singleShot(0, shown, [shown, byCloseBox] {
            QVERIFY(shown->isImporting());
            if (byCloseBox)
                shown->close();
            else
                click(shown, "cmdCancel");
        });
        click(shown, "cmdImport");
        QVERIFY(shown->isVisible());
        QVERIFY(onSummaryPage(shown));
        QVERIFY(shown->report().cancelled);
        QCOMPARE(shown->report().imported, QStringList{"alice"});
        QCOMPARE(shown->report().notReached, (QStringList{"o'neil", "existing"}));
        QCOMPARE(site.db->column(QStringLiteral("select username from users")), QStringList{"alice"});
        QCOMPARE(control<QLabel>(shown, "lblSummaryHeading")->text(), QStringLiteral("The import was stopped by you"));
    }

    // The sample INI files of both layouts, imported and read back through the program's
    // own user page; the files themselves stay as they were.
    void samplesOfBothGenerations_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<Generation>("generation");
        QTest::newRow("2.0 to 3.0") << QStringLiteral("servu2-sample.ini") << Generation::V2;
        QTest::newRow("4.0 and later") << QStringLiteral("servu4-sample.ini") << Generation::V4;
    }
    void samplesOfBothGenerations()
    {
        QFETCH(QString, file);
        QFETCH(Generation, generation);
        const QString sample = QStringLiteral(QUILLMERE_MIGRATION_SAMPLES "/") + file;
        const QByteArray sampleBefore = fileContents(sample);
        Installation site;
        QVERIFY2(site.db, qPrintable(site.whyNot));
        site.useIni(sample);

        auto window = site.openWindow(generation);
        QVERIFY(window);
        const migration::MigrationSource& source = window->source();
        QVERIFY(!source.accounts.isEmpty());
        QCOMPARE(control<QTableWidget>(window.get(), "tblAccounts")->rowCount(), source.accounts.size());
        click(window.get(), "cmdImport");
        const migration::ImportReport& report = window->report();
        QVERIFY2(report.stoppedBy.isEmpty(), qPrintable(report.stoppedBy));
        QCOMPARE(report.imported.size() + report.failed.size(), source.accounts.size());
        QCOMPARE(site.db->count(QStringLiteral("select username from users")), report.imported.size());
        for (const migration::MigratedAccount& account : source.accounts) {
            if (!report.imported.contains(account.name))
                continue;
            const accounts::LoadedUser loaded = accounts::loadUser(site.env.context, account.name);
            QVERIFY2(loaded.complete && loaded.rowFound, qPrintable(account.name));
            QCOMPARE(loaded.username, account.name);
            QCOMPARE(loaded.homedir, account.homedir);
            QCOMPARE(loaded.comments, account.comments);
            QCOMPARE(loaded.disabled, account.disabled.value_or(false));
            QCOMPARE(loaded.expires, account.expires);
            QStringList rules, expectedRules;
            for (const accessrules::Entry& entry : accessrules::entries(loaded.accessRuleList))
                rules << entry.directory + QLatin1Char('|') + entry.rights + QLatin1Char('|') + entry.inherit;
            for (const migration::DirectoryAccess& entry : account.access)
                expectedRules << entry.directory + QLatin1Char('|') + entry.rights + QLatin1Char('|') + QLatin1Char(entry.inherit ? '1' : '0');
            QCOMPARE(rules, expectedRules);
            QCOMPARE(site.db->column(QStringLiteral("select ip from blocked_ips_by_user where username=") + sqlQuote(account.name)),
                     account.deniedIps);
        }
        QCOMPARE(site.db->column(QStringLiteral("select ip from blocked_ips")), source.globalDeniedIps);
        const QString summary = control<QPlainTextEdit>(window.get(), "txtSummary")->toPlainText();
        for (const migration::MigratedAccount& account : source.accounts) {
            for (const migration::NotCarried& entry : account.notCarried)
                QVERIFY2(summary.contains(entry.key + QStringLiteral(" = ") + entry.value), qPrintable(entry.key));
        }
        for (const QString& warning : source.warnings)
            QVERIFY2(summary.contains(warning), qPrintable(warning));
        QCOMPARE(fileContents(sample), sampleBefore);
    }
};

QUILLMERE_TEST(TestMigrationWindow)
#include "TestMigrationWindow.moc"
