#include "PostgresCluster.h"
#include "ProgramUnderTest.h"
#include "TestMain.h"

#include "server/DatabaseWizardWindow.h"
#include "db/Schema.h"
#include "server/ConfigureWindow.h"
#include "services/EmbeddedFiles.h"
#include "services/Session.h"
#include "services/StatusLog.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QSqlDatabase>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

Q_DECLARE_METATYPE(prompt::Answer)

namespace {

// The wizard of a fresh program, shown as the configuration window shows it.
struct WizardRun
{
    WizardRun() { wizard.show(); }

    ScriptedPrompter& prompter() { return program.env.prompter; }
    QString saved() const { return program.env.settings.readConnectionString(); }
    QString line(const QString& text) const { return StatusLog::formatLine(program.env.dates, program.env.clock.now(), text); }
    QString logOf(const QStringList& steps) const
    {
        QString text = StatusLog::Header + QLatin1Char('\n');
        for (const QString& step : steps)
            text += line(step) + QLatin1Char('\n');
        return text;
    }
    // Clicks a control the administrator can see and reach.
    void click(const char* name)
    {
        auto* button = wizard.findChild<QAbstractButton*>(QLatin1String(name));
        QVERIFY2(button && button->isVisible() && button->isEnabled(), name);
        button->click();
    }
    void toCreatePage(const char* option)
    {
        click(option);
        click("cmdPage1Next");
    }
    void expectMessage(const QString& caption, const QString& text, prompt::Icon icon)
    {
        const auto message = prompter().messages().value(0);
        QCOMPARE(message.caption, caption);
        QCOMPARE(message.text, text);
        QCOMPARE(message.icon, icon);
    }

    ProgramUnderTest program;
    DatabaseWizardWindow& wizard{program.windows.databaseWizard()};
};

// Skips the test when something it needs is missing here; under CI it fails instead.
#define QUILLMERE_REQUIRE(available, whyNot)                                                                           \
    if (!(available)) {                                                                                                \
        const QByteArray ci = qgetenv("CI");                                                                           \
        if (!ci.isEmpty() && ci != "false")                                                                            \
            QFAIL(qPrintable(whyNot));                                                                                 \
        QSKIP(qPrintable(whyNot));                                                                                     \
    }

QStringList tablesOf(const QString& connectionString)
{
    Database database(connectionString);
    if (!database.open())
        return {database.lastError()};
    QStringList names;
    Rows rows = database.select(QStringLiteral("select table_name from information_schema.tables "
                                               "where table_schema = 'public' order by table_name"));
    while (rows.next())
        names << rows.textAt(0);
    return names;
}

} // namespace

// The database wizard driven as the administrator drives it: the name dialogue,
// the Access file, a real PostgreSQL database, a server that never answers, and
// recording the connection string of an existing database.
class TestDatabaseWizard : public QObject
{
    Q_OBJECT

private slots:
    void pagesShowTheirOwnControls_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<QStringList>("visible");
        QTest::newRow("1") << 1 << QStringList{"lblPage1", "optAccess", "optSQL", "optPostgreSQL", "cmdPage1Next", "cmdPage1Cancel"};
        QTest::newRow("2") << 2 << QStringList{"lblPage2", "cmdPage2Next", "cmdPage2Cancel"};
        QTest::newRow("3") << 3 << QStringList{"txtLog", "cmdFinish"};
        QTest::newRow("4") << 4 << QStringList{"lblPage4", "optAccess", "optSQL", "optPostgreSQL", "cmdPage4Next", "cmdPage4Cancel"};
    }
    void pagesShowTheirOwnControls()
    {
        QFETCH(int, page);
        QFETCH(QStringList, visible);
        WizardRun run;
        QCOMPARE(run.wizard.objectName(), QStringLiteral("frmDatabaseWizard1"));
        QCOMPARE(run.wizard.windowTitle(), QStringLiteral("Database Wizard"));
        QCOMPARE(run.wizard.currentPage(), 1);
        QCOMPARE(run.wizard.logText(), QStringLiteral("Log File\n"));
        run.wizard.showFormFace(page);
        QCOMPARE(run.wizard.currentPage(), page);
        for (const char* name : {"lblPage1", "lblPage2", "lblPage4", "optAccess", "optSQL", "optPostgreSQL", "txtLog",
                                 "cmdPage1Next", "cmdPage1Cancel", "cmdPage2Next", "cmdPage2Cancel", "cmdFinish",
                                 "cmdPage4Next", "cmdPage4Cancel"})
            QVERIFY2(run.wizard.findChild<QWidget*>(QLatin1String(name))->isVisible() == visible.contains(QLatin1String(name)), name);
        QVERIFY(run.program.env.log.contains(QStringLiteral("Hide All Other Pages")));

        // Access leads the tab order.
        QWidget* first = run.wizard.nextInFocusChain();
        while (!(first->focusPolicy() & Qt::TabFocus))
            first = first->nextInFocusChain();
        QCOMPARE(first->objectName(), QStringLiteral("optAccess"));
    }

    void namesWithBlanksOrDashes_data()
    {
        QTest::addColumn<prompt::Answer>("retype");
        QTest::addColumn<prompt::Answer>("useProposal");
        QTest::addColumn<int>("namePrompts");
        QTest::newRow("proposal taken") << prompt::Answer::No << prompt::Answer::Yes << 1;
        QTest::newRow("retyped") << prompt::Answer::Yes << prompt::Answer::Cancel << 2;
        QTest::newRow("proposal declined") << prompt::Answer::No << prompt::Answer::No << 2;
    }
    void namesWithBlanksOrDashes()
    {
        QFETCH(prompt::Answer, retype);
        QFETCH(prompt::Answer, useProposal);
        QFETCH(int, namePrompts);
        WizardRun run;
        run.toCreatePage("optSQL");
        run.prompter().answerInput(QStringLiteral("LOCALHOST")).answerInput(QStringLiteral("my db-1"));
        run.prompter().answerMessage(retype, QStringLiteral("Would you like to retype the database name?"));
        if (retype == prompt::Answer::No)
            run.prompter().answerMessage(useProposal, QStringLiteral("The database will be called \"mydb1\""));
        if (namePrompts == 2)
            run.prompter().answerInput(QString());
        else // Integrated security cannot be had here: the log-on is asked for, and Cancel stops.
            run.prompter().onModal(QStringLiteral("frmDataLink"),
                                   [](QWidget* dataLink) { dataLink->findChild<QAbstractButton*>(QStringLiteral("cmdCancel"))->click(); });
        run.click("cmdPage2Next");
        QCOMPARE(run.prompter().unusedSteps(), 0);

        const auto& records = run.prompter().records();
        QCOMPARE(records[0].text, QStringLiteral("What is the name of the SQL Server\r\nyou would like to use.\r\n\r\n"
                                                 "The SQL Server must be on your network and have proper user rights."));
        QCOMPARE(records[0].defaultText, QStringLiteral("LOCALHOST"));
        QCOMPARE(records[1].caption, QStringLiteral("Vantrel"));
        QVERIFY(DatabaseWizardWindow::defaultDatabaseNames().contains(records[1].defaultText));
        if (namePrompts == 2)
            QCOMPARE(records.last().defaultText, records[1].defaultText);
        if (retype == prompt::Answer::No) {
            QCOMPARE(records[3].text, QStringLiteral("Since you decided to not retype your database name without dashes or \r\n"
                                                     "spaces we have done it for you.\r\n\r\nThe database will be called \"mydb1\""
                                                     "\r\n\r\nWould you like to use this database name?"));
            QCOMPARE(records[3].buttons, prompt::Buttons::YesNoCancel);
        }
        QCOMPARE(records.last().kind == PromptRecord::Kind::Modal, useProposal == prompt::Answer::Yes);
        QVERIFY(!run.wizard.logText().contains(QStringLiteral("Wait for database to be opened")));
        QCOMPARE(run.wizard.currentPage(), 2);
        QVERIFY(run.saved().isEmpty());
    }

    // The name goes into "create database" bare: one that could be read as more than a name reaches no server.
    void namesThatCannotGoBareAreRefused_data()
    {
        QTest::addColumn<QString>("option");
        QTest::newRow("sql server") << "optSQL";
        QTest::newRow("postgresql") << "optPostgreSQL";
    }
    void namesThatCannotGoBareAreRefused()
    {
        QFETCH(QString, option);
        WizardRun run;
        run.toCreatePage(qPrintable(option));
        run.prompter().answerInput(QStringLiteral("localhost")).answerInput(QStringLiteral("x;drop_database_master"));
        run.prompter().answerMessage(prompt::Answer::Ok).answerInput(QString());
        run.click("cmdPage2Next");
        QCOMPARE(run.prompter().unusedSteps(), 0);
        run.expectMessage(QStringLiteral("Vantrel"),
                          QStringLiteral("The database name \"x;drop_database_master\" cannot be used.\r\nA database name may hold only "
                                         "the letters A to Z, the digits 0 to 9 and the underscore, must not begin with a digit, "
                                         "and may be at most 63 characters long."),
                          prompt::Icon::Exclamation);
        QCOMPARE(run.wizard.logText(), run.logOf({QStringLiteral("get connnection string")}));
        QCOMPARE(run.wizard.currentPage(), 2);
    }

    void cancelledServerPromptStopsAfterTheNamePrompt()
    {
        WizardRun run;
        run.toCreatePage("optSQL");
        run.prompter().answerInput(QString()).answerInput(QStringLiteral("Feldon"));
        run.click("cmdPage2Next");
        QCOMPARE(run.prompter().unusedSteps(), 0);
        QVERIFY(run.prompter().messages().isEmpty());
        QCOMPARE(run.wizard.logText(), run.logOf({QStringLiteral("get connnection string")}));
        QCOMPARE(run.wizard.currentPage(), 2);
    }

    // Where Jet does not exist the file is an SQLite file, and an Access name is refused.
    void fileDatabaseRefusesAnotherName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("access name") << QStringLiteral("accounts.mdb");
        QTest::newRow("other extension") << QStringLiteral("accounts.txt");
        QTest::newRow("picker cancelled") << QString();
    }
    void fileDatabaseRefusesAnotherName()
    {
        QFETCH(QString, name);
        WizardRun run;
        run.toCreatePage("optAccess");
        const QString path = name.isEmpty() ? QString() : run.program.env.path(name);
        run.prompter().answerFile(path).answerMessage(prompt::Answer::Ok);
        run.click("cmdPage2Next");
        run.expectMessage(QStringLiteral("Error: Commands Failed"),
                          QStringLiteral("There was an error creating database structure.\r\nPlease check and try again."),
                          prompt::Icon::Critical);
        QVERIFY(path.isEmpty() || !QFile::exists(path));
        QCOMPARE(run.wizard.currentPage(), 2);
        QVERIFY(run.saved().isEmpty());
    }

    // Where Jet does not exist, the file the wizard writes is shown as what it is: an SQLite file.
    void sqliteFileWritesTheTemplateAndAsksBeforeReplacing_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("db") << QStringLiteral("Servu.DB");
        QTest::newRow("sqlite") << QStringLiteral("accounts.sqlite");
    }
    void sqliteFileWritesTheTemplateAndAsksBeforeReplacing()
    {
        QFETCH(QString, name);
        WizardRun run;
        const auto contents = [](const QString& path) {
            QFile file(path);
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        };
        const QByteArray template_ = contents(embedded::resourcePath(embedded::TemplateDatabase));
        QVERIFY(template_.startsWith("SQLite format 3"));
        const QString path = run.program.env.path(name);
        const QString sqlite = QStringLiteral("Provider=SQLite;Data Source=") + path;

        QCOMPARE(run.wizard.findChild<QAbstractButton*>(QStringLiteral("optAccess"))->text(), QStringLiteral("SQLite"));
        run.toCreatePage("optAccess");
        QCOMPARE(run.wizard.findChild<QLabel*>(QStringLiteral("lblSubheading"))->text(), QStringLiteral("A new SQLite database file."));
        // The picker's answer comes back trimmed and without NULs.
        run.prompter().answerFile(path + QChar(0) + QStringLiteral("  "));
        run.click("cmdPage2Next");
        const PromptRecord picker = run.prompter().records().value(0);
        QCOMPARE(picker.caption, QStringLiteral("Save SQLite Database"));
        QCOMPARE(picker.text, QStringLiteral("SQLite database (*.db *.sqlite)"));
        QCOMPARE(picker.defaultText, QStringLiteral("servu.db"));
        QCOMPARE(contents(path), template_);
        QCOMPARE(run.saved(), sqlite);
        QCOMPARE(run.program.windows.configure().connectionString(), sqlite);
        QCOMPARE(run.wizard.currentPage(), 3);
        const QString log = run.logOf({"create sqlite database", "save the connection string", "Finish database creation"});
        QCOMPARE(run.wizard.logText(), log);
        Database written(run.saved());
        QVERIFY(written.open());
        QVERIFY(written.select(QStringLiteral("select username from users")).isValid());
        run.click("cmdFinish");
        QVERIFY(!run.wizard.isVisible());
        QCOMPARE(run.wizard.currentPage(), 1);

        // Again onto the same file: No leaves it alone, Yes replaces it; the log was kept.
        QFile changed(path);
        QVERIFY(changed.open(QIODevice::Append) && changed.write("accounts") > 0);
        changed.close();
        run.wizard.show();
        for (const prompt::Answer answer : {prompt::Answer::No, prompt::Answer::Yes}) {
            run.prompter().reset();
            if (run.wizard.currentPage() == 1)
                run.toCreatePage("optAccess");
            run.prompter().answerFile(path).answerMessage(answer);
            run.click("cmdPage2Next");
            const auto question = run.prompter().messages().value(0);
            QCOMPARE(question.text, QStringLiteral("The file \"%1\" already exists.\r\nDo you want to replace it?").arg(path));
            QCOMPARE(question.caption, QStringLiteral("Vantrel"));
            QCOMPARE(question.icon, prompt::Icon::Question);
            QCOMPARE(question.buttons, prompt::Buttons::YesNo);
            QCOMPARE(contents(path) == template_, answer == prompt::Answer::Yes);
            QCOMPARE(run.wizard.currentPage(), answer == prompt::Answer::Yes ? 3 : 2);
        }
        QVERIFY(run.wizard.logText().startsWith(log));
    }

    void createsPostgreSqlDatabase()
    {
        PostgresCluster* cluster = PostgresCluster::shared();
        QUILLMERE_REQUIRE(cluster, PostgresCluster::unavailableReason());
        const QByteArray previousUser = qgetenv("PGUSER");
        qputenv("PGUSER", "postgres");
        WizardRun run;
        run.toCreatePage("optPostgreSQL");
        run.prompter().answerInput(QStringLiteral("127.0.0.1:%1").arg(cluster->port())).answerInput(QStringLiteral("WizardDb"));
        run.click("cmdPage2Next");
        QCOMPARE(run.prompter().unusedSteps(), 0);
        QVERIFY2(run.prompter().messages().isEmpty(), qPrintable(run.prompter().messageTexts().join(QLatin1Char('\n'))));
        QCOMPARE(run.prompter().records()[0].defaultText, QStringLiteral("localhost"));

        // PostgreSQL folds names to lower case; the wizard does so in the string too.
        const QString expected =
            QStringLiteral("Provider=PostgreSQL;Data Source=127.0.0.1;Port=%1;Initial Catalog=wizarddb;").arg(cluster->port());
        QCOMPARE(run.saved(), expected);
        QCOMPARE(run.program.windows.configure().connectionString(), expected);
        QCOMPARE(run.wizard.currentPage(), 3);
        QCOMPARE(run.wizard.logText(),
                 run.logOf({"get connnection string", "create database", "Wait for database to be opened", "modify connection string",
                            "create tables", "save the connection string", "Finish database creation"}));
        QStringList accountTables;
        for (const schema::Table& table : schema::accountTables())
            accountTables << table.name;
        accountTables.sort();
        QCOMPARE(tablesOf(expected), accountTables);
        QVERIFY(Session(run.program.env.context).open(Session::Feedback::Quiet));

        // The same name again: the database exists, nothing is saved.
        run.click("cmdFinish");
        run.wizard.show();
        run.program.env.settings.saveConnectionString(QStringLiteral("before"));
        run.prompter().reset();
        run.toCreatePage("optPostgreSQL");
        run.prompter().answerInput(QStringLiteral("127.0.0.1:%1").arg(cluster->port())).answerInput(QStringLiteral("WizardDb"));
        run.prompter().answerMessage(prompt::Answer::Ok);
        run.click("cmdPage2Next");
        run.expectMessage(QStringLiteral("Error: Commands Failed"),
                          QStringLiteral("There was an error creating database structure.\r\n"
                                         "Please check your connection string and try again."),
                          prompt::Icon::Critical);
        QCOMPARE(run.saved(), QStringLiteral("before"));
        QCOMPARE(run.wizard.currentPage(), 2);
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
        QUILLMERE_REQUIRE(QSqlDatabase::isDriverAvailable(driver), QStringLiteral("no %1 driver").arg(driver));
        // Accepts connections and never says a word.
        QTcpServer silent;
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        WizardRun run;
        run.wizard.setConnectTimeout(std::chrono::milliseconds(timeoutMs));
        run.toCreatePage(qPrintable(option));
        const QString typedServer = server.arg(silent.serverPort());
        run.prompter().answerInput(typedServer).answerInput(QStringLiteral("Vantrel"));
        if (option == QLatin1String("optSQL")) {
            run.prompter().onModal(QStringLiteral("frmDataLink"), [&](QWidget* dataLink) {
                const auto box = [dataLink](const char* name) { return dataLink->findChild<QLineEdit*>(QLatin1String(name)); };
                const auto enabled = [dataLink](const char* name) { return dataLink->findChild<QWidget*>(QLatin1String(name))->isEnabled(); };
                // The server typed and the database to be created are not the dialog's to change.
                QCOMPARE(box("txtServer")->text(), typedServer);
                QVERIFY(!enabled("cboProvider") && !enabled("txtServer") && !enabled("txtDatabase") && !enabled("optIntegrated"));
                QVERIFY(dataLink->findChild<QAbstractButton*>(QStringLiteral("optUserPassword"))->isChecked());
                run.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("Please enter the user name."));
                dataLink->findChild<QAbstractButton*>(QStringLiteral("cmdOK"))->click();
                QVERIFY(dataLink->isVisible());
                box("txtUserName")->setText(QStringLiteral("sa"));
                box("txtPassword")->setText(QStringLiteral("Secret;1"));
                dataLink->findChild<QAbstractButton*>(QStringLiteral("cmdOK"))->click();
                run.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("There was an error while connecting"));
            });
        } else {
            run.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("There was an error while connecting"));
        }

        // While it waits the window keeps working: a second click and Escape change nothing.
        bool busyMeanwhile = false;
        bool nextEnabledMeanwhile = true;
        QTimer::singleShot(100, &run.wizard, [&] {
            busyMeanwhile = run.wizard.isBusy();
            nextEnabledMeanwhile = run.wizard.findChild<QWidget*>(QStringLiteral("cmdPage2Next"))->isEnabled();
            run.wizard.cmdPage2Next_Click();
            QTest::keyClick(&run.wizard, Qt::Key_Escape);
        });
        QElapsedTimer clock;
        clock.start();
        run.click("cmdPage2Next");
        const qint64 elapsed = clock.elapsed();

        const PromptRecord unreachable = run.prompter().messages().constLast();
        QCOMPARE(unreachable.caption, QStringLiteral("Error: Database unreachable"));
        QCOMPARE(unreachable.text, QStringLiteral("There was an error while connecting to your database. \r\nPlease Try again"));
        QCOMPARE(unreachable.icon, prompt::Icon::Exclamation);
        QCOMPARE(run.prompter().unusedSteps(), 0);
        // Bounds of behaviour, not of speed: the silent server is given up on rather than waited for.
        QVERIFY2(elapsed >= timeoutMs && elapsed < timeoutMs + 10000, qPrintable(QString::number(elapsed)));
        QVERIFY(busyMeanwhile);
        QVERIFY(!nextEnabledMeanwhile);
        QVERIFY(silent.hasPendingConnections() || silent.waitForNewConnection(1000));
        QVERIFY(run.wizard.isVisible());
        QVERIFY(!run.wizard.isBusy());
        QVERIFY(run.wizard.findChild<QWidget*>(QStringLiteral("cmdPage2Next"))->isEnabled());
        QCOMPARE(run.wizard.currentPage(), 2);
        QVERIFY(run.saved().isEmpty());
        // The abandoned open ends as soon as its server hangs up.
        while (QTcpSocket* socket = silent.nextPendingConnection())
            delete socket;
        silent.close();
        QTest::qWait(50);
    }

    void existingDatabaseWithoutAConnectionString_data()
    {
        QTest::addColumn<QString>("option");
        QTest::newRow("data link cancelled") << "optSQL";
        QTest::newRow("file picker cancelled") << "optAccess";
    }
    void existingDatabaseWithoutAConnectionString()
    {
        QFETCH(QString, option);
        WizardRun run;
        run.program.env.settings.saveConnectionString(QStringLiteral("before"));
        run.wizard.showFormFace(4);
        run.click(qPrintable(option));
        if (option == QLatin1String("optSQL")) {
            run.prompter().onModal(QStringLiteral("frmDataLink"), [](QWidget* dataLink) {
                QCOMPARE(dataLink->findChild<QComboBox*>(QStringLiteral("cboProvider"))->currentText(),
                         QStringLiteral("Microsoft SQL Server"));
                dataLink->findChild<QAbstractButton*>(QStringLiteral("cmdCancel"))->click();
            });
        } else {
            run.prompter().answerFile(QString());
        }
        run.prompter().answerMessage(prompt::Answer::Ok);
        run.click("cmdPage4Next");
        run.expectMessage(QStringLiteral("Error: No Connection string"),
                          QStringLiteral("There was an error creating your connection string.\r\nPlease try again."),
                          prompt::Icon::Exclamation);
        QCOMPARE(run.wizard.currentPage(), 4);
        QVERIFY(run.wizard.isVisible());
        QCOMPARE(run.saved(), QStringLiteral("before"));
        QCOMPARE(run.wizard.logText().contains(QStringLiteral("get connnection string")), option == QLatin1String("optSQL"));
    }

    void existingPostgreSqlThroughTheDataLink()
    {
        PostgresCluster* cluster = PostgresCluster::shared();
        QUILLMERE_REQUIRE(cluster, PostgresCluster::unavailableReason());
        const QString database = cluster->createDatabase();
        QVERIFY(!database.isEmpty());
        WizardRun run;
        run.wizard.showFormFace(4);
        run.click("optPostgreSQL");
        ScriptedPrompter& prompter = run.prompter();
        prompter.onModal(QStringLiteral("frmDataLink"), [&](QWidget* dataLink) {
            const auto fill = [&](const char* name, const QString& text) {
                dataLink->findChild<QLineEdit*>(QLatin1String(name))->setText(text);
            };
            const auto press = [&](const char* name) { dataLink->findChild<QAbstractButton*>(QLatin1String(name))->click(); };
            QCOMPARE(dataLink->findChild<QComboBox*>(QStringLiteral("cboProvider"))->currentText(), QStringLiteral("PostgreSQL"));
            fill("txtServer", QStringLiteral("127.0.0.1"));
            fill("txtPort", QString::number(cluster->port()));
            fill("txtUserName", QStringLiteral("postgres"));
            fill("txtDatabase", QStringLiteral("no_such_database"));
            prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("no_such_database"));
            press("cmdTest");
            fill("txtDatabase", database);
            prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("Test connection succeeded."));
            press("cmdTest");
            press("cmdOK");
        });
        run.click("cmdPage4Next");
        QCOMPARE(prompter.unusedSteps(), 0);
        QVERIFY(prompter.messages().value(0).text.startsWith(QStringLiteral("Test connection failed")));
        const QString expected = QStringLiteral("Provider=PostgreSQL;Data Source=127.0.0.1;Port=%1;Initial Catalog=%2;User ID=postgres;")
                                     .arg(cluster->port())
                                     .arg(database);
        QCOMPARE(run.saved(), expected);
        QCOMPARE(run.program.windows.configure().connectionString(), expected);
        QVERIFY(!run.wizard.isVisible());
        QCOMPARE(run.wizard.currentPage(), 1);
        QVERIFY(Session(run.program.env.context).open(Session::Feedback::Quiet));
    }

    void existingFileIsRecordedNotWritten()
    {
        WizardRun run;
        // The Jet string an earlier wizard saved for its file still opens it.
        const QString earlier = run.program.env.path(QStringLiteral("servu.mdb"));
        QVERIFY(embedded::writeEmbeddedFile(embedded::TemplateDatabase, earlier));
        run.program.env.settings.saveConnectionString(QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=") + earlier
                                                      + QStringLiteral(";Persist Security Info=False"));
        QVERIFY(Session(run.program.env.context).open(Session::Feedback::Quiet));

        const QString path = run.program.env.path(QStringLiteral("elsewhere.db"));
        run.wizard.showFormFace(4);
        run.prompter().answerFile(path);
        run.click("cmdPage4Next");
        QCOMPARE(run.prompter().records().value(0).caption, QStringLiteral("Save SQLite Database"));
        QCOMPARE(run.saved(), QStringLiteral("Provider=SQLite;Data Source=%1").arg(path));
        QVERIFY(!QFile::exists(path));
        QVERIFY(!run.wizard.isVisible());
    }
};

QUILLMERE_TEST(TestDatabaseWizard)
#include "TestDatabaseWizard.moc"
