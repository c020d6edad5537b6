#include "IniUsers.h"

#include "accounts/AccountNames.h"

#include "IniAccountReader.h"
#include "IniDocument.h"
#include "IniValues.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>

namespace migration {
namespace {

using namespace inivalues;

QString generationName(Generation generation)
{
    return generation == Generation::V2 ? QStringLiteral("2.0 to 3.0") : QStringLiteral("4.0 and later");
}

// The account of a user section: "USER=<name>" or "USER=<name>|<domain>"; nullopt
// for any other section. The name is kept as written, only the blanks around it go.
std::optional<QString> accountNameOf(const QString& sectionName)
{
    if (!sectionName.startsWith(QLatin1String("USER="), Qt::CaseInsensitive))
        return std::nullopt;
    static const QRegularExpression domainIndex(QStringLiteral("\\|\\s*\\d+\\s*$"));
    QString name = sectionName.mid(5);
    name.remove(domainIndex);
    return name.trimmed();
}

// Walks the sections of the file in order and builds the source: the accounts, the
// server-wide deny rules and everything left behind.
class SourceBuilder
{
public:
    SourceBuilder(Generation generation, const DateForm& dates, MigrationSource& source)
        : m_generation(generation)
        , m_dates(dates)
        , m_source(source)
    {
    }

    void add(const IniSection& section)
    {
        if (!section.name.isEmpty() || section.lineNumber > 0)
            ++m_namedSectionCount;
        if (const auto name = accountNameOf(section.name)) {
            addAccount(*name, section);
            return;
        }
        const QString lower = section.name.toLower();
        if (section.name.isEmpty() && section.lineNumber == 0) {
            leaveAll(section, QStringLiteral("outside any section, so the server does not read it"));
            return;
        }
        if (m_otherSections.contains(lower)) {
            m_source.warnings << QStringLiteral("The section [%1] appears twice (lines %2 and %3); the first was read, as the server does.")
                                     .arg(section.name, QString::number(m_otherSections.value(lower)),
                                          QString::number(section.lineNumber));
            leaveAll(section, QStringLiteral("in a second [%1] section; the server reads the first").arg(section.name));
            return;
        }
        m_otherSections.insert(lower, section.lineNumber);
        static const QRegularExpression domainSection(QStringLiteral("^domain\\d+$"));
        if (lower == QLatin1String("global"))
            addServerSection(section, true);
        else if (lower == QLatin1String("domains"))
            addDomainList(section);
        else if (domainSection.match(lower).hasMatch())
            addServerSection(section, false);
        else
            leaveAll(section, QStringLiteral("the section [%1] is not read by the migration").arg(section.name));
    }

    void finish()
    {
        if (!m_hasUserLists)
            return;
        for (auto listed = m_listedUsers.cbegin(); listed != m_listedUsers.cend(); ++listed)
            if (!m_accountLines.contains(listed.key()))
                m_source.warnings << QStringLiteral("The account \"%1\" is listed in [%2] but has no [USER=...] section; it was not read.")
                                         .arg(listed.value().first, listed.value().second);
        for (const MigratedAccount& account : std::as_const(m_source.accounts))
            if (!m_listedUsers.contains(account.name.toLower()))
                m_source.warnings << QStringLiteral("The account \"%1\" is in no domain's user list, so the server does not load it; it was read all the same.")
                                         .arg(account.name);
    }

    int userSectionCount() const { return m_userSectionCount; }
    int namedSectionCount() const { return m_namedSectionCount; }

private:
    void leaveAll(const IniSection& section, const QString& reason)
    {
        for (const IniEntry& entry : section.entries)
            m_source.notCarried.append({QString(), serverKey(section, entry), entry.value, reason});
    }

    static QString serverKey(const IniSection& section, const IniEntry& entry)
    {
        return section.name.isEmpty() ? entry.key : QStringLiteral("[%1] %2").arg(section.name, entry.key);
    }

    void addAccount(const QString& name, const IniSection& section)
    {
        ++m_userSectionCount;
        const QString header = QStringLiteral("[%1]").arg(section.name);
        const auto refused = accounts::newNameProblem(name);
        if (name.isEmpty() || name.size() > NameWidth || refused) {
            const QString reason = name.isEmpty()         ? QStringLiteral("a user section without a name")
                : name.size() > NameWidth ? QStringLiteral("the name is longer than the %1 characters the username column holds").arg(NameWidth)
                                          : *refused;
            m_source.notCarried.append({name, header, QStringLiteral("line %1").arg(section.lineNumber), reason});
            m_source.warnings << QStringLiteral("The user section at line %1 was not read: %2.").arg(QString::number(section.lineNumber), reason);
            return;
        }
        // Log-in names are compared without regard to case, by the server and by the database.
        const QString key = name.toLower();
        if (const auto kept = m_accountLines.constFind(key); kept != m_accountLines.constEnd()) {
            m_source.warnings << QStringLiteral("The account \"%1\" appears twice (lines %2 and %3); the first, at line %2, was kept, as the server reads it.")
                                     .arg(name, QString::number(*kept), QString::number(section.lineNumber));
            m_source.notCarried.append({name, header, QStringLiteral("line %1").arg(section.lineNumber),
                                        QStringLiteral("a second section for the same account; the first, at line %1, was kept").arg(*kept)});
            return;
        }
        m_accountLines.insert(key, section.lineNumber);
        MigratedAccount account;
        account.name = name;
        m_source.accounts.append(std::move(account));
        IniAccountReader(m_generation, m_dates, m_source.accounts.last(), m_source.warnings).read(section);
    }

    void addServerSection(const IniSection& section, bool global)
    {
        static const QRegularExpression ipAccess(QStringLiteral("^ipaccess\\d+$"), QRegularExpression::CaseInsensitiveOption);
        static const QRegularExpression userEntry(QStringLiteral("^user\\d+$"), QRegularExpression::CaseInsensitiveOption);
        for (const IniEntry& entry : section.entries) {
            if (ipAccess.match(entry.key).hasMatch()) {
                addServerRule(section, entry);
            } else if (!global && userEntry.match(entry.key).hasMatch()) {
                const QString name = entry.value.section(QLatin1Char('|'), 0, 0).trimmed();
                m_hasUserLists = true;
                if (!m_listedUsers.contains(name.toLower()))
                    m_listedUsers.insert(name.toLower(), {name, section.name});
            } else if (global && entry.key.compare(QLatin1String("Version"), Qt::CaseInsensitive) == 0) {
                checkVersion(entry.value);
            } else {
                m_source.notCarried.append({QString(), serverKey(section, entry), entry.value,
                                            entry.hasEquals ? QStringLiteral("a server setting the accounts database has no place for")
                                                            : QStringLiteral("not a \"key=value\" line")});
            }
        }
    }

    void addServerRule(const IniSection& section, const IniEntry& entry)
    {
        const IpAccessReading reading = readIpAccess(entry.value);
        if (!reading.problem.isEmpty())
            m_source.notCarried.append({QString(), serverKey(section, entry), entry.value, reading.problem});
        else if (!m_source.globalDeniedIps.contains(reading.rule))
            m_source.globalDeniedIps.append(reading.rule);
    }

    void addDomainList(const IniSection& section)
    {
        for (const IniEntry& entry : section.entries)
            m_source.notCarried.append({QString(), serverKey(section, entry), entry.value,
                                        QStringLiteral("the program has no domains; the accounts of every domain are read into one list")});
    }

    void checkVersion(const QString& version)
    {
        const int major = version.section(QLatin1Char('.'), 0, 0).trimmed().toInt();
        if (major <= 0)
            return;
        const bool fits = m_generation == Generation::V2 ? major >= 2 && major <= 3 : major >= 4;
        if (!fits)
            m_source.warnings << QStringLiteral("The file says Version=%1, but it was read with the layout of versions %2.")
                                     .arg(version, generationName(m_generation));
    }

    Generation m_generation;
    const DateForm& m_dates;
    MigrationSource& m_source;
    QHash<QString, int> m_accountLines;                    // lower-case name -> line of the section kept
    QHash<QString, int> m_otherSections;                   // lower-case name -> line
    QHash<QString, QPair<QString, QString>> m_listedUsers; // lower-case name -> name, domain section
    bool m_hasUserLists = false;
    int m_userSectionCount = 0;
    int m_namedSectionCount = 0;
};

} // namespace

ReadOutcome readIniUsers(const QString& iniPath, Generation generation, const DateForm& dates)
{
    ReadOutcome outcome;
    outcome.source.iniPath = iniPath;
    outcome.source.generation = generation;
    QString error;
    const auto document = IniDocument::open(iniPath, &error);
    if (!document) {
        outcome.error = error;
        return outcome;
    }
    SourceBuilder builder(generation, dates, outcome.source);
    document->forEachSection([&builder](const IniSection& section) {
        builder.add(section);
        return true;
    });
    if (builder.userSectionCount() == 0) {
        outcome.error = builder.namedSectionCount() == 0
            ? QStringLiteral("The file %1 has no [section] at all, so it is not the server's INI file.").arg(iniPath)
            : QStringLiteral("The file %1 holds no user accounts: it has no [USER=...] section.").arg(iniPath);
        outcome.source = MigrationSource{generation, iniPath, {}, {}, {}, {}};
        return outcome;
    }
    builder.finish();
    if (document->encoding() == IniEncoding::Windows1252)
        outcome.source.warnings.prepend(QStringLiteral("The file is not UTF-8; it was read as Windows-1252 (Latin-1)."));
    outcome.ok = true;
    return outcome;
}

} // namespace migration
