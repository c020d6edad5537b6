#include "BenchSupport.h"

#include "services/EmbeddedFiles.h"

#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlError>
#include <QTextStream>

#include <algorithm>
#include <cstdlib>

namespace bench {

void fail(const QString& why)
{
    QTextStream(stderr) << "benchmark: " << why << Qt::endl;
    std::exit(1);
}

prompt::Answer RefusingPrompter::message(const prompt::Message& message)
{
    fail(QStringLiteral("unexpected message: ") + message.text);
}

QString RefusingPrompter::input(const prompt::Input& input)
{
    fail(QStringLiteral("unexpected input box: ") + input.text);
}

QString RefusingPrompter::chooseFolder(const prompt::FolderChoice&)
{
    fail(QStringLiteral("unexpected folder picker"));
}

QString RefusingPrompter::chooseFile(const prompt::FileChoice&)
{
    fail(QStringLiteral("unexpected file picker"));
}

void RefusingPrompter::runModal(QWidget*)
{
    fail(QStringLiteral("unexpected modal window"));
}

Context::Context(const QString& folder)
    : log(clock, dates)
    , settings(nullptr, folder + QStringLiteral("/serv-u.ini"))
    , lock(folder + QStringLiteral("/Vantrel.lock"))
    , context(settings, dates, prompter, log, clock, tray, starter, process, lock, keys, folder)
{
}

void Context::useDatabase(const QString& sqliteFile)
{
    settings.saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=") + sqliteFile);
}

void freshDatabase(const QString& file)
{
    QFile::remove(file);
    if (!embedded::writeEmbeddedFile(embedded::TemplateDatabase, file))
        fail(QStringLiteral("cannot write the template to ") + file);
}

namespace {
const QString GeneratorConnection = QStringLiteral("generator");
}

Generator::Generator(const QString& file)
{
    freshDatabase(file);
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), GeneratorConnection);
    db.setDatabaseName(file);
    if (!db.open() || !db.transaction())
        fail(db.lastError().text());
}

Generator::~Generator()
{
    // The statements go before their connection does.
    m_statements.clear();
    QSqlDatabase::database(GeneratorConnection, false).close();
    QSqlDatabase::removeDatabase(GeneratorConnection);
}

int Generator::prepare(const QString& sql)
{
    auto statement = std::make_unique<QSqlQuery>(QSqlDatabase::database(GeneratorConnection, false));
    if (!statement->prepare(sql))
        fail(statement->lastError().text());
    m_statements.push_back(std::move(statement));
    return static_cast<int>(m_statements.size()) - 1;
}

void Generator::run(int statement, const QVariantList& values)
{
    QSqlQuery& query = *m_statements.at(static_cast<size_t>(statement));
    for (const QVariant& value : values)
        query.addBindValue(value);
    if (!query.exec())
        fail(query.lastError().text());
}

void Generator::commit()
{
    if (!QSqlDatabase::database(GeneratorConnection, false).commit())
        fail(QStringLiteral("the generated accounts could not be committed"));
}

double median(std::vector<double> times)
{
    if (times.empty())
        fail(QStringLiteral("nothing was measured"));
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

double milliseconds(const QElapsedTimer& timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

double runSqlite3(const QString& file, const QString& script)
{
    QProcess sqlite3;
    QElapsedTimer timer;
    timer.start();
    sqlite3.start(QStringLiteral("sqlite3"), {file});
    if (!sqlite3.waitForStarted())
        fail(QStringLiteral("the sqlite3 shell is not installed"));
    sqlite3.write(script.toUtf8());
    sqlite3.closeWriteChannel();
    sqlite3.waitForFinished(-1);
    const double ms = milliseconds(timer);
    if (sqlite3.exitCode() != 0)
        fail(QStringLiteral("sqlite3: ") + QString::fromLocal8Bit(sqlite3.readAllStandardError()));
    return ms;
}

QString sqlite3Value(const QString& file, const QString& query)
{
    QProcess sqlite3;
    sqlite3.start(QStringLiteral("sqlite3"), {file, query});
    sqlite3.waitForFinished(-1);
    return QString::fromUtf8(sqlite3.readAllStandardOutput()).trimmed();
}

double peakMemoryMiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    }
    return 0;
}

void report(const QString& what, double programMs, double floorMs)
{
    QTextStream(stdout) << QStringLiteral("  %1  program %2 ms, floor %3 ms, ratio %4")
                               .arg(what, -34)
                               .arg(programMs, 9, 'f', 1)
                               .arg(floorMs, 9, 'f', 1)
                               .arg(programMs / floorMs, 6, 'f', 2)
                        << Qt::endl;
}

} // namespace bench
