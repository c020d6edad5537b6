#pragma once

#include <QObject>
#include <QString>

#include <deque>

class Clock;
class DateForm;

// The program's trace: one line per step, shown by the status log window. It keeps
// the newest lines only, so that a program left running for months stays small.
class StatusLog : public QObject
{
    Q_OBJECT

public:
    static constexpr int MaxLines = 10000;
    static inline const QString Header = QStringLiteral("Log File");

    // The dates of the lines are written in the installation's form.
    StatusLog(const Clock& clock, const DateForm& dates, QObject* parent = nullptr);

    void logStatus(const QString& message);

    // "<short date> <short time>:  <message>": the date in the installation's form, the time in the regional form.
    static QString formatLine(const DateForm& dates, const QDateTime& when, const QString& message);

    // The kept lines, oldest first; the header "Log File" until it is dropped.
    const std::deque<QString>& lines() const { return m_lines; }
    // The whole log as text: every kept line followed by CR LF.
    QString text() const;
    bool contains(const QString& message) const;

signals:
    void lineAppended(const QString& line);

private:
    const Clock& m_clock;
    const DateForm& m_dates;
    std::deque<QString> m_lines;
};
