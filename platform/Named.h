#pragma once

#include <QString>

// Gives a widget the object name that tests and style sheets find it by, and returns it,
// so that a control is made and named in one statement.
template <typename T> T* named(T* widget, const char* objectName)
{
    widget->setObjectName(QLatin1String(objectName));
    return widget;
}
