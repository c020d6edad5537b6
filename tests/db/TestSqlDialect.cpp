#include "TestMain.h"

#include "db/SqlDialect.h"
#include "db/SqlText.h"
#include "db/StoredFlag.h"

#include <QLocale>
#include <QTest>

// The quoting helper, the names that go into SQL bare, the reading of stored flags,
// and the rewriting of the program's SQL for each engine.
class TestSqlDialect : public QObject
{
    Q_OBJECT

private slots:
    void quotingDoublesSingleQuotesOnly()
    {
        QCOMPARE(sqlQuote(QStringLiteral("o'hara")), QStringLiteral("'o''hara'"));
        QCOMPARE(sqlQuote(QStringLiteral("say \"hi\"")), QStringLiteral("'say \"hi\"'"));
        QCOMPARE(sqlQuote(QString()), QStringLiteral("''"));
        QCOMPARE(sqlQuote(QStringLiteral("''")), QStringLiteral("''''''"));
    }

    void bareDatabaseNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("bare");
        QTest::newRow("letters and digits") << "VantrelDB2" << true;
        QTest::newRow("underscores") << "_ftp_accounts" << true;
        QTest::newRow("63 characters") << QString(63, QLatin1Char('q')) << true;
        QTest::newRow("64 characters") << QString(64, QLatin1Char('q')) << false;
        QTest::newRow("leading digit") << "1db" << false;
        QTest::newRow("statement") << "x;drop_database_master" << false;
        QTest::newRow("bracket") << "x]" << false;
        QTest::newRow("quote") << "o'hara" << false;
        QTest::newRow("dot") << "master.dbo" << false;
        QTest::newRow("non-ASCII letter") << "bücher" << false;
        QTest::newRow("line end") << "db\n" << false;
        QTest::newRow("empty") << "" << false;
    }
    void bareDatabaseNames()
    {
        QFETCH(QString, name);
        QTEST(isBareDatabaseName(name), "bare");
    }

    void storedFlags_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("set");
        QTest::newRow("NULL") << QVariant(QMetaType::fromType<int>()) << false;
        QTest::newRow("0") << QVariant(0) << false;
        QTest::newRow("0.0 as text") << QVariant(QStringLiteral(" 0.0 ")) << false;
        QTest::newRow("false") << QVariant(false) << false;
        QTest::newRow("1") << QVariant(qlonglong(1)) << true;
        QTest::newRow("2") << QVariant(2) << true;
        QTest::newRow("-1") << QVariant(-1) << true;
        QTest::newRow("0.5") << QVariant(0.5) << true;
        QTest::newRow("'true'") << QVariant(QStringLiteral("true")) << true;
        QTest::newRow("empty text") << QVariant(QStringLiteral("")) << true;
    }
    void storedFlags()
    {
        QFETCH(QVariant, value);
        QTEST(storedFlagIsSet(value), "set");
    }

    void numbersAlwaysUseAPoint()
    {
        QLocale::setDefault(QLocale(QStringLiteral("de_DE")));
        QCOMPARE(sqlNumber(1.5), QStringLiteral("1.5"));
        QCOMPARE(sqlNumber(1048576.0), QStringLiteral("1048576"));
        QCOMPARE(sqlNumber(qint64(-1)), QStringLiteral("-1"));
        QLocale::setDefault(QLocale::c());
    }

    void rewriting_data()
    {
        QTest::addColumn<int>("engine");
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("expected");

        const QString update = QStringLiteral("UPDATE [users] SET [username]='a', [homedir]='c:\\[x]' WHERE [username]='b'");
        QTest::newRow("brackets, postgres") << int(Engine::PostgreSql) << update
                                            << "UPDATE users SET username='a', homedir='c:\\[x]' WHERE username='b'";
        QTest::newRow("brackets, sqlite") << int(Engine::Sqlite) << update << update;
        QTest::newRow("brackets, sql server") << int(Engine::SqlServer) << update << update;
        QTest::newRow("literal with quote and brackets")
            << int(Engine::PostgreSql) << "insert into blocked_ips_by_user ([ip], [username]) values ('1.2.3.4', 'it''s [me]')"
            << "insert into blocked_ips_by_user (ip, username) values ('1.2.3.4', 'it''s [me]')";
        QTest::newRow("qualified set target, sqlite")
            << int(Engine::Sqlite) << "UPDATE users SET users.homedir = Lower(users.homedir) WHERE users.username='x'"
            << "UPDATE users SET homedir = Lower(users.homedir) WHERE users.username='x'";
        QTest::newRow("qualified set targets, postgres")
            << int(Engine::PostgreSql) << "update [users] set [users].[rel_path]=1, users.timeout = 5 where username='users.x='"
            << "update users set rel_path=1, timeout = 5 where username='users.x='";
        QTest::newRow("access keeps its form") << int(Engine::Access) << "UPDATE users SET users.homedir = LCase( users.homedir)"
                                               << "UPDATE users SET users.homedir = LCase( users.homedir)";
        QTest::newRow("select untouched")
            << int(Engine::Sqlite) << "select username from users where users.username='a'"
            << "select username from users where users.username='a'";
    }

    void rewriting()
    {
        QFETCH(int, engine);
        QFETCH(QString, sql);
        QTEST(rewriteForEngine(static_cast<Engine>(engine), sql), "expected");
    }
};

QUILLMERE_TEST(TestSqlDialect)
#include "TestSqlDialect.moc"
