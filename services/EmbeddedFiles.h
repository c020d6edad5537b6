#pragma once

#include <QString>

// The files the program carries inside itself and writes out when needed.
namespace embedded {

enum Resource {
    TemplateDatabase = 101, // an empty accounts database
    AuthPlugin = 102,       // the FTP server's authentication plug-in
    MigrationV2 = 103,      // migration tool for server versions 2.0 to 3.0
    MigrationV4 = 104,      // migration tool for server versions 4.0 and above
    Updater = 105,          // the updater
};

struct WriteResult
{
    bool ok = false;
    QString error; // names the file and the reason when ok is false
    explicit operator bool() const { return ok; }
};

// Writes bytes to path whole: beside the old file and renamed over it, so a failed
// write leaves the old file as it was. Where the folder is read-only but the file may
// be written, inPlaceFallback writes in place instead. Returns the reason of a
// failure, or an empty text when every byte landed.
QString writeWholeFile(const QString& path, const QByteArray& bytes, bool inPlaceFallback = false);

// The resource path of an embedded file in the Qt resource system.
QString resourcePath(int id);
bool exists(int id);

// Writes every byte of the embedded file to the target path. A longer earlier file
// keeps no tail: the new file replaces it whole, or the old one stays untouched.
// The programs among the files are made executable.
WriteResult writeEmbeddedFile(int id, const QString& targetPath);

} // namespace embedded
