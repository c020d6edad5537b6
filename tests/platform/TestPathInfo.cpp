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

    // Only a path beginning with "/" keeps its case; every other form is stored lower-cased.
    void storedCase_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("stored");
        QTest::newRow("posix") << "/srv/ftp/Incoming" << "/srv/ftp/Incoming";
        QTest::newRow("posix, slash unc form") << "//Server/Share" << "//Server/Share";
        QTest::newRow("drive") << "C:\\FTP\\Users\\Bob" << "c:\\ftp\\users\\bob";
        QTest::newRow("drive, forward slashes") << "D:/Pub" << "d:/pub";
        QTest::newRow("unc") << "\\\\Server\\Share\\Bob" << "\\\\server\\share\\bob";
        QTest::newRow("blank before the slash") << " /Srv" << " /srv";
        QTest::newRow("relative") << "Ftp/Bob" << "ftp/bob";
        QTest::newRow("empty") << "" << "";
    }
    void storedCase()
    {
        QFETCH(QString, typed);
        QTEST(storedPathCase(typed), "stored");
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
