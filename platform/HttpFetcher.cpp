#include "platform/HttpFetcher.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

HttpFetcher::Result HttpFetcher::get(const QUrl& url) const
{
    QNetworkAccessManager network;
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setTransferTimeout(m_timeoutMs);
    QNetworkReply* reply = network.get(request);

    QEventLoop wait;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(reply, &QNetworkReply::finished, &wait, &QEventLoop::quit);
    QObject::connect(&deadline, &QTimer::timeout, reply, &QNetworkReply::abort);
    deadline.start(m_timeoutMs);
    if (!reply->isFinished())
        wait.exec(QEventLoop::ExcludeUserInputEvents);

    Result result;
    result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    result.body = reply->readAll();
    result.ok = reply->error() == QNetworkReply::NoError && result.status >= 200 && result.status < 300;
    if (!result.ok)
        result.error = reply->errorString();
    reply->deleteLater();
    return result;
}
