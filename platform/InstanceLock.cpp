#include "platform/InstanceLock.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QStandardPaths>

namespace {

const QByteArray ShowRequest = QByteArrayLiteral("show\n");
const QByteArray ShownAnswer = QByteArrayLiteral("shown\n");
// Anything longer without a line break is not a request of the program's.
constexpr qint64 MaxRequestLength = 64;

} // namespace

InstanceLock::InstanceLock(QString lockFilePath, QObject* parent)
    : QObject(parent)
    , m_path(std::move(lockFilePath))
{
}

InstanceLock::~InstanceLock() = default;

QString InstanceLock::defaultLockFilePath()
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = QDir::tempPath();
    return folder + QStringLiteral("/Vantrel.lock");
}

QString InstanceLock::socketPath() const
{
    const QFileInfo lock(m_path);
    return lock.absolutePath() + QLatin1Char('/') + lock.completeBaseName() + QStringLiteral(".socket");
}

bool InstanceLock::tryAcquire()
{
    if (isHeld())
        return true;
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    m_lock = std::make_unique<QLockFile>(m_path);
    // Only a lock whose owner has died is stale; the default age limit would let a
    // second instance take the lock from a program that has been running a while.
    m_lock->setStaleLockTime(0);
    if (m_lock->tryLock(0)) {
        listen();
        return true;
    }
    m_lock.reset();
    return false;
}

void InstanceLock::release()
{
    m_server.reset();
    if (m_lock)
        m_lock->unlock();
    m_lock.reset();
}

bool InstanceLock::isHeld() const
{
    return m_lock && m_lock->isLocked();
}

void InstanceLock::listen()
{
    m_server = std::make_unique<QLocalServer>();
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    // The lock is ours, so a socket left under the name belongs to a run that died.
    QLocalServer::removeServer(socketPath());
    if (!m_server->listen(socketPath())) {
        // The program runs on; a second start then only waits for its time-out.
        m_server.reset();
        return;
    }
    connect(m_server.get(), &QLocalServer::newConnection, this, &InstanceLock::acceptRequests);
}

void InstanceLock::acceptRequests()
{
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readRequest(socket); });
        readRequest(socket);
    }
}

void InstanceLock::readRequest(QLocalSocket* socket)
{
    while (socket->canReadLine()) {
        if (socket->readLine() != ShowRequest)
            continue;
        // Answered first, so that the second start can end while the window comes up.
        socket->write(ShownAnswer);
        socket->flush();
        emit showRequested();
    }
    if (socket->bytesAvailable() > MaxRequestLength)
        socket->abort();
}

bool InstanceLock::askHolderToShow(int timeoutMs) const
{
    const QDeadlineTimer deadline(timeoutMs);
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    if (!socket.waitForConnected(static_cast<int>(deadline.remainingTime())))
        return false;
    socket.write(ShowRequest);
    if (!socket.waitForBytesWritten(static_cast<int>(deadline.remainingTime())))
        return false;
    while (!socket.canReadLine()) {
        if (deadline.hasExpired() || !socket.waitForReadyRead(static_cast<int>(deadline.remainingTime())))
            return false;
    }
    return socket.readLine() == ShownAnswer;
}
