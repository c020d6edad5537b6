#include "accounts/NewNameWindow.h"

#include "accounts/AccountStore.h"
#include "accounts/UserPage.h"
#include "platform/PathInfo.h"
#include "platform/Prompter.h"
#include "platform/SettingsStore.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int MaxLength = 50;

bool isForbidden(const QString& name)
{
    static const QStringList forbidden{QStringLiteral("default"), QStringLiteral("** default **"),
                                       QStringLiteral("anonymous"), QStringLiteral("** anonymous **")};
    return forbidden.contains(name.trimmed().toLower());
}

} // namespace

NewNameWindow::NewNameWindow(AppContext& context, PageState& page, UserPage& userPage)
    : QDialog(&userPage)
    , m_ctx(context)
    , m_page(page)
    , m_userPage(userPage)
{
    setObjectName(QStringLiteral("frmNewName"));
    setWindowTitle(QStringLiteral("New User Name"));
    setupControls();
}

void NewNameWindow::setupControls()
{
    m_txtNewName = new QLineEdit(this);
    m_txtNewName->setObjectName(QStringLiteral("txtNewName"));
    m_txtPassword = new QLineEdit(this);
    m_txtPassword->setObjectName(QStringLiteral("txtPassword"));
    auto* label1 = new QLabel(QStringLiteral("Username"), this);
    label1->setObjectName(QStringLiteral("Label1"));
    label1->setBuddy(m_txtNewName);
    auto* label2 = new QLabel(QStringLiteral("Password"), this);
    label2->setObjectName(QStringLiteral("Label2"));
    label2->setBuddy(m_txtPassword);
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    connect(ok, &QPushButton::clicked, this, &NewNameWindow::cmdOK_Click);
    connect(cancel, &QPushButton::clicked, this, &NewNameWindow::cmdCancel_Click);

    auto* form = new QFormLayout;
    form->addRow(label1, m_txtNewName);
    form->addRow(label2, m_txtPassword);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(buttons);
    setMinimumWidth(340);
}

void NewNameWindow::clearFields()
{
    m_txtNewName->clear();
    m_txtPassword->clear();
}

void NewNameWindow::cmdOK_Click()
{
    const QString name = m_txtNewName->text();
    const QString password = m_txtPassword->text();
    if (name.trimmed().isEmpty())
        return;
    const auto warn = [this](const QString& text) { m_ctx.prompter.tell(appinfo::Title, text, prompt::Icon::Exclamation); };
    if (name.size() > MaxLength) {
        warn(QStringLiteral("The number of characters in the new username field \r\n"
                            "exceeds the maximum number of characters allowed."));
        return;
    }
    if (isForbidden(name)) {
        warn(QStringLiteral("Those are forbidden usernames. \r\n\r\nPlease enter another name"));
        return;
    }
    if (password.trimmed().isEmpty())
        return;
    if (password.size() > MaxLength) {
        warn(QStringLiteral("The number of characters in the password field \r\n"
                            "exceeds the maximum number of characters allowed."));
        return;
    }
    const auto available = accounts::checkNewName(m_ctx, name);
    if (!available || !*available)
        return;
    // Only a name that passed every check makes the next save insert an account.
    m_page.saveMode = SaveMode::NewUser;
    const QString home = withoutTrailingSeparator(m_ctx.settings.getRegSettings(QStringLiteral("ftp_directory")).trimmed());
    m_userPage.fillNewAccount(name, home, password);
    m_page.currentUser.clear();
    m_userPage.loadUserData(QString());
    clearFields();
    hide();
    m_userPage.cmdStore_Click();
    m_userPage.selectUser(name.trimmed());
}

void NewNameWindow::cmdCancel_Click()
{
    hide();
}
