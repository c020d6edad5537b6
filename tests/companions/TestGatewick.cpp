#include "GatewickFixture.h"
#include "ProgramUnderTest.h"
#include "PureFtpdServer.h"
#include "TestMain.h"

#include "AuthHandler.h"
#include "AuthRules.h"
#include "ConsoleRun.h"

#include "app/MainWindow.h"
#include "server/IpRulesWindow.h"
#include "server/LoginCheck.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>

using namespace Qt::StringLiterals;

// The authentication handler: the judgements that need no database, then the program
// against real databases on both engines, beside the test log-in that runs its decision,
// and a real pure-ftpd asking it through pure-authd, with curl as the client.
class TestGatewick : public QObject
{
    Q_OBJECT

    struct Answer
    {
        QStringList lines;
        QString errors;
        bool finished = false;
    };

    // Runs the handler with pure-authd's variables, through the shell's printf, so that
    // account and password bytes that are no text reach it as they are.
    static Answer runHandler(const QString& settingsFile, const QByteArray& account, const QByteArray& password,
                             const QByteArray& address = "127.0.0.1")
    {
        const auto octal = [](const QByteArray& bytes) {
            QString escaped;
            for (const char byte : bytes)
                escaped += u"\\%1"_s.arg(static_cast<uchar>(byte), 3, 8, QLatin1Char('0'));
            return escaped;
        };
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QUILLMERE_SETTINGS"_s, settingsFile);
        environment.insert(u"AUTHD_REMOTE_IP"_s, QString::fromLatin1(address));
        environment.insert(u"ACCOUNT_BYTES"_s, octal(account));
        environment.insert(u"PASSWORD_BYTES"_s, octal(password));
        environment.insert(u"HANDLER"_s, QStringLiteral(QUILLMERE_BIN_DIR "/gatewick"));
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(u"sh"_s, {u"-c"_s, uR"sh(AUTHD_ACCOUNT="$(printf "$ACCOUNT_BYTES")" AUTHD_PASSWORD="$(printf "$PASSWORD_BYTES")" exec "$HANDLER")sh"_s});
        Answer answer;
        answer.finished = process.waitForFinished(10000);
        answer.lines = QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        answer.errors = QString::fromUtf8(process.readAllStandardError());
        return answer;
    }

private slots:
    // Rule forms and client addresses that the log-ins below do not show.
    void ipRules_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QString>("address");
        QTest::addColumn<bool>("matches");
        QTest::newRow("cidr /0") << "1.2.3.4/0" << "200.1.1.1" << true;
        QTest::newRow("empty part is 0") << "1..2.3" << "1.0.2.3" << true;
        QTest::newRow("leading number of a part") << "10.0.0.5x" << "10.0.0.5" << true;
        QTest::newRow("three parts") << "192.168.1" << "192.168.1.0" << false;
        QTest::newRow("out of range") << "1.2.3.256" << "1.2.3.0" << false;
        QTest::newRow("bad prefix") << "1.2.3.4/33" << "1.2.3.4" << false;
        QTest::newRow("empty rule") << "" << "1.2.3.4" << false;
        QTest::newRow("mapped, hexadecimal") << "10.1.2.3" << "::FFFF:0a01:0203" << true;
        QTest::newRow("ipv6 client, all parts *") << "*.*.*.*" << "2001:db8::1" << true;
        QTest::newRow("ipv6 client, ipv4 rule") << "0.0.0.0/0" << "2001:db8::1" << false;
        QTest::newRow("short dotted form, unreadable") << "9.9.9.9" << "1.2.3" << true;
        QTest::newRow("unreadable address, blank rule") << " " << "garbage" << false;
    }
    void ipRules()
    {
        QFETCH(QString, rule);
        QFETCH(QString, address);
        QTEST(gatewick::ipRuleMatches(rule, address), "matches");
    }

    // The forms the log-ins below do not show: the case of a plain password, the salted
    // form's hash against a separate MD5, and the hash stored in lower case.
    void passwords()
    {
        QVERIFY(!gatewick::passwordMatches(u"s3cret"_s, u"S3cret"_s));
        const QString stored = u"kx"_s + gatewick::saltedMd5(u"kx"_s, u"opensesame"_s);
        QCOMPARE(stored.mid(2), QString::fromLatin1(QCryptographicHash::hash("kxopensesame", QCryptographicHash::Md5).toHex()));
        QVERIFY(gatewick::passwordMatches(stored, u"opensesame"_s));
    }

    // Every query the FTP server's plug-in may run, the handler's answers to good and bad
    // log-ins, and the test log-in coming to the same reply with its reasons.
    void answersToLogins_data() { addEngineRows(); }
    void answersToLogins()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        // A server where backslashes escape in literals unless the session says otherwise.
        if (engine == TestEngine::PostgreSql)
            db->exec(u"ALTER DATABASE %1 SET standard_conforming_strings = off"_s.arg(db->column(u"select current_database()"_s).value(0)));
        const QString md5 = u"kx"_s + gatewick::saltedMd5(u"kx"_s, u"migrated"_s).toUpper();
        for (const QString& name : {u"bob"_s, u"carol"_s, u"off"_s, u"homeless"_s, u"CORP\\ann"_s})
            QVERIFY(gatewicktest::createAccount(env, name, name + u"-pw"_s, gatewicktest::homeFolder(env, name)));
        QVERIFY(gatewicktest::createAccount(env, u"imported"_s, md5, gatewicktest::homeFolder(env, u"imported"_s)));
        QVERIFY(gatewicktest::createAccount(env, u"rooted"_s, u"rooted-pw"_s, u"/"_s));
        // Capitals in a home folder name another folder on this file system; start-up's lower-casing keeps them.
        QVERIFY(gatewicktest::createAccount(env, u"judy"_s, u"judy-pw"_s, gatewicktest::homeFolder(env, u"judy/Incoming"_s)));
        QVERIFY(QDir(env.path(u"ftp/homeless"_s)).removeRecursively());
        // The program starts on this database, and bob's own rule is added in its IP Access dialog.
        ProgramUnderTest program;
        program.configure(db->connectionString());
        program.start();
        auto* users = program.windows.main().findChild<QListWidget*>(u"lstUsers"_s);
        QTest::mouseClick(users->viewport(), Qt::LeftButton, {}, users->visualItemRect(users->findItems(u"bob"_s, Qt::MatchExactly).value(0)).center());
        // The buttons come on with the windows' timers.
        const auto click = [](QWidget& window, const char* name) {
            auto* button = window.findChild<QPushButton*>(QLatin1String(name));
            QVERIFY(QTest::qWaitFor([button] { return button->isEnabled(); }));
            QTest::mouseClick(button, Qt::LeftButton);
        };
        click(program.windows.main(), "cmdIPAccess");
        QTest::keyClicks(program.windows.ipAccess().findChild<QLineEdit*>(u"txtIPaddress"_s), u"127.2.0.0/16"_s);
        click(program.windows.ipAccess(), "cmdAdd");
        click(program.windows.ipAccess(), "cmdOK");
        QCOMPARE(db->column(u"select ip from blocked_ips_by_user where username='bob'"_s), QStringList{"127.2.0.0/16"});
        QCOMPARE(db->column(u"select username from users where username like 'CORP%'"_s), QStringList{"CORP\\ann"});
        db->exec(u"update users set use_quota=1, quota_max=2048, ratio_type='BytesOverall', ratio_up=1, ratio_down=4, "
                 "speed_limit_value='64', max_concurrent=2 where username='carol'"_s);
        db->exec(u"insert into blocked_ips (ip) values ('127.1.0.0/16')"_s);
        db->exec(u"insert into blocked_ips_by_user (username, ip) values ('*', '127.3.*.3')"_s);
        const QString settings = env.settingsPath();

        for (const auto& query : gatewick::contractQueries()) {
            const QString sql = gatewick::contractQuery(query.text, QLatin1String(query.table),
                                                        QLatin1String(query.table) == "sign_files"_L1 ? u"127.0.0.1"_s : u"bob"_s);
            QVERIFY2(db->database().select(sql).isValid(), qPrintable(db->database().lastError() + u"\n  in: "_s + sql));
        }

        // Any stored flag but 0 disables; text that is no number counts as set.
        QStringList flags{"0", "2", "-1", "1"};
        if (engine == TestEngine::Sqlite)
            flags.insert(1, u"'true'"_s);
        for (const QString& flag : flags) {
            db->exec(u"update users set disable_user=%1 where username='off'"_s.arg(flag));
            QCOMPARE(runHandler(settings, "off", "off-pw").lines.value(0), flag == "0"_L1 ? u"auth_ok:1"_s : u"auth_ok:-1"_s);
        }

        // Account, password, client address, the reply's first line (1 allowed, -1 refused,
        // 0 unknown, bad input among them), and what the test log-in's reasons say.
        const QList<std::tuple<QByteArray, QByteArray, QByteArray, QString, QString>> cases{
            {"bob", "bob-pw", "127.0.0.1", "1", "Password: matches the stored text.|IP rules: none matches 127.0.0.1."},
            {"carol", "carol-pw", "::ffff:127.0.0.1", "1", "Quota: 2048 bytes.|Speed limit: 65536 bytes per second each way.|Sessions: at most 2 at a time."},
            {"rooted", "rooted-pw", "127.0.0.1", "-1", "Home folder \"/\": present, but it belongs to root"},
            {"imported", "migrated", "127.0.0.1", "1", "Password: matches the stored salted MD5 form."},
            {"imported", md5.toLatin1(), "127.0.0.1", "-1", "Password: does not match the stored salted MD5 form. The log-in is refused."},
            {"CORP\\ann", "CORP\\ann-pw", "127.0.0.1", "1", ""},
            {"bob", "", "127.0.0.1", "-1", "Password: none was given. The log-in is refused."},
            {"bob", "wrong", "127.0.0.1", "-1", "Password: does not match the stored text."},
            {"bob", "bob\xff-pw", "127.0.0.1", "-1", ""},
            {"nobody", "pw", "127.0.0.1", "0", "Account \"nobody\": not found."},
            {"x' OR '1'='1", "bob-pw", "127.0.0.1", "0", ""},
            {QByteArray(10000, 'b'), "bob-pw", "127.0.0.1", "0", ""},
            {"x\\' OR 1=1--", "bob-pw", "127.0.0.1", "0", ""},
            {"x\\'; update users set password=chr(65)--", "A", "127.0.0.1", "0", ""},
            {"off", "wrong", "127.0.0.1", "-1", "Disabled: yes (disable_user is 1). The log-in is refused.|Password: does not match the stored text."},
            {"homeless", "homeless-pw", "127.0.0.1", "-1", "/ftp/homeless\": missing. The log-in is refused."},
            {"bob", "bob-pw", "127.1.7.7", "-1", "IP rule \"127.1.0.0/16\" (global) matches 127.1.7.7. The log-in is refused."},
            {"bob", "bob-pw", "127.2.7.7", "-1", "IP rule \"127.2.0.0/16\" (the account's own) matches 127.2.7.7."},
            {"bob", "bob-pw", "127.3.3.3", "-1", "IP rule \"127.3.*.3\" (\"*\", for every account) matches 127.3.3.3."},
            {"imported", "migrated", "127.2.7.7", "1", ""},
            {"bob", "bob-pw", "2001:db8::1", "1", ""},
            {"bob", "bob-pw", "not an address", "-1", "IP rule \"127.1.0.0/16\" (global) refuses the unreadable address \"not an address\"."},
        };
        QList<Answer> answers;
        for (const auto& [account, password, address, first, reasons] : cases) {
            const QString label = QString::fromUtf8(account.left(20) + '/' + address);
            const Answer& handler = answers.emplace_back(runHandler(settings, account, password, address));
            QVERIFY2(handler.finished, qPrintable(label));
            QVERIFY2(handler.lines.value(0) == u"auth_ok:"_s + first && handler.lines.endsWith(u"end"_s), qPrintable(label + handler.errors));
            if (first != "1"_L1)
                QCOMPARE(handler.lines.size(), 2);
            const logincheck::Result test =
                logincheck::testLogin(env.context, QString::fromUtf8(account), QString::fromUtf8(password), QString::fromLatin1(address));
            const qsizetype replyAt = test.lines.indexOf(u"Reply to the FTP server:"_s);
            QStringList reply = test.lines.mid(replyAt + 1);
            for (QString& line : reply)
                line = line.trimmed();
            QVERIFY2(replyAt > 0 && reply == handler.lines, qPrintable(label + u": "_s + test.lines.join(QLatin1Char('\n'))));
            QCOMPARE(test.verdict == logincheck::Verdict::Allowed, first == "1"_L1);
            for (const QString& reason : reasons.split(QLatin1Char('|'), Qt::SkipEmptyParts))
                QVERIFY2(test.lines.join(QLatin1Char('\n')).contains(reason), qPrintable(label + u": "_s + reason));
        }
        // What the replies' lines do, pure-ftpd shows below. Traces go to standard error, never into the reply.
        const Answer& bob = answers[0];
        QVERIFY(bob.errors.contains(u"Connection to server opened."_s));
        QVERIFY(!bob.lines.join(QLatin1Char('\n')).contains(u"Connection"_s));
        QVERIFY(answers[2].errors.contains(u"belongs to root"_s));
        QCOMPARE(db->column(u"select password from users where username='bob'"_s), QStringList{"bob-pw"});

        // The command-line mode prints the same lines and tells the verdict by its exit status.
        for (const auto& [name, password, status] : {std::tuple{"carol", "carol-pw", 0}, std::tuple{"off", "off-pw", 3}}) {
            const ConsoleRun run = runVantrel({u"--test-login"_s, QLatin1String(name), u"127.0.0.1"_s}, settings, QByteArray(password) + "\n");
            QVERIFY2(run.finished, qPrintable(run.errors));
            QCOMPARE(run.exitCode, status);
            QCOMPARE(run.lines(), logincheck::testLogin(env.context, QLatin1String(name), QLatin1String(password), u"127.0.0.1"_s).lines);
        }

        // The same accounts through pure-ftpd, which keeps to the replies: the home folders
        // (one with capitals), the salted password, carol's limits, refusals, and one session of bob's at a time.
        QUILLMERE_REQUIRE_AVAILABLE(PureFtpdServer::unavailableReason());
        PureFtpdServer server;
        QString whyNot;
        QVERIFY2(server.start(settings, &whyNot), qPrintable(whyNot));
        const auto ftp = [&server](const char* user, const QString& password, const QStringList& more = {}) {
            return gatewicktest::curl(QLatin1String(user), password, more.isEmpty() ? QStringList{u"--list-only"_s, server.url()} : more);
        };
        const QString report = gatewicktest::writeFile(env.path(u"report.txt"_s), "quarterly figures\n");
        for (const char* user : {"bob", "judy"})
            QCOMPARE(ftp(user, QLatin1String(user) + u"-pw"_s, {u"-T"_s, report, server.url(u"/report.txt"_s)}).exit, 0);
        QVERIFY(ftp("bob", u"bob-pw"_s).out.contains("report.txt"));
        QVERIFY(QFile::exists(env.path(u"ftp/judy/Incoming/report.txt"_s)));
        QCOMPARE(ftp("imported", u"migrated"_s).exit, 0);
        const gatewicktest::CurlRun carol = ftp("carol", u"carol-pw"_s, {u"--verbose"_s, u"--list-only"_s, server.url()});
        QVERIFY2(carol.errors.contains("You must respect a 1:4 (UL/DL) ratio") && carol.errors.contains("Your bandwidth usage is restricted"),
                 carol.errors.constData());
        // carol's quota of 2 KB takes a small file and refuses a large one.
        for (const int size : {1000, 5000}) {
            const QString local = gatewicktest::writeFile(env.path(u"upload.bin"_s), QByteArray(size, 'q'));
            QCOMPARE(ftp("carol", u"carol-pw"_s, {u"-T"_s, local, server.url(u"/%1.bin"_s.arg(size))}).exit == 0, size == 1000);
            QCOMPARE(QFile::exists(env.path(u"ftp/carol/%1.bin"_s.arg(size))), size == 1000);
        }
        // The server delays every refusal by seconds, so the refusals run side by side.
        const QList<QStringList> refusals{{"bob", "wrong", "127.0.0.1"}, {"off", "off-pw", "127.0.0.1"}, {"carol", "carol-pw", "127.1.7.7"},
                                          {"bob", "bob-pw", "127.2.7.7"}, {"nobody", "pw", "127.0.0.1"}};
        std::vector<std::unique_ptr<QProcess>> running;
        for (const QStringList& each : refusals) {
            running.push_back(std::make_unique<QProcess>());
            running.back()->start(u"curl"_s, PureFtpdServer::curlArguments(each[0], each[1], {u"--interface"_s, each[2], u"--list-only"_s, server.url()}));
        }
        for (size_t i = 0; i < running.size(); ++i) {
            running[i]->waitForFinished(60000);
            QVERIFY2(running[i]->exitCode() == 67, qPrintable(refusals[int(i)].join(u' ') + QString::fromUtf8(running[i]->readAllStandardError())));
        }
        gatewicktest::ControlConnection held;
        QVERIFY(held.open(server.port()) && held.login(u"bob"_s, u"bob-pw"_s));
        QVERIFY(ftp("bob", u"bob-pw"_s).exit != 0);
    }

    // No settings file, a database that is not there, and one without the tables: the handler refuses, never falls through.
    void failsClosedWithoutADatabase()
    {
        TestEnvironment env;
        const QStringList refused{"auth_ok:-1", "end"};
        QCOMPARE(runHandler(env.path(u"missing.ini"_s), "bob", "pw").lines, refused);
        for (const QString& file : {env.path(u"none.db"_s), gatewicktest::writeFile(env.path(u"empty.db"_s), {})}) {
            env.settings.saveConnectionString(u"Provider=SQLite;Data Source="_s + file);
            const Answer answer = runHandler(env.settingsPath(), "bob", "pw");
            QCOMPARE(answer.lines, refused);
            QVERIFY(answer.errors.contains(u"Quering registry entry HKLM\\Software\\Orvane\\Serv-U\\ConnectionString succeeded."_s));
        }
    }
};

QUILLMERE_TEST(TestGatewick)
#include "TestGatewick.moc"
