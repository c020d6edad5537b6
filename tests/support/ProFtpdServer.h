#pragma once

#include <QString>

// Debian's ProFTPD on loopback, unpacked into the build tree, serving the
// configuration the program writes: a main configuration of its own (port,
// passive range, logs in a folder of the test) includes the generated file.
// The server stops when this object goes.
class ProFtpdServer
{
public:
    ProFtpdServer() = default;
    ~ProFtpdServer();
    ProFtpdServer(const ProFtpdServer&) = delete;
    ProFtpdServer& operator=(const ProFtpdServer&) = delete;

    // Why the server cannot run here (not root, binaries or curl missing); empty when it can.
    static QString unavailableReason();

    // Starts the server in `runDir` with `include` as the configuration of the accounts.
    bool start(const QString& runDir, const QString& include, QString* whyNot);
    // How often the server has begun to re-read its configuration.
    int reloads() const;
    // Returns once the server began a re-read after `count` of them and answers again.
    bool awaitReload(int count);
    int port() const { return m_port; }
    QString pidFile() const { return m_runDir + QStringLiteral("/proftpd.pid"); }
    QString url(const QString& path = QStringLiteral("/")) const;
    // What the server wrote to its log so far.
    QString log() const;

private:
    void stop();
    qint64 pid() const;
    bool isRunning() const;

    QString m_runDir;
    int m_port = 0;
};
