#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

// A synchronous HTTP GET for the update check: it waits in a local event loop, so
// the windows keep painting, and gives up after its time-out.
class HttpFetcher
{
public:
    struct Result
    {
        bool ok = false; // a 2xx answer arrived in time
        int status = 0;
        QByteArray body;
        QString error;
    };

    explicit HttpFetcher(int timeoutMs = 60000) : m_timeoutMs(timeoutMs) {}
    Result get(const QUrl& url) const;

private:
    int m_timeoutMs;
};
