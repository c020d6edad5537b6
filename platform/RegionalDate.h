#pragma once

#include <QLocale>
#include <QString>
#include <QTime>

// The regional short forms of a locale. Stored dates are not written in them but in
// the installation's one form (DateForm), which is taken from them on the first run.
namespace regional {

// The locale's short date pattern with a two-digit year widened to four digits, so
// that a date read back never lands in the wrong century.
QString shortDatePattern(const QLocale& locale = QLocale());
QString shortTime(QTime time, const QLocale& locale = QLocale());

} // namespace regional
