#include "app/SplashWindow.h"

#include "platform/InstanceLock.h"
#include "services/AppContext.h"
#include "services/ProgramExit.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QSvgRenderer>
#include <QTimer>

namespace {
constexpr int SplashWidth = 480;
constexpr int SplashHeight = 300;
} // namespace

SplashWindow::SplashWindow(AppContext& context, QWidget* parent)
    : QWidget(parent, Qt::SplashScreen | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
    , m_ctx(context)
{
    setObjectName(QStringLiteral("frmSplash"));
    setFixedSize(SplashWidth, SplashHeight);
    setupTimers();
}

void SplashWindow::setupTimers()
{
    m_tmrShow = new QTimer(this);
    m_tmrShow->setObjectName(QStringLiteral("tmrShow"));
    m_tmrShow->setInterval(1500);
    m_tmrShow->setSingleShot(true);
    connect(m_tmrShow, &QTimer::timeout, this, &SplashWindow::tmrShow_Timer);

    m_tmrCheck = new QTimer(this);
    m_tmrCheck->setObjectName(QStringLiteral("tmrCheck"));
    m_tmrCheck->setInterval(1501);
    m_tmrCheck->setSingleShot(true);
    connect(m_tmrCheck, &QTimer::timeout, this, &SplashWindow::tmrCheck_Timer);
}

void SplashWindow::start()
{
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        move(area.center() - rect().center());
    }
    show();
    m_tmrShow->start();
    m_tmrCheck->start();
}

void SplashWindow::tmrShow_Timer()
{
    m_tmrShow->stop();
    hide();
}

void SplashWindow::tmrCheck_Timer()
{
    m_tmrCheck->stop();
    if (!m_ctx.instanceLock.tryAcquire()) {
        // Another instance runs in this session: it shows its window, and this one
        // ends without a word, whether or not that one answers in time.
        m_ctx.instanceLock.askHolderToShow();
        exitProgram(m_ctx, ExitMode::AtOnce);
        return;
    }
    emit mainWindowRequested();
}

void SplashWindow::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QSvgRenderer picture(QStringLiteral(":/splash.svg"));
    picture.render(&painter, rect());
}

void SplashWindow::mousePressEvent(QMouseEvent*)
{
    tmrShow_Timer();
}
