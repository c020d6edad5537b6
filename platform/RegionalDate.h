#pragma once

#include <QDate>
#include <QLocale>
#include <QString>
#include <QTime>

#include <optional>

// The regional short date and time forms the program writes: in the log, and as
// the stored text of dates. The year is always written with four digits, so that
// a date read back never lands in the wrong century.
namespace regional {

// The locale's short date pattern with a two-digit year widened to four digits.
QString shortDatePattern(const QLocale& locale = QLocale());
QString shortDate(QDate date, const QLocale& locale = QLocale());
QString shortTime(QTime time, const QLocale& locale = QLocale());

// Reads a stored date text: the form shortDate writes, or the regional form with a
// two-digit year, which is placed in the century around today (never 19xx by
// default). Anything else is not a date.
std::optional<QDate> readShortDate(const QString& text, QDate today, const QLocale& locale = QLocale());

} // namespace regional
