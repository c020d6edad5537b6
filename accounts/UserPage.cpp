#include "accounts/UserPage.h"

#include "accounts/AccessRules.h"
#include "accounts/AccountFilter.h"
#include "accounts/AccountStore.h"
#include "accounts/AddEditDirWindow.h"
#include "accounts/NewNameWindow.h"
#include "platform/Named.h"
#include "platform/PathInfo.h"
#include "platform/Prompter.h"
#include "platform/SettingsStore.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"

#include <QApplication>
#include <QCheckBox>
#include <QFocusEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// A disabled account is listed muted, and its tooltip says why.
void showAsDisabled(QListWidgetItem* item, const QColor& muted)
{
    item->setForeground(muted);
    item->setToolTip(QStringLiteral("This account is disabled."));
}

// Focus that comes and goes with the window's activation (a message box opening,
// the window coming back) is not the administrator entering or leaving a box.
bool isAdministratorsFocusChange(const QEvent* event)
{
    const auto reason = static_cast<const QFocusEvent*>(event)->reason();
    return reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason;
}

QPushButton* button(const char* objectName, const QString& caption, QWidget* parent)
{
    return named(new QPushButton(caption, parent), objectName);
}

QCheckBox* checkBox(const char* objectName, const QString& caption, QWidget* parent)
{
    return named(new QCheckBox(caption, parent), objectName);
}

QLabel* groupLabel(const QString& caption, QWidget* parent)
{
    auto* label = new QLabel(caption, parent);
    QFont bold = label->font();
    bold.setBold(true);
    label->setFont(bold);
    return label;
}

} // namespace

UserPage::UserPage(AppContext& context, PageState& page, QWidget* parent)
    : QWidget(parent)
    , m_ctx(context)
    , m_page(page)
{
    setObjectName(QStringLiteral("userPage"));
    setupControls();
    setupRights();
    setupLayout();
    setupConnections();
}

void UserPage::setupControls()
{
    m_frame1 = named(new QGroupBox(QStringLiteral("Users"), this), "Frame1");
    m_lstUsers = named(new QListWidget(this), "lstUsers");
    // Uniform rows let a list of 100,000 accounts lay out at once.
    m_lstUsers->setUniformItemSizes(true);
    m_txtFind = named(new QLineEdit(this), "txtFind");
    m_txtFind->setPlaceholderText(QStringLiteral("Find"));
    m_txtFind->setClearButtonEnabled(true);
    m_txtFind->setToolTip(QStringLiteral("Shows the accounts whose name holds this text. Esc clears it."));
    m_lblAccountCount = named(new QLabel(this), "lblAccountCount");
    m_lblAccountCount->setForegroundRole(QPalette::PlaceholderText);

    m_txtUsername = named(new QLineEdit(this), "txtUsername");
    // The name of an account is never edited in place: entering the box copies the account.
    m_txtUsername->setReadOnly(true);
    m_txtPassword = named(new QLineEdit(this), "txtPassword");
    m_txtHomeDir = named(new QLineEdit(this), "txtHomeDir");
    m_cmdBrowse = button("cmdBrowse", QStringLiteral("..."), this);
    m_cmdBrowse->setFixedWidth(36);
    m_txtNotes = named(new QPlainTextEdit(this), "txtNotes");
    m_txtNotes->setTabChangesFocus(true);
    m_lblNotesCut = named(new QLabel(this), "lblNotesCut");
    m_lblNotesCut->setWordWrap(true);
    m_lblNotesCut->hide();
    m_lblExpires = named(new QLabel(QStringLiteral("This user's account will expire on"), this), "lblExpires");
    m_lblDisabled = named(new QLabel(QStringLiteral("This user's account will be disabled on"), this), "lblDisabled");
    for (QLabel* label : {m_lblExpires, m_lblDisabled}) {
        label->setCursor(Qt::PointingHandCursor);
        label->setWordWrap(true);
    }

    m_frame3 = named(new QGroupBox(QStringLiteral("Files/Directory Access Rules"), this), "Frame3");
    m_lstAccess = named(new QListWidget(this), "lstAccess");
    m_cmdAdd = button("cmdAdd", QStringLiteral("Add"), this);
    m_cmdEdit = button("cmdEdit", QStringLiteral("Edit"), this);
    m_cmdDirDelete = button("cmdDirDelete", QStringLiteral("Delete"), this);
    m_cmdUp = button("cmdUp", QStringLiteral("Up"), this);
    m_cmdDown = button("cmdDown", QStringLiteral("Down"), this);

    m_frame2 = named(new QGroupBox(QStringLiteral("Setup"), this), "Frame2");
    m_cmdMisc = button("cmdMisc", QStringLiteral("Misc"), this);
    m_cmdQuota = button("cmdQuota", QStringLiteral("Quota"), this);
    m_cmdUpDownRatios = button("cmdUpDownRatios", QStringLiteral("U/D ratios"), this);
    m_cmdIPAccess = button("cmdIPAccess", QStringLiteral("IP Access"), this);

    m_cmdStore = button("cmdStore", QStringLiteral("Save"), this);
    m_cmdNew = button("cmdNew", QStringLiteral("New User"), this);
    m_cmdDelete = button("cmdDelete", QStringLiteral("Delete"), this);
    m_cmdRestore = button("cmdRestore", QStringLiteral("Restore"), this);

    m_tmrRules = named(new QTimer(this), "tmrRules");
    m_tmrRules->setInterval(75);
}

void UserPage::setupRights()
{
    m_chkRead = checkBox("chkRead", QStringLiteral("Read"), this);
    m_chkWrite = checkBox("chkWrite", QStringLiteral("Write"), this);
    m_chkAppend = checkBox("chkAppend", QStringLiteral("Append"), this);
    m_chkDelete = checkBox("chkDelete", QStringLiteral("Delete"), this);
    m_chkExecute = checkBox("chkExecute", QStringLiteral("Execute"), this);
    m_chkList = checkBox("chkList", QStringLiteral("List"), this);
    m_chkMake = checkBox("chkMake", QStringLiteral("Make"), this);
    m_chkRemove = checkBox("chkRemove", QStringLiteral("Remove"), this);
    m_chkInherit = checkBox("chkInherit", QStringLiteral("Inherit"), this);
}

QList<QCheckBox*> UserPage::rightsBoxes() const
{
    return {m_chkRead, m_chkWrite, m_chkAppend, m_chkDelete, m_chkExecute, m_chkList, m_chkMake, m_chkRemove, m_chkInherit};
}

void UserPage::setupLayout()
{
    auto* usersLayout = new QVBoxLayout(m_frame1);
    auto* findRow = new QHBoxLayout;
    findRow->addWidget(m_txtFind, 1);
    findRow->addWidget(m_lblAccountCount);
    usersLayout->addLayout(findRow);
    usersLayout->addWidget(m_lstUsers);
    m_frame1->setMinimumWidth(200);

    auto* fields = new QGridLayout;
    fields->setHorizontalSpacing(10);
    const auto label = [this](const char* objectName, const QString& caption, QWidget* buddy) {
        auto* result = named(new QLabel(caption, this), objectName);
        result->setBuddy(buddy);
        return result;
    };
    fields->addWidget(label("Label1", QStringLiteral("User name"), m_txtUsername), 0, 0);
    fields->addWidget(m_txtUsername, 0, 1, 1, 2);
    fields->addWidget(label("Label3", QStringLiteral("Password"), m_txtPassword), 1, 0);
    fields->addWidget(m_txtPassword, 1, 1, 1, 2);
    fields->addWidget(label("Label4", QStringLiteral("Home directory"), m_txtHomeDir), 2, 0);
    fields->addWidget(m_txtHomeDir, 2, 1);
    fields->addWidget(m_cmdBrowse, 2, 2);
    auto* notesLabel = label("Label5", QStringLiteral("Notes"), m_txtNotes);
    fields->addWidget(notesLabel, 3, 0, Qt::AlignTop);
    fields->addWidget(m_txtNotes, 3, 1, 1, 2);
    m_txtNotes->setFixedHeight(m_txtHomeDir->sizeHint().height() * 3);
    fields->addWidget(m_lblNotesCut, 4, 1, 1, 2);
    fields->addWidget(m_lblExpires, 5, 1, 1, 2);
    fields->addWidget(m_lblDisabled, 6, 1, 1, 2);
    fields->setColumnStretch(1, 1);

    auto* rights = new QGridLayout;
    rights->setVerticalSpacing(2);
    rights->addWidget(groupLabel(QStringLiteral("Files:"), this), 0, 0);
    rights->addWidget(groupLabel(QStringLiteral("Directories:"), this), 0, 1);
    rights->addWidget(groupLabel(QStringLiteral("Sub-dirs:"), this), 0, 2);
    const QList<QCheckBox*> files{m_chkRead, m_chkWrite, m_chkAppend, m_chkDelete, m_chkExecute};
    const QList<QCheckBox*> directories{m_chkList, m_chkMake, m_chkRemove};
    for (int row = 0; row < files.size(); ++row)
        rights->addWidget(files[row], row + 1, 0);
    for (int row = 0; row < directories.size(); ++row)
        rights->addWidget(directories[row], row + 1, 1);
    rights->addWidget(m_chkInherit, 1, 2);
    rights->setRowStretch(files.size() + 1, 1);
    rights->setHorizontalSpacing(18);

    auto* entryButtons = new QHBoxLayout;
    for (QPushButton* entryButton : {m_cmdAdd, m_cmdEdit, m_cmdDirDelete, m_cmdUp, m_cmdDown})
        entryButtons->addWidget(entryButton);
    entryButtons->addStretch(1);

    auto* accessLayout = new QGridLayout(m_frame3);
    accessLayout->addWidget(m_lstAccess, 0, 0);
    accessLayout->addLayout(rights, 0, 1);
    accessLayout->addLayout(entryButtons, 1, 0, 1, 2);
    accessLayout->setColumnStretch(0, 1);

    auto* setupLayout = new QHBoxLayout(m_frame2);
    for (QPushButton* dialogButton : {m_cmdMisc, m_cmdQuota, m_cmdUpDownRatios, m_cmdIPAccess})
        setupLayout->addWidget(dialogButton);
    setupLayout->addStretch(1);

    auto* page = new QVBoxLayout;
    page->addLayout(fields);
    page->addWidget(m_frame3, 1);
    page->addWidget(m_frame2);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);
    layout->addWidget(m_frame1, 1);
    layout->addLayout(page, 3);

    for (QPushButton* action : actionButtons())
        action->setMinimumWidth(96);
}

void UserPage::setupConnections()
{
    // A click reaches the page once the item is selected, not when it becomes current.
    connect(m_lstUsers, &QListWidget::itemSelectionChanged, this, [this] {
        if (!m_fillingList)
            lstUsers_Click();
    });
    connect(m_lstAccess, &QListWidget::itemSelectionChanged, this, &UserPage::lstAccess_Click);
    connect(m_txtFind, &QLineEdit::textChanged, this, &UserPage::txtFind_Change);
    m_txtFind->installEventFilter(this);
    connect(m_cmdBrowse, &QPushButton::clicked, this, &UserPage::cmdBrowse_Click);
    connect(m_cmdAdd, &QPushButton::clicked, this, &UserPage::cmdAdd_Click);
    connect(m_cmdEdit, &QPushButton::clicked, this, &UserPage::cmdEdit_Click);
    connect(m_cmdDirDelete, &QPushButton::clicked, this, &UserPage::cmdDirDelete_Click);
    connect(m_cmdUp, &QPushButton::clicked, this, &UserPage::cmdUp_Click);
    connect(m_cmdDown, &QPushButton::clicked, this, &UserPage::cmdDown_Click);
    connect(m_cmdMisc, &QPushButton::clicked, this, &UserPage::cmdMisc_Click);
    connect(m_cmdQuota, &QPushButton::clicked, this, &UserPage::cmdQuota_Click);
    connect(m_cmdUpDownRatios, &QPushButton::clicked, this, &UserPage::cmdUpDownRatios_Click);
    connect(m_cmdIPAccess, &QPushButton::clicked, this, &UserPage::cmdIPAccess_Click);
    connect(m_cmdStore, &QPushButton::clicked, this, &UserPage::cmdStore_Click);
    connect(m_cmdNew, &QPushButton::clicked, this, &UserPage::cmdNew_Click);
    connect(m_cmdDelete, &QPushButton::clicked, this, &UserPage::cmdDelete_Click);
    connect(m_cmdRestore, &QPushButton::clicked, this, &UserPage::cmdRestore_Click);
    connect(m_tmrRules, &QTimer::timeout, this, &UserPage::tmrRules_Timer);

    // An edit marks the page at once; leaving the box does too, as before.
    connect(m_txtHomeDir, &QLineEdit::textEdited, this, [this] { m_page.pageChanged = true; });
    connect(m_txtPassword, &QLineEdit::textEdited, this, [this] { m_page.pageChanged = true; });
    for (QCheckBox* box : rightsBoxes())
        connect(box, &QCheckBox::clicked, this, [this] { m_page.pageChanged = true; });

    for (QWidget* watched : std::initializer_list<QWidget*>{m_txtUsername, m_txtPassword, m_txtHomeDir, m_txtNotes,
                                                            m_txtNotes->viewport(), m_lblExpires, m_lblDisabled})
        watched->installEventFilter(this);
    for (QCheckBox* box : rightsBoxes())
        box->installEventFilter(this);

    m_tmrRules->start();
    tmrRules_Timer();
}

bool UserPage::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
        if (watched == m_txtFind && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape && !m_txtFind->text().isEmpty()) {
            m_txtFind->clear();
            return true;
        }
        break;
    case QEvent::FocusIn:
        if (!isAdministratorsFocusChange(event))
            break;
        if (watched == m_txtUsername)
            QTimer::singleShot(0, this, &UserPage::txtUsername_GotFocus);
        else if (watched == m_txtPassword)
            txtPassword_GotFocus();
        break;
    case QEvent::FocusOut:
        if (!isAdministratorsFocusChange(event))
            break;
        if (watched == m_txtPassword)
            txtPassword_LostFocus();
        if (watched == m_txtPassword || watched == m_txtHomeDir || watched == m_txtNotes
            || rightsBoxes().contains(static_cast<QCheckBox*>(watched)))
            m_page.pageChanged = true;
        break;
    case QEvent::MouseButtonPress:
        if (watched == m_txtHomeDir || watched == m_txtPassword || watched == m_txtNotes->viewport())
            clearAccessSelection();
        break;
    case QEvent::MouseButtonRelease:
        if (watched == m_lblExpires || watched == m_lblDisabled)
            cmdMisc_Click();
        break;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

int UserPage::selectedUserIndex() const
{
    const QListWidgetItem* current = m_lstUsers->currentItem();
    return current && current->isSelected() ? m_lstUsers->currentRow() : -1;
}

void UserPage::popMain()
{
    m_fillingList = true;
    m_lstUsers->clear();
    auto list = accounts::readUserList(m_ctx);
    m_allNames = list ? std::move(list->names) : QStringList();
    m_disabled = list ? std::move(list->disabled) : QList<bool>();
    fillUserList();
    m_fillingList = false;
    if (m_lstUsers->count() > 0)
        m_lstUsers->setCurrentRow(0);
}

void UserPage::fillUserList()
{
    const QString query = m_txtFind->text();
    QList<int> rows = accounts::matchingRows(m_allNames, query);
    m_lblAccountCount->setText(accounts::accountCountText(rows.size(), m_allNames.size()));
    // A keystroke that lets the same names through leaves the list's items alone.
    if (rows == m_shownRows && m_lstUsers->count() == rows.size())
        return;
    if (changeListInPlace(rows)) {
        m_shownRows = std::move(rows);
        return;
    }
    m_shownRows = std::move(rows);
    m_lstUsers->clear();
    if (query.isEmpty()) {
        m_lstUsers->addItems(m_allNames);
    } else {
        QStringList shown;
        shown.reserve(m_shownRows.size());
        for (const int row : m_shownRows)
            shown.append(m_allNames.at(row));
        m_lstUsers->addItems(shown);
    }
    if (m_disabled.contains(true)) {
        const QColor muted = palette().color(QPalette::Disabled, QPalette::Text);
        for (qsizetype shown = 0; shown < m_shownRows.size(); ++shown) {
            if (!m_disabled.at(m_shownRows.at(shown)))
                continue;
            showAsDisabled(m_lstUsers->item(int(shown)), muted);
        }
    }
}

bool UserPage::changeListInPlace(const QList<int>& rows)
{
    // Items are removed or inserted one by one only where a few change: a rebuild of
    // 100,000 items costs less than tens of thousands of single changes.
    constexpr qsizetype MostChangesInPlace = 2000;
    const bool narrows = rows.size() <= m_shownRows.size();
    const QList<int>& larger = narrows ? m_shownRows : rows;
    const QList<int>& smaller = narrows ? rows : m_shownRows;
    if (larger.size() - smaller.size() > MostChangesInPlace || m_lstUsers->count() != m_shownRows.size())
        return false;
    // Both lists are ascending positions; the smaller must lie within the larger.
    QList<int> changed; // positions in larger that smaller lacks
    qsizetype next = 0;
    for (qsizetype at = 0; at < larger.size(); ++at) {
        if (next < smaller.size() && smaller.at(next) == larger.at(at))
            ++next;
        else
            changed.append(int(at));
    }
    if (next != smaller.size())
        return false;
    if (narrows) {
        for (auto at = changed.crbegin(); at != changed.crend(); ++at)
            delete m_lstUsers->takeItem(*at);
        return true;
    }
    const QColor muted = palette().color(QPalette::Disabled, QPalette::Text);
    for (const int at : changed) {
        auto* item = new QListWidgetItem(m_allNames.at(rows.at(at)));
        if (m_disabled.value(rows.at(at)))
            showAsDisabled(item, muted);
        m_lstUsers->insertItem(at, item);
    }
    return true;
}

void UserPage::txtFind_Change()
{
    // The page keeps the account it shows; the list selects it again where it is still listed.
    const int selected = selectedUserIndex();
    const int selectedRow = m_page.saveMode == SaveMode::Update ? int(m_allNames.indexOf(m_page.currentUser))
                            : selected >= 0                     ? m_shownRows.value(selected, -1)
                                                                : -1;
    m_fillingList = true;
    fillUserList();
    // The shown rows ascend, so the account's place in the list is found without reading the items.
    const auto shownAt = std::lower_bound(m_shownRows.cbegin(), m_shownRows.cend(), selectedRow);
    if (selectedRow < 0 || shownAt == m_shownRows.cend() || *shownAt != selectedRow) {
        m_lstUsers->setCurrentRow(-1);
    } else {
        m_lstUsers->setCurrentRow(int(shownAt - m_shownRows.cbegin()));
        m_lstUsers->scrollToItem(m_lstUsers->currentItem());
    }
    m_fillingList = false;
}

void UserPage::lstUsers_Click()
{
    clearAccessSelection();
    const int row = selectedUserIndex();
    if (row < 0)
        return;
    const QString name = m_lstUsers->item(row)->text();
    // Loading another user abandons a pending copy or new user.
    m_page.saveMode = SaveMode::Update;
    loadUserData(name);
    m_page.currentUser = name;
}

void UserPage::loadUserData(const QString& name)
{
    m_page.accessRuleList.clear();
    m_lstAccess->clear();
    showLoadedUser(accounts::loadUser(m_ctx, name));
}

void UserPage::showLoadedUser(const accounts::LoadedUser& user)
{
    if (!user.opened)
        return;
    if (user.rowFound) {
        m_txtUsername->setText(user.username);
        m_txtHomeDir->setText(user.homedir);
        m_txtNotes->setPlainText(user.comments);
        m_txtPassword->setText(PasswordPlaceholder);
        showNotesCut(user.commentsCut ? user.commentsLimit : 0);
        if (user.commentsCut)
            m_ctx.logStatus(QStringLiteral("notes of '%1' cut to %2 characters for showing").arg(user.username).arg(user.commentsLimit));
    }
    m_lstAccess->addItems(user.directories);
    m_page.accessRuleList = user.accessRuleList;
    if (!user.datesRead)
        return;

    const QColor red(255, 0, 0);
    const QColor buttonText = QApplication::palette().color(QPalette::ButtonText);
    const auto paint = [](QLabel* label, const QString& caption, const QColor& colour) {
        label->setText(caption);
        QPalette palette = label->palette();
        palette.setColor(QPalette::WindowText, colour);
        label->setPalette(palette);
    };
    if (!user.disableOn.isEmpty())
        paint(m_lblDisabled, QStringLiteral("This user's account has been set to disable on ") + user.disableOn, red);
    else
        paint(m_lblDisabled, QStringLiteral("This account is not set to be disabled. Click Here to set date."), buttonText);
    if (!user.expires.isEmpty())
        paint(m_lblExpires, QStringLiteral("This user's account will expire on ") + user.expires, red);
    else
        paint(m_lblExpires, QStringLiteral("This account is not set to expire. Click Here to set date."), buttonText);
    if (user.disableFlagRead && user.disabled)
        paint(m_lblDisabled, QStringLiteral("This user's account has been disabled"), red);
}

void UserPage::showNotesCut(int shownCharacters)
{
    m_notesCutText = shownCharacters > 0 ? m_txtNotes->toPlainText() : QString();
    m_lblNotesCut->setVisible(shownCharacters > 0);
    if (shownCharacters > 0)
        m_lblNotesCut->setText(QStringLiteral("These notes are longer than the %L1 characters a save can keep, so only "
                                              "their start is shown. They stay as stored unless you change them.")
                                   .arg(shownCharacters));
}

accounts::PageValues UserPage::readPageValues() const
{
    accounts::PageValues values;
    values.username = m_txtUsername->text();
    values.homedir = m_txtHomeDir->text();
    values.password = m_txtPassword->text();
    values.notes = m_txtNotes->toPlainText();
    values.keepStoredNotes = m_lblNotesCut->isVisibleTo(this) && values.notes == m_notesCutText;
    const QListWidgetItem* entry = m_lstAccess->currentItem();
    if (entry && entry->isSelected())
        values.selectedDirectory = entry->text();
    values.pageRights.read = m_chkRead->isChecked();
    values.pageRights.write = m_chkWrite->isChecked();
    values.pageRights.append = m_chkAppend->isChecked();
    values.pageRights.remove = m_chkDelete->isChecked();
    values.pageRights.execute = m_chkExecute->isChecked();
    values.pageRights.list = m_chkList->isChecked();
    values.pageRights.make = m_chkMake->isChecked();
    values.pageRights.removeDirectory = m_chkRemove->isChecked();
    values.anyRightChecked = !accessrules::rightsLetters(values.pageRights).isEmpty();
    values.pageInherit = m_chkInherit->isChecked();
    return values;
}

void UserPage::cmdStore_Click()
{
    const accounts::PageValues values = readPageValues();
    const int remembered = selectedUserIndex();
    if (!accounts::saveUser(m_ctx, m_page, values))
        return;
    popMain();
    if (remembered < m_lstUsers->count() && remembered != selectedUserIndex()) {
        if (remembered < 0) {
            m_lstUsers->clearSelection();
            m_lstUsers->setCurrentRow(-1);
        } else {
            m_lstUsers->setCurrentRow(remembered);
        }
    }
}

void UserPage::cmdDelete_Click()
{
    if (accounts::deleteUser(m_ctx, m_page.currentUser) == accounts::DeleteOutcome::Failed)
        return;
    popMain();
    if (selectedUserIndex() >= 0)
        return;
    m_txtUsername->clear();
    m_txtHomeDir->clear();
    m_txtPassword->clear();
    m_txtNotes->clear();
    m_lstAccess->clear();
}

void UserPage::cmdRestore_Click()
{
    m_ctx.logStatus(QStringLiteral("restore"));
    m_page.saveMode = SaveMode::Update;
    popMain();
    loadUserData(m_page.currentUser);
}

void UserPage::cmdNew_Click()
{
    NewNameWindow& dialog = newNameWindow();
    dialog.clearFields();
    dialog.show();
    dialog.raise();
}

NewNameWindow& UserPage::newNameWindow()
{
    if (!m_newName)
        m_newName = new NewNameWindow(m_ctx, m_page, *this);
    return *m_newName;
}

AddEditDirWindow& UserPage::addEditDirWindow()
{
    if (!m_addEditDir)
        m_addEditDir = new AddEditDirWindow(m_ctx, m_page, *this);
    return *m_addEditDir;
}

void UserPage::cmdBrowse_Click()
{
    const QString folder = m_ctx.prompter.chooseFolder({QStringLiteral("Select directory path"), {}});
    if (!folder.isEmpty())
        m_txtHomeDir->setText(folder);
}

void UserPage::tmrRules_Timer()
{
    const bool userSelected = selectedUserIndex() >= 0;
    for (QPushButton* needsUser : {m_cmdUpDownRatios, m_cmdMisc, m_cmdIPAccess, m_cmdQuota, m_cmdAdd})
        needsUser->setEnabled(userSelected);
    const QListWidgetItem* entry = m_lstAccess->currentItem();
    const bool entrySelected = entry && entry->isSelected();
    for (QWidget* needsEntry : std::initializer_list<QWidget*>{m_cmdDirDelete, m_cmdUp, m_cmdDown, m_cmdEdit})
        needsEntry->setEnabled(entrySelected);
    for (QCheckBox* box : rightsBoxes())
        box->setEnabled(entrySelected);
    QFont font = m_cmdStore->font();
    if (font.bold() != m_page.pageChanged) {
        font.setBold(m_page.pageChanged);
        m_cmdStore->setFont(font);
    }
}

void UserPage::clearAccessSelection()
{
    m_lstAccess->clearSelection();
    m_lstAccess->setCurrentRow(-1);
}

void UserPage::setRightsBoxes(const QString& letters, const QString& inherit)
{
    for (QCheckBox* box : rightsBoxes())
        box->setChecked(false);
    m_chkInherit->setChecked(accessrules::readInherit(inherit));
    const accessrules::Rights rights = accessrules::readRights(letters);
    m_chkRead->setChecked(rights.read);
    m_chkWrite->setChecked(rights.write);
    m_chkAppend->setChecked(rights.append);
    m_chkDelete->setChecked(rights.remove);
    m_chkExecute->setChecked(rights.execute);
    m_chkList->setChecked(rights.list);
    m_chkMake->setChecked(rights.make);
    m_chkRemove->setChecked(rights.removeDirectory);
}

void UserPage::lstAccess_Click()
{
    const QListWidgetItem* selected = m_lstAccess->currentItem();
    if (!selected || !selected->isSelected())
        return;
    // Every matching entry is applied in turn, so the last one wins.
    for (const accessrules::Entry& entry : accessrules::entries(m_page.accessRuleList)) {
        if (entry.directory == selected->text())
            setRightsBoxes(entry.rights, entry.inherit);
    }
}

void UserPage::cmdAdd_Click()
{
    AddEditDirWindow& dialog = addEditDirWindow();
    const QString folder = m_ctx.settings.getRegSettings(QStringLiteral("ftp_directory")).trimmed();
    dialog.prepareAdd(withoutTrailingSeparator(folder));
    m_ctx.prompter.runModal(&dialog);
}

void UserPage::cmdEdit_Click()
{
    const QListWidgetItem* selected = m_lstAccess->currentItem();
    if (!selected || !selected->isSelected())
        return;
    AddEditDirWindow& dialog = addEditDirWindow();
    dialog.prepareEdit(storedPathCase(selected->text()));
    m_ctx.prompter.runModal(&dialog);
}

void UserPage::addDirectory(const QString& path)
{
    m_lstAccess->addItem(path);
    m_page.accessRuleList = accessrules::appendEntry(m_page.accessRuleList,
                                                {m_page.currentUser, path, QStringLiteral("RL"), QStringLiteral("1")});
}

void UserPage::replaceDirectory(const QString& oldPath, const QString& newPath)
{
    m_page.accessRuleList = accessrules::replaceDirectory(m_page.accessRuleList, oldPath, newPath);
    for (int row = 0; row < m_lstAccess->count(); ++row) {
        if (m_lstAccess->item(row)->text() == oldPath)
            m_lstAccess->item(row)->setText(newPath);
    }
}

void UserPage::cmdDirDelete_Click()
{
    QListWidgetItem* selected = m_lstAccess->currentItem();
    const bool isSelected = selected && selected->isSelected();
    if (isSelected) {
        m_page.accessRuleList = accessrules::removeDirectory(m_page.accessRuleList, selected->text());
        delete m_lstAccess->takeItem(m_lstAccess->row(selected));
        clearAccessSelection();
    }
    m_page.pageChanged = true;
}

void UserPage::swapAccessItems(int row, int otherRow)
{
    const QString text = m_lstAccess->item(row)->text();
    m_lstAccess->item(row)->setText(m_lstAccess->item(otherRow)->text());
    m_lstAccess->item(otherRow)->setText(text);
    m_lstAccess->setCurrentRow(otherRow);
}

void UserPage::cmdUp_Click()
{
    const QListWidgetItem* selected = m_lstAccess->currentItem();
    const int row = m_lstAccess->currentRow();
    if (selected && selected->isSelected() && !selected->text().isEmpty() && row >= 1)
        swapAccessItems(row, row - 1);
}

void UserPage::cmdDown_Click()
{
    const QListWidgetItem* selected = m_lstAccess->currentItem();
    const int row = m_lstAccess->currentRow();
    if (selected && selected->isSelected() && !selected->text().isEmpty() && row < m_lstAccess->count() - 1)
        swapAccessItems(row, row + 1);
}

void UserPage::txtPassword_GotFocus()
{
    if (m_txtPassword->text() == PasswordPlaceholder)
        m_txtPassword->clear();
}

void UserPage::txtPassword_LostFocus()
{
    if (m_txtPassword->text().isEmpty())
        m_txtPassword->setText(PasswordPlaceholder);
}

void UserPage::txtUsername_GotFocus()
{
    const auto answer = m_ctx.prompter.ask(appinfo::Title,
                                           QStringLiteral("Changing the username will create another \r\n"
                                                          "user with the same credentials. \r\n\r\n"
                                                          "This action will not modify the current user's username.\r\n\r\n"
                                                          "Do you want to continue"),
                                           prompt::Icon::Question, prompt::Buttons::YesNoCancel, prompt::Answer::No);
    if (answer != prompt::Answer::Yes) {
        m_txtNotes->setFocus(Qt::OtherFocusReason);
        return;
    }
    m_ctx.logStatus(QStringLiteral("copy user by changing username"));
    // A name that is refused, or only changes case, never reaches a save: the box
    // goes back to the name the page describes.
    const QString pageName = m_txtUsername->text();
    const QString typed = m_ctx.prompter.input({appinfo::Title, QStringLiteral("Enter the new username"), pageName});
    const QString newName = typed.trimmed().isEmpty() ? pageName : typed;
    if (newName.compare(m_page.currentUser, Qt::CaseInsensitive) == 0) {
        m_txtUsername->setText(pageName);
        m_page.pageChanged = true;
        return;
    }
    m_txtUsername->setText(newName);
    const auto available = accounts::checkNewName(m_ctx, newName);
    if (!available || !*available) {
        m_txtUsername->setText(pageName);
        return;
    }
    m_page.accessRuleList = accessrules::renameUser(m_page.accessRuleList, newName);
    m_page.currentUser = newName;
    m_page.saveMode = SaveMode::Copy;
    m_txtPassword->setText(m_ctx.prompter.input(
        {appinfo::Title, QStringLiteral("The new user needs to have a password.\r\nPlease Enter a password"), QString()}));
    m_page.pageChanged = true;
}

void UserPage::fillNewAccount(const QString& name, const QString& homeDirectory, const QString& password)
{
    m_txtUsername->setText(name);
    m_txtHomeDir->setText(homeDirectory);
    m_txtNotes->clear();
    showNotesCut(0);
    m_txtPassword->setText(password);
}

bool UserPage::selectUser(const QString& name)
{
    for (int row = 0; row < m_lstUsers->count(); ++row) {
        if (m_lstUsers->item(row)->text().compare(name, Qt::CaseInsensitive) == 0) {
            if (row == m_lstUsers->currentRow())
                lstUsers_Click();
            else
                m_lstUsers->setCurrentRow(row);
            return true;
        }
    }
    // An account the find box hides is shown by clearing the box.
    if (!m_txtFind->text().isEmpty() && m_allNames.contains(name, Qt::CaseInsensitive)) {
        m_txtFind->clear();
        return selectUser(name);
    }
    m_lstUsers->clearSelection();
    m_lstUsers->setCurrentRow(-1);
    return false;
}

void UserPage::cmdMisc_Click()
{
    emit accountOptionsRequested();
}

void UserPage::cmdQuota_Click()
{
    emit diskQuotaRequested();
}

void UserPage::cmdUpDownRatios_Click()
{
    emit transferRatiosRequested();
}

void UserPage::cmdIPAccess_Click()
{
    emit ipAccessRequested();
}
