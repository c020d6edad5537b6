#include "IniAccountReader.h"

#include "IniValues.h"
#include "limits/Numbers.h"
#include "platform/DateForm.h"
#include "platform/PathInfo.h"

#include <QHash>
#include <QRegularExpression>

namespace migration {
namespace {

using namespace inivalues;

enum class Key {
    Password, PasswordType, HomeDir, LoginMessage, RelPaths, HideHidden, AlwaysLogin, Disable,
    IdleTimeout, SessionTimeout, MaxUsers, MaxPerIp, SpeedBoth, SpeedUp, SpeedDown,
    QuotaEnable, QuotaMax, QuotaCurrent, RatioKind, RatioUp, RatioDown, RatioCredit, Expiry, Maintenance,
};

// The keys both generations share, by their lower-case names; the speed limit is
// the one difference in the keys of a user section.
const QHash<QString, Key>& sharedKeys()
{
    static const QHash<QString, Key> keys{
        {QStringLiteral("password"), Key::Password},
        {QStringLiteral("passwordtype"), Key::PasswordType},
        {QStringLiteral("homedir"), Key::HomeDir},
        {QStringLiteral("loginmesfile"), Key::LoginMessage},
        {QStringLiteral("relpaths"), Key::RelPaths},
        {QStringLiteral("hidehidden"), Key::HideHidden},
        {QStringLiteral("alwaysallowlogin"), Key::AlwaysLogin},
        {QStringLiteral("disable"), Key::Disable},
        {QStringLiteral("timeout"), Key::IdleTimeout},
        {QStringLiteral("idletimeout"), Key::IdleTimeout},
        {QStringLiteral("sessiontimeout"), Key::SessionTimeout},
        {QStringLiteral("maxnrusers"), Key::MaxUsers},
        {QStringLiteral("maxusersloginperip"), Key::MaxPerIp},
        {QStringLiteral("quotaenable"), Key::QuotaEnable},
        {QStringLiteral("quotamax"), Key::QuotaMax},
        {QStringLiteral("quotamaximum"), Key::QuotaMax},
        {QStringLiteral("quotacurrent"), Key::QuotaCurrent},
        {QStringLiteral("ratios"), Key::RatioKind},
        {QStringLiteral("ratiotype"), Key::RatioKind},
        {QStringLiteral("ratioup"), Key::RatioUp},
        {QStringLiteral("ratiodown"), Key::RatioDown},
        {QStringLiteral("ratiocredit"), Key::RatioCredit},
        {QStringLiteral("ratioscredit"), Key::RatioCredit},
        {QStringLiteral("expiration"), Key::Expiry},
        {QStringLiteral("expire"), Key::Expiry},
        {QStringLiteral("maintenance"), Key::Maintenance},
    };
    return keys;
}

std::optional<Key> keyOf(Generation generation, const QString& lowerKey)
{
    if (generation == Generation::V2 && lowerKey == QLatin1String("speedlimit"))
        return Key::SpeedBoth;
    if (generation == Generation::V4 && lowerKey == QLatin1String("speedlimitup"))
        return Key::SpeedUp;
    if (generation == Generation::V4 && lowerKey == QLatin1String("speedlimitdown"))
        return Key::SpeedDown;
    const auto found = sharedKeys().constFind(lowerKey);
    return found == sharedKeys().constEnd() ? std::nullopt : std::optional<Key>(*found);
}

// Keys the server knows that have no column in the accounts database.
QString reasonWithoutColumn(const QString& lowerKey)
{
    static const QHash<QString, QString> reasons{
        {QStringLiteral("changepassword"), QStringLiteral("the program has no right for users to change their own password")},
        {QStringLiteral("needsecure"), QStringLiteral("the program has no per-account demand for a secure connection")},
        {QStringLiteral("passwordlastchange"), QStringLiteral("the program does not keep the date of the last password change")},
        {QStringLiteral("skeyvalues"), QStringLiteral("the program has no one-time (S/KEY) passwords")},
        {QStringLiteral("dirchangemesfile"), QStringLiteral("the program has no per-account folder change message")},
        {QStringLiteral("group"), QStringLiteral("the program has no groups")},
        {QStringLiteral("groups"), QStringLiteral("the program has no groups")},
    };
    return reasons.value(lowerKey);
}

QString noColumnWidthReason(int width, const char* column)
{
    return QStringLiteral("longer than the %1 characters the %2 column holds").arg(width).arg(QLatin1String(column));
}

} // namespace

IniAccountReader::IniAccountReader(Generation generation, const DateForm& dates, MigratedAccount& account,
                                   QStringList& warnings)
    : m_generation(generation)
    , m_dates(dates)
    , m_account(account)
    , m_warnings(warnings)
{
}

void IniAccountReader::read(const IniSection& section)
{
    for (const IniEntry& entry : section.entries)
        take(entry);
    finish();
}

void IniAccountReader::leave(const QString& key, const QString& value, const QString& reason)
{
    m_account.notCarried.append({m_account.name, key, value, reason});
}

void IniAccountReader::take(const IniEntry& entry)
{
    if (!entry.hasEquals) {
        leave(entry.key, QString(), QStringLiteral("not a \"key=value\" line (line %1)").arg(entry.lineNumber));
        return;
    }
    const QString lowerKey = entry.key.toLower();
    if (m_seenKeys.contains(lowerKey)) {
        leave(entry.key, entry.value, QStringLiteral("the key appears twice in the section; the server reads the first"));
        return;
    }
    m_seenKeys.insert(lowerKey);
    if (takeIndexed(entry))
        return;

    const auto key = keyOf(m_generation, lowerKey);
    if (!key) {
        const QString reason = reasonWithoutColumn(lowerKey);
        leave(entry.key, entry.value, reason.isEmpty() ? QStringLiteral("not a key the migration knows") : reason);
        return;
    }
    const QString& value = entry.value;
    switch (*key) {
    case Key::Password:
        readPassword(value);
        break;
    case Key::PasswordType:
        if (!value.isEmpty() && value.compare(QLatin1String("Regular"), Qt::CaseInsensitive) != 0)
            leave(entry.key, value, QStringLiteral("the program knows only regular passwords"));
        break;
    case Key::HomeDir:
        m_sawHome = true;
        readPath(entry, [this](const QString& path) { m_account.homedir = storedPathCase(path); });
        break;
    case Key::LoginMessage:
        readPath(entry, [this](const QString& path) { m_account.loginMessageFile = path; });
        break;
    case Key::RelPaths:
        readSwitch(entry, m_account.relativePaths);
        break;
    case Key::HideHidden:
        readSwitch(entry, m_account.hideHiddenFiles);
        break;
    case Key::AlwaysLogin:
        readSwitch(entry, m_account.alwaysLogin);
        break;
    case Key::Disable:
        readSwitch(entry, m_account.disabled);
        break;
    case Key::IdleTimeout:
        readWhole(entry, [this](qint64 seconds) { m_account.idleTimeoutMinutes = minutesFromSeconds(seconds); });
        break;
    case Key::SessionTimeout:
        readWhole(entry, [this](qint64 seconds) { m_account.sessionTimeoutMinutes = minutesFromSeconds(seconds); });
        break;
    case Key::MaxUsers:
        readWhole(entry, [this](qint64 users) {
            m_account.maxConcurrent = users < 0 ? -1 : static_cast<int>(std::min<qint64>(users, std::numeric_limits<int>::max()));
        });
        break;
    case Key::MaxPerIp:
        readWhole(entry, [this](qint64 limit) { readLoginsPerIp(limit); });
        break;
    case Key::SpeedBoth:
        readSpeed(entry, m_speedBoth);
        break;
    case Key::SpeedUp:
        readSpeed(entry, m_speedUp);
        break;
    case Key::SpeedDown:
        readSpeed(entry, m_speedDown);
        break;
    case Key::QuotaEnable:
        readSwitch(entry, m_account.useQuota);
        break;
    case Key::QuotaMax:
    case Key::QuotaCurrent:
        if (const auto bytes = readNumber(value); bytes && *bytes >= 0 && numbers::fitsNumeric(*bytes))
            (*key == Key::QuotaMax ? m_account.quotaMaxBytes : m_account.quotaCurrentBytes) = *bytes;
        else
            leave(entry.key, value, QStringLiteral("not a number of bytes the quota columns hold"));
        break;
    case Key::RatioKind:
        m_ratioKind = entry;
        break;
    case Key::RatioUp:
        m_ratioUp = entry;
        break;
    case Key::RatioDown:
        m_ratioDown = entry;
        break;
    case Key::RatioCredit:
        m_ratioCredit = entry;
        break;
    case Key::Expiry: {
        const DateReading reading = readExpiryDate(value);
        if (!reading.understood)
            leave(entry.key, value, QStringLiteral("not a date the migration reads (M/D/YYYY, YYYY-MM-DD or a day number)"));
        else if (reading.date)
            m_account.expires = m_dates.format(*reading.date);
        break;
    }
    case Key::Maintenance:
        if (value.size() > MaintenanceWidth)
            leave(entry.key, value, noColumnWidthReason(MaintenanceWidth, "maintenance"));
        else if (!value.isEmpty())
            m_account.maintenance = value;
        break;
    }
}

bool IniAccountReader::takeIndexed(const IniEntry& entry)
{
    static const QRegularExpression indexed(QStringLiteral("^(access|ipaccess|note)(\\d{1,9})$"),
                                             QRegularExpression::CaseInsensitiveOption);
    const auto match = indexed.match(entry.key);
    if (!match.hasMatch())
        return false;
    const QString family = match.captured(1).toLower();
    QMap<qint64, IniEntry>& list = family == QLatin1String("access") ? m_access
        : family == QLatin1String("ipaccess")                        ? m_ipAccess
                                                                     : m_notes;
    const qint64 index = match.captured(2).toLongLong();
    if (list.contains(index))
        leave(entry.key, entry.value, QStringLiteral("a second %1 with the same number; the first was kept").arg(match.captured(1)));
    else
        list.insert(index, entry);
    return true;
}

void IniAccountReader::readPassword(const QString& value)
{
    m_sawPassword = true;
    if (value.isEmpty()) {
        m_account.password.clear();
        return;
    }
    if (value.size() > 50) {
        leave(QStringLiteral("Password"), QStringLiteral("%1 characters").arg(value.size()), noColumnWidthReason(50, "password"));
        return;
    }
    m_account.password = value;
    if (!isSaltedMd5(value))
        leave(QStringLiteral("Password"), QStringLiteral("%1 characters").arg(value.size()),
              QStringLiteral("not the salted MD5 form (two letters and 32 hexadecimal digits): it was carried as written, "
                             "but the authentication handler compares it as plain text, so the account needs a new "
                             "password unless it was kept as plain text"));
}

void IniAccountReader::readWhole(const IniEntry& entry, const std::function<void(qint64)>& store)
{
    if (const auto number = readInteger(entry.value))
        store(*number);
    else
        leave(entry.key, entry.value, QStringLiteral("not a whole number"));
}

void IniAccountReader::readSwitch(const IniEntry& entry, std::optional<bool>& target)
{
    if (const auto flag = readFlag(entry.value))
        target = *flag;
    else
        leave(entry.key, entry.value, QStringLiteral("not 0 or 1"));
}

void IniAccountReader::readLoginsPerIp(qint64 limit)
{
    // The program has "one log-in per address" and "at most N per address" as two
    // options of one choice; the server has one number, -1 (or 0) for no limit.
    if (limit <= 0) {
        m_account.oneLoginPerIp = false;
        m_account.maxLoginsPerIp = 0;
    } else if (limit == 1) {
        m_account.oneLoginPerIp = true;
        m_account.maxLoginsPerIp = 0;
    } else {
        m_account.oneLoginPerIp = false;
        m_account.maxLoginsPerIp = static_cast<int>(std::min<qint64>(limit, std::numeric_limits<int>::max()));
    }
}

void IniAccountReader::readPath(const IniEntry& entry, const std::function<void(const QString&)>& store)
{
    if (entry.value.size() > PathWidth)
        leave(entry.key, entry.value, noColumnWidthReason(PathWidth, "path"));
    else if (!entry.value.isEmpty())
        store(entry.value);
}

void IniAccountReader::readSpeed(const IniEntry& entry, std::optional<IniEntry>& target)
{
    if (readNumber(entry.value))
        target = entry;
    else
        leave(entry.key, entry.value, QStringLiteral("not a number of kilobytes per second"));
}

void IniAccountReader::finish()
{
    finishAccess();
    finishIpAccess();
    finishNotes();
    finishSpeed();
    finishRatio();
    if (!m_sawPassword || m_account.password.isEmpty())
        m_warnings << QStringLiteral("The account \"%1\" has no password in the INI file; it cannot log in until one is set.")
                          .arg(m_account.name);
    if (!m_sawHome || m_account.homedir.isEmpty())
        m_warnings << QStringLiteral("The account \"%1\" has no home folder in the INI file; it needs one before it can log in.")
                          .arg(m_account.name);
}

void IniAccountReader::finishAccess()
{
    for (const IniEntry& entry : std::as_const(m_access)) {
        const AccessReading reading = readAccess(entry.value);
        if (!reading.access) {
            leave(entry.key, entry.value, reading.problem);
            continue;
        }
        m_account.access.append(*reading.access);
        if (!reading.ignoredLetters.isEmpty())
            leave(entry.key, entry.value,
                  QStringLiteral("the letters \"%1\" are no rights of the program; the entry was carried without them")
                      .arg(reading.ignoredLetters));
    }
}

void IniAccountReader::finishIpAccess()
{
    for (const IniEntry& entry : std::as_const(m_ipAccess)) {
        const IpAccessReading reading = readIpAccess(entry.value);
        if (!reading.problem.isEmpty())
            leave(entry.key, entry.value, reading.problem);
        else if (!m_account.deniedIps.contains(reading.rule))
            m_account.deniedIps.append(reading.rule);
    }
}

void IniAccountReader::finishNotes()
{
    QStringList lines;
    for (const IniEntry& entry : std::as_const(m_notes))
        lines << entry.value;
    if (lines.isEmpty())
        return;
    QString notes = lines.join(QStringLiteral("\r\n"));
    if (notes.size() > CommentWidth) {
        // A surrogate pair is never split: the cut moves before it.
        qsizetype cut = CommentWidth;
        if (notes.at(cut - 1).isHighSurrogate())
            --cut;
        leave(QStringLiteral("Note"), notes.mid(cut),
              QStringLiteral("the comments column holds %1 characters; the rest of the note was cut").arg(CommentWidth));
        notes.truncate(cut);
    }
    m_account.comments = notes;
}

void IniAccountReader::finishSpeed()
{
    // The program keeps one speed for both directions: the stricter of the server's
    // limits applies, and a limit of zero or less is none.
    struct Limit
    {
        const IniEntry* entry;
        double kbps;
    };
    QList<Limit> limits;
    for (const std::optional<IniEntry>* each : {&m_speedBoth, &m_speedUp, &m_speedDown}) {
        if (!each->has_value())
            continue;
        const double kbps = readNumber((*each)->value).value_or(0);
        if (kbps > 0)
            limits.append({&**each, kbps});
    }
    if (limits.isEmpty())
        return;
    const auto lowest = std::min_element(limits.cbegin(), limits.cend(), [](const Limit& a, const Limit& b) { return a.kbps < b.kbps; });
    m_account.speedLimitKBps = numbers::show(lowest->kbps);
    for (const Limit& limit : std::as_const(limits))
        if (limit.kbps != lowest->kbps)
            leave(limit.entry->key, limit.entry->value,
                  QStringLiteral("the program keeps one speed for both directions; the lower limit, %1 KBps, applies to both")
                      .arg(numbers::show(lowest->kbps)));
}

void IniAccountReader::finishRatio()
{
    std::optional<QString> kind = m_ratioKind ? ratioType(m_ratioKind->value) : std::optional<QString>(QString());
    if (!kind) {
        leave(m_ratioKind->key, m_ratioKind->value, QStringLiteral("not a kind of ratio the program knows"));
        kind = QString();
    }
    const bool active = !kind->isEmpty();
    if (active)
        m_account.ratioType = *kind;
    const auto take = [&](const std::optional<IniEntry>& entry, const auto& store, const QString& wrongForm) {
        if (!entry)
            return;
        if (!active) {
            leave(entry->key, entry->value, QStringLiteral("no ratio is set for the account, so it has no effect"));
            return;
        }
        if (!store(entry->value))
            leave(entry->key, entry->value, wrongForm);
    };
    const auto wholeInto = [](std::optional<int>& target) {
        return [&target](const QString& value) {
            const auto number = readInteger(value);
            if (!number || *number < 0 || *number > std::numeric_limits<int>::max())
                return false;
            target = static_cast<int>(*number);
            return true;
        };
    };
    take(m_ratioUp, wholeInto(m_account.ratioUp), QStringLiteral("not a whole number"));
    take(m_ratioDown, wholeInto(m_account.ratioDown), QStringLiteral("not a whole number"));
    take(m_ratioCredit,
         [this](const QString& value) {
             const auto credit = readNumber(value);
             if (!credit)
                 return false;
             m_account.ratioCredit = *credit;
             return true;
         },
         QStringLiteral("not a number"));
}

} // namespace migration
