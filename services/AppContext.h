#pragma once

#include <QRandomGenerator>
#include <QString>

#include <functional>

class Clock;
class DateForm;
class InstanceLock;
class KeySender;
class ProcessControl;
class ProgramStarter;
class Prompter;
class SettingsStore;
class StatusLog;
class TrayIcon;

// Everything a window or an operation needs from the outside world, built once in
// main() and handed to every window. Tests build it from doubles for the prompter,
// the process end, the program starter, the tray icon and the clock, and real
// parts elsewhere.
struct AppContext
{
    AppContext(SettingsStore& settings, DateForm& dates, Prompter& prompter, StatusLog& log, const Clock& clock,
               TrayIcon& tray, ProgramStarter& starter, ProcessControl& process, InstanceLock& instanceLock,
               KeySender& keys, QString programDir);

    SettingsStore& settings;
    // The installation's short date form, resolved once at start-up; the status log
    // shows the same object, so a change in the configuration window reaches both.
    DateForm& dates;
    Prompter& prompter;
    StatusLog& log;
    const Clock& clock;
    TrayIcon& tray;
    ProgramStarter& starter;
    ProcessControl& process;
    InstanceLock& instanceLock;
    KeySender& keys;
    // The folder of the running executable, without a trailing separator.
    QString programDir;

    // Seeded from the clock when the main window loads; the database wizard draws from it.
    QRandomGenerator random{};

    // Steps of the main window's load that the database layer provides.
    std::function<void()> accountSweep;
    std::function<void()> lowerCaseStoredPaths;
    // Shows the configuration window in repair mode after a failed open; the
    // window side installs it.
    std::function<void()> repairConnection;
    // Runs when a session that changed the database closes; the ProFTPD side installs
    // it, so that the services below never include the server's headers.
    std::function<void()> accountsWritten;

    void logStatus(const QString& message);
};
