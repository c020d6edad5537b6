#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"

#include "server/DatabaseWizardWindow.h"
#include "server/ConfigureWindow.h"
#include "server/IpRulesWindow.h"
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
#include <QSignalSpy>
#include <QTest>

#include <memory>

Q_DECLARE_METATYPE(serverini::Change)

// The configuration window as start-up and repair show it: its controls, the
// commit button's timer, the folder pickers, the hidden log shortcut and Cancel;
// the commit's edit of the server's INI file, kept as bytes.
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
    // A server folder (a program file and the INI file) and the FTP folder, named in the boxes.
    QString prepareServer(const QByteArray& ini, const QString& iniName = QStringLiteral("ServUDaemon.ini"))
    {
        const QString folder = env().path(QStringLiteral("servu"));
        QDir().mkpath(folder);
        QDir().mkpath(env().path(QStringLiteral("ftp")));
        write(folder + QStringLiteral("/servu.bin"), {});
        write(folder + QLatin1Char('/') + iniName, ini);
        servuPath()->setText(folder);
        ftpDirectory()->setText(env().path(QStringLiteral("ftp")));
        return folder;
    }
    // The same for a configured program, its database named in the box.
    QString configuredServer(const QByteArray& ini, const QString& iniName = QStringLiteral("ServUDaemon.ini"))
    {
        m_program->configure();
        connectionString()->setPlainText(env().settings.readConnectionString());
        return prepareServer(ini, iniName);
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
        env().tray.add(TrayPicture::Blue, QStringLiteral("Quillmere"));
    }
    void cleanup()
    {
        m_program.reset();
        QLocale::setDefault(QLocale::c());
    }

    void designTimeTexts()
    {
        QCOMPARE(window().objectName(), QStringLiteral("frmConfigure"));
        QCOMPARE(window().windowTitle(), QStringLiteral("Quillmere Configuration"));
        const QList<QPair<const char*, const char*>> captions{
            {"Frame4", "Serv-u program path"}, {"Frame6", "Default FTP server directory"}, {"Frame1", "Database"},
            {"Frame5", "Global IP Access Rules"}, {"fraDates", "Dates"}, {"lblDateFormat", "Short date form of the account dates"},
            {"Label3", "Must be located on this computer."},
            {"Label1", "Database connection string"}, {"lblRules", "No IP rules are set. Server is available to everyone."},
            {"cmdBrowseProgramPath", "..."}, {"cmdBrowseServerPath", "..."}, {"cmdConnectionString", "Database Wizard"},
            {"cmdGlobalIPAccess", "Modify IP Rules"}, {"cmdCommitChanges", "Commit changes"}, {"cmdCancel", "Cancel"}};
        for (const auto& [name, caption] : captions) {
            const QWidget* shown = control<QWidget>(name);
            QCOMPARE(shown->property(shown->inherits("QGroupBox") ? "title" : "text").toString(), QLatin1String(caption));
        }
        // The installation's form comes first and is chosen; the common forms follow.
        auto* forms = control<QComboBox>("cboDateFormat");
        QCOMPARE(forms->currentData().toString(), env().dates.pattern());
        QCOMPARE(forms->currentIndex(), 0);
        QVERIFY(forms->findData(QStringLiteral("yyyy-MM-dd")) > 0);
    }

    void commitIsEnabledOnlyWithAllThreeBoxesFilled()
    {
        window().show();
        window().enableCommitTimer();
        QTRY_VERIFY(!control("cmdCommitChanges")->isEnabled()); // the connection string is empty
        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=a.db"));
        QTRY_VERIFY(control("cmdCommitChanges")->isEnabled());
        for (QLineEdit* box : {servuPath(), ftpDirectory()}) {
            const QString before = box->text();
            box->clear();
            QTRY_VERIFY(!control("cmdCommitChanges")->isEnabled());
            QTest::keyClicks(box, before);
            QTRY_VERIFY(control("cmdCommitChanges")->isEnabled());
        }
    }

    void foldersArePickedAndCancelChangesNothing()
    {
        prompter().answerFolder(QStringLiteral("/opt/serv-u")).answerFolder(QString());
        click("cmdBrowseProgramPath");
        QCOMPARE(servuPath()->text(), QStringLiteral("/opt/serv-u"));
        const QString ftpBefore = ftpDirectory()->text();
        click("cmdBrowseServerPath");
        QCOMPARE(ftpDirectory()->text(), ftpBefore);
        const auto records = prompter().records();
        QCOMPARE(records.size(), 2);
        QCOMPARE(records[0].caption, QStringLiteral("Select the path of your Serv-u program"));
        QCOMPARE(records[1].caption, QStringLiteral("Select default FTP server directory"));
    }

    void showLogTypedIntoTheProgramPathOpensTheStatusLog()
    {
        QFocusEvent focusOut(QEvent::FocusOut, Qt::TabFocusReason);
        servuPath()->clear();
        QTest::keyClicks(servuPath(), QStringLiteral("Show LOG"));
        prompter().onModal(QStringLiteral("frmStatus"), [](QWidget* status) { status->hide(); });
        QApplication::sendEvent(servuPath(), &focusOut);
        QCOMPARE(prompter().unusedSteps(), 0);
        prompter().reset();
        servuPath()->setText(QStringLiteral("show logs"));
        QApplication::sendEvent(servuPath(), &focusOut);
        QVERIFY(prompter().records().isEmpty());
    }

    void cancelSavesNothing_data()
    {
        QTest::addColumn<QString>("way");
        QTest::newRow("Cancel") << "Cancel";
        QTest::newRow("Escape") << "Escape";
        QTest::newRow("Cancel in repair mode") << "repair";
    }
    void cancelSavesNothing()
    {
        QFETCH(QString, way);
        const bool repair = way == QLatin1String("repair");
        const QByteArray settingsBefore = contents(env().settingsPath());
        if (repair) {
            // Without a working database the program cannot go on: it says so and ends.
            window().setTag(QStringLiteral("CDB"));
            prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("We could not connect to the database specified. \r\n"
                                                                        "To reconfigure the program settings, please run Quillmere again.\r\n"
                                                                        "\r\nQuillmere will now close. "));
        }
        window().enableCommitTimer();
        window().show();
        servuPath()->setText(QStringLiteral("/opt/elsewhere/"));
        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=x.db"));
        if (way == QLatin1String("Escape"))
            QTest::keyClick(&window(), Qt::Key_Escape);
        else
            click("cmdCancel");
        QCOMPARE(prompter().unusedSteps(), 0);
        QVERIFY(repair || !window().isVisible());
        QVERIFY(!window().isCommitTimerActive());
        QCOMPARE(contents(env().settingsPath()), settingsBefore);
        QCOMPARE(env().process.exitCodes(), repair ? QList<int>({0}) : QList<int>());
        QCOMPARE(env().tray.current(), repair ? TrayPicture::Red : TrayPicture::Blue);
        QCOMPARE(env().tray.isAdded(), !repair);
        // The boxes keep what was typed for the next opening.
        QCOMPARE(servuPath()->text(), QStringLiteral("/opt/elsewhere/"));
    }

    void commitRegistersThePluginOnce_data() { addEngineRows(); }
    void commitRegistersThePluginOnce()
    {
        QUILLMERE_OPEN_DATABASE(db, env());
        m_program->start();
        const QString folder = prepareServer("[GLOBAL]\r\nVersion=6.4\r\nMotd=caf\xe9\r\n");
        const QString ini = folder + QStringLiteral("/ServUDaemon.ini");
        const QString plugin = folder + QStringLiteral("/Gatewick.dll");
        connectionString()->setPlainText(db->connectionString());
        window().setTag(QStringLiteral("CDB"));
        window().enableCommitTimer();
        window().show();
        prompter().reset();
        commitAnswering(prompt::Answer::Ok, QStringLiteral("You must restart the Serv-U server before changes will take effect."));
        QVERIFY(!window().isVisible());
        QCOMPARE(window().tag(), QString());
        QVERIFY(!window().isCommitTimerActive());
        // The trailing separator was added, and the settings saved.
        QCOMPARE(servuPath()->text(), folder + QDir::separator());
        QCOMPARE(setting("servu_path"), folder + QDir::separator());
        QCOMPARE(setting("ftp_directory"), env().path(QStringLiteral("ftp")) + QDir::separator());
        QCOMPARE(setting("ini_path"), ini);
        QCOMPARE(env().settings.readConnectionString(), db->connectionString());
        // The plug-in, byte for byte, and the INI file with its section on top, every other byte kept.
        const QByteArray carried = contents(embedded::resourcePath(embedded::AuthPlugin));
        QVERIFY(!carried.isEmpty());
        QCOMPARE(contents(plugin), carried);
        QCOMPARE(contents(ini), QByteArray("[EXTERNAL]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n[GLOBAL]\r\nVersion=6.4\r\nMotd=caf\xe9\r\n\r\n"));

        // A second commit writes neither the plug-in nor the INI file again. It changes
        // the date form: every stored date is written anew in it, and every process reads it.
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

    void bothIniFilesAskWhichOne_data()
    {
        QTest::addColumn<prompt::Answer>("answer");
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QString>("other");
        // Both names are found in any case.
        QTest::newRow("yes, serv-u.ini") << prompt::Answer::Yes << "SERV-U.INI" << "servudaemon.ini";
        QTest::newRow("no, ServUDaemon.ini") << prompt::Answer::No << "servudaemon.ini" << "SERV-U.INI";
    }
    void bothIniFilesAskWhichOne()
    {
        QFETCH(prompt::Answer, answer);
        QFETCH(QString, chosen);
        QFETCH(QString, other);
        const QByteArray old("[external]\r\nClientCheckDLL1=Other.dll\r\n");
        const QString folder = configuredServer(old, chosen) + QLatin1Char('/');
        write(folder + other, old);
        prompter().answerMessage(answer, QStringLiteral("There were two Serv-U INI files found.\r\n\r\nWould you like to use \"Serv-u.INI\"?\r\n"
                                                        "Press \"No\" to use \"Servudaemon.ini\""));
        commitAnswering(prompt::Answer::Ok, QStringLiteral("You must restart"));
        QCOMPARE(setting("ini_path"), folder + chosen);
        QCOMPARE(contents(folder + chosen), QByteArray("[external]\r\nClientCheckDLL1=Gatewick.dll\r\nClientCheckDLL1=Other.dll\r\n\r\n\r\n"));
        QCOMPARE(contents(folder + other), old);
    }

    void foldersAreCheckedBeforeAnythingIsSaved()
    {
        const QString folder = configuredServer("[EXTERNAL]\r\n");
        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=x.db"));
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
        // A UNC form of an existing folder asks first; No leaves everything unsaved.
        servuPath()->setText(QLatin1Char('/') + folder);
        refused(QStringLiteral("The Serv-U path specified is a network or UNC path."), prompt::Answer::No);
        QCOMPARE(prompter().messages()[0].defaultAnswer, prompt::Answer::No);
        servuPath()->setText(folder);
        ftpDirectory()->setText(QStringLiteral("ftp://example.org/pub"));
        refused(QStringLiteral("The FTP directory path specified is not valid."));
        QCOMPARE(contents(env().settingsPath()), settingsBefore);
        QVERIFY(!QFile::exists(folder + QStringLiteral("/Gatewick.dll")));
    }

    void settingsStayWhenTheDatabaseCannotBeOpened()
    {
        const QString folder = configuredServer("[EXTERNAL]\r\n");
        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=/no/such/accounts.db"));
        window().show();
        commitAnswering(prompt::Answer::Ok, QStringLiteral("The database could not be opened please recheck your connectionstring"));
        QVERIFY(window().isVisible());
        QCOMPARE(env().settings.readConnectionString(), QStringLiteral("Provider=SQLite;Data Source=/no/such/accounts.db"));
        QVERIFY(QFile::exists(folder + QStringLiteral("/Gatewick.dll")));
        QCOMPARE(contents(folder + QStringLiteral("/ServUDaemon.ini")), QByteArray("[EXTERNAL]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n\r\n"));
    }

    void missingIniFileOffersAnotherFolder()
    {
        const QString folder = configuredServer("x", QStringLiteral("notes.txt"));
        commitAnswering(prompt::Answer::No, QStringLiteral("The Serv-u.ini file was not found in the path specified."));
        // What was saved before stays: the folders and the plug-in.
        QCOMPARE(setting("servu_path"), folder + QDir::separator());
        QVERIFY(QFile::exists(folder + QStringLiteral("/Gatewick.dll")));
        // Yes picks another folder and runs the whole commit again.
        const QString otherIni = env().path(QStringLiteral("other-servu/servudaemon.ini"));
        QDir().mkpath(env().path(QStringLiteral("other-servu")));
        write(otherIni, {});
        prompter().reset();
        prompter().answerMessage(prompt::Answer::Yes, QStringLiteral("The Serv-u.ini file was not found"))
            .answerFolder(env().path(QStringLiteral("other-servu")));
        commitAnswering(prompt::Answer::Ok, QStringLiteral("You must restart"));
        QCOMPARE(setting("ini_path"), otherIni);
    }

    // Cancel and Escape in the global rule dialog store nothing; OK stores its list in
    // order, the rules of accounts stay, and the window's label follows.
    void globalRulesAreSavedByOkAndShownInTheLabel()
    {
        m_program->configure();
        Database db(env().settings.readConnectionString());
        QVERIFY(db.open());
        QVERIFY(db.execute(QStringLiteral("insert into blocked_ips (ip) values ('172.16.0.1')")));
        QVERIFY(db.execute(QStringLiteral("insert into blocked_ips_by_user (username, ip) values ('*', '10.8.8.8')")));
        const auto stored = [&db](const char* table) {
            QStringList rules;
            for (Rows rows = db.select(QStringLiteral("select ip from %1").arg(QLatin1String(table))); rows.next();)
                rules.append(rows.text(QStringLiteral("ip")));
            return rules;
        };
        const auto editRules = [&](const QString& rule, const char* leave) {
            prompter().onModal(QStringLiteral("frmGlobalIPAccess"), [&](QWidget* dialog) {
                if (rule.isEmpty()) {
                    dialog->findChild<QListWidget*>(QStringLiteral("lstRules"))->clear();
                } else {
                    QTest::keyClicks(dialog->findChild<QLineEdit*>(QStringLiteral("txtIPaddress")), rule);
                    auto* add = dialog->findChild<QPushButton*>(QStringLiteral("cmdAdd"));
                    QVERIFY(QTest::qWaitFor([add] { return add->isEnabled(); }, 2000));
                    QTest::mouseClick(add, Qt::LeftButton);
                }
                if (leave)
                    QTest::mouseClick(dialog->findChild<QPushButton*>(QLatin1String(leave)), Qt::LeftButton);
                else
                    QTest::keyClick(dialog, Qt::Key_Escape);
            });
            click("cmdGlobalIPAccess");
            QCOMPARE(prompter().unusedSteps(), 0);
        };
        QSignalSpy saved(&m_program->windows.globalIpAccess(), &IpRulesWindow::globalRulesSaved);
        window().show();
        QCOMPARE(control<QLabel>("lblRules")->text(), QStringLiteral("Access rules exist. Click Modify IP Rules button for more information."));
        editRules(QStringLiteral("10.0.0.1"), "cmdCancel");
        editRules(QStringLiteral("10.0.0.1"), nullptr);
        QCOMPARE(saved.count(), 0);
        QCOMPARE(stored("blocked_ips"), QStringList({"172.16.0.1"}));
        editRules(QStringLiteral("10.0.0.0/8"), "cmdOK");
        QCOMPARE(saved.count(), 1);
        QCOMPARE(stored("blocked_ips"), QStringList({"172.16.0.1", "10.0.0.0/8"}));
        QCOMPARE(stored("blocked_ips_by_user"), QStringList({"10.8.8.8"}));
        editRules(QString(), "cmdOK");
        QCOMPARE(stored("blocked_ips"), QStringList());
        QCOMPARE(control<QLabel>("lblRules")->text(), QStringLiteral("No IP rules are set. Server is available to everyone"));
    }

    void databaseWizardButtonOpensTheWizard_data()
    {
        QTest::addColumn<prompt::Answer>("answer");
        QTest::addColumn<int>("page");
        QTest::newRow("create") << prompt::Answer::Yes << 1;
        QTest::newRow("existing") << prompt::Answer::No << 4;
        QTest::newRow("cancel") << prompt::Answer::Cancel << 0;
    }
    void databaseWizardButtonOpensTheWizard()
    {
        QFETCH(prompt::Answer, answer);
        QFETCH(int, page);
        prompter().answerMessage(answer, QStringLiteral("\r\nTo create a new database select Yes.\r\nTo select an existing database select No.\r\n"));
        int shownPage = 0;
        if (page != 0) {
            prompter().onModal(QStringLiteral("frmDatabaseWizard1"), [&](QWidget* wizard) {
                shownPage = static_cast<DatabaseWizardWindow*>(wizard)->currentPage();
                wizard->hide();
            });
        }
        click("cmdConnectionString");
        QCOMPARE(prompter().unusedSteps(), 0);
        QCOMPARE(prompter().messages()[0].icon, prompt::Icon::Exclamation);
        QCOMPARE(shownPage, page);
    }

    // With line feeds alone the file is one line, so even its [EXTERNAL] is no header.
    void hugeIniFileWithOtherLineEnds()
    {
        QByteArray huge("[EXTERNAL]\nClientCheckDLL1=Other.dll\n");
        huge.reserve(50 * 1024 * 1024);
        while (huge.size() < 50 * 1024 * 1024)
            huge += "Key=some value of a line that ends with a line feed alone\n";
        const QString folder = configuredServer(huge);
        commitAnswering(prompt::Answer::Ok, QStringLiteral("You must restart"));
        QVERIFY(contents(folder + QStringLiteral("/ServUDaemon.ini")) == "[EXTERNAL]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n" + huge + "\r\n");
    }

    // The edits no commit above makes: headers in any case and padded, the plug-in named
    // in any case or in a comment, an empty file.
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
        QTest::newRow("named in a comment") << QByteArray("[EXTERNAL]\r\n; gatewick.dll was here\r\n")
                                            << serverini::Change::AlreadyRegistered << QByteArray();
        QTest::newRow("empty") << QByteArray() << serverini::Change::AddedSection
                               << QByteArray("[EXTERNAL]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n\r\n");
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
