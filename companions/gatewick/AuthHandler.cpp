#include "AuthHandler.h"

#include "AuthRules.h"

#include "db/Database.h"
#include "db/SqlText.h"
#include "db/StoredFlag.h"

#include <QFileInfo>
#include <QStringDecoder>

#include <optional>

namespace gatewick {
namespace {

constexpr int MaxAccountLength = 50;

// Text from the network counts only when it is valid UTF-8.
std::optional<QString> decode(const QByteArray& bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (utf8.hasError() || text.contains(QChar(0)))
        return std::nullopt;
    return text;
}

QStringList reply(int authOk)
{
    return {QStringLiteral("auth_ok:%1").arg(authOk), QStringLiteral("end")};
}

// One column of one row; nullopt when the query failed.
struct Value
{
    bool found = false;
    bool isNull = true;
    QString text;
};

std::optional<Value> single(Database& database, const QString& query, const QString& column)
{
    Rows rows = database.select(query);
    if (!rows.isValid())
        return std::nullopt;
    Value value;
    if (rows.next()) {
        value.found = true;
        value.isNull = rows.isNull(column);
        value.text = rows.text(column);
    }
    return value;
}

qint64 wholeNumber(const Value& value)
{
    return value.isNull ? 0 : static_cast<qint64>(value.text.toDouble());
}

} // namespace

const QList<ContractQuery>& contractQueries()
{
    static const QList<ContractQuery> queries{
        {"select password from %s where username='%s'", "users"},
        {"select ip from %s", "log_ips"},
        {"select ip from %s", "blocked_ips"},
        {"select ip from %s where username='%s' or username='*'", "blocked_ips_by_user"},
        {"select signon_msg_file from %s where ip='%s'", "sign_files"},
        {"select signoff_msg_file from %s where ip='%s'", "sign_files"},
        {"select max_concurrent from %s where username='%s'", "users"},
        {"select max_logins_per_ip from %s where username='%s'", "users"},
        {"select one_login_per_ip from %s where username='%s'", "users"},
        {"select always_login from %s where username='%s'", "users"},
        {"select login_msg_file from %s where username='%s'", "users"},
        {"select homedir,disable_user from %s where username='%s'", "users"},
        {"select rel_path from %s where username='%s'", "users"},
        {"select hide_hidden_files from %s where username='%s'", "users"},
        {"select ratio_type from %s where username='%s'", "users"},
        {"select ratio_up from %s where username='%s'", "users"},
        {"select ratio_down from %s where username='%s'", "users"},
        {"select filename from %s where username='%s' or username='*'", "ratio_free_files"},
        {"select ratio_current_credit from %s where username='%s'", "users"},
        {"select speed_limit_value from %s where username='%s'", "users"},
        {"select timeout from %s where username='%s'", "users"},
        {"select session_timeout from %s where username='%s'", "users"},
        {"select directory,dir_rights,inherit_subdirs from %s where username='%s'", "dir_rights"},
        {"select filename,file_rights from %s where username='%s'", "file_rights"},
        {"select maintenance from %s where username='%s'", "users"},
        {"select use_quota from %s where username='%s'", "users"},
        {"select quota_max from %s where username='%s'", "users"},
        {"select quota_current from %s where username='%s'", "users"},
        {"select quota_current,quota_max from %s where username='%s'", "users"},
    };
    return queries;
}

QString contractQuery(const char* text, const QString& table, const QString& value)
{
    QString query = QLatin1String(text);
    // The quoted value first, so that a table name can never be taken for it.
    query.replace(QStringLiteral("'%s'"), sqlQuote(value));
    query.replace(query.indexOf(QStringLiteral("%s")), 2, table);
    return query;
}

QStringList refusal()
{
    return reply(-1);
}

QStringList decide(const LoginRequest& request, Database& database, const Trace& trace)
{
    const auto account = decode(request.account);
    if (!account || account->isEmpty() || account->size() > MaxAccountLength)
        return reply(0);
    const QString name = *account;
    const auto ask = [&](const char* text, const char* column) {
        return single(database, contractQuery(text, QStringLiteral("users"), name), QLatin1String(column));
    };

    const auto stored = ask("select password from %s where username='%s'", "password");
    if (!stored)
        return refusal();
    if (!stored->found)
        return reply(0);

    Rows home = database.select(contractQuery("select homedir,disable_user from %s where username='%s'", QStringLiteral("users"), name));
    if (!home.isValid() || !home.next())
        return refusal();
    const QString homedir = home.text(QStringLiteral("homedir"));
    const bool disabled = storedFlagIsSet(home.value(QStringLiteral("disable_user")));
    home = Rows();
    if (disabled)
        return refusal();

    const auto password = decode(request.password);
    if (!password || !passwordMatches(stored->text, *password))
        return refusal();

    const QString address = QString::fromLatin1(request.remoteAddress);
    for (const char* rules : {"select ip from %s", "select ip from %s where username='%s' or username='*'"}) {
        const QString table = QLatin1String(rules) == QLatin1String("select ip from %s") ? QStringLiteral("blocked_ips")
                                                                                         : QStringLiteral("blocked_ips_by_user");
        Rows rows = database.select(contractQuery(rules, table, name));
        if (!rows.isValid())
            return refusal();
        while (rows.next()) {
            if (ipRuleMatches(rows.text(QStringLiteral("ip")), address))
                return refusal();
        }
    }

    // The account works in its home folder as the folder's owner, never as root.
    const QFileInfo folder(homedir);
    if (homedir.isEmpty() || !folder.isAbsolute() || !folder.isDir()) {
        trace(QStringLiteral("Home folder \"%1\" of %2 does not exist; log-in refused.").arg(homedir, name));
        return refusal();
    }
    if (folder.ownerId() == 0 || folder.groupId() == 0) {
        trace(QStringLiteral("Home folder \"%1\" of %2 belongs to root; log-in refused.").arg(homedir, name));
        return refusal();
    }

    QStringList lines{QStringLiteral("auth_ok:1"), QStringLiteral("uid:%1").arg(folder.ownerId()),
                      QStringLiteral("gid:%1").arg(folder.groupId()), QStringLiteral("dir:") + folder.absoluteFilePath(),
                      QStringLiteral("slow_tilde_expansion:1")};

    const auto useQuota = ask("select use_quota from %s where username='%s'", "use_quota");
    const auto quotaMax = ask("select quota_max from %s where username='%s'", "quota_max");
    const auto quotaCurrent = ask("select quota_current from %s where username='%s'", "quota_current");
    const auto ratioType = ask("select ratio_type from %s where username='%s'", "ratio_type");
    const auto ratioUp = ask("select ratio_up from %s where username='%s'", "ratio_up");
    const auto ratioDown = ask("select ratio_down from %s where username='%s'", "ratio_down");
    const auto speed = ask("select speed_limit_value from %s where username='%s'", "speed_limit_value");
    const auto concurrent = ask("select max_concurrent from %s where username='%s'", "max_concurrent");
    if (!useQuota || !quotaMax || !quotaCurrent || !ratioType || !ratioUp || !ratioDown || !speed || !concurrent)
        return refusal();

    if (wholeNumber(*useQuota) == 1) {
        if (quotaCurrent->isNull)
            trace(QStringLiteral("Quota set aborted for %1, since use_quota is on, but there is no quota_current.").arg(name));
        else if (wholeNumber(*quotaMax) > 0)
            lines << QStringLiteral("user_quota_size:%1").arg(wholeNumber(*quotaMax));
    }
    if (!ratioType->text.trimmed().isEmpty() && wholeNumber(*ratioUp) > 0 && wholeNumber(*ratioDown) > 0)
        lines << QStringLiteral("ratio_upload:%1").arg(wholeNumber(*ratioUp)) << QStringLiteral("ratio_download:%1").arg(wholeNumber(*ratioDown));
    // The speed limit is kept in kilobytes per second; the server wants bytes.
    const qint64 bytesPerSecond = static_cast<qint64>(speed->text.trimmed().toDouble() * 1024.0);
    if (bytesPerSecond > 0)
        lines << QStringLiteral("throttling_bandwidth_ul:%1").arg(bytesPerSecond)
              << QStringLiteral("throttling_bandwidth_dl:%1").arg(bytesPerSecond);
    if (wholeNumber(*concurrent) > 0)
        lines << QStringLiteral("per_user_max:%1").arg(wholeNumber(*concurrent));
    lines << QStringLiteral("end");
    return lines;
}

} // namespace gatewick
