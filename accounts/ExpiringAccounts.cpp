#include "accounts/ExpiringAccounts.h"

#include "platform/Clock.h"
#include "services/AccountSweep.h"
#include "services/AppContext.h"

#include <algorithm>

namespace expiring {

std::optional<DueAccount> nextSweepAction(const StoredDates& account, QDate today, const DateReader& read)
{
    const std::optional<QDate> expires = account.expires.trimmed().isEmpty() ? std::nullopt : read(account.expires);
    const std::optional<QDate> disableOn = account.disableOn.trimmed().isEmpty() ? std::nullopt : read(account.disableOn);
    // The day the sweep acts on a date: the date itself, or the next sweep once it has passed.
    const auto actedOn = [today](QDate date) { return std::max(date, today); };

    DueAccount due{account.name, account.expires, account.disableOn, {}, 0, {}};
    if (expires && (!disableOn || actedOn(*expires) <= actedOn(*disableOn))) {
        due.due = *expires;
        due.action = ActionDelete;
    } else if (disableOn) {
        due.due = *disableOn;
        due.action = ActionDisable;
    } else {
        return std::nullopt;
    }
    due.daysLeft = static_cast<int>(today.daysTo(due.due));
    return due;
}

QList<DueAccount> dueWithin(const QList<StoredDates>& accounts, QDate today, int days, const DateReader& read)
{
    QList<DueAccount> due;
    for (const StoredDates& account : accounts) {
        const auto next = nextSweepAction(account, today, read);
        if (next && next->daysLeft <= days)
            due.append(*next);
    }
    std::stable_sort(due.begin(), due.end(), [](const DueAccount& a, const DueAccount& b) {
        return a.daysLeft != b.daysLeft ? a.daysLeft < b.daysLeft : a.name < b.name;
    });
    return due;
}

DatabaseOutcome readDatedAccounts(AppContext& context, QList<StoredDates>& accounts, Session::Feedback feedback)
{
    Session session(context);
    if (!session.open(feedback))
        return DatabaseOutcome::NotOpened;
    // NULL is no date as much as the empty text is; neither passes these comparisons.
    Rows rows = session.select(QStringLiteral("select username, expires, disableon from users where expires <> '' or disableon <> ''"));
    if (!rows.isValid())
        return DatabaseOutcome::StatementFailed;
    while (rows.next())
        accounts.append({rows.text(QStringLiteral("username")), rows.text(QStringLiteral("expires")),
                         rows.text(QStringLiteral("disableon"))});
    return DatabaseOutcome::Done;
}

QList<DueAccount> dueWithin(AppContext& context, const QList<StoredDates>& accounts, int days)
{
    const QDate today = context.clock.now().date();
    return dueWithin(accounts, today, days, [&context, today](const QString& text) { return readStoredDate(context, text, today); });
}

QStringList csvHeader()
{
    return {QStringLiteral("User name"), QStringLiteral("Expires"), QStringLiteral("Disable on"), QStringLiteral("Days left"),
            QStringLiteral("Sweep action")};
}

QStringList csvFields(const DueAccount& account)
{
    return {account.name, account.expires, account.disableOn, QString::number(account.daysLeft), account.action};
}

QString csvLine(const QStringList& fields)
{
    QStringList quoted;
    for (const QString& field : fields) {
        // A field that holds a separator, a quote or a line end goes between quotes, its quotes doubled.
        const bool needsQuotes = field.contains(QLatin1Char(',')) || field.contains(QLatin1Char('"'))
                                 || field.contains(QLatin1Char('\n')) || field.contains(QLatin1Char('\r'));
        quoted.append(needsQuotes ? QLatin1Char('"') + QString(field).replace(QLatin1Char('"'), QStringLiteral("\"\"")) + QLatin1Char('"')
                                  : field);
    }
    return quoted.join(QLatin1Char(',')) + QLatin1Char('\n');
}

QString toCsv(const QList<DueAccount>& accounts)
{
    QString csv = csvLine(csvHeader());
    for (const DueAccount& account : accounts)
        csv += csvLine(csvFields(account));
    return csv;
}

} // namespace expiring
