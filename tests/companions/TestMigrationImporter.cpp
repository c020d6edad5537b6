#include "TestMain.h"

#include <QtTest>

class TestMigrationImporter : public QObject
{
    Q_OBJECT
};

QUILLMERE_TEST(TestMigrationImporter)
#include "TestMigrationImporter.moc"
