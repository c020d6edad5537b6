#pragma once

#include <QDialog>

struct PageState;
class NumericKeyFilter;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QRadioButton;
struct AppContext;

// frmUDRatios: whether an account is bound by an upload/download ratio, of which
// kind, the ratio and the current credit. Byte credits are stored in bytes and
// shown in kilobytes or megabytes.
class UDRatiosWindow : public QDialog
{
    Q_OBJECT

public:
    UDRatiosWindow(AppContext& context, PageState& page, QWidget* parent = nullptr);

    void thisFormLoadData();
    bool thisFormSaveData();
    void checkEnabled();
    void changeUnits();
    QString loadedUser() const { return m_loadedUser; }

    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdHelp_Click();

protected:
    void reject() override;

private:
    // The credit in the unit the database keeps it in, as the save would write it.
    double creditToStore() const;
    void setupControls();
    void setupLayout();
    void setupRules();
    void byteKindChosen();
    void fileKindChosen();
    bool inKilobytes() const;
    QString unit() const;

    AppContext& m_ctx;
    PageState& m_page;
    QString m_loadedUser;
    bool m_loading = false;

    NumericKeyFilter* m_numericKeys = nullptr;
    QCheckBox* m_chkEnableUD = nullptr;
    QRadioButton* m_optFPS = nullptr;
    QRadioButton* m_optBPS = nullptr;
    QRadioButton* m_optFAS = nullptr;
    QRadioButton* m_optBAS = nullptr;
    QLineEdit* m_txtUpload = nullptr;
    QLineEdit* m_txtDownload = nullptr;
    QLineEdit* m_txtUDCrd = nullptr;
    QLabel* m_label5 = nullptr;
    QComboBox* m_cboChoice = nullptr;
};
