#include "GatewickFixture.h"
#include "TestMain.h"

#include "AccountStatements.h"
#include "IniUsers.h"
#include "IniValues.h"
#include "MigrationImporter.h"
#include "MigrationWindow.h"

#include "db/Schema.h"
#include "db/SqlText.h"
#include "platform/DateForm.h"

#include <QCheckBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRandomGenerator>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <memory>

using gatewicktest::fileContents;
using namespace migration;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(migration::Generation)

namespace {

QString sample(const QString& name) { return QStringLiteral(QUILLMERE_MIGRATION_SAMPLES "/") + name; }

QString shown(const QString& value) { return value; }
QString shown(bool value) { return value ? u"1"_s : u"0"_s; }
QString shown(int value) { return QString::number(value); }
QString shown(double value) { return QString::number(value, 'g', 15); }

// The account's name, then every column it sets as "field=value", sorted, so that one
// comparison checks them all (a flag as 1 or 0; an unset column is left out).
QStringList describe(const MigratedAccount& a)
{
    QStringList access, lines;
    for (const DirectoryAccess& entry : a.access)
        access << u"%1|%2|%3"_s.arg(entry.directory, entry.rights, shown(entry.inherit));
    const auto add = [&lines](const char* field, const auto& value) {
        if constexpr (std::is_same_v<std::decay_t<decltype(value)>, QString>) {
            if (!value.isEmpty())
                lines << QLatin1String(field) + QLatin1Char('=') + value;
        } else if (value) {
            lines << QLatin1String(field) + QLatin1Char('=') + shown(*value);
        }
    };
    add("password", a.password), add("homedir", a.homedir), add("comments", a.comments), add("access", access.join(u"; "_s));
    add("denied", a.deniedIps.join(u"; "_s)), add("disabled", a.disabled), add("expires", a.expires), add("idle", a.idleTimeoutMinutes);
    add("session", a.sessionTimeoutMinutes), add("maxConcurrent", a.maxConcurrent), add("maxPerIp", a.maxLoginsPerIp);
    add("onePerIp", a.oneLoginPerIp), add("speed", a.speedLimitKBps), add("useQuota", a.useQuota), add("quotaMax", a.quotaMaxBytes);
    add("quotaCurrent", a.quotaCurrentBytes), add("ratioType", a.ratioType), add("ratioUp", a.ratioUp), add("ratioDown", a.ratioDown);
    add("credit", a.ratioCredit), add("relPaths", a.relativePaths), add("hideHidden", a.hideHiddenFiles), add("alwaysLogin", a.alwaysLogin);
    add("loginMsg", a.loginMessageFile), add("maintenance", a.maintenance);
    lines.sort();
    return QStringList{a.name} + lines;
}

// The installation's form, which the tests run under another locale (en_US) than its own.
const DateForm InstallationDates(u"dd.MM.yyyy"_s);

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

// An administrator's installation: Quillmere's settings file naming an SQLite
// accounts database and the server's INI file, both real files.
struct Installation
{
    TestEnvironment env;
    QString whyNot;
    std::unique_ptr<TestDatabase> db = TestDatabase::create(TestEngine::Sqlite, env, &whyNot);

    void useIni(const QString& path) { env.settings.saveRegSetting(u"ini_path"_s, path); }

    // The window after the administrator answered OK to the question about the server.
    std::unique_ptr<MigrationWindow> openWindow(Generation generation = Generation::V4)
    {
        env.prompter.answerMessage(prompt::Answer::Ok, u"Stop the FTP server"_s);
        auto window = std::make_unique<MigrationWindow>(generation, env.settings, env.dates, env.prompter);
        if (window->prepare() != MigrationWindow::Preparation::Ready)
            return nullptr;
        window->show();
        return window;
    }
};

template <typename T> T* control(QWidget* window, const char* name)
{
    T* found = window->findChild<T*>(QLatin1String(name));
    if (!found)
        QTest::qFail(name, __FILE__, __LINE__);
    return found;
}

void click(QWidget* window, const char* name)
{
    auto* target = control<QAbstractButton>(window, name);
    const bool box = qobject_cast<QCheckBox*>(target) != nullptr;
    QTest::mouseClick(target, Qt::LeftButton, {}, box ? QPoint(8, target->height() / 2) : target->rect().center());
}

QStringList column(QWidget* window, const char* table, int index)
{
    QStringList texts;
    auto* widget = control<QTableWidget>(window, table);
    for (int row = 0; row < widget->rowCount(); ++row)
        texts << widget->item(row, index)->text();
    return texts;
}

} // namespace

// The migration tools: the INI reader on the sample files, bad input and single values;
// the importer on both engines (what lands in which column, existing accounts, running
// again, a database that fails half-way); and the tool's window driven as an administrator
// drives it, on a real settings file, the samples and a real SQLite accounts database.
class TestMigration : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    // The path of the file written, or an empty one, which no test takes for a good file.
    QString write(const QString& name, const QByteArray& bytes) { return gatewicktest::writeFile(m_dir.filePath(name), bytes); }

private slots:
    // The tests run under another locale (en_US) than the installation's date form.
    void init() { QLocale::setDefault(QLocale(u"en_US"_s)); }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    // Per sample: every account with every column it sets, in the file's order; the
    // server-wide deny rules; the warnings; and every value left behind with part of
    // its reason, and nothing more.
    void samples_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("generation");
        QTest::addColumn<QList<QStringList>>("accounts");
        QTest::addColumn<QStringList>("globalDenied");
        QTest::addColumn<QStringList>("warnings");
        QTest::addColumn<QList<QStringList>>("leftBehind"); // account, key, part of the reason
        const QString four = sample("servu4-sample.ini"), two = sample("servu2-sample.ini");
        const QString longName = u"this-name-is-far-too-long-for-the-username-column-x"_s, jose = u"José Müller"_s;
        QTest::newRow("v4") << four << int(Generation::V4) << QList<QStringList>{
            {"alice", "password=ab0BE9089682363B12E49AEFBB9356450D", "homedir=d:\\ftp\\alice", "comments=Wizard generated account\r\nRenewed every year",
             "access=d:\\ftp\\alice|RWAMELCD|1; d:\\ftp\\public|RL|1; d:\\ftp\\drop|WA|0", "denied=198.51.100.*", "disabled=0", "expires=31.12.2030",
             "idle=10", "session=91", "maxConcurrent=3", "maxPerIp=0", "onePerIp=1", "speed=64", "useQuota=1", "quotaMax=104857600",
             "quotaCurrent=5242880", "ratioType=BytesPerSession", "ratioUp=1", "ratioDown=3", "credit=1048576", "relPaths=1", "hideHidden=1",
             "alwaysLogin=1", "loginMsg=D:\\FTP\\Messages\\Alice.txt", "maintenance=System"},
            {u"Björn Ødegård"_s, "password=kz2D80DD096853E9F9E735F00CE1CC448B", u"homedir=d:\\ftp\\björn"_s, u"access=d:\\ftp\\björn|RL|0"_s,
             "disabled=1", "expires=28.02.2031", "maxPerIp=4", "onePerIp=0", "maintenance=ReadOnly"},
            {"anonymous", "homedir=d:\\ftp\\public", "access=d:\\ftp\\public|RL|1", "idle=-1", "maxPerIp=0", "onePerIp=0"},
            {"bob", "password=letmein", "homedir=d:\\ftp\\bob", u"comments="_s + u"This account belongs to the night shift; "_s.repeated(8).left(256),
             "idle=2", "maxConcurrent=-1", "ratioType=FilesOverall", "ratioUp=2"},
            {"carol", "password=qr54339D49AB6CAAA8EB4843C6F83711FA", "homedir=e:\\side\\carol", "access=e:\\side\\carol|RWAMELCD|0"},
            {"dave", "password=qr54339D49AB6CAAA8EB4843C6F83711FA", "homedir=d:\\ftp\\dave", "idle=2"}}
                            << QStringList{"10.20.30.*", "172.16.0.0/12", "203.0.113.7"}
                            << QStringList{"\"ALICE\" appears twice (lines 28 and 104); the first, at line 28, was kept",
                                           "\"ghost\" is listed in [Domain1]", "\"dave\" is in no domain's user list",
                                           "\"anonymous\" has no password", "line 114 was not read",
                                           "line 118 was not read: A user name may not hold"}
                            << QList<QStringList>{
                                   {"", "[GLOBAL] RegistrationKey", "server setting"}, {"", "[GLOBAL] ProcessID", "server setting"},
                                   {"", "[GLOBAL] IPAccess2", "allow rule"}, {"", "[GLOBAL] IPAccess4", "does not apply as written"},
                                   {"", "[DOMAINS] Domain1", "no domains"}, {"", "[DOMAINS] Domain2", "no domains"},
                                   {"", "[Domain1] LogSystemMes", "server setting"}, {"", "[ServUAdmin] WindowPos", "not read"},
                                   {"ALICE", "[USER=ALICE|2]", "second section"}, {longName, "[USER=" + longName + "|1]", "longer than the 50"},
                                   {u"pipe§name"_s, u"[USER=pipe§name|1]"_s, "may not hold"},
                                   {"alice", "ChangePassword", "change their own password"}, {"alice", "Access3", "\"X\""},
                                   {"alice", "IPAccess2", "allow rule"}, {"alice", "SKEYValues", "S/KEY"},
                                   {"alice", "FavouriteColour", "not a key the migration knows"}, {"alice", "SpeedLimitDown", "64 KBps"},
                                   {"bob", "Password", "plain text"}, {"bob", "Maintenance", "8 characters"}, {"bob", "RatioDown", "whole number"},
                                   {"bob", "Expiration", "not a date"}, {"bob", "QuotaMax", "number of bytes"}, {"bob", "Note", "cut"},
                                   {"bob", "IPAccess1", "not a rule the program accepts"}, {"bob", "Access1", "no folder"},
                                   {"bob", "a line without an equals sign", "key=value"}, {"carol", "Access1", "appears twice"},
                                   {"carol", "RatioUp", "no ratio"}, {"dave", "timeout", "appears twice"}};
        const QList<QStringList> v2LeftBehind{{"", "[GLOBAL] RegistrationKey", "server setting"}, {"", "[GLOBAL] IPAccess2", "allow rule"},
                                              {"", "[GLOBAL] IPAccess3", "does not apply as written"}, {jose, "Password", "salted MD5"}};
        const QStringList admin{"admin", "password=ab0BE9089682363B12E49AEFBB9356450D", "homedir=c:\\", "access=c:\\|RWAMELCD|1", "maintenance=System"};
        QTest::newRow("v2") << two << int(Generation::V2) << QList<QStringList>{
            {"anonymous", "homedir=c:\\ftp\\pub", "access=c:\\ftp\\pub|RL|1", "idle=5", "maxConcurrent=20", "speed=32"},
            {jose, "password=xyQ3kD8r0PqwE", u"homedir=c:\\ftp\\josé"_s, u"comments=Old account, café corner"_s,
             u"access=c:\\ftp\\josé|RWAMLCD|1; c:\\ftp\\pub|RL|0"_s, "denied=192.0.2.15", "disabled=0", "expires=01.01.2001", "session=60",
             "maxPerIp=2", "onePerIp=0", "useQuota=0", "quotaMax=0", "ratioType=FilesPerSession", "ratioUp=1", "ratioDown=5", "credit=10",
             "relPaths=1", "hideHidden=1", "alwaysLogin=1", "loginMsg=C:\\FTP\\Welcome.txt", "maintenance=None"}, admin}
                            << QStringList{"192.0.2.*"} << QStringList{"read as Windows-1252", "\"anonymous\" has no password"}
                            << v2LeftBehind + QList<QStringList>{{jose, "SpeedLimitUp", "not a key the migration knows"}};
        // One account in each encoding and line end (the samples are UTF-8 and Latin-1 with CRLF). The euro
        // sign exists in Windows-1252 (0x80), not in Latin-1.
        const QString text = u"[GLOBAL]~Version=6.0~~[USER=Jürgen Ølholm €uro|1]~Password=ab0BE9089682363B12E49AEFBB9356450D~"
                             "HomeDir=C:\\Ünïcode\\Dir~Note1=Grüße~TimeOut=120~"_s;
        const auto lines = [&](const char* end) { return QString(text).replace(QLatin1Char('~'), QLatin1String(end)); };
        const QList<QStringList> jurgen{{u"Jürgen Ølholm €uro"_s, u"comments=Grüße"_s, "homedir=c:\\ünïcode\\dir", "idle=2",
                                         "password=ab0BE9089682363B12E49AEFBB9356450D"}};
        const QString wide = lines("\r\n");
        const QList<std::pair<const char*, QByteArray>> encoded{
            {"utf-8 lf", lines("\n").toUtf8()}, {"utf-8 cr", lines("\r").toUtf8()},
            {"utf-16 with bom", QByteArray("\xFF\xFE") + QByteArray(reinterpret_cast<const char*>(wide.utf16()), wide.size() * 2)},
            {"windows-1252", lines("\r\n").toLatin1().replace('?', '\x80')}};
        for (const auto& [name, bytes] : encoded) {
            QTest::newRow(name) << write(QLatin1String(name) + u".ini"_s, bytes) << int(Generation::V4) << jurgen << QStringList()
                                << (bytes.contains('\x80') ? QStringList{"read as Windows-1252"} : QStringList()) << QList<QStringList>();
        }
        // Single values the samples do not show: Access entries without a bar, with a POSIX folder (which keeps
        // its case) or a bar in the folder; deny rules the handler would not apply as written, that the program
        // refuses or that are wider than the column; a day number with a time, a day that does not exist, and 0.
        const QByteArray values = "[USER=x|1]\nPassword=ab0BE9089682363B12E49AEFBB9356450D\nHomeDir=/srv/ftp/Incoming\nAccess1=C:\\A\n"
                                  "Access2=/srv/ftp/Incoming|RL\nAccess3=C:\\\xC2\xA7 1|2|RL\nIPAccess1=D|10.0.0.0/33\nIPAccess2=D|300.1.1.1\n"
                                  "IPAccess3=D|10.0.0.0/8     x\nExpiration=47158.75\n[USER=y|1]\nPassword=ab0BE9089682363B12E49AEFBB9356450D\n"
                                  "HomeDir=c:\\y\nExpiration=2/30/2031\n[USER=z|1]\nPassword=ab0BE9089682363B12E49AEFBB9356450D\nHomeDir=c:\\z\nExpiration=0\n";
        const QString salted = u"password=ab0BE9089682363B12E49AEFBB9356450D"_s;
        QTest::newRow("single values") << write(u"values.ini"_s, values) << int(Generation::V4)
                                       << QList<QStringList>{{"x", salted, "homedir=/srv/ftp/Incoming", u"access=/srv/ftp/Incoming|RL|0; c:\\§ 1|2|RL|0"_s,
                                                              "expires=09.02.2029"},
                                                             {"y", salted, "homedir=c:\\y"}, {"z", salted, "homedir=c:\\z"}}
                                       << QStringList() << QStringList()
                                       << QList<QStringList>{{"x", "Access1", "no \"|<rights>\""}, {"x", "IPAccess1", "does not apply as written"},
                                                             {"x", "IPAccess2", "not a rule the program accepts"}, {"x", "IPAccess3", "longer than"},
                                                             {"y", "Expiration", "not a date"}};
        // The older layout read as the newer one says so, and keeps its accounts.
        QTest::newRow("v2 read as v4") << two << int(Generation::V4) << QList<QStringList>{{"anonymous"}, {jose}, admin} << QStringList{"192.0.2.*"}
                                       << QStringList{"read as Windows-1252", "Version=2.5h", "\"anonymous\" has no password"}
                                       << v2LeftBehind + QList<QStringList>{{"anonymous", "SpeedLimit", "not a key the migration knows"}};
    }
    void samples()
    {
        QFETCH(QString, path);
        QFETCH(int, generation);
        QFETCH(QList<QStringList>, accounts);
        QFETCH(QStringList, warnings);
        QFETCH(QList<QStringList>, leftBehind);
        const ReadOutcome outcome = readIniUsers(path, Generation(generation), InstallationDates);
        QVERIFY2(outcome.ok, qPrintable(outcome.error));
        QList<NotCarried> all = outcome.source.notCarried;
        QCOMPARE(outcome.source.accounts.size(), accounts.size());
        for (qsizetype index = 0; index < accounts.size(); ++index) {
            const MigratedAccount& read = outcome.source.accounts[index];
            all += read.notCarried;
            QStringList expected = accounts[index];
            std::sort(expected.begin() + 1, expected.end());
            QCOMPARE(accounts[index].size() > 1 ? describe(read) : QStringList{read.name}, expected);
        }
        QTEST(outcome.source.globalDeniedIps, "globalDenied");
        const QStringList& read = outcome.source.warnings;
        QCOMPARE(read.size(), warnings.size());
        for (const QString& warning : warnings)
            QVERIFY2(std::any_of(read.cbegin(), read.cend(), [&](const QString& each) { return each.contains(warning); }), qPrintable(warning));
        // Each expected value once, and as many as there are: nothing else was left behind.
        QCOMPARE(all.size(), leftBehind.size());
        for (const QStringList& entry : leftBehind) {
            QVERIFY2(std::any_of(all.cbegin(), all.cend(), [&](const NotCarried& each) {
                         return each.account == entry[0] && each.key == entry[1] && each.reason.contains(entry[2]);
                     }), qPrintable(entry.join(u" / "_s)));
        }
    }

    void badInputGetsAMessage_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("message");
        QVERIFY(m_dir.isValid());
        // Random bytes without a zero, so that the control characters among them decide.
        QByteArray controls(64 * 1024, Qt::Uninitialized);
        QRandomGenerator random(20240611);
        for (char& byte : controls)
            byte = char(1 + random.bounded(255));
        QFile sparse(m_dir.filePath("huge.ini"));
        QVERIFY(sparse.open(QIODevice::WriteOnly) && sparse.resize(300LL * 1024 * 1024));
        sparse.close();

        QTest::newRow("missing") << m_dir.filePath("absent.ini") << "does not exist";
        QTest::newRow("folder") << m_dir.path() << "is a folder";
        QTest::newRow("blank") << write("blank.ini", "\xEF\xBB\xBF \r\n\t\r\n") << "is empty";
        QTest::newRow("zero byte") << write("zero.ini", QByteArray("[USER=a]\r\nPassword=\0x\r\n", 23)) << "zero byte at offset 19";
        QTest::newRow("control characters") << write("controls.ini", controls) << "binary data";
        QTest::newRow("no section") << write("plain.ini", "Password=abc\nHomeDir=c:\\\n") << "no [section] at all";
        QTest::newRow("no user section") << sample("servu4-no-users.ini") << "no [USER=...] section";
        QTest::newRow("too large") << sparse.fileName() << "too large";
    }
    void badInputGetsAMessage()
    {
        QFETCH(QString, path);
        QFETCH(QString, message);
        const ReadOutcome outcome = readIniUsers(path, Generation::V4, InstallationDates);
        QVERIFY(!outcome.ok);
        QVERIFY2(outcome.error.contains(message), qPrintable(outcome.error));
        QVERIFY(outcome.source.accounts.isEmpty());
    }

    // One import of every value the model carries, of values a column refuses, of an account
    // already there and of server-wide rules; the same import again, which changes nothing;
    // and once more with Replace, which leaves none of the old rows in any table.
    void importsOnBothEngines_data() { addEngineRows(); }
    void importsOnBothEngines()
    {
        TestEnvironment env;
        QUILLMERE_OPEN_DATABASE(db, env);
        // The account already there, as the user page's save makes it, with rows in the other tables.
        QVERIFY(gatewicktest::createAccount(env, u"reference"_s, u"old-pw"_s, gatewicktest::homeFolder(env, u"reference"_s)));
        for (const char* row : {"INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES ('reference', '/old', 'R', 0)",
                                "INSERT INTO blocked_ips_by_user (username, ip) VALUES ('reference', '1.1.1.1')",
                                "INSERT INTO file_rights (username, filename, file_rights) VALUES ('reference', '/old/f', 'R')",
                                "INSERT INTO ratio_free_files (username, filename) VALUES ('reference', '/old/free')",
                                "insert into blocked_ips (ip) values ('10.0.0.2')"})
            db->exec(QLatin1String(row));
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
        QList<MigratedAccount> accounts{account(u"reference"_s, u"/srv/ftp/reference"_s, u"2.2.2.2"_s), fullAccount(), quoted, minimal, noted};
        for (const auto& [reason, change] : refusals) {
            accounts << account(accounts.size() == 5 ? u"homeless"_s : u"refused%1"_s.arg(accounts.size()));
            change(accounts.last());
        }
        MigrationSource source = sourceOf(accounts, {"10.0.0.1", "10.0.0.2", "10.0.0.1", "192.168.100.100/32"});
        source.notCarried = {{QString(), u"[GLOBAL] MaxUsers"_s, u"20"_s, u"a server setting"_s}};
        source.warnings = {u"The section [GLOBAL] appears twice."_s};

        const MigrationImporter importer(db->connectionString());
        QString error;
        QCOMPARE(importer.existingNames(source, &error), std::optional<QStringList>(QStringList{"reference"}));
        const ImportReport report = importer.run(source, {}, {});
        QVERIFY2(report.stoppedBy.isEmpty(), qPrintable(report.stoppedBy));
        QCOMPARE(report.imported, (QStringList{"fullfield", "O'Brien", "minimal", "noted"}));
        QCOMPARE(report.skippedExisting, QStringList{"reference"});
        QCOMPARE(directoryRows(*db, u"reference"_s), QStringList{"/old,R,0"});
        QCOMPARE(report.globalRulesAdded, QStringList{"10.0.0.1"});
        QCOMPARE(report.globalRulesPresent, QStringList{"10.0.0.2"});
        QCOMPARE(report.globalRulesRefused.size(), 1);
        QVERIFY(report.globalRulesRefused.first().startsWith(u"192.168.100.100/32: "_s));
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
                       {u"INI file: /srv/ftp-server/ServUDaemon.ini (FTP server 4.0 and later)"_s, u"Accounts in the INI file: 12"_s,
                        u"Imported accounts (4):\n    fullfield\n    O'Brien\n    minimal\n    noted\n"_s,
                        u"Failed accounts (nothing written) (7):\n    homeless: the account has no home folder\n"_s,
                        u"Server-wide IP deny rules added (1):\n    10.0.0.1\n"_s, u"    noted: ChangePassword = 1 (no such right)\n"_s,
                        u"    (server): [GLOBAL] MaxUsers = 20 (a server setting)\n"_s, u"this part is left out: hij\n"_s,
                        u"Warnings (1):\n    The section [GLOBAL] appears twice.\n"_s,
                        u"Skipped accounts (already in the database, left as they were) (1):\n    reference\n"_s});

        // The same import again changes nothing; with Replace, every account is written anew.
        const QStringList before = snapshot(*db);
        QCOMPARE(importer.run(source, {}, {}).skippedExisting.size(), 5);
        QCOMPARE(snapshot(*db), before);
        QCOMPARE(importer.run(source, {.replaceExisting = true}, {}).replaced.size(), 5);
        QCOMPARE(directoryRows(*db, u"reference"_s), QStringList{"/srv/ftp/reference,RL,1"});
        QCOMPARE(deniedRows(*db, u"reference"_s), QStringList{"2.2.2.2"});
        for (const char* table : {"file_rights", "ratio_free_files"})
            QCOMPARE(db->count(u"select filename from %1 where username='reference'"_s.arg(QLatin1String(table))), 0);
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

    // Each sample with one of its accounts in the database already: the preparations that
    // end before anything is touched, the preview, an import stopped after the account in
    // hand (by Stop or the close box), and the import of the rest with Replace ticked.
    void importFromThePreview_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<Generation>("generation");
        QTest::addColumn<QString>("existing");
        QTest::addColumn<bool>("byCloseBox");
        QTest::newRow("2.0 to 3.0, Stop button") << u"servu2-sample.ini"_s << Generation::V2 << "admin" << false;
        QTest::newRow("4.0 and later, close box") << u"servu4-sample.ini"_s << Generation::V4 << "anonymous" << true;
    }
    void importFromThePreview()
    {
        QFETCH(QString, file);
        QFETCH(Generation, generation);
        QFETCH(QString, existing);
        QFETCH(bool, byCloseBox);
        const QString ini = sample(file);
        const QByteArray iniBefore = fileContents(ini);
        Installation site;
        QVERIFY2(site.db, qPrintable(site.whyNot));
        // The tool ends before it touches anything without an INI file in the settings, when
        // the server is not stopped, or when the INI file is not there.
        const QByteArray untouched = fileContents(site.env.path(u"accounts.db"_s));
        const auto prepare = [&] { return static_cast<int>(MigrationWindow(generation, site.env.settings, site.env.dates, site.env.prompter).prepare()); };
        site.env.prompter.answerMessage(prompt::Answer::Ok, u"save its configuration window"_s);
        QCOMPARE(prepare(), static_cast<int>(MigrationWindow::Preparation::Failed));
        site.useIni(ini + u".gone"_s);
        site.env.prompter.answerMessage(prompt::Answer::Cancel, u"Stop the FTP server"_s);
        QCOMPARE(prepare(), static_cast<int>(MigrationWindow::Preparation::Cancelled));
        site.env.prompter.answerMessage(prompt::Answer::Ok, u"Stop the FTP server"_s).answerMessage(prompt::Answer::Ok, u"could not be read"_s);
        QCOMPARE(prepare(), static_cast<int>(MigrationWindow::Preparation::Failed));
        QCOMPARE(site.env.prompter.unusedSteps(), 0);
        QCOMPARE(fileContents(site.env.path(u"accounts.db"_s)), untouched);
        site.useIni(ini);
        site.db->exec(u"INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, quota_current) "
                      "VALUES (%1, '/srv/ftp/old', 'pw', 1, 1, 0)"_s.arg(sqlQuote(existing)));
        const auto homeOfExisting = [&] { return site.db->column(u"select homedir from users where username="_s + sqlQuote(existing)); };

        auto window = site.openWindow(generation);
        QVERIFY(window);
        const migration::MigrationSource source = window->source();
        const qsizetype total = source.accounts.size();
        QStringList names, statuses, notCarried;
        for (const migration::MigratedAccount& account : source.accounts) {
            names << account.name;
            statuses << (account.name == existing ? u"already in the database"_s : u"new"_s);
            for (const migration::NotCarried& entry : account.notCarried)
                notCarried << entry.key;
        }
        for (const migration::NotCarried& entry : source.notCarried)
            notCarried << entry.key;
        QCOMPARE(control<QLabel>(window.get(), "lblAccountCount")->text(), u"%1 accounts: %2 new, 1 already in the database"_s.arg(total).arg(total - 1));
        QCOMPARE(column(window.get(), "tblAccounts", 0), names);
        QCOMPARE(column(window.get(), "tblAccounts", 2), statuses);
        QCOMPARE(column(window.get(), "tblNotCarried", 1), notCarried);

        // Stop, or the close box, while the import runs: it ends after the account in hand.
        MigrationWindow* shown = window.get();
        QTimer::singleShot(0, shown, [shown, byCloseBox] {
            QVERIFY(shown->isImporting());
            if (byCloseBox)
                shown->close();
            else
                click(shown, "cmdCancel");
        });
        click(shown, "cmdImport");
        QVERIFY(shown->isVisible());
        QCOMPARE(control<QStackedWidget>(shown, "stkPages")->currentWidget()->objectName(), u"fraSummary"_s);
        QCOMPARE(shown->report().imported, names.mid(0, 1));
        QCOMPARE(shown->report().notReached, names.mid(1));
        QCOMPARE(control<QLabel>(shown, "lblSummaryHeading")->text(), u"The import was stopped by you"_s);
        click(shown, "cmdClose");

        // The rest with Replace ticked: the account written by the stopped run and the one
        // there before are written anew, beside the new ones (skipping is the importer's test).
        window = site.openWindow(generation);
        QVERIFY(window);
        QCOMPARE(control<QLabel>(window.get(), "lblAccountCount")->text(), u"%1 accounts: %2 new, 2 already in the database"_s.arg(total).arg(total - 2));
        click(window.get(), "chkReplace");
        const QStringList replaced{names[0], existing}; // in the file's order: the existing account is never the first
        QStringList plans, rest = names.mid(1);
        rest.removeOne(existing);
        for (const QString& name : names)
            plans << (replaced.contains(name) ? u"replace"_s : u"add"_s);
        QCOMPARE(column(window.get(), "tblAccounts", 3), plans);
        click(window.get(), "cmdImport");
        QCOMPARE(control<QProgressBar>(window.get(), "prgImport")->value(), total);
        const migration::ImportReport& report = window->report();
        QVERIFY2(report.stoppedBy.isEmpty() && report.failed.isEmpty(), qPrintable(report.stoppedBy));
        QCOMPARE(report.imported, rest);
        QCOMPARE(report.replaced, replaced);
        QCOMPARE(homeOfExisting(), QStringList{source.accounts[names.indexOf(existing)].homedir});
        QCOMPARE(site.db->column(u"select ip from blocked_ips"_s), source.globalDeniedIps);
        QCOMPARE(fileContents(ini), iniBefore);

        // The page shows the summary (the importer's test reads its lines), and Save Summary
        // writes it; a folder that is not there says so.
        const QString expected = migration::summaryText(source, report);
        QCOMPARE(control<QPlainTextEdit>(window.get(), "txtSummary")->toPlainText().trimmed(), expected.trimmed());
        const QString saved = site.env.path(u"summary.txt"_s);
        site.env.prompter.answerFile(saved);
        click(window.get(), "cmdSaveSummary");
        QCOMPARE(QString::fromUtf8(fileContents(saved)), expected);
        QVERIFY(control<QLabel>(window.get(), "lblSaved")->text().contains(saved));
        site.env.prompter.answerFile(site.env.path(u"no-such-folder/summary.txt"_s)).answerMessage(prompt::Answer::Ok, u"could not be saved"_s);
        click(window.get(), "cmdSaveSummary");
        QCOMPARE(site.env.prompter.unusedSteps(), 0);
        click(window.get(), "cmdClose");
        QVERIFY(!window->isVisible());
    }
};

QUILLMERE_TEST(TestMigration)
#include "TestMigration.moc"
