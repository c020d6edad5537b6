#include "LoopbackHttpServer.h"
#include "ProgramUnderTest.h"
#include "TestMain.h"

#include "maintenance/UpdateCheck.h"
#include "shell/EmbeddedFiles.h"

#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QProcess>
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
        QTest::addColumn<qint64>("value");
        QTest::newRow("2.1.7") << "2.1.7" << qint64(201070);
        QTest::newRow("2.1.6") << "2.1.6" << qint64(201060);
        QTest::newRow("blanks") << " 3.0.0 " << qint64(300000);
        QTest::newRow("four pieces") << "2.1.6.5" << qint64(201060);
        QTest::newRow("two pieces") << "2.2" << qint64(202000);
        QTest::newRow("big revision") << "2.0.110" << qint64(201100);
        QTest::newRow("empty") << "" << qint64(0);
        QTest::newRow("words") << "<html>busy</html>" << qint64(0);
        QTest::newRow("leading numbers") << "2x.1y.7z" << qint64(201070);
        QTest::newRow("past 32 bits") << "999999.0.0" << qint64(99999900000);
    }

    void versionsCompareByTheirWeightedSum()
    {
        QFETCH(QString, reply);
        QTEST(updates::versionValue(updates::parseVersionReply(reply)), "value");
        QCOMPARE(updates::versionValue(updates::ownVersion()), qint64(201060));
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

    // The package the server offers as 2.1.7 is signed for a version of its own; the
    // updater the check starts refuses one that is not newer than the running program.
    void yesDownloadsStartsTheUpdaterAndEnds_data()
    {
        QTest::addColumn<bool>("updaterPresent");
        QTest::addColumn<QString>("signedVersion");
        QTest::addColumn<bool>("installed");
        QTest::addColumn<bool>("packaged");
        QTest::newRow("updater written from the program") << false << "2.1.7" << false << false;
        QTest::newRow("newer release installed") << true << "2.1.7" << true << false;
        QTest::newRow("older release replayed") << true << "2.1.5" << false << false;
        QTest::newRow("same release replayed") << true << "2.1.6" << false << false;
        // The package's updater lies in the prefix's lib/quillmere and is told the program's folder.
        QTest::newRow("package's updater") << true << "2.1.7" << true << true;
    }

    void yesDownloadsStartsTheUpdaterAndEnds()
    {
        QFETCH(bool, updaterPresent);
        QFETCH(QString, signedVersion);
        QFETCH(bool, installed);
        QFETCH(bool, packaged);
        ProgramUnderTest program;
        const QString folder = program.env.programDir();
        const QByteArray oldProgram = contents(QStringLiteral("/bin/true"));
        const QByteArray package = contents(QStringLiteral(QUILLMERE_BIN_DIR "/fake-program"));
        const QString served = program.env.path(QStringLiteral("served.upg"));
        write(served, package);
        QCOMPARE(QProcess::execute(QStringLiteral(QUILLMERE_BIN_DIR "/sign-package"),
                                   {QStringLiteral("sign"), QStringLiteral(QUILLMERE_TEST_KEY_DIR "/secret.key"), signedVersion, served}),
                 0);
        const QByteArray signature = contents(served + QStringLiteral(".sig"));
        m_server.setReply(m_versionPath, "2.1.7");
        m_server.setReply(QStringLiteral("/orvaneupdateserver/Vantrel.upg"), package);
        m_server.setReply(QStringLiteral("/orvaneupdateserver/Vantrel.upg.sig"), signature);
        write(folder + QStringLiteral("/Vantrel"), oldProgram);
        QFile::setPermissions(folder + QStringLiteral("/Vantrel"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        // A longer package left from before keeps no tail.
        write(folder + QStringLiteral("/Vantrel.upg"), QByteArray(1 << 20, 'o'));
        const QString packagedUpdater = program.env.path(QStringLiteral("lib/quillmere/update"));
        if (packaged)
            QVERIFY(QDir().mkpath(program.env.path(QStringLiteral("lib/quillmere"))));
        if (updaterPresent)
            QVERIFY(QFile::copy(QStringLiteral(QUILLMERE_BIN_DIR "/update-for-tests"),
                                packaged ? packagedUpdater : folder + QStringLiteral("/update.exe")));
        const QByteArray updaterThere = contents(folder + QStringLiteral("/update.exe"));
        program.env.tray.add(TrayPicture::Blue, QStringLiteral("Quillmere"));
        program.env.prompter.answerMessage(prompt::Answer::Yes, QStringLiteral("Would you like to update your version of Quillmere now?"));

        updates::checkUpdates(program.env.context);

        QCOMPARE(contents(folder + QStringLiteral("/Vantrel.upg")), package);
        QCOMPARE(contents(folder + QStringLiteral("/Vantrel.upg.sig")), signature);
        QFile carried(embedded::resourcePath(embedded::Updater));
        QVERIFY(carried.open(QIODevice::ReadOnly));
        QCOMPARE(contents(folder + QStringLiteral("/update.exe")),
                 packaged ? QByteArray() : updaterPresent ? updaterThere : carried.readAll());
        QCOMPARE(program.env.starter.programs().size(), 1);
        QCOMPARE(program.env.starter.programs()[0].program, packaged ? packagedUpdater : folder + QStringLiteral("/update.exe"));
        QCOMPARE(program.env.starter.programs()[0].arguments, packaged ? QStringList{folder} : QStringList());
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QVERIFY(!program.env.tray.isAdded());
        QVERIFY(m_server.requests().contains(QStringLiteral("/orvaneupdateserver/Vantrel.upg.sig")));
        if (!updaterPresent)
            return;

        // The updater the program started, run as it would run once the program has ended.
        const QString runtime = program.env.path(QStringLiteral("runtime"));
        QVERIFY(QDir().mkpath(runtime));
        QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QProcess updater;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QUILLMERE_UPDATER_UNATTENDED"), QStringLiteral("1"));
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
        updater.setProcessEnvironment(environment);
        updater.start(program.env.starter.programs()[0].program, program.env.starter.programs()[0].arguments);
        QVERIFY(updater.waitForFinished(60000));
        const QByteArray errors = updater.readAllStandardError();
        QVERIFY2(updater.exitCode() == (installed ? 0 : 1), errors.constData());
        QCOMPARE(contents(folder + QStringLiteral("/Vantrel")), installed ? package : oldProgram);
        QVERIFY2(installed || errors.contains("is not newer than the version installed here"), errors.constData());
    }
};

QUILLMERE_TEST(TestUpdateCheck)
#include "TestUpdateCheck.moc"
