#pragma once

#include "MigrationSource.h"

#include <QDate>
#include <QString>

#include <optional>

// The values of the server's INI file turned into the forms and units the accounts
// database stores. Each reading either gives the value or says why it cannot.
namespace migration::inivalues {

inline constexpr int NameWidth = 50;        // users.username
inline constexpr int PathWidth = 512;       // homedir, directory, login_msg_file
inline constexpr int CommentWidth = 256;    // users.comments
inline constexpr int MaintenanceWidth = 8;  // users.maintenance
inline constexpr int IpWidth = 15;          // blocked_ips.ip, blocked_ips_by_user.ip

// A whole number, blanks around it allowed; nullopt for anything else.
std::optional<qint64> readInteger(const QString& text);
// A switch as the server writes it: 0 is off, any other whole number on.
std::optional<bool> readFlag(const QString& text);
// A plain decimal number ("1048576", "2.5").
std::optional<double> readNumber(const QString& text);

// A time-out of the INI (seconds) in the program's minutes: none (-1) for zero or
// less, and a part of a minute counts as a whole one, so no limit becomes "none".
int minutesFromSeconds(qint64 seconds);

// The expiry date of an account: M/D/YYYY as the server writes it, YYYY-MM-DD, or a
// day number counted from 30 December 1899. nullopt for "0" and for no date at all.
struct DateReading
{
    std::optional<QDate> date;
    bool understood = true;
};
DateReading readExpiryDate(const QString& text);

// Two letters and 32 hexadecimal digits: the salted MD5 form the handler checks.
bool isSaltedMd5(const QString& password);

// One Access<n> value, "<folder>|<letters>".
struct AccessReading
{
    std::optional<DirectoryAccess> access;
    QString problem;      // why no entry could be made
    QString ignoredLetters; // letters the program has no right for
};
AccessReading readAccess(const QString& value);

// One IPAccess<n> value, "D|<rule>" (deny) or "A|<rule>" (allow).
struct IpAccessReading
{
    bool deny = false;
    QString rule;
    QString problem; // empty when the rule can go into a deny table
};
IpAccessReading readIpAccess(const QString& value);

// Why a rule cannot be stored and applied as the program does; empty when it can.
QString ipRuleProblem(const QString& rule);

// The program's name of a ratio kind written in the INI ("FilesPerSession",
// "Bytes per user", ...); empty for no ratio; nullopt for a kind it does not know.
std::optional<QString> ratioType(const QString& text);

} // namespace migration::inivalues
