#include "TestMain.h"

#include "db/SqlDialect.h"
#include "db/SqlText.h"
#include "db/StoredFlag.h"

#include <QLocale>
#include <QTest>

using namespace Qt::StringLiterals;

// The quoting helper, the names that go into SQL bare, the reading of stored flags,
// and the rewriting of the program's SQL for each engine.
class TestSqlDialect : public QObject
{
    Q_OBJECT

private slots:
    void literalsQuoteOnlySingleQuotesAndNumbersUseAPoint()
    {
        QCOMPARE(sqlQuote(u"o'hara"_s), u"'o''hara'"_s);
        QCOMPARE(sqlQuote(u"say \"hi\""_s), u"'say \"hi\"'"_s);
        QCOMPARE(sqlQuote(QString()), u"''"_s);
        QCOMPARE(sqlQuote(u"''"_s), u"''''''"_s);
        QLocale::setDefault(QLocale(u"de_DE"_s));
        QCOMPARE(sqlNumber(1.5), u"1.5"_s);
        QCOMPARE(sqlNumber(1048576.0), u"1048576"_s);
        QCOMPARE(sqlNumber(qint64(-1)), u"-1"_s);
        QLocale::setDefault(QLocale::c());
    }

    void bareDatabaseNames()
    {
        for (const QString& name : {u"VantrelDB2"_s, u"_ftp_accounts"_s, QString(63, u'q')})
            QVERIFY2(isBareDatabaseName(name), qPrintable(name));
        // Too long, a leading digit, a statement, a bracket, a quote, a dot, a non-ASCII letter, a line end, nothing.
        for (const QString& name : {QString(64, u'q'), u"1db"_s, u"x;drop_database_master"_s, u"x]"_s, u"o'hara"_s, u"master.dbo"_s,
                                    u"bücher"_s, u"db\n"_s, QString()})
            QVERIFY2(!isBareDatabaseName(name), qPrintable(name));
    }

    // Set for any value but NULL and 0.
    void storedFlags()
    {
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
        const QString update = u"UPDATE [users] SET [username]='a', [homedir]='c:\\[x]' WHERE [username]='b'"_s;
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
        QTest::newRow("select untouched") << int(Engine::Sqlite) << "select username from users where users.username='a'"
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
