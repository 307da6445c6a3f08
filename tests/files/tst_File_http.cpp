#include "utils/files/File.h"

#include "tests/support/HttpServer.h"
#include "tests/support/Print.h"
#include "tests/support/Windows.h"

#include "utils/feedback/WaitCursor.h"
#include "utils/strings/StringTable.h"

#include <QAbstractEventDispatcher>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QPointer>
#include <QTextCodec>
#include <QTimer>
#include <QWindow>
#include <QtTest>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <thread>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

using Utils::File;

static std::atomic<bool> failsToSend; // a request, as the other side has closed the connection

#ifndef _WIN32 // where no call can be replaced

extern "C" __attribute__((visibility("default"))) ssize_t write(int file, const void *bytes,
                                                                std::size_t size)
{
    if (failsToSend && size > 4 && std::memcmp(bytes, "GET ", 4) == 0) {
        errno = EPIPE;
        return -1;
    }
    return syscall(SYS_write, file, bytes, size);
}

#endif

namespace {

/// A window that counts how often the mouse moves in it.
class MouseWindow : public QWindow
{
public:
    int moves = 0;

protected:
    void mouseMoveEvent(QMouseEvent *) override { ++moves; }
};

} // namespace

/// Calls \p step \p times times, on one pass of the event loop after the other.
static void onEachPass(int times, const std::function<void(int)> &step)
{
    QTimer::singleShot(0, [=] {
        step(times - 1);
        if (times > 1)
            onEachPass(times - 1, step);
    });
}

static QByteArray response(const QByteArray &status, const QByteArray &body)
{
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\n\r\n" + body;
}

/// The time that this process has had a processor, in milliseconds.
static qint64 processorTime()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    const auto milliseconds = [](const timeval &time) {
        return qint64(time.tv_sec) * 1000 + time.tv_usec / 1000;
    };
    return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

namespace {

/// What a thread has read that Qt has not started.
struct ThreadRead
{
    Data::String text;
    Data::String reason;
    QPointer<QAbstractEventDispatcher> dispatcher; // of the thread
    std::atomic<bool> isDone = false;
};

} // namespace

/// Reads \p address on a thread of its own, and processes events meanwhile. Returns null when the
/// thread does not end.
static std::shared_ptr<ThreadRead> readOnThread(const QString &address)
{
    const auto result = std::make_shared<ThreadRead>();
    std::thread thread([=] {
        result->text = File::read(address);
        result->reason = File::lastError();
        result->dispatcher = QAbstractEventDispatcher::instance();
        result->isDone = true;
    });
    if (!QTest::qWaitFor([&] { return result->isDone.load(); }, 60000)) {
        thread.detach();
        return nullptr;
    }
    thread.join();
    return result;
}

class tst_File_http : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsTheBodyOfTheAnswer_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<Data::String>("expected");

        const QByteArray redirect = "302 Found\r\nLocation: /other";
        // clang-format off
        QTest::newRow("text") << response("200 OK", "a\r\nb\n") << Data::String("a\r\nb\n");
        QTest::newRow("beyond ASCII") << response("200 OK", "ä€😀") << Data::String("ä€😀");
        QTest::newRow("empty") << response("200 OK", "") << Data::String();
        QTest::newRow("zero bytes") << response("200 OK", QByteArray("a\0b", 3))
            << Data::String(QString("a") + QChar(0) + "b");
        QTest::newRow("a mark is dropped") << response("200 OK", "\xef\xbb\xbf" "a") << Data::String("a");
        QTest::newRow("invalid bytes") << response("200 OK", "a\x80" "b") << Data::String("a\xef\xbf\xbd" "b");
        QTest::newRow("of no told length") << QByteArray("HTTP/1.0 200 OK\r\n\r\ntext") << Data::String("text");
        QTest::newRow("in chunks")
            << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nte\r\n2\r\nxt\r\n0\r\n\r\n")
            << Data::String("text");
        QTest::newRow("another success") << response("203 Non-Authoritative", "text") << Data::String("text");
        QTest::newRow("a redirect") << response(redirect, "moved") << Data::String("moved");
        // clang-format on
    }

    void readsTheBodyOfTheAnswer()
    {
        QFETCH(QByteArray, answer);
        QFETCH(Data::String, expected);
        HttpServer server(answer);

        const Data::String result = File::read(server.address("/file"));

        QCOMPARE(result, expected);
        QCOMPARE(server.requests.size(), 1); // so a redirect is not followed
    }

    void readsNothingWhereTheAnswerIsNoSuccess_data()
    {
        QTest::addColumn<QByteArray>("answer");

        // clang-format off
        QTest::newRow("not found") << response("404 Not Found", "body");
        QTest::newRow("not allowed") << response("403 Forbidden", "body");
        QTest::newRow("wants a password") << response("401 Unauthorized", "body");
        QTest::newRow("server error") << response("500 Internal Server Error", "body");
        QTest::newRow("closed in the middle") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nbody");
        QTest::newRow("closed within the header") << QByteArray("HTTP/1.1 200 OK\r\nConte");
        QTest::newRow("closed at once") << QByteArray();
        // clang-format on
    }

    void readsNothingWhereTheAnswerIsNoSuccess()
    {
        QFETCH(QByteArray, answer);
        HttpServer server(answer);

        const Data::String result = File::read(server.address("/file"));

        QCOMPARE(result, Data::String());
        QVERIFY(!server.requests.isEmpty());
    }

    void readsAllWhateverNumberOfLinesIsGiven_data()
    {
        QTest::addColumn<int>("lines");
        QTest::newRow("0") << 0;
        QTest::newRow("1") << 1;
        QTest::newRow("-1") << -1;
        QTest::newRow("least") << INT_MIN;
        QTest::newRow("most") << INT_MAX;
    }

    void readsAllWhateverNumberOfLinesIsGiven()
    {
        QFETCH(int, lines);
        const QByteArray body = QByteArray("line\r\n").repeated(100) + "end";
        HttpServer server(response("200 OK", body));

        QCOMPARE(File::read(server.address("/file"), lines).toUtf8(), body);
    }

    void readsABodyThatComesInPieces()
    {
        HttpServer server;
        server.answer = [](QTcpSocket *socket) {
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\n");
            // Pieces of one byte, so that sequences are cut.
            onEachPass(50, [=](int left) {
                socket->write(QByteArray("ä").mid(left % 2 == 1 ? 0 : 1, 1));
                socket->flush();
            });
        };

        QCOMPARE(File::read(server.address("/file")), Data::String(QString("ä").repeated(25)));
    }

    void readsALargeBody()
    {
        const QByteArray body = QByteArray("some text, ä\n").repeated(500000);
        HttpServer server(response("200 OK", body));

        QVERIFY(File::read(server.address("/file")).toUtf8() == body);
    }

    void asksPlainlyAndWithoutAName()
    {
        HttpServer server(response("200 OK", ""));

        File::read(server.address("/folder/file?key=value"));

        const QList<QByteArray> lines = server.requests.value(0).split('\n');
        QCOMPARE(lines.value(0), QByteArray("GET /folder/file?key=value HTTP/1.1\r"));
        QCOMPARE(lines.count("User-Agent: none\r"), 1);
        QCOMPARE(server.requests.value(0).toLower().count("user-agent:"), 1);
    }

    void asksForAnAddressInTheLocalEncoding_data()
    {
        QTest::addColumn<QByteArray>("codec");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("asked");

        // clang-format off
        QTest::newRow("UTF-8") << QByteArray("UTF-8") << "/ä" << QByteArray("/%C3%A4");
        QTest::newRow("Latin-1 whose bytes are UTF-8") << QByteArray("ISO-8859-1") << "/Ã¤" << QByteArray("/%C3%A4");
        QTest::newRow("Latin-1 whose bytes are none") << QByteArray("ISO-8859-1") << "/ä" << QByteArray("/%EF%BF%BD");
        QTest::newRow("a blank") << QByteArray("UTF-8") << "/a b" << QByteArray("/a%20b");
        QTest::newRow("encoded already") << QByteArray("UTF-8") << "/a%20b%C3%A4" << QByteArray("/a%20b%C3%A4");
        QTest::newRow("a stray percent sign") << QByteArray("UTF-8") << "/100%" << QByteArray("/100%25");
        // clang-format on
    }

    void asksForAnAddressInTheLocalEncoding()
    {
        QFETCH(QByteArray, codec);
        QFETCH(QString, path);
        QFETCH(QByteArray, asked);
        HttpServer server(response("200 OK", "text"));
        QTextCodec *const before = QTextCodec::codecForLocale();
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(codec));

        const Data::String result = File::read(server.address(path));
        QTextCodec::setCodecForLocale(before);

        QCOMPARE(result, Data::String("text"));
        QCOMPARE(server.requests.value(0).split(' ').value(1), asked);
    }

    void endsWhenTheRequestCannotBeSent()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        const HttpServer server(QByteArray("HTTP/1.0 200 OK\r\n\r\nbody"));
        const QString address = server.address("/x");
        QCOMPARE(File::read(address), Data::String("body"));
        File::setHttpLimits(10000, 0); // so that a failure of this test ends
        QElapsedTimer timer;
        timer.start();

        failsToSend = true;
        const Data::String text = File::read(address);
        failsToSend = false;
        File::setHttpLimits(0, 0);

        QCOMPARE(text, Data::String());
        QVERIFY(timer.elapsed() < 9000);
        QCOMPARE(server.requests.size(), 1);
    }

    void goesThroughTheProxyOfTheApplication()
    {
        const HttpServer server(QByteArray("HTTP/1.0 200 OK\r\n\r\nbody"));
        QNetworkProxy::setApplicationProxy(
            QNetworkProxy(QNetworkProxy::HttpProxy, "127.0.0.1", server.serverPort()));
        const Data::String text = File::read("http://no.such.host/x");
        QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);

        QCOMPARE(text, Data::String("body"));
        QVERIFY(server.requests.value(0).startsWith("GET http://no.such.host/x "));
    }

    void readsNothingWhereNobodyListens()
    {
        QTcpSocket taken; // no other socket can listen at its port meanwhile
        QVERIFY(taken.bind(QHostAddress(QHostAddress::LocalHost)));

        QCOMPARE(File::read(QString("http://127.0.0.1:%1/file").arg(taken.localPort())),
                 Data::String());
    }

    void readsNothingFromWhatIsNoAddress_data()
    {
        QTest::addColumn<QString>("address");

        QTest::newRow("nothing more") << "http://";
        QTest::newRow("no host") << "http:///file";
        QTest::newRow("no host but a port") << "http://:80/file";
        QTest::newRow("a bracket") << "http://[";
        QTest::newRow("no number for a port") << "http://127.0.0.1:port/file";
        QTest::newRow("too large a port") << "http://127.0.0.1:99999/file";
        QTest::newRow("a blank in the host") << "http://a b/file";
    }

    void readsNothingFromWhatIsNoAddress()
    {
        QFETCH(QString, address);
        QCOMPARE(File::read(address), Data::String());
    }

    void letsOtherHandlersRunAndHoldsUserInputBack()
    {
        SKIP_ON_WINDOWS("no window is shown by Wine without a display");
        MouseWindow window;
        window.setGeometry(100, 100, 100, 100);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        HttpServer server;
        int passes = 0;
        server.answer = [&](QTcpSocket *socket) {
            // Queued as input of the user, unlike the input that QTest makes.
            QCursor::setPos(150, 150);
            onEachPass(50, [&passes, socket](int left) {
                ++passes;
                if (left == 0)
                    socket->write(response("200 OK", "text"));
            });
        };

        const Data::String result = File::read(server.address("/file"));

        QCOMPARE(result, Data::String("text"));
        QCOMPARE(passes, 50);
        QCOMPARE(window.moves, 0);
        QTRY_COMPARE(window.moves, 1);
    }

    void sleepsWhileItWaits_data()
    {
        QTest::addColumn<bool>("input");
        QTest::newRow("no event comes") << false;
        QTest::newRow("input of the user is held back") << true;
    }

    void sleepsWhileItWaits()
    {
        SKIP_ON_WINDOWS("no window is shown by Wine without a display");
        QFETCH(bool, input);
        MouseWindow window;
        window.setGeometry(100, 100, 100, 100);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        HttpServer server;
        qint64 before = 0;
        server.answer = [&](QTcpSocket *socket) {
            if (input)
                QCursor::setPos(QCursor::pos() == QPoint(150, 150) ? QPoint(160, 160)
                                                                   : QPoint(150, 150));
            before = processorTime();
            QTimer::singleShot(1000, socket,
                               [socket] { socket->write(response("200 OK", "text")); });
        };

        const Data::String result = File::read(server.address("/file"));
        const qint64 used = processorTime() - before;

        QCOMPARE(result, Data::String("text"));
        QVERIFY2(used < 100, qPrintable(QString("%1 ms of a second").arg(used)));
        QCOMPARE(window.moves, 0);
        QTRY_COMPARE(window.moves, input ? 1 : 0);
    }

    void wakesUpForAnAnswerThatComesWhileAHandlerRunsEvents()
    {
        HttpServer server;
        bool isAnswered = false;
        QElapsedTimer sinceAnswer;
        server.answer = [&](QTcpSocket *socket) {
            // Posted, as the end of the answer is, so that no event is left when both are done.
            QMetaObject::invokeMethod(
                socket,
                [&, socket] {
                    socket->write(response("200 OK", "text"));
                    socket->flush();
                    QElapsedTimer timer;
                    timer.start();
                    while (!timer.hasExpired(200))
                        QCoreApplication::processEvents();
                    isAnswered = true;
                    sinceAnswer.start();
                },
                Qt::QueuedConnection);
        };

        const Data::String result = File::read(server.address("/file"));

        QCOMPARE(result, Data::String("text"));
        QVERIFY(isAnswered);
        QVERIFY(sinceAnswer.elapsed() < 1000);
    }

    void endsWhenAHandlerTakesItsAnswerAway()
    {
        class Remover : public QObject
        {
        public:
            bool eventFilter(QObject *object, QEvent *) override
            {
                if (!m_isDone && object->inherits("QNetworkReply")) {
                    m_isDone = true;
                    QTimer::singleShot(0, this, [object] { delete object; });
                }
                return false;
            }

        private:
            bool m_isDone = false;
        } remover;
        HttpServer server([](QTcpSocket *) {}); // which never answers
        QCoreApplication::instance()->installEventFilter(&remover);

        QCOMPARE(File::read(server.address("/file")), Data::String());
    }

    void readsToTheEndWhenTheApplicationQuits()
    {
        HttpServer server;
        server.answer = [](QTcpSocket *socket) {
            QCoreApplication::quit();
            QTimer::singleShot(100, socket,
                               [socket] { socket->write(response("200 OK", "text")); });
        };
        Data::String result;
        QTimer::singleShot(0, &server, [&] { result = File::read(server.address("/file")); });
        QTimer tooLate;
        QObject::connect(&tooLate, &QTimer::timeout, [] { QCoreApplication::exit(1); });
        tooLate.start(10000);

        QCOMPARE(QCoreApplication::exec(), 0);

        QCOMPARE(result, Data::String("text"));
    }

    void readsNothingOfABodyThatIsShorterThanTold_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("delay"); // of the end of the connection, in ms

        const QByteArray header = "HTTP/1.1 200 OK\r\nContent-Length: ";
        for (const int delay : {0, 50}) {
            const auto row = [delay](const char *name, const QByteArray &answer) {
                QTest::addRow("%s, %s", name, delay > 0 ? "closed later" : "closed at once")
                    << answer << delay;
            };
            row("a part", header + "100\r\n\r\nbody");
            row("all but a byte", response("200 OK", "text").chopped(1));
            row("nothing", header + "4\r\n\r\n");
            row("beyond 32 bits", header + "4294967300\r\n\r\nbody");
        }
    }

    void readsNothingOfABodyThatIsShorterThanTold()
    {
        QFETCH(QByteArray, answer);
        QFETCH(int, delay);
        HttpServer server;
        server.answer = [&](QTcpSocket *socket) {
            socket->write(answer);
            QTimer::singleShot(delay, socket, &QTcpSocket::disconnectFromHost);
        };

        QCOMPARE(File::read(server.address("/file")), Data::String());
    }

    void readsAPackedBody()
    {
        const QByteArray packed = qCompress(QByteArray(100000, 'x')).mid(4);
        HttpServer server("HTTP/1.1 200 OK\r\nContent-Encoding: deflate\r\nContent-Length: " +
                          QByteArray::number(packed.size()) + "\r\n\r\n" + packed);

        QVERIFY(File::read(server.address("/file")).toUtf8() == QByteArray(100000, 'x'));
    }

    void readsWithinTheLimitsOfTheHost_data()
    {
        QTest::addColumn<int>("msec");
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<int>("delay"); // of the answer, in ms
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("isRead");

        QTest::newRow("no limits") << 0 << qint64(0) << 300 << 100000 << true;
        QTest::newRow("negative ones are none") << -1 << qint64(-1) << 300 << 100000 << true;
        QTest::newRow("the largest there are") << INT_MAX << LLONG_MAX << 300 << 100000 << true;
        QTest::newRow("in time") << 20000 << qint64(0) << 300 << 100000 << true;
        QTest::newRow("too late") << 200 << qint64(0) << 20000 << 100000 << false;
        QTest::newRow("as many bytes") << 0 << qint64(100000) << 0 << 100000 << true;
        QTest::newRow("a byte more") << 0 << qint64(99999) << 0 << 100000 << false;
        QTest::newRow("one byte of one") << 0 << qint64(1) << 0 << 1 << true;
        QTest::newRow("one byte of two") << 0 << qint64(1) << 0 << 2 << false;
        QTest::newRow("both kept") << 20000 << qint64(100000) << 0 << 100000 << true;
    }

    void readsWithinTheLimitsOfTheHost()
    {
        QFETCH(int, msec);
        QFETCH(qint64, bytes);
        QFETCH(int, delay);
        QFETCH(int, size);
        QFETCH(bool, isRead);
        const QByteArray body(size, 'x');
        HttpServer server;
        server.answer = [&](QTcpSocket *socket) {
            QTimer::singleShot(delay, socket, [=] { socket->write(response("200 OK", body)); });
        };
        QElapsedTimer timer;
        timer.start();

        File::setHttpLimits(msec, bytes);
        const Data::String result = File::read(server.address("/file"));
        File::setHttpLimits(0, 0);

        QCOMPARE(result.toUtf8(), isRead ? body : QByteArray());
        QVERIFY(timer.elapsed() < 10000);
    }

    void readsOnAnyThread_data()
    {
        QTest::addColumn<int>("msec");
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<bool>("answers");
        QTest::addColumn<Data::String>("text");
        QTest::addColumn<QByteArray>("id"); // of the reason

        const Data::String body("text");
        QTest::newRow("without limits") << 0 << qint64(0) << true << body << QByteArray();
        QTest::newRow("within the limits") << 60000 << qint64(4) << true << body << QByteArray();
        QTest::newRow("too large")
            << 0 << qint64(3) << true << Data::String() << QByteArray(".err.httpsize");
        QTest::newRow("no answer")
            << 300 << qint64(0) << false << Data::String() << QByteArray(".err.httptime");
    }

    void readsOnAnyThread()
    {
        QFETCH(int, msec);
        QFETCH(qint64, bytes);
        QFETCH(bool, answers);
        QFETCH(Data::String, text);
        QFETCH(QByteArray, id);
        HttpServer server;
        server.answer = [&](QTcpSocket *socket) {
            if (answers)
                socket->write(response("200 OK", "text"));
        };
        const QString address = server.address("/file");

        File::setHttpLimits(msec, bytes);
        const auto read = readOnThread(address);
        File::setHttpLimits(0, 0);

        QVERIFY(read);
        QCOMPARE(read->text, text);
        const qint64 limit = bytes > 0 ? bytes : msec;
        const QString expected = Utils::StringTable::lookup(QByteArray(".Kelm.Utils" + id))
                                     .replace("%1", address)
                                     .replace("%2", QString::number(limit));
        QCOMPARE(read->reason.isEmpty(), id.isEmpty());
        QCOMPARE(read->reason, id.isEmpty() ? Data::String() : Data::String(expected));
        QVERIFY(!read->dispatcher); // it has ended with the thread
        QCOMPARE(server.requests.size(), 1);
    }

    void leavesTheCursorAloneOnAnotherThread()
    {
        HttpServer server;
        int shown = 0;
        server.answer = [&](QTcpSocket *socket) {
            shown += Utils::WaitCursor::activated() ? 1 : 0;
            socket->write(response("200 OK", "text"));
        };

        const auto read = readOnThread(server.address("/file"));

        QVERIFY(read);
        QCOMPARE(read->text, Data::String("text"));
        QCOMPARE(shown, 0);
    }

    void givesUpABodyWithoutEnd_data()
    {
        QTest::addColumn<int>("msec");
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<bool>("chunked");

        QTest::newRow("by its size") << 0 << qint64(1000000) << false;
        QTest::newRow("by its size, in chunks") << 0 << qint64(1000000) << true;
        QTest::newRow("by the time") << 300 << qint64(0) << false;
        QTest::newRow("by whichever comes first") << 60000 << qint64(1000000) << false;
    }

    void givesUpABodyWithoutEnd()
    {
        QFETCH(int, msec);
        QFETCH(qint64, bytes);
        QFETCH(bool, chunked);
        HttpServer server;
        qint64 sent = 0;
        server.answer = [&](QTcpSocket *socket) {
            socket->write(chunked ? "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                  : "HTTP/1.0 200 OK\r\n\r\n");
            const auto send = [&sent, socket, chunked] {
                socket->write(chunked ? "2710\r\n" + QByteArray(10000, 'x') + "\r\n"
                                      : QByteArray(10000, 'x'));
                sent += 10000;
            };
            QTimer *const pump = new QTimer(socket);
            connect(pump, &QTimer::timeout, socket, send);
            pump->start(1);
        };
        QElapsedTimer timer;
        timer.start();

        File::setHttpLimits(msec, bytes);
        const Data::String result = File::read(server.address("/file"));
        File::setHttpLimits(0, 0);

        QCOMPARE(result, Data::String());
        QVERIFY(sent > 0);
        QVERIFY(timer.elapsed() < 20000);
    }

    void unpacksNothingWithinALimitOfSize_data()
    {
        QTest::addColumn<int>("msec");
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QByteArray>("accepted");

        QTest::newRow("no limits") << 0 << qint64(0) << QByteArray("gzip, deflate");
        QTest::newRow("a limit of time") << 60000 << qint64(0) << QByteArray("gzip, deflate");
        QTest::newRow("a limit of size") << 0 << qint64(1000) << QByteArray("identity");
        QTest::newRow("a large one") << 0 << qint64(INT_MAX) << QByteArray("identity");
    }

    void unpacksNothingWithinALimitOfSize()
    {
        QFETCH(int, msec);
        QFETCH(qint64, bytes);
        QFETCH(QByteArray, accepted);
        const QByteArray body(1 << 20, 'x');
        const QByteArray packed = qCompress(body).mid(4);
        HttpServer server("HTTP/1.1 200 OK\r\nContent-Encoding: deflate\r\nContent-Length: " +
                          QByteArray::number(packed.size()) + "\r\n\r\n" + packed);

        File::setHttpLimits(msec, bytes);
        const Data::String result = File::read(server.address("/file"));
        File::setHttpLimits(0, 0);

        QVERIFY(result.toUtf8() == (bytes == 0 ? body : QByteArray()));
        QVERIFY(server.requests.value(0).contains("\r\nAccept-Encoding: " + accepted + "\r\n"));
    }

    void readsWithinARead()
    {
        HttpServer inner(response("200 OK", "inner"));
        HttpServer outer;
        Data::String innerResult;
        outer.answer = [&](QTcpSocket *socket) {
            innerResult = File::read(inner.address("/file"));
            socket->write(response("200 OK", "outer"));
        };

        QCOMPARE(File::read(outer.address("/file")), Data::String("outer"));
        QCOMPARE(innerResult, Data::String("inner"));
    }

    void showsTheWaitCursorMeanwhile_data()
    {
        QTest::addColumn<QByteArray>("status");
        QTest::newRow("success") << QByteArray("200 OK");
        QTest::newRow("failure") << QByteArray("404 Not Found");
    }

    void showsTheWaitCursorMeanwhile()
    {
        QFETCH(QByteArray, status);
        HttpServer server;
        bool isShown = false;
        server.answer = [&](QTcpSocket *socket) {
            isShown = Utils::WaitCursor::activated();
            socket->write(response(status, "text"));
        };

        File::read(server.address("/file"));

        QVERIFY(isShown);
        QVERIFY(!Utils::WaitCursor::activated());
    }

    void findsAWordAtAnAddress()
    {
        HttpServer server(response("200 OK", "a word here"));

        QVERIFY(File::containsWord(server.address("/file"), "word", true));
        QVERIFY(!File::containsWord(server.address("/file"), "wor", true));
    }

    void endsWhenAHandlerOfTheHostDeletesTheReply()
    {
        /// Deletes a reply as soon as it has got something.
        class Deleter : public QObject
        {
        public:
            bool eventFilter(QObject *watched, QEvent *event) override
            {
                auto *const reply = qobject_cast<QNetworkReply *>(watched);
                if (!reply || event->type() != QEvent::MetaCall)
                    return false;
                ++count;
                delete reply;
                return true;
            }

            int count = 0;
        };
        const HttpServer server("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\ntext");
        Deleter deleter;
        qApp->installEventFilter(&deleter);

        const Data::String text = File::read(server.address("/file"));

        qApp->removeEventFilter(&deleter);
        QCOMPARE(deleter.count, 1);
        QCOMPARE(text, Data::String());
        QCOMPARE(File::lastError(), Data::String(".Kelm.Utils.err.httpcut"));
    }
};

QTEST_MAIN(tst_File_http)
#include "tst_File_http.moc"
