#include "TestDatabase.h"
#include "TestEnvironment.h"
#include "TestMain.h"

#include "AccountStatements.h"
#include "MigrationImporter.h"

#include "db/Schema.h"
#include "db/SqlText.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QtTest>

#include <memory>

using namespace migration;

Q_DECLARE_METATYPE(migration::MigratedAccount)

namespace {

const QString SaltedPassword = QStringLiteral("hx0123456789abcdef0123456789abcdef");

MigratedAccount account(const QString& name)
{
    MigratedAccount made;
    made.name = name;
    made.password = QStringLiteral("pw-") + name;
    made.homedir = QStringLiteral("/srv/ftp/") + name.toLower();
    return made;
}

MigratedAccount withAccess(MigratedAccount made, const QString& directory, const QString& ip)
{
    made.access.append({directory, QStringLiteral("RL"), true});
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
    MigrationSource source;
    source.iniPath = QStringLiteral("/srv/ftp-server/ServUDaemon.ini");
    source.accounts = accounts;
    source.globalDeniedIps = globalRules;
    return source;
}

// The account as the user page creates it.
void insertAsNewUser(TestDatabase& db, const QString& name)
{
    db.exec(QStringLiteral("INSERT INTO [users]([username], [homedir], [password], [comments], [max_concurrent], "
                           "[max_logins_per_ip], [quota_current])VALUES(%1, %2, 'old-pw', NULL, 1, 1, 0)")
                .arg(sqlQuote(name), sqlQuote(QStringLiteral("/srv/ftp/old-") + name)));
}

// Every column of the account's users row by name; "NULL" for a null.
QMap<QString, QString> userRow(TestDatabase& db, const QString& name)
{
    QMap<QString, QString> values;
    Rows rows = db.database().select(QStringLiteral("select * from users where username=") + sqlQuote(name));
    if (!rows.isValid() || !rows.next())
        return values;
    for (const schema::Column& column : schema::table(QStringLiteral("users")).columns)
        values.insert(column.name, rows.isNull(column.name) ? QStringLiteral("NULL") : rows.text(column.name));
    return values;
}

QStringList directoryRows(TestDatabase& db, const QString& name)
{
    return db.column(QStringLiteral("select directory || ',' || dir_rights || ',' || inherit_subdirs from dir_rights where username=")
                     + sqlQuote(name));
}

QStringList deniedRows(TestDatabase& db, const QString& name)
{
    return db.column(QStringLiteral("select ip from blocked_ips_by_user where username=") + sqlQuote(name));
}

// Every row of every table, in the order the engine returns them.
QStringList snapshot(TestDatabase& db)
{
    QStringList lines;
    for (const schema::Table& table : schema::accountTables()) {
        QSqlQuery query(QSqlDatabase::database(db.database().connectionName()));
        if (!query.exec(QStringLiteral("select * from ") + table.name)) {
            QTest::qFail(qPrintable(table.name), __FILE__, __LINE__);
            return lines;
        }
        while (query.next()) {
            QStringList cells;
            for (int column = 0; column < query.record().count(); ++column)
                cells << (query.isNull(column) ? QStringLiteral("NULL") : query.value(column).toString());
            lines << table.name + QLatin1Char(':') + cells.join(QLatin1Char('|'));
        }
    }
    return lines;
}

} // namespace

// The importer on both engines: what lands in which column, existing accounts,
// running twice, and a database that fails half-way.
class TestMigrationImporter : public QObject
{
    Q_OBJECT

private slots:
    void everyValueLandsInItsColumn_data() { addEngineRows(); }
    void everyValueLandsInItsColumn()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        insertAsNewUser(*db, QStringLiteral("reference"));

        MigratedAccount quoted = account("O'Brien");
        quoted.homedir = QStringLiteral("/srv/ftp/o'brien \"home\" %1");
        quoted.password = QStringLiteral("it's%1");
        quoted.comments = QStringLiteral("Paddy's \"spare\" account; 50% off %2");
        quoted.access = {{QStringLiteral("/srv/ftp/o'brien's"), QStringLiteral("RL"), false}};
        MigratedAccount minimal = account("minimal");
        minimal.password.clear();
        const MigrationSource source = sourceOf({fullAccount(), quoted, minimal});

        QList<int> progress;
        const ImportReport report = MigrationImporter(db->connectionString()).run(source, {}, [&progress](int done, int total) {
            progress << done * 100 + total;
            return true;
        });
        QVERIFY2(report.stoppedBy.isEmpty(), qPrintable(report.stoppedBy));
        QCOMPARE(report.imported, (QStringList{"fullfield", "O'Brien", "minimal"}));
        QCOMPARE(progress, (QList<int>{103, 203, 303}));

        // Minutes, bytes and kilobytes per second are stored as the model gives them.
        const QMap<QString, QString> full = userRow(*db, QStringLiteral("fullfield"));
        const QMap<QString, QString> expected{
            {"username", "fullfield"}, {"homedir", "d:\\ftp\\full"}, {"login_msg_file", "/srv/ftp/welcome.txt"}, {"password", SaltedPassword},
            {"hide_hidden_files", "1"}, {"rel_path", "1"}, {"ratio_type", "BytesOverall"}, {"ratio_down", "3"}, {"ratio_up", "1"},
            {"ratio_current_credit", "2097152"}, {"use_quota", "1"}, {"quota_max", "5242880"}, {"quota_current", "1048576"},
            {"always_login", "1"}, {"one_login_per_ip", "0"}, {"speed_limit_value", "64.5"}, {"timeout", "5"}, {"maintenance", "1"},
            {"session_timeout", "120"}, {"max_concurrent", "3"}, {"max_logins_per_ip", "2"}, {"disable_user", "1"},
            {"comments", "first line\r\nsecond line"}, {"Expires", "12/31/2031"}, {"DisableOn", "NULL"}};
        for (auto column = expected.cbegin(); column != expected.cend(); ++column)
            QVERIFY2(full.value(column.key()) == column.value(),
                     qPrintable(column.key() + QStringLiteral(": ") + full.value(column.key())));
        // A Windows path is stored lower-cased, a POSIX path as it stands.
        QCOMPARE(directoryRows(*db, QStringLiteral("fullfield")), (QStringList{"/srv/ftp/full,RWAMELCD,1", "/srv/ftp/Public,RL,0", "/srv/ftp/drop,W,1"}));
        QCOMPARE(deniedRows(*db, QStringLiteral("fullfield")), (QStringList{"10.1.2.3", "192.168.*.*"}));

        // Quotes and placeholders are stored exactly.
        const QMap<QString, QString> obrien = userRow(*db, QStringLiteral("O'Brien"));
        QCOMPARE((QStringList{obrien.value("homedir"), obrien.value("password"), obrien.value("comments")}),
                 (QStringList{quoted.homedir, quoted.password, quoted.comments}));
        QCOMPARE(directoryRows(*db, QStringLiteral("O'Brien")), QStringList{"/srv/ftp/o'brien's,RL,0"});

        // What the model leaves open is as the user page's new account has it; no password is NULL.
        QMap<QString, QString> bare = userRow(*db, QStringLiteral("minimal"));
        QMap<QString, QString> reference = userRow(*db, QStringLiteral("reference"));
        QCOMPARE(bare.value(QStringLiteral("password")), QStringLiteral("NULL"));
        for (const char* own : {"username", "homedir", "password"}) {
            bare.remove(QLatin1String(own));
            reference.remove(QLatin1String(own));
        }
        QCOMPARE(bare, reference);
    }

    void existingAccountsSkippedOrReplaced_data() { addEngineRows(); }
    void existingAccountsSkippedOrReplaced()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        insertAsNewUser(*db, QStringLiteral("bob"));
        db->exec(QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES ('bob', '/old', 'R', 0)"));
        db->exec(QStringLiteral("INSERT INTO blocked_ips_by_user (username, ip) VALUES ('bob', '1.1.1.1')"));
        db->exec(QStringLiteral("INSERT INTO file_rights (username, filename, file_rights) VALUES ('bob', '/old/f', 'R')"));
        db->exec(QStringLiteral("INSERT INTO ratio_free_files (username, filename) VALUES ('bob', '/old/free')"));
        const MigrationSource source = sourceOf({withAccess(account("bob"), "/srv/ftp/bob", "2.2.2.2"), account("carol")});
        const MigrationImporter importer(db->connectionString());

        QString error;
        QCOMPARE(importer.existingNames(source, &error), std::optional<QStringList>(QStringList{"bob"}));

        ImportReport report = importer.run(source, {}, {});
        QCOMPARE(report.skippedExisting, QStringList{"bob"});
        QCOMPARE(report.imported, QStringList{"carol"});
        QCOMPARE(userRow(*db, QStringLiteral("bob")).value(QStringLiteral("homedir")), QStringLiteral("/srv/ftp/old-bob"));
        QCOMPARE(directoryRows(*db, QStringLiteral("bob")), QStringList{"/old,R,0"});
        QVERIFY(summaryText(source, report).contains(QStringLiteral("Skipped accounts (already in the database, left as they were) (1):\n    bob\n")));

        ImportOptions replacing;
        replacing.replaceExisting = true;
        report = importer.run(source, replacing, {});
        QCOMPARE(report.replaced, (QStringList{"bob", "carol"}));
        QCOMPARE(db->count(QStringLiteral("select username from users where username='bob'")), 1);
        QCOMPARE(userRow(*db, QStringLiteral("bob")).value(QStringLiteral("homedir")), QStringLiteral("/srv/ftp/bob"));
        QCOMPARE(directoryRows(*db, QStringLiteral("bob")), QStringList{"/srv/ftp/bob,RL,1"});
        QCOMPARE(deniedRows(*db, QStringLiteral("bob")), QStringList{"2.2.2.2"});
        for (const char* table : {"file_rights", "ratio_free_files"})
            QCOMPARE(db->count(QStringLiteral("select filename from %1 where username='bob'").arg(QLatin1String(table))), 0);
        QCOMPARE(db->count(QStringLiteral("select username from users")), 2);
    }

    void secondRunChangesNothing_data() { addEngineRows(); }
    void secondRunChangesNothing()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        db->exec(QStringLiteral("insert into blocked_ips (ip) values ('10.0.0.2')"));
        const MigrationSource source =
            sourceOf({fullAccount(), withAccess(account("dave"), "/srv/ftp/x", "3.3.3.3")}, {"10.0.0.1", "10.0.0.2", "10.0.0.1", "192.168.100.100/32"});
        const MigrationImporter importer(db->connectionString());

        const ImportReport first = importer.run(source, {}, {});
        QCOMPARE(first.globalRulesAdded, QStringList{"10.0.0.1"});
        QCOMPARE(first.globalRulesPresent, QStringList{"10.0.0.2"});
        QCOMPARE(first.globalRulesRefused.size(), 1);
        QVERIFY(first.globalRulesRefused.first().startsWith(QStringLiteral("192.168.100.100/32: ")));
        const QStringList before = snapshot(*db);

        const ImportReport second = importer.run(source, {}, {});
        QVERIFY(second.globalRulesAdded.isEmpty());
        QCOMPARE(second.globalRulesPresent, (QStringList{"10.0.0.1", "10.0.0.2"}));
        QCOMPARE(second.skippedExisting, (QStringList{"fullfield", "dave"}));
        QCOMPARE(snapshot(*db), before);
        QCOMPARE(db->count(QStringLiteral("select ip from blocked_ips")), 2);
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
            db->exec(QStringLiteral("ALTER TABLE dir_rights ADD CONSTRAINT refuse_folder CHECK (directory <> '/refused')"));
        else if (!databaseGoes)
            db->exec(QStringLiteral("CREATE TRIGGER refuse_folder BEFORE INSERT ON dir_rights WHEN NEW.directory = '/refused' "
                                    "BEGIN SELECT RAISE(ABORT, 'folder refused'); END"));
        MigratedAccount second = withAccess(account("second"), "/fine", "2.2.2.2");
        second.access.append({QStringLiteral("/refused"), QStringLiteral("R"), false});
        const MigrationSource source = sourceOf({withAccess(account("first"), "/a", "1.1.1.1"), second, account("third")});
        std::unique_ptr<Database> reader;
        const auto sabotage = [&](int done, int) {
            if (!databaseGoes || done != 1)
                return true;
            if (postgres) {
                db->column(QStringLiteral("select pg_terminate_backend(pid) from pg_stat_activity "
                                          "where datname = current_database() and pid <> pg_backend_pid()"));
            } else {
                // A read inside a transaction keeps its shared lock until the transaction ends.
                reader = std::make_unique<Database>(db->connectionString());
                if (reader->open() && reader->beginTransaction()) {
                    Rows held = reader->select(QStringLiteral("select count(*) from users"));
                    held.next();
                }
            }
            return true;
        };
        const ImportReport report = MigrationImporter(db->connectionString()).run(source, {}, sabotage);
        if (reader)
            reader->rollback();
        reader.reset();

        QVERIFY2(report.stoppedBy.contains(QStringLiteral("second")), qPrintable(report.stoppedBy));
        QCOMPARE(report.imported, QStringList{"first"});
        QCOMPARE(report.failed, QStringList{"second"});
        QVERIFY(!report.failureReasons.value(QStringLiteral("second")).isEmpty());
        QCOMPARE(report.notReached, QStringList{"third"});
        for (const char* table : {"users", "dir_rights", "blocked_ips_by_user"})
            QCOMPARE(db->column(QStringLiteral("select username from ") + QLatin1String(table)), QStringList{"first"});
        const QString summary = summaryText(source, report);
        QVERIFY(summary.contains(QStringLiteral("THE IMPORT STOPPED. ") + report.stoppedBy));
        QVERIFY(summary.contains(QStringLiteral("Imported accounts (1):\n    first\n")));
        QVERIFY(summary.contains(QStringLiteral("Accounts not tried (1):\n    third\n")));
    }

    void cancelStopsAfterTheAccountInHand_data() { addEngineRows(); }
    void cancelStopsAfterTheAccountInHand()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        const MigrationSource source = sourceOf({account("a"), account("b"), account("c")});
        const ImportReport report =
            MigrationImporter(db->connectionString()).run(source, {}, [](int done, int) { return done < 2; });
        QVERIFY(report.cancelled);
        QVERIFY(report.stoppedBy.isEmpty());
        QCOMPARE(report.imported, (QStringList{"a", "b"}));
        QCOMPARE(report.notReached, QStringList{"c"});
        QCOMPARE(db->count(QStringLiteral("select username from users")), 2);
        QVERIFY(summaryText(source, report).contains(QStringLiteral("cancelled")));
    }

    // Values a column cannot hold are refused before anything is sent.
    void accountsTheColumnsCannotHold_data()
    {
        QTest::addColumn<MigratedAccount>("candidate");
        QTest::addColumn<QString>("reason");
        const auto row = [](const char* name, const std::function<void(MigratedAccount&)>& change, const QString& reason) {
            MigratedAccount changed = account("plain");
            change(changed);
            QTest::newRow(name) << changed << reason;
        };
        row("fits", [](MigratedAccount&) {}, {});
        row("no name", [](MigratedAccount& a) { a.name = QStringLiteral("  "); }, "no name");
        row("no home", [](MigratedAccount& a) { a.homedir.clear(); }, "no home folder");
        row("name of 51", [](MigratedAccount& a) { a.name = QString(51, QLatin1Char('n')); }, "the name is 51 characters long; the database takes at most 50");
        row("home of 513", [](MigratedAccount& a) { a.homedir = QString(513, QLatin1Char('h')); }, "the home folder is 513 characters long");
        row("rights of 9", [](MigratedAccount& a) { a.access = {{"/x", "RWAMELCDX", false}}; }, "the rights of \"/x\"");
        row("ip of 16", [](MigratedAccount& a) { a.deniedIps = {"192.168.100.0/24"}; }, "the IP rule \"192.168.100.0/24\" is 16 characters long");
        row("empty ip", [](MigratedAccount& a) { a.deniedIps = {QString()}; }, "IP rules is empty");
        row("maintenance of 9", [](MigratedAccount& a) { a.maintenance = QStringLiteral("123456789"); }, "maintenance");
        row("placeholder in a folder", [](MigratedAccount& a) { a.access = {{"%2" + QString(511, QLatin1Char('d')), "R", false}}; }, "the folder \"%2ddd");
    }
    void accountsTheColumnsCannotHold()
    {
        QFETCH(MigratedAccount, candidate);
        QFETCH(QString, reason);
        const std::optional<QString> refusal = refusalReason(candidate);
        if (reason.isEmpty()) {
            QVERIFY2(!refusal, qPrintable(refusal.value_or(QString())));
            return;
        }
        QVERIFY(refusal);
        QVERIFY2(refusal->contains(reason), qPrintable(*refusal));
    }

    void summaryListsEverythingLeftBehind()
    {
        TestEnvironment env;
        QString whyNot;
        auto db = TestDatabase::create(TestEngine::Sqlite, env, &whyNot);
        QVERIFY2(db, qPrintable(whyNot));
        insertAsNewUser(*db, QStringLiteral("kept"));
        MigratedAccount noted = account("noted");
        noted.comments = QString(250, QLatin1Char('a')) + QStringLiteral("bcdefghij");
        noted.notCarried = {{QString(), QStringLiteral("ChangePassword"), QStringLiteral("1"), QStringLiteral("no such right")}};
        MigratedAccount homeless = account("homeless");
        homeless.homedir.clear();
        MigrationSource source = sourceOf({noted, account("kept"), homeless}, {QStringLiteral("10.0.0.1")});
        source.notCarried = {{QString(), QStringLiteral("[GLOBAL] MaxUsers"), QStringLiteral("20"), QStringLiteral("a server setting")}};
        source.warnings = {QStringLiteral("The section [GLOBAL] appears twice.")};

        const ImportReport report = MigrationImporter(db->connectionString()).run(source, {}, {});
        QCOMPARE(report.failed, QStringList{"homeless"});
        QCOMPARE(userRow(*db, QStringLiteral("noted")).value(QStringLiteral("comments")), QString(250, QLatin1Char('a')) + QStringLiteral("bcdefg"));

        const QString summary = summaryText(source, report);
        for (const QString& line : {QStringLiteral("INI file: /srv/ftp-server/ServUDaemon.ini (FTP server 4.0 and later)"),
                                    QStringLiteral("Accounts in the INI file: 3"),
                                    QStringLiteral("Imported accounts (1):\n    noted\n"),
                                    QStringLiteral("    kept\n"),
                                    QStringLiteral("Failed accounts (nothing written) (1):\n    homeless: the account has no home folder\n"),
                                    QStringLiteral("Server-wide IP deny rules added (1):\n    10.0.0.1\n"),
                                    QStringLiteral("    noted: ChangePassword = 1 (no such right)\n"),
                                    QStringLiteral("    (server): [GLOBAL] MaxUsers = 20 (a server setting)\n"),
                                    QStringLiteral("this part is left out: hij\n"),
                                    QStringLiteral("Warnings (1):\n    The section [GLOBAL] appears twice.\n")})
            QVERIFY2(summary.contains(line), qPrintable(line + QStringLiteral("\n--- in ---\n") + summary));
    }
};

QUILLMERE_TEST(TestMigrationImporter)
#include "TestMigrationImporter.moc"
