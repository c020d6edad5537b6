#include "ProgramUnderTest.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "server/ConfigureWindow.h"

#include <QFile>
#include <QFocusEvent>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include <memory>

// The configuration window as start-up and repair show it: its controls, the
// commit button's timer, the folder pickers, the hidden log shortcut and Cancel.
class TestConfigureWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<ProgramUnderTest> m_program;

    ConfigureWindow& window() { return m_program->windows.configure(); }
    ScriptedPrompter& prompter() { return m_program->env.prompter; }
    template <typename T> T* control(const char* name) { return window().findChild<T*>(QLatin1String(name)); }
    QLineEdit* servuPath() { return control<QLineEdit>("txtServuPath"); }
    QLineEdit* ftpDirectory() { return control<QLineEdit>("txtFTPdirectory"); }
    QPlainTextEdit* connectionString() { return control<QPlainTextEdit>("txtConnectionString"); }
    QPushButton* commit() { return control<QPushButton>("cmdCommitChanges"); }

    void leave(QWidget* box)
    {
        QFocusEvent focusOut(QEvent::FocusOut, Qt::TabFocusReason);
        QApplication::sendEvent(box, &focusOut);
    }

private slots:
    void init()
    {
        m_program = std::make_unique<ProgramUnderTest>();
        m_program->env.tray.add(TrayPicture::Blue, QStringLiteral("Quillmere"));
    }
    void cleanup() { m_program.reset(); }

    void designTimeTexts()
    {
        QCOMPARE(window().objectName(), QStringLiteral("frmConfigure"));
        QCOMPARE(window().windowTitle(), QStringLiteral("Quillmere Configuration"));
        const QList<QPair<const char*, const char*>> frames{{"Frame4", "Serv-u program path"},
                                                            {"Frame6", "Default FTP server directory"},
                                                            {"Frame1", "Database"},
                                                            {"Frame5", "Global IP Access Rules"}};
        for (const auto& [name, caption] : frames)
            QCOMPARE(control<QGroupBox>(name)->title(), QLatin1String(caption));
        QCOMPARE(control<QLabel>("Label3")->text(), QStringLiteral("Must be located on this computer."));
        QCOMPARE(control<QLabel>("Label1")->text(), QStringLiteral("Database connection string"));
        QCOMPARE(control<QLabel>("lblRules")->text(),
                 QStringLiteral("No IP rules are set. Server is available to everyone."));
        const QList<QPair<const char*, const char*>> buttons{{"cmdBrowseProgramPath", "..."},
                                                             {"cmdBrowseServerPath", "..."},
                                                             {"cmdConnectionString", "Database Wizard"},
                                                             {"cmdGlobalIPAccess", "Modify IP Rules"},
                                                             {"cmdCommitChanges", "Commit changes"},
                                                             {"cmdCancel", "Cancel"}};
        for (const auto& [name, caption] : buttons)
            QCOMPARE(control<QPushButton>(name)->text(), QLatin1String(caption));
        QVERIFY(!servuPath()->text().isEmpty());
        QVERIFY(servuPath()->text().endsWith(QDir::separator()));
        QVERIFY(ftpDirectory()->text().endsWith(QDir::separator()));
        QCOMPARE(connectionString()->toPlainText(), QString());
        QVERIFY(connectionString()->verticalScrollBarPolicy() != Qt::ScrollBarAlwaysOff);

        QTimer* timer = findTimer(&window(), QStringLiteral("tmrEnableCommit"));
        QCOMPARE(timer->interval(), 100);
        QVERIFY(!timer->isActive());
    }

    void commitIsEnabledOnlyWithAllThreeBoxesFilled()
    {
        window().show();
        window().enableCommitTimer();
        QTRY_VERIFY(!commit()->isEnabled()); // the connection string is empty

        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=a.db"));
        QTRY_VERIFY(commit()->isEnabled());

        for (QLineEdit* box : {servuPath(), ftpDirectory()}) {
            const QString before = box->text();
            box->clear();
            QTRY_VERIFY(!commit()->isEnabled());
            QTest::keyClicks(box, before);
            QTRY_VERIFY(commit()->isEnabled());
        }
    }

    void foldersArePickedAndCancelChangesNothing()
    {
        prompter().answerFolder(QStringLiteral("/opt/serv-u")).answerFolder(QString());
        QTest::mouseClick(control<QPushButton>("cmdBrowseProgramPath"), Qt::LeftButton);
        QCOMPARE(servuPath()->text(), QStringLiteral("/opt/serv-u"));
        const QString ftpBefore = ftpDirectory()->text();
        QTest::mouseClick(control<QPushButton>("cmdBrowseServerPath"), Qt::LeftButton);
        QCOMPARE(ftpDirectory()->text(), ftpBefore);

        const auto records = prompter().records();
        QCOMPARE(records.size(), 2);
        QCOMPARE(records[0].caption, QStringLiteral("Select the path of your Serv-u program"));
        QCOMPARE(records[1].caption, QStringLiteral("Select default FTP server directory"));
    }

    void showLogTypedIntoTheProgramPathOpensTheStatusLog()
    {
        servuPath()->clear();
        QTest::keyClicks(servuPath(), QStringLiteral("Show LOG"));
        prompter().onModal(QStringLiteral("frmStatus"), [](QWidget* status) { status->hide(); });
        leave(servuPath());
        QCOMPARE(prompter().unusedSteps(), 0);

        prompter().reset();
        servuPath()->setText(QStringLiteral("show logs"));
        leave(servuPath());
        QVERIFY(prompter().records().isEmpty());
    }

    void cancelHidesAndSavesNothing()
    {
        window().enableCommitTimer();
        window().show();
        servuPath()->setText(QStringLiteral("/opt/elsewhere/"));
        connectionString()->setPlainText(QStringLiteral("Provider=SQLite;Data Source=x.db"));
        QTest::mouseClick(control<QPushButton>("cmdCancel"), Qt::LeftButton);
        QVERIFY(!window().isVisible());
        QVERIFY(!window().isCommitTimerActive());
        QVERIFY(!QFile::exists(m_program->env.settingsPath()));
        QVERIFY(!m_program->env.process.hasEnded());
        QCOMPARE(m_program->env.tray.current(), TrayPicture::Blue);
        // The boxes keep what was typed for the next opening.
        QCOMPARE(servuPath()->text(), QStringLiteral("/opt/elsewhere/"));
    }

    void escapeIsCancel()
    {
        window().show();
        QTest::keyClick(&window(), Qt::Key_Escape);
        QVERIFY(!window().isVisible());
        QVERIFY(!m_program->env.process.hasEnded());
    }

    void cancelInRepairModeEndsTheProgram()
    {
        window().setTag(QStringLiteral("CDB"));
        window().enableCommitTimer();
        window().show();
        TrayPicture trayDuringMessage = TrayPicture::None;
        prompter().answerMessage(prompt::Answer::Ok);
        QTest::mouseClick(control<QPushButton>("cmdCancel"), Qt::LeftButton);
        trayDuringMessage = m_program->env.tray.current();

        const auto messages = prompter().messages();
        QCOMPARE(messages.size(), 1);
        QCOMPARE(messages[0].caption, QStringLiteral("Quillmere CRITICAL ERROR"));
        QCOMPARE(messages[0].icon, prompt::Icon::Critical);
        QCOMPARE(messages[0].buttons, prompt::Buttons::Ok);
        QCOMPARE(messages[0].text, QStringLiteral("We could not connect to the database specified. \r\n"
                                                  "To reconfigure the program settings, please run Quillmere again.\r\n"
                                                  "\r\nQuillmere will now close. "));
        QCOMPARE(trayDuringMessage, TrayPicture::Red);
        QVERIFY(!m_program->env.tray.isAdded());
        QCOMPARE(m_program->env.process.exitCodes(), QList<int>({0}));
        QVERIFY(!window().isCommitTimerActive());
        QVERIFY(!QFile::exists(m_program->env.settingsPath()));
    }
};

QUILLMERE_TEST(TestConfigureWindow)
#include "TestConfigureWindow.moc"
