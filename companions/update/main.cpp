// The updater: the program writes it out as "update.exe" beside itself, starts it
// and ends. It waits for the program to end, puts the signed package in its place
// (keeping the old program as "Vantrel.bak") and starts the new program. An installed
// program starts the package's updater instead and names its own folder as the one
// argument: "update <program folder>".
// QUILLMERE_UPDATER_UNATTENDED=1 leaves out the window, for scripted use.

#include "UpdateInstaller.h"
#include "UpdaterWindow.h"
#include "UpdateKey.h"

#include "platform/InstanceLock.h"

#include <QApplication>
#include <QDir>
#include <QProcess>
#include <QTextStream>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    const bool unattended = qEnvironmentVariable("QUILLMERE_UPDATER_UNATTENDED") == QLatin1String("1");
    const QByteArray publicKey = QByteArray::fromHex(QUILLMERE_UPDATE_PUBLIC_KEY_HEX);
    // The updater is carried inside the program it replaces, so its own version is the running one.
    const QStringList arguments = QCoreApplication::arguments();
    const QString folder = arguments.size() > 1 ? arguments.at(1) : QCoreApplication::applicationDirPath();
    const UpdateInstaller installer(folder, publicKey, updates::ownVersion());

    UpdaterWindow window;
    if (!unattended)
        window.show();
    const auto stop = [&](const QString& why) {
        QTextStream(stderr) << "update: " << why << Qt::endl;
        if (unattended)
            return 1;
        window.showFailure(why);
        QApplication::exec();
        return 1;
    };

    window.showProgress(QStringLiteral("Waiting for Quillmere to close..."));
    InstanceLock lock;
    if (!installer.waitForProgramEnd(lock, std::chrono::seconds(60)))
        return stop(QStringLiteral("Quillmere is still running, so it cannot be updated. Close it and run the update again."));

    window.showProgress(QStringLiteral("Installing the new version..."));
    const UpdateInstaller::Outcome outcome = installer.install();
    if (!outcome.installed)
        return stop(outcome.message);

    window.showProgress(QStringLiteral("Starting the new version..."));
    if (!QProcess::startDetached(installer.programPath(), {}, folder))
        return stop(QStringLiteral("The new version is installed, but \"%1\" could not be started.").arg(installer.programPath()));
    return 0;
}
