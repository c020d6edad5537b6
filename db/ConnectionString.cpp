#include "db/ConnectionString.h"

ConnectionString ConnectionString::parse(const QString& text)
{
    ConnectionString result;
    int pos = 0;
    const int length = static_cast<int>(text.size());
    while (pos < length) {
        const int equals = static_cast<int>(text.indexOf(QLatin1Char('='), pos));
        const int semicolon = static_cast<int>(text.indexOf(QLatin1Char(';'), pos));
        if (equals < 0 || (semicolon >= 0 && semicolon < equals)) {
            // A piece without "=": nothing to take, go on after it.
            if (semicolon < 0)
                break;
            pos = semicolon + 1;
            continue;
        }
        const QString key = text.mid(pos, equals - pos).trimmed().toLower();
        pos = equals + 1;
        while (pos < length && text.at(pos).isSpace())
            ++pos;

        QString value;
        if (pos < length && (text.at(pos) == QLatin1Char('"') || text.at(pos) == QLatin1Char('\''))) {
            const QChar quote = text.at(pos++);
            while (pos < length) {
                if (text.at(pos) == quote) {
                    if (pos + 1 < length && text.at(pos + 1) == quote) {
                        value += quote;
                        pos += 2;
                        continue;
                    }
                    ++pos;
                    break;
                }
                value += text.at(pos++);
            }
            const int next = static_cast<int>(text.indexOf(QLatin1Char(';'), pos));
            pos = next < 0 ? length : next + 1;
        } else {
            const int next = static_cast<int>(text.indexOf(QLatin1Char(';'), pos));
            const int end = next < 0 ? length : next;
            value = text.mid(pos, end - pos).trimmed();
            pos = end + 1;
        }
        if (!key.isEmpty() && !result.m_values.contains(key))
            result.m_values.insert(key, value);
    }
    return result;
}

QString ConnectionString::value(const QString& key) const
{
    return m_values.value(key.toLower());
}

QString ConnectionString::value(std::initializer_list<const char*> keys) const
{
    for (const char* key : keys) {
        const QString lowered = QString::fromLatin1(key).toLower();
        if (m_values.contains(lowered))
            return m_values.value(lowered);
    }
    return {};
}

bool ConnectionString::has(const QString& key) const
{
    return m_values.contains(key.toLower());
}

QString ConnectionString::withValue(const QString& text, const QString& key, const QString& value)
{
    // The pieces are found the way parse() finds them: the key is everything from
    // the start of a piece to its "=", blanks around it dropped.
    const QString wanted = key.toLower();
    const int length = static_cast<int>(text.size());
    int pos = 0;
    while (pos < length) {
        const int semicolon = static_cast<int>(text.indexOf(QLatin1Char(';'), pos));
        const int end = semicolon < 0 ? length : semicolon;
        const int equals = static_cast<int>(text.indexOf(QLatin1Char('='), pos));
        if (equals >= 0 && equals < end && text.mid(pos, equals - pos).trimmed().toLower() == wanted)
            return text.left(equals + 1) + value + text.mid(end);
        pos = end + 1;
    }
    QString result = text;
    if (!result.trimmed().isEmpty() && !result.trimmed().endsWith(QLatin1Char(';')))
        result += QLatin1Char(';');
    return result + key + QLatin1Char('=') + value + QLatin1Char(';');
}
