#pragma once

#include <QString>

// The one way a value becomes SQL text. Every text value passes through
// sqlQuote, whatever its source; every number through sqlNumber.
//
// sqlQuote puts the text between single quotes and doubles each single quote in it;
// nothing else is escaped, backslashes included. That is safe only where a backslash
// cannot escape a quote inside a literal: SQL Server, Access, SQLite, and PostgreSQL
// with standard_conforming_strings on, which Database::open pins for every
// PostgreSQL session (the open fails if it cannot).
QString sqlQuote(const QString& text);
// A number in SQL's form: a decimal point whatever the regional settings.
QString sqlNumber(double value);
QString sqlNumber(qint64 value);

// Whether a database name can go into SQL bare, as every server takes it without
// quoting: ASCII letters, digits and underscores, not beginning with a digit, and at
// most 63 characters (PostgreSQL cuts longer names short).
bool isBareDatabaseName(const QString& name);
