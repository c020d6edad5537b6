#include "services/AppContext.h"

#include "services/StatusLog.h"

AppContext::AppContext(SettingsStore& settings, DateForm& dates, Prompter& prompter, StatusLog& log, const Clock& clock,
                       TrayIcon& tray, ProgramStarter& starter, ProcessControl& process, InstanceLock& instanceLock,
                       KeySender& keys, QString programDir)
    : settings(settings)
    , dates(dates)
    , prompter(prompter)
    , log(log)
    , clock(clock)
    , tray(tray)
    , starter(starter)
    , process(process)
    , instanceLock(instanceLock)
    , keys(keys)
    , programDir(std::move(programDir))
{
}

void AppContext::logStatus(const QString& message)
{
    log.logStatus(message);
}
