#pragma once

#include <QDialog>
#include <QString>

class QButtonGroup;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
struct AppContext;

// frmDataLink: the connection dialog that stands in for the Data Link dialog of
// Windows. The administrator describes a database by its engine and either its
// server or its file; OK gives the ADO-form connection string the engine layer reads.
class DataLinkDialog : public QDialog
{
    Q_OBJECT

public:
    // The entries of the engine list, in its order.
    enum class Kind { SqlServer, PostgreSql, SqliteFile, AccessFile };

    explicit DataLinkDialog(AppContext& context, QWidget* parent = nullptr);

    // Shows itself modally through the prompter and returns the ADO-form connection
    // string, or empty text on Cancel.
    QString promptNew();
    // Asks only for the log-on to a SQL Server on which a database is about to be
    // created, where integrated security does not exist: the server is given and
    // the database does not exist yet. Returns the connection string without a
    // catalog, or empty text on Cancel.
    QString promptLogOn(const QString& server);

    Kind kind() const;
    void setKind(Kind kind);
    // The connection string the fields describe now.
    QString connectionString() const;

    // A value as the connection string reader takes it back: quoted with double
    // quotes (doubled inside) when it holds ";" or a quote, or blanks at its ends.
    static QString quotedValue(const QString& value);

    void cboProvider_Click();
    void cmdBrowse_Click();
    void cmdTest_Click();
    void cmdOK_Click();
    void cmdCancel_Click();

protected:
    void reject() override;
    void showEvent(QShowEvent* event) override;

private:
    void setupControls();
    void setupLayout();
    void setupTabOrder();
    // Enables the fields of the chosen engine only.
    void enableFields();
    // The text of the first required field left empty; empty when all are filled.
    QString missingField() const;
    static bool isServerKind(Kind kind) { return kind == Kind::SqlServer || kind == Kind::PostgreSql; }

    AppContext& m_ctx;
    bool m_accepted = false;
    bool m_logOnOnly = false;

    QLabel* m_lblProvider = nullptr;
    QComboBox* m_cboProvider = nullptr;
    QGroupBox* m_fraServer = nullptr;
    QLabel* m_lblServer = nullptr;
    QLineEdit* m_txtServer = nullptr;
    QLabel* m_lblPort = nullptr;
    QLineEdit* m_txtPort = nullptr;
    QButtonGroup* m_logOn = nullptr;
    QRadioButton* m_optIntegrated = nullptr;
    QRadioButton* m_optUserPassword = nullptr;
    QLabel* m_lblUserName = nullptr;
    QLineEdit* m_txtUserName = nullptr;
    QLabel* m_lblPassword = nullptr;
    QLineEdit* m_txtPassword = nullptr;
    QLabel* m_lblDatabase = nullptr;
    QLineEdit* m_txtDatabase = nullptr;
    QGroupBox* m_fraFile = nullptr;
    QLabel* m_lblFile = nullptr;
    QLineEdit* m_txtFile = nullptr;
    QPushButton* m_cmdBrowse = nullptr;
    QPushButton* m_cmdTest = nullptr;
    QPushButton* m_cmdOK = nullptr;
    QPushButton* m_cmdCancel = nullptr;
};
