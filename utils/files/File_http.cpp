#include "utils/files/File_http_p.h"

#include "utils/feedback/WaitCursor.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

#include <new>

namespace Utils {

QString readHttp(const QString &address)
{
    // There is no event loop to wait in.
    if (!QCoreApplication::instance())
        return {};

    const WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
    QNetworkAccessManager manager;
    QNetworkRequest request(QUrl::fromEncoded(address.toLocal8Bit(), QUrl::TolerantMode));
    request.setAttribute(QNetworkRequest::HttpPipeliningAllowedAttribute, false);
    request.setRawHeader("User-Agent", "none");
    QNetworkReply *const reply = manager.get(request);
    if (!reply)
        return {};

    while (!reply->isFinished())
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    reply->deleteLater();
    if (reply->error() != QNetworkReply::NoError)
        return {};

    // With its length: taken as a QByteArray the body would end at its first zero byte.
    try {
        const QByteArray body = reply->readAll();
        return QString::fromUtf8(body.constData(), body.size());
    } catch (const std::bad_alloc &) {
        return {}; // larger than the memory
    }
}

} // namespace Utils
