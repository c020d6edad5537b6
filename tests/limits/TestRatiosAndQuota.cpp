#include "tests/accounts/AccountsFixture.h"
#include "TestMain.h"

using F = AccountsFixture;
using prompt::Answer;

// The transfer ratios and disk quota dialogs: units, conversions, their checks, and what they store.
class TestRatiosAndQuota : public QObject
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
    // Clicks OK with the message boxes it must show answered, and checks that they came and the dialog stayed.
    static void refused(AccountsFixture& ui, QWidget* dialog, const QString& message)
    {
        ui.prompter().answerMessage(Answer::Ok, message);
        F::click(dialog, "cmdOK");
        QCOMPARE(ui.prompter().unusedSteps(), 0);
        QVERIFY(dialog->isVisible());
    }

private slots:
    void ratiosByKind_data() { addEngineRows(); }
    void ratiosByKind()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        const QString ratio = QStringLiteral("ratio_type, ratio_up, ratio_down, ratio_current_credit");
        db->exec(accountInsert(QStringLiteral("bytes"), ratio, QStringLiteral("'BytesOverall', 1, 3, 5242880")));
        db->exec(accountInsert(QStringLiteral("files"), ratio, QStringLiteral("'FilesPerSession', 2, 1, 12")));
        db->exec(accountInsert(QStringLiteral("none"), QStringLiteral("ratio_current_credit"), QStringLiteral("7")));
        db->exec(accountInsert(QStringLiteral("odd"), QStringLiteral("ratio_type"), QStringLiteral("'Sometimes'")));
        program.start();
        AccountsFixture ui(program);
        // No ratio: the controls off, the credit shown as stored. Switched on: bytes over all sessions in Mb,
        // the credit emptied; every box must hold a number that fits its column.
        ui.selectUser(2);
        QWidget* dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
        QCOMPARE(F::values(dialog, {"chkEnableUD", "txtUDCrd"}), QStringList({"[ ]", "7"}));
        F::click(dialog, "chkEnableUD");
        QCOMPARE(F::values(dialog, {"optBAS", "txtUDCrd", "Label5"}), QStringList({"[x]", "", "Mb"}));
        F::retype(F::box(dialog, "txtUpload"), QStringLiteral("1"));
        F::retype(F::box(dialog, "txtUDCrd"), QStringLiteral("1"));
        refused(ui, dialog, QStringLiteral("Please make sure all fields are correct."));
        F::retype(F::box(dialog, "txtDownload"), QStringLiteral("3000000000"));
        refused(ui, dialog, QStringLiteral("The Downloads field must hold a whole number"));
        F::retype(F::box(dialog, "txtDownload"), QStringLiteral("1"));
        F::box(dialog, "txtUDCrd")->setText(QStringLiteral("1") + QString(303, QLatin1Char('0')));
        refused(ui, dialog, QStringLiteral("The Credit field holds a number larger"));
        F::click(dialog, "cmdCancel");

        // 5 MiB of credit: 5 Mb, 5120 Kb, and stored back exactly.
        ui.selectUser(0);
        dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
        QCOMPARE(F::values(dialog, {"chkEnableUD", "optBAS", "txtUDCrd", "Label5"}), QStringList({"[x]", "[x]", "5", "Mb"}));
        auto* units = dialog->findChild<QComboBox*>(QStringLiteral("cboChoice"));
        units->setCurrentIndex(1);
        emit units->activated(1);
        QCOMPARE(F::values(dialog, {"txtUDCrd", "Label5"}), QStringList({"5120", "Kb"}));
        F::click(dialog, "cmdOK");
        QVERIFY(!dialog->isVisible());
        QCOMPARE(ratioRow(*db, QStringLiteral("bytes")), QStringLiteral("BytesOverall,1,3,5242880"));

        // A file count: shown as it is, the unit box off, stored as it is.
        ui.selectUser(1);
        dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
        QCOMPARE(F::values(dialog, {"optFPS", "txtUDCrd", "Label5"}), QStringList({"[x]", "12", "files"}));
        QVERIFY(!units->isEnabled());
        // Switching to a byte kind drops the file count; switching back drops the bytes.
        F::click(dialog, "optBPS");
        QCOMPARE(F::box(dialog, "txtUDCrd")->text(), QString());
        F::retype(F::box(dialog, "txtUDCrd"), QStringLiteral("2"));
        F::click(dialog, "optFAS");
        QCOMPARE(F::box(dialog, "txtUDCrd")->text(), QString());
        F::retype(F::box(dialog, "txtUDCrd"), QStringLiteral("12"));
        F::click(dialog, "optFPS");
        F::click(dialog, "cmdOK");
        QCOMPARE(ratioRow(*db, QStringLiteral("files")), QStringLiteral("FilesPerSession,2,1,12"));

        // No ratio and an unknown kind: the controls are off; OK stores no ratio.
        for (int row : {2, 3}) {
            ui.selectUser(row);
            dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
            QVERIFY(!F::check(dialog, "chkEnableUD")->isChecked());
            for (const char* off : {"optFPS", "optBAS", "txtUpload", "txtDownload", "txtUDCrd"})
                QVERIFY2(!dialog->findChild<QWidget*>(QLatin1String(off))->isEnabled(), off);
            F::click(dialog, "cmdOK");
        }
        QCOMPARE(ratioRow(*db, QStringLiteral("none")), QStringLiteral("NULL,0,0,0"));
        QCOMPARE(ratioRow(*db, QStringLiteral("odd")), QStringLiteral("NULL,0,0,0"));
    }

    void quotaInKilobytesAndMegabytes_data() { addEngineRows(); }
    void quotaInKilobytesAndMegabytes()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        const QString quota = QStringLiteral("use_quota, quota_max, quota_current");
        db->exec(accountInsert(QStringLiteral("exact"), quota, QStringLiteral("1, 1000000, 0")));
        db->exec(accountInsert(QStringLiteral("full"), quota, QStringLiteral("1, 10485760, 1000000")));
        db->exec(accountInsert(QStringLiteral("unset"), quota, QStringLiteral("NULL, NULL, 0")));
        program.start();
        AccountsFixture ui(program);

        // A maximum is shown as the shortest text that reads back to it, and an OK
        // without a change keeps it exactly, however long that text.
        QWidget* dialog = ui.open("cmdQuota", "frmDiskQuota");
        QCOMPARE(F::box(dialog, "txtQuotaMaximum")->text(), QStringLiteral("0.95367431640625"));
        F::click(dialog, "cmdOK");
        QVERIFY(!dialog->isVisible());
        QCOMPARE(quotaRow(*db, QStringLiteral("exact")), QStringLiteral("1,1000000"));

        ui.selectUser(1);
        dialog = ui.open("cmdQuota", "frmDiskQuota");
        QCOMPARE(dialog->windowTitle(), QStringLiteral("User Disk Quota"));
        QCOMPARE(F::values(dialog, {"chkEnableQuota", "txtQuotaMaximum", "txtQuotaCurrent"}), QStringList({"[x]", "10", "0.954"}));
        QVERIFY(F::box(dialog, "txtQuotaCurrent")->isReadOnly());
        // Switching the unit shows the stored values again, discarding what was typed.
        F::retype(F::box(dialog, "txtQuotaMaximum"), QStringLiteral("99"));
        F::click(dialog, "opK");
        QCOMPARE(F::values(dialog, {"txtQuotaMaximum", "Label4"}), QStringList({"10240", "Kb"}));
        F::click(dialog, "optM");
        F::retype(F::box(dialog, "txtQuotaMaximum"), QStringLiteral("2.5"));
        F::click(dialog, "cmdOK");
        QVERIFY(!dialog->isVisible());
        QCOMPARE(quotaRow(*db, QStringLiteral("full")), QStringLiteral("1,2621440"));

        // A NULL flag is repaired as soon as the dialog loads; the quota is off.
        ui.selectUser(2);
        dialog = ui.open("cmdQuota", "frmDiskQuota");
        QCOMPARE(quotaRow(*db, QStringLiteral("unset")), QStringLiteral("0,NULL"));
        QVERIFY(!F::check(dialog, "chkEnableQuota")->isChecked());
        QVERIFY(!F::box(dialog, "txtQuotaMaximum")->isEnabled());
        // The checks: an empty maximum with the quota on, fifteen characters, no number, too large.
        F::click(dialog, "chkEnableQuota");
        const std::pair<const char*, const char*> checks[] = {{"", "You must enter a value for Maximum Quota when \r\n"},
                                                              {"123456789012345", "Maximum Quota field"},
                                                              {"1.2.3", "must be a number"},
                                                              {"9999999999999", "larger than the database can hold"}};
        for (const auto& [typed, message] : checks) {
            F::box(dialog, "txtQuotaMaximum")->setText(QLatin1String(typed));
            refused(ui, dialog, QLatin1String(message));
        }
        // Off stores 0 and 0, whatever the box holds.
        F::click(dialog, "chkEnableQuota");
        F::click(dialog, "cmdOK");
        QCOMPARE(quotaRow(*db, QStringLiteral("unset")), QStringLiteral("0,0"));
    }
};

QUILLMERE_TEST(TestRatiosAndQuota)
#include "TestRatiosAndQuota.moc"
