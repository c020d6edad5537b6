#pragma once

#include "ScriptedPrompter.h"
#include "TestDoubles.h"

#include "platform/FocusKeySender.h"
#include "platform/DateForm.h"
#include "platform/InstanceLock.h"
#include "platform/SettingsStore.h"
#include "services/AppContext.h"
#include "services/StatusLog.h"

#include <QString>

// A temporary folder whose path is all lower case: the program stores paths
// lower-cased, so only such folders can be found again under their stored name.
struct LowerCaseTempFolder
{
    LowerCaseTempFolder();
    ~LowerCaseTempFolder();
    LowerCaseTempFolder(const LowerCaseTempFolder&) = delete;
    LowerCaseTempFolder& operator=(const LowerCaseTempFolder&) = delete;
    QString path;
};

// A whole program context in a fresh temporary folder: the settings file, the
// program's folder and the runtime folder of the instance lock all live there.
// The prompter, the clock, the process end, the program starter and the tray
// icon are doubles; everything else is the real part.
class TestEnvironment
{
public:
    TestEnvironment();

    // A path inside the temporary folder.
    QString path(const QString& relative) const;
    QString settingsPath() const { return path(QStringLiteral("etc/serv-u.ini")); }
    QString programDir() const { return path(QStringLiteral("program")); }

    // Stores a connection string, so that start-up takes the configured path.
    void storeConnectionString(const QString& connectionString);

    LowerCaseTempFolder dir;
    FixedClock clock;
    // Taken from the settings file as the program takes it at start-up (so a fresh
    // environment stores the form of the default locale at construction).
    DateForm dates;
    StatusLog log;
    SettingsStore settings;
    ScriptedPrompter prompter;
    RecordingTrayIcon tray;
    RecordingStarter starter;
    RecordingProcessControl process;
    InstanceLock instanceLock;
    FocusKeySender keys;
    AppContext context;
};
