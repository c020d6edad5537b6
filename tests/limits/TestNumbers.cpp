#include "TestMain.h"

#include "limits/Numbers.h"
#include "platform/NumericKeyFilter.h"

#include <QLineEdit>
#include <QTest>

class TestNumbers : public QObject
{
    Q_OBJECT

private slots:
    void readingTypedNumbers()
    {
        QCOMPARE(numbers::read(QStringLiteral(" 2.5 ")), std::optional<double>(2.5));
        QCOMPARE(numbers::read(QStringLiteral(".5")), std::optional<double>(0.5));
        for (const char* bad : {"", "1.2.3", "5x", "1,5", "--1", "."})
            QVERIFY2(!numbers::read(QLatin1String(bad)), bad);
        QCOMPARE(numbers::readWhole(QStringLiteral("-1")), std::optional<qint64>(-1));
        QVERIFY(!numbers::readWhole(QStringLiteral("1.5")));
        QCOMPARE(numbers::leading(QStringLiteral("12abc")), 12.0);
        QCOMPARE(numbers::leading(QStringLiteral("3.5.1")), 3.5);
        QCOMPARE(numbers::leading(QString()), 0.0);
    }

    void roundingAndShowing()
    {
        QCOMPARE(numbers::roundHalfEven(1000000.0 / 1048576.0, 3), 0.954);
        QCOMPARE(numbers::roundHalfEven(0.0125, 3), 0.012);
        QCOMPARE(numbers::roundHalfEven(0.0135, 3), 0.014);
        QCOMPARE(numbers::show(5.0), QStringLiteral("5"));
        QCOMPARE(numbers::show(0.954), QStringLiteral("0.954"));
        QCOMPARE(numbers::show(5120.0), QStringLiteral("5120"));
    }

    void keyFilterLetsDigitsAndPointThrough()
    {
        int accepted = 0;
        NumericKeyFilter filter([&accepted] { ++accepted; });
        QLineEdit box;
        filter.watch(&box);
        QTest::keyClicks(&box, QStringLiteral("1a2.-3*/8 x"));
        QCOMPARE(box.text(), QStringLiteral("12.3/8"));
        QCOMPARE(accepted, 6);
        QTest::keyClick(&box, Qt::Key_Backspace);
        QCOMPARE(box.text(), QStringLiteral("12.3/"));
        QCOMPARE(accepted, 7);
        // Keys that type nothing are not judged.
        QTest::keyClick(&box, Qt::Key_Left);
        QCOMPARE(accepted, 7);
    }
};

QUILLMERE_TEST(TestNumbers)
#include "TestNumbers.moc"
