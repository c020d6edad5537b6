#include "GatewickFixture.h"
#include "TestMain.h"

#include "MigrationWindow.h"

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
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(migration::Generation)

namespace {

QString sample(const QString& name) { return QStringLiteral(QUILLMERE_MIGRATION_SAMPLES "/") + name; }

// An administrator's installation: Quillmere's settings file naming an SQLite
// accounts database and the server's INI file, both real files.
struct Installation
{
    TestEnvironment env;
    QString whyNot;
    std::unique_ptr<TestDatabase> db = TestDatabase::create(TestEngine::Sqlite, env, &whyNot);

    void useIni(const QString& path) { env.settings.saveRegSetting(u"ini_path"_s, path); }

    // The window after the administrator answered OK to the question about the server.
    std::unique_ptr<MigrationWindow> openWindow(Generation generation = Generation::V4)
    {
        env.prompter.answerMessage(prompt::Answer::Ok, u"Stop the FTP server"_s);
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
    return control<QStackedWidget>(window, "stkPages")->currentWidget()->objectName() == "fraSummary"_L1;
}

} // namespace

// The migration tool's window driven as an administrator drives it, on a real
// settings file, the sample INI files and a real SQLite accounts database. What the
// reader takes from the samples and what lands in which column are the reader's and
// the importer's tests.
class TestMigrationWindow : public QObject
{
    Q_OBJECT

private slots:
    // Each sample with one of its accounts in the database already: the preview, an import
    // stopped after the account in hand (by Stop or the close box), the import of the rest
    // with the summary, and a run with Replace ticked.
    void importFromThePreview_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<Generation>("generation");
        QTest::addColumn<QString>("existing");
        QTest::addColumn<bool>("byCloseBox");
        QTest::newRow("2.0 to 3.0, Stop button") << u"servu2-sample.ini"_s << Generation::V2 << "admin" << false;
        QTest::newRow("4.0 and later, close box") << u"servu4-sample.ini"_s << Generation::V4 << "anonymous" << true;
    }
    void importFromThePreview()
    {
        QFETCH(QString, file);
        QFETCH(Generation, generation);
        QFETCH(QString, existing);
        QFETCH(bool, byCloseBox);
        const QString ini = sample(file);
        const QByteArray iniBefore = fileContents(ini);
        Installation site;
        QVERIFY2(site.db, qPrintable(site.whyNot));
        site.useIni(ini);
        site.db->exec(u"INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, quota_current) "
                      "VALUES (%1, '/srv/ftp/old', 'pw', 1, 1, 0)"_s.arg(sqlQuote(existing)));
        const auto homeOfExisting = [&] { return site.db->column(u"select homedir from users where username="_s + sqlQuote(existing)); };

        auto window = site.openWindow(generation);
        QVERIFY(window);
        const migration::MigrationSource source = window->source();
        const qsizetype total = source.accounts.size();
        QStringList names, statuses, notCarried;
        for (const migration::MigratedAccount& account : source.accounts) {
            names << account.name;
            statuses << (account.name == existing ? u"already in the database"_s : u"new"_s);
            for (const migration::NotCarried& entry : account.notCarried)
                notCarried << entry.key;
        }
        for (const migration::NotCarried& entry : source.notCarried)
            notCarried << entry.key;
        QCOMPARE(control<QLabel>(window.get(), "lblAccountCount")->text(), u"%1 accounts: %2 new, 1 already in the database"_s.arg(total).arg(total - 1));
        QCOMPARE(column(window.get(), "tblAccounts", 0), names);
        QCOMPARE(column(window.get(), "tblAccounts", 2), statuses);
        QCOMPARE(column(window.get(), "tblNotCarried", 1), notCarried);

        // Stop, or the close box, while the import runs: it ends after the account in hand.
        MigrationWindow* shown = window.get();
        QTimer::singleShot(0, shown, [shown, byCloseBox] {
            QVERIFY(shown->isImporting());
            if (byCloseBox)
                shown->close();
            else
                click(shown, "cmdCancel");
        });
        click(shown, "cmdImport");
        QVERIFY(shown->isVisible() && onSummaryPage(shown));
        QCOMPARE(shown->report().imported, names.mid(0, 1));
        QCOMPARE(shown->report().notReached, names.mid(1));
        QCOMPARE(control<QLabel>(shown, "lblSummaryHeading")->text(), u"The import was stopped by you"_s);
        click(shown, "cmdClose");

        // The rest, Replace not ticked: the existing accounts are left as they were.
        window = site.openWindow(generation);
        QVERIFY(window);
        click(window.get(), "cmdImport");
        QCOMPARE(control<QProgressBar>(window.get(), "prgImport")->value(), total);
        const migration::ImportReport& report = window->report();
        QVERIFY2(report.stoppedBy.isEmpty() && report.failed.isEmpty(), qPrintable(report.stoppedBy));
        QStringList rest = names.mid(1);
        rest.removeOne(existing);
        QCOMPARE(report.imported, rest);
        QCOMPARE(report.skippedExisting.size(), 2);
        QCOMPARE(homeOfExisting(), QStringList{"/srv/ftp/old"});
        QCOMPARE(site.db->column(u"select ip from blocked_ips"_s), source.globalDeniedIps);

        // The page shows the summary (the importer's test reads its lines), and Save Summary
        // writes it; a folder that is not there says so.
        const QString expected = migration::summaryText(source, report);
        QCOMPARE(control<QPlainTextEdit>(window.get(), "txtSummary")->toPlainText().trimmed(), expected.trimmed());
        const QString saved = site.env.path(u"summary.txt"_s);
        site.env.prompter.answerFile(saved);
        click(window.get(), "cmdSaveSummary");
        QCOMPARE(QString::fromUtf8(fileContents(saved)), expected);
        QVERIFY(control<QLabel>(window.get(), "lblSaved")->text().contains(saved));
        site.env.prompter.answerFile(site.env.path(u"no-such-folder/summary.txt"_s)).answerMessage(prompt::Answer::Ok, u"could not be saved"_s);
        click(window.get(), "cmdSaveSummary");
        QCOMPARE(site.env.prompter.unusedSteps(), 0);
        click(window.get(), "cmdClose");
        QVERIFY(!window->isVisible());

        // A last run with Replace ticked writes every account anew.
        window = site.openWindow(generation);
        QVERIFY(window);
        QCOMPARE(control<QLabel>(window.get(), "lblAccountCount")->text(), u"%1 accounts: 0 new, %1 already in the database"_s.arg(total));
        click(window.get(), "chkReplace");
        QCOMPARE(column(window.get(), "tblAccounts", 3), QStringList(total, u"replace"_s));
        click(window.get(), "cmdImport");
        QCOMPARE(window->report().replaced, names);
        QCOMPARE(homeOfExisting(), QStringList{source.accounts[names.indexOf(existing)].homedir});
        QCOMPARE(fileContents(ini), iniBefore);
    }

    void endsBeforeTouchingAnything_data()
    {
        QTest::addColumn<QString>("ini");
        QTest::addColumn<bool>("databaseConfigured");
        QTest::addColumn<QString>("serverQuestion"); // the answer to "Stop the FTP server", or empty when it is not asked
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("preparation");
        const int failed = static_cast<int>(MigrationWindow::Preparation::Failed);
        const QString four = sample(u"servu4-sample.ini"_s), unconfigured = u"save its configuration window"_s;
        QTest::newRow("no INI file configured") << "" << true << "" << unconfigured << failed;
        QTest::newRow("no database configured") << four << false << "" << unconfigured << failed;
        QTest::newRow("server not stopped") << four << true << "cancel" << "" << static_cast<int>(MigrationWindow::Preparation::Cancelled);
        QTest::newRow("INI file not there") << four + u".gone"_s << true << "ok" << "could not be read, so nothing has been imported" << failed;
    }
    void endsBeforeTouchingAnything()
    {
        QFETCH(QString, ini);
        QFETCH(bool, databaseConfigured);
        QFETCH(QString, serverQuestion);
        QFETCH(QString, message);
        Installation site;
        QVERIFY2(site.db, qPrintable(site.whyNot));
        // The test database wrote its connection string into the settings; without it the file starts empty.
        if (!databaseConfigured)
            QVERIFY(QFile::remove(site.env.settingsPath()));
        if (!ini.isEmpty())
            site.useIni(ini);
        const QByteArray before = fileContents(site.env.path(u"accounts.db"_s));
        if (!serverQuestion.isEmpty())
            site.env.prompter.answerMessage(serverQuestion == "ok"_L1 ? prompt::Answer::Ok : prompt::Answer::Cancel, u"Stop the FTP server"_s);
        if (!message.isEmpty())
            site.env.prompter.answerMessage(prompt::Answer::Ok, message);
        MigrationWindow window(Generation::V4, site.env.settings, site.env.dates, site.env.prompter);
        QTEST(static_cast<int>(window.prepare()), "preparation");
        QCOMPARE(site.env.prompter.unusedSteps(), 0);
        QCOMPARE(site.env.prompter.records().size(), int(!serverQuestion.isEmpty()) + int(!message.isEmpty()));
        QCOMPARE(fileContents(site.env.path(u"accounts.db"_s)), before);
    }
};

QUILLMERE_TEST(TestMigrationWindow)
#include "TestMigrationWindow.moc"
