#include "server/ConfigureWindow.h"

#include "platform/Clock.h"
#include "platform/DateForm.h"
#include "platform/PathInfo.h"
#include "platform/Prompter.h"
#include "platform/SettingsStore.h"
#include "services/AccountSweep.h"
#include "services/AppContext.h"
#include "server/ServerIni.h"
#include "services/AppInfo.h"
#include "services/EmbeddedFiles.h"
#include "services/Session.h"
#include "services/ProgramExit.h"

#include <QComboBox>
#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace {

// The proposals a first run shows, in the platform's own form of a folder path.
#ifdef Q_OS_WIN
const QString DefaultServuPath = QStringLiteral("C:\\Program files\\Serv-U\\");
const QString DefaultFtpDirectory = QStringLiteral("C:\\FTPServer\\");
#else
const QString DefaultServuPath = QStringLiteral("/opt/Serv-U/");
const QString DefaultFtpDirectory = QStringLiteral("/srv/ftp/");
#endif

QGroupBox* frame(const QString& objectName, const QString& caption, QWidget* parent)
{
    auto* box = new QGroupBox(caption, parent);
    box->setObjectName(objectName);
    return box;
}

QPushButton* button(const QString& objectName, const QString& caption, QWidget* parent)
{
    auto* result = new QPushButton(caption, parent);
    result->setObjectName(objectName);
    return result;
}

} // namespace

ConfigureWindow::ConfigureWindow(AppContext& context, QWidget* parent)
    : QDialog(parent)
    , m_ctx(context)
{
    setObjectName(QStringLiteral("frmConfigure"));
    setWindowTitle(QStringLiteral("Quillmere Configuration"));
    setupControls();
    setupLayout();
    setupTimer();
    checkLabelStatus();
}

void ConfigureWindow::setupControls()
{
    m_txtServuPath = new QLineEdit(DefaultServuPath, this);
    m_txtServuPath->setObjectName(QStringLiteral("txtServuPath"));
    m_txtServuPath->installEventFilter(this);
    m_cmdBrowseProgramPath = button(QStringLiteral("cmdBrowseProgramPath"), QStringLiteral("..."), this);
    m_label3 = new QLabel(QStringLiteral("Must be located on this computer."), this);
    m_label3->setObjectName(QStringLiteral("Label3"));

    m_txtFTPdirectory = new QLineEdit(DefaultFtpDirectory, this);
    m_txtFTPdirectory->setObjectName(QStringLiteral("txtFTPdirectory"));
    m_cmdBrowseServerPath = button(QStringLiteral("cmdBrowseServerPath"), QStringLiteral("..."), this);

    m_label1 = new QLabel(QStringLiteral("Database connection string"), this);
    m_label1->setObjectName(QStringLiteral("Label1"));
    m_txtConnectionString = new QPlainTextEdit(this);
    m_txtConnectionString->setObjectName(QStringLiteral("txtConnectionString"));
    m_txtConnectionString->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_txtConnectionString->setTabChangesFocus(true);
    m_label1->setBuddy(m_txtConnectionString);
    m_cmdConnectionString = button(QStringLiteral("cmdConnectionString"), QStringLiteral("Database Wizard"), this);

    m_lblDateFormat = new QLabel(QStringLiteral("Short date form of the account dates"), this);
    m_lblDateFormat->setObjectName(QStringLiteral("lblDateFormat"));
    m_cboDateFormat = new QComboBox(this);
    m_cboDateFormat->setObjectName(QStringLiteral("cboDateFormat"));
    m_lblDateFormat->setBuddy(m_cboDateFormat);
    fillDateForms();

    m_lblRules = new QLabel(QStringLiteral("No IP rules are set. Server is available to everyone."), this);
    m_lblRules->setObjectName(QStringLiteral("lblRules"));
    m_lblRules->setWordWrap(true);
    m_cmdGlobalIPAccess = button(QStringLiteral("cmdGlobalIPAccess"), QStringLiteral("Modify IP Rules"), this);

    m_cmdCommitChanges = button(QStringLiteral("cmdCommitChanges"), QStringLiteral("Commit changes"), this);
    m_cmdCommitChanges->setDefault(true);
    m_cmdCancel = button(QStringLiteral("cmdCancel"), QStringLiteral("Cancel"), this);

    for (QPushButton* browse : {m_cmdBrowseProgramPath, m_cmdBrowseServerPath})
        browse->setFixedWidth(36);

    connect(m_cmdBrowseProgramPath, &QPushButton::clicked, this, &ConfigureWindow::cmdBrowseProgramPath_Click);
    connect(m_cmdBrowseServerPath, &QPushButton::clicked, this, &ConfigureWindow::cmdBrowseServerPath_Click);
    connect(m_cmdConnectionString, &QPushButton::clicked, this, &ConfigureWindow::cmdConnectionString_Click);
    connect(m_cmdGlobalIPAccess, &QPushButton::clicked, this, &ConfigureWindow::cmdGlobalIPAccess_Click);
    connect(m_cmdCommitChanges, &QPushButton::clicked, this, &ConfigureWindow::cmdCommitChanges_Click);
    connect(m_cmdCancel, &QPushButton::clicked, this, &ConfigureWindow::cmdCancel_Click);
}

void ConfigureWindow::setupLayout()
{
    auto* frame4 = frame(QStringLiteral("Frame4"), QStringLiteral("Serv-u program path"), this);
    auto* frame4Layout = new QGridLayout(frame4);
    frame4Layout->addWidget(m_txtServuPath, 0, 0);
    frame4Layout->addWidget(m_cmdBrowseProgramPath, 0, 1);
    frame4Layout->addWidget(m_label3, 1, 0, 1, 2);
    m_label3->setForegroundRole(QPalette::PlaceholderText);

    auto* frame6 = frame(QStringLiteral("Frame6"), QStringLiteral("Default FTP server directory"), this);
    auto* frame6Layout = new QHBoxLayout(frame6);
    frame6Layout->addWidget(m_txtFTPdirectory);
    frame6Layout->addWidget(m_cmdBrowseServerPath);

    auto* frame1 = frame(QStringLiteral("Frame1"), QStringLiteral("Database"), this);
    auto* frame1Layout = new QVBoxLayout(frame1);
    frame1Layout->addWidget(m_label1);
    frame1Layout->addWidget(m_txtConnectionString);
    m_txtConnectionString->setMinimumHeight(72);
    m_txtConnectionString->setMaximumHeight(96);
    auto* wizardRow = new QHBoxLayout;
    wizardRow->addStretch(1);
    wizardRow->addWidget(m_cmdConnectionString);
    frame1Layout->addLayout(wizardRow);

    auto* fraDates = frame(QStringLiteral("fraDates"), QStringLiteral("Dates"), this);
    auto* datesLayout = new QHBoxLayout(fraDates);
    datesLayout->addWidget(m_lblDateFormat);
    datesLayout->addWidget(m_cboDateFormat, 1);

    auto* frame5 = frame(QStringLiteral("Frame5"), QStringLiteral("Global IP Access Rules"), this);
    auto* frame5Layout = new QHBoxLayout(frame5);
    frame5Layout->addWidget(m_lblRules, 1);
    frame5Layout->addWidget(m_cmdGlobalIPAccess);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_cmdCommitChanges);
    buttons->addWidget(m_cmdCancel);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->setSpacing(10);
    layout->addWidget(frame4);
    layout->addWidget(frame6);
    layout->addWidget(frame1);
    layout->addWidget(fraDates);
    layout->addWidget(frame5);
    layout->addStretch(1);
    layout->addLayout(buttons);

    setMinimumWidth(560);
    resize(600, sizeHint().height());
}

void ConfigureWindow::setupTimer()
{
    m_tmrEnableCommit = new QTimer(this);
    m_tmrEnableCommit->setObjectName(QStringLiteral("tmrEnableCommit"));
    m_tmrEnableCommit->setInterval(100);
    connect(m_tmrEnableCommit, &QTimer::timeout, this, &ConfigureWindow::tmrEnableCommit_Timer);
}

void ConfigureWindow::enableCommitTimer()
{
    m_tmrEnableCommit->start();
}

bool ConfigureWindow::isCommitTimerActive() const
{
    return m_tmrEnableCommit->isActive();
}

void ConfigureWindow::fillDateForms()
{
    // The installation's form first, then the regional one and the common ones.
    QStringList patterns{m_ctx.dates.pattern(), DateForm::ofLocale(QLocale()).pattern()};
    for (const char* common : {"M/d/yyyy", "MM/dd/yyyy", "d/M/yyyy", "dd/MM/yyyy", "dd.MM.yyyy", "yyyy-MM-dd"})
        patterns.append(QLatin1String(common));
    patterns.removeDuplicates();
    const QDate example = m_ctx.clock.now().date();
    for (const QString& pattern : std::as_const(patterns))
        m_cboDateFormat->addItem(QStringLiteral("%1 (%2)").arg(pattern, DateForm(pattern).format(example)), pattern);
    m_cboDateFormat->setCurrentIndex(0);
}

void ConfigureWindow::fillFromStoredSettings()
{
    m_txtConnectionString->setPlainText(m_ctx.settings.readConnectionString());
    m_txtFTPdirectory->setText(m_ctx.settings.getRegSettings(QStringLiteral("ftp_directory")));
    m_txtServuPath->setText(m_ctx.settings.getRegSettings(QStringLiteral("servu_path")));
}

QString ConfigureWindow::servuPath() const
{
    return m_txtServuPath->text();
}

QString ConfigureWindow::ftpDirectory() const
{
    return m_txtFTPdirectory->text();
}

QString ConfigureWindow::connectionString() const
{
    return m_txtConnectionString->toPlainText();
}

void ConfigureWindow::setConnectionString(const QString& text)
{
    m_txtConnectionString->setPlainText(text);
}

void ConfigureWindow::tmrEnableCommit_Timer()
{
    m_cmdCommitChanges->setEnabled(!m_txtServuPath->text().isEmpty() && !m_txtFTPdirectory->text().isEmpty()
                                   && !m_txtConnectionString->toPlainText().isEmpty());
}

void ConfigureWindow::cmdBrowseProgramPath_Click()
{
    const QString folder = m_ctx.prompter.chooseFolder({QStringLiteral("Select the path of your Serv-u program"), {}});
    if (!folder.isEmpty())
        m_txtServuPath->setText(folder);
}

void ConfigureWindow::cmdBrowseServerPath_Click()
{
    const QString folder = m_ctx.prompter.chooseFolder({QStringLiteral("Select default FTP server directory"), {}});
    if (!folder.isEmpty())
        m_txtFTPdirectory->setText(folder);
}

void ConfigureWindow::txtServuPath_LostFocus()
{
    // A hidden way to the status log for support calls.
    if (m_txtServuPath->text().toLower() == QLatin1String("show log"))
        emit statusLogRequested();
}

void ConfigureWindow::cmdConnectionString_Click()
{
    const auto answer = m_ctx.prompter.ask(appinfo::Title,
                                           QStringLiteral("\r\nTo create a new database select Yes.\r\n"
                                                          "To select an existing database select No.\r\n"),
                                           prompt::Icon::Exclamation, prompt::Buttons::YesNoCancel);
    if (answer == prompt::Answer::Cancel)
        return;
    emit databaseWizardRequested(answer == prompt::Answer::Yes ? 1 : 4);
}

void ConfigureWindow::cmdGlobalIPAccess_Click()
{
    emit globalIpRulesRequested();
}

namespace {

QString tooLong(const QString& field)
{
    return QStringLiteral("The number of characters in the %1 path field \r\nexceeds the maximum number of characters allowed.").arg(field);
}

QString networkQuestion(const QString& which)
{
    return QStringLiteral("The %1 path specified is a network or UNC path.\r\n"
                          "These paths may need directory user rights for proper usage.\r\n\r\n"
                          "Are you sure you want to use network or UNC paths?")
        .arg(which);
}

bool endsWithSeparator(const QString& path)
{
    return path.endsWith(QLatin1Char('\\')) || path.endsWith(QLatin1Char('/'));
}

} // namespace

bool ConfigureWindow::checkFolders()
{
    const auto warn = [this](const QString& text) { m_ctx.prompter.tell(appinfo::Title, text, prompt::Icon::Exclamation); };
    const auto confirmNetwork = [this](const QString& which) {
        return m_ctx.prompter.ask(appinfo::Title, networkQuestion(which), prompt::Icon::Question, prompt::Buttons::YesNoCancel,
                                  prompt::Answer::No)
            == prompt::Answer::Yes;
    };
    const PathFacts program = pathInfo(m_txtServuPath->text());
    if (!program.isDirectory) {
        warn(QStringLiteral("The Serv-U path specified is not valid.\r\nPlease check your path and try again."));
        return false;
    }
    if (program.isEmptyDirectory) {
        warn(QStringLiteral("The Serv-U path specified does not have any Serv-U program files in it.\r\n"
                            "Please check your path and try again."));
        return false;
    }
    if ((program.isNetworkPath || program.isUnc) && !confirmNetwork(QStringLiteral("Serv-U")))
        return false;

    const PathFacts ftp = pathInfo(m_txtFTPdirectory->text());
    const QString ftpInvalid = QStringLiteral("The FTP directory path specified is not valid.\r\nPlease check your path and try again.");
    if (!ftp.isDirectory) {
        warn(ftpInvalid);
        return false;
    }
    if ((ftp.isNetworkPath || ftp.isUnc) && !confirmNetwork(QStringLiteral("FTP directory")))
        return false;
    if (ftp.isUrl) {
        warn(ftpInvalid);
        return false;
    }
    return true;
}

QString ConfigureWindow::findIniPath()
{
    m_ctx.logStatus(QStringLiteral("open ini file"));
    const QString folder = m_ctx.settings.getRegSettings(QStringLiteral("servu_path"));
    if (folder.trimmed().isEmpty())
        return {};
    m_ctx.logStatus(QStringLiteral("get all ini files"));
    const serverini::IniFiles found = serverini::findIniFiles(folder);
    if (!found.servU.isEmpty() && !found.daemon.isEmpty()) {
        const auto answer = m_ctx.prompter.ask(appinfo::Title,
                                               QStringLiteral("There were two Serv-U INI files found.\r\n\r\n"
                                                              "Would you like to use \"Serv-u.INI\"?\r\n"
                                                              "Press \"No\" to use \"Servudaemon.ini\""),
                                               prompt::Icon::Question, prompt::Buttons::YesNo);
        return answer == prompt::Answer::Yes ? found.servU : found.daemon;
    }
    return found.servU.isEmpty() ? found.daemon : found.servU;
}

bool ConfigureWindow::registerPlugin(const QString& iniPath)
{
    const auto fail = [this](const QString& text) {
        m_ctx.prompter.tell(appinfo::Title, text, prompt::Icon::Exclamation);
        return false;
    };
    if (!saveSetting(QStringLiteral("ini_path"), iniPath))
        return false;
    QByteArray content;
    if (const QString error = serverini::readFile(iniPath, &content); !error.isEmpty())
        return fail(error);
    const serverini::Edit edit = serverini::registerPlugin(content);
    if (edit.change == serverini::Change::AlreadyRegistered)
        return true;
    m_ctx.logStatus(edit.change == serverini::Change::AddedSection
                        ? QStringLiteral("if it does not have the external section label we must add it")
                        : QStringLiteral("if the line is already there then do not write it"));
    if (const QString error = serverini::replaceFile(iniPath, edit.text); !error.isEmpty())
        return fail(error);
    return true;
}

void ConfigureWindow::cmdCommitChanges_Click()
{
    constexpr int MaxPathLength = 32000;
    if (m_txtServuPath->text().size() > MaxPathLength) {
        m_ctx.prompter.tell(appinfo::Title, tooLong(QStringLiteral("Serv-U program")), prompt::Icon::Exclamation);
        return;
    }
    if (m_txtFTPdirectory->text().size() > MaxPathLength) {
        m_ctx.prompter.tell(appinfo::Title, tooLong(QStringLiteral("FTP directory")), prompt::Icon::Exclamation);
        return;
    }
    m_ctx.logStatus(QStringLiteral("check for invalid entries"));
    if (!checkFolders())
        return;

    m_ctx.logStatus(QStringLiteral("check for trailing backslashes '\\'"));
    for (QLineEdit* folder : {m_txtServuPath, m_txtFTPdirectory}) {
        if (!endsWithSeparator(folder->text()))
            folder->setText(folder->text() + QDir::separator());
    }

    m_ctx.logStatus(QStringLiteral("Save settings into registry"));
    if (!saveSetting(QStringLiteral("servu_path"), m_txtServuPath->text())
        || !saveSetting(QStringLiteral("ftp_directory"), m_txtFTPdirectory->text()))
        return;

    m_ctx.logStatus(QStringLiteral("If the dll does not exist make it"));
    const QString plugin = m_txtServuPath->text() + QStringLiteral("Gatewick.dll");
    // An existing plug-in may be loaded by the running server: it is never written over.
    if (!QFileInfo::exists(plugin)) {
        const auto written = embedded::writeEmbeddedFile(embedded::AuthPlugin, plugin);
        if (!written) {
            m_ctx.prompter.tell(appinfo::Title, written.error, prompt::Icon::Exclamation);
            return;
        }
    }

    const QString iniPath = findIniPath();
    if (iniPath.isEmpty() || !QFileInfo(iniPath).isFile()) {
        const auto answer = m_ctx.prompter.ask(appinfo::Title,
                                               QStringLiteral("The Serv-u.ini file was not found in the path specified.\r\n\r\n"
                                                              "Would you like to try a different program path?"),
                                               prompt::Icon::Exclamation, prompt::Buttons::YesNoCancel);
        if (answer == prompt::Answer::Yes) {
            cmdBrowseProgramPath_Click();
            cmdCommitChanges_Click();
        }
        return;
    }
    if (!registerPlugin(iniPath))
        return;

    m_ctx.logStatus(QStringLiteral("save connection string"));
    if (!m_ctx.settings.saveConnectionString(m_txtConnectionString->toPlainText())) {
        tellSettingsNotSaved();
        return;
    }

    Session session(m_ctx);
    if (!session.open(Session::Feedback::Quiet)) {
        m_ctx.prompter.tell(appinfo::Title,
                            QStringLiteral("The database could not be opened please recheck your connectionstring or use the database wizard."),
                            prompt::Icon::Exclamation);
        return;
    }
    if (!applyDateForm(session))
        return;
    session.close();
    m_tmrEnableCommit->stop();
    m_ctx.logStatus(QStringLiteral("warn about restarting server"));
    m_ctx.prompter.tell(appinfo::Title, QStringLiteral("You must restart the Serv-U server before changes will take effect."),
                        prompt::Icon::Information);
    m_ctx.logStatus(QStringLiteral("re-pop main"));
    emit settingsCommitted();
    hide();
    m_tag.clear();
}

bool ConfigureWindow::saveSetting(const QString& name, const QString& value)
{
    if (m_ctx.settings.saveRegSetting(name, value))
        return true;
    tellSettingsNotSaved();
    return false;
}

void ConfigureWindow::tellSettingsNotSaved()
{
    m_ctx.prompter.tell(appinfo::Title,
                        QStringLiteral("The settings could not be saved in %1.\r\nPlease check that the file and its folder can be written and try again.")
                            .arg(m_ctx.settings.filePath()),
                        prompt::Icon::Exclamation);
}

bool ConfigureWindow::applyDateForm(Session& session)
{
    const DateForm chosen(m_cboDateFormat->currentData().toString());
    if (chosen == m_ctx.dates)
        return true;
    m_ctx.logStatus(QStringLiteral("rewrite the account dates in the form ") + chosen.pattern());
    // The dates and the form change together: a refused save or commit leaves both as they were.
    Transaction transaction(session);
    if (!transaction.isUsable() || !rewriteStoredDates(session, m_ctx.dates, chosen, m_ctx.clock.now().date()))
        return false;
    if (!saveSetting(DateForm::SettingName, chosen.pattern()))
        return false;
    if (!transaction.commit()) {
        m_ctx.settings.saveRegSetting(DateForm::SettingName, m_ctx.dates.pattern());
        return false;
    }
    m_ctx.dates = chosen;
    return true;
}

void ConfigureWindow::checkLabelStatus()
{
    Session session(m_ctx);
    if (!session.open(Session::Feedback::Quiet))
        return;
    Rows rows = session.select(QStringLiteral("select ip from blocked_ips"));
    QString last;
    while (rows.next())
        last = rows.text(QStringLiteral("ip"));
    m_lblRules->setText(last.isEmpty() ? QStringLiteral("No IP rules are set. Server is available to everyone")
                                       : QStringLiteral("Access rules exist. Click Modify IP Rules button for more information."));
}

void ConfigureWindow::cmdCancel_Click()
{
    m_tmrEnableCommit->stop();
    if (m_tag == RepairTag) {
        endAfterConnectionFailure(m_ctx);
        return;
    }
    hide();
}

void ConfigureWindow::reject()
{
    // Escape and the close box mean Cancel.
    cmdCancel_Click();
}

bool ConfigureWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_txtServuPath && event->type() == QEvent::FocusOut)
        txtServuPath_LostFocus();
    return QDialog::eventFilter(watched, event);
}
