#include "server/ServerIni.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QSaveFile>

namespace serverini {
namespace {

const QByteArray LineEnd("\r\n");

bool isSectionHeader(const QByteArray& line)
{
    return line.trimmed().toUpper() == "[EXTERNAL]";
}

bool namesPlugin(const QByteArray& line)
{
    return line.trimmed().toLower().contains("gatewick.dll");
}

QList<QByteArray> splitLines(const QByteArray& content)
{
    QList<QByteArray> lines;
    qsizetype start = 0;
    while (true) {
        const qsizetype end = content.indexOf(LineEnd, start);
        if (end < 0) {
            lines.append(content.mid(start));
            return lines;
        }
        lines.append(content.mid(start, end - start));
        start = end + LineEnd.size();
    }
}

} // namespace

Edit registerPlugin(const QByteArray& content)
{
    const QList<QByteArray> crlfLines = splitLines(content);
    bool hasSection = false;
    for (const QByteArray& line : crlfLines)
        hasSection = hasSection || isSectionHeader(line);
    if (!hasSection) {
        return {Change::AddedSection, QByteArray("[EXTERNAL]") + LineEnd + PluginLine + LineEnd + LineEnd + content + LineEnd};
    }
    for (const QByteArray& line : crlfLines) {
        if (namesPlugin(line))
            return {Change::AlreadyRegistered, {}};
    }
    QByteArray text;
    for (const QByteArray& line : crlfLines) {
        text += line + LineEnd;
        if (isSectionHeader(line))
            text += QByteArray(PluginLine) + LineEnd;
    }
    return {Change::AddedLine, text + LineEnd};
}

IniFiles findIniFiles(const QString& folder)
{
    IniFiles found;
    const QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString& name : names) {
        const QString lower = name.toLower();
        if (lower == QLatin1String("serv-u.ini") && found.servU.isEmpty())
            found.servU = QDir(folder).filePath(name);
        else if (lower == QLatin1String("servudaemon.ini") && found.daemon.isEmpty())
            found.daemon = QDir(folder).filePath(name);
    }
    return found;
}

QString readFile(const QString& path, QByteArray* content)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("The file \"%1\" could not be read: %2").arg(path, file.errorString());
    *content = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return QStringLiteral("The file \"%1\" could not be read: %2").arg(path, file.errorString());
    return {};
}

QString replaceFile(const QString& path, const QByteArray& content)
{
    if (QFileInfo::exists(path) && !QFileInfo(path).isWritable())
        return QStringLiteral("The file \"%1\" could not be written: it is read-only.").arg(path);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return QStringLiteral("The file \"%1\" could not be written: %2").arg(path, file.errorString());
    if (file.write(content) != content.size() || !file.commit())
        return QStringLiteral("The file \"%1\" could not be written: %2").arg(path, file.errorString());
    return {};
}

} // namespace serverini
