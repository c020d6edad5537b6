#include "services/ProgramExit.h"

#include "platform/ProcessControl.h"
#include "platform/Prompter.h"
#include "platform/TrayIcon.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"

bool exitProgram(AppContext& context, ExitMode mode)
{
    if (mode == ExitMode::Ask) {
        const auto answer = context.prompter.ask(appinfo::Title,
                                                 QStringLiteral("Are you sure you want to exit Quillmere?"),
                                                 prompt::Icon::Exclamation, prompt::Buttons::YesNoCancel,
                                                 prompt::Answer::No);
        if (answer != prompt::Answer::Yes)
            return false;
    }
    context.tray.remove();
    context.process.endProcess(0);
    return true;
}

void endAfterConnectionFailure(AppContext& context)
{
    context.tray.change(TrayPicture::Red, appinfo::Product);
    context.prompter.tell(appinfo::CriticalCaption,
                          QStringLiteral("We could not connect to the database specified. \r\n"
                                         "To reconfigure the program settings, please run Quillmere again.\r\n"
                                         "\r\n"
                                         "Quillmere will now close. "),
                          prompt::Icon::Critical);
    exitProgram(context, ExitMode::AtOnce);
}
