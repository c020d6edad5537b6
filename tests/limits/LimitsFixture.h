#pragma once

#include "ProgramUnderTest.h"
#include "TestDatabase.h"

#include "db/SqlText.h"
#include "app/MainWindow.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

// A running program with accounts, and the dialogs of one account opened from the
// user page's buttons as an administrator opens them.
class LimitsFixture
{
public:
    explicit LimitsFixture(ProgramUnderTest& program) : m_program(program) {}

    MainWindow& main() { return m_program.windows.main(); }
    ScriptedPrompter& prompter() { return m_program.env.prompter; }

    // Clicks one of the user page's dialog buttons and returns the dialog it showed.
    QWidget* open(const char* button, const char* dialogName)
    {
        auto* target = main().findChild<QPushButton*>(QLatin1String(button));
        if (!QTest::qWaitFor([target] { return target->isEnabled(); }, 2000))
            QTest::qFail("the dialog button stays disabled", __FILE__, __LINE__);
        QTest::mouseClick(target, Qt::LeftButton);
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window->objectName() == QLatin1String(dialogName) && window->isVisible()) {
                // Clicks land where the controls are only once the window is laid out.
                if (!QTest::qWaitForWindowExposed(window))
                    QTest::qFail("the dialog never showed", __FILE__, __LINE__);
                return window;
            }
        }
        QTest::qFail(dialogName, __FILE__, __LINE__);
        return nullptr;
    }

    void selectUser(int row)
    {
        auto* users = main().findChild<QListWidget*>(QStringLiteral("lstUsers"));
        QTest::mouseClick(users->viewport(), Qt::LeftButton, {}, users->visualItemRect(users->item(row)).center());
    }

    // Clicks a button; a check box or option button on its box, where a person clicks
    // it (its row may be stretched far wider than its caption).
    static void click(QWidget* dialog, const char* name)
    {
        QAbstractButton* target = dialog->findChild<QAbstractButton*>(QLatin1String(name));
        if (!target) {
            QTest::qFail(name, __FILE__, __LINE__);
            return;
        }
        const bool hasBox = qobject_cast<QCheckBox*>(target) || qobject_cast<QRadioButton*>(target);
        const QPoint at = hasBox ? QPoint(8, target->height() / 2) : target->rect().center();
        QTest::mouseClick(target, Qt::LeftButton, {}, at);
    }
    static QLineEdit* box(QWidget* dialog, const char* name) { return dialog->findChild<QLineEdit*>(QLatin1String(name)); }
    static QCheckBox* check(QWidget* dialog, const char* name) { return dialog->findChild<QCheckBox*>(QLatin1String(name)); }
    static QRadioButton* option(QWidget* dialog, const char* name) { return dialog->findChild<QRadioButton*>(QLatin1String(name)); }
    static QLabel* label(QWidget* dialog, const char* name) { return dialog->findChild<QLabel*>(QLatin1String(name)); }
    // What the named controls show: a box's or label's text, "[x]" or "[ ]" for a check or option button.
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
            else
                shown << QStringLiteral("no control %1").arg(QLatin1String(name));
        }
        return shown;
    }
    static void retype(QLineEdit* target, const QString& text)
    {
        target->clear();
        QTest::keyClicks(target, text);
    }

private:
    ProgramUnderTest& m_program;
};

// The statement that adds an account with the columns every account needs, and any others.
inline QString accountInsert(const QString& name, const QString& extraColumns = {}, const QString& extraValues = {})
{
    return QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip%1) "
                          "VALUES (%2, 'c:\\ftp', 'pw', 1, 1%3)")
        .arg(extraColumns.isEmpty() ? QString() : QStringLiteral(", ") + extraColumns, sqlQuote(name),
             extraValues.isEmpty() ? QString() : QStringLiteral(", ") + extraValues);
}

inline void addLimitedAccount(TestDatabase& db, const QString& name, const QString& extraColumns = {},
                              const QString& extraValues = {})
{
    db.exec(accountInsert(name, extraColumns, extraValues));
}

// Runs statements on the configured database, as another tool would.
inline bool runOnConfigured(ProgramUnderTest& program, const QStringList& statements)
{
    Database db(program.env.settings.readConnectionString());
    if (!db.open())
        return false;
    for (const QString& statement : statements) {
        if (!db.execute(statement))
            return false;
    }
    return true;
}

// Configures the program on the template database, runs the statements on it and starts it.
inline bool startOnTemplate(ProgramUnderTest& program, const QStringList& statements)
{
    program.configure();
    if (!runOnConfigured(program, statements))
        return false;
    program.start();
    return true;
}

// The first column of every row of a query on the configured database, as text.
inline QStringList storedColumn(ProgramUnderTest& program, const QString& sql)
{
    Database db(program.env.settings.readConnectionString());
    if (!db.open())
        return {db.lastError()};
    QStringList values;
    Rows rows = db.select(sql);
    while (rows.next())
        values << rows.textAt(0);
    return values;
}
