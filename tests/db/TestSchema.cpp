#include "TestMain.h"

#include "db/Database.h"
#include "db/Schema.h"
#include "services/EmbeddedFiles.h"

#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>

// The tables as data, the SQL Server statements, and the template database.
class TestSchema : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString freshTemplate(const QString& name)
    {
        const QString path = m_dir.filePath(name);
        const auto written = embedded::writeEmbeddedFile(embedded::TemplateDatabase, path);
        return written ? path : QString();
    }

private slots:
    void eightTablesInCreationOrder()
    {
        QStringList names;
        for (const auto& table : schema::accountTables())
            names << table.name;
        QCOMPARE(names, QStringList({"blocked_ips", "dir_rights", "file_rights", "log_ips", "ratio_free_files", "sign_files",
                                     "users", "blocked_ips_by_user"}));
        QCOMPARE(schema::table(QStringLiteral("users")).columns.size(), size_t(25));
        QCOMPARE(schema::table(QStringLiteral("users")).columns.back().name, QStringLiteral("DisableOn"));
    }

    void sqlServerStatementsAsWritten()
    {
        const QStringList statements = schema::sqlServerCreateStatements();
        QCOMPARE(statements.size(), 8);
        QCOMPARE(statements[0], QStringLiteral("CREATE TABLE [dbo].[blocked_ips] (   [ip] [nvarchar] (15)  NOT NULL ,"
                                               "   [comments] [nvarchar] (256)  NULL ) ON [PRIMARY]"));
        QCOMPARE(statements[7], QStringLiteral("CREATE TABLE [dbo].[blocked_ips_by_user] (   [username] [nvarchar] (50) NOT NULL ,"
                                               "   [ip] [nvarchar] (15) NOT NULL ,   [comments] [nvarchar] (256) NULL ) ON [PRIMARY]"));
        const QString users = statements[6];
        QVERIFY(users.startsWith(QStringLiteral("CREATE TABLE [dbo].[users] (   [username] [nvarchar] (50)  NOT NULL ,"
                                                "   [homedir] [nvarchar] (512)  NOT NULL ,")));
        QVERIFY(users.contains(QStringLiteral("   [hide_hidden_files] [int] NULL ,")));
        QVERIFY(users.contains(QStringLiteral("   [ratio_current_credit] [float] NULL ,")));
        QVERIFY(users.contains(QStringLiteral("   [quota_max] [numeric] NULL ,   [quota_current] [numeric] NULL ,")));
        QVERIFY(users.contains(QStringLiteral("   [max_concurrent] [int] NOT NULL ,   [max_logins_per_ip] [int] NOT NULL ,")));
        QVERIFY(users.endsWith(QStringLiteral("   [comments] [nvarchar] (256)  NULL,    [Expires] [varchar] (50) NULL ,"
                                              "   [DisableOn] [varchar] (50) NULL) ON [PRIMARY]")));
    }

    void templateBuildsAreIdentical()
    {
        // The build tool, run twice, gives the bytes the program carries.
        const QString tool = QStringLiteral(QUILLMERE_BIN_DIR "/make-template");
        for (const char* name : {"first.sqlite", "second.sqlite"})
            QCOMPARE(QProcess::execute(tool, {m_dir.filePath(QLatin1String(name))}), 0);
        QFile first(m_dir.filePath(QStringLiteral("first.sqlite")));
        QFile second(m_dir.filePath(QStringLiteral("second.sqlite")));
        QFile carried(embedded::resourcePath(embedded::TemplateDatabase));
        QVERIFY(first.open(QIODevice::ReadOnly) && second.open(QIODevice::ReadOnly) && carried.open(QIODevice::ReadOnly));
        const QByteArray bytes = first.readAll();
        QVERIFY(bytes.startsWith("SQLite format 3"));
        QCOMPARE(second.readAll(), bytes);
        QCOMPARE(carried.readAll(), bytes);
    }

    void templateMirrorsTheColumnProperties()
    {
        const QString path = freshTemplate(QStringLiteral("properties.sqlite"));
        QVERIFY(!path.isEmpty());
        Database db(QStringLiteral("Provider=SQLite;Data Source=") + path);
        QVERIFY2(db.open(), qPrintable(db.lastError()));

        // The columns in order, with the two of the template's own at the end.
        QStringList names;
        Rows columns = db.select(QStringLiteral("PRAGMA table_info(users)"));
        while (columns.next())
            names << columns.text(QStringLiteral("name"));
        QCOMPARE(names.size(), 27);
        QCOMPARE(names.mid(25), QStringList({"domainID", "rid"}));
        for (const char* table : {"domains", "domainDetails"})
            QVERIFY(db.select(QStringLiteral("select * from ") + QLatin1String(table)).isValid());

        // Only username is required; homedir and the two counts are not.
        QVERIFY(db.execute(QStringLiteral("insert into users (username) values ('minimal')")));
        QVERIFY(!db.execute(QStringLiteral("insert into users (homedir) values ('c:\\x')")));
        // Zero-length text is refused in the four columns that refuse it, allowed elsewhere.
        QVERIFY(!db.execute(QStringLiteral("insert into users (username) values ('')")));
        for (const char* column : {"homedir", "login_msg_file", "password"})
            QVERIFY2(!db.execute(QStringLiteral("insert into users (username, %1) values ('z', '')").arg(QLatin1String(column))),
                     column);
        QVERIFY(db.execute(QStringLiteral("insert into users (username, comments, Expires, DisableOn, ratio_type) "
                                          "values ('empty-texts', '', '', '', '')")));
        QVERIFY(db.execute(QStringLiteral("insert into dir_rights (username, directory, dir_rights, inherit_subdirs) "
                                          "values ('a', '', '', 0)")));
        QVERIFY(!db.execute(QStringLiteral("insert into dir_rights (username, directory, dir_rights) values ('a', 'c', 'R')")));

        // The four flags default to 0; the rest stay NULL; rid counts up.
        Rows row = db.select(QStringLiteral("select * from users where username='minimal'"));
        QVERIFY(row.next());
        for (const char* zero : {"use_quota", "always_login", "one_login_per_ip", "disable_user"})
            QCOMPARE(row.text(QLatin1String(zero)), QStringLiteral("0"));
        for (const char* null : {"homedir", "max_concurrent", "hide_hidden_files", "quota_current", "domainID"})
            QVERIFY2(row.isNull(QLatin1String(null)), null);
        QCOMPARE(row.text(QStringLiteral("rid")), QStringLiteral("1"));

        // Text wider than its column is refused, as Jet refuses it.
        QVERIFY(!db.execute(QStringLiteral("insert into blocked_ips (ip) values ('0001.0002.0003.4')")));
        QVERIFY(db.execute(QStringLiteral("insert into blocked_ips (ip) values ('255.255.255.255')")));

        // A rollback journal, not WAL.
        Rows mode = db.select(QStringLiteral("PRAGMA journal_mode"));
        QVERIFY(mode.next());
        QCOMPARE(mode.textAt(0).toLower(), QStringLiteral("delete"));
    }
};

QUILLMERE_TEST(TestSchema)
#include "TestSchema.moc"
