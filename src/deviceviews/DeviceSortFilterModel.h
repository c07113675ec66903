#pragma once

#include "DeviceTreeFilterBase.h"

#include <QSet>
#include <QStringList>
#include <QVariant>

#include <optional>

// The rule-driven view of the device tree: nodes are kept by a list of role and
// value filters (all of them, or any one of them) or by a set of identifiers, and
// a node is also kept when something below it is. Removed cameras and their
// folder (hiddenInLiveRole) never show, nor does anything below a hidden node.
//
// Filters reach a node's fields by the names of its whole-node map (dataRole);
// a filter whose value is a map {"role", "value"} reaches into a field that is a
// map itself, for example {"role": "supportEventsRole", "value": {"role":
// "suppSmartVca", "value": true}}. Only the fields the filters name are read.
class DeviceSortFilterModel : public DeviceTreeFilterBase
{
    Q_OBJECT
public:
    struct ParsedFilter
    {
        QString role;
        QVariant value;
    };

    explicit DeviceSortFilterModel(QObject* parent = nullptr);

    // Every filter must hold; the identifier filter is dropped.
    Q_INVOKABLE void setFilter(const QVariantList& roleValueMapList);
    // As setFilter, and the first top-level node always shows.
    Q_INVOKABLE void setDefaultFilter(const QVariantList& roleValueMapList);
    // One filter holding is enough; no filters accept every node.
    Q_INVOKABLE void setUnionFilter(const QVariantList& roleValueMapList);
    // Nodes whose nodeIDRole is one of these; an empty list accepts every node.
    Q_INVOKABLE void setNodeIdFilter(const QStringList& nodeIds);
    Q_INVOKABLE void sortModel();

    // Maps without a "role" or a "value" key are skipped.
    static QList<ParsedFilter> parseFilters(const QVariantList& roleValueMapList);
    // Whether the filter holds for a node given as its whole-node map.
    static bool compareRoleValue(const ParsedFilter& filter, const QVariantMap& node);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;
    bool filtersOn(const QList<int>& roles) const override;

private:
    void applyFilters(const QVariantList& roleValueMapList, bool matchAll, bool keepFirstRoot);
    bool isHiddenWithAncestors(const QModelIndex& sourceNode) const;
    bool passesFilters(const QModelIndex& sourceNode) const;
    static bool compareRoleValue(const ParsedFilter& filter, const NodeFieldReader::Fields& node);

    QList<ParsedFilter> m_filters;
    std::optional<QSet<QString>> m_nodeIdFilter;
    bool m_matchAll = false;
    bool m_keepFirstRoot = false;
    // The roles whose changes can change what the filters say.
    QList<int> m_rolesFilteredOn;
};
