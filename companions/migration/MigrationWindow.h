#pragma once

#include "MigrationImporter.h"
#include "MigrationSource.h"

#include <QStringList>
#include <QWidget>

class Prompter;
class DateForm;
class SettingsStore;
class QCheckBox;
class QLabel;
class QListWidget;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTabWidget;
class QTableWidget;

// The migration tool's window. Before it shows, prepare() checks that Quillmere
// has been configured, asks for the FTP server to be stopped, reads the server's
// INI file and looks up which accounts the database already holds. The preview
// shows what was found; Import writes it and the summary page tells what happened.
class MigrationWindow : public QWidget
{
    Q_OBJECT

public:
    enum class Preparation { Ready, Cancelled, Failed };

    // Expiry dates are written in the installation's form `dates`.
    MigrationWindow(migration::Generation generation, SettingsStore& settings, const DateForm& dates, Prompter& prompter,
                    QWidget* parent = nullptr);

    // The steps before the preview. Anything but Ready means the tool ends; a
    // failure has been explained to the administrator.
    Preparation prepare();

    void cmdImport_Click();
    void cmdCancel_Click();
    void cmdSaveSummary_Click();
    void cmdClose_Click();
    void chkReplace_Toggled();

    bool isImporting() const { return m_importing; }
    const migration::MigrationSource& source() const { return m_source; }
    const migration::ImportReport& report() const { return m_report; }

    static QString caption();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void setupControls();
    void setupPreviewPage();
    void setupSummaryPage();
    void setupLayout();
    void setupConnections();

    bool readConfiguration();
    bool confirmServerStopped();
    bool readIniFile();
    bool findExistingAccounts();

    void showPreview();
    void fillAccounts();
    void fillNotCarried();
    void fillWarnings();
    bool importProgress(int done);
    void showSummary();
    void tell(const QString& text);

    migration::Generation m_generation;
    SettingsStore& m_settings;
    const DateForm& m_dates;
    Prompter& m_prompter;

    QString m_iniPath;
    QString m_connectionString;
    migration::MigrationSource m_source;
    QStringList m_existing;
    migration::ImportReport m_report;
    QString m_summary;
    bool m_importing = false;
    bool m_stopRequested = false;

    QStackedWidget* m_pages = nullptr;
    QWidget* m_fraPreview = nullptr;
    QWidget* m_fraSummary = nullptr;

    QLabel* m_lblIniPath = nullptr;
    QLabel* m_lblAccountCount = nullptr;
    QLabel* m_lblGlobalRules = nullptr;
    QTabWidget* m_tabDetails = nullptr;
    QTableWidget* m_tblAccounts = nullptr;
    QTableWidget* m_tblNotCarried = nullptr;
    QListWidget* m_lstWarnings = nullptr;
    QCheckBox* m_chkReplace = nullptr;
    QLabel* m_lblReplaceHint = nullptr;
    QProgressBar* m_prgImport = nullptr;
    QLabel* m_lblProgress = nullptr;
    QPushButton* m_cmdImport = nullptr;
    QPushButton* m_cmdCancel = nullptr;

    QLabel* m_lblSummaryIcon = nullptr;
    QLabel* m_lblSummaryHeading = nullptr;
    QLabel* m_lblSummaryCounts = nullptr;
    QPlainTextEdit* m_txtSummary = nullptr;
    QLabel* m_lblSaved = nullptr;
    QPushButton* m_cmdSaveSummary = nullptr;
    QPushButton* m_cmdClose = nullptr;
};
