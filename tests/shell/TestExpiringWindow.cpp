#include "ProgramUnderTest.h"
#include "TestMain.h"

#include "db/Database.h"
#include "db/SqlText.h"
#include "accounts/ExpiringAccounts.h"
#include "accounts/ExpiringWindow.h"
#include "app/MainWindow.h"

#include <QAction>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTest>

using namespace Qt::StringLiterals;

// Tools -> Expiring Accounts: which accounts come due, what the sweep will do to
// each, and the window that lists, sorts and exports them.
class TestExpiringWindow : public QObject
{
    Q_OBJECT

    static QStringList column(QTableWidget* table, int column)
    {
        QStringList texts;
        for (int row = 0; row < table->rowCount(); ++row)
            texts.append(table->item(row, column)->text());
        return texts;
    }

    static void clickHeader(QTableWidget* table, int column)
    {
        QHeaderView* header = table->horizontalHeader();
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, QPoint(header->sectionViewportPosition(column) + 4, header->height() / 2));
    }

private slots:
    void sweepActionOfAnAccount_data()
    {
        // Today is 11/22/2026; the dates are written yyyy-MM-dd here.
        QTest::addColumn<QString>("expires");
        QTest::addColumn<QString>("disableOn");
        QTest::addColumn<int>("days");
        QTest::addColumn<QString>("action"); // empty: not listed
        QTest::addColumn<int>("daysLeft");
        QTest::newRow("expiry within the days") << "2026-12-02" << "" << 30 << "delete" << 10;
        QTest::newRow("expiry on the last day") << "2026-12-22" << "" << 30 << "delete" << 30;
        QTest::newRow("expiry beyond") << "2026-12-23" << "" << 30 << "" << 0;
        QTest::newRow("expiry passed") << "2026-11-01" << "" << 0 << "delete" << -21;
        QTest::newRow("disable date first") << "2027-06-01" << "2026-11-25" << 30 << "disable" << 3;
        QTest::newRow("expiry first") << "2026-11-24" << "2026-11-30" << 30 << "delete" << 2;
        QTest::newRow("both on one day: deleted") << "2026-11-25" << "2026-11-25" << 30 << "delete" << 3;
        QTest::newRow("both passed: deleted first") << "2026-11-20" << "2026-11-01" << 0 << "delete" << -2;
        QTest::newRow("disable passed, expiry to come") << "2026-11-23" << "2026-11-10" << 0 << "disable" << -12;
        QTest::newRow("expiry no date, disable date") << "soon" << "2026-11-30" << 30 << "disable" << 8;
        QTest::newRow("no dates") << "" << "" << expiring::MostDays << "" << 0;
        QTest::newRow("no readable date") << "soon" << " " << expiring::MostDays << "" << 0;
    }
    void sweepActionOfAnAccount()
    {
        QFETCH(QString, expires);
        QFETCH(QString, disableOn);
        QFETCH(int, days);
        QFETCH(QString, action);
        const auto read = [](const QString& text) {
            const QDate date = QDate::fromString(text, Qt::ISODate);
            return date.isValid() ? std::optional<QDate>(date) : std::nullopt;
        };
        const auto due = expiring::dueWithin({{u"ann"_s, expires, disableOn}}, QDate(2026, 11, 22), days, read);
        QCOMPARE(due.isEmpty(), action.isEmpty());
        if (!action.isEmpty()) {
            QCOMPARE(due[0].action, action);
            QTEST(due[0].daysLeft, "daysLeft");
        }
    }

    void windowListsSortsAndExports()
    {
        ProgramUnderTest program;
        program.configure();
        const QDate today = program.env.clock.now().date();
        Database db(program.env.settings.readConnectionString());
        QVERIFY(db.open());
        const auto day = [&program, today](int fromToday) { return program.env.dates.format(today.addDays(fromToday)); };
        // Three days and twenty days ahead: as texts they sort the other way round in some forms.
        for (const auto& [name, expires, disableOn] : {std::tuple{"ann", day(3), QString()}, {"Bob", QString(), day(1)},
                                                       {"cid", day(20), QString()}, {"dan", day(45), QString()}, {"eve", QString(), QString()}})
            QVERIFY(db.execute(u"INSERT INTO users (username, homedir, max_concurrent, max_logins_per_ip, Expires, DisableOn) "
                               "VALUES (%1, '/srv/ftp', 1, 1, %2, %3)"_s.arg(sqlQuote(QLatin1String(name)), sqlQuote(expires), sqlQuote(disableOn))));

        program.windows.main().findChild<QAction*>(u"tools1_expiring"_s)->trigger();
        ExpiringWindow& window = program.windows.expiring();
        QVERIFY(window.isVisible());
        auto* table = window.findChild<QTableWidget*>(u"tblAccounts"_s);
        QCOMPARE(column(table, ExpiringWindow::NameColumn), QStringList({"Bob", "ann", "cid"}));
        QCOMPARE(column(table, ExpiringWindow::ActionColumn), QStringList({"disable", "delete", "delete"}));
        QCOMPARE(window.findChild<QLabel*>(u"lblCount"_s)->text(), u"3 accounts"_s);

        auto* days = window.findChild<QSpinBox*>(u"spnDays"_s);
        days->selectAll();
        QTest::keyClicks(days, u"45"_s);
        QCOMPARE(column(table, ExpiringWindow::DaysLeftColumn), QStringList({"1", "3", "20", "45"}));
        clickHeader(table, ExpiringWindow::NameColumn);
        QCOMPARE(column(table, ExpiringWindow::NameColumn), QStringList({"ann", "Bob", "cid", "dan"}));
        clickHeader(table, ExpiringWindow::ExpiresColumn);
        QCOMPARE(column(table, ExpiringWindow::NameColumn), QStringList({"Bob", "ann", "cid", "dan"}));

        // The export writes the rows as shown; a file that cannot be written is named and nothing else changes.
        const QString path = program.env.path(u"due.csv"_s), unwritable = program.env.path(u"missing/due.csv"_s);
        program.env.prompter.answerFile(path).answerFile(unwritable).answerMessage(
            prompt::Answer::Ok, u"The accounts could not be written to\r\n"_s + unwritable);
        for (int i = 0; i < 2; ++i)
            QTest::mouseClick(window.findChild<QPushButton*>(u"cmdExport"_s), Qt::LeftButton);
        QCOMPARE(program.env.prompter.unusedSteps(), 0);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(file.readAll()),
                 u"User name,Expires,Disable on,Days left,Sweep action\nBob,,%1,1,disable\nann,%2,,3,delete\ncid,%3,,20,delete\n"
                 "dan,%4,,45,delete\n"_s.arg(day(1), day(3), day(20), day(45)));
    }
};

QUILLMERE_TEST(TestExpiringWindow)
#include "TestExpiringWindow.moc"
