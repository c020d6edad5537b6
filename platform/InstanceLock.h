#pragma once

#include <QObject>
#include <QString>

#include <memory>

class QLocalServer;
class QLocalSocket;
class QLockFile;

// Tells a second start of the program within the same user session from the first:
// a lock file in the user's runtime folder, held for the whole run. The holder
// also listens on a local socket beside it, through which a second start asks it
// to show its window before ending.
class InstanceLock : public QObject
{
    Q_OBJECT

public:
    // How long a second start waits for the running instance to answer.
    static constexpr int AnswerTimeoutMs = 1000;

    explicit InstanceLock(QString lockFilePath = defaultLockFilePath(), QObject* parent = nullptr);
    ~InstanceLock() override;
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    // True when this process now holds the lock (or held it already).
    bool tryAcquire();
    void release();
    bool isHeld() const;
    QString lockFilePath() const { return m_path; }
    // The local socket the holder listens on: the lock's name with ".socket".
    QString socketPath() const;

    // Asks the holder to show its window. True when it said so in time; a holder
    // that is busy still gets the request and acts on it when it can.
    bool askHolderToShow(int timeoutMs = AnswerTimeoutMs) const;

    static QString defaultLockFilePath();

signals:
    // Another start of the program asked for the window.
    void showRequested();

private:
    void listen();
    void acceptRequests();
    void readRequest(QLocalSocket* socket);

    QString m_path;
    std::unique_ptr<QLockFile> m_lock;
    std::unique_ptr<QLocalServer> m_server;
};
