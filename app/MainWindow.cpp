#include "app/MainWindow.h"

#include "accounts/UserPage.h"
#include "maintenance/AboutWindow.h"
#include "maintenance/Help.h"
#include "maintenance/MigrateWindow.h"
#include "maintenance/UpdateCheck.h"
#include "platform/Clock.h"
#include "platform/InstanceLock.h"
#include "platform/KeySender.h"
#include "platform/ProcessControl.h"
#include "platform/Prompter.h"
#include "platform/SettingsStore.h"
#include "platform/TrayIcon.h"
#include "server/ConfigureWindow.h"
#include "server/LoginTestWindow.h"
#include "server/ProFtpdWindow.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"
#include "app/AppWindows.h"
#include "accounts/ExpiringWindow.h"
#include "services/ProgramExit.h"
#include "app/StatusWindow.h"

#include <QCloseEvent>
#include <QCursor>
#include <QFile>
#include <QHBoxLayout>
#include <QMenuBar>
#include <QPushButton>
#include <QTime>
#include <QTimer>
#include <QVBoxLayout>

#include <utility>

namespace {
constexpr int MinutesPerSweep = 1440;
} // namespace

MainWindow::MainWindow(AppContext& context, AppWindows& windows, PageState& page)
    : m_ctx(context)
    , m_windows(windows)
    , m_page(page)
{
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(appinfo::Product);
    setupMenus();
    setupTrayMenu();
    setupCentral();
    setupTimers();
    setupTray();
    resize(900, 640);
}

MainWindow::~MainWindow() = default;

QAction* MainWindow::addMenuItem(QMenu* menu, const QString& objectName, const QString& caption,
                                 void (MainWindow::*handler)())
{
    QAction* action = menu->addAction(caption);
    action->setObjectName(objectName);
    if (handler)
        connect(action, &QAction::triggered, this, handler);
    return action;
}

QAction* MainWindow::addSeparator(QMenu* menu, const QString& objectName)
{
    QAction* separator = menu->addSeparator();
    separator->setObjectName(objectName);
    return separator;
}

void MainWindow::setupMenus()
{
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    addMenuItem(file, QStringLiteral("mnuConfigure"), QStringLiteral("&Configure"), &MainWindow::mnuConfigure_Click);
    addMenuItem(file, QStringLiteral("mnuExit"), QStringLiteral("E&xit"), &MainWindow::mnuExit_Click);

    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    edit->setObjectName(QStringLiteral("edit1"));
    addMenuItem(edit, QStringLiteral("edit1_undo"), QStringLiteral("&Undo"), nullptr)->setEnabled(false);
    addSeparator(edit, QStringLiteral("edit1_dash1"));
    addMenuItem(edit, QStringLiteral("edit1_cut"), QStringLiteral("Cu&t"), &MainWindow::edit1_cut_Click);
    addMenuItem(edit, QStringLiteral("edit1_copy"), QStringLiteral("&Copy"), &MainWindow::edit1_copy_Click);
    addMenuItem(edit, QStringLiteral("edit1_paste"), QStringLiteral("&Paste"), &MainWindow::edit1_paste_Click);

    QMenu* tools = menuBar()->addMenu(QStringLiteral("&Tools"));
    tools->setObjectName(QStringLiteral("tools1"));
    addMenuItem(tools, QStringLiteral("tools1_migrate"), QStringLiteral("&Migration Utility"),
                &MainWindow::tools1_migrate_Click);
    addMenuItem(tools, QStringLiteral("tools1_proftpd"), QStringLiteral("&ProFTPD..."), &MainWindow::tools1_proftpd_Click);
    addSeparator(tools, QStringLiteral("tools1_dash1"));
    addMenuItem(tools, QStringLiteral("tools1_expiring"), QStringLiteral("&Expiring Accounts"),
                &MainWindow::tools1_expiring_Click);
    addMenuItem(tools, QStringLiteral("tools1_testLogin"), QStringLiteral("&Test Log-in…"),
                &MainWindow::tools1_testLogin_Click);

    QMenu* helpMenu = menuBar()->addMenu(QStringLiteral("&Help"));
    helpMenu->setObjectName(QStringLiteral("mnuHelp"));
    addMenuItem(helpMenu, QStringLiteral("mnuItemHelp"), QStringLiteral("&Help"), &MainWindow::mnuItemHelp_Click);
    addSeparator(helpMenu, QStringLiteral("mnuhyphen"));
    m_showLog = addMenuItem(helpMenu, QStringLiteral("ShowLog"), QStringLiteral("Show &Log"), &MainWindow::ShowLog_Click);
    m_showLog->setVisible(false);
    addMenuItem(helpMenu, QStringLiteral("checkUpdates"), QStringLiteral("Check for &Updates"),
                &MainWindow::checkUpdates_Click);
    addMenuItem(helpMenu, QStringLiteral("help_web"), QStringLiteral("Quillmere &Website"), &MainWindow::help_web_Click);
    addSeparator(helpMenu, QStringLiteral("mnudashhelp2"));
    addMenuItem(helpMenu, QStringLiteral("mnuItemAbout"), QStringLiteral("&About"), &MainWindow::mnuItemAbout_Click);
}

void MainWindow::setupTrayMenu()
{
    // iconMenu1 never shows on the menu bar: it is the tray icon's pop-up menu.
    m_iconMenu = new QMenu(QStringLiteral("Icon"), this);
    m_iconMenu->setObjectName(QStringLiteral("iconMenu1"));
    QAction* restore = addMenuItem(m_iconMenu, QStringLiteral("icon_restore1"), QStringLiteral("Restore"),
                                   &MainWindow::icon_restore1_Click);
    m_iconMenu->setDefaultAction(restore);
    addSeparator(m_iconMenu, QStringLiteral("icon_dash1"));
    addMenuItem(m_iconMenu, QStringLiteral("icon_cancel1"), QStringLiteral("Hide this menu"), nullptr);
    addSeparator(m_iconMenu, QStringLiteral("icon_dash2"));
    addMenuItem(m_iconMenu, QStringLiteral("icon_about1"), QStringLiteral("About"), &MainWindow::icon_about1_Click);
    addMenuItem(m_iconMenu, QStringLiteral("icon_exit1"), QStringLiteral("Exit"), &MainWindow::icon_exit1_Click);
}

QPushButton* MainWindow::addFrameButton(QHBoxLayout* bar, const QString& objectName, const QString& caption,
                                        void (MainWindow::*handler)())
{
    auto* button = new QPushButton(caption, this);
    button->setObjectName(objectName);
    button->setMinimumWidth(96);
    connect(button, &QPushButton::clicked, this, handler);
    bar->addWidget(button);
    return button;
}

void MainWindow::setupCentral()
{
    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->setSpacing(10);

    m_userPage = new UserPage(m_ctx, m_page, central);
    layout->addWidget(m_userPage, 1);

    auto* bar = new QHBoxLayout;
    bar->setObjectName(QStringLiteral("frameButtons"));
    for (QPushButton* action : m_userPage->actionButtons())
        bar->addWidget(action);
    bar->addStretch(1);
    addFrameButton(bar, QStringLiteral("cmdHelp"), QStringLiteral("Help"), &MainWindow::cmdHelp_Click);
    addFrameButton(bar, QStringLiteral("cmdOK"), QStringLiteral("Minimize"), &MainWindow::cmdOK_Click);
    addFrameButton(bar, QStringLiteral("cmdExit"), QStringLiteral("Exit"), &MainWindow::cmdExit_Click);
    layout->addLayout(bar);

    setCentralWidget(central);
}

void MainWindow::setupTimers()
{
    m_timer1 = new QTimer(this);
    m_timer1->setObjectName(QStringLiteral("Timer1"));
    m_timer1->setInterval(10000);
    m_timer1->setSingleShot(true);
    connect(m_timer1, &QTimer::timeout, this, &MainWindow::Timer1_Timer);

    m_tmrTime = new QTimer(this);
    m_tmrTime->setObjectName(QStringLiteral("tmrTime"));
    m_tmrTime->setInterval(60000);
    connect(m_tmrTime, &QTimer::timeout, this, &MainWindow::tmrTime_Timer);
}

void MainWindow::setupTray()
{
    connect(&m_ctx.tray, &TrayIcon::mouseMessage, this, &MainWindow::trayMouseMessage);
    // A second start of the program asks for the window the way a double click does.
    connect(&m_ctx.instanceLock, &InstanceLock::showRequested, this,
            [this] { trayMouseMessage(TrayIcon::LeftDoubleClick); });
}

bool MainWindow::ending() const
{
    return m_ctx.process.hasEnded();
}

void MainWindow::showMain()
{
    if (!m_loaded)
        load();
    if (ending())
        return;
    show();
}

void MainWindow::load()
{
    m_loaded = true;
    m_ctx.tray.add(TrayPicture::Blue, appinfo::Product);
    loadSettings();
    if (ending())
        return;
    m_ctx.logStatus(QStringLiteral("populate data from database into this form"));
    if (m_ctx.accountSweep)
        m_ctx.accountSweep();
    if (ending())
        return;
    if (m_ctx.lowerCaseStoredPaths)
        m_ctx.lowerCaseStoredPaths();
    if (ending())
        return;
    popMain();
    if (ending())
        return;
    seedRandom();
    m_timer1->start();
    m_tmrTime->start();
}

void MainWindow::loadSettings()
{
    m_ctx.logStatus(QStringLiteral("registry"));
    m_ctx.logStatus(QStringLiteral("On Error Resume Next"));
    m_ctx.logStatus(QStringLiteral("open the registry"));
    ConfigureWindow& configure = m_windows.configure();
    if (m_ctx.settings.connectionKeyExists()) {
        m_ctx.logStatus(QStringLiteral("load settings"));
        configure.fillFromStoredSettings();
        m_ctx.logStatus(QStringLiteral(" do not Show vbModal"));
        return;
    }
    m_ctx.prompter.tell(appinfo::Title,
                        QStringLiteral("Welcome to Quillmere.\r\n\r\n"
                                       "It seems like this is the first time you \r\n"
                                       "are running this application.\r\n\r\n"
                                       "Click OK to configure required settings."),
                        prompt::Icon::Information);
    configure.enableCommitTimer();
    m_ctx.prompter.runModal(&configure);
}

void MainWindow::seedRandom()
{
    // Seeded from the seconds since midnight, then once more from a draw times that count.
    const auto secondsSinceMidnight = static_cast<quint32>(m_ctx.clock.now().time().msecsSinceStartOfDay() / 1000);
    m_ctx.random.seed(secondsSinceMidnight);
    m_ctx.random.seed(m_ctx.random.generate() * secondsSinceMidnight);
}

void MainWindow::popMain()
{
    m_userPage->popMain();
}

void MainWindow::cmdStore_Click()
{
    m_userPage->cmdStore_Click();
}

void MainWindow::revealShowLog()
{
    m_showLog->setVisible(true);
}

void MainWindow::mnuConfigure_Click()
{
    ConfigureWindow& configure = m_windows.configure();
    configure.enableCommitTimer();
    m_ctx.prompter.runModal(&configure);
}

void MainWindow::mnuExit_Click()
{
    exitProgram(m_ctx, ExitMode::Ask);
}

void MainWindow::edit1_cut_Click()
{
    m_ctx.keys.sendToFocus(Qt::CTRL | Qt::Key_X);
}

void MainWindow::edit1_copy_Click()
{
    m_ctx.keys.sendToFocus(Qt::CTRL | Qt::Key_C);
}

void MainWindow::edit1_paste_Click()
{
    m_ctx.keys.sendToFocus(Qt::CTRL | Qt::Key_V);
}

void MainWindow::tools1_migrate_Click()
{
    if (migration::confirmLaunch(m_ctx))
        m_ctx.prompter.runModal(&m_windows.migrate());
}

void MainWindow::tools1_expiring_Click()
{
    ExpiringWindow& expiring = m_windows.expiring();
    expiring.popList();
    expiring.show();
    expiring.raise();
    expiring.activateWindow();
}

void MainWindow::tools1_testLogin_Click()
{
    LoginTestWindow& testLogin = m_windows.testLogin();
    testLogin.proposeAccount(m_page.currentUser);
    testLogin.show();
    testLogin.raise();
    testLogin.activateWindow();
}

void MainWindow::tools1_proftpd_Click()
{
    m_windows.proFtpd().thisFormLoadData();
    m_ctx.prompter.runModal(&m_windows.proFtpd());
}

void MainWindow::mnuItemHelp_Click()
{
    help::openManual(m_ctx);
}

void MainWindow::ShowLog_Click()
{
    m_ctx.prompter.runModal(&m_windows.status());
}

void MainWindow::checkUpdates_Click()
{
    updates::checkUpdates(m_ctx);
}

void MainWindow::help_web_Click()
{
    help::openWebsite(m_ctx);
}

void MainWindow::mnuItemAbout_Click()
{
    AboutWindow& about = m_windows.about();
    about.show();
    about.raise();
}

void MainWindow::icon_restore1_Click()
{
    m_ctx.tray.change(TrayPicture::Blue, appinfo::Product);
    showNormal();
}

void MainWindow::icon_about1_Click()
{
    mnuItemAbout_Click();
}

void MainWindow::icon_exit1_Click()
{
    exitProgram(m_ctx, ExitMode::Ask);
}

void MainWindow::cmdExit_Click()
{
    exitProgram(m_ctx, ExitMode::Ask);
}

void MainWindow::cmdOK_Click()
{
    if (m_page.saveMode == SaveMode::NewUser || m_page.saveMode == SaveMode::Copy) {
        const auto answer = m_ctx.prompter.ask(appinfo::Title, QStringLiteral("Would you like to save your changes?"),
                                               prompt::Icon::Question, prompt::Buttons::YesNoCancel);
        if (answer == prompt::Answer::Yes)
            cmdStore_Click();
    }
    hideToTray();
}

void MainWindow::cmdHelp_Click()
{
    help::openManual(m_ctx);
}

void MainWindow::Timer1_Timer()
{
    m_timer1->stop();
    // The updater left behind by an update has done its work by now.
    const QString updater = m_ctx.programDir + QStringLiteral("/update.exe");
    if (QFile::exists(updater))
        QFile::remove(updater);
}

void MainWindow::tmrTime_Timer()
{
    ++m_minuteCounter;
    if (m_minuteCounter >= MinutesPerSweep) {
        m_minuteCounter = 0;
        if (m_ctx.accountSweep)
            m_ctx.accountSweep();
    }
}

void MainWindow::trayMouseMessage(int message)
{
    if (message == TrayIcon::RightButtonDown) {
        m_iconMenu->popup(QCursor::pos(), m_iconMenu->defaultAction());
        return;
    }
    if (message != TrayIcon::LeftDoubleClick)
        return;
    switch (m_ctx.tray.current()) {
    case TrayPicture::Blue:
        if (isMinimized())
            showNormal();
        raise();
        activateWindow();
        break;
    case TrayPicture::Green:
        m_ctx.tray.change(TrayPicture::Blue, appinfo::Product);
        showNormal();
        break;
    case TrayPicture::Red:
        break;
    case TrayPicture::None:
        m_ctx.logStatus(QStringLiteral("the current hwnd is ") + QString::number(static_cast<int>(TrayPicture::None)));
        break;
    }
}

void MainWindow::hideToTray()
{
    m_ctx.tray.change(TrayPicture::Green, appinfo::Product);
    if (m_ctx.tray.isAvailable()) {
        hide();
        return;
    }
    // Without a notification area a hidden window could never be brought back.
    m_minimisedToTaskBar = true;
    showMinimized();
}

void MainWindow::changeEvent(QEvent* event)
{
    QMainWindow::changeEvent(event);
    if (event->type() != QEvent::WindowStateChange)
        return;
    if (!isMinimized()) {
        // Brought back from the task bar: shown again, as a restore from the tray would.
        if (std::exchange(m_minimisedToTaskBar, false) && m_ctx.tray.current() == TrayPicture::Green)
            m_ctx.tray.change(TrayPicture::Blue, appinfo::Product);
        return;
    }
    if (!m_ctx.tray.isAvailable()) {
        m_minimisedToTaskBar = true;
        m_ctx.tray.change(TrayPicture::Green, appinfo::Product);
        return;
    }
    // Hidden once the state change is through, and back to the normal state for the next show.
    QTimer::singleShot(0, this, [this] {
        if (!isMinimized())
            return;
        hide();
        setWindowState(windowState() & ~Qt::WindowMinimized);
        m_ctx.tray.change(TrayPicture::Green, appinfo::Product);
    });
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    // The program never closes its own main window, so a close query is the
    // administrator's (close box, system menu, Alt+F4): it only hides the window.
    // The end of the desktop session arrives through the session manager instead.
    hideToTray();
    event->ignore();
}
