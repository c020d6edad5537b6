#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>

// A real pure-ftpd on loopback, with pure-authd running the program's
// authentication handler: the FTP server the tests log in to. The binaries are
// Debian's, unpacked into the build tree; nothing is installed, and the server
// stops when this object goes.
class PureFtpdServer
{
public:
    ~PureFtpdServer();

    // Why the server cannot run here (not root, binaries missing); empty when it can.
    static QString unavailableReason();

    // Starts pure-authd and pure-ftpd; the handler reads the settings file given.
    bool start(const QString& settingsFile, QString* whyNot);
    int port() const { return m_port; }
    QString url(const QString& path = QStringLiteral("/")) const;

    // The arguments that make curl log in to the server as the given account.
    static QStringList curlArguments(const QString& user, const QString& password, const QStringList& more);

private:
    QString m_root;
    int m_port = 0;
    std::unique_ptr<QProcess> m_authd;
    std::unique_ptr<QProcess> m_ftpd;
};
