#pragma once

#include "MigrationSource.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// Writes what the INI file held into the accounts database, through the program's
// own engine layer: one transaction per account, existing accounts left alone
// unless the administrator asked to replace them.
namespace migration {

struct ImportOptions
{
    bool replaceExisting = false;
};

struct ImportReport
{
    QStringList imported;        // new accounts
    QStringList replaced;        // existing accounts written anew on request
    QStringList skippedExisting; // names already in the database, left as they were
    QStringList failed;          // accounts refused before writing, or whose transaction was rolled back
    QMap<QString, QString> failureReasons; // by account name
    QStringList notReached;      // accounts not tried because the import stopped or was cancelled first
    bool cancelled = false;

    QStringList globalRulesAdded;   // new rows of blocked_ips
    QStringList globalRulesPresent; // rules blocked_ips already held
    QStringList globalRulesRefused; // "rule: reason"

    // Values written otherwise than the INI file has them, one line each.
    QStringList adjustments;
    QString stoppedBy; // the database's failure that ended the import early; empty when it ran through
};

class MigrationImporter
{
public:
    explicit MigrationImporter(QString connectionString);

    // The accounts of the source whose names the database already holds; nullopt
    // and the failure in *error when the database cannot be read.
    std::optional<QStringList> existingNames(const MigrationSource& source, QString* error) const;

    // Called after each account with the number done and the total; false cancels.
    using Progress = std::function<bool(int done, int total)>;
    ImportReport run(const MigrationSource& source, const ImportOptions& options, const Progress& progress) const;

private:
    QString m_connectionString;
};

// The text the administrator reads at the end and may save.
QString summaryText(const MigrationSource& source, const ImportReport& report);

} // namespace migration
