#pragma once

#include <QByteArrayList>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <functional>

/// An HTTP server on this machine, in the event loop of the test, which notes each request.
class HttpServer : public QTcpServer
{
public:
    QByteArrayList requests; ///< their lines up to the empty one

    /// Called once for each request, to write to the socket. It may do so later, too.
    std::function<void(QTcpSocket *)> answer;

    explicit HttpServer(std::function<void(QTcpSocket *)> reaction = {})
        : answer(std::move(reaction))
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this] { serve(nextPendingConnection()); });
    }

    /// Answers each request with \p response, and closes the connection a little later: Qt may ask
    /// again when it finds the answer and the end of the connection at once.
    explicit HttpServer(const QByteArray &response)
        : HttpServer([response](QTcpSocket *socket) {
              socket->write(response);
              QTimer::singleShot(50, socket, &QTcpSocket::disconnectFromHost);
          })
    {}

    /// The address of \p path, which starts with "/", on this server.
    QString address(const QString &path) const
    {
        return QStringLiteral("http://127.0.0.1:%1").arg(serverPort()) + path;
    }

private:
    void serve(QTcpSocket *socket)
    {
        connect(socket, &QTcpSocket::readyRead, this,
                [this, socket, request = QByteArray()]() mutable {
                    request += socket->readAll();
                    if (!request.contains("\r\n\r\n"))
                        return;
                    requests.append(request);
                    request.clear();
                    answer(socket);
                });
    }
};
