#pragma once

#include "ProgramUnderTest.h"
#include "TestDatabase.h"

#include "accounts/UserPage.h"
#include "db/SqlText.h"
#include "app/MainWindow.h"

#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

// Drives the user page of a running program the way an administrator does.
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
    QCheckBox* check(const char* name) { return control<QCheckBox>(QLatin1String(name)); }
    QLabel* label(const char* name) { return control<QLabel>(QLatin1String(name)); }

    // Clicks a button once the page's timer has enabled it, as an administrator would wait.
    void click(const char* buttonName)
    {
        QPushButton* target = control<QPushButton>(QLatin1String(buttonName));
        if (!QTest::qWaitFor([target] { return target->isEnabled(); }, 2000))
            QTest::qFail(qPrintable(QStringLiteral("%1 stays disabled").arg(QLatin1String(buttonName))), __FILE__, __LINE__);
        QTest::mouseClick(target, Qt::LeftButton);
    }

    // Clicks a rights box once the page's timer has enabled it.
    void toggle(const char* boxName)
    {
        QCheckBox* target = check(boxName);
        if (!QTest::qWaitFor([target] { return target->isEnabled(); }, 2000))
            QTest::qFail(qPrintable(QStringLiteral("%1 stays disabled").arg(QLatin1String(boxName))), __FILE__, __LINE__);
        QTest::mouseClick(target, Qt::LeftButton);
    }

    // Clicks a row of a list, as a mouse would.
    static void clickRow(QListWidget* list, int row)
    {
        QListWidgetItem* item = list->item(row);
        list->scrollToItem(item);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
    }

    static QStringList texts(const QListWidget* list)
    {
        QStringList result;
        for (int row = 0; row < list->count(); ++row)
            result << list->item(row)->text();
        return result;
    }

    // Replaces a box's text by typing, then leaves the box.
    void type(QLineEdit* target, const QString& text)
    {
        enter(target);
        target->selectAll();
        QTest::keyClick(target, Qt::Key_Delete);
        QTest::keyClicks(target, text);
        leave(target);
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

    // The rights check boxes that are checked, as letters plus "I" for Inherit.
    QString checkedBoxes()
    {
        QString letters;
        const std::pair<const char*, char> boxes[] = {{"chkRead", 'R'},    {"chkWrite", 'W'}, {"chkAppend", 'A'},
                                                      {"chkDelete", 'M'},  {"chkExecute", 'E'}, {"chkList", 'L'},
                                                      {"chkMake", 'C'},    {"chkRemove", 'D'}, {"chkInherit", 'I'}};
        for (const auto& [name, letter] : boxes) {
            if (check(name)->isChecked())
                letters += QLatin1Char(letter);
        }
        return letters;
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

inline QString accountInsert(const QString& name, const QString& home = QStringLiteral("c:\\ftp"),
                             const QString& password = QStringLiteral("pw"))
{
    return QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, quota_current) "
                          "VALUES (%1, %2, %3, 1, 1, 0)")
        .arg(sqlQuote(name), sqlQuote(home), sqlQuote(password));
}

inline void addAccount(TestDatabase& db, const QString& name, const QString& home, const QString& password = QStringLiteral("pw"))
{
    db.exec(accountInsert(name, home, password));
}

// Runs statements on the configured database.
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
inline bool startOnTemplate(ProgramUnderTest& program, const QStringList& statements = {})
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

inline void addEntry(TestDatabase& db, const QString& name, const QString& directory, const QString& rights, int inherit)
{
    db.exec(QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES (%1, %2, %3, %4)")
                .arg(sqlQuote(name), sqlQuote(directory), sqlQuote(rights), QString::number(inherit)));
}
