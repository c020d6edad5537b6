#include "ProgramUnderTest.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "app/MainWindow.h"
#include "server/ConfigureWindow.h"
#include "app/SplashWindow.h"

#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The start of the whole program: splash, single-instance check, and a first run.
// (The main window's own tests start a configured installation.)
class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void firstRunGreetsThenShowsTheConfigurationWindowModally()
    {
        ProgramUnderTest program;
        bool sweptBeforeConfigurationClosed = false;
        // The configuration window's load looks for global rules in a quiet session: no further message.
        program.env.prompter.answerMessage(prompt::Answer::Ok, u"Welcome to Quillmere."_s)
            .onModal(u"frmConfigure"_s, [&](QWidget* window) {
                auto* configure = static_cast<ConfigureWindow*>(window);
                QVERIFY(configure->isCommitTimerActive() && !configure->servuPath().isEmpty());
                sweptBeforeConfigurationClosed = program.sweeps > 0;
                QTest::mouseClick(window->findChild<QPushButton*>(u"cmdCancel"_s), Qt::LeftButton);
            })
            // Closed without a commit: the sweep finds no database and says so.
            .answerMessage(prompt::Answer::No, u"There was an error connecting to the database."_s)
            .answerMessage(prompt::Answer::Ok, u"We could not connect to the database specified."_s);
        program.start();
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
        // Start-up went on after the window closed, whatever happened in it.
        QVERIFY(!sweptBeforeConfigurationClosed);
        QCOMPARE(program.sweeps, 1);
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QVERIFY(!program.env.tray.isAdded() && !program.windows.main().isVisible());
    }

    // The splash gives way to a click and the start-up check follows. The first instance, in this
    // same thread, cannot answer while the second waits: the second ends all the same, and its
    // request arrives afterwards.
    void splashThenASecondInstanceEndsSilently()
    {
        ProgramUnderTest program;
        program.configure();
        InstanceLock firstInstance(program.env.instanceLock.lockFilePath());
        QVERIFY(firstInstance.tryAcquire());
        QSignalSpy asked(&firstInstance, &InstanceLock::showRequested);
        program.windows.start();
        SplashWindow& splash = program.windows.splash();
        QTest::mouseClick(&splash, Qt::LeftButton);
        QVERIFY(!splash.isVisible());
        QVERIFY(fireTimer(&splash, u"tmrCheck"_s));
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QVERIFY(program.env.prompter.records().isEmpty() && !program.windows.hasMain());
        QCOMPARE(program.sweeps, 0);
        QTRY_COMPARE(asked.count(), 1);
    }

    void secondProgramStartEndsWhileTheFirstRunsOn()
    {
        QTemporaryDir dir;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        environment.insert(u"XDG_RUNTIME_DIR"_s, dir.path());
        environment.insert(u"QUILLMERE_SETTINGS"_s, dir.filePath(u"serv-u.ini"_s));
        QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        SettingsStore(nullptr, dir.filePath(u"serv-u.ini"_s)).saveConnectionString(u"Provider=SQLite;Data Source="_s + dir.filePath(u"a.db"_s));

        QProcess first, second;
        first.setProcessEnvironment(environment);
        second.setProcessEnvironment(environment);
        first.start(QStringLiteral(QUILLMERE_BIN_DIR "/Vantrel"), {});
        QVERIFY(first.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(dir.filePath(u"Vantrel.lock"_s)), 15000);
        second.start(QStringLiteral(QUILLMERE_BIN_DIR "/Vantrel"), {});
        QVERIFY(second.waitForFinished(30000));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(first.state(), QProcess::Running);

        // The system's request to end is answered by an orderly end without questions.
        first.terminate();
        QVERIFY(first.waitForFinished(30000));
        QCOMPARE(first.exitStatus(), QProcess::NormalExit);
        QCOMPARE(first.exitCode(), 0);
        QVERIFY(!QFile::exists(dir.filePath(u"Vantrel.lock"_s)));
    }
};

QUILLMERE_TEST(TestStartup)
#include "TestStartup.moc"
