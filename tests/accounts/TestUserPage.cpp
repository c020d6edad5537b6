#include "AccountsFixture.h"
#include "TestMain.h"

#include "services/AccountSweep.h"

#include <QApplication>
#include <QCoreApplication>

// The user list and the user page: loading, the enabling rules, saving and its
// checks, directory entries, delete and restore. Each case drives the window and
// then reads the database.
class TestUserPage : public QObject
{
    Q_OBJECT

    static QStringList entryRows(TestDatabase& db, const QString& name)
    {
        return db.column(QStringLiteral("select directory || '|' || dir_rights || '|' || inherit_subdirs from dir_rights "
                                        "where username=%1")
                             .arg(sqlQuote(name)));
    }

private slots:
    void init() { QLocale::setDefault(QLocale(QStringLiteral("en_US"))); }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void listAndPageShowTheStoredAccounts_data() { addEngineRows(); }
    void listAndPageShowTheStoredAccounts()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        addAccount(*db, QStringLiteral("carol"), QStringLiteral("c:\\ftp\\carol"));
        addAccount(*db, QStringLiteral("alice"), QStringLiteral("c:\\ftp\\alice"));
        db->exec(QStringLiteral("update users set comments='first account', Expires='12/31/2099', DisableOn='6/1/2099', "
                                "disable_user=1 where username='alice'"));
        db->exec(QStringLiteral("update users set disable_user=2 where username='carol'"));
        addEntry(*db, QStringLiteral("alice"), QStringLiteral("c:\\ftp"), QStringLiteral("rwl"), 1);
        addEntry(*db, QStringLiteral("alice"), QStringLiteral("d:\\pub"), QStringLiteral("MCD"), 0);
        program.start();
        AccountsFixture ui(program);

        QCOMPARE(AccountsFixture::texts(ui.users()), QStringList({"alice", "carol"}));
        QCOMPARE(ui.state().currentUser, QStringLiteral("alice"));
        QCOMPARE(ui.box("txtUsername")->text(), QStringLiteral("alice"));
        QCOMPARE(ui.box("txtPassword")->text(), QStringLiteral("[Click Here to Change]"));
        QCOMPARE(ui.notes()->toPlainText(), QStringLiteral("first account"));
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({"c:\\ftp", "d:\\pub"}));
        QCOMPARE(ui.state().accessRuleList, QStringLiteral("alice|c:\\ftp|rwl|1\u00A7alice|d:\\pub|MCD|0"));
        QCOMPARE(ui.label("lblExpires")->text(), QStringLiteral("This user's account will expire on 12/31/2099"));
        // The disabled flag wins over the disable date.
        QCOMPARE(ui.label("lblDisabled")->text(), QStringLiteral("This user's account has been disabled"));
        QCOMPARE(ui.label("lblDisabled")->palette().color(QPalette::WindowText), QColor(255, 0, 0));

        // The entries' letters, read in any case and order.
        AccountsFixture::clickRow(ui.entries(), 0);
        QCOMPARE(ui.checkedBoxes(), QStringLiteral("RWLI"));
        AccountsFixture::clickRow(ui.entries(), 1);
        QCOMPARE(ui.checkedBoxes(), QStringLiteral("MCD"));

        // An account without notes, dates or a disable flag of 1.
        AccountsFixture::clickRow(ui.users(), 1);
        QCOMPARE(ui.state().currentUser, QStringLiteral("carol"));
        QCOMPARE(ui.notes()->toPlainText(), QString());
        QCOMPARE(ui.state().accessRuleList, QString());
        QCOMPARE(ui.label("lblExpires")->text(), QStringLiteral("This account is not set to expire. Click Here to set date."));
        QCOMPARE(ui.label("lblDisabled")->text(), QStringLiteral("This account is not set to be disabled. Click Here to set date."));
        QCOMPARE(ui.label("lblDisabled")->palette().color(QPalette::WindowText),
                 QApplication::palette().color(QPalette::ButtonText));
    }

    void findBoxNarrowsTheList_data() { addEngineRows(); }
    void findBoxNarrowsTheList()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        for (int first = 0; first < 3000; first += 500) {
            QStringList rows;
            for (int n = first; n < first + 500; ++n)
                rows << QStringLiteral("('acct%1', 'c:\\ftp', 'pw', 1, 1, 0)").arg(n, 4, 10, QLatin1Char('0'));
            db->exec(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, "
                                    "quota_current) VALUES ") + rows.join(QLatin1Char(',')));
        }
        addAccount(*db, QStringLiteral("Bob"), QStringLiteral("c:\\ftp"));
        db->exec(QStringLiteral("update users set disable_user=2 where username='Bob'"));
        program.start();
        AccountsFixture ui(program);
        QLineEdit* find = ui.box("txtFind");
        QLabel* count = ui.label("lblAccountCount");
        QCOMPARE(count->text(), QStringLiteral("3,001 accounts"));

        // Typing narrows the list, ignoring case; the page keeps the account it shows.
        QTest::keyClicks(find, QStringLiteral("CT29"));
        QCOMPARE(ui.users()->count(), 100);
        QCOMPARE(count->text(), QStringLiteral("100 of 3,001"));
        QCOMPARE(ui.state().currentUser, QStringLiteral("Bob"));
        AccountsFixture::clickRow(ui.users(), 5);
        QCOMPARE(ui.box("txtUsername")->text(), QStringLiteral("acct2905"));
        QTest::keyClick(ui.users(), Qt::Key_Down);
        QCOMPARE(ui.state().currentUser, QStringLiteral("acct2906"));

        // A disabled account is muted and says why.
        find->clear();
        QTest::keyClicks(find, QStringLiteral("bo"));
        QCOMPARE(AccountsFixture::texts(ui.users()), QStringList({"Bob"}));
        QCOMPARE(ui.users()->item(0)->toolTip(), QStringLiteral("This account is disabled."));
        QCOMPARE(ui.users()->item(0)->foreground().color(), ui.users()->palette().color(QPalette::Disabled, QPalette::Text));
        QCOMPARE(ui.state().currentUser, QStringLiteral("acct2906"));

        // Esc brings every account back with the shown one selected, and a save reselects it.
        QTest::keyClick(find, Qt::Key_Escape);
        QCOMPARE(find->text(), QString());
        QCOMPARE(count->text(), QStringLiteral("3,001 accounts"));
        QCOMPARE(ui.users()->currentItem()->text(), QStringLiteral("acct2906"));
        QVERIFY(ui.users()->currentItem()->isSelected());
        ui.type(ui.box("txtHomeDir"), ui.folder(QStringLiteral("a")));
        ui.click("cmdStore");
        QCOMPARE(ui.users()->currentRow(), 2907);
        QCOMPARE(ui.state().currentUser, QStringLiteral("acct2906"));
        QCOMPARE(db->column(QStringLiteral("select homedir from users where username='acct2906'")),
                 QStringList({ui.folder(QStringLiteral("a"))}));
    }

    void enablingRulesFollowTheSelections()
    {
        ProgramUnderTest program;
        QVERIFY(startOnTemplate(program));
        AccountsFixture ui(program);
        ui.page().tmrRules_Timer();
        // No user: the dialog buttons and Add are off, Save and New User are not.
        for (const char* off : {"cmdMisc", "cmdQuota", "cmdUpDownRatios", "cmdIPAccess", "cmdAdd", "cmdEdit", "cmdDirDelete"})
            QVERIFY2(!ui.control<QPushButton>(QLatin1String(off))->isEnabled(), off);
        for (const char* on : {"cmdStore", "cmdNew", "cmdDelete", "cmdRestore", "cmdOK"})
            QVERIFY2(ui.control<QPushButton>(QLatin1String(on))->isEnabled(), on);
        QVERIFY(!ui.check("chkRead")->isEnabled());
        QCOMPARE(ui.users()->count(), 0);

        QVERIFY(runOnConfigured(program, {accountInsert(QStringLiteral("bob")),
                                          QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) "
                                                         "VALUES ('bob', 'c:\\ftp', 'RL', 1)")}));
        ui.click("cmdRestore");
        QTRY_VERIFY(ui.control<QPushButton>(QStringLiteral("cmdMisc"))->isEnabled());
        QVERIFY(!ui.control<QPushButton>(QStringLiteral("cmdEdit"))->isEnabled());
        AccountsFixture::clickRow(ui.entries(), 0);
        QTRY_VERIFY(ui.check("chkInherit")->isEnabled());
        QVERIFY(ui.control<QPushButton>(QStringLiteral("cmdDirDelete"))->isEnabled());
        // Clicking into a text box of the page drops the entry's selection.
        QTest::mouseClick(ui.box("txtHomeDir"), Qt::LeftButton);
        QTRY_VERIFY(!ui.check("chkInherit")->isEnabled());

        QVERIFY(!ui.control<QPushButton>(QStringLiteral("cmdStore"))->font().bold());
        ui.state().pageChanged = true;
        QTRY_VERIFY(ui.control<QPushButton>(QStringLiteral("cmdStore"))->font().bold());
    }

    void saveWritesThePageAsTyped_data() { addEngineRows(); }
    void saveWritesThePageAsTyped()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        addAccount(*db, QStringLiteral("bob"), QStringLiteral("c:\\old"), QStringLiteral("secret"));
        addAccount(*db, QStringLiteral("zed"), QStringLiteral("c:\\zed"), QStringLiteral("zz"));
        program.start();
        AccountsFixture ui(program);
        // A POSIX folder keeps its case: it is looked for and stored as typed.
        const QString home = ui.folder(QStringLiteral("Bob/Incoming"));

        // Quotes, percent signs and comment marks are kept as typed.
        ui.type(ui.box("txtHomeDir"), home);
        ui.notes()->setPlainText(QStringLiteral("O'Brien's \"box\" 100% -- ; drop table users"));
        AccountsFixture::leave(ui.notes());
        QVERIFY(ui.state().pageChanged);
        ui.click("cmdStore");
        QVERIFY(ui.prompter().records().isEmpty());
        QVERIFY(!ui.state().pageChanged);

        QCOMPARE(db->column(QStringLiteral("select homedir from users where username='bob'")), QStringList({home}));
        lowerCaseStoredPaths(program.env.context);
        QCOMPARE(db->column(QStringLiteral("select homedir from users where username='bob'")), QStringList({home}));
        QCOMPARE(db->column(QStringLiteral("select comments from users where username='bob'")),
                 QStringList({"O'Brien's \"box\" 100% -- ; drop table users"}));
        // The placeholder left the password alone; the other account is untouched.
        QCOMPARE(db->column(QStringLiteral("select password from users order by username")), QStringList({"secret", "zz"}));
        QCOMPARE(db->column(QStringLiteral("select comments from users where username='zed'")), QStringList({""}));

        // A typed password replaces the stored one; notes of only blanks are stored as NULL.
        ui.type(ui.box("txtHomeDir"), home);
        ui.type(ui.box("txtPassword"), QStringLiteral("n3w'pass"));
        ui.notes()->setPlainText(QStringLiteral("   "));
        ui.click("cmdStore");
        QVERIFY(ui.prompter().records().isEmpty());
        QCOMPARE(db->column(QStringLiteral("select password from users where username='bob'")), QStringList({"n3w'pass"}));
        QCOMPARE(db->count(QStringLiteral("select username from users where username='bob' and comments is null")), 1);
        // After the save the page shows the account again, freshly loaded.
        QCOMPARE(ui.state().currentUser, QStringLiteral("bob"));
        QCOMPARE(ui.box("txtPassword")->text(), QStringLiteral("[Click Here to Change]"));

        // A Windows path is stored lower-cased, as Windows file systems ignore case.
        ui.type(ui.box("txtHomeDir"), QStringLiteral("D:\\FTP\\Users\\Bob"));
        ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("The Home Directory specified is not valid."));
        ui.click("cmdStore");
        QCOMPARE(ui.prompter().unusedSteps(), 0);
        QCOMPARE(db->column(QStringLiteral("select homedir from users where username='bob'")), QStringList({"d:\\ftp\\users\\bob"}));
    }

    void saveChecksStopInTheirOrder()
    {
        ProgramUnderTest program;
        QVERIFY(startOnTemplate(program, {accountInsert(QStringLiteral("bob"))}));
        const auto storedHome = [&program] { return storedColumn(program, QStringLiteral("select homedir from users")).value(0); };
        AccountsFixture ui(program);
        const QString valid = ui.folder(QStringLiteral("bob"));
        struct Case
        {
            QString home, password, notes, message;
        };
        const QList<Case> cases{
            {QString(1025, QLatin1Char('h')), QString(46, QLatin1Char('p')), {}, QStringLiteral("Home Directory field ")},
            {valid, QString(46, QLatin1Char('p')), {}, QStringLiteral("Password field ")},
            {valid, QStringLiteral("pw"), QString(40001, QLatin1Char('n')), QStringLiteral("Notes field ")},
            {QStringLiteral("   "), QStringLiteral("pw"), {}, QStringLiteral("Home Directory field cannot be left blank.")},
            {valid, QStringLiteral("   "), {}, QStringLiteral("The Password field must contain at least an alphanumeric character")},
        };
        for (const Case& each : cases) {
            ui.box("txtHomeDir")->setText(each.home);
            ui.box("txtPassword")->setText(each.password);
            ui.notes()->setPlainText(each.notes);
            ui.prompter().reset();
            ui.prompter().answerMessage(prompt::Answer::Ok, each.message);
            ui.click("cmdStore");
            QCOMPARE(ui.prompter().messages().size(), 1);
        }
        // The invalid-path question: Cancel stops, nothing written.
        ui.box("txtHomeDir")->setText(QStringLiteral("/no/such/folder"));
        ui.box("txtPassword")->setText(QStringLiteral("[Click Here to Change]"));
        ui.notes()->clear();
        ui.prompter().reset();
        ui.prompter().answerMessage(prompt::Answer::Cancel, QStringLiteral("Press OK to save as entered, or Cancel to edit."));
        ui.click("cmdStore");
        QCOMPARE(ui.prompter().messages()[0].buttons, prompt::Buttons::OkCancel);
        QCOMPARE(storedHome(), QStringLiteral("c:\\ftp"));

        // A UNC path asks the network question after the path question; only Yes saves.
        for (const auto answer : {prompt::Answer::No, prompt::Answer::Yes}) {
            ui.box("txtHomeDir")->setText(QStringLiteral("\\\\Server\\Share\\Bob"));
            ui.prompter().reset();
            ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("not valid"))
                .answerMessage(answer, QStringLiteral("The Home Directory path specified is a network or UNC path."));
            ui.click("cmdStore");
            QCOMPARE(ui.prompter().messages()[1].defaultAnswer, prompt::Answer::No);
        }
        QCOMPARE(storedHome(), QStringLiteral("\\\\server\\share\\bob"));
    }

    void rightsOfTheSelectedEntryAreSaved_data() { addEngineRows(); }
    void rightsOfTheSelectedEntryAreSaved()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        const QString home = ui.folder(QStringLiteral("bob"));
        addAccount(*db, QStringLiteral("bob"), home);
        addEntry(*db, QStringLiteral("bob"), QStringLiteral("c:\\ftp"), QStringLiteral("RWL"), 1);
        addEntry(*db, QStringLiteral("bob"), QStringLiteral("d:\\pub"), QStringLiteral("L"), 0);
        db->exec(QStringLiteral("update dir_rights set inherit_subdirs=2 where directory='d:\\pub'"));
        program.start();

        // Read, Delete and Make give RMC; Inherit is cleared for this entry.
        AccountsFixture::clickRow(ui.entries(), 0);
        for (const char* name : {"chkWrite", "chkList", "chkInherit"})
            ui.toggle(name);
        for (const char* name : {"chkDelete", "chkMake"})
            ui.toggle(name);
        QCOMPARE(ui.checkedBoxes(), QStringLiteral("RMC"));
        ui.click("cmdStore");
        QCOMPARE(entryRows(*db, QStringLiteral("bob")), QStringList({"c:\\ftp|RMC|0", "d:\\pub|L|2"}));

        // No box checked stores empty rights; an entry whose boxes were changed but
        // which is no longer selected keeps its letters.
        AccountsFixture::clickRow(ui.entries(), 1);
        ui.toggle("chkList");
        QCOMPARE(ui.checkedBoxes(), QString());
        ui.click("cmdStore");
        QCOMPARE(entryRows(*db, QStringLiteral("bob")), QStringList({"c:\\ftp|RMC|0", "d:\\pub||0"}));
    }

    void entriesAreAddedEditedDeletedAndMoved_data() { addEngineRows(); }
    void entriesAreAddedEditedDeletedAndMoved()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        // Mixed-case POSIX folders are found and stored as typed.
        const QString ftp = ui.folder(QStringLiteral("Root"));
        const QString pub = ui.folder(QStringLiteral("Pub"));
        const QString sub = ui.folder(QStringLiteral("Root/Sub"));
        program.env.settings.saveRegSetting(QStringLiteral("ftp_directory"), ftp + QLatin1Char('/'));
        addAccount(*db, QStringLiteral("bob"), ftp);
        addEntry(*db, QStringLiteral("bob"), sub, QStringLiteral("R"), 0);
        program.start();

        // Add proposes the FTP directory without its trailing separator.
        QString proposed;
        ui.prompter().onModal(QStringLiteral("frmAddEditDir"), [&](QWidget* dialog) {
            QCOMPARE(dialog->windowTitle(), QStringLiteral("Add Path"));
            proposed = dialog->findChild<QLineEdit*>(QStringLiteral("txtPath"))->text();
            QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
        });
        ui.click("cmdAdd");
        QCOMPARE(proposed, ftp);
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({sub, ftp}));
        QVERIFY(ui.state().accessRuleList.endsWith(QStringLiteral("\u00A7bob|") + ftp + QStringLiteral("|RL|1")));

        // A path that does not exist, and an empty one, keep the dialog open.
        ui.prompter().onModal(QStringLiteral("frmAddEditDir"), [&](QWidget* dialog) {
            auto* path = dialog->findChild<QLineEdit*>(QStringLiteral("txtPath"));
            auto* ok = dialog->findChild<QPushButton*>(QStringLiteral("cmdOK"));
            path->setText(QStringLiteral("/no/such/place"));
            ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("The path specified is not valid."));
            QTest::mouseClick(ok, Qt::LeftButton);
            QVERIFY(dialog->isVisible());
            path->setText(QStringLiteral("  "));
            ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("Please enter a path"));
            QTest::mouseClick(ok, Qt::LeftButton);
            QVERIFY(dialog->isVisible());
            QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("cmdCancel")), Qt::LeftButton);
        });
        ui.click("cmdAdd");
        QCOMPARE(ui.entries()->count(), 2);

        // Editing the root entry changes it alone, not the entry of its subfolder.
        AccountsFixture::clickRow(ui.entries(), 1);
        ui.prompter().onModal(QStringLiteral("frmAddEditDir"), [&](QWidget* dialog) {
            QCOMPARE(dialog->windowTitle(), QStringLiteral("Edit Path"));
            dialog->findChild<QLineEdit*>(QStringLiteral("txtPath"))->setText(pub);
            QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
        });
        ui.click("cmdEdit");
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({sub, pub}));

        // Up and Down change the shown order only; the rows keep the entries' order.
        AccountsFixture::clickRow(ui.entries(), 1);
        ui.click("cmdUp");
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({pub, sub}));
        QCOMPARE(ui.entries()->currentRow(), 0);
        ui.click("cmdUp");
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({pub, sub}));
        ui.click("cmdStore");
        QCOMPARE(entryRows(*db, QStringLiteral("bob")), QStringList({sub + QStringLiteral("|R|0"), pub + QStringLiteral("|RL|1")}));
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({sub, pub}));

        // Delete, then Restore brings the entry back; delete and save removes its row.
        AccountsFixture::clickRow(ui.entries(), 0);
        ui.click("cmdDirDelete");
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({pub}));
        QVERIFY(ui.state().pageChanged);
        ui.click("cmdRestore");
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({sub, pub}));
        AccountsFixture::clickRow(ui.entries(), 0);
        ui.click("cmdDirDelete");
        ui.click("cmdStore");
        QCOMPARE(entryRows(*db, QStringLiteral("bob")), QStringList({pub + QStringLiteral("|RL|1")}));
        lowerCaseStoredPaths(program.env.context);
        QCOMPARE(entryRows(*db, QStringLiteral("bob")), QStringList({pub + QStringLiteral("|RL|1")}));
    }

    void deleteRemovesEveryRowOfTheAccount_data() { addEngineRows(); }
    void deleteRemovesEveryRowOfTheAccount()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        for (const char* name : {"alice", "bob", "o'hara"}) {
            addAccount(*db, QLatin1String(name), QStringLiteral("c:\\ftp"));
            addEntry(*db, QLatin1String(name), QStringLiteral("c:\\ftp"), QStringLiteral("R"), 1);
        }
        for (const char* name : {"o'hara", "*"}) {
            db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values (%1, '10.0.0.1')").arg(sqlQuote(QLatin1String(name))));
            db->exec(QStringLiteral("insert into ratio_free_files (username, filename) values (%1, 'a')").arg(sqlQuote(QLatin1String(name))));
            db->exec(QStringLiteral("insert into file_rights (username, filename, file_rights) values (%1, 'a', 'R')")
                         .arg(sqlQuote(QLatin1String(name))));
        }
        program.start();
        AccountsFixture ui(program);

        // No and Cancel delete nothing but show the first user again.
        AccountsFixture::clickRow(ui.users(), 2);
        QCOMPARE(ui.state().currentUser, QStringLiteral("o'hara"));
        for (const auto answer : {prompt::Answer::No, prompt::Answer::Cancel}) {
            ui.prompter().answerMessage(answer, QStringLiteral("Are you sure you want to delete o'hara?"));
            ui.click("cmdDelete");
            QCOMPARE(ui.state().currentUser, QStringLiteral("alice"));
            AccountsFixture::clickRow(ui.users(), 2);
        }
        const auto question = ui.prompter().messages().first();
        QCOMPARE(question.caption, QStringLiteral("Warning: Deleting a user is permanent."));
        QCOMPARE(question.defaultAnswer, prompt::Answer::No);
        QCOMPARE(question.icon, prompt::Icon::Exclamation);

        ui.prompter().answerMessage(prompt::Answer::Yes);
        ui.click("cmdDelete");
        for (const char* table : {"users", "dir_rights", "file_rights", "ratio_free_files", "blocked_ips_by_user"})
            QCOMPARE(db->count(QStringLiteral("select username from %1 where username='o''hara'").arg(QLatin1String(table))), 0);
        QCOMPARE(db->count(QStringLiteral("select username from blocked_ips_by_user where username='*'")), 1);
        QCOMPARE(AccountsFixture::texts(ui.users()), QStringList({"alice", "bob"}));
        QCOMPARE(ui.state().currentUser, QStringLiteral("alice"));
    }

    void deletingTheOnlyAccountEmptiesThePage()
    {
        ProgramUnderTest program;
        QVERIFY(startOnTemplate(program, {accountInsert(QStringLiteral("solo"))}));
        AccountsFixture ui(program);
        ui.prompter().answerMessage(prompt::Answer::Yes);
        ui.click("cmdDelete");
        QCOMPARE(ui.users()->count(), 0);
        for (const char* name : {"txtUsername", "txtHomeDir", "txtPassword"})
            QCOMPARE(ui.box(name)->text(), QString());
        QCOMPARE(ui.notes()->toPlainText(), QString());
        QCOMPARE(ui.entries()->count(), 0);
        ui.page().tmrRules_Timer();
        QVERIFY(!ui.control<QPushButton>(QStringLiteral("cmdMisc"))->isEnabled());
    }

    void passwordPlaceholderComesAndGoes()
    {
        ProgramUnderTest program;
        QVERIFY(startOnTemplate(program));
        AccountsFixture ui(program);
        QLineEdit* password = ui.box("txtPassword");
        password->setText(QStringLiteral("[Click Here to Change]"));
        AccountsFixture::enter(password);
        QCOMPARE(password->text(), QString());
        AccountsFixture::leave(password);
        QCOMPARE(password->text(), QStringLiteral("[Click Here to Change]"));
        AccountsFixture::enter(password);
        QTest::keyClicks(password, QStringLiteral("typed"));
        AccountsFixture::leave(password);
        QCOMPARE(password->text(), QStringLiteral("typed"));
        // Only the exact placeholder is emptied.
        password->setText(QStringLiteral("[click here to change]"));
        AccountsFixture::enter(password);
        QCOMPARE(password->text(), QStringLiteral("[click here to change]"));
    }

    // A statement that fails part-way through a save leaves the database as it was.
    void saveLandsWholeOrNotAtAll_data() { addEngineRows(); }
    void saveLandsWholeOrNotAtAll()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        const QString home = ui.folder(QStringLiteral("bob"));
        const QString refused = ui.folder(QStringLiteral("refused"));
        addAccount(*db, QStringLiteral("bob"), home);
        addEntry(*db, QStringLiteral("bob"), QStringLiteral("c:\\ftp"), QStringLiteral("RL"), 1);
        addEntry(*db, QStringLiteral("bob"), refused, QStringLiteral("R"), 0);
        if (db->engine() == TestEngine::Sqlite) {
            db->exec(QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON dir_rights WHEN NEW.directory LIKE '%refused%' "
                                    "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
        } else {
            db->exec(QStringLiteral("CREATE FUNCTION refuse() RETURNS trigger AS $$ BEGIN IF NEW.directory LIKE '%refused%' THEN "
                                    "RAISE EXCEPTION 'refused'; END IF; RETURN NEW; END $$ LANGUAGE plpgsql"));
            db->exec(QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON dir_rights FOR EACH ROW EXECUTE FUNCTION refuse()"));
        }
        program.start();
        const QStringList before = entryRows(*db, QStringLiteral("bob"));
        const auto failingSave = [&ui] {
            ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("The database specified may have incorrect tables"));
            ui.click("cmdStore");
            QCOMPARE(ui.prompter().unusedSteps(), 0);
        };

        // An update: the notes, the deleted rows and the re-inserted ones all go back.
        ui.notes()->setPlainText(QStringLiteral("kept on the page"));
        failingSave();
        QCOMPARE(ui.notes()->toPlainText(), QStringLiteral("kept on the page"));
        QCOMPARE(entryRows(*db, QStringLiteral("bob")), before);
        QCOMPARE(db->count(QStringLiteral("select username from users where comments is null")), 1);

        // A copy: no account without its rows, and the page still holds the pending copy.
        ui.prompter().answerMessage(prompt::Answer::Yes).answerInput(QStringLiteral("carol")).answerInput(QStringLiteral("pw"));
        AccountsFixture::enter(ui.box("txtUsername"));
        QCoreApplication::processEvents();
        failingSave();
        QCOMPARE(ui.state().saveMode, SaveMode::Copy);
        QCOMPARE(db->count(QStringLiteral("select username from users")), 1);

        // Once the database takes it, the copy is inserted once.
        db->exec(QStringLiteral("DROP TRIGGER refuse") + (db->engine() == TestEngine::Sqlite ? QString() : QStringLiteral(" ON dir_rights")));
        ui.click("cmdStore");
        QCOMPARE(ui.state().saveMode, SaveMode::Update);
        QCOMPARE(db->column(QStringLiteral("select username from users order by username")), QStringList({"bob", "carol"}));
        QCOMPARE(entryRows(*db, QStringLiteral("carol")), before);

        // A home directory the engine's column cannot hold is refused before anything is written.
        if (db->engine() == TestEngine::PostgreSql) {
            ui.box("txtHomeDir")->setText(QString(600, QLatin1Char('h')));
            ui.prompter()
                .answerMessage(prompt::Answer::Ok, QStringLiteral("not valid"))
                .answerMessage(prompt::Answer::Ok, QStringLiteral("The number of characters in the Home Directory field"));
            ui.click("cmdStore");
            QCOMPARE(ui.prompter().unusedSteps(), 0);
        }
        QVERIFY(!program.env.process.hasEnded());
    }

    // Rows that other tools wrote: separators in names and paths, an account called
    // "*", notes longer than a save keeps.
    void rowsOfOtherToolsSurviveThePage_data() { addEngineRows(); }
    void rowsOfOtherToolsSurviveThePage()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        const QString name = QStringLiteral("a|b\u00A7c");
        const QString odd = QStringLiteral("c:\\x|y\u00A7z 100%7c");
        addAccount(*db, name, ui.folder(QStringLiteral("odd")));
        addEntry(*db, name, odd, QStringLiteral("RW"), 1);
        addEntry(*db, name, QStringLiteral("c:\\plain"), QStringLiteral("L"), 0);
        addAccount(*db, QStringLiteral("*"), QStringLiteral("c:\\ftp"));
        db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values ('*', '10.0.0.1')"));
        addEntry(*db, QStringLiteral("*"), QStringLiteral("c:\\global"), QStringLiteral("R"), 1);
        const bool longNotes = db->engine() == TestEngine::Sqlite;
        if (longNotes)
            db->exec(QStringLiteral("update users set comments=%1 where username=%2").arg(sqlQuote(QString(100000, QLatin1Char('n'))), sqlQuote(name)));
        program.start();

        AccountsFixture::clickRow(ui.users(), 1);
        QCOMPARE(ui.state().currentUser, name);
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({odd, QStringLiteral("c:\\plain")}));
        AccountsFixture::clickRow(ui.entries(), 0);
        QCOMPARE(ui.checkedBoxes(), QStringLiteral("RWI"));
        if (longNotes) {
            QCOMPARE(ui.notes()->toPlainText().size(), 40000);
            QVERIFY(ui.label("lblNotesCut")->isVisibleTo(&ui.main()));
        }
        ui.click("cmdStore");
        QCOMPARE(entryRows(*db, name), QStringList({odd + QStringLiteral("|RW|1"), QStringLiteral("c:\\plain|L|0")}));
        // Notes left as shown keep their stored text; edited ones are saved as shown.
        if (longNotes) {
            QCOMPARE(db->column(QStringLiteral("select length(comments) from users where username=%1").arg(sqlQuote(name))), QStringList({"100000"}));
            ui.notes()->setPlainText(QStringLiteral("short now"));
            ui.click("cmdStore");
            QCOMPARE(db->column(QStringLiteral("select comments from users where username=%1").arg(sqlQuote(name))), QStringList({"short now"}));
            QVERIFY(!ui.label("lblNotesCut")->isVisibleTo(&ui.main()));
        }

        // Deleting the account called "*" leaves the rows that hold for every account.
        AccountsFixture::clickRow(ui.users(), 0);
        QCOMPARE(ui.state().currentUser, QStringLiteral("*"));
        ui.prompter().answerMessage(prompt::Answer::Yes);
        ui.click("cmdDelete");
        QCOMPARE(db->count(QStringLiteral("select username from users where username='*'")), 0);
        QCOMPARE(db->count(QStringLiteral("select username from blocked_ips_by_user where username='*'")), 1);
        QCOMPARE(db->count(QStringLiteral("select username from dir_rights where username='*'")), 1);
    }
};

QUILLMERE_TEST(TestUserPage)
#include "TestUserPage.moc"
