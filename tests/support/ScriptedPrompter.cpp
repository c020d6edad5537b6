#include "ScriptedPrompter.h"

#include <QTest>
#include <QWidget>

#include <algorithm>
#include <iterator>

namespace {

const char* kindName(PromptRecord::Kind kind)
{
    static const char* const names[] = {"message box", "input box", "folder picker", "file picker", "modal window"};
    return names[static_cast<int>(kind)];
}

void failTest(const QString& why)
{
    QTest::qFail(qPrintable(why), __FILE__, __LINE__);
}

} // namespace

ScriptedPrompter& ScriptedPrompter::then(Kind kind, const QString& text, prompt::Answer answer, WindowScript script)
{
    m_steps.append({kind, answer, text, std::move(script)});
    return *this;
}

QList<PromptRecord> ScriptedPrompter::messages() const
{
    QList<PromptRecord> result;
    std::copy_if(m_records.cbegin(), m_records.cend(), std::back_inserter(result),
                 [](const PromptRecord& record) { return record.kind == Kind::Message; });
    return result;
}

QStringList ScriptedPrompter::messageTexts() const
{
    QStringList texts;
    for (const PromptRecord& record : messages())
        texts.append(record.text);
    return texts;
}

void ScriptedPrompter::reset()
{
    m_steps.clear();
    m_next = 0;
    m_records.clear();
    m_beeps = 0;
}

const ScriptedPrompter::Step* ScriptedPrompter::take(const PromptRecord& record, const QString& description)
{
    m_records.append(record);
    const QString shown = QLatin1String(kindName(record.kind));
    if (m_next >= m_steps.size()) {
        failTest(QStringLiteral("Unexpected %1: %2").arg(shown, description));
        return nullptr;
    }
    const Step& step = m_steps[m_next];
    if (step.kind != record.kind) {
        failTest(QStringLiteral("Expected a %1 but the program showed a %2: %3").arg(QLatin1String(kindName(step.kind)), shown, description));
        return nullptr;
    }
    ++m_next;
    return &step;
}

QString ScriptedPrompter::textOf(const PromptRecord& record, const QString& description)
{
    const Step* step = take(record, description);
    return step ? step->text : QString();
}

prompt::Answer ScriptedPrompter::message(const prompt::Message& message)
{
    const Step* step = take({Kind::Message, message.caption, message.text, message.icon, message.buttons, prompt::defaultAnswerOf(message), {}},
                            message.text);
    // Where the script has no answer, the box is closed as Escape closes it.
    const bool cancellable = message.buttons == prompt::Buttons::OkCancel || message.buttons == prompt::Buttons::YesNoCancel
        || message.buttons == prompt::Buttons::RetryCancel;
    const prompt::Answer escape = cancellable ? prompt::Answer::Cancel
        : message.buttons == prompt::Buttons::YesNo ? prompt::Answer::No
                                                    : prompt::Answer::Ok;
    if (step && !step->text.isEmpty() && !message.text.contains(step->text)) {
        failTest(QStringLiteral("Expected a message containing \"%1\" but got: %2").arg(step->text, message.text));
        return escape;
    }
    return step ? step->answer : escape;
}

QString ScriptedPrompter::input(const prompt::Input& input)
{
    return textOf({Kind::Input, input.caption, input.text, prompt::Icon::None, prompt::Buttons::OkCancel, prompt::Answer::Ok, input.defaultText},
                  input.text);
}

QString ScriptedPrompter::chooseFolder(const prompt::FolderChoice& choice)
{
    return textOf({Kind::Folder, choice.title, {}, prompt::Icon::None, prompt::Buttons::OkCancel, prompt::Answer::Ok, choice.startFolder},
                  choice.title);
}

QString ScriptedPrompter::chooseFile(const prompt::FileChoice& choice)
{
    return textOf({Kind::File, choice.title, choice.filterName, prompt::Icon::None, prompt::Buttons::OkCancel, prompt::Answer::Ok,
                   choice.initialName},
                  choice.title);
}

void ScriptedPrompter::runModal(QWidget* window)
{
    const Step* step = take({Kind::Modal, window->objectName(), window->windowTitle(), prompt::Icon::None, prompt::Buttons::Ok,
                             prompt::Answer::Ok, {}},
                            window->objectName());
    if (step && step->text != window->objectName()) {
        failTest(QStringLiteral("Expected the window %1 to be shown modally, but %2 was").arg(step->text, window->objectName()));
        step = nullptr;
    }
    // The script may add steps of its own, so it is taken out of the list first.
    const WindowScript script = step ? step->script : WindowScript();
    window->show();
    if (script)
        script(window);
    if (window->isVisible()) {
        if (step && !(m_programEnded && m_programEnded()))
            failTest(QStringLiteral("The modal window %1 is still open after its script").arg(window->objectName()));
        window->hide();
    }
}
