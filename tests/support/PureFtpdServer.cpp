#include "PureFtpdServer.h"

#include "LocalServer.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>
#include <QThread>

#include <unistd.h>

namespace {

QString sbin(const char* program)
{
    return QStringLiteral(QUILLMERE_PURE_FTPD_DIR "/usr/sbin/") + QLatin1String(program);
}

} // namespace

PureFtpdServer::~PureFtpdServer()
{
    // The server forks processes per session (and those fork their helpers); all of them go.
    for (auto* process : {m_ftpd.get(), m_authd.get()}) {
        if (process && process->state() != QProcess::NotRunning) {
            localserver::endWithDescendants(process->processId());
            process->waitForFinished(5000);
        }
    }
    if (!m_root.isEmpty())
        QDir(m_root).removeRecursively();
}

QString PureFtpdServer::unavailableReason()
{
    return localserver::ftpServerUnavailable(QStringLiteral("pure-ftpd"), {sbin("pure-ftpd"), sbin("pure-authd")});
}

bool PureFtpdServer::start(const QString& settingsFile, QString* whyNot)
{
    *whyNot = unavailableReason();
    if (!whyNot->isEmpty())
        return false;
    m_root = localserver::makeFolder("quillmere-ftpd");
    if (m_root.isEmpty()) {
        *whyNot = QStringLiteral("cannot make a folder for the server");
        return false;
    }
    const QString socket = m_root + QStringLiteral("/authd.sock");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QUILLMERE_SETTINGS"), settingsFile);
    m_authd = std::make_unique<QProcess>();
    m_authd->setProcessEnvironment(environment);
    m_authd->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_authd->start(sbin("pure-authd"), {QStringLiteral("-s"), socket, QStringLiteral("-r"), QStringLiteral(QUILLMERE_BIN_DIR "/gatewick")});
    if (!m_authd->waitForStarted()) {
        *whyNot = QStringLiteral("pure-authd did not start: ") + m_authd->errorString();
        return false;
    }
    for (int wait = 0; wait < 100 && !QFileInfo::exists(socket); ++wait)
        QThread::msleep(20);

    m_port = localserver::freePort();
    // The server takes at most half as many clients as it has passive ports.
    // Above the ephemeral ports and ProFTPD's passive ranges, as there.
    const int passive = 63000 + (::getpid() % 25) * 100;
    m_ftpd = std::make_unique<QProcess>();
    m_ftpd->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_ftpd->start(sbin("pure-ftpd"),
                  {QStringLiteral("-S"), QStringLiteral("127.0.0.1,%1").arg(m_port), QStringLiteral("-l"),
                   QStringLiteral("extauth:") + socket, QStringLiteral("-p"), QStringLiteral("%1:%2").arg(passive).arg(passive + 99),
                   QStringLiteral("-E"), QStringLiteral("-H"), QStringLiteral("-c"), QStringLiteral("40"), QStringLiteral("-C"),
                   QStringLiteral("40")});
    if (!m_ftpd->waitForStarted()) {
        *whyNot = QStringLiteral("pure-ftpd did not start: ") + m_ftpd->errorString();
        return false;
    }
    if (QTest::qWaitFor([this] { return localserver::greets(m_port); }, 10000))
        return true;
    *whyNot = QStringLiteral("pure-ftpd does not answer on port %1").arg(m_port);
    return false;
}

QString PureFtpdServer::url(const QString& path) const
{
    return QStringLiteral("ftp://127.0.0.1:%1%2").arg(m_port).arg(path);
}

QStringList PureFtpdServer::curlArguments(const QString& user, const QString& password, const QStringList& more)
{
    return QStringList{QStringLiteral("--silent"), QStringLiteral("--show-error"), QStringLiteral("--max-time"), QStringLiteral("30"),
                       QStringLiteral("--user"), user + QLatin1Char(':') + password}
        + more;
}
