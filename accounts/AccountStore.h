#pragma once

#include "accounts/AccessRules.h"
#include "accounts/PageState.h"

#include <QString>
#include <QStringList>

#include <optional>

struct AppContext;

// The statements of the user page: reading the list and one account, saving,
// deleting, and the look-up of a name. Every name, path and typed value reaches
// SQL through the quoting helper.
namespace accounts {

// What loadUserData finds for one account.
struct LoadedUser
{
    bool opened = false;   // the first session opened
    bool complete = false; // every statement ran
    bool rowFound = false;
    QString username;
    QString homedir;
    QString comments;
    QStringList directories; // the items of lstAccess, in the order stored
    QString accessRuleList;
    bool datesRead = false;
    QString expires;
    QString disableOn;
    bool disableFlagRead = false; // the second session opened and was read
    bool disabled = false;
    // The stored notes were longer than a save may store; comments holds their start.
    bool commentsCut = false;
    int commentsLimit = 0;
};

// The user list with, for each name, whether its account is disabled.
struct UserList
{
    QStringList names;
    QList<bool> disabled; // by position in names
};
// The names in the order the database sorts them (nullopt when the session failed);
// the disable flags come from a second, quiet statement of the same session, so a
// table without the column still lists its names.
std::optional<UserList> readUserList(AppContext& context);
LoadedUser loadUser(AppContext& context, const QString& name);

// What the save takes from the page, read before its checks.
struct PageValues
{
    QString username;
    QString homedir;
    QString password;
    QString notes;
    // The selected directory entry (empty when none) and the check boxes' view of it.
    std::optional<QString> selectedDirectory;
    accessrules::Rights pageRights;
    bool pageInherit = false;
    bool anyRightChecked = false;
    // The notes were cut for showing and the administrator left them so: an update
    // keeps the stored text.
    bool keepStoredNotes = false;
};

// The save of the user page, up to closing its session. True when it reached the
// database and wrote; false when a check stopped it or the database failed.
bool saveUser(AppContext& context, PageState& page, const PageValues& values);

enum class DeleteOutcome { Declined, Deleted, Failed };
// Asks, then deletes the account and every row under its name.
DeleteOutcome deleteUser(AppContext& context, const QString& name);

// Whether an account has the name, ignoring case; nullopt when the session failed
// (the failure has been reported).
std::optional<bool> nameInUse(AppContext& context, const QString& name);
// Whether a new account may take the name: refused names and names in use are
// told to the administrator. nullopt when the session failed.
std::optional<bool> checkNewName(AppContext& context, const QString& name);

} // namespace accounts
