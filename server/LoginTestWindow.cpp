#include "server/LoginTestWindow.h"

#include "platform/Named.h"
#include "server/LoginCheck.h"
#include "services/AppContext.h"

#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int ButtonWidth = 96;
// Names are at most 50 characters in the accounts table; the handler refuses longer ones itself.
constexpr int LongestName = 50;

} // namespace

LoginTestWindow::LoginTestWindow(AppContext& context, QWidget* parent)
    : QDialog(parent)
    , m_ctx(context)
{
    setObjectName(QStringLiteral("frmTestLogin"));
    setWindowTitle(QStringLiteral("Test Log-in"));
    setupControls();
    setupLayout();
    connect(m_cmdTest, &QPushButton::clicked, this, &LoginTestWindow::cmdTest_Click);
    connect(m_cmdClose, &QPushButton::clicked, this, &LoginTestWindow::cmdClose_Click);
    resize(600, 540);
}

void LoginTestWindow::setupControls()
{
    m_txtName = named(new QLineEdit(this), "txtName");
    m_txtName->setMaxLength(LongestName);
    m_txtPassword = named(new QLineEdit(this), "txtPassword");
    m_txtPassword->setEchoMode(QLineEdit::Password);
    m_txtAddress = named(new QLineEdit(QStringLiteral("127.0.0.1"), this), "txtAddress");

    m_cmdTest = named(new QPushButton(QStringLiteral("&Test"), this), "cmdTest");
    m_cmdTest->setDefault(true);
    m_cmdClose = named(new QPushButton(QStringLiteral("Close"), this), "cmdClose");
    for (QPushButton* button : {m_cmdTest, m_cmdClose})
        button->setMinimumWidth(ButtonWidth);

    m_lblVerdict = named(new QLabel(this), "lblVerdict");
    QFont bold = m_lblVerdict->font();
    bold.setBold(true);
    m_lblVerdict->setFont(bold);

    m_txtReasons = named(new QPlainTextEdit(this), "txtReasons");
    m_txtReasons->setReadOnly(true);
    m_txtReasons->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    m_txtReasons->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
}

void LoginTestWindow::setupLayout()
{
    auto* intro = named(new QLabel(QStringLiteral("Asks the FTP server's authentication handler, over the accounts database, "
                                            "whether this log-in would be allowed, and why. Nothing is written."),
                             this), "lblIntro");
    intro->setWordWrap(true);

    auto* fields = new QFormLayout;
    fields->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    fields->addRow(QStringLiteral("User &name:"), m_txtName);
    fields->addRow(QStringLiteral("&Password:"), m_txtPassword);
    fields->addRow(QStringLiteral("Client &address:"), m_txtAddress);

    auto* test = new QHBoxLayout;
    test->addWidget(m_lblVerdict, 1);
    test->addWidget(m_cmdTest);

    auto* close = new QHBoxLayout;
    close->addStretch(1);
    close->addWidget(m_cmdClose);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(intro);
    layout->addLayout(fields);
    layout->addLayout(test);
    layout->addWidget(m_txtReasons, 1);
    layout->addLayout(close);
}

void LoginTestWindow::proposeAccount(const QString& name)
{
    if (m_txtName->text().isEmpty())
        m_txtName->setText(name);
}

void LoginTestWindow::cmdTest_Click()
{
    m_ctx.logStatus(QStringLiteral("test log-in of ") + m_txtName->text());
    const logincheck::Result result =
        logincheck::testLogin(m_ctx, m_txtName->text(), m_txtPassword->text(), m_txtAddress->text().trimmed());
    m_lblVerdict->setText(result.verdict == logincheck::Verdict::Allowed ? QStringLiteral("The log-in would be allowed.")
                                                                        : QStringLiteral("The log-in would be refused."));
    m_txtReasons->setPlainText(result.lines.join(QLatin1Char('\n')));
}

void LoginTestWindow::cmdClose_Click()
{
    hide();
}
