#pragma once

#include <QString>

// Where the program finds the files it carries. In a build tree (and on Windows) they
// sit beside the program. The Debian package installs the program in <prefix>/bin,
// the companion programs in <prefix>/lib/quillmere and the manual in
// <prefix>/share/quillmere, since the program's folder is then the system's and no
// place to write programs into.
namespace programfiles {

// The companion programs, by the names the build gives them in both layouts.
inline const QString Gatewick = QStringLiteral("gatewick");
inline const QString Updater = QStringLiteral("update");
inline const QString MigrationV2 = QStringLiteral("migration-v2");
inline const QString MigrationV4 = QStringLiteral("migration-v4");

// Whether the program runs from an installed prefix: <program folder>/../lib/quillmere is a folder.
bool isInstalled(const QString& programDir);
// The companion program called name: beside the program, or in the prefix's lib/quillmere.
QString companionPath(const QString& programDir, const QString& name);
// The administrator's manual, Pellbrook_Manual.pdf.
QString manualPath(const QString& programDir);

} // namespace programfiles
