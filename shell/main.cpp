#include "maintenance/ProgramFiles.h"
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
#include "shell/AccountSweep.h"
#include "shell/AppContext.h"
#include "shell/AppInfo.h"
#include "shell/AppWindows.h"
#include "shell/ProgramExit.h"
#include "shell/ScreenshotMode.h"
#include "shell/StatusLog.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QIcon>
#include <QTextStream>

#include <algorithm>
#include <memory>

namespace {

// The options that end the program with a text and need no window.
bool asksForText(int argc, char* argv[])
{
    static const char* const textOptions[] = {"-h", "-?", "--help", "--help-all", "-v", "--version", "--paths"};
    return std::any_of(argv + 1, argv + argc, [](const char* argument) {
        return std::any_of(std::begin(textOptions), std::end(textOptions),
                           [argument](const char* option) { return qstrcmp(argument, option) == 0; });
    });
}

// Names the manual and the companion programs where this program looks for them;
// ends with 1 when one of them is missing.
int showPaths()
{
    const QString folder = QCoreApplication::applicationDirPath();
    const QStringList companions = {programfiles::Gatewick, programfiles::Updater, programfiles::MigrationV2,
                                    programfiles::MigrationV4};
    QTextStream out(stdout);
    bool complete = true;
    const auto show = [&](const QString& name, const QString& path) {
        const bool there = QFileInfo::exists(path);
        complete = complete && there;
        out << name << ": " << path << (there ? "" : " (missing)") << '\n';
    };
    show(QStringLiteral("manual"), programfiles::manualPath(folder));
    for (const QString& name : companions)
        show(name, programfiles::companionPath(folder, name));
    return complete ? 0 : 1;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication::setApplicationName(appinfo::Title);
    QCoreApplication::setApplicationVersion(appinfo::versionText());

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Quillmere: FTP account administration"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Save a picture of the main window to <file> and end."),
                                        QStringLiteral("file"));
    parser.addOption(screenshot);
    const QCommandLineOption paths(QStringLiteral("paths"),
                                   QStringLiteral("Show where the manual and the companion programs are, and end."));
    parser.addOption(paths);

    // A QApplication needs a display, so the options that only print are answered without one.
    if (asksForText(argc, argv)) {
        QCoreApplication textOnly(argc, argv);
        parser.process(textOnly); // ends the program for --help and --version
        return parser.isSet(paths) ? showPaths() : 0;
    }

    QApplication app(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("net.quillmere.vantrel"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/vantrel.svg")));
    // The program lives in the notification area when its window is hidden.
    QApplication::setQuitOnLastWindowClosed(false);
    parser.process(app);

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
