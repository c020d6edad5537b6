#include "TestMain.h"

#include "AuthRules.h"

#include <QTest>

// The two judgements of the handler that need no database.
class TestAuthRules : public QObject
{
    Q_OBJECT

private slots:
    void ipRules_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QString>("address");
        QTest::addColumn<bool>("matches");
        QTest::newRow("exact") << "192.168.1.10" << "192.168.1.10" << true;
        QTest::newRow("exact, other") << "192.168.1.10" << "192.168.1.11" << false;
        QTest::newRow("mapped address") << "127.0.0.1" << "::ffff:127.0.0.1" << true;
        QTest::newRow("cidr /8 inside") << "10.0.0.0/8" << "10.200.3.4" << true;
        QTest::newRow("cidr /8 outside") << "10.0.0.0/8" << "11.0.0.1" << false;
        QTest::newRow("cidr /0") << "1.2.3.4/0" << "200.1.1.1" << true;
        QTest::newRow("cidr /32") << "1.2.3.4/32" << "1.2.3.5" << false;
        QTest::newRow("wildcard part") << "192.168.*.*" << "192.168.77.3" << true;
        QTest::newRow("wildcard part, other") << "192.168.*.*" << "192.169.77.3" << false;
        QTest::newRow("empty part is 0") << "1..2.3" << "1.0.2.3" << true;
        QTest::newRow("leading number of a part") << "10.0.0.5x" << "10.0.0.5" << true;
        QTest::newRow("three parts") << "192.168.1" << "192.168.1.0" << false;
        QTest::newRow("out of range") << "1.2.3.256" << "1.2.3.0" << false;
        QTest::newRow("bad prefix") << "1.2.3.4/33" << "1.2.3.4" << false;
        QTest::newRow("empty rule") << "" << "1.2.3.4" << false;
        QTest::newRow("mapped, hexadecimal") << "10.1.2.3" << "::FFFF:0a01:0203" << true;
        QTest::newRow("mapped, written out") << "10.0.0.0/8" << "0:0:0:0:0:ffff:10.1.2.3" << true;
        QTest::newRow("ipv6 client, all parts *") << "*.*.*.*" << "2001:db8::1" << true;
        QTest::newRow("ipv6 client, ipv4 rule") << "0.0.0.0/0" << "2001:db8::1" << false;
        QTest::newRow("no address, ipv4 rule") << "10.9.9.9" << "" << true;
        QTest::newRow("unreadable address") << "10.9.9.9" << "garbage" << true;
        QTest::newRow("short dotted form, unreadable") << "9.9.9.9" << "1.2.3" << true;
        QTest::newRow("unreadable address, blank rule") << " " << "garbage" << false;
    }

    void ipRules()
    {
        QFETCH(QString, rule);
        QFETCH(QString, address);
        QTEST(gatewick::ipRuleMatches(rule, address), "matches");
    }

    void passwords()
    {
        QVERIFY(gatewick::passwordMatches(QStringLiteral("s3cret"), QStringLiteral("s3cret")));
        QVERIFY(!gatewick::passwordMatches(QStringLiteral("s3cret"), QStringLiteral("S3cret")));
        QVERIFY(!gatewick::passwordMatches(QString(), QString()));
        // The salted MD5 form of the server's INI file, in either case of hex digits.
        const QString stored = QStringLiteral("kx") + gatewick::saltedMd5(QStringLiteral("kx"), QStringLiteral("opensesame")).toUpper();
        QCOMPARE(gatewick::saltedMd5(QStringLiteral("kx"), QStringLiteral("opensesame")),
                 QString::fromLatin1(QCryptographicHash::hash("kxopensesame", QCryptographicHash::Md5).toHex()));
        QVERIFY(gatewick::passwordMatches(stored, QStringLiteral("opensesame")));
        QVERIFY(gatewick::passwordMatches(stored.toLower(), QStringLiteral("opensesame")));
        QVERIFY(!gatewick::passwordMatches(stored, stored)); // the stored hash itself, typed as the password
        QVERIFY(!gatewick::passwordMatches(stored, QStringLiteral("opensesame ")));
        QVERIFY(!gatewick::passwordMatches(stored, QString()));
    }
};

QUILLMERE_TEST(TestAuthRules)
#include "TestAuthRules.moc"
