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
    QComboBox* box(const char* name) const { return widget->findChild<QComboBox*>(QLatin1String(name)); }
    // The date, the two boxes and the heading.
    QString shown() const
    {
        return widget->currentDate().toString(Qt::ISODate) + QLatin1Char('|') + box("cboMonth")->currentText() + QLatin1Char('|')
            + box("cboYear")->currentText() + QLatin1Char('|') + widget->findChild<QLabel*>(QStringLiteral("lblMonth"))->text();
    }
    QPoint centreOf(int column, int row) const
    {
        return {column * widget->cellWidth() + widget->cellWidth() / 2, row * widget->cellHeight() + widget->cellHeight() / 2};
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

    // A click on a cell picks its day; a cell without a day, or the line past the grid, changes nothing.
    void clicksPickTheDayOfTheirCell_data()
    {
        QTest::addColumn<QDate>("shown");
        QTest::addColumn<int>("column");
        QTest::addColumn<int>("row");
        QTest::addColumn<QDate>("picked");
        // August 2026 starts on a Saturday and needs a sixth row for its 30th and 31st.
        QTest::newRow("Sat start, 1st") << QDate(2026, 8, 2) << 6 << 0 << QDate(2026, 8, 1);
        QTest::newRow("Sat start, 31st") << QDate(2026, 8, 1) << 1 << 5 << QDate(2026, 8, 31);
        // February 2026 starts on a Sunday in a common year and fills exactly four rows.
        QTest::newRow("Sun start Feb, 1st") << QDate(2026, 2, 2) << 0 << 0 << QDate(2026, 2, 1);
        QTest::newRow("Sun start Feb, 28th") << QDate(2026, 2, 1) << 6 << 3 << QDate(2026, 2, 28);
        QTest::newRow("Wed start, 30th") << QDate(2026, 4, 1) << 4 << 4 << QDate(2026, 4, 30);
        QTest::newRow("before the 1st") << QDate(2026, 4, 15) << 0 << 0 << QDate();
        QTest::newRow("after the 30th") << QDate(2026, 4, 15) << 5 << 4 << QDate();
        QTest::newRow("past the last column") << QDate(2026, 4, 15) << 7 << 2 << QDate();
    }
    void clicksPickTheDayOfTheirCell()
    {
        QFETCH(QDate, shown);
        QFETCH(int, column);
        QFETCH(int, row);
        QFETCH(QDate, picked);
        Calendar cal;
        MonthCalendar& calendar = *cal.widget;
        calendar.setDate(shown);
        QTest::mouseClick(cal.grid(), Qt::LeftButton, {}, cal.centreOf(column, row));
        QVERIFY(cal.env.log.contains(QStringLiteral("Determine which date is being clicked")));
        QCOMPARE(calendar.currentDate(), picked.isValid() ? picked : shown);
        if (picked.isValid()) {
            const int width = calendar.cellWidth(), height = calendar.cellHeight();
            QCOMPARE(calendar.cellRect(picked.day()), QRect(column * width, row * height, width, height));
            QCOMPARE(calendar.rowOfDay(picked.day()), row);
        }
    }

    // A key moves across months and years (any other key is left to the window around the
    // calendar); a month or year picked in its box rolls a day past the month's end over.
    void movesAcrossMonthsAndYears_data()
    {
        QTest::addColumn<QDate>("start");
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("item");
        QTest::addColumn<QDate>("expected");
        QTest::newRow("Right on a month's last day") << QDate(2026, 4, 30) << int(Qt::Key_Right) << QString() << QDate(2026, 5, 1);
        QTest::newRow("Left on 1 March, leap") << QDate(2028, 3, 1) << int(Qt::Key_Left) << QString() << QDate(2028, 2, 29);
        QTest::newRow("Down into December") << QDate(2026, 11, 28) << int(Qt::Key_Down) << QString() << QDate(2026, 12, 5);
        QTest::newRow("Up into last year") << QDate(2027, 1, 3) << int(Qt::Key_Up) << QString() << QDate(2026, 12, 27);
        QTest::newRow("PageDown 31 Jan") << QDate(2026, 1, 31) << int(Qt::Key_PageDown) << QString() << QDate(2026, 2, 28);
        QTest::newRow("PageUp into last year") << QDate(2027, 1, 15) << int(Qt::Key_PageUp) << QString() << QDate(2026, 12, 15);
        QTest::newRow("a letter") << QDate(2026, 11, 10) << int(Qt::Key_A) << QString() << QDate(2026, 11, 10);
        QTest::newRow("Febuary on 31 Jan") << QDate(2026, 1, 31) << 0 << "Febuary" << QDate(2026, 3, 3);
        QTest::newRow("April on 31 March") << QDate(2026, 3, 31) << 0 << "April" << QDate(2026, 5, 1);
        QTest::newRow("Febuary mid-month") << QDate(2026, 6, 14) << 0 << "Febuary" << QDate(2026, 2, 14);
        QTest::newRow("29 Feb to a common year") << QDate(2028, 2, 29) << 0 << "2029" << QDate(2029, 3, 1);
        QTest::newRow("29 Feb to a leap year") << QDate(2028, 2, 29) << 0 << "2032" << QDate(2032, 2, 29);
    }
    void movesAcrossMonthsAndYears()
    {
        QFETCH(QDate, start);
        QFETCH(int, key);
        QFETCH(QString, item);
        QFETCH(QDate, expected);
        Calendar cal;
        cal.widget->setDate(start);
        if (key != 0) {
            QKeyEvent press(QEvent::KeyPress, Qt::Key(key), Qt::NoModifier);
            QApplication::sendEvent(cal.grid(), &press);
            QCOMPARE(press.isAccepted(), key != Qt::Key_A);
        } else {
            QComboBox* combo = cal.box(item.size() == 4 && item[0].isDigit() ? "cboYear" : "cboMonth");
            combo->setCurrentIndex(combo->findText(item));
            emit combo->activated(combo->currentIndex());
        }
        const QString month = cal.box("cboMonth")->itemText(expected.month() - 1);
        QCOMPARE(cal.shown(), QStringList({expected.toString(Qt::ISODate), month, QString::number(expected.year()),
                                           QLocale().toString(expected, QStringLiteral("MMMM yyyy"))}).join(QLatin1Char('|')));
    }

    // Enter and Escape only signal; a double click, OK and Cancel answer, and any button picks a day.
    // The date has a sunken box drawn on the button face.
    void answersAndPainting()
    {
        Calendar cal;
        MonthCalendar& calendar = *cal.widget;
        calendar.setDate(QDate(2026, 11, 3));
        QSignalSpy enter(&calendar, &MonthCalendar::enterPressed);
        QSignalSpy escape(&calendar, &MonthCalendar::escapePressed);
        QSignalSpy accepted(&calendar, &MonthCalendar::accepted);
        QSignalSpy cancelled(&calendar, &MonthCalendar::cancelled);
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape})
            QTest::keyClick(cal.grid(), key);
        QCOMPARE(QList<qsizetype>({enter.count(), escape.count(), accepted.count() + cancelled.count()}), QList<qsizetype>({2, 1, 0}));
        QCOMPARE(calendar.currentDate(), QDate(2026, 11, 3));
        QTest::mouseDClick(cal.grid(), Qt::LeftButton, {}, calendar.cellRect(12).center());
        // November 2026 ends on a Monday: the last cell is empty and accepts the current date.
        QTest::mouseDClick(cal.grid(), Qt::LeftButton, {}, cal.centreOf(6, 5));
        QTest::mouseClick(cal.grid(), Qt::RightButton, {}, calendar.cellRect(18).center());
        QTest::mouseClick(calendar.findChild<QPushButton*>(QStringLiteral("Command2")), Qt::LeftButton);
        QCOMPARE(QList<QVariant>({accepted.value(0).value(0), accepted.value(1).value(0), accepted.value(2).value(0)}),
                 QList<QVariant>({QDate(2026, 11, 12), QDate(2026, 11, 12), QDate(2026, 11, 18)}));
        QTest::mouseClick(calendar.findChild<QPushButton*>(QStringLiteral("Command1")), Qt::LeftButton);
        QCOMPARE(cancelled.count(), 1);
        QCOMPARE(accepted.count(), 3);

        // The 18th is a Wednesday, away from the tinted weekend.
        const QImage image = cal.grid()->grab().toImage();
        for (const char* line : {"Calculate calendar grid measurements", "Set highlight and shadow colors", "Draw box around date"})
            QVERIFY2(cal.env.log.contains(QLatin1String(line)), line);
        const QPalette colours = cal.grid()->palette();
        const QRect cell = calendar.cellRect(18), other = calendar.cellRect(17);
        const int right = cell.left() + calendar.cellWidth(), bottom = cell.top() + calendar.cellHeight();
        QCOMPARE(image.pixel(cell.left(), cell.center().y()), colours.color(QPalette::Dark).rgb());
        QCOMPARE(image.pixel(cell.center().x(), cell.top()), colours.color(QPalette::Dark).rgb());
        QCOMPARE(image.pixel(right, cell.center().y()), colours.color(QPalette::Light).rgb());
        QCOMPARE(image.pixel(cell.center().x(), bottom), colours.color(QPalette::Light).rgb());
        QCOMPARE(image.pixel(other.left() + 2, other.top() + 2), colours.color(QPalette::Button).rgb());
    }

    // The years are filled once from the clock: a later clock moves the date, not the list.
    // Today is bold only in today's month.
    void yearsAndToday()
    {
        QLocale::setDefault(QLocale(QStringLiteral("de_DE")));
        Calendar cal(QDate(2031, 5, 20));
        MonthCalendar& calendar = *cal.widget;
        calendar.setDate(QDate(2033, 2, 14));
        QCOMPARE(cal.shown(), QStringLiteral("2033-02-14|Febuary|2033|Februar 2033"));
        QVERIFY(!calendar.isBold(20));
        cal.env.clock.setNow(QDateTime(QDate(2040, 7, 4), QTime(8, 0)));
        calendar.open();
        QCOMPARE(cal.shown(), QStringLiteral("2040-07-04|July|2040|Juli 2040"));
        QCOMPARE(QStringList({cal.box("cboYear")->itemText(0), cal.box("cboYear")->itemText(100)}), QStringList({"2031", "2131"}));
        QVERIFY(calendar.isBold(4) && !calendar.isBold(3));
        for (const QDate& other : {QDate(2041, 7, 1), QDate(2040, 6, 4)}) {
            calendar.setDate(other);
            QVERIFY(!calendar.isBold(4));
        }
    }
};

QUILLMERE_TEST(TestMonthCalendar)
#include "TestMonthCalendar.moc"
