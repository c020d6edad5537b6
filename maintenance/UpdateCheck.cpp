#include "maintenance/UpdateCheck.h"

#include "Version.h"
#include "maintenance/ProgramFiles.h"
#include "platform/HttpFetcher.h"
#include "platform/ProgramStarter.h"
#include "platform/Prompter.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"
#include "services/EmbeddedFiles.h"
#include "services/ProgramExit.h"

#include <QFileInfo>
#include <QSaveFile>

namespace updates {
namespace {

bool writeWhole(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    file.setDirectWriteFallback(true);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

// A second click while a check waits for the server must not start another.
bool g_checking = false;

} // namespace

QUrl baseUrl()
{
    const QString fromEnvironment = qEnvironmentVariable("QUILLMERE_UPDATE_URL");
    return QUrl(fromEnvironment.isEmpty() ? QStringLiteral(QUILLMERE_DEFAULT_UPDATE_URL) : fromEnvironment);
}

QUrl versionUrl()
{
    QUrl url = baseUrl();
    url.setPath(QStringLiteral("/OrvaneUpdateServer/version.asp"));
    url.setQuery(QStringLiteral("app=Vantrel"));
    return url;
}

QUrl packageUrl()
{
    QUrl url = baseUrl();
    url.setPath(QStringLiteral("/orvaneupdateserver/Vantrel.upg"));
    return url;
}

void checkUpdates(AppContext& context)
{
    if (g_checking)
        return;
    g_checking = true;
    const HttpFetcher fetcher;
    const HttpFetcher::Result reply = fetcher.get(versionUrl());
    const Version offered = reply.ok ? parseVersionReply(QString::fromUtf8(reply.body)) : Version{};
    if (versionValue(offered) <= versionValue(ownVersion())) {
        g_checking = false;
        context.prompter.tell(appinfo::Title, QStringLiteral("You have the most up to date version of this software"),
                              prompt::Icon::Information);
        return;
    }
    const auto answer = context.prompter.ask(appinfo::Title,
                                             QStringLiteral("A new version of Quillmere is available for download.\r\n"
                                                            "It is recommended that you have the newest version of this software\r\n\r\n"
                                                            "Would you like to update your version of Quillmere now?"),
                                             prompt::Icon::Question, prompt::Buttons::YesNo);
    if (answer != prompt::Answer::Yes) {
        g_checking = false;
        context.prompter.tell(appinfo::Title,
                              QStringLiteral("If you want to download the newest version at a later time, just click \"Help\" "
                                             "and then \"Check for updates.\""),
                              prompt::Icon::Information);
        return;
    }

    // Failures on the way are not reported: the updater refuses a package that is
    // missing, empty or not genuine, and says so in its own window.
    const QString folder = context.programDir;
    const HttpFetcher::Result package = fetcher.get(packageUrl());
    writeWhole(folder + QStringLiteral("/Vantrel.upg"), package.ok ? package.body : QByteArray());
    QUrl signatureUrl = packageUrl();
    signatureUrl.setPath(signatureUrl.path() + QStringLiteral(".sig"));
    const HttpFetcher::Result signature = fetcher.get(signatureUrl);
    writeWhole(folder + QStringLiteral("/Vantrel.upg.sig"), signature.ok ? signature.body : QByteArray());
    if (programfiles::isInstalled(folder)) {
        // The package's updater lies apart from the program, so it is told the program's folder.
        context.starter.startProgram(programfiles::companionPath(folder, programfiles::Updater), {folder});
    } else {
        const QString updater = folder + QStringLiteral("/update.exe");
        if (!QFileInfo::exists(updater))
            embedded::writeEmbeddedFile(embedded::Updater, updater);
        context.starter.startProgram(updater);
    }
    g_checking = false;
    exitProgram(context, ExitMode::AtOnce);
}

} // namespace updates
