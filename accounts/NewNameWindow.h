#pragma once

#include "accounts/PageState.h"

#include <QDialog>

class QLineEdit;
class UserPage;
struct AppContext;

// frmNewName: the name and password of a new account. When they pass their
// checks the user page is filled with the new account and saved.
class NewNameWindow : public QDialog
{
    Q_OBJECT

public:
    NewNameWindow(AppContext& context, PageState& page, UserPage& userPage);

    void clearFields();
    void cmdOK_Click();
    void cmdCancel_Click();

private:
    void setupControls();

    AppContext& m_ctx;
    PageState& m_page;
    UserPage& m_userPage;
    QLineEdit* m_txtNewName = nullptr;
    QLineEdit* m_txtPassword = nullptr;
};
