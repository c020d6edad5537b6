#include "TestMain.h"

#include "db/Database.h"
#include "db/Engine.h"
#include "db/SqlDialect.h"
#include "db/SqlText.h"
#include "db/StoredFlag.h"
#include "services/EmbeddedFiles.h"

#include <QLocale>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The engines: reading the stored ADO-form connection string of every provider, the
// program's SQL text (the quoting helper, the names that go into SQL bare, the reading
// of stored flags, the rewriting for each engine), databases that do not open, and the
// template database. The program's own statements run on both engines in the tests of
// the windows that send them.
class TestEngines : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        QFile notADatabase(m_dir.filePath(u"notes.txt"_s));
        QVERIFY(embedded::writeEmbeddedFile(embedded::TemplateDatabase, m_dir.filePath(u"servu.mdb"_s)) && notADatabase.open(QIODevice::WriteOnly));
        QCOMPARE(notADatabase.write(QByteArray(5000, 'n')), 5000);
    }

    void providers_data()
    {
        // "%1" stands for a folder holding the file servu.mdb.
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("engine");
        QTest::addColumn<QString>("driver");
        QTest::addColumn<bool>("usable");
        QTest::addColumn<QString>("target"); // part of the database name, where FreeTDS and SQLite stand in
        const int sqlServer = int(Engine::SqlServer), sqlite = int(Engine::Sqlite), postgres = int(Engine::PostgreSql);
        const int unknown = int(Engine::Unknown);
        QTest::newRow("sqloledb") << "Provider=SQLOLEDB.1;Persist Security Info=False;User ID=sa;Password=a;b;Initial Catalog=ftp;"
                                     "Data Source=db1,1444"
                                  << sqlServer << "QODBC" << true
                                  << "SERVER=db1;PORT=1444;TDS_Version=7.4;ClientCharset=UTF-8;DATABASE=ftp;UID=sa;PWD=a;";
        QTest::newRow("no server") << "Provider=SQLOLEDB.1;Initial Catalog=ftp" << sqlServer << "QODBC" << false << "";
#ifndef Q_OS_WIN
        QTest::newRow("sspi") << "Provider=SQLOLEDB.1;Integrated Security=SSPI;Data Source=db1" << sqlServer << "QODBC" << false << "";
        // Where Jet does not exist, its files are SQLite files.
        QTest::newRow("jet") << "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=%1/servu.mdb;Persist Security Info=False" << sqlite << "QSQLITE"
                             << true << "%1/servu.mdb";
#endif
        QTest::newRow("sqlite") << "Provider=SQLite;Data Source=%1/servu.mdb;" << sqlite << "QSQLITE" << true << "%1/servu.mdb";
        QTest::newRow("postgres bad port") << "Provider=PostgreSQL;Host=db1;Port=http;Database=ftp" << postgres << "QPSQL" << false << "";
        QTest::newRow("postgres no database") << "Provider=PostgreSQL;Host=db1" << postgres << "QPSQL" << false << "";
        QTest::newRow("unknown provider") << "Provider=MSDASQL;DSN=x" << unknown << "" << false << "";
        // Malformed text never breaks the reader.
        for (const char* text : {"", ";;;", "=", "novalue", "Provider", "Provider=\"unterminated", "Data Source==x", "\"\"=\"\""})
            QTest::addRow("malformed: %s", text) << text << unknown << "" << false << "";
        QTest::newRow("malformed: =x;Provider=SQLite") << "=x;Provider=SQLite" << sqlite << "" << false << "";
    }
    void providers()
    {
        QFETCH(QString, text);
        QFETCH(QString, target);
        const ConnectionTarget resolved = resolveConnection(text.replace(u"%1"_s, m_dir.path()));
        QTEST(int(resolved.engine), "engine");
        QTEST(resolved.driver, "driver");
        QTEST(resolved.isUsable(), "usable");
#ifndef Q_OS_WIN
        QVERIFY2(resolved.databaseName.contains(target.replace(u"%1"_s, m_dir.path())), qPrintable(resolved.databaseName));
        if (resolved.engine == Engine::SqlServer && resolved.isUsable())
            QVERIFY(resolved.connectOptions.contains(u"SQL_ATTR_LOGIN_TIMEOUT="_s));
#endif
        if (resolved.engine == Engine::Sqlite && resolved.isUsable()) // the Jet strings saved earlier too
            QVERIFY(Database(text).open());
    }

    // Quoting doubles single quotes only; numbers have a point; a name goes bare only as letters, digits and
    // underscores; a stored flag is set for any value but NULL and 0.
    void literalsNamesAndFlags()
    {
        QCOMPARE(sqlQuote(u"o'hara, say \"hi\" ''"_s) + sqlQuote(QString()), u"'o''hara, say \"hi\" '''''''"_s);
        QLocale::setDefault(QLocale(u"de_DE"_s));
        QCOMPARE(sqlNumber(1.5) + u' ' + sqlNumber(1048576.0) + u' ' + sqlNumber(qint64(-1)), u"1.5 1048576 -1"_s);
        QLocale::setDefault(QLocale::c());
        QVERIFY(isBareDatabaseName(u"_ftp_accounts2"_s) && isBareDatabaseName(QString(63, u'q')));
        // Too long, a leading digit, a statement, a bracket, a quote, a dot, a non-ASCII letter, a line end, nothing.
        for (const QString& name : {QString(64, u'q'), u"1db"_s, u"x;drop_database_master"_s, u"x]"_s, u"o'hara"_s, u"master.dbo"_s,
                                    u"bücher"_s, u"db\n"_s, QString()})
            QVERIFY2(!isBareDatabaseName(name), qPrintable(name));
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
        const int postgres = int(Engine::PostgreSql), sqlite = int(Engine::Sqlite);
        const QString update = u"UPDATE [users] SET [username]='a', [homedir]='c:\\[x]' WHERE [username]='b'"_s;
        QTest::newRow("brackets, postgres") << postgres << update << "UPDATE users SET username='a', homedir='c:\\[x]' WHERE username='b'";
        QTest::newRow("literal with quote and brackets")
            << postgres << "insert into blocked_ips_by_user ([ip], [username]) values ('1.2.3.4', 'it''s [me]')"
            << "insert into blocked_ips_by_user (ip, username) values ('1.2.3.4', 'it''s [me]')";
        QTest::newRow("qualified set target, sqlite") << sqlite << "UPDATE users SET users.homedir = Lower(users.homedir) WHERE users.username='x'"
                                                      << "UPDATE users SET homedir = Lower(users.homedir) WHERE users.username='x'";
        QTest::newRow("qualified set targets, postgres")
            << postgres << "update [users] set [users].[rel_path]=1, users.timeout = 5 where username='users.x='"
            << "update users set rel_path=1, timeout = 5 where username='users.x='";
        const QString lcase = u"UPDATE users SET users.homedir = LCase( users.homedir)"_s;
        QTest::newRow("access keeps its form") << int(Engine::Access) << lcase << lcase;
    }
    void rewriting()
    {
        QFETCH(int, engine);
        QFETCH(QString, sql);
        QTEST(rewriteForEngine(static_cast<Engine>(engine), sql), "expected");
    }

    void unreachableDatabasesDoNotOpen_data()
    {
        QTest::addColumn<QString>("connection");
        QTest::newRow("missing sqlite file") << "Provider=SQLite;Data Source=/nonexistent/accounts.db";
        QTest::newRow("not a database") << "Provider=SQLite;Data Source=%1/notes.txt";
        QTest::newRow("closed postgres port") << "Provider=PostgreSQL;Host=127.0.0.1;Port=1;Database=x;User ID=postgres";
        QTest::newRow("closed sql server port") << "Provider=SQLOLEDB.1;Data Source=127.0.0.1,1;User ID=sa;Password=x";
    }
    void unreachableDatabasesDoNotOpen()
    {
        QFETCH(QString, connection);
        QTest::failOnWarning(QRegularExpression(u"."_s)); // not even that a connection is still in use
        Database db(connection.replace(u"%1"_s, m_dir.path()));
        QVERIFY(!db.open() && !db.lastError().isEmpty() && !db.isOpen());
    }

    // The build tool, run twice, gives the bytes the program carries, with the Access template's column properties.
    void templateIsBuiltAlikeAndMirrorsTheColumnProperties()
    {
        QTemporaryDir dir;
        QByteArray built[2];
        for (int i = 0; i < 2; ++i) {
            const QString path = dir.filePath(u"%1.sqlite"_s.arg(i));
            QCOMPARE(QProcess::execute(QStringLiteral(QUILLMERE_BIN_DIR "/make-template"), {path}), 0);
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            built[i] = file.readAll();
        }
        QFile carried(embedded::resourcePath(embedded::TemplateDatabase));
        QVERIFY(built[0].startsWith("SQLite format 3") && carried.open(QIODevice::ReadOnly));
        QCOMPARE(built[1], built[0]);
        QCOMPARE(carried.readAll(), built[0]);

        Database db(u"Provider=SQLite;Data Source="_s + dir.filePath(u"0.sqlite"_s));
        QVERIFY2(db.open(), qPrintable(db.lastError()));
        // A required column, zero-length text where it is refused, and text wider than its column, as Jet refuses them.
        for (const char* refused : {"insert into users (homedir) values ('c:\\x')", "insert into users (username, password) values ('z', '')",
                                    "insert into blocked_ips (ip) values ('0001.0002.0003.4')"})
            QVERIFY2(!db.execute(QLatin1String(refused)), refused);
        for (const char* accepted : {"insert into users (username) values ('minimal')",
                                     "insert into users (username, comments, Expires, DisableOn, ratio_type) values ('empty', '', '', '', '')",
                                     "insert into blocked_ips (ip) values ('255.255.255.255')"})
            QVERIFY2(db.execute(QLatin1String(accepted)), accepted);

        // The four flags default to 0; the rest stay NULL; the template's own rid counts up.
        Rows row = db.select(u"select * from users where username='minimal'"_s);
        QVERIFY(row.next());
        for (const char* zero : {"use_quota", "always_login", "one_login_per_ip", "disable_user"})
            QCOMPARE(row.text(QLatin1String(zero)), u"0"_s);
        QVERIFY(row.isNull(u"max_concurrent"_s) && row.isNull(u"domainID"_s));
        QCOMPARE(row.text(u"rid"_s), u"1"_s);

        // Whole numbers that come back as doubles read as digits; a query that fails gives no rows and says why.
        Rows number = db.select(u"select 1048576.0 as whole, 1.5 as half"_s);
        QVERIFY(number.next() && number.text(u"whole"_s) == u"1048576" && number.text(u"half"_s) == u"1.5");
        QVERIFY(!db.select(u"select x from missing_table"_s).isValid() && !db.lastError().isEmpty());
        // A rollback journal, not WAL.
        Rows mode = db.select(u"PRAGMA journal_mode"_s);
        QVERIFY(mode.next());
        QCOMPARE(mode.textAt(0).toLower(), u"delete"_s);
    }
};

QUILLMERE_TEST(TestEngines)
#include "TestEngines.moc"
