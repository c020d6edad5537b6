#pragma once

#include "db/Engine.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

class Database;

// The ProFTPD configuration that serves the accounts database: a file meant to be
// included at the top level of the server's own configuration. mod_sql reads the
// accounts, passwords and the disable flag at each log-in, mod_wrap2_sql the IP
// rules, mod_quotatab_sql the quota and its tally; what no module reads from the
// tables (directory rights, time-outs, speed and session limits, the log-in message,
// hidden files, ratios) is written out in sections shared by the accounts that need them, so
// the file has to be written again whenever the accounts change.
namespace proftpd {

struct DirectoryEntry
{
    QString directory;
    QString rights;
    bool inherit = false;
};

// An upload/download ratio in mod_ratio's terms: a rate r >= 1 lets each upload earn r
// downloads, r = -n lets n uploads earn one; the credit is what the session starts with.
// Files and bytes are counted apart, the bytes in kilobytes.
struct Ratio
{
    bool bytes = false;
    int rate = 0;
    int credit = 0;
};

// One account's values that become configuration, already in ProFTPD's units.
struct Account
{
    QString name;
    QList<DirectoryEntry> directories; // in stored order: the first entry that covers a path decides
    qint64 idleSeconds = 0;            // 0: none
    qint64 sessionSeconds = 0;         // 0: none
    double kilobytesPerSecond = 0;     // 0: no limit
    qint64 maxSessions = 0;            // 0: no limit
    qint64 maxSessionsPerAddress = 0;  // 0: no limit
    QString loginMessageFile;
    bool hideHiddenFiles = false;
    std::optional<Ratio> ratio;        // none: downloads are not held to uploads
};

struct Model
{
    Engine engine = Engine::Unknown;
    // What SQLConnectInfo names, per engine: the file, "database@host:port", or the ODBC data source.
    QString connectInfo;
    QString connectUser;
    QString connectPassword;
    uint uid = 0;
    uint gid = 0;
    QList<Account> accounts;
    // Every IP rule text stored, global and per account, so that the forms ProFTPD
    // reads differently can be translated in the query that hands them over.
    QStringList ruleTexts;
};

// The text of one IP rule as mod_wrap2 reads the same addresses: an address as it
// stands, "net/mask" for blocks and "*" parts, ALL for a rule of "*" parts alone,
// and an empty text for a rule that matches no address.
QString wrapToken(const QString& rule);

// The ratio the stored columns set, as the ratio dialog writes them (kind, uploads,
// downloads, credit in files or bytes), or none: no kind, or a side below one. A ratio
// mod_ratio cannot express in whole numbers is rounded towards fewer downloads.
std::optional<Ratio> readRatio(const QString& kind, double uploads, double downloads, double credit);

// The ProFTPD commands a rights text allows, and all the commands the rights decide.
QStringList allowedCommands(const QString& rights);
const QStringList& decidedCommands();

// Names ProFTPD can be told about in an <IfUser> section; the query that finds
// accounts leaves every other name out, so such an account cannot log in at all.
bool isConfigurableName(const QString& name);

// The configuration text for a model.
QString configText(const Model& model);

// Reads the model from an open database. `ftpDirectory` is the folder whose owner
// the accounts work as. On failure returns nullopt and says why in `error`.
std::optional<Model> readModel(Database& database, const QString& connectionString, const QString& ftpDirectory,
                               QString* error);

// Writes the text beside `path` and renames it over the old file.
bool writeConfigFile(const QString& path, const QString& text, QString* error);

// Opens the database the connection string names, reads it and writes the file.
bool writeConfiguration(const QString& connectionString, const QString& ftpDirectory, const QString& path,
                        QString* error);

} // namespace proftpd
