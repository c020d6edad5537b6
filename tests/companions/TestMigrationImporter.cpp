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
    MigratedAccount full = account(QStringLiteral("fullfield"));
    full.homedir = QStringLiteral("/SRV/FTP/Full");
    full.password = SaltedPassword;
    full.comments = QStringLiteral("first line\r\nsecond line");
    full.access = {{QStringLiteral("/srv/ftp/full"), QStringLiteral("RWAMELCD"), true},
                   {QStringLiteral("/srv/ftp/Public"), QStringLiteral("RL"), false},
                   {QStringLiteral("/srv/ftp/drop"), QStringLiteral("W"), true}};
    full.deniedIps = {QStringLiteral("10.1.2.3"), QStringLiteral("192.168.*.*")};
    full.disabled = true;
    full.expires = QStringLiteral("12/31/2031");
    full.idleTimeoutMinutes = 5;
    full.sessionTimeoutMinutes = 120;
    full.maxConcurrent = 3;
    full.maxLoginsPerIp = 2;
    full.oneLoginPerIp = false;
    full.speedLimitKBps = QStringLiteral("64.5");
    full.useQuota = true;
    full.quotaMaxBytes = 5.0 * 1024 * 1024;
    full.quotaCurrentBytes = 1024.0 * 1024;
    full.ratioType = QStringLiteral("BytesOverall");
    full.ratioUp = 1;
    full.ratioDown = 3;
    full.ratioCredit = 2.0 * 1024 * 1024;
    full.relativePaths = true;
    full.hideHiddenFiles = true;
    full.alwaysLogin = true;
    full.loginMessageFile = QStringLiteral("/srv/ftp/welcome.txt");
    full.maintenance = QStringLiteral("1");
    return full;
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

        MigratedAccount quoted = account(QStringLiteral("O'Brien"));
        quoted.homedir = QStringLiteral("/srv/ftp/o'brien \"home\" %1");
        quoted.password = QStringLiteral("it's%1");
        quoted.comments = QStringLiteral("Paddy's \"spare\" account; 50% off %2");
        quoted.access = {{QStringLiteral("/srv/ftp/o'brien's"), QStringLiteral("RL"), false}};
        MigratedAccount minimal = account(QStringLiteral("minimal"));
        minimal.password.clear();
        const MigrationSource source = sourceOf({fullAccount(), quoted, minimal});

        QList<int> progress;
        const ImportReport report = MigrationImporter(db->connectionString()).run(source, {}, [&progress](int done, int total) {
            progress << done * 100 + total;
            return true;
        });
        QVERIFY2(report.stoppedBy.isEmpty(), qPrintable(report.stoppedBy));
        QCOMPARE(report.imported, (QStringList{QStringLiteral("fullfield"), QStringLiteral("O'Brien"), QStringLiteral("minimal")}));
        QCOMPARE(progress, (QList<int>{103, 203, 303}));

        // Minutes, bytes and kilobytes per second are stored as the model gives them.
        const QMap<QString, QString> full = userRow(*db, QStringLiteral("fullfield"));
        const QMap<QString, QString> expected{
            {QStringLiteral("username"), QStringLiteral("fullfield")},
            {QStringLiteral("homedir"), QStringLiteral("/srv/ftp/full")},
            {QStringLiteral("login_msg_file"), QStringLiteral("/srv/ftp/welcome.txt")},
            {QStringLiteral("password"), SaltedPassword},
            {QStringLiteral("hide_hidden_files"), QStringLiteral("1")},
            {QStringLiteral("rel_path"), QStringLiteral("1")},
            {QStringLiteral("ratio_type"), QStringLiteral("BytesOverall")},
            {QStringLiteral("ratio_down"), QStringLiteral("3")},
            {QStringLiteral("ratio_up"), QStringLiteral("1")},
            {QStringLiteral("ratio_current_credit"), QStringLiteral("2097152")},
            {QStringLiteral("use_quota"), QStringLiteral("1")},
            {QStringLiteral("quota_max"), QStringLiteral("5242880")},
            {QStringLiteral("quota_current"), QStringLiteral("1048576")},
            {QStringLiteral("always_login"), QStringLiteral("1")},
            {QStringLiteral("one_login_per_ip"), QStringLiteral("0")},
            {QStringLiteral("speed_limit_value"), QStringLiteral("64.5")},
            {QStringLiteral("timeout"), QStringLiteral("5")},
            {QStringLiteral("maintenance"), QStringLiteral("1")},
            {QStringLiteral("session_timeout"), QStringLiteral("120")},
            {QStringLiteral("max_concurrent"), QStringLiteral("3")},
            {QStringLiteral("max_logins_per_ip"), QStringLiteral("2")},
            {QStringLiteral("disable_user"), QStringLiteral("1")},
            {QStringLiteral("comments"), QStringLiteral("first line\r\nsecond line")},
            {QStringLiteral("Expires"), QStringLiteral("12/31/2031")},
            {QStringLiteral("DisableOn"), QStringLiteral("NULL")},
        };
        for (auto column = expected.cbegin(); column != expected.cend(); ++column)
            QVERIFY2(full.value(column.key()) == column.value(),
                     qPrintable(column.key() + QStringLiteral(": ") + full.value(column.key())));
        QCOMPARE(directoryRows(*db, QStringLiteral("fullfield")),
                 (QStringList{QStringLiteral("/srv/ftp/full,RWAMELCD,1"), QStringLiteral("/srv/ftp/public,RL,0"),
                              QStringLiteral("/srv/ftp/drop,W,1")}));
        QCOMPARE(deniedRows(*db, QStringLiteral("fullfield")), (QStringList{QStringLiteral("10.1.2.3"), QStringLiteral("192.168.*.*")}));

        // Quotes and placeholders are stored exactly.
        const QMap<QString, QString> obrien = userRow(*db, QStringLiteral("O'Brien"));
        QCOMPARE(obrien.value(QStringLiteral("homedir")), QStringLiteral("/srv/ftp/o'brien \"home\" %1"));
        QCOMPARE(obrien.value(QStringLiteral("password")), QStringLiteral("it's%1"));
        QCOMPARE(obrien.value(QStringLiteral("comments")), QStringLiteral("Paddy's \"spare\" account; 50% off %2"));
        QCOMPARE(directoryRows(*db, QStringLiteral("O'Brien")), QStringList{QStringLiteral("/srv/ftp/o'brien's,RL,0")});

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
        const MigrationSource source = sourceOf({withAccess(account(QStringLiteral("bob")), QStringLiteral("/srv/ftp/bob"), QStringLiteral("2.2.2.2")),
                                                 account(QStringLiteral("carol"))});
        const MigrationImporter importer(db->connectionString());

        QString error;
        QCOMPARE(importer.existingNames(source, &error), std::optional<QStringList>(QStringList{QStringLiteral("bob")}));

        ImportReport report = importer.run(source, {}, {});
        QCOMPARE(report.skippedExisting, QStringList{QStringLiteral("bob")});
        QCOMPARE(report.imported, QStringList{QStringLiteral("carol")});
        QCOMPARE(userRow(*db, QStringLiteral("bob")).value(QStringLiteral("homedir")), QStringLiteral("/srv/ftp/old-bob"));
        QCOMPARE(directoryRows(*db, QStringLiteral("bob")), QStringList{QStringLiteral("/old,R,0")});
        QVERIFY(summaryText(source, report).contains(QStringLiteral("Skipped accounts (already in the database, left as they were) (1):\n    bob\n")));

        ImportOptions replacing;
        replacing.replaceExisting = true;
        report = importer.run(source, replacing, {});
        QCOMPARE(report.replaced, (QStringList{QStringLiteral("bob"), QStringLiteral("carol")}));
        QCOMPARE(db->count(QStringLiteral("select username from users where username='bob'")), 1);
        QCOMPARE(userRow(*db, QStringLiteral("bob")).value(QStringLiteral("homedir")), QStringLiteral("/srv/ftp/bob"));
        QCOMPARE(directoryRows(*db, QStringLiteral("bob")), QStringList{QStringLiteral("/srv/ftp/bob,RL,1")});
        QCOMPARE(deniedRows(*db, QStringLiteral("bob")), QStringList{QStringLiteral("2.2.2.2")});
        QCOMPARE(db->count(QStringLiteral("select filename from file_rights where username='bob'")), 0);
        QCOMPARE(db->count(QStringLiteral("select filename from ratio_free_files where username='bob'")), 0);
        QCOMPARE(db->count(QStringLiteral("select username from users")), 2);
    }

    void secondRunChangesNothing_data() { addEngineRows(); }
    void secondRunChangesNothing()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        db->exec(QStringLiteral("insert into blocked_ips (ip) values ('10.0.0.2')"));
        const MigrationSource source =
            sourceOf({fullAccount(), withAccess(account(QStringLiteral("dave")), QStringLiteral("/srv/ftp/x"), QStringLiteral("3.3.3.3"))},
                     {QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.2"), QStringLiteral("10.0.0.1"),
                      QStringLiteral("192.168.100.100/32")});
        const MigrationImporter importer(db->connectionString());

        const ImportReport first = importer.run(source, {}, {});
        QCOMPARE(first.globalRulesAdded, QStringList{QStringLiteral("10.0.0.1")});
        QCOMPARE(first.globalRulesPresent, QStringList{QStringLiteral("10.0.0.2")});
        QCOMPARE(first.globalRulesRefused.size(), 1);
        QVERIFY(first.globalRulesRefused.first().startsWith(QStringLiteral("192.168.100.100/32: ")));
        const QStringList before = snapshot(*db);

        const ImportReport second = importer.run(source, {}, {});
        QVERIFY(second.globalRulesAdded.isEmpty());
        QCOMPARE(second.globalRulesPresent, (QStringList{QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.2")}));
        QCOMPARE(second.skippedExisting, (QStringList{QStringLiteral("fullfield"), QStringLiteral("dave")}));
        QCOMPARE(snapshot(*db), before);
        QCOMPARE(db->count(QStringLiteral("select ip from blocked_ips")), 2);
    }

    void databaseGoingAwayStopsTheImport_data() { addEngineRows(); }
    void databaseGoingAwayStopsTheImport()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        const MigrationSource source = sourceOf({withAccess(account(QStringLiteral("first")), QStringLiteral("/a"), QStringLiteral("1.1.1.1")),
                                                 withAccess(account(QStringLiteral("second")), QStringLiteral("/b"), QStringLiteral("2.2.2.2")),
                                                 account(QStringLiteral("third"))});
        // After the first account the database goes: the PostgreSQL server ends the
        // importer's session; on SQLite another connection holds a read transaction, so
        // the second account's commit cannot take the file (after the busy time-out).
        std::unique_ptr<Database> reader;
        const auto sabotage = [&](int done, int) {
            if (done != 1)
                return true;
            if (db->engine() == TestEngine::PostgreSql) {
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

        QVERIFY(!report.stoppedBy.isEmpty());
        QVERIFY2(report.stoppedBy.contains(QStringLiteral("second")), qPrintable(report.stoppedBy));
        QCOMPARE(report.imported, QStringList{QStringLiteral("first")});
        QCOMPARE(report.failed, QStringList{QStringLiteral("second")});
        QCOMPARE(report.notReached, QStringList{QStringLiteral("third")});
        QCOMPARE(db->column(QStringLiteral("select username from users")), QStringList{QStringLiteral("first")});
        QCOMPARE(db->column(QStringLiteral("select username from dir_rights")), QStringList{QStringLiteral("first")});
        QCOMPARE(db->column(QStringLiteral("select username from blocked_ips_by_user")), QStringList{QStringLiteral("first")});
        const QString summary = summaryText(source, report);
        QVERIFY(summary.contains(QStringLiteral("THE IMPORT STOPPED. ") + report.stoppedBy));
        QVERIFY(summary.contains(QStringLiteral("Imported accounts (1):\n    first\n")));
        QVERIFY(summary.contains(QStringLiteral("Accounts not tried (1):\n    third\n")));
    }

    // A statement refused after the account's first rows were sent takes the whole account back.
    void failureInsideAnAccountLeavesNoneOfIt_data() { addEngineRows(); }
    void failureInsideAnAccountLeavesNoneOfIt()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        if (db->engine() == TestEngine::PostgreSql)
            db->exec(QStringLiteral("ALTER TABLE dir_rights ADD CONSTRAINT refuse_folder CHECK (directory <> '/refused')"));
        else
            db->exec(QStringLiteral("CREATE TRIGGER refuse_folder BEFORE INSERT ON dir_rights WHEN NEW.directory = '/refused' "
                                    "BEGIN SELECT RAISE(ABORT, 'folder refused'); END"));
        MigratedAccount second = withAccess(account(QStringLiteral("second")), QStringLiteral("/fine"), QStringLiteral("2.2.2.2"));
        second.access.append({QStringLiteral("/refused"), QStringLiteral("R"), false});
        const MigrationSource source = sourceOf({account(QStringLiteral("first")), second, account(QStringLiteral("third"))});

        const ImportReport report = MigrationImporter(db->connectionString()).run(source, {}, {});
        QCOMPARE(report.imported, QStringList{QStringLiteral("first")});
        QCOMPARE(report.failed, QStringList{QStringLiteral("second")});
        QVERIFY(!report.failureReasons.value(QStringLiteral("second")).isEmpty());
        QCOMPARE(report.notReached, QStringList{QStringLiteral("third")});
        QCOMPARE(db->column(QStringLiteral("select username from users")), QStringList{QStringLiteral("first")});
        QCOMPARE(db->count(QStringLiteral("select username from dir_rights")), 0);
        QCOMPARE(db->count(QStringLiteral("select username from blocked_ips_by_user")), 0);
    }

    void cancelStopsAfterTheAccountInHand_data() { addEngineRows(); }
    void cancelStopsAfterTheAccountInHand()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        const MigrationSource source = sourceOf({account(QStringLiteral("a")), account(QStringLiteral("b")), account(QStringLiteral("c"))});
        const ImportReport report =
            MigrationImporter(db->connectionString()).run(source, {}, [](int done, int) { return done < 2; });
        QVERIFY(report.cancelled);
        QVERIFY(report.stoppedBy.isEmpty());
        QCOMPARE(report.imported, (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
        QCOMPARE(report.notReached, QStringList{QStringLiteral("c")});
        QCOMPARE(db->count(QStringLiteral("select username from users")), 2);
        QVERIFY(summaryText(source, report).contains(QStringLiteral("cancelled")));
    }

    // Values a column cannot hold are refused before anything is sent.
    void accountsTheColumnsCannotHold_data()
    {
        QTest::addColumn<MigratedAccount>("candidate");
        QTest::addColumn<QString>("reason");
        const MigratedAccount plain = account(QStringLiteral("plain"));
        const auto changed = [&plain](const std::function<void(MigratedAccount&)>& change) {
            MigratedAccount copy = plain;
            change(copy);
            return copy;
        };
        QTest::newRow("fits") << plain << QString();
        QTest::newRow("no name") << changed([](MigratedAccount& a) { a.name = QStringLiteral("  "); }) << QStringLiteral("no name");
        QTest::newRow("no home") << changed([](MigratedAccount& a) { a.homedir.clear(); }) << QStringLiteral("no home folder");
        QTest::newRow("name of 51") << changed([](MigratedAccount& a) { a.name = QString(51, QLatin1Char('n')); })
                                    << QStringLiteral("the name is 51 characters long; the database takes at most 50");
        QTest::newRow("home of 513") << changed([](MigratedAccount& a) { a.homedir = QString(513, QLatin1Char('h')); })
                                     << QStringLiteral("the home folder is 513 characters long");
        QTest::newRow("rights of 9") << changed([](MigratedAccount& a) { a.access = {{QStringLiteral("/x"), QStringLiteral("RWAMELCDX"), false}}; })
                                     << QStringLiteral("the rights of \"/x\"");
        QTest::newRow("ip of 16") << changed([](MigratedAccount& a) { a.deniedIps = {QStringLiteral("192.168.100.0/24")}; })
                                  << QStringLiteral("the IP rule \"192.168.100.0/24\" is 16 characters long");
        QTest::newRow("empty ip") << changed([](MigratedAccount& a) { a.deniedIps = {QString()}; }) << QStringLiteral("IP rules is empty");
        QTest::newRow("maintenance of 9") << changed([](MigratedAccount& a) { a.maintenance = QStringLiteral("123456789"); })
                                          << QStringLiteral("maintenance");
        QTest::newRow("placeholder in a folder") << changed([](MigratedAccount& a) {
            a.access = {{QStringLiteral("%2") + QString(511, QLatin1Char('d')), QStringLiteral("R"), false}};
        }) << QStringLiteral("the folder \"%2ddd");
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
        MigratedAccount noted = account(QStringLiteral("noted"));
        noted.comments = QString(250, QLatin1Char('a')) + QStringLiteral("bcdefghij");
        noted.notCarried = {{QString(), QStringLiteral("ChangePassword"), QStringLiteral("1"), QStringLiteral("no such right")}};
        MigratedAccount homeless = account(QStringLiteral("homeless"));
        homeless.homedir.clear();
        MigrationSource source = sourceOf({noted, account(QStringLiteral("kept")), homeless}, {QStringLiteral("10.0.0.1")});
        source.notCarried = {{QString(), QStringLiteral("[GLOBAL] MaxUsers"), QStringLiteral("20"), QStringLiteral("a server setting")}};
        source.warnings = {QStringLiteral("The section [GLOBAL] appears twice.")};

        const ImportReport report = MigrationImporter(db->connectionString()).run(source, {}, {});
        QCOMPARE(report.failed, QStringList{QStringLiteral("homeless")});
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
