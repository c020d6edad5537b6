#pragma once

#include "platform/ProgramStarter.h"

// Starts programs detached and opens documents and web pages with the desktop's
// registered handlers.
class DesktopStarter final : public ProgramStarter
{
public:
    bool startProgram(const QString& program, const QStringList& arguments = {}) override;
    bool openDocument(const QString& path) override;
    bool openUrl(const QUrl& url) override;
};
