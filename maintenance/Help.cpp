#include "maintenance/Help.h"

#include "Version.h"
#include "maintenance/ProgramFiles.h"
#include "platform/ProgramStarter.h"
#include "platform/Prompter.h"
#include "shell/AppContext.h"
#include "shell/AppInfo.h"

#include <QFileInfo>

namespace help {

QString manualPath(const AppContext& context)
{
    return programfiles::manualPath(context.programDir);
}

void openManual(AppContext& context)
{
    const QString path = manualPath(context);
    if (!QFileInfo(path).isFile()) {
        context.prompter.tell(appinfo::Title, QStringLiteral("The help file is missing."),
                              prompt::Icon::Exclamation);
        return;
    }
    context.starter.openDocument(path);
}

QUrl websiteUrl()
{
    const QString fromEnvironment = qEnvironmentVariable("QUILLMERE_WEBSITE_URL");
    return QUrl(fromEnvironment.isEmpty() ? QStringLiteral(QUILLMERE_DEFAULT_WEBSITE_URL) : fromEnvironment);
}

void openWebsite(AppContext& context)
{
    context.starter.openUrl(websiteUrl());
}

} // namespace help
