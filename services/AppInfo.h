#pragma once

#include "Version.h"

#include <QString>

// The names and version the program shows.
namespace appinfo {

// The caption of most message boxes.
inline const QString Title = QStringLiteral("Vantrel");
// The product name in window captions and the tray tip.
inline const QString Product = QStringLiteral("Quillmere");
inline const QString CriticalCaption = QStringLiteral("Quillmere CRITICAL ERROR");

constexpr int VersionMajor = QUILLMERE_VERSION_MAJOR;
constexpr int VersionMinor = QUILLMERE_VERSION_MINOR;
constexpr int VersionRevision = QUILLMERE_VERSION_PATCH;

inline QString versionText()
{
    return QStringLiteral("%1.%2.%3").arg(VersionMajor).arg(VersionMinor).arg(VersionRevision);
}

} // namespace appinfo
