#include "LogicalTreeSortFilterModel.h"

#include "LogicalTreeModel.h"
#include "LogicalTreeOrder.h"
#include "DeviceTreeNames.h"

#include <algorithm>
#include <utility>

namespace {

using Logical = LogicalTreeModel;

const QString kRemovedCamerasFolderId = DeviceTreeNames::kRemovedCamerasFolder;
const QString kLocalDbFolderId = QStringLiteral("_LOCAL_DB_");
const QString kIoDeviceFolderId = QStringLiteral("_IO_BOX_FID_");
const QString kOnvifBrand = QStringLiteral("ONVI");

bool isIoDeviceKind(int type)
{
    return type == Logical::StationIoDevice || type == Logical::ExternalDevice;
}

} // namespace

LogicalTreeSortFilterModel::LogicalTreeSortFilterModel(QObject* parent)
    : QSortFilterProxyModel(parent)
{
    sort(0, Qt::AscendingOrder);
}

void LogicalTreeSortFilterModel::setSourceModel(QAbstractItemModel* sourceModel)
{
    for (const QMetaObject::Connection& connection : std::as_const(m_sourceConnections))
        disconnect(connection);
    m_sourceConnections.clear();
    QSortFilterProxyModel::setSourceModel(sourceModel);
    // Connected after the base class, so that the checks see the changed rows
    // already filtered by Qt.
    if (sourceModel) {
        using Self = LogicalTreeSortFilterModel;
        m_sourceConnections = {
                connect(sourceModel, &QAbstractItemModel::dataChanged, this, &Self::followDataChange),
                connect(sourceModel, &QAbstractItemModel::rowsInserted, this, &Self::followInsertedRows),
                connect(sourceModel, &QAbstractItemModel::rowsRemoved, this, &Self::followRemovedRows),
                connect(sourceModel, &QAbstractItemModel::rowsMoved, this, &Self::followMovedRows),
        };
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
    const QModelIndex node = sourceModel()->index(sourceRow, 0, sourceParent);
    switch (ownVerdict(node)) {
    case Verdict::Rejected:
        return false;
    case Verdict::Accepted:
        return true;
    case Verdict::DependsOnChildren:
        break;
    }
    return anyChildAccepted(node);
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

bool LogicalTreeSortFilterModel::anyChildAccepted(const QModelIndex& sourceNode) const
{
    const int count = sourceModel()->rowCount(sourceNode);
    for (int row = 0; row < count; ++row) {
        if (filterAcceptsRow(row, sourceNode))
            return true;
    }
    return false;
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
    const bool nameChanged = roles.isEmpty() || roles.contains(Logical::nameRole);
    for (int row = topLeft.row(); row <= last; ++row) {
        if (nameChanged && descendantsAreStale(sourceModel()->index(row, 0, parent))) {
            invalidateRowsFilter();
            return;
        }
    }
    if (ancestorsAreStale(parent, topLeft.row(), last, anyRowAccepted(parent, topLeft.row(), last)))
        invalidateRowsFilter();
}

bool LogicalTreeSortFilterModel::anyRowAccepted(const QModelIndex& sourceParent, int first, int last) const
{
    // Below a shown parent Qt has just filtered these rows; its answer is reused.
    const bool parentShown = isShown(sourceParent);
    for (int row = first; row <= last; ++row) {
        const bool accepted = parentShown ? mapFromSource(sourceModel()->index(row, 0, sourceParent)).isValid()
                                          : filterAcceptsRow(row, sourceParent);
        if (accepted)
            return true;
    }
    return false;
}

void LogicalTreeSortFilterModel::followInsertedRows(const QModelIndex& sourceParent, int first, int last)
{
    // Rows that moved down from the first place must give it up.
    if (m_hideNonRootDevices && first == 0 && sourceModel()->rowCount(sourceParent) > last + 1) {
        invalidateRowsFilter();
        return;
    }
    if (m_text.isEmpty())
        return;
    if (ancestorsAreStale(sourceParent, first, last, anyRowAccepted(sourceParent, first, last)))
        invalidateRowsFilter();
}

void LogicalTreeSortFilterModel::followRemovedRows(const QModelIndex& sourceParent, int first, int)
{
    if (m_hideNonRootDevices && first == 0 && sourceModel()->rowCount(sourceParent) > 0) {
        invalidateRowsFilter();
        return;
    }
    if (!m_text.isEmpty() && ancestorsAreStale(sourceParent, 0, -1, false))
        invalidateRowsFilter();
}

void LogicalTreeSortFilterModel::followMovedRows()
{
    if (!m_text.isEmpty() || m_hideNonRootDevices)
        invalidateRowsFilter();
}

bool LogicalTreeSortFilterModel::isShown(const QModelIndex& sourceNode) const
{
    // Asked from the top down: Qt maps a row below a hidden parent as if the
    // parent were shown.
    QList<QModelIndex> path;
    for (QModelIndex node = sourceNode; node.isValid(); node = node.parent())
        path.prepend(node);
    return std::all_of(path.cbegin(), path.cend(),
                       [this](const QModelIndex& node) { return mapFromSource(node).isValid(); });
}

int LogicalTreeSortFilterModel::shownRowsAmong(const QModelIndex& sourceParent, int first, int last) const
{
    if (first > last || !isShown(sourceParent))
        return 0;
    int shown = 0;
    for (int row = first; row <= last; ++row)
        shown += mapFromSource(sourceModel()->index(row, 0, sourceParent)).isValid() ? 1 : 0;
    return shown;
}

// Whether an ancestor of the changed rows first..last under sourceParent now
// shows or hides when it should not. A row that depends on its children is
// accepted when one of them is; for the children off the changed path the rows
// already shown answer, as nothing changed there.
bool LogicalTreeSortFilterModel::ancestorsAreStale(const QModelIndex& sourceParent, int first, int last,
                                                   bool changedRowsAccepted) const
{
    bool pathChildAccepted = changedRowsAccepted;
    int pathChildrenShown = shownRowsAmong(sourceParent, first, last);
    for (QModelIndex node = sourceParent; node.isValid(); node = node.parent()) {
        const Verdict verdict = ownVerdict(node);
        const QModelIndex shownNode = mapFromSource(node);
        bool acceptedNow = verdict == Verdict::Accepted;
        if (verdict == Verdict::DependsOnChildren) {
            const int otherChildrenShown = isShown(node) ? rowCount(shownNode) - pathChildrenShown : 0;
            acceptedNow = pathChildAccepted || otherChildrenShown > 0;
        }
        if (isShown(node.parent()) && acceptedNow != shownNode.isValid())
            return true;
        pathChildAccepted = acceptedNow;
        pathChildrenShown = shownNode.isValid() ? 1 : 0;
    }
    return false;
}

// Whether a row below a shown node shows or hides when it should not, after the
// node's name changed.
bool LogicalTreeSortFilterModel::descendantsAreStale(const QModelIndex& sourceNode) const
{
    if (!sourceModel()->hasChildren(sourceNode) || !isShown(sourceNode))
        return false;
    const int count = sourceModel()->rowCount(sourceNode);
    for (int row = 0; row < count; ++row) {
        const QModelIndex child = sourceModel()->index(row, 0, sourceNode);
        const bool shown = mapFromSource(child).isValid();
        if (shown != filterAcceptsRow(row, sourceNode))
            return true;
        if (shown && descendantsAreStale(child))
            return true;
    }
    return false;
}
