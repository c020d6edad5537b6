#pragma once

#include <QByteArray>
#include <QHash>
#include <QStringList>
#include <QTcpServer>
#include <QUrl>

// A real HTTP server on loopback for the tests: it answers GET requests for the
// paths it was given (with their query), and 404 for any other.
class LoopbackHttpServer : public QObject
{
    Q_OBJECT

public:
    LoopbackHttpServer();

    void setReply(const QString& pathAndQuery, const QByteArray& body);
    QUrl baseUrl() const;
    // The paths asked for, in order.
    const QStringList& requests() const { return m_requests; }

private:
    void answer(QTcpSocket* socket);

    QTcpServer m_server;
    QHash<QString, QByteArray> m_replies;
    QStringList m_requests;
};
