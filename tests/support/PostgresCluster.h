#pragma once

#include <QString>

#include <memory>

// A throwaway PostgreSQL cluster for the tests: initdb and pg_ctl (as the
// postgres user through runuser when running as root), on a free loopback port,
// with its socket and data in a temporary folder. One cluster serves a whole
// test executable; it is stopped and removed when the executable ends.
class PostgresCluster
{
public:
    // The running cluster, started on first use; nullptr when PostgreSQL cannot
    // be started here, with the reason in unavailableReason().
    static PostgresCluster* shared();
    static QString unavailableReason() { return s_reason; }
    static void shutdownShared() { s_shared.reset(); }

    // Creates an empty database and returns its name.
    QString createDatabase();
    QString connectionString(const QString& database) const;
    int port() const { return m_port; }

    ~PostgresCluster();

private:
    PostgresCluster() = default;
    bool start(QString* whyNot);
    bool runTool(const QString& tool, const QStringList& arguments, QString* output = nullptr) const;

    // The one cluster of the test executable, and why it could not start.
    static std::unique_ptr<PostgresCluster> s_shared;
    static QString s_reason;
    static bool s_attempted;

    QString m_binDir;
    QString m_root;
    int m_port = 0;
    bool m_running = false;
    int m_databases = 0;
};
