#include "ProgramUnderTest.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "TestDatabase.h"

#include "db/DatabaseWizardWindow.h"
#include "platform/DateForm.h"
#include "server/ConfigureWindow.h"
#include "shell/EmbeddedFiles.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFocusEvent>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include <memory>

// The configuration window as start-up and repair show it: its controls, the
// commit button's timer, the folder pickers, the hidden log shortcut and Cancel.
class TestConfigureWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<ProgramUnderTest> m_program;

    ConfigureWindow& window() { return m_program->windows.configure(); }
    ScriptedPrompter& prompter() { return m_program->env.prompter; }
    template <typename T> T* control(const char* name) { return window().findChild<T*>(QLatin1String(name)); }
    QLineEdit* servuPath() { return control<QLineEdit>("txtServuPath"); }
    QLineEdit* ftpDirectory() { return control<QLineEdit>("txtFTPdirectory"); }
    QPlainTextEdit* connectionString() { return control<QPlainTextEdit>("txtConnectionString"); }
    QPushButton* commit() { return control<QPushButton>("cmdCommitChanges"); }

    void leave(QWidget* box)
    {
        QFocusEvent focusOut(QEvent::FocusOut, Qt::TabFocusReason);
        QApplication::sendEvent(box, &focusOut);
    }

private slots:
    void init()
    {
        // The installation's date form is taken from this locale: M/d/yyyy.
        QLocale::setDefault(QLocale(QStringLiteral("en_US")));
        m_program = std::make_unique<ProgramUnderTest>();
        m_program->env.tray.add(TrayPicture::Blue, QStringLiteral("Quillmere"));
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
            auto* frame = control<QGroupBox>(name);
            auto* label = control<QLabel>(name);
            QCOMPARE(frame ? frame->title() : label ? label->text() : control<QPushButton>(name)->text(), QLatin1String(caption));
        }
        QVERIFY(servuPath()->text().endsWith(QDir::separator()));
        QVERIFY(ftpDirectory()->text().endsWith(QDir::separator()));
        QCOMPARE(connectionString()->toPlainText(), QString());
        QVERIFY(connectionString()->verticalScrollBarPolicy() != Qt::ScrollBarAlwaysOff);
        // The installation's form comes first and is chosen; the common forms follow.
        auto* forms = control<QComboBox>("cboDateFormat");
        QCOMPARE(forms->currentData().toString(), m_program->env.dates.pattern());
        QCOMPARE(forms->currentIndex(), 0);
        QVERIFY(forms->findData(QStringLiteral("yyyy-MM-dd")) > 0);

        QTimer* timer = findTimer(&window(), QStringLiteral("tmrEnableCommit"));
        QCOMPARE(timer->interval(), 100);
        QVERIFY(!timer->isActive());
    }

    void commitIsEnabledOnlyWithAllThreeBoxesFilled()
    {
        window().show();
        window().enableCommitTimer();
        QTRY_VERIFY(!commit()->isEnabled()); // the connection string is empty

        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=a.db"));
        QTRY_VERIFY(commit()->isEnabled());

        for (QLineEdit* box : {servuPath(), ftpDirectory()}) {
            const QString before = box->text();
            box->clear();
            QTRY_VERIFY(!commit()->isEnabled());
            QTest::keyClicks(box, before);
            QTRY_VERIFY(commit()->isEnabled());
        }
    }

    void foldersArePickedAndCancelChangesNothing()
    {
        prompter().answerFolder(QStringLiteral("/opt/serv-u")).answerFolder(QString());
        QTest::mouseClick(control<QPushButton>("cmdBrowseProgramPath"), Qt::LeftButton);
        QCOMPARE(servuPath()->text(), QStringLiteral("/opt/serv-u"));
        const QString ftpBefore = ftpDirectory()->text();
        QTest::mouseClick(control<QPushButton>("cmdBrowseServerPath"), Qt::LeftButton);
        QCOMPARE(ftpDirectory()->text(), ftpBefore);

        const auto records = prompter().records();
        QCOMPARE(records.size(), 2);
        QCOMPARE(records[0].caption, QStringLiteral("Select the path of your Serv-u program"));
        QCOMPARE(records[1].caption, QStringLiteral("Select default FTP server directory"));
    }

    void showLogTypedIntoTheProgramPathOpensTheStatusLog()
    {
        servuPath()->clear();
        QTest::keyClicks(servuPath(), QStringLiteral("Show LOG"));
        prompter().onModal(QStringLiteral("frmStatus"), [](QWidget* status) { status->hide(); });
        leave(servuPath());
        QCOMPARE(prompter().unusedSteps(), 0);

        prompter().reset();
        servuPath()->setText(QStringLiteral("show logs"));
        leave(servuPath());
        QVERIFY(prompter().records().isEmpty());
    }

    void cancelHidesAndSavesNothing_data()
    {
        QTest::addColumn<bool>("byEscape");
        QTest::newRow("Cancel") << false;
        QTest::newRow("Escape") << true;
    }
    void cancelHidesAndSavesNothing()
    {
        QFETCH(bool, byEscape);
        const QByteArray settingsBefore = contents(m_program->env.settingsPath());
        window().enableCommitTimer();
        window().show();
        servuPath()->setText(QStringLiteral("/opt/elsewhere/"));
        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=x.db"));
        if (byEscape)
            QTest::keyClick(&window(), Qt::Key_Escape);
        else
            QTest::mouseClick(control<QPushButton>("cmdCancel"), Qt::LeftButton);
        QVERIFY(!window().isVisible());
        QVERIFY(!window().isCommitTimerActive());
        QCOMPARE(contents(m_program->env.settingsPath()), settingsBefore);
        QVERIFY(!m_program->env.process.hasEnded());
        QCOMPARE(m_program->env.tray.current(), TrayPicture::Blue);
        // The boxes keep what was typed for the next opening.
        QCOMPARE(servuPath()->text(), QStringLiteral("/opt/elsewhere/"));
    }

    void cancelInRepairModeEndsTheProgram()
    {
        const QByteArray settingsBefore = contents(m_program->env.settingsPath());
        window().setTag(QStringLiteral("CDB"));
        window().enableCommitTimer();
        window().show();
        TrayPicture trayDuringMessage = TrayPicture::None;
        prompter().answerMessage(prompt::Answer::Ok);
        QTest::mouseClick(control<QPushButton>("cmdCancel"), Qt::LeftButton);
        trayDuringMessage = m_program->env.tray.current();

        const auto messages = prompter().messages();
        QCOMPARE(messages.size(), 1);
        QCOMPARE(messages[0].caption, QStringLiteral("Quillmere CRITICAL ERROR"));
        QCOMPARE(messages[0].icon, prompt::Icon::Critical);
        QCOMPARE(messages[0].buttons, prompt::Buttons::Ok);
        QCOMPARE(messages[0].text, QStringLiteral("We could not connect to the database specified. \r\n"
                                                  "To reconfigure the program settings, please run Quillmere again.\r\n"
                                                  "\r\nQuillmere will now close. "));
        QCOMPARE(trayDuringMessage, TrayPicture::Red);
        QVERIFY(!m_program->env.tray.isAdded());
        QCOMPARE(m_program->env.process.exitCodes(), QList<int>({0}));
        QVERIFY(!window().isCommitTimerActive());
        QCOMPARE(contents(m_program->env.settingsPath()), settingsBefore);
    }

private:
    // A configured program whose configuration window points at a real server folder.
    struct Server
    {
        QString folder;
        QString ini;
    };
    Server prepareServer(const QByteArray& ini, const char* iniName = "ServUDaemon.ini")
    {
        const QString folder = m_program->env.path(QStringLiteral("servu"));
        QDir().mkpath(folder);
        QFile program(folder + QStringLiteral("/servu.bin"));
        program.open(QIODevice::WriteOnly);
        QFile iniFile(folder + QLatin1Char('/') + QLatin1String(iniName));
        iniFile.open(QIODevice::WriteOnly);
        iniFile.write(ini);
        QDir().mkpath(m_program->env.path(QStringLiteral("ftp")));
        servuPath()->setText(folder);
        ftpDirectory()->setText(m_program->env.path(QStringLiteral("ftp")));
        return {folder, iniFile.fileName()};
    }

    // Commits with the one message the commit is expected to show answered.
    void commitAnswering(prompt::Answer answer, const QString& message)
    {
        prompter().answerMessage(answer, message);
        QTest::mouseClick(commit(), Qt::LeftButton);
        QCOMPARE(prompter().unusedSteps(), 0);
    }

    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private slots:
    void commitRegistersThePluginOnce_data() { addEngineRows(); }
    void commitRegistersThePluginOnce()
    {
        QUILLMERE_OPEN_DATABASE(db, m_program->env);
        m_program->start();
        const Server server = prepareServer("[GLOBAL]\r\nVersion=6.4\r\n");
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
        QCOMPARE(servuPath()->text(), server.folder + QDir::separator());
        SettingsStore& settings = m_program->env.settings;
        QCOMPARE(settings.getRegSettings(QStringLiteral("servu_path")), server.folder + QDir::separator());
        QCOMPARE(settings.getRegSettings(QStringLiteral("ftp_directory")), m_program->env.path(QStringLiteral("ftp")) + QDir::separator());
        QCOMPARE(settings.getRegSettings(QStringLiteral("ini_path")), server.ini);
        QCOMPARE(settings.readConnectionString(), db->connectionString());
        // The plug-in, byte for byte, and the INI file with its section on top.
        QFile carried(embedded::resourcePath(embedded::AuthPlugin));
        QVERIFY(carried.open(QIODevice::ReadOnly));
        QCOMPARE(contents(server.folder + QStringLiteral("/Gatewick.dll")), carried.readAll());
        QCOMPARE(contents(server.ini), QByteArray("[EXTERNAL]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n[GLOBAL]\r\nVersion=6.4\r\n\r\n"));

        // A second commit writes neither the plug-in nor the INI file again. It changes
        // the date form: every stored date is written anew in it, and every process reads it.
        QFile plugin(server.folder + QStringLiteral("/Gatewick.dll"));
        QVERIFY(plugin.open(QIODevice::WriteOnly));
        plugin.write("an older plug-in");
        plugin.close();
        const QByteArray registered = contents(server.ini);
        db->exec(QStringLiteral("INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip, Expires, DisableOn) "
                                "VALUES ('dated', 'c:\\x', 1, 1, '12/1/2026', 'soon')"));
        auto* forms = control<QComboBox>("cboDateFormat");
        forms->setCurrentIndex(forms->findData(QStringLiteral("yyyy-MM-dd")));
        window().show();
        commitAnswering(prompt::Answer::Ok, QStringLiteral("You must restart"));
        QCOMPARE(contents(server.folder + QStringLiteral("/Gatewick.dll")), QByteArray("an older plug-in"));
        QCOMPARE(contents(server.ini), registered);
        QCOMPARE(db->column(QStringLiteral("select Expires from users")), QStringList({"2026-12-01"}));
        QCOMPARE(db->column(QStringLiteral("select DisableOn from users")), QStringList({"soon"}));
        QCOMPARE(settings.getRegSettings(DateForm::SettingName), QStringLiteral("yyyy-MM-dd"));
        QCOMPARE(m_program->env.dates.pattern(), QStringLiteral("yyyy-MM-dd"));
    }

    void bothIniFilesAskWhichOne_data()
    {
        QTest::addColumn<prompt::Answer>("answer");
        QTest::addColumn<QString>("chosen");
        QTest::newRow("yes, serv-u.ini") << prompt::Answer::Yes << "serv-u.ini";
        QTest::newRow("no, ServUDaemon.ini") << prompt::Answer::No << "ServUDaemon.ini";
    }

    void bothIniFilesAskWhichOne()
    {
        QFETCH(prompt::Answer, answer);
        QFETCH(QString, chosen);
        m_program->configure();
        const Server server = prepareServer("[external]\r\nClientCheckDLL1=Other.dll\r\n");
        QFile second(server.folder + QStringLiteral("/serv-u.ini"));
        QVERIFY(second.open(QIODevice::WriteOnly));
        second.write("[external]\r\nClientCheckDLL1=Other.dll\r\n");
        second.close();
        connectionString()->setPlainText(m_program->env.settings.readConnectionString());
        prompter().answerMessage(answer, QStringLiteral("There were two Serv-U INI files found.\r\n\r\nWould you like to use \"Serv-u.INI\"?\r\n"
                                                        "Press \"No\" to use \"Servudaemon.ini\""));
        commitAnswering(prompt::Answer::Ok, QStringLiteral("You must restart"));
        const QString chosenPath = server.folder + QLatin1Char('/') + chosen;
        QCOMPARE(m_program->env.settings.getRegSettings(QStringLiteral("ini_path")), chosenPath);
        QCOMPARE(contents(chosenPath), QByteArray("[external]\r\nClientCheckDLL1=Gatewick.dll\r\nClientCheckDLL1=Other.dll\r\n\r\n\r\n"));
        const QString other = server.folder + (chosen == QLatin1String("serv-u.ini") ? QStringLiteral("/ServUDaemon.ini") : QStringLiteral("/serv-u.ini"));
        QCOMPARE(contents(other), QByteArray("[external]\r\nClientCheckDLL1=Other.dll\r\n"));
    }

    void foldersAreCheckedBeforeAnythingIsSaved()
    {
        m_program->configure();
        const Server server = prepareServer("[EXTERNAL]\r\n");
        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=x.db"));
        const QString settingsBefore = QString::fromUtf8(contents(m_program->env.settingsPath()));
        const auto refused = [&](const QString& message, prompt::Answer answer = prompt::Answer::Ok) {
            prompter().reset();
            commitAnswering(answer, message);
        };
        servuPath()->setText(QString(32001, QLatin1Char('p')));
        refused(QStringLiteral("The number of characters in the Serv-U program path field"));
        servuPath()->setText(QString(32000, QLatin1Char('p')));
        refused(QStringLiteral("The Serv-U path specified is not valid."));
        const QString empty = m_program->env.path(QStringLiteral("empty"));
        QDir().mkpath(empty);
        servuPath()->setText(empty);
        refused(QStringLiteral("does not have any Serv-U program files in it."));
        // A UNC form of an existing folder asks first; No leaves everything unsaved.
        servuPath()->setText(QLatin1Char('/') + server.folder);
        refused(QStringLiteral("The Serv-U path specified is a network or UNC path."), prompt::Answer::No);
        QCOMPARE(prompter().messages()[0].defaultAnswer, prompt::Answer::No);
        servuPath()->setText(server.folder);
        ftpDirectory()->setText(QStringLiteral("ftp://example.org/pub"));
        refused(QStringLiteral("The FTP directory path specified is not valid."));
        QCOMPARE(QString::fromUtf8(contents(m_program->env.settingsPath())), settingsBefore);
        QVERIFY(!QFile::exists(server.folder + QStringLiteral("/Gatewick.dll")));
    }

    void settingsStayWhenTheDatabaseCannotBeOpened()
    {
        m_program->configure();
        const Server server = prepareServer("[EXTERNAL]\r\n");
        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=/no/such/accounts.db"));
        window().show();
        commitAnswering(prompt::Answer::Ok, QStringLiteral("The database could not be opened please recheck your connectionstring"));
        QVERIFY(window().isVisible());
        QCOMPARE(m_program->env.settings.readConnectionString(), QStringLiteral("Provider=SQLite;Data Source=/no/such/accounts.db"));
        QVERIFY(QFile::exists(server.folder + QStringLiteral("/Gatewick.dll")));
        QCOMPARE(contents(server.ini), QByteArray("[EXTERNAL]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n\r\n"));
    }

    void missingIniFileOffersAnotherFolder()
    {
        m_program->configure();
        const Server server = prepareServer("x", "notes.txt");
        connectionString()->setPlainText(m_program->env.settings.readConnectionString());
        commitAnswering(prompt::Answer::No, QStringLiteral("The Serv-u.ini file was not found in the path specified."));
        // What was saved before stays: the folders and the plug-in.
        QCOMPARE(m_program->env.settings.getRegSettings(QStringLiteral("servu_path")), server.folder + QDir::separator());
        QVERIFY(QFile::exists(server.folder + QStringLiteral("/Gatewick.dll")));
        // Yes picks another folder and runs the whole commit again.
        const QString otherFolder = m_program->env.path(QStringLiteral("other-servu"));
        QDir().mkpath(otherFolder);
        QFile otherIni(otherFolder + QStringLiteral("/serv-u.ini"));
        QVERIFY(otherIni.open(QIODevice::WriteOnly));
        otherIni.close();
        prompter().reset();
        prompter().answerMessage(prompt::Answer::Yes, QStringLiteral("The Serv-u.ini file was not found")).answerFolder(otherFolder);
        commitAnswering(prompt::Answer::Ok, QStringLiteral("You must restart"));
        QCOMPARE(m_program->env.settings.getRegSettings(QStringLiteral("ini_path")), otherIni.fileName());
    }

    void globalRulesChangeTheLabel()
    {
        m_program->configure();
        window().show();
        const auto editRules = [&](const QString& rule) {
            prompter().onModal(QStringLiteral("frmGlobalIPAccess"), [&](QWidget* dialog) {
                auto* entry = dialog->findChild<QLineEdit*>(QStringLiteral("txtIPaddress"));
                auto* list = dialog->findChild<QListWidget*>(QStringLiteral("lstRules"));
                if (rule.isEmpty()) {
                    list->clear();
                } else {
                    QTest::keyClicks(entry, rule);
                    auto* add = dialog->findChild<QPushButton*>(QStringLiteral("cmdAdd"));
                    QVERIFY(QTest::qWaitFor([add] { return add->isEnabled(); }, 2000));
                    QTest::mouseClick(add, Qt::LeftButton);
                }
                QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
            });
            QTest::mouseClick(control<QPushButton>("cmdGlobalIPAccess"), Qt::LeftButton);
            QCOMPARE(prompter().unusedSteps(), 0);
        };
        editRules(QStringLiteral("10.0.0.1"));
        QCOMPARE(control<QLabel>("lblRules")->text(),
                 QStringLiteral("Access rules exist. Click Modify IP Rules button for more information."));
        editRules(QString());
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
        QTest::mouseClick(control<QPushButton>("cmdConnectionString"), Qt::LeftButton);
        QCOMPARE(prompter().unusedSteps(), 0);
        QCOMPARE(prompter().messages()[0].icon, prompt::Icon::Exclamation);
        QCOMPARE(shownPage, page);
    }

    void hugeIniFileWithOtherLineEnds()
    {
        m_program->configure();
        QByteArray huge;
        huge.reserve(50 * 1024 * 1024);
        while (huge.size() < 50 * 1024 * 1024)
            huge += "Key=some value of a line that ends with a line feed alone\n";
        const Server server = prepareServer(huge);
        connectionString()->setPlainText(m_program->env.settings.readConnectionString());
        commitAnswering(prompt::Answer::Ok, QStringLiteral("You must restart"));
        const QByteArray written = contents(server.ini);
        QVERIFY(written.startsWith("[EXTERNAL]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\nKey="));
        QCOMPARE(written.size(), huge.size() + 46);
        QVERIFY(written.mid(44, huge.size()) == huge);
    }
};

QUILLMERE_TEST(TestConfigureWindow)
#include "TestConfigureWindow.moc"
