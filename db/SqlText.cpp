#include "db/SqlText.h"

#include <QLocale>

QString sqlQuote(const QString& text)
{
    QString doubled = text;
    doubled.replace(QLatin1Char('\''), QStringLiteral("''"));
    return QLatin1Char('\'') + doubled + QLatin1Char('\'');
}

QString sqlNumber(double value)
{
    return QLocale::c().toString(value, 'g', 17);
}

QString sqlNumber(qint64 value)
{
    return QString::number(value);
}
