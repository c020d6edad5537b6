#include "GatewickFixture.h"
#include "PureFtpdServer.h"
#include "TestDatabase.h"
#include "TestEnvironment.h"
#include "TestMain.h"

#include "AuthRules.h"
#include "MigrationWindow.h"

#include "accounts/AccountStore.h"
#include "db/SqlText.h"
#include "shell/EmbeddedFiles.h"

#include <QCheckBox>
#include <QCryptographicHash>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTimer>
#include <QtTest>

#include <memory>

using migration::Generation;

Q_DECLARE_METATYPE(migration::Generation)

namespace {

const QString AlicePassword = QStringLiteral("old-secret");

// A server INI file of the 4.0 layout, written for these tests.
QByteArray serverIni(const QString& aliceHome = QStringLiteral("/SRV/FTP/Alice"))
{
    const QString alicePassword = QStringLiteral("kq") + gatewick::saltedMd5(QStringLiteral("kq"), AlicePassword).toUpper();
    return QStringLiteral("[GLOBAL]\r\n"
                          "Version=6.0.0.0\r\n"
                          "IPAccess1=D|10.20.30.40\r\n"
                          "\r\n"
                          "[Domain1]\r\n"
                          "User1=alice|1|0\r\n"
                          "User2=o'neil|1|0\r\n"
                          "User3=existing|1|0\r\n"
                          "\r\n"
                          "[USER=alice|1]\r\n"
                          "Password=%1\r\n"
                          "HomeDir=%2\r\n"
                          "Access1=%2|RWAMLCDP\r\n"
                          "Access2=/srv/ftp/pub|RL\r\n"
                          "IPAccess1=D|127.0.0.2\r\n"
                          "TimeOut=600\r\n"
                          "ChangePassword=1\r\n"
                          "Note1=Alice's account\r\n"
                          "\r\n"
                          "[USER=o'neil|1]\r\n"
                          "Password=plain-text\r\n"
                          "HomeDir=/srv/ftp/o'neil\r\n"
                          "\r\n"
                          "[USER=existing|1]\r\n"
                          "Password=new-one\r\n"
                          "HomeDir=/srv/ftp/existing-new\r\n"
                          "Access1=/srv/ftp/existing-new|RL\r\n")
        .arg(alicePassword, aliceHome)
        .toUtf8();
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray fileHash(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

// An administrator's installation: Quillmere's settings file naming an SQLite
// accounts database and the server's INI file, both real files.
class Installation
{
public:
    Installation()
    {
        m_database = TestDatabase::create(TestEngine::Sqlite, env, &m_whyNot);
        iniPath = env.path(QStringLiteral("ServUDaemon.ini"));
    }

    bool ready() const { return m_database != nullptr; }
    QString whyNot() const { return m_whyNot; }
    TestDatabase& db() { return *m_database; }
    QString databaseFile() const { return env.path(QStringLiteral("accounts.db")); }

    void useIni(const QString& path) { env.settings.saveRegSetting(QStringLiteral("ini_path"), path); }

    // The window after the administrator answered OK to the question about the server.
    std::unique_ptr<MigrationWindow> openWindow(Generation generation = Generation::V4)
    {
        env.prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("Stop the FTP server"));
        auto window = std::make_unique<MigrationWindow>(generation, env.settings, env.prompter);
        if (window->prepare() != MigrationWindow::Preparation::Ready)
            return nullptr;
        window->show();
        return window;
    }

    TestEnvironment env;
    QString iniPath;

private:
    std::unique_ptr<TestDatabase> m_database;
    QString m_whyNot;
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

QStringList column(QTableWidget* table, int index)
{
    QStringList texts;
    for (int row = 0; row < table->rowCount(); ++row)
        texts << table->item(row, index)->text();
    return texts;
}

bool onSummaryPage(QWidget* window)
{
    return control<QStackedWidget>(window, "stkPages")->currentWidget()->objectName() == QLatin1String("fraSummary");
}

} // namespace

// The migration tool's window driven as an administrator drives it, on a real
// settings file, a real INI file and a real SQLite accounts database.
class TestMigrationWindow : public QObject
{
    Q_OBJECT

private slots:
    void importFromThePreview()
    {
        Installation site;
        QVERIFY2(site.ready(), qPrintable(site.whyNot()));
        QVERIFY(writeFile(site.iniPath, serverIni()));
        site.useIni(site.iniPath);
        site.db().exec(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, quota_current) "
                                      "VALUES ('existing', '/srv/ftp/existing-old', 'pw', 1, 1, 0)"));
        site.db().exec(QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES ('existing', '/old', 'R', 0)"));

        auto window = site.openWindow();
        QVERIFY(window);
        QCOMPARE(window->windowTitle(), QStringLiteral("Vantrel Migration Utility (FTP server 4.0 and later)"));
        QVERIFY(!onSummaryPage(window.get()));
        QCOMPARE(control<QLabel>(window.get(), "lblIniPath")->text(), site.iniPath);
        QCOMPARE(control<QLabel>(window.get(), "lblAccountCount")->text(), QStringLiteral("3 accounts: 2 new, 1 already in the database"));
        auto* accounts = control<QTableWidget>(window.get(), "tblAccounts");
        QCOMPARE(column(accounts, 0), (QStringList{QStringLiteral("alice"), QStringLiteral("o'neil"), QStringLiteral("existing")}));
        QCOMPARE(column(accounts, 1), (QStringList{QStringLiteral("/srv/ftp/alice"), QStringLiteral("/srv/ftp/o'neil"),
                                                  QStringLiteral("/srv/ftp/existing-new")}));
        QCOMPARE(column(accounts, 2), (QStringList{QStringLiteral("new"), QStringLiteral("new"), QStringLiteral("already in the database")}));
        QVERIFY(column(control<QTableWidget>(window.get(), "tblNotCarried"), 1).contains(QStringLiteral("ChangePassword")));
        QVERIFY(!control<QCheckBox>(window.get(), "chkReplace")->isChecked());

        click(window.get(), "cmdImport");
        QVERIFY(onSummaryPage(window.get()));
        QCOMPARE(control<QProgressBar>(window.get(), "prgImport")->value(), 3);
        auto* summary = control<QPlainTextEdit>(window.get(), "txtSummary");
        QVERIFY(summary->isReadOnly());
        QVERIFY(summary->toPlainText().contains(QStringLiteral("Imported accounts (2):\n    alice\n    o'neil\n")));
        QVERIFY(summary->toPlainText().contains(QStringLiteral("    existing\n")));
        QVERIFY(summary->toPlainText().contains(QStringLiteral("alice: ChangePassword = 1")));

        // The program's own user page reads the migrated account back.
        const accounts::LoadedUser alice = accounts::loadUser(site.env.context, QStringLiteral("alice"));
        QVERIFY(alice.complete && alice.rowFound);
        QCOMPARE(alice.homedir, QStringLiteral("/srv/ftp/alice"));
        QCOMPARE(alice.comments, QStringLiteral("Alice's account"));
        QCOMPARE(alice.directories, (QStringList{QStringLiteral("/srv/ftp/alice"), QStringLiteral("/srv/ftp/pub")}));
        QVERIFY(alice.accessRuleList.contains(QStringLiteral("alice|/srv/ftp/alice|RWAMLCD|1")));
        QCOMPARE(site.db().column(QStringLiteral("select timeout from users where username='alice'")), QStringList{QStringLiteral("10")});
        QCOMPARE(site.db().column(QStringLiteral("select ip from blocked_ips_by_user where username='alice'")),
                 QStringList{QStringLiteral("127.0.0.2")});
        QCOMPARE(site.db().column(QStringLiteral("select ip from blocked_ips")), QStringList{QStringLiteral("10.20.30.40")});
        QCOMPARE(accounts::loadUser(site.env.context, QStringLiteral("o'neil")).homedir, QStringLiteral("/srv/ftp/o'neil"));
        QCOMPARE(site.db().column(QStringLiteral("select homedir from users where username='existing'")),
                 QStringList{QStringLiteral("/srv/ftp/existing-old")});

        // Save Summary writes what the page shows; a folder that is not there says so.
        const QString saved = site.env.path(QStringLiteral("summary.txt"));
        site.env.prompter.answerFile(saved);
        click(window.get(), "cmdSaveSummary");
        QFile file(saved);
        QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
        const QString expected = migration::summaryText(window->source(), window->report());
        QCOMPARE(QString::fromUtf8(file.readAll()), expected);
        QCOMPARE(summary->toPlainText().trimmed(), expected.trimmed());
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
        QVERIFY(control<QCheckBox>(window.get(), "chkReplace")->isChecked());
        QCOMPARE(column(control<QTableWidget>(window.get(), "tblAccounts"), 3),
                 (QStringList{QStringLiteral("replace"), QStringLiteral("replace"), QStringLiteral("replace")}));
        click(window.get(), "cmdImport");
        QCOMPARE(window->report().replaced.size(), 3);
        QCOMPARE(site.db().column(QStringLiteral("select directory from dir_rights where username='existing'")),
                 QStringList{QStringLiteral("/srv/ftp/existing-new")});
        QCOMPARE(site.db().count(QStringLiteral("select username from dir_rights where username='alice'")), 2);
        QCOMPARE(site.db().count(QStringLiteral("select ip from blocked_ips")), 1);
    }

    void endsBeforeTouchingAnything_data()
    {
        QTest::addColumn<bool>("iniConfigured");
        QTest::addColumn<bool>("databaseConfigured");
        QTest::addColumn<bool>("serverStopped");
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("preparation");
        const int failed = static_cast<int>(MigrationWindow::Preparation::Failed);
        const QString unconfigured = QStringLiteral("save its configuration window");
        QTest::newRow("no INI file configured") << false << true << true << unconfigured << failed;
        QTest::newRow("no database configured") << true << false << true << unconfigured << failed;
        QTest::newRow("server not stopped") << true << true << false << QString()
                                            << static_cast<int>(MigrationWindow::Preparation::Cancelled);
    }
    void endsBeforeTouchingAnything()
    {
        QFETCH(bool, iniConfigured);
        QFETCH(bool, databaseConfigured);
        QFETCH(bool, serverStopped);
        QFETCH(QString, message);
        QFETCH(int, preparation);
        Installation site;
        QVERIFY2(site.ready(), qPrintable(site.whyNot()));
        QVERIFY(writeFile(site.iniPath, serverIni()));
        // The test database wrote its connection string into the settings; without it the file starts empty.
        if (!databaseConfigured)
            QVERIFY(QFile::remove(site.env.settingsPath()));
        if (iniConfigured)
            site.useIni(site.iniPath);
        const QByteArray before = fileHash(site.databaseFile());

        if (!message.isEmpty())
            site.env.prompter.answerMessage(prompt::Answer::Ok, message);
        else
            site.env.prompter.answerMessage(serverStopped ? prompt::Answer::Ok : prompt::Answer::Cancel, QStringLiteral("Stop the FTP server"));
        MigrationWindow window(Generation::V4, site.env.settings, site.env.prompter);
        QCOMPARE(static_cast<int>(window.prepare()), preparation);
        QCOMPARE(site.env.prompter.unusedSteps(), 0);
        QCOMPARE(site.env.prompter.records().size(), 1);
        QVERIFY(!window.isVisible());
        QCOMPARE(fileHash(site.databaseFile()), before);
        QCOMPARE(site.db().count(QStringLiteral("select username from users")), 0);
    }

    void iniFileThatCannotBeRead()
    {
        Installation site;
        QVERIFY2(site.ready(), qPrintable(site.whyNot()));
        site.useIni(site.env.path(QStringLiteral("missing/ServUDaemon.ini")));
        site.env.prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("Stop the FTP server"))
            .answerMessage(prompt::Answer::Ok, QStringLiteral("could not be read, so nothing has been imported"));
        MigrationWindow window(Generation::V4, site.env.settings, site.env.prompter);
        QCOMPARE(static_cast<int>(window.prepare()), static_cast<int>(MigrationWindow::Preparation::Failed));
        QCOMPARE(site.env.prompter.unusedSteps(), 0);
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
        QVERIFY2(site.ready(), qPrintable(site.whyNot()));
        QVERIFY(writeFile(site.iniPath, serverIni()));
        site.useIni(site.iniPath);
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
        QCOMPARE(shown->report().imported, QStringList{QStringLiteral("alice")});
        QCOMPARE(shown->report().notReached, (QStringList{QStringLiteral("o'neil"), QStringLiteral("existing")}));
        QCOMPARE(site.db().column(QStringLiteral("select username from users")), QStringList{QStringLiteral("alice")});
        QCOMPARE(control<QLabel>(shown, "lblSummaryHeading")->text(), QStringLiteral("The import was stopped by you"));
    }

    // End to end: the imported account logs in to a real pure-ftpd, which asks the
    // program's handler, with the password the server's INI file kept in its salted form.
    void migratedAccountLogsInWithItsOldPassword()
    {
        const QString reason = PureFtpdServer::unavailableReason();
        if (!reason.isEmpty()) {
            const QByteArray ci = qgetenv("CI");
            if (!ci.isEmpty() && ci != "false")
                QFAIL(qPrintable(reason));
            QSKIP(qPrintable(reason));
        }
        Installation site;
        QVERIFY2(site.ready(), qPrintable(site.whyNot()));
        const QString home = gatewicktest::homeFolder(site.env, QStringLiteral("alice"));
        QVERIFY(writeFile(site.iniPath, serverIni(home)));
        site.useIni(site.iniPath);
        auto window = site.openWindow();
        QVERIFY(window);
        click(window.get(), "cmdImport");
        QVERIFY(window->report().imported.contains(QStringLiteral("alice")));

        PureFtpdServer server;
        QString whyNot;
        QVERIFY2(server.start(site.env.settingsPath(), &whyNot), qPrintable(whyNot));
        const auto curl = [&server](const QString& password, const QStringList& more) {
            auto process = std::make_unique<QProcess>();
            process->start(QStringLiteral("curl"),
                           PureFtpdServer::curlArguments(QStringLiteral("alice"), password, more + QStringList{QStringLiteral("--list-only"), server.url()}));
            return process;
        };
        // Refusals are delayed by the server, so the three run side by side.
        auto rightPassword = curl(AlicePassword, {});
        auto wrongPassword = curl(QStringLiteral("not-it"), {});
        auto deniedAddress = curl(AlicePassword, {QStringLiteral("--interface"), QStringLiteral("127.0.0.2")});
        for (QProcess* process : {rightPassword.get(), wrongPassword.get(), deniedAddress.get()})
            QVERIFY(process->waitForFinished(60000));
        QCOMPARE(rightPassword->exitCode(), 0);
        QVERIFY(wrongPassword->exitCode() != 0);
        QVERIFY(deniedAddress->exitCode() != 0);
    }

    // The sample INI files of both layouts, imported and read back through the program.
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
        Installation site;
        QVERIFY2(site.ready(), qPrintable(site.whyNot()));
        site.useIni(sample);
        const QByteArray sampleBefore = fileHash(sample);

        auto window = site.openWindow(generation);
        QVERIFY(window);
        const migration::MigrationSource& source = window->source();
        QVERIFY(!source.accounts.isEmpty());
        QCOMPARE(control<QTableWidget>(window.get(), "tblAccounts")->rowCount(), source.accounts.size());
        click(window.get(), "cmdImport");
        const migration::ImportReport& report = window->report();
        QVERIFY2(report.stoppedBy.isEmpty(), qPrintable(report.stoppedBy));
        QCOMPARE(report.imported.size() + report.failed.size(), source.accounts.size());
        QCOMPARE(site.db().count(QStringLiteral("select username from users")), report.imported.size());
        for (const migration::MigratedAccount& account : source.accounts) {
            if (!report.imported.contains(account.name))
                continue;
            const accounts::LoadedUser loaded = accounts::loadUser(site.env.context, account.name);
            QVERIFY2(loaded.complete && loaded.rowFound, qPrintable(account.name));
            QCOMPARE(loaded.username, account.name);
            QCOMPARE(loaded.homedir, account.homedir);
            QCOMPARE(loaded.comments, account.comments);
            QStringList folders;
            for (const migration::DirectoryAccess& entry : account.access)
                folders << entry.directory;
            QCOMPARE(loaded.directories, folders);
            QCOMPARE(site.db().column(QStringLiteral("select ip from blocked_ips_by_user where username=") + sqlQuote(account.name)),
                     account.deniedIps);
        }
        QCOMPARE(site.db().column(QStringLiteral("select ip from blocked_ips")), source.globalDeniedIps);
        const QString summary = control<QPlainTextEdit>(window.get(), "txtSummary")->toPlainText();
        for (const migration::MigratedAccount& account : source.accounts) {
            for (const migration::NotCarried& entry : account.notCarried)
                QVERIFY2(summary.contains(entry.key + QStringLiteral(" = ") + entry.value), qPrintable(entry.key));
        }
        for (const QString& warning : source.warnings)
            QVERIFY2(summary.contains(warning), qPrintable(warning));
        QCOMPARE(fileHash(sample), sampleBefore);
    }
};

QUILLMERE_TEST(TestMigrationWindow)
#include "TestMigrationWindow.moc"
