#include "platform/RegionalDate.h"

#include <QRegularExpression>

namespace regional {

QString shortDatePattern(const QLocale& locale)
{
    QString pattern = locale.dateFormat(QLocale::ShortFormat);
    if (!pattern.contains(QLatin1String("yyyy"))) {
        static const QRegularExpression twoDigitYear(QStringLiteral("(?<!y)yy(?!y)"));
        pattern.replace(twoDigitYear, QStringLiteral("yyyy"));
    }
    return pattern;
}

QString shortDate(QDate date, const QLocale& locale)
{
    return locale.toString(date, shortDatePattern(locale));
}

QString shortTime(QTime time, const QLocale& locale)
{
    return locale.toString(time, QLocale::ShortFormat);
}

std::optional<QDate> readShortDate(const QString& text, QDate today, const QLocale& locale)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;

    // A short year would parse as a four-digit pattern's year 27 AD; only real four-digit years count.
    const QDate full = locale.toDate(trimmed, shortDatePattern(locale));
    if (full.isValid() && full.year() >= 1000)
        return full;

    const QString regionalPattern = locale.dateFormat(QLocale::ShortFormat);
    if (regionalPattern.contains(QLatin1String("yyyy")) || !regionalPattern.contains(QLatin1String("yy")))
        return std::nullopt;
    const QDate shortYear = locale.toDate(trimmed, regionalPattern);
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

} // namespace regional
