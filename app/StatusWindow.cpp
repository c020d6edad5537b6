#include "app/StatusWindow.h"

#include "services/StatusLog.h"

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>

StatusWindow::StatusWindow(StatusLog& log, QWidget* parent)
    : QDialog(parent)
    , m_log(log)
{
    setObjectName(QStringLiteral("frmStatus"));
    setWindowTitle(QStringLiteral("Status"));
    setupControls();
    for (const QString& line : m_log.lines())
        m_txtLog->appendPlainText(line);
    connect(&m_log, &StatusLog::lineAppended, this, &StatusWindow::appendLine);
    resize(720, 440);
}

void StatusWindow::setupControls()
{
    m_txtLog = new QPlainTextEdit(this);
    m_txtLog->setObjectName(QStringLiteral("txtLog"));
    m_txtLog->setReadOnly(true);
    m_txtLog->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_txtLog->setMaximumBlockCount(StatusLog::MaxLines);
    m_txtLog->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));

    m_cmdOK = new QPushButton(QStringLiteral("OK"), this);
    m_cmdOK->setObjectName(QStringLiteral("cmdOK"));
    m_cmdOK->setDefault(true);
    connect(m_cmdOK, &QPushButton::clicked, this, &StatusWindow::cmdOK_Click);

    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(m_cmdOK, QDialogButtonBox::AcceptRole);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_txtLog);
    layout->addWidget(buttons);
}

QString StatusWindow::logText() const
{
    return m_txtLog->toPlainText();
}

void StatusWindow::appendLine(const QString& line)
{
    m_txtLog->appendPlainText(line);
    m_txtLog->moveCursor(QTextCursor::End);
    m_txtLog->verticalScrollBar()->setValue(m_txtLog->verticalScrollBar()->maximum());
}

void StatusWindow::cmdOK_Click()
{
    hide();
}
