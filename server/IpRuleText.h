#pragma once

#include <QString>

// What the IP rule dialogs make of the text in their entry box when the focus
// leaves it. Both an accepted text and a wrong number of parts make the computer
// beep; a part above 255 is refused without a sound.
enum class IpTextVerdict { Empty, Accepted, RejectedWithBeep, RejectedSilently };

// Judges an entered rule: exactly three "." and four parts whose leading numbers
// lie in 0..255. A part is read as far as it is a number, so "0/8" counts as 0
// and an empty part as 0; anything after the number is not judged.
IpTextVerdict validateIpText(const QString& text);
