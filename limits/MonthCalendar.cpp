#include "limits/MonthCalendar.h"

#include "platform/Clock.h"
#include "services/AppContext.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

#include <array>

namespace {

constexpr int Columns = 7;
constexpr int Rows = 6;
// The grid's own size: seven cells of 40 by six of 32, plus the line closing the last cell.
constexpr int GridWidth = Columns * 40 + 1;
constexpr int GridHeight = Rows * 32 + 1;
constexpr int YearsAfterThisYear = 100;
constexpr int DayPixelSize = 13;

// The product's own month names, kept as they always were whatever the region.
const std::array<QString, 12> MonthNames{
    QStringLiteral("January"),   QStringLiteral("Febuary"), QStringLiteral("March"),    QStringLiteral("April"),
    QStringLiteral("May"),       QStringLiteral("June"),    QStringLiteral("July"),     QStringLiteral("August"),
    QStringLiteral("September"), QStringLiteral("October"), QStringLiteral("November"), QStringLiteral("December"),
};

QColor mixed(const QColor& base, const QColor& tint, qreal amount)
{
    return QColor::fromRgbF(base.redF() + (tint.redF() - base.redF()) * amount,
                            base.greenF() + (tint.greenF() - base.greenF()) * amount,
                            base.blueF() + (tint.blueF() - base.blueF()) * amount);
}

QColor withAlpha(QColor color, qreal alpha)
{
    color.setAlphaF(alpha);
    return color;
}

bool isWeekendColumn(int column)
{
    return column == 0 || column == Columns - 1;
}

} // namespace

// picMonth: the day grid. It only forwards to the calendar, which owns the date,
// and remembers the cell under the mouse for the hover shade.
class MonthCalendar::Grid final : public QWidget
{
public:
    explicit Grid(MonthCalendar& calendar)
        : QWidget(&calendar)
        , m_calendar(calendar)
    {
        setObjectName(QStringLiteral("picMonth"));
        setFocusPolicy(Qt::StrongFocus);
        setMouseTracking(true);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setFixedSize(GridWidth, GridHeight);
    }

protected:
    void paintEvent(QPaintEvent* event) override
    {
        QPainter painter(this);
        const int hoverDay = m_hoverIndex < 0 ? 0 : m_calendar.dayAtCell(m_hoverIndex % Columns, m_hoverIndex / Columns);
        m_calendar.paintMonth(painter, event->rect(), hoverDay, hasFocus());
    }

    void mousePressEvent(QMouseEvent* event) override { m_calendar.picMonth_MouseDown(event->position().toPoint()); }
    void mouseDoubleClickEvent(QMouseEvent* event) override { m_calendar.picMonth_DblClick(event->position().toPoint()); }
    void mouseMoveEvent(QMouseEvent* event) override { setHoverAt(event->position().toPoint()); }
    void leaveEvent(QEvent*) override { setHoverIndex(-1); }
    void focusInEvent(QFocusEvent*) override { update(); }
    void focusOutEvent(QFocusEvent*) override { update(); }

    void keyPressEvent(QKeyEvent* event) override
    {
        if (!m_calendar.picMonth_KeyDown(event->key()))
            QWidget::keyPressEvent(event);
    }

private:
    void setHoverAt(const QPoint& position)
    {
        const int column = position.x() / m_calendar.cellWidth();
        const int row = position.y() / m_calendar.cellHeight();
        const bool inside = position.x() >= 0 && position.y() >= 0 && column < Columns && row < Rows;
        setHoverIndex(inside ? row * Columns + column : -1);
    }

    void setHoverIndex(int index)
    {
        if (index == m_hoverIndex)
            return;
        if (m_hoverIndex >= 0)
            update(m_calendar.cellRectAt(m_hoverIndex));
        m_hoverIndex = index;
        if (m_hoverIndex >= 0)
            update(m_calendar.cellRectAt(m_hoverIndex));
    }

    MonthCalendar& m_calendar;
    int m_hoverIndex = -1;
};

MonthCalendar::MonthCalendar(AppContext& context, QWidget* parent)
    : QWidget(parent)
    , m_ctx(context)
    , m_date(today())
{
    setObjectName(QStringLiteral("fraCal1"));
    setupControls();
    setupWeekdayHeadings();
    setupLayout();
    calculateGridMeasurements();
    showDateInControls();
}

void MonthCalendar::setupControls()
{
    m_lblMonth = new QLabel(this);
    m_lblMonth->setObjectName(QStringLiteral("lblMonth"));
    m_lblMonth->setAlignment(Qt::AlignCenter);
    QFont heading = m_lblMonth->font();
    heading.setBold(true);
    heading.setPointSizeF(heading.pointSizeF() * 1.25);
    m_lblMonth->setFont(heading);

    m_cboMonth = new QComboBox(this);
    m_cboMonth->setObjectName(QStringLiteral("cboMonth"));
    for (int month = 1; month <= 12; ++month)
        m_cboMonth->addItem(MonthNames[static_cast<std::size_t>(month - 1)], month);
    m_cboMonth->setMaxVisibleItems(12);
    connect(m_cboMonth, &QComboBox::activated, this, &MonthCalendar::cboMonth_Click);

    m_cboYear = new QComboBox(this);
    m_cboYear->setObjectName(QStringLiteral("cboYear"));
    const int thisYear = today().year();
    for (int year = thisYear; year <= thisYear + YearsAfterThisYear; ++year)
        m_cboYear->addItem(QString::number(year), year);
    m_cboYear->setMaxVisibleItems(12);
    connect(m_cboYear, &QComboBox::activated, this, &MonthCalendar::cboYear_Click);

    m_picMonth = new Grid(*this);

    m_Command2 = new QPushButton(QStringLiteral("OK"), this);
    m_Command2->setObjectName(QStringLiteral("Command2"));
    connect(m_Command2, &QPushButton::clicked, this, &MonthCalendar::Command2_Click);

    m_Command1 = new QPushButton(QStringLiteral("Cancel"), this);
    m_Command1->setObjectName(QStringLiteral("Command1"));
    connect(m_Command1, &QPushButton::clicked, this, &MonthCalendar::Command1_Click);
}

void MonthCalendar::setupWeekdayHeadings()
{
    // The headings sit above the grid, one per column, so the grid holds days only.
    m_fraWeekdays = new QWidget(this);
    m_fraWeekdays->setObjectName(QStringLiteral("fraWeekdays"));
    m_fraWeekdays->setFixedWidth(GridWidth);
    auto* row = new QHBoxLayout(m_fraWeekdays);
    row->setContentsMargins(0, 0, 1, 0);
    row->setSpacing(0);

    QFont small = font();
    small.setPixelSize(11);
    small.setBold(true);
    const QLocale locale;
    for (int column = 0; column < Columns; ++column) {
        // Qt counts Monday as 1 and Sunday as 7; the grid starts on Sunday.
        const int qtDay = column == 0 ? 7 : column;
        auto* label = new QLabel(locale.dayName(qtDay, QLocale::ShortFormat), m_fraWeekdays);
        label->setObjectName(QStringLiteral("lblWeekday%1").arg(column + 1));
        label->setAlignment(Qt::AlignCenter);
        label->setFont(small);
        QPalette colours = label->palette();
        const QColor text = colours.color(QPalette::WindowText);
        const QColor muted = mixed(text, colours.color(QPalette::Window), 0.35);
        colours.setColor(QPalette::WindowText,
                         isWeekendColumn(column) ? mixed(muted, colours.color(QPalette::Highlight), 0.45) : muted);
        label->setPalette(colours);
        row->addWidget(label, 1);
    }
}

void MonthCalendar::setupLayout()
{
    auto* pickers = new QHBoxLayout;
    pickers->setSpacing(6);
    pickers->addWidget(m_cboMonth, 1);
    pickers->addWidget(m_cboYear);

    auto* month = new QVBoxLayout;
    month->setSpacing(3);
    month->addWidget(m_fraWeekdays, 0, Qt::AlignHCenter);
    month->addWidget(m_picMonth, 0, Qt::AlignHCenter);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(6);
    buttons->addStretch(1);
    buttons->addWidget(m_Command2);
    buttons->addWidget(m_Command1);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 10, 12, 12);
    layout->setSpacing(8);
    // The grid has a fixed size, so the whole calendar keeps the size it needs.
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(m_lblMonth);
    layout->addLayout(pickers);
    layout->addSpacing(2);
    layout->addLayout(month);
    layout->addSpacing(2);
    layout->addLayout(buttons);
}

void MonthCalendar::calculateGridMeasurements()
{
    m_ctx.logStatus(QStringLiteral("Calculate calendar grid measurements"));
    const QRect inner = m_picMonth->contentsRect();
    m_cellWidth = (inner.width() - 1) / Columns;
    m_cellHeight = (inner.height() - 1) / Rows;
}

void MonthCalendar::open()
{
    setDate(today());
}

void MonthCalendar::setDate(const QDate& date)
{
    if (!date.isValid())
        return;
    const QDate previous = m_date;
    m_date = date;
    if (previous.year() == date.year() && previous.month() == date.month()) {
        // Same month: only the box moves; the box reaches one pixel past its cell.
        m_picMonth->update(cellRect(previous.day()).adjusted(0, 0, 1, 1));
        m_picMonth->update(cellRect(date.day()).adjusted(0, 0, 1, 1));
    } else {
        m_picMonth->update();
    }
    showDateInControls();
}

void MonthCalendar::showDateInControls()
{
    const QLocale locale;
    m_lblMonth->setText(locale.standaloneMonthName(m_date.month()) + QLatin1Char(' ')
                        + locale.toString(m_date, QStringLiteral("yyyy")));
    // Setting the selection must not run the boxes' own handlers again.
    const QSignalBlocker monthBlocker(m_cboMonth);
    const QSignalBlocker yearBlocker(m_cboYear);
    m_cboMonth->setCurrentIndex(m_cboMonth->findData(m_date.month()));
    m_cboYear->setCurrentIndex(m_cboYear->findData(m_date.year()));
}

QDate MonthCalendar::today() const
{
    return m_ctx.clock.now().date();
}

int MonthCalendar::firstWeekday() const
{
    return QDate(m_date.year(), m_date.month(), 1).dayOfWeek() % 7 + 1;
}

int MonthCalendar::cellIndex(int day) const
{
    return (day - 1) + (firstWeekday() - 1);
}

int MonthCalendar::dayAtCell(int column, int row) const
{
    const int day = column + 1 + Columns * row - (firstWeekday() - 1);
    return day >= 1 && day <= m_date.daysInMonth() ? day : 0;
}

QRect MonthCalendar::cellRectAt(int index) const
{
    return QRect(index % Columns * m_cellWidth, index / Columns * m_cellHeight, m_cellWidth, m_cellHeight);
}

QRect MonthCalendar::cellRect(int day) const
{
    return cellRectAt(cellIndex(day));
}

int MonthCalendar::rowOfDay(int day) const
{
    return cellIndex(day) / Columns;
}

bool MonthCalendar::isBold(int day) const
{
    const QDate now = today();
    return m_date.year() == now.year() && m_date.month() == now.month() && day == now.day();
}

void MonthCalendar::paintMonth(QPainter& painter, const QRect& exposed, int hoverDay, bool focused)
{
    const QPalette& colours = m_picMonth->palette();
    const QColor face = colours.color(QPalette::Button);
    const QColor accent = colours.color(QPalette::Highlight);
    painter.fillRect(m_picMonth->rect(), face);
    const QColor weekend = mixed(face, accent, 0.07);
    for (int column : {0, Columns - 1})
        painter.fillRect(QRect(column * m_cellWidth, 0, m_cellWidth, Rows * m_cellHeight), weekend);

    // A faint frame sets the grid apart from a window of the same colour.
    painter.setPen(withAlpha(colours.color(QPalette::Mid), 0.6));
    painter.drawRect(m_picMonth->rect().adjusted(0, 0, -1, -1));

    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(Qt::NoPen);
    if (hoverDay > 0 && hoverDay != m_date.day()) {
        painter.setBrush(withAlpha(accent, 0.14));
        painter.drawRoundedRect(QRectF(cellRect(hoverDay)).adjusted(3.5, 3.5, -2.5, -2.5), 5, 5);
    }
    painter.setBrush(withAlpha(accent, focused ? 0.34 : 0.24));
    painter.drawRoundedRect(QRectF(cellRect(m_date.day())).adjusted(2.5, 2.5, -1.5, -1.5), 4, 4);

    painter.setRenderHint(QPainter::TextAntialiasing, true);
    QFont dayFont = m_picMonth->font();
    dayFont.setPixelSize(DayPixelSize);
    const QColor text = colours.color(QPalette::ButtonText);
    for (int day = 1; day <= m_date.daysInMonth(); ++day) {
        const QRect cell = cellRect(day);
        if (!cell.intersects(exposed))
            continue;
        dayFont.setBold(isBold(day));
        painter.setFont(dayFont);
        painter.setPen(text);
        painter.drawText(cell, Qt::AlignCenter, QString::number(day));
        if (isBold(day)) {
            // A small mark under today's number, so today stands out beyond the weight alone.
            painter.setPen(Qt::NoPen);
            painter.setBrush(accent);
            painter.drawEllipse(QPointF(cell.left() + m_cellWidth / 2.0, cell.top() + m_cellHeight - 6.5), 1.8, 1.8);
        }
    }

    if (exposed.intersects(cellRect(m_date.day()).adjusted(0, 0, 1, 1)))
        drawDateBox(painter);
}

void MonthCalendar::drawDateBox(QPainter& painter)
{
    m_ctx.logStatus(QStringLiteral("Set highlight and shadow colors"));
    const QPalette& colours = m_picMonth->palette();
    const QColor shadow = colours.color(QPalette::Dark);
    const QColor highlight = colours.color(QPalette::Light);

    m_ctx.logStatus(QStringLiteral("Compute location for current date"));
    const QRect cell = cellRect(m_date.day());
    const int left = cell.left();
    const int top = cell.top();
    const int right = left + m_cellWidth;
    const int bottom = top + m_cellHeight;

    m_ctx.logStatus(QStringLiteral("Draw box around date"));
    // Crisp one-pixel lines: the sunken look needs exact pixels, not blended ones.
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(shadow);
    painter.drawLine(left, bottom, left, top);
    painter.drawLine(left, top, right, top);
    painter.setPen(highlight);
    painter.drawLine(right, top, right, bottom);
    painter.drawLine(right, bottom, left, bottom);
}

void MonthCalendar::picMonth_MouseDown(const QPoint& position)
{
    m_ctx.logStatus(QStringLiteral("Determine which date is being clicked"));
    const int column = position.x() / m_cellWidth;
    const int row = position.y() / m_cellHeight;
    // The closing pixel line past the seventh column or sixth row belongs to no cell.
    if (position.x() < 0 || position.y() < 0 || column >= Columns || row >= Rows)
        return;
    const int day = column + 1 + Columns * row - (firstWeekday() - 1);
    m_ctx.logStatus(QStringLiteral("Get last day of current month"));
    const int last = m_date.daysInMonth();
    if (day >= 1 && day <= last)
        setDate(QDate(m_date.year(), m_date.month(), day));
}

void MonthCalendar::picMonth_DblClick(const QPoint& position)
{
    // A double click may arrive without its own press first; choosing again is harmless.
    picMonth_MouseDown(position);
    emit accepted(m_date);
}

bool MonthCalendar::picMonth_KeyDown(int key)
{
    switch (key) {
    case Qt::Key_Right:
        setDate(m_date.addDays(1));
        return true;
    case Qt::Key_Left:
        setDate(m_date.addDays(-1));
        return true;
    case Qt::Key_Down:
        setDate(m_date.addDays(7));
        return true;
    case Qt::Key_Up:
        setDate(m_date.addDays(-7));
        return true;
    case Qt::Key_PageDown:
        setDate(m_date.addMonths(1));
        return true;
    case Qt::Key_PageUp:
        setDate(m_date.addMonths(-1));
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        emit enterPressed();
        return true;
    case Qt::Key_Escape:
        emit escapePressed();
        return true;
    default:
        return false;
    }
}

void MonthCalendar::cboMonth_Click(int index)
{
    const int month = m_cboMonth->itemData(index).toInt();
    if (month < 1)
        return;
    // A day past the new month's end rolls over into the month after.
    setDate(QDate(m_date.year(), month, 1).addDays(m_date.day() - 1));
}

void MonthCalendar::cboYear_Click(int index)
{
    const int year = m_cboYear->itemData(index).toInt();
    if (year < 1)
        return;
    setDate(QDate(year, m_date.month(), 1).addDays(m_date.day() - 1));
}

void MonthCalendar::Command2_Click()
{
    emit accepted(m_date);
}

void MonthCalendar::Command1_Click()
{
    emit cancelled();
}
