#pragma once

#include <QDialog>

struct PageState;
class MonthCalendar;
class NumericKeyFilter;
class QButtonGroup;
class QCheckBox;
class QGroupBox;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QStackedLayout;
struct AppContext;

// frmMiscSetup: the options of one account that do not fit on the user page, with
// the month calendar that picks its two dates. Shown without blocking the main
// window; only hidden afterwards, and reloaded before each showing.
class MiscSetupWindow : public QDialog
{
    Q_OBJECT

public:
    MiscSetupWindow(AppContext& context, PageState& page, QWidget* parent = nullptr);

    // Loads the options of the main window's current user.
    void popInfo();
    // The account the dialog loaded and saves to.
    QString loadedUser() const { return m_loadedUser; }

    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdHelp_Click();
    void cmdDiableDDD_Click();
    void cmdExpiresDDD_Click();
    void CmdLoginMessageFile_Click();

    // The date box the calendar writes into, or nullptr when no calendar is open.
    QLineEdit* targetBox() const { return m_targetBox; }
    MonthCalendar& calendar() { return *m_calendar; }
    bool isCalendarShown() const;

signals:
    // Enter on the calendar closes and destroys the whole window.
    void destroyRequested();
    // The account's options were written: the user page shows them again.
    void accountSaved();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void reject() override;

private:
    void setupControls();
    void setupLayout();
    void setupRules();

    void openCalendar(QLineEdit* target);
    void showOptions();
    bool checkLengths();
    bool checkNumbers();
    bool checkDates();
    void save();

    AppContext& m_ctx;
    PageState& m_page;
    QString m_loadedUser;
    QButtonGroup* m_logins = nullptr;
    QLineEdit* m_targetBox = nullptr;

    QStackedLayout* m_frames = nullptr;
    QGroupBox* m_fraMain = nullptr;
    MonthCalendar* m_calendar = nullptr;
    QWidget* m_calendarPage = nullptr;
    NumericKeyFilter* m_numericKeys = nullptr;

    QCheckBox* m_chkDisableAccount = nullptr;
    QCheckBox* m_chkDisableOn = nullptr;
    QLineEdit* m_txtDisableDate = nullptr;
    QPushButton* m_cmdDiableDDD = nullptr;
    QCheckBox* m_chkExpires = nullptr;
    QLineEdit* m_txtExpDate = nullptr;
    QPushButton* m_cmdExpiresDDD = nullptr;
    QCheckBox* m_ChkShowRelPath = nullptr;
    QCheckBox* m_ChkHideHidden = nullptr;
    QCheckBox* m_ChkAlwaysLogin = nullptr;
    QRadioButton* m_optOneLogin = nullptr;
    QRadioButton* m_optMaxLogins = nullptr;
    QLineEdit* m_TxtAllowOnly = nullptr;
    QLineEdit* m_txtMaxSpeed = nullptr;
    QLineEdit* m_txtIdleTimeOut = nullptr;
    QLineEdit* m_txtSessionTimeout = nullptr;
    QLineEdit* m_txtMaxUSer = nullptr;
    QLineEdit* m_txtLoginMessageFile = nullptr;
    QPushButton* m_CmdLoginMessageFile = nullptr;
};
