#include "TestMain.h"

#include "db/ConnectionString.h"
#include "db/Engine.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// Reading the stored ADO-form connection strings of every provider.
class TestConnectionString : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void initTestCase() { QVERIFY(QFile(m_dir.filePath(u"servu.mdb"_s)).open(QIODevice::WriteOnly)); }

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
                                  << sqlServer << "QODBC" << true << "SERVER=db1;PORT=1444;TDS_Version=7.4;ClientCharset=UTF-8;DATABASE=ftp;UID=sa;PWD=a;";
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
    }
};

QUILLMERE_TEST(TestConnectionString)
#include "TestConnectionString.moc"
