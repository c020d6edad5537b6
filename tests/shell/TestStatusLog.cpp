#include "TestDoubles.h"
#include "TestMain.h"

#include "platform/DateForm.h"
#include "services/StatusLog.h"
#include "app/StatusWindow.h"

#include <QPlainTextEdit>
#include <QTest>

using namespace Qt::StringLiterals;

// The trace lines and the window that shows them.
class TestStatusLog : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void linesHaveDateTimeColonAndTwoBlanksAndTheNewestTenThousandStay()
    {
        QLocale::setDefault(QLocale(u"en_US"_s));
        FixedClock clock(QDateTime(QDate(2026, 11, 22), QTime(9, 30, 15)));
        DateForm dates(u"M/d/yyyy"_s);
        StatusLog log(clock, dates);
        QCOMPARE(log.text(), u"Log File\r\n"_s);
        log.logStatus(u"attempt to open database"_s);
        QCOMPARE(log.text(), u"Log File\r\n11/22/2026 9:30 AM:  attempt to open database\r\n"_s);
        // Under another locale the date keeps the installation's form; the time is the locale's.
        QLocale::setDefault(QLocale(u"de_DE"_s));
        clock.setNow(QDateTime(QDate(2027, 1, 5), QTime(17, 4)));
        log.logStatus(u"close database"_s);
        QCOMPARE(log.lines().back(), u"1/5/2027 17:04:  close database"_s);
        // A change of the form shows in the next line.
        dates = DateForm(u"dd.MM.yyyy"_s);
        log.logStatus(u"save data"_s);
        QCOMPARE(log.lines().back(), u"05.01.2027 17:04:  save data"_s);
        QVERIFY(log.contains(u"close database"_s) && !log.contains(u"close"_s));

        for (int i = 1; i <= StatusLog::MaxLines + 5; ++i)
            log.logStatus(QString::number(i));
        QCOMPARE(static_cast<int>(log.lines().size()), StatusLog::MaxLines);
        QVERIFY(log.lines().front().endsWith(u":  6"_s));
        QVERIFY(log.lines().back().endsWith(u":  10005"_s));
    }

    void windowShowsEarlierAndLaterLines()
    {
        FixedClock clock;
        const DateForm dates(u"M/d/yyyy"_s);
        StatusLog log(clock, dates);
        log.logStatus(u"registry"_s);
        StatusWindow window(log);
        log.logStatus(u"getdata for this page"_s);
        QCOMPARE(window.windowTitle(), u"Status"_s);
        QCOMPARE(window.findChild<QPlainTextEdit*>(u"txtLog"_s)->toPlainText(),
                 u"%1\n%2\n%3"_s.arg(log.lines()[0], log.lines()[1], log.lines()[2]));
        QVERIFY(log.lines().back().endsWith(u":  getdata for this page"_s));
    }
};

QUILLMERE_TEST(TestStatusLog)
#include "TestStatusLog.moc"
