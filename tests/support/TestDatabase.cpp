#include "TestDatabase.h"

#include "PostgresCluster.h"
#include "TestEnvironment.h"

#include "db/Schema.h"
#include "services/EmbeddedFiles.h"

void addEngineRows()
{
    QTest::addColumn<TestEngine>("engine");
    QTest::newRow("sqlite") << TestEngine::Sqlite;
    QTest::newRow("postgresql") << TestEngine::PostgreSql;
}

std::unique_ptr<TestDatabase> TestDatabase::create(TestEngine engine, TestEnvironment& environment, QString* whyNot)
{
    auto result = std::unique_ptr<TestDatabase>(new TestDatabase);
    result->m_engine = engine;
    if (engine == TestEngine::Sqlite) {
        const QString file = environment.path(QStringLiteral("accounts.db"));
        if (const auto written = embedded::writeEmbeddedFile(embedded::TemplateDatabase, file); !written) {
            *whyNot = written.error;
            return nullptr;
        }
        result->m_connectionString = QStringLiteral("Provider=SQLite;Data Source=") + file;
    } else {
        PostgresCluster* cluster = PostgresCluster::shared();
        const QString name = cluster ? cluster->createDatabase() : QString();
        if (name.isEmpty()) {
            *whyNot = cluster ? QStringLiteral("could not create a PostgreSQL database") : PostgresCluster::unavailableReason();
            return nullptr;
        }
        result->m_connectionString = cluster->connectionString(name);
    }
    result->m_database = std::make_unique<Database>(result->m_connectionString);
    bool ready = result->m_database->open();
    if (engine == TestEngine::PostgreSql) {
        for (const QString& statement : schema::postgreSqlCreateStatements())
            ready = ready && result->m_database->execute(statement);
    }
    if (!ready) {
        *whyNot = result->m_database->lastError();
        return nullptr;
    }
    environment.settings.saveConnectionString(result->m_connectionString);
    return result;
}

bool TestDatabase::exec(const QString& sql)
{
    if (m_database->execute(sql))
        return true;
    QTest::qFail(qPrintable(QStringLiteral("%1\n  in: %2").arg(m_database->lastError(), sql)), __FILE__, __LINE__);
    return false;
}

QStringList TestDatabase::column(const QString& sql)
{
    QStringList values;
    Rows rows = m_database->select(sql);
    if (!rows.isValid())
        QTest::qFail(qPrintable(QStringLiteral("%1\n  in: %2").arg(m_database->lastError(), sql)), __FILE__, __LINE__);
    while (rows.next())
        values.append(rows.textAt(0));
    return values;
}

int TestDatabase::count(const QString& sql)
{
    return static_cast<int>(column(sql).size());
}
