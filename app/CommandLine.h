#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

struct AppContext;

// The program's command line. The modes (and --help and --version) print and end:
// they run before any QApplication exists, with a context that has no window, a
// prompter that never shows a dialog and a status log printed as it is written, so
// they need no display. Without a mode the program starts its windows.
namespace commandline {

// The exit statuses of the modes.
enum ExitStatus {
    Done = 0,
    DatabaseNotOpened = 1,
    StatementFailed = 2,
    LoginRefused = 3,
    BadArguments = 64,
};

// Where a mode's status log lines go: the sweep's lines are its output, the other
// modes keep standard output for their own text.
enum class LogTo { StandardOutput, StandardError };

// What a mode runs with: its option's value, the arguments after it, and the
// program's context without windows, made on first use, so that a mode that needs
// no settings reads and writes none.
class ModeRun
{
public:
    ModeRun(LogTo log, QString value, QStringList arguments);
    ~ModeRun();
    ModeRun(const ModeRun&) = delete;
    ModeRun& operator=(const ModeRun&) = delete;

    // The settings and the installation's date form, a prompter that never shows a
    // dialog, and a status log printed line by line with its time stamps.
    AppContext& context();

    const QString value;
    const QStringList arguments;

private:
    struct Console;
    LogTo m_log;
    std::unique_ptr<Console> m_console;
};

// One command-line mode: its option, the names of the arguments that follow the
// option's value, and what it runs. A new mode is one more entry of modes().
struct Mode
{
    QCommandLineOption option;
    QStringList arguments;
    LogTo log = LogTo::StandardError;
    std::function<int(ModeRun&)> run;
};

const std::vector<Mode>& modes();

class CommandLine
{
public:
    // Reads the arguments; nothing runs yet, and no application object is needed.
    CommandLine(int argc, char* argv[]);

    // Runs the mode the arguments ask for, answers --help and --version, or reports a
    // bad argument, and returns the exit status; nullopt when the windows are wanted.
    std::optional<int> runWithoutWindows(int& argc, char* argv[]);

    // The file --screenshot names, or empty text.
    QString screenshotFile() const;

private:
    int runMode(const Mode& mode, int& argc, char* argv[]);

    QCommandLineParser m_parser;
    QCommandLineOption m_screenshot;
    bool m_understood = false;
};

} // namespace commandline
