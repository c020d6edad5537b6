#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

class Database;

// The log-in decision the FTP server asks for: the authentication handler that
// pure-authd runs for each log-in, reading the accounts database the program
// writes. It answers with pure-ftpd's reply lines and fails closed: anything that
// goes wrong with the database refuses the log-in.
namespace gatewick {

// What pure-authd hands over, as the bytes it got from the network.
struct LoginRequest
{
    QByteArray account;
    QByteArray password;
    QByteArray remoteAddress;
};

// Receives the handler's trace lines; they never reach the FTP client.
using Trace = std::function<void(const QString&)>;
// Receives the reasons of a decision, one sentence per check, when it is explained.
using Explain = std::function<void(const QString&)>;

// Every query the FTP server's plug-in may run, with "%s" for the table and
// '%s' for the account name (or, for sign_files, the client's address).
struct ContractQuery
{
    const char* text;
    const char* table;
};
const QList<ContractQuery>& contractQueries();
// A contract query made ready to run: the table put in, the value quoted.
QString contractQuery(const char* text, const QString& table, const QString& value);

// The reply lines for one log-in, ending with "end". With `explain`, each check is
// told, and the checks after a refusal are made too, so that every reason shows;
// the reply is the same either way.
QStringList decide(const LoginRequest& request, Database& database, const Trace& trace, const Explain& explain = {});
QStringList refusal();

} // namespace gatewick
