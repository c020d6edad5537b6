#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// What the migration tools read out of the FTP server's INI file, already in the
// form and units the accounts database stores, before anything is written.
namespace migration {

// The two layouts of the server's INI file: versions 2.0 to 3.0, and 4.0 and later.
enum class Generation { V2, V4 };

// One row of dir_rights: the rights letters in the program's form (R W A M E L C D).
struct DirectoryAccess
{
    QString directory;
    QString rights;
    bool inherit = false;
};

// A value of the INI file that the accounts database has no place for. Every
// such value is listed in the preview and the summary; nothing is dropped silently.
struct NotCarried
{
    QString account; // empty for a server-wide value
    QString key;
    QString value;
    QString reason;
};

// One account, column by column. An empty optional leaves the column as a new
// account has it (NULL, or the creating statement's constant).
struct MigratedAccount
{
    QString name;
    QString password; // the stored form the INI holds
    QString homedir;  // as stored: storedPathCase
    QString comments;
    QList<DirectoryAccess> access; // in the INI's order
    QStringList deniedIps;         // blocked_ips_by_user

    std::optional<bool> disabled; // disable_user
    QString expires;              // Expires, regional short date; empty for none
    std::optional<int> idleTimeoutMinutes;    // timeout
    std::optional<int> sessionTimeoutMinutes; // session_timeout
    std::optional<int> maxConcurrent;         // max_concurrent
    std::optional<int> maxLoginsPerIp;        // max_logins_per_ip
    std::optional<bool> oneLoginPerIp;        // one_login_per_ip
    std::optional<QString> speedLimitKBps;    // speed_limit_value
    std::optional<bool> useQuota;             // use_quota
    std::optional<double> quotaMaxBytes;      // quota_max
    std::optional<double> quotaCurrentBytes;  // quota_current
    std::optional<QString> ratioType;         // FilesPerSession, BytesPerSession, FilesOverall, BytesOverall
    std::optional<int> ratioUp;
    std::optional<int> ratioDown;
    std::optional<double> ratioCredit;        // files, or bytes for the byte kinds
    std::optional<bool> relativePaths;        // rel_path
    std::optional<bool> hideHiddenFiles;      // hide_hidden_files
    std::optional<bool> alwaysLogin;          // always_login
    std::optional<QString> loginMessageFile;  // login_msg_file
    std::optional<QString> maintenance;       // maintenance, at most 8 characters

    QList<NotCarried> notCarried;
};

struct MigrationSource
{
    Generation generation = Generation::V4;
    QString iniPath;
    QList<MigratedAccount> accounts; // in the file's order, one per name
    QStringList globalDeniedIps;     // blocked_ips
    QList<NotCarried> notCarried;    // server-wide values left behind
    QStringList warnings;            // e.g. a section that appears twice, and which one was kept
};

} // namespace migration
