#include "accounts/ExpiringWindow.h"

#include "platform/Clock.h"
#include "platform/Named.h"
#include "platform/Prompter.h"
#include "services/AccountSweep.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"
#include "services/EmbeddedFiles.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

constexpr int ButtonWidth = 96;
// The first column's items keep the account's place in the list of due accounts.
constexpr int IndexRole = Qt::UserRole;
constexpr int SortRole = Qt::UserRole + 1;

// A cell that shows one text and sorts by another value: the dates by the day they
// stand for, the days left as numbers, the names without regard to case.
class SortedItem : public QTableWidgetItem
{
public:
    SortedItem(const QString& text, const QVariant& sortKey)
        : QTableWidgetItem(text)
    {
        setData(SortRole, sortKey);
    }

    bool operator<(const QTableWidgetItem& other) const override
    {
        return QVariant::compare(data(SortRole), other.data(SortRole)) == QPartialOrdering::Less;
    }
};

} // namespace

ExpiringWindow::ExpiringWindow(AppContext& context, QWidget* parent)
    : QDialog(parent)
    , m_ctx(context)
{
    setObjectName(QStringLiteral("frmExpiring"));
    setWindowTitle(QStringLiteral("Expiring Accounts"));
    setupControls();
    setupLayout();
    setupConnections();
    resize(680, 440);
}

void ExpiringWindow::setupControls()
{
    m_spnDays = named(new QSpinBox(this), "spnDays");
    m_spnDays->setRange(0, expiring::MostDays);
    m_spnDays->setValue(expiring::DefaultDays);
    m_spnDays->setSuffix(QStringLiteral(" days"));
    m_spnDays->setAccelerated(true);

    m_cmdRefresh = named(new QPushButton(QStringLiteral("&Refresh"), this), "cmdRefresh");

    m_tblAccounts = named(new QTableWidget(0, ColumnCount, this), "tblAccounts");
    m_tblAccounts->setHorizontalHeaderLabels(expiring::csvHeader());
    m_tblAccounts->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_tblAccounts->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_tblAccounts->setAlternatingRowColors(true);
    m_tblAccounts->setWordWrap(false);
    m_tblAccounts->verticalHeader()->hide();
    // Rows as close as the program's lists keep them.
    m_tblAccounts->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 8);
    m_tblAccounts->horizontalHeader()->setHighlightSections(false);
    m_tblAccounts->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_tblAccounts->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_tblAccounts->horizontalHeader()->setSectionResizeMode(NameColumn, QHeaderView::Stretch);
    m_tblAccounts->setSortingEnabled(true);
    m_tblAccounts->sortByColumn(DaysLeftColumn, Qt::AscendingOrder);

    m_lblCount = named(new QLabel(this), "lblCount");

    m_cmdExport = named(new QPushButton(QStringLiteral("Export CSV…"), this), "cmdExport");
    m_cmdClose = named(new QPushButton(QStringLiteral("Close"), this), "cmdClose");
    m_cmdClose->setDefault(true);
    for (QPushButton* button : {m_cmdRefresh, m_cmdExport, m_cmdClose})
        button->setMinimumWidth(ButtonWidth);
}

void ExpiringWindow::setupLayout()
{
    auto* intro = named(new QLabel(QStringLiteral("The sweep deletes an account on its expiry date and disables it on its disable "
                                            "date. A date that has passed (days left below 0) is acted on at the next sweep."),
                             this), "lblIntro");
    intro->setWordWrap(true);

    auto* within = named(new QLabel(QStringLiteral("&Within:"), this), "lblDays");
    within->setBuddy(m_spnDays);
    auto* filter = new QHBoxLayout;
    filter->addWidget(within);
    filter->addWidget(m_spnDays);
    filter->addWidget(m_cmdRefresh);
    filter->addStretch(1);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_lblCount);
    buttons->addStretch(1);
    buttons->addWidget(m_cmdExport);
    buttons->addWidget(m_cmdClose);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(intro);
    layout->addLayout(filter);
    layout->addWidget(m_tblAccounts, 1);
    layout->addLayout(buttons);
}

void ExpiringWindow::setupConnections()
{
    connect(m_spnDays, &QSpinBox::valueChanged, this, &ExpiringWindow::spnDays_Change);
    connect(m_cmdRefresh, &QPushButton::clicked, this, &ExpiringWindow::cmdRefresh_Click);
    connect(m_cmdExport, &QPushButton::clicked, this, &ExpiringWindow::cmdExport_Click);
    connect(m_cmdClose, &QPushButton::clicked, this, &ExpiringWindow::cmdClose_Click);
}

void ExpiringWindow::popList()
{
    m_ctx.logStatus(QStringLiteral("list expiring accounts"));
    m_dated.clear();
    if (expiring::readDatedAccounts(m_ctx, m_dated) != DatabaseOutcome::Done)
        m_dated.clear();
    fillTable();
}

void ExpiringWindow::fillTable()
{
    m_due = expiring::dueWithin(m_ctx, m_dated, m_spnDays->value());
    const QDate today = m_ctx.clock.now().date();
    const auto dateKey = [&](const QString& text) {
        return QVariant(readStoredDate(m_ctx, text, today).value_or(QDate()));
    };

    // Sorting is held off while the rows go in, or each new cell would move its row.
    m_tblAccounts->setSortingEnabled(false);
    m_tblAccounts->setRowCount(0);
    m_tblAccounts->setRowCount(static_cast<int>(m_due.size()));
    for (int row = 0; row < m_due.size(); ++row) {
        const expiring::DueAccount& account = m_due[row];
        auto* name = new SortedItem(account.name, account.name.toLower());
        name->setData(IndexRole, row);
        m_tblAccounts->setItem(row, NameColumn, name);
        m_tblAccounts->setItem(row, ExpiresColumn, new SortedItem(account.expires, dateKey(account.expires)));
        m_tblAccounts->setItem(row, DisableOnColumn, new SortedItem(account.disableOn, dateKey(account.disableOn)));
        auto* days = new SortedItem(QString::number(account.daysLeft), account.daysLeft);
        days->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        m_tblAccounts->setItem(row, DaysLeftColumn, days);
        m_tblAccounts->setItem(row, ActionColumn, new SortedItem(account.action, account.action));
    }
    m_tblAccounts->setSortingEnabled(true);

    const qsizetype count = m_due.size();
    m_lblCount->setText(count == 1 ? QStringLiteral("1 account") : QStringLiteral("%1 accounts").arg(count));
    m_cmdExport->setEnabled(count > 0);
}

QList<expiring::DueAccount> ExpiringWindow::shownAccounts() const
{
    QList<expiring::DueAccount> shown;
    for (int row = 0; row < m_tblAccounts->rowCount(); ++row)
        shown.append(m_due.value(m_tblAccounts->item(row, NameColumn)->data(IndexRole).toInt()));
    return shown;
}

void ExpiringWindow::spnDays_Change()
{
    fillTable();
}

void ExpiringWindow::cmdRefresh_Click()
{
    popList();
}

void ExpiringWindow::cmdExport_Click()
{
    prompt::FileChoice choice;
    choice.mode = prompt::FileChoice::Mode::Save;
    choice.title = QStringLiteral("Export CSV");
    choice.filterName = QStringLiteral("CSV files (*.csv)");
    choice.pattern = QStringLiteral("*.csv");
    choice.initialName = QStringLiteral("expiring-accounts.csv");
    const QString path = m_ctx.prompter.chooseFile(choice);
    if (path.isEmpty())
        return;

    // A failed export leaves an earlier file whole.
    if (const QString reason = embedded::writeWholeFile(path, expiring::toCsv(shownAccounts()).toUtf8()); !reason.isEmpty()) {
        m_ctx.prompter.tell(appinfo::Title, QStringLiteral("The accounts could not be written to\r\n%1\r\n%2").arg(path, reason),
                            prompt::Icon::Exclamation);
        return;
    }
    m_ctx.logStatus(QStringLiteral("expiring accounts exported to ") + path);
}

void ExpiringWindow::cmdClose_Click()
{
    hide();
}
