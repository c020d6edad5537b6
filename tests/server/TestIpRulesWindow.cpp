#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "db/SqlText.h"
#include "server/IpRuleText.h"
#include "server/IpRulesWindow.h"
#include "shell/MainWindow.h"

#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
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

    // Accounts for a running program on the engine of the data row: two accounts
    // (the first, shown at start, has a quote in its name) and rules that are not theirs.
    void arrangeAccounts(std::unique_ptr<TestDatabase> db)
    {
        m_db = std::move(db);
        for (const QString& name : {Owner, Other})
            m_db->exec(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip) "
                                      "VALUES (%1, 'c:\\ftp', 'pw', 1, 1)").arg(sqlQuote(name)));
        for (const char* row : {"'bob', '10.9.9.9'", "'*', '10.8.8.8'"})
            m_db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values (%1)").arg(QLatin1String(row)));
        m_db->exec(QStringLiteral("insert into blocked_ips (ip) values ('172.16.0.1')"));
        m_program->start();
    }
    // A running program on the template database, without accounts.
    void startConfigured()
    {
        m_program = std::make_unique<ProgramUnderTest>();
        m_program->configure();
        m_program->start();
    }
    // Opens a dialog as its button will: load, show, and the administrator's focus in it.
    void open(IpRulesWindow::Scope scope)
    {
        if (!m_dialog)
            m_dialog = std::make_unique<IpRulesWindow>(m_program->env.context, m_program->windows.main().pageState(), scope);
        m_dialog->popList();
        m_dialog->show();
        activate();
    }
    void activate()
    {
        m_dialog->activateWindow();
        if (!QTest::qWaitForWindowActive(m_dialog.get()))
            QTest::qFail("the dialog never became active", __FILE__, __LINE__);
    }
    void click(const char* name) { QTest::mouseClick(control<QPushButton>(name), Qt::LeftButton); }
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

    // ---- The validator ----

    void verdicts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<IpTextVerdict>("verdict");
        QTest::newRow("empty") << "" << IpTextVerdict::Empty;
        QTest::newRow("address") << "192.168.1.10" << IpTextVerdict::Accepted;
        QTest::newRow("bounds") << "0.0.255.255" << IpTextVerdict::Accepted;
        QTest::newRow("three parts") << "192.168.1" << IpTextVerdict::RejectedWithBeep;
        QTest::newRow("five parts") << "1.2.3.4.5" << IpTextVerdict::RejectedWithBeep;
        QTest::newRow("no dot") << "12" << IpTextVerdict::RejectedWithBeep;
        QTest::newRow("part above 255") << "1.2.3.256" << IpTextVerdict::RejectedSilently;
        QTest::newRow("first part above 255") << "300.1.1.1" << IpTextVerdict::RejectedSilently;
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
        QFETCH(IpTextVerdict, verdict);
        QCOMPARE(validateIpText(text), verdict);
    }

    // ---- The dialogs ----

    void designTimeTexts_data()
    {
        QTest::addColumn<IpRulesWindow::Scope>("scope");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("frame");
        QTest::newRow("account") << IpRulesWindow::Scope::Account << "frmIPAccess" << "Setup IP Blocking " << "Access Rules";
        QTest::newRow("global") << IpRulesWindow::Scope::Global << "frmGlobalIPAccess" << "Global IP Blocking"
                                << "Global Access Rules";
    }
    void designTimeTexts()
    {
        QFETCH(IpRulesWindow::Scope, scope);
        QFETCH(QString, name);
        startConfigured();
        m_dialog = std::make_unique<IpRulesWindow>(m_program->env.context, m_program->windows.main().pageState(), scope);
        QCOMPARE(m_dialog->scope(), scope);
        QCOMPARE(m_dialog->objectName(), name);
        QTEST(m_dialog->windowTitle(), "caption");
        QTEST(control<QGroupBox>("Frame1")->title(), "frame");
        QCOMPARE(control<QGroupBox>("Frame2")->title(), QStringLiteral("Add IP Address"));
        const QList<QPair<const char*, const char*>> texts{
            {"cmdUp", "Up"}, {"cmdDown", "Down"}, {"cmdRemove", "Remove"}, {"cmdAdd", "Add"}, {"cmdOK", "OK"}, {"cmdCancel", "Cancel"},
            {"cmdHelp", "Help"}, {"Label1", "-->"}, {"Label2", "<--"}, {"Label3", "IP Address"}, {"Label4", "Rule list"}};
        for (const auto& [object, text] : texts) {
            auto* button = control<QAbstractButton>(object);
            QCOMPARE(button ? button->text() : control<QLabel>(object)->text(), QLatin1String(text));
        }
        QCOMPARE(findTimer(m_dialog.get(), QStringLiteral("tmrRules"))->interval(), 75);
        QVERIFY(m_program->env.log.contains(QStringLiteral("populate with current ips")));
        // The manual is not installed beside the test program.
        open(scope);
        prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("The help file is missing."));
        click("cmdHelp");
        QCOMPARE(prompter().unusedSteps(), 0);
    }

    void rulesKeepTheirOrderAndTheirAccount_data() { addEngineRows(); }
    void rulesKeepTheirOrderAndTheirAccount()
    {
        m_program = std::make_unique<ProgramUnderTest>();
        QUILLMERE_OPEN_DATABASE(db, m_program->env);
        arrangeAccounts(std::move(db));
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
        QTest::mouseClick(control("cmdOK"), Qt::LeftButton);
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
    }

    void enteredTextIsJudgedOnLeavingTheBox_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("added");
        QTest::addColumn<int>("beeps");
        // One row per verdict of validateIpText; the verdicts themselves are tested above.
        QTest::newRow("accepted") << "10.0.0.0/8" << true << 1;
        QTest::newRow("rejected with a beep") << "192.168.1" << false << 1;
        QTest::newRow("rejected silently") << "1.2.3.256" << false << 0;
    }
    void enteredTextIsJudgedOnLeavingTheBox()
    {
        QFETCH(QString, text);
        QFETCH(bool, added);
        QFETCH(int, beeps);
        startConfigured();
        open(IpRulesWindow::Scope::Global);
        type(text);
        click("cmdAdd");
        QCOMPARE(shownRules(), added ? QStringList({text}) : QStringList());
        QCOMPARE(prompter().beeps(), beeps);
        if (added)
            return;
        // A refused text keeps the focus, and OK does not act on the click that tried to take it.
        QVERIFY(entry()->hasFocus());
        QCOMPARE(entry()->text(), text);
        click("cmdOK");
        QVERIFY(m_dialog->isVisible());
        QVERIFY(entry()->hasFocus());
        QCOMPARE(prompter().beeps(), beeps * 2);
        // Cancel leaves without a judgement.
        click("cmdCancel");
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(prompter().beeps(), beeps * 2);
    }

    void typingAndEnter()
    {
        startConfigured();
        open(IpRulesWindow::Scope::Global);
        const auto passingKeys = [this] {
            const auto& lines = m_program->env.log.lines();
            return std::count_if(lines.begin(), lines.end(),
                                 [](const QString& line) { return line.endsWith(QLatin1String(":  Only numbers and .")); });
        };
        type(QStringLiteral("1a*-0.x/B8"));
        QCOMPARE(entry()->text(), QStringLiteral("10./8"));
        QCOMPARE(passingKeys(), 5);
        type(QStringLiteral("1234567890.1234567890"));
        QCOMPARE(entry()->text(), QStringLiteral("1234567890.1234"));
        // Enter in the box adds the judged text; the dialog stays open.
        type(QStringLiteral("10.1.2.3"));
        QTest::keyClick(entry(), Qt::Key_Return);
        QCOMPARE(shownRules(), QStringList({"10.1.2.3"}));
        QCOMPARE(prompter().beeps(), 1);
        QVERIFY(m_dialog->isVisible());
    }

    void editingTheList()
    {
        startConfigured();
        open(IpRulesWindow::Scope::Global);
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

    void globalSaveIsAnnounced()
    {
        startConfigured();
        m_dialog = std::make_unique<IpRulesWindow>(m_program->env.context, m_program->windows.main().pageState(), IpRulesWindow::Scope::Global);
        QSignalSpy saved(m_dialog.get(), &IpRulesWindow::globalRulesSaved);
        Database db(m_program->env.settings.readConnectionString());
        QVERIFY(db.open());
        QVERIFY(db.execute(QStringLiteral("insert into blocked_ips (ip) values ('172.16.0.1')")));
        QVERIFY(db.execute(QStringLiteral("insert into blocked_ips_by_user (username, ip) values ('*', '10.8.8.8')")));
        const auto stored = [&db](const char* table) {
            QStringList rules;
            for (Rows rows = db.select(QStringLiteral("select ip from %1").arg(QLatin1String(table))); rows.next();)
                rules.append(rows.text(QStringLiteral("ip")));
            return rules;
        };

        // The configuration window's way: load, then a modal run. Cancel and Escape store nothing.
        for (const bool byEscape : {false, true}) {
            prompter().onModal(QStringLiteral("frmGlobalIPAccess"), [&](QWidget*) {
                activate();
                QCOMPARE(shownRules(), QStringList({"172.16.0.1"}));
                add({"10.0.0.0/8"});
                if (byEscape)
                    QTest::keyClick(entry(), Qt::Key_Escape);
                else
                    click("cmdCancel");
            });
            m_dialog->popList();
            prompter().runModal(m_dialog.get());
        }
        QCOMPARE(saved.count(), 0);
        QCOMPARE(stored("blocked_ips"), QStringList({"172.16.0.1"}));

        prompter().onModal(QStringLiteral("frmGlobalIPAccess"), [&](QWidget*) {
            activate();
            add({"10.0.0.0/8"});
            click("cmdOK");
        });
        m_dialog->popList();
        prompter().runModal(m_dialog.get());
        QCOMPARE(saved.count(), 1);
        QCOMPARE(stored("blocked_ips"), QStringList({"172.16.0.1", "10.0.0.0/8"}));
        QCOMPARE(stored("blocked_ips_by_user"), QStringList({"10.8.8.8"}));
        QCOMPARE(prompter().unusedSteps(), 0);
    }

    void refusedRuleKeepsTheDialogOpen_data() { addEngineRows(); }
    void refusedRuleKeepsTheDialogOpen()
    {
        m_program = std::make_unique<ProgramUnderTest>();
        QUILLMERE_OPEN_DATABASE(db, m_program->env);
        db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values (%1, '9.9.9.9')").arg(sqlQuote(Owner)));
        arrangeAccounts(std::move(db));
        m_db->exec(m_db->engine() == TestEngine::Sqlite
                       ? QStringLiteral("CREATE TRIGGER refuse_rule BEFORE INSERT ON blocked_ips_by_user WHEN NEW.ip = '6.6.6.6' "
                                        "BEGIN SELECT RAISE(ABORT, 'rule refused'); END")
                       : QStringLiteral("ALTER TABLE blocked_ips_by_user ADD CONSTRAINT refuse_rule CHECK (ip <> '6.6.6.6')"));
        open(IpRulesWindow::Scope::Account);
        QCOMPARE(shownRules(), QStringList({"9.9.9.9"}));
        add({"6.6.6.6", "7.7.7.7"});
        // The stored rule moves behind the one the database refuses.
        selectRule(0);
        click("cmdRemove");
        fireTimer(m_dialog.get(), QStringLiteral("tmrRules"));
        click("cmdAdd");
        prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("may have incorrect tables or be missing"));
        click("cmdOK");
        QCOMPARE(prompter().unusedSteps(), 0);
        QVERIFY(m_dialog->isVisible());
        QCOMPARE(shownRules(), QStringList({"6.6.6.6", "7.7.7.7", "9.9.9.9"}));
        // The save landed not at all: the old rules are all there.
        QCOMPARE(storedRules(Owner), QStringList({"9.9.9.9"}));
        QCOMPARE(storedRules(Other), QStringList({"10.9.9.9"}));

        selectRule(0);
        click("cmdRemove");
        click("cmdOK");
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(storedRules(Owner), QStringList({"7.7.7.7", "9.9.9.9"}));
    }
};

QUILLMERE_TEST(TestIpRulesWindow)
#include "TestIpRulesWindow.moc"
