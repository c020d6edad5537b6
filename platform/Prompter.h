#pragma once

#include <QString>

#include <optional>

class QWidget;

// Everything the program asks or tells the administrator goes through this
// interface: message boxes, input boxes, file and folder pickers, modal runs of
// the program's own windows and the beep. The Qt implementation shows real
// dialogs; the tests answer from a script.
namespace prompt {

enum class Icon { None, Critical, Question, Exclamation, Information };
enum class Buttons { Ok, OkCancel, YesNo, YesNoCancel, RetryCancel };
enum class Answer { Ok, Cancel, Yes, No, Retry };

struct Message
{
    QString caption;
    QString text;
    Icon icon = Icon::None;
    Buttons buttons = Buttons::Ok;
    // The button that Enter presses; the first button of the set when unset.
    std::optional<Answer> defaultAnswer;
    // Escape and the close box do nothing: only a button answers, for boxes where
    // the answer a closed box would give is one the administrator must choose.
    bool buttonOnly = false;
};

struct Input
{
    QString caption;
    QString text;
    QString defaultText;
};

struct FolderChoice
{
    QString title;
    QString startFolder;
};

struct FileChoice
{
    enum class Mode { Open, Save };
    Mode mode = Mode::Open;
    QString title;
    QString filterName; // e.g. "Access DB (*.mdb)"
    QString pattern;    // e.g. "*.mdb"
    QString initialName;
    QString initialFolder;
    // Save mode only: ask before replacing an existing file.
    bool confirmOverwrite = true;
};

// The answer a message box gives when the administrator presses Enter at once.
Answer defaultAnswerOf(const Message& message);

} // namespace prompt

class Prompter
{
public:
    virtual ~Prompter() = default;

    virtual prompt::Answer message(const prompt::Message& message) = 0;
    // Returns the typed text, or empty text when the box was cancelled.
    virtual QString input(const prompt::Input& input) = 0;
    // Returns the chosen folder, or empty text when cancelled.
    virtual QString chooseFolder(const prompt::FolderChoice& choice) = 0;
    // Returns the chosen file path, or empty text when cancelled.
    virtual QString chooseFile(const prompt::FileChoice& choice) = 0;
    // Shows one of the program's own windows modally and returns when it hides.
    virtual void runModal(QWidget* window) = 0;
    virtual void beep() = 0;

    // Shorthands for the common message boxes.
    prompt::Answer ask(const QString& caption, const QString& text, prompt::Icon icon,
                       prompt::Buttons buttons,
                       std::optional<prompt::Answer> defaultAnswer = std::nullopt);
    void tell(const QString& caption, const QString& text, prompt::Icon icon);
};
