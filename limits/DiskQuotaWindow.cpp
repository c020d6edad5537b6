#include "limits/DiskQuotaWindow.h"

#include "accounts/PageState.h"
#include "db/SqlText.h"
#include "limits/LoadedAccount.h"
#include "limits/Numbers.h"
#include "maintenance/Help.h"
#include "platform/Named.h"
#include "platform/NumericKeyFilter.h"
#include "platform/Prompter.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"
#include "services/Session.h"

#include <QCoreApplication>
#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include <cmath>

namespace {

constexpr int MaxMaximumLength = 14;

} // namespace

DiskQuotaWindow::DiskQuotaWindow(AppContext& context, PageState& page, QWidget* parent)
    : QDialog(parent)
    , m_ctx(context)
    , m_page(page)
{
    setObjectName(QStringLiteral("frmDiskQuota"));
    setWindowTitle(QStringLiteral("User Disk Quota"));
    setupControls();
    setupLayout();
    m_optM->setChecked(true);
    m_unitFactor = 1048576.0;
    m_label4->setText(QStringLiteral("Mb"));
    m_label3->setText(QStringLiteral("Mb"));
    m_ctx.logStatus(QStringLiteral("show current quota"));
    popQuota();
}

void DiskQuotaWindow::setupControls()
{
    m_numericKeys = new NumericKeyFilter([this] { m_ctx.logStatus(QStringLiteral("Only numbers and .")); }, this);
    m_chkEnableQuota = named(new QCheckBox(QStringLiteral("Enable disk quota"), this), "chkEnableQuota");
    m_txtQuotaMaximum = named(new QLineEdit(this), "txtQuotaMaximum");
    m_numericKeys->watch(m_txtQuotaMaximum);
    m_txtQuotaCurrent = named(new QLineEdit(this), "txtQuotaCurrent");
    // The space in use is measured by the FTP server; it is shown, never saved.
    m_txtQuotaCurrent->setReadOnly(true);
    m_label4 = named(new QLabel(this), "Label4");
    m_label3 = named(new QLabel(this), "Label3");
    m_opK = named(new QRadioButton(QStringLiteral("In Kilobytes"), this), "opK");
    m_optM = named(new QRadioButton(QStringLiteral("In Megabytes"), this), "optM");
    connect(m_chkEnableQuota, &QCheckBox::toggled, m_txtQuotaMaximum, &QLineEdit::setEnabled);
    connect(m_opK, &QRadioButton::clicked, this, &DiskQuotaWindow::changeUnits);
    connect(m_optM, &QRadioButton::clicked, this, &DiskQuotaWindow::changeUnits);
}

void DiskQuotaWindow::setupLayout()
{
    auto* frame = new QGroupBox(QStringLiteral("Disk Quota"), this);
    auto* grid = new QGridLayout(frame);
    grid->addWidget(m_chkEnableQuota, 0, 0, 1, 3);
    grid->addWidget(new QLabel(QStringLiteral("Maximum"), this), 1, 0);
    grid->addWidget(m_txtQuotaMaximum, 1, 1);
    grid->addWidget(m_label4, 1, 2);
    grid->addWidget(new QLabel(QStringLiteral("Current"), this), 2, 0);
    grid->addWidget(m_txtQuotaCurrent, 2, 1);
    grid->addWidget(m_label3, 2, 2);
    auto* units = new QHBoxLayout;
    units->addWidget(m_opK);
    units->addWidget(m_optM);
    units->addStretch(1);
    grid->addLayout(units, 3, 0, 1, 3);
    grid->setColumnStretch(1, 1);

    auto* ok = named(new QPushButton(QStringLiteral("OK"), this), "cmdOK");
    auto* cancel = named(new QPushButton(QStringLiteral("Cancel"), this), "cmdCancel");
    auto* help = named(new QPushButton(QStringLiteral("Help"), this), "cmdHelp");
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &DiskQuotaWindow::cmdOK_Click);
    connect(cancel, &QPushButton::clicked, this, &DiskQuotaWindow::cmdCancel_Click);
    connect(help, &QPushButton::clicked, this, &DiskQuotaWindow::cmdHelp_Click);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(help);
    buttons->addStretch(1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(frame);
    layout->addLayout(buttons);
    setMinimumWidth(340);
}

bool DiskQuotaWindow::readQuota(bool maximumAndFlag)
{
    Session session(m_ctx);
    if (!session.open())
        return false;
    const QString where = QStringLiteral(" WHERE username=") + sqlQuote(m_loadedUser);
    const QString select = QStringLiteral("SELECT use_quota, quota_max, quota_current FROM users") + where;
    Rows rows = session.select(select);
    if (!rows.isValid())
        return false;
    const bool found = rows.next();
    if (found && rows.isNull(QStringLiteral("use_quota"))) {
        // An account that never had its quota set gets it switched off for good.
        rows = Rows();
        if (!session.execute(QStringLiteral("update users set use_quota=0") + where))
            return false;
        QCoreApplication::processEvents();
        rows = session.select(select);
        if (!rows.isValid() || !rows.next())
            return false;
    } else if (!found) {
        return false;
    }
    do {
        const double current = numbers::leading(rows.text(QStringLiteral("quota_current")));
        const double maximum = numbers::leading(rows.text(QStringLiteral("quota_max")));
        if (maximumAndFlag)
            m_chkEnableQuota->setChecked(rows.value(QStringLiteral("use_quota")).toDouble() != 0.0);
        m_txtQuotaCurrent->setText(numbers::show(numbers::roundHalfEven(current / m_unitFactor, 3)));
        m_txtQuotaMaximum->setText(numbers::show(maximum / m_unitFactor));
        m_storedMaximum = maximum;
        m_shownMaximum = m_txtQuotaMaximum->text();
    } while (rows.next());
    return true;
}

void DiskQuotaWindow::popQuota()
{
    // The dialog holds an account only once its row has been read.
    m_loadedUser = m_page.currentUser;
    if (!readQuota(true))
        m_loadedUser.clear();
    m_txtQuotaMaximum->setEnabled(m_chkEnableQuota->isChecked());
}

void DiskQuotaWindow::popQuota2()
{
    readQuota(false);
}

void DiskQuotaWindow::changeUnits()
{
    const bool kilobytes = m_opK->isChecked();
    m_unitFactor = kilobytes ? 1024.0 : 1048576.0;
    m_label4->setText(kilobytes ? QStringLiteral("Kb") : QStringLiteral("Mb"));
    m_label3->setText(m_label4->text());
    popQuota2();
}

void DiskQuotaWindow::cmdOK_Click()
{
    const auto warn = [this](const QString& text) { m_ctx.prompter.tell(appinfo::Title, text, prompt::Icon::Exclamation); };
    if (m_loadedUser.isEmpty()) {
        warn(notLoadedText());
        return;
    }
    if (m_txtQuotaMaximum->text().isEmpty() && m_chkEnableQuota->isChecked()) {
        warn(QStringLiteral("You must enter a value for Maximum Quota when \r\nthe enable disk quota is checked."));
        return;
    }
    // A maximum left as shown keeps the stored number exactly, however long its text.
    const bool unchanged = m_txtQuotaMaximum->text() == m_shownMaximum;
    if (!unchanged && m_txtQuotaMaximum->text().size() > MaxMaximumLength) {
        warn(QStringLiteral("The number of characters in the Maximum Quota field \r\nexceeds the maximum number of characters allowed."));
        return;
    }
    const auto typed = numbers::read(m_txtQuotaMaximum->text());
    if (m_chkEnableQuota->isChecked() && !unchanged && !typed) {
        warn(QStringLiteral("The Maximum Quota must be a number, such as 2.5."));
        return;
    }
    const double bytes = unchanged ? m_storedMaximum : typed.value_or(0) * m_unitFactor;
    if (m_chkEnableQuota->isChecked() && !numbers::fitsNumeric(bytes)) {
        warn(QStringLiteral("The Maximum Quota is larger than the database can hold: at most %1 %2.")
                 .arg(numbers::show(std::floor(999999999999999999.0 / m_unitFactor)), m_label4->text()));
        return;
    }
    Session session(m_ctx);
    if (!session.open())
        return;
    const QString where = QStringLiteral(" WHERE username=") + sqlQuote(m_loadedUser);
    const QString statement = m_chkEnableQuota->isChecked()
        ? QStringLiteral("update users set [use_quota]=1, quota_max=") + sqlNumber(bytes) + where
        : QStringLiteral("update users set [use_quota]=0, quota_max=0") + where;
    if (session.execute(statement))
        hide();
}

void DiskQuotaWindow::cmdCancel_Click()
{
    hide();
}

void DiskQuotaWindow::reject()
{
    cmdCancel_Click();
}

void DiskQuotaWindow::cmdHelp_Click()
{
    help::openManual(m_ctx);
}
