#pragma once

#include "TestEnvironment.h"

#include "shell/AppWindows.h"

// The whole program inside the test process, on a fresh test environment.
class ProgramUnderTest
{
public:
    ProgramUnderTest();

    // Shows the splash and fires its start-up check, which loads and shows the
    // main window unless another instance holds the lock.
    void start();
    // A configured installation: a stored connection string and both folders.
    void configure(const QString& connectionString = QStringLiteral("Provider=SQLite;Data Source=accounts.db"));

    TestEnvironment env;
    AppWindows windows;
    int sweeps = 0;
};
