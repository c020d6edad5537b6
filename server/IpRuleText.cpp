#include "server/IpRuleText.h"

#include <QStringList>

namespace {

constexpr int HighestPart = 255;

// The leading number of a part: blanks before it skipped, an optional sign, then
// digits up to the first character that cannot continue it; none at all reads as 0.
// A value past the limit is only known to be too high, so reading stops there.
int leadingNumber(QStringView part)
{
    qsizetype at = 0;
    while (at < part.size() && part.at(at).isSpace())
        ++at;
    bool negative = false;
    if (at < part.size() && (part.at(at) == QLatin1Char('+') || part.at(at) == QLatin1Char('-'))) {
        negative = part.at(at) == QLatin1Char('-');
        ++at;
    }
    int value = 0;
    for (; at < part.size() && part.at(at).isDigit() && part.at(at).unicode() < 128; ++at) {
        value = value * 10 + (part.at(at).unicode() - '0');
        if (value > HighestPart)
            break;
    }
    return negative ? -value : value;
}

} // namespace

IpTextVerdict validateIpText(const QString& text)
{
    if (text.isEmpty())
        return IpTextVerdict::Empty;
    if (text.count(QLatin1Char('.')) != 3)
        return IpTextVerdict::RejectedWithBeep;
    for (QStringView part : QStringView(text).split(QLatin1Char('.'))) {
        // A negative part (only pasted text can hold a sign) is as far out of range as one above 255.
        const int value = leadingNumber(part);
        if (value > HighestPart || value < 0)
            return IpTextVerdict::RejectedSilently;
    }
    return IpTextVerdict::Accepted;
}
