#include "AccountsFixture.h"
#include "TestMain.h"

#include "accounts/AccessRules.h"

using F = AccountsFixture;
using prompt::Answer;

// The user list and the user page where the random walk of TestUserPageModel does not
// reach: the labels, the enabling rules, the find box, notes longer than a save keeps,
// and the case rule of entry paths.
class TestUserPage : public QObject
{
    Q_OBJECT

private slots:
    void init() { QLocale::setDefault(QLocale(QStringLiteral("en_US"))); }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    // The labels tell the stored dates and disable flag; notes longer than a save keeps (only SQLite
    // holds such) are shown cut and kept unless edited. The page's timer enables what the selections
    // allow, and deleting the last account empties the page.
    void labelsNotesAndEnablingRules_data() { addEngineRows(); }
    void labelsNotesAndEnablingRules()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        AccountsFixture ui(program);
        const bool longNotes = db->engine() == TestEngine::Sqlite;
        const QString notes = longNotes ? QString(100000, QLatin1Char('n')) : QStringLiteral("first account");
        db->exec(accountInsert(QStringLiteral("alice"), QStringLiteral("comments, Expires, DisableOn, disable_user"),
                               sqlQuote(notes) + QStringLiteral(", '12/31/2099', '6/1/2099', 1"), ui.folder(QStringLiteral("alice"))));
        db->exec(accountInsert(QStringLiteral("carol"), QStringLiteral("disable_user"), QStringLiteral("2")));
        addEntry(*db, QStringLiteral("alice"), QStringLiteral("c:\\ftp"), QStringLiteral("RL"), 1);
        program.start();
        const auto labels = [&ui] { return QStringList{ui.label("lblExpires")->text(), ui.label("lblDisabled")->text()}; };
        const auto storedNotes = [&db] { return db->column(QStringLiteral("select comments from users where username='alice'")).value(0); };

        // The disabled flag wins over the disable date; a flag other than 1 does not disable.
        QCOMPARE(labels(), QStringList({"This user's account will expire on 12/31/2099", "This user's account has been disabled"}));
        ui.selectUser(1);
        QCOMPARE(labels(), QStringList({"This account is not set to expire. Click Here to set date.",
                                        "This account is not set to be disabled. Click Here to set date."}));
        ui.selectUser(0);
        QCOMPARE(ui.notes()->toPlainText().size(), longNotes ? 40000 : notes.size());
        QCOMPARE(ui.label("lblNotesCut")->isVisibleTo(&ui.main()), longNotes);
        QCOMPARE(program.env.log.contains(QStringLiteral("notes of 'alice' cut to 40000 characters for showing")), longNotes);
        ui.click("cmdStore");
        QCOMPARE(storedNotes(), notes);
        ui.notes()->setPlainText(QStringLiteral("short now"));
        ui.click("cmdStore");
        QCOMPARE(storedNotes(), QStringLiteral("short now"));
        QVERIFY(!ui.label("lblNotesCut")->isVisibleTo(&ui.main()));

        // The rights boxes and entry buttons wait for an entry; clicking into a text box drops its selection.
        F::clickRow(ui.entries(), 0);
        QTRY_VERIFY(ui.enabled("chkInherit") && ui.enabled("cmdEdit"));
        QTest::mouseClick(ui.box("txtHomeDir"), Qt::LeftButton);
        QTRY_VERIFY(!ui.enabled("chkInherit"));

        // With no account left, the dialog buttons and Add are off, Save and New User are not.
        for (const char* name : {"alice", "carol"}) {
            ui.prompter().answerMessage(Answer::Yes, QStringLiteral("Are you sure you want to delete ") + QLatin1String(name));
            ui.click("cmdDelete");
        }
        QCOMPARE((QStringList{ui.box("txtUsername")->text(), ui.box("txtHomeDir")->text(), ui.box("txtPassword")->text(),
                              ui.notes()->toPlainText(), F::texts(ui.entries()).join(QString())}),
                 QStringList(5, QString()));
        ui.page().tmrRules_Timer();
        QVERIFY(!ui.enabled("cmdMisc") && !ui.enabled("cmdAdd") && !ui.enabled("cmdEdit") && !ui.enabled("chkRead"));
        QVERIFY(ui.enabled("cmdStore") && ui.enabled("cmdNew"));
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
        QCOMPARE(count->text(), QStringLiteral("100 of 3,001"));
        QCOMPARE(ui.state().currentUser, QStringLiteral("Bob"));
        ui.selectUser(5);
        QCOMPARE(ui.state().currentUser, QStringLiteral("acct12905"));

        // A disabled account is muted and says why.
        find->clear();
        QTest::keyClicks(find, QStringLiteral("bo"));
        QCOMPARE(F::texts(ui.users()), QStringList({"Bob"}));
        QCOMPARE(ui.users()->item(0)->toolTip(), QStringLiteral("This account is disabled."));
        QCOMPARE(ui.users()->item(0)->foreground().color(), ui.users()->palette().color(QPalette::Disabled, QPalette::Text));
        QCOMPARE(ui.state().currentUser, QStringLiteral("acct12905"));

        // Esc brings every account back with the shown one selected.
        QTest::keyClick(find, Qt::Key_Escape);
        QCOMPARE(count->text(), QStringLiteral("3,001 accounts"));
        QVERIFY(ui.users()->currentItem()->isSelected());
        QCOMPARE(ui.users()->currentRow(), 2906);
    }

    // Windows paths of an entry are edited in any case; POSIX paths differing in case are different folders.
    void editedEntryPathsFollowTheirForm()
    {
        const QString list = QStringLiteral("bob|c:\\ftp|RL|1\u00A7bob|C:\\FTP|W|0\u00A7bob|/srv/Pub|R|0\u00A7bob|/srv/pub|W|0");
        QCOMPARE(accessrules::replaceDirectory(list, QStringLiteral("c:\\ftp"), QStringLiteral("d:\\new")),
                 QStringLiteral("bob|d:\\new|RL|1\u00A7bob|d:\\new|W|0\u00A7bob|/srv/Pub|R|0\u00A7bob|/srv/pub|W|0"));
        QCOMPARE(accessrules::replaceDirectory(list, QStringLiteral("/srv/Pub"), QStringLiteral("/srv/New")),
                 QStringLiteral("bob|c:\\ftp|RL|1\u00A7bob|C:\\FTP|W|0\u00A7bob|/srv/New|R|0\u00A7bob|/srv/pub|W|0"));
    }
};

QUILLMERE_TEST(TestUserPage)
#include "TestUserPage.moc"
