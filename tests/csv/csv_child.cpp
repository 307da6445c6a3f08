// Reads tables in a process of its own. Each argument is a step; for each table that is read, the
// way it was is printed: text, bytes or file.
//
//     set=VALUE, unset         the environment variable
//     text, raw, quoted, file  a small file without a limit, with one, with one and quotes, and a
//                              file above its limit

#include "tests/support/Files.h"
#include "utils/csv/CSVTable.h"

#include <QTemporaryDir>

#include <cstdio>

static const char variable[] = "KLT_NORAWREAD";

static void read(const QString &path, int limit, bool quoted)
{
    Utils::CSVTable table;
    table.setComment("#");
    const bool isRead = table.read(path, limit, quoted);
    const char *const way = !isRead                ? "failed"
                            : table.isDemandRead() ? "file"
                            : table.numRows() == 1 ? "text" // which drops the comment
                                                   : "bytes";
    std::printf("%s ", way);
}

int main(int argc, char **argv)
{
    const QTemporaryDir folder;
    const QString small = makeFile(folder.filePath("small.csv"), "#comment\n1,2");
    const QString large = makeFile(folder.filePath("large.csv"), QByteArray((1 << 20) + 1, '1'));

    for (int i = 1; i < argc; ++i) {
        const QByteArray step = argv[i];
        if (step.startsWith("set="))
            qputenv(variable, step.mid(4));
        else if (step == "unset")
            qunsetenv(variable);
        else if (step == "text")
            read(small, 0, false);
        else if (step == "raw")
            read(small, 1, false);
        else if (step == "quoted")
            read(small, 1, true);
        else if (step == "file")
            read(large, 1, false);
        else
            return 1;
    }
}
