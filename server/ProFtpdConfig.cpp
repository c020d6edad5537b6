#include "server/ProFtpdConfig.h"

#include "accounts/AccessRules.h"
#include "db/ConnectionString.h"
#include "db/Database.h"
#include "db/SqlText.h"
#include "db/StoredFlag.h"
#include "services/EmbeddedFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QHostAddress>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <limits>

namespace proftpd {
namespace {

// mod_sql builds each statement in a buffer of 4096 bytes; the rule translations
// stop short of it.
constexpr int QueryBudget = 3600;

const QString UserQuery = QStringLiteral("quillmere-user");

// The characters of the names an <IfUser> section can hold, for a regular
// expression's and each engine's character class alike; AND, OR and "regex" would
// be read as keywords of the section.
const QString NameCharacters = QStringLiteral("A-Za-z0-9 ._@+-");
const QStringList NameKeywords = {QStringLiteral("and"), QStringLiteral("or"), QStringLiteral("regex")};

QString backendName(Engine engine)
{
    switch (engine) {
    case Engine::PostgreSql:
        return QStringLiteral("postgres");
    case Engine::SqlServer:
        return QStringLiteral("odbc");
    default:
        return QStringLiteral("sqlite3");
    }
}

QString backendModule(Engine engine)
{
    switch (engine) {
    case Engine::PostgreSql:
        return QStringLiteral("mod_sql_postgres.c");
    case Engine::SqlServer:
        return QStringLiteral("mod_sql_odbc.c");
    default:
        return QStringLiteral("mod_sql_sqlite.c");
    }
}

// A word of the configuration file: quoted when it holds a blank, with the two
// characters the parser gives a meaning inside quotes escaped.
QString word(const QString& text)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_./:@+=,*!%-]+$"));
    if (plain.match(text).hasMatch())
        return text;
    QString escaped = text;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    escaped.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

// The salted MD5 form: two letters and 32 hexadecimal digits, in each engine's words.
QString saltedForm(Engine engine)
{
    if (engine == Engine::PostgreSql)
        return QStringLiteral("password ~ '^[A-Za-z]{2}[0-9A-Fa-f]{32}$'");
    const QString pattern = QStringLiteral("[A-Za-z][A-Za-z]") + QStringLiteral("[0-9A-Fa-f]").repeated(32);
    if (engine == Engine::SqlServer)
        return QStringLiteral("password LIKE '%1'").arg(pattern);
    return QStringLiteral("password GLOB '%1'").arg(pattern);
}

QString substringFunction(Engine engine)
{
    return engine == Engine::SqlServer ? QStringLiteral("SUBSTRING") : QStringLiteral("substr");
}

// Only accounts whose names an <IfUser> section can hold may log in.
QString nameFilter(Engine engine)
{
    QString filter;
    if (engine == Engine::PostgreSql)
        filter = QStringLiteral("username ~ '^[%1]+$'").arg(NameCharacters);
    else if (engine == Engine::SqlServer)
        // mod_sql reads "%" as the start of a variable, so the wildcard is spelled CHAR(37).
        filter = QStringLiteral("PATINDEX(CHAR(37) + '[^%1]' + CHAR(37), username) = 0").arg(NameCharacters);
    else
        filter = QStringLiteral("username NOT GLOB '*[^%1]*'").arg(NameCharacters);
    QStringList keywords;
    for (const QString& keyword : NameKeywords)
        keywords << sqlQuote(keyword);
    return filter + QStringLiteral(" AND lower(username) NOT IN (%1)").arg(keywords.join(QStringLiteral(", ")));
}

QString loadModule(const QString& module)
{
    return QStringLiteral("<IfModule !%1>\n  LoadModule %1\n</IfModule>\n").arg(module);
}

QString namedQuery(const QString& name, const QString& type, const QString& sql, const QString& table = {})
{
    QString line = QStringLiteral("SQLNamedQuery %1 %2 \"%3\"").arg(name, type, sql);
    if (!table.isEmpty())
        line += QLatin1Char(' ') + table;
    return line + QLatin1Char('\n');
}

// The query that hands the IP rules to mod_wrap2, with every stored form that
// mod_wrap2 would read differently translated in place.
QString ruleColumn(const QStringList& ruleTexts, int* untranslated)
{
    static const QRegularExpression safe(QStringLiteral("^[A-Za-z0-9 ./*:+-]*$"));
    QString cases;
    QSet<QString> seen;
    *untranslated = 0;
    for (const QString& text : ruleTexts) {
        const QString token = wrapToken(text);
        if (token == text || seen.contains(text))
            continue;
        seen.insert(text);
        if (!safe.match(text).hasMatch()) {
            ++*untranslated;
            continue;
        }
        const QString when = QStringLiteral(" WHEN %1 THEN %2").arg(sqlQuote(text), sqlQuote(token));
        if (cases.size() + when.size() > QueryBudget / 2) {
            ++*untranslated;
            continue;
        }
        cases += when;
    }
    return cases.isEmpty() ? QStringLiteral("ip") : QStringLiteral("CASE ip") + cases + QStringLiteral(" ELSE ip END");
}

// An <IfUser> line holds at most 4096 characters; the name lists stop well short of it.
constexpr int NameListBudget = 3000;

QString limitBlock(const QStringList& commands, const char* verdict, const QString& indent)
{
    if (commands.isEmpty())
        return {};
    return QStringLiteral("%1  <Limit %2>\n%1    %3\n%1  </Limit>\n")
        .arg(indent, commands.join(QLatin1Char(' ')), QLatin1String(verdict));
}

// What a <Directory> section says inside: everything it allows and denies,
// overwriting and appending. Nothing in it depends on the account's other sections,
// so every account with the same entry shares one text.
QString directoryBody(const QStringList& allowed, bool hideHidden, const QString& indent)
{
    QString text;
    if (hideHidden)
        text += indent + QLatin1String("  HideFiles ^\\.\n");
    // Replacing a file destroys the old one, so it takes the right to delete as well as to write.
    const bool overwrites = allowed.contains(QLatin1String("STOR")) && allowed.contains(QLatin1String("DELE"));
    text += indent + (overwrites ? QLatin1String("  AllowOverwrite on\n") : QLatin1String("  AllowOverwrite off\n"));
    text += indent
        + (allowed.contains(QLatin1String("APPE")) ? QLatin1String("  AllowStoreRestart on\n") : QLatin1String("  AllowStoreRestart off\n"));
    QStringList denied;
    for (const QString& command : decidedCommands()) {
        if (!allowed.contains(command))
            denied << command;
    }
    text += limitBlock(allowed, "AllowAll", indent) + limitBlock(denied, "DenyAll", indent);
    return text + indent + QLatin1String("</Directory>\n");
}

QString directoryHead(const QString& path, const QString& indent)
{
    return indent + QLatin1String("<Directory ") + word(path) + QLatin1String(">\n");
}

// A stored directory as a <Directory> path: absolute, without a trailing separator,
// and free of the characters ProFTPD would read as a pattern or cannot quote.
std::optional<QString> directoryPath(const QString& stored)
{
    QString path = QDir::cleanPath(stored.trimmed());
    if (!path.startsWith(QLatin1Char('/')))
        return std::nullopt;
    static const QRegularExpression unsafe(QStringLiteral("[*?\\[\\]\"\\\\%~\\x00-\\x1f]"));
    if (unsafe.match(path).hasMatch())
        return std::nullopt;
    return path;
}

bool covers(const QString& ancestor, const QString& path)
{
    return ancestor == QLatin1String("/") ? true : path.startsWith(ancestor + QLatin1Char('/'));
}

// What one account needs beyond the tables, as texts for <IfUser> sections. Each
// text is complete on its own, so accounts with equal values share a section.
// `bodies` keeps the inside of the <Directory> sections by what they allow, so that each is built once.
QStringList accountBlocks(const Account& account, QHash<QString, QString>& bodies)
{
    const QString indent = QStringLiteral("  ");
    const auto body = [&](const QStringList& allowed) -> const QString& {
        const QString key = allowed.join(QLatin1Char(' ')) + (account.hideHiddenFiles ? QLatin1String("\n1") : QLatin1String("\n0"));
        auto found = bodies.find(key);
        if (found == bodies.end())
            found = bodies.insert(key, directoryBody(allowed, account.hideHiddenFiles, indent));
        return *found;
    };
    QStringList blocks;
    if (account.idleSeconds > 0)
        blocks << QStringLiteral("  TimeoutIdle %1\n").arg(account.idleSeconds);
    if (account.sessionSeconds > 0)
        blocks << QStringLiteral("  TimeoutSession %1\n").arg(account.sessionSeconds);
    if (account.kilobytesPerSecond > 0)
        blocks << QStringLiteral("  TransferRate RETR,STOR,STOU,APPE %1\n").arg(account.kilobytesPerSecond, 0, 'f', 3);
    if (account.maxSessions > 0)
        blocks << QStringLiteral("  MaxClientsPerUser %1\n").arg(account.maxSessions);
    if (account.maxSessionsPerAddress > 0)
        blocks << QStringLiteral("  MaxClientsPerHost %1\n").arg(account.maxSessionsPerAddress);
    if (!account.loginMessageFile.trimmed().isEmpty())
        blocks << QStringLiteral("  DisplayLogin %1\n").arg(word(account.loginMessageFile.trimmed()));
    // The terms are the account's UserRatio line; the switch alone is shared.
    if (account.ratio)
        blocks << QStringLiteral("  Ratios on\n");

    struct Kept
    {
        QString path;
        bool inherit;
    };
    QList<Kept> kept;
    for (const DirectoryEntry& entry : account.directories) {
        const auto path = directoryPath(entry.directory);
        if (!path)
            continue;
        // The first entry that covers a path decides it; a later one for the same
        // folder, or for a folder an earlier inheriting entry covers, changes nothing.
        const bool shadowed = std::any_of(kept.cbegin(), kept.cend(), [&](const Kept& earlier) {
            return earlier.path == *path || (earlier.inherit && covers(earlier.path, *path));
        });
        if (shadowed)
            continue;
        kept.append({*path, entry.inherit});
        // A folder named after the account is written with ProFTPD's %u, so the
        // accounts whose entries differ only by their own names share one section.
        QStringList parts = path->split(QLatin1Char('/'));
        std::replace(parts.begin(), parts.end(), account.name, QStringLiteral("%u"));
        const QString shared = parts.join(QLatin1Char('/'));
        blocks << directoryHead(shared, indent) + body(allowedCommands(entry.rights));
        // Without inherit, what lies in the entry's subfolders is out of reach.
        if (!entry.inherit) {
            const QString below = (shared == QLatin1String("/") ? QString() : shared) + QStringLiteral("/*/*");
            blocks << directoryHead(below, indent) + body({});
        }
    }
    return blocks;
}

// The <IfUser> sections: one per distinct text, naming every account that needs it.
// ProFTPD searches the whole configuration for each section it merges at a log-in,
// once more for every other section with a command of the same name, so the
// sections are kept as few as the name lists allow.
QString userSections(const QList<Account>& accounts)
{
    QHash<QString, qsizetype> index;
    QHash<QString, QString> bodies;
    QList<std::pair<QString, QStringList>> sections;
    QStringList everyone;
    for (const Account& account : accounts) {
        if (!isConfigurableName(account.name))
            continue;
        everyone << account.name;
        for (const QString& block : accountBlocks(account, bodies)) {
            const auto found = index.constFind(block);
            if (found != index.cend()) {
                sections[*found].second << account.name;
            } else {
                index.insert(block, sections.size());
                sections.append({block, {account.name}});
            }
        }
    }
    QString text;
    for (const auto& [block, names] : sections) {
        const auto section = [&text, &block = block](const QString& expression) {
            text += QLatin1String("<IfUser ") + expression + QLatin1String(">\n") + block + QLatin1String("</IfUser>\n");
        };
        if (names.size() == everyone.size()) {
            section(QStringLiteral("regex ^"));
            continue;
        }
        // A section most accounts share names those it leaves out, when that is shorter.
        if (names.size() > everyone.size() / 2) {
            const QSet<QString> members(names.cbegin(), names.cend());
            QStringList others;
            qsizetype length = 0;
            for (const QString& name : everyone) {
                if (!members.contains(name)) {
                    others << QLatin1Char('!') + name;
                    length += name.size() + 2;
                }
            }
            if (length <= NameListBudget) {
                section(QStringLiteral("AND ") + word(others.join(QLatin1Char(','))));
                continue;
            }
        }
        for (qsizetype first = 0; first < names.size();) {
            QStringList chunk;
            qsizetype length = 0;
            while (first < names.size() && (chunk.isEmpty() || length + names[first].size() + 1 <= NameListBudget)) {
                length += names[first].size() + 1;
                chunk << names[first++];
            }
            section(word(chunk.join(QLatin1Char(','))));
        }
    }
    return text;
}

// A number column; NULL and text that is no number read as 0.
double number(const Rows& rows, const char* column)
{
    return rows.text(QLatin1String(column)).trimmed().toDouble();
}

qint64 positiveWhole(const Rows& rows, const char* column)
{
    bool ok = false;
    const double value = rows.text(QLatin1String(column)).trimmed().toDouble(&ok);
    return ok && std::isfinite(value) && value >= 1 && value < 1e15 ? static_cast<qint64>(value) : 0;
}

// An on/off column as the options dialog and the handler read it: any value but NULL and 0 is on.
bool flagIsSet(const Rows& rows, const char* column)
{
    return !rows.isNull(QLatin1String(column)) && storedFlagIsSet(rows.value(QLatin1String(column)));
}

} // namespace

QString wrapToken(const QString& rule)
{
    QString body = rule.trimmed();
    if (body.isEmpty())
        return {};
    int prefix = 32;
    const auto slash = body.indexOf(QLatin1Char('/'));
    if (slash >= 0) {
        bool ok = false;
        prefix = body.mid(slash + 1).trimmed().toInt(&ok);
        if (!ok || prefix < 0 || prefix > 32)
            return {};
        body = body.left(slash);
    }
    const QStringList parts = body.split(QLatin1Char('.'));
    if (std::all_of(parts.cbegin(), parts.cend(), [](const QString& part) { return part.trimmed() == QLatin1String("*"); }))
        return QStringLiteral("ALL");
    if (parts.size() != 4)
        return {};
    quint32 network = 0;
    quint32 mask = 0;
    static const QRegularExpression digits(QStringLiteral("^\\s*(\\d*)"));
    for (const QString& part : parts) {
        network <<= 8;
        mask <<= 8;
        if (part.trimmed() == QLatin1String("*"))
            continue;
        // A part counts by its leading number, as the rule dialogs read it.
        const QString number = digits.match(part).captured(1);
        bool ok = true;
        const uint value = number.isEmpty() ? 0u : number.left(4).toUInt(&ok);
        if (!ok || value > 255)
            return {};
        network |= value;
        mask |= 0xFFu;
    }
    mask &= prefix == 0 ? 0u : 0xFFFFFFFFu << (32 - prefix);
    network &= mask;
    const QString address = QHostAddress(network).toString();
    if (mask == 0xFFFFFFFFu)
        return address;
    return address + QLatin1Char('/') + QHostAddress(mask).toString();
}

const QStringList& decidedCommands()
{
    static const QStringList commands = QStringLiteral("CWD XCWD CDUP XCUP PWD XPWD LIST NLST MLSD MLST STAT RETR SIZE MDTM "
                                                       "STOR STOU APPE DELE RNFR RNTO MKD XMKD RMD XRMD SITE_CHMOD")
                                            .split(QLatin1Char(' '));
    return commands;
}

QStringList allowedCommands(const QString& rights)
{
    static const QStringList moving = {"CWD", "XCWD", "CDUP", "XCUP", "PWD", "XPWD"};
    static const QStringList listing = {"LIST", "NLST", "MLSD", "MLST", "STAT"};
    static const QStringList reading = {"RETR", "SIZE", "MDTM"};
    static const QStringList writing = {"STOR", "STOU", "RNTO"};
    static const QStringList removing = {"DELE", "RNFR"};
    static const QStringList making = {"MKD", "XMKD"};
    static const QStringList removingFolders = {"RMD", "XRMD"};
    const accessrules::Rights granted = accessrules::readRights(rights);
    // Moving about is part of every entry; "E" has no FTP command to allow.
    QStringList commands = moving;
    if (granted.list)
        commands << listing;
    if (granted.read)
        commands << reading;
    if (granted.write)
        commands << writing;
    if (granted.append)
        commands << QStringLiteral("APPE");
    if (granted.remove)
        commands << removing;
    if (granted.make)
        commands << making;
    if (granted.removeDirectory)
        commands << removingFolders;
    return commands;
}

std::optional<Ratio> readRatio(const QString& kind, double uploads, double downloads, double credit)
{
    const QString known = kind.trimmed().toLower();
    const bool bytes = known == QLatin1String("bytespersession") || known == QLatin1String("bytesoverall");
    if (!bytes && known != QLatin1String("filespersession") && known != QLatin1String("filesoverall"))
        return std::nullopt;
    if (!std::isfinite(uploads) || !std::isfinite(downloads) || uploads < 1 || downloads < 1)
        return std::nullopt;
    constexpr double Largest = std::numeric_limits<int>::max();
    const double up = std::floor(std::min(uploads, Largest));
    const double down = std::floor(std::min(downloads, Largest));
    Ratio ratio;
    ratio.bytes = bytes;
    ratio.rate = down >= up ? static_cast<int>(std::floor(down / up)) : -static_cast<int>(std::ceil(up / down));
    const double units = std::isfinite(credit) && credit > 0 ? std::floor(bytes ? credit / 1024 : credit) : 0;
    ratio.credit = static_cast<int>(std::min(units, Largest));
    return ratio;
}

bool isConfigurableName(const QString& name)
{
    static const QRegularExpression allowed(QStringLiteral("^[%1]+$").arg(NameCharacters));
    return allowed.match(name).hasMatch() && !NameKeywords.contains(name.toLower());
}

QString configText(const Model& model)
{
    const Engine engine = model.engine;
    QString text;
    text.reserve(512 * (model.accounts.size() + 8));
    text += QStringLiteral("# The Quillmere accounts database, written by Vantrel; every change to the accounts\n"
                           "# writes it again. Include it at the top level of proftpd.conf.\n\n");
    for (const QString& module : {QStringLiteral("mod_sql.c"), backendModule(engine), QStringLiteral("mod_sql_passwd.c"),
                                  QStringLiteral("mod_quotatab.c"), QStringLiteral("mod_quotatab_sql.c"),
                                  QStringLiteral("mod_wrap2.c"), QStringLiteral("mod_wrap2_sql.c"),
                                  QStringLiteral("mod_ifsession.c"), QStringLiteral("mod_ratio.c")})
        text += loadModule(module);

    // Accounts: found by name, disabled ones and empty passwords never; every account
    // works as the owner of the FTP folder. A password is compared as stored, or, in
    // the salted form, as the MD5 of its two letters and the typed text.
    text += QStringLiteral("\nAuthOrder mod_sql.c\nSQLEngine on\nSQLBackend %1\n").arg(backendName(engine));
    QString connect = QStringLiteral("SQLConnectInfo ") + word(model.connectInfo);
    if (!model.connectUser.isEmpty())
        connect += QLatin1Char(' ') + word(model.connectUser) + QLatin1Char(' ') + word(model.connectPassword);
    text += connect + QLatin1Char('\n');
    text += QStringLiteral("SQLAuthenticate users\nSQLAuthTypes Plaintext MD5\nSQLPasswordEngine on\nSQLPasswordEncoding hex\n"
                           "SQLPasswordUserSalt sql:/quillmere-salt Prepend\nSQLNegativeCache on\n"
                           "SQLMinUserUID %1\nSQLMinUserGID %2\n"
                           "SQLUserInfo custom:/%3/quillmere-user-by-id\n")
                .arg(model.uid)
                .arg(model.gid)
                .arg(UserQuery);
    const QString owner = QStringLiteral("%1, %2").arg(model.uid).arg(model.gid);
    text += namedQuery(UserQuery, QStringLiteral("SELECT"),
                       QStringLiteral("username, CASE WHEN %1 THEN lower(%2(password, 3, 32)) ELSE password END, %3, homedir, "
                                      "'/bin/sh' FROM users WHERE username = '%U' AND password <> '' "
                                      "AND (disable_user IS NULL OR disable_user = 0) AND %4")
                           .arg(saltedForm(engine), substringFunction(engine), owner, nameFilter(engine)));
    // Listings ask for owners by number; no account answers, so listings never fail.
    text += namedQuery(QStringLiteral("quillmere-user-by-id"), QStringLiteral("SELECT"),
                       QStringLiteral("username, password, %1, homedir, '/bin/sh' FROM users WHERE 1 = 0").arg(owner));
    text += namedQuery(QStringLiteral("quillmere-salt"), QStringLiteral("SELECT"),
                       QStringLiteral("%1(password, 1, 2) FROM users WHERE username = '%{0}' AND %2")
                           .arg(substringFunction(engine), saltedForm(engine)));

    // IP rules: the account's own, those of "*" and the global ones.
    int untranslated = 0;
    const QString column = ruleColumn(model.ruleTexts, &untranslated);
    text += QStringLiteral("\nWrapEngine on\nWrapTables sql:/quillmere-ip-allow sql:/quillmere-ip-deny\n");
    text += namedQuery(QStringLiteral("quillmere-ip-allow"), QStringLiteral("SELECT"),
                       QStringLiteral("ip FROM blocked_ips WHERE 1 = 0"));
    text += namedQuery(QStringLiteral("quillmere-ip-deny"), QStringLiteral("SELECT"),
                       QStringLiteral("%1 FROM blocked_ips_by_user WHERE username = '%U' OR username = '*' "
                                      "UNION ALL SELECT %1 FROM blocked_ips")
                           .arg(column));
    if (untranslated > 0)
        text += QStringLiteral("# %1 IP rule texts could not be put into the query and are read as they stand.\n").arg(untranslated);

    // Disk quota: the limit and the live tally are the account's own columns.
    text += QStringLiteral("\nQuotaEngine on\nQuotaLimitTable sql:/quillmere-quota-limit\n"
                           "QuotaTallyTable sql:/quillmere-quota-tally/quillmere-quota-update/quillmere-quota-insert\n");
    text += namedQuery(QStringLiteral("quillmere-quota-limit"), QStringLiteral("SELECT"),
                       QStringLiteral("username, 'user', 'false', 'hard', quota_max, 0, 0, 0, 0, 0 FROM users "
                                      "WHERE username = '%{0}' AND '%{1}' = 'user' AND use_quota = 1 "
                                      "AND quota_current IS NOT NULL AND quota_max > 0"));
    text += namedQuery(QStringLiteral("quillmere-quota-tally"), QStringLiteral("SELECT"),
                       QStringLiteral("username, 'user', quota_current, 0, 0, 0, 0, 0 FROM users "
                                      "WHERE username = '%{0}' AND '%{1}' = 'user' AND quota_current IS NOT NULL"));
    text += namedQuery(QStringLiteral("quillmere-quota-update"), QStringLiteral("UPDATE"),
                       QStringLiteral("quota_current = quota_current + %{0} WHERE username = '%{6}' AND '%{7}' = 'user'"),
                       QStringLiteral("users"));
    // The tally lives in the account's own row, which is never inserted from here.
    text += namedQuery(QStringLiteral("quillmere-quota-insert"), QStringLiteral("FREEFORM"),
                       QStringLiteral("UPDATE users SET quota_current = quota_current WHERE 1 = 0"));

    // Nothing outside the entries: an account reaches only the folders it was given,
    // whatever the server's own configuration allows.
    text += QStringLiteral("\n# What the tables hold per account beyond them.\n");
    text += directoryHead(QStringLiteral("/"), {}) + directoryBody({}, false, {});
    text += userSections(model.accounts);

    // Ratios: mod_ratio asks mod_sql for a session's terms and counts, and spins for ever
    // when nothing answers. The four names mod_sql is given here make each of its queries
    // (the SELECT of terms or counts, the UPDATE of counts after a transfer) one that
    // touches no row: the comment ends what mod_sql appends. So the counts stay the
    // session's own and the terms come from the UserRatio lines. mod_ratio looks them up by
    // name among every UserRatio line, those of other accounts' sections too, so each line
    // names its account and stands outside them.
    for (const char* directive : {"SQLRatioStats", "SQLRatios"})
        text += QLatin1String(directive) + QStringLiteral(" \"ratio_up = 0 FROM users AS spare WHERE 1 = 0 --\" 0 0 0\n");
    for (const Account& account : model.accounts) {
        if (!account.ratio || !isConfigurableName(account.name))
            continue;
        const Ratio& ratio = *account.ratio;
        const QString terms = QStringLiteral("%1 %2").arg(ratio.rate).arg(ratio.credit);
        text += QLatin1String("UserRatio ") + word(account.name) + (ratio.bytes ? QLatin1String(" 0 0 ") + terms : QLatin1Char(' ') + terms + QLatin1String(" 0 0")) + QLatin1Char('\n');
    }
    return text;
}

std::optional<Model> readModel(Database& database, const QString& connectionString, const QString& ftpDirectory,
                               QString* error)
{
    Model model;
    const ConnectionTarget target = resolveConnection(connectionString);
    model.engine = target.engine;
    switch (target.engine) {
    case Engine::Sqlite:
        model.connectInfo = QFileInfo(target.databaseName).absoluteFilePath();
        break;
    case Engine::PostgreSql:
        model.connectInfo = target.databaseName + QLatin1Char('@') + target.hostName;
        if (target.port > 0)
            model.connectInfo += QLatin1Char(':') + QString::number(target.port);
        model.connectUser = target.userName;
        model.connectPassword = target.password;
        break;
    case Engine::SqlServer: {
        // mod_sql_odbc connects through a data source of the ODBC configuration.
        model.connectInfo = QStringLiteral("Quillmere");
        const ConnectionString parts = ConnectionString::parse(connectionString);
        model.connectUser = parts.value({"user id", "uid", "user"});
        model.connectPassword = parts.value({"password", "pwd"});
        break;
    }
    default:
        *error = QStringLiteral("ProFTPD cannot read this kind of database.");
        return std::nullopt;
    }

    const QFileInfo folder(ftpDirectory.trimmed());
    if (ftpDirectory.trimmed().isEmpty() || !folder.isDir()) {
        *error = QStringLiteral("The FTP folder \"%1\" does not exist.").arg(ftpDirectory);
        return std::nullopt;
    }
    if (folder.ownerId() == 0 || folder.groupId() == 0) {
        *error = QStringLiteral("The FTP folder \"%1\" belongs to root; ProFTPD serves no account as root.").arg(ftpDirectory);
        return std::nullopt;
    }
    model.uid = folder.ownerId();
    model.gid = folder.groupId();

    Rows users = database.select(QStringLiteral(
        "SELECT username, hide_hidden_files, one_login_per_ip, max_logins_per_ip, speed_limit_value, timeout, "
        "session_timeout, max_concurrent, login_msg_file, ratio_type, ratio_up, ratio_down, ratio_current_credit FROM users"));
    if (!users.isValid()) {
        *error = database.lastError();
        return std::nullopt;
    }
    QHash<QString, qsizetype> byName;
    while (users.next()) {
        Account account;
        account.name = users.text(QStringLiteral("username"));
        account.hideHiddenFiles = flagIsSet(users, "hide_hidden_files");
        account.idleSeconds = positiveWhole(users, "timeout") * 60;
        account.sessionSeconds = positiveWhole(users, "session_timeout") * 60;
        account.maxSessions = positiveWhole(users, "max_concurrent");
        // A count of logins per address wins over "one login per address", as the options dialog shows them.
        account.maxSessionsPerAddress = flagIsSet(users, "max_logins_per_ip") ? positiveWhole(users, "max_logins_per_ip")
                                        : flagIsSet(users, "one_login_per_ip") ? 1
                                                                               : 0;
        // ProFTPD counts the sessions of every account from an address; a limit the
        // account's own one already implies is left out, so others are not held back by it.
        if (account.maxSessions > 0 && account.maxSessionsPerAddress >= account.maxSessions)
            account.maxSessionsPerAddress = 0;
        bool ok = false;
        const double speed = users.text(QStringLiteral("speed_limit_value")).trimmed().toDouble(&ok);
        account.kilobytesPerSecond = ok && std::isfinite(speed) && speed > 0 ? speed : 0;
        account.loginMessageFile = users.text(QStringLiteral("login_msg_file"));
        account.ratio = readRatio(users.text(QStringLiteral("ratio_type")), number(users, "ratio_up"), number(users, "ratio_down"),
                                  number(users, "ratio_current_credit"));
        byName.insert(account.name, model.accounts.size());
        model.accounts.append(account);
    }
    users = Rows();

    Rows entries = database.select(QStringLiteral("SELECT username, directory, dir_rights, inherit_subdirs FROM dir_rights"));
    if (!entries.isValid()) {
        *error = database.lastError();
        return std::nullopt;
    }
    while (entries.next()) {
        const auto found = byName.constFind(entries.text(QStringLiteral("username")));
        if (found == byName.cend())
            continue;
        model.accounts[*found].directories.append({entries.text(QStringLiteral("directory")),
                                                  entries.text(QStringLiteral("dir_rights")),
                                                  accessrules::readInherit(entries.text(QStringLiteral("inherit_subdirs")))});
    }
    entries = Rows();

    Rows rules = database.select(QStringLiteral("SELECT ip FROM blocked_ips UNION SELECT ip FROM blocked_ips_by_user"));
    if (!rules.isValid()) {
        *error = database.lastError();
        return std::nullopt;
    }
    while (rules.next())
        model.ruleTexts << rules.text(QStringLiteral("ip"));
    return model;
}

bool writeConfigFile(const QString& path, const QString& text, QString* error)
{
    const QString reason = embedded::writeWholeFile(path, text.toUtf8());
    if (!reason.isEmpty())
        *error = QStringLiteral("\"%1\" could not be written: %2").arg(path, reason);
    return reason.isEmpty();
}

bool writeConfiguration(const QString& connectionString, const QString& ftpDirectory, const QString& path, QString* error)
{
    Database database(connectionString);
    if (!database.open()) {
        *error = QStringLiteral("The accounts database could not be opened: ") + database.lastError();
        return false;
    }
    const auto model = readModel(database, connectionString, ftpDirectory, error);
    return model && writeConfigFile(path, configText(*model), error);
}

} // namespace proftpd
