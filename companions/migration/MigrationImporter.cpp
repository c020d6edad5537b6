#include "MigrationImporter.h"

namespace migration {

MigrationImporter::MigrationImporter(QString connectionString) : m_connectionString(std::move(connectionString)) {}

std::optional<QStringList> MigrationImporter::existingNames(const MigrationSource&, QString* error) const
{
    if (error)
        *error = QStringLiteral("The import is not built yet.");
    return std::nullopt;
}

ImportReport MigrationImporter::run(const MigrationSource&, const ImportOptions&, const Progress&) const
{
    ImportReport report;
    report.stoppedBy = QStringLiteral("The import is not built yet.");
    return report;
}

QString summaryText(const MigrationSource&, const ImportReport& report)
{
    return report.stoppedBy;
}

} // namespace migration
