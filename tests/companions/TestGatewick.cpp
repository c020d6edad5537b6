#include "GatewickFixture.h"
#include "TestMain.h"

#include "AuthHandler.h"
#include "AuthRules.h"
#include "ConsoleRun.h"

#include "server/LoginCheck.h"

// The authentication handler against real databases on both engines: every
// query the FTP server's plug-in may run, and the answers to good and bad log-ins.
class TestGatewick : public QObject
{
    Q_OBJECT

private slots:
    void contractQueriesAnswerOnAFreshAccount_data() { addEngineRows(); }
    void contractQueriesAnswerOnAFreshAccount()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        QVERIFY(gatewicktest::createAccount(env, QStringLiteral("fresh"), QStringLiteral("pw"), gatewicktest::homeFolder(env, QStringLiteral("fresh"))));
        QCOMPARE(gatewick::contractQueries().size(), 29);
        for (const auto& query : gatewick::contractQueries()) {
            const QString value = QLatin1String(query.table) == QLatin1String("sign_files") ? QStringLiteral("127.0.0.1")
                                                                                              : QStringLiteral("fresh");
            const QString sql = gatewick::contractQuery(query.text, QLatin1String(query.table), value);
            Rows rows = db->database().select(sql);
            QVERIFY2(rows.isValid(), qPrintable(db->database().lastError() + QStringLiteral("\n  in: ") + sql));
        }
        QCOMPARE(gatewick::contractQuery("select password from %s where username='%s'", QStringLiteral("users"), QStringLiteral("o'hara")),
                 QStringLiteral("select password from users where username='o''hara'"));
    }

    void answersToLogins_data() { addEngineRows(); }
    void answersToLogins()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        // A server where backslashes escape in literals unless the session says otherwise.
        if (engine == TestEngine::PostgreSql)
            db->exec(QStringLiteral("ALTER DATABASE %1 SET standard_conforming_strings = off").arg(db->column(QStringLiteral("select current_database()")).value(0)));
        const QString home = gatewicktest::homeFolder(env, QStringLiteral("bob"));
        QVERIFY(gatewicktest::createAccount(env, QStringLiteral("bob"), QStringLiteral("s3cret"), home));
        QVERIFY(gatewicktest::createAccount(env, QStringLiteral("carol"), QStringLiteral("pw"), gatewicktest::homeFolder(env, QStringLiteral("carol"))));
        db->exec(QStringLiteral("update users set use_quota=1, quota_max=1048576, ratio_type='BytesOverall', ratio_up=1, "
                                "ratio_down=4, speed_limit_value='64', max_concurrent=2 where username='carol'"));
        const QString md5 = QStringLiteral("kx") + gatewick::saltedMd5(QStringLiteral("kx"), QStringLiteral("migrated")).toUpper();
        QVERIFY(gatewicktest::createAccount(env, QStringLiteral("imported"), md5, gatewicktest::homeFolder(env, QStringLiteral("imported"))));
        QVERIFY(gatewicktest::createAccount(env, QStringLiteral("rooted"), QStringLiteral("pw"), QStringLiteral("/")));
        QVERIFY(gatewicktest::createAccount(env, QStringLiteral("homeless"), QStringLiteral("pw"), gatewicktest::homeFolder(env, QStringLiteral("gone"))));
        QVERIFY(QDir(env.path(QStringLiteral("ftp/gone"))).removeRecursively());
        QVERIFY(gatewicktest::createAccount(env, QStringLiteral("CORP\\ann"), QStringLiteral("pw"), gatewicktest::homeFolder(env, QStringLiteral("ann"))));
        QCOMPARE(db->column(QStringLiteral("select username from users where username like 'CORP%'")), QStringList{"CORP\\ann"});
        const QString settings = env.settingsPath();
        const auto firstLine = [&settings](const QByteArray& account, const QByteArray& password, const QByteArray& address = "127.0.0.1") {
            return gatewicktest::runHandler(settings, account, password, address).lines.value(0);
        };

        const auto bob = gatewicktest::runHandler(settings, "bob", "s3cret");
        QVERIFY(bob.finished);
        QVERIFY2(bob.lines.first() == QStringLiteral("auth_ok:1"), qPrintable(bob.errors));
        QCOMPARE(bob.lines.last(), QStringLiteral("end"));
        QCOMPARE(bob.value(QStringLiteral("uid")), QString::number(QFileInfo(home).ownerId()));
        QCOMPARE(bob.value(QStringLiteral("dir")), home);
        QCOMPARE(bob.value(QStringLiteral("per_user_max")), QStringLiteral("1"));
        QVERIFY(bob.value(QStringLiteral("user_quota_size")).isEmpty());
        // Traces go to standard error, never into the reply.
        QVERIFY(bob.errors.contains(QStringLiteral("Connection to server opened.")));
        QVERIFY(!bob.lines.join(QLatin1Char('\n')).contains(QStringLiteral("Connection")));

        const auto carol = gatewicktest::runHandler(settings, "carol", "pw");
        QCOMPARE(carol.value(QStringLiteral("user_quota_size")), QStringLiteral("1048576"));
        QCOMPARE(carol.value(QStringLiteral("ratio_upload")), QStringLiteral("1"));
        QCOMPARE(carol.value(QStringLiteral("ratio_download")), QStringLiteral("4"));
        QCOMPARE(carol.value(QStringLiteral("throttling_bandwidth_dl")), QStringLiteral("65536"));
        QCOMPARE(carol.value(QStringLiteral("per_user_max")), QStringLiteral("2"));

        QCOMPARE(firstLine("imported", "migrated"), QStringLiteral("auth_ok:1"));
        QCOMPARE(firstLine("CORP\\ann", "pw"), QStringLiteral("auth_ok:1"));

        // Refusals (-1) and unknown accounts (0), bad input among them.
        const QList<std::tuple<QByteArray, QByteArray, QString>> cases{
            {"bob", "wrong", "auth_ok:-1"},         {"bob", "", "auth_ok:-1"},         {"BOB2", "s3cret", "auth_ok:0"},
            {"x' OR '1'='1", "s3cret", "auth_ok:0"}, {"bob' --", "s3cret", "auth_ok:0"}, {QByteArray(10000, 'b'), "s3cret", "auth_ok:0"},
            {"b\xff\xfe", "s3cret", "auth_ok:0"},    {"bob", "s3c\xffret", "auth_ok:-1"}, {"rooted", "pw", "auth_ok:-1"},
            {"homeless", "pw", "auth_ok:-1"},       {"imported", md5.toLatin1(), "auth_ok:-1"}, {"x\\' OR 1=1--", "s3cret", "auth_ok:0"},
            {"x\\'; update users set password=chr(65)--", "A", "auth_ok:0"},
        };
        for (const auto& [account, password, expected] : cases) {
            const auto answer = gatewicktest::runHandler(settings, account, password);
            QVERIFY2(answer.finished, account.left(20).constData());
            QCOMPARE(answer.lines, QStringList({expected, QStringLiteral("end")}));
        }
        QVERIFY(gatewicktest::runHandler(settings, "rooted", "pw").errors.contains(QStringLiteral("belongs to root")));
        QCOMPARE(db->column(QStringLiteral("select password from users where username='bob'")), QStringList{"s3cret"});

        // A disabled account, and IP rules: global, the account's own, and for everyone ("*").
        // Any stored flag but 0 disables; text that is no number counts as set.
        QStringList flags{"0", "2", "-1", "1"};
        if (engine == TestEngine::Sqlite)
            flags.insert(1, QStringLiteral("'true'"));
        for (const QString& flag : flags) {
            db->exec(QStringLiteral("update users set disable_user=%1 where username='carol'").arg(flag));
            QCOMPARE(firstLine("carol", "pw"), flag == QLatin1String("0") ? QStringLiteral("auth_ok:1") : QStringLiteral("auth_ok:-1"));
        }
        db->exec(QStringLiteral("insert into blocked_ips (ip) values ('10.1.0.0/16')"));
        db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values ('bob', '10.2.*.*')"));
        db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values ('*', '10.3.3.3')"));
        QCOMPARE(firstLine("bob", "s3cret", "10.1.7.7"), QStringLiteral("auth_ok:-1"));
        QCOMPARE(firstLine("bob", "s3cret", "10.2.7.7"), QStringLiteral("auth_ok:-1"));
        QCOMPARE(firstLine("imported", "migrated", "10.2.7.7"), QStringLiteral("auth_ok:1"));
        QCOMPARE(firstLine("imported", "migrated", "10.3.3.3"), QStringLiteral("auth_ok:-1"));
        QCOMPARE(firstLine("bob", "s3cret", "10.4.0.1"), QStringLiteral("auth_ok:1"));
        QCOMPARE(firstLine("bob", "s3cret", "2001:db8::1"), QStringLiteral("auth_ok:1"));
        QCOMPARE(firstLine("bob", "s3cret", "not an address"), QStringLiteral("auth_ok:-1"));
    }

    // The test log-in runs the handler's own decision: on the same accounts it comes
    // to the handler program's verdict and reply, and tells every reason it has.
    void testLoginAgreesWithTheHandler_data() { addEngineRows(); }
    void testLoginAgreesWithTheHandler()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        const QString md5 = QStringLiteral("kx") + gatewick::saltedMd5(QStringLiteral("kx"), QStringLiteral("migrated"));
        for (const char* name : {"bob", "carol", "off", "homeless"})
            QVERIFY(gatewicktest::createAccount(env, QLatin1String(name), QLatin1String(name) + QStringLiteral("-pw"),
                                                gatewicktest::homeFolder(env, QLatin1String(name))));
        QVERIFY(gatewicktest::createAccount(env, QStringLiteral("imported"), md5, gatewicktest::homeFolder(env, QStringLiteral("imported"))));
        QVERIFY(gatewicktest::createAccount(env, QStringLiteral("rooted"), QStringLiteral("rooted-pw"), QStringLiteral("/")));
        QVERIFY(QDir(env.path(QStringLiteral("ftp/homeless"))).removeRecursively());
        db->exec(QStringLiteral("update users set use_quota=1, quota_max=1048576, speed_limit_value='64', max_concurrent=2 where username='carol'"));
        db->exec(QStringLiteral("update users set disable_user=1 where username='off'"));
        db->exec(QStringLiteral("insert into blocked_ips (ip) values ('10.1.0.0/16')"));
        db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values ('bob', '10.2.*.*')"));
        db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values ('*', '10.3.3.3')"));

        // Name, password, client address, and what the reasons say ("|" between several).
        const QList<std::tuple<QString, QString, QString, QString>> cases{
            {"bob", "bob-pw", "127.0.0.1", "Password: matches the stored text.|IP rules: none matches 127.0.0.1."},
            {"carol", "carol-pw", "::ffff:127.0.0.1", "Quota: 1048576 bytes.|Speed limit: 65536 bytes per second each way.|Sessions: at most 2 at a time."},
            {"imported", "migrated", "127.0.0.1", "Password: matches the stored salted MD5 form."},
            {"imported", md5, "127.0.0.1", "Password: does not match the stored salted MD5 form. The log-in is refused."},
            {"bob", "", "127.0.0.1", "Password: none was given. The log-in is refused."},
            {"nobody", "pw", "127.0.0.1", "Account \"nobody\": not found."},
            {"off", "wrong", "127.0.0.1", "Disabled: yes (disable_user is 1). The log-in is refused.|Password: does not match the stored text."},
            {"rooted", "rooted-pw", "127.0.0.1", "Home folder \"/\": present, but it belongs to root"},
            {"homeless", "homeless-pw", "127.0.0.1", "/ftp/homeless\": missing. The log-in is refused."},
            {"bob", "bob-pw", "10.1.7.7", "IP rule \"10.1.0.0/16\" (global) matches 10.1.7.7. The log-in is refused."},
            {"bob", "bob-pw", "10.2.7.7", "IP rule \"10.2.*.*\" (the account's own) matches 10.2.7.7."},
            {"bob", "bob-pw", "10.3.3.3", "IP rule \"10.3.3.3\" (\"*\", for every account) matches 10.3.3.3."},
            {"bob", "bob-pw", "not an address", "IP rule \"10.1.0.0/16\" (global) refuses the unreadable address \"not an address\"."},
        };
        for (const auto& [name, password, address, reasons] : cases) {
            const QString label = name + QLatin1Char('/') + address;
            const auto handler = gatewicktest::runHandler(env.settingsPath(), name.toUtf8(), password.toUtf8(), address.toLatin1());
            QVERIFY2(handler.finished, qPrintable(label));
            const logincheck::Result test = logincheck::testLogin(env.context, name, password, address);
            const qsizetype replyAt = test.lines.indexOf(QStringLiteral("Reply to the FTP server:"));
            QStringList reply = test.lines.mid(replyAt + 1);
            for (QString& line : reply)
                line = line.trimmed();
            QVERIFY2(replyAt > 0 && reply == handler.lines, qPrintable(label + QStringLiteral(": ") + test.lines.join(QLatin1Char('\n'))));
            QVERIFY2((test.verdict == logincheck::Verdict::Allowed) == (handler.lines.value(0) == QLatin1String("auth_ok:1")), qPrintable(label));
            for (const QString& reason : reasons.split(QLatin1Char('|')))
                QVERIFY2(test.lines.join(QLatin1Char('\n')).contains(reason), qPrintable(label + QStringLiteral(": ") + reason));
        }

        // The command-line mode prints the same lines and tells the verdict by its exit status.
        for (const auto& [name, password, status] : {std::tuple{"carol", "carol-pw", 0}, std::tuple{"off", "off-pw", 3}}) {
            const ConsoleRun run = runVantrel({QStringLiteral("--test-login"), QLatin1String(name), QStringLiteral("127.0.0.1")},
                                              env.settingsPath(), QByteArray(password) + "\n");
            QVERIFY2(run.finished, qPrintable(run.errors));
            QCOMPARE(run.exitCode, status);
            QCOMPARE(run.lines(), logincheck::testLogin(env.context, QLatin1String(name), QLatin1String(password), QStringLiteral("127.0.0.1")).lines);
        }
    }

    void failsClosedWithoutADatabase()
    {
        TestEnvironment env;
        // No settings file at all, a folder in its place, and a database that is not there.
        QDir().mkpath(env.path(QStringLiteral("folder.ini")));
        for (const char* settings : {"missing.ini", "folder.ini"})
            QCOMPARE(gatewicktest::runHandler(env.path(QLatin1String(settings)), "bob", "pw").lines, QStringList({"auth_ok:-1", "end"}));
        env.settings.saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=") + env.path(QStringLiteral("none.db")));
        const auto answer = gatewicktest::runHandler(env.settingsPath(), "bob", "pw");
        QCOMPARE(answer.lines, QStringList({"auth_ok:-1", "end"}));
        QVERIFY(answer.errors.contains(QStringLiteral("Quering registry entry HKLM\\Software\\Orvane\\Serv-U\\ConnectionString succeeded.")));
        // A database without the tables refuses too: the handler never falls through.
        const QString empty = gatewicktest::writeFile(env.path(QStringLiteral("empty.db")), {});
        QVERIFY(!empty.isEmpty());
        env.settings.saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=") + empty);
        QCOMPARE(gatewicktest::runHandler(env.settingsPath(), "bob", "pw").lines, QStringList({"auth_ok:-1", "end"}));
    }
};

QUILLMERE_TEST(TestGatewick)
#include "TestGatewick.moc"
