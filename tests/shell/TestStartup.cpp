#include "ProgramUnderTest.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "server/ConfigureWindow.h"
#include "app/MainWindow.h"
#include "app/SplashWindow.h"

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// The start of the whole program: splash, single-instance check, first run or
// stored settings, and the steps of loading the main window in their order.
class TestStartup : public QObject
{
    Q_OBJECT

    // The trace messages from the first one equal to "first" on.
    static QStringList messagesFrom(const StatusLog& log, const QString& first)
    {
        QStringList result;
        bool seen = false;
        for (const QString& line : log.lines()) {
            const QString message = line.mid(line.indexOf(QStringLiteral(":  ")) + 3);
            seen = seen || message == first;
            if (seen)
                result.append(message);
        }
        return result;
    }

private slots:
    void firstRunGreetsThenShowsTheConfigurationWindowModally()
    {
        ProgramUnderTest program;
        bool sweptBeforeConfigurationClosed = false;
        program.env.prompter.answerMessage(prompt::Answer::Ok)
            .onModal(QStringLiteral("frmConfigure"), [&](QWidget* window) {
                auto* configure = static_cast<ConfigureWindow*>(window);
                QVERIFY(configure->isCommitTimerActive());
                QVERIFY(!configure->servuPath().isEmpty());
                QCOMPARE(configure->connectionString(), QString());
                sweptBeforeConfigurationClosed = program.sweeps > 0;
                QTest::mouseClick(window->findChild<QPushButton*>(QStringLiteral("cmdCancel")), Qt::LeftButton);
            })
            // Closed without a commit: the sweep finds no database and says so.
            .answerMessage(prompt::Answer::No, QStringLiteral("There was an error connecting to the database."))
            .answerMessage(prompt::Answer::Ok, QStringLiteral("We could not connect to the database specified."));
        program.start();

        const auto messages = program.env.prompter.messages();
        QCOMPARE(messages.size(), 3);
        QCOMPARE(messages[0].caption, QStringLiteral("Vantrel"));
        QCOMPARE(messages[0].icon, prompt::Icon::Information);
        QCOMPARE(messages[0].buttons, prompt::Buttons::Ok);
        QCOMPARE(messages[0].text, QStringLiteral("Welcome to Quillmere.\r\n\r\nIt seems like this is the first time you \r\n"
                                                  "are running this application.\r\n\r\nClick OK to configure required settings."));
        QCOMPARE(program.env.prompter.unusedSteps(), 0);

        // Start-up went on after the window closed, whatever happened in it.
        QVERIFY(!sweptBeforeConfigurationClosed);
        QCOMPARE(program.sweeps, 1);
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QVERIFY(!program.env.tray.isAdded());
        // The configuration window's load looks for global rules in a quiet session.
        QCOMPARE(messagesFrom(program.env.log, QStringLiteral("registry")).mid(0, 7),
                 QStringList({"registry", "On Error Resume Next", "open the registry", "attempt to open database",
                              "database error: The connection string names no provider.",
                              "populate data from database into this form", "attempt to open database"}));
        QVERIFY(!program.windows.main().isVisible());
    }

    void configuredStartLoadsAndShowsTheMainWindow()
    {
        ProgramUnderTest program;
        program.configure();
        program.start();
        MainWindow& main = program.windows.main();
        QVERIFY(main.isLoaded());
        QVERIFY(main.isVisible());
        QCOMPARE(program.env.tray.current(), TrayPicture::Blue);
        QVERIFY(program.env.tray.isAdded());
        QVERIFY(program.env.process.exitCodes().isEmpty());
        QVERIFY(findTimer(&main, QStringLiteral("Timer1"))->isActive());
        QVERIFY(findTimer(&main, QStringLiteral("tmrTime"))->isActive());
    }

    void storedSettingsFillTheConfigurationWindowInstead()
    {
        ProgramUnderTest program;
        program.configure();
        const QString stored = program.env.settings.readConnectionString();
        program.start();

        QVERIFY(program.env.prompter.records().isEmpty());
        ConfigureWindow& configure = program.windows.configure();
        QVERIFY(!configure.isVisible());
        QVERIFY(!configure.isCommitTimerActive());
        QVERIFY(stored.startsWith(QStringLiteral("Provider=SQLite;Data Source=")));
        QCOMPARE(configure.connectionString(), stored);
        QCOMPARE(configure.servuPath(), program.env.path(QStringLiteral("servu/")));
        QCOMPARE(configure.ftpDirectory(), program.env.path(QStringLiteral("ftp/")));
        const QString read = QStringLiteral("RegSetValueEx hkey, settingName, 0, REG_SZ, settingValue, Len(settingValue)");
        QCOMPARE(messagesFrom(program.env.log, QStringLiteral("-- configured by the test --")).mid(1, 12),
                 QStringList({"registry", "On Error Resume Next", "open the registry", "attempt to open database", "load settings", read, read,
                              " do not Show vbModal", "populate data from database into this form",
                              // the sweep's two sessions, then the lower-casing's
                              "attempt to open database", "attempt to open database", "attempt to open database"}));
        QCOMPARE(program.sweeps, 1);
        QVERIFY(program.windows.main().isVisible());
    }

    void storedKeyWithoutFoldersLeavesTheirBoxesEmpty()
    {
        ProgramUnderTest program;
        program.configure();
        QSettings(program.env.settingsPath(), QSettings::IniFormat).remove(QStringLiteral("software/Orvane/serv-u/settings"));
        program.start();
        QCOMPARE(program.windows.configure().servuPath(), QString());
        QCOMPARE(program.windows.configure().ftpDirectory(), QString());
    }

    void splashGivesWayAfterItsTimeOrAClick()
    {
        ProgramUnderTest program;
        program.windows.start();
        SplashWindow& splash = program.windows.splash();
        QVERIFY(splash.isVisible());
        QCOMPARE(findTimer(&splash, QStringLiteral("tmrShow"))->interval(), 1500);
        QCOMPARE(findTimer(&splash, QStringLiteral("tmrCheck"))->interval(), 1501);
        QVERIFY(fireTimer(&splash, QStringLiteral("tmrShow")));
        QVERIFY(!splash.isVisible());

        ProgramUnderTest clicked;
        clicked.windows.start();
        QTest::mouseClick(&clicked.windows.splash(), Qt::LeftButton);
        QVERIFY(!clicked.windows.splash().isVisible());
        QVERIFY(!findTimer(&clicked.windows.splash(), QStringLiteral("tmrShow"))->isActive());
        // The start-up check still follows.
        QVERIFY(findTimer(&clicked.windows.splash(), QStringLiteral("tmrCheck"))->isActive());
    }

    void secondInstanceEndsSilently()
    {
        ProgramUnderTest program;
        program.configure();
        InstanceLock firstInstance(program.env.instanceLock.lockFilePath());
        QVERIFY(firstInstance.tryAcquire());
        QSignalSpy asked(&firstInstance, &InstanceLock::showRequested);

        // The first instance, in this same thread, cannot answer while the second
        // waits: the second ends all the same, and its request arrives afterwards.
        program.start();
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QVERIFY(program.env.prompter.records().isEmpty());
        QVERIFY(!program.windows.hasMain());
        QCOMPARE(program.sweeps, 0);
        QVERIFY(firstInstance.isHeld());
        QTRY_COMPARE(asked.count(), 1);
    }

    void secondProgramStartEndsWhileTheFirstRunsOn()
    {
        QTemporaryDir dir;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), dir.path());
        environment.insert(QStringLiteral("QUILLMERE_SETTINGS"), dir.filePath(QStringLiteral("serv-u.ini")));
        QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        SettingsStore(nullptr, dir.filePath(QStringLiteral("serv-u.ini")))
            .saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=") + dir.filePath(QStringLiteral("a.db")));

        const QString program = QStringLiteral(QUILLMERE_BIN_DIR "/Vantrel");
        QProcess first;
        first.setProcessEnvironment(environment);
        first.start(program, {});
        QVERIFY(first.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(dir.filePath(QStringLiteral("Vantrel.lock"))), 15000);

        QProcess second;
        second.setProcessEnvironment(environment);
        second.start(program, {});
        QVERIFY(second.waitForFinished(30000));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(first.state(), QProcess::Running);

        // The system's request to end is answered by an orderly end without questions.
        first.terminate();
        QVERIFY(first.waitForFinished(30000));
        QCOMPARE(first.exitStatus(), QProcess::NormalExit);
        QCOMPARE(first.exitCode(), 0);
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("Vantrel.lock"))));
    }

    void randomGeneratorIsSeededFromTheClock()
    {
        ProgramUnderTest one;
        one.configure();
        one.env.clock.setNow(QDateTime(QDate(2026, 5, 1), QTime(10, 0, 0)));
        one.start();
        ProgramUnderTest two;
        two.configure();
        two.env.clock.setNow(QDateTime(QDate(2026, 5, 1), QTime(10, 0, 0)));
        two.start();
        ProgramUnderTest three;
        three.configure();
        three.env.clock.setNow(QDateTime(QDate(2026, 5, 1), QTime(10, 0, 1)));
        three.start();
        const quint32 first = one.env.context.random.generate();
        QCOMPARE(two.env.context.random.generate(), first);
        QVERIFY(three.env.context.random.generate() != first);
    }
};

QUILLMERE_TEST(TestStartup)
#include "TestStartup.moc"
