#include "platform/InstanceLock.h"

#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QStandardPaths>

InstanceLock::InstanceLock(QString lockFilePath)
    : m_path(std::move(lockFilePath))
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

bool InstanceLock::tryAcquire()
{
    if (isHeld())
        return true;
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    m_lock = std::make_unique<QLockFile>(m_path);
    // Only a lock whose owner has died is stale; the default age limit would let a
    // second instance take the lock from a program that has been running a while.
    m_lock->setStaleLockTime(0);
    if (m_lock->tryLock(0))
        return true;
    m_lock.reset();
    return false;
}

void InstanceLock::release()
{
    if (m_lock)
        m_lock->unlock();
    m_lock.reset();
}

bool InstanceLock::isHeld() const
{
    return m_lock && m_lock->isLocked();
}
