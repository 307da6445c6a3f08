// File::lastError() after each failure that a user can cause, in both languages.

#include "utils/KelmUtils.h"

#include "tests/strings/Catalogue.h"
#include "tests/support/Files.h"
#include "tests/support/FullDisk.h"
#include "tests/support/HttpServer.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

using Data::String;
using Utils::CSVReader;
using Utils::CSVTable;
using Utils::File;
using Utils::StringTable;
using Utils::TagFile;
using Utils::Xml::Document;

/// Whether an operation on the path of a test succeeds.
using Operation = std::function<bool(const QString &)>;
Q_DECLARE_METATYPE(Operation)

static const SettingsHome home;

static bool readTags(const QString &path)
{
    TagFile file;
    String error;
    return file.read(path, error);
}

static bool openDocument(const QString &path)
{
    Document document(Document::Normal, 0.0);
    String error;
    return document.open(path, "Model", error);
}

static bool openElement(const QString &path)
{
    Document document(Document::Normal, 0.0);
    String error;
    return document.open(path, "docElem:Model", error);
}

static bool readTable(const QString &path) { return CSVTable(",").read(path, 0, false); }

static bool readTableAsBytes(const QString &path) { return CSVTable(",").read(path, 1, false); }

static bool readReader(const QString &path) { return CSVReader(',').read(path, nullptr); }

static bool readText(const QString &path) { return !File::read(path).isEmpty(); }

static bool readHead(const QString &path) { return !File::read(path, 2).isEmpty(); }

static bool readTail(const QString &path) { return !File::read(path, -2).isEmpty(); }

static bool readBytes(const QString &path) { return !File::readRaw(path).isEmpty(); }

static bool openToRead(const QString &path)
{
    std::FILE *const file = File::openRead(path);
    return file && std::fclose(file) == 0;
}

static bool openToWrite(const QString &path)
{
    std::FILE *const file = File::openWrite(path, /*append=*/false);
    return file && std::fclose(file) == 0;
}

static bool writeText(const QString &path) { return File::write(path, String(QString(9000, 'x'))); }

static bool writeLines(const QString &path)
{
    return File::write(path, QStringList{QString(9000, 'x')});
}

static bool writeBytes(const QString &path) { return File::writeRaw(path, QByteArray(9000, 'x')); }

static bool saveTags(const QString &path)
{
    TagFile file;
    file.addTag("tag", "").add("text", String(QString(9000, 'x')));
    String error;
    return file.save(path, error);
}

static bool streamTags(const QString &path)
{
    TagFile file;
    String error;
    if (!file.open(path, error))
        return false;
    file.writeTag("tag", "", false).writeProperty("text", String(QString(9000, 'x')));
    file.close();
    return true;
}

static bool writeDocument(const QString &path)
{
    Document document("Model", Document::Normal, 1.0);
    QDomElement root = document.createElement("Model");
    root.setAttribute("text", QString(9000, 'x'));
    document.appendChild(root);
    return document.write(path);
}

static bool writeTable(const QString &path)
{
    CSVTable table(",");
    table.appendData(QStringList{QString(9000, 'x')});
    return table.write(path);
}

class tst_File_reasons : public QObject
{
    Q_OBJECT

private:
    QScopedPointer<QTemporaryDir> m_folder;

    QString path(const QString &name) const { return m_folder->filePath(name); }

    /// The reason in the language, with the folder of the test left out.
    String reasonIn(const char *language) const
    {
        resetCatalogue();
        StringTable::initialize(language, "", "");
        StringTable::load("Kelm.Utils");
        return File::lastError().replace(m_folder->path() + '/', "");
    }

    void verifyReason(const QString &expected) const
    {
        QCOMPARE(reasonIn("en"), String(expected));
        const String german = reasonIn("de");
        QVERIFY(!german.isEmpty());
        QVERIFY(german != String(expected));
        QVERIFY2(!german.contains('%') && !german.contains(".err."), qPrintable(german));
        reasonIn("en");
    }

    /// The caller of openRead() or openWrite() does the rest.
    static void addReaders(bool withStreams = true)
    {
        QTest::addColumn<Operation>("operation");
        QTest::newRow("File::read") << Operation(&readText);
        QTest::newRow("File::read, head") << Operation(&readHead);
        QTest::newRow("File::read, tail") << Operation(&readTail);
        QTest::newRow("File::readRaw") << Operation(&readBytes);
        if (withStreams)
            QTest::newRow("File::openRead") << Operation(&openToRead);
        QTest::newRow("TagFile::read") << Operation(&readTags);
        QTest::newRow("CSVTable::read") << Operation(&readTable);
        QTest::newRow("CSVTable::read, bytes") << Operation(&readTableAsBytes);
        QTest::newRow("CSVReader::read") << Operation(&readReader);
        QTest::newRow("Document::open") << Operation(&openDocument);
    }

    static void addWriters(bool withStreams = true)
    {
        QTest::addColumn<Operation>("operation");
        QTest::newRow("File::write, text") << Operation(&writeText);
        QTest::newRow("File::write, lines") << Operation(&writeLines);
        QTest::newRow("File::writeRaw") << Operation(&writeBytes);
        if (withStreams)
            QTest::newRow("File::openWrite") << Operation(&openToWrite);
        QTest::newRow("TagFile::save") << Operation(&saveTags);
        QTest::newRow("TagFile::open") << Operation(&streamTags);
        QTest::newRow("Document::write") << Operation(&writeDocument);
        QTest::newRow("CSVTable::write") << Operation(&writeTable);
    }

    static bool isRow(const char *name) { return qstrcmp(QTest::currentDataTag(), name) == 0; }

private Q_SLOTS:
    void initTestCase() { File::setSearchPath(LIBRARY_RESOURCES, ""); }

    void init()
    {
        m_folder.reset(new QTemporaryDir);
        QVERIFY(m_folder->isValid());
    }

    void areForMissingFiles_data() { addReaders(); }

    void areForMissingFiles()
    {
        QFETCH(Operation, operation);
        QVERIFY(!operation(path("none")));
        verifyReason("The file \"none\" does not exist.");
        QVERIFY(!operation(path("no/folder")));
        verifyReason("The file \"no/folder\" does not exist.");
    }

    void areForFolders_data() { addReaders(); }

    void areForFolders()
    {
        QFETCH(Operation, operation);
        QVERIFY(QDir(m_folder->path()).mkdir("folder"));
        QVERIFY(!operation(path("folder")));
        verifyReason("\"folder\" is a folder, not a file.");
    }

    void areForMissingNames_data() { addReaders(); }

    void areForMissingNames()
    {
        QFETCH(Operation, operation);
        QVERIFY(!operation(""));
        verifyReason("The file name is missing.");
    }

    void areForFilesThatMayNotBeRead_data() { addReaders(); }

    void areForFilesThatMayNotBeRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QFETCH(Operation, operation);
        const QString file = makeFile(path("file"));
        QFile::setPermissions(file, QFile::Permissions());
        {
            const OrdinaryUser user(m_folder->path());
            QVERIFY(!operation(file));
        }
        verifyReason("You have no permission to read \"file\".");
    }

    void areForDamagedDisks_data() { addReaders(/*withStreams=*/false); }

    void areForDamagedDisks()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(Operation, operation);
        const QString file = makeFile(path("file"), "<Model>" + QByteArray(300000, ' ') + "\n");
        bool isRead;
        {
            const ReadFault fault(file, isRow("File::read, head") ? 0 : 200000);
            isRead = operation(file);
        }
        QVERIFY(!isRead);
        verifyReason("The file \"file\" cannot be read: Input/output error");
    }

    void areForTextThatIsNotUtf8_data()
    {
        QTest::addColumn<Operation>("operation");
        QTest::newRow("File::read") << Operation(&readText);
        QTest::newRow("CSVTable::read") << Operation(&readTable);
    }

    void areForTextThatIsNotUtf8()
    {
        QFETCH(Operation, operation);
        for (const char *const bytes : {"T{\xb0"
                                        "C}\n1\n",
                                        "1\n\xc3"})
        {
            QVERIFY(!operation(makeFile(path("latin1"), bytes)));
            verifyReason("The file \"latin1\" is not valid UTF-8.");
        }
    }

    void areForEmptyTables_data()
    {
        QTest::addColumn<Operation>("operation");
        QTest::newRow("text") << Operation(&readTable);
        QTest::newRow("bytes") << Operation(&readTableAsBytes);
    }

    void areForEmptyTables()
    {
        QFETCH(Operation, operation);
        QVERIFY(!operation(makeFile(path("empty"), "")));
        verifyReason("The file \"empty\" is empty.");
    }

    void areForTablesWithoutRows()
    {
        CSVTable table(",");
        table.setComment("#", 0);
        QVERIFY(!table.read(makeFile(path("file"), "#1\n#2"), 0, false));
        verifyReason("The table has no rows, only comments.");
        QVERIFY(!table.setData(String()));
        verifyReason("The text is empty.");
        QVERIFY(!table.setData(QByteArray()));
        verifyReason("The text is empty.");
    }

    void areForFilesThatAreTooLarge()
    {
        const QString file = makeFile(path("file"), "");
        QVERIFY(QFile::resize(file, qint64(2) << 30));
        QVERIFY(!readText(file));
        verifyReason("The file \"file\" is too large to be held in memory as a whole.");
        QVERIFY(!readBytes(file));
        verifyReason("The file \"file\" is too large to be held in memory as a whole.");
        QVERIFY(!readTable(file));
        verifyReason("The file \"file\" is too large to be held in memory as a whole.");
    }

    void areForPipes()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        const QByteArray pipe = QFile::encodeName(path("pipe"));
        QCOMPARE(mkfifo(pipe.constData(), 0600), 0);
        QVERIFY(!readReader(path("pipe")));
        verifyReason("\"pipe\" is a device or a pipe, not a file.");
        QVERIFY(!File::copy(path("pipe"), path("copy")));
        verifyReason("\"pipe\" is a device or a pipe, not a file.");
    }

    void areForNamesThatAreTooLong()
    {
        SKIP_ON_WINDOWS("such a file is missing on Windows");
        const QString name(300, 'x');
        QVERIFY(!readReader(path(name)));
        verifyReason("The file \"" + name + "\" cannot be read: File name too long");
    }

    void areForDocuments()
    {
        QVERIFY(
            !openDocument(makeFile(path("a.xml"), "<!DOCTYPE Model>\n<Model>\n<a></b></Model>")));
        const QString text = reasonIn("en");
        QVERIFY2(text.startsWith("The file \"a.xml\" is no valid XML: "), qPrintable(text));
        QVERIFY2(text.endsWith(" (line 3, column 7)"), qPrintable(text));
        QVERIFY(!openDocument(makeFile(path("a.xml"), "<!DOCTYPE Other><Model/>")));
        verifyReason("The file \"a.xml\" has the document type \"Other\", not \"Model\".");
        QVERIFY(!openElement(makeFile(path("a.xml"), "<Other/>")));
        verifyReason("The file \"a.xml\" has the root element \"Other\", not \"Model\".");
        QVERIFY(openElement(makeFile(path("a.xml"), "<Model/>")));
        QCOMPARE(File::lastError(), String());
    }

    void areForDocumentsThatAreTooDeep()
    {
        Document document(Document::Normal, 1.0);
        QDomNode inner = document.createElement("a");
        document.appendChild(inner);
        for (int i = 0; i < 5002; ++i)
            inner = inner.appendChild(document.createElement("a"));
        QVERIFY(!document.write(path("file")));
        verifyReason("The document for \"file\" is nested too deeply.");
    }

    void areForFilesThatCannotBeWritten_data() { addWriters(); }

    void areForFilesThatCannotBeWritten()
    {
        QFETCH(Operation, operation);
        QVERIFY(QDir(m_folder->path()).mkdir("folder"));
        QVERIFY(!operation(path("folder")));
        verifyReason("\"folder\" is a folder, not a file.");
        QVERIFY(!operation(path("no/file")));
        verifyReason("The folder of the file \"no/file\" does not exist.");
        QVERIFY(!operation(""));
        verifyReason("The file name is missing.");
        if (isRow("File::openWrite"))
            return; // a zero byte ends the path
        QVERIFY(!operation(path("a") + QChar(0)));
        QVERIFY(reasonIn("en").contains("is no valid file name"));
    }

    void areForFilesThatMayNotBeWritten_data() { addWriters(); }

    void areForFilesThatMayNotBeWritten()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QFETCH(Operation, operation);
        const QString file = makeFile(path("file"));
        QFile::setPermissions(file, QFile::Permissions(0x4444));
        {
            const OrdinaryUser user(m_folder->path());
            QVERIFY(!operation(file));
        }
        verifyReason("You have no permission to write \"file\".");
    }

    void areForFullDisksAlthoughTheResultIsTrue_data() { addWriters(/*withStreams=*/false); }

    void areForFullDisksAlthoughTheResultIsTrue()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        QFETCH(Operation, operation);
        QVERIFY(operation("/dev/full"));
        verifyReason("The file \"/dev/full\" cannot be written completely: the disk is full.");
        for (const rlim_t room : {0, 1, 4096, 8999}) {
            bool isWritten;
            {
                const FullDisk disk(room);
                isWritten = operation(path("file"));
            }
            QVERIFY(isWritten); // as always
            const QString text = reasonIn("en");
            QVERIFY2(text.startsWith("The file \"file\" cannot be written"), qPrintable(text));
        }
        QVERIFY(operation(path("file")));
        QCOMPARE(File::lastError(), String());
    }

    void areForCopies()
    {
        QVERIFY(!File::copy(path("none"), path("copy")));
        verifyReason("The file \"none\" does not exist.");
        const QString file = makeFile(path("file"));
        QVERIFY(!File::copy(file, makeFile(path("copy"), "old"), /*overwrite=*/0));
        verifyReason("The file \"copy\" exists already.");
        QVERIFY(!File::copy(file, path("no/copy")));
        verifyReason("The folder of the file \"no/copy\" does not exist.");
        QVERIFY(File::copy(file, path("copy")));
        QCOMPARE(File::lastError(), String());
    }

    void areForCopiesOfFolders()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QCOMPARE(File::copyDir(path("none"), path("to")), 0);
        verifyReason("\"none\" is no folder.");
        makeFile(path("from/a"));
        makeFile(path("from/b"));
        QCOMPARE(File::copyDir(path("from"), path("to")), 1);
        QCOMPARE(File::lastError(), String());
        QCOMPARE(File::copyDir(path("from"), path("to"), /*overwrite=*/0), 0); // all are kept
        QCOMPARE(File::lastError(), String());
        makeFile(path("from/c"));
        QFile::setPermissions(path("from/c"), QFile::Permissions());
        QFile::setPermissions(path("to/from"), QFile::Permissions(0x7777));
        {
            const OrdinaryUser user(m_folder->path());
            QCOMPARE(File::copyDir(path("from"), path("to"), /*overwrite=*/0), 0);
        }
        verifyReason("You have no permission to read \"from/c\".");
        makeFile(path("from/below/file"));
        QFile::setPermissions(path("from/c"), QFile::Permissions(0x7777));
        QFile::setPermissions(path("from/below"), QFile::Permissions());
        {
            const OrdinaryUser user(m_folder->path());
            QCOMPARE(File::copyDir(path("from"), path("to")), 1);
        }
        verifyReason("You have no permission to read \"from/below\".");
        QFile::setPermissions(path("from/below"), QFile::Permissions(0x7777));
    }

    void areForMoves()
    {
        File::move(path("none"), path("to"));
        verifyReason("The file \"none\" does not exist.");
        const QString file = makeFile(path("file"));
        File::move(file, path("no/folder/file"));
        verifyReason("\"file\" could not be moved to \"no/folder/file\".");
        File::move(file, path("other"));
        QCOMPARE(File::lastError(), String());
    }

    void areForRemovals()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QCOMPARE(File::remove(path("none")), 0);
        verifyReason("The file \"none\" does not exist.");
        makeFile(path("folder/below/file"));
        QCOMPARE(File::remove(path("folder")), 0);
        verifyReason("The folder \"folder\" cannot be removed; it may not be empty.");
        {
            QFile::setPermissions(path("folder/below"), QFile::Permissions(0x5555));
            const OrdinaryUser user(m_folder->path());
            QCOMPARE(File::remove(path("folder/below/file")), 0);
        }
        QFile::setPermissions(path("folder/below"), QFile::Permissions(0x7777));
        verifyReason("You have no permission to write \"folder/below/file\".");
        QCOMPARE(File::remove(path("folder/below/file")), 1);
        QCOMPARE(File::lastError(), String());
        QCOMPARE(File::remove(path("folder/below/*")), 0); // it is empty
        QCOMPARE(File::lastError(), String());
    }

    void areForTreesInFoldersThatCannotBeListed_data()
    {
        QTest::addColumn<Operation>("operation");
        const auto add = [](const char *name, int (*operation)(const String &, const String &)) {
            QTest::newRow(name) << Operation([operation](const QString &folder) {
                const QString target = QFileInfo(folder).path() + "/to";
                return operation(folder + "/*", target) > 0;
            });
        };
        add("File::remove",
            [](const String &pattern, const String &) { return File::remove(pattern); });
        add("File::copyDir", [](const String &pattern, const String &target) {
            return File::copyDir(pattern, target);
        });
        add("File::moveDir", [](const String &pattern, const String &target) {
            File::moveDir(pattern, target);
            return QFileInfo::exists(target) ? 1 : 0;
        });
    }

    void areForTreesInFoldersThatCannotBeListed()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QFETCH(Operation, operation);
        makeFile(path("folder/below/file"));
        QVERIFY(!operation(path("none")));
        verifyReason("The file \"none\" does not exist.");
        QVERIFY(!operation(path("folder/below/file")));
        verifyReason("\"folder/below/file\" is no folder.");
        QFile::setPermissions(path("folder"), QFile::Permissions());
        {
            const OrdinaryUser user(m_folder->path());
            QVERIFY(!operation(path("folder")));
        }
        verifyReason("You have no permission to read \"folder\".");
        QFile::setPermissions(path("folder"), QFile::Permissions(0x7777));
        QVERIFY(operation(path("folder")));
        QCOMPARE(File::lastError(), String());
    }

    void areForSearches_data()
    {
        QTest::addColumn<Operation>("operation");
        QTest::newRow("File::search") << Operation(
            [](const QString &folder) { return !File::search(folder, "*").isEmpty(); });
        QTest::newRow("File::find")
            << Operation([](const QString &folder) { return !File::find(folder, "*").isEmpty(); });
        QTest::newRow("File::searchInFiles") << Operation([](const QString &folder) {
            return !File::searchInFiles("text", folder, "*").isEmpty();
        });
    }

    void areForSearches()
    {
        QFETCH(Operation, operation);
        const QString file = makeFile(path("folder/file"), "text");
        QVERIFY(!operation(path("none")));
        verifyReason("The file \"none\" does not exist.");
        QVERIFY(!operation(path("no*folder")));
        verifyReason("The file \"no*folder\" does not exist.");
        QVERIFY(!operation(""));
        verifyReason("The file name is missing.");
        QVERIFY(!operation(file));
        verifyReason("\"folder/file\" is no folder.");
        QVERIFY(operation(path("folder")));
        QCOMPARE(File::lastError(), String());
        QVERIFY(QDir(m_folder->path()).mkdir("empty"));
        QVERIFY(!operation(path("none")));
        QDir::setSearchPaths("prefix", {m_folder->path()});
        for (const QString &empty : {path("empty"), QString("prefix:empty")}) {
            QVERIFY(!operation(path("none")));
            QVERIFY(!operation(empty)); // nothing is there, and nothing has failed
            QCOMPARE(File::lastError(), String());
        }
        QDir::setSearchPaths("prefix", {});
    }

    void areForSearchesInFoldersThatMayNotBeRead_data() { areForSearches_data(); }

    void areForSearchesInFoldersThatMayNotBeRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QFETCH(Operation, operation);
        for (const char *const name : {"shut", "no:prefix"}) {
            const QString folder = path(name);
            makeFile(folder + "/file", "text");
            QFile::setPermissions(folder, QFile::Permissions());
            {
                const OrdinaryUser user(m_folder->path());
                QVERIFY(!operation(folder));
            }
            verifyReason(QString("You have no permission to read \"%1\".").arg(name));
            QFile::setPermissions(folder, QFile::Permissions(0x7777));
        }
    }

    void areForTheFirstFileThatASearchCannotRead()
    {
        const QString file = makeFile(path("file"), "text");
        const QStringList files = {path("none"), path("other"), file};
        QCOMPARE(File::searchInFiles("word", files), String());
        verifyReason("The file \"none\" does not exist.");
        QCOMPARE(File::searchInFiles("text", files), String(file));
        QCOMPARE(File::lastError(), String());
    }

    void areForNewFolders()
    {
        makeFile(path("file"));
        QVERIFY(!File::createDir(path("file/below")));
        verifyReason("The folder \"file/below\" cannot be created.");
        QVERIFY(File::createDir(path("folder/below")));
        QCOMPARE(File::lastError(), String());
    }

    void areForAddresses_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("end");
        // clang-format off
        QTest::newRow("missing") << QByteArray("HTTP/1.1 404 No\r\nContent-Length: 0\r\n\r\n") << "The address \""
            << "server replied: No";
        QTest::newRow("cut off") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nab") << "" << "";
        QTest::newRow("too large") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n123456789")
            << "The answer of \"" << "has more than 8 bytes.";
        // clang-format on
    }

    void areForAddresses()
    {
        QFETCH(QByteArray, answer);
        QFETCH(QString, start);
        QFETCH(QString, end);
        HttpServer server(answer);
        File::setHttpLimits(0, 8);
        const String text = File::read(server.address("/"));
        File::setHttpLimits(0, 0);
        QCOMPARE(text, String());
        const QString reason = reasonIn("en");
        QVERIFY(!reason.isEmpty());
        QVERIFY2(reason.startsWith(start) && reason.endsWith(end), qPrintable(reason));
    }

    void areForSettings()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        Utils::Settings settings("View");
        settings.setInt("width", 1);
        QVERIFY(settings.sync());
        QCOMPARE(File::lastError(), String());
        settings.setString("text", QString(100, 'x'));
        bool isStored;
        {
            const FullDisk disk(10);
            isStored = settings.sync();
        }
        QVERIFY(!isStored);
        QVERIFY(reasonIn("en").startsWith("The settings cannot be stored or read: "));
        QVERIFY(settings.sync());
        QCOMPARE(File::lastError(), String());
    }

    void areGoneAfterASuccess()
    {
        const QString file = makeFile(path("file"), "1,2\n");
        const std::function<void()> successes[] = {
            [&] { QVERIFY(readText(file)); },     [&] { QVERIFY(readBytes(file)); },
            [&] { QVERIFY(openToRead(file)); },   [&] { QVERIFY(readTags(file)); },
            [&] { QVERIFY(readTable(file)); },    [&] { QVERIFY(readReader(file)); },
            [&] { QVERIFY(writeText(file)); },    [&] { QVERIFY(saveTags(file)); },
            [&] { QVERIFY(streamTags(file)); },   [&] { QVERIFY(writeDocument(file)); },
            [&] { QVERIFY(openDocument(file)); }, [&] { QVERIFY(writeTable(file)); },
        };
        for (const auto &success : successes) {
            QVERIFY(!readText(path("none")));
            QVERIFY(!File::lastError().isEmpty());
            success();
            QCOMPARE(File::lastError(), String());
        }
    }

    void stayAfterWhatCannotFail()
    {
        QVERIFY(!readText(path("none")));
        const String reason = File::lastError();
        File::join("a", "b");
        File::exists(path("none"));
        QVERIFY(!File::exists(path("no/folder/*")));
        File::size(path("none"));
        QCOMPARE(File::lastError(), reason);
    }
};

QTEST_MAIN(tst_File_reasons)
#include "tst_File_reasons.moc"
