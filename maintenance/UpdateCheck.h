#pragma once

#include <QString>
#include <QUrl>

struct AppContext;

// Help -> Check for Updates: asks the update server for its newest version, and
// when it is newer and the administrator agrees, downloads the package and its
// signature, writes out the updater, starts it and ends the program.
namespace updates {

struct Version
{
    int major = 0;
    int minor = 0;
    int revision = 0;
};

// The server's reply "major.minor.revision": blanks around it allowed, each piece
// read from its leading number (0 when missing or not a number); a fourth piece is ignored.
Version parseVersionReply(const QString& reply);
// Versions compare by a weighted sum, not piece by piece: 2.0.110 is newer than 2.1.6.
int versionValue(const Version& version);
Version ownVersion();

// The update server: a build option that the environment variable QUILLMERE_UPDATE_URL overrides.
QUrl baseUrl();
QUrl versionUrl();
QUrl packageUrl();

void checkUpdates(AppContext& context);

} // namespace updates
