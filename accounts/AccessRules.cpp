#include "accounts/AccessRules.h"

#include "platform/PathInfo.h"

namespace accessrules {
namespace {

// Rewrites every non-empty piece through `change`, keeping empty pieces in place.
template <typename Change> QString rewritePieces(const QString& list, Change change)
{
    QStringList pieces = list.split(Separator);
    for (QString& piece : pieces) {
        if (!piece.isEmpty())
            piece = change(piece);
    }
    return pieces.join(Separator);
}

} // namespace

Rights readRights(const QString& letters)
{
    const QString upper = letters.toUpper();
    Rights rights;
    rights.read = upper.contains(QLatin1Char('R'));
    rights.write = upper.contains(QLatin1Char('W'));
    rights.append = upper.contains(QLatin1Char('A'));
    rights.remove = upper.contains(QLatin1Char('M'));
    rights.execute = upper.contains(QLatin1Char('E'));
    rights.list = upper.contains(QLatin1Char('L'));
    rights.make = upper.contains(QLatin1Char('C'));
    rights.removeDirectory = upper.contains(QLatin1Char('D'));
    return rights;
}

QString rightsLetters(const Rights& rights)
{
    QString letters;
    const std::pair<bool, char> order[] = {{rights.read, 'R'},   {rights.write, 'W'},  {rights.append, 'A'},
                                           {rights.remove, 'M'}, {rights.execute, 'E'}, {rights.list, 'L'},
                                           {rights.make, 'C'},   {rights.removeDirectory, 'D'}};
    for (const auto& [granted, letter] : order) {
        if (granted)
            letters += QLatin1Char(letter);
    }
    return letters;
}

bool readInherit(const QString& text)
{
    return text.trimmed() == QLatin1String("1");
}

QString encodeField(const QString& text)
{
    QString field;
    field.reserve(text.size());
    for (const QChar c : text) {
        if (c == QLatin1Char('%'))
            field += QLatin1String("%25");
        else if (c == QLatin1Char('|'))
            field += QLatin1String("%7C");
        else if (c == Separator)
            field += QLatin1String("%A7");
        else
            field += c;
    }
    return field;
}

QString decodeField(const QString& field)
{
    if (!field.contains(QLatin1Char('%')))
        return field;
    QString text;
    text.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        const QStringView code = QStringView(field).mid(i, 3);
        if (code.compare(QLatin1String("%25"), Qt::CaseInsensitive) == 0)
            text += QLatin1Char('%');
        else if (code.compare(QLatin1String("%7C"), Qt::CaseInsensitive) == 0)
            text += QLatin1Char('|');
        else if (code.compare(QLatin1String("%A7"), Qt::CaseInsensitive) == 0)
            text += Separator;
        else {
            text += field.at(i);
            continue;
        }
        i += 2;
    }
    return text;
}

QString entryText(const Entry& entry)
{
    return QStringList{encodeField(entry.user), encodeField(entry.directory), encodeField(entry.rights),
                       encodeField(entry.inherit)}
        .join(QLatin1Char('|'));
}

Entry parseEntry(const QString& piece)
{
    const QStringList fields = piece.split(QLatin1Char('|'));
    return {decodeField(fields.value(0)), decodeField(fields.value(1)), decodeField(fields.value(2)),
            decodeField(fields.value(3))};
}

QList<Entry> entries(const QString& list)
{
    QList<Entry> result;
    for (const QString& piece : list.split(Separator)) {
        if (!piece.isEmpty())
            result.append(parseEntry(piece));
    }
    return result;
}

QString appendEntry(const QString& list, const Entry& entry)
{
    return list + Separator + entryText(entry);
}

QString removeDirectory(const QString& list, const QString& directory)
{
    return rewritePieces(list, [&](const QString& piece) {
        Entry entry = parseEntry(piece);
        if (entry.directory != directory)
            return piece;
        entry.directory.clear();
        return entryText(entry);
    });
}

QString replaceDirectory(const QString& list, const QString& oldPath, const QString& newPath)
{
    return rewritePieces(list, [&](const QString& piece) {
        Entry entry = parseEntry(piece);
        if (storedPathCase(entry.directory) != storedPathCase(oldPath))
            return piece;
        entry.directory = newPath;
        return entryText(entry);
    });
}

QString renameUser(const QString& list, const QString& newName)
{
    return rewritePieces(list, [&](const QString& piece) {
        QStringList fields = piece.split(QLatin1Char('|'));
        fields[0] = encodeField(newName);
        return fields.join(QLatin1Char('|'));
    });
}

} // namespace accessrules
