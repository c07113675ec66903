#pragma once

#include "ExpandedNodes.h"
#include "SourceConnections.h"

#include <QAbstractProxyModel>
#include <QHash>
#include <QList>
#include <QPersistentModelIndex>

#include <utility>
#include <vector>

// Shows a tree model (the device model, a filtered device model, a logical tree)
// as a flat list for list views: one row per node of the expanded part of the
// tree, in depth-first order, each with its depth and an expander state. Every
// node starts collapsed. A collapsed node keeps the expansion state of the nodes
// below it, so expanding it again shows its subtree as the user left it.
//
// It is a list model: the root holds every row, rows have no children and no
// parent, so views and proxies stacked on it (a search box's recursive filter)
// see a plain list.
//
// Hidden rows are not copied: the proxy keeps the set of expanded nodes and reads
// the rows under a node from the source when the node is expanded. Rows inserted
// anywhere inside a collapsed subtree therefore show at their place when it is
// expanded, and nothing is done per tree level by recursion: a tree thousands
// of levels deep costs heap, not stack.
//
// No persistent index is kept per node: Qt visits every persistent index on each
// row insertion or removal, which a 50,000-camera list cannot afford. Like
// QSortFilterProxyModel, the proxy keeps plain source indexes and rewrites the
// ones a source insertion or removal shifts: the later siblings under the
// changed parent. It relies, as QSortFilterProxyModel does, on a node's index
// changing only when its own row does. Look-ups from source nodes to list rows go
// through a hash; rows behind the first insertion or removal are re-indexed on
// the next look-up, so a burst of data changes (a status storm over thousands of
// cameras) costs at most one pass over the list and then constant time per change.
class TreeToListProxyModel : public QAbstractProxyModel
{
    Q_OBJECT
public:
    enum Roles {
        childIndicatorRole = 400,
        levelRole = 401,
    };
    Q_ENUM(Roles)

    // One proxy row: the source node it shows and its depth (0 for top-level).
    struct ListItem
    {
        QModelIndex sourceIndex;
        int level = 0;
    };

    explicit TreeToListProxyModel(QObject* parent = nullptr);

    void setSourceModel(QAbstractItemModel* sourceModel) override;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    QModelIndex sibling(int row, int column, const QModelIndex& index) const override;
    bool hasChildren(const QModelIndex& parent = QModelIndex()) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QModelIndex mapToSource(const QModelIndex& proxyIndex) const override;
    QModelIndex mapFromSource(const QModelIndex& sourceIndex) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    Q_INVOKABLE void expand(int row);
    Q_INVOKABLE void collapse(int row);
    Q_INVOKABLE void expandAll(int row);

    // For tests and debugging: the first disagreement between the list, its row
    // index, the expanded nodes and the source, or an empty text. Costs a walk of
    // the expanded part of the source.
    QString checkConsistency() const;

private:
    using ItemList = std::vector<ListItem>;
    using Runs = std::vector<std::pair<int, int>>;

    enum class Indicator { None, Collapsed, Expanded };

    void forgetEverything();

    void sourceRowsInserted(const QModelIndex& parent, int first, int last);
    void sourceRowsAboutToBeRemoved(const QModelIndex& parent, int first, int last);
    void sourceRowsRemoved(const QModelIndex& parent, int first, int last);
    void sourceDataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles);
    void sourceLayoutAboutToBeChanged();
    void sourceLayoutChanged();
    void sourceAboutToBeReset();
    void sourceReset();
    void sourceDestroyed();

    bool isSourceRange(const QModelIndex& parent, int first, int last) const;
    bool showsChildrenOf(const QModelIndex& sourceParent) const;
    int insertPosition(const QModelIndex& sourceParent, int last) const;
    Runs visibleRuns(const QModelIndex& sourceParent, int first, int last) const;
    ItemList shownRowsUnder(const QModelIndex& sourceParent, int level) const;

    // Rewrites the stored indexes of the listed children of sourceParent from
    // fromRow on (numbered as before the change), which moved by delta rows.
    void shiftListedChildren(const QModelIndex& sourceParent, int fromRow, int delta);

    void insertVisible(int at, ItemList rows);
    void removeVisible(int first, int last);
    Indicator indicatorOf(int row) const;
    void announceIndicator(int row);
    int subtreeEnd(int row) const;
    int visibleRowOf(const QModelIndex& sourceIndex) const;
    void indexAllRows() const;

    ItemList m_rows;
    // Row of each listed node. Entries of rows at or behind m_rowsIndexedUpTo may
    // be stale after an insertion or removal; visibleRowOf() refreshes them.
    mutable QHash<QModelIndex, int> m_rowOfNode;
    mutable int m_rowsIndexedUpTo = 0;
    ExpandedNodes m_expanded;

    bool m_resetting = false;
    bool m_layoutChanging = false;
    // Held only while the source's layout changes.
    QModelIndexList m_layoutProxyIndexes;
    QList<QPersistentModelIndex> m_layoutSourceIndexes;
    QList<QPersistentModelIndex> m_layoutExpandedNodes;
    SourceConnections m_sourceConnections;
};
