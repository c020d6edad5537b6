#include "limits/MiscSetupWindow.h"

#include "accounts/PageState.h"
#include "db/SqlText.h"
#include "db/StoredFlag.h"
#include "limits/MonthCalendar.h"
#include "limits/LoadedAccount.h"
#include "limits/Numbers.h"
#include "maintenance/Help.h"
#include "platform/Named.h"
#include "platform/NumericKeyFilter.h"
#include "platform/PathInfo.h"
#include "platform/Prompter.h"
#include "platform/DateForm.h"
#include "platform/Clock.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"
#include "services/Session.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedLayout>
#include <QTimer>
#include <QVBoxLayout>

namespace {

// "-1" means "not set" and shows as an empty box; NULL shows as "0".
QString minutesText(const Rows& row, const QString& column)
{
    if (row.isNull(column))
        return QStringLiteral("0");
    const QString text = row.text(column);
    return text == QLatin1String("-1") ? QString() : text;
}

// A flag is set by any value but NULL and 0, as the FTP server's handler reads it.
bool flag(const Rows& row, const QString& column)
{
    return !row.isNull(column) && storedFlagIsSet(row.value(column));
}

QString zeroOrOne(const QCheckBox* box)
{
    return box->isChecked() ? QStringLiteral("1") : QStringLiteral("0");
}

} // namespace

MiscSetupWindow::MiscSetupWindow(AppContext& context, PageState& page, QWidget* parent)
    : QDialog(parent)
    , m_ctx(context)
    , m_page(page)
{
    setObjectName(QStringLiteral("frmMiscSetup"));
    setWindowTitle(QStringLiteral("User Miscellaneous Setup"));
    setupControls();
    setupLayout();
    setupRules();
    showOptions();
    popInfo();
}

void MiscSetupWindow::setupControls()
{
    m_fraMain = named(new QGroupBox(QStringLiteral("Miscellaneous"), this), "fraMain");
    m_calendar = new MonthCalendar(m_ctx, this);
    m_numericKeys = new NumericKeyFilter([this] { m_ctx.logStatus(QStringLiteral("Only numbers and .")); }, this);

    m_chkDisableAccount = named(new QCheckBox(QStringLiteral("Disable account"), this), "chkDisableAccount");
    m_chkDisableOn = named(new QCheckBox(QStringLiteral("Disable account on"), this), "chkDisableOn");
    m_txtDisableDate = named(new QLineEdit(this), "txtDisableDate");
    m_cmdDiableDDD = named(new QPushButton(QStringLiteral("..."), this), "cmdDiableDDD");
    m_chkExpires = named(new QCheckBox(QStringLiteral("Account Expires"), this), "chkExpires");
    m_txtExpDate = named(new QLineEdit(this), "txtExpDate");
    m_cmdExpiresDDD = named(new QPushButton(QStringLiteral("..."), this), "cmdExpiresDDD");
    // Dates are picked in the calendar, never typed.
    for (QLineEdit* date : {m_txtDisableDate, m_txtExpDate}) {
        date->setReadOnly(true);
        date->installEventFilter(this);
    }
    m_ChkShowRelPath = named(new QCheckBox(QStringLiteral("Show path relative to home directory"), this), "ChkShowRelPath");
    m_ChkHideHidden = named(new QCheckBox(QStringLiteral("Hide 'Hidden' files"), this), "ChkHideHidden");
    m_ChkAlwaysLogin = named(new QCheckBox(QStringLiteral("Always allow login"), this), "ChkAlwaysLogin");
    m_optOneLogin = named(new QRadioButton(QStringLiteral("Allow only one login per IP address"), this), "optOneLogin");
    m_optMaxLogins = named(new QRadioButton(QStringLiteral("Allow only"), this), "optMaxLogins");
    m_logins = new QButtonGroup(this);
    m_logins->addButton(m_optOneLogin);
    m_logins->addButton(m_optMaxLogins);
    m_TxtAllowOnly = named(new QLineEdit(this), "TxtAllowOnly");
    m_txtMaxSpeed = named(new QLineEdit(this), "txtMaxSpeed");
    m_txtIdleTimeOut = named(new QLineEdit(this), "txtIdleTimeOut");
    m_txtSessionTimeout = named(new QLineEdit(this), "txtSessionTimeout");
    m_txtMaxUSer = named(new QLineEdit(this), "txtMaxUSer");
    m_txtLoginMessageFile = named(new QLineEdit(this), "txtLoginMessageFile");
    // Longer than Qt's default limit, so that the dialog's own length check can speak.
    m_txtLoginMessageFile->setMaxLength(100000);
    m_CmdLoginMessageFile = named(new QPushButton(QStringLiteral("..."), this), "CmdLoginMessageFile");
    for (QLineEdit* numeric : {m_TxtAllowOnly, m_txtIdleTimeOut, m_txtMaxSpeed, m_txtMaxUSer})
        m_numericKeys->watch(numeric);
    for (QPushButton* picker : {m_cmdDiableDDD, m_cmdExpiresDDD, m_CmdLoginMessageFile})
        picker->setFixedWidth(36);
    for (QLineEdit* small : {m_TxtAllowOnly, m_txtMaxSpeed, m_txtIdleTimeOut, m_txtSessionTimeout, m_txtMaxUSer})
        small->setMaximumWidth(90);

    connect(m_cmdDiableDDD, &QPushButton::clicked, this, &MiscSetupWindow::cmdDiableDDD_Click);
    connect(m_cmdExpiresDDD, &QPushButton::clicked, this, &MiscSetupWindow::cmdExpiresDDD_Click);
    connect(m_CmdLoginMessageFile, &QPushButton::clicked, this, &MiscSetupWindow::CmdLoginMessageFile_Click);
    connect(m_calendar, &MonthCalendar::accepted, this, [this](const QDate& date) {
        if (m_targetBox)
            m_targetBox->setText(m_ctx.dates.format(date));
        showOptions();
    });
    connect(m_calendar, &MonthCalendar::cancelled, this, &MiscSetupWindow::showOptions);
    connect(m_calendar, &MonthCalendar::escapePressed, this, &MiscSetupWindow::cmdCancel_Click);
    connect(m_calendar, &MonthCalendar::enterPressed, this, [this] {
        hide();
        emit destroyRequested();
    });
}

void MiscSetupWindow::setupLayout()
{
    auto* grid = new QGridLayout;
    grid->setVerticalSpacing(6);
    int row = 0;
    grid->addWidget(m_chkDisableAccount, row++, 0, 1, 4);
    grid->addWidget(m_chkDisableOn, row, 0);
    grid->addWidget(m_txtDisableDate, row, 1, 1, 2);
    grid->addWidget(m_cmdDiableDDD, row++, 3);
    grid->addWidget(m_chkExpires, row, 0);
    grid->addWidget(m_txtExpDate, row, 1, 1, 2);
    grid->addWidget(m_cmdExpiresDDD, row++, 3);
    grid->addWidget(m_ChkShowRelPath, row++, 0, 1, 4);
    grid->addWidget(m_ChkHideHidden, row++, 0, 1, 4);
    grid->addWidget(m_ChkAlwaysLogin, row++, 0, 1, 4);
    grid->addWidget(m_optOneLogin, row++, 0, 1, 4);
    auto* allowOnly = new QHBoxLayout;
    allowOnly->addWidget(m_optMaxLogins);
    allowOnly->addWidget(m_TxtAllowOnly);
    allowOnly->addWidget(new QLabel(QStringLiteral("login(s) from the same IP address"), this));
    allowOnly->addStretch(1);
    grid->addLayout(allowOnly, row++, 0, 1, 4);

    const auto numberRow = [&](const QString& caption, QLineEdit* box, const QString& unit) {
        auto* label = new QLabel(caption, this);
        label->setBuddy(box);
        grid->addWidget(label, row, 0);
        grid->addWidget(box, row, 1);
        if (!unit.isEmpty())
            grid->addWidget(new QLabel(unit, this), row, 2);
        ++row;
    };
    numberRow(QStringLiteral("Maximum speed"), m_txtMaxSpeed, QStringLiteral("KBps"));
    numberRow(QStringLiteral("Idle time-out"), m_txtIdleTimeOut, QStringLiteral("Minutes"));
    numberRow(QStringLiteral("Session time-out"), m_txtSessionTimeout, QStringLiteral("Minutes"));
    numberRow(QStringLiteral("Max. no. of users"), m_txtMaxUSer, QString());
    auto* loginLabel = new QLabel(QStringLiteral("Login message file"), this);
    loginLabel->setBuddy(m_txtLoginMessageFile);
    grid->addWidget(loginLabel, row, 0);
    grid->addWidget(m_txtLoginMessageFile, row, 1, 1, 2);
    grid->addWidget(m_CmdLoginMessageFile, row++, 3);
    grid->setColumnStretch(2, 1);

    auto* ok = named(new QPushButton(QStringLiteral("OK"), this), "cmdOK");
    auto* cancel = named(new QPushButton(QStringLiteral("Cancel"), this), "cmdCancel");
    auto* help = named(new QPushButton(QStringLiteral("Help"), this), "cmdHelp");
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &MiscSetupWindow::cmdOK_Click);
    connect(cancel, &QPushButton::clicked, this, &MiscSetupWindow::cmdCancel_Click);
    connect(help, &QPushButton::clicked, this, &MiscSetupWindow::cmdHelp_Click);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(help);
    buttons->addStretch(1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);

    auto* main = new QVBoxLayout(m_fraMain);
    main->addLayout(grid);
    main->addStretch(1);
    main->addLayout(buttons);

    // The calendar frame takes the place of the options while a date is picked,
    // centred in the space the options leave.
    m_calendarPage = new QWidget(this);
    auto* calendarLayout = new QGridLayout(m_calendarPage);
    calendarLayout->addWidget(m_calendar, 0, 0, Qt::AlignCenter);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(12, 12, 12, 12);
    m_frames = new QStackedLayout;
    m_frames->addWidget(m_fraMain);
    m_frames->addWidget(m_calendarPage);
    outer->addLayout(m_frames);
    setMinimumWidth(480);
}

void MiscSetupWindow::setupRules()
{
    connect(m_chkDisableAccount, &QCheckBox::toggled, this, [this](bool checked) {
        m_chkDisableOn->setEnabled(!checked);
        if (checked)
            m_txtDisableDate->clear();
    });
    connect(m_chkDisableOn, &QCheckBox::toggled, this, [this](bool checked) {
        m_cmdDiableDDD->setEnabled(checked);
        m_txtDisableDate->setEnabled(checked);
        if (!checked)
            m_txtDisableDate->clear();
    });
    connect(m_chkExpires, &QCheckBox::toggled, this, [this](bool checked) {
        m_cmdExpiresDDD->setEnabled(checked);
        m_txtExpDate->setEnabled(checked);
        if (!checked)
            m_txtExpDate->clear();
    });
}

bool MiscSetupWindow::isCalendarShown() const
{
    return m_frames->currentWidget() == m_calendarPage;
}

void MiscSetupWindow::showOptions()
{
    m_frames->setCurrentWidget(m_fraMain);
}

void MiscSetupWindow::popInfo()
{
    // The dialog holds an account only once its row has been read, so that OK never
    // writes what it shows to another account.
    const QString name = m_page.currentUser;
    m_loadedUser.clear();
    Session session(m_ctx);
    if (!session.open())
        return;
    Rows row = session.select(QStringLiteral("SELECT disable_user, rel_path, hide_hidden_files, always_login, one_login_per_ip, "
                                             "max_logins_per_ip, speed_limit_value, timeout, session_timeout, max_concurrent, "
                                             "login_msg_file, Expires, DisableOn FROM users WHERE username=")
                              + sqlQuote(name));
    if (!row.isValid() || !row.next())
        return;
    m_chkDisableAccount->setChecked(flag(row, QStringLiteral("disable_user")));
    m_ChkShowRelPath->setChecked(flag(row, QStringLiteral("rel_path")));
    m_ChkHideHidden->setChecked(flag(row, QStringLiteral("hide_hidden_files")));
    m_ChkAlwaysLogin->setChecked(flag(row, QStringLiteral("always_login")));
    // An exclusive group ignores clearing its checked button, so both are set with
    // the group open; when both columns are set, the second wins as it always did.
    const bool maxLogins = flag(row, QStringLiteral("max_logins_per_ip"));
    m_logins->setExclusive(false);
    m_optOneLogin->setChecked(flag(row, QStringLiteral("one_login_per_ip")) && !maxLogins);
    m_optMaxLogins->setChecked(maxLogins);
    m_logins->setExclusive(true);
    const QString speed = row.isNull(QStringLiteral("speed_limit_value")) ? QStringLiteral("0") : row.text(QStringLiteral("speed_limit_value"));
    m_txtMaxSpeed->setText(numbers::show(numbers::leading(speed)));
    m_txtIdleTimeOut->setText(minutesText(row, QStringLiteral("timeout")));
    m_txtSessionTimeout->setText(minutesText(row, QStringLiteral("session_timeout")));
    m_txtMaxUSer->setText(minutesText(row, QStringLiteral("max_concurrent")));
    m_txtLoginMessageFile->setText(row.text(QStringLiteral("login_msg_file")));
    m_txtDisableDate->setText(row.text(QStringLiteral("DisableOn")));
    m_txtExpDate->setText(row.text(QStringLiteral("Expires")));
    m_TxtAllowOnly->setText(row.isNull(QStringLiteral("max_logins_per_ip")) ? QStringLiteral("1")
                                                                            : row.text(QStringLiteral("max_logins_per_ip")));
    m_loadedUser = name;
    session.close();
    // A date of fewer than three characters is no date: its box is cleared with it.
    m_chkExpires->setChecked(true);
    if (m_txtExpDate->text().size() < 3)
        m_chkExpires->setChecked(false);
    m_chkDisableOn->setChecked(true);
    if (m_txtDisableDate->text().size() < 3)
        m_chkDisableOn->setChecked(false);
    m_cmdDiableDDD->setEnabled(m_chkDisableOn->isChecked());
    m_txtDisableDate->setEnabled(m_chkDisableOn->isChecked());
    m_txtExpDate->setEnabled(m_chkExpires->isChecked());
    m_cmdExpiresDDD->setEnabled(m_chkExpires->isChecked());
    showOptions();
}

void MiscSetupWindow::openCalendar(QLineEdit* target)
{
    m_targetBox = target;
    m_calendar->open();
    m_frames->setCurrentWidget(m_calendarPage);
}

void MiscSetupWindow::cmdDiableDDD_Click()
{
    openCalendar(m_txtDisableDate);
}

void MiscSetupWindow::cmdExpiresDDD_Click()
{
    openCalendar(m_txtExpDate);
}

void MiscSetupWindow::CmdLoginMessageFile_Click()
{
    prompt::FileChoice choice;
    choice.mode = prompt::FileChoice::Mode::Open;
    choice.title = QStringLiteral("Logon File");
    choice.filterName = QStringLiteral("Text Files (*.txt)");
    choice.pattern = QStringLiteral("*.txt");
    choice.initialName = QStringLiteral("logonfile.txt");
    choice.initialFolder = m_ctx.programDir;
    m_txtLoginMessageFile->setText(m_ctx.prompter.chooseFile(choice));
    raise();
    activateWindow();
}

bool MiscSetupWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::FocusIn) {
        // Entering a date box opens the calendar for it instead.
        if (watched == m_txtDisableDate) {
            m_chkDisableOn->setFocus();
            QTimer::singleShot(0, this, &MiscSetupWindow::cmdDiableDDD_Click);
        } else if (watched == m_txtExpDate) {
            m_chkExpires->setFocus();
            QTimer::singleShot(0, this, &MiscSetupWindow::cmdExpiresDDD_Click);
        }
    }
    return QDialog::eventFilter(watched, event);
}

bool MiscSetupWindow::checkLengths()
{
    const std::pair<QLineEdit*, std::pair<int, const char*>> limits[] = {
        {m_txtLoginMessageFile, {65000, "login message file"}}, {m_txtIdleTimeOut, {8, "idle timeout"}},
        {m_txtSessionTimeout, {8, "session timeout"}},          {m_TxtAllowOnly, {3, "allow only"}},
        {m_txtMaxUSer, {4, "maximum users"}},                   {m_txtMaxSpeed, {150, "maximum speed"}},
        {m_txtExpDate, {50, "Expiration date"}},                {m_txtDisableDate, {50, "Disable on date"}},
    };
    for (const auto& [box, limit] : limits) {
        if (box->text().size() > limit.first) {
            m_ctx.prompter.tell(appinfo::Title,
                                QStringLiteral("The number of characters in the %1 field \r\nexceeds the maximum number of characters allowed.")
                                    .arg(QLatin1String(limit.second)),
                                prompt::Icon::Exclamation);
            return false;
        }
    }
    return true;
}

bool MiscSetupWindow::checkNumbers()
{
    // Numbers go into SQL bare, so only real numbers may pass.
    const std::pair<QLineEdit*, const char*> wholeNumbers[] = {
        {m_txtIdleTimeOut, "idle time-out"},
        {m_txtSessionTimeout, "session time-out"},
        {m_txtMaxUSer, "maximum users"},
        {m_TxtAllowOnly, "allow only"},
    };
    for (const auto& [box, name] : wholeNumbers) {
        if (box == m_TxtAllowOnly && !m_optMaxLogins->isChecked())
            continue;
        if (!box->text().trimmed().isEmpty() && !numbers::readWhole(box->text())) {
            m_ctx.prompter.tell(appinfo::Title, QStringLiteral("The %1 field must hold a whole number.").arg(QLatin1String(name)),
                                prompt::Icon::Exclamation);
            box->setFocus();
            return false;
        }
    }
    return true;
}

bool MiscSetupWindow::checkDates()
{
    const auto inform = [this](const QString& text) { m_ctx.prompter.tell(appinfo::Title, text, prompt::Icon::Information); };
    if (m_chkExpires->isChecked() && m_txtExpDate->text().trimmed().isEmpty()) {
        inform(QStringLiteral("If expiration option is enabled you must select an expiration date."));
        return false;
    }
    if (m_chkDisableOn->isChecked() && m_txtDisableDate->text().trimmed().isEmpty()) {
        inform(QStringLiteral("If disable on date option is enabled you must select a date to disable the account on."));
        return false;
    }
    if (!m_txtDisableDate->text().trimmed().isEmpty() && !m_txtExpDate->text().trimmed().isEmpty()) {
        const QDate today = m_ctx.clock.now().date();
        const auto disableOn = m_ctx.dates.read(m_txtDisableDate->text(), today);
        const auto expires = m_ctx.dates.read(m_txtExpDate->text(), today);
        // A stored text that is not a date cannot be compared and is let through.
        if (disableOn && expires && *expires < *disableOn) {
            inform(QStringLiteral("The account expiration date should be after the date it is to be disabled."));
            return false;
        }
    }
    return true;
}

void MiscSetupWindow::cmdOK_Click()
{
    m_ctx.logStatus(QStringLiteral("check for path "));
    if (!checkLengths())
        return;
    if (m_optMaxLogins->isChecked() && m_TxtAllowOnly->text().trimmed().isEmpty()) {
        m_ctx.prompter.tell(appinfo::Title,
                            QStringLiteral("To allow only certain number of logins per \r\nIP address, you must specify that number."),
                            prompt::Icon::Exclamation);
        m_TxtAllowOnly->setFocus();
        return;
    }
    if (pathInfo(m_txtLoginMessageFile->text()).isUrl) {
        m_ctx.prompter.tell(appinfo::Title, QStringLiteral("The path specified is not valid.\r\nPlease check your path and try again."),
                            prompt::Icon::Exclamation);
        return;
    }
    if (!checkDates() || !checkNumbers())
        return;
    save();
}

void MiscSetupWindow::save()
{
    if (m_loadedUser.isEmpty()) {
        m_ctx.prompter.tell(appinfo::Title, notLoadedText(), prompt::Icon::Exclamation);
        return;
    }
    m_ctx.logStatus(QStringLiteral("save data"));
    Session session(m_ctx);
    if (!session.open())
        return;
    const auto minutes = [](const QLineEdit* box) {
        const QString trimmed = box->text().trimmed();
        return trimmed.isEmpty() ? QStringLiteral("-1") : sqlNumber(*numbers::readWhole(trimmed));
    };
    const QString expires = m_chkExpires->isChecked() ? m_txtExpDate->text() : QString();
    const QString disableOn = m_chkDisableOn->isChecked() ? m_txtDisableDate->text() : QString();
    const QString allowOnly =
        m_optMaxLogins->isChecked() ? sqlNumber(*numbers::readWhole(m_TxtAllowOnly->text())) : QStringLiteral("0");
    // Built by concatenation: a value holding "%1" must never be read as a placeholder.
    const QString loginFile = m_txtLoginMessageFile->text().trimmed().isEmpty()
        ? QStringLiteral(", expires=")
        : QStringLiteral(",login_msg_file=") + sqlQuote(m_txtLoginMessageFile->text()) + QStringLiteral(", expires=");
    const QString statement = QStringLiteral("update users set disable_user=") + zeroOrOne(m_chkDisableAccount)
        + QStringLiteral(", rel_path=") + zeroOrOne(m_ChkShowRelPath) + QStringLiteral(", hide_hidden_files=")
        + zeroOrOne(m_ChkHideHidden) + QStringLiteral(", always_login=") + zeroOrOne(m_ChkAlwaysLogin)
        + QStringLiteral(", one_login_per_ip=") + (m_optOneLogin->isChecked() ? QStringLiteral("1") : QStringLiteral("0"))
        + QStringLiteral(", max_logins_per_ip=") + allowOnly + QStringLiteral(", speed_limit_value=") + sqlQuote(m_txtMaxSpeed->text())
        + QStringLiteral(", timeout=") + minutes(m_txtIdleTimeOut) + QStringLiteral(", session_timeout=")
        + minutes(m_txtSessionTimeout) + QStringLiteral(", max_concurrent=") + minutes(m_txtMaxUSer) + loginFile
        + sqlQuote(expires) + QStringLiteral(", disableon=") + sqlQuote(disableOn) + QStringLiteral("  WHERE username=")
        + sqlQuote(m_loadedUser);
    if (!session.execute(statement))
        return;
    session.close();
    m_targetBox = nullptr;
    hide();
    emit accountSaved();
}

void MiscSetupWindow::cmdCancel_Click()
{
    m_targetBox = nullptr;
    showOptions();
    hide();
}

void MiscSetupWindow::reject()
{
    cmdCancel_Click();
}

void MiscSetupWindow::cmdHelp_Click()
{
    help::openManual(m_ctx);
}
