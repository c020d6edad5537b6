#include "TestMain.h"

#include "services/EmbeddedFiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

// Writing a carried file to disk byte for byte. The test executable carries one
// file of its own under number 100.
class TestEmbeddedFiles : public QObject
{
    Q_OBJECT

    static QByteArray carried()
    {
        QFile resource(embedded::resourcePath(100));
        return resource.open(QIODevice::ReadOnly) ? resource.readAll() : QByteArray();
    }

    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private slots:
    void overALongerFileLeavesExactlyTheNewBytes()
    {
        QTemporaryDir dir;
        const QString target = dir.filePath(QStringLiteral("update.exe"));
        QFile earlier(target);
        QVERIFY(earlier.open(QIODevice::WriteOnly));
        earlier.write(QByteArray(carried().size() * 3 + 100, 'X'));
        earlier.close();

        const auto result = embedded::writeEmbeddedFile(100, target);
        QVERIFY2(result.ok, qPrintable(result.error));
        QVERIFY(!carried().isEmpty());
        QCOMPARE(contents(target), carried());
    }

    void programsBecomeExecutable()
    {
        QTemporaryDir dir;
        const QString target = dir.filePath(QStringLiteral("migration.exe"));
        QVERIFY(embedded::writeEmbeddedFile(100, target).ok);
        QVERIFY(QFileInfo(target).isExecutable());
    }

    void failuresNameTheFile()
    {
        QTemporaryDir dir;
        const QString target = dir.filePath(QStringLiteral("missing-folder/Gatewick.dll"));
        const auto unwritable = embedded::writeEmbeddedFile(100, target);
        QVERIFY(!unwritable.ok);
        QVERIFY2(unwritable.error.contains(target), qPrintable(unwritable.error));
        QVERIFY(!QFile::exists(target));

        const auto unknown = embedded::writeEmbeddedFile(999, dir.filePath(QStringLiteral("x")));
        QVERIFY(!unknown.ok);
        QVERIFY(unknown.error.contains(dir.filePath(QStringLiteral("x"))));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("x"))));
    }
};

QUILLMERE_TEST(TestEmbeddedFiles)
#include "TestEmbeddedFiles.moc"
