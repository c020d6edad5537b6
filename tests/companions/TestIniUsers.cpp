#include "TestMain.h"

#include <QtTest>

class TestIniUsers : public QObject
{
    Q_OBJECT
};

QUILLMERE_TEST(TestIniUsers)
#include "TestIniUsers.moc"
