#include "ProgramUnderTest.h"
#include "TestDatabase.h"
#include "TestMain.h"

#include "accounts/AccountStore.h"
#include "app/MainWindow.h"
#include "db/SqlText.h"
#include "server/LoginTestWindow.h"
#include "server/ProFtpdSync.h"
#include "server/ProFtpdWindow.h"

#include <QAction>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QTest>

#include <unistd.h>

// The windows of the Tools menu that face the FTP server: Test Log-in gives the
// handler's verdict on a typed log-in; frmProFtpd names the configuration file and
// the pid file, and from then on every write of accounts writes the file again and
// tells the server, a failure said once.
class TestToolWindows : public QObject
{
    Q_OBJECT

    // A folder the accounts may use: the FTP folder's owner, which root may not be.
    static QString ownedFolder(TestEnvironment& env, const QString& relative)
    {
        const QString folder = env.path(relative);
        QDir().mkpath(folder);
        if (::geteuid() == 0)
            QProcess::execute(QStringLiteral("chown"), {QStringLiteral("65534:65534"), folder});
        return folder;
    }

private slots:
    // The verdict and its reasons for what was typed; shown again for another account,
    // the window keeps the name typed before.
    void loginTestShowsTheVerdictAndItsReasons()
    {
        ProgramUnderTest program;
        program.configure();
        const QString home = ownedFolder(program.env, QStringLiteral("ftp/amy"));
        Database db(program.env.settings.readConnectionString());
        QVERIFY(db.open());
        QVERIFY(db.execute(QStringLiteral("INSERT INTO users (username, homedir, password, max_concurrent, max_logins_per_ip, quota_current) "
                                          "VALUES ('amy', %1, 'pw', 1, 1, 0)").arg(sqlQuote(home))));
        program.windows.main().pageState().currentUser = QStringLiteral("amy");
        QAction* menuItem = program.windows.main().findChild<QAction*>(QStringLiteral("tools1_testLogin"));
        menuItem->trigger();
        LoginTestWindow& window = program.windows.testLogin();
        auto* name = window.findChild<QLineEdit*>(QStringLiteral("txtName"));
        auto* password = window.findChild<QLineEdit*>(QStringLiteral("txtPassword"));
        auto* reasons = window.findChild<QPlainTextEdit*>(QStringLiteral("txtReasons"));
        QCOMPARE(name->text(), QStringLiteral("amy"));
        for (const char* typed : {"pw", "nope"}) {
            password->clear();
            QTest::keyClicks(password, QLatin1String(typed));
            QTest::mouseClick(window.findChild<QPushButton*>(QStringLiteral("cmdTest")), Qt::LeftButton);
            const bool allowed = typed == std::string_view("pw");
            QCOMPARE(window.findChild<QLabel*>(QStringLiteral("lblVerdict"))->text(),
                     allowed ? QStringLiteral("The log-in would be allowed.") : QStringLiteral("The log-in would be refused."));
            QVERIFY(reasons->toPlainText().contains(allowed ? QStringLiteral("Password: matches the stored text.\n")
                                                            : QStringLiteral("Password: does not match the stored text. The log-in is refused.")));
        }
        window.findChild<QPushButton*>(QStringLiteral("cmdClose"))->click();
        QVERIFY(!window.isVisible());
        program.windows.main().pageState().currentUser = QStringLiteral("zed");
        menuItem->trigger();
        QCOMPARE(name->text(), QStringLiteral("amy"));
        QVERIFY(program.env.prompter.records().isEmpty());
    }

    void everyWriteKeepsTheProFtpdFileCurrent_data()
    {
        QTest::addColumn<QString>("configFile"); // relative to the test's folder; empty: none named
        QTest::addColumn<QString>("pidFile");    // "server": the pid file of a process standing in for ProFTPD
        QTest::addColumn<QString>("failure");    // what the one message of each write says, empty when none is due
        QTest::addColumn<bool>("written");
        QTest::newRow("nothing named") << "" << "" << "" << false;
        QTest::newRow("written and the server told") << "etc/quillmere.conf" << "server" << "" << true;
        QTest::newRow("written, no server named") << "etc/quillmere.conf" << "" << "" << true;
        QTest::newRow("folder missing") << "missing/quillmere.conf" << "server" << "could not be written" << false;
        QTest::newRow("pid file missing") << "etc/quillmere.conf" << "run/none.pid" << "could not be read" << true;
    }
    void everyWriteKeepsTheProFtpdFileCurrent()
    {
        QFETCH(QString, configFile);
        QFETCH(QString, pidFile);
        QFETCH(QString, failure);
        TestEnvironment env;
        QString whyNot;
        auto db = TestDatabase::create(TestEngine::Sqlite, env, &whyNot);
        QVERIFY2(db, qPrintable(whyNot));
        const QString ftp = ownedFolder(env, QStringLiteral("ftp"));
        env.settings.saveRegSetting(QStringLiteral("ftp_directory"), ftp);
        QDir().mkpath(env.path(QStringLiteral("run")));

        // A process that counts the SIGHUPs it gets stands in for the server.
        QProcess server;
        server.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("trap 'echo hup' HUP; i=0; while [ $i -lt 600 ]; do sleep 0.1; i=$((i+1)); done")});
        QVERIFY(server.waitForStarted());
        QTest::qWait(200);
        QByteArray heard;
        const auto hups = [&] {
            heard += server.readAllStandardOutput();
            return static_cast<int>(heard.count("hup"));
        };
        const bool named = pidFile == QLatin1String("server");
        const QString pidPath = env.path(named ? QStringLiteral("run/proftpd.pid") : pidFile);
        QFile pid(pidPath);
        QVERIFY(!named || (pid.open(QIODevice::WriteOnly) && pid.write(QByteArray::number(server.processId()) + "\n") > 0));
        pid.close();
        const QString configPath = configFile.isEmpty() ? QString() : env.path(configFile);

        ProFtpdWindow window(env.context);
        window.findChild<QLineEdit*>(QStringLiteral("txtConfigFile"))->setText(configPath);
        window.findChild<QLineEdit*>(QStringLiteral("txtPidFile"))->setText(pidFile.isEmpty() ? QString() : pidPath);
        if (!failure.isEmpty())
            env.prompter.answerMessage(prompt::Answer::Ok, failure).answerMessage(prompt::Answer::Ok, failure);
        window.show();
        QTest::mouseClick(window.findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
        QCOMPARE(window.isVisible(), !failure.isEmpty());
        QCOMPARE(env.settings.getRegSettings(proftpd::ConfigSetting), configPath);
        const int told = !pidFile.isEmpty() && failure.isEmpty() ? 1 : 0;
        QTRY_COMPARE(hups(), told);

        // A new account, saved as the New User dialog saves it: its section is in the file at once.
        PageState page;
        page.saveMode = SaveMode::NewUser;
        accounts::PageValues values;
        values.username = QStringLiteral("carol");
        values.password = QStringLiteral("pw");
        values.homedir = ftp;
        QVERIFY(accounts::saveUser(env.context, page, values));
        QFile file(configPath);
        QTEST(file.open(QIODevice::ReadOnly) && file.readAll().contains("<IfUser "), "written");
        QTRY_COMPARE(hups(), 2 * told);
        QCOMPARE(env.prompter.messages().size(), failure.isEmpty() ? 0 : 2);
        QCOMPARE(env.prompter.unusedSteps(), 0);
        QCOMPARE(env.log.text().count(QStringLiteral("ProFTPD configuration not brought up to date")), failure.isEmpty() ? 0 : 2);
        server.kill();
        server.waitForFinished();
    }
};

QUILLMERE_TEST(TestToolWindows)
#include "TestToolWindows.moc"
