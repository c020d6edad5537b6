#include "services/StatusLog.h"

#include "platform/Clock.h"
#include "platform/DateForm.h"
#include "platform/RegionalDate.h"

StatusLog::StatusLog(const Clock& clock, const DateForm& dates, QObject* parent)
    : QObject(parent)
    , m_clock(clock)
    , m_dates(dates)
{
    m_lines.push_back(Header);
}

QString StatusLog::formatLine(const DateForm& dates, const QDateTime& when, const QString& message)
{
    return dates.format(when.date()) + QLatin1Char(' ') + regional::shortTime(when.time())
        + QStringLiteral(":  ") + message;
}

void StatusLog::logStatus(const QString& message)
{
    const QString line = formatLine(m_dates, m_clock.now(), message);
    m_lines.push_back(line);
    while (m_lines.size() > static_cast<size_t>(MaxLines))
        m_lines.pop_front();
    emit lineAppended(line);
}

QString StatusLog::text() const
{
    QString all;
    for (const QString& line : m_lines)
        all += line + QStringLiteral("\r\n");
    return all;
}

bool StatusLog::contains(const QString& message) const
{
    const QString suffix = QStringLiteral(":  ") + message;
    for (const QString& line : m_lines) {
        if (line.endsWith(suffix))
            return true;
    }
    return false;
}
