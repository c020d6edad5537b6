#pragma once

#include <QString>
#include <QStringList>

// The directory access entries of an account while the page edits them: each entry
// is "user|directory|rights|inherit", and the entries are joined by the section
// sign. Empty pieces are allowed and skipped by every reader; an entry whose
// directory is empty has been deleted and writes no row. Rows written by other tools
// may hold "|" or the section sign themselves, so a field carries "%", "|" and the
// section sign as "%25", "%7C" and "%A7": any text goes through the list unchanged,
// and ordinary names and paths read as they always did.
namespace accessrules {

inline constexpr QChar Separator = QChar(0x00A7);

struct Entry
{
    QString user;
    QString directory;
    QString rights;
    QString inherit;
};

// The rights a directory entry grants; their letters are R W A M E L C D.
struct Rights
{
    bool read = false;    // R
    bool write = false;   // W
    bool append = false;  // A
    bool remove = false;  // M: delete files
    bool execute = false; // E
    bool list = false;    // L
    bool make = false;    // C: make directories
    bool removeDirectory = false; // D
};

// Each letter counts when it occurs anywhere in the text, in either case.
Rights readRights(const QString& letters);
// The letters of the granted rights, upper case, in the order R W A M E L C D.
QString rightsLetters(const Rights& rights);
// The inherit flag is set only when the text, trimmed, is exactly "1".
bool readInherit(const QString& text);

// A field as the list carries it, and back.
QString encodeField(const QString& text);
QString decodeField(const QString& field);

QString entryText(const Entry& entry);
// Splits one piece at "|" and decodes its fields; missing fields are empty.
Entry parseEntry(const QString& piece);
// The non-empty pieces, parsed, in order.
QList<Entry> entries(const QString& list);

// Appends an entry as a new last piece.
QString appendEntry(const QString& list, const Entry& entry);
// Empties the directory of every entry whose directory is exactly `directory`.
QString removeDirectory(const QString& list, const QString& directory);
// Gives `newPath` to the entries whose directory is `oldPath` as the program stores
// paths (a Windows path in either case, a POSIX path exactly); no other entry
// changes, not even one whose path merely contains the old one.
QString replaceDirectory(const QString& list, const QString& oldPath, const QString& newPath);
// Puts a new user name into the first field of every entry; empty pieces stay.
QString renameUser(const QString& list, const QString& newName);

} // namespace accessrules
