#include "maintenance/AboutWindow.h"

#include "services/AppInfo.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>

AboutWindow::AboutWindow(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("frmAbout"));
    setWindowTitle(QStringLiteral("About Quillmere"));
    setupControls();
}

QString AboutWindow::titleText()
{
    return appinfo::Product + QStringLiteral(" Version ") + appinfo::versionText();
}

void AboutWindow::setupControls()
{
    m_picIcon = new QLabel(this);
    m_picIcon->setObjectName(QStringLiteral("picIcon"));
    m_picIcon->setPixmap(QIcon(QStringLiteral(":/icons/vantrel.svg")).pixmap(QSize(72, 72), devicePixelRatio()));
    m_picIcon->setFixedSize(80, 80);
    m_picIcon->setAlignment(Qt::AlignCenter);
    m_picIcon->installEventFilter(this);

    m_lblTitle = new QLabel(titleText(), this);
    m_lblTitle->setObjectName(QStringLiteral("lblTitle"));
    QFont titleFont = m_lblTitle->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.35);
    titleFont.setBold(true);
    m_lblTitle->setFont(titleFont);

    auto* description = new QLabel(QStringLiteral("FTP account administration for the accounts database "
                                                  "of your FTP server."),
                                   this);
    description->setWordWrap(true);

    m_cmdClose1 = new QPushButton(QStringLiteral("Close"), this);
    m_cmdClose1->setObjectName(QStringLiteral("cmdClose1"));
    m_cmdClose1->setDefault(true);
    connect(m_cmdClose1, &QPushButton::clicked, this, &AboutWindow::cmdClose1_Click);

    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(18, 18, 18, 14);
    layout->setHorizontalSpacing(16);
    layout->addWidget(m_picIcon, 0, 0, 2, 1, Qt::AlignTop);
    layout->addWidget(m_lblTitle, 0, 1);
    layout->addWidget(description, 1, 1, Qt::AlignTop);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_cmdClose1);
    layout->addLayout(buttons, 2, 0, 1, 2);
    layout->setColumnStretch(1, 1);

    setFixedSize(440, sizeHint().height());
}

void AboutWindow::cmdClose1_Click()
{
    hide();
}

bool AboutWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_picIcon && event->type() == QEvent::MouseButtonRelease) {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        const auto both = Qt::ControlModifier | Qt::ShiftModifier;
        if ((mouse->modifiers() & both) == both)
            emit showLogRevealed();
    }
    return QDialog::eventFilter(watched, event);
}
