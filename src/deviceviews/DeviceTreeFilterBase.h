#pragma once

#include "NodeFieldReader.h"
#include "RecursiveFilterCheck.h"
#include "SourceConnections.h"

#include <QList>
#include <QSortFilterProxyModel>

// What the device filters share: the order of rows (cameras before stations,
// then by name ignoring case), field reads that do not build whole-node maps, and
// the acceptance of every node that has an accepted descendant, kept right while
// single fields of the tree change.
//
// A subclass's filterAcceptsRow decides whether a node is accepted for itself;
// the ancestors of accepted nodes are accepted through recursive filtering. Qt
// re-checks the ancestors of a changed row only when the change names the filter
// role or no role at all, while the device tree names exactly the roles it wrote.
// So after a change that names a role the subclass filters on, a check of the
// changed rows' ancestors (and, where the subclass says the change reaches them,
// descendants) tells whether a row must now appear or disappear, and only then
// are the rows filtered again. Changes of roles that no filter reads (connection
// and recording status) cost nothing beyond Qt's own forwarding.
class DeviceTreeFilterBase : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit DeviceTreeFilterBase(QObject* parent = nullptr);

    void setSourceModel(QAbstractItemModel* sourceModel) override;

    // nodeTypeRole ascending (cameras before stations), then nameRole ignoring case.
    static bool isOrderedBefore(const QModelIndex& left, const QModelIndex& right);

protected:
    bool lessThan(const QModelIndex& sourceLeft, const QModelIndex& sourceRight) const override;

    // Whether a change of these source roles may change which nodes are accepted;
    // an empty list stands for every role.
    virtual bool filtersOn(const QList<int>& roles) const = 0;
    // Whether such a change of a node may change the acceptance of nodes below it.
    virtual bool changeReachesDescendants(const QModelIndex& sourceNode, const QList<int>& roles) const;
    // Roles of this proxy whose values follow from the changed source roles and
    // that the forwarded change does not name yet.
    virtual QList<int> derivedRoles(const QList<int>& sourceRoles) const;

    NodeFieldReader::Fields fieldsOf(const QModelIndex& sourceNode) const;
    static bool namesAnyOf(const QList<int>& roles, const QList<int>& wanted);

private:
    void followSourceChange(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles);
    bool acceptanceIsStale(const QModelIndex& sourceParent, int first, int last, const QList<int>& roles) const;

    NodeFieldReader m_fields;
    RecursiveFilterCheck m_check;
    SourceConnections m_sourceConnections;
};
