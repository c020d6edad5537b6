#include "GatewickFixture.h"
#include "TestMain.h"

#include <QHostAddress>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>

// The sample configuration of docs/ftp-servers: ProFTPD reading the accounts
// database through mod_sql, with an account the program created.
class TestProFtpd : public QObject
{
    Q_OBJECT

    static QString proftpd(const QString& relative) { return QStringLiteral(QUILLMERE_PROFTPD_DIR "/") + relative; }

    static int freePort()
    {
        QTcpServer probe;
        return probe.listen(QHostAddress::LocalHost, 0) ? probe.serverPort() : 0;
    }

    static int curl(const QStringList& arguments, QByteArray* output = nullptr)
    {
        QProcess process;
        process.start(QStringLiteral("curl"), QStringList{QStringLiteral("--silent"), QStringLiteral("--max-time"), QStringLiteral("30")} + arguments);
        process.waitForFinished(60000);
        if (output)
            *output = process.readAllStandardOutput();
        return process.exitCode();
    }

private slots:
    void sampleConfigurationServesTheAccounts()
    {
        QUILLMERE_REQUIRE_AVAILABLE(::geteuid() == 0 && QFileInfo(proftpd(QStringLiteral("usr/sbin/proftpd"))).isExecutable()
                                        ? QString()
                                        : QStringLiteral("ProFTPD needs root and its unpacked copy (scripts/fetch-ftp-servers.sh)"));
        TestEnvironment env;
        QString whyNot;
        auto db = TestDatabase::create(TestEngine::Sqlite, env, &whyNot);
        QVERIFY2(db, qPrintable(whyNot));
        const QString home = gatewicktest::homeFolder(env, QStringLiteral("bob"));
        QVERIFY(gatewicktest::createAccount(env, QStringLiteral("bob"), QStringLiteral("pw"), home));
        QVERIFY(gatewicktest::createAccount(env, QStringLiteral("carl"), QStringLiteral("pw"), gatewicktest::homeFolder(env, QStringLiteral("carl"))));
        db->exec(QStringLiteral("update users set disable_user=1 where username='carl'"));
        // A file of root's in the home folder: listing it asks for its owner by number.
        QVERIFY(!gatewicktest::writeFile(home + QStringLiteral("/from-root.txt"), {}).isEmpty());
        // The server reads the database as the folders' owner.
        QProcess::execute(QStringLiteral("chmod"), {QStringLiteral("o+rx"), env.path({})});
        QProcess::execute(QStringLiteral("chmod"), {QStringLiteral("o+r"), env.path(QStringLiteral("accounts.db"))});

        QString config = QString::fromUtf8(gatewicktest::fileContents(QStringLiteral(QUILLMERE_SOURCE_DIR "/docs/ftp-servers/proftpd-sqlite.conf")));
        QVERIFY(config.contains(QLatin1String("@PORT@")));
        const int port = freePort();
        const QString run = env.path(QStringLiteral("run"));
        QDir().mkpath(run);
        const QList<std::pair<const char*, QString>> values{
            {"@PORT@", QString::number(port)},         {"@PASSIVE_FIRST@", QString::number(35000 + ::getpid() % 200 * 50)},
            {"@PASSIVE_LAST@", QString::number(35049 + ::getpid() % 200 * 50)}, {"@OWNER@", QStringLiteral("nobody")},
            {"@OWNER_GROUP@", QStringLiteral("nogroup")}, {"@OWNER_UID@", QStringLiteral("65534")},
            {"@OWNER_GID@", QStringLiteral("65534")},     {"@RUN@", run},
            {"@MODULES@", proftpd(QStringLiteral("usr/lib/proftpd"))}, {"@DATABASE@", env.path(QStringLiteral("accounts.db"))},
        };
        for (const auto& [placeholder, value] : values)
            config.replace(QLatin1String(placeholder), value);
        QVERIFY(!config.contains(QRegularExpression(QStringLiteral("@[A-Z_]+@"))));
        const QString configFile = gatewicktest::writeFile(run + QStringLiteral("/proftpd.conf"), config.toUtf8());
        QVERIFY(!configFile.isEmpty());

        QProcess server;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LD_LIBRARY_PATH"), proftpd(QStringLiteral("usr/lib/x86_64-linux-gnu")));
        server.setProcessEnvironment(environment);
        server.setProcessChannelMode(QProcess::ForwardedChannels);
        server.start(proftpd(QStringLiteral("usr/sbin/proftpd")), {QStringLiteral("-n"), QStringLiteral("-q"), QStringLiteral("-c"), configFile});
        QVERIFY(server.waitForStarted());
        const bool listening = QTest::qWaitFor([port] {
            QTcpSocket probe;
            probe.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
            return probe.waitForConnected(100);
        }, 10000);

        const QString url = QStringLiteral("ftp://127.0.0.1:%1/").arg(port);
        QByteArray listing;
        const int listed = listening ? curl({QStringLiteral("--user"), QStringLiteral("bob:pw"), url}, &listing) : -1;
        const QString upload = gatewicktest::writeFile(env.path(QStringLiteral("upload.txt")), "data\n");
        const int uploaded = curl({QStringLiteral("--user"), QStringLiteral("bob:pw"), QStringLiteral("-T"), upload, url + QStringLiteral("upload.txt")});
        const int wrongPassword = curl({QStringLiteral("--user"), QStringLiteral("bob:nope"), url});
        const int disabled = curl({QStringLiteral("--user"), QStringLiteral("carl:pw"), url});
        server.terminate();
        server.waitForFinished(10000);

        QVERIFY(listening);
        QCOMPARE(listed, 0);
        QVERIFY(listing.contains("from-root.txt"));
        QCOMPARE(uploaded, 0);
        QVERIFY(QFile::exists(home + QStringLiteral("/upload.txt")));
        QCOMPARE(wrongPassword, 67);
        QCOMPARE(disabled, 67);
    }
};

QUILLMERE_TEST(TestProFtpd)
#include "TestProFtpd.moc"
