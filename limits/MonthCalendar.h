#pragma once

#include <QDate>
#include <QWidget>

class QComboBox;
class QLabel;
class QPainter;
class QPushButton;
struct AppContext;

// fraCal1: a month calendar the program draws itself, from which the account
// options dialog picks a disable date and an expiry date. The owner decides what
// the signals do; the calendar never writes a date anywhere.
class MonthCalendar : public QWidget
{
    Q_OBJECT

public:
    explicit MonthCalendar(AppContext& context, QWidget* parent = nullptr);

    // Makes today the current date.
    void open();
    void setDate(const QDate& date);
    QDate currentDate() const { return m_date; }

    // The grid's measurements in pixels, fixed when the calendar is created.
    int cellWidth() const { return m_cellWidth; }
    int cellHeight() const { return m_cellHeight; }
    // The cell of a day of the shown month, in picMonth's coordinates.
    QRect cellRect(int day) const;
    // The grid row of a day of the shown month, 0..5.
    int rowOfDay(int day) const;
    // Whether the day number is drawn bold: only today, and only in today's month.
    bool isBold(int day) const;

    void Command2_Click();
    void Command1_Click();

signals:
    void accepted(const QDate& date);
    void cancelled();
    // Enter on the grid: the owner closes its whole window without writing a date.
    void enterPressed();
    // Escape on the grid: the owner closes as with its Cancel button.
    void escapePressed();

private:
    class Grid;

    void setupControls();
    void setupWeekdayHeadings();
    void setupLayout();
    void calculateGridMeasurements();
    void showDateInControls();

    QDate today() const;
    // The weekday of the 1st of the shown month, Sunday = 1.
    int firstWeekday() const;
    int cellIndex(int day) const;
    // The day shown in a cell of the grid, or 0 for an empty cell.
    int dayAtCell(int column, int row) const;
    QRect cellRectAt(int index) const;

    void paintMonth(QPainter& painter, const QRect& exposed, int hoverDay, bool focused);
    void drawDateBox(QPainter& painter);

    void picMonth_MouseDown(const QPoint& position);
    void picMonth_DblClick(const QPoint& position);
    bool picMonth_KeyDown(int key);
    void cboMonth_Click(int index);
    void cboYear_Click(int index);

    AppContext& m_ctx;
    QDate m_date;
    int m_cellWidth = 0;
    int m_cellHeight = 0;

    QLabel* m_lblMonth = nullptr;
    QComboBox* m_cboMonth = nullptr;
    QComboBox* m_cboYear = nullptr;
    QWidget* m_fraWeekdays = nullptr;
    Grid* m_picMonth = nullptr;
    QPushButton* m_Command2 = nullptr;
    QPushButton* m_Command1 = nullptr;
};
