#pragma once

#include "PureFtpdServer.h"
#include "TestDatabase.h"
#include "TestEnvironment.h"

#include "accounts/AccountStore.h"
#include "db/SqlText.h"

#include <QDir>
#include <QFile>
#include <QProcess>
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

// Shared set-up of the companions' tests: files, accounts made by the program's own
// save, the handler run as pure-authd runs it, and an FTP client.
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

// curl logging in to the pure-ftpd of the tests, started and left running.
inline std::unique_ptr<QProcess> startCurl(const QString& user, const QString& password, const QStringList& more)
{
    auto process = std::make_unique<QProcess>();
    process->start(QStringLiteral("curl"), PureFtpdServer::curlArguments(user, password, more));
    return process;
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

// Runs the handler with pure-authd's variables; the account is given as raw bytes.
struct Answer
{
    QStringList lines;
    QString errors;
    bool finished = false;
    QString value(const QString& key) const
    {
        for (const QString& line : lines) {
            if (line.startsWith(key + QLatin1Char(':')))
                return line.mid(key.size() + 1);
        }
        return {};
    }
};

// Octal escapes that the shell's printf turns back into the very bytes.
inline QString octalEscapes(const QByteArray& bytes)
{
    QString escaped;
    for (const char byte : bytes)
        escaped += QStringLiteral("\\%1").arg(static_cast<uchar>(byte), 3, 8, QLatin1Char('0'));
    return escaped;
}

inline Answer runHandler(const QString& settingsFile, const QByteArray& account, const QByteArray& password,
                         const QByteArray& address = "127.0.0.1")
{
    // Through the shell, so that bytes that are no text reach the handler as they are.
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QUILLMERE_SETTINGS"), settingsFile);
    environment.insert(QStringLiteral("AUTHD_REMOTE_IP"), QString::fromLatin1(address));
    environment.insert(QStringLiteral("ACCOUNT_BYTES"), octalEscapes(account));
    environment.insert(QStringLiteral("PASSWORD_BYTES"), octalEscapes(password));
    environment.insert(QStringLiteral("HANDLER"), QStringLiteral(QUILLMERE_BIN_DIR "/gatewick"));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("AUTHD_ACCOUNT=\"$(printf \"$ACCOUNT_BYTES\")\" "
                                                                              "AUTHD_PASSWORD=\"$(printf \"$PASSWORD_BYTES\")\" "
                                                                              "exec \"$HANDLER\"")});
    Answer answer;
    answer.finished = process.waitForFinished(10000);
    answer.lines = QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    answer.errors = QString::fromUtf8(process.readAllStandardError());
    return answer;
}

} // namespace gatewicktest
