#pragma once

#include "examples/workbench/Pane.h"

#include <QTimer>

QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QLineEdit)
QT_FORWARD_DECLARE_CLASS(QTableView)

namespace Workbench {

class SendModel;

/// Shows each send of a signal in the program, while the user wants it: at other times no send is
/// traced, which then takes no time.
class BusPane : public Pane
{
    Q_OBJECT

public:
    explicit BusPane(QWidget *parent);
    ~BusPane() override;

    SendModel &sends() const { return *m_sends; }
    QTableView &table() const { return *m_table; }

    void updateTexts() override;

private:
    void addCommands();
    void layOut();
    void widenColumns();
    void setTracing(bool on);
    void setPaused(bool on);
    void update();
    void tellCount();

    SendModel *m_sends;
    QTableView *m_table;
    QLineEdit *m_filter;
    QLabel *m_count;
    QAction *m_trace = nullptr;
    QAction *m_pause = nullptr;
    QAction *m_clear = nullptr;
    QTimer m_timer;
};

} // namespace Workbench
