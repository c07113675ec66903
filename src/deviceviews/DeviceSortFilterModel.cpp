#include "DeviceSortFilterModel.h"

#include "ModuleLimits.h"
#include "PayloadFields.h"
#include "StandardTopologyModel.h"

#include <utility>

using Model = StandardTopologyModel;

namespace {

using PayloadFields::isMap;

using PayloadFields::isInteger;

} // namespace

DeviceSortFilterModel::DeviceSortFilterModel(QObject* parent)
    : DeviceTreeFilterBase(parent)
{
}

void DeviceSortFilterModel::setFilter(const QVariantList& roleValueMapList)
{
    applyFilters(roleValueMapList, true, false);
}

void DeviceSortFilterModel::setDefaultFilter(const QVariantList& roleValueMapList)
{
    applyFilters(roleValueMapList, true, true);
}

void DeviceSortFilterModel::setUnionFilter(const QVariantList& roleValueMapList)
{
    applyFilters(roleValueMapList, false, false);
}

void DeviceSortFilterModel::setNodeIdFilter(const QStringList& nodeIds)
{
    m_filters.clear();
    m_nodeIdFilter = QSet<QString>(nodeIds.cbegin(), nodeIds.cend());
    m_rolesFilteredOn = {Model::nodeIDRole};
    invalidateRowsFilter();
}

void DeviceSortFilterModel::sortModel()
{
    sort(0, Qt::AscendingOrder);
}

void DeviceSortFilterModel::applyFilters(const QVariantList& roleValueMapList, bool matchAll, bool keepFirstRoot)
{
    m_filters = parseFilters(roleValueMapList);
    m_nodeIdFilter.reset();
    m_matchAll = matchAll;
    m_keepFirstRoot = keepFirstRoot;
    m_rolesFilteredOn.clear();
    for (const ParsedFilter& filter : std::as_const(m_filters)) {
        const int role = Model::convertRoleNameStringToEnum(filter.role);
        if (role != 0 && !m_rolesFilteredOn.contains(role))
            m_rolesFilteredOn.append(role);
    }
    invalidateRowsFilter();
}

QList<DeviceSortFilterModel::ParsedFilter> DeviceSortFilterModel::parseFilters(const QVariantList& roleValueMapList)
{
    QList<ParsedFilter> filters;
    for (const QVariant& entry : roleValueMapList) {
        const QVariantMap filter = entry.toMap();
        const auto role = filter.constFind(QStringLiteral("role"));
        const auto value = filter.constFind(QStringLiteral("value"));
        if (role == filter.constEnd() || value == filter.constEnd())
            continue;
        // Kept for every row the proxy filters, so no deeper than the module keeps anything.
        filters.append({PayloadFields::text(*role), PayloadFields::withinNesting(*value)});
    }
    return filters;
}

bool DeviceSortFilterModel::compareRoleValue(const ParsedFilter& filter, const QVariantMap& node)
{
    return compareRoleValue(filter, NodeFieldReader::Fields(node));
}

// A filter whose value is a map reaches one level into a field that is a map;
// the walk goes no deeper than the nesting limit, where the filter fails.
bool DeviceSortFilterModel::compareRoleValue(const ParsedFilter& filter, const NodeFieldReader::Fields& node)
{
    ParsedFilter current = filter;
    NodeFieldReader::Fields fields = node;
    for (int level = 1; level <= ModuleLimits::kMaxPayloadNesting; ++level) {
        if (!fields.contains(current.role))
            return false;
        const QVariant actual = fields.value(current.role);
        const QVariant wanted = current.value;
        if (wanted.typeId() == QMetaType::Bool)
            return actual.toBool() == wanted.toBool();
        if (wanted.typeId() == QMetaType::QString) {
            // Identifiers are paths; a filter names the part it cares about.
            if (current.role == QLatin1String("nodeIDRole"))
                return actual.toString().contains(wanted.toString(), Qt::CaseSensitive);
            return actual == wanted;
        }
        if (isInteger(wanted))
            return actual.toLongLong() == wanted.toLongLong();
        if (!isMap(wanted) || !isMap(actual))
            return false;
        const QVariantMap nested = wanted.toMap();
        current = {nested.value(QStringLiteral("role")).toString(), nested.value(QStringLiteral("value"))};
        fields = NodeFieldReader::Fields(actual.toMap());
    }
    return false;
}

bool DeviceSortFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const
{
    const QAbstractItemModel* source = sourceModel();
    const QModelIndex node = source ? source->index(sourceRow, 0, sourceParent) : QModelIndex();
    if (!node.isValid() || isHiddenWithAncestors(node))
        return false;
    if (m_keepFirstRoot && node == source->index(0, 0))
        return true;
    if (m_nodeIdFilter && !m_nodeIdFilter->isEmpty())
        return m_nodeIdFilter->contains(node.data(Model::nodeIDRole).toString());
    return passesFilters(node);
}

bool DeviceSortFilterModel::isHiddenWithAncestors(const QModelIndex& sourceNode) const
{
    // Nothing below a hidden node may make it show through its descendants.
    for (QModelIndex node = sourceNode; node.isValid(); node = node.parent()) {
        if (node.data(Model::hiddenInLiveRole).toBool())
            return true;
    }
    return false;
}

bool DeviceSortFilterModel::passesFilters(const QModelIndex& sourceNode) const
{
    if (m_filters.isEmpty())
        return true;
    const NodeFieldReader::Fields node = fieldsOf(sourceNode);
    for (const ParsedFilter& filter : m_filters) {
        const bool holds = compareRoleValue(filter, node);
        if (m_matchAll && !holds)
            return false;
        if (!m_matchAll && holds)
            return true;
    }
    return m_matchAll;
}

bool DeviceSortFilterModel::filtersOn(const QList<int>& roles) const
{
    if (roles.isEmpty())
        return true;
    return namesAnyOf(roles, {Model::hiddenInLiveRole, Model::standardItemTypeRole, Model::dataRole})
        || namesAnyOf(roles, m_rolesFilteredOn);
}
