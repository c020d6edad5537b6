#include "AccountStatements.h"

#include "db/Schema.h"
#include "db/SqlText.h"
#include "platform/PathInfo.h"

namespace migration {
namespace {

int widthOf(const QString& tableName, const QString& columnName)
{
    for (const schema::Column& column : schema::table(tableName).columns) {
        if (column.name == columnName)
            return column.width;
    }
    return 0;
}

const QString Users = QStringLiteral("users");

// "the home folder is 600 characters long; the database takes at most 512"
std::optional<QString> tooLong(const QString& what, const QString& value, const QString& tableName, const QString& column)
{
    const int width = widthOf(tableName, column);
    if (value.size() <= width)
        return std::nullopt;
    // Built by concatenation: a value holding "%1" must never be read as a placeholder.
    return what + QStringLiteral(" is ") + QString::number(value.size()) + QStringLiteral(" characters long; the database takes at most ")
        + QString::number(width);
}

QString number(bool value)
{
    return sqlNumber(qint64(value ? 1 : 0));
}

QString number(int value)
{
    return sqlNumber(qint64(value));
}

QString storedNotes(const MigratedAccount& account)
{
    return account.comments.left(widthOf(Users, QStringLiteral("comments")));
}

} // namespace

std::optional<QString> refusalReason(const MigratedAccount& account)
{
    if (account.name.trimmed().isEmpty())
        return QStringLiteral("the account has no name");
    if (account.homedir.trimmed().isEmpty())
        return QStringLiteral("the account has no home folder");
    const std::optional<QString> fits[] = {
        tooLong(QStringLiteral("the name"), account.name, Users, QStringLiteral("username")),
        tooLong(QStringLiteral("the home folder"), account.homedir, Users, QStringLiteral("homedir")),
        tooLong(QStringLiteral("the password"), account.password, Users, QStringLiteral("password")),
        tooLong(QStringLiteral("the expiry date"), account.expires, Users, QStringLiteral("Expires")),
        tooLong(QStringLiteral("the login message file"), account.loginMessageFile.value_or(QString()), Users,
                QStringLiteral("login_msg_file")),
        tooLong(QStringLiteral("the speed limit"), account.speedLimitKBps.value_or(QString()), Users,
                QStringLiteral("speed_limit_value")),
        tooLong(QStringLiteral("the maintenance setting"), account.maintenance.value_or(QString()), Users,
                QStringLiteral("maintenance")),
        tooLong(QStringLiteral("the ratio kind"), account.ratioType.value_or(QString()), Users, QStringLiteral("ratio_type")),
    };
    for (const auto& reason : fits) {
        if (reason)
            return reason;
    }
    const QString dirRights = QStringLiteral("dir_rights");
    for (const DirectoryAccess& entry : account.access) {
        if (const auto reason = tooLong(QStringLiteral("the folder \"") + entry.directory + QLatin1Char('"'), entry.directory, dirRights,
                                        QStringLiteral("directory")))
            return reason;
        if (const auto reason = tooLong(QStringLiteral("the rights of \"") + entry.directory + QLatin1Char('"'), entry.rights,
                                        dirRights, QStringLiteral("dir_rights")))
            return reason;
    }
    // A deny rule left out would let in an address the server kept out.
    for (const QString& ip : account.deniedIps) {
        if (ip.trimmed().isEmpty())
            return QStringLiteral("one of its IP rules is empty");
        if (const auto reason = tooLong(QStringLiteral("the IP rule \"") + ip + QLatin1Char('"'), ip, QStringLiteral("blocked_ips_by_user"),
                                        QStringLiteral("ip")))
            return reason;
    }
    return std::nullopt;
}

QStringList adjustmentsFor(const MigratedAccount& account)
{
    QStringList lines;
    const QString notes = storedNotes(account);
    if (notes.size() < account.comments.size()) {
        lines << account.name + QStringLiteral(": the notes are ") + QString::number(account.comments.size())
                + QStringLiteral(" characters long; the database keeps the first ") + QString::number(notes.size())
                + QStringLiteral(", and this part is left out: ") + account.comments.mid(notes.size());
    }
    for (const DirectoryAccess& entry : account.access) {
        if (entry.directory.trimmed().isEmpty())
            lines << QStringLiteral("%1: a directory entry without a folder (rights \"%2\") is left out").arg(account.name, entry.rights);
    }
    return lines;
}

QString lookUpStatement(const QString& name)
{
    return QStringLiteral("select username from users where username=") + sqlQuote(name);
}

QString insertAccountStatement(const MigratedAccount& account)
{
    QStringList columns;
    QStringList values;
    const auto put = [&](const char* column, const QString& value) {
        columns << QStringLiteral("[%1]").arg(QLatin1String(column));
        values << value;
    };
    // Empty text is stored as NULL, as the user page stores empty notes: the
    // template refuses zero-length passwords and message files.
    const auto textOrNull = [](const QString& text) { return text.isEmpty() ? QStringLiteral("NULL") : sqlQuote(text); };

    put("username", sqlQuote(account.name));
    put("homedir", sqlQuote(storedPathCase(account.homedir)));
    put("password", textOrNull(account.password));
    put("comments", account.comments.trimmed().isEmpty() ? QStringLiteral("NULL") : sqlQuote(storedNotes(account)));
    // A new account on the user page starts with these three.
    put("max_concurrent", number(account.maxConcurrent.value_or(1)));
    put("max_logins_per_ip", number(account.maxLoginsPerIp.value_or(1)));
    put("quota_current", sqlNumber(account.quotaCurrentBytes.value_or(0.0)));

    if (account.disabled)
        put("disable_user", number(*account.disabled));
    if (!account.expires.isEmpty())
        put("Expires", sqlQuote(account.expires));
    if (account.idleTimeoutMinutes)
        put("timeout", number(*account.idleTimeoutMinutes));
    if (account.sessionTimeoutMinutes)
        put("session_timeout", number(*account.sessionTimeoutMinutes));
    if (account.oneLoginPerIp)
        put("one_login_per_ip", number(*account.oneLoginPerIp));
    if (account.speedLimitKBps)
        put("speed_limit_value", sqlQuote(*account.speedLimitKBps));
    if (account.useQuota)
        put("use_quota", number(*account.useQuota));
    if (account.quotaMaxBytes)
        put("quota_max", sqlNumber(*account.quotaMaxBytes));
    if (account.ratioType)
        put("ratio_type", textOrNull(*account.ratioType));
    if (account.ratioUp)
        put("ratio_up", number(*account.ratioUp));
    if (account.ratioDown)
        put("ratio_down", number(*account.ratioDown));
    if (account.ratioCredit)
        put("ratio_current_credit", sqlNumber(*account.ratioCredit));
    if (account.relativePaths)
        put("rel_path", number(*account.relativePaths));
    if (account.hideHiddenFiles)
        put("hide_hidden_files", number(*account.hideHiddenFiles));
    if (account.alwaysLogin)
        put("always_login", number(*account.alwaysLogin));
    if (account.loginMessageFile)
        put("login_msg_file", textOrNull(*account.loginMessageFile));
    if (account.maintenance)
        put("maintenance", sqlQuote(*account.maintenance));

    return QStringLiteral("INSERT INTO [users](") + columns.join(QStringLiteral(", ")) + QStringLiteral(")VALUES(")
        + values.join(QStringLiteral(", ")) + QLatin1Char(')');
}

QStringList accessStatements(const MigratedAccount& account)
{
    const QString user = sqlQuote(account.name);
    QStringList statements;
    for (const DirectoryAccess& entry : account.access) {
        if (entry.directory.trimmed().isEmpty())
            continue;
        statements << QStringLiteral("INSERT INTO [dir_rights] ([username], [directory], [dir_rights], [inherit_subdirs]) VALUES (")
                          + user + QStringLiteral(", ") + sqlQuote(storedPathCase(entry.directory)) + QStringLiteral(", ")
                          + sqlQuote(entry.rights) + QStringLiteral(", ") + number(entry.inherit) + QLatin1Char(')');
    }
    for (const QString& ip : account.deniedIps) {
        statements << QStringLiteral("insert into blocked_ips_by_user ([ip], [username]) values (") + sqlQuote(ip)
                          + QStringLiteral(", ") + user + QLatin1Char(')');
    }
    return statements;
}

std::optional<QString> globalRuleRefusal(const QString& ip)
{
    if (ip.trimmed().isEmpty())
        return QStringLiteral("the rule is empty");
    return tooLong(QStringLiteral("the rule"), ip, QStringLiteral("blocked_ips"), QStringLiteral("ip"));
}

QString globalRuleLookUp(const QString& ip)
{
    return QStringLiteral("select ip from blocked_ips where ip=") + sqlQuote(ip);
}

QString insertGlobalRule(const QString& ip)
{
    return QStringLiteral("insert into blocked_ips ([ip]) values (") + sqlQuote(ip) + QLatin1Char(')');
}

} // namespace migration
