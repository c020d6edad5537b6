#pragma once

#include <QString>

#include <memory>

class QLockFile;

// Tells a second start of the program within the same user session from the first:
// a lock file in the user's runtime folder, held for the whole run.
class InstanceLock
{
public:
    explicit InstanceLock(QString lockFilePath = defaultLockFilePath());
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    // True when this process now holds the lock (or held it already).
    bool tryAcquire();
    void release();
    bool isHeld() const;
    QString lockFilePath() const { return m_path; }

    static QString defaultLockFilePath();

private:
    QString m_path;
    std::unique_ptr<QLockFile> m_lock;
};
