#pragma once

#include "utils/signals/SignalTrace.h"

#include <QAbstractTableModel>

#include <deque>

namespace Workbench {

/// The last sends of signals, as a table. It takes sends as fast as they are made, and shows them
/// when update() is called.
class SendModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column
    {
        Time,
        Name, ///< of the signal, indented by the sends in which it was sent
        Payload,
        Receivers,
        Duration, ///< in microseconds
        NumColumns
    };

    explicit SendModel(QObject *parent);

    /// How many sends are kept.
    void setLimit(int numSends);

    /// Shows only the signals whose names contain \p text, in any case.
    void setFilter(const QString &text);

    /// Takes a send. The model does not change before update().
    void add(const Utils::SignalTrace &send);

    void update();
    void clear();

    /// All sends since the last clear(), also those that are not kept.
    qint64 numSends() const { return m_numSends; }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    struct Send
    {
        qint64 time; // in milliseconds since the epoch
        Utils::SignalTrace trace;
    };

    bool isWanted(const Send &send) const;
    void findShown();
    const Send &shown(int row) const { return m_sends[size_t(m_shown[size_t(row)] - m_first)]; }

    std::deque<Send> m_new;     // that update() has not seen
    std::deque<Send> m_sends;   // that are kept
    std::deque<qint64> m_shown; // the numbers of those that the filter lets pass, one a row
    qint64 m_first = 0;         // the number of the first send that is kept
    qint64 m_numSends = 0;
    size_t m_limit = 10000;
    QString m_filter;
};

} // namespace Workbench
