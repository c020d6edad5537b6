#include "shell/ProFtpdConfigMode.h"

#include "platform/SettingsStore.h"
#include "server/ProFtpdConfig.h"
#include "shell/AppInfo.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstring>

namespace proftpdmode {

std::optional<QString> requestedFile(int argc, char* argv[])
{
    static constexpr const char* Option = "--proftpd-config";
    const std::size_t length = std::strlen(Option);
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], Option) == 0)
            return i + 1 < argc ? QString::fromLocal8Bit(argv[i + 1]) : QString();
        // The "--option=value" form.
        if (std::strncmp(argv[i], Option, length) == 0 && argv[i][length] == '=')
            return QString::fromLocal8Bit(argv[i] + length + 1);
    }
    return std::nullopt;
}

int run(int argc, char* argv[], const QString& file)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(appinfo::Title);
    QTextStream errors(stderr);
    if (file.trimmed().isEmpty()) {
        errors << "--proftpd-config needs the path of the file to write.\n";
        return 2;
    }
    SettingsStore settings({}, SettingsStore::defaultFilePath(), SettingsStore::Access::ReadOnly);
    const QString connection = settings.readConnectionString();
    if (connection.trimmed().isEmpty()) {
        errors << "No accounts database is configured (" << settings.filePath() << ").\n";
        return 1;
    }
    QString error;
    if (!proftpd::writeConfiguration(connection, settings.getRegSettings(QStringLiteral("ftp_directory")), file, &error)) {
        errors << error << '\n';
        return 1;
    }
    return 0;
}

} // namespace proftpdmode
