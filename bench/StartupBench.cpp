// Measures the database work of a start-up on an SQLite accounts file of 100,000
// accounts with five directory entries each, against the floor: the same result
// reached by the sqlite3 shell in one transaction.
//
//   (a) start-up on fresh data: sweep (10,000 expired, 10,000 due to be disabled),
//       path lower-casing (mixed case everywhere), reading the user list;
//   (b) a sweep with nothing due over 100,000 dated accounts;
//   (c) a second start-up right after (a): lower-casing must touch no rows.
//
// Usage: bench-startup [folder]   (default: a folder under the system temp folder)

#include "BenchSupport.h"

#include "services/AccountSweep.h"
#include "services/Session.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>


namespace {

using namespace bench;

constexpr int Accounts = 100000;
constexpr int EntriesPerAccount = 5;

QTextStream out(stdout);

enum class Dates { SomeDue, NoneDue };

// Accounts user000000..user099999; every tenth expired (or, with NoneDue, expiring
// next century), every tenth plus one due to be disabled; paths in mixed case.
void generate(const QString& file, Dates dates)
{
    Generator db(file);
    const int user = db.prepare(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, "
                                               "quota_current, Expires, DisableOn) VALUES (?, ?, 'secret', 1, 1, 0, ?, ?)"));
    const int entry =
        db.prepare(QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES (?, ?, 'RWL', 1)"));
    const QString due = dates == Dates::SomeDue ? QStringLiteral("1/1/2020") : QStringLiteral("12/31/2099");
    for (int i = 0; i < Accounts; ++i) {
        const QString name = QStringLiteral("user%1").arg(i, 6, 10, QLatin1Char('0'));
        db.run(user, {name, QStringLiteral("C:\\FTP\\Users\\") + name.toUpper(), i % 10 == 0 ? due : QString(),
                      i % 10 == 1 ? due : QString()});
        for (int e = 0; e < EntriesPerAccount; ++e)
            db.run(entry, {name, QStringLiteral("D:\\Shared\\Area%1\\%2").arg(e).arg(name.toUpper())});
    }
    db.commit();
}

// What a start-up leaves behind, to show that program and floor reached the same result.
QString fingerprint(const QString& file)
{
    return sqlite3Value(file, QStringLiteral("select (select count(*) from users) || ' users, ' || "
                                             "(select count(*) from dir_rights) || ' entries, ' || "
                                             "(select count(*) from users where disable_user=1) || ' disabled, ' || "
                                             "((select count(*) from users where homedir<>lower(homedir)) + "
                                             "(select count(*) from dir_rights where directory<>lower(directory))) || ' upper-case paths'"));
}

// SQLite's file change counter: unchanged when nothing was written.
quint32 changeCounter(const QString& file)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray header = f.read(28);
    return (quint32(quint8(header[24])) << 24) | (quint32(quint8(header[25])) << 16) | (quint32(quint8(header[26])) << 8)
        | quint32(quint8(header[27]));
}

int readUserList(AppContext& context)
{
    Session session(context);
    if (!session.open())
        fail(QStringLiteral("cannot open the database"));
    Rows rows = session.select(QStringLiteral("select username from users order by username"));
    int count = 0;
    while (rows.next()) {
        rows.text(QStringLiteral("username"));
        ++count;
    }
    return count;
}

const QString ListScript = QStringLiteral(".output /dev/null\nselect username from users order by username;\n");
const QString SweepReadScript = QStringLiteral(".output /dev/null\nselect username, expires from users where expires <> '';\n"
                                               "select username, disableon from users where disableon <> '';\n");
const QString LowerScript =
    QStringLiteral("UPDATE users SET homedir = lower(homedir) WHERE homedir NOT LIKE '/%' AND homedir <> lower(homedir);\n"
                   "UPDATE dir_rights SET directory = lower(directory) WHERE directory NOT LIKE '/%' AND directory <> lower(directory);\n");

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QLocale::setDefault(QLocale(QStringLiteral("en_US")));

    QTemporaryDir scratch;
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : scratch.path();
    QDir().mkpath(folder);
    const QString programFile = folder + QStringLiteral("/startup.db");
    const QString floorFile = folder + QStringLiteral("/startup-floor.db");
    const QString quietFile = folder + QStringLiteral("/nothing-due.db");
    const QString quietFloorFile = folder + QStringLiteral("/nothing-due-floor.db");

    Context bench(folder);
    AppContext& context = bench.context;
    SettingsStore& settings = bench.settings;

    out << "Generating " << Accounts << " accounts with " << EntriesPerAccount << " directory entries each in " << folder
        << Qt::endl;
    generate(programFile, Dates::SomeDue);
    QFile::copy(programFile, floorFile);
    generate(quietFile, Dates::NoneDue);
    QFile::copy(quietFile, quietFloorFile);

    // (a) The first start-up.
    settings.saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=") + programFile);
    QElapsedTimer timer;
    timer.start();
    accountSweep(context);
    const double sweepMs = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    lowerCaseStoredPaths(context);
    const double lowerMs = static_cast<double>(timer.nsecsElapsed()) / 1e6 - sweepMs;
    const int listed = readUserList(context);
    const double startupMs = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    const double startupFloorMs = runSqlite3(
        floorFile, QStringLiteral("BEGIN;\n"
                                  "DELETE FROM blocked_ips_by_user WHERE username IN (SELECT username FROM users WHERE expires = '1/1/2020');\n"
                                  "DELETE FROM dir_rights WHERE username IN (SELECT username FROM users WHERE expires = '1/1/2020');\n"
                                  "DELETE FROM file_rights WHERE username IN (SELECT username FROM users WHERE expires = '1/1/2020');\n"
                                  "DELETE FROM ratio_free_files WHERE username IN (SELECT username FROM users WHERE expires = '1/1/2020');\n"
                                  "DELETE FROM users WHERE expires = '1/1/2020';\n"
                                  "UPDATE users SET disable_user=1, disableon='' WHERE disableon = '1/1/2020';\n")
            + LowerScript + QStringLiteral("COMMIT;\n") + ListScript);
    out << "(a) start-up on fresh data: " << listed << " accounts listed" << Qt::endl;
    out << "    program: " << fingerprint(programFile) << Qt::endl;
    out << "    floor:   " << fingerprint(floorFile) << Qt::endl;
    out << QStringLiteral("    sweep %1 ms, lower-casing %2 ms, list %3 ms")
               .arg(sweepMs, 0, 'f', 1)
               .arg(lowerMs, 0, 'f', 1)
               .arg(startupMs - sweepMs - lowerMs, 0, 'f', 1)
        << Qt::endl;
    report(QStringLiteral("sweep + lower-casing + list"), startupMs, startupFloorMs);

    // (b) A sweep with nothing due.
    settings.saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=") + quietFile);
    timer.restart();
    accountSweep(context);
    const double quietMs = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    const double quietFloorMs = runSqlite3(quietFloorFile, SweepReadScript);
    out << "(b) sweep with nothing due: " << fingerprint(quietFile) << Qt::endl;
    report(QStringLiteral("sweep"), quietMs, quietFloorMs);

    // (c) A second start-up right after the first.
    settings.saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=") + programFile);
    const quint32 before = changeCounter(programFile);
    timer.restart();
    accountSweep(context);
    const double secondSweepMs = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    lowerCaseStoredPaths(context);
    const double secondLowerMs = static_cast<double>(timer.nsecsElapsed()) / 1e6 - secondSweepMs;
    readUserList(context);
    const double secondMs = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    const quint32 after = changeCounter(programFile);
    const double secondFloorMs = runSqlite3(floorFile, QStringLiteral("BEGIN;\n") + SweepReadScript + LowerScript
                                                           + QStringLiteral("COMMIT;\n") + ListScript);
    const double lowerFloorMs = runSqlite3(floorFile, QStringLiteral("BEGIN;\n") + LowerScript + QStringLiteral("COMMIT;\n"));
    out << "(c) second start-up: file change counter " << before << " -> " << after
        << (before == after ? " (nothing written)" : " (rows were written)") << Qt::endl;
    report(QStringLiteral("lower-casing"), secondLowerMs, lowerFloorMs);
    report(QStringLiteral("sweep + lower-casing + list"), secondMs, secondFloorMs);
    return 0;
}
