#pragma once

#include "services/Session.h"

#include <QString>
#include <QStringList>

struct AppContext;

// The test of a log-in: the authentication handler's own decision, made over the
// database the program uses, for a name, a password and a client address, with the
// reasons the handler has for it and the reply the FTP server would get.
namespace logincheck {

enum class Verdict { Allowed, Refused, DatabaseNotOpened };

struct Result
{
    Verdict verdict = Verdict::Refused;
    // The verdict, the reasons, then the reply lines, one per line of text.
    QStringList lines;
};

Result testLogin(AppContext& context, const QString& name, const QString& password, const QString& address,
                 Session::Feedback feedback = Session::Feedback::ShowDialog);

} // namespace logincheck
