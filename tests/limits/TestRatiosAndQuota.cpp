#include "LimitsFixture.h"
#include "TestMain.h"

#include "limits/DiskQuotaWindow.h"

// The transfer ratios and disk quota dialogs: units, conversions, and what they store.
class TestRatiosAndQuota : public QObject
{
    Q_OBJECT

    static QString ratioRow(TestDatabase& db, const QString& name)
    {
        const QStringList rows = db.column(QStringLiteral("select coalesce(ratio_type, 'NULL') || ',' || ratio_up || ',' || ratio_down "
                                                          "|| ',' || cast(ratio_current_credit as bigint) from users where username=%1")
                                               .arg(sqlQuote(name)));
        return rows.value(0);
    }

    static QString quotaRow(TestDatabase& db, const QString& name)
    {
        const QStringList rows = db.column(QStringLiteral("select coalesce(cast(use_quota as varchar(9)), 'NULL') || ',' || "
                                                          "coalesce(cast(cast(quota_max as bigint) as varchar(30)), 'NULL') "
                                                          "from users where username=%1")
                                               .arg(sqlQuote(name)));
        return rows.value(0);
    }

private slots:
    void ratiosByKind_data() { addEngineRows(); }
    void ratiosByKind()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        addLimitedAccount(*db, QStringLiteral("bytes"), QStringLiteral("ratio_type, ratio_up, ratio_down, ratio_current_credit"),
                          QStringLiteral("'BytesOverall', 1, 3, 5242880"));
        addLimitedAccount(*db, QStringLiteral("files"), QStringLiteral("ratio_type, ratio_up, ratio_down, ratio_current_credit"),
                          QStringLiteral("'FilesPerSession', 2, 1, 12"));
        addLimitedAccount(*db, QStringLiteral("none"));
        addLimitedAccount(*db, QStringLiteral("odd"), QStringLiteral("ratio_type"), QStringLiteral("'Sometimes'"));
        program.start();
        LimitsFixture ui(program);

        // 5 MiB of credit: 5 Mb, 5120 Kb, and stored back exactly.
        QWidget* dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
        QVERIFY(LimitsFixture::check(dialog, "chkEnableUD")->isChecked());
        QVERIFY(LimitsFixture::option(dialog, "optBAS")->isChecked());
        QCOMPARE(LimitsFixture::box(dialog, "txtUDCrd")->text(), QStringLiteral("5"));
        QCOMPARE(LimitsFixture::label(dialog, "Label5")->text(), QStringLiteral("Mb"));
        auto* units = dialog->findChild<QComboBox*>(QStringLiteral("cboChoice"));
        units->setCurrentIndex(1);
        emit units->activated(1);
        QCOMPARE(LimitsFixture::box(dialog, "txtUDCrd")->text(), QStringLiteral("5120"));
        QCOMPARE(LimitsFixture::label(dialog, "Label5")->text(), QStringLiteral("Kb"));
        LimitsFixture::click(dialog, "cmdOK");
        QVERIFY(!dialog->isVisible());
        QCOMPARE(ratioRow(*db, QStringLiteral("bytes")), QStringLiteral("BytesOverall,1,3,5242880"));

        // A file count: shown as it is, the unit box off, stored as it is.
        ui.selectUser(1);
        dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
        QVERIFY(LimitsFixture::option(dialog, "optFPS")->isChecked());
        QCOMPARE(LimitsFixture::box(dialog, "txtUDCrd")->text(), QStringLiteral("12"));
        QCOMPARE(LimitsFixture::label(dialog, "Label5")->text(), QStringLiteral("files"));
        QVERIFY(!units->isEnabled());
        // Switching to a byte kind drops the file count; switching back drops the bytes.
        LimitsFixture::click(dialog, "optBPS");
        QCOMPARE(LimitsFixture::box(dialog, "txtUDCrd")->text(), QString());
        LimitsFixture::retype(LimitsFixture::box(dialog, "txtUDCrd"), QStringLiteral("2"));
        LimitsFixture::click(dialog, "optFAS");
        QCOMPARE(LimitsFixture::box(dialog, "txtUDCrd")->text(), QString());
        LimitsFixture::retype(LimitsFixture::box(dialog, "txtUDCrd"), QStringLiteral("12"));
        LimitsFixture::click(dialog, "optFPS");
        LimitsFixture::click(dialog, "cmdOK");
        QCOMPARE(ratioRow(*db, QStringLiteral("files")), QStringLiteral("FilesPerSession,2,1,12"));

        // No ratio and an unknown kind: the controls are off; OK stores no ratio.
        for (int row : {2, 3}) {
            ui.selectUser(row);
            dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
            QVERIFY(!LimitsFixture::check(dialog, "chkEnableUD")->isChecked());
            for (const char* off : {"optFPS", "optBAS", "txtUpload", "txtDownload", "txtUDCrd"})
                QVERIFY2(!dialog->findChild<QWidget*>(QLatin1String(off))->isEnabled(), off);
            LimitsFixture::click(dialog, "cmdOK");
        }
        QCOMPARE(ratioRow(*db, QStringLiteral("none")), QStringLiteral("NULL,0,0,0"));
        QCOMPARE(ratioRow(*db, QStringLiteral("odd")), QStringLiteral("NULL,0,0,0"));
    }

    void enablingRatiosAndItsCheck()
    {
        ProgramUnderTest program;
        program.configure();
        {
            Database db(program.env.settings.readConnectionString());
            QVERIFY(db.open());
            QVERIFY(db.execute(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, "
                                              "ratio_type, ratio_current_credit) VALUES ('bob', 'c:\\ftp', 'pw', 1, 1, 'FilesOverall', 7)")));
            QVERIFY(db.execute(QStringLiteral("update users set ratio_type=NULL")));
        }
        program.start();
        LimitsFixture ui(program);
        QWidget* dialog = ui.open("cmdUpDownRatios", "frmUDRatios");
        QCOMPARE(LimitsFixture::box(dialog, "txtUDCrd")->text(), QStringLiteral("7"));
        LimitsFixture::click(dialog, "chkEnableUD");
        QVERIFY(LimitsFixture::option(dialog, "optBAS")->isChecked());
        QCOMPARE(LimitsFixture::box(dialog, "txtUDCrd")->text(), QString());
        QCOMPARE(LimitsFixture::label(dialog, "Label5")->text(), QStringLiteral("Mb"));
        LimitsFixture::retype(LimitsFixture::box(dialog, "txtUpload"), QStringLiteral("1"));
        LimitsFixture::retype(LimitsFixture::box(dialog, "txtUDCrd"), QStringLiteral("1"));
        ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("Please make sure all fields are correct."));
        LimitsFixture::click(dialog, "cmdOK");
        QVERIFY(dialog->isVisible());
        QCOMPARE(ui.prompter().unusedSteps(), 0);
    }

    void quotaInKilobytesAndMegabytes_data() { addEngineRows(); }
    void quotaInKilobytesAndMegabytes()
    {
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        addLimitedAccount(*db, QStringLiteral("full"), QStringLiteral("use_quota, quota_max, quota_current"),
                          QStringLiteral("1, 10485760, 1000000"));
        addLimitedAccount(*db, QStringLiteral("unset"));
        db->exec(QStringLiteral("update users set use_quota=NULL where username='unset'"));
        program.start();
        LimitsFixture ui(program);

        QWidget* dialog = ui.open("cmdQuota", "frmDiskQuota");
        QCOMPARE(dialog->windowTitle(), QStringLiteral("User Disk Quota"));
        QVERIFY(LimitsFixture::check(dialog, "chkEnableQuota")->isChecked());
        QCOMPARE(LimitsFixture::box(dialog, "txtQuotaMaximum")->text(), QStringLiteral("10"));
        QCOMPARE(LimitsFixture::box(dialog, "txtQuotaCurrent")->text(), QStringLiteral("0.954"));
        QVERIFY(LimitsFixture::box(dialog, "txtQuotaCurrent")->isReadOnly());
        // Switching the unit shows the stored values again, discarding what was typed.
        LimitsFixture::retype(LimitsFixture::box(dialog, "txtQuotaMaximum"), QStringLiteral("99"));
        LimitsFixture::click(dialog, "opK");
        QCOMPARE(LimitsFixture::box(dialog, "txtQuotaMaximum")->text(), QStringLiteral("10240"));
        QCOMPARE(LimitsFixture::label(dialog, "Label4")->text(), QStringLiteral("Kb"));
        LimitsFixture::click(dialog, "optM");
        LimitsFixture::retype(LimitsFixture::box(dialog, "txtQuotaMaximum"), QStringLiteral("2.5"));
        LimitsFixture::click(dialog, "cmdOK");
        QVERIFY(!dialog->isVisible());
        QCOMPARE(quotaRow(*db, QStringLiteral("full")), QStringLiteral("1,2621440"));

        // A NULL flag is repaired as soon as the dialog loads; the quota is off.
        ui.selectUser(1);
        dialog = ui.open("cmdQuota", "frmDiskQuota");
        QCOMPARE(quotaRow(*db, QStringLiteral("unset")), QStringLiteral("0,NULL"));
        QVERIFY(!LimitsFixture::check(dialog, "chkEnableQuota")->isChecked());
        QVERIFY(!LimitsFixture::box(dialog, "txtQuotaMaximum")->isEnabled());
        // The checks: an empty maximum with the quota on; fifteen characters.
        LimitsFixture::click(dialog, "chkEnableQuota");
        LimitsFixture::box(dialog, "txtQuotaMaximum")->clear();
        ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("You must enter a value for Maximum Quota when \r\n"));
        LimitsFixture::click(dialog, "cmdOK");
        LimitsFixture::box(dialog, "txtQuotaMaximum")->setText(QStringLiteral("123456789012345"));
        ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("Maximum Quota field"));
        LimitsFixture::click(dialog, "cmdOK");
        LimitsFixture::box(dialog, "txtQuotaMaximum")->setText(QStringLiteral("1.2.3"));
        ui.prompter().answerMessage(prompt::Answer::Ok, QStringLiteral("must be a number"));
        LimitsFixture::click(dialog, "cmdOK");
        QVERIFY(dialog->isVisible());
        QCOMPARE(ui.prompter().unusedSteps(), 0);
        // Off stores 0 and 0, whatever the box holds.
        LimitsFixture::click(dialog, "chkEnableQuota");
        LimitsFixture::click(dialog, "cmdOK");
        QCOMPARE(quotaRow(*db, QStringLiteral("unset")), QStringLiteral("0,0"));
    }
};

QUILLMERE_TEST(TestRatiosAndQuota)
#include "TestRatiosAndQuota.moc"
