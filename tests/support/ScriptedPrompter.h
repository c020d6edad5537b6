#pragma once

#include "platform/Prompter.h"

#include <QList>
#include <QString>

#include <functional>

// One prompt the program showed, as the administrator would have seen it.
struct PromptRecord
{
    enum class Kind { Message, Input, Folder, File, Modal };
    Kind kind = Kind::Message;
    QString caption; // caption, or the title of a picker, or the window's object name
    QString text;
    prompt::Icon icon = prompt::Icon::None;
    prompt::Buttons buttons = prompt::Buttons::Ok;
    prompt::Answer defaultAnswer = prompt::Answer::Ok;
    QString defaultText; // input boxes: the proposed text
};

// Answers the program's prompts from a script set up in order by the test. Every
// prompt is recorded. A prompt the script did not expect fails the running test
// with the prompt's text and is answered as if the administrator had cancelled.
class ScriptedPrompter final : public Prompter
{
    using Kind = PromptRecord::Kind;

public:
    using WindowScript = std::function<void(QWidget*)>;

    // The next message box gets this answer; a non-empty textPart must occur in its text.
    ScriptedPrompter& answerMessage(prompt::Answer answer, const QString& textPart = {}) { return then(Kind::Message, textPart, answer); }
    // The next input box gets this text; empty text stands for Cancel.
    ScriptedPrompter& answerInput(const QString& text) { return then(Kind::Input, text); }
    // The next folder picker returns this folder; empty stands for Cancel.
    ScriptedPrompter& answerFolder(const QString& folder) { return then(Kind::Folder, folder); }
    // The next open or save picker returns this path; empty stands for Cancel.
    ScriptedPrompter& answerFile(const QString& path) { return then(Kind::File, path); }
    // The next modal run must show the window with this object name; the script
    // drives it (types, clicks) and must leave it closed.
    ScriptedPrompter& onModal(const QString& windowObjectName, WindowScript script)
    {
        return then(Kind::Modal, windowObjectName, prompt::Answer::Ok, std::move(script));
    }

    const QList<PromptRecord>& records() const { return m_records; }
    QList<PromptRecord> messages() const;
    // The texts of all message boxes shown so far.
    QStringList messageTexts() const;
    int beeps() const { return m_beeps; }
    int unusedSteps() const { return static_cast<int>(m_steps.size()) - m_next; }
    // Forgets the records and the script.
    void reset();
    // Once the program has ended, a modal window may stay open: nothing closes it any more.
    void setProgramEnded(std::function<bool()> ended) { m_programEnded = std::move(ended); }

    prompt::Answer message(const prompt::Message& message) override;
    QString input(const prompt::Input& input) override;
    QString chooseFolder(const prompt::FolderChoice& choice) override;
    QString chooseFile(const prompt::FileChoice& choice) override;
    void runModal(QWidget* window) override;
    void beep() override { ++m_beeps; }

private:
    struct Step
    {
        Kind kind;
        prompt::Answer answer = prompt::Answer::Cancel;
        QString text; // expected text part, or the text to return
        WindowScript script;
    };

    ScriptedPrompter& then(Kind kind, const QString& text, prompt::Answer answer = prompt::Answer::Ok, WindowScript script = {});
    // Records the prompt; the next step if it is of the prompt's kind, otherwise fails the test.
    const Step* take(const PromptRecord& record, const QString& description);
    // The text of the next step, or empty (Cancel) when the step is missing.
    QString textOf(const PromptRecord& record, const QString& description);

    QList<Step> m_steps;
    int m_next = 0;
    QList<PromptRecord> m_records;
    int m_beeps = 0;
    std::function<bool()> m_programEnded;
};
