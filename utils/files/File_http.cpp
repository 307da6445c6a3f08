#include "utils/files/File_p.h"

#include "utils/base/Interrupt_p.h"
#include "utils/base/LastError_p.h"
#include "utils/feedback/WaitCursor.h"
#include "utils/files/File.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <atomic>
#include <limits>
#include <new>

namespace Utils {

static const int longestSleep = 50; // in milliseconds

namespace {

struct HttpLimits // 0 for none
{
    int msec = 0;
    qint64 bytes = 0;
};

} // namespace

/// The largest number of bytes that can be converted to a text.
static constexpr qint64 maxBodySize = std::numeric_limits<int>::max() / 2 - 64;

// Of the process. Addresses are read on any thread.
static std::atomic<int> limitOfTime = 0;
static std::atomic<qint64> limitOfSize = 0;

void File::setHttpLimits(int msec, qint64 bytes)
{
    limitOfTime = std::max(msec, 0);
    limitOfSize = std::max(bytes, qint64(0));
}

/// Whether the body of \p reply is shorter than its header states. Qt reports this error only if it
/// detects the end of the connection before it has read the bytes before that. For a compressed
/// body, Qt keeps no length to compare with.
static bool isCutOff(const QNetworkReply &reply)
{
    const QVariant told = reply.header(QNetworkRequest::ContentLengthHeader);
    return told.isValid() && !reply.hasRawHeader("Content-Encoding") &&
           reply.bytesAvailable() < told.toLongLong();
}

namespace {

/// The proxies of the application, without the type for which Qt regards its sockets as unbuffered.
///
/// When a request cannot be written to such a socket, because its connection is broken already, Qt
/// does not detect it and waits for the reply forever. The default proxy, which is used instead,
/// also means a direct connection unless the application has set one.
class BufferedProxies : public QNetworkProxyFactory
{
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override
    {
        QList<QNetworkProxy> proxies = proxyForQuery(query);
        for (QNetworkProxy &proxy : proxies) {
            if (proxy.type() == QNetworkProxy::NoProxy)
                proxy = QNetworkProxy(QNetworkProxy::DefaultProxy);
        }
        return proxies;
    }
};

} // namespace

static QNetworkRequest requestFor(const QString &address, const HttpLimits &limits)
{
    QNetworkRequest request(QUrl::fromEncoded(address.toLocal8Bit(), QUrl::TolerantMode));
    request.setAttribute(QNetworkRequest::HttpPipeliningAllowedAttribute, false);
    request.setRawHeader("User-Agent", "none");
    // Qt decompresses all received data at once, up to a thousand times its size, before it reports
    // any.
    if (limits.bytes > 0)
        request.setRawHeader("Accept-Encoding", "identity");
    return request;
}

namespace {

/// Aborts a reply when it exceeds a limit.
class ReplyLimiter
{
public:
    ReplyLimiter(QNetworkReply *reply, const HttpLimits &limits)
        : m_reply(reply),
          m_mostBytes(limits.bytes > 0 ? std::min(limits.bytes, maxBodySize) : maxBodySize)
    {
        QObject::connect(reply, &QNetworkReply::readyRead, reply, [this] {
            if (isTooLarge())
                m_reply->abort();
        });
        m_timer.setSingleShot(true);
        QObject::connect(&m_timer, &QTimer::timeout, reply, [this] {
            m_isLate = true;
            m_reply->abort();
        });
        if (limits.msec > 0)
            m_timer.start(limits.msec);
    }
    ReplyLimiter(const ReplyLimiter &) = delete;
    ReplyLimiter &operator=(const ReplyLimiter &) = delete;

    qint64 mostBytes() const { return m_mostBytes; }
    bool isTooLarge() const { return m_reply->bytesAvailable() > m_mostBytes; }
    bool isLate() const { return m_isLate; }

private:
    QNetworkReply *const m_reply;
    const qint64 m_mostBytes;
    QTimer m_timer;
    bool m_isLate = false;
};

} // namespace

/// Processes events until \p reply is finished or deleted.
static void waitForEnd(const QPointer<QNetworkReply> &reply)
{
    // The last event may be handled in the same pass before the sleep, so the end of the reply
    // wakes the dispatcher up. A handler that processes events itself may consume this wake-up, so
    // a timer wakes it up regularly, too.
    QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance();
    QObject::connect(reply, &QNetworkReply::finished, dispatcher,
                     &QAbstractEventDispatcher::wakeUp);
    QTimer alarm;
    alarm.start(longestSleep);
    const LastError::Apart ofHandlers;
    while (reply && !reply->isFinished()) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents |
                                        QEventLoop::WaitForMoreEvents);
        if (reply && Interrupt::isRequested())
            reply->abort();
    }
}

/// The text of \p reply, which is complete.
static QString bodyOf(QNetworkReply &reply)
{
    // With its length: converted from the QByteArray, the body would end at its first zero byte.
    try {
        const QByteArray body = reply.readAll();
        return QString::fromUtf8(body.constData(), body.size());
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
        return {};
    }
}

QString readHttp(const QString &address)
{
    const auto fail = [&](const char *id, const QString &value = QString()) {
        LastError::set(id, {address, value});
        return QString();
    };
    // Without an application there is no event loop to wait in.
    if (!QCoreApplication::instance())
        return fail(".err.httploop");

    // A thread that Qt has not started, such as that of a script, has no event dispatcher: nothing
    // would arrive there. Qt makes one with the first event loop, and deletes it when the thread
    // ends.
    const QEventLoop makesDispatcher;
    const WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
    const HttpLimits limits = {limitOfTime, limitOfSize};
    QNetworkAccessManager manager;
    manager.setProxyFactory(new BufferedProxies); // takes ownership
    // Handlers of the host may delete the reply.
    const QPointer<QNetworkReply> reply(manager.get(requestFor(address, limits)));
    const ReplyLimiter limiter(reply, limits);
    waitForEnd(reply);
    if (!reply)
        return fail(".err.httpcut");

    reply->deleteLater();
    if (limiter.isTooLarge())
        return fail(".err.httpsize", QString::number(limiter.mostBytes()));
    if (limiter.isLate() && reply->error() != QNetworkReply::NoError)
        return fail(".err.httptime", QString::number(limits.msec));
    if (reply->error() != QNetworkReply::NoError)
        return fail(".err.http", reply->errorString());
    if (isCutOff(*reply))
        return fail(".err.httpcut");
    if (limits.bytes > 0 && reply->hasRawHeader("Content-Encoding"))
        return fail(".err.httppacked"); // contrary to the request
    return bodyOf(*reply);
}

} // namespace Utils
