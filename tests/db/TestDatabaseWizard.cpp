#include "PostgresCluster.h"
#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"

#include "db/ConnectionString.h"
#include "db/Engine.h"
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

Q_DECLARE_METATYPE(DataLinkDialog::Kind)

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
// never answers; and the connection dialog it shows: the fields each engine enables,
// the string they give, and its Test, OK and Cancel buttons.
class TestDatabaseWizard : public QObject
{
    Q_OBJECT

private slots:
    // The SQL Server name dialogue up to where it stops: no server is reached and nothing is saved.
    void nameDialogueThatStops_data()
    {
        QTest::addColumn<QString>("server");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QList<prompt::Answer>>("answers"); // to the messages, in order
        QTest::addColumn<QString>("message");                // a part of the first one
        using A = prompt::Answer;
        const QString retype = u"has spaces and/or dashes"_s;
        QTest::newRow("blanks, proposal taken") << "LOCALHOST" << "my db-1" << QList{A::No, A::Yes} << retype;
        // The name goes into "create database" bare: one that could be read as more than a name reaches no server.
        QTest::newRow("not bare") << "localhost" << "x;drop_database_master" << QList{A::Ok}
                                  << "The database name \"x;drop_database_master\" cannot be used.";
        QTest::newRow("server prompt cancelled") << "" << "Feldon" << QList<A>() << "";
    }
    void nameDialogueThatStops()
    {
        QFETCH(QString, server);
        QFETCH(QString, name);
        QFETCH(QList<prompt::Answer>, answers);
        QFETCH(QString, message);
        WizardRun run;
        run.toCreatePage(u"optSQL"_s);
        run.prompter().answerInput(server).answerInput(name);
        for (const prompt::Answer answer : answers)
            run.prompter().answerMessage(answer, std::exchange(message, QString()));
        const bool proposalTaken = answers.value(1) == prompt::Answer::Yes;
        if (proposalTaken) // Integrated security cannot be had here: the log-on is asked for, and Cancel stops.
            run.prompter().onModal(u"frmDataLink"_s, [](QWidget* dataLink) { child(dataLink, "cmdCancel")->click(); });
        else if (!server.isEmpty())
            run.prompter().answerInput(QString()); // the name, asked again
        run.click("cmdPage2Next");
        QCOMPARE(run.prompter().unusedSteps(), 0);
        if (answers.value(0) == prompt::Answer::No)
            QVERIFY(run.prompter().records()[3].text.contains(u"The database will be called \"mydb1\""_s));
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
        QVERIFY(!run.wizard.isVisible());
        QCOMPARE(run.wizard.currentPage(), 1);

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

        // Page 4: a cancelled choice says so and stays; a chosen one is recorded.
        run.wizard.showFormFace(4);
        run.click(sqlite ? "optAccess" : "optPostgreSQL");
        const QString elsewhere = run.program.env.path(u"elsewhere.db"_s);
        QString recorded = u"Provider=SQLite;Data Source="_s + elsewhere;
        if (sqlite) {
            run.prompter().answerFile({}).answerMessage(prompt::Answer::Ok, u"There was an error creating your connection string."_s);
            run.click("cmdPage4Next");
            QVERIFY(run.wizard.isVisible() && run.wizard.currentPage() == 4);
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
        QVERIFY(!run.wizard.isVisible() && !QFile::exists(elsewhere));
        QCOMPARE(run.wizard.currentPage(), 1);
        qputenv("PGUSER", previousUser);
    }

    void unreachableServerGivesUp_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("server");
        QTest::addColumn<QString>("driver");
        // Without integrated security the wizard asks for a log-on, and the open then reaches the server.
        QTest::newRow("sql server") << "optSQL" << "127.0.0.1,%1" << "QODBC";
        QTest::newRow("postgresql") << "optPostgreSQL" << "127.0.0.1:%1" << "QPSQL";
    }
    void unreachableServerGivesUp()
    {
        QFETCH(QString, option);
        QFETCH(QString, server);
        QFETCH(QString, driver);
        const int timeoutMs = 400;
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
        QVERIFY(run.wizard.isVisible() && !run.wizard.isBusy());
        QVERIFY(child<QWidget>(&run.wizard, "cmdPage2Next")->isEnabled());
        QCOMPARE(run.wizard.currentPage(), 2);
        QVERIFY(run.saved().isEmpty());
        // The abandoned open ends as soon as its server hangs up.
        while (QTcpSocket* socket = silent.nextPendingConnection())
            delete socket;
        silent.close();
        QTest::qWait(50);
    }

    // The log-on is chosen first, then the engine; fields: server, port, user name, password, database, file.
    void dataLinkFieldsAndStringOfEachEngine_data()
    {
        QTest::addColumn<DataLinkDialog::Kind>("kind");
        QTest::addColumn<bool>("integrated");
        QTest::addColumn<QStringList>("fields");
        QTest::addColumn<QString>("enabled");
        QTest::addColumn<QString>("expected");
        using K = DataLinkDialog::Kind;
        const QString server = u"optUserPassword txtServer txtPort txtUserName txtPassword txtDatabase"_s;
        QTest::newRow("sql server, user") << K::SqlServer << false << QStringList{"host", "1433", "u", "p", "db", ""} << server
                                          << "Provider=SQLOLEDB.1;Data Source=host,1433;Initial Catalog=db;User ID=u;Password=p;";
        if (HasIntegratedSecurity)
            QTest::newRow("sql server, integrated")
                << K::SqlServer << true << QStringList{"host", "", "ignored", "ignored", "db", ""} << "optUserPassword txtServer txtPort txtDatabase"
                << "Provider=SQLOLEDB.1;Integrated Security=SSPI;Persist Security Info=False;Data Source=host;Initial Catalog=db;";
        else // Integrated security cannot be chosen where it does not exist.
            QTest::newRow("sql server, integrated clicked") << K::SqlServer << true << QStringList{"host", "", "u", "p", "db", ""} << server
                                                            << "Provider=SQLOLEDB.1;Data Source=host;Initial Catalog=db;User ID=u;Password=p;";
        // PostgreSQL has no integrated security; choosing it moves the log-on to a user name.
        QTest::newRow("postgresql, integrated before") << K::PostgreSql << true << QStringList{"host", "5432", "u", "p", "db", ""} << server
                                                       << "Provider=PostgreSQL;Data Source=host;Port=5432;Initial Catalog=db;User ID=u;Password=p;";
        QTest::newRow("postgresql, libpq defaults") << K::PostgreSql << false << QStringList{"host", "", "", "", "db", ""} << server
                                                    << "Provider=PostgreSQL;Data Source=host;Initial Catalog=db;";
        QTest::newRow("sqlite") << K::SqliteFile << false << QStringList{"ignored", "", "", "", "", "/srv/a.db"} << "txtFile cmdBrowse"
                                << "Provider=SQLite;Data Source=/srv/a.db";
        QTest::newRow("quoted values") << K::PostgreSql << false << QStringList{"host", "", "o'neil", "a;b\"c", "db", ""} << server
                                       << "Provider=PostgreSQL;Data Source=host;Initial Catalog=db;User ID=\"o'neil\";Password=\"a;b\"\"c\";";
    }
    void dataLinkFieldsAndStringOfEachEngine()
    {
        QFETCH(DataLinkDialog::Kind, kind);
        QFETCH(bool, integrated);
        QFETCH(QStringList, fields);
        QFETCH(QString, enabled);
        QFETCH(QString, expected);
        TestEnvironment env;
        DataLinkDialog dialog(env.context);
        child(&dialog, integrated ? "optIntegrated" : "optUserPassword")->setChecked(true);
        child<QComboBox>(&dialog, "cboProvider")->setCurrentIndex(int(kind));
        QStringList names;
        for (const char* name : {"optIntegrated", "optUserPassword", "txtServer", "txtPort", "txtUserName", "txtPassword", "txtDatabase",
                                 "txtFile", "cmdBrowse"})
            if (child<QWidget>(&dialog, name)->isEnabled())
                names << QLatin1String(name);
        QCOMPARE(names.join(u' '), (HasIntegratedSecurity && kind == DataLinkDialog::Kind::SqlServer ? u"optIntegrated "_s : QString()) + enabled);
        int i = 0;
        for (const char* name : {"txtServer", "txtPort", "txtUserName", "txtPassword", "txtDatabase", "txtFile"})
            child<QLineEdit>(&dialog, name)->setText(fields[i++]);
        QCOMPARE(dialog.connectionString(), expected);

        // OK gives the same string; the reader takes every value back unchanged.
        env.prompter.onModal(u"frmDataLink"_s, [](QWidget* shown) { child(shown, "cmdOK")->click(); });
        QCOMPARE(dialog.promptNew(), expected);
        const ConnectionString parts = ConnectionString::parse(expected);
        if (kind == DataLinkDialog::Kind::PostgreSql) {
            QCOMPARE(parts.value(u"user id"_s), fields[2]);
            QCOMPARE(parts.value(u"password"_s), fields[3]);
        }
    }

    void dataLinkTestOkAndCancelButtons()
    {
        TestEnvironment env;
        DataLinkDialog dialog(env.context);
        const QString file = env.path(u"accounts.db"_s);
        QVERIFY(embedded::writeEmbeddedFile(embedded::TemplateDatabase, file));
        env.prompter.onModal(u"frmDataLink"_s, [&](QWidget* shown) {
            child<QComboBox>(shown, "cboProvider")->setCurrentIndex(2);
            // OK without a file is refused, and the dialog stays open.
            env.prompter.answerMessage(prompt::Answer::Ok, u"Please select the database file."_s);
            child(shown, "cmdOK")->click();
            QVERIFY(shown->isVisible());
            env.prompter.answerFile(file);
            child(shown, "cmdBrowse")->click();
            QCOMPARE(child<QLineEdit>(shown, "txtFile")->text(), file);
            child<QLineEdit>(shown, "txtFile")->setText(env.path(u"missing.db"_s));
            env.prompter.answerMessage(prompt::Answer::Ok, u"Test connection failed:\r\n\r\nThe database file"_s);
            child(shown, "cmdTest")->click();
            child<QLineEdit>(shown, "txtFile")->setText(file);
            child(shown, "cmdOK")->click();
        });
        QCOMPARE(dialog.promptNew(), u"Provider=SQLite;Data Source="_s + file);

        // Cancel, and Escape, give empty text even with every field filled.
        env.prompter.onModal(u"frmDataLink"_s, [](QWidget* shown) { child(shown, "cmdCancel")->click(); });
        QCOMPARE(dialog.promptNew(), QString());
        env.prompter.onModal(u"frmDataLink"_s, [](QWidget* shown) { QTest::keyClick(shown, Qt::Key_Escape); });
        QCOMPARE(dialog.promptNew(), QString());
        QCOMPARE(env.prompter.unusedSteps(), 0);
    }
};

QUILLMERE_TEST(TestDatabaseWizard)
#include "TestDatabaseWizard.moc"
