// The ProFTPD configuration at scale: writing it for 1,000 and 10,000 accounts with
// five directory entries each, in two shapes of data, ProFTPD re-reading the 10,000-account file, and a
// log-in after that, against a floor: the same ProFTPD with a hand-written
// configuration for one account. Runs as root, with ProFTPD unpacked into the
// build tree (scripts/fetch-ftp-servers.sh).
//
// Usage: bench-proftpd [ACCOUNTS...]   (1000 10000 when none are named)

#include "BenchSupport.h"
#include "ProFtpdServer.h"

#include "server/ProFtpdConfig.h"
#include "server/ProFtpdSync.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTextStream>

#include <vector>

namespace {

using namespace bench;

constexpr int LoginRuns = 5;

QString accountName(int index)
{
    return QStringLiteral("user%1").arg(index, 5, 10, QLatin1Char('0'));
}

// Two shapes of account data: entries that differ from account to account only by
// the account's own name (the common case of one home folder per account), and the
// same with one more folder of each account's own under a name that is not its account
// name, and rights that vary, so every account needs sections of its own.
enum class Shape { Shared, OwnFolders };

QString entryPath(const QString& home, const QString& name, int index, int entry, Shape shape)
{
    if (entry == 0)
        return home;
    if (entry == 4 && shape == Shape::OwnFolders)
        return home + QStringLiteral("/private/f%1").arg(index);
    return home + QStringLiteral("/area%1/%2").arg(entry).arg(name);
}

QString entryRights(int index, int entry, Shape shape)
{
    static const QStringList varied = {QStringLiteral("RWAMLCD"), QStringLiteral("RL"), QStringLiteral("RWL"),
                                       QStringLiteral("L"), QStringLiteral("RWAL"), QStringLiteral("RWMLCD")};
    if (shape == Shape::OwnFolders && entry >= 2)
        return varied[(index + entry) % varied.size()];
    return entry % 2 ? QStringLiteral("RL") : QStringLiteral("RWAMLCD");
}

void generate(const QString& file, const QString& home, int accounts, Shape shape)
{
    Generator db(file);
    const int user = db.prepare(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, "
                                               "quota_current) VALUES (?, ?, 'secret', 1, 1, 0)"));
    const int entry =
        db.prepare(QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES (?, ?, ?, ?)"));
    for (int i = 0; i < accounts; ++i) {
        const QString name = accountName(i);
        db.run(user, {name, home});
        for (int e = 0; e < 5; ++e)
            db.run(entry, {name, entryPath(home, name, i, e, shape), entryRights(i, e, shape), e % 2});
    }
    db.commit();
}

double loginMilliseconds(int port, const QString& user)
{
    QElapsedTimer timer;
    timer.start();
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
    if (!socket.waitForConnected(5000))
        fail(QStringLiteral("no connection"));
    QByteArray seen;
    const auto await = [&](const QByteArray& code) {
        while (!seen.contains("\n" + code + " ") && !seen.startsWith(code + " ")) {
            if (!socket.waitForReadyRead(120000))
                fail(QStringLiteral("no reply %1: %2").arg(QString::fromLatin1(code), QString::fromUtf8(seen)));
            seen += socket.readAll();
        }
    };
    await("220");
    socket.write("USER " + user.toUtf8() + "\r\n");
    await("331");
    socket.write("PASS secret\r\n");
    await("230");
    const double elapsed = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    socket.write("QUIT\r\n");
    socket.waitForReadyRead(2000);
    return elapsed;
}

double medianLogin(ProFtpdServer& server, const QString& user)
{
    std::vector<double> runs;
    for (int i = 0; i < LoginRuns; ++i) {
        runs.push_back(loginMilliseconds(server.port(), user));
        // The account holds one session at a time, and the server rests a while after
        // each session ends before it takes the next connection: let both pass, so
        // that only the log-in is measured.
        QElapsedTimer pause;
        pause.start();
        while (pause.elapsed() < 600)
            QCoreApplication::processEvents();
    }
    return median(runs);
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    if (const QString why = ProFtpdServer::unavailableReason(); !why.isEmpty())
        fail(why);
    QTemporaryDir dir;
    const QString root = dir.path();
    QProcess::execute(QStringLiteral("chmod"), {QStringLiteral("o+rx"), root});
    const QString home = root + QStringLiteral("/ftp");
    QDir().mkpath(home);
    QProcess::execute(QStringLiteral("chown"), {QStringLiteral("65534:65534"), home});
    const QString database = root + QStringLiteral("/accounts.db");
    const QString connection = QStringLiteral("Provider=SQLite;Data Source=") + database;
    const QString include = root + QStringLiteral("/quillmere.conf");

    QList<int> sizes;
    for (const QString& argument : app.arguments().mid(1)) {
        bool ok = false;
        const int accounts = argument.toInt(&ok);
        if (!ok || accounts < 1 || accounts > 1000000)
            fail(QStringLiteral("not a number of accounts: ") + argument);
        sizes << accounts;
    }
    if (sizes.isEmpty())
        sizes = {1000, 10000};
    for (int accounts : sizes) {
        for (const Shape shape : {Shape::Shared, Shape::OwnFolders}) {
            generate(database, home, accounts, shape);
            QProcess::execute(QStringLiteral("chmod"), {QStringLiteral("o+r"), database});
            const QString label = QStringLiteral("%1 accounts x 5 entries, %2")
                                      .arg(accounts)
                                      .arg(shape == Shape::Shared ? QStringLiteral("entries shared but for the name")
                                                                  : QStringLiteral("a folder of each account's own"));
            QElapsedTimer timer;
            timer.start();
            QString error;
            if (!proftpd::writeConfiguration(connection, home, include, &error))
                fail(error);
            out << label << ":\n  write: " << timer.elapsed() << " ms (" << QFile(include).size() / 1024 << " KiB)\n";
            out.flush();

            ProFtpdServer server;
            QString whyNot;
            timer.restart();
            if (!server.start(root + QStringLiteral("/run%1-%2").arg(accounts).arg(int(shape)), include, &whyNot)) {
                out << "  ProFTPD did not start within 60 s\n";
                out.flush();
                continue;
            }
            out << "  start: " << timer.elapsed() << " ms\n";
            const int before = server.reloads();
            timer.restart();
            if (const QString failed = proftpd::reloadServer(server.pidFile()); !failed.isEmpty())
                fail(failed);
            if (!server.awaitReload(before))
                fail(QStringLiteral("no reload"));
            out << "  reload: " << timer.elapsed() << " ms\n";
            out << "  log-in after the reload (median of " << LoginRuns << "): " << medianLogin(server, accountName(accounts - 1))
                << " ms\n";
            out.flush();
        }
    }

    QString whyNot;
    // The floor: one account, written by hand.
    const QString floorConfig = root + QStringLiteral("/floor.conf");
    QFile floor(floorConfig);
    if (!floor.open(QIODevice::WriteOnly))
        fail(floorConfig);
    generate(database, home, sizes.last(), Shape::Shared);
    floor.write(QStringLiteral("LoadModule mod_sql.c\nLoadModule mod_sql_sqlite.c\nAuthOrder mod_sql.c\nSQLBackend sqlite3\n"
                               "SQLConnectInfo %1\nSQLAuthTypes Plaintext\nSQLAuthenticate users\nSQLMinUserUID 1\nSQLMinUserGID 1\n"
                               "SQLUserInfo custom:/one/none\n"
                               "SQLNamedQuery one SELECT \"username, password, 65534, 65534, homedir, '/bin/sh' FROM users WHERE username = '%U'\"\n"
                               "SQLNamedQuery none SELECT \"username, password, 65534, 65534, homedir, '/bin/sh' FROM users WHERE 1 = 0\"\n")
                    .arg(database)
                    .toUtf8());
    floor.close();
    ProFtpdServer floorServer;
    if (!floorServer.start(root + QStringLiteral("/floor-run"), floorConfig, &whyNot))
        fail(whyNot);
    out << "log-in, hand-written one-account configuration (median of " << LoginRuns
        << "): " << medianLogin(floorServer, accountName(sizes.last() - 1)) << " ms\n";
    return 0;
}
