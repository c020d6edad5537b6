#pragma once

#include <QDialog>

struct PageState;
class NumericKeyFilter;
class QCheckBox;
class QLabel;
class QLineEdit;
class QRadioButton;
struct AppContext;

// frmDiskQuota: switches an account's disk quota on or off, sets its maximum and
// shows the space in use, in kilobytes or megabytes (stored in bytes).
class DiskQuotaWindow : public QDialog
{
    Q_OBJECT

public:
    DiskQuotaWindow(AppContext& context, PageState& page, QWidget* parent = nullptr);

    void popQuota();
    void popQuota2();
    void changeUnits();
    double unitFactor() const { return m_unitFactor; }
    QString loadedUser() const { return m_loadedUser; }

    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdHelp_Click();

protected:
    void reject() override;

private:
    void setupControls();
    void setupLayout();
    // Reads the quota columns, first repairing a NULL use_quota; false when the database failed.
    bool readQuota(bool maximumAndFlag);

    AppContext& m_ctx;
    PageState& m_page;
    QString m_loadedUser;
    // The stored maximum in bytes and the text it was shown as.
    double m_storedMaximum = 0;
    QString m_shownMaximum;
    double m_unitFactor = 1048576.0;

    NumericKeyFilter* m_numericKeys = nullptr;
    QCheckBox* m_chkEnableQuota = nullptr;
    QLineEdit* m_txtQuotaMaximum = nullptr;
    QLineEdit* m_txtQuotaCurrent = nullptr;
    QLabel* m_label4 = nullptr;
    QLabel* m_label3 = nullptr;
    QRadioButton* m_opK = nullptr;
    QRadioButton* m_optM = nullptr;
};
