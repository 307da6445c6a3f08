#include "tests/support/Files.h" // makeFile

#include <QDirIterator>
#include <QRegularExpression>
#include <QtTest>

#include <algorithm>

/// The rooms of the house, from the ground up. A file may include what is in its own room and below
/// it; rooms of one row do not include each other. script is above strings because it may include
/// that. A file directly in utils/ is a room by itself.
static const QList<QStringList> floors = {
    {"utils/Export.h"},
    {"data"},
    {"utils/platform"},
    {"utils/base"},
    {"utils/Application.h", "utils/Application_p.h"},
    {"utils/Application.cpp"},
    {"utils/signals"},
    {"utils/catalogue"},
    {"utils/settings", "utils/feedback"},
    {"utils/text", "utils/tagfile"},
    {"utils/files"},
    {"utils/xml", "utils/csv", "utils/process"},
    {"utils/strings"},
    {"utils/script"},
    {"bindings"},
    {"utils/KelmUtils.h", "utils/library.cpp"},
};

/// The room of the file at \p path, which begins at the root.
static QString roomOf(const QString &path)
{
    const int isInUtils = path.startsWith("utils/") ? 1 : 0;
    return path.section('/', 0, isInUtils);
}

/// The floor of \p room, or -1 when it has none.
static int floorOf(const QString &room)
{
    const auto holds = [&](const QStringList &rooms) { return rooms.contains(room); };
    const auto floor = std::find_if(floors.begin(), floors.end(), holds);
    return floor == floors.end() ? -1 : static_cast<int>(floor - floors.begin());
}

static bool mayInclude(const QString &room, const QString &included)
{
    const int floor = floorOf(included);
    return floor >= 0 && (room == included || floor < floorOf(room));
}

/// What the text of a source, a header or a definition of the bindings includes of the project.
static QStringList includesIn(const QString &text)
{
    static const QRegularExpression include(
        R"(^[ \t]*#[ \t]*include[ \t]*(?:"([^"\n]*)\"|<((?:data|utils|bindings)/[^>\n]*)>))"
        R"(|^[ \t]*%(?:Include|Import|OptionalInclude)[ \t(]+(?:name[ \t]*=[ \t]*)?"?([^\s",)]+))",
        QRegularExpression::MultilineOption);

    QStringList included;
    QRegularExpressionMatchIterator matches = include.globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        const QString definition = match.captured(3);
        if (definition.isEmpty())
            included += match.captured(1) + match.captured(2);
        else
            included += "bindings/" + definition;
    }
    return included;
}

struct Survey
{
    int numFiles = 0;
    int numIncludes = 0;
    QStringList upward; // a line for each include that the floors do not allow
};

/// Reads data/, utils/ and bindings/ below \p root.
static Survey survey(const QString &root)
{
    Survey result;
    for (const char *folder : {"data", "utils", "bindings"}) {
        QDirIterator files(root + '/' + folder, {"*.h", "*.cpp", "*.sip"}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            if (!file.open(QIODevice::ReadOnly))
                continue;
            const QString path = QDir(root).relativeFilePath(file.fileName());
            const QStringList includes = includesIn(QString::fromUtf8(file.readAll()));
            for (const QString &include : includes) {
                if (!mayInclude(roomOf(path), roomOf(include)))
                    result.upward += path + " includes " + include;
            }
            ++result.numFiles;
            result.numIncludes += includes.size();
        }
    }
    result.upward.sort();
    return result;
}

class tst_Includes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ofTheLibraryPointDownwards()
    {
        const Survey library = survey(SOURCES);

        QVERIFY(library.numFiles > 200);
        QVERIFY(library.numIncludes > library.numFiles);
        QCOMPARE(library.upward.join('\n'), QString());
    }

    void areOfRoomsThatHaveAFloor()
    {
        const QStringList folders =
            QDir(SOURCES "/utils").entryList(QDir::Dirs | QDir::NoDotAndDotDot);

        QVERIFY(!folders.isEmpty());
        for (const QString &folder : folders)
            QVERIFY2(floorOf("utils/" + folder) >= 0, qPrintable(folder));
        for (const QStringList &rooms : floors) {
            for (const QString &room : rooms)
                QVERIFY2(QFileInfo::exists(QLatin1String(SOURCES "/") + room), qPrintable(room));
        }
    }

    void areReadInEachForm_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("upward");

        // clang-format off
        QTest::newRow("own room") << "utils/text/A.h" << "#include \"utils/text/B.h\"\n" << "";
        QTest::newRow("below") << "utils/text/A.h" << "#include \"utils/base/B_p.h\"\n" << "";
        QTest::newRow("of Qt") << "utils/text/A.h" << "#include <QString>\n" << "";
        QTest::newRow("script on strings") << "utils/script/A.h" << "#include \"utils/strings/B.h\"\n" << "";
        QTest::newRow("strings on script") << "utils/strings/A.h"
            << "#include \"utils/script/B.h\"\n" << "utils/script/B.h";
        QTest::newRow("above") << "utils/text/A.h" << "#include \"utils/files/B.h\"\n" << "utils/files/B.h";
        QTest::newRow("beside") << "utils/text/A.h" << "#include \"utils/tagfile/B.h\"\n" << "utils/tagfile/B.h";
        QTest::newRow("within a condition") << "data/A.h"
            << "#ifdef B\n  #  include \"utils/base/B.h\"\n#endif\n" << "utils/base/B.h";
        QTest::newRow("in angles") << "data/A.cpp" << "#include <utils/base/B.h>\n" << "utils/base/B.h";
        QTest::newRow("without its folder") << "utils/text/A.h" << "#include \"B.h\"\n" << "B.h";
        QTest::newRow("all headers") << "bindings/A.cpp" << "#include \"utils/KelmUtils.h\"\n" << "utils/KelmUtils.h";
        QTest::newRow("host in base") << "utils/base/A.cpp"
            << "#include \"utils/Application_p.h\"\n" << "utils/Application_p.h";
        QTest::newRow("host in signals") << "utils/signals/A.cpp" << "#include \"utils/Application_p.h\"\n" << "";
        QTest::newRow("definition") << "bindings/M/A.sip" << "%Include M/B.sip\n%Import(name = N/B.sip)\n" << "";
        QTest::newRow("code of a definition") << "bindings/M/A.sip"
            << "%TypeHeaderCode\n#include \"utils/KelmUtils.h\"\n%End\n" << "utils/KelmUtils.h";
        // clang-format on
    }

    void areReadInEachForm()
    {
        QFETCH(QString, path);
        QFETCH(QString, text);
        QFETCH(QString, upward);
        const QTemporaryDir root;
        QVERIFY(!makeFile(root.filePath(path), text.toUtf8()).isEmpty());

        const Survey result = survey(root.path());

        QCOMPARE(result.numFiles, 1);
        QCOMPARE(result.upward.join('\n'),
                 upward.isEmpty() ? QString() : path + " includes " + upward);
    }
};

QTEST_GUILESS_MAIN(tst_Includes)
#include "tst_Includes.moc"
