// The summary the administrator reads after the import and may keep as a file.
#include "MigrationImporter.h"

namespace migration {
namespace {

const QString Indent = QStringLiteral("    ");

QString generationText(Generation generation)
{
    return generation == Generation::V2 ? QStringLiteral("FTP server 2.0 to 3.0") : QStringLiteral("FTP server 4.0 and later");
}

// An account's entries may leave their account empty; server-wide ones name "(server)".
QString notCarriedLine(const NotCarried& entry, const QString& fallbackOwner)
{
    const QString owner = !entry.account.isEmpty() ? entry.account
        : fallbackOwner.isEmpty()                  ? QStringLiteral("(server)")
                                                   : fallbackOwner;
    return owner + QStringLiteral(": ") + entry.key + QStringLiteral(" = ") + entry.value + QStringLiteral(" (") + entry.reason
        + QLatin1Char(')');
}

// A heading with its count, then one indented line per entry, or "(none)".
void appendSection(QStringList& lines, const QString& heading, const QStringList& entries)
{
    lines << QString() << heading + QStringLiteral(" (") + QString::number(entries.size()) + QStringLiteral("):");
    if (entries.isEmpty())
        lines << Indent + QStringLiteral("(none)");
    for (const QString& entry : entries)
        lines << Indent + entry;
}

} // namespace

QString summaryText(const MigrationSource& source, const ImportReport& report)
{
    QStringList lines;
    lines << QStringLiteral("Vantrel Migration Utility: summary of the import");
    lines << QString();
    lines << QStringLiteral("INI file: ") + source.iniPath + QStringLiteral(" (") + generationText(source.generation)
                 + QLatin1Char(')');
    lines << QStringLiteral("Accounts in the INI file: ") + QString::number(source.accounts.size());
    lines << QStringLiteral("Imported: ") + QString::number(report.imported.size());
    lines << QStringLiteral("Replaced: ") + QString::number(report.replaced.size());
    lines << QStringLiteral("Skipped, already in the database: ") + QString::number(report.skippedExisting.size());
    lines << QStringLiteral("Failed: ") + QString::number(report.failed.size());
    lines << QStringLiteral("Not tried: ") + QString::number(report.notReached.size());
    if (!report.stoppedBy.isEmpty()) {
        lines << QString() << QStringLiteral("THE IMPORT STOPPED. ") + report.stoppedBy;
        lines << QStringLiteral("The accounts listed as imported or replaced are complete; nothing was written for the others. "
                                "Run the migration again once the database is reachable: accounts already imported are then "
                                "skipped.");
    } else if (report.cancelled) {
        lines << QString() << QStringLiteral("The import was cancelled by the administrator.");
    }

    QStringList failures;
    for (const QString& name : report.failed)
        failures << name + QStringLiteral(": ") + report.failureReasons.value(name);

    appendSection(lines, QStringLiteral("Imported accounts"), report.imported);
    appendSection(lines, QStringLiteral("Replaced accounts"), report.replaced);
    appendSection(lines, QStringLiteral("Skipped accounts (already in the database, left as they were)"), report.skippedExisting);
    appendSection(lines, QStringLiteral("Failed accounts (nothing written)"), failures);
    if (!report.notReached.isEmpty())
        appendSection(lines, QStringLiteral("Accounts not tried"), report.notReached);

    appendSection(lines, QStringLiteral("Server-wide IP deny rules added"), report.globalRulesAdded);
    if (!report.globalRulesPresent.isEmpty())
        appendSection(lines, QStringLiteral("Server-wide IP deny rules already in the database"), report.globalRulesPresent);
    if (!report.globalRulesRefused.isEmpty())
        appendSection(lines, QStringLiteral("Server-wide IP deny rules NOT added"), report.globalRulesRefused);

    QStringList notCarried;
    for (const MigratedAccount& account : source.accounts) {
        for (const NotCarried& entry : account.notCarried)
            notCarried << notCarriedLine(entry, account.name);
    }
    for (const NotCarried& entry : source.notCarried)
        notCarried << notCarriedLine(entry, {});
    appendSection(lines, QStringLiteral("Values of the INI file not carried over"), notCarried);
    appendSection(lines, QStringLiteral("Values stored otherwise than the INI file has them"), report.adjustments);
    appendSection(lines, QStringLiteral("Warnings"), source.warnings);
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

} // namespace migration
