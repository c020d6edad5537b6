#include "AccountsFixture.h"
#include "TestMain.h"

#include "services/AccountSweep.h"

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

private slots:
    void init() { QLocale::setDefault(QLocale(QStringLiteral("en_US"))); }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    // The list and the page show the stored accounts; the page's timer enables what the selections allow.
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
        const auto saveIsBold = [&ui] { return ui.control<QPushButton>(QStringLiteral("cmdStore"))->font().bold(); };

        QCOMPARE(AccountsFixture::texts(ui.users()), QStringList({"alice", "carol"}));
        // The disabled flag wins over the disable date.
        QCOMPARE(shown(), QStringList({"alice", "alice", Placeholder, "first account", "c:\\ftp;d:\\pub",
                                       "alice|c:\\ftp|rwl|1\u00A7alice|d:\\pub|MCD|0", "This user's account will expire on 12/31/2099",
                                       "This user's account has been disabled", "#ff0000"}));
        // An account without notes, dates or a disable flag of 1.
        ui.selectUser(1);
        QCOMPARE(shown(), QStringList({"carol", "carol", Placeholder, "", "", "", "This account is not set to expire. Click Here to set date.",
                                       "This account is not set to be disabled. Click Here to set date.",
                                       QApplication::palette().color(QPalette::ButtonText).name()}));

        // The entries' letters, read in any case and order; the boxes and entry buttons wait for an entry.
        ui.selectUser(0);
        QTRY_VERIFY(ui.enabled("cmdMisc") && !ui.enabled("cmdEdit"));
        AccountsFixture::clickRow(ui.entries(), 0);
        QCOMPARE(ui.checkedBoxes(), QStringLiteral("RWLI"));
        QTRY_VERIFY(ui.enabled("chkInherit") && ui.enabled("cmdDirDelete"));
        AccountsFixture::clickRow(ui.entries(), 1);
        QCOMPARE(ui.checkedBoxes(), QStringLiteral("MCD"));
        // Clicking into a text box of the page drops the entry's selection; Save is bold while the page has changes.
        QTest::mouseClick(ui.box("txtHomeDir"), Qt::LeftButton);
        QTRY_VERIFY(!ui.enabled("chkInherit"));
        QVERIFY(!saveIsBold());
        ui.state().pageChanged = true;
        QTRY_VERIFY(saveIsBold());
    }

    void findBoxNarrowsTheList_data() { addEngineRows(); }
    void findBoxNarrowsTheList()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        db->exec(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip) WITH RECURSIVE "
                                "n(i) AS (SELECT 10000 UNION ALL SELECT i + 1 FROM n WHERE i < 12999) SELECT 'acct' || i, 'c:\\ftp', 'pw', 1, 1 FROM n"));
        db->exec(accountInsert(QStringLiteral("Bob"), QStringLiteral("disable_user"), QStringLiteral("2")));
        program.start();
        AccountsFixture ui(program);
        QLineEdit* find = ui.box("txtFind");
        QLabel* count = ui.label("lblAccountCount");
        QCOMPARE(count->text(), QStringLiteral("3,001 accounts"));

        // Typing narrows the list, ignoring case; the page keeps the account it shows.
        QTest::keyClicks(find, QStringLiteral("CT129"));
        QCOMPARE(ui.users()->count(), 100);
        QCOMPARE(count->text(), QStringLiteral("100 of 3,001"));
        QCOMPARE(ui.state().currentUser, QStringLiteral("Bob"));
        ui.selectUser(5);
        QCOMPARE(ui.box("txtUsername")->text(), QStringLiteral("acct12905"));
        QTest::keyClick(ui.users(), Qt::Key_Down);
        QCOMPARE(ui.state().currentUser, QStringLiteral("acct12906"));

        // A disabled account is muted and says why.
        find->clear();
        QTest::keyClicks(find, QStringLiteral("bo"));
        QCOMPARE(AccountsFixture::texts(ui.users()), QStringList({"Bob"}));
        QCOMPARE(ui.users()->item(0)->toolTip(), QStringLiteral("This account is disabled."));
        QCOMPARE(ui.users()->item(0)->foreground().color(), ui.users()->palette().color(QPalette::Disabled, QPalette::Text));
        QCOMPARE(ui.state().currentUser, QStringLiteral("acct12906"));

        // Esc brings every account back with the shown one selected, and a save reselects it.
        QTest::keyClick(find, Qt::Key_Escape);
        QCOMPARE(find->text(), QString());
        QCOMPARE(count->text(), QStringLiteral("3,001 accounts"));
        QCOMPARE(ui.users()->currentItem()->text(), QStringLiteral("acct12906"));
        QVERIFY(ui.users()->currentItem()->isSelected());
        AccountsFixture::type(ui.box("txtHomeDir"), ui.folder(QStringLiteral("a")));
        save(ui);
        QCOMPARE(ui.users()->currentRow(), 2907);
        QCOMPARE(ui.state().currentUser, QStringLiteral("acct12906"));
        QCOMPARE(db->column(QStringLiteral("select homedir from users where username='acct12906'")), QStringList({ui.folder(QStringLiteral("a"))}));
    }

    // A save stops at its first check before anything is written, or writes the page as typed. Add proposes
    // the FTP directory and refuses a path that is no folder. Mixed-case POSIX folders are found and stored
    // as typed, and the start-up leaves them so; Windows paths are stored lower-cased.
    void saveWritesThePageOrStopsInOrder_data() { addEngineRows(); }
    void saveWritesThePageOrStopsInOrder()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        const QString ftp = ui.folder(QStringLiteral("Root")), home = ui.folder(QStringLiteral("Root/Incoming"));
        const QString pub = ui.folder(QStringLiteral("Pub"));
        program.env.settings.saveRegSetting(QStringLiteral("ftp_directory"), ftp + QLatin1Char('/'));
        addAccount(*db, QStringLiteral("bob"), QStringLiteral("c:\\old"), QStringLiteral("secret"));
        addAccount(*db, QStringLiteral("zed"), QStringLiteral("c:\\zed"), QStringLiteral("zz"));
        addEntry(*db, QStringLiteral("bob"), home, QStringLiteral("R"), 2);
        addEntry(*db, QStringLiteral("bob"), pub, QStringLiteral("RL"), 1);
        program.start();
        const auto stored = [&db] { return db->column(QStringLiteral("select homedir || '|' || password || '|' || coalesce(comments, '') "
                                                                     "from users order by username")); };

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
            {"D:\\FTP\\Users\\Bob", Placeholder, {}, {{Answer::Ok, NotValid}}, "d:\\ftp\\users\\bob"},
            {unc, Placeholder, {}, {{Answer::Ok, NotValid}, {Answer::Yes, network}}, "\\\\server\\share\\bob"},
        };
        QString storedHome = QStringLiteral("c:\\old");
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

        // The boxes give the selected entry's rights; the other keeps its letters and its stored inherit flag.
        AccountsFixture::clickRow(ui.entries(), 1);
        for (const char* name : {"chkList", "chkInherit", "chkDelete", "chkMake"})
            ui.click(name);
        QCOMPARE(ui.checkedBoxes(), QStringLiteral("RMC"));
        // The path dialog: a path that does not exist, and an empty one, keep it open; then OK takes the proposal.
        ui.prompter().onModal(QStringLiteral("frmAddEditDir"), [&ui](QWidget* dialog) {
            for (const char* refused : {"/no/such/place", "  "}) {
                ui.prompter().answerMessage(Answer::Ok, refused[0] == '/' ? QStringLiteral("The path specified is not valid.")
                                                                          : QStringLiteral("Please enter a path"));
                const QString proposed = AccountsFixture::box(dialog, "txtPath")->text();
                AccountsFixture::box(dialog, "txtPath")->setText(QLatin1String(refused));
                AccountsFixture::click(dialog, "cmdOK");
                QVERIFY(dialog->isVisible());
                AccountsFixture::box(dialog, "txtPath")->setText(proposed);
            }
            AccountsFixture::click(dialog, "cmdOK");
        });
        ui.click("cmdAdd");
        QCOMPARE(AccountsFixture::texts(ui.entries()), QStringList({home, pub, ftp}));
        QVERIFY(ui.state().accessRuleList.endsWith(QStringLiteral("\u00A7bob|") + ftp + QStringLiteral("|RL|1")));
        // Quotes, percent signs and comment marks are stored as typed; the placeholder leaves the password alone.
        const QString notes = QStringLiteral("O'Brien's \"box\" 100% -- ; drop table users");
        AccountsFixture::type(ui.box("txtHomeDir"), home);
        ui.notes()->setPlainText(notes);
        AccountsFixture::leave(ui.notes());
        QVERIFY(ui.state().pageChanged);
        save(ui);
        QVERIFY(!ui.state().pageChanged);
        lowerCaseStoredPaths(program.env.context);
        QCOMPARE(stored(), QStringList({home + "|secret|" + notes, "c:\\zed|zz|"}));
        QCOMPARE(entryRows(*db, QStringLiteral("bob")), QStringList({home + "|R|2", pub + "|RMC|0", ftp + "|RL|1"}));
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
        // Entering the name box starts the copy dialogue: Yes and the new name (or No or Cancel), the message that
        // refuses the name or the password for the copy, if any; then the page's name box, account and save mode.
        const auto copy = [&ui](const char* name, const QString& refusal, Answer answer = Answer::Yes, const QString& password = {}) {
            ui.prompter().answerMessage(answer, QStringLiteral("Changing the username will create another"));
            if (answer == Answer::Yes)
                ui.prompter().answerInput(QString::fromUtf8(name));
            if (!refusal.isEmpty())
                ui.prompter().answerMessage(Answer::Ok, refusal);
            if (!password.isEmpty())
                ui.prompter().answerInput(password);
            AccountsFixture::enter(ui.box("txtUsername"));
            QCoreApplication::processEvents();
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
        for (const char* name : {"a|b", "x\u00A7y", " * "})
            QCOMPARE(copy(name, MayNot), QStringLiteral("bob|bob|0"));

        // A copy: no account without its rows, and the page still holds the pending copy.
        ui.prompter().reset();
        QCOMPARE(copy("dave", {}, Answer::Yes, QStringLiteral("pw")), QStringLiteral("dave|dave|2"));
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

    // Rows that other tools wrote: separators in names and paths, notes longer than a save keeps, rows in
    // every per-account table, and those of "*", which hold for every account and outlive an account of that name.
    void rowsOfOtherToolsSurviveThePage_data() { addEngineRows(); }
    void rowsOfOtherToolsSurviveThePage()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        const QString name = QStringLiteral("a|b\u00A7c"), odd = QStringLiteral("c:\\x|y\u00A7z 100%7c");
        const QString notes = QStringLiteral("select comments from users where username=") + sqlQuote(name);
        addAccount(*db, name, ui.folder(QStringLiteral("odd")));
        addAccount(*db, QStringLiteral("*"), QStringLiteral("c:\\ftp"));
        addEntry(*db, name, odd, QStringLiteral("RW"), 1);
        addEntry(*db, name, QStringLiteral("c:\\plain"), QStringLiteral("L"), 0);
        addEntry(*db, QStringLiteral("*"), QStringLiteral("c:\\global"), QStringLiteral("R"), 1);
        for (const QString& quoted : {sqlQuote(name), sqlQuote(QStringLiteral("*"))}) {
            db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values (%1, '10.0.0.1')").arg(quoted));
            db->exec(QStringLiteral("insert into ratio_free_files (username, filename) values (%1, 'a')").arg(quoted));
            db->exec(QStringLiteral("insert into file_rights (username, filename, file_rights) values (%1, 'a', 'R')").arg(quoted));
        }
        const bool longNotes = db->engine() == TestEngine::Sqlite;
        if (longNotes)
            db->exec(QStringLiteral("update users set comments=%1 where username=%2").arg(sqlQuote(QString(100000, QLatin1Char('n'))), sqlQuote(name)));
        program.start();
        const auto rows = [&db](const QString& owner) {
            QStringList counts;
            for (const char* table : {"users", "dir_rights", "file_rights", "ratio_free_files", "blocked_ips_by_user"})
                counts << QString::number(db->count(QStringLiteral("select username from %1 where username=%2").arg(QLatin1String(table), sqlQuote(owner))));
            return counts.join(QLatin1Char(','));
        };

        ui.selectUser(1);
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

        // Deleting removes every row of the account; deleting "*" only its users row. Deleting the last account empties the page.
        for (const QString& owner : {name, QStringLiteral("*")}) {
            QCOMPARE(ui.state().currentUser, owner);
            ui.prompter().answerMessage(Answer::Yes, QStringLiteral("Are you sure you want to delete ") + owner);
            ui.click("cmdDelete");
        }
        QCOMPARE(rows(name), QStringLiteral("0,0,0,0,0"));
        QCOMPARE(rows(QStringLiteral("*")), QStringLiteral("0,1,1,1,1"));
        // The page is then empty: the dialog buttons and Add are off, Save and New User are not.
        QCOMPARE((QStringList{AccountsFixture::texts(ui.users()).join(QString()), ui.box("txtUsername")->text(), ui.box("txtHomeDir")->text(),
                              ui.box("txtPassword")->text(), ui.notes()->toPlainText(), AccountsFixture::texts(ui.entries()).join(QString())}),
                 QStringList(6, QString()));
        ui.page().tmrRules_Timer();
        for (const char* off : {"cmdMisc", "cmdQuota", "cmdUpDownRatios", "cmdIPAccess", "cmdAdd", "cmdEdit", "cmdDirDelete", "chkRead"})
            QVERIFY2(!ui.enabled(off), off);
        for (const char* on : {"cmdStore", "cmdNew", "cmdDelete", "cmdRestore", "cmdOK"})
            QVERIFY2(ui.enabled(on), on);
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
            AccountsFixture::retype(AccountsFixture::box(dialog, "txtNewName"), name);
            AccountsFixture::retype(AccountsFixture::box(dialog, "txtPassword"), password);
            AccountsFixture::click(dialog, "cmdOK");
            return dialog->isVisible();
        };

        // Refused names and passwords keep the dialog open and write nothing; an empty one says nothing.
        const std::tuple<QString, QString, QString> refused[] = {
            {"  Anonymous ", "pw", "Those are forbidden usernames."}, {"** default **", "pw", "Those are forbidden usernames."},
            {"   ", "pw", {}}, {"someone", "  ", {}}, {QString(51, QLatin1Char('n')), "pw", "new username field"},
            {"someone", QString(51, QLatin1Char('p')), "password field"}, {"Existing", "pw", InUse}, {"new|user", "pw", MayNot},
            {"new\u00A7user", "pw", MayNot}, {"*", "pw", MayNot}};
        for (const auto& [name, password, message] : refused)
            QVERIFY2(newUser(name, password, message), qPrintable(name));
        QCOMPARE(ui.state().saveMode, SaveMode::Update);
        QCOMPARE(db->count(QStringLiteral("select username from users")), 1);

        // Accepted: stored with the FTP directory as home and selected afterwards; a name with a
        // leading blank is stored too, but not selected. 46 characters pass the dialog and not the save.
        QVERIFY(!newUser(QStringLiteral("anonymous1"), QStringLiteral("s3cret")));
        QCOMPARE(db->column(QStringLiteral("select homedir || '|' || password || '|' || max_concurrent || '|' || max_logins_per_ip "
                                           "|| '|' || cast(quota_current as integer) from users where username='anonymous1'")),
                 QStringList({ftp + QStringLiteral("|s3cret|1|1|0")}));
        QCOMPARE(ui.state().currentUser, QStringLiteral("anonymous1"));
        newUser(QStringLiteral(" spaced"), QStringLiteral("pw"));
        QCOMPARE(ui.page().selectedUserIndex(), -1);
        newUser(QString(46, QLatin1Char('x')), QStringLiteral("pw"), QStringLiteral("The number of characters in the Username field"));
        newUser(QString(45, QLatin1Char('x')), QStringLiteral("pw"));
        QCOMPARE(ui.prompter().unusedSteps(), 0);
        QCOMPARE(db->column(QStringLiteral("select username from users order by username")),
                 QStringList({" spaced", "anonymous1", "existing", QString(45, QLatin1Char('x'))}));
    }
};

QUILLMERE_TEST(TestUserPage)
#include "TestUserPage.moc"
