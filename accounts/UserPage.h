#pragma once

#include "accounts/PageState.h"

#include <QWidget>

class AddEditDirWindow;
class NewNameWindow;
class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QTimer;
struct AppContext;

namespace accounts {
struct LoadedUser;
struct PageValues;
} // namespace accounts

// The user page of the main window: the list of accounts and the page of the
// selected one, with its directory access entries. The page state it works on
// belongs to the main window.
class UserPage : public QWidget
{
    Q_OBJECT

public:
    static inline const QString PasswordPlaceholder = QStringLiteral("[Click Here to Change]");

    UserPage(AppContext& context, PageState& page, QWidget* parent = nullptr);

    // Refills the user list from the database and selects (and so loads) the first user.
    void popMain();
    // The find box changed: shows the names that hold its text.
    void txtFind_Change();
    // Loads an account onto the page; does not change currentUser.
    void loadUserData(const QString& name);
    void lstUsers_Click();
    void cmdStore_Click();
    void cmdDelete_Click();
    void cmdRestore_Click();
    void cmdNew_Click();
    void cmdBrowse_Click();
    void tmrRules_Timer();

    // Directory access entries.
    void lstAccess_Click();
    void cmdAdd_Click();
    void cmdEdit_Click();
    void cmdDirDelete_Click();
    void cmdUp_Click();
    void cmdDown_Click();

    // Focus handlers of the page's boxes.
    void txtUsername_GotFocus();
    void txtPassword_GotFocus();
    void txtPassword_LostFocus();

    // The dialog buttons; the dialogs load what they show from currentUser.
    void cmdMisc_Click();
    void cmdQuota_Click();
    void cmdUpDownRatios_Click();
    void cmdIPAccess_Click();

    // Used by the new user dialog: fills the page with a new account's values.
    void fillNewAccount(const QString& name, const QString& homeDirectory, const QString& password);
    // Selects the first list item equal to the name ignoring case; false when none is.
    bool selectUser(const QString& name);
    // The user page's view of one directory path: the add and edit dialog calls back here.
    void addDirectory(const QString& path);
    void replaceDirectory(const QString& oldPath, const QString& newPath);

    int selectedUserIndex() const;

    // The page's two dialogs, created on first use and only hidden afterwards.
    NewNameWindow& newNameWindow();
    AddEditDirWindow& addEditDirWindow();

signals:
    void accountOptionsRequested();
    void diskQuotaRequested();
    void transferRatiosRequested();
    void ipAccessRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setupControls();
    void setupRights();
    void setupLayout();
    void setupConnections();

    void showLoadedUser(const accounts::LoadedUser& user);
    // Fills lstUsers with the names the find box lets through and updates the count.
    void fillUserList();
    // Turns the shown list into rows by removing or inserting a few items; false when a rebuild is due.
    bool changeListInPlace(const QList<int>& rows);
    // Shows or hides the note that the notes were cut to a number of characters (0: not cut).
    void showNotesCut(int shownCharacters);
    accounts::PageValues readPageValues() const;
    void setRightsBoxes(const QString& letters, const QString& inherit);
    void clearAccessSelection();
    void swapAccessItems(int row, int otherRow);

    AppContext& m_ctx;
    PageState& m_page;

    QGroupBox* m_frame1 = nullptr;
    QListWidget* m_lstUsers = nullptr;
    QLineEdit* m_txtFind = nullptr;
    QLabel* m_lblAccountCount = nullptr;
    QStringList m_allNames;    // every account, as the database sorts them
    QList<bool> m_disabled;    // by position in m_allNames
    QList<int> m_shownRows;    // the positions in m_allNames that lstUsers shows
    QLineEdit* m_txtUsername = nullptr;
    QLineEdit* m_txtPassword = nullptr;
    QLineEdit* m_txtHomeDir = nullptr;
    QPushButton* m_cmdBrowse = nullptr;
    QPlainTextEdit* m_txtNotes = nullptr;
    QLabel* m_lblNotesCut = nullptr;
    QString m_notesCutText;
    QLabel* m_lblExpires = nullptr;
    QLabel* m_lblDisabled = nullptr;

    QGroupBox* m_frame3 = nullptr;
    QListWidget* m_lstAccess = nullptr;
    QCheckBox* m_chkRead = nullptr;
    QCheckBox* m_chkWrite = nullptr;
    QCheckBox* m_chkAppend = nullptr;
    QCheckBox* m_chkDelete = nullptr;
    QCheckBox* m_chkExecute = nullptr;
    QCheckBox* m_chkList = nullptr;
    QCheckBox* m_chkMake = nullptr;
    QCheckBox* m_chkRemove = nullptr;
    QCheckBox* m_chkInherit = nullptr;
    QPushButton* m_cmdAdd = nullptr;
    QPushButton* m_cmdEdit = nullptr;
    QPushButton* m_cmdDirDelete = nullptr;
    QPushButton* m_cmdUp = nullptr;
    QPushButton* m_cmdDown = nullptr;

    QGroupBox* m_frame2 = nullptr;
    QPushButton* m_cmdMisc = nullptr;
    QPushButton* m_cmdQuota = nullptr;
    QPushButton* m_cmdUpDownRatios = nullptr;
    QPushButton* m_cmdIPAccess = nullptr;

    QPushButton* m_cmdStore = nullptr;
    QPushButton* m_cmdNew = nullptr;
    QPushButton* m_cmdDelete = nullptr;
    QPushButton* m_cmdRestore = nullptr;

    QTimer* m_tmrRules = nullptr;
    NewNameWindow* m_newName = nullptr;
    AddEditDirWindow* m_addEditDir = nullptr;
    // Set while the page changes the user list itself, so that the list's own
    // selection signals do not load users half-way.
    bool m_fillingList = false;

public:
    // The page's own buttons, placed by the main window in its bottom row.
    QList<QPushButton*> actionButtons() const { return {m_cmdStore, m_cmdNew, m_cmdDelete, m_cmdRestore}; }
    QList<QCheckBox*> rightsBoxes() const;
};
