#pragma once

#include "MigrationSource.h"

#include <QString>

class DateForm;

// Reads the users out of the FTP server's INI file of one generation.
namespace migration {

struct ReadOutcome
{
    bool ok = false;
    QString error; // a message for the administrator when !ok
    MigrationSource source;
};

// Expiry dates are written in the installation's form.
ReadOutcome readIniUsers(const QString& iniPath, Generation generation, const DateForm& dates);

} // namespace migration
