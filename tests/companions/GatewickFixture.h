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

// Shared set-up of the companions' tests: files, and accounts made by the program's own save.
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

} // namespace gatewicktest
