#include "TestMain.h"

#include "platform/InstanceLock.h"

#include <QTemporaryDir>
#include <QTest>

class TestInstanceLock : public QObject
{
    Q_OBJECT

private slots:
    void secondHolderIsRefusedUntilTheFirstLetsGo()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("runtime/nested/Vantrel.lock"));
        InstanceLock first(path);
        InstanceLock second(path);
        QVERIFY(first.tryAcquire());
        QVERIFY(first.tryAcquire()); // asking again keeps it
        QVERIFY(!second.tryAcquire());
        QVERIFY(!second.isHeld());
        first.release();
        QVERIFY(second.tryAcquire());
    }

    void lockLivesInTheRuntimeFolder()
    {
        QVERIFY(InstanceLock::defaultLockFilePath().endsWith(QStringLiteral("/Vantrel.lock")));
    }
};

QUILLMERE_TEST(TestInstanceLock)
#include "TestInstanceLock.moc"
