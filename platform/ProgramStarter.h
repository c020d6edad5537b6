#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

// Starts other programs and opens documents and web pages with the desktop's
// handlers. The program never waits for what it starts.
class ProgramStarter
{
public:
    virtual ~ProgramStarter() = default;
    virtual bool startProgram(const QString& program, const QStringList& arguments = {}) = 0;
    virtual bool openDocument(const QString& path) = 0;
    virtual bool openUrl(const QUrl& url) = 0;
};
