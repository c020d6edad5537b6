#include "LoopbackHttpServer.h"
#include "ProgramUnderTest.h"
#include "TestMain.h"

#include "maintenance/UpdateCheck.h"
#include "shell/EmbeddedFiles.h"

#include <QFile>
#include <QHostAddress>
#include <QTest>

// Help -> Check for Updates against a real HTTP server on loopback.
class TestUpdateCheck : public QObject
{
    Q_OBJECT

    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static void write(const QString& path, const QByteArray& bytes)
    {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(bytes);
    }

    LoopbackHttpServer m_server;
    const QString m_versionPath = QStringLiteral("/OrvaneUpdateServer/version.asp?app=Vantrel");

private slots:
    void initTestCase() { qputenv("QUILLMERE_UPDATE_URL", m_server.baseUrl().toString().toUtf8()); }
    void cleanupTestCase() { qunsetenv("QUILLMERE_UPDATE_URL"); }

    void versionsCompareByTheirWeightedSum_data()
    {
        QTest::addColumn<QString>("reply");
        QTest::addColumn<int>("value");
        QTest::newRow("2.1.7") << "2.1.7" << 201070;
        QTest::newRow("2.1.6") << "2.1.6" << 201060;
        QTest::newRow("blanks") << " 3.0.0 " << 300000;
        QTest::newRow("four pieces") << "2.1.6.5" << 201060;
        QTest::newRow("two pieces") << "2.2" << 202000;
        QTest::newRow("big revision") << "2.0.110" << 201100;
        QTest::newRow("empty") << "" << 0;
        QTest::newRow("words") << "<html>busy</html>" << 0;
        QTest::newRow("leading numbers") << "2x.1y.7z" << 201070;
    }

    void versionsCompareByTheirWeightedSum()
    {
        QFETCH(QString, reply);
        QTEST(updates::versionValue(updates::parseVersionReply(reply)), "value");
        QCOMPARE(updates::versionValue(updates::ownVersion()), 201060);
    }

    void theServersAnswerDecides_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("offered");
        QTest::newRow("2.1.7 is newer") << QByteArray("2.1.7") << true;
        QTest::newRow("2.1.6 is the same") << QByteArray("2.1.6") << false;
        QTest::newRow(" 3.0.0 ") << QByteArray(" 3.0.0 \r\n") << true;
        QTest::newRow("2.1.6.5") << QByteArray("2.1.6.5") << false;
        QTest::newRow("2.2") << QByteArray("2.2") << true;
        QTest::newRow("2.0.110") << QByteArray("2.0.110") << true;
        QTest::newRow("empty") << QByteArray() << false;
    }

    void theServersAnswerDecides()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, offered);
        ProgramUnderTest program;
        m_server.setReply(m_versionPath, reply);
        if (offered) {
            program.env.prompter.answerMessage(prompt::Answer::No, QStringLiteral("A new version of Quillmere is available for download."))
                .answerMessage(prompt::Answer::Ok, QStringLiteral("If you want to download the newest version at a later time, "
                                                                  "just click \"Help\" and then \"Check for updates.\""));
        } else {
            program.env.prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("You have the most up to date version of this software"));
        }
        updates::checkUpdates(program.env.context);
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
        QCOMPARE(program.env.prompter.messages()[0].caption, QStringLiteral("Vantrel"));
        QVERIFY(program.env.starter.programs().isEmpty());
        QVERIFY(!program.env.process.hasEnded());
        QVERIFY(!QFile::exists(program.env.programDir() + QStringLiteral("/Vantrel.upg")));
    }

    void noServerIsNoNewVersion()
    {
        ProgramUnderTest program;
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost, 0));
        const quint16 port = closed.serverPort();
        closed.close();
        qputenv("QUILLMERE_UPDATE_URL", QByteArray("http://127.0.0.1:") + QByteArray::number(port));
        program.env.prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("You have the most up to date version"));
        updates::checkUpdates(program.env.context);
        qputenv("QUILLMERE_UPDATE_URL", m_server.baseUrl().toString().toUtf8());
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
    }

    void yesDownloadsStartsTheUpdaterAndEnds_data()
    {
        QTest::addColumn<bool>("updaterPresent");
        QTest::newRow("updater written from the program") << false;
        QTest::newRow("updater already there") << true;
    }

    void yesDownloadsStartsTheUpdaterAndEnds()
    {
        QFETCH(bool, updaterPresent);
        ProgramUnderTest program;
        const QString folder = program.env.programDir();
        const QByteArray package("\x7f" "ELF new program bytes");
        m_server.setReply(m_versionPath, "2.1.7");
        m_server.setReply(QStringLiteral("/orvaneupdateserver/Vantrel.upg"), package);
        m_server.setReply(QStringLiteral("/orvaneupdateserver/Vantrel.upg.sig"), QByteArray(64, 's'));
        // A longer package left from before keeps no tail.
        write(folder + QStringLiteral("/Vantrel.upg"), QByteArray(4096, 'o'));
        if (updaterPresent)
            write(folder + QStringLiteral("/update.exe"), "the updater already there");
        program.env.tray.add(TrayPicture::Blue, QStringLiteral("Quillmere"));
        program.env.prompter.answerMessage(prompt::Answer::Yes, QStringLiteral("Would you like to update your version of Quillmere now?"));

        updates::checkUpdates(program.env.context);

        QCOMPARE(contents(folder + QStringLiteral("/Vantrel.upg")), package);
        QCOMPARE(contents(folder + QStringLiteral("/Vantrel.upg.sig")), QByteArray(64, 's'));
        QFile carried(embedded::resourcePath(embedded::Updater));
        QVERIFY(carried.open(QIODevice::ReadOnly));
        QCOMPARE(contents(folder + QStringLiteral("/update.exe")), updaterPresent ? QByteArray("the updater already there") : carried.readAll());
        QCOMPARE(program.env.starter.programs().size(), 1);
        QCOMPARE(program.env.starter.programs()[0].program, folder + QStringLiteral("/update.exe"));
        QVERIFY(program.env.starter.programs()[0].arguments.isEmpty());
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QVERIFY(!program.env.tray.isAdded());
        QVERIFY(m_server.requests().contains(QStringLiteral("/orvaneupdateserver/Vantrel.upg.sig")));
    }
};

QUILLMERE_TEST(TestUpdateCheck)
#include "TestUpdateCheck.moc"
