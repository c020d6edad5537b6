#include "IniValues.h"

#include "accounts/AccessRules.h"
#include "platform/PathInfo.h"
#include "server/IpRuleText.h"

#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace migration::inivalues {

std::optional<qint64> readInteger(const QString& text)
{
    bool ok = false;
    const qint64 value = text.trimmed().toLongLong(&ok);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

std::optional<bool> readFlag(const QString& text)
{
    const auto value = readInteger(text);
    return value ? std::optional<bool>(*value != 0) : std::nullopt;
}

std::optional<double> readNumber(const QString& text)
{
    static const QRegularExpression plain(QStringLiteral("^[+-]?(\\d+(\\.\\d*)?|\\.\\d+)$"));
    const QString trimmed = text.trimmed();
    if (!plain.match(trimmed).hasMatch())
        return std::nullopt;
    // Hundreds of digits read as infinity, which no column holds.
    bool ok = false;
    const double value = trimmed.toDouble(&ok);
    return ok && std::isfinite(value) ? std::optional<double>(value) : std::nullopt;
}

int minutesFromSeconds(qint64 seconds)
{
    if (seconds <= 0)
        return -1;
    const qint64 minutes = (seconds + 59) / 60;
    return minutes > std::numeric_limits<int>::max() ? std::numeric_limits<int>::max() : static_cast<int>(minutes);
}

DateReading readExpiryDate(const QString& text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty() || trimmed == QLatin1String("0"))
        return {};
    static const QRegularExpression us(QStringLiteral("^(\\d{1,2})/(\\d{1,2})/(\\d{4})$"));
    static const QRegularExpression iso(QStringLiteral("^(\\d{4})-(\\d{1,2})-(\\d{1,2})$"));
    QDate date;
    if (const auto match = us.match(trimmed); match.hasMatch())
        date = QDate(match.captured(3).toInt(), match.captured(1).toInt(), match.captured(2).toInt());
    else if (const auto found = iso.match(trimmed); found.hasMatch())
        date = QDate(found.captured(1).toInt(), found.captured(2).toInt(), found.captured(3).toInt());
    else if (const auto days = readNumber(trimmed); days && *days >= 1 && *days < 2958466)
        date = QDate(1899, 12, 30).addDays(static_cast<qint64>(std::floor(*days))); // the time of day does not matter
    if (!date.isValid())
        return {std::nullopt, false};
    return {date, true};
}

bool isSaltedMd5(const QString& password)
{
    static const QRegularExpression form(QStringLiteral("^[A-Za-z]{2}[0-9A-Fa-f]{32}$"));
    return form.match(password).hasMatch();
}

AccessReading readAccess(const QString& value)
{
    AccessReading reading;
    const qsizetype bar = value.lastIndexOf(QLatin1Char('|'));
    if (bar < 0) {
        reading.problem = QStringLiteral("no \"|<rights>\" after the folder");
        return reading;
    }
    const QString folder = value.left(bar).trimmed();
    if (folder.isEmpty()) {
        reading.problem = QStringLiteral("no folder before the rights");
        return reading;
    }
    if (folder.size() > PathWidth) {
        reading.problem = QStringLiteral("the folder is longer than the %1 characters the directory column holds").arg(PathWidth);
        return reading;
    }
    QString known;
    bool inherit = false;
    for (const QChar letter : value.mid(bar + 1).trimmed()) {
        const QChar upper = letter.toUpper();
        if (upper == QLatin1Char('P'))
            inherit = true;
        else if (QStringLiteral("RWAMELCD").contains(upper))
            known += upper;
        else if (!letter.isSpace() && !reading.ignoredLetters.contains(letter))
            reading.ignoredLetters += letter;
    }
    reading.access = DirectoryAccess{storedPathCase(folder), accessrules::rightsLetters(accessrules::readRights(known)), inherit};
    return reading;
}

IpAccessReading readIpAccess(const QString& value)
{
    IpAccessReading reading;
    const qsizetype bar = value.indexOf(QLatin1Char('|'));
    const QString kind = bar < 0 ? QString() : value.left(bar).trimmed().toUpper();
    reading.rule = bar < 0 ? value.trimmed() : value.mid(bar + 1).trimmed();
    if (kind == QLatin1String("D")) {
        reading.deny = true;
        reading.problem = ipRuleProblem(reading.rule);
    } else if (kind == QLatin1String("A")) {
        reading.problem = QStringLiteral("an allow rule: the program keeps only rules that deny");
    } else {
        reading.problem = QStringLiteral("neither \"D|<rule>\" (deny) nor \"A|<rule>\" (allow)");
    }
    return reading;
}

QString ipRuleProblem(const QString& rule)
{
    if (rule.isEmpty())
        return QStringLiteral("an empty rule");
    if (rule.size() > IpWidth)
        return QStringLiteral("longer than the %1 characters the ip column holds").arg(IpWidth);
    if (validateIpText(rule) != IpTextVerdict::Accepted)
        return QStringLiteral("not a rule the program accepts (four parts from 0 to 255)");
    // The program's check reads only each part's leading number, so "1-50" would pass
    // as "1": only the forms the handler applies as written are carried.
    static const QRegularExpression part(QStringLiteral("^(\\*|\\d{1,3})$"));
    static const QRegularExpression lastPart(QStringLiteral("^(\\*|\\d{1,3})(/(\\d{1,2}))?$"));
    const QStringList parts = rule.split(QLatin1Char('.'));
    for (int index = 0; index < parts.size(); ++index) {
        const bool last = index == parts.size() - 1;
        const auto match = (last ? lastPart : part).match(parts.at(index));
        if (!match.hasMatch() || (last && match.hasCaptured(3) && match.captured(3).toInt() > 32))
            return QStringLiteral("a form the authentication handler does not apply as written (it knows exact "
                                  "addresses, \"*\" parts and \"/n\" blocks)");
    }
    return {};
}

std::optional<QString> ratioType(const QString& text)
{
    QString key = text.trimmed().toLower();
    key.remove(QLatin1Char(' '));
    key.remove(QLatin1Char('_'));
    key.remove(QLatin1Char('-'));
    if (key.isEmpty() || key == QLatin1String("none"))
        return QString();
    if (key == QLatin1String("filespersession"))
        return QStringLiteral("FilesPerSession");
    if (key == QLatin1String("bytespersession"))
        return QStringLiteral("BytesPerSession");
    if (key == QLatin1String("filesoverall") || key == QLatin1String("filesperuser"))
        return QStringLiteral("FilesOverall");
    if (key == QLatin1String("bytesoverall") || key == QLatin1String("bytesperuser"))
        return QStringLiteral("BytesOverall");
    return std::nullopt;
}

} // namespace migration::inivalues
