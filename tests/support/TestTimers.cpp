#include "TestTimers.h"

#include <QTest>
#include <QTimer>

QTimer* findTimer(QObject* owner, const QString& name)
{
    return owner->findChild<QTimer*>(name);
}

bool fireTimer(QObject* owner, const QString& name)
{
    QTimer* timer = findTimer(owner, name);
    if (!timer) {
        QTest::qFail(qPrintable(QStringLiteral("no timer named %1").arg(name)), __FILE__, __LINE__);
        return false;
    }
    if (!timer->isActive()) {
        QTest::qFail(qPrintable(QStringLiteral("timer %1 is not running").arg(name)), __FILE__, __LINE__);
        return false;
    }
    return QMetaObject::invokeMethod(timer, "timeout");
}
