#include "TestEnvironment.h"
#include "TestMain.h"

#include "limits/MonthCalendar.h"

#include <QApplication>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

// A calendar whose clock says `today`; the year box is filled from the clock when
// the calendar is created, so the clock is set first.
struct Calendar
{
    explicit Calendar(const QDate& today = QDate(2026, 11, 22))
    {
        env.clock.setNow(QDateTime(today, QTime(9, 30)));
        widget = std::make_unique<MonthCalendar>(env.context);
    }

    QWidget* grid() const { return widget->findChild<QWidget*>(QStringLiteral("picMonth")); }
    QComboBox* box(const QString& name) const { return widget->findChild<QComboBox*>(name); }
    QString heading() const { return widget->findChild<QLabel*>(QStringLiteral("lblMonth"))->text(); }
    QPoint centreOf(int column, int row) const
    {
        return {column * widget->cellWidth() + widget->cellWidth() / 2, row * widget->cellHeight() + widget->cellHeight() / 2};
    }
    // The date, and the boxes and the heading that follow it.
    void expectShown(const QDate& date, const QString& monthItem) const
    {
        QCOMPARE(widget->currentDate(), date);
        QCOMPARE(box(QStringLiteral("cboMonth"))->currentText(), monthItem);
        QCOMPARE(box(QStringLiteral("cboYear"))->currentText(), QString::number(date.year()));
        QCOMPARE(heading(), QLocale().toString(date, QStringLiteral("MMMM yyyy")));
    }
    void pick(const QString& boxName, const QString& item) const
    {
        QComboBox* combo = box(boxName);
        const int index = combo->findText(item);
        QVERIFY2(index >= 0, qPrintable(item));
        combo->setCurrentIndex(index);
        emit combo->activated(index);
    }

    TestEnvironment env;
    std::unique_ptr<MonthCalendar> widget;
};

} // namespace

// The date picker of the account options dialog, driven by mouse, keys and its boxes.
class TestMonthCalendar : public QObject
{
    Q_OBJECT

private slots:
    void init() { QLocale::setDefault(QLocale(QStringLiteral("en_US"))); }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void daysSitInTheirWeekdayCells_data()
    {
        QTest::addColumn<QDate>("date");
        QTest::addColumn<int>("column");
        QTest::addColumn<int>("row");
        // August 2026 starts on a Saturday and needs a sixth row for its 30th and 31st.
        QTest::newRow("Sat start, 1st") << QDate(2026, 8, 1) << 6 << 0;
        QTest::newRow("Sat start, 30th") << QDate(2026, 8, 30) << 0 << 5;
        QTest::newRow("Sat start, 31st") << QDate(2026, 8, 31) << 1 << 5;
        // February 2026 starts on a Sunday in a common year and fills exactly four rows.
        QTest::newRow("Sun start Feb, 1st") << QDate(2026, 2, 1) << 0 << 0;
        QTest::newRow("Sun start Feb, 28th") << QDate(2026, 2, 28) << 6 << 3;
        QTest::newRow("Wed start, 30th") << QDate(2026, 4, 30) << 4 << 4;
    }
    void daysSitInTheirWeekdayCells()
    {
        QFETCH(QDate, date);
        QFETCH(int, column);
        QFETCH(int, row);
        Calendar cal;
        MonthCalendar& calendar = *cal.widget;
        QCOMPARE(calendar.objectName(), QStringLiteral("fraCal1"));
        QCOMPARE(calendar.cellWidth(), (cal.grid()->contentsRect().width() - 1) / 7);
        QCOMPARE(calendar.cellHeight(), (cal.grid()->contentsRect().height() - 1) / 6);
        QVERIFY(calendar.cellWidth() >= 30 && calendar.cellHeight() >= 20);

        // Start on another day of that month, so that the click has something to change.
        calendar.setDate(QDate(date.year(), date.month(), date.day() == 1 ? 2 : 1));
        const int width = calendar.cellWidth();
        const int height = calendar.cellHeight();
        QCOMPARE(calendar.cellRect(date.day()), QRect(column * width, row * height, width, height));
        QCOMPARE(calendar.rowOfDay(date.day()), row);
        QTest::mouseClick(cal.grid(), Qt::LeftButton, {}, calendar.cellRect(date.day()).center());
        QCOMPARE(calendar.currentDate(), date);
    }

    void clicksOnEmptyCellsChangeNothing()
    {
        Calendar cal;
        MonthCalendar& calendar = *cal.widget;
        calendar.setDate(QDate(2026, 4, 15)); // April 2026 starts on a Wednesday
        QTest::mouseClick(cal.grid(), Qt::LeftButton, {}, cal.centreOf(0, 0));
        QCOMPARE(calendar.currentDate(), QDate(2026, 4, 15));
        QVERIFY(cal.env.log.contains(QStringLiteral("Determine which date is being clicked")));
        QVERIFY(cal.env.log.contains(QStringLiteral("Get last day of current month")));
        QTest::mouseClick(cal.grid(), Qt::LeftButton, {}, cal.centreOf(5, 4)); // the cell after the 30th
        QCOMPARE(calendar.currentDate(), QDate(2026, 4, 15));
        QTest::mouseClick(cal.grid(), Qt::LeftButton, {}, cal.centreOf(3, 0));
        QCOMPARE(calendar.currentDate(), QDate(2026, 4, 1));
        // Any button picks a day.
        QTest::mouseClick(cal.grid(), Qt::RightButton, {}, cal.centreOf(1, 1));
        QCOMPARE(calendar.currentDate(), QDate(2026, 4, 6));
    }

    // A key moves across months and years; a month or year picked in its box rolls a day past the month's end over.
    void movesAcrossMonthsAndYears_data()
    {
        QTest::addColumn<QDate>("start");
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("item");
        QTest::addColumn<QDate>("expected");
        QTest::addColumn<QString>("monthItem");
        const auto key = [](const char* name, QDate start, Qt::Key pressed, QDate expected, const char* month) {
            QTest::newRow(name) << start << int(pressed) << QString() << QString() << expected << QString::fromLatin1(month);
        };
        key("Right on a month's last day", QDate(2026, 4, 30), Qt::Key_Right, QDate(2026, 5, 1), "May");
        key("Right on 31 December", QDate(2026, 12, 31), Qt::Key_Right, QDate(2027, 1, 1), "January");
        key("Left on 1 March, leap", QDate(2028, 3, 1), Qt::Key_Left, QDate(2028, 2, 29), "Febuary");
        key("Down into December", QDate(2026, 11, 28), Qt::Key_Down, QDate(2026, 12, 5), "December");
        key("Up into last year", QDate(2027, 1, 3), Qt::Key_Up, QDate(2026, 12, 27), "December");
        key("PageDown 31 Jan", QDate(2026, 1, 31), Qt::Key_PageDown, QDate(2026, 2, 28), "Febuary");
        key("PageDown 31 Jan, leap", QDate(2028, 1, 31), Qt::Key_PageDown, QDate(2028, 2, 29), "Febuary");
        key("PageUp into last year", QDate(2027, 1, 15), Qt::Key_PageUp, QDate(2026, 12, 15), "December");
        const auto pick = [](const char* name, QDate start, const char* box, const char* item, QDate expected, const char* month) {
            QTest::newRow(name) << start << 0 << QString::fromLatin1(box) << QString::fromLatin1(item) << expected
                                << QString::fromLatin1(month);
        };
        pick("Febuary on 31 Jan", QDate(2026, 1, 31), "cboMonth", "Febuary", QDate(2026, 3, 3), "March");
        pick("Febuary on 31 Jan, leap", QDate(2028, 1, 31), "cboMonth", "Febuary", QDate(2028, 3, 2), "March");
        pick("April on 31 March", QDate(2026, 3, 31), "cboMonth", "April", QDate(2026, 5, 1), "May");
        pick("Febuary mid-month", QDate(2026, 6, 14), "cboMonth", "Febuary", QDate(2026, 2, 14), "Febuary");
        pick("29 Feb to a common year", QDate(2028, 2, 29), "cboYear", "2029", QDate(2029, 3, 1), "March");
        pick("29 Feb to a leap year", QDate(2028, 2, 29), "cboYear", "2032", QDate(2032, 2, 29), "Febuary");
    }
    void movesAcrossMonthsAndYears()
    {
        QFETCH(QDate, start);
        QFETCH(int, key);
        QFETCH(QString, box);
        QFETCH(QString, item);
        QFETCH(QDate, expected);
        QFETCH(QString, monthItem);
        Calendar cal;
        cal.widget->setDate(start);
        if (key != 0)
            QTest::keyClick(cal.grid(), Qt::Key(key));
        else
            cal.pick(box, item);
        cal.expectShown(expected, monthItem);
    }

    void enterAndEscapeOnlySignalOtherKeysPassOn()
    {
        Calendar cal;
        MonthCalendar& calendar = *cal.widget;
        calendar.setDate(QDate(2026, 11, 10));
        QSignalSpy enter(&calendar, &MonthCalendar::enterPressed);
        QSignalSpy escape(&calendar, &MonthCalendar::escapePressed);
        QSignalSpy accepted(&calendar, &MonthCalendar::accepted);
        QSignalSpy cancelled(&calendar, &MonthCalendar::cancelled);
        QTest::keyClick(cal.grid(), Qt::Key_Return);
        QTest::keyClick(cal.grid(), Qt::Key_Enter);
        QTest::keyClick(cal.grid(), Qt::Key_Escape);
        QCOMPARE(enter.count(), 2);
        QCOMPARE(escape.count(), 1);
        QCOMPARE(accepted.count() + cancelled.count(), 0);
        QCOMPARE(calendar.currentDate(), QDate(2026, 11, 10));

        // A moving key is used up; any other key is left to the window around the calendar.
        QKeyEvent letter(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, QStringLiteral("a"));
        QApplication::sendEvent(cal.grid(), &letter);
        QVERIFY(!letter.isAccepted());
        QKeyEvent right(QEvent::KeyPress, Qt::Key_Right, Qt::NoModifier);
        QApplication::sendEvent(cal.grid(), &right);
        QVERIFY(right.isAccepted());
        QCOMPARE(calendar.currentDate(), QDate(2026, 11, 11));
    }

    void boxesHoldTheProductMonthsAndACenturyOfYears()
    {
        QLocale::setDefault(QLocale(QStringLiteral("de_DE")));
        Calendar cal(QDate(2031, 5, 20));
        QComboBox* months = cal.box(QStringLiteral("cboMonth"));
        QStringList names;
        for (int i = 0; i < months->count(); ++i) {
            names << months->itemText(i);
            QCOMPARE(months->itemData(i).toInt(), i + 1);
        }
        QCOMPARE(names, QStringList({"January", "Febuary", "March", "April", "May", "June", "July", "August", "September",
                                     "October", "November", "December"}));
        QComboBox* years = cal.box(QStringLiteral("cboYear"));
        QCOMPARE(years->count(), 101);
        for (int i = 0; i < years->count(); ++i)
            QCOMPARE(years->itemText(i), QString::number(2031 + i));

        cal.widget->setDate(QDate(2033, 2, 14));
        QCOMPARE(months->currentText(), QStringLiteral("Febuary"));
        QCOMPARE(years->currentText(), QStringLiteral("2033"));
        QCOMPARE(cal.heading(), QStringLiteral("Februar 2033"));

        // The years are filled once: a later clock moves the date, not the list.
        cal.env.clock.setNow(QDateTime(QDate(2040, 7, 4), QTime(8, 0)));
        cal.widget->open();
        QCOMPARE(cal.widget->currentDate(), QDate(2040, 7, 4));
        QCOMPARE(years->count(), 101);
        QCOMPARE(years->itemText(0), QStringLiteral("2031"));
        QCOMPARE(years->currentText(), QStringLiteral("2040"));
        QCOMPARE(months->currentText(), QStringLiteral("July"));
    }

    void doubleClickAndButtonsAnswer()
    {
        Calendar cal;
        MonthCalendar& calendar = *cal.widget;
        calendar.setDate(QDate(2026, 11, 3));
        QSignalSpy accepted(&calendar, &MonthCalendar::accepted);
        QSignalSpy cancelled(&calendar, &MonthCalendar::cancelled);
        QTest::mouseDClick(cal.grid(), Qt::LeftButton, {}, calendar.cellRect(12).center());
        QCOMPARE(accepted.count(), 1);
        QCOMPARE(accepted.takeFirst().at(0).toDate(), QDate(2026, 11, 12));
        // November 2026 ends on a Monday: the last cell is empty and accepts the current date.
        QTest::mouseDClick(cal.grid(), Qt::LeftButton, {}, cal.centreOf(6, 5));
        QCOMPARE(accepted.count(), 1);
        QCOMPARE(accepted.takeFirst().at(0).toDate(), QDate(2026, 11, 12));

        QTest::mouseClick(cal.grid(), Qt::LeftButton, {}, calendar.cellRect(20).center());
        QTest::mouseClick(calendar.findChild<QPushButton*>(QStringLiteral("Command2")), Qt::LeftButton);
        QCOMPARE(accepted.count(), 1);
        QCOMPARE(accepted.takeFirst().at(0).toDate(), QDate(2026, 11, 20));
        auto* cancel = calendar.findChild<QPushButton*>(QStringLiteral("Command1"));
        QCOMPARE(cancel->text(), QStringLiteral("Cancel"));
        QTest::mouseClick(cancel, Qt::LeftButton);
        QCOMPARE(cancelled.count(), 1);
        QCOMPARE(accepted.count(), 0);
    }

    void todayIsBoldOnlyInTodaysMonth()
    {
        Calendar cal(QDate(2026, 11, 22));
        MonthCalendar& calendar = *cal.widget;
        calendar.setDate(QDate(2026, 3, 5));
        QVERIFY(!calendar.isBold(22));
        calendar.open();
        QCOMPARE(calendar.currentDate(), QDate(2026, 11, 22));
        QVERIFY(calendar.isBold(22));
        QVERIFY(!calendar.isBold(21));
        calendar.setDate(QDate(2027, 11, 1));
        QVERIFY(!calendar.isBold(22));
        calendar.setDate(QDate(2026, 10, 22));
        QVERIFY(!calendar.isBold(22));
    }

    void paintingDrawsTheSunkenBoxOnTheButtonFace()
    {
        Calendar cal;
        MonthCalendar& calendar = *cal.widget;
        QVERIFY(cal.env.log.contains(QStringLiteral("Calculate calendar grid measurements")));
        calendar.setDate(QDate(2026, 11, 18)); // a Wednesday, away from the tinted weekend
        const QImage image = cal.grid()->grab().toImage();
        for (const char* line : {"Set highlight and shadow colors", "Compute location for current date", "Draw box around date"})
            QVERIFY2(cal.env.log.contains(QLatin1String(line)), line);

        const QPalette colours = cal.grid()->palette();
        const auto pixel = [&image](int x, int y) { return image.pixel(x, y); };
        const QRect cell = calendar.cellRect(18);
        const int right = cell.left() + calendar.cellWidth();
        const int bottom = cell.top() + calendar.cellHeight();
        QCOMPARE(pixel(cell.left(), cell.center().y()), colours.color(QPalette::Dark).rgb());
        QCOMPARE(pixel(cell.center().x(), cell.top()), colours.color(QPalette::Dark).rgb());
        QCOMPARE(pixel(right, cell.center().y()), colours.color(QPalette::Light).rgb());
        QCOMPARE(pixel(cell.center().x(), bottom), colours.color(QPalette::Light).rgb());
        const QRect other = calendar.cellRect(17);
        QCOMPARE(pixel(other.left() + 2, other.top() + 2), colours.color(QPalette::Button).rgb());
    }
};

QUILLMERE_TEST(TestMonthCalendar)
#include "TestMonthCalendar.moc"
