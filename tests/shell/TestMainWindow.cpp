#include "ProgramUnderTest.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "maintenance/AboutWindow.h"
#include "platform/InstanceLock.h"
#include "platform/SystemTrayIcon.h"
#include "app/MainWindow.h"
#include "app/StatusWindow.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QThread>
#include <QWindow>

#include <memory>

// The main window's frame: the exit question, hiding to and restoring from the
// tray, the housekeeping timers and the menus.
class TestMainWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<ProgramUnderTest> m_program;

    ProgramUnderTest& program() { return *m_program; }
    MainWindow& main() { return m_program->windows.main(); }
    RecordingTrayIcon& tray() { return m_program->env.tray; }
    ScriptedPrompter& prompter() { return m_program->env.prompter; }

    QPushButton* button(const char* name) { return main().findChild<QPushButton*>(QLatin1String(name)); }
    QAction* action(const char* name) { return main().findChild<QAction*>(QLatin1String(name)); }

    static void touch(const QString& path)
    {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write("x");
    }

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
        QTest::addColumn<bool>("ends");
        for (const char* control : {"cmdExit", "mnuExit", "icon_exit1"}) {
            QTest::addRow("%s yes", control) << control << prompt::Answer::Yes << true;
            QTest::addRow("%s no", control) << control << prompt::Answer::No << false;
            QTest::addRow("%s cancel", control) << control << prompt::Answer::Cancel << false;
        }
    }

    void exitAsksFirst()
    {
        QFETCH(QString, control);
        QFETCH(prompt::Answer, answer);
        QFETCH(bool, ends);
        prompter().answerMessage(answer);
        if (control == QLatin1String("cmdExit"))
            QTest::mouseClick(button("cmdExit"), Qt::LeftButton);
        else
            main().findChild<QAction*>(control)->trigger();

        const auto messages = prompter().messages();
        QCOMPARE(messages.size(), 1);
        QCOMPARE(messages[0].text, QStringLiteral("Are you sure you want to exit Quillmere?"));
        QCOMPARE(messages[0].caption, QStringLiteral("Vantrel"));
        QCOMPARE(messages[0].icon, prompt::Icon::Exclamation);
        QCOMPARE(messages[0].buttons, prompt::Buttons::YesNoCancel);
        QCOMPARE(messages[0].defaultAnswer, prompt::Answer::No);
        QCOMPARE(program().env.process.hasEnded(), ends);
        QCOMPARE(tray().isAdded(), !ends);
        QVERIFY(main().isVisible());
    }

    void hidingGoesToTheTrayOrElseTheTaskBar_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("trayAvailable");
        for (const char* how : {"minimise", "close box", "cmdOK"}) {
            QTest::addRow("%s, tray", how) << how << true;
            QTest::addRow("%s, no tray", how) << how << false;
        }
    }

    void hidingGoesToTheTrayOrElseTheTaskBar()
    {
        QFETCH(QString, how);
        QFETCH(bool, trayAvailable);
        tray().setAvailable(trayAvailable);
        // An edited user is not offered for saving.
        main().pageState().pageChanged = true;
        if (how == QLatin1String("minimise"))
            main().setWindowState(Qt::WindowMinimized);
        else if (how == QLatin1String("close box"))
            QVERIFY(!main().close());
        else
            QTest::mouseClick(button("cmdOK"), Qt::LeftButton);
        QTRY_COMPARE(main().isVisible(), !trayAvailable);
        QCOMPARE(main().isMinimized(), !trayAvailable);
        QCOMPARE(tray().current(), TrayPicture::Green);
        QVERIFY(prompter().records().isEmpty());
        // The program runs on, its timers too.
        QVERIFY(!program().env.process.hasEnded());
        QVERIFY(findTimer(&main(), QStringLiteral("tmrTime"))->isActive());

        // Brought back by a double click on the icon, or from the task bar.
        if (trayAvailable)
            emit tray().mouseMessage(TrayIcon::LeftDoubleClick);
        else
            main().showNormal();
        QVERIFY(main().isVisible());
        QVERIFY(!main().isMinimized());
        QCOMPARE(tray().current(), TrayPicture::Blue);
    }

    void secondStartBringsTheWindowBack_data()
    {
        QTest::addColumn<bool>("trayAvailable");
        QTest::newRow("hidden to the tray") << true;
        QTest::newRow("minimised to the task bar") << false;
    }

    void secondStartBringsTheWindowBack()
    {
        QFETCH(bool, trayAvailable);
        tray().setAvailable(trayAvailable);
        QTest::mouseClick(button("cmdOK"), Qt::LeftButton);
        InstanceLock secondStart(program().env.instanceLock.lockFilePath());
        QVERIFY(!secondStart.tryAcquire());
        bool answered = false;
        std::unique_ptr<QThread> asking(QThread::create([&] { answered = secondStart.askHolderToShow(); }));
        asking->start();
        QTRY_VERIFY(asking->isFinished());
        QVERIFY(answered);
        QVERIFY(main().isVisible());
        QVERIFY(!main().isMinimized());
        QCOMPARE(tray().current(), TrayPicture::Blue);
    }

    void minimizeButtonOffersToSaveAPendingCopy_data()
    {
        QTest::addColumn<SaveMode>("mode");
        QTest::addColumn<prompt::Answer>("answer");
        QTest::newRow("copy, no") << SaveMode::Copy << prompt::Answer::No;
        QTest::newRow("new user, cancel") << SaveMode::NewUser << prompt::Answer::Cancel;
    }

    void minimizeButtonOffersToSaveAPendingCopy()
    {
        QFETCH(SaveMode, mode);
        QFETCH(prompt::Answer, answer);
        main().pageState().saveMode = mode;
        prompter().answerMessage(answer, QStringLiteral("Would you like to save your changes?"));
        QTest::mouseClick(button("cmdOK"), Qt::LeftButton);
        QCOMPARE(prompter().messages().size(), 1);
        QCOMPARE(prompter().messages()[0].icon, prompt::Icon::Question);
        QCOMPARE(prompter().messages()[0].buttons, prompt::Buttons::YesNoCancel);
        QVERIFY(!main().isVisible());
        QCOMPARE(tray().current(), TrayPicture::Green);
    }

    void restoreShowsTheWindowInTheNormalState()
    {
        main().setWindowState(Qt::WindowMinimized);
        QTRY_VERIFY(!main().isVisible());
        action("icon_restore1")->trigger();
        QVERIFY(main().isVisible());
        QVERIFY(!main().isMinimized());
        QCOMPARE(tray().current(), TrayPicture::Blue);
    }

    void trayDoubleClickByIcon()
    {
        // Hidden (green): shows the window and turns the icon blue.
        QTest::mouseClick(button("cmdOK"), Qt::LeftButton);
        emit tray().mouseMessage(TrayIcon::LeftDoubleClick);
        QVERIFY(main().isVisible());
        QCOMPARE(tray().current(), TrayPicture::Blue);

        // Shown (blue) but minimised by the window system: brought back and forward.
        main().showMinimized();
        main().trayMouseMessage(TrayIcon::LeftDoubleClick);
        QVERIFY(!main().isMinimized());
        QCOMPARE(tray().current(), TrayPicture::Blue);

        // Red (the program is ending): nothing.
        main().hide();
        tray().change(TrayPicture::Red, QStringLiteral("Quillmere"));
        main().trayMouseMessage(TrayIcon::LeftDoubleClick);
        QVERIFY(!main().isVisible());
        QCOMPARE(tray().current(), TrayPicture::Red);

        // Other mouse messages: nothing.
        main().trayMouseMessage(512);
        QVERIFY(!main().isVisible());

#ifndef Q_OS_WIN
        // Trays that report a click and never a double click (StatusNotifierItem hosts).
        tray().change(TrayPicture::Green, QStringLiteral("Quillmere"));
        main().trayMouseMessage(SystemTrayIcon::mouseMessageFor(QSystemTrayIcon::Trigger));
        QVERIFY(main().isVisible());
        QCOMPARE(tray().current(), TrayPicture::Blue);
#endif
    }

    void trayRightButtonPopsUpTheIconMenu()
    {
        auto* iconMenu = main().findChild<QMenu*>(QStringLiteral("iconMenu1"));
        QVERIFY(iconMenu);
        QVERIFY(!main().menuBar()->actions().contains(iconMenu->menuAction()));
        emit tray().mouseMessage(TrayIcon::RightButtonDown);
        QTRY_VERIFY(iconMenu->isVisible());
        QCOMPARE(iconMenu->defaultAction(), action("icon_restore1"));
        QStringList captions;
        for (const QAction* item : iconMenu->actions())
            captions.append(item->isSeparator() ? QStringLiteral("-") : item->text());
        QCOMPARE(captions, QStringList({"Restore", "-", "Hide this menu", "-", "About", "Exit"}));
        action("icon_cancel1")->trigger();
        iconMenu->hide();
        QVERIFY(main().isVisible());
    }

    void timer1RemovesOnlyTheLeftoverUpdater()
    {
        const QDir folder(program().env.programDir());
        for (const char* name : {"update.exe", "Vantrel.upg", "migration.exe", "Vantrel.bak"})
            touch(folder.filePath(QLatin1String(name)));
        QTimer* timer1 = findTimer(&main(), QStringLiteral("Timer1"));
        QCOMPARE(timer1->interval(), 10000);
        QVERIFY(timer1->isSingleShot());
        QVERIFY(fireTimer(&main(), QStringLiteral("Timer1")));
        QVERIFY(!timer1->isActive());
        QVERIFY(!folder.exists(QStringLiteral("update.exe")));
        for (const char* name : {"Vantrel.upg", "migration.exe", "Vantrel.bak"})
            QVERIFY2(folder.exists(QLatin1String(name)), name);
    }

    void sweepRunsAgainEvery1440Ticks()
    {
        QCOMPARE(program().sweeps, 1); // at start-up
        QCOMPARE(findTimer(&main(), QStringLiteral("tmrTime"))->interval(), 60000);
        for (int tick = 1; tick < 1440; ++tick)
            main().tmrTime_Timer();
        QCOMPARE(program().sweeps, 1);
        QCOMPARE(main().minuteCounter(), 1439);
        QVERIFY(fireTimer(&main(), QStringLiteral("tmrTime")));
        QCOMPARE(program().sweeps, 2);
        QCOMPARE(main().minuteCounter(), 0);
        for (int tick = 0; tick < 1440; ++tick)
            main().tmrTime_Timer();
        QCOMPARE(program().sweeps, 3);
    }

    void menusInMenuBarOrder()
    {
        QStringList menus;
        for (const QAction* menu : main().menuBar()->actions())
            menus.append(menu->menu()->objectName() + QLatin1Char('=') + menu->text().remove(QLatin1Char('&')));
        QCOMPARE(menus, QStringList({"mnuFile=File", "edit1=Edit", "tools1=Tools", "mnuHelp=Help"}));

        QStringList help;
        for (const QAction* item : main().findChild<QMenu*>(QStringLiteral("mnuHelp"))->actions())
            help.append(item->objectName());
        QCOMPARE(help, QStringList({"mnuItemHelp", "mnuhyphen", "ShowLog", "checkUpdates", "help_web",
                                    "mnudashhelp2", "mnuItemAbout"}));
        QVERIFY(!action("edit1_undo")->isEnabled());
        QVERIFY(!action("ShowLog")->isVisible());
        QCOMPARE(main().windowTitle(), QStringLiteral("Quillmere"));
    }

    void aboutIconRevealsShowLog()
    {
        action("mnuItemAbout")->trigger();
        AboutWindow& about = program().windows.about();
        QVERIFY(about.isVisible());
        QWidget* icon = about.findChild<QWidget*>(QStringLiteral("picIcon"));
        QTest::mouseClick(icon, Qt::LeftButton, Qt::ControlModifier);
        QVERIFY(!action("ShowLog")->isVisible());
        QTest::mouseClick(icon, Qt::LeftButton, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(action("ShowLog")->isVisible());

        QString shownLog;
        prompter().onModal(QStringLiteral("frmStatus"), [&](QWidget* window) {
            shownLog = window->findChild<QPlainTextEdit*>(QStringLiteral("txtLog"))->toPlainText();
            QTest::mouseClick(window->findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
        });
        action("ShowLog")->trigger();
        QVERIFY(shownLog.startsWith(QStringLiteral("Log File\n")));
        QVERIFY(shownLog.contains(QStringLiteral(":  populate data from database into this form")));
    }

    void trayAboutShowsTheAboutWindowWithoutBlocking()
    {
        action("icon_about1")->trigger();
        QVERIFY(program().windows.about().isVisible());
        QVERIFY(!program().windows.about().isModal());
        QVERIFY(prompter().records().isEmpty());
    }

    void configureShowsTheWindowModallyWithItsTimerOn()
    {
        bool timerOn = false;
        prompter().onModal(QStringLiteral("frmConfigure"), [&](QWidget* window) {
            timerOn = findTimer(window, QStringLiteral("tmrEnableCommit"))->isActive();
            QTest::mouseClick(window->findChild<QPushButton*>(QStringLiteral("cmdCancel")), Qt::LeftButton);
        });
        action("mnuConfigure")->trigger();
        QVERIFY(timerOn);
        QCOMPARE(prompter().unusedSteps(), 0);
        QVERIFY(!program().env.process.hasEnded());
    }

    void helpWithoutTheManualSaysSo()
    {
        for (const char* control : {"cmdHelp", "mnuItemHelp"}) {
            prompter().reset();
            prompter().answerMessage(prompt::Answer::Ok);
            if (QLatin1String(control) == QLatin1String("cmdHelp"))
                QTest::mouseClick(button("cmdHelp"), Qt::LeftButton);
            else
                action(control)->trigger();
            QCOMPARE(prompter().messageTexts(), QStringList({"The help file is missing."}));
            QCOMPARE(prompter().messages()[0].icon, prompt::Icon::Exclamation);
        }
        QVERIFY(program().env.starter.documents().isEmpty());
    }

    void helpOpensTheManualInAFolderWithBlanks()
    {
        const QString folder = program().env.path(QStringLiteral("Program Files/Quillmere Admin"));
        QVERIFY(QDir().mkpath(folder));
        program().env.context.programDir = folder;
        touch(folder + QStringLiteral("/Pellbrook_Manual.pdf"));
        QTest::mouseClick(button("cmdHelp"), Qt::LeftButton);
        QVERIFY(prompter().records().isEmpty());
        QCOMPARE(program().env.starter.documents(), QStringList({folder + QStringLiteral("/Pellbrook_Manual.pdf")}));
    }

    void helpSaysWhatTheDesktopCouldNotOpen_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<bool>("opens");
        QTest::newRow("manual not opened") << "cmdHelp" << false;
        QTest::newRow("web page opened") << "help_web" << true;
        QTest::newRow("web page not opened") << "help_web" << false;
    }

    void helpSaysWhatTheDesktopCouldNotOpen()
    {
        QFETCH(QString, control);
        QFETCH(bool, opens);
        const QString manual = program().env.programDir() + QStringLiteral("/Pellbrook_Manual.pdf");
        touch(manual);
        qputenv("QUILLMERE_WEBSITE_URL", "http://127.0.0.1:9/servu/");
        program().env.starter.setOpens(opens);
        if (!opens)
            prompter().answerMessage(prompt::Answer::Ok);
        if (control == QLatin1String("cmdHelp"))
            QTest::mouseClick(button("cmdHelp"), Qt::LeftButton);
        else
            action("help_web")->trigger();
        qunsetenv("QUILLMERE_WEBSITE_URL");

        if (control == QLatin1String("cmdHelp"))
            QCOMPARE(program().env.starter.documents(), QStringList({QDir::toNativeSeparators(manual)}));
        else
            QCOMPARE(program().env.starter.urls(), QList<QUrl>({QUrl(QStringLiteral("http://127.0.0.1:9/servu/"))}));
        const QString named = control == QLatin1String("cmdHelp")
            ? QStringLiteral("Quillmere could not open the help file. Open it with a PDF viewer:\r\n\r\n")
                + QDir::toNativeSeparators(manual)
            : QStringLiteral("Quillmere could not open the web page. Open it in a web browser:\r\n\r\n"
                             "http://127.0.0.1:9/servu/");
        QCOMPARE(prompter().messageTexts(), opens ? QStringList() : QStringList({named}));
        if (!opens)
            QCOMPARE(prompter().messages()[0].icon, prompt::Icon::Exclamation);
    }
};

QUILLMERE_TEST(TestMainWindow)
#include "TestMainWindow.moc"
