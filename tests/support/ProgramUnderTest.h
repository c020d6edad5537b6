#pragma once

#include "TestEnvironment.h"

#include "app/AppWindows.h"

// The whole program inside the test process, on a fresh test environment, with
// the real database work of start-up.
class ProgramUnderTest
{
public:
    ProgramUnderTest();

    // Shows the splash and fires its start-up check, which loads and shows the
    // main window unless another instance holds the lock.
    void start();
    // A configured installation: both folders, and an SQLite accounts database
    // from the template (or the given connection string).
    void configure(const QString& connectionString = {});

    TestEnvironment env;
    AppWindows windows;
    int sweeps = 0;
};
