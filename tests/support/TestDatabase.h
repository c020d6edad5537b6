#pragma once

#include "db/Database.h"

#include <QStringList>
#include <QTest>

#include <memory>

class TestEnvironment;

// The engines every database suite runs on.
enum class TestEngine { Sqlite, PostgreSql };
Q_DECLARE_METATYPE(TestEngine)

// Adds the column "engine" with one row per engine to a data-driven test.
void addEngineRows();

// A fresh accounts database on one engine, named by the environment's stored
// connection string, with a connection of its own for arranging and checking rows.
class TestDatabase
{
public:
    // A fresh database, or nullptr with the reason when the engine is not available here.
    static std::unique_ptr<TestDatabase> create(TestEngine engine, TestEnvironment& environment, QString* whyNot);

    QString connectionString() const { return m_connectionString; }
    TestEngine engine() const { return m_engine; }

    // Runs a statement; a failure fails the running test.
    bool exec(const QString& sql);
    // The first column of every row, as text.
    QStringList column(const QString& sql);
    int count(const QString& sql);
    Database& database() { return *m_database; }

private:
    TestEngine m_engine = TestEngine::Sqlite;
    QString m_connectionString;
    std::unique_ptr<Database> m_database;
};

// Opens a fresh database for the engine of the current data row into `name`; skips
// the test where the engine is missing, or fails it under CI, where it must not be.
#define QUILLMERE_OPEN_DATABASE(name, environment)                                                       \
    QFETCH(TestEngine, engine);                                                                          \
    QString name##WhyNot;                                                                                \
    auto name = TestDatabase::create(engine, environment, &name##WhyNot);                               \
    if (!name) {                                                                                         \
        const QByteArray ci = qgetenv("CI");                                                             \
        if (!ci.isEmpty() && ci != "false")                                                              \
            QFAIL(qPrintable(name##WhyNot));                                                             \
        QSKIP(qPrintable(name##WhyNot));                                                                 \
    }
