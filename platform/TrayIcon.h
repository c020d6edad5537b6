#pragma once

#include <QObject>
#include <QString>

// The three pictures the notification-area icon can show.
enum class TrayPicture {
    None,  // nothing recorded yet
    Blue,  // picIconBlue32: the main window is shown
    Green, // picIconGreen32: the window is hidden and the program runs in the tray
    Red,   // picIconRed32: the database cannot be reached and the program is ending
};

// The notification-area icon. It keeps its own record of which picture it shows,
// whether or not the desktop offers a tray, and reports the administrator's mouse
// actions as the two mouse messages the main window handles.
class TrayIcon : public QObject
{
    Q_OBJECT

public:
    static constexpr int RightButtonDown = 516;
    static constexpr int LeftDoubleClick = 515;

    using QObject::QObject;

    virtual void add(TrayPicture picture, const QString& tip) = 0;
    virtual void change(TrayPicture picture, const QString& tip) = 0;
    virtual void remove() = 0;
    // The picture last recorded by add or change.
    virtual TrayPicture current() const = 0;
    // True between add and remove.
    virtual bool isAdded() const = 0;
    // True while the desktop shows the icon somewhere the administrator can click it;
    // without that a window hidden to the tray could not be brought back.
    virtual bool isAvailable() const = 0;

signals:
    void mouseMessage(int message);
};
