#include "platform/SettingsStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

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
std::unique_ptr<QSettings> openSettings(const QString& filePath, const QString& keyPath)
{
    auto settings = std::make_unique<QSettings>(filePath, QSettings::IniFormat);
    settings->beginGroup(keyPath);
    return settings;
}
#endif

// QSettings reports a malformed section header only to the instance that parsed
// the file first (later ones read its process-wide cache), so the one flaw that
// makes it misread a file is looked for here.
bool hasUnclosedSection(const QString& filePath)
{
    QFile file(filePath);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (line.startsWith('[') && !line.contains(']'))
            return true;
    }
    return false;
}

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
    auto settings = openSettings(m_path, keyPath);
    // QSettings parses the file on its first read, so the status is asked afterwards.
    const bool empty = settings->childKeys().isEmpty() && settings->childGroups().isEmpty();
    if (settings->status() != QSettings::NoError || hasUnclosedSection(m_path))
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
    auto settings = openSettings(m_path, keyPath);
    const QVariant value = settings->value(name);
    // An unquoted value with commas, as a hand edit may leave it, reads as a list.
    QString text = value.typeId() == QMetaType::QStringList
        ? value.toStringList().join(QLatin1Char(','))
        : value.toString();
    return text.left(maxLength);
}

void SettingsStore::writeValue(const QString& keyPath, const QString& name, const QString& value)
{
    auto settings = openSettings(m_path, keyPath);
    if (!settings->isWritable())
        return;
    settings->setValue(name, value);
    settings->sync();
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
    if (usable)
        writeValue(ConnectionKey, DefaultValueName, text);
    return usable;
}

void SettingsStore::saveRegSetting(const QString& name, const QString& value)
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
    if (usable)
        writeValue(SettingsKey, name, value);
}

bool SettingsStore::connectionKeyExists() const
{
    return openKey(ConnectionKey) != NotFound;
}
