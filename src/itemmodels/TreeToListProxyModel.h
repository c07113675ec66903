#pragma once

#include <QAbstractProxyModel>
#include <QHash>
#include <QList>
#include <QPersistentModelIndex>
#include <QSet>

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
// Look-ups from source nodes to list rows go through a hash keyed by persistent
// indexes, which stay valid while the source changes. Rows behind the first
// insertion or removal are re-indexed on the next look-up, so a burst of data
// changes (a status storm over thousands of cameras) costs at most one pass over
// the list and then constant time per change.
//
// Choices made where the behaviour was open:
// - Rows inserted in the source take their place in source order among their
//   siblings. Children arriving under a node that had none arrive collapsed.
// - Rows removed together go in one removal block per run of adjacent list rows,
//   last run first.
// - A source layout change (for example a sorting source re-sorting), a row move
//   and a column change rebuild the list from the source in its new shape,
//   keeping which nodes were expanded; persistent proxy indexes follow their
//   nodes.
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
        QPersistentModelIndex sourceIndex;
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
    // index, the set of expanded nodes and the source, or an empty text. Costs a
    // walk of the expanded part of the source.
    QString checkConsistency() const;

private:
    using ItemList = std::vector<ListItem>;
    using Runs = std::vector<std::pair<int, int>>;

    enum class Indicator { None, Collapsed, Expanded };

    void connectSource(QAbstractItemModel* source);
    void disconnectSource();
    void forgetEverything();

    void sourceRowsInserted(const QModelIndex& parent, int first, int last);
    void sourceRowsAboutToBeRemoved(const QModelIndex& parent, int first, int last);
    void sourceRowsRemoved();
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
    void forgetExpansionUnder(const QModelIndex& sourceParent, int first, int last);

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
    mutable QHash<QPersistentModelIndex, int> m_rowOfNode;
    mutable int m_rowsIndexedUpTo = 0;
    // Nodes that show their children whenever they are shown themselves: the
    // expanded rows of the list and the nodes left expanded inside a collapsed one.
    QSet<QPersistentModelIndex> m_expanded;

    QPersistentModelIndex m_parentLosingChildren;
    bool m_resetting = false;
    bool m_layoutChanging = false;
    QModelIndexList m_layoutProxyIndexes;
    QList<QPersistentModelIndex> m_layoutSourceIndexes;
    QList<QMetaObject::Connection> m_sourceConnections;
};
