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

// The checks' verdict so far, and their reasons when the decision is explained. The
// handler stops at its first refusal; an explanation goes on to tell every reason.
class Judgement
{
public:
    explicit Judgement(const Explain& explain) : m_explain(explain) {}

    void note(const QString& reason) const
    {
        if (m_explain)
            m_explain(reason);
    }
    // Records a refusal; true when the decision ends here.
    bool refuse(const QString& reason)
    {
        m_refused = true;
        note(reason + QStringLiteral(" The log-in is refused."));
        return !m_explain;
    }
    bool refused() const { return m_refused; }
    // A query that failed ends every decision: the handler fails closed.
    QStringList databaseFailed(const Database& database) const
    {
        note(QStringLiteral("Database: a query failed (%1). The log-in is refused.").arg(database.lastError()));
        return refusal();
    }

private:
    const Explain& m_explain;
    bool m_refused = false;
};

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

QStringList decide(const LoginRequest& request, Database& database, const Trace& trace, const Explain& explain)
{
    Judgement judgement(explain);
    const auto account = decode(request.account);
    if (!account || account->isEmpty() || account->size() > MaxAccountLength) {
        judgement.note(QStringLiteral("Account: the name is empty, longer than 50 characters or not valid UTF-8, so it "
                                      "names no account."));
        return reply(0);
    }
    const QString name = *account;
    const auto ask = [&](const char* text, const char* column) {
        return single(database, contractQuery(text, QStringLiteral("users"), name), QLatin1String(column));
    };

    const auto stored = ask("select password from %s where username='%s'", "password");
    if (!stored)
        return judgement.databaseFailed(database);
    if (!stored->found) {
        judgement.note(QStringLiteral("Account \"%1\": not found.").arg(name));
        return reply(0);
    }
    judgement.note(QStringLiteral("Account \"%1\": found.").arg(name));

    Rows home = database.select(contractQuery("select homedir,disable_user from %s where username='%s'", QStringLiteral("users"), name));
    if (!home.isValid() || !home.next())
        return judgement.databaseFailed(database);
    const QString homedir = home.text(QStringLiteral("homedir"));
    const QString disableUser = home.text(QStringLiteral("disable_user"));
    const bool disabled = storedFlagIsSet(home.value(QStringLiteral("disable_user")));
    home = Rows();
    if (!disabled)
        judgement.note(QStringLiteral("Disabled: no."));
    else if (judgement.refuse(QStringLiteral("Disabled: yes (disable_user is %1).").arg(disableUser)))
        return refusal();

    const auto password = decode(request.password);
    const QString form = passwordForm(stored->text) == PasswordForm::SaltedMd5 ? QStringLiteral("the stored salted MD5 form")
                                                                               : QStringLiteral("the stored text");
    if (password && passwordMatches(stored->text, *password))
        judgement.note(QStringLiteral("Password: matches %1.").arg(form));
    else if (judgement.refuse(!password          ? QStringLiteral("Password: not valid UTF-8.")
                              : password->isEmpty() ? QStringLiteral("Password: none was given.")
                                                    : QStringLiteral("Password: does not match %1.").arg(form)))
        return refusal();

    const QString address = QString::fromLatin1(request.remoteAddress);
    // The contract query returns the account's own rules and the "*" rules alike; an
    // explanation tells them apart by the "*" rules read on their own.
    QStringList starRules;
    if (explain) {
        Rows star = database.select(contractQuery("select ip from %s where username='%s'", QStringLiteral("blocked_ips_by_user"),
                                                  QStringLiteral("*")));
        if (!star.isValid())
            return judgement.databaseFailed(database);
        while (star.next())
            starRules.append(star.text(QStringLiteral("ip")));
    }
    bool anyRuleMatched = false;
    for (const char* rules : {"select ip from %s", "select ip from %s where username='%s' or username='*'"}) {
        const bool global = QLatin1String(rules) == QLatin1String("select ip from %s");
        Rows rows = database.select(contractQuery(rules, global ? QStringLiteral("blocked_ips") : QStringLiteral("blocked_ips_by_user"), name));
        if (!rows.isValid())
            return judgement.databaseFailed(database);
        while (rows.next()) {
            const QString rule = rows.text(QStringLiteral("ip"));
            if (!ipRuleMatches(rule, address))
                continue;
            anyRuleMatched = true;
            const QString scope = global                   ? QStringLiteral("global")
                                  : starRules.removeOne(rule) ? QStringLiteral("\"*\", for every account")
                                                              : QStringLiteral("the account's own");
            const QString how = isReadableAddress(address) ? QStringLiteral("matches %1").arg(address)
                                                           : QStringLiteral("refuses the unreadable address \"%1\"").arg(address);
            if (judgement.refuse(QStringLiteral("IP rule \"%1\" (%2) %3.").arg(rule, scope, how)))
                return refusal();
        }
    }
    if (!anyRuleMatched)
        judgement.note(QStringLiteral("IP rules: none matches %1.").arg(address));

    // The account works in its home folder as the folder's owner, never as root.
    const QFileInfo folder(homedir);
    if (homedir.isEmpty() || !folder.isAbsolute() || !folder.isDir()) {
        trace(QStringLiteral("Home folder \"%1\" of %2 does not exist; log-in refused.").arg(homedir, name));
        if (judgement.refuse(QStringLiteral("Home folder \"%1\": missing.").arg(homedir)))
            return refusal();
    } else if (folder.ownerId() == 0 || folder.groupId() == 0) {
        trace(QStringLiteral("Home folder \"%1\" of %2 belongs to root; log-in refused.").arg(homedir, name));
        if (judgement.refuse(QStringLiteral("Home folder \"%1\": present, but it belongs to root (owner %2, group %3).")
                                 .arg(homedir, folder.owner(), folder.group())))
            return refusal();
    } else {
        judgement.note(QStringLiteral("Home folder \"%1\": present, owned by %2 (uid %3, gid %4).")
                           .arg(homedir, folder.owner())
                           .arg(folder.ownerId())
                           .arg(folder.groupId()));
    }
    if (judgement.refused())
        return refusal();

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
        return judgement.databaseFailed(database);

    QString quota = QStringLiteral("Quota: none.");
    if (wholeNumber(*useQuota) == 1) {
        if (quotaCurrent->isNull) {
            trace(QStringLiteral("Quota set aborted for %1, since use_quota is on, but there is no quota_current.").arg(name));
            quota = QStringLiteral("Quota: none, since use_quota is on, but there is no quota_current.");
        } else if (wholeNumber(*quotaMax) > 0) {
            lines << QStringLiteral("user_quota_size:%1").arg(wholeNumber(*quotaMax));
            quota = QStringLiteral("Quota: %1 bytes.").arg(wholeNumber(*quotaMax));
        }
    }
    judgement.note(quota);
    if (!ratioType->text.trimmed().isEmpty() && wholeNumber(*ratioUp) > 0 && wholeNumber(*ratioDown) > 0) {
        lines << QStringLiteral("ratio_upload:%1").arg(wholeNumber(*ratioUp)) << QStringLiteral("ratio_download:%1").arg(wholeNumber(*ratioDown));
        judgement.note(QStringLiteral("Ratio: %1 up to %2 down.").arg(wholeNumber(*ratioUp)).arg(wholeNumber(*ratioDown)));
    } else {
        judgement.note(QStringLiteral("Ratio: none."));
    }
    // The speed limit is kept in kilobytes per second; the server wants bytes.
    const qint64 bytesPerSecond = static_cast<qint64>(speed->text.trimmed().toDouble() * 1024.0);
    if (bytesPerSecond > 0) {
        lines << QStringLiteral("throttling_bandwidth_ul:%1").arg(bytesPerSecond)
              << QStringLiteral("throttling_bandwidth_dl:%1").arg(bytesPerSecond);
        judgement.note(QStringLiteral("Speed limit: %1 bytes per second each way.").arg(bytesPerSecond));
    } else {
        judgement.note(QStringLiteral("Speed limit: none."));
    }
    if (wholeNumber(*concurrent) > 0) {
        lines << QStringLiteral("per_user_max:%1").arg(wholeNumber(*concurrent));
        judgement.note(QStringLiteral("Sessions: at most %1 at a time.").arg(wholeNumber(*concurrent)));
    } else {
        judgement.note(QStringLiteral("Sessions: no limit of the account's own."));
    }
    lines << QStringLiteral("end");
    return lines;
}

} // namespace gatewick
