#pragma once

#include <QWidget>

class QTimer;
struct AppContext;

// frmSplash: the first window. It hides itself after 1.5 s (or at a mouse press),
// and one millisecond later decides whether this instance runs on.
class SplashWindow : public QWidget
{
    Q_OBJECT

public:
    explicit SplashWindow(AppContext& context, QWidget* parent = nullptr);

    // Shows the splash and starts its two timers.
    void start();

    void tmrShow_Timer();
    void tmrCheck_Timer();

signals:
    // This is the only instance: the main window may load and show.
    void mainWindowRequested();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void setupTimers();

    AppContext& m_ctx;
    QTimer* m_tmrShow = nullptr;
    QTimer* m_tmrCheck = nullptr;
};
