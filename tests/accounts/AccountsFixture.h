#pragma once

#include "ProgramUnderTest.h"
#include "TestDatabase.h"

#include "accounts/UserPage.h"
#include "db/SqlText.h"
#include "app/MainWindow.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QTest>

// Drives the user page of a running program, and the dialogs it opens, the way an
// administrator does; the limits tests use it too.
class AccountsFixture
{
public:
    explicit AccountsFixture(ProgramUnderTest& program) : m_program(program) {}

    MainWindow& main() { return m_program.windows.main(); }
    UserPage& page() { return main().userPage(); }
    PageState& state() { return main().pageState(); }
    ScriptedPrompter& prompter() { return m_program.env.prompter; }

    template <typename T> T* control(const QString& name)
    {
        T* found = main().findChild<T*>(name);
        if (!found)
            QTest::qFail(qPrintable(QStringLiteral("no control %1").arg(name)), __FILE__, __LINE__);
        return found;
    }
    QLineEdit* box(const char* name) { return control<QLineEdit>(QLatin1String(name)); }
    QPlainTextEdit* notes() { return control<QPlainTextEdit>(QStringLiteral("txtNotes")); }
    QListWidget* users() { return control<QListWidget>(QStringLiteral("lstUsers")); }
    QListWidget* entries() { return control<QListWidget>(QStringLiteral("lstAccess")); }
    QLabel* label(const char* name) { return control<QLabel>(QLatin1String(name)); }
    bool enabled(const char* name) { return control<QWidget>(QLatin1String(name))->isEnabled(); }

    // Clicks a button or box of the page once the page's timer has enabled it, as an administrator would wait.
    void click(const char* name)
    {
        if (!QTest::qWaitFor([this, name] { return enabled(name); }, 2000))
            QTest::qFail(qPrintable(QStringLiteral("%1 stays disabled").arg(QLatin1String(name))), __FILE__, __LINE__);
        click(&main(), name);
    }
    // Clicks a button of a window; a check box or option button on its box, where a
    // person clicks it (its row may be stretched far wider than its caption).
    static void click(QWidget* window, const char* name)
    {
        auto* target = window->findChild<QAbstractButton*>(QLatin1String(name));
        if (!target)
            return QTest::qFail(name, __FILE__, __LINE__);
        const bool hasBox = qobject_cast<QCheckBox*>(target) || qobject_cast<QRadioButton*>(target);
        QTest::mouseClick(target, Qt::LeftButton, {}, hasBox ? QPoint(8, target->height() / 2) : target->rect().center());
    }

    // The window of that name once it is shown and laid out, or none.
    static QWidget* shown(const char* dialogName)
    {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window->objectName() == QLatin1String(dialogName) && window->isVisible() && QTest::qWaitForWindowExposed(window))
                return window;
        }
        return nullptr;
    }
    // Clicks one of the page's dialog buttons and returns the dialog it showed.
    QWidget* open(const char* button, const char* dialogName)
    {
        click(button);
        QWidget* window = shown(dialogName);
        if (!window)
            QTest::qFail(dialogName, __FILE__, __LINE__);
        return window;
    }
    // Clicks OK in a dialog that must refuse with this message and stay open.
    void refuse(QWidget* dialog, const QString& message)
    {
        prompter().reset();
        prompter().answerMessage(prompt::Answer::Ok, message);
        click(dialog, "cmdOK");
        QVERIFY2(dialog->isVisible() && prompter().unusedSteps() == 0, qPrintable(message));
    }

    // Clicks a row of a list, as a mouse would.
    static void clickRow(QListWidget* list, int row)
    {
        QListWidgetItem* item = list->item(row);
        list->scrollToItem(item);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
    }
    void selectUser(int row) { clickRow(users(), row); }
    static QStringList texts(const QListWidget* list)
    {
        QStringList result;
        for (int row = 0; row < list->count(); ++row)
            result << list->item(row)->text();
        return result;
    }

    // Replaces a box's text by typing, entering and leaving it as the page sees it.
    static void type(QLineEdit* target, const QString& text)
    {
        enter(target);
        target->selectAll();
        QTest::keyClick(target, Qt::Key_Delete);
        QTest::keyClicks(target, text);
        leave(target);
    }
    static void retype(QLineEdit* target, const QString& text)
    {
        target->clear();
        QTest::keyClicks(target, text);
    }
    static void enter(QWidget* target)
    {
        QFocusEvent in(QEvent::FocusIn, Qt::MouseFocusReason);
        QApplication::sendEvent(target, &in);
    }
    static void leave(QWidget* target)
    {
        QFocusEvent out(QEvent::FocusOut, Qt::TabFocusReason);
        QApplication::sendEvent(target, &out);
    }

    // A dialog's box or button by name, and what its named controls show: a box's or
    // label's text, "[x]" or "[ ]" for a check or option button.
    static QLineEdit* box(QWidget* dialog, const char* name) { return dialog->findChild<QLineEdit*>(QLatin1String(name)); }
    static QAbstractButton* check(QWidget* dialog, const char* name) { return dialog->findChild<QAbstractButton*>(QLatin1String(name)); }
    static QStringList values(QWidget* dialog, const QList<const char*>& names)
    {
        QStringList shown;
        for (const char* name : names) {
            QWidget* control = dialog->findChild<QWidget*>(QLatin1String(name));
            if (auto* edit = qobject_cast<QLineEdit*>(control))
                shown << edit->text();
            else if (auto* text = qobject_cast<QLabel*>(control))
                shown << text->text();
            else if (auto* button = qobject_cast<QAbstractButton*>(control))
                shown << QLatin1String(button->isChecked() ? "[x]" : "[ ]");
        }
        return shown;
    }

    // A folder that exists, for home directories and entries.
    QString folder(const QString& name)
    {
        const QString path = m_program.env.path(QStringLiteral("ftp/") + name);
        QDir().mkpath(path);
        return path;
    }

private:
    ProgramUnderTest& m_program;
};

// The statement that adds an account with the columns every account needs, and any others.
inline QString accountInsert(const QString& name, const QString& columns = {}, const QString& values = {},
                             const QString& home = QStringLiteral("c:\\ftp"), const QString& password = QStringLiteral("pw"))
{
    return QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip%1) VALUES (%2, %3, %4, 1, 1%5)")
        .arg(columns.isEmpty() ? QString() : QStringLiteral(", ") + columns, sqlQuote(name), sqlQuote(home), sqlQuote(password),
             values.isEmpty() ? QString() : QStringLiteral(", ") + values);
}
inline void addEntry(TestDatabase& db, const QString& name, const QString& directory, const QString& rights, int inherit)
{
    db.exec(QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES (%1, %2, %3, %4)")
                .arg(sqlQuote(name), sqlQuote(directory), sqlQuote(rights), QString::number(inherit)));
}
