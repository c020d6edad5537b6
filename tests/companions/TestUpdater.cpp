#include "GatewickFixture.h"
#include "TestMain.h"

#include "UpdateInstaller.h"

#include "maintenance/ReleaseVersion.h"

using gatewicktest::fileContents;
using namespace Qt::StringLiterals;

// A program folder: the old program (a copy of a system program), the updater, and
// the new program as the package, signed with the tests' own key.
struct UpdateFolder
{
    QString path;
    QByteArray oldProgram, newProgram;
    QString file(const char* name) const { return path + QLatin1Char('/') + QLatin1String(name); }
};
using Damage = std::function<void(const UpdateFolder&)>;
Q_DECLARE_METATYPE(Damage)

// The updater as the program starts it: in the program's folder, beside the old
// program, the downloaded package and its signature.
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
        QCOMPARE(QProcess::execute(bin("sign-package"), {u"sign"_s, QStringLiteral(QUILLMERE_TEST_KEY_DIR "/secret.key"), version, package}), 0);
    }

    static UpdateFolder prepare(TestEnvironment& env)
    {
        QDir().mkpath(env.path(u"runtime"_s));
        QFile::setPermissions(env.path(u"runtime"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        UpdateFolder folder{env.programDir(), fileContents(u"/bin/true"_s), fileContents(bin("fake-program"))};
        write(folder.file("Vantrel"), folder.oldProgram);
        QFile::setPermissions(folder.file("Vantrel"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::ExeGroup);
        QFile::copy(bin("update-for-tests"), folder.file("update.exe"));
        write(folder.file("Vantrel.upg"), folder.newProgram);
        sign(folder.file("Vantrel.upg"));
        return folder;
    }

    static void startUpdater(TestEnvironment& env, const UpdateFolder& folder, QProcess& updater)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QUILLMERE_UPDATER_UNATTENDED"_s, u"1"_s);
        environment.insert(u"XDG_RUNTIME_DIR"_s, env.path(u"runtime"_s));
        environment.insert(u"FAKE_PROGRAM_MARKER"_s, env.path(u"started.txt"_s));
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        updater.setProcessEnvironment(environment);
        updater.start(folder.file("update.exe"), {});
    }

private slots:
    void aGenuinePackageReplacesTheProgram()
    {
        TestEnvironment env;
        const UpdateFolder folder = prepare(env);
        // The program still runs for a moment after starting the updater: it holds the lock.
        InstanceLock running(env.path(u"runtime/Vantrel.lock"_s));
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
        QVERIFY(QTest::qWaitFor([&] { return fileContents(env.path(u"started.txt"_s)) == "started\n"; }, 10000));
    }

    void packagesThatAreNotGenuineAreNeverInstalled_data()
    {
        QTest::addColumn<Damage>("damage");
        QTest::addColumn<QString>("reason");
        const auto signature = [](const UpdateFolder& folder) { return fileContents(folder.file("Vantrel.upg.sig")); };
        QTest::newRow("bad signature") << Damage([signature](const UpdateFolder& f) {
            const QByteArray sig = signature(f);
            write(f.file("Vantrel.upg.sig"), sig.left(sig.size() - 2) + (sig.endsWith("0\n") ? "1\n" : "0\n"));
        }) << "not genuine";
        QTest::newRow("truncated package") << Damage([](const UpdateFolder& f) { write(f.file("Vantrel.upg"), f.newProgram.left(f.newProgram.size() / 2)); })
                                           << "not genuine";
        QTest::newRow("claimed version is not the signed one") << Damage([signature](const UpdateFolder& f) {
            write(f.file("Vantrel.upg.sig"), signature(f).replace(release(1).toLatin1(), release(2).toLatin1()));
        }) << "not genuine";
        QTest::newRow("older release replayed") << Damage([](const UpdateFolder& f) { sign(f.file("Vantrel.upg"), release(-1)); })
                                                << "is not newer than the version installed here";
        QTest::newRow("same release replayed") << Damage([](const UpdateFolder& f) { sign(f.file("Vantrel.upg"), release(0)); })
                                               << "is not newer than the version installed here";
        QTest::newRow("signature without its version") << Damage([signature](const UpdateFolder& f) {
            write(f.file("Vantrel.upg.sig"), QByteArray::fromHex(signature(f).split('\n').value(1)));
        }) << "not in the form this updater reads";
        QTest::newRow("no signature") << Damage([](const UpdateFolder& f) { QVERIFY(QFile::remove(f.file("Vantrel.upg.sig"))); }) << "carries no signature";
        QTest::newRow("empty package") << Damage([](const UpdateFolder& f) { write(f.file("Vantrel.upg"), {}); }) << "missing or empty";
        QTest::newRow("not a program") << Damage([](const UpdateFolder& f) {
            write(f.file("Vantrel.upg"), "#!/bin/sh\necho a script is no program of ours\n");
            sign(f.file("Vantrel.upg"));
        }) << "not a program for this computer";
        // A backup that cannot be taken away: a folder with something in it.
        QTest::newRow("backup in the way") << Damage([](const UpdateFolder& f) { QDir().mkpath(f.file("Vantrel.bak") + u"/inside"_s); })
                                           << "could not be removed";
    }
    void packagesThatAreNotGenuineAreNeverInstalled()
    {
        QFETCH(Damage, damage);
        QFETCH(QString, reason);
        TestEnvironment env;
        const UpdateFolder folder = prepare(env);
        QVERIFY(fileContents(folder.file("Vantrel.upg.sig")).startsWith("version " + release(1).toLatin1() + '\n'));
        damage(folder);
        QProcess updater;
        startUpdater(env, folder, updater);
        QVERIFY(updater.waitForFinished(60000));
        const QString errors = QString::fromUtf8(updater.readAllStandardError());
        QCOMPARE(updater.exitCode(), 1);
        QVERIFY2(errors.contains(reason), qPrintable(errors));
        QCOMPARE(fileContents(folder.file("Vantrel")), folder.oldProgram);
        QVERIFY(!QFile::exists(env.path(u"started.txt"_s)));
    }

    void signatureCheckItself()
    {
        const QByteArray key = QByteArray::fromHex(fileContents(QStringLiteral(QUILLMERE_TEST_KEY_DIR "/public.key")).trimmed());
        QCOMPARE(key.size(), 32);
        QVERIFY(!UpdateInstaller::signatureMatches("data", QByteArray(64, 'x'), key));
        QVERIFY(!UpdateInstaller::signatureMatches("data", QByteArray(64, 'x'), QByteArray(31, 'k')));
        QVERIFY(UpdateInstaller::isProgramOfThisPlatform(fileContents(u"/bin/true"_s)));
        QVERIFY(!UpdateInstaller::isProgramOfThisPlatform("MZ not here"));
    }
};

QUILLMERE_TEST(TestUpdater)
#include "TestUpdater.moc"
