#include "TestMain.h"

#include "limits/Numbers.h"
#include "platform/NumericKeyFilter.h"

#include <QLineEdit>
#include <QTest>

class TestNumbers : public QObject
{
    Q_OBJECT

private slots:
    void readingRoundingAndShowing()
    {
        QCOMPARE(QList<std::optional<double>>({numbers::read(QStringLiteral(" 2.5 ")), numbers::read(QStringLiteral(".5"))}),
                 QList<std::optional<double>>({2.5, 0.5}));
        for (const char* bad : {"", "1.2.3", "5x", "1,5", "--1", "."})
            QVERIFY2(!numbers::read(QLatin1String(bad)), bad);
        QCOMPARE(numbers::readWhole(QStringLiteral("-1")), std::optional<qint64>(-1));
        QVERIFY(!numbers::readWhole(QStringLiteral("1.5")));
        QCOMPARE(QList<double>({numbers::leading(QStringLiteral("12abc")), numbers::leading(QStringLiteral("3.5.1")), numbers::leading({}),
                                numbers::roundHalfEven(1000000.0 / 1048576.0, 3), numbers::roundHalfEven(0.0125, 3), numbers::roundHalfEven(0.0135, 3)}),
                 QList<double>({12.0, 3.5, 0.0, 0.954, 0.012, 0.014}));
        QCOMPARE(QStringList({numbers::show(5.0), numbers::show(0.954), numbers::show(5120.0)}), QStringList({"5", "0.954", "5120"}));
        // The shortest text that reads back to the same number, never an exponent.
        for (const double value : {1000000.0 / 1048576.0, 1.0 / 1048576.0, 1e20, 0.1 + 0.2}) {
            const QString shown = numbers::show(value);
            QVERIFY2(!shown.contains(QLatin1Char('e')), qPrintable(shown));
            QCOMPARE(numbers::read(shown), std::optional<double>(value));
        }
        QVERIFY(numbers::fitsInteger(2147483647.0) && !numbers::fitsInteger(2147483648.0) && !numbers::fitsInteger(1.5));
        QVERIFY(numbers::fitsNumeric(999999999999999999.0 / 2) && !numbers::fitsNumeric(1e18) && !numbers::fitsFloat(1e308 * 10));
    }

    void keyFilter_data()
    {
        QTest::addColumn<QString>("alsoAccepted");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("kept");
        QTest::addColumn<QString>("edited");
        QTest::newRow("numbers") << QString() << "1a2.-3*/8 x" << "12.38" << "2.3";
        QTest::newRow("ip rules") << "/" << "10.0.0.0/8a" << "10.0.0.0/8" << "0.0.0.0/";
    }
    void keyFilter()
    {
        QFETCH(QString, alsoAccepted);
        QFETCH(QString, typed);
        int accepted = 0;
        NumericKeyFilter filter([&accepted] { ++accepted; }, nullptr, alsoAccepted);
        QLineEdit box;
        filter.watch(&box);
        QTest::keyClicks(&box, typed);
        QTEST(box.text(), "kept");
        // Editing keys work: Home, Delete and Backspace change the box; keys that type nothing are not reported.
        const int typedCount = accepted;
        QTest::keyClick(&box, Qt::Key_Home);
        // The Delete key of a real keyboard types "\x7f".
        QTest::sendKeyEvent(QTest::Click, &box, Qt::Key_Delete, QString(QChar(0x7f)), Qt::NoModifier);
        QTest::keyClick(&box, Qt::Key_End);
        QTest::keyClick(&box, Qt::Key_Backspace);
        QTEST(box.text(), "edited");
        QCOMPARE(accepted, typedCount + 2);
    }
};

QUILLMERE_TEST(TestNumbers)
#include "TestNumbers.moc"
