#pragma once

#include <QDate>
#include <QLocale>
#include <QString>

#include <optional>

class SettingsStore;

// The installation's one short date form. Every process of the installation (the
// program, its command-line modes, the migration tools) writes and reads the stored
// dates and the status log's dates in it, whatever locale it runs under, so that a
// date written under one locale is never read as another date under another. It is a
// Qt date format with a four-digit year, kept as short_date_format in the settings
// key, and always applied with the C locale's digits and month names.
class DateForm
{
public:
    static inline const QString SettingName = QStringLiteral("short_date_format");

    explicit DateForm(QString pattern);

    // The locale's short date form, its year widened to four digits.
    static DateForm ofLocale(const QLocale& locale);
    // The stored form. Where none is stored yet, or the stored one cannot hold a date,
    // the locale's form, which is stored for every later process.
    static DateForm forInstallation(SettingsStore& store, const QLocale& locale = QLocale());
    // Whether dates written in the pattern read back as the same dates, four-digit years included.
    static bool isUsable(const QString& pattern);

    QString pattern() const { return m_pattern; }
    QString format(QDate date) const;
    // Reads a stored date text: the form, or the form with a two-digit year, which is
    // placed in the century around today (never 19xx by default). Anything else is
    // not a date.
    std::optional<QDate> read(const QString& text, QDate today) const;

    bool operator==(const DateForm& other) const = default;

private:
    QString m_pattern;
};
