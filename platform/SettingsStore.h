#pragma once

#include <QString>

#include <functional>

// The program's four settings, in the store that the authentication plug-in and the
// migration tools read too. On Windows that is the registry under
// HKEY_LOCAL_MACHINE; elsewhere one INI file (QUILLMERE_SETTINGS names another
// file than the system-wide default), with the registry's key paths as groups and
// the key's unnamed value as "Default". Nothing is cached: every read goes to the
// store. A store that cannot be written reads as empty and takes no writes, as a
// registry key without rights does.
class SettingsStore
{
public:
    enum class Access { ReadWrite, ReadOnly };

    // Result codes of opening a key, as the registry gives them.
    enum OpenResult { Success = 0, NotFound = 2, AccessDenied = 5, InvalidData = 13 };

    static constexpr int MaxSettingLength = 254;
    static constexpr int MaxConnectionStringLength = 1023;

    static inline const QString ConnectionKey = QStringLiteral("software/Orvane/serv-u/connectionstring");
    static inline const QString SettingsKey = QStringLiteral("software/Orvane/serv-u/settings");
    static inline const QString DefaultValueName = QStringLiteral("Default");

    // Receives the trace lines the store writes; may be empty.
    using LogSink = std::function<void(const QString&)>;

    explicit SettingsStore(LogSink log, QString filePath = defaultFilePath(),
                           Access access = Access::ReadWrite);

    static QString defaultFilePath();
    QString filePath() const { return m_path; }

    QString readConnectionString() const;
    // Reads one value of the settings key ("servu_path", "ftp_directory", "ini_path").
    QString getRegSettings(const QString& name) const;
    // True when the key was opened, or was missing and has been created, and the text
    // reached the store.
    bool saveConnectionString(const QString& text);
    // True when the value reached the store; a failed save changes nothing, not even
    // what later reads in this process see.
    bool saveRegSetting(const QString& name, const QString& value);

    // The first-run marker: does the connection-string key exist at all?
    bool connectionKeyExists() const;

private:
    OpenResult openKey(const QString& keyPath) const;
    OpenResult openKeyForWriting(const QString& keyPath) const;
    int createKey(const QString& keyPath);
    QString readValue(const QString& keyPath, const QString& name, int maxLength) const;
    bool writeValue(const QString& keyPath, const QString& name, const QString& value);
    void log(const QString& message) const;

    LogSink m_log;
    QString m_path;
    Access m_access;
};
