#include "server/DataLinkDialog.h"

#include "db/Database.h"
#include "db/Engine.h"
#include "platform/Named.h"
#include "platform/Prompter.h"
#include "services/AppContext.h"

#include <QApplication>
#include <QButtonGroup>
#include <QComboBox>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include <algorithm>

namespace {

const QString Caption = QStringLiteral("Vantrel");
const QString CrLf = QStringLiteral("\r\n");

// The pieces of one connection string, each ending in ";".
QString piece(const QString& key, const QString& value)
{
    return key + QLatin1Char('=') + DataLinkDialog::quotedValue(value) + QLatin1Char(';');
}

} // namespace

DataLinkDialog::DataLinkDialog(AppContext& context, QWidget* parent)
    : QDialog(parent)
    , m_ctx(context)
{
    setObjectName(QStringLiteral("frmDataLink"));
    setWindowTitle(QStringLiteral("Data Link Properties"));
    setupControls();
    setupLayout();
    setupTabOrder();
    enableFields();
}

void DataLinkDialog::setupControls()
{
    m_lblProvider = named(new QLabel(QStringLiteral("P&rovider:"), this), "lblProvider");
    m_cboProvider = named(new QComboBox(this), "cboProvider");
    m_cboProvider->addItems({QStringLiteral("Microsoft SQL Server"), QStringLiteral("PostgreSQL"),
                             QStringLiteral("SQLite database file"), QStringLiteral("Access database file")});
    m_lblProvider->setBuddy(m_cboProvider);

    m_fraServer = named(new QGroupBox(QStringLiteral("Server"), this), "fraServer");
    m_lblServer = named(new QLabel(QStringLiteral("&Server name:"), this), "lblServer");
    m_txtServer = named(new QLineEdit(this), "txtServer");
    m_lblServer->setBuddy(m_txtServer);
    m_lblPort = named(new QLabel(QStringLiteral("P&ort:"), this), "lblPort");
    m_txtPort = named(new QLineEdit(this), "txtPort");
    m_txtPort->setValidator(new QIntValidator(1, 65535, m_txtPort));
    m_txtPort->setMaximumWidth(80);
    m_lblPort->setBuddy(m_txtPort);

    m_optIntegrated = named(new QRadioButton(QStringLiteral("Use &integrated security"), this), "optIntegrated");
    m_optUserPassword =
        named(new QRadioButton(QStringLiteral("Use a &user name and password:"), this), "optUserPassword");
    m_logOn = new QButtonGroup(this);
    m_logOn->addButton(m_optIntegrated);
    m_logOn->addButton(m_optUserPassword);
    m_optIntegrated->setChecked(true);
    m_lblUserName = named(new QLabel(QStringLiteral("User &name:"), this), "lblUserName");
    m_txtUserName = named(new QLineEdit(this), "txtUserName");
    m_lblUserName->setBuddy(m_txtUserName);
    m_lblPassword = named(new QLabel(QStringLiteral("&Password:"), this), "lblPassword");
    m_txtPassword = named(new QLineEdit(this), "txtPassword");
    m_txtPassword->setEchoMode(QLineEdit::Password);
    m_lblPassword->setBuddy(m_txtPassword);
    m_lblDatabase = named(new QLabel(QStringLiteral("D&atabase:"), this), "lblDatabase");
    m_txtDatabase = named(new QLineEdit(this), "txtDatabase");
    m_lblDatabase->setBuddy(m_txtDatabase);

    m_fraFile = named(new QGroupBox(QStringLiteral("Database file"), this), "fraFile");
    m_lblFile = named(new QLabel(QStringLiteral("&File:"), this), "lblFile");
    m_txtFile = named(new QLineEdit(this), "txtFile");
    m_lblFile->setBuddy(m_txtFile);
    m_cmdBrowse = named(new QPushButton(QStringLiteral("..."), this), "cmdBrowse");
    m_cmdBrowse->setFixedWidth(36);

    m_cmdTest = named(new QPushButton(QStringLiteral("&Test Connection"), this), "cmdTest");
    m_cmdOK = named(new QPushButton(QStringLiteral("OK"), this), "cmdOK");
    m_cmdOK->setDefault(true);
    m_cmdCancel = named(new QPushButton(QStringLiteral("Cancel"), this), "cmdCancel");
    for (QPushButton* button : {m_cmdOK, m_cmdCancel})
        button->setMinimumWidth(88);

    connect(m_cboProvider, &QComboBox::currentIndexChanged, this, &DataLinkDialog::cboProvider_Click);
    connect(m_optIntegrated, &QRadioButton::toggled, this, &DataLinkDialog::enableFields);
    connect(m_cmdBrowse, &QPushButton::clicked, this, &DataLinkDialog::cmdBrowse_Click);
    connect(m_cmdTest, &QPushButton::clicked, this, &DataLinkDialog::cmdTest_Click);
    connect(m_cmdOK, &QPushButton::clicked, this, &DataLinkDialog::cmdOK_Click);
    connect(m_cmdCancel, &QPushButton::clicked, this, &DataLinkDialog::cmdCancel_Click);
}

void DataLinkDialog::setupLayout()
{
    auto* providerRow = new QHBoxLayout;
    providerRow->addWidget(m_lblProvider);
    providerRow->addWidget(m_cboProvider, 1);

    // Labels in one column, so that every box starts at the same edge.
    auto* server = new QGridLayout(m_fraServer);
    server->setColumnStretch(1, 1);
    server->setVerticalSpacing(8);
    server->addWidget(m_lblServer, 0, 0);
    server->addWidget(m_txtServer, 0, 1);
    server->addWidget(m_lblPort, 0, 2);
    server->addWidget(m_txtPort, 0, 3);
    server->addWidget(m_optIntegrated, 1, 0, 1, 4);
    server->addWidget(m_optUserPassword, 2, 0, 1, 4);
    // The credentials sit under their option, their boxes in line with the others.
    for (QLabel* label : {m_lblUserName, m_lblPassword})
        label->setIndent(24);
    server->addWidget(m_lblUserName, 3, 0);
    server->addWidget(m_txtUserName, 3, 1, 1, 3);
    server->addWidget(m_lblPassword, 4, 0);
    server->addWidget(m_txtPassword, 4, 1, 1, 3);
    auto* line = named(new QFrame(m_fraServer), "linServer");
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    server->addWidget(line, 5, 0, 1, 4);
    server->addWidget(m_lblDatabase, 6, 0);
    server->addWidget(m_txtDatabase, 6, 1, 1, 3);

    auto* file = new QHBoxLayout(m_fraFile);
    file->addWidget(m_lblFile);
    file->addWidget(m_txtFile, 1);
    file->addWidget(m_cmdBrowse);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_cmdTest);
    buttons->addStretch(1);
    buttons->addWidget(m_cmdOK);
    buttons->addWidget(m_cmdCancel);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->setSpacing(10);
    layout->addLayout(providerRow);
    layout->addWidget(m_fraServer);
    layout->addWidget(m_fraFile);
    layout->addStretch(1);
    layout->addLayout(buttons);

    // The labels of both frames share one width, so their boxes line up.
    const int labelWidth = std::max({m_lblServer->sizeHint().width(), m_lblUserName->sizeHint().width(),
                                     m_lblPassword->sizeHint().width(), m_lblDatabase->sizeHint().width(),
                                     m_lblFile->sizeHint().width()});
    for (QLabel* label : {m_lblServer, m_lblDatabase, m_lblFile})
        label->setMinimumWidth(labelWidth);
    setMinimumWidth(460);
    resize(480, sizeHint().height());
}

void DataLinkDialog::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    // The engine list sits outside the frames; its left edge is set to theirs once
    // the style has placed them.
    layout()->activate();
    const int shift = m_txtServer->mapTo(this, QPoint()).x() - m_cboProvider->mapTo(this, QPoint()).x();
    if (shift != 0) {
        m_lblProvider->setMinimumWidth(m_lblProvider->width() + shift);
        layout()->activate();
    }
}

void DataLinkDialog::setupTabOrder()
{
    QWidget::setTabOrder(m_cboProvider, m_txtServer);
    QWidget::setTabOrder(m_txtServer, m_txtPort);
    QWidget::setTabOrder(m_txtPort, m_optIntegrated);
    QWidget::setTabOrder(m_optIntegrated, m_optUserPassword);
    QWidget::setTabOrder(m_optUserPassword, m_txtUserName);
    QWidget::setTabOrder(m_txtUserName, m_txtPassword);
    QWidget::setTabOrder(m_txtPassword, m_txtDatabase);
    QWidget::setTabOrder(m_txtDatabase, m_txtFile);
    QWidget::setTabOrder(m_txtFile, m_cmdBrowse);
    QWidget::setTabOrder(m_cmdBrowse, m_cmdTest);
    QWidget::setTabOrder(m_cmdTest, m_cmdOK);
    QWidget::setTabOrder(m_cmdOK, m_cmdCancel);
}

QString DataLinkDialog::promptNew()
{
    m_accepted = false;
    m_ctx.prompter.runModal(this);
    return m_accepted ? connectionString() : QString();
}

QString DataLinkDialog::promptLogOn(const QString& server)
{
    m_logOnOnly = true;
    setKind(Kind::SqlServer);
    m_txtServer->setText(server);
    m_txtPort->clear();
    m_txtDatabase->clear();
    m_optUserPassword->setChecked(true);
    enableFields();
    const QString text = promptNew();
    m_logOnOnly = false;
    enableFields();
    return text;
}

DataLinkDialog::Kind DataLinkDialog::kind() const
{
    return static_cast<Kind>(m_cboProvider->currentIndex());
}

void DataLinkDialog::setKind(Kind kind)
{
    m_cboProvider->setCurrentIndex(static_cast<int>(kind));
    enableFields();
}

QString DataLinkDialog::quotedValue(const QString& value)
{
    const bool plain = !value.contains(QLatin1Char(';')) && !value.contains(QLatin1Char('"'))
        && !value.contains(QLatin1Char('\'')) && value.trimmed() == value;
    if (plain)
        return value;
    QString inner = value;
    inner.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + inner + QLatin1Char('"');
}

QString DataLinkDialog::connectionString() const
{
    const QString server = m_txtServer->text().trimmed();
    const QString port = m_txtPort->text().trimmed();
    const QString database = m_txtDatabase->text().trimmed();
    const QString user = m_txtUserName->text();
    const QString password = m_txtPassword->text();
    const QString file = m_txtFile->text().trimmed();
    switch (kind()) {
    case Kind::SqlServer: {
        const bool integrated = m_optIntegrated->isChecked();
        QString text = QStringLiteral("Provider=SQLOLEDB.1;");
        if (integrated)
            text += QStringLiteral("Integrated Security=SSPI;Persist Security Info=False;");
        // SQL Server takes its port after a comma in the data source.
        text += piece(QStringLiteral("Data Source"), port.isEmpty() ? server : server + QLatin1Char(',') + port);
        if (!database.isEmpty())
            text += piece(QStringLiteral("Initial Catalog"), database);
        if (!integrated)
            text += piece(QStringLiteral("User ID"), user) + piece(QStringLiteral("Password"), password);
        return text;
    }
    case Kind::PostgreSql: {
        QString text = QStringLiteral("Provider=PostgreSQL;") + piece(QStringLiteral("Data Source"), server);
        if (!port.isEmpty())
            text += piece(QStringLiteral("Port"), port);
        text += piece(QStringLiteral("Initial Catalog"), database);
        // Left empty, libpq's own defaults apply (PGUSER, the password file).
        if (!user.isEmpty())
            text += piece(QStringLiteral("User ID"), user);
        if (!password.isEmpty())
            text += piece(QStringLiteral("Password"), password);
        return text;
    }
    case Kind::SqliteFile:
        return QStringLiteral("Provider=SQLite;Data Source=") + quotedValue(file);
    case Kind::AccessFile:
        return QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=") + quotedValue(file)
            + QStringLiteral(";Persist Security Info=False");
    }
    return {};
}

void DataLinkDialog::enableFields()
{
    const Kind chosen = kind();
    const bool serverKind = isServerKind(chosen);
    // PostgreSQL knows no integrated security, and SQL Server has it on Windows
    // only; the log-on is then a user name (for PostgreSQL, or libpq's defaults).
    const bool integrated = chosen == Kind::SqlServer && HasIntegratedSecurity;
    if (!integrated && serverKind && m_optIntegrated->isChecked())
        m_optUserPassword->setChecked(true);
    m_optIntegrated->setEnabled(integrated);
    const bool credentials = serverKind && m_optUserPassword->isChecked();
    // A disabled frame disables every field in it.
    m_fraServer->setEnabled(serverKind);
    m_fraFile->setEnabled(!serverKind);
    // Asked for a log-on alone, the dialog keeps the engine, the server and the
    // database it was given.
    for (QWidget* field : std::initializer_list<QWidget*>{m_lblProvider, m_cboProvider, m_lblServer, m_txtServer, m_lblPort,
                                                          m_txtPort, m_lblDatabase, m_txtDatabase})
        field->setEnabled(!m_logOnOnly);
    for (QWidget* field : {static_cast<QWidget*>(m_lblUserName), static_cast<QWidget*>(m_txtUserName),
                           static_cast<QWidget*>(m_lblPassword), static_cast<QWidget*>(m_txtPassword)})
        field->setEnabled(credentials);
    m_txtPort->setPlaceholderText(m_logOnOnly                  ? QString()
                                  : chosen == Kind::PostgreSql ? QStringLiteral("5432")
                                  : chosen == Kind::SqlServer  ? QStringLiteral("1433")
                                                               : QString());
}

QString DataLinkDialog::missingField() const
{
    const Kind chosen = kind();
    if (isServerKind(chosen)) {
        if (m_txtServer->text().trimmed().isEmpty())
            return QStringLiteral("Please enter the name of the server.");
        if (chosen == Kind::PostgreSql && m_txtDatabase->text().trimmed().isEmpty())
            return QStringLiteral("Please enter the name of the database.");
        if (chosen == Kind::SqlServer && m_optUserPassword->isChecked() && m_txtUserName->text().trimmed().isEmpty())
            return QStringLiteral("Please enter the user name.");
        return {};
    }
    if (m_txtFile->text().trimmed().isEmpty())
        return QStringLiteral("Please select the database file.");
    return {};
}

void DataLinkDialog::cboProvider_Click()
{
    enableFields();
}

void DataLinkDialog::cmdBrowse_Click()
{
    prompt::FileChoice choice;
    choice.mode = prompt::FileChoice::Mode::Open;
    choice.title = QStringLiteral("Select Database File");
    if (kind() == Kind::AccessFile) {
        choice.filterName = QStringLiteral("Access DB (*.mdb)");
        choice.pattern = QStringLiteral("*.mdb");
    } else {
        choice.filterName = QStringLiteral("SQLite database (*.db *.sqlite *.sqlite3)");
        choice.pattern = QStringLiteral("*.db *.sqlite *.sqlite3");
    }
    choice.initialFolder = m_ctx.programDir;
    const QString path = m_ctx.prompter.chooseFile(choice);
    if (!path.isEmpty())
        m_txtFile->setText(path);
}

void DataLinkDialog::cmdTest_Click()
{
    const QString missing = missingField();
    if (!missing.isEmpty()) {
        m_ctx.prompter.tell(Caption, missing, prompt::Icon::Exclamation);
        return;
    }
    // A quiet open of its own: nothing of the program's connection handling speaks.
    QApplication::setOverrideCursor(Qt::WaitCursor);
    Database database(connectionString());
    const bool opened = database.open();
    const QString error = database.lastError();
    database.close();
    QApplication::restoreOverrideCursor();
    if (opened)
        m_ctx.prompter.tell(Caption, QStringLiteral("Test connection succeeded."), prompt::Icon::Information);
    else
        m_ctx.prompter.tell(Caption, QStringLiteral("Test connection failed:") + CrLf + CrLf + error,
                            prompt::Icon::Exclamation);
}

void DataLinkDialog::cmdOK_Click()
{
    const QString missing = missingField();
    if (!missing.isEmpty()) {
        m_ctx.prompter.tell(Caption, missing, prompt::Icon::Exclamation);
        return;
    }
    m_accepted = true;
    hide();
}

void DataLinkDialog::cmdCancel_Click()
{
    m_accepted = false;
    hide();
}

void DataLinkDialog::reject()
{
    // Escape and the close box mean Cancel.
    cmdCancel_Click();
}
