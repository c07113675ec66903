#include "DeviceTreeFilterBase.h"

#include "StandardTopologyModel.h"

#include <algorithm>
#include <utility>

using Model = StandardTopologyModel;

DeviceTreeFilterBase::DeviceTreeFilterBase(QObject* parent)
    : QSortFilterProxyModel(parent)
{
    setRecursiveFilteringEnabled(true);
}

void DeviceTreeFilterBase::setSourceModel(QAbstractItemModel* sourceModel)
{
    disconnect(m_changeConnection);
    m_fields.forgetSourceModel();
    QSortFilterProxyModel::setSourceModel(sourceModel);
    // Connected after the base class, so that the check sees the rows as Qt
    // has already filtered them for this change.
    if (sourceModel)
        m_changeConnection = connect(sourceModel, &QAbstractItemModel::dataChanged, this,
                                     &DeviceTreeFilterBase::followSourceChange);
}

bool DeviceTreeFilterBase::isOrderedBefore(const QModelIndex& left, const QModelIndex& right)
{
    const int leftKind = left.data(Model::nodeTypeRole).toInt();
    const int rightKind = right.data(Model::nodeTypeRole).toInt();
    if (leftKind != rightKind)
        return leftKind < rightKind;
    return QString::compare(left.data(Model::nameRole).toString(), right.data(Model::nameRole).toString(),
                            Qt::CaseInsensitive)
        < 0;
}

bool DeviceTreeFilterBase::lessThan(const QModelIndex& sourceLeft, const QModelIndex& sourceRight) const
{
    return isOrderedBefore(sourceLeft, sourceRight);
}

bool DeviceTreeFilterBase::changeReachesDescendants(const QModelIndex&, const QList<int>&) const
{
    return false;
}

QList<int> DeviceTreeFilterBase::derivedRoles(const QList<int>&) const
{
    return {};
}

NodeFieldReader::Fields DeviceTreeFilterBase::fieldsOf(const QModelIndex& sourceNode) const
{
    return m_fields.fieldsOf(sourceNode);
}

bool DeviceTreeFilterBase::namesAnyOf(const QList<int>& roles, const QList<int>& wanted)
{
    for (int role : wanted) {
        if (roles.contains(role))
            return true;
    }
    return false;
}

void DeviceTreeFilterBase::followSourceChange(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                              const QList<int>& roles)
{
    const QAbstractItemModel* source = sourceModel();
    if (!source || !topLeft.isValid() || !bottomRight.isValid() || topLeft.model() != source)
        return;
    const QModelIndex parent = topLeft.parent();
    const int lastRow = std::min(bottomRight.row(), source->rowCount(parent) - 1);
    if (filtersOn(roles)) {
        for (int row = topLeft.row(); row <= lastRow; ++row) {
            if (acceptanceIsStale(source->index(row, 0, parent), roles)) {
                invalidateRowsFilter();
                break;
            }
        }
    }
    const QList<int> derived = derivedRoles(roles);
    if (derived.isEmpty())
        return;
    // Sorting may scatter a source range, so each row is announced on its own.
    if (!isShown(parent))
        return;
    for (int row = topLeft.row(); row <= lastRow; ++row) {
        const QModelIndex shown = mapFromSource(source->index(row, 0, parent));
        if (shown.isValid())
            emit dataChanged(shown, shown, derived);
    }
}

bool DeviceTreeFilterBase::isShown(const QModelIndex& sourceNode) const
{
    // Asked from the top down: Qt maps a row below a hidden parent as if the
    // parent were shown, so each level must be known to be shown first.
    QList<QModelIndex> path;
    for (QModelIndex node = sourceNode; node.isValid(); node = node.parent())
        path.prepend(node);
    for (const QModelIndex& node : std::as_const(path)) {
        if (!mapFromSource(node).isValid())
            return false;
    }
    return true;
}

bool DeviceTreeFilterBase::acceptanceIsStale(const QModelIndex& sourceNode, const QList<int>& roles) const
{
    const QModelIndex parent = sourceNode.parent();
    // Qt leaves rows under a hidden parent alone; if this one is accepted now,
    // its parent and ancestors must appear.
    if (!isShown(parent))
        return acceptsWithDescendants(sourceNode);
    if (mapFromSource(sourceNode).isValid())
        return changeReachesDescendants(sourceNode, roles);
    if (!parent.isValid())
        return false;
    // The node is gone from under its parent, which may have lost its last
    // reason to be shown.
    return rowCount(mapFromSource(parent)) == 0 && !filterAcceptsRow(parent.row(), parent.parent());
}

bool DeviceTreeFilterBase::acceptsWithDescendants(const QModelIndex& sourceNode) const
{
    if (filterAcceptsRow(sourceNode.row(), sourceNode.parent()))
        return true;
    const QAbstractItemModel* source = sourceModel();
    const int count = source->rowCount(sourceNode);
    for (int row = 0; row < count; ++row) {
        if (acceptsWithDescendants(source->index(row, 0, sourceNode)))
            return true;
    }
    return false;
}
