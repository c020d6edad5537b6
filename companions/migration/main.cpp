// The migration tool: the program writes it out as "migration.exe" beside itself,
// starts it and ends. It moves the users the FTP server kept in its own INI file
// into the accounts database; each build reads one generation of that file.
#include "MigrationWindow.h"

#include "platform/DateForm.h"
#include "platform/QtPrompter.h"
#include "platform/SettingsStore.h"
#include "services/AppInfo.h"

#include <QApplication>
#include <QIcon>

namespace {

constexpr migration::Generation BuiltGeneration =
    QUILLMERE_MIGRATION_GENERATION == 2 ? migration::Generation::V2 : migration::Generation::V4;

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(MigrationWindow::caption());
    QApplication::setApplicationVersion(appinfo::versionText());
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/vantrel.svg")));

    // The tool only reads the settings that Quillmere's configuration window writes;
    // the one it may write is the installation's date form, if no process took it yet.
    SettingsStore settings({}, SettingsStore::defaultFilePath(), SettingsStore::Access::ReadOnly);
    SettingsStore dateSettings({}, SettingsStore::defaultFilePath());
    const DateForm dates = DateForm::forInstallation(dateSettings);
    QtPrompter prompter;
    MigrationWindow window(BuiltGeneration, settings, dates, prompter);
    switch (window.prepare()) {
    case MigrationWindow::Preparation::Cancelled:
        return 0;
    case MigrationWindow::Preparation::Failed:
        return 1;
    case MigrationWindow::Preparation::Ready:
        break;
    }
    window.show();
    return QApplication::exec();
}
