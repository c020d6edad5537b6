#include "TestMain.h"

#include "db/ConnectionString.h"
#include "db/Engine.h"

#include <QTemporaryDir>
#include <QTest>

// Reading the stored ADO-form connection strings of every provider.
class TestConnectionString : public QObject
{
    Q_OBJECT

private slots:
    void lenientParsing()
    {
        const auto parts = ConnectionString::parse(
            QStringLiteral("  PROVIDER = SQLOLEDB.1 ;Data Source=\"host;with;semicolons\";password='it''s';"
                           "User ID=sa ; Persist Security Info=False;  ; "));
        QCOMPARE(parts.value(QStringLiteral("provider")), QStringLiteral("SQLOLEDB.1"));
        QCOMPARE(parts.value(QStringLiteral("DATA SOURCE")), QStringLiteral("host;with;semicolons"));
        QCOMPARE(parts.value(QStringLiteral("Password")), QStringLiteral("it's"));
        QCOMPARE(parts.value(QStringLiteral("user id")), QStringLiteral("sa"));
        QVERIFY(!parts.has(QStringLiteral("initial catalog")));
        QCOMPARE(parts.value({"initial catalog", "user id"}), QStringLiteral("sa"));
    }

    void malformedTextNeverBreaksTheReader()
    {
        for (const char* text : {"", ";;;", "=", "novalue", "Provider", "Provider=\"unterminated", "=x;Provider=SQLite",
                                 "Data Source==x", "\"\"=\"\""}) {
            const auto parts = ConnectionString::parse(QLatin1String(text));
            Q_UNUSED(parts.value(QStringLiteral("provider")));
            QVERIFY(!resolveConnection(QLatin1String(text)).isUsable());
        }
        QCOMPARE(ConnectionString::parse(QStringLiteral("Provider=\"unterminated")).value(QStringLiteral("provider")),
                 QStringLiteral("unterminated"));
    }

    void replacingAValue()
    {
        QCOMPARE(ConnectionString::withValue(QStringLiteral("Provider=SQLOLEDB.1;Data Source=db1"), QStringLiteral("Initial Catalog"),
                                             QStringLiteral("Quillmere")),
                 QStringLiteral("Provider=SQLOLEDB.1;Data Source=db1;Initial Catalog=Quillmere;"));
        QCOMPARE(ConnectionString::withValue(QStringLiteral("Provider=SQLOLEDB.1;initial catalog=old;Data Source=db1"),
                                             QStringLiteral("Initial Catalog"), QStringLiteral("new")),
                 QStringLiteral("Provider=SQLOLEDB.1;initial catalog=new;Data Source=db1"));
    }

    void providers_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("engine");
        QTest::addColumn<QString>("driver");
        QTest::addColumn<bool>("usable");
        QTest::newRow("sqloledb") << "Provider=SQLOLEDB.1;Persist Security Info=False;User ID=sa;Password=x;"
                                     "Initial Catalog=ftp;Data Source=db1,1433"
                                  << int(Engine::SqlServer) << "QODBC" << true;
        QTest::newRow("sqlncli") << "Provider=SQLNCLI11;Data Source=db1\\SQLEXPRESS;User ID=sa;Password=x"
                                 << int(Engine::SqlServer) << "QODBC" << true;
        QTest::newRow("msoledbsql") << "Provider=MSOLEDBSQL;Data Source=db1;User ID=sa" << int(Engine::SqlServer) << "QODBC" << true;
        QTest::newRow("no server") << "Provider=SQLOLEDB.1;Initial Catalog=ftp" << int(Engine::SqlServer) << "QODBC" << false;
#ifndef Q_OS_WIN
        QTest::newRow("sspi") << "Provider=SQLOLEDB.1;Integrated Security=SSPI;Persist Security Info=False;Data Source=db1"
                              << int(Engine::SqlServer) << "QODBC" << false;
#endif
        QTest::newRow("postgres") << "Provider=PostgreSQL;Host=127.0.0.1;Port=5432;Database=ftp;User ID=u;Password=p"
                                  << int(Engine::PostgreSql) << "QPSQL" << true;
        QTest::newRow("postgres ado keys") << "provider=postgresql;data source=db1;initial catalog=ftp"
                                           << int(Engine::PostgreSql) << "QPSQL" << true;
        QTest::newRow("postgres bad port") << "Provider=PostgreSQL;Host=db1;Port=http;Database=ftp"
                                           << int(Engine::PostgreSql) << "QPSQL" << false;
        QTest::newRow("postgres no database") << "Provider=PostgreSQL;Host=db1" << int(Engine::PostgreSql) << "QPSQL" << false;
        QTest::newRow("unknown provider") << "Provider=MSDASQL;DSN=x" << int(Engine::Unknown) << "" << false;
        QTest::newRow("no provider") << "Data Source=/tmp/x.db" << int(Engine::Unknown) << "" << false;
        QTest::newRow("empty") << "" << int(Engine::Unknown) << "" << false;
    }

    void providers()
    {
        QFETCH(QString, text);
        const ConnectionTarget target = resolveConnection(text);
        QTEST(int(target.engine), "engine");
        QTEST(target.driver, "driver");
        QTEST(target.isUsable(), "usable");
    }

    void sqlServerGoesThroughFreeTdsWithATimeOut()
    {
#ifndef Q_OS_WIN
        const ConnectionTarget target = resolveConnection(
            QStringLiteral("Provider=SQLOLEDB.1;Data Source=db1,1444;Initial Catalog=ftp;User ID=sa;Password=a;b"));
        for (const char* part : {"SERVER=db1;PORT=1444;", "TDS_Version=7.4", "DATABASE=ftp", "UID=sa"})
            QVERIFY2(target.databaseName.contains(QLatin1String(part)), part);
        QVERIFY(target.connectOptions.contains(QStringLiteral("SQL_ATTR_LOGIN_TIMEOUT=")));
        const ConnectionTarget instance = resolveConnection(QStringLiteral("Provider=SQLOLEDB.1;Data Source=db1\\SQLEXPRESS"));
        QVERIFY(instance.databaseName.contains(QStringLiteral("SERVER=db1\\SQLEXPRESS;")));
#endif
    }

    void jetAndSqliteFilesOpenAsSqlite()
    {
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("servu.mdb"));
        QVERIFY(!resolveConnection(QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=") + file).isUsable());
        QFile(file).open(QIODevice::WriteOnly);
        for (const QString& text : {QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=%1;Persist Security Info=False"),
                                    QStringLiteral("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=%1"),
                                    QStringLiteral("Provider=SQLite;Data Source=%1;")}) {
            const ConnectionTarget target = resolveConnection(text.arg(file));
#ifndef Q_OS_WIN
            QCOMPARE(target.engine, Engine::Sqlite);
            QCOMPARE(target.driver, QStringLiteral("QSQLITE"));
            QCOMPARE(target.databaseName, file);
#endif
            QVERIFY(target.isUsable());
        }
    }
};

QUILLMERE_TEST(TestConnectionString)
#include "TestConnectionString.moc"
