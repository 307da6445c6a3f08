#include "utils/platform/Platform.h"
#include "utils/process/Process.h"

#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Windows.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <string>
#include <vector>

using Utils::Process;

namespace Platform = Utils::Platform;

using Words = std::vector<std::string>;

/// A text of characters that shells, terminals or Windows give a meaning, and of others.
static QString randomText(QRandomGenerator &random)
{
    static const QStringList pieces =
        QStringList{"a",      "b",          "Z",    "0",    "--",    "\u00e4", "\u0101", "\u00a0",
                    "\u2028", "\U0001f600", "\\\\", "\\\"", "'\\''", "$HOME",  "$(id)",  "${x}",
                    "`id`",   "*.*",        "!!",   "&&",   "\r\n",  "%PATH%", "~/"};
    QString text;
    const int count = random.bounded(10);
    for (int i = 0; i < count; ++i) {
        if (random.bounded(3) == 0)
            text += pieces.at(random.bounded(pieces.size()));
        else
            text += QChar(random.bounded(1, 160)); // all control characters, too
    }
    return text;
}

static QStringList randomTexts(QRandomGenerator &random)
{
    QStringList texts;
    const int count = random.bounded(6);
    for (int i = 0; i < count; ++i)
        texts.append(randomText(random));
    return texts;
}

/// What \p shell prints for \p script.
static QByteArray outputOf(const QString &shell, const QByteArray &script)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath("script"));
    if (!file.open(QIODevice::WriteOnly) || file.write(script) != script.size() || !file.flush())
        return "the script cannot be written";
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(shell, {file.fileName()});
    process.waitForFinished(-1);
    return process.readAll();
}

/// The words of a command line as Windows splits it.
static Words wordsOf(const std::string &line)
{
    Words words;
    std::size_t at = 0;
    // The program: up to the next double quote, or to the first blank.
    const bool isQuoted = !line.empty() && line[0] == '"';
    const std::size_t end = isQuoted ? line.find('"', 1) : line.find_first_of(" \t");
    const std::size_t begin = isQuoted ? 1 : 0;
    words.push_back(line.substr(begin, end - begin));
    at = end == std::string::npos ? line.size() : end + 1;
    while (true) {
        while (at < line.size() && (line[at] == ' ' || line[at] == '\t'))
            ++at;
        if (at == line.size())
            return words;
        std::string word;
        bool isInside = false;
        for (; at < line.size() && (isInside || (line[at] != ' ' && line[at] != '\t')); ++at) {
            std::size_t backslashes = 0;
            for (; at < line.size() && line[at] == '\\'; ++at)
                ++backslashes;
            if (at == line.size() || line[at] != '"') {
                word.append(backslashes, '\\');
                --at; // at a backslash, or at what is an ordinary character if there was none
                if (backslashes == 0)
                    word += line[++at];
                continue;
            }
            word.append(backslashes / 2, '\\');
            if (backslashes % 2 == 1)
                word += '"';
            else
                isInside = !isInside;
        }
        words.push_back(word);
    }
}

class tst_Process_quoting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void quotesForAShell_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("text");

        // clang-format off
        QTest::newRow("plain") << QStringList{"sort", "-r", "--key=2,3", "/a/b_c.d:e@f%"} << "sort -r --key=2,3 /a/b_c.d:e@f%";
        QTest::newRow("blanks") << QStringList{"/a b/x", "c d", "\t"} << "'/a b/x' 'c d' '\t'";
        QTest::newRow("empty") << QStringList{"", "", "a"} << "'' '' a";
        QTest::newRow("single quotes") << QStringList{"it's", "'"} << "'it'\\''s' ''\\'''";
        QTest::newRow("what a shell replaces") << QStringList{"x", "$HOME", "`id`", "*", "~", "{a,b}"} << "x '$HOME' '`id`' '*' '~' '{a,b}'";
        QTest::newRow("backslash") << QStringList{"x", "\\", "a\\nb"} << "x '\\' 'a\\nb'";
        QTest::newRow("beyond ASCII") << QStringList{"\u00e4", "\u00a0"} << "'\u00e4' '\u00a0'";
        QTest::newRow("reserved words") << QStringList{"if", "if", "time"} << "'if' if time";
        QTest::newRow("an assignment") << QStringList{"a=b", "a=b", "=a"} << "'a=b' a=b '=a'";
        QTest::newRow("an option") << QStringList{"-x", "-x"} << "'-x' -x";
        QTest::newRow("no arguments") << QStringList{"x"} << "x";
        // clang-format on
    }

    void quotesForAShell()
    {
        SKIP_ON_WINDOWS("it quotes for Windows there");
        QFETCH(QStringList, words);
        QFETCH(QString, text);
        const Process process(words.first(), words.mid(1));

        QCOMPARE(process.quotedCommand(), Data::String(text));
    }

    void quotesUpToAZeroByte()
    {
        SKIP_ON_WINDOWS("it quotes for Windows there");
        const Process process("x",
                              QStringList{QString("a") + QChar::Null + "b", QString(QChar::Null)});

        QCOMPARE(process.quotedCommand(), Data::String("x a ''"));
    }

    void isReadBackByAShell_data()
    {
        QTest::addColumn<QString>("shell");
        QTest::addColumn<QByteArray>("locale");

        for (const char *const name : {"sh", "dash", "bash"}) {
            for (const char *const locale : {"C", "C.UTF-8"})
                QTest::addRow("%s, %s", name, locale)
                    << QStandardPaths::findExecutable(name) << QByteArray(locale);
        }
    }

    /// The arguments of 10,000 commands, in one shell.
    void isReadBackByAShell()
    {
        SKIP_ON_WINDOWS("it is read back by shells");
        QFETCH(QString, shell);
        QFETCH(QByteArray, locale);
        if (shell.isEmpty())
            QSKIP("this shell is not installed");
        const QByteArray original = qgetenv("LC_ALL");
        qputenv("LC_ALL", locale);
        const auto restore = qScopeGuard([&] { qputenv("LC_ALL", original); });
        QRandomGenerator random(20);
        const int count = 10000;
        QByteArray script;
        QList<QByteArray> expected;
        for (int i = 0; i < count; ++i) {
            const QStringList arguments = randomTexts(random);
            script += Process("set", QStringList("--") + arguments).quotedCommand().toUtf8() +
                      "\nprintf '%s\\0' \"$#\" \"$@\"\n";
            expected.append(QByteArray::number(arguments.size()));
            for (const QString &argument : arguments)
                expected.append(argument.toUtf8());
        }
        expected.append("");

        const QList<QByteArray> found = outputOf(shell, script).split('\0');

        QVERIFY(expected.size() > 3 * count);
        for (int i = 0; i < qMin(found.size(), expected.size()); ++i)
            QVERIFY2(found.at(i) == expected.at(i),
                     found.at(i).toHex(' ') + " instead of " + expected.at(i).toHex(' '));
        QCOMPARE(found.size(), expected.size());
    }

    void isReadBackAsTheSameProgram_data()
    {
        QTest::addColumn<QString>("name");

        const QStringList names = {
            "case",     "coproc", "do",    "done",   "elif", "else", "esac",  "fi",    "for",
            "function", "if",     "in",    "select", "then", "time", "until", "while", "!",
            "{",        "}",      "[[",    "]]",     "a=b",  "a+=b", "=a",    "-x",    "-c",
            "--",       "+x",     "~",     "~root",  "*",    "?",    "[a]",   "a b",   "'",
            "\"",       "\\",     "$HOME", "$",      "`id`", "#x",   "a#",    "\n",    "a\nb",
            "&",        ";",      "|",     "<",      ">",    "(",    ")",     "^",     "\u00e4",
            "\u00a0",   "\t",     "\x01",  "\x7f",   "@",    ",",    "_",     "a:b"};
        for (const QString &name : names)
            QTest::newRow(name.toUtf8().toPercentEncoding()) << name;
    }

    void isReadBackAsTheSameProgram()
    {
        SKIP_ON_WINDOWS("it is read back by shells");
        QFETCH(QString, name);
        const QTemporaryDir folder;
        QFile file(folder.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.write("#!/bin/sh\nprintf '[%s]' \"${0##*/}\" \"$@\"") > 0);
        file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        file.close();
        const QStringList arguments = {"-x", "a b", "it's"};
        const Process quoted(name, arguments);
        QStringList expected = QStringList(name) + arguments;

        for (const QString &shell : {QString("/bin/sh"), QString("/bin/bash")}) {
            if (!QFile::exists(shell))
                continue;
            Process process(shell, {"-c", quoted.quotedCommand()});
            process.setEnvironment({{"PATH", folder.path() + ":$PATH"}}, false);

            QVERIFY(process.start());
            QVERIFY(process.wait(false));

            QCOMPARE(process.output(), Data::String("[" + expected.join("][") + "]"));
        }
    }

    // Windows

    void quotesForWindows_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("text");

        // clang-format off
        QTest::newRow("plain") << QStringList{"C:\\x.exe", "-f", "$%^&'"} << "C:\\x.exe -f $%^&'";
        QTest::newRow("blanks") << QStringList{"C:\\a b\\", "c d", "\t"} << "\"C:\\a b\\\" \"c d\" \"\t\"";
        QTest::newRow("empty") << QStringList{"", ""} << "\"\" \"\"";
        QTest::newRow("double quotes") << QStringList{"x", "\"q\"", "a \"b\""} << "x \\\"q\\\" \"a \\\"b\\\"\"";
        QTest::newRow("backslashes") << QStringList{"x", "c\\", "c d\\", "\\\\\"", "a\\b c"} << "x c\\ \"c d\\\\\" \\\\\\\\\\\" \"a\\b c\"";
        QTest::newRow("a path that cannot be") << QStringList{"a\"b", "c"} << "";
        QTest::newRow("nothing") << QStringList{} << "";
        // clang-format on
    }

    void quotesForWindows()
    {
        QFETCH(QStringList, words);
        QFETCH(QString, text);
        Words list;
        for (const QString &word : words)
            list.push_back(word.toStdString());

        QCOMPARE(QString::fromStdString(Platform::windowsCommandLine(list)), text);
    }

    void isReadBackByWindows()
    {
        QCOMPARE(wordsOf("\"a b\\\" c\\\"d \"e\"f \\\\\"g h\\\\\" \\i"),
                 (Words{"a b\\", "c\"d", "ef", "\\g h\\", "\\i"}));
        QRandomGenerator random(21);
        for (int i = 0; i < 10000; ++i) {
            Words words = {randomText(random).remove('"').toStdString()};
            for (const QString &argument : randomTexts(random))
                words.push_back(argument.toStdString());

            const std::string line = Platform::windowsCommandLine(words);

            if (wordsOf(line) != words)
                QFAIL(line.c_str());
        }
    }
};

QTEST_GUILESS_MAIN(tst_Process_quoting)
#include "tst_Process_quoting.moc"
