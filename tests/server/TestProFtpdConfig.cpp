#include "TestDatabase.h"
#include "TestEnvironment.h"
#include "TestMain.h"

#include "server/ProFtpdConfig.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <unistd.h>

Q_DECLARE_METATYPE(proftpd::DirectoryEntry)

// The text of the ProFTPD configuration, without a server: what the end-to-end
// test of ProFTPD does not reach cheaply (the plain forms of rules and folders it serves).
class TestProFtpdConfig : public QObject
{
    Q_OBJECT

    static proftpd::Model modelWith(const proftpd::Account& account)
    {
        proftpd::Model model;
        model.engine = Engine::Sqlite;
        model.connectInfo = QStringLiteral("/srv/accounts.db");
        model.uid = 1000;
        model.gid = 1000;
        model.accounts = {account};
        return model;
    }

    static QStringList directoryLines(const QString& text)
    {
        static const QRegularExpression line(QStringLiteral("^  <Directory (.*)>$"), QRegularExpression::MultilineOption);
        QStringList paths;
        for (auto match = line.globalMatch(text); match.hasNext();)
            paths << match.next().captured(1);
        return paths;
    }

private slots:
    void ruleTextsReadAsTheRuleDialogsMeanThem_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QString>("token");
        QTest::newRow("blanks and a leading zero") << " 010.0.0.5 " << "10.0.0.5";
        QTest::newRow("block, host bits cleared") << "10.1.2.3/8" << "10.0.0.0/255.0.0.0";
        QTest::newRow("stars alone") << "*.*.*.*" << "ALL";
        QTest::newRow("three parts") << "10.0.0" << "";
        QTest::newRow("part above 255") << "10.0.0.256" << "";
        QTest::newRow("prefix above 32") << "10.0.0.0/33" << "";
        QTest::newRow("block of everything") << "1.2.3.4/0" << "0.0.0.0/0.0.0.0";
    }

    void ruleTextsReadAsTheRuleDialogsMeanThem()
    {
        QFETCH(QString, rule);
        QFETCH(QString, token);
        QCOMPARE(proftpd::wrapToken(rule), token);
    }

    // The ratio dialog's columns in mod_ratio's whole numbers: "none", or kind, rate and credit.
    void ratiosReadAsTheRatioDialogWritesThem_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<double>("uploads");
        QTest::addColumn<double>("downloads");
        QTest::addColumn<double>("credit");
        QTest::addColumn<QString>("terms");
        QTest::newRow("files, two per upload") << "FilesPerSession" << 1.0 << 2.0 << 1.0 << "files 2 1";
        QTest::newRow("bytes, credit in kilobytes") << " bytesoverall " << 1.0 << 1.0 << 40960.0 << "bytes 1 40";
        QTest::newRow("3:2, two uploads per download") << "FilesOverall" << 3.0 << 2.0 << 0.0 << "files -2 0";
        QTest::newRow("2:3, one download per upload") << "FilesPerSession" << 2.0 << 3.0 << -5.0 << "files 1 0";
        QTest::newRow("credit beyond a whole number") << "BytesPerSession" << 1.0 << 1e300 << 1e300 << "bytes 2147483647 2147483647";
        QTest::newRow("no kind") << "" << 1.0 << 1.0 << 0.0 << "none";
        QTest::newRow("unknown kind") << "files" << 1.0 << 1.0 << 0.0 << "none";
        QTest::newRow("no uploads") << "FilesPerSession" << 0.0 << 1.0 << 0.0 << "none";
        QTest::newRow("downloads not a number") << "FilesPerSession" << 1.0 << qQNaN() << 0.0 << "none";
    }
    void ratiosReadAsTheRatioDialogWritesThem()
    {
        QFETCH(QString, kind);
        QFETCH(double, uploads);
        QFETCH(double, downloads);
        QFETCH(double, credit);
        QFETCH(QString, terms);
        const auto ratio = proftpd::readRatio(kind, uploads, downloads, credit);
        const QString read = ratio ? QStringLiteral("%1 %2 %3").arg(ratio->bytes ? "bytes" : "files").arg(ratio->rate).arg(ratio->credit) : QStringLiteral("none");
        QCOMPARE(read, terms);
    }

    void eachAccountGetsItsFolders_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QList<proftpd::DirectoryEntry>>("entries");
        QTest::addColumn<QStringList>("directories"); // empty: the account gets no section at all
        const auto entry = [](const char* path, bool inherit) { return proftpd::DirectoryEntry{QLatin1String(path), QStringLiteral("RL"), inherit}; };
        QTest::newRow("part of a folder's name is not the name") << "bob" << QList{entry("/srv/bobby", true)} << QStringList{"/srv/bobby"};
        QTest::newRow("the first entry decides")
            << "bob" << QList{entry("/srv/ftp", true), entry("/srv/ftp/bob", true), entry("/srv/ftp", false), entry("/srv/other", true)}
            << QStringList{"/srv/ftp", "/srv/other"};
        QTest::newRow("a deeper entry after one without inherit")
            << "bob" << QList{entry("/srv/ftp", false), entry("/srv/ftp/bob", true)}
            << QStringList{"/srv/ftp", "/srv/ftp/*/*", "/srv/ftp/%u"};
        QTest::newRow("paths ProFTPD reads as patterns, or not absolute, are left out")
            << "bob" << QList{entry("/srv/f*", true), entry("c:\\ftp", true), entry("/srv/a\"b", true), entry("/srv/100%", true), entry("/srv/my files", true)}
            << QStringList{"\"/srv/my files\""};
        QTest::newRow("a name with a blank is quoted") << "mary ann" << QList{entry("/srv", true)} << QStringList{"/srv"};
        QTest::newRow("a name an <IfUser> cannot hold") << "a,b" << QList{entry("/srv", true)} << QStringList{};
        QTest::newRow("a keyword of <IfUser>") << "Regex" << QList{entry("/srv", true)} << QStringList{};
    }

    void eachAccountGetsItsFolders()
    {
        QFETCH(QString, name);
        QFETCH(QList<proftpd::DirectoryEntry>, entries);
        QFETCH(QStringList, directories);
        proftpd::Account account;
        account.name = name;
        account.directories = entries;
        // A second account with other folders, so that the account's sections name it alone.
        proftpd::Account other;
        other.name = QStringLiteral("zed");
        other.directories = {{QStringLiteral("/elsewhere"), QStringLiteral("L"), true}};
        proftpd::Model model = modelWith(account);
        model.accounts << other;
        const QString text = proftpd::configText(model);
        QStringList written = directoryLines(text);
        written.removeAll(QStringLiteral("/elsewhere"));
        QCOMPARE(written, directories);
        const QString section = QStringLiteral("<IfUser %1>\n").arg(name.contains(QLatin1Char(' ')) ? QLatin1Char('"') + name + QLatin1Char('"') : name);
        QCOMPARE(text.count(section), directories.size());
    }

    // Accounts with equal values share one section: named in a list, by those it leaves
    // out, or, when every account has it, by a pattern that matches every name.
    void accountsShareSections()
    {
        proftpd::Model model = modelWith({});
        model.accounts.clear();
        for (int i = 0; i < 1000; ++i) {
            proftpd::Account account;
            account.name = QStringLiteral("account%1").arg(i, 3, 10, QLatin1Char('0'));
            account.idleSeconds = 60;
            account.maxSessions = i == 7 ? 2 : 1;
            account.directories = {{QStringLiteral("/srv/ftp/") + account.name, i < 700 ? QStringLiteral("RL") : QStringLiteral("RWL"), true}};
            model.accounts << account;
        }
        const QString text = proftpd::configText(model);
        QCOMPARE(text.count(QStringLiteral("<IfUser regex ^>\n  TimeoutIdle 60\n</IfUser>")), 1);
        QCOMPARE(text.count(QStringLiteral("<IfUser AND !account007>\n  MaxClientsPerUser 1\n")), 1);
        QCOMPARE(text.count(QStringLiteral("<IfUser account007>\n  MaxClientsPerUser 2\n")), 1);
        // Neither 700 names nor the 300 others fit one list of 4096 characters: three lists and two.
        QCOMPARE(text.count(QStringLiteral(",account699>\n")), 1);
        QCOMPARE(text.count(QStringLiteral("<IfUser account700,")), 1);
        QCOMPARE(text.count(QStringLiteral("<Directory /srv/ftp/%u>")), 5);
        for (const QString& line : text.split(QLatin1Char('\n')))
            QVERIFY2(line.size() < 4096, qPrintable(line.left(80)));
    }

    // The on/off columns read as the options dialog shows them: any value but NULL and 0 is
    // on, and a count of log-ins per address wins over "one log-in per address".
    void optionsReadAsTheOptionsDialogShowsThem_data()
    {
        QTest::addColumn<QString>("values"); // hide_hidden_files, one_login_per_ip, max_logins_per_ip, max_concurrent
        QTest::addColumn<bool>("hidden");
        QTest::addColumn<qint64>("perAddress");
        QTest::newRow("flags of 2 and -1") << "2, -1, 0, 0" << true << qint64(1);
        QTest::newRow("a count wins over one") << "0, 1, 3, 0" << false << qint64(3);
        QTest::newRow("NULL is off") << "NULL, NULL, NULL, 0" << false << qint64(0);
        QTest::newRow("implied by the account's own limit") << "1, 1, 0, 1" << true << qint64(0);
    }
    void optionsReadAsTheOptionsDialogShowsThem()
    {
        QFETCH(QString, values);
        QFETCH(bool, hidden);
        QFETCH(qint64, perAddress);
        TestEnvironment env;
        QString whyNot;
        auto db = TestDatabase::create(TestEngine::Sqlite, env, &whyNot);
        QVERIFY2(db, qPrintable(whyNot));
        const QString ftp = env.path(QStringLiteral("ftp"));
        QDir().mkpath(ftp);
        if (::geteuid() == 0)
            QProcess::execute(QStringLiteral("chown"), {QStringLiteral("65534:65534"), ftp});
        QVERIFY(db->exec(QStringLiteral("INSERT INTO users (username, password, hide_hidden_files, one_login_per_ip, "
                                        "max_logins_per_ip, max_concurrent) VALUES ('amy', 'pw', %1)").arg(values)));
        QString error;
        const auto model = proftpd::readModel(db->database(), db->connectionString(), ftp, &error);
        QVERIFY2(model && model->accounts.size() == 1, qPrintable(error));
        QCOMPARE(model->accounts.first().hideHiddenFiles, hidden);
        QCOMPARE(model->accounts.first().maxSessionsPerAddress, perAddress);
    }
};

QUILLMERE_TEST(TestProFtpdConfig)
#include "TestProFtpdConfig.moc"
