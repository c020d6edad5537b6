#include "server/ProFtpdSync.h"

#include "platform/Prompter.h"
#include "platform/SettingsStore.h"
#include "server/ProFtpdConfig.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"

#include <QFile>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace proftpd {

QString reloadServer(const QString& pidFile)
{
    QFile file(pidFile);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("The pid file \"%1\" could not be read: %2").arg(pidFile, file.errorString());
    bool ok = false;
    const qint64 pid = file.read(32).trimmed().toLongLong(&ok);
    if (!ok || pid <= 1)
        return QStringLiteral("The pid file \"%1\" names no process.").arg(pidFile);
#ifdef Q_OS_UNIX
    if (::kill(static_cast<pid_t>(pid), SIGHUP) != 0)
        return QStringLiteral("ProFTPD (process %1) could not be told to reload: %2").arg(pid).arg(QString::fromLocal8Bit(std::strerror(errno)));
    return {};
#else
    return QStringLiteral("ProFTPD cannot be told to reload on this platform.");
#endif
}

QString bringUpToDate(const SettingsStore& store)
{
    // Read without the store's trace lines: this runs after every write of accounts.
    const SettingsStore settings({}, store.filePath(), SettingsStore::Access::ReadOnly);
    const QString path = settings.getRegSettings(ConfigSetting).trimmed();
    if (path.isEmpty())
        return {};
    QString error;
    if (!writeConfiguration(settings.readConnectionString(), settings.getRegSettings(QStringLiteral("ftp_directory")), path, &error))
        return error;
    const QString pidFile = settings.getRegSettings(PidSetting).trimmed();
    return pidFile.isEmpty() ? QString() : reloadServer(pidFile);
}

bool keepCurrent(const SettingsStore& settings, Prompter& prompter, const std::function<void(const QString&)>& log)
{
    const QString error = bringUpToDate(settings);
    if (error.isEmpty())
        return true;
    if (log)
        log(QStringLiteral("ProFTPD configuration not brought up to date: ") + error);
    prompter.tell(appinfo::Title, QStringLiteral("The ProFTPD configuration could not be brought up to date.") + QStringLiteral("\r\n") + error,
                  prompt::Icon::Exclamation);
    return false;
}

void installSync(AppContext& context)
{
    context.accountsWritten = [&context] {
        keepCurrent(context.settings, context.prompter, [&context](const QString& line) { context.logStatus(line); });
    };
}

} // namespace proftpd
