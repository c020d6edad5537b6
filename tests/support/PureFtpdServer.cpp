#include "PureFtpdServer.h"

#include <QDir>
#include <QFileInfo>
#include <QHostAddress>
#include <QMultiHash>
#include <QTcpServer>
#include <QTcpSocket>
#include <QStandardPaths>
#include <QThread>

#include <csignal>
#include <unistd.h>

namespace {

QString sbin(const char* program)
{
    return QStringLiteral(QUILLMERE_PURE_FTPD_DIR "/usr/sbin/") + QLatin1String(program);
}

int freePort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost, 0) ? probe.serverPort() : 0;
}

// The server forks processes per session (and those fork their helpers); all of
// them go when the server stops.
void killDescendantsOf(qint64 root)
{
    if (root <= 0)
        return;
    QMultiHash<qint64, qint64> children;
    for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool numeric = false;
        const qint64 pid = entry.toLongLong(&numeric);
        QFile stat(QStringLiteral("/proc/%1/stat").arg(entry));
        if (!numeric || !stat.open(QIODevice::ReadOnly))
            continue;
        // "pid (name) state ppid ...": the name may hold blanks, so read after its closing parenthesis.
        const QByteArray line = stat.readAll();
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1)
            children.insert(fields.at(1).toLongLong(), pid);
    }
    // The deepest first, so that every process is reaped by its own parent.
    QList<qint64> tree = children.values(root);
    for (int i = 0; i < tree.size(); ++i)
        tree += children.values(tree.at(i));
    for (auto pid = tree.crbegin(); pid != tree.crend(); ++pid) {
        ::kill(static_cast<pid_t>(*pid), SIGKILL);
        QThread::msleep(5);
    }
}

} // namespace


PureFtpdServer::PureFtpdServer() = default;

PureFtpdServer::~PureFtpdServer()
{
    stop();
}

QString PureFtpdServer::unavailableReason()
{
    if (::geteuid() != 0)
        return QStringLiteral("pure-authd and pure-ftpd need root, and the tests do not run as root");
    if (!QFileInfo(sbin("pure-ftpd")).isExecutable() || !QFileInfo(sbin("pure-authd")).isExecutable())
        return QStringLiteral("pure-ftpd is not unpacked in the build tree (scripts/fetch-ftp-servers.sh does it)");
    if (QStandardPaths::findExecutable(QStringLiteral("curl")).isEmpty())
        return QStringLiteral("curl is not installed");
    return {};
}

bool PureFtpdServer::start(const QString& settingsFile, QString* whyNot)
{
    *whyNot = unavailableReason();
    if (!whyNot->isEmpty())
        return false;
    QByteArray pattern = QDir::tempPath().toLocal8Bit() + "/quillmere-ftpd-XXXXXX";
    if (!::mkdtemp(pattern.data())) {
        *whyNot = QStringLiteral("cannot make a folder for the server");
        return false;
    }
    m_root = QString::fromLocal8Bit(pattern);
    const QString socket = m_root + QStringLiteral("/authd.sock");

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QUILLMERE_SETTINGS"), settingsFile);
    m_authd = std::make_unique<QProcess>();
    m_authd->setProcessEnvironment(environment);
    m_authd->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_authd->start(sbin("pure-authd"), {QStringLiteral("-s"), socket, QStringLiteral("-r"), QStringLiteral(QUILLMERE_BIN_DIR "/gatewick")});
    if (!m_authd->waitForStarted()) {
        *whyNot = QStringLiteral("pure-authd did not start: ") + m_authd->errorString();
        return false;
    }
    for (int wait = 0; wait < 100 && !QFileInfo::exists(socket); ++wait)
        QThread::msleep(20);

    m_port = freePort();
    // The server takes at most half as many clients as it has passive ports.
    const int passive = 40000 + (::getpid() % 200) * 100;
    m_ftpd = std::make_unique<QProcess>();
    m_ftpd->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_ftpd->start(sbin("pure-ftpd"),
                  {QStringLiteral("-S"), QStringLiteral("127.0.0.1,%1").arg(m_port), QStringLiteral("-l"),
                   QStringLiteral("extauth:") + socket, QStringLiteral("-p"), QStringLiteral("%1:%2").arg(passive).arg(passive + 99),
                   QStringLiteral("-E"), QStringLiteral("-H"), QStringLiteral("-c"), QStringLiteral("40"), QStringLiteral("-C"),
                   QStringLiteral("40")});
    if (!m_ftpd->waitForStarted()) {
        *whyNot = QStringLiteral("pure-ftpd did not start: ") + m_ftpd->errorString();
        return false;
    }
    // Listening once a connection gets the greeting.
    for (int attempt = 0; attempt < 100; ++attempt) {
        QTcpSocket probe;
        probe.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(m_port));
        if (probe.waitForConnected(100) && probe.waitForReadyRead(1000))
            return true;
        QThread::msleep(20);
    }
    *whyNot = QStringLiteral("pure-ftpd does not answer on port %1").arg(m_port);
    return false;
}


void PureFtpdServer::stop()
{
    if (m_ftpd)
        killDescendantsOf(m_ftpd->processId());
    for (auto* process : {m_ftpd.get(), m_authd.get()}) {
        if (!process || process->state() == QProcess::NotRunning)
            continue;
        process->terminate();
        if (!process->waitForFinished(5000)) {
            process->kill();
            process->waitForFinished(5000);
        }
    }
    m_ftpd.reset();
    m_authd.reset();
    if (!m_root.isEmpty())
        QDir(m_root).removeRecursively();
    m_root.clear();
}

QString PureFtpdServer::url(const QString& path) const
{
    return QStringLiteral("ftp://127.0.0.1:%1%2").arg(m_port).arg(path);
}

QStringList PureFtpdServer::curlArguments(const QString& user, const QString& password, const QStringList& more)
{
    return QStringList{QStringLiteral("--silent"), QStringLiteral("--show-error"), QStringLiteral("--max-time"), QStringLiteral("30"),
                       QStringLiteral("--user"), user + QLatin1Char(':') + password}
        + more;
}
