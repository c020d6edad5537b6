#include "platform/PathInfo.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStorageInfo>

namespace {

bool looksLikeUrl(const QString& path)
{
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.\\-]+:"));
    return scheme.match(path).hasMatch();
}

bool looksLikeUnc(const QString& path)
{
    return path.startsWith(QLatin1String("\\\\")) || path.startsWith(QLatin1String("//"));
}

bool looksLikeRoot(const QString& path)
{
    if (path == QLatin1String("/") || path == QLatin1String("\\"))
        return true;
    static const QRegularExpression driveRoot(QStringLiteral("^[A-Za-z]:[\\\\/]$"));
    if (driveRoot.match(path).hasMatch())
        return true;
    // "\\server", "\\server\" and "\\server\share" (with or without a trailing
    // separator) are the roots of a network share.
    static const QRegularExpression shareRoot(
        QStringLiteral("^(\\\\\\\\|//)[^\\\\/]+([\\\\/][^\\\\/]+)?[\\\\/]?$"));
    return shareRoot.match(path).hasMatch();
}

} // namespace

QString withoutTrailingSeparator(const QString& path)
{
    if ((path.endsWith(QLatin1Char('\\')) || path.endsWith(QLatin1Char('/'))) && !looksLikeRoot(path))
        return path.chopped(1);
    return path;
}

bool isPosixPath(const QString& path)
{
    return path.startsWith(QLatin1Char('/'));
}

QString storedPathCase(const QString& path)
{
    return isPosixPath(path) ? path : path.toLower();
}

bool isNetworkFileSystemType(const QString& fileSystemType)
{
    static const QStringList networkTypes{
        QStringLiteral("nfs"),       QStringLiteral("nfs4"),          QStringLiteral("cifs"),
        QStringLiteral("smb"),       QStringLiteral("smb2"),          QStringLiteral("smb3"),
        QStringLiteral("smbfs"),     QStringLiteral("ncpfs"),         QStringLiteral("afs"),
        QStringLiteral("9p"),        QStringLiteral("ceph"),          QStringLiteral("glusterfs"),
        QStringLiteral("lustre"),    QStringLiteral("fuse.sshfs"),    QStringLiteral("sshfs"),
        QStringLiteral("davfs"),     QStringLiteral("fuse.davfs2"),   QStringLiteral("fuse.glusterfs"),
    };
    return networkTypes.contains(fileSystemType.toLower());
}

PathFacts pathInfo(const QString& path)
{
    PathFacts facts;
    if (path.isEmpty())
        return facts;
    facts.isUrl = looksLikeUrl(path);
    facts.isUnc = looksLikeUnc(path);
    facts.isRoot = looksLikeRoot(path);

    if (!facts.isUrl) {
        const QFileInfo info(QDir::fromNativeSeparators(path));
        facts.isDirectory = info.isDir();
        if (facts.isDirectory) {
            const QDir dir(info.absoluteFilePath());
            facts.isEmptyDirectory =
                dir.isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
        }
    }

    facts.isNetworkPath = facts.isUnc;
    if (!facts.isNetworkPath && facts.isDirectory) {
        const QStorageInfo storage(QDir::fromNativeSeparators(path));
        facts.isNetworkPath =
            storage.isValid() && isNetworkFileSystemType(QString::fromLatin1(storage.fileSystemType()));
    }
    return facts;
}
