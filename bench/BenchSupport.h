#pragma once

#include "platform/Clock.h"
#include "platform/DateForm.h"
#include "platform/FocusKeySender.h"
#include "platform/InstanceLock.h"
#include "platform/ProcessControl.h"
#include "platform/ProgramStarter.h"
#include "platform/Prompter.h"
#include "platform/SettingsStore.h"
#include "platform/SystemTrayIcon.h"
#include "services/AppContext.h"
#include "services/StatusLog.h"

#include <QElapsedTimer>
#include <QSqlQuery>
#include <QString>
#include <QVariantList>

#include <memory>
#include <vector>

// What the benchmarks share: a whole program context whose doubles stop the
// benchmark if the program asks anything, and the measuring helpers.
namespace bench {

[[noreturn]] void fail(const QString& why);

// A benchmark has nobody to answer: any prompt means something went wrong.
class RefusingPrompter final : public Prompter
{
public:
    prompt::Answer message(const prompt::Message& message) override;
    QString input(const prompt::Input& input) override;
    QString chooseFolder(const prompt::FolderChoice& choice) override;
    QString chooseFile(const prompt::FileChoice& choice) override;
    void runModal(QWidget* window) override;
    void beep() override {}
};

class NoStarter final : public ProgramStarter
{
public:
    bool startProgram(const QString&, const QStringList&) override { return false; }
    bool openDocument(const QString&) override { return false; }
    bool openUrl(const QUrl&) override { return false; }
};

class NoEnd final : public ProcessControl
{
public:
    void endProcess(int) override { fail(QStringLiteral("the program tried to end")); }
};

// A program context on the settings file of a benchmark folder.
struct Context
{
    explicit Context(const QString& folder);
    void useDatabase(const QString& sqliteFile);

    SystemClock clock;
    DateForm dates{DateForm::ofLocale(QLocale())};
    StatusLog log;
    SettingsStore settings;
    RefusingPrompter prompter;
    SystemTrayIcon tray;
    NoStarter starter;
    NoEnd process;
    InstanceLock lock;
    FocusKeySender keys;
    AppContext context;
};

// A fresh SQLite accounts file from the template.
void freshDatabase(const QString& file);

// Fills a fresh accounts file from the template in one transaction; any failure
// stops the benchmark.
class Generator
{
public:
    explicit Generator(const QString& file);
    ~Generator();
    Generator(const Generator&) = delete;
    Generator& operator=(const Generator&) = delete;

    // A prepared statement, for run().
    int prepare(const QString& sql);
    void run(int statement, const QVariantList& values);
    void commit();

private:
    std::vector<std::unique_ptr<QSqlQuery>> m_statements;
};

// The middle of the measured times.
double median(std::vector<double> times);
// Runs a script through the sqlite3 shell and returns the milliseconds it took.
double runSqlite3(const QString& file, const QString& script);
QString sqlite3Value(const QString& file, const QString& query);
// The process's peak resident memory in MiB (VmHWM).
double peakMemoryMiB();
double milliseconds(const QElapsedTimer& timer);
// One result line: the program's time, the floor's, and their ratio.
void report(const QString& what, double programMs, double floorMs);

} // namespace bench
