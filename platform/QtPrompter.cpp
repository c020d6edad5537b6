#include "platform/QtPrompter.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QEvent>
#include <QEventLoop>
#include <QFileDialog>
#include <QInputDialog>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPointer>

namespace {

QWidget* dialogParent()
{
    if (QWidget* modal = QApplication::activeModalWidget())
        return modal;
    return QApplication::activeWindow();
}

// Message texts use CR LF line breaks; Qt's labels want plain line feeds.
QString displayText(QString text)
{
    return text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

QMessageBox::Icon toQt(prompt::Icon icon)
{
    switch (icon) {
    case prompt::Icon::Critical:
        return QMessageBox::Critical;
    case prompt::Icon::Question:
        return QMessageBox::Question;
    case prompt::Icon::Exclamation:
        return QMessageBox::Warning;
    case prompt::Icon::Information:
        return QMessageBox::Information;
    case prompt::Icon::None:
        break;
    }
    return QMessageBox::NoIcon;
}

QMessageBox::StandardButton toQt(prompt::Answer answer)
{
    switch (answer) {
    case prompt::Answer::Ok:
        return QMessageBox::Ok;
    case prompt::Answer::Cancel:
        return QMessageBox::Cancel;
    case prompt::Answer::Yes:
        return QMessageBox::Yes;
    case prompt::Answer::No:
        return QMessageBox::No;
    case prompt::Answer::Retry:
        return QMessageBox::Retry;
    }
    return QMessageBox::Ok;
}

QMessageBox::StandardButtons toQt(prompt::Buttons buttons)
{
    switch (buttons) {
    case prompt::Buttons::Ok:
        return QMessageBox::Ok;
    case prompt::Buttons::OkCancel:
        return QMessageBox::Ok | QMessageBox::Cancel;
    case prompt::Buttons::YesNo:
        return QMessageBox::Yes | QMessageBox::No;
    case prompt::Buttons::YesNoCancel:
        return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    case prompt::Buttons::RetryCancel:
        return QMessageBox::Retry | QMessageBox::Cancel;
    }
    return QMessageBox::Ok;
}

// The answer a closed box gives: Cancel where there is one, else No, else OK.
prompt::Answer escapeAnswer(prompt::Buttons buttons)
{
    switch (buttons) {
    case prompt::Buttons::Ok:
        return prompt::Answer::Ok;
    case prompt::Buttons::YesNo:
        return prompt::Answer::No;
    case prompt::Buttons::OkCancel:
    case prompt::Buttons::YesNoCancel:
    case prompt::Buttons::RetryCancel:
        return prompt::Answer::Cancel;
    }
    return prompt::Answer::Cancel;
}

// Ends a local event loop when the watched window hides.
class HideWatcher : public QObject
{
public:
    HideWatcher(QWidget* window, QEventLoop* loop) : m_loop(loop) { window->installEventFilter(this); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Hide)
            m_loop->quit();
        return QObject::eventFilter(watched, event);
    }

private:
    QEventLoop* m_loop;
};

// Keeps a message box open against Escape and its close box.
class ButtonOnlyFilter : public QObject
{
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Close) {
            event->ignore();
            return true;
        }
        if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->matches(QKeySequence::Cancel)) {
            event->accept();
            return true;
        }
        return QObject::eventFilter(watched, event);
    }
};

} // namespace

prompt::Answer QtPrompter::message(const prompt::Message& message)
{
    QMessageBox box(toQt(message.icon), message.caption, displayText(message.text), toQt(message.buttons),
                    dialogParent());
    box.setDefaultButton(toQt(prompt::defaultAnswerOf(message)));
    ButtonOnlyFilter buttonOnly;
    if (message.buttonOnly) {
        box.setWindowFlags((box.windowFlags() | Qt::CustomizeWindowHint) & ~Qt::WindowCloseButtonHint);
        box.installEventFilter(&buttonOnly);
    }
    box.exec();
    const auto clicked = box.standardButton(box.clickedButton());
    for (const auto answer : {prompt::Answer::Ok, prompt::Answer::Cancel, prompt::Answer::Yes,
                              prompt::Answer::No, prompt::Answer::Retry}) {
        if (toQt(answer) == clicked)
            return answer;
    }
    return escapeAnswer(message.buttons);
}

QString QtPrompter::input(const prompt::Input& input)
{
    bool accepted = false;
    const QString text = QInputDialog::getText(dialogParent(), input.caption, displayText(input.text),
                                               QLineEdit::Normal, input.defaultText, &accepted);
    return accepted ? text : QString();
}

QString QtPrompter::chooseFolder(const prompt::FolderChoice& choice)
{
    const QString folder = QFileDialog::getExistingDirectory(dialogParent(), choice.title, choice.startFolder,
                                                             QFileDialog::ShowDirsOnly);
    return QDir::toNativeSeparators(folder);
}

QString QtPrompter::chooseFile(const prompt::FileChoice& choice)
{
    QString filter = choice.filterName;
    if (!choice.pattern.isEmpty() && !filter.contains(choice.pattern))
        filter += QStringLiteral(" (%1)").arg(choice.pattern);
    QString start = choice.initialFolder;
    if (!choice.initialName.isEmpty())
        start = QDir(start).filePath(choice.initialName);

    QString path;
    if (choice.mode == prompt::FileChoice::Mode::Save) {
        QFileDialog::Options options;
        if (!choice.confirmOverwrite)
            options |= QFileDialog::DontConfirmOverwrite;
        path = QFileDialog::getSaveFileName(dialogParent(), choice.title, start, filter, nullptr, options);
    } else {
        path = QFileDialog::getOpenFileName(dialogParent(), choice.title, start, filter);
    }
    return QDir::toNativeSeparators(path);
}

void QtPrompter::runModal(QWidget* window)
{
    if (auto* dialog = qobject_cast<QDialog*>(window)) {
        dialog->exec();
        return;
    }
    QPointer<QWidget> guard(window);
    window->setWindowModality(Qt::ApplicationModal);
    QEventLoop loop;
    HideWatcher watcher(window, &loop);
    window->show();
    loop.exec();
    if (guard)
        guard->setWindowModality(Qt::NonModal);
}

void QtPrompter::beep()
{
    QApplication::beep();
}
