#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "db/SqlText.h"
#include "server/IpRuleText.h"
#include "server/IpRulesWindow.h"
#include "app/MainWindow.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <memory>

Q_DECLARE_METATYPE(IpTextVerdict)
Q_DECLARE_METATYPE(IpRulesWindow::Scope)

namespace {

const QString Owner = QStringLiteral("ann o'hara");
const QString Other = QStringLiteral("bob");

} // namespace

// The IP rule dialogs of one account and of the whole server, driven as an
// administrator drives them: typing into the entry box, clicking the buttons, and
// reading back what OK stored.
class TestIpRulesWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<ProgramUnderTest> m_program;
    std::unique_ptr<TestDatabase> m_db;
    std::unique_ptr<IpRulesWindow> m_dialog;

    ScriptedPrompter& prompter() { return m_program->env.prompter; }
    template <typename T = QPushButton> T* control(const char* name) { return m_dialog->findChild<T*>(QLatin1String(name)); }
    QLineEdit* entry() { return control<QLineEdit>("txtIPaddress"); }
    QListWidget* list() { return control<QListWidget>("lstRules"); }

    // A running program on the template database, without accounts, and the dialog of the scope.
    void startConfigured(IpRulesWindow::Scope scope = IpRulesWindow::Scope::Global)
    {
        m_program = std::make_unique<ProgramUnderTest>();
        m_program->configure();
        m_program->start();
        open(scope);
    }
    // Opens a dialog as its button will: load, show, and the administrator's focus in it.
    void open(IpRulesWindow::Scope scope)
    {
        if (!m_dialog)
            m_dialog = std::make_unique<IpRulesWindow>(m_program->env.context, m_program->windows.main().pageState(), scope);
        m_dialog->popList();
        m_dialog->show();
        m_dialog->activateWindow();
        if (!QTest::qWaitForWindowActive(m_dialog.get()))
            QTest::qFail("the dialog never became active", __FILE__, __LINE__);
    }
    void click(const char* name) { QTest::mouseClick(control(name), Qt::LeftButton); }
    void type(const QString& text)
    {
        QTest::mouseClick(entry(), Qt::LeftButton);
        entry()->clear();
        QTest::keyClicks(entry(), text);
        fireTimer(m_dialog.get(), QStringLiteral("tmrRules"));
    }
    void add(const QStringList& rules)
    {
        for (const QString& rule : rules) {
            type(rule);
            click("cmdAdd");
        }
    }
    void selectRule(int row)
    {
        QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, list()->visualItemRect(list()->item(row)).center());
        fireTimer(m_dialog.get(), QStringLiteral("tmrRules"));
    }
    QStringList shownRules()
    {
        QStringList rules;
        for (int row = 0; row < list()->count(); ++row)
            rules.append(list()->item(row)->text());
        return rules;
    }
    QStringList storedRules(const QString& user)
    {
        return m_db->column(QStringLiteral("select ip from blocked_ips_by_user where username=%1").arg(sqlQuote(user)));
    }
    int selectedRow()
    {
        const QList<QListWidgetItem*> selected = list()->selectedItems();
        return selected.isEmpty() ? -1 : list()->row(selected.first());
    }

private slots:
    void cleanup()
    {
        m_dialog.reset();
        m_db.reset();
        m_program.reset();
    }

    void verdicts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<IpTextVerdict>("verdict");
        QTest::newRow("empty") << "" << IpTextVerdict::Empty;
        QTest::newRow("address") << "192.168.1.10" << IpTextVerdict::Accepted;
        QTest::newRow("bounds") << "0.0.255.255" << IpTextVerdict::Accepted;
        QTest::newRow("three parts") << "192.168.1" << IpTextVerdict::RejectedWithBeep;
        QTest::newRow("five parts") << "1.2.3.4.5" << IpTextVerdict::RejectedWithBeep;
        QTest::newRow("part above 255") << "1.2.3.256" << IpTextVerdict::RejectedSilently;
        QTest::newRow("huge part") << "1.99999999999999999999.1.1" << IpTextVerdict::RejectedSilently;
        QTest::newRow("negative part") << "1.-2.3.4" << IpTextVerdict::RejectedSilently;
        QTest::newRow("empty part") << "1..2.3" << IpTextVerdict::Accepted;
        QTest::newRow("network") << "10.0.0.0/8" << IpTextVerdict::Accepted;
        QTest::newRow("blanks before a part") << " 1. 2.3.4" << IpTextVerdict::Accepted;
        QTest::newRow("wildcards") << "10.2.*.*" << IpTextVerdict::Accepted;
        QTest::newRow("number ends the part") << "1.2.3.25x9" << IpTextVerdict::Accepted;
    }
    void verdicts()
    {
        QFETCH(QString, text);
        QTEST(validateIpText(text), "verdict");
    }

    void designTimeTexts_data()
    {
        QTest::addColumn<IpRulesWindow::Scope>("scope");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("frame");
        QTest::newRow("account") << IpRulesWindow::Scope::Account << "frmIPAccess" << "Setup IP Blocking " << "Access Rules";
        QTest::newRow("global") << IpRulesWindow::Scope::Global << "frmGlobalIPAccess" << "Global IP Blocking" << "Global Access Rules";
    }
    void designTimeTexts()
    {
        QFETCH(IpRulesWindow::Scope, scope);
        startConfigured(scope);
        QTEST(m_dialog->objectName(), "name");
        QTEST(m_dialog->windowTitle(), "caption");
        QTEST(control<QWidget>("Frame1")->property("title").toString(), "frame");
        const QList<QPair<const char*, const char*>> texts{
            {"Frame2", "Add IP Address"}, {"cmdUp", "Up"}, {"cmdDown", "Down"}, {"cmdRemove", "Remove"}, {"cmdAdd", "Add"},
            {"cmdOK", "OK"}, {"cmdCancel", "Cancel"}, {"cmdHelp", "Help"}, {"Label1", "-->"}, {"Label2", "<--"},
            {"Label3", "IP Address"}, {"Label4", "Rule list"}};
        for (const auto& [object, text] : texts) {
            const QWidget* shown = control<QWidget>(object);
            QCOMPARE(shown->property(shown->inherits("QGroupBox") ? "title" : "text").toString(), QLatin1String(text));
        }
        // The manual is not installed beside the test program.
        prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("The help file is missing."));
        click("cmdHelp");
        QCOMPARE(prompter().unusedSteps(), 0);
    }

    // One account's rules: OK stores the list as a whole, in order, for the account the
    // dialog was opened for; a save the database refuses lands not at all.
    void accountRulesAreStoredWhole_data() { addEngineRows(); }
    void accountRulesAreStoredWhole()
    {
        m_program = std::make_unique<ProgramUnderTest>();
        QUILLMERE_OPEN_DATABASE(db, m_program->env);
        m_db = std::move(db);
        // Two accounts (the first, shown at start, has a quote in its name) and rules that are not theirs.
        for (const QString& name : {Owner, Other})
            m_db->exec(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip) "
                                      "VALUES (%1, 'c:\\ftp', 'pw', 1, 1)").arg(sqlQuote(name)));
        for (const char* row : {"'bob', '10.9.9.9'", "'*', '10.8.8.8'"})
            m_db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values (%1)").arg(QLatin1String(row)));
        m_db->exec(QStringLiteral("insert into blocked_ips (ip) values ('172.16.0.1')"));
        m_program->start();
        open(IpRulesWindow::Scope::Account);
        QCOMPARE(m_dialog->boundUser(), Owner);
        QCOMPARE(shownRules(), QStringList());
        // OK on the empty list deletes what the account has, whoever stored it meanwhile.
        m_db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values (%1, '1.1.1.1')").arg(sqlQuote(Owner)));
        click("cmdOK");
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(storedRules(Owner), QStringList());

        open(IpRulesWindow::Scope::Account);
        add({"30.0.0.3", "10.0.0.1", "20.0.0.2"});
        QCOMPARE(entry()->text(), QString());
        QVERIFY(m_program->env.log.contains(QStringLiteral("code to add entry")));
        // The administrator looks at another account before OK: the rules stay with the first.
        auto* users = m_program->windows.main().findChild<QListWidget*>(QStringLiteral("lstUsers"));
        QTest::mouseClick(users->viewport(), Qt::LeftButton, {}, users->visualItemRect(users->item(1)).center());
        QCOMPARE(m_program->windows.main().pageState().currentUser, Other);
        click("cmdOK");
        QVERIFY(!m_dialog->isVisible());
        const QStringList ordered{"30.0.0.3", "10.0.0.1", "20.0.0.2"};
        QCOMPARE(storedRules(Owner), ordered);
        QCOMPARE(storedRules(Other), QStringList({"10.9.9.9"}));
        QCOMPARE(storedRules(QStringLiteral("*")), QStringList({"10.8.8.8"}));

        // Opened again for the other account, then for the first: each sees its own, in order.
        open(IpRulesWindow::Scope::Account);
        QCOMPARE(shownRules(), QStringList({"10.9.9.9"}));
        QTest::mouseClick(users->viewport(), Qt::LeftButton, {}, users->visualItemRect(users->item(0)).center());
        open(IpRulesWindow::Scope::Account);
        QCOMPARE(m_dialog->boundUser(), Owner);
        QCOMPARE(shownRules(), ordered);

        // The database refuses one rule: the stored ones move behind it, and nothing of the save lands.
        m_db->exec(m_db->engine() == TestEngine::Sqlite
                       ? QStringLiteral("CREATE TRIGGER refuse_rule BEFORE INSERT ON blocked_ips_by_user WHEN NEW.ip = '6.6.6.6' "
                                        "BEGIN SELECT RAISE(ABORT, 'rule refused'); END")
                       : QStringLiteral("ALTER TABLE blocked_ips_by_user ADD CONSTRAINT refuse_rule CHECK (ip <> '6.6.6.6')"));
        add({"6.6.6.6", "7.7.7.7"});
        for (int moved = 0; moved < 3; ++moved) {
            selectRule(0);
            click("cmdRemove");
            fireTimer(m_dialog.get(), QStringLiteral("tmrRules"));
            click("cmdAdd");
        }
        prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("may have incorrect tables or be missing"));
        click("cmdOK");
        QCOMPARE(prompter().unusedSteps(), 0);
        QVERIFY(m_dialog->isVisible());
        QCOMPARE(shownRules(), QStringList({"6.6.6.6", "7.7.7.7", "30.0.0.3", "10.0.0.1", "20.0.0.2"}));
        QCOMPARE(storedRules(Owner), ordered);
        QCOMPARE(storedRules(Other), QStringList({"10.9.9.9"}));
        selectRule(0);
        click("cmdRemove");
        click("cmdOK");
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(storedRules(Owner), QStringList({"7.7.7.7"}) + ordered);
    }

    void enteredTextIsJudged_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("kept"); // what the box holds: only digits, dots and a slash, at most 15
        QTest::addColumn<bool>("byEnter");
        QTest::addColumn<bool>("added");
        QTest::addColumn<int>("beeps");
        // One row per verdict of validateIpText; the verdicts themselves are tested above.
        QTest::newRow("accepted on leaving the box") << "10.0.0.0/8" << "10.0.0.0/8" << false << true << 1;
        QTest::newRow("accepted by Enter") << "1a0.*0.x0.-0/B8" << "10.0.0.0/8" << true << true << 1;
        QTest::newRow("rejected with a beep") << "1234567890.1234567890" << "1234567890.1234" << false << false << 1;
        QTest::newRow("rejected silently") << "1.2.3.256" << "1.2.3.256" << false << false << 0;
    }
    void enteredTextIsJudged()
    {
        QFETCH(QString, typed);
        QFETCH(QString, kept);
        QFETCH(bool, byEnter);
        QFETCH(bool, added);
        QFETCH(int, beeps);
        startConfigured();
        type(typed);
        QCOMPARE(entry()->text(), kept);
        // Every key that passes the filter leaves a line in the log.
        const auto& log = m_program->env.log.lines();
        QCOMPARE(std::count_if(log.begin(), log.end(), [](const QString& line) { return line.endsWith(QLatin1String(":  Only numbers and .")); }),
                 typed.count(QRegularExpression(QStringLiteral("[0-9./]"))));
        if (byEnter)
            QTest::keyClick(entry(), Qt::Key_Return);
        else
            click("cmdAdd");
        QCOMPARE(shownRules(), added ? QStringList({kept}) : QStringList());
        QCOMPARE(prompter().beeps(), beeps);
        QVERIFY(m_dialog->isVisible());
        if (added)
            return;
        // A refused text keeps the focus, and OK does not act on the click that tried to take it.
        QVERIFY(entry()->hasFocus());
        QCOMPARE(entry()->text(), kept);
        click("cmdOK");
        QVERIFY(m_dialog->isVisible());
        QVERIFY(entry()->hasFocus());
        QCOMPARE(prompter().beeps(), beeps * 2);
        // Cancel leaves without a judgement.
        click("cmdCancel");
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(prompter().beeps(), beeps * 2);
    }

    void editingTheList()
    {
        startConfigured();
        add({"1.1.1.1", "2.2.2.2", "3.3.3.3"});
        fireTimer(m_dialog.get(), QStringLiteral("tmrRules"));
        for (const char* name : {"cmdUp", "cmdDown", "cmdRemove", "cmdAdd"})
            QVERIFY2(!control(name)->isEnabled(), name);
        // Up on the first and Down on the last change nothing.
        selectRule(0);
        for (const char* name : {"cmdUp", "cmdDown", "cmdRemove"})
            QVERIFY2(control(name)->isEnabled(), name);
        click("cmdUp");
        QCOMPARE(shownRules(), QStringList({"1.1.1.1", "2.2.2.2", "3.3.3.3"}));
        selectRule(2);
        click("cmdDown");
        QCOMPARE(shownRules(), QStringList({"1.1.1.1", "2.2.2.2", "3.3.3.3"}));
        // A moved rule stays selected at its new place.
        click("cmdUp");
        QCOMPARE(shownRules(), QStringList({"1.1.1.1", "3.3.3.3", "2.2.2.2"}));
        QCOMPARE(selectedRow(), 1);
        click("cmdDown");
        QCOMPARE(shownRules(), QStringList({"1.1.1.1", "2.2.2.2", "3.3.3.3"}));
        QCOMPARE(selectedRow(), 2);
        // Remove hands the rule to the box; Add puts it at the end.
        selectRule(0);
        click("cmdRemove");
        QCOMPARE(entry()->text(), QStringLiteral("1.1.1.1"));
        QCOMPARE(selectedRow(), -1);
        fireTimer(m_dialog.get(), QStringLiteral("tmrRules"));
        QVERIFY(!control("cmdRemove")->isEnabled());
        click("cmdAdd");
        QCOMPARE(shownRules(), QStringList({"2.2.2.2", "3.3.3.3", "1.1.1.1"}));
        // A click into the box drops the selection; a refused text keeps the list from selecting.
        selectRule(1);
        QTest::mouseClick(entry(), Qt::LeftButton);
        QCOMPARE(selectedRow(), -1);
        QTest::keyClicks(entry(), QStringLiteral("9.9"));
        selectRule(0);
        QCOMPARE(selectedRow(), -1);
        QVERIFY(entry()->hasFocus());
    }
};

QUILLMERE_TEST(TestIpRulesWindow)
#include "TestIpRulesWindow.moc"
