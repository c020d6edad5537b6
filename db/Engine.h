#pragma once

#include <QString>

// The database engines a connection string can lead to.
enum class Engine {
    Unknown,
    SqlServer,  // SQLOLEDB.1, SQLNCLI*, MSOLEDBSQL: QODBC (FreeTDS on Linux)
    Access,     // Jet 4.0 and ACE: the Access ODBC driver on Windows
    Sqlite,     // Provider=SQLite, and Jet/ACE files where Jet does not exist
    PostgreSql, // Provider=PostgreSQL: QPSQL
};

// Jet, ACE and integrated security (SSPI) exist on Windows only. Elsewhere the
// program's own file databases are SQLite files, and SQL Server is reached with a
// user name and password.
#ifdef Q_OS_WIN
inline constexpr bool HasJet = true;
inline constexpr bool HasIntegratedSecurity = true;
#else
inline constexpr bool HasJet = false;
inline constexpr bool HasIntegratedSecurity = false;
#endif

// How to open a connection string with Qt SQL.
struct ConnectionTarget
{
    Engine engine = Engine::Unknown;
    QString driver;       // Qt SQL driver name
    QString databaseName; // file, database, or ODBC connection text
    QString hostName;
    int port = -1;
    QString userName;
    QString password;
    QString connectOptions;
    QString error; // why the string cannot be opened; empty when it can
    bool isUsable() const { return error.isEmpty(); }
};

// Reads an ADO-form connection string. Anything it cannot open gets an error text,
// and the open then fails like any unreachable database.
ConnectionTarget resolveConnection(const QString& connectionString);

QString engineName(Engine engine);
