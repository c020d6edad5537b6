#include "TestMain.h"

#include "platform/DateForm.h"
#include "platform/RegionalDate.h"
#include "platform/SettingsStore.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The installation's one short date form: taken from the locale of the first run,
// with its year always written in four digits, and applied alike under every locale.
class TestDateForm : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

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
        QTemporaryDir dir;
        SettingsStore store({}, dir.filePath(u"serv-u.ini"_s));
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

QUILLMERE_TEST(TestDateForm)
#include "TestDateForm.moc"
