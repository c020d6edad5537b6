#include "TestDatabase.h"
#include "TestEnvironment.h"
#include "TestMain.h"

#include "db/SqlText.h"

#include <QTest>

// The program's own statements on each engine's fresh database.
class TestEngines : public QObject
{
    Q_OBJECT

private slots:
    // A fresh database lists no rows; a failed statement carries the engine's text and the session goes on.
    void freshDatabaseAndFailures_data() { addEngineRows(); }
    void freshDatabaseAndFailures()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        Database session(db->connectionString());
        QVERIFY2(session.open(), qPrintable(session.lastError()));
        Rows users = session.select(QStringLiteral("select username from users order by username"));
        QVERIFY(users.isValid());
        QVERIFY(!users.next());
        for (const char* table : {"blocked_ips", "dir_rights", "file_rights", "log_ips", "ratio_free_files", "sign_files",
                                  "blocked_ips_by_user"})
            QCOMPARE(db->count(QStringLiteral("select * from ") + QLatin1String(table)), 0);
        QVERIFY(!session.execute(QStringLiteral("select nothing from nowhere")));
        QVERIFY(!session.lastError().isEmpty());
        QVERIFY(!session.select(QStringLiteral("select x from missing_table")).isValid());
        QVERIFY(session.select(QStringLiteral("select username from users")).isValid());
    }

    void programStatementsRunUnchanged_data() { addEngineRows(); }
    void programStatementsRunUnchanged()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        Database session(db->connectionString());
        QVERIFY(session.open());
        const QString name = QStringLiteral("o'hara");
        const QStringList statements{
            QStringLiteral("INSERT INTO [users]([username], [homedir], [password], [comments], [max_concurrent], "
                           "[max_logins_per_ip], [quota_current])VALUES(%1, 'c:\\ftp\\o''hara', 'pw', '', 1, 1, 0)")
                .arg(sqlQuote(name)),
            QStringLiteral("INSERT INTO [dir_rights] ([username], [directory], [dir_rights], [inherit_subdirs]) VALUES "
                           "(%1, 'c:\\ftp', 'RWAMELCD', 1)")
                .arg(sqlQuote(name)),
            QStringLiteral("update users set disable_user=0, rel_path=1, hide_hidden_files=0, always_login=0, one_login_per_ip=1, "
                           "max_logins_per_ip=0, speed_limit_value='', timeout=-1, session_timeout=-1, max_concurrent=-1, "
                           "expires='', disableon=''  WHERE username=%1")
                .arg(sqlQuote(name)),
            QStringLiteral("update users set ratio_type='BytesPerSession', ratio_down=1, ratio_up=3, ratio_current_credit=1.5 "
                           "WHERE username=%1")
                .arg(sqlQuote(name)),
            QStringLiteral("update users set [use_quota]=1, quota_max=1048576 WHERE username=%1").arg(sqlQuote(name)),
            QStringLiteral("insert into blocked_ips_by_user ([ip], [username]) values ('10.0.0.1', %1)").arg(sqlQuote(name)),
            QStringLiteral("insert into blocked_ips ([ip]) values ('192.168.1.10')"),
            QStringLiteral("UPDATE [users] SET [username]=%1, [homedir]='c:\\ftp', [comments]='note' WHERE [username]=%1")
                .arg(sqlQuote(name)),
        };
        for (const QString& statement : statements)
            QVERIFY2(session.execute(statement), qPrintable(session.lastError() + QStringLiteral("\n  in: ") + statement));

        Rows row = session.select(QStringLiteral("SELECT ratio_type, ratio_current_credit, quota_max, max_concurrent, Expires "
                                                 "FROM users WHERE username=%1")
                                      .arg(sqlQuote(name)));
        QVERIFY(row.next());
        QCOMPARE(row.text(QStringLiteral("ratio_type")), QStringLiteral("BytesPerSession"));
        QCOMPARE(row.value(QStringLiteral("ratio_current_credit")).toDouble(), 1.5);
        QCOMPARE(row.text(QStringLiteral("quota_max")), QStringLiteral("1048576"));
        QCOMPARE(row.text(QStringLiteral("max_concurrent")), QStringLiteral("-1"));
        QCOMPARE(row.text(QStringLiteral("Expires")), QString());
        QCOMPARE(db->column(QStringLiteral("select ip from blocked_ips_by_user")), QStringList({"10.0.0.1"}));
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
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
        TestEnvironment env;
        QFile notADatabase(env.path(QStringLiteral("notes.txt")));
        QVERIFY(notADatabase.open(QIODevice::WriteOnly));
        notADatabase.write(QByteArray(5000, 'n'));
        notADatabase.close();
        Database db(connection.contains(QLatin1String("%1")) ? connection.arg(notADatabase.fileName()) : connection);
        QVERIFY(!db.open());
        QVERIFY(!db.lastError().isEmpty());
        QVERIFY(!db.isOpen());
    }
};

QUILLMERE_TEST(TestEngines)
#include "TestEngines.moc"
