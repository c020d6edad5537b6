// The stored connection string is typed by hand or written by other tools: any
// text must parse, and a value put in must be read back.
#include "db/ConnectionString.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const ConnectionString parts = ConnectionString::parse(text);
    (void)parts.value(QStringLiteral("provider"));
    (void)parts.value({"data source", "initial catalog", "user id"});

    // A plain value written into any string reads back as written.
    const QString written = ConnectionString::withValue(text, QStringLiteral("Initial Catalog"), QStringLiteral("Quillmere"));
    const ConnectionString again = ConnectionString::parse(written);
    // Quotes may hide a key inside a value, which the plain replacement does not look into.
    const bool quoted = text.contains(QLatin1Char('"')) || text.contains(QLatin1Char('\''));
    if (!quoted && again.value(QStringLiteral("initial catalog")) != QLatin1String("Quillmere"))
        std::abort();
    return 0;
}
