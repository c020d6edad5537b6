#include "app/AppWindows.h"

#include "platform/ProcessControl.h"
#include "platform/Prompter.h"

#include "accounts/UserPage.h"
#include "server/DatabaseWizardWindow.h"
#include "limits/DiskQuotaWindow.h"
#include "limits/MiscSetupWindow.h"
#include "limits/UDRatiosWindow.h"
#include "maintenance/AboutWindow.h"
#include "maintenance/MigrateWindow.h"
#include "server/ProFtpdWindow.h"
#include "server/ConfigureWindow.h"
#include "server/IpRulesWindow.h"
#include "server/LoginTestWindow.h"
#include "services/AppContext.h"
#include "accounts/ExpiringWindow.h"
#include "app/MainWindow.h"
#include "services/ProgramExit.h"
#include "app/SplashWindow.h"
#include "app/StatusWindow.h"

#include <QGuiApplication>
#include <QSessionManager>

AppWindows::AppWindows(AppContext& context)
    : m_ctx(context)
{
    // The end of the desktop session ends the program without the exit question.
    connect(qGuiApp, &QGuiApplication::commitDataRequest, this,
            [this](QSessionManager&) { exitProgram(m_ctx, ExitMode::AtOnce); });
    m_ctx.repairConnection = [this] { repairConnection(); };
}

void AppWindows::repairConnection()
{
    ConfigureWindow& window = configure();
    window.setTag(ConfigureWindow::RepairTag);
    window.enableCommitTimer();
    m_ctx.prompter.runModal(&window);
    // The operation that asked waits until the commit clears the tag; Cancel ends the program.
    while (window.tag() == ConfigureWindow::RepairTag && window.isVisible() && !m_ctx.process.hasEnded())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

AppWindows::~AppWindows() = default;

void AppWindows::start()
{
    splash().start();
}

SplashWindow& AppWindows::splash()
{
    if (!m_splash) {
        m_splash = std::make_unique<SplashWindow>(m_ctx);
        connect(m_splash.get(), &SplashWindow::mainWindowRequested, this, [this] { main().showMain(); });
    }
    return *m_splash;
}

MainWindow& AppWindows::main()
{
    if (!m_main) {
        m_main = std::make_unique<MainWindow>(m_ctx, *this, m_page);
        connectUserPage();
    }
    return *m_main;
}

void AppWindows::connectUserPage()
{
    UserPage& page = m_main->userPage();
    const auto showDialog = [](QDialog& dialog) {
        dialog.show();
        dialog.raise();
        dialog.activateWindow();
    };
    connect(&page, &UserPage::accountOptionsRequested, this, [this, showDialog] {
        miscSetup().popInfo();
        showDialog(miscSetup());
    });
    connect(&page, &UserPage::transferRatiosRequested, this, [this, showDialog] {
        udRatios().thisFormLoadData();
        showDialog(udRatios());
    });
    connect(&page, &UserPage::diskQuotaRequested, this, [this, showDialog] {
        diskQuota().popQuota();
        showDialog(diskQuota());
    });
    // The account's rules are loaded anew, for the account shown now, at every opening.
    connect(&page, &UserPage::ipAccessRequested, this, [this, showDialog] {
        ipAccess().popList();
        showDialog(ipAccess());
    });
}

DatabaseWizardWindow& AppWindows::databaseWizard()
{
    if (!m_databaseWizard) {
        m_databaseWizard = std::make_unique<DatabaseWizardWindow>(m_ctx);
        connect(m_databaseWizard.get(), &DatabaseWizardWindow::connectionStringChosen, this,
                [this](const QString& connection) { configure().setConnectionString(connection); });
    }
    return *m_databaseWizard;
}

IpRulesWindow& AppWindows::ipAccess()
{
    if (!m_ipAccess)
        m_ipAccess = std::make_unique<IpRulesWindow>(m_ctx, m_page, IpRulesWindow::Scope::Account);
    return *m_ipAccess;
}

IpRulesWindow& AppWindows::globalIpAccess()
{
    if (!m_globalIpAccess) {
        m_globalIpAccess = std::make_unique<IpRulesWindow>(m_ctx, m_page, IpRulesWindow::Scope::Global);
        connect(m_globalIpAccess.get(), &IpRulesWindow::globalRulesSaved, this, [this] { configure().checkLabelStatus(); });
    }
    return *m_globalIpAccess;
}

MiscSetupWindow& AppWindows::miscSetup()
{
    if (!m_miscSetup) {
        m_miscSetup = std::make_unique<MiscSetupWindow>(m_ctx, m_page);
        connect(m_miscSetup.get(), &MiscSetupWindow::accountSaved, this,
                [this] { main().userPage().loadUserData(m_page.currentUser); });
        // Enter on the calendar destroys the window; the next use creates it afresh.
        connect(m_miscSetup.get(), &MiscSetupWindow::destroyRequested, this,
                [this] { m_miscSetup.release()->deleteLater(); });
    }
    return *m_miscSetup;
}

UDRatiosWindow& AppWindows::udRatios()
{
    if (!m_udRatios)
        m_udRatios = std::make_unique<UDRatiosWindow>(m_ctx, m_page);
    return *m_udRatios;
}

ProFtpdWindow& AppWindows::proFtpd()
{
    if (!m_proFtpd)
        m_proFtpd = std::make_unique<ProFtpdWindow>(m_ctx);
    return *m_proFtpd;
}

MigrateWindow& AppWindows::migrate()
{
    if (!m_migrate)
        m_migrate = std::make_unique<MigrateWindow>(m_ctx);
    return *m_migrate;
}

ExpiringWindow& AppWindows::expiring()
{
    if (!m_expiring)
        m_expiring = std::make_unique<ExpiringWindow>(m_ctx);
    return *m_expiring;
}

LoginTestWindow& AppWindows::testLogin()
{
    if (!m_testLogin)
        m_testLogin = std::make_unique<LoginTestWindow>(m_ctx);
    return *m_testLogin;
}

DiskQuotaWindow& AppWindows::diskQuota()
{
    if (!m_diskQuota)
        m_diskQuota = std::make_unique<DiskQuotaWindow>(m_ctx, m_page);
    return *m_diskQuota;
}

StatusWindow& AppWindows::status()
{
    if (!m_status)
        m_status = std::make_unique<StatusWindow>(m_ctx.log);
    return *m_status;
}

AboutWindow& AppWindows::about()
{
    if (!m_about) {
        m_about = std::make_unique<AboutWindow>();
        connect(m_about.get(), &AboutWindow::showLogRevealed, this, [this] { main().revealShowLog(); });
    }
    return *m_about;
}

ConfigureWindow& AppWindows::configure()
{
    if (!m_configure) {
        m_configure = std::make_unique<ConfigureWindow>(m_ctx);
        connect(m_configure.get(), &ConfigureWindow::statusLogRequested, this, [this] { m_ctx.prompter.runModal(&status()); });
        connect(m_configure.get(), &ConfigureWindow::databaseWizardRequested, this, [this](int face) {
            databaseWizard().showFormFace(face);
            m_ctx.prompter.runModal(&databaseWizard());
        });
        connect(m_configure.get(), &ConfigureWindow::globalIpRulesRequested, this, [this] {
            globalIpAccess().popList();
            m_ctx.prompter.runModal(&globalIpAccess());
        });
        connect(m_configure.get(), &ConfigureWindow::settingsCommitted, this, [this] { main().popMain(); });
    }
    return *m_configure;
}
