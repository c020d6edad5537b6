#include "platform/FocusKeySender.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWidget>

void FocusKeySender::sendToFocus(QKeyCombination keys)
{
    QWidget* target = QApplication::focusWidget();
    if (!target)
        return;
    QApplication::postEvent(target, new QKeyEvent(QEvent::KeyPress, keys.key(), keys.keyboardModifiers()));
    QApplication::postEvent(target, new QKeyEvent(QEvent::KeyRelease, keys.key(), keys.keyboardModifiers()));
}
