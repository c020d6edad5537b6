#include "platform/SystemTrayIcon.h"

#include <QGuiApplication>

namespace {

// The tip lives in a fixed field of 64 characters with its terminating NUL.
constexpr int MaxTipLength = 63;

} // namespace

SystemTrayIcon::SystemTrayIcon(QObject* parent)
    : TrayIcon(parent)
{
}

SystemTrayIcon::~SystemTrayIcon() = default;

QIcon SystemTrayIcon::iconFor(TrayPicture picture)
{
    switch (picture) {
    case TrayPicture::Blue:
        return QIcon(QStringLiteral(":/icons/tray-blue.svg"));
    case TrayPicture::Green:
        return QIcon(QStringLiteral(":/icons/tray-green.svg"));
    case TrayPicture::Red:
        return QIcon(QStringLiteral(":/icons/tray-red.svg"));
    case TrayPicture::None:
        break;
    }
    return {};
}

void SystemTrayIcon::add(TrayPicture picture, const QString& tip)
{
    // Platforms without a screen have no notification area to put an icon in.
    static const bool headless = QGuiApplication::platformName() == QLatin1String("offscreen")
        || QGuiApplication::platformName() == QLatin1String("minimal");
    if (!m_icon && !headless) {
        m_icon = std::make_unique<QSystemTrayIcon>();
        connect(m_icon.get(), &QSystemTrayIcon::activated, this, &SystemTrayIcon::onActivated);
    }
    m_tip = tip.left(MaxTipLength);
    if (m_icon) {
        m_icon->setIcon(iconFor(picture));
        m_icon->setToolTip(m_tip);
        m_icon->show();
    }
    m_added = true;
    m_current = picture;
}

void SystemTrayIcon::change(TrayPicture picture, const QString&)
{
    // Only the picture changes; the tip given here is not applied.
    if (m_added && m_icon)
        m_icon->setIcon(iconFor(picture));
    m_current = picture;
}

void SystemTrayIcon::remove()
{
    if (m_icon)
        m_icon->hide();
    m_added = false;
}

void SystemTrayIcon::onActivated(QSystemTrayIcon::ActivationReason reason)
{
    if (reason == QSystemTrayIcon::DoubleClick)
        emit mouseMessage(LeftDoubleClick);
    else if (reason == QSystemTrayIcon::Context)
        emit mouseMessage(RightButtonDown);
}
