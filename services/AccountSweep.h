#pragma once

#include "services/Session.h"

#include <QDate>

#include <optional>

class DateForm;
struct AppContext;

// The daily sweep: deletes the accounts whose expiry date has come, with all their
// rows, and disables the accounts whose disable date has come. It runs at
// start-up and after every 1440 minutes of running.
//
// Dates are compared as dates in the program, never as text in SQL, so no
// regional form can make an account go before its day. A stored text that does
// not read as a date is left alone and named in the status log. The command-line
// sweep opens its sessions quietly, since nobody is there to answer a dialog.
DatabaseOutcome accountSweep(AppContext& context, Session::Feedback feedback = Session::Feedback::ShowDialog);

// The date a stored expiry or disable text stands for, as the sweep reads it;
// nullopt for a text that is no date.
std::optional<QDate> readStoredDate(const AppContext& context, const QString& text, QDate today);

// Writes every stored expiry and disable date that reads in the form `from` again in
// the form `to`, so that a change of the installation's form keeps each account's
// dates; texts that are no date in `from` stay as they are. False when a statement
// failed (reported).
bool rewriteStoredDates(Session& session, const DateForm& from, const DateForm& to, QDate today);

// Lower-cases the stored home directories and directory entries at start-up,
// through the statements each engine reads; the errors of the others are ignored.
// Paths beginning with "/" keep their case (storedPathCase, platform/PathInfo.h).
void lowerCaseStoredPaths(AppContext& context);

// Puts both into the context's start-up hooks.
void installDatabaseWork(AppContext& context);
