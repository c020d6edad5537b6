#include "ProFtpdServer.h"

#include "LocalServer.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <unistd.h>

namespace {

QString unpacked(const char* relative)
{
    return QStringLiteral(QUILLMERE_PROFTPD_DIR "/") + QLatin1String(relative);
}

} // namespace

ProFtpdServer::~ProFtpdServer()
{
    stop();
}

void ProFtpdServer::stop()
{
    // The sessions go with it: a session whose client went quiet would outlive its server.
    if (const qint64 running = pid(); running > 0) {
        localserver::endWithDescendants(running);
        QFile::remove(pidFile());
    }
}

QString ProFtpdServer::unavailableReason()
{
    return localserver::ftpServerUnavailable(QStringLiteral("ProFTPD"),
                                             {unpacked("usr/sbin/proftpd"), unpacked("usr/lib/proftpd/mod_sql_passwd.so")});
}

bool ProFtpdServer::start(const QString& runDir, const QString& include, QString* whyNot)
{
    *whyNot = unavailableReason();
    if (!whyNot->isEmpty())
        return false;
    m_runDir = runDir;
    QDir().mkpath(runDir);
    m_port = localserver::freePort();
    // A passive range of its own per test process, above the ephemeral ports (32768-60999)
    // that free ports and clients are given, so that nothing else on the machine takes one.
    const int passive = 61000 + ::getpid() % 50 * 40;
    const QString config = QStringLiteral(
                               "ServerName \"Quillmere tests\"\nServerType standalone\nDefaultServer on\n"
                               "DefaultAddress 127.0.0.1\nPort %1\nPassivePorts %2 %3\nUser nobody\nGroup nogroup\n"
                               "UseReverseDNS off\nWtmpLog off\nUseIPv6 off\nDelayEngine off\n"
                               "PidFile %4/proftpd.pid\nScoreboardFile %4/proftpd.scoreboard\n"
                               "SystemLog %4/proftpd.log\nTransferLog none\n"
                               "ModulePath %5\nInclude %6\n")
                               .arg(m_port)
                               .arg(passive)
                               .arg(passive + 39)
                               .arg(runDir, unpacked("usr/lib/proftpd"), include);
    QFile file(runDir + QStringLiteral("/proftpd.conf"));
    if (!file.open(QIODevice::WriteOnly) || file.write(config.toUtf8()) < 0) {
        *whyNot = QStringLiteral("the server's configuration could not be written");
        return false;
    }
    file.close();
    // As a daemon, the way it runs in service: it detaches and names itself in its pid file.
    QProcess launcher;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_LIBRARY_PATH"), unpacked("usr/lib/x86_64-linux-gnu"));
    launcher.setProcessEnvironment(environment);
    launcher.setStandardInputFile(QProcess::nullDevice());
    launcher.setProcessChannelMode(QProcess::MergedChannels);
    launcher.start(unpacked("usr/sbin/proftpd"), {QStringLiteral("-c"), file.fileName()});
    launcher.waitForFinished(30000);
    // A large configuration takes a while to read.
    if (!QTest::qWaitFor([this] { return pid() > 0 && localserver::greets(m_port); }, 60000)) {
        *whyNot = QStringLiteral("ProFTPD did not start: ") + QString::fromUtf8(launcher.readAll()) + log();
        stop();
        return false;
    }
    return true;
}

bool ProFtpdServer::awaitReload(int count)
{
    // The server re-reads its configuration between two connections, so the first
    // answer after the log line comes from the new configuration.
    return QTest::qWaitFor([&] { return reloads() > count || !isRunning(); }, 10000)
        && QTest::qWaitFor([&] { return !isRunning() || localserver::greets(m_port); }, 60000) && isRunning();
}

bool ProFtpdServer::isRunning() const
{
    const qint64 running = pid();
    return running > 0 && ::kill(static_cast<pid_t>(running), 0) == 0;
}

qint64 ProFtpdServer::pid() const
{
    QFile file(pidFile());
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toLongLong() : 0;
}

QString ProFtpdServer::url(const QString& path) const
{
    return QStringLiteral("ftp://127.0.0.1:%1%2").arg(m_port).arg(path);
}

QString ProFtpdServer::log() const
{
    QFile file(m_runDir + QStringLiteral("/proftpd.log"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

int ProFtpdServer::reloads() const
{
    return static_cast<int>(log().count(QStringLiteral("reparsing configuration file")));
}
