#pragma once

#include <QByteArray>
#include <QString>

// The FTP server's INI file, as far as the program touches it: the plug-in line in
// the section [EXTERNAL]. The file is edited as bytes, so that every line the
// program does not add stays exactly as it was, whatever its encoding. Only CR LF
// separates its lines; a file with other line ends reads as one line.
namespace serverini {

inline constexpr char PluginLine[] = "ClientCheckDLL1=Gatewick.dll";

enum class Change {
    AddedSection,      // no [EXTERNAL] section: it goes at the top of the file
    AddedLine,         // the line goes below every [EXTERNAL] header
    AlreadyRegistered, // a line names Gatewick.dll: the file is left as it is
};

struct Edit
{
    Change change;
    QByteArray text; // the whole new file; empty when nothing changes
};

Edit registerPlugin(const QByteArray& content);

// The two names the server's INI file goes by, found in a folder without regard to
// case; each empty when absent. The names are the ones the file system reports.
struct IniFiles
{
    QString servU;  // serv-u.ini
    QString daemon; // ServUDaemon.ini
};
IniFiles findIniFiles(const QString& folder);

// Reads the whole file; an error text naming the file when it cannot.
QString readFile(const QString& path, QByteArray* content);
// Writes the file beside the old one and renames it over, so that an interrupted
// write never leaves half a file; an error text naming the file when it cannot.
QString replaceFile(const QString& path, const QByteArray& content);

} // namespace serverini
