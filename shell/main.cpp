#include "platform/Clock.h"
#include "platform/DesktopStarter.h"
#include "platform/FocusKeySender.h"
#include "platform/InstanceLock.h"
#include "platform/ProcessControl.h"
#include "platform/QtPrompter.h"
#include "platform/SettingsStore.h"
#include "platform/SystemTrayIcon.h"
#include "platform/TerminationWatcher.h"
#include "shell/AccountSweep.h"
#include "shell/AppContext.h"
#include "shell/AppInfo.h"
#include "shell/AppWindows.h"
#include "shell/ProFtpdConfigMode.h"
#include "shell/ProgramExit.h"
#include "shell/ScreenshotMode.h"
#include "shell/StatusLog.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QIcon>

#include <memory>

int main(int argc, char* argv[])
{
    // Writing the ProFTPD configuration needs no display: it runs before any QApplication.
    if (const auto file = proftpdmode::requestedFile(argc, argv))
        return proftpdmode::run(argc, argv, *file);

    QApplication app(argc, argv);
    QApplication::setApplicationName(appinfo::Title);
    QApplication::setApplicationVersion(appinfo::versionText());
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/vantrel.svg")));
    // The program lives in the notification area when its window is hidden.
    QApplication::setQuitOnLastWindowClosed(false);

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Quillmere: FTP account administration"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Save a picture of the main window to <file> and end."),
                                        QStringLiteral("file"));
    parser.addOption(screenshot);
    parser.addOption({QStringLiteral("proftpd-config"),
                      QStringLiteral("Write the ProFTPD configuration for the accounts database to <file> and end."),
                      QStringLiteral("file")});
    parser.process(app);

    SystemClock clock;
    StatusLog log(clock);
    SettingsStore settings([&log](const QString& line) { log.logStatus(line); });
    QtPrompter prompter;
    SystemTrayIcon tray;
    DesktopStarter starter;
    InstanceLock instanceLock;
    SystemProcessControl process(&instanceLock);
    FocusKeySender keys;
    AppContext context(settings, prompter, log, clock, tray, starter, process, instanceLock, keys,
                       QCoreApplication::applicationDirPath());

    installDatabaseWork(context);
    AppWindows windows(context);

    TerminationWatcher termination;
    QObject::connect(&termination, &TerminationWatcher::terminationRequested, &app,
                     [&context] { exitProgram(context, ExitMode::AtOnce); });

    std::unique_ptr<ScreenshotMode> screenshotMode;
    if (parser.isSet(screenshot))
        screenshotMode = std::make_unique<ScreenshotMode>(windows, process, parser.value(screenshot));

    windows.start();
    return QApplication::exec();
}
