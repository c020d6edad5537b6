#include "LoopbackHttpServer.h"

#include <QTcpSocket>

LoopbackHttpServer::LoopbackHttpServer()
{
    m_server.listen(QHostAddress::LocalHost, 0);
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
}

void LoopbackHttpServer::setReply(const QString& pathAndQuery, const QByteArray& body)
{
    m_replies.insert(pathAndQuery, body);
}

QUrl LoopbackHttpServer::baseUrl() const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort()));
}

void LoopbackHttpServer::answer(QTcpSocket* socket)
{
    QByteArray request = socket->property("request").toByteArray() + socket->readAll();
    socket->setProperty("request", request);
    if (!request.contains("\r\n\r\n"))
        return;
    const QList<QByteArray> requestLine = request.left(request.indexOf("\r\n")).split(' ');
    const QString path = QString::fromLatin1(requestLine.value(1));
    m_requests.append(path);
    const bool found = m_replies.contains(path);
    const QByteArray body = found ? m_replies.value(path) : QByteArray("not here");
    socket->write(QByteArray(found ? "HTTP/1.1 200 OK" : "HTTP/1.1 404 Not Found") + "\r\nContent-Type: application/octet-stream\r\n"
                  + "Content-Length: " + QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
    socket->disconnectFromHost();
}
