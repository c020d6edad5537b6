#include "IniUsers.h"

namespace migration {

ReadOutcome readIniUsers(const QString& iniPath, Generation generation)
{
    ReadOutcome outcome;
    outcome.source.iniPath = iniPath;
    outcome.source.generation = generation;
    outcome.error = QStringLiteral("Reading the INI file is not built yet.");
    return outcome;
}

} // namespace migration
