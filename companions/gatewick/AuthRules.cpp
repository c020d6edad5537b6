#include "AuthRules.h"

#include <QCryptographicHash>
#include <QHostAddress>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <optional>

namespace gatewick {
namespace {

// What a client address is to the rules: IPv4 (an IPv4 address mapped into IPv6
// counts as IPv4, in any of its written forms), another IPv6 address, or unreadable.
struct ClientAddress
{
    enum class Kind { Unreadable, IPv4, IPv6 } kind = Kind::Unreadable;
    quint32 ipv4 = 0;
};

ClientAddress readAddress(const QString& text)
{
    const QString address = text.trimmed();
    QHostAddress parsed;
    if (!parsed.setAddress(address))
        return {};
    bool isIPv4 = false;
    const quint32 value = parsed.toIPv4Address(&isIPv4);
    if (isIPv4) {
        // Short, octal or hexadecimal dotted forms ("1.2.3", "010.1.2.3") are no
        // address the server writes; reading them one way or another would be a guess.
        if (parsed.protocol() == QAbstractSocket::IPv4Protocol && parsed.toString() != address)
            return {};
        return {ClientAddress::Kind::IPv4, value};
    }
    return {ClientAddress::Kind::IPv6, 0};
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
    QString body = rule.trimmed();
    if (body.isEmpty())
        return false;
    const ClientAddress client = readAddress(clientAddress);
    // A client whose address cannot be read falls under every rule.
    if (client.kind == ClientAddress::Kind::Unreadable)
        return true;
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
    if (std::all_of(parts.cbegin(), parts.cend(), [](const QString& part) { return part.trimmed() == QLatin1String("*"); }))
        return true;
    if (client.kind != ClientAddress::Kind::IPv4 || parts.size() != 4)
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
    return (client.ipv4 & mask) == (network & mask);
}

bool isReadableAddress(const QString& clientAddress)
{
    return readAddress(clientAddress).kind != ClientAddress::Kind::Unreadable;
}

QString saltedMd5(const QString& salt, const QString& password)
{
    return QString::fromLatin1(QCryptographicHash::hash((salt + password).toUtf8(), QCryptographicHash::Md5).toHex());
}

PasswordForm passwordForm(const QString& stored)
{
    static const QRegularExpression md5Form(QStringLiteral("^[A-Za-z]{2}[0-9A-Fa-f]{32}$"));
    return md5Form.match(stored).hasMatch() ? PasswordForm::SaltedMd5 : PasswordForm::AsStored;
}

bool passwordMatches(const QString& stored, const QString& typed)
{
    if (typed.isEmpty())
        return false;
    // Where the stored text is a salted hash, typing the hash itself must not open the account.
    if (passwordForm(stored) == PasswordForm::SaltedMd5)
        return saltedMd5(stored.left(2), typed).compare(stored.mid(2), Qt::CaseInsensitive) == 0;
    return stored == typed;
}

} // namespace gatewick
