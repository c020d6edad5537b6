#include "ProgramUnderTest.h"
#include "TestMain.h"

#include "db/Database.h"
#include "db/SqlText.h"
#include "server/LoginTestWindow.h"
#include "shell/MainWindow.h"

#include <QAction>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QTest>

#include <unistd.h>

// Tools -> Test Log-in: the handler's verdict on a typed log-in, with its reasons.
class TestLoginTestWindow : public QObject
{
    Q_OBJECT

private slots:
    void windowShowsTheVerdictAndItsReasons()
    {
        ProgramUnderTest program;
        program.configure();
        // A home folder the handler accepts: not root's.
        const QString home = program.env.path(QStringLiteral("ftp/amy"));
        QVERIFY(QDir().mkpath(home));
        if (::geteuid() == 0)
            QCOMPARE(QProcess::execute(QStringLiteral("chown"), {QStringLiteral("65534:65534"), home}), 0);
        Database db(program.env.settings.readConnectionString());
        QVERIFY(db.open());
        QVERIFY(db.execute(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, quota_current) "
                                          "VALUES ('amy', %1, 'pw', 1, 1, 0)").arg(sqlQuote(home))));

        program.windows.main().pageState().currentUser = QStringLiteral("amy");
        QAction* menuItem = program.windows.main().findChild<QAction*>(QStringLiteral("tools1_testLogin"));
        menuItem->trigger();
        LoginTestWindow& window = program.windows.testLogin();
        QVERIFY(window.isVisible());
        QCOMPARE(window.findChild<QLineEdit*>(QStringLiteral("txtName"))->text(), QStringLiteral("amy"));
        auto* password = window.findChild<QLineEdit*>(QStringLiteral("txtPassword"));
        auto* verdict = window.findChild<QLabel*>(QStringLiteral("lblVerdict"));
        auto* reasons = window.findChild<QPlainTextEdit*>(QStringLiteral("txtReasons"));
        auto* test = window.findChild<QPushButton*>(QStringLiteral("cmdTest"));

        QTest::keyClicks(password, QStringLiteral("pw"));
        QTest::mouseClick(test, Qt::LeftButton);
        QCOMPARE(verdict->text(), QStringLiteral("The log-in would be allowed."));
        QVERIFY(reasons->toPlainText().contains(QStringLiteral("Password: matches the stored text.\n")));
        QVERIFY(reasons->toPlainText().contains(QStringLiteral("\n    auth_ok:1\n")));

        password->clear();
        QTest::keyClicks(password, QStringLiteral("nope"));
        QTest::mouseClick(test, Qt::LeftButton);
        QCOMPARE(verdict->text(), QStringLiteral("The log-in would be refused."));
        QVERIFY(reasons->toPlainText().contains(QStringLiteral("Password: does not match the stored text. The log-in is refused.")));

        // Shown again for another account, the window keeps the name typed before.
        window.findChild<QPushButton*>(QStringLiteral("cmdClose"))->click();
        program.windows.main().pageState().currentUser = QStringLiteral("zed");
        menuItem->trigger();
        QCOMPARE(window.findChild<QLineEdit*>(QStringLiteral("txtName"))->text(), QStringLiteral("amy"));
        QVERIFY(program.env.prompter.records().isEmpty());
    }
};

QUILLMERE_TEST(TestLoginTestWindow)
#include "TestLoginTestWindow.moc"
