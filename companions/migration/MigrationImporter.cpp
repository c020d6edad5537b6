#include "MigrationImporter.h"

#include "AccountStatements.h"

#include "db/Database.h"
#include "db/Schema.h"

namespace migration {
namespace {

std::optional<bool> nameInUse(Database& db, const QString& name, QString* error)
{
    Rows rows = db.select(lookUpStatement(name));
    if (!rows.isValid()) {
        *error = db.lastError();
        return std::nullopt;
    }
    return rows.next();
}

bool executeAll(Database& db, const QStringList& statements, QString* error)
{
    for (const QString& statement : statements) {
        if (!db.execute(statement)) {
            *error = db.lastError();
            return false;
        }
    }
    return true;
}

enum class Outcome { Imported, Replaced, Skipped, DatabaseFailed };

// One account in one transaction: either all its rows are written, or none.
Outcome writeAccount(Database& db, const MigratedAccount& account, bool replaceExisting, QString* error)
{
    if (!db.beginTransaction()) {
        *error = db.lastError();
        return Outcome::DatabaseFailed;
    }
    const std::optional<bool> inUse = nameInUse(db, account.name, error);
    if (!inUse) {
        db.rollback();
        return Outcome::DatabaseFailed;
    }
    if (*inUse && !replaceExisting) {
        db.rollback();
        return Outcome::Skipped;
    }
    QStringList statements;
    if (*inUse)
        statements << schema::accountDeletionStatements(account.name);
    statements << insertAccountStatement(account) << accessStatements(account);
    if (!executeAll(db, statements, error)) {
        db.rollback();
        return Outcome::DatabaseFailed;
    }
    if (!db.commit()) {
        *error = db.lastError();
        db.rollback();
        return Outcome::DatabaseFailed;
    }
    return *inUse ? Outcome::Replaced : Outcome::Imported;
}

// The server-wide deny rules in one transaction, each only once and only when
// blocked_ips does not hold it yet, so that running the import again adds nothing.
bool addGlobalRules(Database& db, const QStringList& rules, ImportReport& report, QString* error)
{
    if (rules.isEmpty())
        return true;
    if (!db.beginTransaction()) {
        *error = db.lastError();
        return false;
    }
    QStringList seen, added, present, refused;
    for (const QString& rule : rules) {
        if (seen.contains(rule))
            continue;
        seen << rule;
        if (const auto reason = globalRuleRefusal(rule)) {
            refused << rule + QStringLiteral(": ") + *reason;
            continue;
        }
        bool there = false;
        {
            Rows rows = db.select(globalRuleLookUp(rule));
            if (!rows.isValid()) {
                *error = db.lastError();
                db.rollback();
                return false;
            }
            there = rows.next();
        }
        if (there) {
            present << rule;
        } else if (db.execute(insertGlobalRule(rule))) {
            added << rule;
        } else {
            *error = db.lastError();
            db.rollback();
            return false;
        }
    }
    if (!db.commit()) {
        *error = db.lastError();
        db.rollback();
        return false;
    }
    report.globalRulesAdded = added;
    report.globalRulesPresent = present;
    report.globalRulesRefused = refused;
    return true;
}

QStringList namesOf(const QList<MigratedAccount>& accounts)
{
    QStringList names;
    for (const MigratedAccount& account : accounts)
        names << account.name;
    return names;
}

} // namespace

MigrationImporter::MigrationImporter(QString connectionString) : m_connectionString(std::move(connectionString)) {}

std::optional<QStringList> MigrationImporter::existingNames(const MigrationSource& source, QString* error) const
{
    QString failure;
    Database db(m_connectionString);
    if (!db.open()) {
        if (error)
            *error = db.lastError();
        return std::nullopt;
    }
    QStringList existing;
    for (const MigratedAccount& account : source.accounts) {
        const std::optional<bool> inUse = nameInUse(db, account.name, &failure);
        if (!inUse) {
            if (error)
                *error = failure;
            return std::nullopt;
        }
        if (*inUse)
            existing << account.name;
    }
    return existing;
}

ImportReport MigrationImporter::run(const MigrationSource& source, const ImportOptions& options, const Progress& progress) const
{
    ImportReport report;
    const QStringList names = namesOf(source.accounts);
    Database db(m_connectionString);
    if (!db.open()) {
        report.stoppedBy = QStringLiteral("The accounts database could not be opened: ") + db.lastError();
        report.notReached = names;
        return report;
    }
    QString error;
    // The deny rules go first, so that no imported account is reachable from an address the server kept out.
    if (!addGlobalRules(db, source.globalDeniedIps, report, &error)) {
        report.stoppedBy = QStringLiteral("The server-wide IP rules could not be written: ") + error;
        report.notReached = names;
        return report;
    }

    const int total = static_cast<int>(source.accounts.size());
    for (int index = 0; index < total; ++index) {
        const MigratedAccount& account = source.accounts.at(index);
        if (const auto reason = refusalReason(account)) {
            report.failed << account.name;
            report.failureReasons.insert(account.name, *reason);
        } else {
            switch (writeAccount(db, account, options.replaceExisting, &error)) {
            case Outcome::Imported:
                report.imported << account.name;
                report.adjustments << adjustmentsFor(account);
                break;
            case Outcome::Replaced:
                report.replaced << account.name;
                report.adjustments << adjustmentsFor(account);
                break;
            case Outcome::Skipped:
                report.skippedExisting << account.name;
                break;
            case Outcome::DatabaseFailed:
                // Every account was checked against the columns before it was sent, so a
                // refused statement means the database itself is in trouble (gone, locked,
                // read-only): going on would fail account after account.
                report.failed << account.name;
                report.failureReasons.insert(account.name, error);
                report.stoppedBy = QStringLiteral("The database failed while writing the account ") + account.name
                    + QStringLiteral(": ") + error;
                report.notReached = names.mid(index + 1);
                return report;
            }
        }
        if (progress && !progress(index + 1, total)) {
            report.notReached = names.mid(index + 1);
            report.cancelled = !report.notReached.isEmpty();
            break;
        }
    }
    return report;
}

} // namespace migration
