#include "platform/DateForm.h"

#include "platform/RegionalDate.h"
#include "platform/SettingsStore.h"

DateForm::DateForm(QString pattern)
    : m_pattern(std::move(pattern))
{
}

DateForm DateForm::ofLocale(const QLocale& locale)
{
    return DateForm(regional::shortDatePattern(locale));
}

DateForm DateForm::forInstallation(SettingsStore& store, const QLocale& locale)
{
    const QString stored = store.getRegSettings(SettingName);
    if (isUsable(stored))
        return DateForm(stored);
    DateForm taken = ofLocale(locale);
    store.saveRegSetting(SettingName, taken.pattern());
    return taken;
}

bool DateForm::isUsable(const QString& pattern)
{
    if (!pattern.contains(QLatin1String("yyyy")))
        return false;
    const DateForm form(pattern);
    for (const QDate date : {QDate(2027, 3, 7), QDate(2031, 12, 28)}) {
        if (form.read(form.format(date), date) != date)
            return false;
    }
    return true;
}

QString DateForm::format(QDate date) const
{
    return QLocale::c().toString(date, m_pattern);
}

std::optional<QDate> DateForm::read(const QString& text, QDate today) const
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    const QLocale c = QLocale::c();

    // A short year would parse as the four-digit year 27 AD; only real four-digit years count.
    const QDate full = c.toDate(trimmed, m_pattern);
    if (full.isValid() && full.year() >= 1000)
        return full;

    QString shortPattern = m_pattern;
    shortPattern.replace(QLatin1String("yyyy"), QLatin1String("yy"));
    const QDate shortYear = c.toDate(trimmed, shortPattern);
    if (!shortYear.isValid())
        return std::nullopt;
    const int twoDigits = shortYear.year() % 100;
    int year = today.year() - today.year() % 100 + twoDigits;
    if (year > today.year() + 50)
        year -= 100;
    else if (year <= today.year() - 50)
        year += 100;
    const QDate placed(year, shortYear.month(), shortYear.day());
    return placed.isValid() ? std::optional<QDate>(placed) : std::nullopt;
}
