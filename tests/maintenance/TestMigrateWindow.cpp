#include "ProgramUnderTest.h"
#include "TestMain.h"

#include "maintenance/MigrateWindow.h"
#include "shell/EmbeddedFiles.h"
#include "shell/MainWindow.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

// Tools -> Migration Utility: the warning, the choice of generation, and the tool
// written beside the program and started in its place.
class TestMigrateWindow : public QObject
{
    Q_OBJECT

    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static QString toolPath(ProgramUnderTest& program) { return program.env.programDir() + QStringLiteral("/migration.exe"); }

    static void openLauncher(ProgramUnderTest& program)
    {
        program.windows.main().findChild<QAction*>(QStringLiteral("tools1_migrate"))->trigger();
    }

    static void click(QWidget* dialog, const char* name)
    {
        QPushButton* button = dialog->findChild<QPushButton*>(QLatin1String(name));
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton);
    }

    static bool upperOptionChecked(QWidget* dialog)
    {
        return dialog->findChild<QRadioButton*>(QStringLiteral("optVersion0"))->isChecked();
    }

    static void expectWarning(ProgramUnderTest& program, prompt::Answer answer)
    {
        program.env.prompter.answerMessage(answer, QStringLiteral("Would you like to run the migration utility now?"));
    }

private slots:
    void theWarningAsksFirst_data()
    {
        QTest::addColumn<prompt::Answer>("answer");
        QTest::newRow("No") << prompt::Answer::No;
        QTest::newRow("Cancel") << prompt::Answer::Cancel;
    }

    void theWarningAsksFirst()
    {
        QFETCH(prompt::Answer, answer);
        ProgramUnderTest program;
        expectWarning(program, answer);

        openLauncher(program);

        const PromptRecord warning = program.env.prompter.messages().value(0);
        QCOMPARE(warning.caption, QStringLiteral("Vantrel"));
        QCOMPARE(warning.icon, prompt::Icon::Question);
        QCOMPARE(warning.buttons, prompt::Buttons::YesNoCancel);
        QCOMPARE(warning.defaultAnswer, prompt::Answer::No);
        QVERIFY(warning.text.startsWith(QStringLiteral("Running the migration utility will migrate all users from your \r\n")));
        QVERIFY(warning.text.contains(QStringLiteral("\r\n\r\nThe migration uitlity needs to be run when both Quillmere \r\n")));
        // No dialog was shown (the script expected none), nothing written, nothing started.
        QCOMPARE(program.env.prompter.records().size(), 1);
        QVERIFY(!QFile::exists(toolPath(program)));
        QVERIFY(program.env.starter.programs().isEmpty());
        QVERIFY(!program.env.process.hasEnded());
    }

    void okWritesTheChosenToolStartsItAndEnds_data()
    {
        QTest::addColumn<bool>("olderGeneration");
        QTest::addColumn<int>("resource");
        QTest::newRow("default: 4.0 and above") << false << int(embedded::MigrationV4);
        QTest::newRow("2.0 to 3.0 over an earlier tool") << true << int(embedded::MigrationV2);
    }

    void okWritesTheChosenToolStartsItAndEnds()
    {
        QFETCH(bool, olderGeneration);
        QFETCH(int, resource);
        ProgramUnderTest program;
        if (olderGeneration) {
            // An earlier, longer tool of the other generation is there already.
            QFile earlier(toolPath(program));
            QVERIFY(earlier.open(QIODevice::WriteOnly));
            earlier.write(contents(embedded::resourcePath(embedded::MigrationV4)) + QByteArray(100000, 'x'));
        }
        program.env.tray.add(TrayPicture::Blue, QStringLiteral("Quillmere"));
        expectWarning(program, prompt::Answer::Yes);
        bool defaultWasLower = false;
        program.env.prompter.onModal(QStringLiteral("frmMigrate"), [&](QWidget* dialog) {
            QCOMPARE(dialog->windowTitle(), QStringLiteral("Vantrel"));
            defaultWasLower = dialog->findChild<QRadioButton*>(QStringLiteral("optVersion1"))->isChecked();
            if (olderGeneration)
                QTest::mouseClick(dialog->findChild<QRadioButton*>(QStringLiteral("optVersion0")), Qt::LeftButton,
                                  {}, QPoint(8, 8));
            click(dialog, "cmdOK");
        });

        openLauncher(program);

        QVERIFY(defaultWasLower);
        const QByteArray carried = contents(embedded::resourcePath(resource));
        QVERIFY(!carried.isEmpty());
        QCOMPARE(contents(toolPath(program)), carried);
        QVERIFY(QFileInfo(toolPath(program)).isExecutable());
        QCOMPARE(program.env.starter.programs().size(), 1);
        QCOMPARE(program.env.starter.programs()[0].program, toolPath(program));
        QVERIFY(program.env.starter.programs()[0].arguments.isEmpty());
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QVERIFY(!program.env.tray.isAdded());
        QCOMPARE(program.env.prompter.messages().size(), 1); // the warning only: no exit question
    }

    // Installed from the package, the program writes nothing into its folder and starts
    // the package's tool from the prefix's lib/quillmere.
    void anInstalledProgramStartsThePackagesTool_data()
    {
        QTest::addColumn<bool>("olderGeneration");
        QTest::addColumn<bool>("toolInstalled");
        QTest::newRow("4.0 and above") << false << true;
        QTest::newRow("2.0 to 3.0") << true << true;
        QTest::newRow("tool missing") << false << false;
    }

    void anInstalledProgramStartsThePackagesTool()
    {
        QFETCH(bool, olderGeneration);
        QFETCH(bool, toolInstalled);
        ProgramUnderTest program;
        const QString installed = program.env.path(QStringLiteral("lib/quillmere/"))
                                  + (olderGeneration ? QStringLiteral("migration-v2") : QStringLiteral("migration-v4"));
        QVERIFY(QDir().mkpath(program.env.path(QStringLiteral("lib/quillmere"))));
        if (toolInstalled)
            QVERIFY(QFile::copy(QStringLiteral("/bin/true"), installed));
        expectWarning(program, prompt::Answer::Yes);
        program.env.prompter.onModal(QStringLiteral("frmMigrate"), [&](QWidget* dialog) {
            if (olderGeneration)
                QTest::mouseClick(dialog->findChild<QRadioButton*>(QStringLiteral("optVersion0")), Qt::LeftButton,
                                  {}, QPoint(8, 8));
            if (!toolInstalled)
                program.env.prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("could not be started"));
            click(dialog, "cmdOK");
            if (!toolInstalled)
                click(dialog, "cmdCancel");
        });

        openLauncher(program);

        QVERIFY(!QFile::exists(toolPath(program)));
        QCOMPARE(program.env.process.hasEnded(), toolInstalled);
        if (toolInstalled) {
            QCOMPARE(program.env.starter.programs().size(), 1);
            QCOMPARE(program.env.starter.programs()[0].program, installed);
        } else {
            QVERIFY(program.env.starter.programs().isEmpty());
            QCOMPARE(program.env.prompter.messages().value(1).icon, prompt::Icon::Critical);
            QVERIFY(program.env.prompter.messages().value(1).text.contains(installed));
        }
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
    }

    void cancelHidesAndKeepsTheChoice()
    {
        ProgramUnderTest program;
        expectWarning(program, prompt::Answer::Yes);
        program.env.prompter.onModal(QStringLiteral("frmMigrate"), [](QWidget* dialog) {
            QTest::mouseClick(dialog->findChild<QRadioButton*>(QStringLiteral("optVersion0")), Qt::LeftButton, {}, QPoint(8, 8));
            click(dialog, "cmdCancel");
        });
        expectWarning(program, prompt::Answer::Yes);
        bool upperKept = false;
        program.env.prompter.onModal(QStringLiteral("frmMigrate"), [&](QWidget* dialog) {
            upperKept = upperOptionChecked(dialog);
            // Escape is Cancel too.
            QTest::keyClick(dialog, Qt::Key_Escape);
        });

        openLauncher(program);
        QVERIFY(!program.windows.migrate().isVisible());
        openLauncher(program);

        QVERIFY(upperKept);
        QVERIFY(!program.windows.migrate().isVisible());
        QVERIFY(!QFile::exists(toolPath(program)));
        QVERIFY(program.env.starter.programs().isEmpty());
        QVERIFY(!program.env.process.hasEnded());
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
    }

    void aToolThatCannotBeWrittenIsReportedAndNothingStarts_data()
    {
        QTest::addColumn<bool>("folderMissing");
        // The name is taken by a folder holding a file: nothing can be renamed over it.
        QTest::newRow("name taken by a folder") << false;
        QTest::newRow("program folder gone") << true;
    }

    void aToolThatCannotBeWrittenIsReportedAndNothingStarts()
    {
        QFETCH(bool, folderMissing);
        ProgramUnderTest program;
        const QString tool = toolPath(program);
        if (folderMissing) {
            QVERIFY(QDir(program.env.programDir()).removeRecursively());
        } else {
            QVERIFY(QDir().mkpath(tool));
            QFile inside(tool + QStringLiteral("/older"));
            QVERIFY(inside.open(QIODevice::WriteOnly));
            inside.write("an older tool");
        }
        expectWarning(program, prompt::Answer::Yes);
        program.env.prompter.onModal(QStringLiteral("frmMigrate"), [&](QWidget* dialog) {
            program.env.prompter.answerMessage(prompt::Answer::Ok, QDir::toNativeSeparators(tool));
            click(dialog, "cmdOK");
            // The dialog stays for another choice or Cancel.
            QVERIFY(dialog->isVisible());
            click(dialog, "cmdCancel");
        });

        openLauncher(program);

        const PromptRecord failure = program.env.prompter.messages().value(1);
        QCOMPARE(failure.icon, prompt::Icon::Critical);
        QVERIFY(failure.text.contains(QStringLiteral("could not be written")));
        QVERIFY(program.env.starter.programs().isEmpty());
        QVERIFY(!program.env.process.hasEnded());
        if (!folderMissing)
            QCOMPARE(contents(tool + QStringLiteral("/older")), QByteArray("an older tool"));
    }
};

QUILLMERE_TEST(TestMigrateWindow)
#include "TestMigrateWindow.moc"
