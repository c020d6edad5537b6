#include "server/IpRulesWindow.h"

#include "accounts/PageState.h"
#include "db/SqlText.h"
#include "maintenance/Help.h"
#include "platform/Named.h"
#include "platform/NumericKeyFilter.h"
#include "platform/Prompter.h"
#include "server/IpRuleText.h"
#include "services/AppContext.h"
#include "services/Session.h"

#include <QApplication>
#include <QFocusEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr int RulesTimerInterval = 75;
constexpr int LongestRule = 15;
constexpr int ButtonWidth = 88;

bool isMouseClickPart(const QEvent* event)
{
    return event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonRelease
           || event->type() == QEvent::MouseButtonDblClick;
}

} // namespace

IpRulesWindow::IpRulesWindow(AppContext& context, PageState& page, Scope scope, QWidget* parent)
    : QDialog(parent)
    , m_ctx(context)
    , m_page(page)
    , m_scope(scope)
{
    const bool global = m_scope == Scope::Global;
    setObjectName(global ? QStringLiteral("frmGlobalIPAccess") : QStringLiteral("frmIPAccess"));
    setWindowTitle(global ? QStringLiteral("Global IP Blocking") : QStringLiteral("Setup IP Blocking "));
    setupControls();
    setupLayout();
    setupConnections();

    m_lstRules->clear();
    m_ctx.logStatus(QStringLiteral("populate with current ips"));
    popList();
}

void IpRulesWindow::setupControls()
{
    m_numericKeys = new NumericKeyFilter([this] { m_ctx.logStatus(QStringLiteral("Only numbers and .")); }, this, QStringLiteral("/"));
    const QString rulesCaption = m_scope == Scope::Global ? QStringLiteral("Global Access Rules") : QStringLiteral("Access Rules");
    m_frame1 = named(new QGroupBox(rulesCaption, this), "Frame1");
    m_frame2 = named(new QGroupBox(QStringLiteral("Add IP Address"), this), "Frame2");
    m_lstRules = named(new QListWidget(m_frame1), "lstRules");
    m_lstRules->setSelectionMode(QAbstractItemView::SingleSelection);
    m_lstRules->setMinimumSize(170, 190);
    m_label4 = named(new QLabel(QStringLiteral("Rule list"), m_frame1), "Label4");
    m_label4->setBuddy(m_lstRules);
    m_cmdUp = named(new QPushButton(QStringLiteral("Up"), m_frame1), "cmdUp");
    m_cmdDown = named(new QPushButton(QStringLiteral("Down"), m_frame1), "cmdDown");
    m_cmdRemove = named(new QPushButton(QStringLiteral("Remove"), m_frame1), "cmdRemove");
    m_cmdAdd = named(new QPushButton(QStringLiteral("Add"), m_frame1), "cmdAdd");
    m_label1 = named(new QLabel(QStringLiteral("-->"), m_frame1), "Label1");
    m_label2 = named(new QLabel(QStringLiteral("<--"), m_frame1), "Label2");
    for (QLabel* arrow : {m_label1, m_label2})
        arrow->setAlignment(Qt::AlignCenter);

    m_txtIPaddress = named(new QLineEdit(m_frame2), "txtIPaddress");
    m_txtIPaddress->setMaxLength(LongestRule);
    m_numericKeys->watch(m_txtIPaddress);
    m_label3 = named(new QLabel(QStringLiteral("IP Address"), m_frame2), "Label3");
    m_label3->setBuddy(m_txtIPaddress);

    m_cmdOK = named(new QPushButton(QStringLiteral("OK"), this), "cmdOK");
    m_cmdCancel = named(new QPushButton(QStringLiteral("Cancel"), this), "cmdCancel");
    m_cmdHelp = named(new QPushButton(QStringLiteral("Help"), this), "cmdHelp");
    for (QPushButton* button : {m_cmdUp, m_cmdDown, m_cmdRemove, m_cmdAdd, m_cmdOK, m_cmdCancel, m_cmdHelp})
        button->setMinimumWidth(ButtonWidth);
    m_cmdOK->setDefault(true);

    m_tmrRules = named(new QTimer(this), "tmrRules");
    m_tmrRules->setInterval(RulesTimerInterval);
}

void IpRulesWindow::setupLayout()
{
    // The entry box's frame: the label above the box, level with the arrows.
    auto* entryLayout = new QVBoxLayout(m_frame2);
    entryLayout->addWidget(m_label3);
    entryLayout->addWidget(m_txtIPaddress);
    m_txtIPaddress->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("255.255.255.255/99")) + 16);

    // "-->" Add "<--" between the entry and the list; the list's own buttons to its right.
    auto* transfer = new QVBoxLayout;
    transfer->addStretch(1);
    transfer->addWidget(m_label1);
    transfer->addWidget(m_cmdAdd);
    transfer->addWidget(m_label2);
    transfer->addStretch(1);

    auto* order = new QVBoxLayout;
    order->addWidget(m_cmdUp);
    order->addWidget(m_cmdDown);
    order->addSpacing(16);
    order->addWidget(m_cmdRemove);
    order->addStretch(1);

    auto* rulesLayout = new QGridLayout(m_frame1);
    rulesLayout->setHorizontalSpacing(12);
    rulesLayout->addWidget(m_label4, 0, 1);
    rulesLayout->addLayout(transfer, 1, 0);
    rulesLayout->addWidget(m_lstRules, 1, 1);
    rulesLayout->addLayout(order, 1, 2);
    rulesLayout->setColumnStretch(1, 1);
    rulesLayout->setRowStretch(1, 1);

    auto* entryColumn = new QVBoxLayout;
    entryColumn->addStretch(1);
    entryColumn->addWidget(m_frame2);
    entryColumn->addStretch(1);

    auto* frames = new QHBoxLayout;
    frames->addLayout(entryColumn);
    frames->addWidget(m_frame1, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_cmdHelp);
    buttons->addStretch(1);
    buttons->addWidget(m_cmdOK);
    buttons->addWidget(m_cmdCancel);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(frames, 1);
    layout->addSpacing(4);
    layout->addLayout(buttons);

    setTabOrder(m_txtIPaddress, m_cmdAdd);
    setTabOrder(m_cmdAdd, m_lstRules);
    setTabOrder(m_lstRules, m_cmdUp);
    setTabOrder(m_cmdUp, m_cmdDown);
    setTabOrder(m_cmdDown, m_cmdRemove);
    setTabOrder(m_cmdRemove, m_cmdOK);
    setTabOrder(m_cmdOK, m_cmdCancel);
    setTabOrder(m_cmdCancel, m_cmdHelp);
}

void IpRulesWindow::setupConnections()
{
    connect(m_cmdAdd, &QPushButton::clicked, this, &IpRulesWindow::cmdAdd_Click);
    connect(m_cmdRemove, &QPushButton::clicked, this, &IpRulesWindow::cmdRemove_Click);
    connect(m_cmdUp, &QPushButton::clicked, this, &IpRulesWindow::cmdUp_Click);
    connect(m_cmdDown, &QPushButton::clicked, this, &IpRulesWindow::cmdDown_Click);
    connect(m_cmdOK, &QPushButton::clicked, this, &IpRulesWindow::cmdOK_Click);
    connect(m_cmdCancel, &QPushButton::clicked, this, &IpRulesWindow::cmdCancel_Click);
    connect(m_cmdHelp, &QPushButton::clicked, this, &IpRulesWindow::cmdHelp_Click);
    connect(m_tmrRules, &QTimer::timeout, this, &IpRulesWindow::tmrRules_Timer);

    // Every control but the entry box is watched, so that the click of a control
    // the focus was refused to can be swallowed (see eatsRefusedClick).
    for (QWidget* control : findChildren<QWidget*>()) {
        if (control != m_txtIPaddress)
            control->installEventFilter(this);
    }
    m_txtIPaddress->installEventFilter(this);
    tmrRules_Timer();
}

void IpRulesWindow::popList()
{
    m_lstRules->clear();
    if (m_scope == Scope::Account)
        m_boundUser = m_page.currentUser;
    Session session(m_ctx);
    if (!session.open())
        return;
    const QString sql = m_scope == Scope::Account
                            ? QStringLiteral("select ip from blocked_ips_by_user where [username]=") + sqlQuote(m_boundUser)
                            : QStringLiteral("select ip from blocked_ips");
    Rows rows = session.select(sql);
    while (rows.next())
        m_lstRules->addItem(rows.text(QStringLiteral("ip")));
    session.close();
}

int IpRulesWindow::selectedRow() const
{
    const QListWidgetItem* current = m_lstRules->currentItem();
    return current && current->isSelected() ? m_lstRules->currentRow() : -1;
}

void IpRulesWindow::selectRow(int row)
{
    m_lstRules->setCurrentRow(row, QItemSelectionModel::ClearAndSelect);
}

bool IpRulesWindow::judgeEntry()
{
    switch (validateIpText(m_txtIPaddress->text())) {
    case IpTextVerdict::Empty:
        return true;
    case IpTextVerdict::Accepted:
        m_ctx.prompter.beep();
        return true;
    case IpTextVerdict::RejectedWithBeep:
        m_ctx.prompter.beep();
        break;
    case IpTextVerdict::RejectedSilently:
        break;
    }
    m_txtIPaddress->setFocus(Qt::OtherFocusReason);
    return false;
}

void IpRulesWindow::txtIPaddress_Validate()
{
    // The focus has already moved on: it names the control that is about to get it.
    QWidget* target = QApplication::focusWidget();
    if (!target || target == m_cmdCancel || !isAncestorOf(target))
        return;
    if (!judgeEntry())
        m_refusedTarget = target;
}

bool IpRulesWindow::entryAllowsAction()
{
    // focusWidget() also names the box while the dialog is not the active window.
    if (focusWidget() != m_txtIPaddress)
        return true;
    return judgeEntry();
}

bool IpRulesWindow::eatsRefusedClick(QObject* watched, const QEvent* event)
{
    if (!m_refusedTarget || !isMouseClickPart(event))
        return false;
    auto* widget = qobject_cast<QWidget*>(watched);
    if (!widget || (widget != m_refusedTarget && !m_refusedTarget->isAncestorOf(widget)))
        return false;
    if (event->type() == QEvent::MouseButtonRelease)
        m_refusedTarget = nullptr;
    return true;
}

bool IpRulesWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_txtIPaddress) {
        if (event->type() == QEvent::MouseButtonPress) {
            m_lstRules->clearSelection();
        } else if (event->type() == QEvent::FocusIn) {
            // Enter in the box adds what was typed rather than closing the dialog without it.
            m_cmdAdd->setDefault(true);
        } else if (event->type() == QEvent::FocusOut) {
            m_cmdOK->setDefault(true);
            m_refusedTarget = nullptr;
            txtIPaddress_Validate();
        }
    } else if (eatsRefusedClick(watched, event)) {
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

void IpRulesWindow::cmdAdd_Click()
{
    if (!entryAllowsAction())
        return;
    m_ctx.logStatus(QStringLiteral("code to add entry"));
    m_lstRules->addItem(m_txtIPaddress->text());
    m_txtIPaddress->clear();
}

void IpRulesWindow::cmdRemove_Click()
{
    if (!entryAllowsAction())
        return;
    const int row = selectedRow();
    if (row < 0)
        return;
    m_txtIPaddress->setText(m_lstRules->item(row)->text());
    delete m_lstRules->takeItem(row);
    m_lstRules->clearSelection();
    m_lstRules->setCurrentRow(-1);
}

void IpRulesWindow::moveSelected(int step)
{
    const int row = selectedRow();
    const int target = row + step;
    if (row < 0 || target < 0 || target >= m_lstRules->count())
        return;
    QListWidgetItem* moved = m_lstRules->takeItem(row);
    m_lstRules->insertItem(target, moved);
    selectRow(target);
}

void IpRulesWindow::cmdUp_Click()
{
    if (entryAllowsAction())
        moveSelected(-1);
}

void IpRulesWindow::cmdDown_Click()
{
    if (entryAllowsAction())
        moveSelected(1);
}

bool IpRulesWindow::saveRules()
{
    Session session(m_ctx);
    if (!session.open())
        return false;
    // The old rules go only together with the new ones landing.
    Transaction work(session);
    if (!work.isUsable())
        return false;
    const bool account = m_scope == Scope::Account;
    const QString user = sqlQuote(m_boundUser);
    if (!session.execute(account ? QStringLiteral("DELETE FROM blocked_ips_by_user WHERE username=") + user
                                 : QStringLiteral("delete from blocked_ips")))
        return false;
    for (int row = 0; row < m_lstRules->count(); ++row) {
        const QString rule = sqlQuote(m_lstRules->item(row)->text());
        const QString sql = account ? QStringLiteral("insert into blocked_ips_by_user ([ip], [username]) values (") + rule
                                          + QStringLiteral(", ") + user + QStringLiteral(")")
                                    : QStringLiteral("insert into blocked_ips ([ip]) values (") + rule + QStringLiteral(")");
        if (!session.execute(sql))
            return false;
    }
    return work.commit();
}

void IpRulesWindow::cmdOK_Click()
{
    if (!entryAllowsAction())
        return;
    // A failed save keeps the dialog open with its list, so that nothing typed is lost.
    if (!saveRules())
        return;
    hide();
    if (m_scope == Scope::Global)
        emit globalRulesSaved();
}

void IpRulesWindow::cmdCancel_Click()
{
    hide();
}

void IpRulesWindow::reject()
{
    // Escape and the close box mean Cancel.
    cmdCancel_Click();
}

void IpRulesWindow::cmdHelp_Click()
{
    if (entryAllowsAction())
        help::openManual(m_ctx);
}

void IpRulesWindow::tmrRules_Timer()
{
    const bool selected = selectedRow() >= 0;
    for (QPushButton* listButton : {m_cmdRemove, m_cmdUp, m_cmdDown})
        listButton->setEnabled(selected);
    m_cmdAdd->setEnabled(!m_txtIPaddress->text().isEmpty());
}

void IpRulesWindow::showEvent(QShowEvent* event)
{
    // The buttons follow the list only while someone can see them.
    tmrRules_Timer();
    m_tmrRules->start();
    QDialog::showEvent(event);
}

void IpRulesWindow::hideEvent(QHideEvent* event)
{
    m_tmrRules->stop();
    QDialog::hideEvent(event);
}
