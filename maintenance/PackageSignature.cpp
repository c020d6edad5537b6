#include "maintenance/PackageSignature.h"

#include <QList>
#include <QRegularExpression>

namespace updates {
namespace {

constexpr int SignatureBytes = 64;

} // namespace

QByteArray signedMessage(const Version& version, const QByteArray& package)
{
    return QByteArrayLiteral("Quillmere update package\n") + versionText(version).toLatin1() + '\n' + package;
}

QByteArray signatureFileText(const PackageSignature& signature)
{
    return "version " + versionText(signature.version).toLatin1() + '\n' + signature.signature.toHex() + '\n';
}

std::optional<PackageSignature> readSignatureFile(const QByteArray& bytes)
{
    QByteArray text = bytes;
    text.replace("\r\n", "\n");
    if (text.endsWith('\n'))
        text.chop(1);
    const QList<QByteArray> lines = text.split('\n');
    if (lines.size() != 2 || !lines[0].startsWith("version "))
        return std::nullopt;
    const auto version = readReleaseVersion(QString::fromLatin1(lines[0].mid(8)));
    static const QRegularExpression hex(QRegularExpression::anchoredPattern(QStringLiteral("[0-9A-Fa-f]{%1}").arg(2 * SignatureBytes)));
    if (!version || !hex.match(QString::fromLatin1(lines[1])).hasMatch())
        return std::nullopt;
    return PackageSignature{*version, QByteArray::fromHex(lines[1])};
}

} // namespace updates
