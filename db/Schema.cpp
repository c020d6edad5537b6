#include "db/Schema.h"

#include "db/SqlText.h"

#include <QSet>

namespace schema {
namespace {

Column text(const char* name, int width, bool notNull) { return {QLatin1String(name), ColumnType::NVarChar, width, notNull}; }
Column integer(const char* name, bool notNull = false) { return {QLatin1String(name), ColumnType::Int, 0, notNull}; }

std::vector<Table> makeTables()
{
    return {
        {QStringLiteral("blocked_ips"), {text("ip", 15, true), text("comments", 256, false)}},
        {QStringLiteral("dir_rights"),
         {text("username", 50, true), text("directory", 512, true), text("dir_rights", 8, true),
          integer("inherit_subdirs", true), text("comments", 256, false)}},
        {QStringLiteral("file_rights"),
         {text("username", 50, true), text("filename", 512, true), {QStringLiteral("file_rights"), ColumnType::Char, 5, true},
          text("comments", 256, false)}},
        {QStringLiteral("log_ips"), {text("ip", 15, true), text("comments", 256, false)}},
        {QStringLiteral("ratio_free_files"), {text("username", 50, true), text("filename", 512, true), text("comments", 256, false)}},
        {QStringLiteral("sign_files"),
         {text("ip", 15, true), text("signon_msg_file", 512, false), text("signoff_msg_file", 512, false),
          text("comments", 256, false)}},
        {QStringLiteral("users"),
         {text("username", 50, true),
          text("homedir", 512, true),
          text("login_msg_file", 512, false),
          text("password", 50, false),
          integer("hide_hidden_files"),
          integer("rel_path"),
          text("ratio_type", 15, false),
          integer("ratio_down"),
          integer("ratio_up"),
          {QStringLiteral("ratio_current_credit"), ColumnType::Float, 0, false},
          integer("use_quota"),
          {QStringLiteral("quota_max"), ColumnType::Numeric, 0, false},
          {QStringLiteral("quota_current"), ColumnType::Numeric, 0, false},
          integer("always_login"),
          integer("one_login_per_ip"),
          text("speed_limit_value", 128, false),
          integer("timeout"),
          text("maintenance", 8, false),
          integer("session_timeout"),
          integer("max_concurrent", true),
          integer("max_logins_per_ip", true),
          integer("disable_user"),
          text("comments", 256, false),
          {QStringLiteral("Expires"), ColumnType::VarChar, 50, false},
          {QStringLiteral("DisableOn"), ColumnType::VarChar, 50, false}}},
        {QStringLiteral("blocked_ips_by_user"), {text("username", 50, true), text("ip", 15, true), text("comments", 256, false)}},
    };
}

QString sqlServerTypeName(ColumnType type)
{
    switch (type) {
    case ColumnType::NVarChar:
        return QStringLiteral("nvarchar");
    case ColumnType::VarChar:
        return QStringLiteral("varchar");
    case ColumnType::Char:
        return QStringLiteral("char");
    case ColumnType::Int:
        return QStringLiteral("int");
    case ColumnType::Float:
        return QStringLiteral("float");
    case ColumnType::Numeric:
        return QStringLiteral("numeric");
    }
    return {};
}

bool isText(const Column& column)
{
    return column.type == ColumnType::NVarChar || column.type == ColumnType::VarChar || column.type == ColumnType::Char;
}

// "   [name] [type] (width)  NOT NULL ," — the shape of a SQL Server column piece.
QString sqlServerPiece(const Column& column, const QString& nullText)
{
    QString piece = QStringLiteral("   [%1] [%2]").arg(column.name, sqlServerTypeName(column.type));
    if (isText(column))
        piece += QStringLiteral(" (%1)  ").arg(column.width);
    else
        piece += QLatin1Char(' ');
    return piece + nullText;
}

QString sqlServerUsersStatement(const Table& users)
{
    QString statement = QStringLiteral("CREATE TABLE [dbo].[users] (");
    const auto& columns = users.columns;
    // The last three pieces are written as the table was first defined.
    for (size_t i = 0; i + 3 < columns.size(); ++i)
        statement += sqlServerPiece(columns[i], columns[i].notNull ? QStringLiteral("NOT NULL ,") : QStringLiteral("NULL ,"));
    statement += QStringLiteral("   [comments] [nvarchar] (256)  NULL, ");
    statement += QStringLiteral("   [Expires] [varchar] (50) NULL ,");
    statement += QStringLiteral("   [DisableOn] [varchar] (50) NULL");
    return statement + QStringLiteral(") ON [PRIMARY]");
}

QString postgreSqlType(const Column& column)
{
    switch (column.type) {
    case ColumnType::NVarChar:
    case ColumnType::VarChar:
        return QStringLiteral("varchar(%1)").arg(column.width);
    case ColumnType::Char:
        return QStringLiteral("char(%1)").arg(column.width);
    case ColumnType::Int:
        return QStringLiteral("integer");
    case ColumnType::Float:
        return QStringLiteral("double precision");
    case ColumnType::Numeric:
        return QStringLiteral("numeric(18,0)");
    }
    return {};
}

// Column properties of the template: which columns are required, which refuse
// zero-length text, and which default to 0.
struct TemplateProperties
{
    bool required;
    bool refusesEmpty;
    bool defaultsToZero;
};

TemplateProperties templateProperties(const QString& tableName, const Column& column)
{
    if (tableName != QLatin1String("users"))
        return {column.notNull, false, false};
    static const QSet<QString> refusesEmpty{QStringLiteral("username"), QStringLiteral("homedir"),
                                            QStringLiteral("login_msg_file"), QStringLiteral("password")};
    static const QSet<QString> zeroDefault{QStringLiteral("use_quota"), QStringLiteral("always_login"),
                                           QStringLiteral("one_login_per_ip"), QStringLiteral("disable_user")};
    return {column.name == QLatin1String("username"), refusesEmpty.contains(column.name), zeroDefault.contains(column.name)};
}

QString sqliteColumn(const QString& tableName, const Column& column)
{
    const TemplateProperties properties = templateProperties(tableName, column);
    QString definition = column.name + QLatin1Char(' ');
    QStringList checks;
    switch (column.type) {
    case ColumnType::NVarChar:
    case ColumnType::VarChar:
    case ColumnType::Char:
        if (isMemo(column)) {
            definition += QStringLiteral("TEXT");
        } else {
            definition += QStringLiteral("VARCHAR(%1)").arg(column.width);
            // Jet refuses text longer than its Text(n) column; so does this file.
            checks << QStringLiteral("length(%1) <= %2").arg(column.name).arg(column.width);
        }
        break;
    case ColumnType::Int:
        definition += QStringLiteral("INTEGER");
        break;
    case ColumnType::Float:
    case ColumnType::Numeric:
        definition += QStringLiteral("REAL");
        break;
    }
    if (properties.required)
        definition += QStringLiteral(" NOT NULL");
    if (properties.defaultsToZero)
        definition += QStringLiteral(" DEFAULT 0");
    if (properties.refusesEmpty)
        checks.prepend(QStringLiteral("%1 <> ''").arg(column.name));
    if (!checks.isEmpty())
        definition += QStringLiteral(" CHECK (%1)").arg(checks.join(QStringLiteral(" AND ")));
    return definition;
}

} // namespace

const std::vector<Table>& accountTables()
{
    static const std::vector<Table> tables = makeTables();
    return tables;
}

const Table& table(const QString& name)
{
    for (const Table& candidate : accountTables()) {
        if (candidate.name == name)
            return candidate;
    }
    Q_ASSERT_X(false, "schema::table", "no such table");
    return accountTables().front();
}

std::optional<int> textLimit(const QString& tableName, const QString& columnName, Engine engine)
{
    for (const Column& column : table(tableName).columns) {
        if (column.name.compare(columnName, Qt::CaseInsensitive) != 0)
            continue;
        // Access and the SQLite template keep Memo columns without a width.
        if ((engine == Engine::Access || engine == Engine::Sqlite) && isMemo(column))
            return std::nullopt;
        return column.width;
    }
    return std::nullopt;
}

bool isMemo(const Column& column)
{
    return (column.type == ColumnType::NVarChar || column.type == ColumnType::VarChar) && column.width >= 256;
}

QStringList sqlServerCreateStatements()
{
    return {
        QStringLiteral("CREATE TABLE [dbo].[blocked_ips] (") + QStringLiteral("   [ip] [nvarchar] (15)  NOT NULL ,")
            + QStringLiteral("   [comments] [nvarchar] (256)  NULL ") + QStringLiteral(") ON [PRIMARY]"),
        QStringLiteral("CREATE TABLE [dbo].[dir_rights] (") + QStringLiteral("   [username] [nvarchar] (50)  NOT NULL ,")
            + QStringLiteral("   [directory] [nvarchar] (512)  NOT NULL ,")
            + QStringLiteral("   [dir_rights] [nvarchar] (8)  NOT NULL ,") + QStringLiteral("   [inherit_subdirs] [int] NOT NULL ,")
            + QStringLiteral("   [comments] [nvarchar] (256)  NULL ") + QStringLiteral(") ON [PRIMARY]"),
        QStringLiteral("CREATE TABLE [dbo].[file_rights] (") + QStringLiteral("   [username] [nvarchar] (50)  NOT NULL ,")
            + QStringLiteral("   [filename] [nvarchar] (512)  NOT NULL ,") + QStringLiteral("   [file_rights] [char] (5)  NOT NULL ,")
            + QStringLiteral("   [comments] [nvarchar] (256)  NULL ") + QStringLiteral(") ON [PRIMARY]"),
        QStringLiteral("CREATE TABLE [dbo].[log_ips] (") + QStringLiteral("   [ip] [nvarchar] (15)  NOT NULL ,")
            + QStringLiteral("   [comments] [nvarchar] (256)  NULL ") + QStringLiteral(") ON [PRIMARY]"),
        QStringLiteral("CREATE TABLE [dbo].[ratio_free_files] (") + QStringLiteral("   [username] [nvarchar] (50)  NOT NULL ,")
            + QStringLiteral("   [filename] [nvarchar] (512)  NOT NULL ,") + QStringLiteral("   [comments] [nvarchar] (256)  NULL ")
            + QStringLiteral(") ON [PRIMARY]"),
        QStringLiteral("CREATE TABLE [dbo].[sign_files] (") + QStringLiteral("   [ip] [nvarchar] (15)  NOT NULL ,")
            + QStringLiteral("   [signon_msg_file] [nvarchar] (512)  NULL ,")
            + QStringLiteral("   [signoff_msg_file] [nvarchar] (512)  NULL ,")
            + QStringLiteral("   [comments] [nvarchar] (256)  NULL ") + QStringLiteral(") ON [PRIMARY]"),
        sqlServerUsersStatement(table(QStringLiteral("users"))),
        QStringLiteral("CREATE TABLE [dbo].[blocked_ips_by_user] (") + QStringLiteral("   [username] [nvarchar] (50) NOT NULL ,")
            + QStringLiteral("   [ip] [nvarchar] (15) NOT NULL ,") + QStringLiteral("   [comments] [nvarchar] (256) NULL ")
            + QStringLiteral(") ON [PRIMARY]"),
    };
}

QStringList accountIndexStatements()
{
    // Every per-account statement finds its rows by user name; without these an
    // account's rows are found by reading whole tables.
    QStringList statements;
    for (const Table& each : accountTables()) {
        if (each.columns.front().name == QLatin1String("username"))
            statements << QStringLiteral("CREATE INDEX %1_username ON %1 (username)").arg(each.name);
    }
    return statements;
}

QStringList postgreSqlCreateStatements()
{
    QStringList statements;
    for (const Table& each : accountTables()) {
        QStringList columns;
        for (const Column& column : each.columns)
            columns << column.name + QLatin1Char(' ') + postgreSqlType(column) + (column.notNull ? QStringLiteral(" NOT NULL") : QString());
        statements << QStringLiteral("CREATE TABLE %1 (%2)").arg(each.name, columns.join(QStringLiteral(", ")));
    }
    return statements + accountIndexStatements();
}

QStringList sqliteTemplateStatements()
{
    QStringList statements;
    for (const Table& each : accountTables()) {
        QStringList columns;
        for (const Column& column : each.columns)
            columns << sqliteColumn(each.name, column);
        if (each.name == QLatin1String("users"))
            columns << QStringLiteral("domainID INTEGER") << QStringLiteral("rid INTEGER PRIMARY KEY AUTOINCREMENT");
        statements << QStringLiteral("CREATE TABLE %1 (\n  %2\n)").arg(each.name, columns.join(QStringLiteral(",\n  ")));
    }
    statements << QStringLiteral("CREATE INDEX rid ON users (rid)");
    statements << accountIndexStatements();
    for (const char* domainTable : {"domains", "domainDetails"}) {
        const bool details = QLatin1String(domainTable) == QLatin1String("domainDetails");
        statements << QStringLiteral("CREATE TABLE %1 (\n"
                                     "  rid INTEGER PRIMARY KEY AUTOINCREMENT,\n"
                                     "  DOMAINIDENTITY VARCHAR(50) CHECK (length(DOMAINIDENTITY) <= 50),\n"
                                     "  %2 VARCHAR(50) CHECK (length(%2) <= 50),\n"
                                     "  %3 VARCHAR(50) CHECK (length(%3) <= 50),\n"
                                     "%4"
                                     "  DOMAINID INTEGER DEFAULT 1,\n"
                                     "  NUSQUAM VARCHAR(50) CHECK (length(NUSQUAM) <= 50)\n"
                                     ")")
                          .arg(QLatin1String(domainTable),
                               details ? QStringLiteral("USERIDENTITY") : QStringLiteral("IPADDRESS"),
                               details ? QStringLiteral("USERNAME") : QStringLiteral("IMPERCEPTUS"),
                               details ? QString()
                                       : QStringLiteral("  PORT VARCHAR(50) CHECK (length(PORT) <= 50),\n"
                                                        "  DOMAINNAME VARCHAR(50) CHECK (length(DOMAINNAME) <= 50),\n"));
    }
    return statements;
}

QStringList accountDeletionStatements(const QString& name)
{
    const QString quoted = sqlQuote(name);
    QStringList statements;
    // Rows under "*" hold for every account; an account that other tools named "*"
    // takes only its own users row with it.
    const bool everyAccount = name == QLatin1String("*");
    for (const char* table : {"blocked_ips_by_user", "dir_rights", "file_rights", "ratio_free_files", "users"}) {
        if (everyAccount && qstrcmp(table, "users") != 0)
            continue;
        const QString tableName = QLatin1String(table);
        statements << QStringLiteral("DELETE FROM %1 WHERE %1.username=").arg(tableName) + quoted;
    }
    return statements;
}

} // namespace schema
