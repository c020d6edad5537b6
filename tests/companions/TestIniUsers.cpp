#include "GatewickFixture.h"
#include "TestMain.h"

#include "IniUsers.h"
#include "IniValues.h"
#include "platform/DateForm.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

using namespace migration;
using namespace Qt::StringLiterals;

namespace {

QString sample(const char* name) { return QStringLiteral(QUILLMERE_MIGRATION_SAMPLES "/") + QLatin1String(name); }

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
const DateForm Installation(u"dd.MM.yyyy"_s);

} // namespace

class TestIniUsers : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    // The path of the file written, or an empty one, which no test takes for a good file.
    QString write(const QString& name, const QByteArray& bytes) { return gatewicktest::writeFile(m_dir.filePath(name), bytes); }

private slots:
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
        const ReadOutcome outcome = readIniUsers(path, Generation(generation), Installation);
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
        const ReadOutcome outcome = readIniUsers(path, Generation::V4, Installation);
        QVERIFY(!outcome.ok);
        QVERIFY2(outcome.error.contains(message), qPrintable(outcome.error));
        QVERIFY(outcome.source.accounts.isEmpty());
    }

    void encodingsAndLineEnds_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("windows1252");
        const QString text = u"[GLOBAL]~Version=6.0~~[USER=Jürgen Ølholm €uro|1]~Password=ab0BE9089682363B12E49AEFBB9356450D~"
                             "HomeDir=C:\\Ünïcode\\Dir~Note1=Grüße~TimeOut=120~"_s;
        const auto lines = [&](const char* end) { return QString(text).replace(QLatin1Char('~'), QLatin1String(end)); };
        QTest::newRow("utf-8 lf") << lines("\n").toUtf8() << false;
        QTest::newRow("utf-8 cr") << lines("\r").toUtf8() << false;
        QTest::newRow("utf-8 with bom") << QByteArray("\xEF\xBB\xBF") + lines("\r\n").toUtf8() << false;
        const QString wide = lines("\r\n");
        QTest::newRow("utf-16 with bom") << QByteArray("\xFF\xFE") + QByteArray(reinterpret_cast<const char*>(wide.utf16()), wide.size() * 2) << false;
        // The euro sign exists in Windows-1252 (0x80), not in Latin-1.
        const QByteArray latin = lines("\r\n").toLatin1().replace('?', '\x80');
        QTest::newRow("windows-1252 crlf") << latin << true;
    }
    void encodingsAndLineEnds()
    {
        QFETCH(QByteArray, bytes);
        const ReadOutcome outcome = readIniUsers(write("encoded.ini", bytes), Generation::V4, Installation);
        QVERIFY2(outcome.ok, qPrintable(outcome.error));
        QCOMPARE(outcome.source.accounts.size(), 1);
        QCOMPARE(describe(outcome.source.accounts.first()),
                 (QStringList{u"Jürgen Ølholm €uro"_s, u"comments=Grüße"_s, "homedir=c:\\ünïcode\\dir", "idle=2", "password=ab0BE9089682363B12E49AEFBB9356450D"}));
        QVERIFY(outcome.source.accounts.first().notCarried.isEmpty());
        QTEST(outcome.source.warnings.join(QLatin1Char('\n')).contains(QLatin1String("Windows-1252")), "windows1252");
    }

    // The readings of one value the samples do not show: an IP deny rule left behind, an
    // Access entry ("folder|rights|inherit|letters ignored"), or an expiry date.
    void oneValue_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("read");
        const char* leftBehind = "left behind";
        QTest::newRow("block too wide") << "IPAccess" << "10.0.0.0/33" << leftBehind;
        QTest::newRow("part above 255") << "IPAccess" << "300.1.1.1" << leftBehind;
        QTest::newRow("wider than the column") << "IPAccess" << "10.0.0.0/8     x" << leftBehind;
        QTest::newRow("no bar") << "Access" << "C:\\A" << leftBehind;
        QTest::newRow("posix folder keeps its case") << "Access" << "/srv/ftp/Incoming|RL" << "/srv/ftp/Incoming|RL|0|";
        QTest::newRow("separators") << "Access" << u"C:\\§ 1|2|RL"_s << u"c:\\§ 1|2|RL|0|"_s;
        QTest::newRow("no date") << "Expiration" << "0" << "none";
        QTest::newRow("day number with time") << "Expiration" << "47158.75" << "2029-02-09";
        QTest::newRow("no such day") << "Expiration" << "2/30/2031" << leftBehind;
    }
    void oneValue()
    {
        QFETCH(QString, key);
        QFETCH(QString, text);
        QString read = u"left behind"_s;
        if (key == "IPAccess"_L1) {
            const inivalues::IpAccessReading reading = inivalues::readIpAccess(u"D|"_s + text);
            QVERIFY(reading.deny);
            if (reading.problem.isEmpty())
                read = u"carried"_s;
        } else if (key == "Access"_L1) {
            const inivalues::AccessReading reading = inivalues::readAccess(text);
            QCOMPARE(reading.problem.isEmpty(), reading.access.has_value());
            if (reading.access)
                read = u"%1|%2|%3|%4"_s.arg(reading.access->directory, reading.access->rights, shown(reading.access->inherit), reading.ignoredLetters);
        } else {
            const inivalues::DateReading reading = inivalues::readExpiryDate(text);
            QVERIFY(reading.understood || !reading.date);
            if (reading.understood)
                read = reading.date ? reading.date->toString(Qt::ISODate) : u"none"_s;
        }
        QTEST(read, "read");
    }
};

QUILLMERE_TEST(TestIniUsers)
#include "TestIniUsers.moc"
