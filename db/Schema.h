#pragma once

#include "db/Engine.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

// The accounts database: eight tables that the program and the FTP server's
// plug-in share, and the forms in which each engine creates them.
namespace schema {

enum class ColumnType {
    NVarChar, // Unicode text of a width (Text(n) or Memo in Access)
    VarChar,  // single-byte text of a width
    Char,     // fixed-width text
    Int,      // Long Integer
    Float,    // Double
    Numeric,  // numeric without precision on SQL Server; Double in Access
};

struct Column
{
    QString name;
    ColumnType type;
    int width = 0;        // characters, for the text types
    bool notNull = false; // as SQL Server declares it
};

struct Table
{
    QString name;
    std::vector<Column> columns;
};

// The eight tables in the order the wizard creates them.
const std::vector<Table>& accountTables();
const Table& table(const QString& name);

// The eight SQL Server CREATE TABLE statements, each the concatenation of its pieces.
QStringList sqlServerCreateStatements();
// An index on the user name of every per-account table and of users, which the
// SQL Server form does not have; the forms this program creates itself carry it.
QStringList accountIndexStatements();
// The same tables for PostgreSQL, with SQL Server's types and NOT NULLs, and the indexes.
QStringList postgreSqlCreateStatements();
// The template database: the eight tables with the column properties of the
// Access template, plus the two domain tables; for SQLite.
QStringList sqliteTemplateStatements();

// The statements that delete every row under an account's name, the per-account
// tables first and users last, so that a failure part-way leaves the account listed.
QStringList accountDeletionStatements(const QString& name);

// The most characters a text column holds on an engine; nullopt for no limit.
std::optional<int> textLimit(const QString& tableName, const QString& columnName, Engine engine);

// Access's Memo columns are the text columns of 256 characters and more.
bool isMemo(const Column& column);

} // namespace schema
