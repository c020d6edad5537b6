#pragma once

#include "MigrationSource.h"

#include <QString>
#include <QStringList>

#include <optional>

// The statements that write one migrated account the way the program writes an
// account, and the checks that keep a value the database cannot hold from being
// sent at all. Every text value goes through sqlQuote, every number through sqlNumber.
namespace migration {

// Why the account cannot be written as the INI file has it (a required value
// missing, a value longer than its column); nullopt when it fits.
std::optional<QString> refusalReason(const MigratedAccount& account);

// What the statements write differently from the account as given (notes cut to
// the column, an entry without a folder left out), one line each.
QStringList adjustmentsFor(const MigratedAccount& account);

// The program's look-up of a name: the engine's own comparison decides.
QString lookUpStatement(const QString& name);
QString insertAccountStatement(const MigratedAccount& account);
// dir_rights in the INI's order, then blocked_ips_by_user.
QStringList accessStatements(const MigratedAccount& account);

std::optional<QString> globalRuleRefusal(const QString& ip);
QString globalRuleLookUp(const QString& ip);
QString insertGlobalRule(const QString& ip);

} // namespace migration
