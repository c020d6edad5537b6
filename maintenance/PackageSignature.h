#pragma once

#include "maintenance/ReleaseVersion.h"

#include <QByteArray>

#include <optional>

// The signature of an update package binds the package to its release version, so
// that an older signed release cannot be offered again as an update.
namespace updates {

// What the signature covers: the line "Quillmere update package", the version text
// and a line end, then the package's bytes. The version text never holds a line end,
// so no other version and package give the same bytes.
QByteArray signedMessage(const Version& version, const QByteArray& package);

// The signature file "Vantrel.upg.sig": the line "version 2.1.7", then the Ed25519
// signature as 128 hexadecimal digits on a line of its own.
struct PackageSignature
{
    Version version;
    QByteArray signature;
};
QByteArray signatureFileText(const PackageSignature& signature);
// The file's contents read back; nullopt for anything but that form (CR LF line ends allowed).
std::optional<PackageSignature> readSignatureFile(const QByteArray& bytes);

} // namespace updates
