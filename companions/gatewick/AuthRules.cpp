#include "AuthRules.h"

#include <QCryptographicHash>
#include <QRegularExpression>
#include <QStringList>

#include <optional>

namespace gatewick {
namespace {

// The address as four numbers; an IPv4 address mapped into IPv6 counts as IPv4.
std::optional<quint32> parseAddress(QString address)
{
    address = address.trimmed();
    if (address.startsWith(QLatin1String("::ffff:"), Qt::CaseInsensitive))
        address = address.mid(7);
    const QStringList parts = address.split(QLatin1Char('.'));
    if (parts.size() != 4)
        return std::nullopt;
    quint32 value = 0;
    for (const QString& part : parts) {
        bool ok = false;
        const uint number = part.toUInt(&ok);
        if (!ok || number > 255)
            return std::nullopt;
        value = (value << 8) | number;
    }
    return value;
}

// The leading number of a rule part; an empty part is 0.
std::optional<uint> leadingNumber(const QString& part)
{
    static const QRegularExpression digits(QStringLiteral("^\\s*(\\d*)"));
    const QString found = digits.match(part).captured(1);
    if (found.isEmpty())
        return 0u;
    bool ok = false;
    const uint number = found.left(4).toUInt(&ok);
    return ok && number <= 255 ? std::optional<uint>(number) : std::nullopt;
}

} // namespace

bool ipRuleMatches(const QString& rule, const QString& clientAddress)
{
    const auto client = parseAddress(clientAddress);
    if (!client)
        return false;
    QString body = rule.trimmed();
    if (body.isEmpty())
        return false;
    int prefix = 32;
    const int slash = static_cast<int>(body.indexOf(QLatin1Char('/')));
    if (slash >= 0) {
        bool ok = false;
        prefix = body.mid(slash + 1).trimmed().toInt(&ok);
        if (!ok || prefix < 0 || prefix > 32)
            return false;
        body = body.left(slash);
    }
    const QStringList parts = body.split(QLatin1Char('.'));
    if (parts.size() != 4)
        return false;
    quint32 network = 0;
    quint32 mask = 0;
    for (const QString& part : parts) {
        network <<= 8;
        mask <<= 8;
        if (part.trimmed() == QLatin1String("*"))
            continue;
        const auto number = leadingNumber(part);
        if (!number)
            return false;
        network |= *number;
        mask |= 0xFFu;
    }
    const quint32 prefixMask = prefix == 0 ? 0u : 0xFFFFFFFFu << (32 - prefix);
    mask &= prefixMask;
    return (*client & mask) == (network & mask);
}

QString saltedMd5(const QString& salt, const QString& password)
{
    return QString::fromLatin1(QCryptographicHash::hash((salt + password).toUtf8(), QCryptographicHash::Md5).toHex());
}

bool passwordMatches(const QString& stored, const QString& typed)
{
    if (typed.isEmpty())
        return false;
    if (stored == typed)
        return true;
    static const QRegularExpression md5Form(QStringLiteral("^[A-Za-z]{2}[0-9A-Fa-f]{32}$"));
    if (!md5Form.match(stored).hasMatch())
        return false;
    return saltedMd5(stored.left(2), typed).compare(stored.mid(2), Qt::CaseInsensitive) == 0;
}

} // namespace gatewick
