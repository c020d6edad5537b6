#include "ProgramUnderTest.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "server/ConfigureWindow.h"
#include "app/MainWindow.h"
#include "app/SplashWindow.h"

#include <QProcess>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The start of the whole program: splash, single-instance check, first run or
// stored settings, and the steps of loading the main window in their order.
class TestStartup : public QObject
{
    Q_OBJECT

    // The trace messages from the first one equal to "first" on.
    static QStringList messagesFrom(const StatusLog& log, const QString& first)
    {
        QStringList result;
        for (const QString& line : log.lines()) {
            const QString message = line.mid(line.indexOf(u":  "_s) + 3);
            if (!result.isEmpty() || message == first)
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
            .onModal(u"frmConfigure"_s, [&](QWidget* window) {
                auto* configure = static_cast<ConfigureWindow*>(window);
                QVERIFY(configure->isCommitTimerActive());
                QVERIFY(!configure->servuPath().isEmpty());
                QCOMPARE(configure->connectionString(), QString());
                sweptBeforeConfigurationClosed = program.sweeps > 0;
                QTest::mouseClick(window->findChild<QPushButton*>(u"cmdCancel"_s), Qt::LeftButton);
            })
            // Closed without a commit: the sweep finds no database and says so.
            .answerMessage(prompt::Answer::No, u"There was an error connecting to the database."_s)
            .answerMessage(prompt::Answer::Ok, u"We could not connect to the database specified."_s);
        program.start();

        const auto welcome = program.env.prompter.messages().value(0);
        QCOMPARE(welcome.caption, u"Vantrel"_s);
        QCOMPARE(welcome.icon, prompt::Icon::Information);
        QCOMPARE(welcome.buttons, prompt::Buttons::Ok);
        QCOMPARE(welcome.text, u"Welcome to Quillmere.\r\n\r\nIt seems like this is the first time you \r\n"
                               "are running this application.\r\n\r\nClick OK to configure required settings."_s);
        QCOMPARE(program.env.prompter.unusedSteps(), 0);

        // Start-up went on after the window closed, whatever happened in it.
        QVERIFY(!sweptBeforeConfigurationClosed);
        QCOMPARE(program.sweeps, 1);
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QVERIFY(!program.env.tray.isAdded());
        // The configuration window's load looks for global rules in a quiet session.
        QCOMPARE(messagesFrom(program.env.log, u"registry"_s).mid(0, 7),
                 QStringList({"registry", "On Error Resume Next", "open the registry", "attempt to open database",
                              "database error: The connection string names no provider.", "populate data from database into this form",
                              "attempt to open database"}));
        QVERIFY(!program.windows.main().isVisible());
    }

    // Stored settings fill the configuration window instead (the main window's own tests start this way).
    void configuredStart_data()
    {
        QTest::addColumn<bool>("folders");
        QTest::newRow("stored settings") << true;
        QTest::newRow("stored key without folders") << false;
    }
    void configuredStart()
    {
        QFETCH(bool, folders);
        ProgramUnderTest program;
        program.configure();
        if (!folders)
            QSettings(program.env.settingsPath(), QSettings::IniFormat).remove(u"software/Orvane/serv-u/settings"_s);
        program.start();
        QVERIFY(program.env.prompter.records().isEmpty());
        ConfigureWindow& configure = program.windows.configure();
        QVERIFY(!configure.isVisible() && !configure.isCommitTimerActive());
        QCOMPARE(configure.connectionString(), program.env.settings.readConnectionString());
        QCOMPARE(configure.servuPath(), folders ? program.env.path(u"servu/"_s) : QString());
        QCOMPARE(configure.ftpDirectory(), folders ? program.env.path(u"ftp/"_s) : QString());
        const QString read = u"RegSetValueEx hkey, settingName, 0, REG_SZ, settingValue, Len(settingValue)"_s;
        QCOMPARE(messagesFrom(program.env.log, u"-- configured by the test --"_s).mid(1, 12),
                 QStringList({"registry", "On Error Resume Next", "open the registry", "attempt to open database", "load settings", read, read,
                              " do not Show vbModal", "populate data from database into this form",
                              // the sweep's two sessions, then the lower-casing's
                              "attempt to open database", "attempt to open database", "attempt to open database"}));
        QVERIFY(program.windows.main().isLoaded() && program.windows.main().isVisible());
        QVERIFY(program.env.tray.isAdded() && program.env.tray.current() == TrayPicture::Blue);
    }

    void splashGivesWayAfterItsTimeOrAClick()
    {
        for (const bool click : {false, true}) {
            ProgramUnderTest program;
            program.windows.start();
            SplashWindow& splash = program.windows.splash();
            QVERIFY(splash.isVisible());
            QCOMPARE(findTimer(&splash, u"tmrShow"_s)->interval(), 1500);
            QCOMPARE(findTimer(&splash, u"tmrCheck"_s)->interval(), 1501);
            if (click)
                QTest::mouseClick(&splash, Qt::LeftButton);
            else
                QVERIFY(fireTimer(&splash, u"tmrShow"_s));
            QVERIFY(!splash.isVisible());
            QVERIFY(!click || !findTimer(&splash, u"tmrShow"_s)->isActive());
            // The start-up check still follows.
            QVERIFY(findTimer(&splash, u"tmrCheck"_s)->isActive());
        }
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
