#include "TestMain.h"

#include "platform/DateForm.h"
#include "platform/InstanceLock.h"
#include "platform/PathInfo.h"
#include "platform/SettingsStore.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The operating-system services: the instance lock, the path facts, the settings store over a
// real INI file, and the installation's one short date form kept in it.
class TestPlatform : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QStringList m_lines;
    int m_counter = 0;

    SettingsStore storeAt(const QString& path, SettingsStore::Access access = SettingsStore::Access::ReadWrite)
    {
        return SettingsStore([this](const QString& line) { m_lines.append(line); }, path, access);
    }
    QString freshPath() { return m_dir.filePath(u"%1/serv-u.ini"_s.arg(++m_counter)); }

private slots:
    void initTestCase()
    {
        for (const char* folder : {"empty", "hidden"})
            QVERIFY(QDir().mkpath(m_dir.filePath(QLatin1String(folder))));
        QVERIFY(QFile(m_dir.filePath(u"hidden/.servu"_s)).open(QIODevice::WriteOnly));
    }

    // The socket file of a run that died is replaced, and a runtime folder not there yet is made. (The
    // main window's tests ask a holder to show itself.)
    void instanceLockHeldOnce()
    {
        QTemporaryDir dir;
        InstanceLock first(dir.filePath(u"runtime/Vantrel.lock"_s));
        InstanceLock second(first.lockFilePath());
        QVERIFY(!second.askHolderToShow());
        QVERIFY(QDir().mkpath(dir.filePath(u"runtime"_s)) && QFile(first.socketPath()).open(QIODevice::WriteOnly));
        QVERIFY(first.tryAcquire());
        QVERIFY(first.tryAcquire()); // asking again keeps it
        QVERIFY(QFileInfo::exists(first.socketPath()) && !QFileInfo(first.socketPath()).isFile()); // a listening socket now
        QVERIFY(!second.tryAcquire() && !second.isHeld());
        first.release();
        QVERIFY(!QFile::exists(first.socketPath()));
        QVERIFY(second.tryAcquire());
        QVERIFY(InstanceLock(dir.filePath(u"other/nested/Vantrel.lock"_s)).tryAcquire());
        QVERIFY(InstanceLock::defaultLockFilePath().endsWith(u"/Vantrel.lock"_s));
    }

    // The path facts the configuration window's folder checks rely on, and the case a path is
    // stored in: only a path beginning with "/" keeps its case.
    void pathFactsAndStoredCase_data()
    {
        // "%1" stands for a temporary folder.
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("facts");
        QTest::addColumn<QString>("stored");
        QTest::newRow("empty folder") << "%1/empty" << "directory empty" << "%1/empty";
        QTest::newRow("folder with a hidden file only") << "%1/hidden/" << "directory" << "%1/hidden/";
        QTest::newRow("no path") << "" << "" << "";
        QTest::newRow("system root") << "/" << "root directory" << "/";
        QTest::newRow("posix") << "/srv/ftp/Incoming" << "" << "/srv/ftp/Incoming";
        QTest::newRow("drive root") << "C:\\" << "root" << "c:\\";
        QTest::newRow("unc share") << "\\\\Server\\Share" << "root unc network" << "\\\\server\\share";
        QTest::newRow("slash unc, stored as posix") << "//Server/Share/ftp" << "unc network" << "//Server/Share/ftp";
        QTest::newRow("url") << "http://example.org/ftp" << "url" << "http://example.org/ftp";
        QTest::newRow("blank before the slash") << " /Srv" << "" << " /srv";
    }
    void pathFactsAndStoredCase()
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

    // The settings key alone does not mark a configured installation; other programs read the same key
    // paths; a read-only store never writes; values stop at the read buffers; and the installation's date form.
    void settingsFromTheFirstRunOn()
    {
        const QString path = freshPath();
        auto store = storeAt(path);
        QVERIFY(store.saveRegSetting(u"servu_path"_s, u"/opt/ftp/"_s) && !store.connectionKeyExists());
        const QString tricky = u"Provider=SQLOLEDB.1;Data Source=host,1433;Password=\"a;b\";User ID=o'hara"_s;
        QVERIFY(store.saveConnectionString(tricky) && store.connectionKeyExists());
        QCOMPARE(QSettings(path, QSettings::IniFormat).value(u"software/Orvane/serv-u/connectionstring/Default"_s).toString(), tricky);
        QVERIFY(!storeAt(path, SettingsStore::Access::ReadOnly).saveConnectionString(u"changed"_s));
        QCOMPARE(store.readConnectionString(), tricky);

        store.saveRegSetting(u"ini_path"_s, QString(300, u't'));
        QCOMPARE(store.getRegSettings(u"ini_path"_s), QString(254, u't'));
        store.saveConnectionString(QString(1100, u'c'));
        QCOMPARE(store.readConnectionString(), QString(1023, u'c'));

        // The date form: the first run takes the locale's short form with a four-digit year; a later run under
        // another locale keeps it, and a stored one that cannot hold a date is replaced. (The sweep's tests read
        // and write stored dates in the installation's form under other locales.)
        QCOMPARE(DateForm::forInstallation(store, QLocale(u"en_US"_s)).pattern(), u"M/d/yyyy"_s);
        QCOMPARE(DateForm::forInstallation(store, QLocale(u"ja_JP"_s)).pattern(), u"M/d/yyyy"_s);
        for (const char* unusable : {"", "M/d/yy", "MM/yyyy", "hh:mm"}) {
            store.saveRegSetting(DateForm::SettingName, QLatin1String(unusable));
            QCOMPARE(DateForm::forInstallation(store, QLocale(u"en_GB"_s)).pattern(), u"dd/MM/yyyy"_s);
        }
        store.saveRegSetting(DateForm::SettingName, u"dddd, d MMMM yyyy"_s);
        QCOMPARE(DateForm::forInstallation(store, QLocale::c()).pattern(), u"dddd, d MMMM yyyy"_s);
    }

    // Files the store did not write: what it reads from them, the code a save logs, and that a
    // save that cannot land fails and spoils no later read.
    void settingsFilesItDidNotWrite_data()
    {
        QTest::addColumn<QString>("setUp"); // "file" holds the bytes; "folder" stands in its place; "under a file": its parent is a file
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("connection");
        QTest::addColumn<QString>("servuPath");
        QTest::addColumn<QStringList>("saveLines");
        QTest::addColumn<bool>("lands");
        QByteArray garbage;
        for (int i = 0; i < 4096; ++i)
            garbage.append(static_cast<char>((i * 7919) % 256));
        const QByteArray software = "[software]\nOrvane\\serv-u\\";
        QTest::newRow("a folder, whatever the rights") << "folder" << QByteArray() << "" << "" << QStringList{"error: 5"} << false;
        QTest::newRow("cannot be created") << "under a file" << QByteArray() << "" << ""
                                           << QStringList{"file not found, create key", "create key return code: 5"} << false;
        // Nothing can be made beside a file whose name is as long as a name may be, not even by root: the save's
        // lock and temporary files fail as in a folder that cannot be written, while the file itself can.
        QTest::newRow("no room beside it") << "long name" << software + "connectionstring\\Default=\"Provider=SQLite;Data Source=a.db\"\n"
                                                                        "Orvane\\serv-u\\settings\\servu_path=/opt/old/\n"
                                           << "Provider=SQLite;Data Source=a.db" << "/opt/old/" << QStringList{"No error"} << false;
        QTest::newRow("unparsable") << "file" << QByteArray("[software\nOrvane\\serv-u\\connectionstring\\Default=abc\n") << "" << ""
                                    << QStringList{"error: 13"} << false;
        QTest::newRow("binary garbage") << "file" << garbage << "" << ""
                                        << QStringList{"file not found, create key", "create key return code: 0"} << false;
        QTest::newRow("hand edits and a list value") << "file"
                                                     << "; edited by hand\n=novalue\nthis is = = not\n" + software
                                                            + "settings\\note=kept\nOrvane\\serv-u\\settings\\servu_path=/srv/a,b\n"
                                                     << "" << "/srv/a,b" << QStringList{"No error"} << true;
    }
    void settingsFilesItDidNotWrite()
    {
        QFETCH(QString, setUp);
        QFETCH(QByteArray, bytes);
        QFETCH(bool, lands);
        QString path = setUp == u"long name" ? m_dir.filePath(QString(251, u's') + u".ini"_s) : freshPath();
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        if (setUp == u"folder")
            QVERIFY(QDir().mkpath(path));
        else {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        }
        if (setUp == u"under a file")
            path += u"/serv-u.ini"_s;

        auto store = storeAt(path);
        if (setUp == u"folder") // not a first run: the key is there, only unreadable
            QVERIFY(store.connectionKeyExists());
        QTEST(store.readConnectionString(), "connection");
        QTEST(store.getRegSettings(u"servu_path"_s), "servuPath");
        m_lines.clear();
        QCOMPARE(store.saveRegSetting(u"servu_path"_s, u"/opt/new/"_s), lands);
        QTEST(m_lines, "saveLines");
        QCOMPARE(store.saveConnectionString(u"Provider=SQLite;Data Source=b.db"_s), lands);
        if (lands) {
            QCOMPARE(store.readConnectionString(), u"Provider=SQLite;Data Source=b.db"_s);
            QCOMPARE(store.getRegSettings(u"servu_path"_s), u"/opt/new/"_s);
            QCOMPARE(store.getRegSettings(u"note"_s), u"kept"_s);
            return;
        }
        for (const SettingsStore& reader : {store, storeAt(path, SettingsStore::Access::ReadOnly)}) {
            QTEST(reader.readConnectionString(), "connection");
            QTEST(reader.getRegSettings(u"servu_path"_s), "servuPath");
        }
        QFile file(path);
        QCOMPARE(file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray(), bytes);
    }
};

QUILLMERE_TEST(TestPlatform)
#include "TestPlatform.moc"
