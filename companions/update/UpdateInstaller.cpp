#include "UpdateInstaller.h"

#include "maintenance/PackageSignature.h"
#include "platform/InstanceLock.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <sodium.h>

UpdateInstaller::UpdateInstaller(QString folder, QByteArray publicKey, updates::Version running)
    : m_folder(std::move(folder))
    , m_publicKey(std::move(publicKey))
    , m_running(running)
{
}

QString UpdateInstaller::programName()
{
#ifdef Q_OS_WIN
    return QStringLiteral("Vantrel.exe");
#else
    return QStringLiteral("Vantrel");
#endif
}

QString UpdateInstaller::path(const char* name) const
{
    return QDir(m_folder).filePath(QLatin1String(name));
}

QString UpdateInstaller::programPath() const
{
    return QDir(m_folder).filePath(programName());
}

bool UpdateInstaller::waitForProgramEnd(InstanceLock& lock, std::chrono::milliseconds timeout) const
{
    QElapsedTimer waited;
    waited.start();
    while (!lock.tryAcquire()) {
        if (waited.elapsed() >= timeout.count())
            return false;
        QThread::msleep(100);
    }
    // The new program takes the lock itself when it starts.
    lock.release();
    return true;
}

bool UpdateInstaller::signatureMatches(const QByteArray& message, const QByteArray& signature, const QByteArray& publicKey)
{
    if (sodium_init() < 0 || signature.size() != crypto_sign_BYTES || publicKey.size() != crypto_sign_PUBLICKEYBYTES)
        return false;
    return crypto_sign_verify_detached(reinterpret_cast<const unsigned char*>(signature.constData()),
                                       reinterpret_cast<const unsigned char*>(message.constData()),
                                       static_cast<unsigned long long>(message.size()),
                                       reinterpret_cast<const unsigned char*>(publicKey.constData()))
        == 0;
}

bool UpdateInstaller::isProgramOfThisPlatform(const QByteArray& bytes)
{
#ifdef Q_OS_WIN
    return bytes.startsWith("MZ");
#else
    return bytes.startsWith("\x7f" "ELF");
#endif
}

UpdateInstaller::Outcome UpdateInstaller::install() const
{
    const QString packagePath = path("Vantrel.upg");
    QFile packageFile(packagePath);
    QFile signatureFile(path("Vantrel.upg.sig"));
    QByteArray package;
    QByteArray signature;
    if (packageFile.open(QIODevice::ReadOnly))
        package = packageFile.readAll();
    packageFile.close();
    if (signatureFile.open(QIODevice::ReadOnly))
        signature = signatureFile.readAll();

    if (package.isEmpty())
        return {false, QStringLiteral("The update package \"%1\" is missing or empty. Nothing was installed.").arg(packagePath)};
    if (m_publicKey.isEmpty())
        return {false, QStringLiteral("This updater was built without the key that update packages are signed with, "
                                      "so it cannot tell a genuine package. Nothing was installed.")};
    if (signature.isEmpty())
        return {false, QStringLiteral("The update package carries no signature, so it may not be genuine. Nothing was installed.")};
    const auto signedFor = updates::readSignatureFile(signature);
    if (!signedFor)
        return {false, QStringLiteral("The signature file of the update package is not in the form this updater reads "
                                      "(a version line and the signature), so the package may not be genuine. Nothing was installed.")};
    if (!signatureMatches(updates::signedMessage(signedFor->version, package), signedFor->signature, m_publicKey))
        return {false, QStringLiteral("The update package is not genuine: its signature does not match. Nothing was installed.")};
    if (updates::versionValue(signedFor->version) <= updates::versionValue(m_running))
        return {false, QStringLiteral("The update package is version %1, which is not newer than the version installed here (%2). "
                                      "An update never goes back to an older or the same version. Nothing was installed.")
                           .arg(updates::versionText(signedFor->version), updates::versionText(m_running))};
    if (!isProgramOfThisPlatform(package))
        return {false, QStringLiteral("The update package is not a program for this computer. Nothing was installed.")};

    const QString program = programPath();
    const QString backup = path("Vantrel.bak");
    const QFileDevice::Permissions permissions = QFileInfo::exists(program)
        ? QFile::permissions(program)
        : QFileDevice::Permissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::ExeGroup
                                   | QFile::ReadOther | QFile::ExeOther);
    if (QFileInfo::exists(backup) && !QFile::remove(backup))
        return {false, QStringLiteral("The old backup \"%1\" could not be removed. Nothing was installed.").arg(backup)};
    if (QFileInfo::exists(program) && !QFile::rename(program, backup))
        return {false, QStringLiteral("The program \"%1\" could not be moved aside. Nothing was installed.").arg(program)};
    const auto putBack = [&] {
        QFile::remove(program);
        QFile::rename(backup, program);
    };
    if (!QFile::rename(packagePath, program)) {
        putBack();
        return {false, QStringLiteral("The new program could not be put in place of \"%1\". The old program is back.").arg(program)};
    }
    if (!QFile::setPermissions(program, permissions)) {
        putBack();
        return {false, QStringLiteral("The new program \"%1\" could not be made runnable. The old program is back.").arg(program)};
    }
    QFile::remove(path("Vantrel.upg.sig"));
    return {true, {}};
}
