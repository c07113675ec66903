#include "LogicalTreeIDFilterModel.h"

#include "LogicalTreeModel.h"

LogicalTreeIDFilterModel::LogicalTreeIDFilterModel(QObject* parent)
    : QSortFilterProxyModel(parent)
{
}

void LogicalTreeIDFilterModel::setAvailableIDList(const QStringList& ids)
{
    if (ids == m_ids)
        return;
    m_ids = ids;
    m_idSet = QSet<QString>(ids.cbegin(), ids.cend());
    invalidateRowsFilter();
}

void LogicalTreeIDFilterModel::clearFilter()
{
    setAvailableIDList(QStringList());
}

bool LogicalTreeIDFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const
{
    if (m_idSet.isEmpty())
        return true;
    const QModelIndex node = sourceModel()->index(sourceRow, 0, sourceParent);
    return m_idSet.contains(node.data(LogicalTreeModel::idRole).toString());
}
