#include "LoopbackHttpServer.h"
#include "ProgramUnderTest.h"
#include "TestMain.h"

#include "UpdateInstaller.h"

#include "maintenance/UpdateCheck.h"
#include "services/EmbeddedFiles.h"

#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

// Damage done to what the check downloaded, before the updater it started runs.
using Damage = std::function<void(const QString& folder)>;
Q_DECLARE_METATYPE(Damage)

// Help -> Check for Updates against a real HTTP server on loopback, and the updater it
// starts, run with the tests' own key as it runs once the program has ended.
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
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

    static void sign(const QString& package, const QString& version)
    {
        QCOMPARE(QProcess::execute(QStringLiteral(QUILLMERE_BIN_DIR "/sign-package"),
                                   {u"sign"_s, QStringLiteral(QUILLMERE_TEST_KEY_DIR "/secret.key"), version, package}),
                 0);
    }

    LoopbackHttpServer m_server;
    const QString m_versionPath = u"/OrvaneUpdateServer/version.asp?app=Vantrel"_s;

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

    // The server offers 2.1.7, with a package signed for a version of its own; the
    // updater refuses a package that is not newer than the running program, or that is
    // not genuine, and installs nothing then. The error is the part of the updater's message.
    void yesDownloadsStartsTheUpdaterAndEnds_data()
    {
        QTest::addColumn<bool>("updaterPresent");
        QTest::addColumn<bool>("packaged");
        QTest::addColumn<QString>("signedVersion");
        QTest::addColumn<Damage>("damage");
        QTest::addColumn<QString>("error");
        const Damage none = [](const QString&) {};
        QTest::newRow("updater written from the program") << false << false << "2.1.7" << none << "";
        QTest::newRow("newer release installed") << true << false << "2.1.7" << none << "";
        // The package's updater lies in the prefix's lib/quillmere and is told the program's folder.
        QTest::newRow("package's updater") << true << true << "2.1.7" << none << "";
        QTest::newRow("older release replayed") << true << false << "2.1.5" << none << "is not newer than the version installed here";
        QTest::newRow("same release replayed") << true << false << "2.1.6" << none << "is not newer than the version installed here";
        const auto row = [](const char* name, const Damage& damage, const char* error) { QTest::newRow(name) << true << false << "2.1.7" << damage << error; };
        row("bad signature", [](const QString& f) {
            const QByteArray sig = contents(f + u"/Vantrel.upg.sig"_s);
            write(f + u"/Vantrel.upg.sig"_s, sig.left(sig.size() - 2) + (sig.endsWith("0\n") ? "1\n" : "0\n"));
        }, "not genuine");
        row("truncated package", [](const QString& f) { write(f + u"/Vantrel.upg"_s, contents(f + u"/Vantrel.upg"_s).chopped(1000)); }, "not genuine");
        row("claimed version is not the signed one", [](const QString& f) {
            write(f + u"/Vantrel.upg.sig"_s, contents(f + u"/Vantrel.upg.sig"_s).replace("2.1.7", "2.1.8"));
        }, "not genuine");
        row("signature without its version", [](const QString& f) {
            write(f + u"/Vantrel.upg.sig"_s, QByteArray::fromHex(contents(f + u"/Vantrel.upg.sig"_s).split('\n').value(1)));
        }, "not in the form this updater reads");
        row("no signature", [](const QString& f) { QVERIFY(QFile::remove(f + u"/Vantrel.upg.sig"_s)); }, "carries no signature");
        row("empty package", [](const QString& f) { write(f + u"/Vantrel.upg"_s, {}); }, "missing or empty");
        row("not a program", [](const QString& f) {
            write(f + u"/Vantrel.upg"_s, "#!/bin/sh\necho a script is no program of ours\n");
            sign(f + u"/Vantrel.upg"_s, u"2.1.7"_s);
        }, "not a program for this computer");
        // A backup that cannot be taken away: a folder with something in it.
        row("backup in the way", [](const QString& f) { QDir().mkpath(f + u"/Vantrel.bak/inside"_s); }, "could not be removed");
    }
    void yesDownloadsStartsTheUpdaterAndEnds()
    {
        QFETCH(bool, updaterPresent);
        QFETCH(bool, packaged);
        QFETCH(QString, signedVersion);
        QFETCH(Damage, damage);
        QFETCH(QString, error);
        ProgramUnderTest program;
        const QString folder = program.env.programDir(), updater = folder + u"/update.exe"_s, lib = program.env.path(u"lib/quillmere"_s);
        const QByteArray oldProgram = contents(u"/bin/true"_s), package = contents(QStringLiteral(QUILLMERE_BIN_DIR "/fake-program"));
        const QString served = program.env.path(u"served.upg"_s);
        write(served, package);
        sign(served, signedVersion);
        const QByteArray signature = contents(served + u".sig"_s);
        m_server.setReply(m_versionPath, "2.1.7");
        m_server.setReply(u"/orvaneupdateserver/Vantrel.upg"_s, package);
        m_server.setReply(u"/orvaneupdateserver/Vantrel.upg.sig"_s, signature);
        write(folder + u"/Vantrel"_s, oldProgram);
        QFile::setPermissions(folder + u"/Vantrel"_s, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup);
        // A longer package left from before keeps no tail.
        write(folder + u"/Vantrel.upg"_s, QByteArray(1 << 20, 'o'));
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
        QVERIFY(signature.startsWith("version " + signedVersion.toLatin1() + '\n'));
        const QByteArray carried = contents(embedded::resourcePath(embedded::Updater));
        QVERIFY(!carried.isEmpty());
        QCOMPARE(contents(updater), packaged ? QByteArray() : updaterPresent ? updaterThere : carried);
        QCOMPARE(program.env.starter.programs().size(), 1);
        const RecordingStarter::Start start = program.env.starter.programs()[0];
        QCOMPARE(start.program, packaged ? lib + u"/update"_s : updater);
        QCOMPARE(start.arguments, packaged ? QStringList{folder} : QStringList());
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QVERIFY(!program.env.tray.isAdded());
        QVERIFY(m_server.requests().contains(u"/orvaneupdateserver/Vantrel.upg.sig"_s));
        if (!updaterPresent)
            return; // the carried updater checks the release key, which these packages are not signed with

        damage(folder);
        const QString runtime = program.env.path(u"runtime"_s), marker = program.env.path(u"started.txt"_s);
        QVERIFY(QDir().mkpath(runtime));
        QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        // The program still runs for a moment after starting the updater: it holds the lock.
        InstanceLock running(runtime + u"/Vantrel.lock"_s);
        QVERIFY(running.tryAcquire());
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QUILLMERE_UPDATER_UNATTENDED"_s, u"1"_s);
        environment.insert(u"XDG_RUNTIME_DIR"_s, runtime);
        environment.insert(u"FAKE_PROGRAM_MARKER"_s, marker);
        process.setProcessEnvironment(environment);
        process.start(start.program, start.arguments);
        QVERIFY(process.waitForStarted());
        QVERIFY(!process.waitForFinished(error.isEmpty() ? 500 : 0));
        QCOMPARE(contents(folder + u"/Vantrel"_s), oldProgram);
        running.release();
        QVERIFY(process.waitForFinished(60000));
        const QByteArray errors = process.readAllStandardError();
        QVERIFY2(process.exitCode() == (error.isEmpty() ? 0 : 1), errors.constData());
        QVERIFY2(errors.contains(error.toUtf8()), errors.constData());
        if (!error.isEmpty()) {
            QCOMPARE(contents(folder + u"/Vantrel"_s), oldProgram);
            QVERIFY(!QFile::exists(marker));
            return;
        }
        QCOMPARE(contents(folder + u"/Vantrel"_s), package);
        QCOMPARE(contents(folder + u"/Vantrel.bak"_s), oldProgram);
        QVERIFY(!QFile::exists(folder + u"/Vantrel.upg"_s));
        // The program file keeps its permissions, and the new program was started.
        QCOMPARE(QFile::permissions(folder + u"/Vantrel"_s) & 0x7777, QFile::permissions(folder + u"/Vantrel.bak"_s) & 0x7777);
        QVERIFY(QTest::qWaitFor([&] { return contents(marker) == "started\n"; }, 10000));
    }

    void signatureAndPlatformChecks()
    {
        const QByteArray key = QByteArray::fromHex(contents(QStringLiteral(QUILLMERE_TEST_KEY_DIR "/public.key")).trimmed());
        QCOMPARE(key.size(), 32);
        QVERIFY(!UpdateInstaller::signatureMatches("data", QByteArray(64, 'x'), key));
        QVERIFY(!UpdateInstaller::signatureMatches("data", QByteArray(64, 'x'), QByteArray(31, 'k')));
        QVERIFY(UpdateInstaller::isProgramOfThisPlatform(contents(u"/bin/true"_s)));
        QVERIFY(!UpdateInstaller::isProgramOfThisPlatform("MZ not here"));
    }
};

QUILLMERE_TEST(TestUpdateCheck)
#include "TestUpdateCheck.moc"
