#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// Vantrel run in one of its command-line modes, as a cron job or a shell over SSH
// runs it: no display, no Qt platform named, the settings file of a test.
struct ConsoleRun
{
    bool finished = false;
    int exitCode = -1;
    QString out;
    QString errors;
    QStringList lines() const { return out.split(QLatin1Char('\n'), Qt::SkipEmptyParts); }
};

inline ConsoleRun runVantrel(const QStringList& arguments, const QString& settingsFile, const QByteArray& input = {})
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(QLatin1String(name));
    environment.insert(QStringLiteral("QUILLMERE_SETTINGS"), settingsFile);
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(QUILLMERE_BIN_DIR "/Vantrel"), arguments);
    process.write(input);
    process.closeWriteChannel();
    ConsoleRun run;
    run.finished = process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit;
    run.exitCode = process.exitCode();
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.errors = QString::fromUtf8(process.readAllStandardError());
    return run;
}
