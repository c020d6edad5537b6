#include "TestMain.h"

#include "platform/SettingsStore.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

// The settings store over a real INI file: the first-run marker, the value limits,
// the trace lines and the behaviour of a store that cannot be used.
class TestSettingsStore : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QStringList m_lines;

    SettingsStore storeAt(const QString& path, SettingsStore::Access access = SettingsStore::Access::ReadWrite)
    {
        return SettingsStore([this](const QString& line) { m_lines.append(line); }, path, access);
    }
    QString freshPath() { return m_dir.filePath(QStringLiteral("%1/serv-u.ini").arg(++m_counter)); }
    int m_counter = 0;

private slots:
    void init() { m_lines.clear(); }

    void missingStoreReadsEmptyAndMeansFirstRun()
    {
        auto store = storeAt(freshPath());
        QVERIFY(!store.connectionKeyExists());
        QCOMPARE(store.readConnectionString(), QString());
        QCOMPARE(store.getRegSettings(QStringLiteral("ini_path")), QString());
        QVERIFY(!QFile::exists(store.filePath()));
    }

    void firstSaveCreatesTheKeyAndLogsEachStep()
    {
        auto store = storeAt(freshPath());
        QVERIFY(store.saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=/srv/accounts.db")));
        QCOMPARE(m_lines, QStringList({"registry", "open the registry", "file not found, create key"}));
        QVERIFY(store.connectionKeyExists());
        QCOMPARE(store.readConnectionString(), QStringLiteral("Provider=SQLite;Data Source=/srv/accounts.db"));

        m_lines.clear();
        QVERIFY(store.saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=/srv/other.db")));
        QCOMPARE(m_lines, QStringList({"registry", "open the registry", "No error"}));
        QCOMPARE(store.readConnectionString(), QStringLiteral("Provider=SQLite;Data Source=/srv/other.db"));
    }

    void settingsKeyLogsCreationThenNoError()
    {
        auto store = storeAt(freshPath());
        store.saveConnectionString(QStringLiteral("x"));
        m_lines.clear();
        store.saveRegSetting(QStringLiteral("servu_path"), QStringLiteral("/opt/ftp/"));
        QCOMPARE(m_lines, QStringList({"file not found, create key", "create key return code: 0"}));
        m_lines.clear();
        store.saveRegSetting(QStringLiteral("ftp_directory"), QStringLiteral("/srv/ftp/"));
        QCOMPARE(m_lines, QStringList({"No error"}));

        m_lines.clear();
        QCOMPARE(store.getRegSettings(QStringLiteral("servu_path")), QStringLiteral("/opt/ftp/"));
        QCOMPARE(store.getRegSettings(QStringLiteral("never_saved")), QString());
        const QString readLine = QStringLiteral("RegSetValueEx hkey, settingName, 0, REG_SZ, settingValue, Len(settingValue)");
        QCOMPARE(m_lines, QStringList({readLine, readLine}));
    }

    void settingsKeyDoesNotMarkAConfiguredInstallation()
    {
        auto store = storeAt(freshPath());
        store.saveRegSetting(QStringLiteral("servu_path"), QStringLiteral("/opt/ftp/"));
        QVERIFY(!store.connectionKeyExists());
    }

    void valueLengthsStopAtTheReadBuffers()
    {
        auto store = storeAt(freshPath());
        const QString exactly254(254, QLatin1Char('s'));
        store.saveRegSetting(QStringLiteral("ini_path"), exactly254);
        QCOMPARE(store.getRegSettings(QStringLiteral("ini_path")), exactly254);

        store.saveRegSetting(QStringLiteral("ini_path"), QString(300, QLatin1Char('t')));
        QCOMPARE(store.getRegSettings(QStringLiteral("ini_path")), QString(254, QLatin1Char('t')));

        store.saveConnectionString(QString(1100, QLatin1Char('c')));
        QCOMPARE(store.readConnectionString(), QString(1023, QLatin1Char('c')));
    }

    void otherProgramsReadTheSameKeyPaths()
    {
        const QString path = freshPath();
        auto store = storeAt(path);
        store.saveConnectionString(QStringLiteral("Provider=PostgreSQL;Data Source=db;Initial Catalog=ftp"));
        store.saveRegSetting(QStringLiteral("ini_path"), QStringLiteral("/opt/ftp/serv-u.ini"));

        QSettings raw(path, QSettings::IniFormat);
        QCOMPARE(raw.value(QStringLiteral("software/Orvane/serv-u/connectionstring/Default")).toString(),
                 QStringLiteral("Provider=PostgreSQL;Data Source=db;Initial Catalog=ftp"));
        QCOMPARE(raw.value(QStringLiteral("software/Orvane/serv-u/settings/ini_path")).toString(),
                 QStringLiteral("/opt/ftp/serv-u.ini"));

        auto reader = storeAt(path, SettingsStore::Access::ReadOnly);
        QCOMPARE(reader.readConnectionString(), QStringLiteral("Provider=PostgreSQL;Data Source=db;Initial Catalog=ftp"));
        QVERIFY(!reader.saveConnectionString(QStringLiteral("changed")));
        QCOMPARE(store.readConnectionString(), QStringLiteral("Provider=PostgreSQL;Data Source=db;Initial Catalog=ftp"));
    }

    void environmentNamesTheStore()
    {
        const QByteArray before = qgetenv("QUILLMERE_SETTINGS");
        qputenv("QUILLMERE_SETTINGS", "/somewhere/else.ini");
        QCOMPARE(SettingsStore::defaultFilePath(), QStringLiteral("/somewhere/else.ini"));
        qunsetenv("QUILLMERE_SETTINGS");
        QCOMPARE(SettingsStore::defaultFilePath(), QStringLiteral("/etc/xdg/Orvane/serv-u.ini"));
        if (!before.isEmpty())
            qputenv("QUILLMERE_SETTINGS", before);
    }

    void storeThatCannotBeOpenedReadsEmpty()
    {
        // A folder where the file should be cannot be opened, whatever the rights.
        const QString path = freshPath();
        QVERIFY(QDir().mkpath(path));
        auto store = storeAt(path);
        QVERIFY(store.connectionKeyExists()); // not a first run: the key is there, only unreadable
        QCOMPARE(store.readConnectionString(), QString());
        QVERIFY(!store.saveConnectionString(QStringLiteral("x")));
        m_lines.clear();
        store.saveRegSetting(QStringLiteral("servu_path"), QStringLiteral("/opt/"));
        QCOMPARE(m_lines, QStringList({"error: 5"}));
    }

    void storeThatCannotBeCreatedFailsQuietly()
    {
        // The parent of the store is a plain file, so the store can never be created.
        const QString blocker = m_dir.filePath(QStringLiteral("blocker"));
        QFile file(blocker);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        auto store = storeAt(blocker + QStringLiteral("/serv-u.ini"));
        QVERIFY(!store.saveConnectionString(QStringLiteral("x")));
        m_lines.clear();
        store.saveRegSetting(QStringLiteral("servu_path"), QStringLiteral("/opt/"));
        QCOMPARE(m_lines, QStringList({"file not found, create key", "create key return code: 5"}));
        QCOMPARE(store.getRegSettings(QStringLiteral("servu_path")), QString());
    }

    void saveThatCannotLandFailsAndSpoilsNoRead()
    {
        // Nothing can be made beside a file whose name is as long as a name may be, not
        // even by root: the save's lock and temporary files fail as in a folder that
        // cannot be written, while the file itself can.
        const QString path = m_dir.filePath(QString(251, QLatin1Char('s')) + QStringLiteral(".ini"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[software]\nOrvane\\serv-u\\connectionstring\\Default=\"Provider=SQLite;Data Source=a.db\"\n"
                   "Orvane\\serv-u\\settings\\servu_path=/opt/old/\n");
        file.close();

        auto store = storeAt(path);
        QVERIFY(!store.saveRegSetting(QStringLiteral("servu_path"), QStringLiteral("/opt/new/")));
        QVERIFY(!store.saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=b.db")));
        for (const SettingsStore& reader : {store, storeAt(path, SettingsStore::Access::ReadOnly)}) {
            QCOMPARE(reader.getRegSettings(QStringLiteral("servu_path")), QStringLiteral("/opt/old/"));
            QCOMPARE(reader.readConnectionString(), QStringLiteral("Provider=SQLite;Data Source=a.db"));
        }
    }

    void unparsableFileReadsEmptyAndIsNotOverwritten()
    {
        const QString path = freshPath();
        QDir().mkpath(QFileInfo(path).absolutePath());
        const QByteArray nonsense("[software\nOrvane\\serv-u\\connectionstring\\Default=abc\n");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(nonsense);
        file.close();

        auto store = storeAt(path);
        QCOMPARE(store.readConnectionString(), QString());
        QCOMPARE(store.getRegSettings(QStringLiteral("servu_path")), QString());
        QVERIFY(!store.saveConnectionString(QStringLiteral("y")));
        m_lines.clear();
        store.saveRegSetting(QStringLiteral("servu_path"), QStringLiteral("/opt/"));
        QCOMPARE(m_lines, QStringList({"error: 13"}));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), nonsense);
    }

    void oddHandEditsKeepTheirOtherEntries()
    {
        const QString path = freshPath();
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("; edited by hand\n=novalue\nthis is = = not\n[software]\nOrvane\\serv-u\\settings\\note=kept\n");
        file.close();

        auto store = storeAt(path);
        QCOMPARE(store.readConnectionString(), QString());
        QVERIFY(store.saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=a.db")));
        QCOMPARE(store.readConnectionString(), QStringLiteral("Provider=SQLite;Data Source=a.db"));
        QCOMPARE(store.getRegSettings(QStringLiteral("note")), QStringLiteral("kept"));
    }

    void binaryGarbageReadsEmpty()
    {
        const QString path = freshPath();
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QByteArray garbage;
        for (int i = 0; i < 4096; ++i)
            garbage.append(static_cast<char>((i * 7919) % 256));
        file.write(garbage);
        file.close();
        auto store = storeAt(path);
        QCOMPARE(store.readConnectionString(), QString());
        QCOMPARE(store.getRegSettings(QStringLiteral("ftp_directory")), QString());
    }

    void handEditedListValueReadsAsOneText()
    {
        const QString path = freshPath();
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[software]\nOrvane\\serv-u\\settings\\ftp_directory=/srv/a,b\n");
        file.close();
        QCOMPARE(storeAt(path).getRegSettings(QStringLiteral("ftp_directory")), QStringLiteral("/srv/a,b"));
    }

    void valuesWithQuotesAndSeparatorsSurvive()
    {
        auto store = storeAt(freshPath());
        const QString tricky = QStringLiteral("Provider=SQLOLEDB.1;Data Source=host,1433;Password=\"a;b\";User ID=o'hara");
        store.saveConnectionString(tricky);
        QCOMPARE(store.readConnectionString(), tricky);
    }
};

QUILLMERE_TEST(TestSettingsStore)
#include "TestSettingsStore.moc"
