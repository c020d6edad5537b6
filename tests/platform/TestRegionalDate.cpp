#include "TestMain.h"

#include "platform/RegionalDate.h"

#include <QTest>

// The regional short date form with its year always written in four digits.
class TestRegionalDate : public QObject
{
    Q_OBJECT

private slots:
    void twoDigitYearsAreWidened_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("text");
        QTest::newRow("en_US") << "en_US" << "M/d/yyyy" << "3/7/2027";
        QTest::newRow("de_DE") << "de_DE" << "dd.MM.yyyy" << "07.03.2027";
        QTest::newRow("en_GB") << "en_GB" << "dd/MM/yyyy" << "07/03/2027";
        QTest::newRow("C") << "C" << "d MMM yyyy" << "7 Mar 2027";
    }

    void twoDigitYearsAreWidened()
    {
        QFETCH(QString, locale);
        const QLocale regional(locale);
        QTEST(regional::shortDatePattern(regional), "pattern");
        QTEST(regional::shortDate(QDate(2027, 3, 7), regional), "text");
    }

    void timeUsesTheShortForm()
    {
        QCOMPARE(regional::shortTime(QTime(14, 5, 9), QLocale(QStringLiteral("de_DE"))), QStringLiteral("14:05"));
        QCOMPARE(regional::shortTime(QTime(14, 5, 9), QLocale(QStringLiteral("en_US"))), QStringLiteral("2:05 PM"));
    }
};

QUILLMERE_TEST(TestRegionalDate)
#include "TestRegionalDate.moc"
