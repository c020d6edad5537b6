#include "platform/DesktopStarter.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QProcess>

bool DesktopStarter::startProgram(const QString& program, const QStringList& arguments)
{
    return QProcess::startDetached(program, arguments, QFileInfo(program).absolutePath());
}

bool DesktopStarter::openDocument(const QString& path)
{
    return QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

bool DesktopStarter::openUrl(const QUrl& url)
{
    return QDesktopServices::openUrl(url);
}
