#include "PostgresCluster.h"
#include "ProgramUnderTest.h"
#include "TestMain.h"

#include "db/DatabaseWizardWindow.h"
#include "db/Schema.h"
#include "server/ConfigureWindow.h"
#include "shell/EmbeddedFiles.h"
#include "shell/Session.h"
#include "shell/StatusLog.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QElapsedTimer>
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
    DatabaseWizardWindow wizard{program.env.context, program.windows};
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
        else // Integrated security cannot be had here, so the open fails at once.
            run.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("There was an error while connecting"));
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
        const bool connected = useProposal == prompt::Answer::Yes;
        QCOMPARE(run.wizard.logText().contains(QStringLiteral("Wait for database to be opened")), connected);
        QCOMPARE(run.program.env.log.contains(QStringLiteral("Integrated security is not available on this platform.")), connected);
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

    void accessRefusesAFileNotEndingInMdb_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("other extension") << QStringLiteral("accounts.db");
        QTest::newRow("picker cancelled") << QString();
    }
    void accessRefusesAFileNotEndingInMdb()
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

    void accessWritesTheTemplateAndAsksBeforeReplacing()
    {
        WizardRun run;
        const auto contents = [](const QString& path) {
            QFile file(path);
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        };
        const QByteArray template_ = contents(embedded::resourcePath(embedded::TemplateDatabase));
        QVERIFY(template_.startsWith("SQLite format 3"));
        const QString path = run.program.env.path(QStringLiteral("Servu.MDB"));
        const QString jet = QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=") + path + QStringLiteral(";Persist Security Info=False");

        run.toCreatePage("optAccess");
        // The picker's answer comes back trimmed and without NULs.
        run.prompter().answerFile(path + QChar(0) + QStringLiteral("  "));
        run.click("cmdPage2Next");
        const PromptRecord picker = run.prompter().records().value(0);
        QCOMPARE(picker.caption, QStringLiteral("Save Access Database"));
        QCOMPARE(picker.text, QStringLiteral("Access DB (*.mdb)"));
        QCOMPARE(picker.defaultText, QStringLiteral("servu.mdb"));
        QCOMPARE(contents(path), template_);
        QCOMPARE(run.saved(), jet);
        QCOMPARE(run.program.windows.configure().connectionString(), jet);
        QCOMPARE(run.wizard.currentPage(), 3);
        const QString log = run.logOf({"create access database", "save the connection string", "Finish database creation"});
        QCOMPARE(run.wizard.logText(), log);
        QVERIFY(Database(run.saved()).open());
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
        QTest::addColumn<int>("timeoutMs");
        // FreeTDS has no integrated security: the open fails at once, long before the time-out.
        QTest::newRow("sql server") << "optSQL" << "127.0.0.1,%1" << 20000;
        QTest::newRow("postgresql") << "optPostgreSQL" << "127.0.0.1:%1" << 400;
    }
    void unreachableServerGivesUp()
    {
        QFETCH(QString, option);
        QFETCH(QString, server);
        QFETCH(int, timeoutMs);
        const bool waits = timeoutMs < 1000;
        QUILLMERE_REQUIRE(!waits || QSqlDatabase::isDriverAvailable(QStringLiteral("QPSQL")), QStringLiteral("no QPSQL driver"));
        // Accepts connections and never says a word.
        QTcpServer silent;
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        WizardRun run;
        run.wizard.setConnectTimeout(std::chrono::milliseconds(timeoutMs));
        run.toCreatePage(qPrintable(option));
        run.prompter().answerInput(server.arg(silent.serverPort())).answerInput(QStringLiteral("Vantrel"));
        run.prompter().answerMessage(prompt::Answer::Ok);

        // While it waits the window keeps working: a second click and Escape change nothing.
        bool busyMeanwhile = false;
        bool nextEnabledMeanwhile = true;
        if (waits) {
            QTimer::singleShot(100, &run.wizard, [&] {
                busyMeanwhile = run.wizard.isBusy();
                nextEnabledMeanwhile = run.wizard.findChild<QWidget*>(QStringLiteral("cmdPage2Next"))->isEnabled();
                run.wizard.cmdPage2Next_Click();
                QTest::keyClick(&run.wizard, Qt::Key_Escape);
            });
        }
        QElapsedTimer clock;
        clock.start();
        run.click("cmdPage2Next");
        const qint64 elapsed = clock.elapsed();

        run.expectMessage(QStringLiteral("Error: Database unreachable"),
                          QStringLiteral("There was an error while connecting to your database. \r\nPlease Try again"),
                          prompt::Icon::Exclamation);
        QCOMPARE(run.prompter().unusedSteps(), 0);
        // Bounds of behaviour, not of speed: SQL Server's refusal comes before the time-out,
        // and the silent PostgreSQL server is given up on rather than waited for.
        QVERIFY2(elapsed < (waits ? timeoutMs + 10000 : timeoutMs), qPrintable(QString::number(elapsed)));
        if (waits) {
            QVERIFY2(elapsed >= timeoutMs, qPrintable(QString::number(elapsed)));
            QVERIFY(busyMeanwhile);
            QVERIFY(!nextEnabledMeanwhile);
            QVERIFY(silent.hasPendingConnections() || silent.waitForNewConnection(1000));
        }
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

    void existingAccessFileIsRecordedNotWritten()
    {
        WizardRun run;
        const QString path = run.program.env.path(QStringLiteral("elsewhere.mdb"));
        run.wizard.showFormFace(4);
        run.prompter().answerFile(path);
        run.click("cmdPage4Next");
        QCOMPARE(run.saved(), QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=%1;Persist Security Info=False").arg(path));
        QVERIFY(!QFile::exists(path));
        QVERIFY(!run.wizard.isVisible());
    }
};

QUILLMERE_TEST(TestDatabaseWizard)
#include "TestDatabaseWizard.moc"
