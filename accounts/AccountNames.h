#pragma once

#include <QString>

#include <optional>

namespace accounts {

// Why a name may not be given to a new account, in words for the administrator;
// nullopt when it may. "|" and the section sign separate the fields and entries that
// other tools write, and "*" alone stands for every account in the rule tables.
std::optional<QString> newNameProblem(const QString& name);

} // namespace accounts
