#include "TestMain.h"

#include "db/ConnectionString.h"
#include "db/Database.h"
#include "db/Engine.h"
#include "db/SqlDialect.h"
#include "db/SqlText.h"
#include "db/StoredFlag.h"
#include "services/EmbeddedFiles.h"

#include <QLocale>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The engines: reading the stored ADO-form connection string of every provider, the
// program's SQL text (the quoting helper, the names that go into SQL bare, the reading
// of stored flags, the rewriting for each engine), and databases that do not open.
// The program's own statements run on both engines in the tests of the windows that send them.
class TestEngines : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        QFile notADatabase(m_dir.filePath(u"notes.txt"_s));
        QVERIFY(embedded::writeEmbeddedFile(embedded::TemplateDatabase, m_dir.filePath(u"servu.mdb"_s)) && notADatabase.open(QIODevice::WriteOnly));
        QCOMPARE(notADatabase.write(QByteArray(5000, 'n')), 5000);
    }

    void lenientParsingAndReplacing()
    {
        const auto parts = ConnectionString::parse(u"  PROVIDER = SQLOLEDB.1 ;Data Source=\"host;with;semicolons\";password='it''s';"
                                                   "User ID=sa ; Persist Security Info=False;  ; "_s);
        QCOMPARE(parts.value(u"provider"_s), u"SQLOLEDB.1"_s);
        QCOMPARE(parts.value(u"DATA SOURCE"_s), u"host;with;semicolons"_s);
        QCOMPARE(parts.value(u"Password"_s), u"it's"_s);
        QCOMPARE(parts.value(u"user id"_s), u"sa"_s);
        QVERIFY(!parts.has(u"initial catalog"_s));
        QCOMPARE(parts.value({"initial catalog", "user id"}), u"sa"_s);
        QCOMPARE(ConnectionString::parse(u"Provider=\"unterminated"_s).value(u"provider"_s), u"unterminated"_s);

        QCOMPARE(ConnectionString::withValue(u"Provider=SQLOLEDB.1;Data Source=db1"_s, u"Initial Catalog"_s, u"Quillmere"_s),
                 u"Provider=SQLOLEDB.1;Data Source=db1;Initial Catalog=Quillmere;"_s);
        QCOMPARE(ConnectionString::withValue(u"Provider=SQLOLEDB.1;initial catalog=old;Data Source=db1"_s, u"Initial Catalog"_s, u"new"_s),
                 u"Provider=SQLOLEDB.1;initial catalog=new;Data Source=db1"_s);
    }

    void providers_data()
    {
        // "%1" stands for a folder holding the file servu.mdb.
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("engine");
        QTest::addColumn<QString>("driver");
        QTest::addColumn<bool>("usable");
        QTest::addColumn<QString>("target"); // part of the database name, where FreeTDS and SQLite stand in
        const int sqlServer = int(Engine::SqlServer), sqlite = int(Engine::Sqlite), postgres = int(Engine::PostgreSql);
        const int unknown = int(Engine::Unknown);
        QTest::newRow("sqloledb") << "Provider=SQLOLEDB.1;Persist Security Info=False;User ID=sa;Password=a;b;Initial Catalog=ftp;"
                                     "Data Source=db1,1444"
                                  << sqlServer << "QODBC" << true
                                  << "SERVER=db1;PORT=1444;TDS_Version=7.4;ClientCharset=UTF-8;DATABASE=ftp;UID=sa;PWD=a;";
        QTest::newRow("sqlncli") << "Provider=SQLNCLI11;Data Source=db1\\SQLEXPRESS;User ID=sa;Password=x" << sqlServer << "QODBC" << true
                                 << "SERVER=db1\\SQLEXPRESS;";
        QTest::newRow("msoledbsql") << "Provider=MSOLEDBSQL;Data Source=db1;User ID=sa" << sqlServer << "QODBC" << true << "";
        QTest::newRow("no server") << "Provider=SQLOLEDB.1;Initial Catalog=ftp" << sqlServer << "QODBC" << false << "";
#ifndef Q_OS_WIN
        QTest::newRow("sspi") << "Provider=SQLOLEDB.1;Integrated Security=SSPI;Data Source=db1" << sqlServer << "QODBC" << false << "";
        // Where Jet does not exist, its files are SQLite files.
        QTest::newRow("jet") << "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=%1/servu.mdb;Persist Security Info=False" << sqlite << "QSQLITE"
                             << true << "%1/servu.mdb";
        QTest::newRow("ace") << "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=%1/servu.mdb" << sqlite << "QSQLITE" << true << "%1/servu.mdb";
        QTest::newRow("jet, missing file") << "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=%1/no.mdb" << sqlite << "QSQLITE" << false << "";
#endif
        QTest::newRow("sqlite") << "Provider=SQLite;Data Source=%1/servu.mdb;" << sqlite << "QSQLITE" << true << "%1/servu.mdb";
        QTest::newRow("postgres") << "Provider=PostgreSQL;Host=127.0.0.1;Port=5432;Database=ftp;User ID=u;Password=p" << postgres << "QPSQL"
                                  << true << "ftp";
        QTest::newRow("postgres ado keys") << "provider=postgresql;data source=db1;initial catalog=ftp" << postgres << "QPSQL" << true << "ftp";
        QTest::newRow("postgres bad port") << "Provider=PostgreSQL;Host=db1;Port=http;Database=ftp" << postgres << "QPSQL" << false << "";
        QTest::newRow("postgres no database") << "Provider=PostgreSQL;Host=db1" << postgres << "QPSQL" << false << "";
        QTest::newRow("unknown provider") << "Provider=MSDASQL;DSN=x" << unknown << "" << false << "";
        QTest::newRow("no provider") << "Data Source=/tmp/x.db" << unknown << "" << false << "";
        // Malformed text never breaks the reader.
        for (const char* text : {"", ";;;", "=", "novalue", "Provider", "Provider=\"unterminated", "Data Source==x", "\"\"=\"\""})
            QTest::addRow("malformed: %s", text) << text << unknown << "" << false << "";
        QTest::newRow("malformed: =x;Provider=SQLite") << "=x;Provider=SQLite" << sqlite << "" << false << "";
    }
    void providers()
    {
        QFETCH(QString, text);
        QFETCH(QString, target);
        const ConnectionTarget resolved = resolveConnection(text.replace(u"%1"_s, m_dir.path()));
        QTEST(int(resolved.engine), "engine");
        QTEST(resolved.driver, "driver");
        QTEST(resolved.isUsable(), "usable");
#ifndef Q_OS_WIN
        QVERIFY2(resolved.databaseName.contains(target.replace(u"%1"_s, m_dir.path())), qPrintable(resolved.databaseName));
        if (resolved.engine == Engine::SqlServer && resolved.isUsable())
            QVERIFY(resolved.connectOptions.contains(u"SQL_ATTR_LOGIN_TIMEOUT="_s));
#endif
        if (resolved.engine == Engine::Sqlite && resolved.isUsable()) // the Jet strings saved earlier too
            QVERIFY(Database(text).open());
    }

    // Quoting doubles single quotes only; numbers have a point; a name goes bare only as letters, digits and
    // underscores; a stored flag is set for any value but NULL and 0.
    void literalsNamesAndFlags()
    {
        QCOMPARE(sqlQuote(u"o'hara"_s), u"'o''hara'"_s);
        QCOMPARE(sqlQuote(u"say \"hi\""_s), u"'say \"hi\"'"_s);
        QCOMPARE(sqlQuote(QString()), u"''"_s);
        QCOMPARE(sqlQuote(u"''"_s), u"''''''"_s);
        QLocale::setDefault(QLocale(u"de_DE"_s));
        QCOMPARE(sqlNumber(1.5) + u' ' + sqlNumber(1048576.0) + u' ' + sqlNumber(qint64(-1)), u"1.5 1048576 -1"_s);
        QLocale::setDefault(QLocale::c());
        for (const QString& name : {u"VantrelDB2"_s, u"_ftp_accounts"_s, QString(63, u'q')})
            QVERIFY2(isBareDatabaseName(name), qPrintable(name));
        // Too long, a leading digit, a statement, a bracket, a quote, a dot, a non-ASCII letter, a line end, nothing.
        for (const QString& name : {QString(64, u'q'), u"1db"_s, u"x;drop_database_master"_s, u"x]"_s, u"o'hara"_s, u"master.dbo"_s,
                                    u"bücher"_s, u"db\n"_s, QString()})
            QVERIFY2(!isBareDatabaseName(name), qPrintable(name));
        for (const QVariant& value : {QVariant(QMetaType::fromType<int>()), QVariant(0), QVariant(u" 0.0 "_s), QVariant(false)})
            QVERIFY2(!storedFlagIsSet(value), qPrintable(value.toString()));
        for (const QVariant& value : {QVariant(qlonglong(1)), QVariant(2), QVariant(-1), QVariant(0.5), QVariant(u"true"_s), QVariant(u""_s)})
            QVERIFY2(storedFlagIsSet(value), qPrintable(value.toString()));
    }

    void rewriting_data()
    {
        QTest::addColumn<int>("engine");
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("expected");
        const int postgres = int(Engine::PostgreSql), sqlite = int(Engine::Sqlite);
        const QString update = u"UPDATE [users] SET [username]='a', [homedir]='c:\\[x]' WHERE [username]='b'"_s;
        QTest::newRow("brackets, postgres") << postgres << update << "UPDATE users SET username='a', homedir='c:\\[x]' WHERE username='b'";
        QTest::newRow("brackets, sqlite") << sqlite << update << update;
        QTest::newRow("brackets, sql server") << int(Engine::SqlServer) << update << update;
        QTest::newRow("literal with quote and brackets")
            << postgres << "insert into blocked_ips_by_user ([ip], [username]) values ('1.2.3.4', 'it''s [me]')"
            << "insert into blocked_ips_by_user (ip, username) values ('1.2.3.4', 'it''s [me]')";
        QTest::newRow("qualified set target, sqlite") << sqlite << "UPDATE users SET users.homedir = Lower(users.homedir) WHERE users.username='x'"
                                                      << "UPDATE users SET homedir = Lower(users.homedir) WHERE users.username='x'";
        QTest::newRow("qualified set targets, postgres")
            << postgres << "update [users] set [users].[rel_path]=1, users.timeout = 5 where username='users.x='"
            << "update users set rel_path=1, timeout = 5 where username='users.x='";
        const QString lcase = u"UPDATE users SET users.homedir = LCase( users.homedir)"_s;
        const QString select = u"select username from users where users.username='a'"_s;
        QTest::newRow("access keeps its form") << int(Engine::Access) << lcase << lcase;
        QTest::newRow("select untouched") << sqlite << select << select;
    }
    void rewriting()
    {
        QFETCH(int, engine);
        QFETCH(QString, sql);
        QTEST(rewriteForEngine(static_cast<Engine>(engine), sql), "expected");
    }

    void unreachableDatabasesDoNotOpen_data()
    {
        QTest::addColumn<QString>("connection");
        QTest::newRow("missing sqlite file") << "Provider=SQLite;Data Source=/nonexistent/accounts.db";
        QTest::newRow("not a database") << "Provider=SQLite;Data Source=%1/notes.txt";
        QTest::newRow("closed postgres port") << "Provider=PostgreSQL;Host=127.0.0.1;Port=1;Database=x;User ID=postgres";
        QTest::newRow("closed sql server port") << "Provider=SQLOLEDB.1;Data Source=127.0.0.1,1;User ID=sa;Password=x";
        QTest::newRow("unknown provider") << "Provider=Oracle;Data Source=x";
    }
    void unreachableDatabasesDoNotOpen()
    {
        QFETCH(QString, connection);
        QTest::failOnWarning(QRegularExpression(u"."_s)); // not even that a connection is still in use
        Database db(connection.replace(u"%1"_s, m_dir.path()));
        QVERIFY(!db.open());
        QVERIFY(!db.lastError().isEmpty() && !db.isOpen());
    }
};

QUILLMERE_TEST(TestEngines)
#include "TestEngines.moc"
