#pragma once

#include <QObject>
#include <QString>

#include <deque>

class Clock;

// The program's trace: one line per step, shown by the status log window. It keeps
// the newest lines only, so that a program left running for months stays small.
class StatusLog : public QObject
{
    Q_OBJECT

public:
    static constexpr int MaxLines = 10000;
    static inline const QString Header = QStringLiteral("Log File");

    explicit StatusLog(const Clock& clock, QObject* parent = nullptr);

    void logStatus(const QString& message);

    // "<short date> <short time>:  <message>" in the regional forms.
    static QString formatLine(const QDateTime& when, const QString& message);

    // The kept lines, oldest first; the header "Log File" until it is dropped.
    const std::deque<QString>& lines() const { return m_lines; }
    // The whole log as text: every kept line followed by CR LF.
    QString text() const;
    bool contains(const QString& message) const;

signals:
    void lineAppended(const QString& line);

private:
    const Clock& m_clock;
    std::deque<QString> m_lines;
};
