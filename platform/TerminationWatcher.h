#pragma once

#include <QObject>

class QSocketNotifier;

// Turns the termination requests of the system (SIGTERM, SIGHUP at the end of the
// session, SIGINT) into a signal on the event loop, where the program can end in
// its own orderly way.
class TerminationWatcher : public QObject
{
    Q_OBJECT

public:
    explicit TerminationWatcher(QObject* parent = nullptr);
    ~TerminationWatcher() override;

signals:
    void terminationRequested();

private:
    void onReadable();

    QSocketNotifier* m_notifier = nullptr;
};
