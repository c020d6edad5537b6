// Measures one log-in decision of the authentication handler, from process start
// to "end", with 100,000 accounts in an SQLite accounts database, against two
// floors: a program that answers a fixed reply, and the same with Qt started.
//
// Usage: bench-handler [folder]

#include "BenchSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>

#include <unistd.h>
#include <vector>

namespace {

using namespace bench;

constexpr int Accounts = 100000;
constexpr int Runs = 60;

void generate(const QString& file, const QString& home)
{
    Generator db(file);
    const int user = db.prepare(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, "
                                               "quota_current, use_quota, quota_max) VALUES (?, ?, 'secret', 1, 1, 0, 1, 1048576)"));
    for (int i = 0; i < Accounts; ++i)
        db.run(user, {QStringLiteral("user%1").arg(i, 6, 10, QLatin1Char('0')), home});
    db.commit();
}

// The median time of a program's runs, from start to exit, in milliseconds.
double medianRun(const QString& program, const QProcessEnvironment& environment, QByteArray* lastOutput)
{
    std::vector<double> times;
    for (int run = 0; run < Runs; ++run) {
        QProcess process;
        process.setProcessEnvironment(environment);
        QElapsedTimer timer;
        timer.start();
        process.start(program, {});
        process.waitForFinished(-1);
        times.push_back(milliseconds(timer));
        if (lastOutput)
            *lastOutput = process.readAllStandardOutput();
    }
    return median(times);
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTemporaryDir scratch;
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : scratch.path();
    QDir().mkpath(folder + QStringLiteral("/home"));
    // The handler refuses a home folder of root's; as root, the folder goes to "nobody".
    if (::geteuid() == 0)
        QProcess::execute(QStringLiteral("chown"), {QStringLiteral("65534:65534"), folder + QStringLiteral("/home")});
    const QString file = folder + QStringLiteral("/handler.db");
    out << "Generating " << Accounts << " accounts in " << folder << Qt::endl;
    generate(file, folder + QStringLiteral("/home"));

    const QString settings = folder + QStringLiteral("/handler.ini");
    SettingsStore(nullptr, settings).saveConnectionString(QStringLiteral("Provider=SQLite;Data Source=") + file);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QUILLMERE_SETTINGS"), settings);
    environment.insert(QStringLiteral("AUTHD_ACCOUNT"), QStringLiteral("user077777"));
    environment.insert(QStringLiteral("AUTHD_PASSWORD"), QStringLiteral("secret"));
    environment.insert(QStringLiteral("AUTHD_REMOTE_IP"), QStringLiteral("127.0.0.1"));

    const QString bin = QCoreApplication::applicationDirPath();
    QByteArray reply;
    const double handlerMs = medianRun(bin + QStringLiteral("/gatewick"), environment, &reply);
    const double plainMs = medianRun(bin + QStringLiteral("/bench-fixed-handler"), environment, nullptr);
    const double qtMs = medianRun(bin + QStringLiteral("/bench-fixed-qt-handler"), environment, nullptr);
    out << "reply of the handler: " << QString::fromUtf8(reply).replace(QLatin1Char('\n'), QLatin1Char(' ')) << Qt::endl;
    out << QStringLiteral("median of %1 runs each").arg(Runs) << Qt::endl;
    report(QStringLiteral("log-in decision vs plain process"), handlerMs, plainMs);
    report(QStringLiteral("log-in decision vs Qt process"), handlerMs, qtMs);
    return 0;
}
