#pragma once

#include "accounts/PageState.h"

#include <QObject>

#include <memory>

struct AppContext;
class AboutWindow;
class ConfigureWindow;
class DatabaseWizardWindow;
class DiskQuotaWindow;
class ExpiringWindow;
class IpRulesWindow;
class MigrateWindow;
class ProFtpdWindow;
class MiscSetupWindow;
class UDRatiosWindow;
class MainWindow;
class SplashWindow;
class StatusWindow;
class LoginTestWindow;

// Owns every window of the run. Each is created on first use and afterwards only
// hidden and shown again, so its controls keep their contents. The windows reach
// each other through here, and the links between them are wired here.
class AppWindows : public QObject
{
    Q_OBJECT

public:
    explicit AppWindows(AppContext& context);
    ~AppWindows() override;

    // Shows the splash; its timers carry the start-up on to the main window.
    void start();

    SplashWindow& splash();
    MainWindow& main();
    StatusWindow& status();
    AboutWindow& about();
    ConfigureWindow& configure();
    MiscSetupWindow& miscSetup();
    UDRatiosWindow& udRatios();
    DiskQuotaWindow& diskQuota();
    DatabaseWizardWindow& databaseWizard();
    IpRulesWindow& ipAccess();
    IpRulesWindow& globalIpAccess();
    MigrateWindow& migrate();
    ExpiringWindow& expiring();
    LoginTestWindow& testLogin();
    ProFtpdWindow& proFtpd();

    bool hasMain() const { return m_main != nullptr; }

private:
    // The configuration window in repair mode, after a failed database open.
    void repairConnection();
    // The user page's dialog buttons: each dialog loads the current user, then shows.
    void connectUserPage();

    AppContext& m_ctx;
    // The user page's state: the main window shows it, the account dialogs read and change it.
    PageState m_page;
    std::unique_ptr<SplashWindow> m_splash;
    std::unique_ptr<MainWindow> m_main;
    std::unique_ptr<StatusWindow> m_status;
    std::unique_ptr<AboutWindow> m_about;
    std::unique_ptr<ConfigureWindow> m_configure;
    std::unique_ptr<MiscSetupWindow> m_miscSetup;
    std::unique_ptr<UDRatiosWindow> m_udRatios;
    std::unique_ptr<DiskQuotaWindow> m_diskQuota;
    std::unique_ptr<DatabaseWizardWindow> m_databaseWizard;
    std::unique_ptr<IpRulesWindow> m_ipAccess;
    std::unique_ptr<IpRulesWindow> m_globalIpAccess;
    std::unique_ptr<MigrateWindow> m_migrate;
    std::unique_ptr<ExpiringWindow> m_expiring;
    std::unique_ptr<LoginTestWindow> m_testLogin;
    std::unique_ptr<ProFtpdWindow> m_proFtpd;
};
