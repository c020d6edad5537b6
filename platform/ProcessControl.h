#pragma once

class InstanceLock;

// Ends the process. The system implementation never returns; test doubles record
// the call and return, so every caller returns right after calling endProcess.
class ProcessControl
{
public:
    virtual ~ProcessControl() = default;
    virtual void endProcess(int exitCode) = 0;
    // True once endProcess was called; loops that wait for the administrator stop
    // waiting then. Only a double that returns from endProcess ever reports it.
    virtual bool hasEnded() const { return false; }
};

// Ends the process at once, the way the program must end: no window gets a further
// close query and no open dialog is asked. The single-instance lock is released
// first so that the next start does not have to judge a stale lock.
class SystemProcessControl final : public ProcessControl
{
public:
    explicit SystemProcessControl(InstanceLock* lock = nullptr) : m_lock(lock) {}
    [[noreturn]] void endProcess(int exitCode) override;

private:
    InstanceLock* m_lock;
};
