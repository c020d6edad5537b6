#include "platform/Clock.h"
#include "platform/DateForm.h"
#include "platform/DesktopStarter.h"
#include "platform/FocusKeySender.h"
#include "platform/InstanceLock.h"
#include "platform/ProcessControl.h"
#include "platform/QtPrompter.h"
#include "platform/SettingsStore.h"
#include "platform/SystemTrayIcon.h"
#include "platform/TerminationWatcher.h"
#include "server/ProFtpdSync.h"
#include "services/AccountSweep.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"
#include "app/AppWindows.h"
#include "app/CommandLine.h"
#include "services/ProgramExit.h"
#include "app/ScreenshotMode.h"
#include "services/StatusLog.h"

#include <QApplication>
#include <QIcon>

#include <memory>

int main(int argc, char* argv[])
{
    QCoreApplication::setApplicationName(appinfo::Title);
    QCoreApplication::setApplicationVersion(appinfo::versionText());

    commandline::CommandLine commandLine(argc, argv);
    // A QApplication needs a display, so the modes that print and end run without one.
    if (const auto exitStatus = commandLine.runWithoutWindows(argc, argv))
        return *exitStatus;

    QApplication app(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("net.quillmere.vantrel"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/vantrel.svg")));
    // The program lives in the notification area when its window is hidden.
    QApplication::setQuitOnLastWindowClosed(false);

    SystemClock clock;
    // Taken before the first trace line, so that every line of the run shows its date in the one form.
    SettingsStore quietSettings({});
    DateForm dates = DateForm::forInstallation(quietSettings);
    StatusLog log(clock, dates);
    SettingsStore settings([&log](const QString& line) { log.logStatus(line); });
    QtPrompter prompter;
    SystemTrayIcon tray;
    DesktopStarter starter;
    InstanceLock instanceLock;
    SystemProcessControl process(&instanceLock);
    FocusKeySender keys;
    AppContext context(settings, dates, prompter, log, clock, tray, starter, process, instanceLock, keys,
                       QCoreApplication::applicationDirPath());

    installDatabaseWork(context);
    proftpd::installSync(context);
    AppWindows windows(context);

    TerminationWatcher termination;
    QObject::connect(&termination, &TerminationWatcher::terminationRequested, &app,
                     [&context] { exitProgram(context, ExitMode::AtOnce); });

    std::unique_ptr<ScreenshotMode> screenshotMode;
    if (const QString file = commandLine.screenshotFile(); !file.isEmpty())
        screenshotMode = std::make_unique<ScreenshotMode>(windows, process, file);

    windows.start();
    return QApplication::exec();
}
