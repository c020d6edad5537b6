#pragma once

#include <QString>

#include <optional>

// Release versions as the update check and the updater compare them.
namespace updates {

struct Version
{
    int major = 0;
    int minor = 0;
    int revision = 0;
};

// The update server's reply "major.minor.revision": blanks around it allowed, each
// piece read from its leading number (0 when missing or not a number); a fourth
// piece is ignored.
Version parseVersionReply(const QString& reply);
// Versions compare by a weighted sum, not piece by piece: 2.0.110 is newer than 2.1.6.
qint64 versionValue(const Version& version);
Version ownVersion();

// A release's version as a signature carries it: "major.minor.revision" in plain
// decimal numbers of at most four digits, without blanks, signs or leading zeros,
// so that one version has one text only.
std::optional<Version> readReleaseVersion(const QString& text);
QString versionText(const Version& version);

} // namespace updates
