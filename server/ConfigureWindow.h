#pragma once

#include <QDialog>

class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTimer;
class Session;
struct AppContext;

// frmConfigure: ties the program to one FTP server installation and one accounts
// database. It is shown modally, and only hidden afterwards, so its boxes keep
// their contents between openings.
class ConfigureWindow : public QDialog
{
    Q_OBJECT

public:
    // Tag of the window while it is open because the database could not be reached.
    static inline const QString RepairTag = QStringLiteral("CDB");

    ConfigureWindow(AppContext& context, QWidget* parent = nullptr);

    QString tag() const { return m_tag; }
    void setTag(const QString& tag) { m_tag = tag; }

    // Whoever shows the window turns tmrEnableCommit on first.
    void enableCommitTimer();
    bool isCommitTimerActive() const;

    // Fills the three boxes from the stored settings, as the start-up does.
    void fillFromStoredSettings();

    QString servuPath() const;
    QString ftpDirectory() const;
    QString connectionString() const;
    void setConnectionString(const QString& text);

    void tmrEnableCommit_Timer();
    void cmdBrowseProgramPath_Click();
    void cmdBrowseServerPath_Click();
    void txtServuPath_LostFocus();
    void cmdConnectionString_Click();
    void cmdGlobalIPAccess_Click();
    void cmdCommitChanges_Click();
    void cmdCancel_Click();
    // Shows whether global IP rules exist.
    void checkLabelStatus();

signals:
    // The windows this one opens belong to the window registry, which answers these.
    void statusLogRequested();
    void databaseWizardRequested(int face);
    void globalIpRulesRequested();
    // The settings were committed: the user list is read again.
    void settingsCommitted();

protected:
    void reject() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setupControls();
    // The steps of the commit that check the folders, find the server's INI file and register the plug-in in it.
    bool checkFolders();
    QString findIniPath();
    bool registerPlugin(const QString& iniPath);
    // Makes the chosen date form the installation's, with every stored date rewritten in it.
    bool applyDateForm(Session& session);
    void fillDateForms();
    bool saveSetting(const QString& name, const QString& value);
    void tellSettingsNotSaved();
    void setupLayout();
    void setupTimer();

    AppContext& m_ctx;
    QString m_tag;

    QLineEdit* m_txtServuPath = nullptr;
    QPushButton* m_cmdBrowseProgramPath = nullptr;
    QLabel* m_label3 = nullptr;
    QLineEdit* m_txtFTPdirectory = nullptr;
    QPushButton* m_cmdBrowseServerPath = nullptr;
    QLabel* m_label1 = nullptr;
    QPlainTextEdit* m_txtConnectionString = nullptr;
    QPushButton* m_cmdConnectionString = nullptr;
    QLabel* m_lblDateFormat = nullptr;
    QComboBox* m_cboDateFormat = nullptr;
    QLabel* m_lblRules = nullptr;
    QPushButton* m_cmdGlobalIPAccess = nullptr;
    QPushButton* m_cmdCommitChanges = nullptr;
    QPushButton* m_cmdCancel = nullptr;
    QTimer* m_tmrEnableCommit = nullptr;
};
