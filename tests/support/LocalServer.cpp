#include "LocalServer.h"

#include <QDir>
#include <QFileInfo>
#include <QHostAddress>
#include <QMultiHash>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QThread>

#include <csignal>
#include <unistd.h>

namespace localserver {
namespace {

// The fields of /proc/<pid>/stat after the name, which may hold blanks: state, parent, ...
QList<QByteArray> statFields(const QString& pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return {};
    const QByteArray line = stat.readAll();
    return line.mid(line.lastIndexOf(')') + 2).split(' ');
}

// A zombie is gone too: only its parent can reap it, and the parent may not be this process.
bool isRunning(qint64 pid)
{
    return ::kill(static_cast<pid_t>(pid), 0) == 0 && statFields(QString::number(pid)).value(0) != "Z";
}

} // namespace

int freePort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost, 0) ? probe.serverPort() : 0;
}

QString makeFolder(const char* prefix)
{
    QByteArray pattern = QDir::tempPath().toLocal8Bit() + '/' + prefix + "-XXXXXX";
    return ::mkdtemp(pattern.data()) ? QString::fromLocal8Bit(pattern) : QString();
}

QString ftpServerUnavailable(const QString& server, const QStringList& files)
{
    if (::geteuid() != 0)
        return server + QStringLiteral(" needs root, and the tests do not run as root");
    for (const QString& file : files) {
        if (!QFileInfo(file).isFile())
            return server + QStringLiteral(" is not unpacked in the build tree (scripts/fetch-ftp-servers.sh does it)");
    }
    if (QStandardPaths::findExecutable(QStringLiteral("curl")).isEmpty())
        return QStringLiteral("curl is not installed");
    return {};
}

bool greets(int port)
{
    QTcpSocket probe;
    probe.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
    if (!probe.waitForConnected(500))
        return false;
    while (probe.waitForReadyRead(2000)) {
        if (probe.canReadLine())
            return probe.readLine().startsWith("220");
    }
    return false;
}

void endWithDescendants(qint64 pid)
{
    if (pid <= 0)
        return;
    QMultiHash<qint64, qint64> children;
    for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool numeric = false;
        const qint64 process = entry.toLongLong(&numeric);
        const QList<QByteArray> fields = numeric ? statFields(entry) : QList<QByteArray>();
        if (fields.size() > 1)
            children.insert(fields.at(1).toLongLong(), process);
    }
    QList<qint64> tree = children.values(pid);
    for (int i = 0; i < tree.size(); ++i)
        tree += children.values(tree.at(i));
    for (auto child = tree.crbegin(); child != tree.crend(); ++child) {
        ::kill(static_cast<pid_t>(*child), SIGKILL);
        QThread::msleep(5);
    }
    ::kill(static_cast<pid_t>(pid), SIGTERM);
    if (!QTest::qWaitFor([pid] { return !isRunning(pid); }, 10000))
        ::kill(static_cast<pid_t>(pid), SIGKILL);
}

} // namespace localserver
