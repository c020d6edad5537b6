#include "services/EmbeddedFiles.h"

#include <QFile>
#include <QSaveFile>

namespace embedded {

QString resourcePath(int id)
{
    return QStringLiteral(":/embedded/%1").arg(id);
}

bool exists(int id)
{
    return QFile::exists(resourcePath(id));
}

QString writeWholeFile(const QString& path, const QByteArray& bytes, bool inPlaceFallback)
{
    QSaveFile target(path);
    target.setDirectWriteFallback(inPlaceFallback);
    const bool written = target.open(QIODevice::WriteOnly) && target.write(bytes) == bytes.size() && target.commit();
    if (written)
        return {};
    const QString reason = target.errorString();
    target.cancelWriting();
    return reason.isEmpty() ? QStringLiteral("unknown error") : reason;
}

WriteResult writeEmbeddedFile(int id, const QString& targetPath)
{
    QFile resource(resourcePath(id));
    if (!resource.open(QIODevice::ReadOnly))
        return {false, QStringLiteral("The program carries no file number %1 to write to \"%2\".").arg(id).arg(targetPath)};
    const QByteArray bytes = resource.readAll();

    if (const QString reason = writeWholeFile(targetPath, bytes, true); !reason.isEmpty())
        return {false, QStringLiteral("Could not write \"%1\": %2").arg(targetPath, reason)};

    const bool isProgram = id != TemplateDatabase;
    if (isProgram) {
        QFile::setPermissions(targetPath, QFile::permissions(targetPath) | QFile::ExeOwner | QFile::ExeUser
                                              | QFile::ExeGroup | QFile::ExeOther | QFile::ReadGroup
                                              | QFile::ReadOther);
    }
    return {true, {}};
}

} // namespace embedded
