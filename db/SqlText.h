#pragma once

#include <QString>

// The one way a value becomes SQL text. Every text value passes through
// sqlQuote, whatever its source; every number through sqlNumber.
QString sqlQuote(const QString& text);
// A number in SQL's form: a decimal point whatever the regional settings.
QString sqlNumber(double value);
QString sqlNumber(qint64 value);
