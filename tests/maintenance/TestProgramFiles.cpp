#include "TestMain.h"

#include "maintenance/ProgramFiles.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

// Where the program looks for its companion programs and its manual: beside itself in
// a build tree, in the prefix's lib/quillmere and share/quillmere once installed.
class TestProgramFiles : public QObject
{
    Q_OBJECT

private slots:
    void companionsAndManualFollowTheLayout_data()
    {
        QTest::addColumn<QStringList>("folders");
        QTest::addColumn<QString>("programDir");
        QTest::addColumn<bool>("installed");
        QTest::addColumn<QString>("companion");
        QTest::addColumn<QString>("manual");
        // A lib folder of other programs' beside the build tree does not make it an installation.
        QTest::newRow("build tree") << QStringList{"build/bin", "build/lib"} << "build/bin" << false
                                    << "build/bin/migration-v4" << "build/bin/Pellbrook_Manual.pdf";
        QTest::newRow("package in /usr") << QStringList{"usr/bin", "usr/lib/quillmere"} << "usr/bin" << true
                                         << "usr/lib/quillmere/migration-v4"
                                         << "usr/share/quillmere/Pellbrook_Manual.pdf";
        QTest::newRow("prefix with blanks") << QStringList{"opt/My Programs/bin", "opt/My Programs/lib/quillmere"}
                                            << "opt/My Programs/bin" << true
                                            << "opt/My Programs/lib/quillmere/migration-v4"
                                            << "opt/My Programs/share/quillmere/Pellbrook_Manual.pdf";
    }

    void companionsAndManualFollowTheLayout()
    {
        QFETCH(QStringList, folders);
        QFETCH(QString, programDir);
        QFETCH(QString, companion);
        QFETCH(QString, manual);
        QTemporaryDir root;
        for (const QString& folder : folders)
            QVERIFY(QDir(root.path()).mkpath(folder));
        const QString program = root.filePath(programDir);

        QTEST(programfiles::isInstalled(program), "installed");
        QCOMPARE(programfiles::companionPath(program, programfiles::MigrationV4), root.filePath(companion));
        QCOMPARE(programfiles::manualPath(program), root.filePath(manual));
    }
};

QUILLMERE_TEST(TestProgramFiles)
#include "TestProgramFiles.moc"
