#include "TestMain.h"
#include "TestDoubles.h"

#include "platform/DateForm.h"
#include "services/StatusLog.h"
#include "app/StatusWindow.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

// The trace lines and the window that shows them.
class TestStatusLog : public QObject
{
    Q_OBJECT

private slots:
    void init() { QLocale::setDefault(QLocale(QStringLiteral("en_US"))); }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void lineHasDateTimeColonAndTwoBlanks()
    {
        FixedClock clock(QDateTime(QDate(2026, 11, 22), QTime(9, 30, 15)));
        DateForm dates(QStringLiteral("M/d/yyyy"));
        StatusLog log(clock, dates);
        QCOMPARE(log.text(), QStringLiteral("Log File\r\n"));
        log.logStatus(QStringLiteral("attempt to open database"));
        QCOMPARE(log.text(), QStringLiteral("Log File\r\n11/22/2026 9:30 AM:  attempt to open database\r\n"));

        // Under another locale the date keeps the installation's form; the time is the locale's.
        QLocale::setDefault(QLocale(QStringLiteral("de_DE")));
        clock.setNow(QDateTime(QDate(2027, 1, 5), QTime(17, 4)));
        log.logStatus(QStringLiteral("close database"));
        QCOMPARE(log.lines().back(), QStringLiteral("1/5/2027 17:04:  close database"));
        // A change of the form shows in the next line.
        dates = DateForm(QStringLiteral("dd.MM.yyyy"));
        log.logStatus(QStringLiteral("save data"));
        QCOMPARE(log.lines().back(), QStringLiteral("05.01.2027 17:04:  save data"));
        QVERIFY(log.contains(QStringLiteral("close database")));
        QVERIFY(!log.contains(QStringLiteral("close")));
    }

    void keepsTheNewestTenThousandLines()
    {
        FixedClock clock;
        const DateForm dates(QStringLiteral("M/d/yyyy"));
        StatusLog log(clock, dates);
        for (int i = 1; i <= StatusLog::MaxLines + 5; ++i)
            log.logStatus(QString::number(i));
        QCOMPARE(static_cast<int>(log.lines().size()), StatusLog::MaxLines);
        QVERIFY(log.lines().front().endsWith(QStringLiteral(":  6")));
        QVERIFY(log.lines().back().endsWith(QStringLiteral(":  10005")));
    }

    void windowShowsEarlierAndLaterLines()
    {
        FixedClock clock;
        const DateForm dates(QStringLiteral("M/d/yyyy"));
        StatusLog log(clock, dates);
        log.logStatus(QStringLiteral("registry"));
        StatusWindow window(log);
        QCOMPARE(window.objectName(), QStringLiteral("frmStatus"));
        QCOMPARE(window.windowTitle(), QStringLiteral("Status"));
        log.logStatus(QStringLiteral("getdata for this page"));
        const auto* txtLog = window.findChild<QPlainTextEdit*>(QStringLiteral("txtLog"));
        QVERIFY(txtLog);
        const QStringList shown = txtLog->toPlainText().split(QLatin1Char('\n'));
        QCOMPARE(shown.size(), 3);
        QCOMPARE(shown.first(), QStringLiteral("Log File"));
        QVERIFY(shown.at(1).endsWith(QStringLiteral(":  registry")));
        QVERIFY(shown.at(2).endsWith(QStringLiteral(":  getdata for this page")));

        window.show();
        auto* ok = window.findChild<QPushButton*>(QStringLiteral("cmdOK"));
        QCOMPARE(ok->text(), QStringLiteral("OK"));
        QTest::mouseClick(ok, Qt::LeftButton);
        QVERIFY(!window.isVisible());
    }
};

QUILLMERE_TEST(TestStatusLog)
#include "TestStatusLog.moc"
