#include "app/CommandLine.h"

#include "maintenance/ProgramFiles.h"
#include "platform/Clock.h"
#include "platform/ConsolePrompter.h"
#include "platform/DateForm.h"
#include "platform/DesktopStarter.h"
#include "platform/FocusKeySender.h"
#include "platform/InstanceLock.h"
#include "platform/ProcessControl.h"
#include "platform/SettingsStore.h"
#include "platform/SystemTrayIcon.h"
#include "server/LoginCheck.h"
#include "server/ProFtpdConfig.h"
#include "server/ProFtpdSync.h"
#include "services/AccountSweep.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"
#include "accounts/ExpiringAccounts.h"
#include "services/StatusLog.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

#ifdef Q_OS_UNIX
#include <termios.h>
#include <unistd.h>
#endif

namespace commandline {
namespace {

void print(std::FILE* stream, const QString& text)
{
    std::fputs(qUtf8Printable(text), stream);
    std::fflush(stream);
}

int badArguments(const QString& problem)
{
    print(stderr, QStringLiteral("%1: %2\nRun \"%1 --help\" to see the options.\n").arg(appinfo::Title, problem));
    return BadArguments;
}

int exitStatusOf(DatabaseOutcome outcome)
{
    switch (outcome) {
    case DatabaseOutcome::Done:
        return Done;
    case DatabaseOutcome::NotOpened:
        return DatabaseNotOpened;
    case DatabaseOutcome::StatementFailed:
        return StatementFailed;
    }
    return StatementFailed;
}

int sweep(ModeRun& run)
{
    return exitStatusOf(accountSweep(run.context(), Session::Feedback::Quiet));
}

int reportExpiring(ModeRun& run)
{
    bool ok = false;
    const int days = run.value.trimmed().toInt(&ok);
    if (!ok || days < 0 || days > expiring::MostDays)
        return badArguments(QStringLiteral("--report-expiring needs a whole number of days from 0 to %1, not \"%2\".")
                                .arg(expiring::MostDays)
                                .arg(run.value));
    QList<expiring::StoredDates> accounts;
    const DatabaseOutcome outcome = expiring::readDatedAccounts(run.context(), accounts, Session::Feedback::Quiet);
    if (outcome != DatabaseOutcome::Done)
        return exitStatusOf(outcome);
    print(stdout, expiring::toCsv(expiring::dueWithin(run.context(), accounts, days)));
    return Done;
}

// One line of standard input, not shown as it is typed at a terminal.
QString readPassword()
{
#ifdef Q_OS_UNIX
    const bool terminal = ::isatty(STDIN_FILENO) == 1;
    termios shown{};
    if (terminal && ::tcgetattr(STDIN_FILENO, &shown) == 0) {
        print(stderr, QStringLiteral("Password: "));
        termios hidden = shown;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    }
#endif
    QFile input;
    QByteArray line;
    if (input.open(stdin, QIODevice::ReadOnly))
        line = input.readLine();
#ifdef Q_OS_UNIX
    if (terminal) {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
        print(stderr, QStringLiteral("\n"));
    }
#endif
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    return QString::fromUtf8(line);
}

int testLogin(ModeRun& run)
{
    const QString password = readPassword();
    const logincheck::Result result =
        logincheck::testLogin(run.context(), run.value, password, run.arguments.value(0), Session::Feedback::Quiet);
    print(stdout, result.lines.join(QLatin1Char('\n')) + QLatin1Char('\n'));
    switch (result.verdict) {
    case logincheck::Verdict::Allowed:
        return Done;
    case logincheck::Verdict::Refused:
        return LoginRefused;
    case logincheck::Verdict::DatabaseNotOpened:
        return DatabaseNotOpened;
    }
    return LoginRefused;
}

// Names the manual and the companion programs where this program looks for them;
// ends with 1 when one of them is missing.
int showPaths(ModeRun&)
{
    const QStringList companions = {programfiles::Gatewick, programfiles::Updater, programfiles::MigrationV2,
                                    programfiles::MigrationV4};
    bool complete = true;
    const auto show = [&complete](const QString& name, const QString& path) {
        const bool there = QFileInfo::exists(path);
        complete = complete && there;
        print(stdout, name + QStringLiteral(": ") + path + (there ? QString() : QStringLiteral(" (missing)")) + QLatin1Char('\n'));
    };
    const QString folder = QCoreApplication::applicationDirPath();
    show(QStringLiteral("manual"), programfiles::manualPath(folder));
    for (const QString& name : companions)
        show(name, programfiles::companionPath(folder, name));
    return complete ? 0 : 1;
}

// Writes the ProFTPD configuration for the stored accounts database to the named file.
int writeProFtpdConfig(ModeRun& run)
{
    if (run.value.trimmed().isEmpty()) {
        print(stderr, QStringLiteral("--proftpd-config needs the path of the file to write.\n"));
        return BadArguments;
    }
    AppContext& context = run.context();
    const QString connection = context.settings.readConnectionString();
    if (connection.trimmed().isEmpty()) {
        print(stderr, QStringLiteral("No accounts database is configured (%1).\n").arg(context.settings.filePath()));
        return DatabaseNotOpened;
    }
    QString error;
    if (!proftpd::writeConfiguration(connection, context.settings.getRegSettings(QStringLiteral("ftp_directory")),
                                     run.value, &error)) {
        print(stderr, error + QLatin1Char('\n'));
        return DatabaseNotOpened;
    }
    return Done;
}

// Qt's own options, which QApplication takes out of the arguments itself: known here
// so that the command line that starts the windows is not refused for them.
void addQtOptions(QCommandLineParser& parser)
{
    for (const char* name : {"platform", "platformpluginpath", "platformtheme", "plugin", "qwindowgeometry", "qwindowicon",
                             "qwindowtitle", "session", "display", "geometry", "title", "name", "style", "stylesheet",
                             "qmljsdebugger"}) {
        QCommandLineOption option(QLatin1String(name), QString(), QStringLiteral("value"));
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        parser.addOption(option);
    }
    for (const char* name : {"reverse", "widgetcount", "nograb", "dograb"}) {
        QCommandLineOption option{QString::fromLatin1(name)};
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        parser.addOption(option);
    }
}

} // namespace

const std::vector<Mode>& modes()
{
    static const std::vector<Mode> all{
        {QCommandLineOption(QStringLiteral("sweep"),
                            QStringLiteral("Delete the expired accounts and disable those whose disable date has come, "
                                           "as the start-up does, print the status log's lines, and end. Exit status: 0 "
                                           "done, 1 the database cannot be opened, 2 a statement failed.")),
         {},
         LogTo::StandardOutput,
         sweep},
        {QCommandLineOption(QStringLiteral("report-expiring"),
                            QStringLiteral("Print as CSV the accounts whose expiry or disable date falls within <days> "
                                           "days or has passed, with what the sweep will do, and end."),
                            QStringLiteral("days")),
         {},
         LogTo::StandardError,
         reportExpiring},
        {QCommandLineOption(QStringLiteral("test-login"),
                            QStringLiteral("Tell whether the FTP server's authentication handler would let <name> log in "
                                           "from <address>, and why, with the password read from standard input. Exit "
                                           "status: 0 allowed, 3 refused, 1 the database cannot be opened."),
                            QStringLiteral("name")),
         {QStringLiteral("address")},
         LogTo::StandardError,
         testLogin},
        {QCommandLineOption(QStringLiteral("proftpd-config"),
                            QStringLiteral("Write the ProFTPD configuration for the accounts database to <file> and end."),
                            QStringLiteral("file")),
         {},
         LogTo::StandardError,
         writeProFtpdConfig},
        {QCommandLineOption(QStringLiteral("paths"),
                            QStringLiteral("Show where the manual and the companion programs are, and end.")),
         {},
         LogTo::StandardError,
         showPaths},
    };
    return all;
}

CommandLine::CommandLine(int argc, char* argv[])
    : m_screenshot(QStringLiteral("screenshot"), QStringLiteral("Save a picture of the main window to <file> and end."),
                   QStringLiteral("file"))
{
    m_parser.setApplicationDescription(QStringLiteral("Quillmere: FTP account administration"));
    // Qt's options are single words after one dash ("-platform offscreen").
    m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    m_parser.addHelpOption();
    m_parser.addVersionOption();
    for (const Mode& mode : modes()) {
        QCommandLineOption option = mode.option;
        // The arguments after the value show in the help as further values: "--test-login <name> <address>".
        if (!mode.arguments.isEmpty())
            option.setValueName((QStringList{option.valueName()} + mode.arguments).join(QStringLiteral("> <")));
        m_parser.addOption(option);
    }
    m_parser.addOption(m_screenshot);
    addQtOptions(m_parser);

    QStringList arguments;
    for (int index = 0; index < argc; ++index)
        arguments.append(QString::fromLocal8Bit(argv[index]));
    m_understood = m_parser.parse(arguments);
}

std::optional<int> CommandLine::runWithoutWindows(int& argc, char* argv[])
{
    if (!m_understood)
        return badArguments(m_parser.errorText());
    if (m_parser.isSet(QStringLiteral("help")) || m_parser.isSet(QStringLiteral("help-all"))) {
        // The help names the program as it was called, which only an application object knows.
        QCoreApplication application(argc, argv);
        if (m_parser.isSet(QStringLiteral("help-all")))
            m_parser.process(application); // prints Qt's own options too, and ends
        print(stdout, m_parser.helpText());
        return Done;
    }
    if (m_parser.isSet(QStringLiteral("version"))) {
        print(stdout, QCoreApplication::applicationName() + QLatin1Char(' ') + QCoreApplication::applicationVersion() + QLatin1Char('\n'));
        return Done;
    }

    const Mode* chosen = nullptr;
    QStringList chosenNames;
    for (const Mode& mode : modes()) {
        if (m_parser.isSet(mode.option)) {
            chosen = &mode;
            chosenNames.append(QStringLiteral("--") + mode.option.names().constFirst());
        }
    }
    if (chosenNames.size() > 1)
        return badArguments(QStringLiteral("%1 cannot be used together.").arg(chosenNames.join(QStringLiteral(" and "))));
    if (chosen && m_parser.isSet(m_screenshot))
        return badArguments(QStringLiteral("--screenshot opens the window, which %1 does not.").arg(chosenNames.constFirst()));

    const QStringList positional = m_parser.positionalArguments();
    const qsizetype expected = chosen ? chosen->arguments.size() : 0;
    if (positional.size() > expected)
        return badArguments(QStringLiteral("unexpected argument \"%1\".").arg(positional.value(expected)));
    if (positional.size() < expected)
        return badArguments(QStringLiteral("%1 needs <%2> after <%3>.")
                                .arg(chosenNames.constFirst(), chosen->arguments.value(positional.size()),
                                     chosen->option.valueName()));
    if (!chosen)
        return std::nullopt;
    return runMode(*chosen, argc, argv);
}

int CommandLine::runMode(const Mode& mode, int& argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    ModeRun run(mode.log, m_parser.value(mode.option), m_parser.positionalArguments());
    return mode.run(run);
}

struct ModeRun::Console
{
    explicit Console(LogTo where)
        // Taken before the first line is printed, as the program's start takes it.
        : dates(DateForm::forInstallation(quietSettings))
        , log(clock, dates)
        , settings([this](const QString& line) { log.logStatus(line); })
        // Never taken (a mode runs beside the program's window as well as without it), so it names no file.
        , instanceLock(QString())
        , context(settings, dates, prompter, log, clock, tray, starter, process, instanceLock, keys,
                  QCoreApplication::applicationDirPath())
    {
        std::FILE* stream = where == LogTo::StandardOutput ? stdout : stderr;
        QObject::connect(&log, &StatusLog::lineAppended, &log,
                         [stream](const QString& line) { print(stream, line + QLatin1Char('\n')); });
    }

    SystemClock clock;
    SettingsStore quietSettings{{}};
    DateForm dates;
    StatusLog log;
    SettingsStore settings;
    ConsolePrompter prompter;
    SystemTrayIcon tray;
    DesktopStarter starter;
    InstanceLock instanceLock;
    SystemProcessControl process;
    FocusKeySender keys;
    AppContext context;
};

ModeRun::ModeRun(LogTo log, QString value, QStringList arguments)
    : value(std::move(value))
    , arguments(std::move(arguments))
    , m_log(log)
{
}

ModeRun::~ModeRun() = default;

AppContext& ModeRun::context()
{
    if (!m_console) {
        m_console = std::make_unique<Console>(m_log);
        proftpd::installSync(m_console->context);
    }
    return m_console->context;
}

QString CommandLine::screenshotFile() const
{
    return m_parser.isSet(m_screenshot) ? m_parser.value(m_screenshot) : QString();
}

} // namespace commandline
