#pragma once

#include "db/Engine.h"

#include <QString>

// The program writes its statements once, in the form SQL Server and Access
// read. Where an engine does not read that text, it is rewritten here, outside
// string literals only:
// - PostgreSQL does not read [name] quoting; the brackets are dropped.
// - Neither SQLite nor PostgreSQL accepts a table-qualified column as the
//   target of a SET ("UPDATE users SET users.homedir = ..."); the qualifier goes.
QString rewriteForEngine(Engine engine, const QString& sql);
