#include "TestMain.h"

#include <QtTest>

class TestMigrationWindow : public QObject
{
    Q_OBJECT
};

QUILLMERE_TEST(TestMigrationWindow)
#include "TestMigrationWindow.moc"
