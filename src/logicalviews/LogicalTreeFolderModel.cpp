#include "LogicalTreeFolderModel.h"

#include "LogicalTreeNames.h"
#include "LogicalTreeModel.h"
#include "LogicalTreeOrder.h"
#include "DeviceTreeNames.h"

namespace {

using Logical = LogicalTreeModel;

} // namespace

LogicalTreeFolderModel::LogicalTreeFolderModel(QObject* parent)
    : QSortFilterProxyModel(parent)
{
    sort(0, Qt::AscendingOrder);
}

bool LogicalTreeFolderModel::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const
{
    static const QString specialFolderIds[] = {QString(DeviceTreeNames::kRemovedCamerasFolder), QString(LogicalTreeNames::kLocalDbFolder),
                                               QString(LogicalTreeNames::kIoDeviceFolder)};
    const QModelIndex node = sourceModel()->index(sourceRow, 0, sourceParent);
    if (logicalTypeOf(node) != Logical::Folder)
        return false;
    const QString id = node.data(Logical::idRole).toString();
    for (const QString& specialId : specialFolderIds) {
        if (id.contains(specialId))
            return false;
    }
    return !node.data(Logical::isSKYRCloudDeviceRole).toBool();
}

bool LogicalTreeFolderModel::lessThan(const QModelIndex& sourceLeft, const QModelIndex& sourceRight) const
{
    return QString::compare(sourceLeft.data(Logical::nameRole).toString(),
                            sourceRight.data(Logical::nameRole).toString(), Qt::CaseInsensitive)
        < 0;
}
