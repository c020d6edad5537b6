#pragma once

#include "PureFtpdServer.h"
#include "TestDatabase.h"
#include "TestEnvironment.h"

#include "accounts/AccountStore.h"
#include "db/SqlText.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QTcpSocket>
#include <QTest>

#include <memory>

#include <unistd.h>

// Skips a test whose outside part (an FTP server, root) is missing here, or fails it
// under CI, where it must be present.
#define QUILLMERE_REQUIRE_AVAILABLE(whyNot)                   \
    if (const QString missing = (whyNot); !missing.isEmpty()) { \
        const QByteArray ci = qgetenv("CI");                    \
        if (!ci.isEmpty() && ci != "false")                     \
            QFAIL(qPrintable(missing));                         \
        QSKIP(qPrintable(missing));                             \
    }

// Shared set-up of the companions' tests: files, accounts made by the program's own save,
// and the two FTP clients of the end-to-end tests.
namespace gatewicktest {

// The path back, or an empty one when the file could not be written.
inline QString writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? path : QString();
}

inline QByteArray fileContents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A home folder the FTP server may use: not root's (on a machine where the tests
// run as root it is handed to "nobody").
inline QString homeFolder(TestEnvironment& env, const QString& name)
{
    const QString path = env.path(QStringLiteral("ftp/") + name);
    QDir().mkpath(path);
    if (::geteuid() == 0) {
        QProcess::execute(QStringLiteral("chown"), {QStringLiteral("65534:65534"), path});
        QFile::setPermissions(path, QFile::permissions(path) | QFile::ReadOther | QFile::ExeOther);
    }
    return path;
}

// Creates an account through the user page's own save, as the New User dialog does.
inline bool createAccount(TestEnvironment& env, const QString& name, const QString& password, const QString& home)
{
    PageState page;
    page.saveMode = SaveMode::NewUser;
    accounts::PageValues values;
    values.username = name;
    values.password = password;
    values.homedir = home;
    return accounts::saveUser(env.context, page, values);
}

// curl's exit code and what it wrote, logged in as the account.
struct CurlRun
{
    int exit = -1;
    QByteArray out, errors;
};
inline CurlRun curl(const QString& user, const QString& password, const QStringList& more)
{
    QProcess process;
    process.start(QStringLiteral("curl"), PureFtpdServer::curlArguments(user, password, more));
    process.waitForFinished(60000);
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

// A plain control connection, for what curl cannot do: hold a session, or wait for
// the server to end one. A reply is its three-digit code; 0 when none came.
class ControlConnection
{
public:
    bool open(int port, const QString& from = QStringLiteral("127.0.0.1"))
    {
        m_socket.bind(QHostAddress(from));
        m_socket.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
        return m_socket.waitForConnected(5000) && reply() == 220;
    }
    int send(const QString& line)
    {
        m_socket.write(line.toUtf8() + "\r\n");
        return reply();
    }
    bool login(const QString& user, const QString& password)
    {
        const int asked = send(QStringLiteral("USER ") + user);
        return asked == 230 || (asked == 331 && send(QStringLiteral("PASS ") + password) == 230);
    }
    QString text() const { return m_text; }
    // Waits for the server to end the connection; true when it did within the time.
    bool closedWithin(int milliseconds)
    {
        QElapsedTimer timer;
        timer.start();
        while (m_socket.state() == QAbstractSocket::ConnectedState && timer.elapsed() < milliseconds) {
            if (m_socket.waitForReadyRead(500))
                m_text += QString::fromUtf8(m_socket.readAll());
        }
        return m_socket.state() != QAbstractSocket::ConnectedState;
    }

private:
    int reply()
    {
        // A reply ends with the line that has a blank after its code.
        while (true) {
            while (!m_socket.canReadLine()) {
                if (!m_socket.waitForReadyRead(10000))
                    return 0;
            }
            const QString line = QString::fromUtf8(m_socket.readLine());
            m_text += line;
            if (line.size() >= 4 && line.at(3) == QLatin1Char(' '))
                return line.left(3).toInt();
        }
    }

    QTcpSocket m_socket;
    QString m_text;
};

} // namespace gatewicktest
