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

QString shortTime(QTime time, const QLocale& locale)
{
    return locale.toString(time, QLocale::ShortFormat);
}

} // namespace regional
