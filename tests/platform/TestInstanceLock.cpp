#include "TestMain.h"

#include "platform/InstanceLock.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;

class TestInstanceLock : public QObject
{
    Q_OBJECT

private slots:
    void oneHolderThatShowsItselfWhenAsked_data()
    {
        QTest::addColumn<QString>("lock");
        QTest::addColumn<bool>("leftBehind");
        QTest::newRow("runtime folder not there yet") << "runtime/nested/Vantrel.lock" << false;
        QTest::newRow("socket file of a run that died") << "Vantrel.lock" << true;
    }
    void oneHolderThatShowsItselfWhenAsked()
    {
        QFETCH(QString, lock);
        QTemporaryDir dir;
        InstanceLock first(dir.filePath(lock));
        InstanceLock second(first.lockFilePath());
        QCOMPARE(first.socketPath(), dir.filePath(lock.replace(u".lock"_s, u".socket"_s)));
        QFETCH(bool, leftBehind);
        if (leftBehind)
            QVERIFY(QFile(first.socketPath()).open(QIODevice::WriteOnly));
        QVERIFY(!second.askHolderToShow());
        QVERIFY(first.tryAcquire());
        QVERIFY(first.tryAcquire()); // asking again keeps it
        QVERIFY(!second.tryAcquire());
        QVERIFY(!second.isHeld());

        QSignalSpy asked(&first, &InstanceLock::showRequested);
        bool answered = false;
        std::unique_ptr<QThread> asking(QThread::create([&] { answered = second.askHolderToShow(); }));
        asking->start();
        QTRY_VERIFY(asking->isFinished());
        QVERIFY(answered);
        QCOMPARE(asked.count(), 1);
        first.release();
        QVERIFY(!QFile::exists(first.socketPath()));
        QVERIFY(second.tryAcquire());
        QVERIFY(InstanceLock::defaultLockFilePath().endsWith(u"/Vantrel.lock"_s));
    }
};

QUILLMERE_TEST(TestInstanceLock)
#include "TestInstanceLock.moc"
