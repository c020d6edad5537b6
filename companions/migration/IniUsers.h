#pragma once

#include "MigrationSource.h"

#include <QString>

// Reads the users out of the FTP server's INI file of one generation.
namespace migration {

struct ReadOutcome
{
    bool ok = false;
    QString error; // a message for the administrator when !ok
    MigrationSource source;
};

ReadOutcome readIniUsers(const QString& iniPath, Generation generation);

} // namespace migration
