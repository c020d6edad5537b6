#pragma once

#include "maintenance/ReleaseVersion.h"

#include <QString>
#include <QUrl>

struct AppContext;

// Help -> Check for Updates: asks the update server for its newest version, and
// when it is newer and the administrator agrees, downloads the package and its
// signature, writes out the updater, starts it and ends the program.
namespace updates {

// The update server: a build option that the environment variable QUILLMERE_UPDATE_URL overrides.
QUrl baseUrl();
QUrl versionUrl();
QUrl packageUrl();

void checkUpdates(AppContext& context);

} // namespace updates
