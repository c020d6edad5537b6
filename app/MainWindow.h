#pragma once

#include "accounts/PageState.h"

#include <QMainWindow>

class AppWindows;
class QAction;
class QHBoxLayout;
class QMenu;
class QPushButton;
class QTimer;
class QVBoxLayout;
class UserPage;
struct AppContext;

// frmMain: the program's one working screen. It lives for the whole run; closing
// or minimising it only hides it to the notification area, or minimises it to the
// task bar on a desktop without one.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    MainWindow(AppContext& context, AppWindows& windows, PageState& page);
    ~MainWindow() override;

    // Loads the window on first use (tray icon, settings, sweep, user list), then shows it.
    void showMain();
    bool isLoaded() const { return m_loaded; }

    PageState& pageState() { return m_page; }
    UserPage& userPage() { return *m_userPage; }
    int minuteCounter() const { return m_minuteCounter; }

    // Makes the hidden "Show Log" item of the Help menu visible for the rest of the run.
    void revealShowLog();

    // Refills the user list and loads the first user.
    void popMain();
    // Saves the user page.
    void cmdStore_Click();

    // Menu items.
    void mnuConfigure_Click();
    void mnuExit_Click();
    void edit1_cut_Click();
    void edit1_copy_Click();
    void edit1_paste_Click();
    void tools1_migrate_Click();
    void tools1_expiring_Click();
    void tools1_testLogin_Click();
    void tools1_proftpd_Click();
    void mnuItemHelp_Click();
    void ShowLog_Click();
    void checkUpdates_Click();
    void help_web_Click();
    void mnuItemAbout_Click();
    void icon_restore1_Click();
    void icon_about1_Click();
    void icon_exit1_Click();

    // Frame buttons.
    void cmdExit_Click();
    void cmdOK_Click();
    void cmdHelp_Click();

    // Timers.
    void Timer1_Timer();
    void tmrTime_Timer();

    // A mouse message of the tray icon (515 double click, 516 right button).
    void trayMouseMessage(int message);

protected:
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void setupMenus();
    void setupTrayMenu();
    void setupCentral();
    void setupTimers();
    void setupTray();

    void load();
    void loadSettings();
    void seedRandom();
    void hideToTray();
    bool ending() const;

    QAction* addMenuItem(QMenu* menu, const QString& objectName, const QString& caption,
                         void (MainWindow::*handler)());
    QAction* addSeparator(QMenu* menu, const QString& objectName);
    QPushButton* addFrameButton(QHBoxLayout* bar, const QString& objectName, const QString& caption,
                                void (MainWindow::*handler)());

    AppContext& m_ctx;
    AppWindows& m_windows;
    PageState& m_page;
    bool m_loaded = false;
    int m_minuteCounter = 0;
    // Minimised to the task bar because the desktop offered no notification area.
    bool m_minimisedToTaskBar = false;

    UserPage* m_userPage = nullptr;
    QAction* m_showLog = nullptr;
    QMenu* m_iconMenu = nullptr;
    QTimer* m_timer1 = nullptr;
    QTimer* m_tmrTime = nullptr;
};
