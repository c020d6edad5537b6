#include "IniDocument.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include <cstring>

namespace migration {
namespace {

// Windows-1252 where it differs from Latin-1; the five unassigned bytes stay the
// C1 controls they are in Latin-1, as Windows itself maps them.
constexpr char16_t Windows1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

QString fromWindows1252(const char* data, qsizetype size)
{
    QString text(size, Qt::Uninitialized);
    QChar* out = text.data();
    for (qsizetype at = 0; at < size; ++at) {
        const auto byte = static_cast<unsigned char>(data[at]);
        out[at] = byte >= 0x80 && byte < 0xA0 ? QChar(Windows1252High[byte - 0x80]) : QChar(byte);
    }
    return text;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\f' || c == '\v'; }

// A control byte that has no business in a text file: anything below a space except
// the blanks, the line ends and the old end-of-file mark.
bool isStrayControl(unsigned char byte)
{
    return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r' && byte != '\f' && byte != '\v' && byte != 0x1A;
}

QString withoutEnclosingQuotes(QString value)
{
    if (value.size() >= 2 && value.front() == QLatin1Char('"') && value.back() == QLatin1Char('"'))
        return value.mid(1, value.size() - 2);
    return value;
}

} // namespace

bool isValidUtf8(const char* data, qsizetype size)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    qsizetype at = 0;
    while (at < size) {
        const unsigned char lead = bytes[at];
        if (lead < 0x80) {
            ++at;
            continue;
        }
        int length = 0;
        unsigned char low = 0x80, high = 0xBF; // the allowed range of the second byte
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            if (lead == 0xE0)
                low = 0xA0; // overlong
            else if (lead == 0xED)
                high = 0x9F; // surrogates
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            if (lead == 0xF0)
                low = 0x90;
            else if (lead == 0xF4)
                high = 0x8F;
        } else {
            return false;
        }
        if (size - at < length)
            return false;
        if (bytes[at + 1] < low || bytes[at + 1] > high)
            return false;
        for (int follow = 2; follow < length; ++follow)
            if ((bytes[at + follow] & 0xC0) != 0x80)
                return false;
        at += length;
    }
    return true;
}

std::optional<IniDocument> IniDocument::open(const QString& path, QString* error)
{
    const QFileInfo info(path);
    if (path.trimmed().isEmpty()) {
        *error = QStringLiteral("No INI file was chosen.");
        return std::nullopt;
    }
    if (!info.exists()) {
        *error = QStringLiteral("The file %1 does not exist.").arg(path);
        return std::nullopt;
    }
    if (info.isDir()) {
        *error = QStringLiteral("%1 is a folder, not the server's INI file.").arg(path);
        return std::nullopt;
    }
    if (info.size() > MaximumBytes) {
        *error = QStringLiteral("The file %1 is %2 MB, too large to be the server's INI file (at most %3 MB are read).")
                     .arg(path, QString::number(info.size() / (1024 * 1024)), QString::number(MaximumBytes / (1024 * 1024)));
        return std::nullopt;
    }
    auto file = std::make_shared<QFile>(path);
    if (!file->open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("The file %1 cannot be read: %2.").arg(path, file->errorString());
        return std::nullopt;
    }
    IniDocument document;
    document.m_displayName = path;
    const qint64 size = file->size();
    if (size > 0) {
        // Mapping spares a copy of a big file; where the file system cannot map, it is read.
        if (uchar* mapped = file->map(0, size))
            document.m_bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(mapped), static_cast<qsizetype>(size));
        else
            document.m_bytes = file->readAll();
    }
    document.m_file = std::move(file);
    return check(std::move(document), error);
}

std::optional<IniDocument> IniDocument::check(IniDocument document, QString* error)
{
    QByteArray& bytes = document.m_bytes;
    const QString subject = QStringLiteral("The file %1").arg(document.m_displayName);

    if (bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF")) {
        // A text editor may have saved the file as UTF-16; it reads as well as UTF-8.
        QStringDecoder decoder(bytes.startsWith("\xFF\xFE") ? QStringConverter::Utf16LE : QStringConverter::Utf16BE);
        const QString text = decoder(QByteArrayView(bytes).sliced(2));
        if (decoder.hasError()) {
            *error = QStringLiteral("%1 starts like UTF-16 text but is not valid UTF-16.").arg(subject);
            return std::nullopt;
        }
        bytes = text.toUtf8();
        document.m_encoding = IniEncoding::Utf16;
    } else if (bytes.startsWith("\xEF\xBB\xBF")) {
        bytes = bytes.mid(3);
        document.m_encoding = IniEncoding::Utf8WithBom;
    }

    qsizetype firstVisible = 0;
    while (firstVisible < bytes.size() && (isBlank(bytes.at(firstVisible)) || bytes.at(firstVisible) == '\r' || bytes.at(firstVisible) == '\n'))
        ++firstVisible;
    if (firstVisible == bytes.size()) {
        *error = QStringLiteral("%1 is empty.").arg(subject);
        return std::nullopt;
    }

    if (const void* zero = std::memchr(bytes.constData(), 0, static_cast<size_t>(bytes.size()))) {
        const auto offset = static_cast<const char*>(zero) - bytes.constData();
        *error = QStringLiteral("%1 holds binary data (a zero byte at offset %2), so it is not the server's INI file.")
                     .arg(subject, QString::number(offset));
        return std::nullopt;
    }
    qsizetype strayControls = 0;
    for (const char c : std::as_const(bytes))
        strayControls += isStrayControl(static_cast<unsigned char>(c)) ? 1 : 0;
    // A stray control character or two may sit in a note; more than one in a thousand bytes is not text.
    if (strayControls > 8 && strayControls > bytes.size() / 1000) {
        *error = QStringLiteral("%1 holds binary data (%2 control characters), so it is not the server's INI file.")
                     .arg(subject, QString::number(strayControls));
        return std::nullopt;
    }

    if (document.m_encoding == IniEncoding::Utf8 && !isValidUtf8(bytes.constData(), bytes.size()))
        document.m_encoding = IniEncoding::Windows1252;
    return document;
}

QString IniDocument::decode(const char* data, qsizetype size) const
{
    if (m_encoding == IniEncoding::Windows1252)
        return fromWindows1252(data, size);
    // A file with a UTF-8 mark but broken bytes still reads, with replacement characters.
    return QString::fromUtf8(data, size);
}

void IniDocument::forEachSection(const std::function<bool(const IniSection&)>& visit) const
{
    const char* const begin = m_bytes.constData();
    const char* const end = begin + m_bytes.size();
    IniSection section;
    bool sectionStarted = false;
    int lineNumber = 0;

    const auto flush = [&]() -> bool {
        if (!sectionStarted && section.entries.isEmpty())
            return true;
        const bool goOn = visit(section);
        section = IniSection();
        return goOn;
    };

    const char* at = begin;
    while (at < end) {
        // The line runs to the next CR or LF; CRLF counts as one end.
        const char* lineEnd = at;
        while (lineEnd < end && *lineEnd != '\n' && *lineEnd != '\r')
            ++lineEnd;
        ++lineNumber;
        const char* first = at;
        const char* last = lineEnd;
        while (first < last && isBlank(*first))
            ++first;
        while (last > first && (isBlank(last[-1]) || last[-1] == 0x1A))
            --last;
        at = lineEnd;
        if (at < end && *at == '\r') {
            ++at;
            if (at < end && *at == '\n')
                ++at;
        } else if (at < end) {
            ++at;
        }

        if (first == last || *first == ';')
            continue;
        if (*first == '[') {
            if (!flush())
                return;
            const char* close = last;
            while (close > first && close[-1] != ']')
                --close;
            const char* nameEnd = close > first + 1 ? close - 1 : last;
            section.name = decode(first + 1, nameEnd - first - 1).trimmed();
            section.lineNumber = lineNumber;
            sectionStarted = true;
            continue;
        }
        IniEntry entry;
        entry.lineNumber = lineNumber;
        const char* equals = static_cast<const char*>(std::memchr(first, '=', static_cast<size_t>(last - first)));
        if (equals == nullptr) {
            entry.key = decode(first, last - first);
            entry.hasEquals = false;
        } else {
            entry.key = decode(first, equals - first).trimmed();
            entry.value = withoutEnclosingQuotes(decode(equals + 1, last - equals - 1).trimmed());
        }
        section.entries.append(std::move(entry));
    }
    flush();
}

} // namespace migration
