#include "utils/files/File.h"

#include "tests/support/HttpServer.h"
#include "tests/support/Print.h"

#include <QtTest>

#include <memory>

using Utils::File;

static int argumentCount = 1;
static char programName[] = "tst_File_withoutGui";
static char *arguments[] = {programName, nullptr};

class tst_File_withoutGui : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsAndWrites_data()
    {
        QTest::addColumn<bool>("hasApplication");
        QTest::newRow("no application at all") << false;
        QTest::newRow("console application") << true;
    }

    void readsAndWrites()
    {
        QFETCH(bool, hasApplication);
        std::unique_ptr<QCoreApplication> application;
        if (hasApplication)
            application = std::make_unique<QCoreApplication>(argumentCount, arguments);
        const QTemporaryDir folder;
        const Data::String path = folder.path() + "/ä";

        QVERIFY(File::write(path, Data::String("text ä")));
        QCOMPARE(File::read(path), Data::String("text ä"));
        QVERIFY(File::write(path, QStringList{"line ä"}));
        QCOMPARE(File::read(path, 1), Data::String("line ä\n"));
        QVERIFY(File::isSupportedImage("a.png"));
    }

    void readsAnAddressInAConsoleApplication()
    {
        const QCoreApplication application(argumentCount, arguments);
        HttpServer server(QByteArray("HTTP/1.0 200 OK\r\n\r\ntext"));

        QCOMPARE(File::read(server.address("/file")), Data::String("text"));
    }

    void readsNoAddressWithoutAnApplication()
    {
        QCOMPARE(File::read("http://127.0.0.1/file"), Data::String());
    }
};

QTEST_APPLESS_MAIN(tst_File_withoutGui)
#include "tst_File_withoutGui.moc"
