#pragma once

#include <QObject>
#include <QString>

class AppWindows;
class ProcessControl;
class QTimer;

// For a machine without a screen: waits until the main window shows, saves a
// picture of it and ends the program. Should start-up stop at a dialog instead,
// that dialog is saved, so the picture always shows where the program stands.
class ScreenshotMode : public QObject
{
    Q_OBJECT

public:
    ScreenshotMode(AppWindows& windows, ProcessControl& process, QString targetPath);

private:
    void poll();
    void saveAndEnd(QWidget* window, int exitCode);

    AppWindows& m_windows;
    ProcessControl& m_process;
    QString m_target;
    QTimer* m_poll = nullptr;
    int m_elapsedMs = 0;
    int m_shownForMs = 0;
};
