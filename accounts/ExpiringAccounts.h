#pragma once

#include "services/Session.h"

#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

struct AppContext;

// The accounts coming due: those whose expiry or disable date falls within a number
// of days or has passed, with what the sweep will do to each. The window and the
// command-line report share it, and it reads the dates as the sweep does.
namespace expiring {

constexpr int DefaultDays = 30;
constexpr int MostDays = 3650;

inline const QString ActionDelete = QStringLiteral("delete");
inline const QString ActionDisable = QStringLiteral("disable");

// One account's two dates as stored.
struct StoredDates
{
    QString name;
    QString expires;
    QString disableOn;
};

struct DueAccount
{
    QString name;
    QString expires;
    QString disableOn;
    // The date of the sweep's next action on the account; daysLeft is negative once it has passed.
    QDate due;
    int daysLeft = 0;
    // ActionDelete or ActionDisable.
    QString action;
};

using DateReader = std::function<std::optional<QDate>(const QString&)>;

// The sweep's next action on an account and its day: deletion on the expiry date,
// disabling on the disable date. A date that has passed is acted on at the next sweep,
// which deletes before it disables. Nothing for an account without a readable date.
std::optional<DueAccount> nextSweepAction(const StoredDates& account, QDate today, const DateReader& read);

// The accounts whose next action falls within `days` days of today or has passed,
// the soonest first (then by name).
QList<DueAccount> dueWithin(const QList<StoredDates>& accounts, QDate today, int days, const DateReader& read);

// Reads every account that has a date. A failure has been reported through the session.
DatabaseOutcome readDatedAccounts(AppContext& context, QList<StoredDates>& accounts,
                                  Session::Feedback feedback = Session::Feedback::ShowDialog);

// The same through the sweep's own date reading, for today by the context's clock.
QList<DueAccount> dueWithin(AppContext& context, const QList<StoredDates>& accounts, int days);

// The CSV form: a header line, then one account per line with its name first.
QStringList csvHeader();
QStringList csvFields(const DueAccount& account);
QString csvLine(const QStringList& fields);
QString toCsv(const QList<DueAccount>& accounts);

} // namespace expiring
