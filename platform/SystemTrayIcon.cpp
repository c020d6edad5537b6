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

bool SystemTrayIcon::isAvailable() const
{
    return m_icon && QSystemTrayIcon::isSystemTrayAvailable();
}

int SystemTrayIcon::mouseMessageFor(QSystemTrayIcon::ActivationReason reason)
{
    switch (reason) {
    case QSystemTrayIcon::DoubleClick:
        return LeftDoubleClick;
    case QSystemTrayIcon::Context:
        return RightButtonDown;
    case QSystemTrayIcon::Trigger:
#ifdef Q_OS_WIN
        return 0;
#else
        // StatusNotifierItem hosts (KDE Plasma, GNOME with AppIndicator) report a click
        // and never a double click; on the other trays the click that begins a double
        // click only brings the window back a moment early.
        return LeftDoubleClick;
#endif
    case QSystemTrayIcon::MiddleClick:
    case QSystemTrayIcon::Unknown:
        break;
    }
    return 0;
}

void SystemTrayIcon::onActivated(QSystemTrayIcon::ActivationReason reason)
{
    if (const int message = mouseMessageFor(reason))
        emit mouseMessage(message);
}
