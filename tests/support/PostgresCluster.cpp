#include "PostgresCluster.h"

#include "LocalServer.h"

#include "db/Database.h"

#include <QCollator>
#include <QDir>
#include <QProcess>

#include <utility>

#include <unistd.h>

namespace {

// The newest installed version's programs.
QString findBinDir()
{
    QDir versions(QStringLiteral("/usr/lib/postgresql"));
    QStringList names = versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    QCollator numeric;
    numeric.setNumericMode(true);
    std::sort(names.begin(), names.end(), [&](const QString& a, const QString& b) { return numeric.compare(a, b) > 0; });
    for (const QString& name : names) {
        const QString bin = versions.filePath(name + QStringLiteral("/bin"));
        if (QFileInfo(bin + QStringLiteral("/initdb")).isExecutable() && QFileInfo(bin + QStringLiteral("/pg_ctl")).isExecutable())
            return bin;
    }
    return {};
}

} // namespace

std::unique_ptr<PostgresCluster> PostgresCluster::s_shared;
QString PostgresCluster::s_reason;
bool PostgresCluster::s_attempted = false;

PostgresCluster* PostgresCluster::shared()
{
    if (!std::exchange(s_attempted, true)) {
        std::unique_ptr<PostgresCluster> cluster(new PostgresCluster);
        if (cluster->start(&s_reason))
            s_shared = std::move(cluster);
    }
    return s_shared.get();
}

PostgresCluster::~PostgresCluster()
{
    if (m_running) {
        runTool(QStringLiteral("pg_ctl"), {QStringLiteral("-D"), m_root + QStringLiteral("/data"), QStringLiteral("-m"),
                                           QStringLiteral("immediate"), QStringLiteral("-w"), QStringLiteral("stop")});
    }
    if (!m_root.isEmpty())
        QDir(m_root).removeRecursively();
}

bool PostgresCluster::runTool(const QString& tool, const QStringList& arguments, QString* output) const
{
    QProcess process;
    QString program = m_binDir + QLatin1Char('/') + tool;
    QStringList args = arguments;
    // PostgreSQL's tools refuse to run as root.
    if (::geteuid() == 0) {
        args = QStringList{QStringLiteral("-u"), QStringLiteral("postgres"), QStringLiteral("--"), program} + args;
        program = QStringLiteral("runuser");
    }
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, args);
    const bool finished = process.waitForFinished(120000);
    if (output)
        *output = QString::fromLocal8Bit(process.readAll()).trimmed();
    return finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

bool PostgresCluster::start(QString* whyNot)
{
    m_binDir = findBinDir();
    m_root = localserver::makeFolder("quillmere-pg");
    if (m_binDir.isEmpty() || m_root.isEmpty()) {
        *whyNot = m_binDir.isEmpty() ? QStringLiteral("PostgreSQL is not installed here (no initdb under /usr/lib/postgresql)")
                                     : QStringLiteral("cannot make a temporary folder for PostgreSQL");
        return false;
    }
    if (::geteuid() == 0)
        QProcess::execute(QStringLiteral("chown"), {QStringLiteral("postgres:postgres"), m_root});
    QString output;
    const QString data = m_root + QStringLiteral("/data");
    if (!runTool(QStringLiteral("initdb"), {QStringLiteral("-D"), data, QStringLiteral("-A"), QStringLiteral("trust"),
                                            QStringLiteral("-U"), QStringLiteral("postgres"), QStringLiteral("-E"),
                                            QStringLiteral("UTF8"), QStringLiteral("--locale=C"), QStringLiteral("--no-sync")},
                 &output)) {
        *whyNot = QStringLiteral("initdb failed: ") + output;
        return false;
    }
    m_port = localserver::freePort();
    const QString options = QStringLiteral("-p %1 -k %2 -c listen_addresses=127.0.0.1 -c fsync=off "
                                           "-c full_page_writes=off -c synchronous_commit=off")
                                .arg(m_port)
                                .arg(m_root);
    m_running = runTool(QStringLiteral("pg_ctl"), {QStringLiteral("-D"), data, QStringLiteral("-o"), options, QStringLiteral("-l"),
                                                   m_root + QStringLiteral("/server.log"), QStringLiteral("-w"), QStringLiteral("start")},
                        &output);
    if (!m_running)
        *whyNot = QStringLiteral("pg_ctl start failed: ") + output;
    return m_running;
}

QString PostgresCluster::connectionString(const QString& database) const
{
    return QStringLiteral("Provider=PostgreSQL;Host=127.0.0.1;Port=%1;Database=%2;User ID=postgres").arg(m_port).arg(database);
}

QString PostgresCluster::createDatabase()
{
    const QString name = QStringLiteral("accounts_%1_%2").arg(::getpid()).arg(++m_databases);
    Database admin(connectionString(QStringLiteral("postgres")));
    if (!admin.open() || !admin.execute(QStringLiteral("CREATE DATABASE ") + name))
        return {};
    return name;
}
