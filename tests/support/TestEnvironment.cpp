#include "TestEnvironment.h"

#include <QDir>

TestEnvironment::TestEnvironment()
    : log(clock)
    , settings([this](const QString& line) { log.logStatus(line); }, dir.filePath(QStringLiteral("etc/serv-u.ini")))
    , instanceLock(dir.filePath(QStringLiteral("runtime/Vantrel.lock")))
    , context(settings, prompter, log, clock, tray, starter, process, instanceLock, keys,
              dir.filePath(QStringLiteral("program")))
{
    QDir().mkpath(programDir());
    prompter.setProgramEnded([this] { return process.hasEnded(); });
}

QString TestEnvironment::path(const QString& relative) const
{
    return dir.filePath(relative);
}

void TestEnvironment::storeConnectionString(const QString& connectionString)
{
    settings.saveConnectionString(connectionString);
}
