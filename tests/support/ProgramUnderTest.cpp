#include "ProgramUnderTest.h"

#include "TestTimers.h"

#include "services/AccountSweep.h"
#include "services/EmbeddedFiles.h"
#include "app/SplashWindow.h"

#include <QDir>

ProgramUnderTest::ProgramUnderTest()
    : windows(env.context)
{
    installDatabaseWork(env.context);
    env.context.accountSweep = [this] {
        ++sweeps;
        accountSweep(env.context);
    };
}

void ProgramUnderTest::start()
{
    windows.start();
    fireTimer(&windows.splash(), QStringLiteral("tmrCheck"));
}

void ProgramUnderTest::configure(const QString& connectionString)
{
    QString connection = connectionString;
    if (connection.isEmpty()) {
        const QString file = env.path(QStringLiteral("accounts.db"));
        embedded::writeEmbeddedFile(embedded::TemplateDatabase, file);
        connection = QStringLiteral("Provider=SQLite;Data Source=") + file;
    }
    QDir().mkpath(env.path(QStringLiteral("servu")));
    QDir().mkpath(env.path(QStringLiteral("ftp")));
    env.settings.saveConnectionString(connection);
    env.settings.saveRegSetting(QStringLiteral("servu_path"), env.path(QStringLiteral("servu")) + QLatin1Char('/'));
    env.settings.saveRegSetting(QStringLiteral("ftp_directory"), env.path(QStringLiteral("ftp")) + QLatin1Char('/'));
    env.log.logStatus(QStringLiteral("-- configured by the test --"));
}
