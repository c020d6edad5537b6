#include "server/ProFtpdWindow.h"

#include "platform/Named.h"
#include "platform/Prompter.h"
#include "platform/SettingsStore.h"
#include "server/ProFtpdSync.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"

#include <QDir>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

ProFtpdWindow::ProFtpdWindow(AppContext& context, QWidget* parent)
    : QDialog(parent)
    , m_ctx(context)
{
    setObjectName(QStringLiteral("frmProFtpd"));
    setWindowTitle(QStringLiteral("ProFTPD"));
    setupControls();
    thisFormLoadData();
}

void ProFtpdWindow::setupControls()
{
    m_txtConfigFile = named(new QLineEdit(this), "txtConfigFile");
    m_txtConfigFile->setMaxLength(SettingsStore::MaxSettingLength);
    m_txtPidFile = named(new QLineEdit(this), "txtPidFile");
    m_txtPidFile->setMaxLength(SettingsStore::MaxSettingLength);
    auto* ok = named(new QPushButton(QStringLiteral("OK"), this), "cmdOK");
    ok->setDefault(true);
    auto* cancel = named(new QPushButton(QStringLiteral("Cancel"), this), "cmdCancel");
    connect(ok, &QPushButton::clicked, this, &ProFtpdWindow::cmdOK_Click);
    connect(cancel, &QPushButton::clicked, this, &ProFtpdWindow::cmdCancel_Click);

    auto* note = named(new QLabel(QStringLiteral("Vantrel writes this file after every change to the accounts; include it in "
                                                 "proftpd.conf. With a pid file, the server is told to read it again."),
                                  this),
                       "lblNote");
    note->setWordWrap(true);
    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Configuration &file:"), m_txtConfigFile);
    form->addRow(QStringLiteral("&Pid file:"), m_txtPidFile);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(note);
    layout->addLayout(form);
    layout->addLayout(buttons);
    setMinimumWidth(560);
}

void ProFtpdWindow::thisFormLoadData()
{
    m_txtConfigFile->setText(m_ctx.settings.getRegSettings(proftpd::ConfigSetting));
    m_txtPidFile->setText(m_ctx.settings.getRegSettings(proftpd::PidSetting));
}

void ProFtpdWindow::cmdOK_Click()
{
    const QString config = m_txtConfigFile->text().trimmed();
    const QString pid = m_txtPidFile->text().trimmed();
    for (const QString& path : {config, pid}) {
        if (!path.isEmpty() && QDir::isRelativePath(path)) {
            m_ctx.prompter.tell(appinfo::Title, QStringLiteral("Please give the full path of the file.") + QStringLiteral("\r\n") + path,
                                prompt::Icon::Exclamation);
            return;
        }
    }
    m_ctx.settings.saveRegSetting(proftpd::ConfigSetting, config);
    m_ctx.settings.saveRegSetting(proftpd::PidSetting, pid);
    // Written at once, so that a wrong path shows now rather than at the next save.
    if (proftpd::keepCurrent(m_ctx.settings, m_ctx.prompter, [this](const QString& line) { m_ctx.logStatus(line); }))
        hide();
}

void ProFtpdWindow::cmdCancel_Click()
{
    hide();
}
