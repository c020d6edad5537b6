#include "maintenance/ReleaseVersion.h"

#include "services/AppInfo.h"

#include <QRegularExpression>
#include <QStringList>

#include <cmath>

namespace updates {
namespace {

int leadingNumber(const QString& piece)
{
    static const QRegularExpression number(QStringLiteral("^\\s*[+-]?(\\d+\\.?\\d*|\\.\\d+)"));
    const QRegularExpressionMatch match = number.match(piece);
    if (!match.hasMatch())
        return 0;
    const double value = match.captured(0).trimmed().toDouble();
    return std::isfinite(value) && std::fabs(value) < 1e6 ? static_cast<int>(std::lround(value)) : 0;
}

} // namespace

Version parseVersionReply(const QString& reply)
{
    const QStringList pieces = reply.trimmed().split(QLatin1Char('.'));
    Version version;
    version.major = leadingNumber(pieces.value(0));
    version.minor = leadingNumber(pieces.value(1));
    version.revision = leadingNumber(pieces.value(2));
    return version;
}

qint64 versionValue(const Version& version)
{
    return qint64(version.major) * 100000 + qint64(version.minor) * 1000 + qint64(version.revision) * 10;
}

Version ownVersion()
{
    return {appinfo::VersionMajor, appinfo::VersionMinor, appinfo::VersionRevision};
}

std::optional<Version> readReleaseVersion(const QString& text)
{
    static const QRegularExpression form(
        QRegularExpression::anchoredPattern(QStringLiteral("(0|[1-9]\\d{0,3})\\.(0|[1-9]\\d{0,3})\\.(0|[1-9]\\d{0,3})")));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    return Version{match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt()};
}

QString versionText(const Version& version)
{
    return QStringLiteral("%1.%2.%3").arg(version.major).arg(version.minor).arg(version.revision);
}

} // namespace updates
