// What benchmarks/instructions counts: a table of 20,000 rows and 10 columns that is made and
// written to a file, and what the argument asks for beside that.
//
//     load      its bytes are read
//     text      it is read as text
//     numbers   its bytes are read and all columns are taken as numbers

#include "benchmarks/Tables.h"
#include "utils/csv/CSVTable.h"

#include <QTemporaryDir>

#include <cstring>

int main(int argc, char **argv)
{
    const int rows = 20000;
    const int columns = 10;
    const char *const task = argc > 1 ? argv[1] : "";
    qunsetenv("KLT_NORAWREAD"); // would read bytes as text
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("table.csv"));
    writeTable(path, makeNumericTable(rows, columns));
    if (std::strlen(task) == 0)
        return 0;

    Utils::CSVTable table;
    table.read(path, std::strcmp(task, "text") == 0 ? 0 : 1000);
    bool isWhole = table.numRows() == rows + 1 && table.numColumns() == columns;
    for (int i = 0; i < columns && std::strcmp(task, "numbers") == 0; ++i)
        isWhole = table.colDataValue(i).size() == rows && isWhole;
    return isWhole ? 0 : 1;
}
