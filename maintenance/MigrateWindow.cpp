#include "maintenance/MigrateWindow.h"

#include "maintenance/ProgramFiles.h"
#include "platform/Named.h"
#include "platform/ProgramStarter.h"
#include "platform/Prompter.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"
#include "services/EmbeddedFiles.h"
#include "services/ProgramExit.h"

#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

MigrateWindow::MigrateWindow(AppContext& context, QWidget* parent)
    : QDialog(parent)
    , m_ctx(context)
{
    setObjectName(QStringLiteral("frmMigrate"));
    setWindowTitle(appinfo::Title);
    setupControls();
    setupLayout();
    m_optVersion1->setChecked(true);
}

void MigrateWindow::setupControls()
{
    m_optVersion0 = named(new QRadioButton(QStringLiteral("Serv-U version 2.0 to 3.0"), this), "optVersion0");
    m_optVersion1 = named(new QRadioButton(QStringLiteral("Serv-U Version 4.0 and above"), this), "optVersion1");
    auto* group = new QButtonGroup(this);
    group->addButton(m_optVersion0, 0);
    group->addButton(m_optVersion1, 1);
}

void MigrateWindow::setupLayout()
{
    auto* label1 = named(new QLabel(QStringLiteral("Select the version of Serv-u you have"), this), "Label1");
    QFont heading = label1->font();
    heading.setBold(true);
    label1->setFont(heading);

    auto* frame = new QGroupBox(this);
    auto* options = new QVBoxLayout(frame);
    options->addWidget(named(new QLabel(QStringLiteral("Choose Either"), this), "Label2"));
    options->addWidget(m_optVersion0);
    options->addWidget(m_optVersion1);

    auto* buttons = new QDialogButtonBox(this);
    QPushButton* ok = named(buttons->addButton(QStringLiteral("OK"), QDialogButtonBox::AcceptRole), "cmdOK");
    QPushButton* cancel = named(buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole), "cmdCancel");
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &MigrateWindow::cmdOK_Click);
    connect(cancel, &QPushButton::clicked, this, &MigrateWindow::cmdCancel_Click);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(label1);
    layout->addWidget(frame);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

int MigrateWindow::chosenResource() const
{
    return m_optVersion0->isChecked() ? embedded::MigrationV2 : embedded::MigrationV4;
}

void MigrateWindow::cmdOK_Click()
{
    // An installed program starts the package's tool where it lies: its own folder is the system's.
    if (programfiles::isInstalled(m_ctx.programDir)) {
        const bool older = chosenResource() == embedded::MigrationV2;
        const QString installed = programfiles::companionPath(
            m_ctx.programDir, older ? programfiles::MigrationV2 : programfiles::MigrationV4);
        if (!QFileInfo(installed).isExecutable() || !m_ctx.starter.startProgram(installed)) {
            m_ctx.prompter.tell(appinfo::Title,
                                QStringLiteral("The migration utility \"%1\" could not be started.\r\n\r\n"
                                               "Reinstall the quillmere package, then try again.")
                                    .arg(QDir::toNativeSeparators(installed)),
                                prompt::Icon::Critical);
            return;
        }
        exitProgram(m_ctx, ExitMode::AtOnce);
        return;
    }
    const QString tool = m_ctx.programDir + QStringLiteral("/migration.exe");
    m_ctx.logStatus(QStringLiteral("writing the migration utility"));
    // The tool is written beside any earlier one and renamed over it; after a failed
    // write nothing starts, neither a half-written tool nor an older one.
    const embedded::WriteResult written = embedded::writeEmbeddedFile(chosenResource(), tool);
    if (!written) {
        m_ctx.logStatus(written.error);
        m_ctx.prompter.tell(appinfo::Title,
                            QStringLiteral("The migration utility could not be written to \"%1\".\r\n%2\r\n\r\n"
                                           "Check that the folder can be written to and that no migration utility "
                                           "is still running, then try again.")
                                .arg(QDir::toNativeSeparators(tool), written.error),
                            prompt::Icon::Critical);
        return;
    }
    m_ctx.starter.startProgram(tool);
    exitProgram(m_ctx, ExitMode::AtOnce);
}

void MigrateWindow::cmdCancel_Click()
{
    hide();
}

void MigrateWindow::reject()
{
    cmdCancel_Click();
}

namespace migration {

bool confirmLaunch(AppContext& context)
{
    const prompt::Answer answer = context.prompter.ask(
        appinfo::Title,
        QStringLiteral("Running the migration utility will migrate all users from your \r\n"
                       "ini file to the database. Make sure that you have correctly \r\n"
                       "configured the Quillmere before proceeding\r\n\r\n"
                       "The migration uitlity needs to be run when both Quillmere \r\n"
                       "and Serv-U are closed. This means that your users will not be able \r\n"
                       "to login and any current sessions will be dropped.\r\n\r\n"
                       "Would you like to run the migration utility now?"),
        prompt::Icon::Question, prompt::Buttons::YesNoCancel, prompt::Answer::No);
    return answer == prompt::Answer::Yes;
}

} // namespace migration
