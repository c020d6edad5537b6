#include "ProFtpdServer.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <csignal>
#include <unistd.h>

namespace {

QString unpacked(const QString& relative)
{
    return QStringLiteral(QUILLMERE_PROFTPD_DIR "/") + relative;
}

int freePort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost, 0) ? probe.serverPort() : 0;
}

} // namespace

ProFtpdServer::ProFtpdServer() = default;

ProFtpdServer::~ProFtpdServer()
{
    stop();
}

QString ProFtpdServer::unavailableReason()
{
    if (::geteuid() != 0)
        return QStringLiteral("ProFTPD needs root, and the tests do not run as root");
    if (!QFileInfo(unpacked(QStringLiteral("usr/sbin/proftpd"))).isExecutable()
        || !QFileInfo::exists(moduleDir() + QStringLiteral("/mod_sql_passwd.so")))
        return QStringLiteral("ProFTPD and its modules are not unpacked in the build tree (scripts/fetch-ftp-servers.sh does it)");
    if (QStandardPaths::findExecutable(QStringLiteral("curl")).isEmpty())
        return QStringLiteral("curl is not installed");
    return {};
}

QString ProFtpdServer::moduleDir()
{
    return unpacked(QStringLiteral("usr/lib/proftpd"));
}

bool ProFtpdServer::start(const QString& runDir, const QString& include, QString* whyNot)
{
    *whyNot = unavailableReason();
    if (!whyNot->isEmpty())
        return false;
    m_runDir = runDir;
    QDir().mkpath(runDir);
    m_port = freePort();
    // A passive range of its own per test process, so that suites running side by side never meet.
    const int passive = 36000 + ::getpid() % 400 * 40;
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
                               .arg(runDir, moduleDir(), include);
    QFile file(runDir + QStringLiteral("/proftpd.conf"));
    if (!file.open(QIODevice::WriteOnly) || file.write(config.toUtf8()) < 0) {
        *whyNot = QStringLiteral("the server's configuration could not be written");
        return false;
    }
    file.close();
    // As a daemon, the way it runs in service: it detaches and names itself in its pid file.
    QProcess launcher;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_LIBRARY_PATH"), unpacked(QStringLiteral("usr/lib/x86_64-linux-gnu")));
    launcher.setProcessEnvironment(environment);
    launcher.setStandardInputFile(QProcess::nullDevice());
    launcher.setProcessChannelMode(QProcess::MergedChannels);
    launcher.start(unpacked(QStringLiteral("usr/sbin/proftpd")), {QStringLiteral("-c"), file.fileName()});
    launcher.waitForFinished(30000);
    m_output = QString::fromUtf8(launcher.readAll());
    // A large configuration takes a while to read.
    if (!QTest::qWaitFor([this] { return pid() > 0 && answers(); }, 60000)) {
        *whyNot = QStringLiteral("ProFTPD did not start: ") + m_output + log();
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
        && QTest::qWaitFor([&] { return !isRunning() || answers(); }, 60000) && isRunning();
}

void ProFtpdServer::stop()
{
    const qint64 running = pid();
    if (running <= 0)
        return;
    // The sessions first: a session whose client went quiet would outlive its server.
    for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile status(QStringLiteral("/proc/%1/status").arg(entry));
        if (!status.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.startsWith("PPid:") && line.mid(5).trimmed().toLongLong() == running)
                ::kill(static_cast<pid_t>(entry.toLongLong()), SIGKILL);
        }
    }
    ::kill(static_cast<pid_t>(running), SIGTERM);
    if (!QTest::qWaitFor([running] { return ::kill(static_cast<pid_t>(running), 0) != 0; }, 10000))
        ::kill(static_cast<pid_t>(running), SIGKILL);
    QFile::remove(pidFile());
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

QString ProFtpdServer::output()
{
    return m_output;
}

bool ProFtpdServer::answers() const
{
    QTcpSocket probe;
    probe.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(m_port));
    if (!probe.waitForConnected(500))
        return false;
    while (probe.waitForReadyRead(2000)) {
        if (probe.canReadLine())
            return probe.readLine().startsWith("220");
    }
    return false;
}

int ProFtpdServer::reloads() const
{
    return static_cast<int>(log().count(QStringLiteral("reparsing configuration file")));
}
