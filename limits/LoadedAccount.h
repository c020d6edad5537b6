#pragma once

#include <QString>

// A limits dialog holds an account only once a load has read its row; after a load
// that failed, OK says this and writes nothing.
inline QString notLoadedText()
{
    return QStringLiteral("The account's values could not be read, so nothing was saved.\r\n"
                          "Close this window and open it again once the database can be reached.");
}
