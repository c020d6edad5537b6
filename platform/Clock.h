#pragma once

#include <QDateTime>

// The wall clock, behind an interface so that tests can fix "now".
class Clock
{
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
};

class SystemClock final : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};
