#pragma once

#include <QVariant>

// Whether a stored on/off column (disable_user and the like) is on. NULL is off;
// any other value is on unless it reads as the number 0, so that text nobody can
// read as a number ('true', 'yes') counts as set rather than being ignored.
bool storedFlagIsSet(const QVariant& value);
