#include "utils/files/File.h"

#include "tests/support/HttpServer.h"
#include "tests/support/Print.h"

#include "utils/feedback/WaitCursor.h"

#include <QTextCodec>
#include <QTimer>
#include <QWindow>
#include <QtTest>

#include <climits>

using Utils::File;

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
        QTest::newRow("zero bytes") << response("200 OK", QByteArray("a\0b", 3)) << Data::String(QString("a") + QChar(0) + "b");
        QTest::newRow("a mark is dropped") << response("200 OK", "\xef\xbb\xbf" "a") << Data::String("a");
        QTest::newRow("invalid bytes") << response("200 OK", "a\x80" "b") << Data::String("a\xef\xbf\xbd" "b");
        QTest::newRow("of no told length") << QByteArray("HTTP/1.0 200 OK\r\n\r\ntext") << Data::String("text");
        QTest::newRow("in chunks") << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nte\r\n2\r\nxt\r\n0\r\n\r\n") << Data::String("text");
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

        QTest::newRow("not found") << response("404 Not Found", "body");
        QTest::newRow("not allowed") << response("403 Forbidden", "body");
        QTest::newRow("wants a password") << response("401 Unauthorized", "body");
        QTest::newRow("server error") << response("500 Internal Server Error", "body");
        QTest::newRow("closed in the middle")
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nbody");
        QTest::newRow("closed within the header") << QByteArray("HTTP/1.1 200 OK\r\nConte");
        QTest::newRow("closed at once") << QByteArray();
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

    void readsNothingWhereNobodyListens()
    {
        QTcpSocket taken; // a port that nobody else can listen at meanwhile
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
};

QTEST_MAIN(tst_File_http)
#include "tst_File_http.moc"
