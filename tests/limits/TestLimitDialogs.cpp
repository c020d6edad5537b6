#include "tests/accounts/AccountsFixture.h"
#include "TestMain.h"

#include "limits/MiscSetupWindow.h"
#include "limits/MonthCalendar.h"

#include <QCoreApplication>
#include <QPointer>

using F = AccountsFixture;

// The account options, transfer ratios and disk quota dialogs: what they load and store, units and
// conversions, the checks of OK in their order, and the dates picked in the calendar. Options toggled,
// numbers typed and limits switched off on many accounts, a page that moves on while a dialog is open,
// and a load that fails are left to the random walk of the user page.
class TestLimitDialogs : public QObject
{
    Q_OBJECT

    static QString ratioRow(TestDatabase& db, const QString& name)
    {
        return db.column(QStringLiteral("select coalesce(ratio_type, 'NULL') || ',' || ratio_up || ',' || ratio_down || ',' || "
                                        "cast(ratio_current_credit as bigint) from users where username=%1").arg(sqlQuote(name))).value(0);
    }
    static QString quotaRow(TestDatabase& db, const QString& name)
    {
        return db.column(QStringLiteral("select coalesce(cast(use_quota as varchar(9)), 'NULL') || ',' || coalesce(cast(cast(quota_max "
                                        "as bigint) as varchar(30)), 'NULL') from users where username=%1").arg(sqlQuote(name))).value(0);
    }

private slots:
    void init() { QLocale::setDefault(QLocale(QStringLiteral("en_US"))); }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    // Accounts sort as bob, bytes, exact, files, full, none, odd, unset, zeros.
    void loadsChecksAndStores_data() { addEngineRows(); }
    void loadsChecksAndStores()
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
        const QString ratio = QStringLiteral("ratio_type, ratio_up, ratio_down, ratio_current_credit");
        const QString quota = QStringLiteral("use_quota, quota_max, quota_current");
        db->exec(accountInsert(QStringLiteral("bytes"), ratio, QStringLiteral("'BytesOverall', 1, 3, 5242880")));
        db->exec(accountInsert(QStringLiteral("files"), ratio, QStringLiteral("'FilesPerSession', 2, 1, 12")));
        db->exec(accountInsert(QStringLiteral("none"), QStringLiteral("ratio_current_credit"), QStringLiteral("7")));
        db->exec(accountInsert(QStringLiteral("odd"), QStringLiteral("ratio_type"), QStringLiteral("'Sometimes'")));
        db->exec(accountInsert(QStringLiteral("exact"), quota, QStringLiteral("1, 1000000, 0")));
        db->exec(accountInsert(QStringLiteral("full"), quota, QStringLiteral("1, 10485760, 1000000")));
        db->exec(accountInsert(QStringLiteral("unset"), quota, QStringLiteral("NULL, NULL, 0")));
        program.start();
        AccountsFixture ui(program);

        // -1 shows as an empty box; a disable date shorter than three characters counts as none, and is cleared.
        QWidget* dialog = ui.open("cmdMisc", "frmMiscSetup");
        QCOMPARE(F::values(dialog, {"txtIdleTimeOut", "chkDisableOn", "txtDisableDate"}), QStringList({"", "[ ]", ""}));
        // Every box typed, quotes and all; "Allow only 3" replaces one login per address.
        for (const char* name : {"ChkShowRelPath", "ChkHideHidden", "ChkAlwaysLogin", "optMaxLogins", "chkExpires"})
            F::click(dialog, name);
        using Typed = std::pair<const char*, const char*>;
        for (const auto& [name, text] : {Typed("TxtAllowOnly", "3"), Typed("txtIdleTimeOut", "15"), Typed("txtSessionTimeout", "240"),
                                         Typed("txtMaxUSer", "4"), Typed("txtMaxSpeed", "1.5")})
            F::retype(F::box(dialog, name), QLatin1String(text));
        F::box(dialog, "txtLoginMessageFile")->setText(QStringLiteral("/srv/o'brien 100%.txt"));
        F::click(dialog, "cmdOK");
        QCOMPARE(db->column(QStringLiteral("select rel_path || ',' || hide_hidden_files || ',' || always_login || ',' || one_login_per_ip "
                                           "|| ',' || max_logins_per_ip || ',' || speed_limit_value || ',' || timeout || ',' || session_timeout "
                                           "|| ',' || max_concurrent || ',' || login_msg_file || ',' || Expires || ',' || DisableOn from users "
                                           "where username='bob'")),
                 QStringList({"1,1,1,0,3,1.5,15,240,4,/srv/o'brien 100%.txt,,"}));

        // Both login columns 0: neither option, whatever the account before chose.
        ui.selectUser(8);
        dialog = ui.open("cmdMisc", "frmMiscSetup");
        QCOMPARE(F::values(dialog, {"optOneLogin", "optMaxLogins", "chkDisableOn"}), QStringList({"[ ]", "[ ]", "[x]"}));
        // Disable account clears the disable date (so its option, checked, later stands without one).
        F::click(dialog, "chkDisableAccount");
        F::click(dialog, "chkDisableAccount");

        // The checks of OK in their order; each refusal keeps the dialog open.
        F::box(dialog, "txtIdleTimeOut")->setText(QStringLiteral("123456789"));
        ui.refuse(dialog, QStringLiteral("idle timeout field"));
        F::box(dialog, "txtIdleTimeOut")->setText(QStringLiteral("5"));
        F::click(dialog, "optMaxLogins");
        F::box(dialog, "TxtAllowOnly")->clear();
        ui.refuse(dialog, QStringLiteral("To allow only certain number of logins per \r\nIP address, you must specify that number."));
        F::box(dialog, "TxtAllowOnly")->setText(QStringLiteral("1.2"));
        F::box(dialog, "txtLoginMessageFile")->setText(QStringLiteral("http://example.org/motd.txt"));
        ui.refuse(dialog, QStringLiteral("The path specified is not valid."));
        // The file picker cancelled empties the box; the stored file then stays as it was.
        ui.prompter().answerFile(QString());
        F::click(dialog, "CmdLoginMessageFile");
        QCOMPARE(F::box(dialog, "txtLoginMessageFile")->text(), QString());
        F::click(dialog, "chkExpires");
        ui.refuse(dialog, QStringLiteral("If expiration option is enabled you must select an expiration date."));
        F::click(dialog, "chkExpires");
        ui.refuse(dialog, QStringLiteral("If disable on date option is enabled you must select a date to disable the account on."));
        F::click(dialog, "chkDisableOn");
        // Numbers go into SQL bare: a count with a point is refused.
        ui.refuse(dialog, QStringLiteral("allow only field must hold a whole number"));
        F::box(dialog, "TxtAllowOnly")->setText(QStringLiteral("2"));
        F::click(dialog, "cmdOK");
        QCOMPARE(db->column(QStringLiteral("select login_msg_file || ',' || max_logins_per_ip || ',' || timeout "
                                           "|| ',' || DisableOn from users where username='zeros'")),
                 QStringList({"keep.txt,2,5,"}));

        // No ratio: the controls off, the credit shown as stored. Switched on: bytes over all sessions in Mb,
        // the credit emptied; every box must hold a number that fits its column.
        ui.selectUser(5);
        dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
        QCOMPARE(F::values(dialog, {"chkEnableUD", "txtUDCrd"}), QStringList({"[ ]", "7"}));
        F::click(dialog, "chkEnableUD");
        QCOMPARE(F::values(dialog, {"optBAS", "txtUDCrd", "Label5"}), QStringList({"[x]", "", "Mb"}));
        F::retype(F::box(dialog, "txtUpload"), QStringLiteral("1"));
        F::retype(F::box(dialog, "txtUDCrd"), QStringLiteral("1"));
        ui.refuse(dialog, QStringLiteral("Please make sure all fields are correct."));
        F::retype(F::box(dialog, "txtDownload"), QStringLiteral("3000000000"));
        ui.refuse(dialog, QStringLiteral("The Downloads field must hold a whole number"));
        F::retype(F::box(dialog, "txtDownload"), QStringLiteral("1"));
        F::box(dialog, "txtUDCrd")->setText(QStringLiteral("1") + QString(303, QLatin1Char('0')));
        ui.refuse(dialog, QStringLiteral("The Credit field holds a number larger"));
        F::click(dialog, "cmdCancel");

        // 5 MiB of credit: 5 Mb, 5120 Kb, and stored back exactly.
        ui.selectUser(1);
        dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
        QCOMPARE(F::values(dialog, {"chkEnableUD", "optBAS", "txtUDCrd", "Label5"}), QStringList({"[x]", "[x]", "5", "Mb"}));
        auto* units = dialog->findChild<QComboBox*>(QStringLiteral("cboChoice"));
        units->setCurrentIndex(1);
        emit units->activated(1);
        QCOMPARE(F::values(dialog, {"txtUDCrd", "Label5"}), QStringList({"5120", "Kb"}));
        F::click(dialog, "cmdOK");
        QCOMPARE(ratioRow(*db, QStringLiteral("bytes")), QStringLiteral("BytesOverall,1,3,5242880"));

        // A file count: shown as it is, the unit box off. Switching to a byte kind drops the count; back, the bytes.
        ui.selectUser(3);
        dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
        QCOMPARE(F::values(dialog, {"optFPS", "txtUDCrd", "Label5"}), QStringList({"[x]", "12", "files"}));
        QVERIFY(!units->isEnabled());
        F::click(dialog, "optBPS");
        QCOMPARE(F::box(dialog, "txtUDCrd")->text(), QString());
        F::retype(F::box(dialog, "txtUDCrd"), QStringLiteral("2"));
        F::click(dialog, "optFAS");
        QCOMPARE(F::box(dialog, "txtUDCrd")->text(), QString());
        F::retype(F::box(dialog, "txtUDCrd"), QStringLiteral("12"));
        F::click(dialog, "optFPS");
        F::click(dialog, "cmdOK");
        QCOMPARE(ratioRow(*db, QStringLiteral("files")), QStringLiteral("FilesPerSession,2,1,12"));

        // An unknown kind counts as no ratio: the controls are off, and OK stores none.
        ui.selectUser(6);
        dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
        QVERIFY(!F::check(dialog, "chkEnableUD")->isChecked() && !F::box(dialog, "txtUpload")->isEnabled());
        F::click(dialog, "cmdOK");
        QCOMPARE(ratioRow(*db, QStringLiteral("odd")), QStringLiteral("NULL,0,0,0"));

        // A quota maximum is shown as the shortest text that reads back to it, and an OK
        // without a change keeps it exactly, however long that text.
        ui.selectUser(2);
        dialog = ui.open("cmdQuota", "frmDiskQuota");
        QCOMPARE(F::box(dialog, "txtQuotaMaximum")->text(), QStringLiteral("0.95367431640625"));
        F::click(dialog, "cmdOK");
        QCOMPARE(quotaRow(*db, QStringLiteral("exact")), QStringLiteral("1,1000000"));

        // The current use rounded to three places; switching the unit shows the stored values again, discarding what was typed.
        ui.selectUser(4);
        dialog = ui.open("cmdQuota", "frmDiskQuota");
        QCOMPARE(F::values(dialog, {"chkEnableQuota", "txtQuotaMaximum", "txtQuotaCurrent"}), QStringList({"[x]", "10", "0.954"}));
        F::retype(F::box(dialog, "txtQuotaMaximum"), QStringLiteral("99"));
        F::click(dialog, "opK");
        QCOMPARE(F::values(dialog, {"txtQuotaMaximum", "Label4"}), QStringList({"10240", "Kb"}));
        F::click(dialog, "optM");
        F::retype(F::box(dialog, "txtQuotaMaximum"), QStringLiteral("2.5"));
        F::click(dialog, "cmdOK");
        QCOMPARE(quotaRow(*db, QStringLiteral("full")), QStringLiteral("1,2621440"));

        // A NULL flag is repaired as soon as the dialog loads; the quota is off.
        ui.selectUser(7);
        dialog = ui.open("cmdQuota", "frmDiskQuota");
        QCOMPARE(quotaRow(*db, QStringLiteral("unset")), QStringLiteral("0,NULL"));
        QVERIFY(!F::check(dialog, "chkEnableQuota")->isChecked() && !F::box(dialog, "txtQuotaMaximum")->isEnabled());
        // The checks: an empty maximum with the quota on, fifteen characters, no number, too large.
        F::click(dialog, "chkEnableQuota");
        const std::pair<const char*, const char*> checks[] = {{"", "You must enter a value for Maximum Quota when \r\n"},
                                                              {"123456789012345", "Maximum Quota field"},
                                                              {"1.2.3", "must be a number"},
                                                              {"9999999999999", "larger than the database can hold"}};
        for (const auto& [typed, message] : checks) {
            F::box(dialog, "txtQuotaMaximum")->setText(QLatin1String(typed));
            ui.refuse(dialog, QLatin1String(message));
        }
        // Off stores 0 and 0, whatever the box holds.
        F::click(dialog, "chkEnableQuota");
        F::click(dialog, "cmdOK");
        QCOMPARE(quotaRow(*db, QStringLiteral("unset")), QStringLiteral("0,0"));
    }

    // The installation took its form of dates under en_GB; the dialog runs under en_US, and writes and
    // compares dates in the installation's form.
    void datesComeFromTheCalendar()
    {
        const QString written = QStringLiteral("20/05/2027");
        QLocale::setDefault(QLocale(QStringLiteral("en_GB")));
        ProgramUnderTest program;
        QLocale::setDefault(QLocale(QStringLiteral("en_US")));
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
            QCOMPARE(dialog->calendar().currentDate(), QDate(2027, 5, 3));
            QTest::mouseDClick(grid, Qt::LeftButton, {}, dialog->calendar().cellRect(day).center());
        };
        // Disable on the 20th and expire on the 19th: refused. Both on the 20th: passes.
        pick("chkDisableOn", "cmdDiableDDD", 20);
        pick("chkExpires", "cmdExpiresDDD", 19);
        ui.refuse(dialog, QStringLiteral("The account expiration date should be after the date"));
        pick("chkExpires", "cmdExpiresDDD", 20);
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

};

QUILLMERE_TEST(TestLimitDialogs)
#include "TestLimitDialogs.moc"
