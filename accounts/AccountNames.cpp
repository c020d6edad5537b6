#include "accounts/AccountNames.h"

#include "accounts/AccessRules.h"

namespace accounts {

std::optional<QString> newNameProblem(const QString& name)
{
    if (name.contains(QLatin1Char('|')) || name.contains(accessrules::Separator))
        return QStringLiteral("A user name may not hold \"|\" or \"%1\". Please choose another.").arg(accessrules::Separator);
    if (name.trimmed() == QLatin1String("*"))
        return QStringLiteral("A user name may not be \"*\" alone: it stands for every account. Please choose another.");
    return std::nullopt;
}

} // namespace accounts
