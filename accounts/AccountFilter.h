#pragma once

#include <QList>
#include <QLocale>
#include <QString>
#include <QStringList>

// The find box over the user list: which accounts a typed text shows, and the count
// beside the box. Kept free of widgets so that a keystroke over 100,000 names can be
// measured on its own.
namespace accounts {

// The positions in names of the names holding query, ignoring case, in list order.
// An empty query shows every name.
QList<int> matchingRows(const QStringList& names, const QString& query);

// "1,502 accounts" when every account is shown, "12 of 1,502" when a find narrows
// the list; numbers in the given locale's form.
QString accountCountText(qsizetype shown, qsizetype total, const QLocale& locale = QLocale());

} // namespace accounts
