#include "ProgramUnderTest.h"

#include "TestTimers.h"

#include "shell/SplashWindow.h"

ProgramUnderTest::ProgramUnderTest()
    : windows(env.context)
{
    env.context.accountSweep = [this] { ++sweeps; };
}

void ProgramUnderTest::start()
{
    windows.start();
    fireTimer(&windows.splash(), QStringLiteral("tmrCheck"));
}

void ProgramUnderTest::configure(const QString& connectionString)
{
    env.settings.saveConnectionString(connectionString);
    env.settings.saveRegSetting(QStringLiteral("servu_path"), env.path(QStringLiteral("servu")) + QLatin1Char('/'));
    env.settings.saveRegSetting(QStringLiteral("ftp_directory"), env.path(QStringLiteral("ftp")) + QLatin1Char('/'));
    env.log.logStatus(QStringLiteral("-- configured by the test --"));
}
