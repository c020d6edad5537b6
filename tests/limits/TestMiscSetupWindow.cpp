#include "tests/accounts/AccountsFixture.h"
#include "TestMain.h"

#include "limits/MiscSetupWindow.h"
#include "limits/MonthCalendar.h"

#include <QCoreApplication>
#include <QPointer>

using F = AccountsFixture;
using prompt::Answer;

// The account options dialog: loading, its rules, the checks of OK in their order,
// the save, and the dates picked in the calendar.
class TestMiscSetupWindow : public QObject
{
    Q_OBJECT

    static QStringList row(TestDatabase& db, const QString& name)
    {
        return db.column(QStringLiteral("select coalesce(cast(disable_user as varchar(9)), 'null') || ',' || rel_path || ',' || "
                                        "hide_hidden_files || ',' || always_login || ',' || one_login_per_ip || ',' || "
                                        "max_logins_per_ip || ',' || speed_limit_value || ',' || timeout || ',' || session_timeout "
                                        "|| ',' || max_concurrent || ',' || coalesce(login_msg_file, 'null') || ',' || Expires || ',' "
                                        "|| DisableOn from users where username=%1")
                             .arg(sqlQuote(name)));
    }

private slots:
    void init() { QLocale::setDefault(QLocale(QStringLiteral("en_US"))); }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    // What the dialog loads and saves, its rules, and the checks of OK in their order.
    void loadsChecksAndSaves_data() { addEngineRows(); }
    void loadsChecksAndSaves()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        db->exec(accountInsert(QStringLiteral("bob"), QStringLiteral("timeout, session_timeout, speed_limit_value, Expires, DisableOn, "
                                                                     "one_login_per_ip, login_msg_file"),
                               QStringLiteral("-1, -1, '128', '12/31/2099', 'no', 1, '/srv/welcome.txt'")));
        db->exec(QStringLiteral("update users set max_logins_per_ip=0, max_concurrent=-1 where username='bob'"));
        db->exec(accountInsert(QStringLiteral("zeros"), QStringLiteral("one_login_per_ip, login_msg_file, DisableOn"),
                               QStringLiteral("0, 'keep.txt', '5/20/2027'")));
        db->exec(QStringLiteral("update users set max_logins_per_ip=0 where username='zeros'"));
        program.start();
        AccountsFixture ui(program);

        QWidget* dialog = ui.open("cmdMisc", "frmMiscSetup");
        // A disable date shorter than three characters counts as none, and is cleared.
        QCOMPARE(F::values(dialog, {"txtIdleTimeOut", "txtSessionTimeout", "txtMaxUSer", "txtMaxSpeed", "chkExpires", "txtExpDate",
                                    "chkDisableOn", "txtDisableDate", "optOneLogin"}),
                 QStringList({"", "", "", "128", "[x]", "12/31/2099", "[ ]", "", "[x]"}));
        QVERIFY(!F::box(dialog, "txtDisableDate")->isEnabled());
        // Saved without typing: the empty boxes go back as -1.
        F::click(dialog, "cmdOK");
        QVERIFY(!dialog->isVisible());
        QCOMPARE(row(*db, QStringLiteral("bob")), QStringList({"0,0,0,0,1,0,128,-1,-1,-1,/srv/welcome.txt,12/31/2099,"}));

        // Every box typed, quotes and all; "Allow only 3" replaces one login per address.
        dialog = ui.open("cmdMisc", "frmMiscSetup");
        for (const char* name : {"ChkShowRelPath", "ChkHideHidden", "ChkAlwaysLogin", "optMaxLogins", "chkExpires"})
            F::click(dialog, name);
        using Typed = std::pair<const char*, const char*>;
        for (const auto& [name, text] : {Typed("TxtAllowOnly", "3"), Typed("txtIdleTimeOut", "15"), Typed("txtSessionTimeout", "240"),
                                         Typed("txtMaxUSer", "4"), Typed("txtMaxSpeed", "1.5")})
            F::retype(F::box(dialog, name), QLatin1String(text));
        F::box(dialog, "txtLoginMessageFile")->setText(QStringLiteral("/srv/o'brien 100%.txt"));
        F::click(dialog, "cmdOK");
        QCOMPARE(row(*db, QStringLiteral("bob")), QStringList({"0,1,1,1,0,3,1.5,15,240,4,/srv/o'brien 100%.txt,,"}));
        // The main window reloaded the page.
        QCOMPARE(ui.label("lblExpires")->text(), QStringLiteral("This account is not set to expire. Click Here to set date."));

        // Both login columns 0: neither option, whatever the account before chose.
        ui.selectUser(1);
        dialog = ui.open("cmdMisc", "frmMiscSetup");
        QCOMPARE(F::values(dialog, {"optOneLogin", "optMaxLogins"}), QStringList({"[ ]", "[ ]"}));
        F::click(dialog, "cmdOK");
        QCOMPARE(row(*db, QStringLiteral("zeros")).value(0).section(QLatin1Char(','), 4, 5), QStringLiteral("0,0"));

        // The rules of the boxes and keys, and the checks of OK in their order.
        dialog = ui.open("cmdMisc", "frmMiscSetup");
        QVERIFY(F::check(dialog, "chkDisableOn")->isChecked());
        F::click(dialog, "chkDisableAccount");
        QVERIFY(!F::check(dialog, "chkDisableOn")->isEnabled());
        QCOMPARE(F::box(dialog, "txtDisableDate")->text(), QString());
        F::click(dialog, "chkDisableAccount");
        QVERIFY(F::check(dialog, "chkDisableOn")->isEnabled());
        // The numeric boxes take digits and points only; the session time-out has no filter.
        QLineEdit* idle = F::box(dialog, "txtIdleTimeOut");
        F::retype(idle, QStringLiteral("1x2.5"));
        QCOMPARE(idle->text(), QStringLiteral("12.5"));
        QVERIFY(program.env.log.contains(QStringLiteral("Only numbers and .")));
        QTest::keyClicks(F::box(dialog, "txtSessionTimeout"), QStringLiteral("x"));
        QVERIFY(F::box(dialog, "txtSessionTimeout")->text().endsWith(QLatin1Char('x')));
        F::box(dialog, "txtSessionTimeout")->clear();

        const auto refused = [&](const QString& message) {
            ui.prompter().reset();
            ui.prompter().answerMessage(Answer::Ok, message);
            F::click(dialog, "cmdOK");
            QVERIFY2(dialog->isVisible(), qPrintable(message));
            QCOMPARE(ui.prompter().unusedSteps(), 0);
        };
        QLineEdit* loginFile = F::box(dialog, "txtLoginMessageFile");
        loginFile->setText(QString(65001, QLatin1Char('f')));
        refused(QStringLiteral("login message file field"));
        loginFile->setText(QStringLiteral("http://example.org/motd.txt"));
        idle->setText(QStringLiteral("123456789"));
        refused(QStringLiteral("idle timeout field"));
        idle->setText(QStringLiteral("5"));
        F::click(dialog, "optMaxLogins");
        F::box(dialog, "TxtAllowOnly")->clear();
        refused(QStringLiteral("To allow only certain number of logins per \r\nIP address, you must specify that number."));
        F::box(dialog, "TxtAllowOnly")->setText(QStringLiteral("1.2"));
        refused(QStringLiteral("The path specified is not valid."));
        loginFile->setText(QString(65000, QLatin1Char('f')));
        // The disable date was cleared with Disable account, so its option stands without a date.
        F::click(dialog, "chkExpires");
        refused(QStringLiteral("If expiration option is enabled you must select an expiration date."));
        F::click(dialog, "chkExpires");
        refused(QStringLiteral("If disable on date option is enabled you must select a date to disable the account on."));
        F::click(dialog, "chkDisableOn");
        // Numbers go into SQL bare: a count with a point and a session time-out with a letter are refused.
        refused(QStringLiteral("allow only field must hold a whole number"));
        F::box(dialog, "TxtAllowOnly")->setText(QStringLiteral("2"));
        F::box(dialog, "txtSessionTimeout")->setText(QStringLiteral("ten"));
        refused(QStringLiteral("session time-out field must hold a whole number"));
        F::box(dialog, "txtSessionTimeout")->clear();

        // The file picker cancelled empties the box; the stored file then stays as it was.
        ui.prompter().reset();
        ui.prompter().answerFile(QString());
        F::click(dialog, "CmdLoginMessageFile");
        QCOMPARE(loginFile->text(), QString());
        F::click(dialog, "cmdOK");
        QVERIFY(!dialog->isVisible());
        QCOMPARE(db->column(QStringLiteral("select login_msg_file || ',' || max_logins_per_ip || ',' || session_timeout "
                                                      "|| ',' || DisableOn from users where username='zeros'")),
                 QStringList({"keep.txt,2,-1,"}));
    }

    void datesComeFromTheCalendar_data()
    {
        // The installation took its form under the first locale; the dialog runs under the second.
        QTest::addColumn<QString>("installedUnder");
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("written");
        QTest::newRow("en_US, two-digit year") << "en_US" << "en_US" << "5/20/2027";
        QTest::newRow("de_DE, two-digit year") << "de_DE" << "de_DE" << "20.05.2027";
        QTest::newRow("en_GB") << "en_GB" << "en_GB" << "20/05/2027";
        QTest::newRow("en_GB installation, en_US process") << "en_GB" << "en_US" << "20/05/2027";
        QTest::newRow("en_US installation, de_DE process") << "en_US" << "de_DE" << "5/20/2027";
    }
    void datesComeFromTheCalendar()
    {
        QFETCH(QString, installedUnder);
        QFETCH(QString, locale);
        QFETCH(QString, written);
        QLocale::setDefault(QLocale(installedUnder));
        ProgramUnderTest program;
        QLocale::setDefault(QLocale(locale));
        program.env.clock.setNow(QDateTime(QDate(2027, 5, 3), QTime(10, 0)));
        QString whyNot;
        const auto db = TestDatabase::create(TestEngine::Sqlite, program.env, &whyNot);
        QVERIFY2(db && db->exec(accountInsert(QStringLiteral("bob"))), qPrintable(whyNot));
        program.start();
        AccountsFixture ui(program);
        auto* dialog = static_cast<MiscSetupWindow*>(ui.open("cmdMisc", "frmMiscSetup"));
        QWidget* grid = dialog->findChild<QWidget*>(QStringLiteral("picMonth"));
        const auto pick = [&](const char* checkBox, const char* dotsButton, int day) {
            if (!F::check(dialog, checkBox)->isChecked())
                F::click(dialog, checkBox);
            F::click(dialog, dotsButton);
            QVERIFY(dialog->isCalendarShown());
            QCOMPARE(dialog->calendar().currentDate(), QDate(2027, 5, 3));
            QTest::mouseDClick(grid, Qt::LeftButton, {}, dialog->calendar().cellRect(day).center());
            QVERIFY(!dialog->isCalendarShown());
        };
        // Disable on the 20th and expire on the 19th: refused. Both on the 20th: passes.
        pick("chkDisableOn", "cmdDiableDDD", 20);
        QCOMPARE(F::box(dialog, "txtDisableDate")->text(), written);
        pick("chkExpires", "cmdExpiresDDD", 19);
        ui.prompter().answerMessage(Answer::Ok, QStringLiteral("The account expiration date should be after the date"));
        F::click(dialog, "cmdOK");
        QVERIFY(dialog->isVisible());
        pick("chkExpires", "cmdExpiresDDD", 20);
        // Cancel in the calendar leaves the box as it was.
        F::click(dialog, "cmdExpiresDDD");
        F::click(dialog, "Command1");
        QCOMPARE(F::box(dialog, "txtExpDate")->text(), written);
        F::click(dialog, "cmdOK");
        QVERIFY(!dialog->isVisible());
        QCOMPARE(db->column(QStringLiteral("select Expires || ',' || DisableOn from users")), QStringList({written + ',' + written}));

        // Enter in the calendar destroys the window without saving; the next use makes it afresh.
        QPointer<QWidget> destroyed = ui.open("cmdMisc", "frmMiscSetup");
        F::click(destroyed, "chkExpires");
        F::click(destroyed, "chkExpires");
        F::click(destroyed, "cmdExpiresDDD");
        QTest::keyClick(grid, Qt::Key_Return);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(destroyed.isNull());
        QCOMPARE(F::box(ui.open("cmdMisc", "frmMiscSetup"), "txtExpDate")->text(), written);
    }

    // Each account dialog writes only to the account whose values it shows: the one
    // it loaded, even when the page moves on, and none after a load that failed.
    void dialogsSaveOnlyWhatTheyShow_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("dialog");
        QTest::addColumn<QString>("change");
        QTest::addColumn<QString>("column");
        QTest::newRow("options") << "cmdMisc" << "frmMiscSetup" << "chkDisableAccount" << "disable_user";
        QTest::newRow("ratios") << "cmdUpDownRatios" << "frmUDRatios" << "chkEnableUD" << "ratio_type";
        QTest::newRow("quota") << "cmdQuota" << "frmDiskQuota" << "chkEnableQuota" << "use_quota";
    }
    void dialogsSaveOnlyWhatTheyShow()
    {
        QFETCH(QString, button);
        QFETCH(QString, dialog);
        QFETCH(QString, change);
        QFETCH(QString, column);
        ProgramUnderTest program;
        QString whyNot;
        const auto db = TestDatabase::create(TestEngine::Sqlite, program.env, &whyNot);
        QVERIFY2(db, qPrintable(whyNot));
        db->exec(accountInsert(QStringLiteral("alice"), QStringLiteral("ratio_type, ratio_up, ratio_down, ratio_current_credit, quota_max"),
                               QStringLiteral("'FilesOverall', 1, 1, 1, 1")));
        db->exec(accountInsert(QStringLiteral("bob")));
        program.start();
        const auto stored = [&] {
            return db->column(QStringLiteral("select username || ',' || coalesce(cast(%1 as varchar(20)), 'null') from users order by username")
                                  .arg(column));
        };
        const QStringList before = stored();
        AccountsFixture ui(program);
        QWidget* window = ui.open(qPrintable(button), qPrintable(dialog));
        F::click(window, qPrintable(change));
        ui.selectUser(1);
        F::click(window, "cmdOK");
        const QStringList aliceChanged = stored();
        QVERIFY(aliceChanged[0] != before[0]);
        QCOMPARE(aliceChanged[1], before[1]);

        // Back on alice, then on bob with a load that fails: OK must not give bob alice's values.
        ui.selectUser(0);
        window = ui.open(qPrintable(button), qPrintable(dialog));
        F::click(window, "cmdCancel");
        ui.selectUser(1);
        db->exec(QStringLiteral("ALTER TABLE users RENAME COLUMN %1 TO hidden_column").arg(column));
        ui.prompter().answerMessage(Answer::Ok, QStringLiteral("The database specified may have incorrect tables"));
        window = ui.open(qPrintable(button), qPrintable(dialog));
        db->exec(QStringLiteral("ALTER TABLE users RENAME COLUMN hidden_column TO %1").arg(column));
        ui.prompter().answerMessage(Answer::Ok, QStringLiteral("could not be read, so nothing was saved"));
        F::click(window, "cmdOK");
        QCOMPARE(ui.prompter().unusedSteps(), 0);
        QCOMPARE(stored(), aliceChanged);
    }
};

QUILLMERE_TEST(TestMiscSetupWindow)
#include "TestMiscSetupWindow.moc"
