#include "GatewickFixture.h"
#include "ProgramUnderTest.h"
#include "PureFtpdServer.h"
#include "TestMain.h"

#include "AuthRules.h"
#include "IniUsers.h"
#include "MigrationImporter.h"
#include "server/ConfigureWindow.h"
#include "shell/MainWindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTcpSocket>

#include <memory>

// End to end: accounts made in the program's windows, a real pure-ftpd asking the
// program's handler through pure-authd, and a real FTP client logging in.
class TestPureFtpd : public QObject
{
    Q_OBJECT

    std::unique_ptr<ProgramUnderTest> m_program;
    std::unique_ptr<PureFtpdServer> m_server;

    MainWindow& main() { return m_program->windows.main(); }
    template <typename T> T* control(QWidget* in, const char* name) { return in->findChild<T*>(QLatin1String(name)); }

    QWidget* shownDialog(const char* name)
    {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window->objectName() == QLatin1String(name) && window->isVisible())
                return QTest::qWaitForWindowExposed(window) ? window : nullptr;
        }
        return nullptr;
    }

    void clickWhenEnabled(QAbstractButton* button)
    {
        if (!QTest::qWaitFor([button] { return button->isEnabled(); }, 2000))
            QTest::qFail(qPrintable(button->objectName() + QStringLiteral(" stays disabled")), __FILE__, __LINE__);
        const bool hasBox = qobject_cast<QCheckBox*>(button) || qobject_cast<QRadioButton*>(button);
        QTest::mouseClick(button, Qt::LeftButton, {}, hasBox ? QPoint(8, button->height() / 2) : button->rect().center());
    }

    // New User, then the account's own home folder typed on the page and saved.
    void createAccount(const QString& name, const QString& password, const QString& folder = {})
    {
        clickWhenEnabled(control<QPushButton>(&main(), "cmdNew"));
        QWidget* dialog = shownDialog("frmNewName");
        QVERIFY(dialog);
        QTest::keyClicks(control<QLineEdit>(dialog, "txtNewName"), name);
        QTest::keyClicks(control<QLineEdit>(dialog, "txtPassword"), password);
        QTest::mouseClick(control<QPushButton>(dialog, "cmdOK"), Qt::LeftButton);
        QCOMPARE(main().pageState().currentUser, name);
        QLineEdit* home = control<QLineEdit>(&main(), "txtHomeDir");
        home->setText(gatewicktest::homeFolder(m_program->env, folder.isEmpty() ? name : folder));
        clickWhenEnabled(control<QPushButton>(&main(), "cmdStore"));
        QVERIFY(m_program->env.prompter.records().isEmpty());
    }

    void openOptions(const char* button, const char* dialogName, const std::function<void(QWidget*)>& edit)
    {
        clickWhenEnabled(control<QPushButton>(&main(), button));
        QWidget* dialog = shownDialog(dialogName);
        QVERIFY(dialog);
        edit(dialog);
        QTest::mouseClick(control<QPushButton>(dialog, "cmdOK"), Qt::LeftButton);
        QVERIFY(!dialog->isVisible());
    }

    void execute(const QString& sql)
    {
        Database db(m_program->env.settings.readConnectionString());
        QVERIFY(db.open());
        QVERIFY2(db.execute(sql), qPrintable(db.lastError()));
    }

    // curl's exit code; without more arguments it lists the home folder.
    int curlExit(const QString& user, const QString& password, QStringList more = {})
    {
        if (more.isEmpty())
            more = {QStringLiteral("--list-only"), m_server->url()};
        auto process = gatewicktest::startCurl(user, password, more);
        process->waitForFinished(60000);
        return process->exitCode();
    }

private slots:
    void initTestCase()
    {
        QUILLMERE_REQUIRE_AVAILABLE(PureFtpdServer::unavailableReason());
        m_program = std::make_unique<ProgramUnderTest>();
        m_program->configure();
        m_program->env.settings.saveRegSetting(QStringLiteral("ftp_directory"), gatewicktest::homeFolder(m_program->env, {}) + QLatin1Char('/'));
        m_program->start();
        QVERIFY(main().isVisible());

        for (const char* name : {"alice", "dave", "erin", "frank", "grace", "ivan"})
            createAccount(QLatin1String(name), QStringLiteral("pw-") + QLatin1String(name));
        // Capitals in a home folder name another folder on this file system; they are kept.
        createAccount(QStringLiteral("judy"), QStringLiteral("pw-judy"), QStringLiteral("judy/Incoming"));
        // An account migrated from the server's INI file: its password in the salted MD5 form, and a deny rule of its own.
        const QString ini = gatewicktest::writeFile(
            m_program->env.path(QStringLiteral("ServUDaemon.ini")),
            QStringLiteral("[USER=henry|1]\r\nPassword=hx%1\r\nHomeDir=%2\r\nAccess1=%2|RWAMLCD\r\nIPAccess1=D|127.0.0.5\r\n")
                .arg(gatewick::saltedMd5(QStringLiteral("hx"), QStringLiteral("old-pass")).toUpper(), gatewicktest::homeFolder(m_program->env, QStringLiteral("Henry")))
                .toUtf8());
        const migration::ReadOutcome read = migration::readIniUsers(ini, migration::Generation::V4, m_program->env.dates);
        QVERIFY2(read.ok, qPrintable(read.error));
        QCOMPARE(migration::MigrationImporter(m_program->env.settings.readConnectionString()).run(read.source, {}, {}).imported, QStringList{"henry"});

        const auto selectUser = [this](const char* name) {
            auto* users = control<QListWidget>(&main(), "lstUsers");
            const auto found = users->findItems(QLatin1String(name), Qt::MatchExactly);
            QTest::mouseClick(users->viewport(), Qt::LeftButton, {}, users->visualItemRect(found.first()).center());
            QCOMPARE(main().pageState().currentUser, QLatin1String(name));
        };
        selectUser("dave");
        openOptions("cmdMisc", "frmMiscSetup", [this](QWidget* dialog) { clickWhenEnabled(control<QCheckBox>(dialog, "chkDisableAccount")); });
        selectUser("frank");
        openOptions("cmdQuota", "frmDiskQuota", [this](QWidget* dialog) {
            clickWhenEnabled(control<QCheckBox>(dialog, "chkEnableQuota"));
            clickWhenEnabled(control<QRadioButton>(dialog, "opK"));
            auto* maximum = control<QLineEdit>(dialog, "txtQuotaMaximum");
            maximum->clear();
            QTest::keyClicks(maximum, QStringLiteral("2"));
        });
        selectUser("ivan");
        openOptions("cmdUpDownRatios", "frmUDRatios", [this](QWidget* dialog) {
            clickWhenEnabled(control<QCheckBox>(dialog, "chkEnableUD"));
            for (const auto& [box, value] : {std::pair{"txtUpload", "1"}, std::pair{"txtDownload", "4"}, std::pair{"txtUDCrd", "1"}})
                QTest::keyClicks(control<QLineEdit>(dialog, box), QLatin1String(value));
        });
        openOptions("cmdMisc", "frmMiscSetup", [this](QWidget* dialog) {
            auto* speed = control<QLineEdit>(dialog, "txtMaxSpeed");
            speed->clear();
            QTest::keyClicks(speed, QStringLiteral("64"));
        });
        // Rules for the other loopback addresses, so that 127.0.0.1 stays allowed: the
        // account's own in its IP Access dialog, the global one in the configuration
        // window's; a rule for everyone ("*") is never written by the program.
        const auto addRule = [this](QWidget* dialog, const QString& rule) {
            QTest::keyClicks(control<QLineEdit>(dialog, "txtIPaddress"), rule);
            clickWhenEnabled(control<QPushButton>(dialog, "cmdAdd"));
            QTest::mouseClick(control<QPushButton>(dialog, "cmdOK"), Qt::LeftButton);
        };
        selectUser("erin");
        clickWhenEnabled(control<QPushButton>(&main(), "cmdIPAccess"));
        QWidget* erinsRules = shownDialog("frmIPAccess");
        QVERIFY(erinsRules);
        addRule(erinsRules, QStringLiteral("127.0.0.0/24"));
        m_program->env.prompter.onModal(QStringLiteral("frmGlobalIPAccess"), [&](QWidget* dialog) { addRule(dialog, QStringLiteral("127.0.0.2")); });
        m_program->windows.configure().cmdGlobalIPAccess_Click();
        QCOMPARE(m_program->env.prompter.unusedSteps(), 0);
        execute(QStringLiteral("insert into blocked_ips_by_user (ip, username) values ('127.0.0.3', '*')"));

        // The next start-up's lower-casing leaves those folders as they are.
        m_program->env.context.lowerCaseStoredPaths();

        m_server = std::make_unique<PureFtpdServer>();
        QString whyNot;
        QVERIFY2(m_server->start(m_program->env.settingsPath(), &whyNot), qPrintable(whyNot));
    }

    void cleanupTestCase()
    {
        m_server.reset();
        m_program.reset();
    }

    void listAndUploadInTheHomeFolder()
    {
        const QString file = gatewicktest::writeFile(m_program->env.path(QStringLiteral("report.txt")), "quarterly figures\n");
        QVERIFY(!file.isEmpty());
        QCOMPARE(curlExit(QStringLiteral("alice"), QStringLiteral("pw-alice"), {QStringLiteral("-T"), file, m_server->url(QStringLiteral("/report.txt"))}), 0);
        QVERIFY(QFile::exists(m_program->env.path(QStringLiteral("ftp/alice/report.txt"))));
        auto listing = gatewicktest::startCurl(QStringLiteral("alice"), QStringLiteral("pw-alice"), {QStringLiteral("--list-only"), m_server->url()});
        QVERIFY(listing->waitForFinished(60000));
        QCOMPARE(listing->exitCode(), 0);
        QVERIFY(listing->readAllStandardOutput().contains("report.txt"));
        // The migrated account logs in with its old password; both home folders with capitals are found.
        QCOMPARE(curlExit(QStringLiteral("henry"), QStringLiteral("old-pass")), 0);
        QCOMPARE(curlExit(QStringLiteral("judy"), QStringLiteral("pw-judy"), {QStringLiteral("-T"), file, m_server->url(QStringLiteral("/report.txt"))}), 0);
        QVERIFY(QFile::exists(m_program->env.path(QStringLiteral("ftp/judy/Incoming/report.txt"))));
        // An account's rule for other addresses leaves it free from this one.
        QCOMPARE(curlExit(QStringLiteral("erin"), QStringLiteral("pw-erin"), {QStringLiteral("--interface"), QStringLiteral("127.0.1.1"),
                                                                                QStringLiteral("--list-only"), m_server->url()}),
                 0);
    }

    void ratioAndSpeedLimitReachTheServer()
    {
        auto login = gatewicktest::startCurl(QStringLiteral("ivan"), QStringLiteral("pw-ivan"), {QStringLiteral("--verbose"), QStringLiteral("--list-only"), m_server->url()});
        QVERIFY(login->waitForFinished(60000));
        QCOMPARE(login->exitCode(), 0);
        const QByteArray dialogue = login->readAllStandardError();
        QVERIFY2(dialogue.contains("You must respect a 1:4 (UL/DL) ratio"), dialogue.constData());
        QVERIFY2(dialogue.contains("Your bandwidth usage is restricted"), dialogue.constData());
    }

    void refusedLogins()
    {
        // The server delays every refusal by seconds, so the refusals run side by side,
        // each with an account of its own (the server counts an account's sessions).
        const QList<QStringList> cases{
            {"wrong password", "alice", "nope", "127.0.0.1"},
            {"disabled account", "dave", "pw-dave", "127.0.0.1"},
            {"global rule", "grace", "pw-grace", "127.0.0.2"},
            {"rule for everyone", "ivan", "pw-ivan", "127.0.0.3"},
            {"a migrated account's own rule", "henry", "old-pass", "127.0.0.5"},
            {"the account's own rule", "erin", "pw-erin", "127.0.0.4"},
            {"unknown account", "nobody-here", "pw", "127.0.0.1"},
        };
        std::vector<std::unique_ptr<QProcess>> running;
        for (const QStringList& each : cases)
            running.push_back(gatewicktest::startCurl(each[1], each[2], {QStringLiteral("--interface"), each[3], QStringLiteral("--list-only"), m_server->url()}));
        for (size_t i = 0; i < running.size(); ++i) {
            running[i]->waitForFinished(60000);
            QVERIFY2(running[i]->exitCode() == 67, qPrintable(QStringLiteral("%1: curl ended with %2 %3").arg(cases[int(i)][0]).arg(running[i]->exitCode())
                                                                  .arg(QString::fromUtf8(running[i]->readAllStandardError()))));
        }
    }

    void quotaRefusesAnUploadPastIt()
    {
        const QString small = m_program->env.path(QStringLiteral("small.bin"));
        const QString large = m_program->env.path(QStringLiteral("large.bin"));
        QVERIFY(!gatewicktest::writeFile(small, QByteArray(1000, 'q')).isEmpty());
        QVERIFY(!gatewicktest::writeFile(large, QByteArray(5000, 'q')).isEmpty());
        QCOMPARE(curlExit(QStringLiteral("frank"), QStringLiteral("pw-frank"), {QStringLiteral("-T"), small, m_server->url(QStringLiteral("/small.bin"))}), 0);
        QVERIFY(curlExit(QStringLiteral("frank"), QStringLiteral("pw-frank"), {QStringLiteral("-T"), large, m_server->url(QStringLiteral("/large.bin"))}) != 0);
        QVERIFY(!QFile::exists(m_program->env.path(QStringLiteral("ftp/frank/large.bin"))));
    }

    void secondSessionOfAnAccountIsRefused()
    {
        // Every account the program creates allows one session at a time.
        QTcpSocket first;
        first.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(m_server->port()));
        QVERIFY(first.waitForConnected(5000));
        const auto reply = [&first] {
            QByteArray line;
            while (first.waitForReadyRead(10000) || first.canReadLine()) {
                while (first.canReadLine()) {
                    line = first.readLine();
                    if (line.size() > 3 && line.at(3) == ' ')
                        return line;
                }
            }
            return line;
        };
        QVERIFY(reply().startsWith("220"));
        first.write("USER grace\r\n");
        QVERIFY(reply().startsWith("331"));
        first.write("PASS pw-grace\r\n");
        QVERIFY(reply().startsWith("230"));
        QVERIFY(curlExit(QStringLiteral("grace"), QStringLiteral("pw-grace")) != 0);
        first.write("QUIT\r\n");
        reply();
        first.close();
    }
};

QUILLMERE_TEST(TestPureFtpd)
#include "TestPureFtpd.moc"
