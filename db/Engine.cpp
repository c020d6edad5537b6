#include "db/Engine.h"

#include "db/ConnectionString.h"

#include <QFileInfo>
#include <QStringList>

namespace {

// Without a login time-out an unreachable server can hold an open for minutes.
constexpr int LoginTimeoutSeconds = 10;

bool isSqlServerProvider(const QString& provider)
{
    return provider == QLatin1String("sqloledb") || provider.startsWith(QLatin1String("sqloledb."))
        || provider.startsWith(QLatin1String("sqlncli")) || provider.startsWith(QLatin1String("msoledbsql"));
}

bool isAccessProvider(const QString& provider)
{
    return provider.startsWith(QLatin1String("microsoft.jet.oledb.")) || provider.startsWith(QLatin1String("microsoft.ace.oledb."));
}

QString odbcValue(const QString& value)
{
    // ODBC wants braces around values holding ";" or braces; a closing brace is doubled.
    if (!value.contains(QLatin1Char(';')) && !value.contains(QLatin1Char('{')) && !value.contains(QLatin1Char('}')))
        return value;
    QString escaped = value;
    escaped.replace(QLatin1Char('}'), QStringLiteral("}}"));
    return QLatin1Char('{') + escaped + QLatin1Char('}');
}

QString freeTdsDriver()
{
    for (const char* candidate : {"/usr/lib/x86_64-linux-gnu/odbc/libtdsodbc.so", "/usr/lib/aarch64-linux-gnu/odbc/libtdsodbc.so",
                                  "/usr/lib/odbc/libtdsodbc.so", "/usr/local/lib/libtdsodbc.so"}) {
        if (QFileInfo::exists(QLatin1String(candidate)))
            return QLatin1String(candidate);
    }
    return QStringLiteral("{FreeTDS}");
}

ConnectionTarget sqlServer(const ConnectionString& parts)
{
    ConnectionTarget target;
    target.engine = Engine::SqlServer;
    target.driver = QStringLiteral("QODBC");
    const QString source = parts.value({"data source", "server", "address"});
    if (source.trimmed().isEmpty()) {
        target.error = QStringLiteral("The connection string names no server.");
        return target;
    }
    const bool integrated = !parts.value({"integrated security", "trusted_connection"}).isEmpty()
        && parts.value({"integrated security", "trusted_connection"}).toLower() != QLatin1String("false")
        && parts.value({"integrated security", "trusted_connection"}).toLower() != QLatin1String("no");
    QStringList odbc;
#ifdef Q_OS_WIN
    odbc << QStringLiteral("DRIVER={SQL Server}") << QStringLiteral("SERVER=") + odbcValue(source);
    if (integrated)
        odbc << QStringLiteral("Trusted_Connection=yes");
#else
    if (integrated) {
        target.error = QStringLiteral("Integrated security is not available on this platform.");
        return target;
    }
    // "host", "host,port" and "host\instance" are the forms a data source takes.
    QString host = source.trimmed();
    QString port;
    const int comma = static_cast<int>(host.indexOf(QLatin1Char(',')));
    if (comma >= 0) {
        port = host.mid(comma + 1).trimmed();
        host = host.left(comma).trimmed();
    }
    odbc << QStringLiteral("DRIVER=") + freeTdsDriver() << QStringLiteral("SERVER=") + odbcValue(host);
    if (!port.isEmpty())
        odbc << QStringLiteral("PORT=") + port;
    odbc << QStringLiteral("TDS_Version=7.4") << QStringLiteral("ClientCharset=UTF-8");
#endif
    const QString catalog = parts.value({"initial catalog", "database"});
    if (!catalog.isEmpty())
        odbc << QStringLiteral("DATABASE=") + odbcValue(catalog);
    if (!integrated) {
        odbc << QStringLiteral("UID=") + odbcValue(parts.value({"user id", "uid", "user"}))
             << QStringLiteral("PWD=") + odbcValue(parts.value({"password", "pwd"}));
    }
    target.databaseName = odbc.join(QLatin1Char(';')) + QLatin1Char(';');
    target.connectOptions = QStringLiteral("SQL_ATTR_LOGIN_TIMEOUT=%1;SQL_ATTR_CONNECTION_TIMEOUT=%1").arg(LoginTimeoutSeconds);
    return target;
}

ConnectionTarget fileDatabase(const ConnectionString& parts, Engine engine)
{
    ConnectionTarget target;
    const QString file = parts.value({"data source", "dbq"}).trimmed();
    if (file.isEmpty()) {
        target.engine = engine;
        target.error = QStringLiteral("The connection string names no database file.");
        return target;
    }
#ifdef Q_OS_WIN
    if (engine == Engine::Access) {
        target.engine = Engine::Access;
        target.driver = QStringLiteral("QODBC");
        target.databaseName =
            QStringLiteral("DRIVER={Microsoft Access Driver (*.mdb, *.accdb)};DBQ=") + odbcValue(file) + QLatin1Char(';');
        return target;
    }
#endif
    // Where Jet does not exist, its files are SQLite files (the template is one).
    target.engine = Engine::Sqlite;
    target.driver = QStringLiteral("QSQLITE");
    target.databaseName = file;
    // The FTP server's plug-in reads the same file; a short wait beats a failed statement.
    target.connectOptions = QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000");
    if (!QFileInfo(file).isFile())
        target.error = QStringLiteral("The database file \"%1\" does not exist.").arg(file);
    return target;
}

ConnectionTarget postgreSql(const ConnectionString& parts)
{
    ConnectionTarget target;
    target.engine = Engine::PostgreSql;
    target.driver = QStringLiteral("QPSQL");
    target.hostName = parts.value({"host", "data source", "server"}).trimmed();
    const QString port = parts.value({"port"}).trimmed();
    if (!port.isEmpty()) {
        bool ok = false;
        target.port = port.toInt(&ok);
        if (!ok || target.port <= 0 || target.port > 65535) {
            target.error = QStringLiteral("The port \"%1\" is not a port number.").arg(port);
            return target;
        }
    }
    target.databaseName = parts.value({"database", "initial catalog", "dbname"}).trimmed();
    target.userName = parts.value({"user id", "uid", "user", "username"});
    target.password = parts.value({"password", "pwd"});
    target.connectOptions = QStringLiteral("connect_timeout=%1").arg(LoginTimeoutSeconds);
    if (target.hostName.isEmpty())
        target.error = QStringLiteral("The connection string names no server.");
    else if (target.databaseName.isEmpty())
        target.error = QStringLiteral("The connection string names no database.");
    return target;
}

} // namespace

ConnectionTarget resolveConnection(const QString& connectionString)
{
    const ConnectionString parts = ConnectionString::parse(connectionString);
    const QString provider = parts.value(QStringLiteral("provider")).trimmed().toLower();
    if (isSqlServerProvider(provider))
        return sqlServer(parts);
    if (isAccessProvider(provider))
        return fileDatabase(parts, Engine::Access);
    if (provider == QLatin1String("sqlite"))
        return fileDatabase(parts, Engine::Sqlite);
    if (provider == QLatin1String("postgresql") || provider == QLatin1String("postgres"))
        return postgreSql(parts);

    ConnectionTarget unknown;
    unknown.error = provider.isEmpty() ? QStringLiteral("The connection string names no provider.")
                                       : QStringLiteral("The provider \"%1\" is not known.").arg(provider);
    return unknown;
}

QString engineName(Engine engine)
{
    switch (engine) {
    case Engine::SqlServer:
        return QStringLiteral("SQL Server");
    case Engine::Access:
        return QStringLiteral("Access");
    case Engine::Sqlite:
        return QStringLiteral("SQLite");
    case Engine::PostgreSql:
        return QStringLiteral("PostgreSQL");
    case Engine::Unknown:
        break;
    }
    return QStringLiteral("unknown");
}
