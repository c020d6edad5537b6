#include "platform/NumericKeyFilter.h"

#include <QKeyEvent>

NumericKeyFilter::NumericKeyFilter(std::function<void()> onAccepted, QObject* parent)
    : QObject(parent)
    , m_onAccepted(std::move(onAccepted))
{
}

void NumericKeyFilter::watch(QObject* box)
{
    box->installEventFilter(this);
}

bool NumericKeyFilter::accepts(QChar typed)
{
    // The filter has always let the character between "." and "0" through: "/",
    // which an IP rule such as 10.0.0.0/8 needs.
    return typed.unicode() < 31 || (typed >= QLatin1Char('.') && typed <= QLatin1Char('9'));
}

bool NumericKeyFilter::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        const QString typed = static_cast<QKeyEvent*>(event)->text();
        // Keys that type nothing (arrows, Home, the shift states) are not characters to judge.
        if (!typed.isEmpty()) {
            if (!accepts(typed.at(0)))
                return true;
            if (m_onAccepted)
                m_onAccepted();
        }
    }
    return QObject::eventFilter(watched, event);
}
