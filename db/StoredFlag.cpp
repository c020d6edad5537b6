#include "db/StoredFlag.h"

#include <QString>

bool storedFlagIsSet(const QVariant& value)
{
    if (value.isNull())
        return false;
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    bool isNumber = false;
    const double number = value.toString().trimmed().toDouble(&isNumber);
    return !isNumber || number != 0.0;
}
