#include "DeviceTreeFilterBase.h"

#include "DataChangedBatch.h"
#include "StandardTopologyModel.h"

#include <algorithm>

using Model = StandardTopologyModel;

DeviceTreeFilterBase::DeviceTreeFilterBase(QObject* parent)
    : QSortFilterProxyModel(parent)
    , m_check(*this, [this](const QModelIndex& sourceNode) {
        // Recursive filtering shows a node that its own filter rejects when a
        // descendant is accepted.
        return filterAcceptsRow(sourceNode.row(), sourceNode.parent()) ? RecursiveFilterCheck::Verdict::Accepted
                                                                       : RecursiveFilterCheck::Verdict::DependsOnChildren;
    })
{
    setRecursiveFilteringEnabled(true);
}

void DeviceTreeFilterBase::setSourceModel(QAbstractItemModel* sourceModel)
{
    m_sourceConnections.disconnectAll();
    m_fields.forgetSourceModel();
    QSortFilterProxyModel::setSourceModel(sourceModel);
    // Connected after the base class, so that the check sees the rows as Qt
    // has already filtered them for this change.
    if (sourceModel)
        m_sourceConnections.replace(
                {connect(sourceModel, &QAbstractItemModel::dataChanged, this, &DeviceTreeFilterBase::followSourceChange)});
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
    if (filtersOn(roles) && acceptanceIsStale(parent, topLeft.row(), lastRow, roles))
        invalidateRowsFilter();
    const QList<int> derived = derivedRoles(roles);
    if (derived.isEmpty() || !m_check.isShown(parent))
        return;
    // Sorting may scatter a source range; the batch joins the rows that stay adjacent.
    DataChangedBatch batch;
    const QSet<int> derivedSet(derived.cbegin(), derived.cend());
    for (int row = topLeft.row(); row <= lastRow; ++row) {
        const QModelIndex shown = mapFromSource(source->index(row, 0, parent));
        if (shown.isValid())
            batch.add(shown, derivedSet);
    }
    batch.emitFrom(this);
}

bool DeviceTreeFilterBase::acceptanceIsStale(const QModelIndex& sourceParent, int first, int last,
                                             const QList<int>& roles) const
{
    if (m_check.ancestorsAreStale(sourceParent, first, last))
        return true;
    if (!m_check.isShown(sourceParent))
        return false;
    for (int row = first; row <= last; ++row) {
        const QModelIndex node = sourceModel()->index(row, 0, sourceParent);
        if (mapFromSource(node).isValid() && changeReachesDescendants(node, roles) && m_check.descendantsAreStale(node))
            return true;
    }
    return false;
}
