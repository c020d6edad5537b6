#pragma once

#include <QMap>
#include <QString>

// An ADO-form connection string ("Provider=...;Data Source=...;"), read leniently:
// keys are case-insensitive, values may be quoted with " or ' (a doubled quote
// inside stands for one), blanks around keys and values are dropped, and ";" and
// blanks may trail.
class ConnectionString
{
public:
    static ConnectionString parse(const QString& text);

    // The value of the first of the keys that is present; empty when none is.
    QString value(const QString& key) const;
    QString value(std::initializer_list<const char*> keys) const;
    bool has(const QString& key) const;
    bool isEmpty() const { return m_values.isEmpty(); }

    // The same string with the value of a key replaced or appended.
    static QString withValue(const QString& text, const QString& key, const QString& value);

private:
    QMap<QString, QString> m_values; // lower-cased key -> value
};
