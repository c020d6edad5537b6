#include "server/LoginCheck.h"

#include "companions/gatewick/AuthHandler.h"

#include "services/AppContext.h"

namespace logincheck {

Result testLogin(AppContext& context, const QString& name, const QString& password, const QString& address,
                 Session::Feedback feedback)
{
    Result result;
    Session session(context);
    if (!session.open(feedback)) {
        result.verdict = Verdict::DatabaseNotOpened;
        result.lines = {QStringLiteral("Verdict: refused."),
                        QStringLiteral("Database: it cannot be opened, and the handler refuses every log-in while it cannot.")};
        return result;
    }

    // The bytes the handler would get from pure-authd.
    const gatewick::LoginRequest request{name.toUtf8(), password.toUtf8(), address.toLatin1()};
    QStringList reasons;
    const QStringList reply = gatewick::decide(
        request, *session.database(), [&context](const QString& line) { context.logStatus(line); },
        [&reasons](const QString& reason) { reasons.append(reason); });

    const QString answer = reply.value(0);
    result.verdict = answer == QLatin1String("auth_ok:1") ? Verdict::Allowed : Verdict::Refused;
    result.lines.append(result.verdict == Verdict::Allowed ? QStringLiteral("Verdict: allowed.") : QStringLiteral("Verdict: refused."));
    result.lines.append(reasons);
    if (answer == QLatin1String("auth_ok:0"))
        result.lines.append(QStringLiteral("The handler does not take the log-in: pure-ftpd tries its next authentication "
                                           "method, if it has one."));
    result.lines.append(QStringLiteral("Reply to the FTP server:"));
    for (const QString& line : reply)
        result.lines.append(QStringLiteral("    ") + line);
    return result;
}

} // namespace logincheck
