#include "GatewickFixture.h"
#include "ProFtpdServer.h"
#include "TestMain.h"

#include "AuthRules.h"
#include "server/ProFtpdConfig.h"
#include "services/Session.h"

#include <map>

using namespace Qt::StringLiterals;

// End to end: the configuration the program writes, served by Debian's ProFTPD,
// with curl and a plain control connection as the clients. One server per engine
// runs through all rows; each row adds its own account (and folder), writes the
// configuration again and has the server re-read it.
namespace {

// One thing a client tries, and whether the server must allow it.
struct Attempt
{
    // login, retr, list, stor, appe, DELE, MKD, RMD; retr2 (files in one session), earn (an
    // upload of the first path, then downloads of the others, in one session),
    // slow (a retrieval that takes three seconds or more), second (a log-in while one
    // is held), greeting (the log-in reply holds the path's text), idle (the server
    // ends a silent session within 75 s), tally (quota_current holds the path's number)
    QString action;
    QString path; // relative to the account's home folder
    bool allowed = true;
    QString password = QStringLiteral("pw");
    QString from = QStringLiteral("127.0.0.1"); // the client's address
};

// One engine's database, environment and server, kept for all rows of that engine.
struct Rig
{
    TestEnvironment env;
    std::unique_ptr<TestDatabase> db;
    ProFtpdServer server;
    QString include;
    QString ftp;
};

} // namespace

Q_DECLARE_METATYPE(Attempt)

class TestProFtpd : public QObject
{
    Q_OBJECT

    std::map<TestEngine, std::unique_ptr<Rig>> m_rigs;

    // The rig of an engine, started on first use; nullptr with the reason when it cannot run here.
    Rig* rig(TestEngine engine, QString* whyNot, bool* engineMissing)
    {
        if (auto found = m_rigs.find(engine); found != m_rigs.end())
            return found->second.get();
        auto made = std::make_unique<Rig>();
        made->db = TestDatabase::create(engine, made->env, whyNot);
        *engineMissing = !made->db;
        if (!made->db)
            return nullptr;
        // The server's sessions run as the FTP folder's owner and must reach the folders and the database.
        made->ftp = gatewicktest::homeFolder(made->env, QString());
        made->env.settings.saveRegSetting(QStringLiteral("ftp_directory"), made->ftp);
        QProcess::execute(QStringLiteral("chmod"), {QStringLiteral("-R"), QStringLiteral("o+rX"), made->env.path({})});
        // On SQLite the sessions write the quota tally into the file, beside which its journal goes.
        if (engine == TestEngine::Sqlite)
            QProcess::execute(QStringLiteral("chown"), {QStringLiteral("65534:65534"), made->env.path({}), made->env.path(QStringLiteral("accounts.db"))});
        made->include = made->env.path(QStringLiteral("run/quillmere.conf"));
        QDir().mkpath(made->env.path(QStringLiteral("run")));
        if (!proftpd::writeConfiguration(made->env.settings.readConnectionString(), made->ftp, made->include, whyNot)
            || !made->server.start(made->env.path(QStringLiteral("run")), made->include, whyNot))
            return nullptr;
        // From here on the program keeps the file current and tells the server after every write.
        made->env.settings.saveRegSetting(QStringLiteral("proftpd_config"), made->include);
        made->env.settings.saveRegSetting(QStringLiteral("proftpd_pid"), made->server.pidFile());
        return m_rigs.emplace(engine, std::move(made)).first->second.get();
    }

    // A home folder with a file, a folder that holds another, and a folder for listing only.
    static QString makeHome(Rig& rig, const QString& name)
    {
        const QString home = rig.ftp + QLatin1Char('/') + name;
        for (const char* folder : {"sub/deep", "list-only", "empty"})
            QDir().mkpath(home + QLatin1Char('/') + QLatin1String(folder));
        for (const char* file : {"f.txt", "sub/s.txt", "sub/deep/d.txt", "list-only/x.txt"})
            gatewicktest::writeFile(home + QLatin1Char('/') + QLatin1String(file), "data\n");
        gatewicktest::writeFile(home + QStringLiteral("/big.bin"), QByteArray(40 * 1024, 'b'));
        gatewicktest::writeFile(home + QStringLiteral("/welcome.txt"), "Welcome to Quillmere\n");
        QProcess::execute(QStringLiteral("chown"), {QStringLiteral("-R"), QStringLiteral("65534:65534"), home});
        return home;
    }

    // Whether the server allowed the attempt.
    bool attempt(Rig& rig, const QString& user, const QString& home, const Attempt& a)
    {
        const QString url = rig.server.url(QLatin1Char('/') + a.path);
        QStringList more{QStringLiteral("--interface"), a.from, QStringLiteral("--ftp-method"), QStringLiteral("nocwd")};
        if (a.action == QLatin1String("retr") || a.action == QLatin1String("slow")) {
            more << url << QStringLiteral("--output") << QStringLiteral("/dev/null");
        } else if (a.action == QLatin1String("retr2") || a.action == QLatin1String("earn")) {
            QStringList paths = a.path.split(QLatin1Char('|'));
            if (a.action == QLatin1String("earn"))
                more << QStringLiteral("-T") << gatewicktest::writeFile(rig.env.path(QStringLiteral("upload.txt")), "more\n")
                     << rig.server.url(QLatin1Char('/') + paths.takeFirst());
            for (const QString& path : paths)
                more << rig.server.url(QLatin1Char('/') + path) << QStringLiteral("--output") << QStringLiteral("/dev/null");
        } else if (a.action == QLatin1String("list")) {
            more << QStringLiteral("--list-only") << url;
        } else if (a.action == QLatin1String("stor") || a.action == QLatin1String("appe")) {
            more << QStringLiteral("-T") << gatewicktest::writeFile(rig.env.path(QStringLiteral("upload.txt")), "more\n") << url;
            if (a.action == QLatin1String("appe"))
                more << QStringLiteral("--append");
        }
        if (more.size() > 4) {
            QElapsedTimer timer;
            timer.start();
            const gatewicktest::CurlRun run = gatewicktest::curl(user, a.password, more);
            // A listing the server refuses may also come back empty.
            return run.exit == 0 && (a.action != QLatin1String("list") || !run.out.trimmed().isEmpty())
                && (a.action != QLatin1String("slow") || timer.elapsed() >= 3000);
        }
        if (a.action == QLatin1String("tally")) {
            const QStringList stored = rig.db->column(QStringLiteral("select quota_current from users where username = '%1'").arg(user));
            return stored.size() == 1 && stored.first().toDouble() == a.path.toDouble();
        }
        gatewicktest::ControlConnection control, another;
        if (!control.open(rig.server.port(), a.from) || !control.login(user, a.password))
            return false;
        if (a.action == QLatin1String("second"))
            return another.open(rig.server.port(), a.from) && another.login(user, a.password);
        if (a.action == QLatin1String("greeting"))
            return control.text().contains(a.path);
        if (a.action == QLatin1String("idle"))
            return control.closedWithin(75000);
        if (a.action != QLatin1String("login")) // DELE, RMD or MKD, with the code of its success
            return control.send(a.action + QLatin1Char(' ') + home + QLatin1Char('/') + a.path) == (a.action == QLatin1String("MKD") ? 257 : 250);
        return true;
    }

private slots:
    void cleanupTestCase() { m_rigs.clear(); }

    void rulesApply_data()
    {
        QTest::addColumn<TestEngine>("engine");
        // Statements run after the account was made; {user} and {home} are filled in.
        QTest::addColumn<QStringList>("setup");
        QTest::addColumn<QList<Attempt>>("attempts");

        const auto entry = [](const QString& relative, const char* rights, int inherit) {
            return QStringLiteral("insert into dir_rights (username, directory, dir_rights, inherit_subdirs) values "
                                  "('{user}', '{home}%1', '%2', %3)")
                .arg(relative, QLatin1String(rights))
                .arg(inherit);
        };
        const auto rule = [](const char* user, const char* ip) {
            return QStringLiteral("insert into blocked_ips_by_user (username, ip) values ('%1', '%2')").arg(QLatin1String(user), QLatin1String(ip));
        };
        const auto update = [](const char* values) { return QStringLiteral("update users set %1 where username = '{user}'").arg(QLatin1String(values)); };
        const QString salted = QStringLiteral("xy") + gatewick::saltedMd5(QStringLiteral("xy"), QStringLiteral("secret"));
        const auto allow = [](const char* action, const char* path = "") { return Attempt{QLatin1String(action), QLatin1String(path), true}; };
        const auto refuse = [](const char* action, const char* path = "") { return Attempt{QLatin1String(action), QLatin1String(path), false}; };
        const auto from = [](const char* address, bool allowed) { return Attempt{u"login"_s, {}, allowed, u"pw"_s, QLatin1String(address)}; };
        const auto typed = [](const QString& password, bool allowed) { return Attempt{u"login"_s, {}, allowed, password}; };

        const QList<std::tuple<const char*, QStringList, QList<Attempt>>> rows{
            // Each letter opens its own commands and no other.
            {"R reads files", {entry({}, "R", 1)}, {allow("retr", "f.txt"), refuse("list", ""), refuse("stor", "new.txt")}},
            {"W writes files", {entry({}, "W", 1)}, {allow("stor", "new.txt"), refuse("retr", "f.txt"), refuse("appe", "f.txt")}},
            {"A appends", {entry({}, "A", 1)}, {allow("appe", "f.txt"), refuse("stor", "new.txt"), refuse("retr", "f.txt")}},
            {"M deletes files", {entry({}, "M", 1)}, {allow("DELE", "f.txt"), refuse("RMD", "empty"), refuse("retr", "sub/s.txt")}},
            {"E opens no command", {entry({}, "E", 1)}, {allow("login"), refuse("retr", "f.txt"), refuse("list", ""), refuse("stor", "e.txt")}},
            {"L lists", {entry({}, "L", 1)}, {allow("list", ""), allow("list", "sub/"), refuse("retr", "f.txt")}},
            {"C makes folders", {entry({}, "C", 1)}, {allow("MKD", "made"), refuse("RMD", "empty"), refuse("stor", "c.txt")}},
            {"D removes folders", {entry({}, "D", 1)}, {allow("RMD", "empty"), refuse("MKD", "made"), refuse("DELE", "f.txt")}},
            // Inherit carries the rights into every subfolder (a new account, below); without it they stop at the folder's own files.
            {"inherit off", {entry({}, "RL", 0)}, {allow("retr", "f.txt"), refuse("retr", "sub/s.txt"), refuse("retr", "sub/deep/d.txt")}},
            // The first entry decides: the folder that may only be listed comes before the home folder.
            {"listed but not read", {entry(QStringLiteral("/list-only"), "L", 1), entry({}, "RL", 1)},
             {allow("list", "list-only/"), refuse("retr", "list-only/x.txt"), allow("retr", "f.txt")}},
            // Without an entry nothing is reached; a plain password is compared as stored.
            {"no entry, plain password", {}, {allow("login"), refuse("list", ""), refuse("retr", "f.txt"), typed(u"pW"_s, false)}},
            // The salted form opens with the password it was made from, never with the stored text itself.
            {"salted password", {update("password = '%1'").arg(salted), entry({}, "RL", 1)},
             {typed(u"secret"_s, true), typed(salted, false), typed(u"secreT"_s, false), Attempt{u"retr"_s, u"f.txt"_s, true, u"secret"_s}}},
            {"disabled by 2", {update("disable_user = 2")}, {refuse("login")}},
            // IP rules: the account's own, those of "*" and the global ones, exact, as a block and with "*" parts.
            {"own rules", {rule("{user}", "127.0.0.7"), rule("{user}", "127.0.0.16/30"), rule("{user}", "127.0.*.21")},
             {from("127.0.0.7", false), from("127.0.0.17", false), from("127.0.0.19", false), from("127.0.0.20", true),
              from("127.0.5.21", false), from("127.0.5.22", true)}},
            {"rules of * and global rules",
             {rule("*", "127.0.0.23"), QStringLiteral("insert into blocked_ips (ip) values ('127.0.0.25')"),
              QStringLiteral("insert into blocked_ips (ip) values ('127.0.1.0/24')")},
             {from("127.0.0.23", false), from("127.0.0.24", true), from("127.0.0.25", false), from("127.0.1.9", false), from("127.0.2.9", true)}},
            // The quota's limit in bytes, with the live tally in quota_current.
            {"quota", {entry({}, "RWL", 1), update("use_quota = 1, quota_max = 12")},
             {allow("stor", "q1.txt"), allow("stor", "q2.txt"), refuse("stor", "q3.txt"), allow("tally", "10")}},
            {"quota off", {entry({}, "RWL", 1), update("use_quota = 0, quota_max = 12")},
             {allow("stor", "q1.txt"), allow("stor", "q2.txt"), allow("stor", "q3.txt"), allow("tally", "0")}},
            {"speed limit", {entry({}, "RL", 1), update("speed_limit_value = '8'")}, {allow("slow", "big.bin")}},
            // A new account: inherit on, no speed limit, one session at a time.
            {"inherit on, no speed limit, one session", {entry({}, "RL", 1)},
             {allow("retr2", "f.txt|sub/deep/d.txt"), allow("list", "sub/"), refuse("slow", "big.bin"), refuse("second")}},
            {"three sessions, enabled by 0", {update("max_concurrent = 3, max_logins_per_ip = 3, disable_user = 0")}, {allow("second")}},
            {"one per address", {update("max_concurrent = 3, max_logins_per_ip = 1")}, {refuse("second")}},
            {"one login per address", {update("max_concurrent = 3, max_logins_per_ip = 0, one_login_per_ip = 1")}, {refuse("second")}},
            {"log-in message", {update("login_msg_file = '{home}/welcome.txt'")}, {allow("greeting", "Welcome to Quillmere")}},
            // Ratios: an upload earns two downloads; a credit of 40 KB lets 40 KB be read.
            {"ratio of files", {entry({}, "RWL", 1), update("ratio_type = 'FilesPerSession', ratio_up = 1, ratio_down = 2, ratio_current_credit = 0")},
             {refuse("retr", "f.txt"), allow("earn", "e1.txt|f.txt|sub/s.txt"), refuse("earn", "e2.txt|f.txt|sub/s.txt|sub/deep/d.txt")}},
            {"ratio of bytes", {entry({}, "RL", 1), update("ratio_type = 'BytesOverall', ratio_up = 1, ratio_down = 1, ratio_current_credit = 40960")},
             {allow("retr", "big.bin"), refuse("retr2", "big.bin|big.bin")}},
        };
        for (TestEngine engine : {TestEngine::Sqlite, TestEngine::PostgreSql}) {
            for (const auto& [name, setup, attempts] : rows) {
                QTest::addRow("%s: %s", engine == TestEngine::Sqlite ? "sqlite" : "postgresql", name) << engine << setup << attempts;
            }
        }
        // A time-out is configuration alone, read from the row like every other option: one engine shows it.
        QTest::addRow("sqlite: idle time-out") << TestEngine::Sqlite << QStringList{update("timeout = 1")} << QList<Attempt>{allow("idle")};
    }

    void rulesApply()
    {
        QUILLMERE_REQUIRE_AVAILABLE(ProFtpdServer::unavailableReason());
        QFETCH(TestEngine, engine);
        QFETCH(QStringList, setup);
        QFETCH(QList<Attempt>, attempts);
        QString whyNot;
        bool engineMissing = false;
        Rig* r = rig(engine, &whyNot, &engineMissing);
        if (engineMissing)
            QUILLMERE_REQUIRE_AVAILABLE(whyNot);
        QVERIFY2(r, qPrintable(whyNot));

        static int accounts = 0;
        const QString user = QStringLiteral("pf%1").arg(++accounts);
        const QString home = makeHome(*r, user);
        // The account comes from the program's own save, its rules from a session of the
        // program; each write has the server re-read the file the program wrote again.
        int reloads = r->server.reloads();
        QVERIFY(gatewicktest::createAccount(r->env, user, QStringLiteral("pw"), home));
        QVERIFY2(r->server.awaitReload(reloads), qPrintable(r->server.log().right(1000)));
        if (!setup.isEmpty()) {
            reloads = r->server.reloads();
            Session session(r->env.context);
            QVERIFY(session.open());
            for (QString statement : setup)
                QVERIFY(session.execute(statement.replace(QLatin1String("{user}"), user).replace(QLatin1String("{home}"), home)));
            session.close();
            QVERIFY2(r->server.awaitReload(reloads), qPrintable(r->server.log().right(1000)));
        }
        QCOMPARE(r->env.prompter.messages().size(), 0);

        for (const Attempt& a : attempts) {
            const bool allowed = attempt(*r, user, home, a);
            const QString what = QStringList{a.action, a.path, a.password, a.from}.join(QLatin1Char(' '));
            QVERIFY2(allowed == a.allowed, qPrintable(what + QStringLiteral(" went the other way\n") + r->server.log().right(2500)));
        }
    }
};

QUILLMERE_TEST(TestProFtpd)
#include "TestProFtpd.moc"
