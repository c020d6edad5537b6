#include "TestEnvironment.h"

#include "server/ProFtpdSync.h"

#include <QDir>
#include <QRandomGenerator>

LowerCaseTempFolder::LowerCaseTempFolder()
{
    for (int attempt = 0; attempt < 100 && path.isEmpty(); ++attempt) {
        const QString candidate = QDir::tempPath().toLower() + QStringLiteral("/quillmere-test-%1")
                                      .arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0'));
        if (QDir().mkdir(candidate))
            path = candidate;
    }
}

LowerCaseTempFolder::~LowerCaseTempFolder()
{
    if (!path.isEmpty())
        QDir(path).removeRecursively();
}

namespace {

DateForm installationDates(const QString& settingsPath)
{
    SettingsStore quiet({}, settingsPath);
    return DateForm::forInstallation(quiet);
}

} // namespace

TestEnvironment::TestEnvironment()
    : dates(installationDates(settingsPath()))
    , log(clock, dates)
    , settings([this](const QString& line) { log.logStatus(line); }, settingsPath())
    , instanceLock(path(QStringLiteral("runtime/Vantrel.lock")))
    , context(settings, dates, prompter, log, clock, tray, starter, process, instanceLock, keys, programDir())
{
    QDir().mkpath(programDir());
    prompter.setProgramEnded([this] { return process.hasEnded(); });
    proftpd::installSync(context);
}

QString TestEnvironment::path(const QString& relative) const
{
    return dir.path + QLatin1Char('/') + relative;
}

void TestEnvironment::storeConnectionString(const QString& connectionString)
{
    settings.saveConnectionString(connectionString);
}
