#include "app/ScreenshotMode.h"

#include "platform/ProcessControl.h"
#include "app/AppWindows.h"
#include "app/MainWindow.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QPixmap>
#include <QTextStream>
#include <QTimer>
#include <QWidget>

namespace {
constexpr int PollMs = 100;
constexpr int SettleMs = 800;     // lets the window finish its first paint
constexpr int GiveUpMs = 20000;
} // namespace

ScreenshotMode::ScreenshotMode(AppWindows& windows, ProcessControl& process, QString targetPath)
    : m_windows(windows)
    , m_process(process)
    , m_target(std::move(targetPath))
{
    m_poll = new QTimer(this);
    m_poll->setInterval(PollMs);
    connect(m_poll, &QTimer::timeout, this, &ScreenshotMode::poll);
    m_poll->start();
}

void ScreenshotMode::poll()
{
    m_elapsedMs += PollMs;
    const bool mainShown = m_windows.hasMain() && m_windows.main().isLoaded() && m_windows.main().isVisible();
    m_shownForMs = mainShown ? m_shownForMs + PollMs : 0;
    if (m_shownForMs >= SettleMs) {
        saveAndEnd(&m_windows.main(), 0);
        return;
    }
    if (m_elapsedMs >= GiveUpMs) {
        QWidget* blocking = QApplication::activeModalWidget();
        saveAndEnd(blocking ? blocking : QApplication::activeWindow(), 1);
    }
}

void ScreenshotMode::saveAndEnd(QWidget* window, int exitCode)
{
    m_poll->stop();
    QTextStream out(stdout);
    if (window) {
        QDir().mkpath(QFileInfo(m_target).absolutePath());
        window->grab().save(m_target);
        out << "Screenshot of \"" << window->windowTitle() << "\" saved to " << QFileInfo(m_target).absoluteFilePath()
            << Qt::endl;
    } else {
        out << "No window to take a screenshot of." << Qt::endl;
    }
    m_process.endProcess(exitCode);
}
