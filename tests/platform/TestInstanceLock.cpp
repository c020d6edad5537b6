#include "TestMain.h"

#include "platform/InstanceLock.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

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

    void holderShowsItselfWhenAsked_data()
    {
        QTest::addColumn<bool>("leftBehind");
        QTest::newRow("fresh runtime folder") << false;
        QTest::newRow("socket file of a run that died") << true;
    }

    void holderShowsItselfWhenAsked()
    {
        QFETCH(bool, leftBehind);
        QTemporaryDir dir;
        InstanceLock first(dir.filePath(QStringLiteral("Vantrel.lock")));
        InstanceLock second(first.lockFilePath());
        QCOMPARE(first.socketPath(), dir.filePath(QStringLiteral("Vantrel.socket")));
        if (leftBehind) {
            QFile socketFile(first.socketPath());
            QVERIFY(socketFile.open(QIODevice::WriteOnly));
        }
        QVERIFY(!second.askHolderToShow());
        QVERIFY(first.tryAcquire());
        QSignalSpy asked(&first, &InstanceLock::showRequested);
        bool answered = false;
        std::unique_ptr<QThread> asking(QThread::create([&] { answered = second.askHolderToShow(); }));
        asking->start();
        QTRY_VERIFY(asking->isFinished());
        QVERIFY(answered);
        QCOMPARE(asked.count(), 1);
        first.release();
        QVERIFY(!QFile::exists(first.socketPath()));
    }

    void lockLivesInTheRuntimeFolder()
    {
        QVERIFY(InstanceLock::defaultLockFilePath().endsWith(QStringLiteral("/Vantrel.lock")));
    }
};

QUILLMERE_TEST(TestInstanceLock)
#include "TestInstanceLock.moc"
