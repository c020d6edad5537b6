#pragma once

#include <QString>

// What the next save of the user page does.
enum class SaveMode {
    Update = 0,  // update the shown account
    NewUser = 1, // create the page's account as a new user
    Copy = 2,    // create the page's account as a copy
};

// The state of the user page, owned by the main window and shared by reference
// with the account dialogs, which read the account they edit from currentUser.
struct PageState
{
    QString currentUser;
    SaveMode saveMode = SaveMode::Update;
    bool pageChanged = false;
    // The shown account's directory access entries, joined by the section sign.
    QString accessRuleList;
};
