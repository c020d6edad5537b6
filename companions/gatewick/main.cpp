// Gatewick: the authentication handler that pure-authd runs for each FTP log-in.
// It reads the log-in from pure-authd's environment, the connection string from
// the program's settings store, and answers on standard output. Traces go to the
// system log and to standard error, never to the FTP client.

#include "AuthHandler.h"

#include "db/Database.h"
#include "platform/SettingsStore.h"

#include <QCoreApplication>
#include <QTextStream>

#include <syslog.h>

#include <cstdio>

namespace {

void trace(const QString& line)
{
    const QByteArray text = line.toUtf8();
    syslog(LOG_AUTH | LOG_INFO, "%s", text.constData());
    std::fprintf(stderr, "gatewick: %s\n", text.constData());
}

void answer(const QStringList& lines)
{
    QTextStream out(stdout);
    for (const QString& line : lines)
        out << line << '\n';
    out.flush();
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    openlog("gatewick", LOG_PID, LOG_AUTH);

    gatewick::LoginRequest request;
    request.account = qgetenv("AUTHD_ACCOUNT");
    request.password = qgetenv("AUTHD_PASSWORD");
    request.remoteAddress = qgetenv("AUTHD_REMOTE_IP");

    trace(QStringLiteral("Initiating MD5 Services."));
    trace(QStringLiteral("MD5 Initialized."));
    trace(QStringLiteral("Initiating server connection."));
    const SettingsStore settings({}, SettingsStore::defaultFilePath(), SettingsStore::Access::ReadOnly);
    const QString key = QStringLiteral("Software\\Orvane\\Serv-U\\ConnectionString");
    const QString connectionString = settings.readConnectionString();
    if (connectionString.isEmpty()) {
        trace(QStringLiteral("Quering registry entry %1 failed.").arg(key));
        answer(gatewick::refusal());
        return 0;
    }
    trace(QStringLiteral("Quering registry entry HKLM\\%1 succeeded.").arg(key));

    QStringList reply;
    {
        Database database(connectionString);
        if (!database.open()) {
            trace(QStringLiteral("database error: ") + database.lastError());
            answer(gatewick::refusal());
            return 0;
        }
        trace(QStringLiteral("Connection to server opened."));
        reply = gatewick::decide(request, database, trace);
    }
    trace(QStringLiteral("Connection to server closed."));
    answer(reply);
    closelog();
    return 0;
}
