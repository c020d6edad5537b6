#include "db/SqlText.h"

#include <QLocale>
#include <QRegularExpression>

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

bool isBareDatabaseName(const QString& name)
{
    static const QRegularExpression bare(QRegularExpression::anchoredPattern(QStringLiteral("[A-Za-z_][A-Za-z0-9_]{0,62}")));
    return bare.match(name).hasMatch();
}
