#include "examples/workbench/bus/SendModel.h"

#include "examples/workbench/Texts.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>

namespace Workbench {

SendModel::SendModel(QObject *parent) : QAbstractTableModel(parent) {}

void SendModel::setLimit(int numSends) { m_limit = size_t(std::max(numSends, 1)); }

void SendModel::setFilter(const QString &text)
{
    m_filter = text;
    beginResetModel();
    findShown();
    endResetModel();
}

bool SendModel::isWanted(const Send &send) const
{
    return send.trace.name.contains(m_filter, Qt::CaseInsensitive);
}

void SendModel::findShown()
{
    m_shown.clear();
    for (size_t i = 0; i < m_sends.size(); ++i) {
        if (isWanted(m_sends[i]))
            m_shown.push_back(m_first + qint64(i));
    }
}

void SendModel::add(const Utils::SignalTrace &send)
{
    if (m_new.size() == m_limit)
        m_new.pop_front();
    m_new.push_back({QDateTime::currentMSecsSinceEpoch(), send});
    ++m_numSends;
}

void SendModel::update()
{
    if (m_new.empty())
        return;
    const size_t total = m_sends.size() + m_new.size();
    const size_t numDropped = total > m_limit ? std::min(total - m_limit, m_sends.size()) : 0;
    const qint64 first = m_first + qint64(numDropped);
    const auto firstKept = std::lower_bound(m_shown.begin(), m_shown.end(), first);
    const bool areAllNew = firstKept == m_shown.end();

    if (areAllNew)
        beginResetModel();
    else if (firstKept != m_shown.begin())
        beginRemoveRows({}, 0, int(firstKept - m_shown.begin()) - 1);
    const bool isRemoving = !areAllNew && firstKept != m_shown.begin();
    m_shown.erase(m_shown.begin(), firstKept);
    m_sends.erase(m_sends.begin(), m_sends.begin() + std::ptrdiff_t(numDropped));
    m_first = first;
    if (isRemoving)
        endRemoveRows();

    std::deque<qint64> added;
    qint64 number = m_first + qint64(m_sends.size());
    for (const Send &send : m_new) {
        if (isWanted(send))
            added.push_back(number);
        ++number;
    }
    if (!areAllNew && !added.empty())
        beginInsertRows({}, int(m_shown.size()), int(m_shown.size() + added.size()) - 1);
    m_sends.insert(m_sends.end(), m_new.begin(), m_new.end());
    m_shown.insert(m_shown.end(), added.begin(), added.end());
    m_new.clear();
    if (areAllNew)
        endResetModel();
    else if (!added.empty())
        endInsertRows();
}

void SendModel::clear()
{
    beginResetModel();
    m_new.clear();
    m_sends.clear();
    m_shown.clear();
    m_numSends = 0;
    endResetModel();
}

int SendModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_shown.size());
}

int SendModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : NumColumns;
}

QVariant SendModel::data(const QModelIndex &index, int role) const
{
    if (role == Qt::TextAlignmentRole && index.column() >= Receivers)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole)
        return {};
    static const char *const shapes[] = {".ctx.payloadEmpty", ".ctx.payloadOne", ".ctx.payloadItem",
                                         ".ctx.payloadCollection"};
    const Send &send = shown(index.row());
    switch (index.column()) {
    case Time:
        return QDateTime::fromMSecsSinceEpoch(send.time).toString("HH:mm:ss.zzz");
    case Name:
        return QString(2 * send.trace.depth, QChar::Nbsp) + send.trace.name;
    case Payload:
        return text(shapes[int(send.trace.shape)]);
    case Receivers:
        return QLocale().toString(send.trace.receivers);
    default:
        return QLocale().toString(send.trace.microseconds, 'f', 1);
    }
}

QVariant SendModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const char *const titles[] = {".ctx.sendTime", ".ctx.sendName", ".ctx.sendPayload",
                                         ".ctx.sendReceivers", ".ctx.sendDuration"};
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal)
        return {};
    return text(titles[section]);
}

} // namespace Workbench
