#include "server/DatabaseWizardWindow.h"

#include "db/ConnectionString.h"
#include "platform/Named.h"
#include "server/DataLinkDialog.h"
#include "db/Database.h"
#include "db/Engine.h"
#include "db/Schema.h"
#include "db/SqlText.h"
#include "platform/Clock.h"
#include "platform/Prompter.h"
#include "platform/SettingsStore.h"
#include "services/AppContext.h"
#include "services/EmbeddedFiles.h"
#include "services/StatusLog.h"

#include <QApplication>
#include <QButtonGroup>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFrame>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <thread>

// One thread that owns every connection of a creation: a Qt SQL connection belongs
// to the thread that opened it, and an open that hangs must not freeze the window.
class WizardConnectionThread
{
public:
    using Step = std::function<bool(std::unique_ptr<Database>& connection, QString& error)>;
    struct Outcome
    {
        bool ok = false;
        QString error;
    };

    WizardConnectionThread()
        : m_thread([this] { run(); })
    {
    }

    ~WizardConnectionThread()
    {
        stop();
        m_thread.join();
    }

    WizardConnectionThread(const WizardConnectionThread&) = delete;
    WizardConnectionThread& operator=(const WizardConnectionThread&) = delete;

    std::future<Outcome> post(Step step)
    {
        Job job{std::move(step), {}};
        std::future<Outcome> done = job.done.get_future();
        {
            const std::lock_guard lock(m_mutex);
            m_jobs.push_back(std::move(job));
        }
        m_wake.notify_one();
        return done;
    }

    // Lets the thread end once the step it runs returns; queued steps are dropped.
    void stop()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_stopping = true;
        }
        m_wake.notify_one();
    }

    bool hasEnded() const { return m_ended.load(); }

private:
    struct Job
    {
        Step step;
        std::promise<Outcome> done;
    };

    void run()
    {
        std::unique_ptr<Database> connection;
        while (true) {
            Job job;
            {
                std::unique_lock lock(m_mutex);
                m_wake.wait(lock, [this] { return m_stopping || !m_jobs.empty(); });
                if (m_stopping)
                    break;
                job = std::move(m_jobs.front());
                m_jobs.pop_front();
            }
            Outcome outcome;
            outcome.ok = job.step(connection, outcome.error);
            job.done.set_value(outcome);
        }
        // Closed and removed on the thread that opened it.
        connection.reset();
        m_ended = true;
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Job> m_jobs;
    bool m_stopping = false;
    std::atomic<bool> m_ended{false};
    // Last, so that everything the thread uses exists before it starts.
    std::thread m_thread;
};

namespace {

const QString Caption = QStringLiteral("Vantrel");
const QString CrLf = QStringLiteral("\r\n");
const QString CommandsFailedCaption = QStringLiteral("Error: Commands Failed");
const QString SqlServerPrefix =
    QStringLiteral("Provider=SQLOLEDB.1;Integrated Security=SSPI;Persist Security Info=False;Data Source=");

// The file database the wizard writes from the template: an Access file where Jet
// exists, and elsewhere what the template is, an SQLite file, named as one.
struct FileDatabase
{
    QString option;      // the caption of optAccess
    QString subheading;  // page 2
    QString logLine;
    QString pickerTitle;
    QString filterName;
    QString pattern;
    QString initialName;
    QStringList suffixes; // the endings of the names the template writer takes
};

const FileDatabase& fileDatabase()
{
    static const FileDatabase access{QStringLiteral("Access"),
                                     QStringLiteral("A new Access database file."),
                                     QStringLiteral("create access database"),
                                     QStringLiteral("Save Access Database"),
                                     QStringLiteral("Access DB (*.mdb)"),
                                     QStringLiteral("*.mdb"),
                                     QStringLiteral("servu.mdb"),
                                     {QStringLiteral(".mdb")}};
    static const FileDatabase sqlite{QStringLiteral("SQLite"),
                                     QStringLiteral("A new SQLite database file."),
                                     QStringLiteral("create sqlite database"),
                                     QStringLiteral("Save SQLite Database"),
                                     QStringLiteral("SQLite database (*.db *.sqlite)"),
                                     QStringLiteral("*.db *.sqlite"),
                                     QStringLiteral("servu.db"),
                                     {QStringLiteral(".db"), QStringLiteral(".sqlite")}};
    return HasJet ? access : sqlite;
}

bool hasFileDatabaseName(const QString& path)
{
    const QString name = path.trimmed().toLower();
    return std::any_of(fileDatabase().suffixes.cbegin(), fileDatabase().suffixes.cend(),
                       [&name](const QString& suffix) { return name.endsWith(suffix); });
}

// The wait cursor of a creation, restored on every way out of it.
class BusyCursor
{
public:
    BusyCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~BusyCursor() { restore(); }
    BusyCursor(const BusyCursor&) = delete;
    BusyCursor& operator=(const BusyCursor&) = delete;

    void restore()
    {
        if (m_on)
            QApplication::restoreOverrideCursor();
        m_on = false;
    }

private:
    bool m_on = true;
};

// Runs the given action when the scope ends, however it ends.
template <typename F> class AtScopeEnd
{
public:
    explicit AtScopeEnd(F action) : m_action(std::move(action)) {}
    ~AtScopeEnd() { m_action(); }
    AtScopeEnd(const AtScopeEnd&) = delete;
    AtScopeEnd& operator=(const AtScopeEnd&) = delete;

private:
    F m_action;
};

// "host", "host:port" and "[v6 address]:port"; a bare v6 address has no port.
std::pair<QString, QString> splitHostPort(const QString& server)
{
    if (server.startsWith(QLatin1Char('['))) {
        const int close = static_cast<int>(server.indexOf(QStringLiteral("]:")));
        if (close > 0)
            return {server.mid(1, close - 1), server.mid(close + 2)};
        return {server, {}};
    }
    if (server.count(QLatin1Char(':')) == 1) {
        const int colon = static_cast<int>(server.indexOf(QLatin1Char(':')));
        return {server.left(colon), server.mid(colon + 1)};
    }
    return {server, {}};
}

QString postgreSqlIdentifier(QString name)
{
    return QLatin1Char('"') + name.replace(QLatin1Char('"'), QStringLiteral("\"\"")) + QLatin1Char('"');
}

WizardConnectionThread::Step openStep(const QString& connectionString)
{
    return [connectionString](std::unique_ptr<Database>& connection, QString& error) {
        connection.reset();
        auto opened = std::make_unique<Database>(connectionString);
        if (!opened->open()) {
            error = opened->lastError();
            return false;
        }
        connection = std::move(opened);
        return true;
    };
}

WizardConnectionThread::Step executeStep(const QString& sql)
{
    return [sql](std::unique_ptr<Database>& connection, QString& error) {
        if (!connection) {
            error = QStringLiteral("The database is not open.");
            return false;
        }
        if (connection->execute(sql))
            return true;
        error = connection->lastError();
        return false;
    };
}

} // namespace

const QStringList& DatabaseWizardWindow::defaultDatabaseNames()
{
    static const QStringList names{QStringLiteral("Quillmere"), QStringLiteral("Vantrel"), QStringLiteral("VantrelDB"),
                                   QStringLiteral("Feldon")};
    return names;
}

DatabaseWizardWindow::DatabaseWizardWindow(AppContext& context, QWidget* parent)
    : QDialog(parent)
    , m_ctx(context)
{
    setObjectName(QStringLiteral("frmDatabaseWizard1"));
    setWindowTitle(QStringLiteral("Database Wizard"));
    setupControls();
    setupLayout();
    setupTabOrder();
    showFormFace(1);
}

DatabaseWizardWindow::~DatabaseWizardWindow() = default;

void DatabaseWizardWindow::setupControls()
{
    m_lblHeading = named(new QLabel(this), "lblHeading");
    QFont heading = m_lblHeading->font();
    heading.setBold(true);
    heading.setPointSizeF(heading.pointSizeF() * 1.25);
    m_lblHeading->setFont(heading);
    m_lblSubheading = named(new QLabel(this), "lblSubheading");
    m_lblSubheading->setWordWrap(true);

    // Created first among the focusable controls, so that it leads the tab order.
    m_optAccess = named(new QRadioButton(fileDatabase().option, this), "optAccess");
    m_optSQL = named(new QRadioButton(QStringLiteral("Microsoft SQL Server"), this), "optSQL");
    m_optPostgreSQL = named(new QRadioButton(QStringLiteral("PostgreSQL"), this), "optPostgreSQL");
    m_types = new QButtonGroup(this);
    for (QRadioButton* option : {m_optAccess, m_optSQL, m_optPostgreSQL})
        m_types->addButton(option);
    m_optAccess->setChecked(true);

    const auto pageLabel = [this](const char* objectName, const QString& text) {
        auto* label = named(new QLabel(text, this), objectName);
        label->setWordWrap(true);
        return label;
    };
    m_lblPage1 = pageLabel(
        "lblPage1", QStringLiteral("This wizard will guide you through the process of creating and populating a database."));
    m_lblPage2 = pageLabel("lblPage2", QStringLiteral("Press next to create your database"));
    m_lblPage3 = pageLabel("lblPage3", QStringLiteral("The steps the wizard took:"));
    m_lblPage4 = pageLabel("lblPage4", QStringLiteral("Please select the type of database you have."));

    m_txtLog = named(new QPlainTextEdit(this), "txtLog");
    m_txtLog->setReadOnly(true);
    m_txtLog->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_txtLog->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_txtLog->setPlainText(StatusLog::Header + QLatin1Char('\n'));

    const auto button = [this](const char* objectName, const QString& caption) {
        auto* result = named(new QPushButton(caption, this), objectName);
        result->setMinimumWidth(88);
        return result;
    };
    m_cmdPage1Next = button("cmdPage1Next", QStringLiteral("Next"));
    m_cmdPage1Cancel = button("cmdPage1Cancel", QStringLiteral("Cancel"));
    m_cmdPage2Next = button("cmdPage2Next", QStringLiteral("Next"));
    m_cmdPage2Cancel = button("cmdPage2Cancel", QStringLiteral("Cancel"));
    m_cmdFinish = button("cmdFinish", QStringLiteral("Finish"));
    m_cmdPage4Next = button("cmdPage4Next", QStringLiteral("Next"));
    m_cmdPage4Cancel = button("cmdPage4Cancel", QStringLiteral("Cancel"));

    connect(m_cmdPage1Next, &QPushButton::clicked, this, &DatabaseWizardWindow::cmdPage1Next_Click);
    connect(m_cmdPage1Cancel, &QPushButton::clicked, this, &DatabaseWizardWindow::cmdPage1Cancel_Click);
    connect(m_cmdPage2Next, &QPushButton::clicked, this, &DatabaseWizardWindow::cmdPage2Next_Click);
    connect(m_cmdPage2Cancel, &QPushButton::clicked, this, &DatabaseWizardWindow::cmdPage2Cancel_Click);
    connect(m_cmdFinish, &QPushButton::clicked, this, &DatabaseWizardWindow::cmdFinish_Click);
    connect(m_cmdPage4Next, &QPushButton::clicked, this, &DatabaseWizardWindow::cmdPage4Next_Click);
    connect(m_cmdPage4Cancel, &QPushButton::clicked, this, &DatabaseWizardWindow::cmdPage4Cancel_Click);
}

void DatabaseWizardWindow::setupLayout()
{
    // A white band across the top names the page, as wizards do.
    auto* banner = named(new QFrame(this), "fraBanner");
    banner->setAutoFillBackground(true);
    QPalette bannerColours = banner->palette();
    bannerColours.setColor(QPalette::Window, bannerColours.color(QPalette::Base));
    banner->setPalette(bannerColours);
    auto* bannerLayout = new QVBoxLayout(banner);
    bannerLayout->setContentsMargins(18, 12, 18, 12);
    bannerLayout->setSpacing(3);
    bannerLayout->addWidget(m_lblHeading);
    bannerLayout->addWidget(m_lblSubheading);
    auto* bannerLine = named(new QFrame(this), "linBanner");
    bannerLine->setFrameShape(QFrame::HLine);
    bannerLine->setFrameShadow(QFrame::Sunken);

    auto* typeFrame = named(new QGroupBox(QStringLiteral("Database type"), this), "fraType");
    auto* typeLayout = new QVBoxLayout(typeFrame);
    typeLayout->setSpacing(8);
    for (QRadioButton* option : {m_optAccess, m_optSQL, m_optPostgreSQL})
        typeLayout->addWidget(option);
    m_fraType = typeFrame;

    auto* body = new QVBoxLayout;
    body->setContentsMargins(18, 14, 18, 6);
    body->setSpacing(12);
    for (QLabel* label : {m_lblPage1, m_lblPage2, m_lblPage3, m_lblPage4})
        body->addWidget(label);
    body->addWidget(m_fraType);
    body->addWidget(m_txtLog, 1);
    body->addStretch(0);

    auto* buttonLine = named(new QFrame(this), "linButtons");
    buttonLine->setFrameShape(QFrame::HLine);
    buttonLine->setFrameShadow(QFrame::Sunken);
    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(18, 6, 18, 14);
    buttons->addStretch(1);
    for (QPushButton* each : {m_cmdPage1Next, m_cmdPage1Cancel, m_cmdPage2Next, m_cmdPage2Cancel, m_cmdFinish,
                              m_cmdPage4Next, m_cmdPage4Cancel})
        buttons->addWidget(each);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(banner);
    layout->addWidget(bannerLine);
    layout->addLayout(body, 1);
    layout->addWidget(buttonLine);
    layout->addLayout(buttons);

    setFixedSize(520, 380);
}

void DatabaseWizardWindow::setupTabOrder()
{
    QWidget::setTabOrder(m_optAccess, m_optSQL);
    QWidget::setTabOrder(m_optSQL, m_optPostgreSQL);
    QWidget::setTabOrder(m_optPostgreSQL, m_txtLog);
    QWidget* previous = m_txtLog;
    for (QPushButton* each : {m_cmdPage1Next, m_cmdPage1Cancel, m_cmdPage2Next, m_cmdPage2Cancel, m_cmdFinish,
                              m_cmdPage4Next, m_cmdPage4Cancel}) {
        QWidget::setTabOrder(previous, each);
        previous = each;
    }
}

void DatabaseWizardWindow::showFormFace(int page)
{
    m_ctx.logStatus(QStringLiteral("Hide All Other Pages"));
    const std::vector<QWidget*> everyPage{m_lblPage1,     m_lblPage2,       m_lblPage3,     m_lblPage4,
                                          m_fraType,      m_txtLog,         m_cmdPage1Next, m_cmdPage1Cancel,
                                          m_cmdPage2Next, m_cmdPage2Cancel, m_cmdFinish,    m_cmdPage4Next,
                                          m_cmdPage4Cancel};
    for (QWidget* control : everyPage)
        control->hide();

    std::vector<QWidget*> shown;
    QPushButton* defaultButton = nullptr;
    switch (page) {
    case 2:
        shown = {m_lblPage2, m_cmdPage2Next, m_cmdPage2Cancel};
        defaultButton = m_cmdPage2Next;
        m_lblHeading->setText(QStringLiteral("Ready to Create"));
        m_lblSubheading->setText(m_optSQL->isChecked()         ? QStringLiteral("A new Microsoft SQL Server database.")
                                 : m_optPostgreSQL->isChecked() ? QStringLiteral("A new PostgreSQL database.")
                                                                : fileDatabase().subheading);
        break;
    case 3:
        shown = {m_lblPage3, m_txtLog, m_cmdFinish};
        defaultButton = m_cmdFinish;
        m_lblHeading->setText(QStringLiteral("Database Created"));
        m_lblSubheading->setText(QStringLiteral("The program now uses the new database."));
        break;
    case 4:
        shown = {m_lblPage4, m_fraType, m_cmdPage4Next, m_cmdPage4Cancel};
        defaultButton = m_cmdPage4Next;
        m_lblHeading->setText(QStringLiteral("Use an Existing Database"));
        m_lblSubheading->setText(QStringLiteral("Connect the program to a database that holds the accounts."));
        break;
    default:
        page = 1;
        shown = {m_lblPage1, m_fraType, m_cmdPage1Next, m_cmdPage1Cancel};
        defaultButton = m_cmdPage1Next;
        m_lblHeading->setText(QStringLiteral("Create a New Database"));
        m_lblSubheading->setText(QStringLiteral("Choose the kind of database that will hold the FTP accounts."));
        break;
    }
    for (QWidget* control : shown)
        control->show();
    for (QPushButton* each : {m_cmdPage1Next, m_cmdPage2Next, m_cmdFinish, m_cmdPage4Next})
        each->setDefault(each == defaultButton);
    m_page = page;
}

QString DatabaseWizardWindow::logText() const
{
    return m_txtLog->toPlainText();
}

DatabaseWizardWindow::Kind DatabaseWizardWindow::chosenKind() const
{
    if (m_optSQL->isChecked())
        return Kind::SqlServer;
    if (m_optPostgreSQL->isChecked())
        return Kind::PostgreSql;
    return Kind::Access;
}

void DatabaseWizardWindow::wizardLog(const QString& text)
{
    QTextCursor end = m_txtLog->textCursor();
    end.movePosition(QTextCursor::End);
    end.insertText(StatusLog::formatLine(m_ctx.dates, m_ctx.clock.now(), text) + QLatin1Char('\n'));
    m_txtLog->setTextCursor(end);
    m_txtLog->verticalScrollBar()->setValue(m_txtLog->verticalScrollBar()->maximum());
}

void DatabaseWizardWindow::endWizard()
{
    showFormFace(1);
    hide();
}

void DatabaseWizardWindow::cmdPage1Next_Click()
{
    if (m_busy)
        return;
    showFormFace(2);
}

void DatabaseWizardWindow::cmdPage2Next_Click()
{
    if (m_busy)
        return;
    const Kind kind = chosenKind();
    if (kind == Kind::Access)
        createAccessDatabase();
    else
        createServerDatabase(kind);
}

void DatabaseWizardWindow::cmdPage4Next_Click()
{
    if (m_busy)
        return;
    const Kind kind = chosenKind();
    QString connection;
    if (kind == Kind::Access) {
        const QString path = chooseAccessFile();
        if (!path.isEmpty())
            connection = fileConnectionString(path);
    } else {
        wizardLog(QStringLiteral("get connnection string"));
        if (!m_dataLink)
            m_dataLink = new DataLinkDialog(m_ctx, this);
        m_dataLink->setKind(kind == Kind::SqlServer ? DataLinkDialog::Kind::SqlServer : DataLinkDialog::Kind::PostgreSql);
        connection = m_dataLink->promptNew();
    }
    if (connection.trimmed().isEmpty()) {
        m_ctx.prompter.tell(QStringLiteral("Error: No Connection string"),
                            QStringLiteral("There was an error creating your connection string.") + CrLf
                                + QStringLiteral("Please try again."),
                            prompt::Icon::Exclamation);
        return;
    }
    emit connectionStringChosen(connection);
    if (!m_ctx.settings.saveConnectionString(connection))
        m_ctx.logStatus(QStringLiteral("the connection string could not be saved"));
    endWizard();
}

void DatabaseWizardWindow::cmdFinish_Click()
{
    if (!m_busy)
        endWizard();
}

void DatabaseWizardWindow::cmdPage1Cancel_Click()
{
    if (!m_busy)
        endWizard();
}

void DatabaseWizardWindow::cmdPage2Cancel_Click()
{
    if (!m_busy)
        endWizard();
}

void DatabaseWizardWindow::cmdPage4Cancel_Click()
{
    if (!m_busy)
        endWizard();
}

void DatabaseWizardWindow::reject()
{
    // Escape and the close box mean Cancel, except while a creation waits for its server.
    if (!m_busy)
        endWizard();
}

QString DatabaseWizardWindow::chooseAccessFile()
{
    prompt::FileChoice choice;
    choice.mode = prompt::FileChoice::Mode::Save;
    choice.title = fileDatabase().pickerTitle;
    choice.filterName = fileDatabase().filterName;
    choice.pattern = fileDatabase().pattern;
    choice.initialName = fileDatabase().initialName;
    choice.initialFolder = m_ctx.programDir;
    // The wizard asks about an existing file itself, after checking the name.
    choice.confirmOverwrite = false;
    QString path = m_ctx.prompter.chooseFile(choice);
    path.remove(QChar(0));
    return path.trimmed();
}

bool DatabaseWizardWindow::writeTemplateDatabase(const QString& path)
{
    const QString file = path.trimmed();
    if (file.isEmpty() || !hasFileDatabaseName(file))
        return false;
    if (!embedded::writeEmbeddedFile(embedded::TemplateDatabase, file)) {
        m_ctx.logStatus(QStringLiteral("error"));
        return false;
    }
    return true;
}

QString DatabaseWizardWindow::fileConnectionString(const QString& path)
{
    if (!HasJet)
        return QStringLiteral("Provider=SQLite;Data Source=") + DataLinkDialog::quotedValue(path.trimmed());
    return QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=") + DataLinkDialog::quotedValue(path.trimmed())
        + QStringLiteral(";Persist Security Info=False");
}

void DatabaseWizardWindow::createAccessDatabase()
{
    wizardLog(fileDatabase().logLine);
    const QString path = chooseAccessFile();
    if (hasFileDatabaseName(path) && QFileInfo::exists(path)) {
        const prompt::Answer replace = m_ctx.prompter.ask(
            Caption, QStringLiteral("The file \"%1\" already exists.").arg(path) + CrLf + QStringLiteral("Do you want to replace it?"),
            prompt::Icon::Question, prompt::Buttons::YesNo, prompt::Answer::No);
        if (replace != prompt::Answer::Yes)
            return;
    }
    if (!writeTemplateDatabase(path)) {
        m_ctx.prompter.tell(CommandsFailedCaption,
                            QStringLiteral("There was an error creating database structure.") + CrLf
                                + QStringLiteral("Please check and try again."),
                            prompt::Icon::Critical);
        return;
    }
    saveAndFinish(fileConnectionString(path));
}

void DatabaseWizardWindow::createServerDatabase(Kind kind)
{
    wizardLog(QStringLiteral("get connnection string"));
    QString server;
    QString name;
    if (!askServerAndName(kind, server, name))
        return;
    QString opening;
    if (kind == Kind::SqlServer) {
        opening = sqlServerLogOn(server);
        if (opening.isEmpty())
            return;
    } else {
        const auto [host, port] = splitHostPort(server);
        opening = QStringLiteral("Provider=PostgreSQL;Data Source=") + DataLinkDialog::quotedValue(host);
        if (!port.isEmpty())
            opening += QStringLiteral(";Port=") + DataLinkDialog::quotedValue(port);
        opening = ConnectionString::withValue(opening, QStringLiteral("Initial Catalog"), QStringLiteral("postgres"));
    }
    QString connection;
    if (runCreation(kind, opening, name, connection))
        saveAndFinish(connection);
}

QString DatabaseWizardWindow::sqlServerLogOn(const QString& server)
{
    if (HasIntegratedSecurity)
        return SqlServerPrefix + DataLinkDialog::quotedValue(server);
    // Without integrated security every open would fail; the connection dialog asks
    // for the user name and password the server knows.
    if (!m_dataLink)
        m_dataLink = new DataLinkDialog(m_ctx, this);
    return m_dataLink->promptLogOn(server);
}

bool DatabaseWizardWindow::askServerAndName(Kind kind, QString& server, QString& name)
{
    const QStringList& names = defaultDatabaseNames();
    const QString proposal = names.at(static_cast<int>(m_ctx.random.bounded(static_cast<quint32>(names.size()))));
    const QString serverPrompt = kind == Kind::SqlServer
        ? QStringLiteral("What is the name of the SQL Server") + CrLf + QStringLiteral("you would like to use.") + CrLf + CrLf
            + QStringLiteral("The SQL Server must be on your network and have proper user rights.")
        : QStringLiteral("What is the name of the PostgreSQL server") + CrLf
            + QStringLiteral("you would like to use (host or host:port).") + CrLf + CrLf
            + QStringLiteral("The PostgreSQL server must be on your network and have proper user rights.");
    server = m_ctx.prompter
                 .input({Caption, serverPrompt,
                         kind == Kind::SqlServer ? QStringLiteral("LOCALHOST") : QStringLiteral("localhost")})
                 .trimmed();
    while (true) {
        name = m_ctx.prompter.input({Caption,
                                     QStringLiteral("What would you like to call the database?") + CrLf
                                         + QStringLiteral("The name of the database must be unique to the server and "
                                                          "not have spaces or dashes."),
                                     proposal});
        if (name.isEmpty() || server.isEmpty())
            return false;
        if (name.contains(QLatin1Char(' ')) || name.contains(QLatin1Char('-'))) {
            const prompt::Answer retype = m_ctx.prompter.ask(
                Caption,
                QStringLiteral("The database name you have selected has spaces and/or dashes.") + CrLf + CrLf
                    + QStringLiteral("Would you like to retype the database name?"),
                prompt::Icon::Question, prompt::Buttons::YesNo);
            if (retype == prompt::Answer::Yes)
                continue;
            QString cleaned = name;
            cleaned.remove(QLatin1Char(' ')).remove(QLatin1Char('-'));
            // Nothing is left to propose; the administrator has to type a name.
            if (cleaned.isEmpty())
                continue;
            const prompt::Answer use = m_ctx.prompter.ask(
                Caption,
                QStringLiteral("Since you decided to not retype your database name without dashes or ") + CrLf
                    + QStringLiteral("spaces we have done it for you.") + CrLf + CrLf
                    + QStringLiteral("The database will be called \"") + cleaned + QLatin1Char('"') + CrLf + CrLf
                    + QStringLiteral("Would you like to use this database name?"),
                prompt::Icon::Information, prompt::Buttons::YesNoCancel);
            if (use != prompt::Answer::Yes)
                continue;
            name = cleaned;
        }
        // The name goes into "create database" bare, so it must be one no server reads as more than a name.
        if (isBareDatabaseName(name))
            return true;
        m_ctx.prompter.tell(Caption,
                            QStringLiteral("The database name \"%1\" cannot be used.").arg(name) + CrLf
                                + QStringLiteral("A database name may hold only the letters A to Z, the digits 0 to 9 and the "
                                                 "underscore, must not begin with a digit, and may be at most 63 characters long."),
                            prompt::Icon::Exclamation);
    }
}

bool DatabaseWizardWindow::runCreation(Kind kind, const QString& opening, const QString& name, QString& connection)
{
    // Abandoned threads that have given up by now are joined at once.
    std::erase_if(m_abandonedThreads, [](const auto& thread) { return thread->hasEnded(); });
    BusyCursor cursor;
    setBusy(true);
    const AtScopeEnd done([this] {
        m_connectionThread.reset();
        setBusy(false);
    });

    QString catalog;
    QString createStatement;
    QStringList tables;
    if (kind == Kind::SqlServer) {
        catalog = name;
        createStatement = QStringLiteral("create database ") + name;
        tables = schema::sqlServerCreateStatements();
    } else {
        // PostgreSQL folds unquoted names to lower case; the wizard lower-cases the
        // name itself, so that the statement and the connection string agree.
        catalog = name.toLower();
        createStatement = QStringLiteral("CREATE DATABASE ") + postgreSqlIdentifier(catalog);
        tables = schema::postgreSqlCreateStatements();
    }

    wizardLog(QStringLiteral("create database"));
    wizardLog(QStringLiteral("Wait for database to be opened"));
    const std::optional<StepResult> opened = runStep(openStep(opening));
    if (!opened || !opened->ok) {
        m_ctx.logStatus(opened ? opened->error : QStringLiteral("no answer from the database server"));
        cursor.restore();
        m_ctx.prompter.tell(QStringLiteral("Error: Database unreachable"),
                            QStringLiteral("There was an error while connecting to your database. ") + CrLf
                                + QStringLiteral("Please Try again"),
                            prompt::Icon::Exclamation);
        return false;
    }

    // The first failure stops the creation, so that an existing database of the
    // name is never filled with tables; what was created stays.
    const auto succeeded = [this](const std::optional<StepResult>& result) {
        if (result && result->ok)
            return true;
        m_ctx.logStatus(result ? result->error : QStringLiteral("no answer from the database server"));
        return false;
    };
    bool ok = succeeded(runStep(executeStep(createStatement)));
    if (ok) {
        wizardLog(QStringLiteral("modify connection string"));
        connection = ConnectionString::withValue(opening, QStringLiteral("Initial Catalog"),
                                                 DataLinkDialog::quotedValue(catalog));
        ok = succeeded(runStep(openStep(connection)));
    }
    if (ok) {
        wizardLog(QStringLiteral("create tables"));
        for (const QString& statement : tables) {
            ok = succeeded(runStep(executeStep(statement)));
            if (!ok)
                break;
        }
    }
    if (!ok) {
        cursor.restore();
        m_ctx.prompter.tell(CommandsFailedCaption,
                            QStringLiteral("There was an error creating database structure.") + CrLf
                                + QStringLiteral("Please check your connection string and try again."),
                            prompt::Icon::Critical);
        return false;
    }
    return true;
}

void DatabaseWizardWindow::saveAndFinish(const QString& connection)
{
    wizardLog(QStringLiteral("save the connection string"));
    if (!m_ctx.settings.saveConnectionString(connection)) {
        m_ctx.prompter.tell(CommandsFailedCaption,
                            QStringLiteral("There was an error saving the database information.") + CrLf
                                + QStringLiteral("Please check and try again."),
                            prompt::Icon::Critical);
        return;
    }
    emit connectionStringChosen(connection);
    wizardLog(QStringLiteral("Finish database creation"));
    showFormFace(3);
}

std::optional<DatabaseWizardWindow::StepResult> DatabaseWizardWindow::runStep(Step step)
{
    if (!m_connectionThread)
        m_connectionThread = std::make_unique<WizardConnectionThread>();
    std::future<WizardConnectionThread::Outcome> done = m_connectionThread->post(std::move(step));
    const auto deadline = std::chrono::steady_clock::now() + m_connectTimeout;
    while (done.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready) {
        if (std::chrono::steady_clock::now() >= deadline) {
            // The thread may wait for its server a while yet; it ends on its own.
            m_connectionThread->stop();
            m_abandonedThreads.push_back(std::move(m_connectionThread));
            return std::nullopt;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        done.wait_for(std::chrono::milliseconds(5));
    }
    const WizardConnectionThread::Outcome outcome = done.get();
    return StepResult{outcome.ok, outcome.error};
}

void DatabaseWizardWindow::setBusy(bool busy)
{
    m_busy = busy;
    for (QWidget* control : std::initializer_list<QWidget*>{m_optAccess, m_optSQL, m_optPostgreSQL, m_cmdPage1Next,
                                                            m_cmdPage1Cancel, m_cmdPage2Next, m_cmdPage2Cancel,
                                                            m_cmdFinish, m_cmdPage4Next, m_cmdPage4Cancel})
        control->setEnabled(!busy);
}
