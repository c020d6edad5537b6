#include "ScriptedPrompter.h"

#include <QTest>
#include <QWidget>

namespace {

const char* kindName(PromptRecord::Kind kind)
{
    switch (kind) {
    case PromptRecord::Kind::Message:
        return "message box";
    case PromptRecord::Kind::Input:
        return "input box";
    case PromptRecord::Kind::Folder:
        return "folder picker";
    case PromptRecord::Kind::File:
        return "file picker";
    case PromptRecord::Kind::Modal:
        return "modal window";
    }
    return "prompt";
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
    for (const PromptRecord& record : m_records) {
        if (record.kind == PromptRecord::Kind::Message)
            result.append(record);
    }
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

const ScriptedPrompter::Step* ScriptedPrompter::take(PromptRecord::Kind kind, const QString& description)
{
    if (m_next >= m_steps.size()) {
        failTest(QStringLiteral("Unexpected %1: %2").arg(QLatin1String(kindName(kind)), description));
        return nullptr;
    }
    const Step& step = m_steps[m_next];
    if (step.kind != kind) {
        failTest(QStringLiteral("Expected a %1 but the program showed a %2: %3")
                     .arg(QLatin1String(kindName(step.kind)), QLatin1String(kindName(kind)), description));
        return nullptr;
    }
    ++m_next;
    return &step;
}

prompt::Answer ScriptedPrompter::message(const prompt::Message& message)
{
    m_records.append({PromptRecord::Kind::Message, message.caption, message.text, message.icon, message.buttons,
                      prompt::defaultAnswerOf(message), {}});
    const Step* step = take(PromptRecord::Kind::Message, message.text);
    const bool cancellable = message.buttons == prompt::Buttons::OkCancel
        || message.buttons == prompt::Buttons::YesNoCancel || message.buttons == prompt::Buttons::RetryCancel;
    const prompt::Answer escape = cancellable                                   ? prompt::Answer::Cancel
        : message.buttons == prompt::Buttons::YesNo ? prompt::Answer::No
                                                    : prompt::Answer::Ok;
    if (!step)
        return escape;
    if (!step->text.isEmpty() && !message.text.contains(step->text)) {
        failTest(QStringLiteral("Expected a message containing \"%1\" but got: %2").arg(step->text, message.text));
        return escape;
    }
    return step->answer;
}

QString ScriptedPrompter::input(const prompt::Input& input)
{
    m_records.append({PromptRecord::Kind::Input, input.caption, input.text, prompt::Icon::None, prompt::Buttons::OkCancel,
                      prompt::Answer::Ok, input.defaultText});
    const Step* step = take(PromptRecord::Kind::Input, input.text);
    return step ? step->text : QString();
}

QString ScriptedPrompter::chooseFolder(const prompt::FolderChoice& choice)
{
    m_records.append({PromptRecord::Kind::Folder, choice.title, {}, prompt::Icon::None, prompt::Buttons::OkCancel,
                      prompt::Answer::Ok, choice.startFolder});
    const Step* step = take(PromptRecord::Kind::Folder, choice.title);
    return step ? step->text : QString();
}

QString ScriptedPrompter::chooseFile(const prompt::FileChoice& choice)
{
    m_records.append({PromptRecord::Kind::File, choice.title, choice.filterName, prompt::Icon::None,
                      prompt::Buttons::OkCancel, prompt::Answer::Ok, choice.initialName});
    const Step* step = take(PromptRecord::Kind::File, choice.title);
    return step ? step->text : QString();
}

void ScriptedPrompter::runModal(QWidget* window)
{
    m_records.append({PromptRecord::Kind::Modal, window->objectName(), window->windowTitle(), prompt::Icon::None,
                      prompt::Buttons::Ok, prompt::Answer::Ok, {}});
    const Step* step = take(PromptRecord::Kind::Modal, window->objectName());
    if (step && step->text != window->objectName()) {
        failTest(QStringLiteral("Expected the window %1 to be shown modally, but %2 was")
                     .arg(step->text, window->objectName()));
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
