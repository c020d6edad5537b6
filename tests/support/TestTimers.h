#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

// The program's timers carry object names; tests fire them instead of waiting.
QTimer* findTimer(QObject* owner, const QString& name);
// Fires the named timer once, as if its interval had passed; fails the test when
// the timer is missing or not running.
bool fireTimer(QObject* owner, const QString& name);
