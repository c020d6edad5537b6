#include "LoopbackHttpServer.h"
#include "ProgramUnderTest.h"
#include "TestMain.h"

#include "UpdateInstaller.h"

#include "app/MainWindow.h"
#include "maintenance/AboutWindow.h"
#include "maintenance/MigrateWindow.h"
#include "maintenance/ProgramFiles.h"
#include "maintenance/UpdateCheck.h"
#include "services/EmbeddedFiles.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

using namespace Qt::StringLiterals;

// Damage done to what the check downloaded, before the updater it started runs.
using Damage = std::function<void(const QString& folder)>;
Q_DECLARE_METATYPE(Damage)

// Tools -> Migration Utility, with the tool written beside the program (or the installed
// package's own) started in its place; Help -> Check for Updates against a real HTTP
// server on loopback, and the updater it starts, run with the tests' own key as it runs
// once the program has ended; and About's Close.
class TestMaintenance : public QObject
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
        QVERIFY(QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

    static void click(QWidget* dialog, const char* name)
    {
        auto* button = dialog->findChild<QAbstractButton*>(QLatin1String(name));
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, 8));
    }

    static void launch(ProgramUnderTest& program, prompt::Answer warning, const ScriptedPrompter::WindowScript& script)
    {
        program.env.prompter.answerMessage(warning, u"Would you like to run the migration utility now?"_s);
        if (warning == prompt::Answer::Yes)
            program.env.prompter.onModal(u"frmMigrate"_s, script);
        program.windows.main().findChild<QAction*>(u"tools1_migrate"_s)->trigger();
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

    // Close hides About (its icon revealing Show Log is the main window's test).
    void aboutCloses()
    {
        AboutWindow about;
        about.show();
        QTest::mouseClick(about.findChild<QPushButton*>(u"cmdClose1"_s), Qt::LeftButton);
        QVERIFY(!about.isVisible());
    }

    // What is in place before the launch, the answers, the program started (relative to
    // the test's folder) and the message of a failure, after which the dialog stays.
    void launcher_data()
    {
        QTest::addColumn<prompt::Answer>("warning");
        QTest::addColumn<bool>("olderGeneration");
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("started");
        QTest::addColumn<QString>("failure");
        const prompt::Answer yes = prompt::Answer::Yes;
        QTest::newRow("warning answered No") << prompt::Answer::No << false << "" << "" << "";
        QTest::newRow("dialog cancelled, choice kept") << yes << true << "" << "" << "";
        QTest::newRow("default: 4.0 and above") << yes << false << "" << "program/migration.exe" << "";
        QTest::newRow("2.0 to 3.0 over an earlier, longer tool") << yes << true << "earlier tool" << "program/migration.exe" << "";
        // Installed from the package, the program writes nothing into its folder and
        // starts the package's tool from the prefix's lib/quillmere.
        QTest::newRow("installed, 2.0 to 3.0") << yes << true << "installed" << "lib/quillmere/migration-v2" << "";
        QTest::newRow("installed, tool missing") << yes << false << "lib/quillmere" << "" << "could not be started";
        // The name is taken by a folder holding a file: nothing can be renamed over it.
        QTest::newRow("name taken by a folder") << yes << false << "folder" << "" << "could not be written";
    }
    void launcher()
    {
        QFETCH(prompt::Answer, warning);
        QFETCH(bool, olderGeneration);
        QFETCH(QString, before);
        QFETCH(QString, started);
        QFETCH(QString, failure);
        ProgramUnderTest program;
        const QString tool = program.env.programDir() + u"/migration.exe"_s;
        const QString installed = program.env.path(u"lib/quillmere/"_s) + (olderGeneration ? u"migration-v2"_s : u"migration-v4"_s);
        const bool packaged = before == "installed"_L1 || before == "lib/quillmere"_L1;
        // A lib folder of other programs' beside the program does not make it an installation.
        QVERIFY(QDir().mkpath(program.env.path(packaged ? u"lib/quillmere"_s : u"lib"_s)));
        if (before == "installed"_L1)
            QVERIFY(QFile::copy(u"/bin/true"_s, installed));
        // The manual and the companions lie in the prefix's share/quillmere and lib/quillmere, or beside the program.
        const QString folder = program.env.programDir();
        QCOMPARE(programfiles::manualPath(folder), packaged ? program.env.path(u"share/quillmere/Pellbrook_Manual.pdf"_s) : folder + u"/Pellbrook_Manual.pdf"_s);
        QCOMPARE(programfiles::companionPath(folder, programfiles::Updater), packaged ? program.env.path(u"lib/quillmere/update"_s) : folder + u"/update"_s);
        const QByteArray older = contents(embedded::resourcePath(embedded::MigrationV4)) + QByteArray(100000, 'x');
        if (before == "folder"_L1 || before == "earlier tool"_L1)
            write(before == "folder"_L1 ? tool + u"/older"_s : tool, older);

        launch(program, warning, [&](QWidget* dialog) {
            QVERIFY(dialog->findChild<QRadioButton*>(u"optVersion1"_s)->isChecked());
            if (olderGeneration)
                click(dialog, "optVersion0");
            if (!failure.isEmpty())
                program.env.prompter.answerMessage(prompt::Answer::Ok, failure == "could not be written"_L1 ? QDir::toNativeSeparators(tool) : installed);
            click(dialog, started.isEmpty() && failure.isEmpty() ? "cmdCancel" : "cmdOK");
            if (!failure.isEmpty()) {
                QVERIFY(dialog->isVisible());
                click(dialog, "cmdCancel");
            }
        });
        const bool cancelled = warning == prompt::Answer::Yes && started.isEmpty() && failure.isEmpty();
        if (cancelled) {
            QVERIFY(!program.windows.migrate().isVisible());
            // Shown again, the dialog keeps the choice; Escape is Cancel too.
            launch(program, warning, [](QWidget* dialog) {
                QVERIFY(dialog->findChild<QRadioButton*>(u"optVersion0"_s)->isChecked());
                QTest::keyClick(dialog, Qt::Key_Escape);
            });
            QVERIFY(!program.windows.migrate().isVisible());
        }

        QCOMPARE(program.env.prompter.unusedSteps(), 0);
        QCOMPARE(program.env.prompter.messages().size(), 1 + int(cancelled) + int(!failure.isEmpty())); // never the exit question
        if (started.isEmpty()) {
            QVERIFY(program.env.starter.programs().isEmpty());
            QVERIFY(!program.env.process.hasEnded());
            QCOMPARE(QFile::exists(tool), before == "folder"_L1);
            QCOMPARE(contents(tool + u"/older"_s), before == "folder"_L1 ? older : QByteArray());
            return;
        }
        QCOMPARE(program.env.starter.programs().size(), 1);
        QCOMPARE(program.env.starter.programs()[0].program, program.env.path(started));
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        if (before == "installed"_L1) {
            QVERIFY(!QFile::exists(tool));
        } else {
            const QByteArray carried = contents(embedded::resourcePath(olderGeneration ? embedded::MigrationV2 : embedded::MigrationV4));
            QVERIFY(!carried.isEmpty());
            QCOMPARE(contents(tool), carried);
            QVERIFY(QFileInfo(tool).isExecutable());
        }
    }

    // The server's reply, its weighted value, and whether a download is offered; with no
    // server listening at all there is no new version either.
    void theServersAnswerDecides_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<qint64>("value");
        QTest::addColumn<bool>("offered");
        QTest::newRow("2.1.7 is newer") << QByteArray("2.1.7") << qint64(201070) << true;
        QTest::newRow("2.1.6 is this version") << QByteArray("2.1.6") << qint64(201060) << false;
        QTest::newRow("two pieces") << QByteArray(" 2.2\r\n") << qint64(202000) << true;
        QTest::newRow("big revision") << QByteArray("2.0.110") << qint64(201100) << true;
        QTest::newRow("leading numbers") << QByteArray("2x.1y.7z") << qint64(201070) << true;
        QTest::newRow("past 32 bits") << QByteArray("999999.0.0") << qint64(99999900000) << true;
        QTest::newRow("words") << QByteArray("<html>busy</html>") << qint64(0) << false;
        QTest::newRow("no server") << QByteArray("2.1.7") << qint64(201070) << false;
    }
    void theServersAnswerDecides()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, offered);
        QTEST(updates::versionValue(updates::parseVersionReply(QString::fromLatin1(reply))), "value");
        ProgramUnderTest program;
        m_server.setReply(m_versionPath, reply);
        if (QTest::currentDataTag() == "no server"_L1) {
            QTcpServer closed; // a port that was free a moment ago, where nothing listens any more
            QVERIFY(closed.listen(QHostAddress::LocalHost, 0));
            qputenv("QUILLMERE_UPDATE_URL", "http://127.0.0.1:" + QByteArray::number(closed.serverPort()));
            closed.close();
        }
        if (offered)
            program.env.prompter.answerMessage(prompt::Answer::No, u"is available for download"_s).answerMessage(prompt::Answer::Ok, u"at a later time"_s);
        else
            program.env.prompter.answerMessage(prompt::Answer::Ok, u"You have the most up to date version"_s);
        updates::checkUpdates(program.env.context);
        qputenv("QUILLMERE_UPDATE_URL", m_server.baseUrl().toString().toUtf8());
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
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
        QTest::newRow("same release replayed") << true << false << "2.1.6" << none << "is not newer than the version installed here";
        const auto row = [](const char* name, const Damage& damage, const char* error) { QTest::newRow(name) << true << false << "2.1.7" << damage << error; };
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
};

QUILLMERE_TEST(TestMaintenance)
#include "TestMaintenance.moc"
