#pragma once

#include "maintenance/ReleaseVersion.h"

#include <QByteArray>
#include <QString>

#include <chrono>

class InstanceLock;

// Puts a downloaded update in place of the program: "Vantrel.upg" with its
// signature file "Vantrel.upg.sig", in the program's folder. Only a package signed
// with the key built into the updater, for a version newer than the running one, is
// installed (so an older signed release cannot be replayed); the old program is
// kept as "Vantrel.bak", and whatever fails on the way leaves the old program in place.
class UpdateInstaller
{
public:
    struct Outcome
    {
        bool installed = false;
        QString message; // why nothing was installed, in words for the administrator
    };

    UpdateInstaller(QString folder, QByteArray publicKey, updates::Version running);

    static QString programName();
    QString programPath() const;

    // Waits until the program that started the updater has ended: it holds the
    // single-instance lock while it runs.
    bool waitForProgramEnd(InstanceLock& lock, std::chrono::milliseconds timeout) const;
    Outcome install() const;

    // Whether the signed bytes verify against the key; a key of the wrong size never does.
    static bool signatureMatches(const QByteArray& message, const QByteArray& signature, const QByteArray& publicKey);
    // Whether the bytes start the way this platform's programs do (ELF, or PE on Windows).
    static bool isProgramOfThisPlatform(const QByteArray& bytes);

private:
    QString path(const char* name) const;

    QString m_folder;
    QByteArray m_publicKey;
    updates::Version m_running;
};
