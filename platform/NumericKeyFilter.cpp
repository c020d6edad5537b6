#include "platform/NumericKeyFilter.h"

#include <QKeyEvent>

NumericKeyFilter::NumericKeyFilter(std::function<void()> onAccepted, QObject* parent, QString alsoAccepted)
    : QObject(parent)
    , m_onAccepted(std::move(onAccepted))
    , m_alsoAccepted(std::move(alsoAccepted))
{
}

void NumericKeyFilter::watch(QObject* box)
{
    box->installEventFilter(this);
}

bool NumericKeyFilter::accepts(QChar typed) const
{
    // Control codes are editing keys, not characters: Delete types "\x7f".
    return typed.category() == QChar::Other_Control || typed == QLatin1Char('.') || (typed >= QLatin1Char('0') && typed <= QLatin1Char('9'))
        || m_alsoAccepted.contains(typed);
}

bool NumericKeyFilter::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        const QString typed = static_cast<QKeyEvent*>(event)->text();
        if (!typed.isEmpty()) {
            if (!accepts(typed.at(0)))
                return true;
            if (m_onAccepted)
                m_onAccepted();
        }
    }
    return QObject::eventFilter(watched, event);
}
