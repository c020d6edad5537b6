#include "GatewickFixture.h"
#include "TestMain.h"

#include "IniUsers.h"
#include "IniValues.h"
#include "platform/DateForm.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

using namespace migration;

namespace {

QString sample(const char* name) { return QStringLiteral(QUILLMERE_MIGRATION_SAMPLES "/") + QLatin1String(name); }

// An optional value as text: "-" when unset, a flag as 1 or 0.
template <typename T> QString shown(const std::optional<T>& value)
{
    if (!value)
        return QStringLiteral("-");
    if constexpr (std::is_same_v<T, QString>)
        return *value;
    else if constexpr (std::is_same_v<T, bool>)
        return *value ? QStringLiteral("1") : QStringLiteral("0");
    else
        return QString::number(*value, 'g', 15);
}

// Every column of an account as "field=value", so that one comparison checks them all.
QStringList describe(const MigratedAccount& a)
{
    QStringList access;
    for (const DirectoryAccess& entry : a.access)
        access << QStringLiteral("%1|%2|%3").arg(entry.directory, entry.rights, entry.inherit ? QStringLiteral("1") : QStringLiteral("0"));
    const auto text = [](const QString& value) { return value.isEmpty() ? QStringLiteral("-") : value; };
    const QList<QPair<const char*, QString>> fields{
        {"password", text(a.password)}, {"homedir", text(a.homedir)}, {"comments", text(a.comments)},
        {"access", text(access.join(QStringLiteral("; ")))}, {"denied", text(a.deniedIps.join(QStringLiteral("; ")))},
        {"disabled", shown(a.disabled)}, {"expires", text(a.expires)}, {"idle", shown(a.idleTimeoutMinutes)},
        {"session", shown(a.sessionTimeoutMinutes)}, {"maxConcurrent", shown(a.maxConcurrent)}, {"maxPerIp", shown(a.maxLoginsPerIp)},
        {"onePerIp", shown(a.oneLoginPerIp)}, {"speed", shown(a.speedLimitKBps)}, {"useQuota", shown(a.useQuota)},
        {"quotaMax", shown(a.quotaMaxBytes)}, {"quotaCurrent", shown(a.quotaCurrentBytes)}, {"ratioType", shown(a.ratioType)},
        {"ratioUp", shown(a.ratioUp)}, {"ratioDown", shown(a.ratioDown)}, {"credit", shown(a.ratioCredit)},
        {"relPaths", shown(a.relativePaths)}, {"hideHidden", shown(a.hideHiddenFiles)}, {"alwaysLogin", shown(a.alwaysLogin)},
        {"loginMsg", shown(a.loginMessageFile)}, {"maintenance", shown(a.maintenance)}};
    QStringList lines;
    for (const auto& [field, value] : fields)
        lines << QLatin1String(field) + QLatin1Char('=') + value;
    return lines;
}

// The description of an account with every column unset but the ones given.
QStringList expected(const QList<QPair<QString, QString>>& set)
{
    MigratedAccount blank;
    QStringList lines = describe(blank);
    for (const auto& [field, value] : set) {
        const auto at = std::find_if(lines.begin(), lines.end(), [&](const QString& line) { return line.startsWith(field + QLatin1Char('=')); });
        Q_ASSERT(at != lines.end());
        *at = field + QLatin1Char('=') + value;
    }
    return lines;
}

// The installation's form, which the tests run under another locale (en_US) than its own.
const DateForm Installation(QStringLiteral("dd.MM.yyyy"));

} // namespace

class TestIniUsers : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    // The path of the file written, or an empty one, which no test takes for a good file.
    QString write(const QString& name, const QByteArray& bytes) { return gatewicktest::writeFile(m_dir.filePath(name), bytes); }

private slots:
    void init() { QLocale::setDefault(QLocale(QStringLiteral("en_US"))); }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void samplesReadIntoAccounts_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("generation");
        QTest::addColumn<QString>("account");
        QTest::addColumn<QStringList>("columns");
        const int v4 = int(Generation::V4), v2 = int(Generation::V2);
        const QString four = sample("servu4-sample.ini"), two = sample("servu2-sample.ini");

        QTest::newRow("v4 every key") << four << v4 << "alice" << expected({
            {"password", "ab0BE9089682363B12E49AEFBB9356450D"}, {"homedir", "d:\\ftp\\alice"},
            {"comments", "Wizard generated account\r\nRenewed every year"},
            {"access", "d:\\ftp\\alice|RWAMELCD|1; d:\\ftp\\public|RL|1; d:\\ftp\\drop|WA|0"},
            {"denied", "198.51.100.*"}, {"disabled", "0"}, {"expires", "31.12.2030"}, {"idle", "10"},
            {"session", "91"}, {"maxConcurrent", "3"}, {"maxPerIp", "0"}, {"onePerIp", "1"}, {"speed", "64"},
            {"useQuota", "1"}, {"quotaMax", "104857600"}, {"quotaCurrent", "5242880"}, {"ratioType", "BytesPerSession"},
            {"ratioUp", "1"}, {"ratioDown", "3"}, {"credit", "1048576"}, {"relPaths", "1"}, {"hideHidden", "1"},
            {"alwaysLogin", "1"}, {"loginMsg", "D:\\FTP\\Messages\\Alice.txt"}, {"maintenance", "System"}});
        QTest::newRow("v4 utf-8 name") << four << v4 << QStringLiteral("Björn Ødegård") << expected({
            {"password", "kz2D80DD096853E9F9E735F00CE1CC448B"}, {"homedir", QStringLiteral("d:\\ftp\\björn")},
            {"access", QStringLiteral("d:\\ftp\\björn|RL|0")}, {"disabled", "1"}, {"expires", "28.02.2031"},
            {"maxPerIp", "4"}, {"onePerIp", "0"}, {"maintenance", "ReadOnly"}});
        QTest::newRow("v4 no password, no limits") << four << v4 << "anonymous" << expected({
            {"homedir", "d:\\ftp\\public"}, {"access", "d:\\ftp\\public|RL|1"}, {"idle", "-1"}, {"maxPerIp", "0"}, {"onePerIp", "0"}});
        QTest::newRow("v4 values left behind") << four << v4 << "bob" << expected({
            {"password", "letmein"}, {"homedir", "d:\\ftp\\bob"}, {"comments", QStringLiteral("This account belongs to the night shift; ").repeated(8).left(256)},
            {"idle", "2"}, {"maxConcurrent", "-1"}, {"ratioType", "FilesOverall"}, {"ratioUp", "2"}});
        QTest::newRow("v4 second domain") << four << v4 << "carol" << expected({
            {"password", "qr54339D49AB6CAAA8EB4843C6F83711FA"}, {"homedir", "e:\\side\\carol"}, {"access", "e:\\side\\carol|RWAMELCD|0"}});
        QTest::newRow("v4 repeated key") << four << v4 << "dave" << expected({
            {"password", "qr54339D49AB6CAAA8EB4843C6F83711FA"}, {"homedir", "d:\\ftp\\dave"}, {"idle", "2"}});
        QTest::newRow("v2 one speed") << two << v2 << "anonymous" << expected({
            {"homedir", "c:\\ftp\\pub"}, {"access", "c:\\ftp\\pub|RL|1"}, {"idle", "5"}, {"maxConcurrent", "20"}, {"speed", "32"}});
        QTest::newRow("v2 every key, Windows-1252") << two << v2 << QStringLiteral("José Müller") << expected({
            {"password", "xyQ3kD8r0PqwE"}, {"homedir", QStringLiteral("c:\\ftp\\josé")}, {"comments", QStringLiteral("Old account, café corner")},
            {"access", QStringLiteral("c:\\ftp\\josé|RWAMLCD|1; c:\\ftp\\pub|RL|0")}, {"denied", "192.0.2.15"}, {"disabled", "0"},
            {"expires", "01.01.2001"}, {"session", "60"}, {"maxPerIp", "2"}, {"onePerIp", "0"}, {"useQuota", "0"},
            {"quotaMax", "0"}, {"ratioType", "FilesPerSession"}, {"ratioUp", "1"}, {"ratioDown", "5"}, {"credit", "10"},
            {"relPaths", "1"}, {"hideHidden", "1"}, {"alwaysLogin", "1"}, {"loginMsg", "C:\\FTP\\Welcome.txt"}, {"maintenance", "None"}});
        QTest::newRow("v2 section with a domain") << two << v2 << "admin" << expected({
            {"password", "ab0BE9089682363B12E49AEFBB9356450D"}, {"homedir", "c:\\"}, {"access", "c:\\|RWAMELCD|1"}, {"maintenance", "System"}});
    }

    void samplesReadIntoAccounts()
    {
        QFETCH(QString, path);
        QFETCH(int, generation);
        QFETCH(QString, account);
        QFETCH(QStringList, columns);
        const ReadOutcome outcome = readIniUsers(path, Generation(generation), Installation);
        QVERIFY2(outcome.ok, qPrintable(outcome.error));
        const QList<MigratedAccount>& read = outcome.source.accounts;
        const auto found = std::find_if(read.cbegin(), read.cend(), [&](const MigratedAccount& each) { return each.name == account; });
        QVERIFY(found != read.cend());
        QCOMPARE(describe(*found), columns);
    }

    // Per sample: the accounts in the file's order, the server-wide deny rules, the
    // warnings, and every value left behind with part of its reason, and nothing more.
    void samplesListWhatTheyLeaveBehind_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("generation");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QStringList>("globalDenied");
        QTest::addColumn<QStringList>("warnings");
        QTest::addColumn<QList<QStringList>>("leftBehind"); // account, key, part of the reason
        const QString four = sample("servu4-sample.ini"), two = sample("servu2-sample.ini");
        const QString longName = QStringLiteral("this-name-is-far-too-long-for-the-username-column-x"), jose = QStringLiteral("José Müller");
        QTest::newRow("v4") << four << int(Generation::V4) << QStringList{"alice", QStringLiteral("Björn Ødegård"), "anonymous", "bob", "carol", "dave"}
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
                                   {QStringLiteral("pipe§name"), QStringLiteral("[USER=pipe§name|1]"), "may not hold"},
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
        QTest::newRow("v2") << two << int(Generation::V2) << QStringList{"anonymous", jose, "admin"} << QStringList{"192.0.2.*"}
                            << QStringList{"read as Windows-1252", "\"anonymous\" has no password"}
                            << v2LeftBehind + QList<QStringList>{{jose, "SpeedLimitUp", "not a key the migration knows"}};
        // The older layout read as the newer one says so, and keeps its accounts.
        QTest::newRow("v2 read as v4") << two << int(Generation::V4) << QStringList{"anonymous", jose, "admin"} << QStringList{"192.0.2.*"}
                                       << QStringList{"read as Windows-1252", "Version=2.5h", "\"anonymous\" has no password"}
                                       << v2LeftBehind + QList<QStringList>{{"anonymous", "SpeedLimit", "not a key the migration knows"}};
    }

    void samplesListWhatTheyLeaveBehind()
    {
        QFETCH(QString, path);
        QFETCH(int, generation);
        QFETCH(QStringList, warnings);
        QFETCH(QList<QStringList>, leftBehind);
        const ReadOutcome outcome = readIniUsers(path, Generation(generation), Installation);
        QVERIFY2(outcome.ok, qPrintable(outcome.error));
        QStringList names;
        QList<NotCarried> all = outcome.source.notCarried;
        for (const MigratedAccount& account : outcome.source.accounts) {
            names << account.name;
            all += account.notCarried;
        }
        QTEST(names, "names");
        QTEST(outcome.source.globalDeniedIps, "globalDenied");
        const QStringList& read = outcome.source.warnings;
        QCOMPARE(read.size(), warnings.size());
        for (const QString& warning : warnings)
            QVERIFY2(std::any_of(read.cbegin(), read.cend(), [&](const QString& each) { return each.contains(warning); }), qPrintable(warning));
        QStringList listed, expected;
        for (const NotCarried& entry : all)
            listed << entry.account + QStringLiteral(" / ") + entry.key;
        for (const QStringList& entry : leftBehind) {
            expected << entry[0] + QStringLiteral(" / ") + entry[1];
            QVERIFY2(std::any_of(all.cbegin(), all.cend(), [&](const NotCarried& each) {
                         return each.account == entry[0] && each.key == entry[1] && each.reason.contains(entry[2]);
                     }), qPrintable(entry.join(QStringLiteral(" / "))));
        }
        listed.sort();
        expected.sort();
        QCOMPARE(listed, expected);
    }

    void badInputGetsAMessage_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("message");
        QVERIFY(m_dir.isValid());
        QByteArray garbage(64 * 1024, Qt::Uninitialized);
        QRandomGenerator random(20240611);
        for (char& byte : garbage)
            byte = char(random.bounded(256));
        QByteArray controls = garbage;
        for (char& byte : controls)
            byte = char(1 + quint8(byte) % 255);
        QFile sparse(m_dir.filePath("huge.ini"));
        QVERIFY(sparse.open(QIODevice::WriteOnly) && sparse.resize(300LL * 1024 * 1024));
        sparse.close();

        QTest::newRow("missing") << m_dir.filePath("absent.ini") << "does not exist";
        QTest::newRow("folder") << m_dir.path() << "is a folder";
        QTest::newRow("empty") << write("empty.ini", {}) << "is empty";
        QTest::newRow("blank") << write("blank.ini", "\xEF\xBB\xBF \r\n\t\r\n") << "is empty";
        QTest::newRow("zero byte") << write("zero.ini", QByteArray("[USER=a]\r\nPassword=\0x\r\n", 23)) << "zero byte at offset 19";
        QTest::newRow("random bytes") << write("random.ini", garbage) << "binary data";
        QTest::newRow("control characters") << write("controls.ini", controls) << "binary data";
        QTest::newRow("no section") << write("plain.ini", "Password=abc\nHomeDir=c:\\\n") << "no [section] at all";
        QTest::newRow("no user section") << sample("servu4-no-users.ini") << "no [USER=...] section";
        QTest::newRow("too large") << sparse.fileName() << "too large";
    }

    void badInputGetsAMessage()
    {
        QFETCH(QString, path);
        QFETCH(QString, message);
        const ReadOutcome outcome = readIniUsers(path, Generation::V4, Installation);
        QVERIFY(!outcome.ok);
        QVERIFY2(outcome.error.contains(message), qPrintable(outcome.error));
        QVERIFY(outcome.source.accounts.isEmpty());
    }

    void encodingsAndLineEnds_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("windows1252");
        const QString text = QStringLiteral("[GLOBAL]~Version=6.0~~[USER=Jürgen Ølholm €uro|1]~Password=ab0BE9089682363B12E49AEFBB9356450D~"
                                            "HomeDir=C:\\Ünïcode\\Dir~Note1=Grüße~TimeOut=120~");
        const auto lines = [&](const char* end) { return QString(text).replace(QLatin1Char('~'), QLatin1String(end)); };
        QTest::newRow("utf-8 lf") << lines("\n").toUtf8() << false;
        QTest::newRow("utf-8 crlf") << lines("\r\n").toUtf8() << false;
        QTest::newRow("utf-8 cr") << lines("\r").toUtf8() << false;
        QTest::newRow("utf-8 with bom") << QByteArray("\xEF\xBB\xBF") + lines("\r\n").toUtf8() << false;
        const QString wide = lines("\r\n");
        QTest::newRow("utf-16 with bom") << QByteArray("\xFF\xFE") + QByteArray(reinterpret_cast<const char*>(wide.utf16()), wide.size() * 2) << false;
        // The euro sign exists in Windows-1252 (0x80), not in Latin-1.
        QByteArray latin = lines("\r\n").toLatin1();
        latin.replace('?', '\x80');
        QTest::newRow("windows-1252 crlf") << latin << true;
        QTest::newRow("windows-1252 cr") << QByteArray(latin).replace("\r\n", "\r") << true;
    }

    void encodingsAndLineEnds()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, windows1252);
        const ReadOutcome outcome = readIniUsers(write("encoded.ini", bytes), Generation::V4, Installation);
        QVERIFY2(outcome.ok, qPrintable(outcome.error));
        QCOMPARE(outcome.source.accounts.size(), 1);
        const MigratedAccount& account = outcome.source.accounts.first();
        QCOMPARE(account.name, QStringLiteral("Jürgen Ølholm €uro"));
        QCOMPARE(account.homedir, QStringLiteral("c:\\ünïcode\\dir"));
        QCOMPARE(account.comments, QStringLiteral("Grüße"));
        QCOMPARE(account.idleTimeoutMinutes, 2);
        QVERIFY(account.notCarried.isEmpty());
        QCOMPARE(outcome.source.warnings.join(QLatin1Char('\n')).contains(QLatin1String("Windows-1252")), windows1252);
    }

    void fiftyMegabytesReadInFull()
    {
        const int accounts = 200000;
        QByteArray bytes;
        bytes.reserve(52 * 1024 * 1024);
        bytes += "[GLOBAL]\r\nVersion=6.4.0.6\r\n";
        const QByteArray filler = QByteArray(130, 'n');
        for (int index = 0; index < accounts; ++index) {
            const QByteArray number = QByteArray::number(index);
            bytes += "[USER=user" + number + "|1]\r\nPassword=ab0BE9089682363B12E49AEFBB9356450D\r\nHomeDir=D:\\FTP\\User" + number
                + "\r\nAccess1=D:\\FTP\\User" + number + "|RWLP\r\nTimeOut=600\r\nNote1=" + filler + "\r\n\r\n";
        }
        QVERIFY(bytes.size() > 50 * 1024 * 1024);
        const ReadOutcome outcome = readIniUsers(write("big.ini", bytes), Generation::V4, Installation);
        QVERIFY2(outcome.ok, qPrintable(outcome.error));
        QCOMPARE(outcome.source.accounts.size(), accounts);
        const MigratedAccount& last = outcome.source.accounts.last();
        QCOMPARE(last.name, QStringLiteral("user%1").arg(accounts - 1));
        QCOMPARE(last.homedir, QStringLiteral("d:\\ftp\\user%1").arg(accounts - 1));
        QCOMPARE(last.access.size(), 1);
        QVERIFY(last.access.first().inherit);
        QVERIFY(outcome.source.warnings.isEmpty());
        QVERIFY(outcome.source.notCarried.isEmpty());
    }

    void ipRules_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<bool>("carried");
        QTest::newRow("address") << "10.0.0.1" << true;
        QTest::newRow("star part") << "10.0.0.*" << true;
        QTest::newRow("all stars") << "*.*.*.*" << true;
        QTest::newRow("block") << "10.0.0.0/8" << true;
        QTest::newRow("block too wide") << "10.0.0.0/33" << false;
        QTest::newRow("range the handler reads as one address") << "10.0.0.1-50" << false;
        QTest::newRow("question mark") << "10.0.0.?" << false;
        QTest::newRow("three parts") << "10.0.0" << false;
        QTest::newRow("part above 255") << "300.1.1.1" << false;
        QTest::newRow("wider than the column") << "10.0.0.0/8     x" << false;
        QTest::newRow("ipv6") << "2001:db8::1" << false;
    }

    void ipRules()
    {
        QFETCH(QString, rule);
        QFETCH(bool, carried);
        const inivalues::IpAccessReading reading = inivalues::readIpAccess(QStringLiteral("D|") + rule);
        QVERIFY(reading.deny);
        QCOMPARE(reading.problem.isEmpty(), carried);
    }

    void accessEntries_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("directory");
        QTest::addColumn<QString>("rights");
        QTest::addColumn<bool>("inherit");
        QTest::addColumn<QString>("ignored");
        QTest::newRow("all, lower case") << "C:\\Data|rwamelcdp" << "c:\\data" << "RWAMELCD" << true << "";
        QTest::newRow("reversed order") << "C:\\Data|DCLEMAWR" << "c:\\data" << "RWAMELCD" << false << "";
        QTest::newRow("unknown letters") << "C:\\A|WXZP" << "c:\\a" << "W" << true << "XZ";
        QTest::newRow("no rights") << "C:\\A|" << "c:\\a" << "" << false << "";
        QTest::newRow("no bar") << "C:\\A" << "" << "" << false << "";
        QTest::newRow("no folder") << "|RL" << "" << "" << false << "";
        QTest::newRow("posix folder keeps its case") << "/srv/ftp/Incoming|RL" << "/srv/ftp/Incoming" << "RL" << false << "";
        QTest::newRow("separators") << QStringLiteral("C:\\§ 1|2|RL") << QStringLiteral("c:\\§ 1|2") << "RL" << false << "";
    }

    void accessEntries()
    {
        QFETCH(QString, value);
        QFETCH(QString, directory);
        QFETCH(QString, rights);
        QFETCH(bool, inherit);
        QFETCH(QString, ignored);
        const inivalues::AccessReading reading = inivalues::readAccess(value);
        QCOMPARE(reading.access.has_value(), !directory.isEmpty());
        QCOMPARE(reading.problem.isEmpty(), !directory.isEmpty());
        if (reading.access) {
            QCOMPARE(reading.access->directory, directory);
            QCOMPARE(reading.access->rights, rights);
            QCOMPARE(reading.access->inherit, inherit);
            QCOMPARE(reading.ignoredLetters, ignored);
        }
    }

    void expiryDates_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDate>("date");
        QTest::addColumn<bool>("understood");
        QTest::newRow("none") << "0" << QDate() << true;
        QTest::newRow("month first") << "2/9/2031" << QDate(2031, 2, 9) << true;
        QTest::newRow("iso") << "2031-02-09" << QDate(2031, 2, 9) << true;
        QTest::newRow("day number with time") << "47158.75" << QDate(2029, 2, 9) << true;
        QTest::newRow("no such day") << "2/30/2031" << QDate() << false;
        QTest::newRow("two-digit year") << "2/9/31" << QDate() << false;
    }

    void expiryDates()
    {
        QFETCH(QString, text);
        QFETCH(QDate, date);
        QFETCH(bool, understood);
        const inivalues::DateReading reading = inivalues::readExpiryDate(text);
        QCOMPARE(reading.understood, understood);
        QCOMPARE(reading.date.value_or(QDate()), date);
    }
};

QUILLMERE_TEST(TestIniUsers)
#include "TestIniUsers.moc"
