#include "GatewickFixture.h"
#include "ProgramUnderTest.h"
#include "PureFtpdServer.h"
#include "TestMain.h"

#include "AuthRules.h"
#include "IniUsers.h"
#include "MigrationImporter.h"
#include "server/ConfigureWindow.h"
#include "app/MainWindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>

#include <memory>

using namespace Qt::StringLiterals;

// End to end: accounts made in the program's windows, a real pure-ftpd asking the
// program's handler through pure-authd, and a real FTP client logging in.
class TestPureFtpd : public QObject
{
    Q_OBJECT

    std::unique_ptr<ProgramUnderTest> m_program;
    std::unique_ptr<PureFtpdServer> m_server;

    MainWindow& main() { return m_program->windows.main(); }
    QString path(const QString& relative) { return m_program->env.path(relative); }
    template <typename T> T* control(QWidget* in, const char* name) { return in->findChild<T*>(QLatin1String(name)); }

    void clickWhenEnabled(QWidget* in, const char* name)
    {
        auto* button = control<QAbstractButton>(in, name);
        if (!QTest::qWaitFor([button] { return button->isEnabled(); }, 2000))
            QTest::qFail(name, __FILE__, __LINE__);
        const bool hasBox = qobject_cast<QCheckBox*>(button) || qobject_cast<QRadioButton*>(button);
        QTest::mouseClick(button, Qt::LeftButton, {}, hasBox ? QPoint(8, button->height() / 2) : button->rect().center());
    }

    // Clicks the main window's button, then lets the script fill the dialog it shows and clicks OK.
    void inDialog(const char* button, const char* dialogName, const std::function<void(QWidget*)>& edit)
    {
        clickWhenEnabled(&main(), button);
        QWidget* dialog = nullptr;
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window->objectName() == QLatin1String(dialogName) && window->isVisible() && QTest::qWaitForWindowExposed(window))
                dialog = window;
        }
        QVERIFY(dialog);
        edit(dialog);
        QTest::mouseClick(control<QPushButton>(dialog, "cmdOK"), Qt::LeftButton);
        QVERIFY(!dialog->isVisible());
    }

    void typeInto(QWidget* dialog, const char* box, const QString& text)
    {
        auto* edit = control<QLineEdit>(dialog, box);
        edit->clear();
        QTest::keyClicks(edit, text);
    }

    // New User, then the account's own home folder typed on the page and saved.
    void createAccount(const QString& name, const QString& folder = {})
    {
        inDialog("cmdNew", "frmNewName", [&](QWidget* dialog) {
            typeInto(dialog, "txtNewName", name);
            typeInto(dialog, "txtPassword", u"pw-"_s + name);
        });
        QCOMPARE(main().pageState().currentUser, name);
        control<QLineEdit>(&main(), "txtHomeDir")->setText(gatewicktest::homeFolder(m_program->env, folder.isEmpty() ? name : folder));
        clickWhenEnabled(&main(), "cmdStore");
        QVERIFY(m_program->env.prompter.records().isEmpty());
    }

    void selectUser(const char* name)
    {
        auto* users = control<QListWidget>(&main(), "lstUsers");
        QTest::mouseClick(users->viewport(), Qt::LeftButton, {}, users->visualItemRect(users->findItems(QLatin1String(name), Qt::MatchExactly).first()).center());
        QCOMPARE(main().pageState().currentUser, QLatin1String(name));
    }

    // curl logged in as the account, with its password unless another is given; without more arguments it lists the home folder.
    gatewicktest::CurlRun curl(const char* user, QStringList more = {}, const QString& password = {})
    {
        if (more.isEmpty())
            more = {u"--list-only"_s, m_server->url()};
        return gatewicktest::curl(QLatin1String(user), password.isEmpty() ? u"pw-"_s + QLatin1String(user) : password, more);
    }

private slots:
    void initTestCase()
    {
        QUILLMERE_REQUIRE_AVAILABLE(PureFtpdServer::unavailableReason());
        m_program = std::make_unique<ProgramUnderTest>();
        m_program->configure();
        m_program->env.settings.saveRegSetting(u"ftp_directory"_s, gatewicktest::homeFolder(m_program->env, {}) + QLatin1Char('/'));
        m_program->start();
        QVERIFY(main().isVisible());

        for (const char* name : {"alice", "dave", "erin", "frank", "grace", "ivan"})
            createAccount(QLatin1String(name));
        // Capitals in a home folder name another folder on this file system; they are kept.
        createAccount(u"judy"_s, u"judy/Incoming"_s);
        // An account migrated from the server's INI file: its password in the salted MD5 form, and a deny rule of its own.
        const QString ini = gatewicktest::writeFile(path(u"ServUDaemon.ini"_s),
                                                    u"[USER=henry|1]\r\nPassword=hx%1\r\nHomeDir=%2\r\nAccess1=%2|RWAMLCD\r\nIPAccess1=D|127.0.0.5\r\n"_s
                                                        .arg(gatewick::saltedMd5(u"hx"_s, u"old-pass"_s).toUpper(), gatewicktest::homeFolder(m_program->env, u"Henry"_s))
                                                        .toUtf8());
        const migration::ReadOutcome read = migration::readIniUsers(ini, migration::Generation::V4, m_program->env.dates);
        QVERIFY2(read.ok, qPrintable(read.error));
        QCOMPARE(migration::MigrationImporter(m_program->env.settings.readConnectionString()).run(read.source, {}, {}).imported, QStringList{"henry"});

        selectUser("dave");
        inDialog("cmdMisc", "frmMiscSetup", [this](QWidget* dialog) { clickWhenEnabled(dialog, "chkDisableAccount"); });
        selectUser("frank");
        inDialog("cmdQuota", "frmDiskQuota", [this](QWidget* dialog) {
            clickWhenEnabled(dialog, "chkEnableQuota");
            clickWhenEnabled(dialog, "opK");
            typeInto(dialog, "txtQuotaMaximum", u"2"_s);
        });
        selectUser("ivan");
        inDialog("cmdUpDownRatios", "frmUDRatios", [this](QWidget* dialog) {
            clickWhenEnabled(dialog, "chkEnableUD");
            for (const auto& [box, value] : {std::pair{"txtUpload", "1"}, std::pair{"txtDownload", "4"}, std::pair{"txtUDCrd", "1"}})
                typeInto(dialog, box, QLatin1String(value));
        });
        inDialog("cmdMisc", "frmMiscSetup", [this](QWidget* dialog) { typeInto(dialog, "txtMaxSpeed", u"64"_s); });
        // Rules for the other loopback addresses, so that 127.0.0.1 stays allowed: the
        // account's own in its IP Access dialog, the global one in the configuration window's.
        const auto addRule = [this](const QString& rule) {
            return [this, rule](QWidget* dialog) {
                QTest::keyClicks(control<QLineEdit>(dialog, "txtIPaddress"), rule);
                clickWhenEnabled(dialog, "cmdAdd");
            };
        };
        selectUser("erin");
        inDialog("cmdIPAccess", "frmIPAccess", addRule(u"127.0.0.0/24"_s));
        m_program->env.prompter.onModal(u"frmGlobalIPAccess"_s, [&](QWidget* dialog) {
            addRule(u"127.0.0.2"_s)(dialog);
            QTest::mouseClick(control<QPushButton>(dialog, "cmdOK"), Qt::LeftButton);
        });
        m_program->windows.configure().cmdGlobalIPAccess_Click();
        QCOMPARE(m_program->env.prompter.unusedSteps(), 0);

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

    void allowedLoginsAndTheirLimits()
    {
        const QString file = gatewicktest::writeFile(path(u"report.txt"_s), "quarterly figures\n");
        QVERIFY(!file.isEmpty());
        QCOMPARE(curl("alice", {u"-T"_s, file, m_server->url(u"/report.txt"_s)}).exit, 0);
        QVERIFY(QFile::exists(path(u"ftp/alice/report.txt"_s)));
        const gatewicktest::CurlRun listing = curl("alice");
        QCOMPARE(listing.exit, 0);
        QVERIFY(listing.out.contains("report.txt"));
        // The migrated account logs in with its old password; both home folders with capitals are found.
        QCOMPARE(curl("henry", {}, u"old-pass"_s).exit, 0);
        QCOMPARE(curl("judy", {u"-T"_s, file, m_server->url(u"/report.txt"_s)}).exit, 0);
        QVERIFY(QFile::exists(path(u"ftp/judy/Incoming/report.txt"_s)));
        // An account's rule for other addresses leaves it free from this one.
        QCOMPARE(curl("erin", {u"--interface"_s, u"127.0.1.1"_s, u"--list-only"_s, m_server->url()}).exit, 0);

        const gatewicktest::CurlRun ivan = curl("ivan", {u"--verbose"_s, u"--list-only"_s, m_server->url()});
        QCOMPARE(ivan.exit, 0);
        QVERIFY2(ivan.errors.contains("You must respect a 1:4 (UL/DL) ratio"), ivan.errors.constData());
        QVERIFY2(ivan.errors.contains("Your bandwidth usage is restricted"), ivan.errors.constData());

        // frank's quota of 2 KB takes the small file and refuses the large one.
        for (const auto& [name, size] : {std::pair{"small.bin", 1000}, std::pair{"large.bin", 5000}}) {
            const QString local = gatewicktest::writeFile(path(QLatin1String(name)), QByteArray(size, 'q'));
            QVERIFY(!local.isEmpty());
            QCOMPARE(curl("frank", {u"-T"_s, local, m_server->url(u"/"_s + QLatin1String(name))}).exit == 0, size == 1000);
            QCOMPARE(QFile::exists(path(u"ftp/frank/"_s + QLatin1String(name))), size == 1000);
        }
    }

    void refusedLogins()
    {
        // The server delays every refusal by seconds, so the refusals run side by side,
        // each with an account of its own (the server counts an account's sessions).
        const QList<QStringList> cases{
            {"wrong password", "alice", "nope", "127.0.0.1"},
            {"disabled account", "dave", "pw-dave", "127.0.0.1"},
            {"global rule", "grace", "pw-grace", "127.0.0.2"},
            {"a migrated account's own rule", "henry", "old-pass", "127.0.0.5"},
            {"the account's own rule", "erin", "pw-erin", "127.0.0.4"},
            {"unknown account", "nobody-here", "pw", "127.0.0.1"},
        };
        std::vector<std::unique_ptr<QProcess>> running;
        for (const QStringList& each : cases) {
            running.push_back(std::make_unique<QProcess>());
            running.back()->start(u"curl"_s, PureFtpdServer::curlArguments(each[1], each[2], {u"--interface"_s, each[3], u"--list-only"_s, m_server->url()}));
        }
        for (size_t i = 0; i < running.size(); ++i) {
            running[i]->waitForFinished(60000);
            QVERIFY2(running[i]->exitCode() == 67, qPrintable(u"%1: curl ended with %2 %3"_s.arg(cases[int(i)][0]).arg(running[i]->exitCode())
                                                                  .arg(QString::fromUtf8(running[i]->readAllStandardError()))));
        }
    }

    void secondSessionOfAnAccountIsRefused()
    {
        // Every account the program creates allows one session at a time.
        gatewicktest::ControlConnection first;
        QVERIFY(first.open(m_server->port()) && first.login(u"grace"_s, u"pw-grace"_s));
        QVERIFY(curl("grace").exit != 0);
    }
};

QUILLMERE_TEST(TestPureFtpd)
#include "TestPureFtpd.moc"
