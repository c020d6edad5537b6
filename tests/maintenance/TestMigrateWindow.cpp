#include "ProgramUnderTest.h"
#include "TestMain.h"

#include "maintenance/MigrateWindow.h"
#include "services/EmbeddedFiles.h"
#include "app/MainWindow.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QRadioButton>
#include <QTest>

using namespace Qt::StringLiterals;

// Tools -> Migration Utility: the warning, the choice of generation, and the tool
// written beside the program (or the installed package's own) started in its place.
class TestMigrateWindow : public QObject
{
    Q_OBJECT

    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static bool write(const QString& path, const QByteArray& bytes)
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
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

private slots:
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
        QTest::newRow("warning answered Cancel") << prompt::Answer::Cancel << false << "" << "" << "";
        QTest::newRow("dialog cancelled, choice kept") << yes << true << "" << "" << "";
        QTest::newRow("default: 4.0 and above") << yes << false << "" << "program/migration.exe" << "";
        QTest::newRow("2.0 to 3.0 over an earlier, longer tool") << yes << true << "earlier tool" << "program/migration.exe" << "";
        // Installed from the package, the program writes nothing into its folder and
        // starts the package's tool from the prefix's lib/quillmere.
        QTest::newRow("installed, 4.0 and above") << yes << false << "installed" << "lib/quillmere/migration-v4" << "";
        QTest::newRow("installed, 2.0 to 3.0") << yes << true << "installed" << "lib/quillmere/migration-v2" << "";
        QTest::newRow("installed, tool missing") << yes << false << "lib/quillmere" << "" << "could not be started";
        // The name is taken by a folder holding a file: nothing can be renamed over it.
        QTest::newRow("name taken by a folder") << yes << false << "folder" << "" << "could not be written";
        QTest::newRow("program folder gone") << yes << false << "no program folder" << "" << "could not be written";
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
        if (before.startsWith("lib/quillmere"_L1) || before == "installed"_L1)
            QVERIFY(QDir().mkpath(program.env.path(u"lib/quillmere"_s)));
        if (before == "installed"_L1)
            QVERIFY(QFile::copy(u"/bin/true"_s, installed));
        if (before == "no program folder"_L1)
            QVERIFY(QDir(program.env.programDir()).removeRecursively());
        const QByteArray older = contents(embedded::resourcePath(embedded::MigrationV4)) + QByteArray(100000, 'x');
        const QString earlier = before == "folder"_L1 ? tool + u"/older"_s : tool;
        if (before == "folder"_L1 || before == "earlier tool"_L1)
            QVERIFY(QDir().mkpath(QFileInfo(earlier).path()) && write(earlier, older));
        program.env.tray.add(TrayPicture::Blue, u"Quillmere"_s);

        launch(program, warning, [&](QWidget* dialog) {
            QCOMPARE(dialog->windowTitle(), u"Vantrel"_s);
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

        const PromptRecord question = program.env.prompter.messages().value(0);
        QCOMPARE(question.caption, u"Vantrel"_s);
        QCOMPARE(question.icon, prompt::Icon::Question);
        QCOMPARE(question.buttons, prompt::Buttons::YesNoCancel);
        QCOMPARE(question.defaultAnswer, prompt::Answer::No);
        QVERIFY(question.text.startsWith(u"Running the migration utility will migrate all users from your \r\n"_s));
        QVERIFY(question.text.contains(u"\r\n\r\nThe migration uitlity needs to be run when both Quillmere \r\n"_s));
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
        QCOMPARE(program.env.prompter.messages().size(), 1 + int(cancelled) + int(!failure.isEmpty())); // never the exit question
        if (!failure.isEmpty()) {
            QCOMPARE(program.env.prompter.messages()[1].icon, prompt::Icon::Critical);
            QVERIFY(program.env.prompter.messages()[1].text.contains(failure));
        }
        if (started.isEmpty()) {
            QVERIFY(program.env.starter.programs().isEmpty());
            QVERIFY(!program.env.process.hasEnded());
            QVERIFY(program.env.tray.isAdded());
            QCOMPARE(QFile::exists(tool), before == "folder"_L1);
            QCOMPARE(contents(tool + u"/older"_s), before == "folder"_L1 ? older : QByteArray());
            return;
        }
        QCOMPARE(program.env.starter.programs().size(), 1);
        QCOMPARE(program.env.starter.programs()[0].program, program.env.path(started));
        QVERIFY(program.env.starter.programs()[0].arguments.isEmpty());
        QCOMPARE(program.env.process.exitCodes(), QList<int>({0}));
        QVERIFY(!program.env.tray.isAdded());
        if (before == "installed"_L1) {
            QVERIFY(!QFile::exists(tool));
        } else {
            const QByteArray carried = contents(embedded::resourcePath(olderGeneration ? embedded::MigrationV2 : embedded::MigrationV4));
            QVERIFY(!carried.isEmpty());
            QCOMPARE(contents(tool), carried);
            QVERIFY(QFileInfo(tool).isExecutable());
        }
    }
};

QUILLMERE_TEST(TestMigrateWindow)
#include "TestMigrateWindow.moc"
