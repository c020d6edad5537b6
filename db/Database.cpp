#include "db/Database.h"

#include "db/SqlDialect.h"

#include <QAtomicInt>
#include <QSqlDatabase>
#include <QSqlError>

namespace {

QString nextConnectionName()
{
    static QAtomicInt counter;
    return QStringLiteral("quillmere-%1").arg(counter.fetchAndAddRelaxed(1) + 1);
}

QString errorText(const QSqlError& error)
{
    QString text = error.text().trimmed();
    return text.isEmpty() ? QStringLiteral("unknown database error") : text;
}

} // namespace

namespace {

QString asText(const QVariant& v)
{
    if (v.isNull())
        return {};
    // Whole numbers come back as doubles from some engines; they read as digits.
    if (v.typeId() == QMetaType::Double) {
        const double number = v.toDouble();
        if (number == static_cast<double>(static_cast<qint64>(number)))
            return QString::number(static_cast<qint64>(number));
        return QString::number(number, 'g', 15);
    }
    return v.toString();
}

} // namespace

QString Rows::text(const QString& column) const
{
    return asText(value(column));
}

QString Rows::textAt(int index) const
{
    return m_query ? asText(m_query->value(index)) : QString();
}

Database::Database(QString connectionString)
    : m_connectionString(std::move(connectionString))
    , m_name(nextConnectionName())
{
}

Database::~Database()
{
    close();
}

bool Database::open()
{
    close();
    const ConnectionTarget target = resolveConnection(m_connectionString);
    m_engine = target.engine;
    if (!target.isUsable()) {
        m_error = target.error;
        return false;
    }
    if (!QSqlDatabase::isDriverAvailable(target.driver)) {
        m_error = QStringLiteral("The Qt SQL driver %1 is not installed.").arg(target.driver);
        return false;
    }
    m_added = true;
    // The handle lives in this block only, so that close() can remove the connection.
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(target.driver, m_name);
        db.setDatabaseName(target.databaseName);
        if (!target.hostName.isEmpty())
            db.setHostName(target.hostName);
        if (target.port > 0)
            db.setPort(target.port);
        if (!target.userName.isEmpty())
            db.setUserName(target.userName);
        if (!target.password.isEmpty())
            db.setPassword(target.password);
        db.setConnectOptions(target.connectOptions);
        if (!db.open()) {
            m_error = errorText(db.lastError());
            return false;
        }
        m_open = true;
        if (m_engine == Engine::PostgreSql) {
            // sqlQuote escapes nothing but quotes: a server that reads backslashes as
            // escapes in literals would let a name like x\' end its literal early.
            QSqlQuery pin(db);
            if (!pin.exec(QStringLiteral("SET standard_conforming_strings = on")) || !pin.exec(QStringLiteral("SHOW standard_conforming_strings"))
                || !pin.next() || pin.value(0).toString() != QLatin1String("on")) {
                m_error = QStringLiteral("The PostgreSQL session could not be set to standard-conforming strings: ")
                    + errorText(pin.lastError());
                m_open = false;
            }
        }
        if (m_engine == Engine::Sqlite) {
            // SQLite opens any file; only a read shows whether it is a database.
            QSqlQuery probe(db);
            if (!probe.exec(QStringLiteral("SELECT count(*) FROM sqlite_master"))) {
                m_error = errorText(probe.lastError());
                m_open = false;
            }
        }
    }
    if (!m_open)
        close();
    return m_open;
}

void Database::close()
{
    for (const auto& handed : m_queries) {
        if (const auto query = handed.lock()) {
            query->finish();
            *query = QSqlQuery();
        }
    }
    m_queries.clear();
    if (m_added) {
        {
            QSqlDatabase db = QSqlDatabase::database(m_name, false);
            if (db.isOpen())
                db.close();
        }
        QSqlDatabase::removeDatabase(m_name);
        m_added = false;
    }
    m_open = false;
}

bool Database::execute(const QString& sql, Text text)
{
    if (!m_open) {
        m_error = QStringLiteral("The database is not open.");
        return false;
    }
    QSqlQuery query(QSqlDatabase::database(m_name, false));
    const QString statement = text == Text::Verbatim ? sql : rewriteForEngine(m_engine, sql);
    m_rowsAffected = -1;
    if (!query.exec(statement)) {
        m_error = errorText(query.lastError());
        return false;
    }
    m_rowsAffected = query.numRowsAffected();
    return true;
}

Rows Database::select(const QString& sql)
{
    if (!m_open) {
        m_error = QStringLiteral("The database is not open.");
        return {};
    }
    auto query = std::make_shared<QSqlQuery>(QSqlDatabase::database(m_name, false));
    query->setForwardOnly(true);
    if (!query->exec(rewriteForEngine(m_engine, sql))) {
        m_error = errorText(query->lastError());
        return {};
    }
    m_queries.push_back(query);
    return Rows(query);
}

bool Database::beginTransaction()
{
    QSqlDatabase db = QSqlDatabase::database(m_name, false);
    if (m_open && db.transaction())
        return true;
    m_error = m_open ? errorText(db.lastError()) : QStringLiteral("the database is not open");
    return false;
}

bool Database::commit()
{
    QSqlDatabase db = QSqlDatabase::database(m_name, false);
    if (m_open && db.commit())
        return true;
    m_error = errorText(db.lastError());
    return false;
}

void Database::rollback()
{
    if (m_open)
        QSqlDatabase::database(m_name, false).rollback();
}
