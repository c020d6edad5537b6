#include "platform/Prompter.h"

namespace prompt {

Answer defaultAnswerOf(const Message& message)
{
    if (message.defaultAnswer)
        return *message.defaultAnswer;
    switch (message.buttons) {
    case Buttons::Ok:
    case Buttons::OkCancel:
        return Answer::Ok;
    case Buttons::YesNo:
    case Buttons::YesNoCancel:
        return Answer::Yes;
    case Buttons::RetryCancel:
        return Answer::Retry;
    }
    return Answer::Ok;
}

} // namespace prompt

prompt::Answer Prompter::ask(const QString& caption, const QString& text, prompt::Icon icon,
                             prompt::Buttons buttons, std::optional<prompt::Answer> defaultAnswer)
{
    return message({caption, text, icon, buttons, defaultAnswer});
}

void Prompter::tell(const QString& caption, const QString& text, prompt::Icon icon)
{
    message({caption, text, icon, prompt::Buttons::Ok, std::nullopt});
}
