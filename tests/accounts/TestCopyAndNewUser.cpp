#include "AccountsFixture.h"
#include "TestMain.h"

#include <QCoreApplication>

// The two ways an account comes into being: copying the shown one under a new
// name, and the new user dialog.
class TestCopyAndNewUser : public QObject
{
    Q_OBJECT

    // Entering the user name box starts the copy dialogue.
    static void enterUserName(AccountsFixture& ui)
    {
        AccountsFixture::enter(ui.box("txtUsername"));
        QCoreApplication::processEvents();
    }

    static QWidget* newUserDialog(AccountsFixture& ui)
    {
        ui.click("cmdNew");
        return ui.main().findChild<QWidget*>(QStringLiteral("frmNewName"));
    }

    static void fillNewUser(QWidget* dialog, const QString& name, const QString& password)
    {
        auto* nameBox = dialog->findChild<QLineEdit*>(QStringLiteral("txtNewName"));
        auto* passwordBox = dialog->findChild<QLineEdit*>(QStringLiteral("txtPassword"));
        nameBox->clear();
        QTest::keyClicks(nameBox, name);
        passwordBox->clear();
        QTest::keyClicks(passwordBox, password);
        QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
    }

private slots:
    void copyingBobToAlice_data() { addEngineRows(); }
    void copyingBobToAlice()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        const QString home = ui.folder(QStringLiteral("bob"));
        addAccount(*db, QStringLiteral("bob"), home, QStringLiteral("bobs"));
        db->exec(QStringLiteral("update users set comments='shared', use_quota=1, quota_max=5 where username='bob'"));
        addEntry(*db, QStringLiteral("bob"), QStringLiteral("c:\\ftp"), QStringLiteral("RL"), 1);
        addEntry(*db, QStringLiteral("bob"), QStringLiteral("d:\\pub"), QStringLiteral("R"), 0);
        program.start();

        ui.prompter()
            .answerMessage(prompt::Answer::Yes, QStringLiteral("Changing the username will create another"))
            .answerInput(QStringLiteral("alice"))
            .answerInput(QStringLiteral("alices"));
        enterUserName(ui);
        QCOMPARE(ui.prompter().unusedSteps(), 0);
        QCOMPARE(ui.prompter().records()[1].defaultText, QStringLiteral("bob"));
        QCOMPARE(ui.state().saveMode, SaveMode::Copy);
        QCOMPARE(ui.state().currentUser, QStringLiteral("alice"));
        QCOMPARE(ui.state().accessRuleList, QStringLiteral("alice|c:\\ftp|RL|1\u00A7alice|d:\\pub|R|0"));
        ui.click("cmdStore");

        QCOMPARE(ui.state().saveMode, SaveMode::Update);
        QCOMPARE(AccountsFixture::texts(ui.users()), QStringList({"alice", "bob"}));
        QCOMPARE(db->column(QStringLiteral("select directory || '|' || dir_rights || '|' || inherit_subdirs from dir_rights "
                                           "where username='alice'")),
                 QStringList({"c:\\ftp|RL|1", "d:\\pub|R|0"}));
        QCOMPARE(db->count(QStringLiteral("select username from dir_rights where username='bob'")), 2);
        // Name, home, notes and the new password are copied; the options are not.
        QCOMPARE(db->column(QStringLiteral("select password || '|' || homedir || '|' || comments || '|' || max_concurrent "
                                           "from users where username='alice'")),
                 QStringList({QStringLiteral("alices|") + home + QStringLiteral("|shared|1")}));
        QCOMPARE(db->count(QStringLiteral("select username from users where username='alice' and quota_max is null")), 1);
        QCOMPARE(db->column(QStringLiteral("select password from users where username='bob'")), QStringList({"bobs"}));
    }

    void copyDialogueThatCreatesNothing()
    {
        ProgramUnderTest program;
        QVERIFY(startOnTemplate(program, {accountInsert(QStringLiteral("bob")), accountInsert(QStringLiteral("carol"))}));
        AccountsFixture ui(program);

        // No and Cancel: nothing changes.
        for (const auto answer : {prompt::Answer::No, prompt::Answer::Cancel}) {
            ui.prompter().answerMessage(answer);
            enterUserName(ui);
            QCOMPARE(ui.state().saveMode, SaveMode::Update);
            QCOMPARE(ui.state().currentUser, QStringLiteral("bob"));
            QVERIFY(!ui.state().pageChanged);
        }
        QCOMPARE(ui.prompter().messages()[0].defaultAnswer, prompt::Answer::No);

        // The same name in another case, and a cancelled name box, prepare no copy.
        ui.prompter().answerMessage(prompt::Answer::Yes).answerInput(QStringLiteral("BOB"));
        enterUserName(ui);
        QCOMPARE(ui.state().saveMode, SaveMode::Update);
        QVERIFY(ui.state().pageChanged);
        // An update never renames: the box shows bob again, so a save cannot split the account.
        QCOMPARE(ui.box("txtUsername")->text(), QStringLiteral("bob"));
        ui.prompter().answerMessage(prompt::Answer::Yes).answerInput(QString());
        enterUserName(ui);
        QCOMPARE(ui.state().saveMode, SaveMode::Update);

        // A name in use is refused before anything is written; the page shows bob again.
        ui.prompter()
            .answerMessage(prompt::Answer::Yes)
            .answerInput(QStringLiteral("carol"))
            .answerMessage(prompt::Answer::Ok, QStringLiteral("That username is already in use. Please choose another."));
        enterUserName(ui);
        QCOMPARE(ui.prompter().messages().last().caption, QStringLiteral("Username in use"));
        QCOMPARE(ui.state().saveMode, SaveMode::Update);
        QCOMPARE(ui.box("txtUsername")->text(), QStringLiteral("bob"));
        QCOMPARE(ui.state().currentUser, QStringLiteral("bob"));

        // Names that hold a separator, or "*" alone, are refused the same way.
        for (const char* refused : {"a|b", "x\u00A7y", " * "}) {
            ui.prompter()
                .answerMessage(prompt::Answer::Yes)
                .answerInput(QString::fromUtf8(refused))
                .answerMessage(prompt::Answer::Ok, QStringLiteral("A user name may not"));
            enterUserName(ui);
            QCOMPARE(ui.box("txtUsername")->text(), QStringLiteral("bob"));
        }

        ui.prompter().answerMessage(prompt::Answer::Yes).answerInput(QStringLiteral("dave")).answerInput(QString());
        enterUserName(ui);
        QCOMPARE(ui.state().saveMode, SaveMode::Copy);
        // An empty password stops the copy's save.
        const auto savePendingCopy = [&ui](const QString& stopsWith) {
            ui.prompter()
                .answerMessage(prompt::Answer::Ok, QStringLiteral("The Home Directory specified is not valid."))
                .answerMessage(prompt::Answer::Ok, stopsWith);
            ui.click("cmdStore");
        };
        savePendingCopy(QStringLiteral("The Password field must contain"));
        // With the copy still pending, a name in use or in another case never reaches the box.
        ui.prompter()
            .answerMessage(prompt::Answer::Yes)
            .answerInput(QStringLiteral("carol"))
            .answerMessage(prompt::Answer::Ok, QStringLiteral("That username is already in use."));
        enterUserName(ui);
        QCOMPARE(ui.box("txtUsername")->text(), QStringLiteral("dave"));
        ui.prompter().answerMessage(prompt::Answer::Yes).answerInput(QStringLiteral("Dave"));
        enterUserName(ui);
        QCOMPARE(ui.box("txtUsername")->text(), QStringLiteral("dave"));
        QCOMPARE(ui.state().saveMode, SaveMode::Copy);
        // A name another tool took since is checked again at the save, ignoring case.
        QVERIFY(runOnConfigured(program, {accountInsert(QStringLiteral("DAVE"))}));
        ui.box("txtPassword")->setText(QStringLiteral("pw"));
        savePendingCopy(QStringLiteral("That username is already in use."));
        QCOMPARE(ui.state().saveMode, SaveMode::Copy);
        QVERIFY(runOnConfigured(program, {QStringLiteral("delete from users where username='DAVE'")}));

        // A prepared copy is abandoned when another user is loaded: no second insert later.
        AccountsFixture::clickRow(ui.users(), 1);
        QCOMPARE(ui.state().saveMode, SaveMode::Update);
        QCOMPARE(ui.state().currentUser, QStringLiteral("carol"));
        QCOMPARE(storedColumn(program, QStringLiteral("select username from users order by username")), QStringList({"bob", "carol"}));
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

        QWidget* dialog = newUserDialog(ui);
        QVERIFY(dialog && dialog->isVisible());
        QCOMPARE(dialog->windowTitle(), QStringLiteral("New User Name"));

        // Forbidden names, with blanks and in any case.
        for (const char* forbidden : {"  Anonymous ", "** default **", "DEFAULT", "** anonymous **"}) {
            ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("Those are forbidden usernames."));
            fillNewUser(dialog, QLatin1String(forbidden), QStringLiteral("pw"));
            QVERIFY(dialog->isVisible());
        }
        // Empty name or password: nothing at all; too long: a message.
        fillNewUser(dialog, QStringLiteral("   "), QStringLiteral("pw"));
        fillNewUser(dialog, QStringLiteral("someone"), QStringLiteral("  "));
        ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("new username field"));
        fillNewUser(dialog, QString(51, QLatin1Char('n')), QStringLiteral("pw"));
        ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("password field"));
        fillNewUser(dialog, QStringLiteral("someone"), QString(51, QLatin1Char('p')));
        // A name in use, in any case, and names that hold a separator or are "*" alone.
        ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("That username is already in use."));
        fillNewUser(dialog, QStringLiteral("Existing"), QStringLiteral("pw"));
        for (const char* refused : {"new|user", "new\u00A7user", "*"}) {
            ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("A user name may not"));
            fillNewUser(dialog, QString::fromUtf8(refused), QStringLiteral("pw"));
        }
        QCOMPARE(ui.state().saveMode, SaveMode::Update);
        QCOMPARE(db->count(QStringLiteral("select username from users")), 1);
        QCOMPARE(ui.prompter().unusedSteps(), 0);

        // Accepted: stored with the FTP directory as home and selected afterwards.
        fillNewUser(dialog, QStringLiteral("anonymous1"), QStringLiteral("s3cret"));
        QVERIFY(!dialog->isVisible());
        QCOMPARE(ui.prompter().unusedSteps(), 0);
        QCOMPARE(db->column(QStringLiteral("select homedir || '|' || password || '|' || max_concurrent || '|' || max_logins_per_ip "
                                           "|| '|' || cast(quota_current as integer) from users where username='anonymous1'")),
                 QStringList({ftp + QStringLiteral("|s3cret|1|1|0")}));
        QCOMPARE(db->count(QStringLiteral("select username from users where username='anonymous1' and comments is null "
                                          "and ratio_type is null and timeout is null and Expires is null")),
                 1);
        QCOMPARE(db->count(QStringLiteral("select username from dir_rights")), 0);
        QCOMPARE(ui.state().currentUser, QStringLiteral("anonymous1"));
        QCOMPARE(ui.state().saveMode, SaveMode::Update);

        // A leading blank is stored, and the new account is then not selected.
        dialog = newUserDialog(ui);
        fillNewUser(dialog, QStringLiteral(" spaced"), QStringLiteral("pw"));
        QCOMPARE(db->count(QStringLiteral("select username from users where username=' spaced'")), 1);
        QCOMPARE(ui.page().selectedUserIndex(), -1);

        // A 46-character name passes the dialog and is refused by the save, before anything is written.
        dialog = newUserDialog(ui);
        ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("The number of characters in the Username field"));
        fillNewUser(dialog, QString(46, QLatin1Char('x')), QStringLiteral("pw"));
        QCOMPARE(db->count(QStringLiteral("select username from users")), 3);
        dialog = newUserDialog(ui);
        fillNewUser(dialog, QString(45, QLatin1Char('x')), QStringLiteral("pw"));
        QCOMPARE(db->count(QStringLiteral("select username from users")), 4);
    }
};

QUILLMERE_TEST(TestCopyAndNewUser)
#include "TestCopyAndNewUser.moc"
