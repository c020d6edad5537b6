#pragma once

#include <QString>
#include <QStringList>

// What the servers the tests start on loopback (PostgreSQL, pure-ftpd, ProFTPD) share.
namespace localserver {

// A port nothing listens on at the moment.
int freePort();
// A fresh folder under the temporary folder, named after `prefix`; empty when none could be made.
QString makeFolder(const char* prefix);
// Why an FTP server cannot run here (not root, one of its files or curl missing); empty when it can.
QString ftpServerUnavailable(const QString& server, const QStringList& files);
// Whether a connection to the port gets an FTP greeting.
bool greets(int port);
// Ends a server and every process it forked: the descendants first, deepest first (so that
// every process is reaped by its own parent), then the server with SIGTERM, and SIGKILL
// when it is still there after ten seconds.
void endWithDescendants(qint64 pid);

} // namespace localserver
