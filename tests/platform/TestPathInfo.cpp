#include "TestMain.h"

#include "platform/PathInfo.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

// The six path facts the folder checks of the configuration window rely on.
class TestPathInfo : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        QVERIFY(QDir().mkpath(m_dir.filePath(QStringLiteral("empty"))));
        QVERIFY(QDir().mkpath(m_dir.filePath(QStringLiteral("full"))));
        QFile file(m_dir.filePath(QStringLiteral("full/ServUDaemon.ini")));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }

    void localFolders()
    {
        const PathFacts empty = pathInfo(m_dir.filePath(QStringLiteral("empty")));
        QVERIFY(empty.isDirectory);
        QVERIFY(empty.isEmptyDirectory);
        QVERIFY(!empty.isNetworkPath && !empty.isUnc && !empty.isUrl && !empty.isRoot);

        const PathFacts full = pathInfo(m_dir.filePath(QStringLiteral("full")) + QLatin1Char('/'));
        QVERIFY(full.isDirectory);
        QVERIFY(!full.isEmptyDirectory);

        const PathFacts hiddenOnly = [this] {
            QDir().mkpath(m_dir.filePath(QStringLiteral("hidden")));
            QFile dotFile(m_dir.filePath(QStringLiteral("hidden/.servu")));
            dotFile.open(QIODevice::WriteOnly);
            return pathInfo(m_dir.filePath(QStringLiteral("hidden")));
        }();
        QVERIFY2(!hiddenOnly.isEmptyDirectory, "a hidden file makes a folder non-empty");
    }

    void filesAndMissingPathsAreNoFolders()
    {
        QVERIFY(!pathInfo(m_dir.filePath(QStringLiteral("full/ServUDaemon.ini"))).isDirectory);
        QVERIFY(!pathInfo(m_dir.filePath(QStringLiteral("missing"))).isDirectory);
        QVERIFY(!pathInfo(QString()).isDirectory);
    }

    void forms_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("root");
        QTest::addColumn<bool>("unc");
        QTest::addColumn<bool>("url");
        QTest::addColumn<bool>("network");

        QTest::newRow("system root") << "/" << true << false << false << false;
        QTest::newRow("drive root") << "C:\\" << true << false << false << false;
        QTest::newRow("drive folder") << "C:\\Program files\\Serv-U\\" << false << false << false << false;
        QTest::newRow("unc share") << "\\\\server\\share" << true << true << false << true;
        QTest::newRow("unc folder") << "\\\\server\\share\\ftp\\" << false << true << false << true;
        QTest::newRow("slash unc") << "//server/share/ftp" << false << true << false << true;
        QTest::newRow("http") << "http://example.org/ftp" << false << false << true << false;
        QTest::newRow("file url") << "file:///srv/ftp" << false << false << true << false;
        QTest::newRow("bare scheme") << "ftp:" << false << false << true << false;
        QTest::newRow("relative") << "srv/ftp" << false << false << false << false;
    }

    void forms()
    {
        QFETCH(QString, path);
        const PathFacts facts = pathInfo(path);
        QTEST(facts.isRoot, "root");
        QTEST(facts.isUnc, "unc");
        QTEST(facts.isUrl, "url");
        QTEST(facts.isNetworkPath, "network");
    }

    void networkFileSystems()
    {
        QVERIFY(isNetworkFileSystemType(QStringLiteral("nfs4")));
        QVERIFY(isNetworkFileSystemType(QStringLiteral("CIFS")));
        QVERIFY(isNetworkFileSystemType(QStringLiteral("fuse.sshfs")));
        QVERIFY(!isNetworkFileSystemType(QStringLiteral("ext4")));
        QVERIFY(!isNetworkFileSystemType(QStringLiteral("tmpfs")));
        QVERIFY(!pathInfo(m_dir.path()).isNetworkPath);
    }
};

QUILLMERE_TEST(TestPathInfo)
#include "TestPathInfo.moc"
