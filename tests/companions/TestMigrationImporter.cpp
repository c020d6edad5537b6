#include "GatewickFixture.h"
#include "TestMain.h"

#include "AccountStatements.h"
#include "MigrationImporter.h"

#include "db/Schema.h"
#include "db/SqlText.h"

#include <QtTest>

#include <memory>

using namespace migration;
using namespace Qt::StringLiterals;

namespace {

const QString SaltedPassword = u"hx0123456789abcdef0123456789abcdef"_s;

MigratedAccount account(const QString& name, const QString& directory = {}, const QString& ip = {})
{
    MigratedAccount made;
    made.name = name;
    made.password = u"pw-"_s + name;
    made.homedir = u"/srv/ftp/"_s + name.toLower();
    if (!directory.isEmpty())
        made.access.append({directory, u"RL"_s, true});
    if (!ip.isEmpty())
        made.deniedIps.append(ip);
    return made;
}

// Every value the model can carry, each different from what a new account has.
MigratedAccount fullAccount()
{
    return {.name = "fullfield", .password = SaltedPassword, .homedir = "D:\\FTP\\Full", .comments = "first line\r\nsecond line",
            .access = {{"/srv/ftp/full", "RWAMELCD", true}, {"/srv/ftp/Public", "RL", false}, {"/srv/ftp/drop", "W", true}},
            .deniedIps = {"10.1.2.3", "192.168.*.*"}, .disabled = true, .expires = "12/31/2031", .idleTimeoutMinutes = 5,
            .sessionTimeoutMinutes = 120, .maxConcurrent = 3, .maxLoginsPerIp = 2, .oneLoginPerIp = false, .speedLimitKBps = "64.5",
            .useQuota = true, .quotaMaxBytes = 5.0 * 1024 * 1024, .quotaCurrentBytes = 1024.0 * 1024, .ratioType = "BytesOverall",
            .ratioUp = 1, .ratioDown = 3, .ratioCredit = 2.0 * 1024 * 1024, .relativePaths = true, .hideHiddenFiles = true,
            .alwaysLogin = true, .loginMessageFile = "/srv/ftp/welcome.txt", .maintenance = "1", .notCarried = {}};
}

MigrationSource sourceOf(const QList<MigratedAccount>& accounts, const QStringList& globalRules = {})
{
    return {.generation = Generation::V4, .iniPath = u"/srv/ftp-server/ServUDaemon.ini"_s, .accounts = accounts, .globalDeniedIps = globalRules,
            .notCarried = {}, .warnings = {}};
}

// Every row of every table as "table:value|value|...", in the order the engine returns them.
QStringList snapshot(TestDatabase& db)
{
    QStringList lines;
    for (const schema::Table& table : schema::accountTables()) {
        Rows rows = db.database().select(u"select * from "_s + table.name);
        for (QStringList cells; rows.next(); cells.clear()) {
            for (const schema::Column& column : table.columns)
                cells << (rows.isNull(column.name) ? u"NULL"_s : rows.text(column.name));
            lines << table.name + QLatin1Char(':') + cells.join(QLatin1Char('|'));
        }
    }
    return lines;
}

// Every column of the account's users row by name; "NULL" for a null.
QMap<QString, QString> userRow(TestDatabase& db, const QString& name)
{
    QMap<QString, QString> values;
    Rows rows = db.database().select(u"select * from users where username="_s + sqlQuote(name));
    if (rows.next()) {
        for (const schema::Column& column : schema::table(u"users"_s).columns)
            values.insert(column.name, rows.isNull(column.name) ? u"NULL"_s : rows.text(column.name));
    }
    return values;
}

QStringList directoryRows(TestDatabase& db, const QString& name)
{
    return db.column(u"select directory || ',' || dir_rights || ',' || inherit_subdirs from dir_rights where username="_s + sqlQuote(name));
}

QStringList deniedRows(TestDatabase& db, const QString& name)
{
    return db.column(u"select ip from blocked_ips_by_user where username="_s + sqlQuote(name));
}

void verifyContains(const QString& summary, const QStringList& parts)
{
    for (const QString& part : parts) {
        if (!summary.contains(part))
            QTest::qFail(qPrintable(part + u"\n--- in ---\n"_s + summary), __FILE__, __LINE__);
    }
}

} // namespace

// The importer on both engines: what lands in which column, existing accounts,
// running again, and a database that fails half-way.
class TestMigrationImporter : public QObject
{
    Q_OBJECT

private slots:
    void everyValueLandsInItsColumn_data() { addEngineRows(); }
    void everyValueLandsInItsColumn()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        QVERIFY(gatewicktest::createAccount(env, u"reference"_s, u"old-pw"_s, gatewicktest::homeFolder(env, u"reference"_s)));
        MigratedAccount quoted = account(u"O'Brien"_s);
        quoted.homedir = u"/srv/ftp/o'brien \"home\" %1"_s;
        quoted.password = u"it's%1"_s;
        quoted.comments = u"Paddy's \"spare\" account; 50% off %2"_s;
        quoted.access = {{u"/srv/ftp/o'brien's"_s, u"RL"_s, false}};
        MigratedAccount minimal = account(u"minimal"_s), noted = account(u"noted"_s);
        minimal.password.clear();
        noted.comments = QString(250, QLatin1Char('a')) + u"bcdefghij"_s;
        noted.notCarried = {{QString(), u"ChangePassword"_s, u"1"_s, u"no such right"_s}};
        // Values a column cannot hold fail their account before anything of it is sent.
        const QList<std::pair<QString, std::function<void(MigratedAccount&)>>> refusals{
            {"no home folder", [](MigratedAccount& a) { a.homedir.clear(); }},
            {"no name", [](MigratedAccount& a) { a.name = u"  "_s; }},
            {"the name is 51 characters long; the database takes at most 50", [](MigratedAccount& a) { a.name = QString(51, u'n'); }},
            {"the rights of \"/x\"", [](MigratedAccount& a) { a.access = {{"/x", "RWAMELCDX", false}}; }},
            {"the IP rule \"192.168.100.0/24\" is 16 characters long", [](MigratedAccount& a) { a.deniedIps = {"192.168.100.0/24"}; }},
            {"IP rules is empty", [](MigratedAccount& a) { a.deniedIps = {QString()}; }},
            {"the folder \"%2ddd", [](MigratedAccount& a) { a.access = {{"%2" + QString(511, u'd'), "R", false}}; }},
        };
        QList<MigratedAccount> accounts{fullAccount(), quoted, minimal, noted};
        for (const auto& [reason, change] : refusals) {
            accounts << account(accounts.size() == 4 ? u"homeless"_s : u"refused%1"_s.arg(accounts.size()));
            change(accounts.last());
        }
        MigrationSource source = sourceOf(accounts, {u"10.0.0.1"_s});
        source.notCarried = {{QString(), u"[GLOBAL] MaxUsers"_s, u"20"_s, u"a server setting"_s}};
        source.warnings = {u"The section [GLOBAL] appears twice."_s};

        const ImportReport report = MigrationImporter(db->connectionString()).run(source, {}, {});
        QVERIFY2(report.stoppedBy.isEmpty(), qPrintable(report.stoppedBy));
        QCOMPARE(report.imported, (QStringList{"fullfield", "O'Brien", "minimal", "noted"}));
        QCOMPARE(report.failed.size(), refusals.size());
        for (qsizetype index = 0; index < refusals.size(); ++index)
            QVERIFY2(report.failureReasons.value(report.failed[index]).contains(refusals[index].first), qPrintable(refusals[index].first));
        QCOMPARE(db->count(u"select username from users"_s), 5);

        // Minutes, bytes and kilobytes per second are stored as the model gives them.
        const QMap<QString, QString> full = userRow(*db, u"fullfield"_s);
        const QMap<QString, QString> expected{
            {"username", "fullfield"}, {"homedir", "d:\\ftp\\full"}, {"login_msg_file", "/srv/ftp/welcome.txt"}, {"password", SaltedPassword},
            {"hide_hidden_files", "1"}, {"rel_path", "1"}, {"ratio_type", "BytesOverall"}, {"ratio_down", "3"}, {"ratio_up", "1"},
            {"ratio_current_credit", "2097152"}, {"use_quota", "1"}, {"quota_max", "5242880"}, {"quota_current", "1048576"},
            {"always_login", "1"}, {"one_login_per_ip", "0"}, {"speed_limit_value", "64.5"}, {"timeout", "5"}, {"maintenance", "1"},
            {"session_timeout", "120"}, {"max_concurrent", "3"}, {"max_logins_per_ip", "2"}, {"disable_user", "1"},
            {"comments", "first line\r\nsecond line"}, {"Expires", "12/31/2031"}, {"DisableOn", "NULL"}};
        for (auto column = expected.cbegin(); column != expected.cend(); ++column)
            QVERIFY2(full.value(column.key()) == column.value(), qPrintable(column.key() + u": "_s + full.value(column.key())));
        // A Windows path is stored lower-cased, a POSIX path as it stands.
        QCOMPARE(directoryRows(*db, u"fullfield"_s), (QStringList{"/srv/ftp/full,RWAMELCD,1", "/srv/ftp/Public,RL,0", "/srv/ftp/drop,W,1"}));
        QCOMPARE(deniedRows(*db, u"fullfield"_s), (QStringList{"10.1.2.3", "192.168.*.*"}));

        // Quotes and placeholders are stored exactly; notes longer than the column are cut.
        const QMap<QString, QString> obrien = userRow(*db, u"O'Brien"_s);
        QCOMPARE((QStringList{obrien.value("homedir"), obrien.value("password"), obrien.value("comments")}),
                 (QStringList{quoted.homedir, quoted.password, quoted.comments}));
        QCOMPARE(directoryRows(*db, u"O'Brien"_s), QStringList{"/srv/ftp/o'brien's,RL,0"});
        QCOMPARE(userRow(*db, u"noted"_s).value(u"comments"_s), QString(250, QLatin1Char('a')) + u"bcdefg"_s);

        // What the model leaves open is as the user page's save gives a new account; no password is NULL.
        QMap<QString, QString> bare = userRow(*db, u"minimal"_s);
        QMap<QString, QString> reference = userRow(*db, u"reference"_s);
        QCOMPARE(bare.value(u"password"_s), u"NULL"_s);
        for (const char* own : {"username", "homedir", "password"}) {
            bare.remove(QLatin1String(own));
            reference.remove(QLatin1String(own));
        }
        QCOMPARE(bare, reference);

        verifyContains(summaryText(source, report),
                       {u"INI file: /srv/ftp-server/ServUDaemon.ini (FTP server 4.0 and later)"_s, u"Accounts in the INI file: 11"_s,
                        u"Imported accounts (4):\n    fullfield\n    O'Brien\n    minimal\n    noted\n"_s,
                        u"Failed accounts (nothing written) (7):\n    homeless: the account has no home folder\n"_s,
                        u"Server-wide IP deny rules added (1):\n    10.0.0.1\n"_s, u"    noted: ChangePassword = 1 (no such right)\n"_s,
                        u"    (server): [GLOBAL] MaxUsers = 20 (a server setting)\n"_s, u"this part is left out: hij\n"_s,
                        u"Warnings (1):\n    The section [GLOBAL] appears twice.\n"_s});
    }

    // Server-wide rules are added once and only when valid, an existing account is
    // skipped with all its rows, a run over what is there changes nothing, and Replace
    // writes every account anew, leaving none of its old rows in any table. (Stopping
    // after the account in hand is the window's test.)
    void runsOverExistingAccounts_data() { addEngineRows(); }
    void runsOverExistingAccounts()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        const QString oldHome = gatewicktest::homeFolder(env, u"old-bob"_s);
        QVERIFY(gatewicktest::createAccount(env, u"bob"_s, u"old-pw"_s, oldHome));
        db->exec(u"INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES ('bob', '/old', 'R', 0)"_s);
        db->exec(u"INSERT INTO blocked_ips_by_user (username, ip) VALUES ('bob', '1.1.1.1')"_s);
        db->exec(u"INSERT INTO file_rights (username, filename, file_rights) VALUES ('bob', '/old/f', 'R')"_s);
        db->exec(u"INSERT INTO ratio_free_files (username, filename) VALUES ('bob', '/old/free')"_s);
        db->exec(u"insert into blocked_ips (ip) values ('10.0.0.2')"_s);
        const MigrationSource source = sourceOf({account(u"bob"_s, u"/srv/ftp/bob"_s, u"2.2.2.2"_s), account(u"carol"_s)},
                                                {"10.0.0.1", "10.0.0.2", "10.0.0.1", "192.168.100.100/32"});
        const MigrationImporter importer(db->connectionString());
        QString error;
        QCOMPARE(importer.existingNames(source, &error), std::optional<QStringList>(QStringList{"bob"}));

        ImportReport report = importer.run(source, {}, {});
        QCOMPARE(report.globalRulesAdded, QStringList{"10.0.0.1"});
        QCOMPARE(report.globalRulesPresent, QStringList{"10.0.0.2"});
        QCOMPARE(report.globalRulesRefused.size(), 1);
        QVERIFY(report.globalRulesRefused.first().startsWith(u"192.168.100.100/32: "_s));
        QCOMPARE(report.skippedExisting, QStringList{"bob"});
        QCOMPARE(report.imported, QStringList{"carol"});
        QCOMPARE(userRow(*db, u"bob"_s).value(u"homedir"_s), oldHome);
        QCOMPARE(directoryRows(*db, u"bob"_s), QStringList{"/old,R,0"});
        verifyContains(summaryText(source, report), {u"Skipped accounts (already in the database, left as they were) (1):\n    bob\n"_s});

        const QStringList before = snapshot(*db);
        report = importer.run(source, {}, {});
        QVERIFY(report.globalRulesAdded.isEmpty());
        QCOMPARE(report.skippedExisting, (QStringList{"bob", "carol"}));
        QCOMPARE(snapshot(*db), before);

        report = importer.run(source, {.replaceExisting = true}, {});
        QCOMPARE(report.replaced, (QStringList{"bob", "carol"}));
        QCOMPARE(userRow(*db, u"bob"_s).value(u"homedir"_s), u"/srv/ftp/bob"_s);
        QCOMPARE(directoryRows(*db, u"bob"_s), QStringList{"/srv/ftp/bob,RL,1"});
        QCOMPARE(deniedRows(*db, u"bob"_s), QStringList{"2.2.2.2"});
        for (const char* table : {"file_rights", "ratio_free_files"})
            QCOMPARE(db->count(u"select filename from %1 where username='bob'"_s.arg(QLatin1String(table))), 0);
        QCOMPARE(db->count(u"select username from users"_s), 2);
    }

    // The database fails at the second account: it goes away after the first (the
    // PostgreSQL server ends the importer's session; on SQLite another connection holds a
    // read transaction, so the commit cannot take the file after the busy time-out), or
    // it refuses a statement after the second account's first rows were sent. Either way
    // the import stops, the first account stays whole and the second leaves nothing.
    void failureMidwayStopsWithWholeAccounts_data()
    {
        QTest::addColumn<TestEngine>("engine");
        QTest::addColumn<bool>("databaseGoes");
        for (const auto& [name, engine] : {std::pair{"sqlite", TestEngine::Sqlite}, std::pair{"postgresql", TestEngine::PostgreSql}}) {
            QTest::addRow("%s, database goes away", name) << engine << true;
            QTest::addRow("%s, statement refused", name) << engine << false;
        }
    }
    void failureMidwayStopsWithWholeAccounts()
    {
        QFETCH(bool, databaseGoes);
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        const bool postgres = db->engine() == TestEngine::PostgreSql;
        if (!databaseGoes && postgres)
            db->exec(u"ALTER TABLE dir_rights ADD CONSTRAINT refuse_folder CHECK (directory <> '/refused')"_s);
        else if (!databaseGoes)
            db->exec(u"CREATE TRIGGER refuse_folder BEFORE INSERT ON dir_rights WHEN NEW.directory = '/refused' "
                     "BEGIN SELECT RAISE(ABORT, 'folder refused'); END"_s);
        MigratedAccount second = account(u"second"_s, u"/fine"_s, u"2.2.2.2"_s);
        second.access.append({u"/refused"_s, u"R"_s, false});
        const MigrationSource source = sourceOf({account(u"first"_s, u"/a"_s, u"1.1.1.1"_s), second, account(u"third"_s)});
        std::unique_ptr<Database> reader;
        const auto sabotage = [&](int done, int) {
            if (databaseGoes && done == 1 && postgres) {
                db->column(u"select pg_terminate_backend(pid) from pg_stat_activity where datname = current_database() and pid <> pg_backend_pid()"_s);
            } else if (databaseGoes && done == 1) {
                // A read inside a transaction keeps its shared lock until the transaction ends.
                reader = std::make_unique<Database>(db->connectionString());
                if (reader->open() && reader->beginTransaction()) {
                    Rows held = reader->select(u"select count(*) from users"_s);
                    held.next();
                }
            }
            return true;
        };
        const ImportReport report = MigrationImporter(db->connectionString()).run(source, {}, sabotage);
        if (reader)
            reader->rollback();
        reader.reset();

        QVERIFY2(report.stoppedBy.contains(u"second"_s), qPrintable(report.stoppedBy));
        QCOMPARE(report.imported, QStringList{"first"});
        QCOMPARE(report.failed, QStringList{"second"});
        QVERIFY(!report.failureReasons.value(u"second"_s).isEmpty());
        QCOMPARE(report.notReached, QStringList{"third"});
        for (const char* table : {"users", "dir_rights", "blocked_ips_by_user"})
            QCOMPARE(db->column(u"select username from "_s + QLatin1String(table)), QStringList{"first"});
        verifyContains(summaryText(source, report), {u"THE IMPORT STOPPED. "_s + report.stoppedBy, u"Imported accounts (1):\n    first\n"_s,
                                                     u"Accounts not tried (1):\n    third\n"_s});
    }
};

QUILLMERE_TEST(TestMigrationImporter)
#include "TestMigrationImporter.moc"
