#include "maintenance/ProgramFiles.h"

#include "maintenance/Help.h"

#include <QDir>
#include <QFileInfo>

namespace programfiles {

namespace {

QString inPrefix(const QString& programDir, const QString& relative)
{
    return QDir::cleanPath(programDir + QStringLiteral("/../") + relative);
}

} // namespace

bool isInstalled(const QString& programDir)
{
    return QFileInfo(inPrefix(programDir, QStringLiteral("lib/quillmere"))).isDir();
}

QString companionPath(const QString& programDir, const QString& name)
{
    if (isInstalled(programDir))
        return inPrefix(programDir, QStringLiteral("lib/quillmere/") + name);
    return programDir + QLatin1Char('/') + name;
}

QString manualPath(const QString& programDir)
{
    if (isInstalled(programDir))
        return inPrefix(programDir, QStringLiteral("share/quillmere/") + help::ManualFileName);
    return programDir + QLatin1Char('/') + help::ManualFileName;
}

} // namespace programfiles
