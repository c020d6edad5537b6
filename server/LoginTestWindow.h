#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
struct AppContext;

// frmTestLogin: asks the FTP server's authentication handler, over the accounts
// database, whether a log-in would be allowed, and shows its reasons and the reply
// the server would get. Nothing is written.
class LoginTestWindow : public QDialog
{
    Q_OBJECT

public:
    explicit LoginTestWindow(AppContext& context, QWidget* parent = nullptr);

    // Puts the account shown on the user page into an empty name box.
    void proposeAccount(const QString& name);

    void cmdTest_Click();
    void cmdClose_Click();

private:
    void setupControls();
    void setupLayout();

    AppContext& m_ctx;
    QLineEdit* m_txtName = nullptr;
    QLineEdit* m_txtPassword = nullptr;
    QLineEdit* m_txtAddress = nullptr;
    QPushButton* m_cmdTest = nullptr;
    QLabel* m_lblVerdict = nullptr;
    QPlainTextEdit* m_txtReasons = nullptr;
    QPushButton* m_cmdClose = nullptr;
};
