#include "AccountsFixture.h"
#include "TestMain.h"

#include "shell/AccountSweep.h"

#include <QApplication>
#include <QCoreApplication>

using prompt::Answer;

namespace {
const QString Placeholder = UserPage::PasswordPlaceholder;
const QString InUse = QStringLiteral("That username is already in use.");
const QString MayNot = QStringLiteral("A user name may not");
const QString NotValid = QStringLiteral("The Home Directory specified is not valid.");
const QString DatabaseError = QStringLiteral("The database specified may have incorrect tables");
} // namespace

// The user list and the user page: what the random walk of TestUserPageModel does not
// reach (the find box, the enabling rules, the labels, the checks of a save and of the
// dialogs, rows of other tables and tools) and the faults found before it. Each case
// drives the window and then reads the database.
class TestUserPage : public QObject
{
    Q_OBJECT

    static QStringList entryRows(TestDatabase& db, const QString& name)
    {
        return db.column(QStringLiteral("select directory || '|' || dir_rights || '|' || inherit_subdirs from dir_rights "
                                        "where username=%1").arg(sqlQuote(name)));
    }
    // Clicks Save with the message boxes it must show answered OK, and checks that they all came.
    static void save(AccountsFixture& ui, const QStringList& messages = {})
    {
        for (const QString& text : messages)
            ui.prompter().answerMessage(Answer::Ok, text);
        ui.click("cmdStore");
        QCOMPARE(ui.prompter().unusedSteps(), 0);
    }
    // Yes and the new name for the copy dialogue, which entering the user name box starts.
    static ScriptedPrompter& copyAs(AccountsFixture& ui, const QString& name)
    {
        return ui.prompter().answerMessage(Answer::Yes, QStringLiteral("Changing the username will create another")).answerInput(name);
    }
    static void enterUserName(AccountsFixture& ui)
    {
        AccountsFixture::enter(ui.box("txtUsername"));
        QCoreApplication::processEvents();
    }
    static void fillNewUser(QWidget* dialog, const QString& name, const QString& password)
    {
        AccountsFixture::retype(AccountsFixture::box(dialog, "txtNewName"), name);
        AccountsFixture::retype(AccountsFixture::box(dialog, "txtPassword"), password);
        AccountsFixture::click(dialog, "cmdOK");
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
        const auto shown = [&ui] {
            return QStringList{ui.state().currentUser, ui.box("txtUsername")->text(), ui.box("txtPassword")->text(),
                               ui.notes()->toPlainText(), AccountsFixture::texts(ui.entries()).join(QLatin1Char(';')),
                               ui.state().accessRuleList, ui.label("lblExpires")->text(), ui.label("lblDisabled")->text(),
                               ui.label("lblDisabled")->palette().color(QPalette::WindowText).name()};
        };

        QCOMPARE(AccountsFixture::texts(ui.users()), QStringList({"alice", "carol"}));
        // The disabled flag wins over the disable date.
        QCOMPARE(shown(), QStringList({"alice", "alice", Placeholder, "first account", "c:\\ftp;d:\\pub",
                                       "alice|c:\\ftp|rwl|1\u00A7alice|d:\\pub|MCD|0", "This user's account will expire on 12/31/2099",
                                       "This user's account has been disabled", "#ff0000"}));
        // The entries' letters, read in any case and order.
        AccountsFixture::clickRow(ui.entries(), 0);
        QCOMPARE(ui.checkedBoxes(), QStringLiteral("RWLI"));
        AccountsFixture::clickRow(ui.entries(), 1);
        QCOMPARE(ui.checkedBoxes(), QStringLiteral("MCD"));

        // An account without notes, dates or a disable flag of 1.
        AccountsFixture::clickRow(ui.users(), 1);
        QCOMPARE(shown(), QStringList({"carol", "carol", Placeholder, "", "", "", "This account is not set to expire. Click Here to set date.",
                                       "This account is not set to be disabled. Click Here to set date.",
                                       QApplication::palette().color(QPalette::ButtonText).name()}));
    }

    void findBoxNarrowsTheList_data() { addEngineRows(); }
    void findBoxNarrowsTheList()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        for (int first = 0; first < 3000; first += 500) {
            QStringList rows;
            for (int n = first; n < first + 500; ++n)
                rows << QStringLiteral("('acct%1', 'c:\\ftp', 'pw', 1, 1)").arg(n, 4, 10, QLatin1Char('0'));
            db->exec(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip) VALUES ")
                     + rows.join(QLatin1Char(',')));
        }
        db->exec(accountInsert(QStringLiteral("Bob"), QStringLiteral("disable_user"), QStringLiteral("2")));
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
        ui.selectUser(5);
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
        AccountsFixture::type(ui.box("txtHomeDir"), ui.folder(QStringLiteral("a")));
        save(ui);
        QCOMPARE(ui.users()->currentRow(), 2907);
        QCOMPARE(ui.state().currentUser, QStringLiteral("acct2906"));
        QCOMPARE(db->column(QStringLiteral("select homedir from users where username='acct2906'")), QStringList({ui.folder(QStringLiteral("a"))}));
    }

    void enablingRulesFollowTheSelections()
    {
        ProgramUnderTest program;
        const QString entry = QStringLiteral("INSERT INTO dir_rights (username, directory, dir_rights, inherit_subdirs) VALUES ('%1', 'c:\\ftp', 'RL', 1)");
        QVERIFY(startOnTemplate(program, {accountInsert(QStringLiteral("solo")), entry.arg(QStringLiteral("solo"))}));
        AccountsFixture ui(program);
        // Deleting the only account empties the page.
        QCOMPARE(ui.entries()->count(), 1);
        ui.prompter().answerMessage(Answer::Yes);
        ui.click("cmdDelete");
        QCOMPARE((QStringList{AccountsFixture::texts(ui.users()).join(QString()), ui.box("txtUsername")->text(), ui.box("txtHomeDir")->text(),
                              ui.box("txtPassword")->text(), ui.notes()->toPlainText(), AccountsFixture::texts(ui.entries()).join(QString())}),
                 QStringList(6, QString()));
        // No user: the dialog buttons and Add are off, Save and New User are not.
        ui.page().tmrRules_Timer();
        for (const char* off : {"cmdMisc", "cmdQuota", "cmdUpDownRatios", "cmdIPAccess", "cmdAdd", "cmdEdit", "cmdDirDelete", "chkRead"})
            QVERIFY2(!ui.enabled(off), off);
        for (const char* on : {"cmdStore", "cmdNew", "cmdDelete", "cmdRestore", "cmdOK"})
            QVERIFY2(ui.enabled(on), on);

        QVERIFY(runOnConfigured(program, {accountInsert(QStringLiteral("bob")), entry.arg(QStringLiteral("bob"))}));
        ui.click("cmdRestore");
        QTRY_VERIFY(ui.enabled("cmdMisc"));
        QVERIFY(!ui.enabled("cmdEdit"));
        AccountsFixture::clickRow(ui.entries(), 0);
        QTRY_VERIFY(ui.enabled("chkInherit"));
        QVERIFY(ui.enabled("cmdDirDelete"));
        // Clicking into a text box of the page drops the entry's selection.
        QTest::mouseClick(ui.box("txtHomeDir"), Qt::LeftButton);
        QTRY_VERIFY(!ui.enabled("chkInherit"));

        QVERIFY(!ui.control<QPushButton>(QStringLiteral("cmdStore"))->font().bold());
        ui.state().pageChanged = true;
        QTRY_VERIFY(ui.control<QPushButton>(QStringLiteral("cmdStore"))->font().bold());
    }

    // A save writes the page as typed, or stops at its first check before anything is written.
    void saveWritesThePageOrStopsInOrder_data() { addEngineRows(); }
    void saveWritesThePageOrStopsInOrder()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        addAccount(*db, QStringLiteral("bob"), QStringLiteral("c:\\old"), QStringLiteral("secret"));
        addAccount(*db, QStringLiteral("zed"), QStringLiteral("c:\\zed"), QStringLiteral("zz"));
        program.start();
        AccountsFixture ui(program);
        const auto stored = [&db] { return db->column(QStringLiteral("select homedir || '|' || password || '|' || coalesce(comments, '') "
                                                                     "from users order by username")); };
        // A POSIX folder keeps its case: it is looked for and stored as typed, and the start-up leaves it.
        const QString home = ui.folder(QStringLiteral("Bob/Incoming"));
        const QString notes = QStringLiteral("O'Brien's \"box\" 100% -- ; drop table users");
        AccountsFixture::type(ui.box("txtHomeDir"), home);
        ui.notes()->setPlainText(notes);
        AccountsFixture::leave(ui.notes());
        QVERIFY(ui.state().pageChanged);
        save(ui);
        QVERIFY(!ui.state().pageChanged);
        lowerCaseStoredPaths(program.env.context);
        // The placeholder left the password alone; the other account is untouched.
        QCOMPARE(stored(), QStringList({home + "|secret|" + notes, "c:\\zed|zz|"}));

        const QString unc = QStringLiteral("\\\\Server\\Share\\Bob"), network = QStringLiteral("is a network or UNC path.");
        struct Case
        {
            QString home, password, notes;
            QList<std::pair<Answer, QString>> prompts;
            QString storedHome; // when the save lands
        };
        const QList<Case> cases{
            {QString(1025, QLatin1Char('h')), QString(46, QLatin1Char('p')), {}, {{Answer::Ok, "Home Directory field "}}, {}},
            {home, QString(46, QLatin1Char('p')), {}, {{Answer::Ok, "Password field "}}, {}},
            {home, "pw", QString(40001, QLatin1Char('n')), {{Answer::Ok, "Notes field "}}, {}},
            {"   ", "pw", {}, {{Answer::Ok, "Home Directory field cannot be left blank."}}, {}},
            {home, "   ", {}, {{Answer::Ok, "The Password field must contain at least an alphanumeric character"}}, {}},
            {"/no/such/folder", Placeholder, {}, {{Answer::Cancel, "Press OK to save as entered, or Cancel to edit."}}, {}},
            {unc, Placeholder, {}, {{Answer::Ok, NotValid}, {Answer::No, network}}, {}},
            // A Windows path is stored lower-cased, as Windows file systems ignore case; a UNC path only after Yes.
            {"D:\\FTP\\Users\\Bob", Placeholder, {}, {{Answer::Ok, NotValid}}, "d:\\ftp\\users\\bob"},
            {unc, Placeholder, {}, {{Answer::Ok, NotValid}, {Answer::Yes, network}}, "\\\\server\\share\\bob"},
        };
        QString storedHome = home;
        for (const Case& each : cases) {
            ui.box("txtHomeDir")->setText(each.home);
            ui.box("txtPassword")->setText(each.password);
            ui.notes()->setPlainText(each.notes);
            ui.prompter().reset();
            for (const auto& [answer, text] : each.prompts)
                ui.prompter().answerMessage(answer, text);
            ui.click("cmdStore");
            QCOMPARE(ui.prompter().messages().size(), each.prompts.size());
            storedHome = each.storedHome.isEmpty() ? storedHome : each.storedHome;
            QCOMPARE(db->column(QStringLiteral("select homedir from users where username='bob'")), QStringList({storedHome}));
        }
        QCOMPARE(ui.prompter().messages()[0].buttons, prompt::Buttons::OkCancel);
        QCOMPARE(ui.prompter().messages()[1].defaultAnswer, Answer::No);
        QCOMPARE(stored(), QStringList({storedHome + "|secret|", "c:\\zed|zz|"}));
    }

    // Add proposes the FTP directory and refuses a path that is no folder; mixed-case POSIX
    // folders are found and stored as typed, and the start-up leaves them so.
    void entriesFromThePathDialog_data() { addEngineRows(); }
    void entriesFromThePathDialog()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        const QString ftp = ui.folder(QStringLiteral("Root")), sub = ui.folder(QStringLiteral("Root/Sub"));
        program.env.settings.saveRegSetting(QStringLiteral("ftp_directory"), ftp + QLatin1Char('/'));
        addAccount(*db, QStringLiteral("bob"), ftp);
        addEntry(*db, QStringLiteral("bob"), sub, QStringLiteral("R"), 2);
        program.start();
        // The first path is typed (or, if null, left as proposed) and OK clicked; the others refused with their message.
        const auto addPath = [&ui](const QStringList& paths, const QStringList& messages) {
            ui.prompter().onModal(QStringLiteral("frmAddEditDir"), [=, &ui](QWidget* dialog) {
                QCOMPARE(dialog->windowTitle(), QStringLiteral("Add Path"));
                for (qsizetype at = 0; at < paths.size(); ++at) {
                    if (at < messages.size())
                        ui.prompter().answerMessage(Answer::Ok, messages[at]);
                    if (!paths[at].isNull())
                        AccountsFixture::box(dialog, "txtPath")->setText(paths[at]);
                    AccountsFixture::click(dialog, "cmdOK");
                    QCOMPARE(dialog->isVisible(), at < messages.size());
                }
                if (dialog->isVisible())
                    AccountsFixture::click(dialog, "cmdCancel");
            });
            ui.click("cmdAdd");
        };
        // A path that does not exist, and an empty one, keep the dialog open.
        addPath({QStringLiteral("/no/such/place"), QStringLiteral("  ")},
                {QStringLiteral("The path specified is not valid."), QStringLiteral("Please enter a path")});
        QCOMPARE(ui.entries()->count(), 1);
        addPath({QString()}, {});
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({sub, ftp}));
        QVERIFY(ui.state().accessRuleList.endsWith(QStringLiteral("\u00A7bob|") + ftp + QStringLiteral("|RL|1")));

        // The boxes give the selected entry's rights; the other keeps its letters and its stored inherit flag.
        AccountsFixture::clickRow(ui.entries(), 1);
        for (const char* name : {"chkList", "chkInherit", "chkDelete", "chkMake"})
            ui.click(name);
        QCOMPARE(ui.checkedBoxes(), QStringLiteral("RMC"));
        save(ui);
        lowerCaseStoredPaths(program.env.context);
        QCOMPARE(entryRows(*db, QStringLiteral("bob")), QStringList({sub + "|R|2", ftp + "|RMC|0"}));
    }

    void deleteRemovesEveryRowOfTheAccount_data() { addEngineRows(); }
    void deleteRemovesEveryRowOfTheAccount()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        for (const char* name : {"*", "alice", "o'hara"}) {
            const QString quoted = sqlQuote(QLatin1String(name));
            addAccount(*db, QLatin1String(name), QStringLiteral("c:\\ftp"));
            addEntry(*db, QLatin1String(name), QStringLiteral("c:\\ftp"), QStringLiteral("R"), 1);
            db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values (%1, '10.0.0.1')").arg(quoted));
            db->exec(QStringLiteral("insert into ratio_free_files (username, filename) values (%1, 'a')").arg(quoted));
            db->exec(QStringLiteral("insert into file_rights (username, filename, file_rights) values (%1, 'a', 'R')").arg(quoted));
        }
        program.start();
        AccountsFixture ui(program);
        const auto rows = [&db](const char* name) {
            QStringList counts;
            for (const char* table : {"users", "dir_rights", "file_rights", "ratio_free_files", "blocked_ips_by_user"})
                counts << QString::number(db->count(QStringLiteral("select username from %1 where username=%2")
                                                        .arg(QLatin1String(table), sqlQuote(QLatin1String(name)))));
            return counts.join(QLatin1Char(','));
        };

        // No and Cancel delete nothing but show the first user again.
        for (const auto answer : {Answer::No, Answer::Cancel, Answer::Yes}) {
            ui.selectUser(2);
            ui.prompter().answerMessage(answer, QStringLiteral("Are you sure you want to delete o'hara?"));
            ui.click("cmdDelete");
            QCOMPARE(ui.state().currentUser, QStringLiteral("*"));
        }
        const PromptRecord question = ui.prompter().messages().first();
        QCOMPARE(question.caption, QStringLiteral("Warning: Deleting a user is permanent."));
        QCOMPARE(question.defaultAnswer, Answer::No);
        QCOMPARE(question.icon, prompt::Icon::Exclamation);
        QCOMPARE(rows("o'hara"), QStringLiteral("0,0,0,0,0"));
        QCOMPARE(AccountsFixture::texts(ui.users()), QStringList({"*", "alice"}));

        // Deleting the account called "*" leaves the rows that hold for every account.
        ui.prompter().answerMessage(Answer::Yes);
        ui.click("cmdDelete");
        QCOMPARE(rows("*"), QStringLiteral("0,1,1,1,1"));
        QCOMPARE(rows("alice"), QStringLiteral("1,1,1,1,1"));
    }

    // A statement that fails part-way through a save leaves the database as it was. A name in use
    // (in any case), a case-only change, one with a separator or "*" alone never reaches the
    // name box, before or while a copy is pending, and the save checks the name once more.
    void saveLandsWholeOrNotAtAll_data() { addEngineRows(); }
    void saveLandsWholeOrNotAtAll()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        const QString refused = ui.folder(QStringLiteral("refused"));
        addAccount(*db, QStringLiteral("bob"), ui.folder(QStringLiteral("bob")));
        addAccount(*db, QStringLiteral("carol"), QStringLiteral("c:\\ftp"));
        addEntry(*db, QStringLiteral("bob"), QStringLiteral("c:\\ftp"), QStringLiteral("RL"), 1);
        addEntry(*db, QStringLiteral("bob"), refused, QStringLiteral("R"), 0);
        const bool sqlite = db->engine() == TestEngine::Sqlite;
        if (sqlite) {
            db->exec(QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON dir_rights WHEN NEW.directory LIKE '%refused%' "
                                    "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
        } else {
            db->exec(QStringLiteral("CREATE FUNCTION refuse() RETURNS trigger AS $$ BEGIN IF NEW.directory LIKE '%refused%' THEN "
                                    "RAISE EXCEPTION 'refused'; END IF; RETURN NEW; END $$ LANGUAGE plpgsql"));
            db->exec(QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON dir_rights FOR EACH ROW EXECUTE FUNCTION refuse()"));
        }
        program.start();
        const QStringList before = entryRows(*db, QStringLiteral("bob"));
        const auto users = [&db] { return db->column(QStringLiteral("select username from users order by username")).join(QLatin1Char(',')); };
        // The copy dialogue with Yes and the new name (or No or Cancel), and the message that refuses it, if any;
        // then the page's name box, account and save mode.
        const auto copy = [&ui](const char* name, const QString& refusal, Answer answer = Answer::Yes) {
            if (answer != Answer::Yes)
                ui.prompter().answerMessage(answer);
            else
                TestUserPage::copyAs(ui, QString::fromUtf8(name));
            if (!refusal.isEmpty())
                ui.prompter().answerMessage(Answer::Ok, refusal);
            enterUserName(ui);
            return ui.box("txtUsername")->text() + QLatin1Char('|') + ui.state().currentUser + QLatin1Char('|')
                + QString::number(int(ui.state().saveMode));
        };

        // No and Cancel to the copy dialogue change nothing.
        QCOMPARE(copy("", {}, Answer::No), QStringLiteral("bob|bob|0"));
        QCOMPARE(copy("", {}, Answer::Cancel), QStringLiteral("bob|bob|0"));
        // An update: the notes, the deleted rows and the re-inserted ones all go back.
        ui.notes()->setPlainText(QStringLiteral("kept on the page"));
        save(ui, {DatabaseError});
        QCOMPARE(ui.notes()->toPlainText(), QStringLiteral("kept on the page"));
        QCOMPARE(entryRows(*db, QStringLiteral("bob")), before);
        QCOMPARE(db->count(QStringLiteral("select username from users where comments is null")), 2);

        // An update never renames: a case-only change leaves the box as it was, so a save cannot split the account.
        QCOMPARE(copy("BOB", {}), QStringLiteral("bob|bob|0"));
        QVERIFY(ui.state().pageChanged);
        QCOMPARE(copy("CAROL", InUse), QStringLiteral("bob|bob|0"));
        QCOMPARE(ui.prompter().messages().last().caption, QStringLiteral("Username in use"));
        for (const char* name : {"a|b", "x\u00A7y", " * "})
            QCOMPARE(copy(name, MayNot), QStringLiteral("bob|bob|0"));

        // A copy: no account without its rows, and the page still holds the pending copy.
        ui.prompter().reset();
        TestUserPage::copyAs(ui, QStringLiteral("dave")).answerInput(QStringLiteral("pw"));
        enterUserName(ui);
        QCOMPARE(ui.prompter().records()[1].defaultText, QStringLiteral("bob"));
        save(ui, {DatabaseError});
        QCOMPARE(users(), QStringLiteral("bob,carol"));
        QCOMPARE(copy("carol", InUse), QStringLiteral("dave|dave|2"));
        QCOMPARE(copy("Dave", {}), QStringLiteral("dave|dave|2"));
        QCOMPARE(ui.prompter().unusedSteps(), 0);
        // A name another tool took since is checked again at the save, ignoring case.
        QVERIFY(db->exec(accountInsert(QStringLiteral("DAVE"))));
        save(ui, {InUse});
        QCOMPARE(ui.state().saveMode, SaveMode::Copy);
        QVERIFY(db->exec(QStringLiteral("delete from users where username='DAVE'")));

        // Once the database takes it, the copy is inserted once.
        db->exec(QStringLiteral("DROP TRIGGER refuse") + (sqlite ? QString() : QStringLiteral(" ON dir_rights")));
        save(ui);
        QCOMPARE(ui.state().saveMode, SaveMode::Update);
        QCOMPARE(users(), QStringLiteral("bob,carol,dave"));
        QCOMPARE(entryRows(*db, QStringLiteral("dave")), before);

        // A home directory the engine's column cannot hold is refused before anything is written.
        if (!sqlite) {
            ui.box("txtHomeDir")->setText(QString(600, QLatin1Char('h')));
            save(ui, {QStringLiteral("not valid"), QStringLiteral("The number of characters in the Home Directory field")});
        }
        QVERIFY(!program.env.process.hasEnded());
    }

    // Rows that other tools wrote: separators in names and paths, notes longer than a save keeps.
    void rowsOfOtherToolsSurviveThePage_data() { addEngineRows(); }
    void rowsOfOtherToolsSurviveThePage()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        const QString name = QStringLiteral("a|b\u00A7c"), odd = QStringLiteral("c:\\x|y\u00A7z 100%7c");
        const QString notes = QStringLiteral("select comments from users where username=") + sqlQuote(name);
        addAccount(*db, name, ui.folder(QStringLiteral("odd")));
        addEntry(*db, name, odd, QStringLiteral("RW"), 1);
        addEntry(*db, name, QStringLiteral("c:\\plain"), QStringLiteral("L"), 0);
        const bool longNotes = db->engine() == TestEngine::Sqlite;
        if (longNotes)
            db->exec(QStringLiteral("update users set comments=%1 where username=%2").arg(sqlQuote(QString(100000, QLatin1Char('n'))), sqlQuote(name)));
        program.start();

        QCOMPARE(ui.state().currentUser, name);
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({odd, QStringLiteral("c:\\plain")}));
        AccountsFixture::clickRow(ui.entries(), 0);
        QCOMPARE(ui.checkedBoxes(), QStringLiteral("RWI"));
        QCOMPARE(ui.notes()->toPlainText().size(), longNotes ? 40000 : 0);
        QCOMPARE(ui.label("lblNotesCut")->isVisibleTo(&ui.main()), longNotes);
        save(ui);
        QCOMPARE(entryRows(*db, name), QStringList({odd + QStringLiteral("|RW|1"), QStringLiteral("c:\\plain|L|0")}));
        // Notes left as shown keep their stored text; edited ones are saved as shown.
        QCOMPARE(db->column(notes).value(0).size(), longNotes ? 100000 : 0);
        ui.notes()->setPlainText(QStringLiteral("short now"));
        save(ui);
        QCOMPARE(db->column(notes), QStringList({"short now"}));
        QVERIFY(!ui.label("lblNotesCut")->isVisibleTo(&ui.main()));
    }

    void newUserDialog_data() { addEngineRows(); }
    void newUserDialog()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        const QString ftp = ui.folder(QStringLiteral("home"));
        program.env.settings.saveRegSetting(QStringLiteral("ftp_directory"), ftp + QStringLiteral("/  "));
        addAccount(*db, QStringLiteral("existing"), ftp);
        program.start();
        // Fills the new user dialog and clicks OK; true when the dialog stays open.
        const auto newUser = [&ui](const QString& name, const QString& password, const QString& message = {}) {
            ui.click("cmdNew");
            auto* dialog = ui.main().findChild<QWidget*>(QStringLiteral("frmNewName"));
            if (!message.isEmpty())
                ui.prompter().answerMessage(Answer::Ok, message);
            fillNewUser(dialog, name, password);
            return dialog->isVisible();
        };

        // Refused names and passwords keep the dialog open; an empty one says nothing.
        for (const char* forbidden : {"  Anonymous ", "** default **", "DEFAULT", "** anonymous **"})
            QVERIFY(newUser(QLatin1String(forbidden), QStringLiteral("pw"), QStringLiteral("Those are forbidden usernames.")));
        QCOMPARE(ui.main().findChild<QWidget*>(QStringLiteral("frmNewName"))->windowTitle(), QStringLiteral("New User Name"));
        QVERIFY(newUser(QStringLiteral("   "), QStringLiteral("pw")));
        QVERIFY(newUser(QStringLiteral("someone"), QStringLiteral("  ")));
        QVERIFY(newUser(QString(51, QLatin1Char('n')), QStringLiteral("pw"), QStringLiteral("new username field")));
        QVERIFY(newUser(QStringLiteral("someone"), QString(51, QLatin1Char('p')), QStringLiteral("password field")));
        QVERIFY(newUser(QStringLiteral("Existing"), QStringLiteral("pw"), InUse));
        for (const char* refused : {"new|user", "new\u00A7user", "*"})
            QVERIFY(newUser(QString::fromUtf8(refused), QStringLiteral("pw"), MayNot));
        QCOMPARE(ui.prompter().unusedSteps(), 0);
        QCOMPARE(ui.state().saveMode, SaveMode::Update);
        QCOMPARE(db->count(QStringLiteral("select username from users")), 1);

        // Accepted: stored with the FTP directory as home and selected afterwards.
        QVERIFY(!newUser(QStringLiteral("anonymous1"), QStringLiteral("s3cret")));
        QCOMPARE(db->column(QStringLiteral("select homedir || '|' || password || '|' || max_concurrent || '|' || max_logins_per_ip "
                                           "|| '|' || cast(quota_current as integer) from users where username='anonymous1'")),
                 QStringList({ftp + QStringLiteral("|s3cret|1|1|0")}));
        QCOMPARE(db->count(QStringLiteral("select username from users where username='anonymous1' and comments is null "
                                          "and ratio_type is null and timeout is null and Expires is null")), 1);
        QCOMPARE(db->count(QStringLiteral("select username from dir_rights")), 0);
        QCOMPARE(ui.state().currentUser, QStringLiteral("anonymous1"));
        QCOMPARE(ui.state().saveMode, SaveMode::Update);

        // A leading blank is stored, and the new account is then not selected.
        newUser(QStringLiteral(" spaced"), QStringLiteral("pw"));
        QCOMPARE(db->count(QStringLiteral("select username from users where username=' spaced'")), 1);
        QCOMPARE(ui.page().selectedUserIndex(), -1);
        // A 46-character name passes the dialog and is refused by the save, before anything is written.
        newUser(QString(46, QLatin1Char('x')), QStringLiteral("pw"), QStringLiteral("The number of characters in the Username field"));
        newUser(QString(45, QLatin1Char('x')), QStringLiteral("pw"));
        QCOMPARE(ui.prompter().unusedSteps(), 0);
        QCOMPARE(db->count(QStringLiteral("select username from users")), 4);
    }
};

QUILLMERE_TEST(TestUserPage)
#include "TestUserPage.moc"
