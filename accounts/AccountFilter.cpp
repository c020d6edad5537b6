#include "accounts/AccountFilter.h"

namespace accounts {

QList<int> matchingRows(const QStringList& names, const QString& query)
{
    QList<int> rows;
    rows.reserve(names.size());
    for (int row = 0; row < names.size(); ++row) {
        if (query.isEmpty() || names.at(row).contains(query, Qt::CaseInsensitive))
            rows.append(row);
    }
    return rows;
}

QString accountCountText(qsizetype shown, qsizetype total, const QLocale& locale)
{
    if (shown == total)
        return total == 1 ? QStringLiteral("1 account") : QStringLiteral("%1 accounts").arg(locale.toString(total));
    return QStringLiteral("%1 of %2").arg(locale.toString(shown), locale.toString(total));
}

} // namespace accounts
