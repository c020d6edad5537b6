#include "limits/Numbers.h"

#include <QLocale>
#include <QRegularExpression>

#include <cmath>

namespace numbers {

std::optional<double> read(const QString& text)
{
    static const QRegularExpression number(QStringLiteral("^[+-]?(\\d+\\.?\\d*|\\.\\d+)$"));
    const QString trimmed = text.trimmed();
    if (!number.match(trimmed).hasMatch())
        return std::nullopt;
    bool ok = false;
    const double value = QLocale::c().toDouble(trimmed, &ok);
    return ok && std::isfinite(value) ? std::optional<double>(value) : std::nullopt;
}

std::optional<qint64> readWhole(const QString& text)
{
    static const QRegularExpression whole(QStringLiteral("^[+-]?\\d{1,15}$"));
    const QString trimmed = text.trimmed();
    if (!whole.match(trimmed).hasMatch())
        return std::nullopt;
    return trimmed.toLongLong();
}

double leading(const QString& text)
{
    static const QRegularExpression prefix(QStringLiteral("^\\s*[+-]?(\\d+\\.?\\d*|\\.\\d+)"));
    const QRegularExpressionMatch match = prefix.match(text);
    return match.hasMatch() ? QLocale::c().toDouble(match.captured(0).trimmed()) : 0.0;
}

double roundHalfEven(double value, int decimals)
{
    const double scale = std::pow(10.0, decimals);
    const double scaled = value * scale;
    // A number this large has no decimals left to round.
    if (!std::isfinite(scaled))
        return value;
    const double floorValue = std::floor(scaled);
    const double fraction = scaled - floorValue;
    // Ties within the rounding noise of the scaling count as exact halves.
    constexpr double tolerance = 1e-9;
    double rounded;
    if (std::fabs(fraction - 0.5) < tolerance)
        rounded = std::fmod(floorValue, 2.0) == 0.0 ? floorValue : floorValue + 1.0;
    else
        rounded = std::round(scaled);
    return rounded / scale;
}

QString show(double value)
{
    if (value == 0)
        return QStringLiteral("0");
    return QLocale::c().toString(value, 'f', QLocale::FloatingPointShortest);
}

bool fitsInteger(double value)
{
    return std::isfinite(value) && value == std::floor(value) && value >= -2147483648.0 && value <= 2147483647.0;
}

bool fitsNumeric(double value)
{
    return std::isfinite(value) && std::fabs(value) < 1e18;
}

bool fitsFloat(double value)
{
    return std::isfinite(value);
}

} // namespace numbers
