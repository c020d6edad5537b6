#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"
#include "TestTimers.h"

#include "app/MainWindow.h"
#include "db/SqlText.h"
#include "server/IpRuleText.h"
#include "server/IpRulesWindow.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>

#include <memory>

Q_DECLARE_METATYPE(IpTextVerdict)

// The IP rule dialog of one account, driven as an administrator drives it: typing into the
// entry box, clicking the buttons, and reading back what OK stored. The global dialog's
// save is the configuration window's test.
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

    // A running program on the template database, without accounts, and the dialog.
    void startConfigured()
    {
        m_program = std::make_unique<ProgramUnderTest>();
        m_program->configure();
        m_program->start();
        open();
    }
    // Opens the dialog as its button does: load, show, and the administrator's focus in it.
    void open()
    {
        if (!m_dialog)
            m_dialog = std::make_unique<IpRulesWindow>(m_program->env.context, m_program->windows.main().pageState(), IpRulesWindow::Scope::Account);
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

    // A part counts by its leading number, so only a wrong count of dots, a number past 255
    // (however long) and a sign refuse a text; the walk below types the other verdicts.
    void verdicts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<IpTextVerdict>("verdict");
        QTest::newRow("empty") << "" << IpTextVerdict::Empty;
        QTest::newRow("bounds") << "0.0.255.255" << IpTextVerdict::Accepted;
        QTest::newRow("huge part") << "1.99999999999999999999.1.1" << IpTextVerdict::RejectedSilently;
        QTest::newRow("negative part") << "1.-2.3.4" << IpTextVerdict::RejectedSilently;
        QTest::newRow("empty part") << "1..2.3" << IpTextVerdict::Accepted;
        QTest::newRow("blanks before a part") << " 1. 2.3.4" << IpTextVerdict::Accepted;
    }
    void verdicts()
    {
        QFETCH(QString, text);
        QTEST(validateIpText(text), "verdict");
    }

    // OK stores the list as a whole, in order, for the account the dialog was opened for;
    // a save the database refuses lands not at all.
    void accountRulesAreStoredWhole_data() { addEngineRows(); }
    void accountRulesAreStoredWhole()
    {
        const QString owner = QStringLiteral("ann o'hara");
        const QString other = QStringLiteral("bob");
        m_program = std::make_unique<ProgramUnderTest>();
        QUILLMERE_OPEN_DATABASE(db, m_program->env);
        m_db = std::move(db);
        // Two accounts (the first, shown at start, has a quote in its name) and rules that are not theirs.
        for (const QString& name : {owner, other})
            m_db->exec(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip) "
                                      "VALUES (%1, 'c:\\ftp', 'pw', 1, 1)").arg(sqlQuote(name)));
        for (const char* row : {"'bob', '10.9.9.9'", "'*', '10.8.8.8'"})
            m_db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values (%1)").arg(QLatin1String(row)));
        m_program->start();
        open();
        QCOMPARE(m_dialog->boundUser(), owner);
        QCOMPARE(shownRules(), QStringList());
        // OK on the empty list deletes what the account has, whoever stored it meanwhile.
        m_db->exec(QStringLiteral("insert into blocked_ips_by_user (username, ip) values (%1, '1.1.1.1')").arg(sqlQuote(owner)));
        click("cmdOK");
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(storedRules(owner), QStringList());

        open();
        add({"30.0.0.3", "10.0.0.1", "20.0.0.2"});
        QCOMPARE(entry()->text(), QString());
        // The administrator looks at another account before OK: the rules stay with the first.
        auto* users = m_program->windows.main().findChild<QListWidget*>(QStringLiteral("lstUsers"));
        QTest::mouseClick(users->viewport(), Qt::LeftButton, {}, users->visualItemRect(users->item(1)).center());
        QCOMPARE(m_program->windows.main().pageState().currentUser, other);
        click("cmdOK");
        const QStringList ordered{"30.0.0.3", "10.0.0.1", "20.0.0.2"};
        QCOMPARE(storedRules(owner), ordered);
        QCOMPARE(storedRules(other), QStringList({"10.9.9.9"}));
        QCOMPARE(storedRules(QStringLiteral("*")), QStringList({"10.8.8.8"}));
        // Opened again, for the other account now: it sees its own.
        open();
        QCOMPARE(shownRules(), QStringList({"10.9.9.9"}));
        QTest::mouseClick(users->viewport(), Qt::LeftButton, {}, users->visualItemRect(users->item(0)).center());
        open();
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
        QCOMPARE(storedRules(owner), ordered);
        QCOMPARE(storedRules(other), QStringList({"10.9.9.9"}));
        selectRule(0);
        click("cmdRemove");
        click("cmdOK");
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(storedRules(owner), QStringList({"7.7.7.7"}) + ordered);
    }

    // Only digits, dots and a slash reach the box, 15 at most. Leaving it (for Add, or by
    // Enter) judges the text: accepted with a beep, refused with one, or refused silently.
    // A refused text keeps the focus, and the click that tried to take it does nothing;
    // Cancel leaves without a judgement.
    void enteredTextIsJudged()
    {
        startConfigured();
        type(QStringLiteral("10.0.0.0/8"));
        click("cmdAdd");
        type(QStringLiteral("1a0.*0.x0.-0/B9"));
        QCOMPARE(entry()->text(), QStringLiteral("10.0.0.0/9"));
        QTest::keyClick(entry(), Qt::Key_Return);
        QCOMPARE(shownRules(), QStringList({"10.0.0.0/8", "10.0.0.0/9"}));
        QCOMPARE(prompter().beeps(), 2);
        for (const auto& [typed, kept, beeps] : {std::tuple{"1.2.3.256", "1.2.3.256", 0}, std::tuple{"1234567890.1234567890", "1234567890.1234", 1}}) {
            const int before = prompter().beeps();
            type(QLatin1String(typed));
            QCOMPARE(entry()->text(), QLatin1String(kept));
            for (const char* button : {"cmdAdd", "cmdOK"}) {
                click(button);
                QVERIFY(m_dialog->isVisible());
                QVERIFY(entry()->hasFocus());
            }
            QCOMPARE(shownRules().size(), 2);
            QCOMPARE(prompter().beeps(), before + 2 * beeps);
        }
        click("cmdCancel");
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(prompter().beeps(), 4);
    }

    // Up and Down move the selected rule and keep it selected, never past either end; the
    // buttons follow the selection, which a click into the box drops; Escape means Cancel.
    void editingTheList()
    {
        startConfigured();
        const QStringList added{"1.1.1.1", "2.2.2.2", "3.3.3.3"};
        add(added);
        fireTimer(m_dialog.get(), QStringLiteral("tmrRules"));
        for (const char* name : {"cmdUp", "cmdDown", "cmdRemove", "cmdAdd"})
            QVERIFY2(!control(name)->isEnabled(), name);
        const auto moved = [&](int row, const char* button) {
            selectRule(row);
            click(button);
            return shownRules();
        };
        QCOMPARE(moved(0, "cmdUp"), added);
        QCOMPARE(moved(2, "cmdDown"), added);
        QCOMPARE(moved(2, "cmdUp"), QStringList({"1.1.1.1", "3.3.3.3", "2.2.2.2"}));
        QCOMPARE(selectedRow(), 1);
        click("cmdDown");
        QCOMPARE(shownRules(), added);
        QCOMPARE(selectedRow(), 2);
        for (const char* name : {"cmdUp", "cmdDown", "cmdRemove"})
            QVERIFY2(control(name)->isEnabled(), name);
        QTest::mouseClick(entry(), Qt::LeftButton);
        QCOMPARE(selectedRow(), -1);
        // The manual is not installed beside the test program.
        prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("The help file is missing."));
        click("cmdHelp");
        QCOMPARE(prompter().unusedSteps(), 0);
        QTest::keyClick(m_dialog.get(), Qt::Key_Escape);
        QVERIFY(!m_dialog->isVisible());
    }
};

QUILLMERE_TEST(TestIpRulesWindow)
#include "TestIpRulesWindow.moc"
