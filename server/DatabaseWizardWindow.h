#pragma once

#include <QDialog>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class DataLinkDialog;
class Database;
class QButtonGroup;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;
class WizardConnectionThread;
struct AppContext;

// frmDatabaseWizard1: creates a new accounts database (a file written from the
// template, SQL Server or PostgreSQL) or records the connection string of an
// existing one. The file is an Access file where Jet exists and an SQLite file,
// named and presented as one, everywhere else. Its four pages
// are sets of controls of one window; it is only hidden afterwards, so its log and
// the chosen database type survive between showings.
class DatabaseWizardWindow : public QDialog
{
    Q_OBJECT

public:
    // The names the database name prompt proposes; one is drawn per run.
    static const QStringList& defaultDatabaseNames();

    DatabaseWizardWindow(AppContext& context, QWidget* parent = nullptr);
    ~DatabaseWizardWindow() override;

    // Shows the controls of one page (1 to 4) and hides all others.
    void showFormFace(int page);
    int currentPage() const { return m_page; }
    // The longest wait for a server before giving up; 60 s unless a test shortens it.
    void setConnectTimeout(std::chrono::milliseconds timeout) { m_connectTimeout = timeout; }
    std::chrono::milliseconds connectTimeout() const { return m_connectTimeout; }
    // True while a creation waits for its server.
    bool isBusy() const { return m_busy; }
    QString logText() const;

    void cmdPage1Next_Click();
    void cmdPage2Next_Click();
    void cmdPage4Next_Click();
    void cmdFinish_Click();
    void cmdPage1Cancel_Click();
    void cmdPage2Cancel_Click();
    void cmdPage4Cancel_Click();

signals:
    // A connection string was made or chosen: the configuration window shows it.
    void connectionStringChosen(const QString& connection);

protected:
    void reject() override;

private:
    enum class Kind { Access, SqlServer, PostgreSql };
    // What one step on the connection thread gave: done in time, and how.
    struct StepResult
    {
        bool ok = false;
        QString error;
    };
    using Step = std::function<bool(std::unique_ptr<Database>& connection, QString& error)>;

    void setupControls();
    void setupLayout();
    void setupTabOrder();

    Kind chosenKind() const;
    void wizardLog(const QString& text);
    void endWizard();

    // The three ways of creating; each ends in saveAndFinish or stops where it failed.
    void createAccessDatabase();
    void createServerDatabase(Kind kind);
    // Asks for the server and the database name; false when either was left empty.
    bool askServerAndName(Kind kind, QString& server, QString& name);
    // The connection string that reaches a SQL Server; empty when the administrator
    // cancelled the log-on.
    QString sqlServerLogOn(const QString& server);
    // The creation statements against the reachable server; shows its own messages.
    bool runCreation(Kind kind, const QString& opening, const QString& name, QString& connection);
    void saveAndFinish(const QString& connection);

    // The file the administrator names in the save prompt; empty when cancelled.
    // Where Jet exists it is an Access file; elsewhere an SQLite file, named so.
    QString chooseAccessFile();
    // Writes the template database to the path; refuses names not ending as the
    // prompt's filter says (".mdb", or ".db" and ".sqlite").
    bool writeTemplateDatabase(const QString& path);
    static QString fileConnectionString(const QString& path);

    // Runs one step on the connection thread while the window keeps repainting;
    // nothing when the connect time-out passed first.
    std::optional<StepResult> runStep(Step step);
    void setBusy(bool busy);

    AppContext& m_ctx;
    int m_page = 1;
    bool m_busy = false;
    std::chrono::milliseconds m_connectTimeout{std::chrono::seconds(60)};
    std::unique_ptr<WizardConnectionThread> m_connectionThread;
    // Threads still waiting for a server the wizard gave up on; they end on their own.
    std::vector<std::unique_ptr<WizardConnectionThread>> m_abandonedThreads;
    DataLinkDialog* m_dataLink = nullptr;

    QLabel* m_lblHeading = nullptr;
    QLabel* m_lblSubheading = nullptr;
    QLabel* m_lblPage1 = nullptr;
    QLabel* m_lblPage2 = nullptr;
    QLabel* m_lblPage3 = nullptr;
    QLabel* m_lblPage4 = nullptr;
    QWidget* m_fraType = nullptr;
    QButtonGroup* m_types = nullptr;
    QRadioButton* m_optAccess = nullptr;
    QRadioButton* m_optSQL = nullptr;
    QRadioButton* m_optPostgreSQL = nullptr;
    QPlainTextEdit* m_txtLog = nullptr;
    QPushButton* m_cmdPage1Next = nullptr;
    QPushButton* m_cmdPage1Cancel = nullptr;
    QPushButton* m_cmdPage2Next = nullptr;
    QPushButton* m_cmdPage2Cancel = nullptr;
    QPushButton* m_cmdFinish = nullptr;
    QPushButton* m_cmdPage4Next = nullptr;
    QPushButton* m_cmdPage4Cancel = nullptr;
};
