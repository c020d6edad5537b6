#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QFile;

// The server's INI file read as bytes: its sections and their keys in the file's
// order, with LF, CRLF or CR line ends, in UTF-8 (with or without a byte order
// mark), UTF-16 with a byte order mark, or else Windows-1252. The file is mapped,
// not copied, and each section is decoded only while it is visited, so a file of
// many megabytes never has to sit in memory as text.
namespace migration {

enum class IniEncoding { Utf8, Utf8WithBom, Utf16, Windows1252 };

struct IniEntry
{
    QString key;   // trimmed; for a line without "=", the whole trimmed line
    QString value; // trimmed, one pair of enclosing double quotes removed, as Windows reads it
    int lineNumber = 0;
    bool hasEquals = true;
};

struct IniSection
{
    QString name; // between the brackets, trimmed; empty for the lines before the first section
    int lineNumber = 0;
    QList<IniEntry> entries;
};

class IniDocument
{
public:
    // A file larger than this is refused as too large to be the server's INI file.
    static constexpr qint64 MaximumBytes = 256LL * 1024 * 1024;

    // Opens and checks the file: it must exist, hold something and be text. On
    // failure, nullopt and a sentence for the administrator in *error.
    static std::optional<IniDocument> open(const QString& path, QString* error);

    IniEncoding encoding() const { return m_encoding; }

    // Calls visit with each section in the file's order, the lines before the first
    // section included when there are any; visit returns false to stop.
    void forEachSection(const std::function<bool(const IniSection&)>& visit) const;

private:
    IniDocument() = default;
    static std::optional<IniDocument> check(IniDocument document, QString* error);
    QString decode(const char* data, qsizetype size) const;

    std::shared_ptr<QFile> m_file; // keeps the mapping alive
    QByteArray m_bytes;            // the text after any byte order mark
    IniEncoding m_encoding = IniEncoding::Utf8;
    QString m_displayName;
};

// True when the bytes are well-formed UTF-8 (no overlong forms, no surrogates).
bool isValidUtf8(const char* data, qsizetype size);

} // namespace migration
