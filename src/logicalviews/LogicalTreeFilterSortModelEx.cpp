#include "LogicalTreeFilterSortModelEx.h"

#include "LogicalTreeModel.h"
#include "LogicalTreeOrder.h"

LogicalTreeFilterSortModelEx::LogicalTreeFilterSortModelEx(QObject* parent)
    : XRTreeFilterSortModel(parent)
{
    sort(0, Qt::AscendingOrder);
}

bool LogicalTreeFilterSortModelEx::lessThan(const QModelIndex& sourceLeft, const QModelIndex& sourceRight) const
{
    const int leftType = logicalTypeOf(sourceLeft);
    const int rightType = logicalTypeOf(sourceRight);
    if (leftType != rightType)
        return leftType == LogicalTreeModel::Folder;
    return isBeforeSibling(sourceLeft, sourceRight, leftType);
}
