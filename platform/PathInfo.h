#pragma once

#include <QString>

// The six facts the program asks of a path text, in the order it asks them.
struct PathFacts
{
    bool isDirectory = false;      // an existing directory
    bool isEmptyDirectory = false; // an existing directory with nothing in it
    bool isNetworkPath = false;    // UNC form, or on a mounted network file system
    bool isRoot = false;           // "/", a drive root such as "C:\", or a UNC share root
    bool isUnc = false;            // "\\server\share" or "//server/share"
    bool isUrl = false;            // "scheme:" with a scheme of two or more letters
};

PathFacts pathInfo(const QString& path);

// The path without a trailing separator, unless the path is a root ("/", "C:\").
QString withoutTrailingSeparator(const QString& path);

// Windows file systems ignore case, so the program stores paths lower-cased; a
// POSIX path (one beginning with "/") names a folder on a file system that does
// not, and keeps its case. Drive paths, UNC paths and any other text are
// lower-cased. The start-up statements of services/AccountSweep.cpp apply the same
// rule in SQL.
bool isPosixPath(const QString& path);
QString storedPathCase(const QString& path);

// True when the file system type names a network file system (nfs, cifs, ...).
bool isNetworkFileSystemType(const QString& fileSystemType);
