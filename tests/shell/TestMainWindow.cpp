#include "ProgramUnderTest.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "db/Database.h"
#include "maintenance/AboutWindow.h"
#include "platform/SystemTrayIcon.h"
#include "app/MainWindow.h"
#include "app/SplashWindow.h"
#include "server/ConfigureWindow.h"

#include <QAction>
#include <QDir>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;

// The whole program in the test process: its start (splash, single-instance check, a
// first run) and the main window's frame (the exit question, hiding to and restoring
// from the tray, the housekeeping timers, About and Help); and a second real start.
class TestMainWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<ProgramUnderTest> m_program;

    TestEnvironment& env() { return m_program->env; }
    MainWindow& main() { return m_program->windows.main(); }
    QAction* action(const QString& name) { return main().findChild<QAction*>(name); }
    // Clicks the button or triggers the menu item of that name.
    void use(const QString& control)
    {
        if (auto* button = main().findChild<QPushButton*>(control))
            return QTest::mouseClick(button, Qt::LeftButton);
        action(control)->trigger();
    }

    // A configured installation started: the main window loaded and shown, the tray icon blue.
    void startConfigured()
    {
        m_program->configure();
        m_program->start();
        QVERIFY(main().isLoaded() && main().isVisible() && env().tray.current() == TrayPicture::Blue);
        env().prompter.reset();
    }

private slots:
    void init() { m_program = std::make_unique<ProgramUnderTest>(); }
    void cleanup() { m_program.reset(); }

    void firstRunGreetsThenShowsTheConfigurationWindowModally()
    {
        ProgramUnderTest& program = *m_program;
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
        ProgramUnderTest& program = *m_program;
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
        QVERIFY(program.env.prompter.records().isEmpty() && !program.windows.hasMain() && program.sweeps == 0);
        QTRY_COMPARE(asked.count(), 1);
    }

    // The real program, started as the desktop starts it, takes the lock; the system's request to end is
    // answered by an orderly end without questions. (A second start is the splash's case above.)
    void realProgramEndsInOrderOnTheSystemsRequest()
    {
        QTemporaryDir dir;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        environment.insert(u"XDG_RUNTIME_DIR"_s, dir.path());
        environment.insert(u"QUILLMERE_SETTINGS"_s, dir.filePath(u"serv-u.ini"_s));
        QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        SettingsStore(nullptr, dir.filePath(u"serv-u.ini"_s)).saveConnectionString(u"Provider=SQLite;Data Source="_s + dir.filePath(u"a.db"_s));
        QProcess first;
        first.setProcessEnvironment(environment);
        first.start(QStringLiteral(QUILLMERE_BIN_DIR "/Vantrel"), {});
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(dir.filePath(u"Vantrel.lock"_s)), 15000);
        first.terminate();
        QVERIFY(first.waitForFinished(30000) && first.exitStatus() == QProcess::NormalExit);
        QCOMPARE(first.exitCode(), 0);
        QVERIFY(!QFile::exists(dir.filePath(u"Vantrel.lock"_s)));
    }

    // The button and the tray's item ask first; only Yes ends the program.
    void exitAsksFirst_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<prompt::Answer>("answer");
        QTest::newRow("cmdExit, yes") << "cmdExit" << prompt::Answer::Yes;
        QTest::newRow("icon_exit1, cancel") << "icon_exit1" << prompt::Answer::Cancel;
    }
    void exitAsksFirst()
    {
        startConfigured();
        QFETCH(QString, control);
        QFETCH(prompt::Answer, answer);
        env().prompter.answerMessage(answer, u"Are you sure you want to exit Quillmere?"_s);
        use(control);
        QCOMPARE(env().prompter.unusedSteps(), 0);
        QCOMPARE(env().process.hasEnded(), answer == prompt::Answer::Yes);
        QCOMPARE(env().tray.isAdded(), answer != prompt::Answer::Yes);
        QVERIFY(main().isVisible());
    }

    // Hidden to the tray, or minimised to the task bar where there is none, and brought back; a
    // pending copy is offered for saving (the answer No), an edited user alone is not.
    void hidingAndBringingBack_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("trayAvailable");
        QTest::addColumn<QString>("back");
        QTest::addColumn<SaveMode>("pending");
        QTest::newRow("minimise, tray; restore item") << "minimise" << true << "icon_restore1" << SaveMode::Update;
        QTest::newRow("minimise, no tray; task bar") << "minimise" << false << "task bar" << SaveMode::Update;
        QTest::newRow("close box, no tray; second start") << "close box" << false << "second start" << SaveMode::Update;
        QTest::newRow("cmdOK, pending copy; tray click") << "cmdOK" << true << "tray click" << SaveMode::Copy;
    }
    void hidingAndBringingBack()
    {
        startConfigured();
        QFETCH(QString, how);
        QFETCH(bool, trayAvailable);
        QFETCH(QString, back);
        QFETCH(SaveMode, pending);
        env().tray.setAvailable(trayAvailable);
        main().pageState().pageChanged = true;
        main().pageState().saveMode = pending;
        if (pending != SaveMode::Update)
            env().prompter.answerMessage(prompt::Answer::No, u"Would you like to save your changes?"_s);
        if (how == u"minimise")
            main().setWindowState(Qt::WindowMinimized);
        else if (how == u"close box")
            QVERIFY(!main().close());
        else
            use(how);
        QTRY_COMPARE(main().isVisible(), !trayAvailable);
        QCOMPARE(main().isMinimized(), !trayAvailable);
        QCOMPARE(env().tray.current(), TrayPicture::Green);
        QCOMPARE(env().prompter.unusedSteps(), 0);
        QCOMPARE(env().prompter.records().size(), pending == SaveMode::Update ? 0 : 1);
        // The program runs on, its timers too.
        QVERIFY(!env().process.hasEnded() && findTimer(&main(), u"tmrTime"_s)->isActive());

        if (back == u"tray click") {
#ifdef Q_OS_WIN
            emit env().tray.mouseMessage(SystemTrayIcon::mouseMessageFor(QSystemTrayIcon::DoubleClick));
#else
            // Trays that report a click and never a double click (StatusNotifierItem hosts).
            emit env().tray.mouseMessage(SystemTrayIcon::mouseMessageFor(QSystemTrayIcon::Trigger));
#endif
        } else if (back == u"task bar") {
            main().showNormal();
        } else if (back == u"second start") {
            InstanceLock secondStart(env().instanceLock.lockFilePath());
            QVERIFY(!secondStart.tryAcquire());
            bool answered = false;
            std::unique_ptr<QThread> asking(QThread::create([&] { answered = secondStart.askHolderToShow(); }));
            asking->start();
            QTRY_VERIFY(asking->isFinished());
            QVERIFY(answered);
        } else {
            use(back);
        }
        QVERIFY(main().isVisible() && !main().isMinimized() && env().tray.current() == TrayPicture::Blue);
    }

    // Timer1 removes only the leftover updater; the sweep runs again every 1440 minutes and deletes what has expired by then.
    void housekeepingTimers()
    {
        startConfigured();
        const QDir folder(env().programDir());
        for (const char* name : {"update.exe", "Vantrel.upg", "migration.exe"})
            QVERIFY(QFile(folder.filePath(QLatin1String(name))).open(QIODevice::WriteOnly));
        QVERIFY(fireTimer(&main(), u"Timer1"_s));
        QCOMPARE(folder.entryList(QDir::Files, QDir::Name), QStringList({"Vantrel.upg", "migration.exe"}));

        Database db(env().settings.readConnectionString());
        QVERIFY(db.open() && db.execute(u"INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip, Expires) "
                                        "VALUES ('tomorrow', 'c:\\x', 1, 1, '%1')"_s.arg(env().dates.format(QDate(2026, 11, 23)))));
        env().clock.setNow(QDateTime(QDate(2026, 11, 23), QTime(8, 0)));
        for (int tick = 1; tick < 1440; ++tick)
            main().tmrTime_Timer();
        QCOMPARE(m_program->sweeps, 1); // the one at start-up
        QVERIFY(fireTimer(&main(), u"tmrTime"_s));
        QCOMPARE(m_program->sweeps, 2);
        QCOMPARE(main().minuteCounter(), 0);
        QVERIFY(!db.select(u"select username from users"_s).next());
    }

    // About from the tray does not block; its icon reveals Show Log, which shows the log modally; Configure
    // shows its window modally with the commit timer on. The tray's right button pops up the icon menu.
    void aboutRevealsShowLog()
    {
        startConfigured();
        action(u"icon_about1"_s)->trigger();
        AboutWindow& about = m_program->windows.about();
        QVERIFY(about.isVisible() && !about.isModal());
        QTest::mouseClick(about.findChild<QWidget*>(u"picIcon"_s), Qt::LeftButton, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(action(u"ShowLog"_s)->isVisible());
        QString shownLog;
        env().prompter.onModal(u"frmStatus"_s, [&](QWidget* window) {
            shownLog = window->findChild<QPlainTextEdit*>(u"txtLog"_s)->toPlainText();
            QTest::mouseClick(window->findChild<QPushButton*>(u"cmdOK"_s), Qt::LeftButton);
        });
        bool timerOn = false;
        env().prompter.onModal(u"frmConfigure"_s, [&](QWidget* window) {
            timerOn = findTimer(window, u"tmrEnableCommit"_s)->isActive();
            QTest::mouseClick(window->findChild<QPushButton*>(u"cmdCancel"_s), Qt::LeftButton);
        });
        action(u"ShowLog"_s)->trigger();
        action(u"mnuConfigure"_s)->trigger();
        QVERIFY(shownLog.contains(u":  populate data from database into this form"_s) && timerOn);
        QCOMPARE(env().prompter.unusedSteps(), 0);
        auto* iconMenu = main().findChild<QMenu*>(u"iconMenu1"_s);
        emit env().tray.mouseMessage(TrayIcon::RightButtonDown);
        QTRY_VERIFY(iconMenu->isVisible());
        iconMenu->hide();
    }

    // The manual (here in a folder with blanks) and the web page, opened by the desktop or named when it could not.
    void helpOpensTheManualOrTheWebPageOrSaysWhy_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<bool>("manual");
        QTest::addColumn<bool>("opens");
        QTest::addColumn<QString>("message"); // "%1": the manual
        QTest::newRow("no manual") << "cmdHelp" << false << true << "The help file is missing.";
        QTest::newRow("manual opened") << "mnuItemHelp" << true << true << "";
        QTest::newRow("manual not opened") << "cmdHelp" << true << false
                                           << "Quillmere could not open the help file. Open it with a PDF viewer:\r\n\r\n%1";
        QTest::newRow("web page not opened") << "help_web" << false << false
                                             << "Quillmere could not open the web page. Open it in a web browser:\r\n\r\nhttp://127.0.0.1:9/servu/";
    }
    void helpOpensTheManualOrTheWebPageOrSaysWhy()
    {
        startConfigured();
        QFETCH(QString, control);
        QFETCH(bool, manual);
        QFETCH(bool, opens);
        QFETCH(QString, message);
        const QString folder = env().path(u"Program Files/Quillmere Admin"_s);
        const QString pdf = QDir::toNativeSeparators(folder + u"/Pellbrook_Manual.pdf"_s);
        if (manual) {
            env().context.programDir = folder;
            QVERIFY(QDir().mkpath(folder) && QFile(pdf).open(QIODevice::WriteOnly));
        }
        qputenv("QUILLMERE_WEBSITE_URL", "http://127.0.0.1:9/servu/");
        env().starter.setOpens(opens);
        if (!message.isEmpty())
            env().prompter.answerMessage(prompt::Answer::Ok);
        use(control);
        qunsetenv("QUILLMERE_WEBSITE_URL");
        QCOMPARE(env().prompter.messageTexts(), message.isEmpty() ? QStringList() : QStringList({message.replace(u"%1"_s, pdf)}));
        QCOMPARE(env().starter.documents(), manual ? QStringList({pdf}) : QStringList());
        QCOMPARE(env().starter.urls(), control == u"help_web" ? QList<QUrl>({QUrl(u"http://127.0.0.1:9/servu/"_s)}) : QList<QUrl>());
    }
};

QUILLMERE_TEST(TestMainWindow)
#include "TestMainWindow.moc"
