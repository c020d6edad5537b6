#include "TestDatabase.h"
#include "TestEnvironment.h"
#include "TestMain.h"

#include "db/SqlText.h"

#include <QTest>

using namespace Qt::StringLiterals;

// The program's own statements on each engine's fresh database.
class TestEngines : public QObject
{
    Q_OBJECT

private slots:
    // A fresh database lists no rows, a failed statement carries the engine's text and the
    // session goes on, and the program's statements run in the form it writes them.
    void programStatementsOnAFreshDatabase_data() { addEngineRows(); }
    void programStatementsOnAFreshDatabase()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        Database session(db->connectionString());
        QVERIFY2(session.open(), qPrintable(session.lastError()));
        Rows users = session.select(u"select username from users order by username"_s);
        QVERIFY(users.isValid());
        QVERIFY(!users.next());
        for (const char* table : {"blocked_ips", "dir_rights", "file_rights", "log_ips", "ratio_free_files", "sign_files", "blocked_ips_by_user"})
            QCOMPARE(db->count(u"select * from "_s + QLatin1String(table)), 0);
        QVERIFY(!session.execute(u"select nothing from nowhere"_s));
        QVERIFY(!session.lastError().isEmpty());
        QVERIFY(!session.select(u"select x from missing_table"_s).isValid());

        const QString name = sqlQuote(u"o'hara"_s);
        for (const QString& statement :
             {u"INSERT INTO [users]([username], [homedir], [password], [comments], [max_concurrent], [max_logins_per_ip], [quota_current])"
              "VALUES(%1, 'c:\\ftp\\o''hara', 'pw', '', 1, 1, 0)"_s,
              u"INSERT INTO [dir_rights] ([username], [directory], [dir_rights], [inherit_subdirs]) VALUES (%1, 'c:\\ftp', 'RWAMELCD', 1)"_s,
              u"update users set disable_user=0, rel_path=1, hide_hidden_files=0, always_login=0, one_login_per_ip=1, max_logins_per_ip=0, "
              "speed_limit_value='', timeout=-1, session_timeout=-1, max_concurrent=-1, expires='', disableon=''  WHERE username=%1"_s,
              u"update users set ratio_type='BytesPerSession', ratio_down=1, ratio_up=3, ratio_current_credit=1.5 WHERE username=%1"_s,
              u"update users set [use_quota]=1, quota_max=1048576 WHERE username=%1"_s,
              u"insert into blocked_ips_by_user ([ip], [username]) values ('10.0.0.1', %1)"_s,
              u"insert into blocked_ips ([ip]) values ('192.168.1.10')"_s,
              u"UPDATE [users] SET [username]=%1, [homedir]='c:\\ftp', [comments]='note' WHERE [username]=%1"_s})
            QVERIFY2(session.execute(QString(statement).replace(u"%1"_s, name)), qPrintable(session.lastError() + u"\n  in: "_s + statement));

        Rows row = session.select(u"SELECT ratio_type, ratio_current_credit, quota_max, max_concurrent, Expires FROM users WHERE username="_s + name);
        QVERIFY(row.next());
        QCOMPARE(row.text(u"ratio_type"_s), u"BytesPerSession"_s);
        QCOMPARE(row.value(u"ratio_current_credit"_s).toDouble(), 1.5);
        QCOMPARE(row.text(u"quota_max"_s), u"1048576"_s);
        QCOMPARE(row.text(u"max_concurrent"_s), u"-1"_s);
        QCOMPARE(row.text(u"Expires"_s), QString());
        QCOMPARE(db->column(u"select ip from blocked_ips_by_user"_s), QStringList({"10.0.0.1"}));
    }

    void unreachableDatabasesDoNotOpen_data()
    {
        QTest::addColumn<QString>("connection");
        QTest::newRow("missing sqlite file") << "Provider=SQLite;Data Source=/nonexistent/accounts.db";
        QTest::newRow("not a database") << "Provider=SQLite;Data Source=%1";
        QTest::newRow("closed postgres port") << "Provider=PostgreSQL;Host=127.0.0.1;Port=1;Database=x;User ID=postgres";
        QTest::newRow("closed sql server port") << "Provider=SQLOLEDB.1;Data Source=127.0.0.1,1;User ID=sa;Password=x";
        QTest::newRow("unknown provider") << "Provider=Oracle;Data Source=x";
    }
    void unreachableDatabasesDoNotOpen()
    {
        QFETCH(QString, connection);
        QTest::failOnWarning(QRegularExpression(u"."_s)); // not even that a connection is still in use
        TestEnvironment env;
        QFile notADatabase(env.path(u"notes.txt"_s));
        QVERIFY(notADatabase.open(QIODevice::WriteOnly) && notADatabase.write(QByteArray(5000, 'n')) == 5000);
        notADatabase.close();
        Database db(connection.replace(u"%1"_s, notADatabase.fileName()));
        QVERIFY(!db.open());
        QVERIFY(!db.lastError().isEmpty());
        QVERIFY(!db.isOpen());
    }
};

QUILLMERE_TEST(TestEngines)
#include "TestEngines.moc"
