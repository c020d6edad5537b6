#include "maintenance/Help.h"

#include "Version.h"
#include "maintenance/ProgramFiles.h"
#include "platform/ProgramStarter.h"
#include "platform/Prompter.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"

#include <QDir>
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
    if (!context.starter.openDocument(path))
        context.prompter.tell(appinfo::Title,
                              QStringLiteral("Quillmere could not open the help file. Open it with a PDF viewer:\r\n\r\n")
                                  + QDir::toNativeSeparators(path),
                              prompt::Icon::Exclamation);
}

QUrl websiteUrl()
{
    const QString fromEnvironment = qEnvironmentVariable("QUILLMERE_WEBSITE_URL");
    return QUrl(fromEnvironment.isEmpty() ? QStringLiteral(QUILLMERE_DEFAULT_WEBSITE_URL) : fromEnvironment);
}

void openWebsite(AppContext& context)
{
    const QUrl url = websiteUrl();
    if (!context.starter.openUrl(url))
        context.prompter.tell(appinfo::Title,
                              QStringLiteral("Quillmere could not open the web page. Open it in a web browser:\r\n\r\n")
                                  + url.toDisplayString(),
                              prompt::Icon::Exclamation);
}

} // namespace help
