#include "ProgramUnderTest.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "db/Database.h"
#include "maintenance/AboutWindow.h"
#include "platform/SystemTrayIcon.h"
#include "app/MainWindow.h"

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

private slots:
    void init()
    {
        m_program = std::make_unique<ProgramUnderTest>();
        m_program->configure();
        m_program->start();
        QVERIFY(main().isVisible());
        env().prompter.reset();
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
        env().prompter.answerMessage(answer, u"Are you sure you want to exit Quillmere?"_s);
        use(control);
        QCOMPARE(env().prompter.unusedSteps(), 0);
        const PromptRecord question = env().prompter.messages().value(0);
        QCOMPARE(question.caption, u"Vantrel"_s);
        QCOMPARE(question.icon, prompt::Icon::Exclamation);
        QCOMPARE(question.buttons, prompt::Buttons::YesNoCancel);
        QCOMPARE(question.defaultAnswer, prompt::Answer::No);
        QCOMPARE(env().process.hasEnded(), answer == prompt::Answer::Yes);
        QCOMPARE(env().tray.isAdded(), answer != prompt::Answer::Yes);
        QVERIFY(main().isVisible());
    }

    // Hidden to the tray, or minimised to the task bar where there is none, and brought back; a
    // pending copy or new user is offered for saving (the answers No and Cancel), an edited user alone is not.
    void hidingAndBringingBack_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("trayAvailable");
        QTest::addColumn<QString>("back");
        QTest::addColumn<SaveMode>("pending");
        QTest::newRow("minimise, tray; restore item") << "minimise" << true << "icon_restore1" << SaveMode::Update;
        QTest::newRow("minimise, no tray; task bar") << "minimise" << false << "task bar" << SaveMode::Update;
        QTest::newRow("close box, tray; double click") << "close box" << true << "double click" << SaveMode::Update;
        QTest::newRow("close box, no tray; second start") << "close box" << false << "second start" << SaveMode::Update;
        QTest::newRow("cmdOK, tray; second start") << "cmdOK" << true << "second start" << SaveMode::Update;
        QTest::newRow("cmdOK, no tray; task bar") << "cmdOK" << false << "task bar" << SaveMode::Update;
        QTest::newRow("cmdOK, pending copy") << "cmdOK" << true << "double click" << SaveMode::Copy;
        QTest::newRow("cmdOK, pending new user") << "cmdOK" << true << "double click" << SaveMode::NewUser;
    }
    void hidingAndBringingBack()
    {
        QFETCH(QString, how);
        QFETCH(bool, trayAvailable);
        QFETCH(QString, back);
        QFETCH(SaveMode, pending);
        env().tray.setAvailable(trayAvailable);
        main().pageState().pageChanged = true;
        main().pageState().saveMode = pending;
        if (pending != SaveMode::Update)
            env().prompter.answerMessage(pending == SaveMode::Copy ? prompt::Answer::No : prompt::Answer::Cancel,
                                         u"Would you like to save your changes?"_s);
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
        QCOMPARE(env().prompter.records().value(0).buttons, pending == SaveMode::Update ? prompt::Buttons::Ok : prompt::Buttons::YesNoCancel);
        // The program runs on, its timers too.
        QVERIFY(!env().process.hasEnded());
        QVERIFY(findTimer(&main(), u"tmrTime"_s)->isActive());

        if (back == u"double click") {
            emit env().tray.mouseMessage(TrayIcon::LeftDoubleClick);
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
        QVERIFY(main().isVisible() && !main().isMinimized());
        QCOMPARE(env().tray.current(), TrayPicture::Blue);
    }

    void trayMouseMessagesByIcon()
    {
        // Shown (blue) but minimised by the window system: a double click brings it back and forward.
        main().showMinimized();
        main().trayMouseMessage(TrayIcon::LeftDoubleClick);
        QVERIFY(!main().isMinimized());
        QCOMPARE(env().tray.current(), TrayPicture::Blue);
        // Red (the program is ending), or another mouse message: nothing.
        main().hide();
        env().tray.change(TrayPicture::Red, u"Quillmere"_s);
        main().trayMouseMessage(TrayIcon::LeftDoubleClick);
        main().trayMouseMessage(512);
        QVERIFY(!main().isVisible());
        QCOMPARE(env().tray.current(), TrayPicture::Red);
#ifndef Q_OS_WIN
        // Trays that report a click and never a double click (StatusNotifierItem hosts).
        env().tray.change(TrayPicture::Green, u"Quillmere"_s);
        main().trayMouseMessage(SystemTrayIcon::mouseMessageFor(QSystemTrayIcon::Trigger));
        QVERIFY(main().isVisible());
        QCOMPARE(env().tray.current(), TrayPicture::Blue);
#endif
        // The right button pops up the icon menu, which the menu bar does not hold.
        auto* iconMenu = main().findChild<QMenu*>(u"iconMenu1"_s);
        QVERIFY(!main().menuBar()->actions().contains(iconMenu->menuAction()));
        emit env().tray.mouseMessage(TrayIcon::RightButtonDown);
        QTRY_VERIFY(iconMenu->isVisible());
        QCOMPARE(iconMenu->defaultAction(), action(u"icon_restore1"_s));
        QStringList captions;
        for (const QAction* item : iconMenu->actions())
            captions << (item->isSeparator() ? u"-"_s : item->text());
        QCOMPARE(captions, QStringList({"Restore", "-", "Hide this menu", "-", "About", "Exit"}));
        action(u"icon_cancel1"_s)->trigger();
        iconMenu->hide();
        QVERIFY(main().isVisible());
    }

    // Timer1 removes only the leftover updater; the sweep runs again every 1440 minutes and deletes what has expired by then.
    void housekeepingTimers()
    {
        const QDir folder(env().programDir());
        for (const char* name : {"update.exe", "Vantrel.upg", "migration.exe", "Vantrel.bak"})
            QVERIFY(QFile(folder.filePath(QLatin1String(name))).open(QIODevice::WriteOnly));
        QTimer* timer1 = findTimer(&main(), u"Timer1"_s);
        QVERIFY(timer1->interval() == 10000 && timer1->isSingleShot());
        QVERIFY(fireTimer(&main(), u"Timer1"_s));
        QVERIFY(!timer1->isActive());
        QCOMPARE(folder.entryList(QDir::Files, QDir::Name), QStringList({"Vantrel.bak", "Vantrel.upg", "migration.exe"}));

        QCOMPARE(m_program->sweeps, 1); // at start-up
        Database db(env().settings.readConnectionString());
        QVERIFY(db.open() && db.execute(u"INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip, Expires) "
                                        "VALUES ('tomorrow', 'c:\\x', 1, 1, '%1')"_s.arg(env().dates.format(QDate(2026, 11, 23)))));
        env().clock.setNow(QDateTime(QDate(2026, 11, 23), QTime(8, 0)));
        QCOMPARE(findTimer(&main(), u"tmrTime"_s)->interval(), 60000);
        for (int tick = 1; tick < 1440; ++tick)
            main().tmrTime_Timer();
        QCOMPARE(m_program->sweeps, 1);
        QCOMPARE(main().minuteCounter(), 1439);
        QVERIFY(fireTimer(&main(), u"tmrTime"_s));
        QCOMPARE(m_program->sweeps, 2);
        QCOMPARE(main().minuteCounter(), 0);
        QVERIFY(!db.select(u"select username from users"_s).next());
        for (int tick = 0; tick < 1440; ++tick)
            main().tmrTime_Timer();
        QCOMPARE(m_program->sweeps, 3);
    }

    // About (from the tray without blocking, and from Help), its icon revealing Show Log, and Configure, modal with its timer on.
    void aboutShowLogAndConfigure()
    {
        action(u"icon_about1"_s)->trigger();
        AboutWindow& about = m_program->windows.about();
        QVERIFY(about.isVisible() && !about.isModal());
        QVERIFY(env().prompter.records().isEmpty());
        action(u"mnuItemAbout"_s)->trigger();
        QVERIFY(about.isVisible());
        QWidget* icon = about.findChild<QWidget*>(u"picIcon"_s);
        QTest::mouseClick(icon, Qt::LeftButton, Qt::ControlModifier);
        QVERIFY(!action(u"ShowLog"_s)->isVisible());
        QTest::mouseClick(icon, Qt::LeftButton, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(action(u"ShowLog"_s)->isVisible());

        QString shownLog;
        bool timerOn = false;
        env().prompter.onModal(u"frmStatus"_s, [&](QWidget* window) {
            shownLog = window->findChild<QPlainTextEdit*>(u"txtLog"_s)->toPlainText();
            QTest::mouseClick(window->findChild<QPushButton*>(u"cmdOK"_s), Qt::LeftButton);
        });
        env().prompter.onModal(u"frmConfigure"_s, [&](QWidget* window) {
            timerOn = findTimer(window, u"tmrEnableCommit"_s)->isActive();
            QTest::mouseClick(window->findChild<QPushButton*>(u"cmdCancel"_s), Qt::LeftButton);
        });
        action(u"ShowLog"_s)->trigger();
        action(u"mnuConfigure"_s)->trigger();
        QVERIFY(shownLog.startsWith(u"Log File\n"_s));
        QVERIFY(shownLog.contains(u":  populate data from database into this form"_s));
        QVERIFY(timerOn);
        QCOMPARE(env().prompter.unusedSteps(), 0);
        QVERIFY(!env().process.hasEnded());
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
        QCOMPARE(env().prompter.records().value(0).icon, message.isEmpty() ? prompt::Icon::None : prompt::Icon::Exclamation);
        QCOMPARE(env().starter.documents(), manual ? QStringList({pdf}) : QStringList());
        QCOMPARE(env().starter.urls(), control == u"help_web" ? QList<QUrl>({QUrl(u"http://127.0.0.1:9/servu/"_s)}) : QList<QUrl>());
    }
};

QUILLMERE_TEST(TestMainWindow)
#include "TestMainWindow.moc"
