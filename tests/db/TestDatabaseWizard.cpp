#include "PostgresCluster.h"
#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"

#include "db/Schema.h"
#include "server/DataLinkDialog.h"
#include "server/DatabaseWizardWindow.h"
#include "server/ConfigureWindow.h"
#include "services/EmbeddedFiles.h"
#include "services/Session.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QSqlDatabase>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

template <typename T = QAbstractButton> T* child(QWidget* parent, const char* name) { return parent->findChild<T*>(QLatin1String(name)); }

// The wizard of a fresh program, shown as the configuration window shows it.
struct WizardRun
{
    WizardRun() { wizard.show(); }

    ScriptedPrompter& prompter() { return program.env.prompter; }
    QString saved() const { return program.env.settings.readConnectionString(); }
    // The saved string, which the configuration window must show too.
    QString savedAndShown()
    {
        const QString shown = program.windows.configure().connectionString();
        return shown == saved() ? shown : u"%1, but shown: %2"_s.arg(saved(), shown);
    }
    // Clicks a control the administrator can see and reach.
    void click(const char* name)
    {
        auto* button = child(&wizard, name);
        QVERIFY2(button && button->isVisible() && button->isEnabled(), name);
        button->click();
    }
    void toCreatePage(const QString& option)
    {
        click(qPrintable(option));
        click("cmdPage1Next");
    }

    ProgramUnderTest program;
    DatabaseWizardWindow& wizard{program.windows.databaseWizard()};
};

// Skips the test when something it needs is missing here; under CI it fails instead.
#define QUILLMERE_REQUIRE(available, whyNot)                                                                                   \
    if (!(available)) {                                                                                                        \
        if (!qEnvironmentVariable("CI").isEmpty() && qEnvironmentVariable("CI") != u"false")                                   \
            QFAIL(qPrintable(whyNot));                                                                                         \
        QSKIP(qPrintable(whyNot));                                                                                             \
    }

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// The database wizard driven as the administrator drives it: the name dialogue, the
// SQLite file and a real PostgreSQL database created and recorded, and a server that
// never answers; and the connection dialog it shows.
class TestDatabaseWizard : public QObject
{
    Q_OBJECT

private slots:
    // The SQL Server name dialogue up to where it stops, twice: no server is reached and nothing is saved.
    void nameDialogueThatStops()
    {
        WizardRun run;
        run.toCreatePage(u"optSQL"_s);
        // The name goes into "create database" bare: one that could be read as more than a name reaches no
        // server, and the name asked again is cancelled.
        run.prompter().answerInput(u"localhost"_s).answerInput(u"x;drop_database_master"_s);
        run.prompter().answerMessage(prompt::Answer::Ok, u"The database name \"x;drop_database_master\" cannot be used."_s).answerInput({});
        run.click("cmdPage2Next");
        // Blanks and dashes: not retyped, the proposal taken; integrated security cannot be had here, so the
        // log-on is asked for, and Cancel stops.
        run.prompter().answerInput(u"LOCALHOST"_s).answerInput(u"my db-1"_s);
        run.prompter().answerMessage(prompt::Answer::No, u"has spaces and/or dashes"_s);
        run.prompter().answerMessage(prompt::Answer::Yes, u"The database will be called \"mydb1\""_s);
        run.prompter().onModal(u"frmDataLink"_s, [](QWidget* dataLink) { child(dataLink, "cmdCancel")->click(); });
        run.click("cmdPage2Next");
        QCOMPARE(run.prompter().unusedSteps(), 0);
        QCOMPARE(run.wizard.currentPage(), 2);
        QVERIFY(run.saved().isEmpty());
    }

    // The administrator's walk on each engine: a new database, the same one again, and recording an existing
    // one on page 4, which writes nothing. Where Jet does not exist, the file the wizard writes is shown as
    // what it is, an SQLite file, and an Access name is refused.
    void createsThenRecordsADatabase_data() { addEngineRows(); }
    void createsThenRecordsADatabase()
    {
        QFETCH(TestEngine, engine);
        const bool sqlite = engine == TestEngine::Sqlite;
        PostgresCluster* cluster = sqlite ? nullptr : PostgresCluster::shared();
        QUILLMERE_REQUIRE(sqlite || cluster, PostgresCluster::unavailableReason());
        const QByteArray previousUser = qgetenv("PGUSER");
        qputenv("PGUSER", "postgres");
        WizardRun run;
        const QByteArray template_ = contents(embedded::resourcePath(embedded::TemplateDatabase));
        const QString path = run.program.env.path(u"Servu.DB"_s);
        run.toCreatePage(sqlite ? u"optAccess"_s : u"optPostgreSQL"_s);
        if (sqlite) {
            run.prompter().answerFile(run.program.env.path(u"accounts.mdb"_s))
                .answerMessage(prompt::Answer::Ok, u"There was an error creating database structure."_s);
            run.click("cmdPage2Next");
            QVERIFY(!QFile::exists(run.program.env.path(u"accounts.mdb"_s)) && run.saved().isEmpty());
            // The picker's answer comes back trimmed and without NULs.
            run.prompter().answerFile(path + QChar(0) + u"  "_s);
        } else {
            run.prompter().answerInput(u"127.0.0.1:%1"_s.arg(cluster->port())).answerInput(u"WizardDb"_s);
        }
        run.click("cmdPage2Next");
        QCOMPARE(run.prompter().unusedSteps(), 0);
        if (sqlite) {
            const PromptRecord picker = run.prompter().records().value(0);
            QVERIFY(picker.caption == u"Save SQLite Database" && picker.defaultText == u"servu.db");
            QCOMPARE(contents(path), template_);
        }
        // PostgreSQL folds names to lower case; the wizard does so in the string too.
        const QString created = sqlite ? u"Provider=SQLite;Data Source="_s + path
                                       : u"Provider=PostgreSQL;Data Source=127.0.0.1;Port=%1;Initial Catalog=wizarddb;"_s.arg(cluster->port());
        QCOMPARE(run.savedAndShown(), created);
        QCOMPARE(run.wizard.currentPage(), 3);
        Session session(run.program.env.context);
        QVERIFY(session.open(Session::Feedback::Quiet));
        for (const schema::Table& table : schema::accountTables())
            QVERIFY2(session.select(u"select * from "_s + table.name).isValid(), qPrintable(table.name));
        session.close();
        run.click("cmdFinish");
        QVERIFY(!run.wizard.isVisible() && run.wizard.currentPage() == 1);

        // Again: the file is replaced only on Yes; the PostgreSQL database is found there and nothing is saved.
        QFile changed(path);
        QVERIFY(!sqlite || (changed.open(QIODevice::Append) && changed.write("accounts") > 0));
        changed.close();
        run.program.env.settings.saveConnectionString(u"before"_s);
        run.wizard.show();
        for (const prompt::Answer answer : {prompt::Answer::No, prompt::Answer::Yes}) {
            if (run.wizard.currentPage() == 1)
                run.toCreatePage(sqlite ? u"optAccess"_s : u"optPostgreSQL"_s);
            if (sqlite)
                run.prompter().answerFile(path).answerMessage(answer, u"The file \"%1\" already exists."_s.arg(path));
            else
                run.prompter().answerInput(u"127.0.0.1:%1"_s.arg(cluster->port())).answerInput(u"WizardDb"_s).answerMessage(
                    prompt::Answer::Ok, u"There was an error creating database structure."_s);
            run.click("cmdPage2Next");
            QCOMPARE(run.prompter().unusedSteps(), 0);
            QCOMPARE(contents(path) == template_, sqlite && answer == prompt::Answer::Yes);
            QCOMPARE(run.wizard.currentPage(), sqlite && answer == prompt::Answer::Yes ? 3 : 2);
            if (!sqlite)
                break;
        }
        QCOMPARE(run.saved(), sqlite ? created : u"before"_s);

        // Page 4 records the string of an existing database.
        run.wizard.showFormFace(4);
        run.click(sqlite ? "optAccess" : "optPostgreSQL");
        const QString elsewhere = run.program.env.path(u"elsewhere.db"_s);
        QString recorded = u"Provider=SQLite;Data Source="_s + elsewhere;
        if (sqlite) {
            run.prompter().answerFile(elsewhere);
        } else {
            recorded = created + u"User ID=postgres;"_s;
            run.prompter().onModal(u"frmDataLink"_s, [&](QWidget* dataLink) {
                QCOMPARE(child<QComboBox>(dataLink, "cboProvider")->currentText(), u"PostgreSQL"_s);
                for (const auto& [name, text] : {std::pair{"txtServer", u"127.0.0.1"_s}, {"txtPort", QString::number(cluster->port())},
                                                 {"txtUserName", u"postgres"_s}, {"txtDatabase", u"wizarddb"_s}})
                    child<QLineEdit>(dataLink, name)->setText(text);
                run.prompter().answerMessage(prompt::Answer::Ok, u"Test connection succeeded."_s);
                child(dataLink, "cmdTest")->click();
                child(dataLink, "cmdOK")->click();
            });
        }
        run.click("cmdPage4Next");
        QCOMPARE(run.prompter().unusedSteps(), 0);
        QCOMPARE(run.savedAndShown(), recorded);
        QVERIFY(!run.wizard.isVisible() && run.wizard.currentPage() == 1 && !QFile::exists(elsewhere));
        qputenv("PGUSER", previousUser);
    }

    void unreachableServerGivesUp_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("server");
        // Without integrated security the wizard asks for a log-on, and the open then reaches the server.
        QTest::newRow("sql server") << "optSQL" << "127.0.0.1,%1";
        QTest::newRow("postgresql") << "optPostgreSQL" << "127.0.0.1:%1";
    }
    void unreachableServerGivesUp()
    {
        QFETCH(QString, option);
        QFETCH(QString, server);
        const int timeoutMs = 400;
        const QString driver = option == u"optSQL" ? u"QODBC"_s : u"QPSQL"_s;
        QUILLMERE_REQUIRE(QSqlDatabase::isDriverAvailable(driver), u"no %1 driver"_s.arg(driver));
        QTcpServer silent; // accepts connections and never says a word
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        WizardRun run;
        run.wizard.setConnectTimeout(std::chrono::milliseconds(timeoutMs));
        run.toCreatePage(option);
        const QString typedServer = server.arg(silent.serverPort());
        run.prompter().answerInput(typedServer).answerInput(u"Vantrel"_s);
        const auto unreachable = [&] { run.prompter().answerMessage(prompt::Answer::Ok, u"There was an error while connecting"_s); };
        if (option != u"optSQL")
            unreachable();
        else
            run.prompter().onModal(u"frmDataLink"_s, [&](QWidget* dataLink) {
                // The server typed and the database to be created are not the dialog's to change.
                QCOMPARE(child<QLineEdit>(dataLink, "txtServer")->text(), typedServer);
                for (const char* fixed : {"cboProvider", "txtServer", "txtDatabase", "optIntegrated"})
                    QVERIFY2(!child<QWidget>(dataLink, fixed)->isEnabled(), fixed);
                run.prompter().answerMessage(prompt::Answer::Ok, u"Please enter the user name."_s);
                child(dataLink, "cmdOK")->click();
                QVERIFY(dataLink->isVisible());
                child<QLineEdit>(dataLink, "txtUserName")->setText(u"sa"_s);
                child<QLineEdit>(dataLink, "txtPassword")->setText(u"Secret;1"_s);
                child(dataLink, "cmdOK")->click();
                unreachable();
            });

        // While it waits the window keeps working: a second click and Escape change nothing.
        bool busyMeanwhile = false, nextEnabledMeanwhile = true;
        QTimer::singleShot(100, &run.wizard, [&] {
            busyMeanwhile = run.wizard.isBusy();
            nextEnabledMeanwhile = child<QWidget>(&run.wizard, "cmdPage2Next")->isEnabled();
            run.wizard.cmdPage2Next_Click();
            QTest::keyClick(&run.wizard, Qt::Key_Escape);
        });
        QElapsedTimer clock;
        clock.start();
        run.click("cmdPage2Next");
        const qint64 elapsed = clock.elapsed();
        QCOMPARE(run.prompter().unusedSteps(), 0);
        // Bounds of behaviour, not of speed: the silent server is given up on rather than waited for.
        QVERIFY2(elapsed >= timeoutMs && elapsed < timeoutMs + 10000, qPrintable(QString::number(elapsed)));
        QVERIFY(busyMeanwhile && !nextEnabledMeanwhile);
        QVERIFY(silent.hasPendingConnections() || silent.waitForNewConnection(1000));
        QVERIFY(run.wizard.isVisible() && !run.wizard.isBusy() && child<QWidget>(&run.wizard, "cmdPage2Next")->isEnabled());
        QCOMPARE(run.wizard.currentPage(), 2);
        QVERIFY(run.saved().isEmpty());
        // The abandoned open ends as soon as its server hangs up.
        while (QTcpSocket* socket = silent.nextPendingConnection())
            delete socket;
        silent.close();
        QTest::qWait(50);
    }

    // The connection dialog on its own: the fields each engine enables, a file name that needs quoting,
    // which the connection string reader takes back, and its Test, OK and Cancel buttons.
    void dataLinkTestOkAndCancelButtons()
    {
        TestEnvironment env;
        DataLinkDialog dialog(env.context);
        const QString file = env.path(u"accounts;\"1\".db"_s);
        QVERIFY(embedded::writeEmbeddedFile(embedded::TemplateDatabase, file));
        env.prompter.onModal(u"frmDataLink"_s, [&](QWidget* shown) {
            // PostgreSQL has no integrated security; choosing it moves the log-on to a user name.
            child(shown, "optIntegrated")->setChecked(true);
            child<QComboBox>(shown, "cboProvider")->setCurrentIndex(int(DataLinkDialog::Kind::PostgreSql));
            QVERIFY(child(shown, "optUserPassword")->isChecked() && !child<QWidget>(shown, "optIntegrated")->isEnabled());
            child<QComboBox>(shown, "cboProvider")->setCurrentIndex(int(DataLinkDialog::Kind::SqliteFile));
            QVERIFY(child<QWidget>(shown, "txtFile")->isEnabled() && !child<QWidget>(shown, "txtServer")->isEnabled());
            // OK without a file is refused, and the dialog stays open.
            env.prompter.answerMessage(prompt::Answer::Ok, u"Please select the database file."_s);
            child(shown, "cmdOK")->click();
            QVERIFY(shown->isVisible());
            env.prompter.answerFile(env.path(u"missing.db"_s));
            child(shown, "cmdBrowse")->click();
            env.prompter.answerMessage(prompt::Answer::Ok, u"Test connection failed:\r\n\r\nThe database file"_s);
            child(shown, "cmdTest")->click();
            child<QLineEdit>(shown, "txtFile")->setText(file);
            env.prompter.answerMessage(prompt::Answer::Ok, u"Test connection succeeded."_s);
            child(shown, "cmdTest")->click();
            child(shown, "cmdOK")->click();
        });
        QCOMPARE(dialog.promptNew(), u"Provider=SQLite;Data Source=\""_s + QString(file).replace(u"\""_s, u"\"\""_s) + u'"');

        // Cancel gives empty text even with every field filled.
        env.prompter.onModal(u"frmDataLink"_s, [](QWidget* shown) { child(shown, "cmdCancel")->click(); });
        QCOMPARE(dialog.promptNew(), QString());
        QCOMPARE(env.prompter.unusedSteps(), 0);
    }
};

QUILLMERE_TEST(TestDatabaseWizard)
#include "TestDatabaseWizard.moc"
