#include "UpdaterWindow.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

UpdaterWindow::UpdaterWindow()
{
    setObjectName(QStringLiteral("frmUpdater"));
    setWindowTitle(QStringLiteral("Quillmere Update"));
    m_text = new QLabel(this);
    m_text->setWordWrap(true);
    m_text->setMinimumWidth(380);
    m_close = new QPushButton(QStringLiteral("Close"), this);
    m_close->hide();
    connect(m_close, &QPushButton::clicked, this, &QWidget::close);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_close);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(18, 18, 18, 14);
    layout->addWidget(m_text);
    layout->addLayout(buttons);
}

void UpdaterWindow::showProgress(const QString& text)
{
    m_text->setText(text);
    QApplication::processEvents();
}

void UpdaterWindow::showFailure(const QString& text)
{
    m_text->setText(text);
    m_close->show();
    m_close->setDefault(true);
    setWindowIcon(style()->standardIcon(QStyle::SP_MessageBoxWarning));
}
