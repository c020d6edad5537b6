#pragma once

#include <QString>

#include <optional>

// Numbers as the limit dialogs show and store them: typed with a point whatever
// the regional settings (the key filter lets no other separator through), shown
// without needless decimals, and rounded half to even where a value is shown
// rounded.
namespace numbers {

// The value of a typed number; nullopt for anything that is not one ("1.2.3",
// "5x"). Blanks around it are ignored; empty text is not a number either.
std::optional<double> read(const QString& text);
// A whole number, as the integer columns need; nullopt otherwise.
std::optional<qint64> readWhole(const QString& text);
// The leading number of a text, as a unit conversion reads it: "12abc" is 12, "" is 0.
double leading(const QString& text);

double roundHalfEven(double value, int decimals);
// A number in the plain form the dialogs show: the shortest text without an
// exponent that reads back to the same number ("5", "0.954", "0.95367431640625").
QString show(double value);

// Whether a number fits the kinds of numeric column the accounts database has.
bool fitsInteger(double value); // int: a whole number of 32 bits
bool fitsNumeric(double value); // numeric(18,0) on SQL Server and PostgreSQL
bool fitsFloat(double value);   // float: any finite number

} // namespace numbers
