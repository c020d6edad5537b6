#pragma once

#include "db/Database.h"

#include <QString>

#include <memory>

struct AppContext;

// How an operation over the database ended, for the callers that report it in an
// exit status: done, the database could not be opened, or a statement failed.
enum class DatabaseOutcome { Done, NotOpened, StatementFailed };

// One database session of one operation: opened from the connection string
// stored at that moment, closed when the operation ends. A failed open tells the
// administrator (unless quiet) and offers the configuration window; a statement
// that fails after the open is reported through reportDatabaseError. Every
// operation that writes accounts goes through a session, so its close is where
// the ProFTPD configuration is written again (proftpd::keepCurrent).
class Session
{
public:
    enum class Feedback { ShowDialog, Quiet };

    explicit Session(AppContext& context);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    bool open(Feedback feedback = Feedback::ShowDialog);
    void close();
    bool isOpen() const;
    Engine engine() const;

    // Runs a statement; a failure is reported and false returned.
    bool execute(const QString& sql);
    // Runs a statement whose failure is expected on some engines and ignored.
    bool executeIgnoringErrors(const QString& sql, Database::Text text = Database::Text::Rewritten);
    // Runs a query; a failure is reported and the rows are invalid.
    Rows select(const QString& sql);

    Database* database() { return m_database.get(); }
    AppContext& context() { return m_ctx; }

private:
    AppContext& m_ctx;
    std::unique_ptr<Database> m_database;
    // Set by a statement that changed the database; the close then brings the
    // FTP server's configuration up to date.
    bool m_wrote = false;
};

// The writes of one operation as one unit: begun where the engine has transactions
// (SQLite, PostgreSQL, SQL Server), so that either all of them land or none does.
// Access runs them one at a time as it always did. Whatever is not committed is
// rolled back when the transaction ends.
class Transaction
{
public:
    explicit Transaction(Session& session);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    // False when the engine has transactions and one could not be begun (reported).
    bool isUsable() const { return m_usable; }
    // Commits; a failure is reported, everything is rolled back and false returned.
    bool commit();

private:
    Session& m_session;
    bool m_usable = false;
    bool m_open = false;
};

// The connection-error dialog: Yes repairs the settings in the configuration
// window, No ends the program with the critical message.
void showConnectionError(AppContext& context);

// The one report of a statement that failed after the session opened: the
// message box, and the engine's own text in the status log.
void reportDatabaseError(AppContext& context, const QString& engineError);
