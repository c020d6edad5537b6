#pragma once

#include "IniDocument.h"
#include "MigrationSource.h"

#include <QMap>
#include <QSet>
#include <QStringList>

#include <functional>
#include <optional>

class DateForm;

// Reads one user section of the server's INI file into an account, key by key, as
// the generation's layout defines them. Every value that finds no column is listed
// in the account's notCarried with the reason.
namespace migration {

class IniAccountReader
{
public:
    IniAccountReader(Generation generation, const DateForm& dates, MigratedAccount& account, QStringList& warnings);

    void read(const IniSection& section);

private:
    void take(const IniEntry& entry);
    bool takeIndexed(const IniEntry& entry);
    void leave(const QString& key, const QString& value, const QString& reason);
    void finish();

    void readPassword(const QString& value);
    void readWhole(const IniEntry& entry, const std::function<void(qint64)>& store);
    void readSwitch(const IniEntry& entry, std::optional<bool>& target);
    void readLoginsPerIp(qint64 limit);
    void readPath(const IniEntry& entry, const std::function<void(const QString&)>& store);
    void readSpeed(const IniEntry& entry, std::optional<IniEntry>& target);
    void finishAccess();
    void finishIpAccess();
    void finishNotes();
    void finishSpeed();
    void finishRatio();

    Generation m_generation;
    const DateForm& m_dates;
    MigratedAccount& m_account;
    QStringList& m_warnings;
    QSet<QString> m_seenKeys;
    QMap<qint64, IniEntry> m_access;
    QMap<qint64, IniEntry> m_ipAccess;
    QMap<qint64, IniEntry> m_notes;
    std::optional<IniEntry> m_speedBoth, m_speedUp, m_speedDown;
    std::optional<IniEntry> m_ratioKind, m_ratioUp, m_ratioDown, m_ratioCredit;
    bool m_sawPassword = false;
    bool m_sawHome = false;
};

} // namespace migration
