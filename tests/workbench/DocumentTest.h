#pragma once

#include "examples/workbench/table/TableView.h"
#ifdef KELM_WORKBENCH_SCRIPTS
#include "examples/workbench/script/CodeEditor.h"
#include "examples/workbench/script/ScriptView.h"
#endif
#include "tests/workbench/TreeTest.h"

#include <QMap>
#include <QTableView>

/// The workbench with small documents of each kind. A kind is the suffix of its files.
class DocumentTest : public TreeTest
{
public:
    using TreeTest::TreeTest;

    static QStringList kinds()
    {
        QStringList all{"csv", "tag", "xml"};
#ifdef KELM_WORKBENCH_SCRIPTS
        all.append("py");
#endif
        return all;
    }

    QTableView &grid() { return view<Workbench::TableView>()->grid(); }

    /// Opens a document with the value 100, in a folder of its own. Returns its path.
    QString openSample(const QString &kind)
    {
        const QMap<QString, QByteArray> contents = {
            {"csv", "Time{s},Force{kN}\n0,100\n1,2.5\n"},
            {"tag", "*bolt\nname: M16\npreload: 100\n"},
            {"xml", "<frame version=\"2.1\">\n  <node x=\"100\"/>\n</frame>\n"},
            {"py", "print 100\n"}};
        const QString path = file("work/a." + kind, contents.value(kind));
        open(path);
        return path;
    }

    /// Replaces the value, by the keyboard.
    void changeSample(const QString &kind, const QString &value)
    {
#ifdef KELM_WORKBENCH_SCRIPTS
        if (kind == "py")
            typeInto(view<Workbench::ScriptView>()->editor(), "print " + value);
#endif
        if (kind == "csv")
            changeCell(grid(), grid().model()->index(0, 1), value);
        if (kind == "tag")
            change({0, 1}, 1, value);
        if (kind == "xml")
            change({0, 1, 0}, 1, value);
        QVERIFY(document().isChanged());
    }

    /// The value that is shown.
    QString sampleValue(const QString &kind)
    {
#ifdef KELM_WORKBENCH_SCRIPTS
        if (kind == "py")
            return view<Workbench::ScriptView>()->editor().toPlainText().section(' ', 1).trimmed();
#endif
        if (kind == "csv")
            return grid().model()->index(0, 1).data().toString();
        return kind == "tag" ? text({0, 1}, 1) : text({0, 1, 0}, 1);
    }
};
