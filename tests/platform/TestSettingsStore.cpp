#include "TestMain.h"

#include "platform/DateForm.h"
#include "platform/RegionalDate.h"
#include "platform/SettingsStore.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The settings store over a real INI file: the first-run marker, the value limits,
// the trace lines and the behaviour of a store that cannot be used; and the
// installation's one short date form kept in it, taken from the locale of the first
// run with a four-digit year and applied alike under every locale.
class TestSettingsStore : public QObject
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
    void init() { m_lines.clear(); }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void freshStoreFromTheFirstRunOn()
    {
        const QString path = freshPath();
        auto store = storeAt(path);
        QVERIFY(!store.connectionKeyExists());
        QCOMPARE(store.readConnectionString(), QString());
        QCOMPARE(store.getRegSettings(u"ini_path"_s), QString());
        QVERIFY(!QFile::exists(path));

        // The settings key alone does not mark a configured installation.
        QVERIFY(store.saveRegSetting(u"servu_path"_s, u"/opt/ftp/"_s));
        QVERIFY(!store.connectionKeyExists());
        QVERIFY(store.saveConnectionString(u"Provider=SQLite;Data Source=/srv/accounts.db"_s));
        QVERIFY(store.connectionKeyExists());
        const QString tricky = u"Provider=SQLOLEDB.1;Data Source=host,1433;Password=\"a;b\";User ID=o'hara"_s;
        QVERIFY(store.saveConnectionString(tricky));
        QVERIFY(store.saveRegSetting(u"ftp_directory"_s, u"/srv/ftp/"_s));
        QCOMPARE(store.getRegSettings(u"never_saved"_s), QString());
        const QString read = u"RegSetValueEx hkey, settingName, 0, REG_SZ, settingValue, Len(settingValue)"_s;
        QCOMPARE(m_lines, QStringList({read, "file not found, create key", "create key return code: 0", "registry", "open the registry",
                                       "file not found, create key", "registry", "open the registry", "No error", "No error", read}));
        QCOMPARE(store.readConnectionString(), tricky);
        QCOMPARE(store.getRegSettings(u"servu_path"_s), u"/opt/ftp/"_s);

        // Other programs read the same key paths; a read-only store reads and never writes.
        QSettings raw(path, QSettings::IniFormat);
        QCOMPARE(raw.value(u"software/Orvane/serv-u/connectionstring/Default"_s).toString(), tricky);
        QCOMPARE(raw.value(u"software/Orvane/serv-u/settings/ftp_directory"_s).toString(), u"/srv/ftp/"_s);
        auto reader = storeAt(path, SettingsStore::Access::ReadOnly);
        QCOMPARE(reader.readConnectionString(), tricky);
        QVERIFY(!reader.saveConnectionString(u"changed"_s));
        QCOMPARE(store.readConnectionString(), tricky);

        // Values stop at the read buffers.
        store.saveRegSetting(u"ini_path"_s, QString(254, u's'));
        QCOMPARE(store.getRegSettings(u"ini_path"_s), QString(254, u's'));
        store.saveRegSetting(u"ini_path"_s, QString(300, u't'));
        QCOMPARE(store.getRegSettings(u"ini_path"_s), QString(254, u't'));
        store.saveConnectionString(QString(1100, u'c'));
        QCOMPARE(store.readConnectionString(), QString(1023, u'c'));
    }

    // Files the store did not write: what it reads from them, what a save logs, and
    // that a save that cannot land fails and spoils no later read.
    void filesItDidNotWrite_data()
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
        const QStringList created{"file not found, create key", "create key return code: 0"};
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
        QTest::newRow("binary garbage") << "file" << garbage << "" << "" << created << false;
        QTest::newRow("odd hand edits") << "file" << "; edited by hand\n=novalue\nthis is = = not\n" + software + "settings\\note=kept\n" << ""
                                        << "" << QStringList{"No error"} << true;
        QTest::newRow("hand-edited list value") << "file" << software + "settings\\servu_path=/srv/a,b\n" << "" << "/srv/a,b"
                                                << QStringList{"No error"} << true;
    }
    void filesItDidNotWrite()
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
            QCOMPARE(store.getRegSettings(u"note"_s), bytes.contains("note=kept") ? u"kept"_s : QString());
            return;
        }
        for (const SettingsStore& reader : {store, storeAt(path, SettingsStore::Access::ReadOnly)}) {
            QTEST(reader.readConnectionString(), "connection");
            QTEST(reader.getRegSettings(u"servu_path"_s), "servuPath");
        }
        QFile file(path);
        QCOMPARE(file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray(), bytes);
    }

    void firstRunTakesTheLocaleWithFourDigitYears_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("text");
        QTest::newRow("en_US") << "en_US" << "M/d/yyyy" << "3/7/2027";
        QTest::newRow("de_DE") << "de_DE" << "dd.MM.yyyy" << "07.03.2027";
        QTest::newRow("en_GB") << "en_GB" << "dd/MM/yyyy" << "07/03/2027";
        QTest::newRow("C") << "C" << "d MMM yyyy" << "7 Mar 2027";
    }
    void firstRunTakesTheLocaleWithFourDigitYears()
    {
        QFETCH(QString, locale);
        QFETCH(QString, pattern);
        auto store = storeAt(freshPath());
        const DateForm first = DateForm::forInstallation(store, QLocale(locale));
        QCOMPARE(first.pattern(), pattern);
        QTEST(first.format(QDate(2027, 3, 7)), "text");
        QCOMPARE(store.getRegSettings(DateForm::SettingName), pattern);
        // A later run under another locale keeps the stored form; a stored one that cannot hold a date is replaced.
        QCOMPARE(DateForm::forInstallation(store, QLocale(u"ja_JP"_s)).pattern(), pattern);
        store.saveRegSetting(DateForm::SettingName, u"yy"_s);
        QCOMPARE(DateForm::forInstallation(store, QLocale(locale)).pattern(), pattern);
    }

    void readsAndWritesAlikeUnderEveryLocale_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("processLocale");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDate>("date"); // invalid: not a date
        QTest::addColumn<QString>("written");
        const QDate december(2026, 12, 1);
        QTest::newRow("en_GB form under en_US") << "dd/MM/yyyy" << "en_US" << "01/12/2026" << december << "01/12/2026";
        QTest::newRow("en_US form under en_GB") << "M/d/yyyy" << "en_GB" << "12/1/2026" << december << "12/1/2026";
        QTest::newRow("de_DE form under en_US") << "dd.MM.yyyy" << "en_US" << "01.12.2026" << december << "01.12.2026";
        QTest::newRow("C form under de_DE") << "d MMM yyyy" << "de_DE" << "1 Dec 2026" << december << "1 Dec 2026";
        QTest::newRow("two-digit year, this century") << "dd/MM/yyyy" << "en_US" << "01/12/26" << december << "01/12/2026";
        QTest::newRow("two-digit year, last century") << "dd/MM/yyyy" << "en_US" << "01/12/99" << QDate(1999, 12, 1) << "01/12/1999";
        QTest::newRow("another form") << "dd/MM/yyyy" << "en_US" << "2026-12-01" << QDate() << "";
        QTest::newRow("no date") << "M/d/yyyy" << "en_US" << "soon" << QDate() << "";
    }
    void readsAndWritesAlikeUnderEveryLocale()
    {
        QFETCH(QString, pattern);
        QFETCH(QString, processLocale);
        QFETCH(QString, text);
        QFETCH(QDate, date);
        QLocale::setDefault(QLocale(processLocale));
        const DateForm form(pattern);
        QCOMPARE(form.read(text, QDate(2026, 11, 22)).value_or(QDate()), date);
        if (date.isValid())
            QTEST(form.format(date), "written");
    }

    void onlyFormsThatHoldADateAreUsableAndTimesAreShort()
    {
        for (const char* usable : {"M/d/yyyy", "yyyy-MM-dd", "d MMM yyyy", "dddd, d MMMM yyyy"})
            QVERIFY2(DateForm::isUsable(QLatin1String(usable)), usable);
        for (const char* unusable : {"", "M/d/yy", "MM/yyyy", "d.M.", "hh:mm"})
            QVERIFY2(!DateForm::isUsable(QLatin1String(unusable)), unusable);
        QCOMPARE(regional::shortTime(QTime(14, 5, 9), QLocale(u"de_DE"_s)), u"14:05"_s);
        QCOMPARE(regional::shortTime(QTime(14, 5, 9), QLocale(u"en_US"_s)), u"2:05 PM"_s);
    }
};

QUILLMERE_TEST(TestSettingsStore)
#include "TestSettingsStore.moc"
