#pragma once

#include <QString>

// The two judgements of a log-in that need no database: whether a client address
// falls under an IP rule, and whether a typed password matches the stored one.
namespace gatewick {

// A rule matches an IPv4 address exactly; "/n" makes it a CIDR block; a part
// written "*" matches any value. A part's value is its leading number, as the
// rule dialogs read it ("" counts as 0). An IPv4 address mapped into IPv6 is matched
// as IPv4; another IPv6 address only by a rule made of "*" parts alone. A client
// address that cannot be read matches every rule that is not blank, so that any
// rule in force refuses it. Anything else matches nothing.
bool ipRuleMatches(const QString& rule, const QString& clientAddress);
// Whether a client address reads as an address the rules can judge.
bool isReadableAddress(const QString& clientAddress);

// How a stored password is compared: as the text stands, or through the server's salted MD5 form.
enum class PasswordForm { AsStored, SaltedMd5 };
PasswordForm passwordForm(const QString& stored);

// True when the stored text is the server's salted MD5 form ("xy" + 32 hex digits:
// the MD5 of "xy" followed by the password) and the typed password hashes to it, or,
// for any other stored text, when the typed password equals it. An empty password
// never matches.
bool passwordMatches(const QString& stored, const QString& typed);

// The salted MD5 form of a password, as the server's INI file keeps it.
QString saltedMd5(const QString& salt, const QString& password);

} // namespace gatewick
