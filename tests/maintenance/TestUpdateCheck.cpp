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

using namespace Qt::StringLiterals;

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

    // The server's reply, its weighted value, and whether a download is offered; with no
    // server listening at all there is no new version either.
    void theServersAnswerDecides_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<qint64>("value");
        QTest::addColumn<bool>("offered");
        QTest::newRow("2.1.7 is newer") << QByteArray("2.1.7") << qint64(201070) << true;
        QTest::newRow("2.1.6 is this version") << QByteArray("2.1.6") << qint64(201060) << false;
        QTest::newRow("blanks") << QByteArray(" 3.0.0 \r\n") << qint64(300000) << true;
        QTest::newRow("four pieces") << QByteArray("2.1.6.5") << qint64(201060) << false;
        QTest::newRow("two pieces") << QByteArray("2.2") << qint64(202000) << true;
        QTest::newRow("big revision") << QByteArray("2.0.110") << qint64(201100) << true;
        QTest::newRow("leading numbers") << QByteArray("2x.1y.7z") << qint64(201070) << true;
        QTest::newRow("past 32 bits") << QByteArray("999999.0.0") << qint64(99999900000) << true;
        QTest::newRow("words") << QByteArray("<html>busy</html>") << qint64(0) << false;
        QTest::newRow("empty") << QByteArray() << qint64(0) << false;
        QTest::newRow("no server") << QByteArray("2.1.7") << qint64(201070) << false;
    }
    void theServersAnswerDecides()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, offered);
        QTEST(updates::versionValue(updates::parseVersionReply(QString::fromLatin1(reply))), "value");
        QCOMPARE(updates::versionValue(updates::ownVersion()), qint64(201060));
        ProgramUnderTest program;
        m_server.setReply(m_versionPath, reply);
        if (QTest::currentDataTag() == "no server"_L1) {
            QTcpServer closed;
            QVERIFY(closed.listen(QHostAddress::LocalHost, 0));
            const quint16 port = closed.serverPort();
            closed.close();
            qputenv("QUILLMERE_UPDATE_URL", "http://127.0.0.1:" + QByteArray::number(port));
        }
        if (offered) {
            program.env.prompter.answerMessage(prompt::Answer::No, u"A new version of Quillmere is available for download."_s)
                .answerMessage(prompt::Answer::Ok, u"If you want to download the newest version at a later time, "
                                                   "just click \"Help\" and then \"Check for updates.\""_s);
        } else {
            program.env.prompter.answerMessage(prompt::Answer::Ok, u"You have the most up to date version of this software"_s);
        }
        updates::checkUpdates(program.env.context);
        qputenv("QUILLMERE_UPDATE_URL", m_server.baseUrl().toString().toUtf8());
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
        QCOMPARE(program.env.prompter.messages()[0].caption, u"Vantrel"_s);
        QVERIFY(program.env.starter.programs().isEmpty());
        QVERIFY(!program.env.process.hasEnded());
        QVERIFY(!QFile::exists(program.env.programDir() + u"/Vantrel.upg"_s));
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
        const QString folder = program.env.programDir(), updater = folder + u"/update.exe"_s, lib = program.env.path(u"lib/quillmere"_s);
        const QByteArray oldProgram = contents(u"/bin/true"_s), package = contents(QStringLiteral(QUILLMERE_BIN_DIR "/fake-program"));
        const QString served = program.env.path(u"served.upg"_s);
        write(served, package);
        QCOMPARE(QProcess::execute(QStringLiteral(QUILLMERE_BIN_DIR "/sign-package"),
                                   {u"sign"_s, QStringLiteral(QUILLMERE_TEST_KEY_DIR "/secret.key"), signedVersion, served}),
                 0);
        const QByteArray signature = contents(served + u".sig"_s);
        m_server.setReply(m_versionPath, "2.1.7");
        m_server.setReply(u"/orvaneupdateserver/Vantrel.upg"_s, package);
        m_server.setReply(u"/orvaneupdateserver/Vantrel.upg.sig"_s, signature);
        write(folder + u"/Vantrel"_s, oldProgram);
        QFile::setPermissions(folder + u"/Vantrel"_s, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        // A longer package left from before keeps no tail.
        write(folder + u"/Vantrel.upg"_s, QByteArray(1 << 20, 'o'));
        // The package's updater lies in the prefix's lib/quillmere and is told the program's folder.
        if (packaged)
            QVERIFY(QDir().mkpath(lib));
        if (updaterPresent)
            QVERIFY(QFile::copy(QStringLiteral(QUILLMERE_BIN_DIR "/update-for-tests"), packaged ? lib + u"/update"_s : updater));
        const QByteArray updaterThere = contents(updater);
        program.env.tray.add(TrayPicture::Blue, u"Quillmere"_s);
        program.env.prompter.answerMessage(prompt::Answer::Yes, u"Would you like to update your version of Quillmere now?"_s);

        updates::checkUpdates(program.env.context);

        QCOMPARE(contents(folder + u"/Vantrel.upg"_s), package);
        QCOMPARE(contents(folder + u"/Vantrel.upg.sig"_s), signature);
        QCOMPARE(contents(updater), packaged ? QByteArray() : updaterPresent ? updaterThere : contents(embedded::resourcePath(embedded::Updater)));
        QVERIFY(!contents(updater).isEmpty() || packaged);
        QCOMPARE(program.env.starter.programs().size(), 1);
        const RecordingStarter::Start start = program.env.starter.programs()[0];
        QCOMPARE(start.program, packaged ? lib + u"/update"_s : updater);
        QCOMPARE(start.arguments, packaged ? QStringList{folder} : QStringList());
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QVERIFY(!program.env.tray.isAdded());
        QVERIFY(m_server.requests().contains(u"/orvaneupdateserver/Vantrel.upg.sig"_s));
        if (!updaterPresent)
            return;

        // The updater the program started, run as it would run once the program has ended.
        const QString runtime = program.env.path(u"runtime"_s);
        QVERIFY(QDir().mkpath(runtime));
        QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QUILLMERE_UPDATER_UNATTENDED"_s, u"1"_s);
        environment.insert(u"XDG_RUNTIME_DIR"_s, runtime);
        process.setProcessEnvironment(environment);
        process.start(start.program, start.arguments);
        QVERIFY(process.waitForFinished(60000));
        const QByteArray errors = process.readAllStandardError();
        QVERIFY2(process.exitCode() == (installed ? 0 : 1), errors.constData());
        QCOMPARE(contents(folder + u"/Vantrel"_s), installed ? package : oldProgram);
        QVERIFY2(installed || errors.contains("is not newer than the version installed here"), errors.constData());
    }
};

QUILLMERE_TEST(TestUpdateCheck)
#include "TestUpdateCheck.moc"
