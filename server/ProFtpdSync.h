#pragma once

#include <QString>

#include <functional>

class AppContext;
class Prompter;
class SettingsStore;

// Keeps the ProFTPD configuration in step with the accounts database: after every
// operation that wrote accounts, the file named by the setting "proftpd_config" is
// written again and the server named by the pid file of "proftpd_pid" re-reads it
// (SIGHUP). With no file named, nothing happens. A write or a reload that fails is
// told to the administrator once and written to the status log.
namespace proftpd {

inline const QString ConfigSetting = QStringLiteral("proftpd_config");
inline const QString PidSetting = QStringLiteral("proftpd_pid");

// The failure, empty when the file was written and the server told (or none is named).
QString bringUpToDate(const SettingsStore& settings);

// bringUpToDate, with a failure told through the prompter and the log; true when up to date.
bool keepCurrent(const SettingsStore& settings, Prompter& prompter, const std::function<void(const QString&)>& log);

// Makes every session of the context that changed the database keep the file current.
void installSync(AppContext& context);

// Sends SIGHUP to the process named in the pid file; the failure, or empty.
QString reloadServer(const QString& pidFile);

} // namespace proftpd
