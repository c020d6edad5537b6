// Builds the template accounts database that the program carries: an SQLite file
// with the tables and column properties of the schema, all empty. The same source
// always gives the same bytes.

#include "db/Schema.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTextStream>

namespace {

bool run(QSqlQuery& query, const QString& sql)
{
    if (query.exec(sql))
        return true;
    QTextStream(stderr) << "make-template: " << query.lastError().text() << "\n  in: " << sql << Qt::endl;
    return false;
}

bool build(const QString& path)
{
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("template"));
    db.setDatabaseName(path);
    if (!db.open()) {
        QTextStream(stderr) << "make-template: cannot create " << path << ": " << db.lastError().text() << Qt::endl;
        return false;
    }
    QSqlQuery query(db);
    // A rollback journal, not WAL: servers that read the file without write access hang on WAL.
    bool ok = run(query, QStringLiteral("PRAGMA page_size = 4096")) && run(query, QStringLiteral("PRAGMA journal_mode = DELETE"))
        && run(query, QStringLiteral("BEGIN"));
    for (const QString& statement : schema::sqliteTemplateStatements()) {
        if (!ok)
            break;
        ok = run(query, statement);
    }
    ok = ok && run(query, QStringLiteral("COMMIT")) && run(query, QStringLiteral("VACUUM"));
    query = QSqlQuery();
    db.close();
    return ok;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        QTextStream(stderr) << "usage: make-template <output.sqlite>" << Qt::endl;
        return 2;
    }
    const QString path = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile::remove(path);
    const bool ok = build(path);
    QSqlDatabase::removeDatabase(QStringLiteral("template"));
    if (!ok)
        QFile::remove(path);
    return ok ? 0 : 1;
}
