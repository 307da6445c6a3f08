// How fast the workbench is, through its real window: window_Workbench [MEGABYTES]
//
//   tests/workbench/display build/release/bin/window_Workbench
//
// It prints the time to a usable window, to the first rows of a table, and to the plot of two of
// its columns, and the memory of the process, each with its limit. The table has 50 bytes a row.

#include "benchmarks/Memory.h"
#include "examples/workbench/DocumentTab.h"
#include "examples/workbench/MainWindow.h"
#include "examples/workbench/Pane.h"
#include "examples/workbench/Session.h"
#include "examples/workbench/table/TableView.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTableView>
#include <QTemporaryDir>

#include <cmath>
#include <cstdio>

/// Runs the event loop until nothing is left to do, so that everything is painted.
static void settle()
{
    QApplication::processEvents();
    QApplication::sendPostedEvents();
    QApplication::processEvents();
}

static QString makeTable(const QTemporaryDir &folder, int megabytes)
{
    const QString path = folder.filePath("large.csv");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    file.write("Time{s},Force{kN},Strain{mm/m},Temperature{degC},Remark\n");
    QByteArray line;
    for (qint64 row = 0; file.pos() < qint64(megabytes) * 1000000; ++row) {
        line.resize(64);
        const double time = 0.001 * double(row);
        line.resize(std::snprintf(line.data(), 64, "%.3f,%.5f,%.6f,%.2f,ok %09lld\n", time,
                                  40.0 * std::sin(time), 2.0 * std::cos(time), 21.5,
                                  static_cast<long long>(row)));
        file.write(line);
    }
    return path;
}

static void print(const char *what, double measured, const char *unit, double limit)
{
    std::printf("%-32s %8.1f %s   limit %.1f %s\n", what, measured, unit, limit, unit);
}

int main(int argc, char **argv)
{
    QElapsedTimer timer;
    timer.start();
    QApplication application(argc, argv);
    QCoreApplication::setOrganizationName("Company");
    QCoreApplication::setApplicationName("Benchmark");
    const int megabytes = argc > 1 ? std::max(std::atoi(argv[1]), 1) : 100;

    Workbench::Session session(Workbench::hostVariables());
    Workbench::MainWindow &window = session.window();
    window.show();
    settle();
    print("start to a usable window", double(timer.elapsed()), "ms", 400.0);

    const QTemporaryDir folder;
    const QString path = makeTable(folder, megabytes);
    const double size = double(QFile(path).size()) / 1e6;
    settle();
    timer.start();
    window.openFiles({path});
    settle();
    const double opened = double(timer.elapsed());
    const auto &view = static_cast<Workbench::TableView &>(window.currentTab()->view());
    std::printf("table of %.0f MB with %d rows\n", size, view.grid().model()->rowCount());
    print("table to its first rows", opened, "ms", 500.0);

    view.grid().selectColumn(0);
    view.grid().selectionModel()->select(view.grid().model()->index(0, 1),
                                         QItemSelectionModel::Select |
                                             QItemSelectionModel::Columns);
    settle();
    timer.start();
    window.findChild<QAction *>("plotSelection")->trigger();
    settle();
    print("plot of two columns", double(timer.elapsed()), "ms", 300.0);
    print("memory at most", memoryOfProcess("VmHWM:") / 1e6, "MB", 2.5 * size);
    return 0;
}
