#include "TestMain.h"

#include "server/ProFtpdConfig.h"

#include <QRegularExpression>
#include <QTest>

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
};

QUILLMERE_TEST(TestProFtpdConfig)
#include "TestProFtpdConfig.moc"
