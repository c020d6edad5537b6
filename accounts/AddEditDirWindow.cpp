#include "accounts/AddEditDirWindow.h"

#include "accounts/AccessRules.h"
#include "accounts/UserPage.h"
#include "platform/PathInfo.h"
#include "platform/Prompter.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace {

constexpr int MaxPathLength = 65000;

#ifdef Q_OS_WIN
const QString InitialPath = QStringLiteral("c:\\");
#else
const QString InitialPath = QStringLiteral("/");
#endif

} // namespace

AddEditDirWindow::AddEditDirWindow(AppContext& context, PageState& page, UserPage& userPage)
    : QDialog(&userPage)
    , m_ctx(context)
    , m_page(page)
    , m_userPage(userPage)
{
    setObjectName(QStringLiteral("frmAddEditDir"));
    setWindowTitle(QStringLiteral("Add Path"));
    setModal(true);
    setupControls();
}

void AddEditDirWindow::setupControls()
{
    auto* label1 = new QLabel(QStringLiteral("Enter your path below or select a directory by clicking on the browse button."), this);
    label1->setObjectName(QStringLiteral("Label1"));
    label1->setWordWrap(true);
    m_txtPath = new QLineEdit(InitialPath, this);
    m_txtPath->setObjectName(QStringLiteral("txtPath"));
    auto* browse = new QPushButton(QStringLiteral("..."), this);
    browse->setObjectName(QStringLiteral("cmdBrowse"));
    browse->setFixedWidth(36);
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));

    connect(browse, &QPushButton::clicked, this, &AddEditDirWindow::cmdBrowse_Click);
    connect(ok, &QPushButton::clicked, this, &AddEditDirWindow::cmdOK_Click);
    connect(cancel, &QPushButton::clicked, this, &AddEditDirWindow::cmdCancel_Click);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    auto* layout = new QGridLayout(this);
    layout->addWidget(label1, 0, 0, 1, 2);
    layout->addWidget(m_txtPath, 1, 0);
    layout->addWidget(browse, 1, 1);
    layout->addLayout(buttons, 2, 0, 1, 2);
    setMinimumWidth(480);
}

void AddEditDirWindow::prepareAdd(const QString& proposedPath)
{
    m_mode = Mode::Add;
    setWindowTitle(QStringLiteral("Add Path"));
    m_txtPath->setText(proposedPath);
}

void AddEditDirWindow::prepareEdit(const QString& path)
{
    m_mode = Mode::Edit;
    setWindowTitle(QStringLiteral("Edit Path"));
    m_txtPath->setText(path);
    m_pathTag = path;
}

void AddEditDirWindow::cmdOK_Click()
{
    if (m_txtPath->text().size() > MaxPathLength) {
        m_ctx.prompter.tell(appinfo::Title,
                            QStringLiteral("The number of characters in the directory field \r\n"
                                           "exceeds the maximum number of characters allowed."),
                            prompt::Icon::Exclamation);
        return;
    }
    const QString path = withoutTrailingSeparator(m_txtPath->text().trimmed());
    m_txtPath->setText(path);
    if (path != m_pathTag)
        m_page.pageChanged = true;
    const QString stored = storedPathCase(path);
    if (stored.isEmpty()) {
        m_ctx.prompter.tell(appinfo::Title,
                            QStringLiteral("Please enter a path or click the browse (...) button. Click the \r\n"
                                           "Cancel button to return to the previous screen."),
                            prompt::Icon::Information);
        return;
    }
    // The folder is looked for as typed: on a case-sensitive file system its
    // lower-cased name may be another folder, or none.
    const PathFacts facts = pathInfo(path);
    if (!facts.isDirectory || facts.isUrl) {
        m_ctx.prompter.tell(appinfo::Title, QStringLiteral("The path specified is not valid.\r\nPlease check your path and try again."),
                            prompt::Icon::Exclamation);
        return;
    }
    if (m_mode == Mode::Add)
        m_userPage.addDirectory(stored);
    else
        m_userPage.replaceDirectory(m_pathTag, stored);
    hide();
}

void AddEditDirWindow::cmdCancel_Click()
{
    hide();
}

void AddEditDirWindow::cmdBrowse_Click()
{
    const QString folder = m_ctx.prompter.chooseFolder({QStringLiteral("Select directory path"), {}});
    if (!folder.isEmpty())
        m_txtPath->setText(folder);
}
