// How fast the workbench is, through its real window: window_Workbench [MEGABYTES [ROWS]]
//
//   tests/workbench/display build/release/bin/window_Workbench
//
// It prints the time to a usable window, to the first rows of a table of MEGABYTES (100), and to
// the plot of two of its columns, and the memory of the process. Then it opens a table of ROWS
// (10,000,000; 0 for none) in each kind of storage, and prints the longest frame of each action:
// the longest time that the event loop was blocked by an event, painting included. Times are
// followed by the processor time of the process, which other programs do not disturb as much. It
// returns 1 when a limit is passed, and marks the line.
//
// With a file instead of the numbers it prints the times and the memory for this file; a number
// after it is the setting "Workbench/memoryLimit".

#include "benchmarks/Memory.h"
#include "examples/workbench/DocumentTab.h"
#include "examples/workbench/MainWindow.h"
#include "examples/workbench/Pane.h"
#include "examples/workbench/Preferences.h"
#include "examples/workbench/Session.h"
#include "examples/workbench/plot/PlotPane.h"
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHeaderView>
#include <QScrollBar>
#include <QTableView>
#include <QTemporaryDir>
#include <QWheelEvent>
#include <QtTest>

#include <cmath>
#include <cstdio>
#include <ctime>

#include <qwt_plot.h>
#include <unistd.h>

namespace {

double processorTime() // of this process, in milliseconds
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return 1e3 * double(time.tv_sec) + 1e-6 * double(time.tv_nsec);
}

/// Milliseconds since the process was started, in steps of 10, and before main() as well.
double sinceStart()
{
    QFile file("/proc/self/stat");
    if (!file.open(QIODevice::ReadOnly))
        return 0.0;
    const QList<QByteArray> fields = file.readAll().split(')').last().simplified().split(' ');
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const double startTicks = fields.value(19).toDouble();
    return 1e3 * double(now.tv_sec) + 1e-6 * double(now.tv_nsec) -
           1e3 * startTicks / double(sysconf(_SC_CLK_TCK));
}

struct Times
{
    double wall = 0.0;
    double processor = 0.0;
};

class Stopwatch
{
public:
    Stopwatch() { m_timer.start(); }
    Times elapsed() const
    {
        return {1e-6 * double(m_timer.nsecsElapsed()), processorTime() - m_processor};
    }

private:
    QElapsedTimer m_timer;
    double m_processor = processorTime();
};

/// Measures each event that the event loop delivers, and when a widget was last painted.
class Application : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        const bool isPaint = event->type() == QEvent::Paint && receiver == watched;
        const Stopwatch watch;
        ++m_depth;
        const bool isHandled = QApplication::notify(receiver, event);
        if (--m_depth == 0) {
            const Times times = watch.elapsed();
            longest.wall = std::max(longest.wall, times.wall);
            longest.processor = std::max(longest.processor, times.processor);
        }
        if (isPaint && !isPainted) {
            isPainted = true;
            untilPaint = sinceReset.elapsed();
        }
        return isHandled;
    }

    QObject *watched = nullptr; ///< a widget whose next paint event is awaited
    bool isPainted = false;
    Stopwatch sinceReset;
    Times untilPaint;
    Times longest; ///< event

private:
    int m_depth = 0;
};

Application &app() { return *static_cast<Application *>(QCoreApplication::instance()); }

/// Runs the event loop until nothing is left to do, so that everything is painted.
void settle()
{
    QApplication::processEvents();
    QApplication::sendPostedEvents();
    QApplication::processEvents();
}

/// Acts, and returns the times until \p widget is painted.
Times untilPainted(QObject *widget, const std::function<void()> &act)
{
    app().watched = widget;
    app().isPainted = false;
    app().sinceReset = Stopwatch();
    act();
    while (!app().isPainted)
        QApplication::processEvents();
    return app().untilPaint;
}

bool isWithinLimits = true;

/// The end of the line for a value with a limit.
const char *mark(double value, double limit)
{
    if (value <= limit)
        return "";
    isWithinLimits = false;
    return "   PASSED THE LIMIT";
}

void print(const char *what, const Times &measured, double limit)
{
    std::printf("%-40s %8.1f ms   limit %6.1f ms   processor %8.1f ms%s\n", what, measured.wall,
                limit, measured.processor, mark(measured.wall, limit));
    std::fflush(stdout);
}

void printMemory(const char *what, double megabytes, double limit)
{
    std::printf("%-40s %8.1f MB   limit %6.1f MB%s\n", what, megabytes, limit,
                mark(megabytes, limit));
    std::fflush(stdout);
}

QString makeTable(const QString &path, int megabytes)
{
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

/// A table of three columns, with a comment line when \p hasComment.
QString makeRows(const QString &path, int numRows, bool hasComment)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    if (hasComment)
        file.write("# rig 7\n# calibrated\n");
    file.write("n,Force{kN},Remark\n");
    QByteArray text;
    for (int row = 0; row < numRows; ++row) {
        text += QByteArray::number(row) + ',' + QByteArray::number(row * 7 % 1000) + ",ok\n";
        if (text.size() > 1 << 20) {
            file.write(text);
            text.clear();
        }
    }
    file.write(text);
    return path;
}

Workbench::TableView &viewOf(Workbench::MainWindow &window)
{
    return static_cast<Workbench::TableView &>(window.currentTab()->view());
}

void clickHeader(QTableView &grid, int col, Qt::KeyboardModifiers modifiers = {})
{
    QHeaderView *const header = grid.horizontalHeader();
    const QPoint place(header->sectionViewportPosition(col) + 20, header->height() / 2);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, modifiers, place);
}

/// The times until the first rows of a file are painted.
Times untilOpened(Workbench::MainWindow &window, const QString &path)
{
    const Stopwatch watch;
    window.openFiles({path});
    const Times read = watch.elapsed();
    // Painted once more where that has happened already: no other paint event may follow.
    QWidget *const cells = viewOf(window).grid().viewport();
    const Times painted = untilPainted(cells, [cells] { cells->update(); });
    return {read.wall + painted.wall, read.processor + painted.processor};
}

/// The first rows of a file, and the plot of two of its columns.
void measureFile(Workbench::MainWindow &window, const QString &path)
{
    const double size = double(QFileInfo(path).size()) / 1e6;
    settle();
    const Times opened = untilOpened(window, path);
    const Workbench::TableView &view = viewOf(window);
    std::printf("table of %.0f MB with %d rows\n", size, view.document().numRows());
    print("table to its first rows", opened, 500.0);
    settle();

    clickHeader(view.grid(), 0);
    clickHeader(view.grid(), 1, Qt::ControlModifier);
    settle();
    auto *const pane = static_cast<Workbench::PlotPane *>(window.tool("Plot"));
    const Stopwatch plotting;
    const Times plotted = untilPainted(
        pane->plot().canvas(), [&] { window.findChild<QAction *>("plotSelection")->trigger(); });
    print("plot of two columns", plotted, 300.0);
    while (pane->statistics().columnCount() != 2)
        QApplication::processEvents();
    print("  and their statistics", plotting.elapsed(), 1000.0);
    printMemory("memory at most", memoryOfProcess("VmHWM:") / 1e6, 2.5 * size);
}

/// Acts \p count times, and prints the longest frame of that and of what follows from it.
void measureFrames(const char *what, int count, const std::function<void(int)> &act)
{
    app().longest = {};
    for (int i = 0; i < count; ++i) {
        act(i);
        settle();
    }
    QTest::qWait(250); // for what is started a little later, such as a plot
    print(what, app().longest, 50.0);
}

void scroll(QWidget &viewport)
{
    const QPointF position = viewport.rect().center();
    QWheelEvent event(position, viewport.mapToGlobal(position.toPoint()), {}, QPoint(0, -360),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&viewport, &event);
}

void measureActions(Workbench::MainWindow &window)
{
    QTableView &grid = viewOf(window).grid();
    QScrollBar &bar = *grid.verticalScrollBar();
    measureFrames("  scroll by the wheel", 100, [&](int) { scroll(*grid.viewport()); });
    measureFrames("  scroll by pages", 100, [&](int) { QTest::keyClick(&grid, Qt::Key_PageDown); });
    measureFrames("  drag the scroll bar", 100, [&](int i) {
        bar.setValue(int(qint64(i) * 7919 * 100003 % (bar.maximum() + 1)));
    });
    measureFrames("  jump to the end and back", 10, [&](int i) {
        QTest::keyClick(&grid, i % 2 == 0 ? Qt::Key_End : Qt::Key_Home, Qt::ControlModifier);
    });
    measureFrames("  select a column", 3, [&](int i) { clickHeader(grid, i); });
    measureFrames("  select and deselect columns", 6,
                  [&](int i) { clickHeader(grid, i % 2, Qt::ControlModifier); });
    QTest::keyClick(&grid, Qt::Key_Home, Qt::ControlModifier);
    measureFrames("  move the current cell", 50,
                  [&](int) { QTest::keyClick(&grid, Qt::Key_Down); });
    measureFrames("  select down to the end", 1, [&](int) {
        QTest::keyClick(&grid, Qt::Key_End, Qt::ControlModifier | Qt::ShiftModifier);
    });
    QTest::keyClick(&grid, Qt::Key_Home, Qt::ControlModifier);
    measureFrames("  select all", 1,
                  [&](int) { QTest::keyClick(&grid, Qt::Key_A, Qt::ControlModifier); });
}

void measureRows(Workbench::MainWindow &window, const QTemporaryDir &folder, int numRows)
{
    const struct
    {
        const char *storage;
        int memoryLimit; // megabytes
        bool hasComment;
    } cases[] = {{"in the file", 1, false}, {"as bytes", 1024, false}, {"as text", 1024, true}};
    for (const auto &each : cases) {
        const QString path = makeRows(folder.filePath("rows.csv"), numRows, each.hasComment);
        const double size = double(QFileInfo(path).size()) / 1e6;
        Workbench::Preferences::memoryLimit.set(each.memoryLimit);
        const double before = memoryOfProcess("VmRSS:");
        const Times opened = untilOpened(window, path);
        std::printf("%d rows %s\n", viewOf(window).document().numRows(), each.storage);
        print("  first rows", opened, 500.0 * size / 100.0);
        printMemory("  memory", (memoryOfProcess("VmRSS:") - before) / 1e6, 2.5 * size);
        measureActions(window);
        window.findChild<QAction *>("close")->trigger();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        settle();
    }
}

} // namespace

int main(int argc, char **argv)
{
    Application application(argc, argv);
    QCoreApplication::setOrganizationName("Company");
    QCoreApplication::setApplicationName("Benchmark");

    Workbench::Session session(Workbench::hostVariables());
    Workbench::MainWindow &window = session.window();
    untilPainted(&window, [&] { window.show(); });
    settle();
    print("start to a usable window", {sinceStart(), processorTime()}, 400.0);

    const bool hasFile = argc > 1 && QFileInfo::exists(argv[1]);
    const QTemporaryDir folder;
    if (hasFile) {
        if (argc > 2)
            Workbench::Preferences::memoryLimit.set(std::atoi(argv[2]));
        measureFile(window, argv[1]);
        return isWithinLimits ? 0 : 1;
    }
    const int megabytes = argc > 1 ? std::max(std::atoi(argv[1]), 1) : 100;
    measureFile(window, makeTable(folder.filePath("large.csv"), megabytes));
    window.findChild<QAction *>("close")->trigger();
    const int numRows = argc > 2 ? std::atoi(argv[2]) : 10000000;
    if (numRows > 0)
        measureRows(window, folder, numRows);
    return isWithinLimits ? 0 : 1;
}
