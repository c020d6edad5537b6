#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "server/ConfigureWindow.h"
#include "server/DatabaseWizardWindow.h"
#include "server/ServerIni.h"
#include "services/EmbeddedFiles.h"

#include <QComboBox>
#include <QDir>
#include <QFocusEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include <memory>

Q_DECLARE_METATYPE(serverini::Change)

// The configuration window driven through its controls; the commit's edit of the
// server's INI file is compared as bytes. Cancel in repair mode and a commit there
// are the session's tests.
class TestConfigureWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<ProgramUnderTest> m_program;

    TestEnvironment& env() { return m_program->env; }
    ConfigureWindow& window() { return m_program->windows.configure(); }
    ScriptedPrompter& prompter() { return env().prompter; }
    template <typename T = QPushButton> T* control(const char* name) { return window().findChild<T*>(QLatin1String(name)); }
    QLineEdit* servuPath() { return control<QLineEdit>("txtServuPath"); }
    QLineEdit* ftpDirectory() { return control<QLineEdit>("txtFTPdirectory"); }
    QPlainTextEdit* connectionString() { return control<QPlainTextEdit>("txtConnectionString"); }
    void click(const char* name) { QTest::mouseClick(control(name), Qt::LeftButton); }
    QString setting(const char* name) { return env().settings.getRegSettings(QLatin1String(name)); }

    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static void write(const QString& path, const QByteArray& content)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    }
    // A configured program on the given database (or a fresh SQLite one), its server's folder
    // with a program file and the INI file, all named in the boxes; returns the folder.
    QString configuredServer(const QByteArray& ini, const QString& iniName = QStringLiteral("ServUDaemon.ini"), const QString& database = {})
    {
        m_program->configure(database);
        const QString folder = env().path(QStringLiteral("servu"));
        write(folder + QStringLiteral("/servu.bin"), {});
        write(folder + QLatin1Char('/') + iniName, ini);
        servuPath()->setText(folder);
        ftpDirectory()->setText(env().path(QStringLiteral("ftp")));
        connectionString()->setPlainText(env().settings.readConnectionString());
        return folder;
    }
    // Commits with the one message the commit is expected to show answered.
    void commitAnswering(prompt::Answer answer, const QString& message)
    {
        prompter().answerMessage(answer, message);
        click("cmdCommitChanges");
        QCOMPARE(prompter().unusedSteps(), 0);
    }

private slots:
    void init()
    {
        // The installation's date form is taken from this locale: M/d/yyyy.
        QLocale::setDefault(QLocale(QStringLiteral("en_US")));
        m_program = std::make_unique<ProgramUnderTest>();
    }
    void cleanup()
    {
        m_program.reset();
        QLocale::setDefault(QLocale::c());
    }

    // The pickers fill their box unless cancelled; Commit is enabled only with all three
    // boxes filled; "show log" typed as the program path opens the status log; the
    // Database Wizard button opens the wizard on the page the answer asks for; and
    // Escape, like Cancel, leaves without saving anything, the boxes keeping their text.
    void boxesAndButtons()
    {
        const QByteArray settingsBefore = contents(env().settingsPath());
        prompter().answerFolder(QString()).answerFolder(QStringLiteral("/srv/files"));
        const QString servuBefore = servuPath()->text();
        click("cmdBrowseProgramPath");
        click("cmdBrowseServerPath");
        QCOMPARE(servuPath()->text(), servuBefore);
        QCOMPARE(ftpDirectory()->text(), QStringLiteral("/srv/files"));

        window().show();
        window().enableCommitTimer();
        const auto commitEnabled = [this] {
            fireTimer(&window(), QStringLiteral("tmrEnableCommit"));
            return control("cmdCommitChanges")->isEnabled();
        };
        QVERIFY(!commitEnabled()); // no connection string yet
        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=a.db"));
        QVERIFY(commitEnabled());
        for (QLineEdit* box : {servuPath(), ftpDirectory()}) {
            const QString before = box->text();
            box->clear();
            QVERIFY(!commitEnabled());
            box->setText(before);
        }

        QFocusEvent focusOut(QEvent::FocusOut, Qt::TabFocusReason);
        prompter().onModal(QStringLiteral("frmStatus"), [](QWidget* status) { status->hide(); });
        for (const char* typed : {"Show LOG", "show logs"}) {
            servuPath()->setText(QLatin1String(typed));
            QApplication::sendEvent(servuPath(), &focusOut);
        }

        for (const auto& [answer, page] : {std::pair{prompt::Answer::Yes, 1}, std::pair{prompt::Answer::No, 4}, std::pair{prompt::Answer::Cancel, 0}}) {
            prompter().answerMessage(answer, QStringLiteral("\r\nTo create a new database select Yes.\r\nTo select an existing database select No.\r\n"));
            int shown = 0;
            if (page != 0) {
                prompter().onModal(QStringLiteral("frmDatabaseWizard1"), [&shown](QWidget* wizard) {
                    shown = static_cast<DatabaseWizardWindow*>(wizard)->currentPage();
                    wizard->hide();
                });
            }
            click("cmdConnectionString");
            QCOMPARE(shown, page);
        }
        QCOMPARE(prompter().unusedSteps(), 0);

        QTest::keyClick(&window(), Qt::Key_Escape);
        QVERIFY(!window().isVisible());
        QVERIFY(!window().isCommitTimerActive());
        QVERIFY(env().process.exitCodes().isEmpty());
        QCOMPARE(contents(env().settingsPath()), settingsBefore);
        QCOMPARE(ftpDirectory()->text(), QStringLiteral("/srv/files"));
    }

    // The first commit saves the settings, writes the plug-in and registers it on top of the
    // INI file, every other byte kept. A second writes neither again; it changes the date
    // form, so every stored date is written anew in it, and every process reads it.
    void commitRegistersThePluginOnce_data() { addEngineRows(); }
    void commitRegistersThePluginOnce()
    {
        QUILLMERE_OPEN_DATABASE(db, env());
        const QString folder = configuredServer("[GLOBAL]\r\nVersion=6.4\r\nMotd=caf\xe9\r\n", QStringLiteral("ServUDaemon.ini"), db->connectionString());
        const QString ini = folder + QStringLiteral("/ServUDaemon.ini");
        const QString plugin = folder + QStringLiteral("/Gatewick.dll");
        window().show();
        commitAnswering(prompt::Answer::Ok, QStringLiteral("You must restart the Serv-U server before changes will take effect."));
        QVERIFY(!window().isVisible());
        // The trailing separator was added.
        QCOMPARE(setting("servu_path"), folder + QDir::separator());
        QCOMPARE(setting("ftp_directory"), env().path(QStringLiteral("ftp")) + QDir::separator());
        QCOMPARE(setting("ini_path"), ini);
        QCOMPARE(env().settings.readConnectionString(), db->connectionString());
        QCOMPARE(env().dates.pattern(), QStringLiteral("M/d/yyyy"));
        const QByteArray carried = contents(embedded::resourcePath(embedded::AuthPlugin));
        QVERIFY(!carried.isEmpty());
        QCOMPARE(contents(plugin), carried);
        QCOMPARE(contents(ini), QByteArray("[EXTERNAL]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n[GLOBAL]\r\nVersion=6.4\r\nMotd=caf\xe9\r\n\r\n"));

        write(plugin, "an older plug-in");
        const QByteArray registered = contents(ini);
        db->exec(QStringLiteral("INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip, Expires, DisableOn) "
                                "VALUES ('dated', 'c:\\x', 1, 1, '12/1/2026', 'soon')"));
        auto* forms = control<QComboBox>("cboDateFormat");
        forms->setCurrentIndex(forms->findData(QStringLiteral("yyyy-MM-dd")));
        window().show();
        commitAnswering(prompt::Answer::Ok, QStringLiteral("You must restart"));
        QCOMPARE(contents(plugin), QByteArray("an older plug-in"));
        QCOMPARE(contents(ini), registered);
        QCOMPARE(db->column(QStringLiteral("select Expires from users")), QStringList({"2026-12-01"}));
        QCOMPARE(db->column(QStringLiteral("select DisableOn from users")), QStringList({"soon"}));
        QCOMPARE(env().settings.getRegSettings(DateForm::SettingName), QStringLiteral("yyyy-MM-dd"));
        QCOMPARE(env().dates.pattern(), QStringLiteral("yyyy-MM-dd"));
    }

    // The folders are checked before anything is saved. Without an INI file the folders and the
    // plug-in are saved; No ends the commit there. A database that cannot be opened keeps the
    // window open, with the settings and the INI file's edit saved.
    void refusedCommits()
    {
        const QString folder = configuredServer("x", QStringLiteral("notes.txt"));
        const QByteArray settingsBefore = contents(env().settingsPath());
        const auto refused = [&](const QString& message, prompt::Answer answer = prompt::Answer::Ok) {
            prompter().reset();
            commitAnswering(answer, message);
        };
        servuPath()->setText(QString(32001, QLatin1Char('p')));
        refused(QStringLiteral("The number of characters in the Serv-U program path field"));
        servuPath()->setText(QString(32000, QLatin1Char('p')));
        refused(QStringLiteral("The Serv-U path specified is not valid."));
        QDir().mkpath(env().path(QStringLiteral("empty")));
        servuPath()->setText(env().path(QStringLiteral("empty")));
        refused(QStringLiteral("does not have any Serv-U program files in it."));
        // A UNC form of an existing folder asks first.
        servuPath()->setText(QLatin1Char('/') + folder);
        refused(QStringLiteral("The Serv-U path specified is a network or UNC path."), prompt::Answer::No);
        QCOMPARE(prompter().messages()[0].defaultAnswer, prompt::Answer::No);
        servuPath()->setText(folder);
        ftpDirectory()->setText(QStringLiteral("ftp://example.org/pub"));
        refused(QStringLiteral("The FTP directory path specified is not valid."));
        QCOMPARE(contents(env().settingsPath()), settingsBefore);
        QVERIFY(!QFile::exists(folder + QStringLiteral("/Gatewick.dll")));

        ftpDirectory()->setText(env().path(QStringLiteral("ftp")));
        refused(QStringLiteral("The Serv-u.ini file was not found in the path specified."), prompt::Answer::No);
        QCOMPARE(setting("servu_path"), folder + QDir::separator());
        QVERIFY(QFile::exists(folder + QStringLiteral("/Gatewick.dll")));

        // Yes picks another folder and commits again. Of its two INI files, found in any case, the
        // administrator picks serv-u.ini.
        const QString other = env().path(QStringLiteral("other-servu/"));
        const QByteArray old("[external]\r\nClientCheckDLL1=Other.dll\r\n");
        QDir().mkpath(other);
        write(other + QStringLiteral("SERV-U.INI"), old);
        write(other + QStringLiteral("servudaemon.ini"), old);
        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=/no/such/accounts.db"));
        prompter().reset();
        prompter().answerMessage(prompt::Answer::Yes, QStringLiteral("The Serv-u.ini file was not found")).answerFolder(other);
        prompter().answerMessage(prompt::Answer::Yes, QStringLiteral("There were two Serv-U INI files found.\r\n\r\n"
                                                                     "Would you like to use \"Serv-u.INI\"?\r\nPress \"No\" to use \"Servudaemon.ini\""));
        window().show();
        commitAnswering(prompt::Answer::Ok, QStringLiteral("The database could not be opened please recheck your connectionstring"));
        QVERIFY(window().isVisible());
        QCOMPARE(setting("ini_path"), other + QStringLiteral("SERV-U.INI"));
        QCOMPARE(contents(other + QStringLiteral("SERV-U.INI")),
                 QByteArray("[external]\r\nClientCheckDLL1=Gatewick.dll\r\nClientCheckDLL1=Other.dll\r\n\r\n\r\n"));
        QCOMPARE(contents(other + QStringLiteral("servudaemon.ini")), old);
        QCOMPARE(env().settings.readConnectionString(), QStringLiteral("Provider=SQLite;Data Source=/no/such/accounts.db"));
    }

    // OK in the global rule dialog stores its list in place of the old one, leaves the rules
    // of accounts alone, and the window's label follows.
    void globalRulesAndTheLabel()
    {
        QString whyNot;
        auto db = TestDatabase::create(TestEngine::Sqlite, env(), &whyNot);
        QVERIFY2(db, qPrintable(whyNot));
        m_program->configure(db->connectionString());
        db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values ('*', '10.8.8.8')"));
        const auto saved = [this](const QString& rule) {
            prompter().onModal(QStringLiteral("frmGlobalIPAccess"), [&rule](QWidget* dialog) {
                dialog->findChild<QListWidget*>(QStringLiteral("lstRules"))->clear();
                QTest::keyClicks(dialog->findChild<QLineEdit*>(QStringLiteral("txtIPaddress")), rule);
                fireTimer(dialog, QStringLiteral("tmrRules"));
                QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("cmdAdd")), Qt::LeftButton);
                QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
            });
            click("cmdGlobalIPAccess");
            return control<QLabel>("lblRules")->text();
        };
        QCOMPARE(saved(QStringLiteral("10.0.0.0/8")), QStringLiteral("Access rules exist. Click Modify IP Rules button for more information."));
        QCOMPARE(db->column(QStringLiteral("select ip from blocked_ips")), QStringList({"10.0.0.0/8"}));
        QCOMPARE(saved(QString()), QStringLiteral("No IP rules are set. Server is available to everyone"));
        QCOMPARE(db->column(QStringLiteral("select ip from blocked_ips")), QStringList());
        QCOMPARE(db->column(QStringLiteral("select ip from blocked_ips_by_user")), QStringList({"10.8.8.8"}));
    }

    // The edits no commit above makes: headers in any case and padded, the plug-in named in
    // any case, and line feeds alone, which make the file one line where [EXTERNAL] is no header.
    void iniEdits_data()
    {
        QTest::addColumn<QByteArray>("old");
        QTest::addColumn<serverini::Change>("change");
        QTest::addColumn<QByteArray>("edited");
        QTest::newRow("below every header") << QByteArray("[GLOBAL]\r\n  [external]  \r\nClientCheckDLL1=Other.dll\r\nKey=\xff\xfe\r\n[External]")
                                            << serverini::Change::AddedLine
                                            << QByteArray("[GLOBAL]\r\n  [external]  \r\nClientCheckDLL1=Gatewick.dll\r\nClientCheckDLL1=Other.dll\r\n"
                                                          "Key=\xff\xfe\r\n[External]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n");
        QTest::newRow("named in any case") << QByteArray("[EXTERNAL]\r\nclientcheckdll1=GATEWICK.DLL\r\n")
                                           << serverini::Change::AlreadyRegistered << QByteArray();
        QTest::newRow("line feeds alone") << QByteArray("[EXTERNAL]\nClientCheckDLL1=Other.dll\n") << serverini::Change::AddedSection
                                          << QByteArray("[EXTERNAL]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n[EXTERNAL]\nClientCheckDLL1=Other.dll\n\r\n");
    }
    void iniEdits()
    {
        QFETCH(QByteArray, old);
        const auto edit = serverini::registerPlugin(old);
        QTEST(edit.change, "change");
        QTEST(edit.text, "edited");
    }
    void iniFileErrorsNameTheFile()
    {
        QByteArray read;
        const QString missing = env().path(QStringLiteral("no/such/folder/serv-u.ini"));
        QVERIFY(serverini::readFile(missing, &read).contains(missing));
        QVERIFY(serverini::replaceFile(missing, "x").contains(missing));
    }
};

QUILLMERE_TEST(TestConfigureWindow)
#include "TestConfigureWindow.moc"
