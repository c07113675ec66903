#include "LogicalTreeValidCameraDataModel.h"

#include "LogicalTreeModel.h"
#include "LogicalTreeOrder.h"

LogicalTreeValidCameraDataModel::LogicalTreeValidCameraDataModel(QObject* parent)
    : QSortFilterProxyModel(parent)
{
}

bool LogicalTreeValidCameraDataModel::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const
{
    const QModelIndex node = sourceModel()->index(sourceRow, 0, sourceParent);
    if (logicalTypeOf(node) != LogicalTreeModel::Camera)
        return true;
    return node.data(LogicalTreeModel::nameRole).isValid();
}
