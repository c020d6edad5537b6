#include "platform/ProcessControl.h"

#include "platform/InstanceLock.h"

#include <cstdio>
#include <cstdlib>

void SystemProcessControl::endProcess(int exitCode)
{
    if (m_lock)
        m_lock->release();
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(exitCode);
}
