#pragma once

#include "db/Engine.h"

#include <QSqlQuery>
#include <QString>
#include <QVariant>

#include <memory>
#include <vector>

// The rows a query returned, read forward only. Columns are found by name,
// without regard to case; a NULL reads as empty text.
class Rows
{
public:
    Rows() = default;
    explicit Rows(std::shared_ptr<QSqlQuery> query) : m_query(std::move(query)) {}

    bool isValid() const { return m_query != nullptr; }
    bool next() { return m_query && m_query->next(); }
    QVariant value(const QString& column) const { return m_query ? m_query->value(column) : QVariant(); }
    QString text(const QString& column) const;
    // The column at a position of the select list, as text.
    QString textAt(int index) const;
    bool isNull(const QString& column) const { return !m_query || m_query->isNull(column); }

private:
    std::shared_ptr<QSqlQuery> m_query;
};

// One connection to an accounts database, opened from an ADO-form connection
// string, under a connection name of its own that is removed again at close.
// Statements are sent one at a time, each committing on its own, rewritten for
// the engine where it does not read the program's SQL (see SqlDialect).
class Database
{
public:
    enum class Text { Rewritten, Verbatim };

    explicit Database(QString connectionString);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    bool open();
    void close();
    bool isOpen() const { return m_open; }
    Engine engine() const { return m_engine; }

    // Runs a statement that returns no rows; false on failure (see lastError).
    bool execute(const QString& sql, Text text = Text::Rewritten);
    // Runs a query; an invalid Rows on failure.
    Rows select(const QString& sql);

    bool beginTransaction();
    bool commit();
    void rollback();

    // How many rows the last statement run by execute changed (-1 when unknown).
    int rowsAffected() const { return m_rowsAffected; }

    // The engine's own text of the last failure.
    QString lastError() const { return m_error; }
    QString connectionName() const { return m_name; }

private:
    QString m_connectionString;
    QString m_name;
    Engine m_engine = Engine::Unknown;
    bool m_open = false;
    bool m_added = false;
    QString m_error;
    int m_rowsAffected = -1;
    // Queries handed out, finished before the connection is removed.
    std::vector<std::weak_ptr<QSqlQuery>> m_queries;
};
