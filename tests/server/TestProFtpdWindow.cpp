#include "TestDatabase.h"
#include "TestEnvironment.h"
#include "TestMain.h"

#include "accounts/AccountStore.h"
#include "server/ProFtpdSync.h"
#include "server/ProFtpdWindow.h"

#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTest>

#include <unistd.h>

// frmProFtpd names the file and the pid file; from then on every write of accounts
// writes the file again and tells the server, and a failure is said once.
class TestProFtpdWindow : public QObject
{
    Q_OBJECT

private slots:
    void everyWriteKeepsTheFileCurrent_data()
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

    void everyWriteKeepsTheFileCurrent()
    {
        QFETCH(QString, configFile);
        QFETCH(QString, pidFile);
        QFETCH(QString, failure);
        QFETCH(bool, written);
        TestEnvironment env;
        QString whyNot;
        auto db = TestDatabase::create(TestEngine::Sqlite, env, &whyNot);
        QVERIFY2(db, qPrintable(whyNot));
        const QString ftp = env.path(QStringLiteral("ftp"));
        QDir().mkpath(ftp);
        // The accounts work as the FTP folder's owner, which root may not be.
        if (::geteuid() == 0)
            QProcess::execute(QStringLiteral("chown"), {QStringLiteral("65534:65534"), ftp});
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
        const QString pidPath = pidFile == QLatin1String("server") ? env.path(QStringLiteral("run/proftpd.pid"))
                                                                   : pidFile.isEmpty() ? QString() : env.path(pidFile);
        if (pidFile == QLatin1String("server")) {
            QFile pid(pidPath);
            QVERIFY(pid.open(QIODevice::WriteOnly));
            pid.write(QByteArray::number(server.processId()) + "\n");
        }
        const QString configPath = configFile.isEmpty() ? QString() : env.path(configFile);

        ProFtpdWindow window(env.context);
        window.findChild<QLineEdit*>(QStringLiteral("txtConfigFile"))->setText(configPath);
        window.findChild<QLineEdit*>(QStringLiteral("txtPidFile"))->setText(pidPath);
        if (!failure.isEmpty())
            env.prompter.answerMessage(prompt::Answer::Ok, failure);
        window.show();
        QTest::mouseClick(window.findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
        QCOMPARE(window.isVisible(), !failure.isEmpty());
        QCOMPARE(env.settings.getRegSettings(proftpd::ConfigSetting), configPath);
        const int told = !pidPath.isEmpty() && failure.isEmpty() ? 1 : 0;
        QTRY_COMPARE(hups(), told);

        // A new account, saved as the New User dialog saves it: its section is in the file at once.
        if (!failure.isEmpty())
            env.prompter.answerMessage(prompt::Answer::Ok, failure);
        PageState page;
        page.saveMode = SaveMode::NewUser;
        accounts::PageValues values;
        values.username = QStringLiteral("carol");
        values.password = QStringLiteral("pw");
        values.homedir = ftp;
        QVERIFY(accounts::saveUser(env.context, page, values));
        QFile file(configPath);
        QCOMPARE(file.open(QIODevice::ReadOnly) && file.readAll().contains("<IfUser "), written);
        QTRY_COMPARE(hups(), 2 * told);
        QCOMPARE(env.prompter.messages().size(), failure.isEmpty() ? 0 : 2);
        QCOMPARE(env.prompter.unusedSteps(), 0);
        QCOMPARE(env.log.text().count(QStringLiteral("ProFTPD configuration not brought up to date")), failure.isEmpty() ? 0 : 2);
        server.kill();
        server.waitForFinished();
    }
};

QUILLMERE_TEST(TestProFtpdWindow)
#include "TestProFtpdWindow.moc"
