#include "TestMain.h"

#include "platform/PathInfo.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The six path facts the folder checks of the configuration window rely on, and the
// case a path is stored in: only a path beginning with "/" keeps its case.
class TestPathInfo : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        for (const char* folder : {"empty", "full", "hidden"})
            QVERIFY(QDir().mkpath(m_dir.filePath(QLatin1String(folder))));
        for (const char* file : {"full/ServUDaemon.ini", "hidden/.servu"})
            QVERIFY(QFile(m_dir.filePath(QLatin1String(file))).open(QIODevice::WriteOnly));
    }

    void factsAndStoredCase_data()
    {
        // "%1" stands for a temporary folder.
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("facts");
        QTest::addColumn<QString>("stored");
        QTest::newRow("empty folder") << "%1/empty" << "directory empty" << "%1/empty";
        QTest::newRow("folder with a file") << "%1/full/" << "directory" << "%1/full/";
        QTest::newRow("folder with a hidden file only") << "%1/hidden" << "directory" << "%1/hidden";
        QTest::newRow("file") << "%1/full/ServUDaemon.ini" << "" << "%1/full/ServUDaemon.ini";
        QTest::newRow("missing") << "%1/missing" << "" << "%1/missing";
        QTest::newRow("no path") << "" << "" << "";
        QTest::newRow("system root") << "/" << "root directory" << "/";
        QTest::newRow("posix") << "/srv/ftp/Incoming" << "" << "/srv/ftp/Incoming";
        QTest::newRow("drive root") << "C:\\" << "root" << "c:\\";
        QTest::newRow("drive folder") << "C:\\Program Files\\Serv-U\\" << "" << "c:\\program files\\serv-u\\";
        QTest::newRow("drive, forward slashes") << "D:/Pub" << "" << "d:/pub";
        QTest::newRow("unc share") << "\\\\Server\\Share" << "root unc network" << "\\\\server\\share";
        QTest::newRow("unc folder") << "\\\\server\\share\\FTP\\" << "unc network" << "\\\\server\\share\\ftp\\";
        QTest::newRow("slash unc, stored as posix") << "//Server/Share/ftp" << "unc network" << "//Server/Share/ftp";
        QTest::newRow("http") << "http://example.org/ftp" << "url" << "http://example.org/ftp";
        QTest::newRow("file url") << "file:///srv/ftp" << "url" << "file:///srv/ftp";
        QTest::newRow("bare scheme") << "ftp:" << "url" << "ftp:";
        QTest::newRow("blank before the slash") << " /Srv" << "" << " /srv";
        QTest::newRow("relative") << "Srv/Ftp" << "" << "srv/ftp";
    }
    void factsAndStoredCase()
    {
        QFETCH(QString, path);
        QFETCH(QString, stored);
        path.replace(u"%1"_s, m_dir.path());
        const PathFacts facts = pathInfo(path);
        const std::pair<bool, const char*> named[] = {{facts.isRoot, "root"}, {facts.isDirectory, "directory"},
                                                      {facts.isEmptyDirectory, "empty"}, {facts.isUnc, "unc"},
                                                      {facts.isUrl, "url"}, {facts.isNetworkPath, "network"}};
        QStringList set;
        for (const auto& [fact, name] : named)
            if (fact)
                set << QLatin1String(name);
        QTEST(set.join(u' '), "facts");
        QCOMPARE(storedPathCase(path), stored.replace(u"%1"_s, m_dir.path()));
    }
};

QUILLMERE_TEST(TestPathInfo)
#include "TestPathInfo.moc"
