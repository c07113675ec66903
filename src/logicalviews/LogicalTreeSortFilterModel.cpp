#include "LogicalTreeSortFilterModel.h"

#include "LogicalTreeNames.h"
#include "LogicalTreeModel.h"
#include "LogicalTreeOrder.h"
#include "DeviceTreeNames.h"

#include <algorithm>

namespace {

using Logical = LogicalTreeModel;

const QString kRemovedCamerasFolderId = DeviceTreeNames::kRemovedCamerasFolder;
const QString kLocalDbFolderId = LogicalTreeNames::kLocalDbFolder;
const QString kIoDeviceFolderId = LogicalTreeNames::kIoDeviceFolder;
const QString kOnvifBrand = QStringLiteral("ONVI");

bool isIoDeviceKind(int type)
{
    return type == Logical::StationIoDevice || type == Logical::ExternalDevice;
}

} // namespace

LogicalTreeSortFilterModel::LogicalTreeSortFilterModel(QObject* parent)
    : QSortFilterProxyModel(parent)
    , m_check(*this, [this](const QModelIndex& sourceNode) { return ownVerdict(sourceNode); })
{
    sort(0, Qt::AscendingOrder);
}

void LogicalTreeSortFilterModel::setSourceModel(QAbstractItemModel* sourceModel)
{
    m_sourceConnections.disconnectAll();
    QSortFilterProxyModel::setSourceModel(sourceModel);
    // Connected after the base class, so that the checks see the changed rows
    // already filtered by Qt.
    if (sourceModel) {
        using Self = LogicalTreeSortFilterModel;
        m_sourceConnections.replace({
                connect(sourceModel, &QAbstractItemModel::dataChanged, this, &Self::followDataChange),
                connect(sourceModel, &QAbstractItemModel::rowsInserted, this, &Self::followInsertedRows),
                connect(sourceModel, &QAbstractItemModel::rowsRemoved, this, &Self::followRemovedRows),
                connect(sourceModel, &QAbstractItemModel::rowsMoved, this, &Self::followMovedRows),
        });
    }
}

// --- Settings ------------------------------------------------------------------

template <typename T>
void LogicalTreeSortFilterModel::changeSetting(T* setting, const T& value)
{
    if (*setting == value)
        return;
    *setting = value;
    invalidateRowsFilter();
}

void LogicalTreeSortFilterModel::filter(const QString& text)
{
    changeSetting(&m_text, text);
}

void LogicalTreeSortFilterModel::setFilterCapability(const QStringList& keys, bool matchAll)
{
    if (keys == m_capabilityKeys && matchAll == m_capabilityMatchAll)
        return;
    m_capabilityKeys = keys;
    m_capabilityMatchAll = matchAll;
    invalidateRowsFilter();
}

void LogicalTreeSortFilterModel::clearFilterCapability()
{
    changeSetting(&m_capabilityKeys, QStringList());
}

void LogicalTreeSortFilterModel::filterOutCameraNodeIds(const QStringList& cameraIds)
{
    m_excludedCameraIdSet = QSet<QString>(cameraIds.cbegin(), cameraIds.cend());
    changeSetting(&m_excludedCameraIds, cameraIds);
}

void LogicalTreeSortFilterModel::setFilterSKYRCloudDevice(bool hide)
{
    changeSetting(&m_hideCloudDevices, hide);
}

void LogicalTreeSortFilterModel::setFilterNotRootDevice(bool hide)
{
    changeSetting(&m_hideNonRootDevices, hide);
}

void LogicalTreeSortFilterModel::showRemovedCameraFolder(bool show)
{
    changeSetting(&m_showRemovedCameraFolder, show);
}

void LogicalTreeSortFilterModel::showLocalDBFolder(bool show)
{
    changeSetting(&m_showLocalDbFolder, show);
}

void LogicalTreeSortFilterModel::showIONodesAndFolders(bool show)
{
    changeSetting(&m_showIoNodes, show);
}

void LogicalTreeSortFilterModel::showOnvifCamera(bool show)
{
    changeSetting(&m_showOnvifCameras, show);
}

// --- Filter and order ----------------------------------------------------------

bool LogicalTreeSortFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const
{
    return m_check.acceptsWithDescendants(sourceModel()->index(sourceRow, 0, sourceParent));
}

LogicalTreeSortFilterModel::Verdict LogicalTreeSortFilterModel::ownVerdict(const QModelIndex& sourceNode) const
{
    const int type = logicalTypeOf(sourceNode);
    if (!passesSettings(sourceNode, type))
        return Verdict::Rejected;
    if (!m_capabilityKeys.isEmpty() && type == Logical::Camera)
        return nameContainsText(sourceNode) && hasCapabilities(sourceNode) ? Verdict::Accepted : Verdict::Rejected;
    // Every name contains the empty text.
    if (m_text.isEmpty())
        return Verdict::Accepted;
    for (QModelIndex ancestor = sourceNode.parent(); ancestor.isValid(); ancestor = ancestor.parent()) {
        if (nameContainsText(ancestor))
            return Verdict::Accepted;
    }
    // Its own name is read before its children, which cost more and decide the same way.
    return nameContainsText(sourceNode) ? Verdict::Accepted : Verdict::DependsOnChildren;
}

bool LogicalTreeSortFilterModel::passesSettings(const QModelIndex& sourceNode, int type) const
{
    const QString nodeId = sourceNode.data(Logical::nodeIDRole).toString();
    if (m_hideCloudDevices && sourceNode.data(Logical::isSKYRCloudDeviceRole).toBool())
        return false;
    if (m_hideNonRootDevices && type != Logical::Camera && sourceNode.row() != 0)
        return false;
    if (!m_showRemovedCameraFolder && nodeId == kRemovedCamerasFolderId)
        return false;
    if (!m_showLocalDbFolder && nodeId == kLocalDbFolderId)
        return false;
    if (!m_showIoNodes
        && (type == Logical::DigitalInput || type == Logical::DigitalOutput || nodeId == kIoDeviceFolderId))
        return false;
    if (!m_showOnvifCameras && sourceNode.data(Logical::brandRole).toString() == kOnvifBrand)
        return false;
    if (!m_excludedCameraIdSet.isEmpty()
        && m_excludedCameraIdSet.contains(sourceNode.data(Logical::cameraNodeIDRole).toString()))
        return false;
    return true;
}

bool LogicalTreeSortFilterModel::hasCapabilities(const QModelIndex& sourceNode) const
{
    const QVariantMap fields = sourceNode.data(Logical::dataRole).toMap();
    const auto holds = [&fields](const QString& key) { return fields.value(key).toBool(); };
    if (m_capabilityMatchAll)
        return std::all_of(m_capabilityKeys.cbegin(), m_capabilityKeys.cend(), holds);
    return std::any_of(m_capabilityKeys.cbegin(), m_capabilityKeys.cend(), holds);
}

bool LogicalTreeSortFilterModel::nameContainsText(const QModelIndex& sourceNode) const
{
    return sourceNode.data(Logical::nameRole).toString().contains(m_text, Qt::CaseInsensitive);
}

bool LogicalTreeSortFilterModel::lessThan(const QModelIndex& sourceLeft, const QModelIndex& sourceRight) const
{
    const int leftType = logicalTypeOf(sourceLeft);
    const int rightType = logicalTypeOf(sourceRight);
    if (leftType == rightType)
        return isBeforeSibling(sourceLeft, sourceRight, leftType);
    if (!isIoDeviceKind(leftType))
        return leftType == Logical::Folder;
    if (isIoDeviceKind(rightType))
        return leftType < rightType;
    return false;
}

// --- Following the source --------------------------------------------------------

bool LogicalTreeSortFilterModel::filtersOn(const QList<int>& roles) const
{
    static const QList<int> filteredRoles{Logical::typeRole,  Logical::nameRole,
                                          Logical::cameraNodeIDRole, Logical::nodeIDRole,
                                          Logical::isSKYRCloudDeviceRole, Logical::brandRole};
    if (roles.isEmpty())
        return true;
    if (!m_capabilityKeys.isEmpty() && roles.contains(Logical::dataRole))
        return true;
    return std::any_of(roles.cbegin(), roles.cend(), [](int role) { return filteredRoles.contains(role); });
}

void LogicalTreeSortFilterModel::followDataChange(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                                  const QList<int>& roles)
{
    if (m_text.isEmpty() || !filtersOn(roles) || !topLeft.isValid() || !bottomRight.isValid()
        || topLeft.model() != sourceModel())
        return;
    const QModelIndex parent = topLeft.parent();
    const int last = std::min(bottomRight.row(), sourceModel()->rowCount(parent) - 1);
    // A row shows when an ancestor's name contains the text, so a name reaches down.
    if (roles.isEmpty() || roles.contains(Logical::nameRole)) {
        for (int row = topLeft.row(); row <= last; ++row) {
            if (m_check.descendantsAreStale(sourceModel()->index(row, 0, parent))) {
                invalidateRowsFilter();
                return;
            }
        }
    }
    if (m_check.ancestorsAreStale(parent, topLeft.row(), last))
        invalidateRowsFilter();
}

void LogicalTreeSortFilterModel::followInsertedRows(const QModelIndex& sourceParent, int first, int last)
{
    // Rows that moved down from the first place must give it up.
    if (m_hideNonRootDevices && first == 0 && sourceModel()->rowCount(sourceParent) > last + 1) {
        invalidateRowsFilter();
        return;
    }
    if (!m_text.isEmpty() && m_check.ancestorsAreStale(sourceParent, first, last))
        invalidateRowsFilter();
}

void LogicalTreeSortFilterModel::followRemovedRows(const QModelIndex& sourceParent, int first, int)
{
    if (m_hideNonRootDevices && first == 0 && sourceModel()->rowCount(sourceParent) > 0) {
        invalidateRowsFilter();
        return;
    }
    if (!m_text.isEmpty() && m_check.ancestorsAreStale(sourceParent, 0, -1))
        invalidateRowsFilter();
}

void LogicalTreeSortFilterModel::followMovedRows()
{
    if (!m_text.isEmpty() || m_hideNonRootDevices)
        invalidateRowsFilter();
}
