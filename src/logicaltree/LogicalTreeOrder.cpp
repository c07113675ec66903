#include "LogicalTreeOrder.h"

#include "LogicalTreeNames.h"
#include "LogicalTreeModel.h"
#include "DeviceTreeNames.h"

namespace {

using Logical = LogicalTreeModel;

} // namespace

int logicalTypeOf(const QModelIndex& index)
{
    bool isNumber = false;
    const int type = index.data(Logical::typeRole).toInt(&isNumber);
    return isNumber ? type : -1;
}

bool isBeforeSibling(const QModelIndex& left, const QModelIndex& right, int type)
{
    static const QString specialFolders[] = {QString(LogicalTreeNames::kCloudFolder), QString(LogicalTreeNames::kLocalDbFolder),
                                             QString(DeviceTreeNames::kRemovedCamerasFolder)};
    const QString leftNodeId = left.data(Logical::nodeIDRole).toString();
    const QString rightNodeId = right.data(Logical::nodeIDRole).toString();
    for (const QString& folder : specialFolders) {
        if (leftNodeId == folder || rightNodeId == folder)
            return leftNodeId == folder;
    }
    if (type == Logical::DigitalInput || type == Logical::DigitalOutput)
        return left.row() < right.row();
    return QString::compare(left.data(Logical::nameRole).toString(), right.data(Logical::nameRole).toString(),
                            Qt::CaseInsensitive)
        < 0;
}
