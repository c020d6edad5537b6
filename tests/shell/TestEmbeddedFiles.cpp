#include "TestMain.h"

#include "services/EmbeddedFiles.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// Writing a carried file to disk byte for byte. The test executable carries one
// file of its own under number 100.
class TestEmbeddedFiles : public QObject
{
    Q_OBJECT

    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private slots:
    void writesExactlyTheCarriedBytesOrNamesTheFile()
    {
        QTemporaryDir dir;
        const QByteArray carried = contents(embedded::resourcePath(100));
        QVERIFY(!carried.isEmpty());
        // Over a longer file only the new bytes are left, and a program becomes executable.
        const QString target = dir.filePath(u"update.exe"_s);
        QFile earlier(target);
        QVERIFY(earlier.open(QIODevice::WriteOnly) && earlier.write(QByteArray(carried.size() * 3 + 100, 'X')) > 0);
        earlier.close();
        const auto result = embedded::writeEmbeddedFile(100, target);
        QVERIFY2(result.ok, qPrintable(result.error));
        QCOMPARE(contents(target), carried);
        QVERIFY(QFileInfo(target).isExecutable());

        // A folder that is not there, and a number nothing is carried under.
        for (const auto& [number, path] : {std::pair{100, dir.filePath(u"missing-folder/Gatewick.dll"_s)}, {999, dir.filePath(u"x"_s)}}) {
            const auto failed = embedded::writeEmbeddedFile(number, path);
            QVERIFY(!failed.ok);
            QVERIFY2(failed.error.contains(path), qPrintable(failed.error));
            QVERIFY(!QFile::exists(path));
        }
    }
};

QUILLMERE_TEST(TestEmbeddedFiles)
#include "TestEmbeddedFiles.moc"
