#include "shell/EmbeddedFiles.h"

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

WriteResult writeEmbeddedFile(int id, const QString& targetPath)
{
    QFile resource(resourcePath(id));
    if (!resource.open(QIODevice::ReadOnly))
        return {false, QStringLiteral("The program carries no file number %1 to write to \"%2\".").arg(id).arg(targetPath)};
    const QByteArray bytes = resource.readAll();

    QSaveFile target(targetPath);
    // Where the folder itself is read-only but the file may be written, write in place.
    target.setDirectWriteFallback(true);
    if (!target.open(QIODevice::WriteOnly))
        return {false, QStringLiteral("Could not write \"%1\": %2").arg(targetPath, target.errorString())};
    if (target.write(bytes) != bytes.size()) {
        const QString reason = target.errorString();
        target.cancelWriting();
        return {false, QStringLiteral("Could not write \"%1\": %2").arg(targetPath, reason)};
    }
    if (!target.commit())
        return {false, QStringLiteral("Could not write \"%1\": %2").arg(targetPath, target.errorString())};

    const bool isProgram = id != TemplateDatabase;
    if (isProgram) {
        QFile::setPermissions(targetPath, QFile::permissions(targetPath) | QFile::ExeOwner | QFile::ExeUser
                                              | QFile::ExeGroup | QFile::ExeOther | QFile::ReadGroup
                                              | QFile::ReadOther);
    }
    return {true, {}};
}

} // namespace embedded
