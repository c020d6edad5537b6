#include "TestEnvironment.h"
#include "TestMain.h"

#include "limits/MonthCalendar.h"
#include "limits/Numbers.h"
#include "platform/NumericKeyFilter.h"

#include <QApplication>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
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

// The date picker of the account options dialog, driven by mouse, keys and its boxes, and
// the numbers and key filter of the limit dialogs' boxes.
class TestLimitControls : public QObject
{
    Q_OBJECT

private slots:
    // Keys move by a day, a week or a month (any other key is left to the window around the calendar);
    // a month or year picked in its box rolls a day past the month's end over. The boxes and heading follow.
    void movesAcrossMonthsAndYears()
    {
        Calendar cal;
        const QDate keep;
        const std::tuple<QDate, int, QString, QDate> moves[] = {
            {QDate(2026, 1, 31), Qt::Key_PageDown, {}, QDate(2026, 2, 28)}, {keep, Qt::Key_Right, {}, QDate(2026, 3, 1)},
            {keep, Qt::Key_Left, {}, QDate(2026, 2, 28)},                   {keep, Qt::Key_Down, {}, QDate(2026, 3, 7)},
            {keep, Qt::Key_Up, {}, QDate(2026, 2, 28)},                     {keep, Qt::Key_PageUp, {}, QDate(2026, 1, 28)},
            {keep, Qt::Key_A, {}, QDate(2026, 1, 28)},                      {QDate(2026, 1, 31), 0, "Febuary", QDate(2026, 3, 3)},
            {QDate(2028, 2, 29), 0, "2029", QDate(2029, 3, 1)}};
        for (const auto& [start, key, item, expected] : moves) {
            cal.widget->setDate(start);
            if (key != 0) {
                QKeyEvent press(QEvent::KeyPress, Qt::Key(key), Qt::NoModifier);
                QApplication::sendEvent(cal.grid(), &press);
                QCOMPARE(press.isAccepted(), key != Qt::Key_A);
            } else {
                QComboBox* combo = cal.box(item[0].isDigit() ? "cboYear" : "cboMonth");
                combo->setCurrentIndex(combo->findText(item));
                emit combo->activated(combo->currentIndex());
            }
            QCOMPARE(cal.shown(), QStringList({expected.toString(Qt::ISODate), cal.box("cboMonth")->itemText(expected.month() - 1),
                                               QString::number(expected.year()), QLocale().toString(expected, QStringLiteral("MMMM yyyy"))})
                                      .join(QLatin1Char('|')));
        }
    }

    // A click on a cell picks its day; a cell without a day, or the line past the grid, changes nothing.
    // August 2026 starts on a Saturday and needs a sixth row for its 31st; February 2026 starts on a Sunday.
    // A double click, OK and Cancel answer, and any button picks a day. The date has a sunken box drawn
    // on the button face.
    void mouseKeysAndPainting()
    {
        Calendar cal;
        MonthCalendar& calendar = *cal.widget;
        const std::tuple<QDate, int, int, QDate> clicks[] = {{QDate(2026, 8, 1), 1, 5, QDate(2026, 8, 31)},
                                                             {QDate(2026, 2, 2), 0, 0, QDate(2026, 2, 1)},
                                                             {QDate(2026, 4, 15), 0, 0, QDate(2026, 4, 15)},
                                                             {QDate(2026, 4, 15), 5, 4, QDate(2026, 4, 15)},
                                                             {QDate(2026, 4, 15), 7, 2, QDate(2026, 4, 15)}};
        for (const auto& [shown, column, row, picked] : clicks) {
            calendar.setDate(shown);
            QTest::mouseClick(cal.grid(), Qt::LeftButton, {}, cal.centreOf(column, row));
            QCOMPARE(calendar.currentDate(), picked);
        }

        calendar.setDate(QDate(2026, 11, 3));
        QSignalSpy accepted(&calendar, &MonthCalendar::accepted);
        QSignalSpy cancelled(&calendar, &MonthCalendar::cancelled);
        QTest::mouseDClick(cal.grid(), Qt::LeftButton, {}, calendar.cellRect(12).center());
        // November 2026 ends on a Monday: the last cell is empty and accepts the current date.
        QTest::mouseDClick(cal.grid(), Qt::LeftButton, {}, cal.centreOf(6, 5));
        QTest::mouseClick(cal.grid(), Qt::RightButton, {}, calendar.cellRect(18).center());
        QTest::mouseClick(calendar.findChild<QPushButton*>(QStringLiteral("Command2")), Qt::LeftButton);
        QTest::mouseClick(calendar.findChild<QPushButton*>(QStringLiteral("Command1")), Qt::LeftButton);
        QCOMPARE(QList<QVariant>({accepted.value(0).value(0), accepted.value(1).value(0), accepted.value(2).value(0)}),
                 QList<QVariant>({QDate(2026, 11, 12), QDate(2026, 11, 12), QDate(2026, 11, 18)}));
        QCOMPARE(QList<qsizetype>({accepted.count(), cancelled.count()}), QList<qsizetype>({3, 1}));

        // The 18th is a Wednesday, away from the tinted weekend: dark above and left of it, light below and right.
        const QImage image = cal.grid()->grab().toImage();
        const QPalette colours = cal.grid()->palette();
        const QRect cell = calendar.cellRect(18);
        QCOMPARE(image.pixel(cell.center().x(), cell.top()), colours.color(QPalette::Dark).rgb());
        QCOMPARE(image.pixel(cell.left() + calendar.cellWidth(), cell.center().y()), colours.color(QPalette::Light).rgb());
        // Today, 22 November 2026, is bold in its month only.
        QVERIFY(calendar.isBold(22) && !calendar.isBold(21));
        calendar.setDate(QDate(2027, 11, 22));
        QVERIFY(!calendar.isBold(22));
    }

    // Numbers are read whole or not at all, rounded half to even, and shown in the shortest text that
    // reads back to them, never with an exponent.
    void numbersReadRoundAndShow()
    {
        for (const char* bad : {"", "1.2.3", "5x", "1,5", "."})
            QVERIFY2(!numbers::read(QLatin1String(bad)), bad);
        QCOMPARE(QList<double>({numbers::roundHalfEven(0.0125, 3), numbers::roundHalfEven(0.0135, 3)}), QList<double>({0.012, 0.014}));
        for (const double value : {1.0 / 1048576.0, 1e20, 0.1 + 0.2}) {
            const QString shown = numbers::show(value);
            QVERIFY2(!shown.contains(QLatin1Char('e')), qPrintable(shown));
            QCOMPARE(numbers::read(shown), std::optional<double>(value));
        }
        QVERIFY(!numbers::fitsInteger(1.5) && !numbers::fitsFloat(1e308 * 10));
    }

    // Numeric boxes take digits and points, not "/" (which only the IP box adds); Delete, which types
    // "\x7f", Home, End and Backspace still edit, and only keys that type are reported.
    void keyFilter()
    {
        int accepted = 0;
        NumericKeyFilter filter([&accepted] { ++accepted; });
        QLineEdit box;
        filter.watch(&box);
        QTest::keyClicks(&box, QStringLiteral("1a2.-3*/8 x"));
        QCOMPARE(box.text(), QStringLiteral("12.38"));
        const int typedCount = accepted;
        QTest::keyClick(&box, Qt::Key_Home);
        QTest::sendKeyEvent(QTest::Click, &box, Qt::Key_Delete, QString(QChar(0x7f)), Qt::NoModifier);
        QTest::keyClick(&box, Qt::Key_End);
        QTest::keyClick(&box, Qt::Key_Backspace);
        QCOMPARE(box.text(), QStringLiteral("2.3"));
        QCOMPARE(accepted, typedCount + 2);
    }
};

QUILLMERE_TEST(TestLimitControls)
#include "TestLimitControls.moc"
