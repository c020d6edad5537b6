// Measures the user page on an SQLite accounts file of 100,000 accounts, one of
// them with 1,000 directory entries:
//   popMain: filling the list and loading the first user, against the sqlite3
//            shell reading the same names in order;
//   loadUserData and a save (cmdStore_Click) of the account with 1,000 entries;
//   one keystroke in the find box over the 100,000 names (target: under 30 ms),
//            against a plain QStringList::filter of the same names;
//   the process's peak memory with the list filled.
//
// Usage: bench-userpage [folder]

#include "BenchSupport.h"

#include "accounts/UserPage.h"
#include "services/AccountSweep.h"
#include "app/AppWindows.h"
#include "app/MainWindow.h"

#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QListWidget>
#include <QTemporaryDir>
#include <QTextStream>

namespace {

using namespace bench;

constexpr int Accounts = 100000;
constexpr int Entries = 1000;
const QString BigAccount = QStringLiteral("aaa-many-entries");

void generate(const QString& file, const QString& entryFolder)
{
    Generator db(file);
    const int user = db.prepare(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, "
                                               "quota_current) VALUES (?, ?, 'secret', 1, 1, 0)"));
    for (int i = 0; i < Accounts - 1; ++i)
        db.run(user, {QStringLiteral("user%1").arg(i, 6, 10, QLatin1Char('0')), entryFolder});
    db.run(user, {BigAccount, entryFolder});
    const int entry =
        db.prepare(QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES (?, ?, 'RL', 1)"));
    for (int e = 0; e < Entries; ++e)
        db.run(entry, {BigAccount, entryFolder + QStringLiteral("/area%1").arg(e)});
    db.commit();
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTextStream out(stdout);

    QTemporaryDir scratch;
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : scratch.path();
    QDir().mkpath(folder + QStringLiteral("/ftp"));
    const QString file = folder + QStringLiteral("/userpage.db");
    out << "Generating " << Accounts << " accounts, one with " << Entries << " directory entries, in " << folder << Qt::endl;
    generate(file, folder + QStringLiteral("/ftp"));

    Context bench(folder);
    bench.useDatabase(file);
    AppWindows windows(bench.context);
    MainWindow& main = windows.main();
    UserPage& page = main.userPage();
    const double memoryBefore = peakMemoryMiB();

    QElapsedTimer timer;
    timer.start();
    page.popMain();
    const double popMainMs = milliseconds(timer);
    const double floorMs = runSqlite3(file, QStringLiteral(".output /dev/null\nselect username from users order by username;\n"));
    const int listed = main.findChild<QListWidget*>(QStringLiteral("lstUsers"))->count();
    out << "popMain: " << listed << " accounts listed, first loaded: " << main.pageState().currentUser << Qt::endl;
    report(QStringLiteral("popMain"), popMainMs, floorMs);

    timer.restart();
    page.loadUserData(BigAccount);
    const double loadMs = milliseconds(timer);
    main.pageState().currentUser = BigAccount;
    out << QStringLiteral("loadUserData of %1 entries: %2 ms").arg(Entries).arg(loadMs, 0, 'f', 1) << Qt::endl;

    timer.restart();
    page.cmdStore_Click();
    const double saveMs = milliseconds(timer);
    out << QStringLiteral("cmdStore_Click of %1 entries (1 update, 1 delete, %1 inserts, then popMain): %2 ms")
               .arg(Entries)
               .arg(saveMs, 0, 'f', 1)
        << Qt::endl;
    out << "  rows stored: " << sqlite3Value(file, QStringLiteral("select count(*) from dir_rights")) << Qt::endl;
    // Each text is typed into the box as it stands from an empty box: "u" keeps every
    // name, the longer texts narrow it; the box is cleared again between texts.
    auto* find = main.findChild<QLineEdit*>(QStringLiteral("txtFind"));
    QStringList names;
    for (int i = 0; i < Accounts - 1; ++i)
        names << QStringLiteral("user%1").arg(i, 6, 10, QLatin1Char('0'));
    for (const QString& typed : {QStringLiteral("u"), QStringLiteral("R09"), QStringLiteral("user0999"), QStringLiteral("x")}) {
        timer.restart();
        find->setText(typed);
        const double keystrokeMs = milliseconds(timer);
        const int shown = main.findChild<QListWidget*>(QStringLiteral("lstUsers"))->count();
        timer.restart();
        const QStringList plain = names.filter(typed, Qt::CaseInsensitive);
        const double plainMs = milliseconds(timer);
        out << QStringLiteral("find \"%1\": %2 accounts shown").arg(typed).arg(shown) << Qt::endl;
        report(QStringLiteral("find keystroke"), keystrokeMs, plainMs);
        timer.restart();
        find->clear();
        out << QStringLiteral("  clearing the box: %1 ms").arg(milliseconds(timer), 0, 'f', 1) << Qt::endl;
        if (plain.isEmpty() && shown > 0)
            fail(QStringLiteral("the find box shows names a plain filter does not"));
    }

    out << QStringLiteral("peak memory: %1 MiB (%2 MiB before the list was filled)").arg(peakMemoryMiB(), 0, 'f', 1).arg(memoryBefore, 0, 'f', 1)
        << Qt::endl;
    return 0;
}
