#include "services/AccountSweep.h"

#include "db/Schema.h"
#include "db/SqlText.h"
#include "platform/Clock.h"
#include "platform/DateForm.h"
#include "services/AppContext.h"
#include "services/Session.h"

#include <QList>
#include <QPair>
#include <QStringList>

namespace {

using DatedAccount = QPair<QString, QString>; // name, stored date text

// Reads every account with a date in the column before anything is written: a
// query left open on SQLite would keep the writing session from committing.
bool readDatedAccounts(Session& reader, const QString& column, QList<DatedAccount>& accounts)
{
    Rows rows = reader.select(QStringLiteral("select username, %1 from users where %1 <> ''").arg(column));
    if (!rows.isValid())
        return false;
    while (rows.next())
        accounts.append({rows.text(QStringLiteral("username")), rows.text(column)});
    return true;
}

// The accounts whose date has come, in the order read; unreadable dates are logged.
QStringList dueAccounts(AppContext& context, const QList<DatedAccount>& accounts, const QString& what)
{
    const QDate today = context.clock.now().date();
    QStringList due;
    for (const auto& [name, text] : accounts) {
        const auto date = readStoredDate(context, text, today);
        if (!date) {
            context.logStatus(QStringLiteral("User '%1' has %2 date '%3' that is not a date; left as it is").arg(name, what, text));
            continue;
        }
        if (*date <= today)
            due.append(name);
    }
    return due;
}

// On SQLite every statement of its own is a synced commit, which for thousands of
// due accounts takes many seconds; there the sweep's writes go in transactions of
// a few hundred accounts. A deletion is logged only once its transaction has been
// committed, since a refused commit undoes it. After a failed statement what was
// written before it is still committed, and a sweep cut short is finished at the
// next start.
class SweepBatch
{
public:
    SweepBatch(AppContext& context, Session& writer)
        : m_ctx(context)
        , m_database(writer.engine() == Engine::Sqlite ? writer.database() : nullptr)
    {
        begin();
    }
    ~SweepBatch()
    {
        if (m_open)
            m_database->rollback();
    }
    SweepBatch(const SweepBatch&) = delete;
    SweepBatch& operator=(const SweepBatch&) = delete;

    // Records one account as done, with the line that tells so once it is committed;
    // false when a commit was refused (reported).
    bool accountDone(const QString& logLine = {})
    {
        if (!logLine.isEmpty())
            m_pending.append(logLine);
        if (m_open && ++m_accounts % AccountsPerTransaction != 0)
            return true;
        if (!commit(Report::Yes))
            return false;
        begin();
        return true;
    }

    // Commits the batch's writes; false when the commit was refused (reported).
    bool finish() { return commit(Report::Yes); }
    // Keeps what was written before a failed statement, which has been reported already.
    void finishAfterFailure() { commit(Report::No); }

private:
    static constexpr int AccountsPerTransaction = 500;
    enum class Report { Yes, No };

    void begin() { m_open = m_database && m_database->beginTransaction(); }

    bool commit(Report report)
    {
        if (m_open) {
            m_open = false;
            if (!m_database->commit()) {
                if (report == Report::Yes)
                    reportDatabaseError(m_ctx, m_database->lastError());
                m_database->rollback();
                m_pending.clear();
                return false;
            }
        }
        for (const QString& line : std::as_const(m_pending))
            m_ctx.logStatus(line);
        m_pending.clear();
        return true;
    }

    AppContext& m_ctx;
    Database* m_database;
    bool m_open = false;
    int m_accounts = 0;
    QStringList m_pending;
};

bool deleteAccount(Session& writer, const QString& name)
{
    for (const QString& statement : schema::accountDeletionStatements(name)) {
        if (!writer.execute(statement))
            return false;
    }
    return true;
}

} // namespace

DatabaseOutcome accountSweep(AppContext& context, Session::Feedback feedback)
{
    Session reader(context);
    Session writer(context);
    if (!reader.open(feedback) || !writer.open(feedback))
        return DatabaseOutcome::NotOpened;

    QList<DatedAccount> expiring;
    if (!readDatedAccounts(reader, QStringLiteral("expires"), expiring))
        return DatabaseOutcome::StatementFailed;
    {
        SweepBatch batch(context, writer);
        for (const QString& name : dueAccounts(context, expiring, QStringLiteral("an expiry"))) {
            if (!deleteAccount(writer, name)) {
                batch.finishAfterFailure();
                return DatabaseOutcome::StatementFailed;
            }
            if (!batch.accountDone(QStringLiteral("User '") + name + QStringLiteral("' is expired")))
                return DatabaseOutcome::StatementFailed;
        }
        // Committed before the next read, which would otherwise wait for the writer's lock.
        if (!batch.finish())
            return DatabaseOutcome::StatementFailed;
    }

    QList<DatedAccount> disabling;
    if (!readDatedAccounts(reader, QStringLiteral("disableon"), disabling))
        return DatabaseOutcome::StatementFailed;
    SweepBatch batch(context, writer);
    for (const QString& name : dueAccounts(context, disabling, QStringLiteral("a disable"))) {
        if (!writer.execute(QStringLiteral("UPDATE users SET disable_user=1, disableon='' WHERE username=") + sqlQuote(name))) {
            batch.finishAfterFailure();
            return DatabaseOutcome::StatementFailed;
        }
        if (!batch.accountDone())
            return DatabaseOutcome::StatementFailed;
    }
    return batch.finish() ? DatabaseOutcome::Done : DatabaseOutcome::StatementFailed;
}

std::optional<QDate> readStoredDate(const AppContext& context, const QString& text, QDate today)
{
    return context.dates.read(text, today);
}

bool rewriteStoredDates(Session& session, const DateForm& from, const DateForm& to, QDate today)
{
    for (const QString& column : {QStringLiteral("expires"), QStringLiteral("disableon")}) {
        QList<DatedAccount> accounts;
        if (!readDatedAccounts(session, column, accounts))
            return false;
        for (const auto& [name, text] : accounts) {
            const auto date = from.read(text, today);
            if (!date || to.format(*date) == text)
                continue;
            if (!session.execute(QStringLiteral("UPDATE users SET %1=%2 WHERE username=%3")
                                     .arg(column, sqlQuote(to.format(*date)), sqlQuote(name))))
                return false;
        }
    }
    return true;
}

void lowerCaseStoredPaths(AppContext& context)
{
    Session session(context);
    if (!session.open())
        return;
    // Access reads the first pair, SQL Server the second; they are sent as they
    // stand so that each fails harmlessly on the engines it is not meant for.
    // A POSIX path (beginning with "/") keeps its case, as storedPathCase keeps
    // it: Jet and SQL Server both read Left(), and LIKE's wildcard differs
    // between Jet's two modes.
    for (const char* statement :
         {"UPDATE users SET users.homedir = LCase( users.homedir) WHERE Left(users.homedir, 1) <> '/'",
          "UPDATE dir_rights SET dir_rights.directory = LCase([dir_rights].[directory]) "
          "WHERE Left([dir_rights].[directory], 1) <> '/';",
          "UPDATE users SET users.homedir = Lower(users.homedir) WHERE Left(users.homedir, 1) <> '/'",
          "UPDATE dir_rights SET dir_rights.directory = Lower([dir_rights].[directory]) "
          "WHERE Left([dir_rights].[directory], 1) <> '/';"})
        session.executeIgnoringErrors(QLatin1String(statement), Database::Text::Verbatim);
    // Every engine but Access reads this pair (SQLite has no Left()); it touches
    // only the rows that need it.
    session.executeIgnoringErrors(
        QStringLiteral("UPDATE users SET homedir = Lower(homedir) WHERE homedir NOT LIKE '/%' AND homedir <> Lower(homedir)"));
    session.executeIgnoringErrors(QStringLiteral(
        "UPDATE dir_rights SET directory = Lower(directory) WHERE directory NOT LIKE '/%' AND directory <> Lower(directory)"));
}

void installDatabaseWork(AppContext& context)
{
    context.accountSweep = [&context] { accountSweep(context); };
    context.lowerCaseStoredPaths = [&context] { lowerCaseStoredPaths(context); };
}
