#include "GatewickFixture.h"
#include "TestMain.h"

#include "UpdateInstaller.h"

#include "maintenance/ReleaseVersion.h"

using gatewicktest::fileContents;

// The updater as the program starts it: in the program's folder, beside the old
// program, the downloaded package and its signature (made with the tests' own key).
class TestUpdater : public QObject
{
    Q_OBJECT

    static QString bin(const char* name) { return QStringLiteral(QUILLMERE_BIN_DIR "/") + QLatin1String(name); }

    static void write(const QString& path, const QByteArray& bytes) { QVERIFY(!gatewicktest::writeFile(path, bytes).isEmpty()); }

    // Releases relative to the version of this build, which the updater takes as the running one.
    static QString release(int step)
    {
        const updates::Version own = updates::ownVersion();
        return updates::versionText({own.major, own.minor, own.revision + step});
    }

    static void sign(const QString& package, const QString& version = release(1))
    {
        QCOMPARE(QProcess::execute(bin("sign-package"), {QStringLiteral("sign"), QStringLiteral(QUILLMERE_TEST_KEY_DIR "/secret.key"), version, package}), 0);
    }

    // A program folder: the old program (a copy of a system program), the updater,
    // and the new program as the signed package.
    struct Folder
    {
        QString path;
        QByteArray oldProgram;
        QByteArray newProgram;
        QString file(const char* name) const { return path + QLatin1Char('/') + QLatin1String(name); }
    };

    static Folder prepare(TestEnvironment& env)
    {
        QDir().mkpath(env.path(QStringLiteral("runtime")));
        QFile::setPermissions(env.path(QStringLiteral("runtime")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        Folder folder{env.programDir(), fileContents(QStringLiteral("/bin/true")), fileContents(bin("fake-program"))};
        write(folder.file("Vantrel"), folder.oldProgram);
        QFile::setPermissions(folder.file("Vantrel"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::ExeGroup);
        QFile::copy(bin("update-for-tests"), folder.file("update.exe"));
        write(folder.file("Vantrel.upg"), folder.newProgram);
        sign(folder.file("Vantrel.upg"));
        return folder;
    }

    static void startUpdater(TestEnvironment& env, const Folder& folder, QProcess& updater)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QUILLMERE_UPDATER_UNATTENDED"), QStringLiteral("1"));
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), env.path(QStringLiteral("runtime")));
        environment.insert(QStringLiteral("FAKE_PROGRAM_MARKER"), env.path(QStringLiteral("started.txt")));
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        updater.setProcessEnvironment(environment);
        updater.start(folder.file("update.exe"), {});
    }

private slots:
    void aGenuinePackageReplacesTheProgram()
    {
        TestEnvironment env;
        const Folder folder = prepare(env);
        // The program still runs for a moment after starting the updater: it holds the lock.
        InstanceLock running(env.path(QStringLiteral("runtime/Vantrel.lock")));
        QVERIFY(running.tryAcquire());
        QProcess updater;
        startUpdater(env, folder, updater);
        QVERIFY(updater.waitForStarted());
        QVERIFY(!updater.waitForFinished(500));
        QCOMPARE(fileContents(folder.file("Vantrel")), folder.oldProgram);
        running.release();
        QVERIFY(updater.waitForFinished(30000));
        QVERIFY2(updater.exitCode() == 0, updater.readAllStandardError().constData());

        QCOMPARE(fileContents(folder.file("Vantrel")), folder.newProgram);
        QCOMPARE(fileContents(folder.file("Vantrel.bak")), folder.oldProgram);
        QVERIFY(!QFile::exists(folder.file("Vantrel.upg")));
        // The program file keeps its permissions, and the new program was started.
        QCOMPARE(QFile::permissions(folder.file("Vantrel")) & 0x7777, QFile::permissions(folder.file("Vantrel.bak")) & 0x7777);
        QVERIFY(QTest::qWaitFor([&] { return fileContents(env.path(QStringLiteral("started.txt"))) == "started\n"; }, 10000));
    }

    void packagesThatAreNotGenuineAreNeverInstalled_data()
    {
        QTest::addColumn<QString>("damage");
        QTest::addColumn<QString>("reason");
        QTest::newRow("bad signature") << "signature" << "not genuine";
        QTest::newRow("truncated package") << "truncate" << "not genuine";
        QTest::newRow("claimed version is not the signed one") << "claim" << "not genuine";
        QTest::newRow("older release replayed") << "older" << "is not newer than the version installed here";
        QTest::newRow("same release replayed") << "same" << "is not newer than the version installed here";
        QTest::newRow("signature without its version") << "bare" << "not in the form this updater reads";
        QTest::newRow("no signature") << "unsigned" << "carries no signature";
        QTest::newRow("empty package") << "empty" << "missing or empty";
        QTest::newRow("not a program") << "text" << "not a program for this computer";
        QTest::newRow("backup in the way") << "backup" << "could not be removed";
    }

    void packagesThatAreNotGenuineAreNeverInstalled()
    {
        QFETCH(QString, damage);
        QFETCH(QString, reason);
        TestEnvironment env;
        const Folder folder = prepare(env);
        const QByteArray signature = fileContents(folder.file("Vantrel.upg.sig"));
        QVERIFY(signature.startsWith("version " + release(1).toLatin1() + '\n'));
        if (damage == QLatin1String("signature")) {
            write(folder.file("Vantrel.upg.sig"), signature.left(signature.size() - 2) + (signature.endsWith("0\n") ? "1\n" : "0\n"));
        } else if (damage == QLatin1String("claim")) {
            write(folder.file("Vantrel.upg.sig"), QByteArray(signature).replace(release(1).toLatin1(), release(2).toLatin1()));
        } else if (damage == QLatin1String("older") || damage == QLatin1String("same")) {
            sign(folder.file("Vantrel.upg"), release(damage == QLatin1String("older") ? -1 : 0));
        } else if (damage == QLatin1String("bare")) {
            write(folder.file("Vantrel.upg.sig"), QByteArray::fromHex(signature.split('\n').value(1)));
        } else if (damage == QLatin1String("truncate")) {
            write(folder.file("Vantrel.upg"), folder.newProgram.left(folder.newProgram.size() / 2));
        } else if (damage == QLatin1String("unsigned")) {
            QVERIFY(QFile::remove(folder.file("Vantrel.upg.sig")));
        } else if (damage == QLatin1String("empty")) {
            write(folder.file("Vantrel.upg"), {});
        } else if (damage == QLatin1String("text")) {
            write(folder.file("Vantrel.upg"), "#!/bin/sh\necho a script is no program of ours\n");
            sign(folder.file("Vantrel.upg"));
        } else if (damage == QLatin1String("backup")) {
            // A backup that cannot be taken away: a folder with something in it.
            QDir().mkpath(folder.file("Vantrel.bak") + QStringLiteral("/inside"));
        }
        QProcess updater;
        startUpdater(env, folder, updater);
        QVERIFY(updater.waitForFinished(60000));
        const QString errors = QString::fromUtf8(updater.readAllStandardError());
        QCOMPARE(updater.exitCode(), 1);
        QVERIFY2(errors.contains(reason), qPrintable(errors));
        QCOMPARE(fileContents(folder.file("Vantrel")), folder.oldProgram);
        QVERIFY(!QFile::exists(env.path(QStringLiteral("started.txt"))));
    }

    void signatureCheckItself()
    {
        const QByteArray key = QByteArray::fromHex(fileContents(QStringLiteral(QUILLMERE_TEST_KEY_DIR "/public.key")).trimmed());
        QCOMPARE(key.size(), 32);
        QVERIFY(!UpdateInstaller::signatureMatches("data", QByteArray(64, 'x'), key));
        QVERIFY(!UpdateInstaller::signatureMatches("data", QByteArray(64, 'x'), QByteArray(31, 'k')));
        QVERIFY(UpdateInstaller::isProgramOfThisPlatform(fileContents(QStringLiteral("/bin/true"))));
        QVERIFY(!UpdateInstaller::isProgramOfThisPlatform("MZ not here"));
    }
};

QUILLMERE_TEST(TestUpdater)
#include "TestUpdater.moc"
