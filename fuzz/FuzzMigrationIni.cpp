// The migration tools read whatever the administrator's INI file holds: any bytes
// must give a clear refusal or accounts whose every value fits its column.
#include "companions/migration/IniUsers.h"
#include "platform/DateForm.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("ServUDaemon.ini"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        std::abort();
    file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    file.close();

    // Any installation form will do: what is fuzzed is the reading of the file.
    static const DateForm dates(QStringLiteral("dd.MM.yyyy"));
    for (const auto generation : {migration::Generation::V2, migration::Generation::V4}) {
        const migration::ReadOutcome outcome = migration::readIniUsers(path, generation, dates);
        if (!outcome.ok) {
            if (outcome.error.isEmpty())
                std::abort();
            continue;
        }
        for (const migration::MigratedAccount& account : outcome.source.accounts) {
            if (account.name.isEmpty() || account.name.size() > 50 || account.comments.size() > 256)
                std::abort();
            if (account.maintenance && account.maintenance->size() > 8)
                std::abort();
            for (const QString& rule : account.deniedIps)
                if (rule.size() > 15)
                    std::abort();
        }
        for (const QString& rule : outcome.source.globalDeniedIps)
            if (rule.size() > 15)
                std::abort();
    }
    return 0;
}
