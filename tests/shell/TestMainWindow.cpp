#include "ProgramUnderTest.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "db/Database.h"
#include "maintenance/AboutWindow.h"
#include "platform/InstanceLock.h"
#include "platform/SystemTrayIcon.h"
#include "shell/MainWindow.h"

#include <QAction>
#include <QDir>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;

// The main window's frame: the exit question, hiding to and restoring from the
// tray, the housekeeping timers, the menus and Help.
class TestMainWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<ProgramUnderTest> m_program;

    ProgramUnderTest& program() { return *m_program; }
    MainWindow& main() { return m_program->windows.main(); }
    RecordingTrayIcon& tray() { return m_program->env.tray; }
    ScriptedPrompter& prompter() { return m_program->env.prompter; }
    QAction* action(const QString& name) { return main().findChild<QAction*>(name); }
    // Clicks the button or triggers the menu item of that name.
    void use(const QString& control)
    {
        if (auto* button = main().findChild<QPushButton*>(control))
            QTest::mouseClick(button, Qt::LeftButton);
        else
            action(control)->trigger();
    }
    static void touch(const QString& path) { QVERIFY(QFile(path).open(QIODevice::WriteOnly)); }

private slots:
    void init()
    {
        m_program = std::make_unique<ProgramUnderTest>();
        m_program->configure();
        m_program->start();
        QVERIFY(main().isVisible());
        prompter().reset();
    }
    void cleanup() { m_program.reset(); }

    void exitAsksFirst_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<prompt::Answer>("answer");
        for (const char* control : {"cmdExit", "mnuExit", "icon_exit1"})
            for (const auto& [answer, name] : {std::pair{prompt::Answer::Yes, "yes"}, {prompt::Answer::No, "no"}, {prompt::Answer::Cancel, "cancel"}})
                QTest::addRow("%s %s", control, name) << control << answer;
    }
    void exitAsksFirst()
    {
        QFETCH(QString, control);
        QFETCH(prompt::Answer, answer);
        prompter().answerMessage(answer, u"Are you sure you want to exit Quillmere?"_s);
        use(control);
        const auto messages = prompter().messages();
        QCOMPARE(messages.size(), 1);
        QCOMPARE(messages[0].caption, u"Vantrel"_s);
        QCOMPARE(messages[0].icon, prompt::Icon::Exclamation);
        QCOMPARE(messages[0].buttons, prompt::Buttons::YesNoCancel);
        QCOMPARE(messages[0].defaultAnswer, prompt::Answer::No);
        QCOMPARE(program().env.process.hasEnded(), answer == prompt::Answer::Yes);
        QCOMPARE(tray().isAdded(), answer != prompt::Answer::Yes);
        QVERIFY(main().isVisible());
    }

    // Hidden to the tray, or minimised to the task bar where there is none, and brought back.
    void hidingAndBringingBack_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("trayAvailable");
        QTest::addColumn<QString>("back");
        QTest::addColumn<SaveMode>("pending"); // a pending copy or new user is offered for saving
        QTest::addColumn<prompt::Answer>("answer");
        const auto none = SaveMode::Update;
        QTest::newRow("minimise, tray; restore item") << "minimise" << true << "icon_restore1" << none << prompt::Answer::No;
        QTest::newRow("minimise, no tray; task bar") << "minimise" << false << "task bar" << none << prompt::Answer::No;
        QTest::newRow("close box, tray; double click") << "close box" << true << "double click" << none << prompt::Answer::No;
        QTest::newRow("close box, no tray; second start") << "close box" << false << "second start" << none << prompt::Answer::No;
        QTest::newRow("cmdOK, tray; second start") << "cmdOK" << true << "second start" << none << prompt::Answer::No;
        QTest::newRow("cmdOK, no tray; task bar") << "cmdOK" << false << "task bar" << none << prompt::Answer::No;
        QTest::newRow("cmdOK, pending copy, No") << "cmdOK" << true << "double click" << SaveMode::Copy << prompt::Answer::No;
        QTest::newRow("cmdOK, pending new user, Cancel") << "cmdOK" << true << "double click" << SaveMode::NewUser << prompt::Answer::Cancel;
    }
    void hidingAndBringingBack()
    {
        QFETCH(QString, how);
        QFETCH(bool, trayAvailable);
        QFETCH(QString, back);
        QFETCH(SaveMode, pending);
        QFETCH(prompt::Answer, answer);
        tray().setAvailable(trayAvailable);
        main().pageState().pageChanged = true; // an edited user alone is not offered for saving
        main().pageState().saveMode = pending;
        if (pending != SaveMode::Update)
            prompter().answerMessage(answer, u"Would you like to save your changes?"_s);
        if (how == u"minimise")
            main().setWindowState(Qt::WindowMinimized);
        else if (how == u"close box")
            QVERIFY(!main().close());
        else
            use(how);
        QTRY_COMPARE(main().isVisible(), !trayAvailable);
        QCOMPARE(main().isMinimized(), !trayAvailable);
        QCOMPARE(tray().current(), TrayPicture::Green);
        QCOMPARE(prompter().unusedSteps(), 0);
        QCOMPARE(prompter().records().size(), pending == SaveMode::Update ? 0 : 1);
        if (pending != SaveMode::Update)
            QCOMPARE(prompter().messages()[0].buttons, prompt::Buttons::YesNoCancel);
        // The program runs on, its timers too.
        QVERIFY(!program().env.process.hasEnded());
        QVERIFY(findTimer(&main(), u"tmrTime"_s)->isActive());

        if (back == u"double click") {
            emit tray().mouseMessage(TrayIcon::LeftDoubleClick);
        } else if (back == u"task bar") {
            main().showNormal();
        } else if (back == u"second start") {
            InstanceLock secondStart(program().env.instanceLock.lockFilePath());
            QVERIFY(!secondStart.tryAcquire());
            bool answered = false;
            std::unique_ptr<QThread> asking(QThread::create([&] { answered = secondStart.askHolderToShow(); }));
            asking->start();
            QTRY_VERIFY(asking->isFinished());
            QVERIFY(answered);
        } else {
            use(back);
        }
        QVERIFY(main().isVisible());
        QVERIFY(!main().isMinimized());
        QCOMPARE(tray().current(), TrayPicture::Blue);
    }

    void trayDoubleClickByIcon()
    {
        // Shown (blue) but minimised by the window system: brought back and forward.
        main().showMinimized();
        main().trayMouseMessage(TrayIcon::LeftDoubleClick);
        QVERIFY(!main().isMinimized());
        QCOMPARE(tray().current(), TrayPicture::Blue);
        // Red (the program is ending), or another mouse message: nothing.
        main().hide();
        tray().change(TrayPicture::Red, u"Quillmere"_s);
        main().trayMouseMessage(TrayIcon::LeftDoubleClick);
        main().trayMouseMessage(512);
        QVERIFY(!main().isVisible());
        QCOMPARE(tray().current(), TrayPicture::Red);
#ifndef Q_OS_WIN
        // Trays that report a click and never a double click (StatusNotifierItem hosts).
        tray().change(TrayPicture::Green, u"Quillmere"_s);
        main().trayMouseMessage(SystemTrayIcon::mouseMessageFor(QSystemTrayIcon::Trigger));
        QVERIFY(main().isVisible());
        QCOMPARE(tray().current(), TrayPicture::Blue);
#endif
    }

    void menusAndTheTrayIconMenu()
    {
        QStringList menus;
        for (const QAction* menu : main().menuBar()->actions())
            menus.append(menu->menu()->objectName() + u'=' + menu->text().remove(u'&'));
        QCOMPARE(menus, QStringList({"mnuFile=File", "edit1=Edit", "tools1=Tools", "mnuHelp=Help"}));
        QStringList help;
        for (const QAction* item : main().findChild<QMenu*>(u"mnuHelp"_s)->actions())
            help.append(item->objectName());
        QCOMPARE(help, QStringList({"mnuItemHelp", "mnuhyphen", "ShowLog", "checkUpdates", "help_web", "mnudashhelp2", "mnuItemAbout"}));
        QVERIFY(!action(u"edit1_undo"_s)->isEnabled());
        QVERIFY(!action(u"ShowLog"_s)->isVisible());
        QCOMPARE(main().windowTitle(), u"Quillmere"_s);

        // The right button pops up the icon menu, which the menu bar does not hold.
        auto* iconMenu = main().findChild<QMenu*>(u"iconMenu1"_s);
        QVERIFY(!main().menuBar()->actions().contains(iconMenu->menuAction()));
        emit tray().mouseMessage(TrayIcon::RightButtonDown);
        QTRY_VERIFY(iconMenu->isVisible());
        QCOMPARE(iconMenu->defaultAction(), action(u"icon_restore1"_s));
        QStringList captions;
        for (const QAction* item : iconMenu->actions())
            captions.append(item->isSeparator() ? u"-"_s : item->text());
        QCOMPARE(captions, QStringList({"Restore", "-", "Hide this menu", "-", "About", "Exit"}));
        action(u"icon_cancel1"_s)->trigger();
        iconMenu->hide();
        QVERIFY(main().isVisible());
    }

    void timer1RemovesOnlyTheLeftoverUpdater()
    {
        const QDir folder(program().env.programDir());
        for (const char* name : {"update.exe", "Vantrel.upg", "migration.exe", "Vantrel.bak"})
            touch(folder.filePath(QLatin1String(name)));
        QTimer* timer1 = findTimer(&main(), u"Timer1"_s);
        QCOMPARE(timer1->interval(), 10000);
        QVERIFY(timer1->isSingleShot());
        QVERIFY(fireTimer(&main(), u"Timer1"_s));
        QVERIFY(!timer1->isActive());
        QCOMPARE(folder.entryList(QDir::Files, QDir::Name), QStringList({"Vantrel.bak", "Vantrel.upg", "migration.exe"}));
    }

    // The sweep ran at start-up; it runs again every 1440 minutes and deletes what has expired by then.
    void sweepRunsAgainEvery1440Ticks()
    {
        QCOMPARE(program().sweeps, 1);
        Database db(program().env.settings.readConnectionString());
        QVERIFY(db.open());
        QVERIFY(db.execute(u"INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip, Expires) "
                           "VALUES ('tomorrow', 'c:\\x', 1, 1, '%1')"_s.arg(program().env.dates.format(QDate(2026, 11, 23)))));
        program().env.clock.setNow(QDateTime(QDate(2026, 11, 23), QTime(8, 0)));
        QCOMPARE(findTimer(&main(), u"tmrTime"_s)->interval(), 60000);
        for (int tick = 1; tick < 1440; ++tick)
            main().tmrTime_Timer();
        QCOMPARE(program().sweeps, 1);
        QCOMPARE(main().minuteCounter(), 1439);
        QVERIFY(fireTimer(&main(), u"tmrTime"_s));
        QCOMPARE(program().sweeps, 2);
        QCOMPARE(main().minuteCounter(), 0);
        QVERIFY(!db.select(u"select username from users"_s).next());
        for (int tick = 0; tick < 1440; ++tick)
            main().tmrTime_Timer();
        QCOMPARE(program().sweeps, 3);
    }

    void aboutWindowAndItsIconRevealingShowLog()
    {
        action(u"icon_about1"_s)->trigger();
        AboutWindow& about = program().windows.about();
        QVERIFY(about.isVisible());
        QVERIFY(!about.isModal());
        QVERIFY(prompter().records().isEmpty());
        action(u"mnuItemAbout"_s)->trigger();
        QVERIFY(about.isVisible());
        QWidget* icon = about.findChild<QWidget*>(u"picIcon"_s);
        QTest::mouseClick(icon, Qt::LeftButton, Qt::ControlModifier);
        QVERIFY(!action(u"ShowLog"_s)->isVisible());
        QTest::mouseClick(icon, Qt::LeftButton, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(action(u"ShowLog"_s)->isVisible());

        QString shownLog;
        prompter().onModal(u"frmStatus"_s, [&](QWidget* window) {
            shownLog = window->findChild<QPlainTextEdit*>(u"txtLog"_s)->toPlainText();
            QTest::mouseClick(window->findChild<QPushButton*>(u"cmdOK"_s), Qt::LeftButton);
        });
        action(u"ShowLog"_s)->trigger();
        QVERIFY(shownLog.startsWith(u"Log File\n"_s));
        QVERIFY(shownLog.contains(u":  populate data from database into this form"_s));
    }

    void configureShowsTheWindowModallyWithItsTimerOn()
    {
        bool timerOn = false;
        prompter().onModal(u"frmConfigure"_s, [&](QWidget* window) {
            timerOn = findTimer(window, u"tmrEnableCommit"_s)->isActive();
            QTest::mouseClick(window->findChild<QPushButton*>(u"cmdCancel"_s), Qt::LeftButton);
        });
        action(u"mnuConfigure"_s)->trigger();
        QVERIFY(timerOn);
        QCOMPARE(prompter().unusedSteps(), 0);
        QVERIFY(!program().env.process.hasEnded());
    }

    // The manual (here in a folder with blanks) and the web page, opened by the desktop or named when it could not.
    void helpOpensTheManualOrTheWebPageOrSaysWhy_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<bool>("manual");
        QTest::addColumn<bool>("opens");
        QTest::addColumn<QString>("message"); // "%1": the manual
        QTest::newRow("cmdHelp, no manual") << "cmdHelp" << false << true << "The help file is missing.";
        QTest::newRow("mnuItemHelp, no manual") << "mnuItemHelp" << false << true << "The help file is missing.";
        QTest::newRow("manual opened") << "cmdHelp" << true << true << "";
        QTest::newRow("manual not opened") << "cmdHelp" << true << false
                                           << "Quillmere could not open the help file. Open it with a PDF viewer:\r\n\r\n%1";
        QTest::newRow("web page opened") << "help_web" << false << true << "";
        QTest::newRow("web page not opened") << "help_web" << false << false
                                             << "Quillmere could not open the web page. Open it in a web browser:\r\n\r\nhttp://127.0.0.1:9/servu/";
    }
    void helpOpensTheManualOrTheWebPageOrSaysWhy()
    {
        QFETCH(QString, control);
        QFETCH(bool, manual);
        QFETCH(bool, opens);
        QFETCH(QString, message);
        const QString folder = program().env.path(u"Program Files/Quillmere Admin"_s);
        const QString pdf = QDir::toNativeSeparators(folder + u"/Pellbrook_Manual.pdf"_s);
        if (manual) {
            QVERIFY(QDir().mkpath(folder));
            program().env.context.programDir = folder;
            touch(pdf);
        }
        qputenv("QUILLMERE_WEBSITE_URL", "http://127.0.0.1:9/servu/");
        program().env.starter.setOpens(opens);
        if (!message.isEmpty())
            prompter().answerMessage(prompt::Answer::Ok);
        use(control);
        qunsetenv("QUILLMERE_WEBSITE_URL");

        QCOMPARE(prompter().messageTexts(), message.isEmpty() ? QStringList() : QStringList({message.replace(u"%1"_s, pdf)}));
        if (!message.isEmpty())
            QCOMPARE(prompter().messages()[0].icon, prompt::Icon::Exclamation);
        QCOMPARE(program().env.starter.documents(), manual ? QStringList({pdf}) : QStringList());
        const bool web = control == u"help_web";
        QCOMPARE(program().env.starter.urls(), web ? QList<QUrl>({QUrl(u"http://127.0.0.1:9/servu/"_s)}) : QList<QUrl>());
    }
};

QUILLMERE_TEST(TestMainWindow)
#include "TestMainWindow.moc"
