#pragma once

#include "platform/TrayIcon.h"

#include <QSystemTrayIcon>

#include <memory>

// The notification-area icon over QSystemTrayIcon. Where the desktop offers no
// tray the record of the shown picture is kept all the same.
class SystemTrayIcon final : public TrayIcon
{
    Q_OBJECT

public:
    explicit SystemTrayIcon(QObject* parent = nullptr);
    ~SystemTrayIcon() override;

    void add(TrayPicture picture, const QString& tip) override;
    void change(TrayPicture picture, const QString& tip) override;
    void remove() override;
    TrayPicture current() const override { return m_current; }
    bool isAdded() const override { return m_added; }
    bool isAvailable() const override;

    QString tip() const { return m_tip; }
    static QIcon iconFor(TrayPicture picture);
    // The mouse message an activation stands for, or 0 for none.
    static int mouseMessageFor(QSystemTrayIcon::ActivationReason reason);

private:
    void onActivated(QSystemTrayIcon::ActivationReason reason);

    std::unique_ptr<QSystemTrayIcon> m_icon;
    TrayPicture m_current = TrayPicture::None;
    bool m_added = false;
    QString m_tip;
};
