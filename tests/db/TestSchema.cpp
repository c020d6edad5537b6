#include "TestMain.h"

#include "db/Database.h"
#include "db/Schema.h"
#include "services/EmbeddedFiles.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The tables as data, the SQL Server statements, and the template database.
class TestSchema : public QObject
{
    Q_OBJECT

private slots:
    void eightTablesAndTheirSqlServerStatements()
    {
        QStringList names;
        for (const auto& table : schema::accountTables())
            names << table.name;
        QCOMPARE(names, QStringList({"blocked_ips", "dir_rights", "file_rights", "log_ips", "ratio_free_files", "sign_files", "users",
                                     "blocked_ips_by_user"}));
        QCOMPARE(schema::table(u"users"_s).columns.size(), size_t(25));
        QCOMPARE(schema::table(u"users"_s).columns.back().name, u"DisableOn"_s);

        const QStringList statements = schema::sqlServerCreateStatements();
        QCOMPARE(statements.size(), 8);
        QCOMPARE(statements[0],
                 u"CREATE TABLE [dbo].[blocked_ips] (   [ip] [nvarchar] (15)  NOT NULL ,   [comments] [nvarchar] (256)  NULL ) ON [PRIMARY]"_s);
        QCOMPARE(statements[7], u"CREATE TABLE [dbo].[blocked_ips_by_user] (   [username] [nvarchar] (50) NOT NULL ,"
                                "   [ip] [nvarchar] (15) NOT NULL ,   [comments] [nvarchar] (256) NULL ) ON [PRIMARY]"_s);
        const QString users = statements[6];
        QVERIFY(users.startsWith(u"CREATE TABLE [dbo].[users] (   [username] [nvarchar] (50)  NOT NULL ,"
                                 "   [homedir] [nvarchar] (512)  NOT NULL ,"_s));
        for (const char* column : {"   [hide_hidden_files] [int] NULL ,", "   [ratio_current_credit] [float] NULL ,",
                                   "   [quota_max] [numeric] NULL ,   [quota_current] [numeric] NULL ,",
                                   "   [max_concurrent] [int] NOT NULL ,   [max_logins_per_ip] [int] NOT NULL ,"})
            QVERIFY2(users.contains(QLatin1String(column)), column);
        QVERIFY(users.endsWith(u"   [comments] [nvarchar] (256)  NULL,    [Expires] [varchar] (50) NULL ,"
                               "   [DisableOn] [varchar] (50) NULL) ON [PRIMARY]"_s));
    }

    // The build tool, run twice, gives the bytes the program carries, with the Access template's column properties.
    void templateIsBuiltAlikeAndMirrorsTheColumnProperties()
    {
        QTemporaryDir dir;
        for (const char* name : {"first.sqlite", "second.sqlite"})
            QCOMPARE(QProcess::execute(QStringLiteral(QUILLMERE_BIN_DIR "/make-template"), {dir.filePath(QLatin1String(name))}), 0);
        QFile first(dir.filePath(u"first.sqlite"_s)), second(dir.filePath(u"second.sqlite"_s));
        QFile carried(embedded::resourcePath(embedded::TemplateDatabase));
        QVERIFY(first.open(QIODevice::ReadOnly) && second.open(QIODevice::ReadOnly) && carried.open(QIODevice::ReadOnly));
        const QByteArray bytes = first.readAll();
        QVERIFY(bytes.startsWith("SQLite format 3"));
        QCOMPARE(second.readAll(), bytes);
        QCOMPARE(carried.readAll(), bytes);

        Database db(u"Provider=SQLite;Data Source="_s + first.fileName());
        QVERIFY2(db.open(), qPrintable(db.lastError()));
        // The columns in order, with the two of the template's own at the end, and the two domain tables.
        QStringList names;
        Rows columns = db.select(u"PRAGMA table_info(users)"_s);
        while (columns.next())
            names << columns.text(u"name"_s);
        QCOMPARE(names.size(), 27);
        QCOMPARE(names.mid(25), QStringList({"domainID", "rid"}));
        for (const char* table : {"domains", "domainDetails"})
            QVERIFY(db.select(u"select * from "_s + QLatin1String(table)).isValid());

        // Only username is required; zero-length text is refused in the four columns that refuse it,
        // text wider than its column is refused as Jet refuses it.
        for (const char* refused : {"insert into users (homedir) values ('c:\\x')", "insert into users (username) values ('')",
                                    "insert into users (username, homedir) values ('z', '')",
                                    "insert into users (username, login_msg_file) values ('z', '')",
                                    "insert into users (username, password) values ('z', '')",
                                    "insert into dir_rights (username, directory, dir_rights) values ('a', 'c', 'R')",
                                    "insert into blocked_ips (ip) values ('0001.0002.0003.4')"})
            QVERIFY2(!db.execute(QLatin1String(refused)), refused);
        for (const char* accepted : {"insert into users (username) values ('minimal')",
                                     "insert into users (username, comments, Expires, DisableOn, ratio_type) values ('empty', '', '', '', '')",
                                     "insert into dir_rights (username, directory, dir_rights, inherit_subdirs) values ('a', '', '', 0)",
                                     "insert into blocked_ips (ip) values ('255.255.255.255')"})
            QVERIFY2(db.execute(QLatin1String(accepted)), accepted);

        // The four flags default to 0; the rest stay NULL; rid counts up.
        Rows row = db.select(u"select * from users where username='minimal'"_s);
        QVERIFY(row.next());
        for (const char* zero : {"use_quota", "always_login", "one_login_per_ip", "disable_user"})
            QCOMPARE(row.text(QLatin1String(zero)), u"0"_s);
        for (const char* null : {"homedir", "max_concurrent", "hide_hidden_files", "quota_current", "domainID"})
            QVERIFY2(row.isNull(QLatin1String(null)), null);
        QCOMPARE(row.text(u"rid"_s), u"1"_s);

        // Whole numbers that come back as doubles read as digits; a query that fails gives no rows and says why.
        Rows number = db.select(u"select 1048576.0 as whole, 1.5 as half"_s);
        QVERIFY(number.next() && number.text(u"whole"_s) == u"1048576" && number.text(u"half"_s) == u"1.5");
        QVERIFY(!db.select(u"select x from missing_table"_s).isValid() && !db.lastError().isEmpty());
        // A rollback journal, not WAL.
        Rows mode = db.select(u"PRAGMA journal_mode"_s);
        QVERIFY(mode.next());
        QCOMPARE(mode.textAt(0).toLower(), u"delete"_s);
    }
};

QUILLMERE_TEST(TestSchema)
#include "TestSchema.moc"
