#include "platform/TerminationWatcher.h"

#include <QSocketNotifier>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int g_signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(g_signalPipe[0], &byte, 1);
}

} // namespace
#endif

TerminationWatcher::TerminationWatcher(QObject* parent)
    : QObject(parent)
{
#ifdef Q_OS_UNIX
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, g_signalPipe) != 0)
        return;
    m_notifier = new QSocketNotifier(g_signalPipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TerminationWatcher::onReadable);
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signalNumber : {SIGTERM, SIGHUP, SIGINT})
        sigaction(signalNumber, &action, nullptr);
#endif
}

TerminationWatcher::~TerminationWatcher()
{
#ifdef Q_OS_UNIX
    for (int signalNumber : {SIGTERM, SIGHUP, SIGINT})
        std::signal(signalNumber, SIG_DFL);
#endif
}

void TerminationWatcher::onReadable()
{
#ifdef Q_OS_UNIX
    char byte = 0;
    [[maybe_unused]] const auto got = ::read(g_signalPipe[1], &byte, 1);
#endif
    emit terminationRequested();
}
