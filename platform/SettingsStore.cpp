#include "platform/SettingsStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSaveFile>
#include <QSettings>
#include <QTemporaryDir>

#include <memory>

namespace {

#ifdef Q_OS_WIN
std::unique_ptr<QSettings> openSettings(const QString&, const QString& keyPath)
{
    QString registryPath = QStringLiteral("HKEY_LOCAL_MACHINE\\") + keyPath;
    registryPath.replace(QLatin1Char('/'), QLatin1Char('\\'));
    return std::make_unique<QSettings>(registryPath, QSettings::NativeFormat);
}
#else
// QSettings keeps every file it has parsed in a process-wide cache that it checks
// only by size and time stamp, and it retries a write that failed from that cache at
// every later use, which then reads as an error. The store therefore never hands it
// the real file: each operation parses a private copy of the file's bytes, and a
// write replaces the real file whole through QSaveFile or leaves it as it was.
class PrivateCopy
{
public:
    PrivateCopy(const QString& filePath, const QString& keyPath)
    {
        QByteArray bytes;
        QFile real(filePath);
        if (real.open(QIODevice::ReadOnly))
            bytes = real.readAll();
        QFile copy(copyPath());
        m_isCopy = m_dir.isValid() && copy.open(QIODevice::WriteOnly) && copy.write(bytes) == bytes.size();
        copy.close();
        // Without a temporary folder the file is still read, only never written.
        m_settings = std::make_unique<QSettings>(m_isCopy ? copyPath() : filePath, QSettings::IniFormat);
        m_settings->beginGroup(keyPath);
    }

    QSettings* operator->() { return m_settings.get(); }
    // Only a copy takes changes.
    bool isCopy() const { return m_isCopy; }

    // Replaces the real file with the copy as changed (only for a copy); false when the file was not replaced.
    bool writeTo(const QString& filePath)
    {
        m_settings->sync();
        if (m_settings->status() != QSettings::NoError)
            return false;
        QFile copy(copyPath());
        if (!copy.open(QIODevice::ReadOnly))
            return false;
        const QByteArray bytes = copy.readAll();
        QSaveFile target(filePath);
        return target.open(QIODevice::WriteOnly) && target.write(bytes) == bytes.size() && target.commit();
    }

private:
    QString copyPath() const { return m_dir.filePath(QStringLiteral("settings.ini")); }

    QTemporaryDir m_dir;
    bool m_isCopy = false;
    std::unique_ptr<QSettings> m_settings;
};
#endif

} // namespace

SettingsStore::SettingsStore(LogSink log, QString filePath, Access access)
    : m_log(std::move(log))
    , m_path(std::move(filePath))
    , m_access(access)
{
}

QString SettingsStore::defaultFilePath()
{
    const QString fromEnvironment = qEnvironmentVariable("QUILLMERE_SETTINGS");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    return QStringLiteral("/etc/xdg/Orvane/serv-u.ini");
}

void SettingsStore::log(const QString& message) const
{
    if (m_log)
        m_log(message);
}

SettingsStore::OpenResult SettingsStore::openKey(const QString& keyPath) const
{
#ifdef Q_OS_WIN
    const int slash = keyPath.lastIndexOf(QLatin1Char('/'));
    auto parent = openSettings(m_path, keyPath.left(slash));
    if (!parent->childGroups().contains(keyPath.mid(slash + 1), Qt::CaseInsensitive))
        return NotFound;
    if (m_access == Access::ReadWrite && !openSettings(m_path, keyPath)->isWritable())
        return AccessDenied;
    return Success;
#else
    const QFileInfo info(m_path);
    if (!info.exists())
        return NotFound;
    QFile probe(m_path);
    if (info.isDir() || !probe.open(m_access == Access::ReadOnly ? QIODevice::ReadOnly : QIODevice::ReadWrite))
        return AccessDenied;
    probe.close();
    PrivateCopy settings(m_path, keyPath);
    // QSettings parses the copy on its first read, so the status is asked afterwards.
    const bool empty = settings->childKeys().isEmpty() && settings->childGroups().isEmpty();
    if (settings->status() != QSettings::NoError)
        return InvalidData;
    return empty ? NotFound : Success;
#endif
}

SettingsStore::OpenResult SettingsStore::openKeyForWriting(const QString& keyPath) const
{
    return m_access == Access::ReadOnly ? AccessDenied : openKey(keyPath);
}

int SettingsStore::createKey(const QString& keyPath)
{
    if (m_access == Access::ReadOnly)
        return AccessDenied;
#ifdef Q_OS_WIN
    return openSettings(m_path, keyPath)->isWritable() ? Success : AccessDenied;
#else
    Q_UNUSED(keyPath);
    // A group of an INI file exists once it holds a value; creating the key only
    // has to make sure that the file itself can be written.
    const QFileInfo info(m_path);
    if (info.exists())
        return info.isFile() ? Success : AccessDenied;
    if (!QDir().mkpath(info.absolutePath()))
        return AccessDenied;
    QFile file(m_path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return AccessDenied;
    return Success;
#endif
}

QString SettingsStore::readValue(const QString& keyPath, const QString& name, int maxLength) const
{
    if (openKey(keyPath) != Success)
        return {};
#ifdef Q_OS_WIN
    auto settings = openSettings(m_path, keyPath);
#else
    PrivateCopy settings(m_path, keyPath);
#endif
    const QVariant value = settings->value(name);
    // An unquoted value with commas, as a hand edit may leave it, reads as a list.
    QString text = value.typeId() == QMetaType::QStringList
        ? value.toStringList().join(QLatin1Char(','))
        : value.toString();
    return text.left(maxLength);
}

bool SettingsStore::writeValue(const QString& keyPath, const QString& name, const QString& value)
{
#ifdef Q_OS_WIN
    auto settings = openSettings(m_path, keyPath);
    if (!settings->isWritable())
        return false;
    settings->setValue(name, value);
    settings->sync();
    return settings->status() == QSettings::NoError;
#else
    // Other writers of the file (another instance's store, a hand edit through
    // QSettings) take the same lock file.
    QLockFile lock(m_path + QStringLiteral(".lock"));
    if (!lock.tryLock(5000))
        return false;
    PrivateCopy settings(m_path, keyPath);
    if (!settings.isCopy())
        return false;
    settings->setValue(name, value);
    return settings.writeTo(m_path);
#endif
}

QString SettingsStore::readConnectionString() const
{
    return readValue(ConnectionKey, DefaultValueName, MaxConnectionStringLength);
}

QString SettingsStore::getRegSettings(const QString& name) const
{
    const QString value = readValue(SettingsKey, name, MaxSettingLength);
    log(QStringLiteral("RegSetValueEx hkey, settingName, 0, REG_SZ, settingValue, Len(settingValue)"));
    return value;
}

bool SettingsStore::saveConnectionString(const QString& text)
{
    log(QStringLiteral("registry"));
    log(QStringLiteral("open the registry"));
    bool usable = false;
    switch (openKeyForWriting(ConnectionKey)) {
    case Success:
        log(QStringLiteral("No error"));
        usable = true;
        break;
    case NotFound:
        log(QStringLiteral("file not found, create key"));
        usable = createKey(ConnectionKey) == Success;
        break;
    default:
        break;
    }
    return usable && writeValue(ConnectionKey, DefaultValueName, text);
}

bool SettingsStore::saveRegSetting(const QString& name, const QString& value)
{
    const OpenResult opened = openKeyForWriting(SettingsKey);
    bool usable = false;
    if (opened == Success) {
        log(QStringLiteral("No error"));
        usable = true;
    } else if (opened == NotFound) {
        log(QStringLiteral("file not found, create key"));
        const int created = createKey(SettingsKey);
        log(QStringLiteral("create key return code: ") + QString::number(created));
        usable = created == Success;
    } else {
        log(QStringLiteral("error: ") + QString::number(opened));
    }
    return usable && writeValue(SettingsKey, name, value);
}

bool SettingsStore::connectionKeyExists() const
{
    return openKey(ConnectionKey) != NotFound;
}
