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
// node starts collapsed. A collapsed node keeps the rows hidden under it with
// their own expansion state, so expanding it again shows its subtree as the user
// left it.
//
// The list has no hierarchy for views: rowCount() answers the list length for
// any parent, parent() is always invalid and hasChildren() is false for rows.
//
// Look-ups from source nodes to list rows and to collapsed entries go through
// hashes keyed by the source's current indexes. They are rebuilt on first use
// after the source or the list changed shape, so a burst of data changes (a
// status storm over thousands of cameras) costs one rebuild and then constant
// time per change.
//
// Choices made where the behaviour was open:
// - Rows inserted in the source take their place in source order among their
//   siblings, visible or stored under a collapsed ancestor, so the list always
//   reads as the depth-first order of the source. Children arriving under a node
//   that had none are stored collapsed under it.
// - Rows removed together go in one removal block per run of adjacent list rows,
//   last run first.
// - A source layout change (for example a sorting source re-sorting), a row move
//   and a column change rebuild the list from the source in its new shape,
//   keeping which nodes were expanded; persistent proxy indexes follow their
//   nodes.
// - Expanding a collapsed row whose children were never reported to the proxy
//   (the source added them with its signals blocked) takes them from the source.
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
    QModelIndex mapToSource(const QModelIndex& proxyIndex) const override;
    QModelIndex mapFromSource(const QModelIndex& sourceIndex) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    Q_INVOKABLE void expand(int row);
    Q_INVOKABLE void collapse(int row);
    Q_INVOKABLE void expandAll(int row);

private:
    using ItemList = std::vector<ListItem>;

    struct CollapsedEntry
    {
        QPersistentModelIndex node;
        ItemList items;
    };

    // Where the rows of one node's children are kept: a span of the visible list,
    // a collapsed entry of the node's own, or a span inside an entry of a collapsed
    // ancestor (the node was expanded when the ancestor collapsed).
    struct ChildRows
    {
        ItemList* items = nullptr;
        int begin = 0;
        int end = 0;
        bool visible = false;
    };

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
    int depthOf(const QModelIndex& sourceIndex) const;
    ChildRows childRowsOf(const QModelIndex& sourceParent);
    int insertPosition(const ChildRows& place, const QModelIndex& sourceParent, int last) const;
    std::vector<std::pair<int, int>> leavingRuns(const ChildRows& place, const QSet<QModelIndex>& leaving) const;
    void removeRuns(const ChildRows& place, const std::vector<std::pair<int, int>>& runs);
    void appendChildRows(const QModelIndex& sourceParent, int level, ItemList& out, const QSet<QModelIndex>& expanded);
    void storeCollapsed(const QModelIndex& node, int childLevel, const QSet<QModelIndex>& expanded);
    void forgetEntriesUnder(const QModelIndex& node);
    QSet<QModelIndex> expandedNodes() const;

    void insertVisible(int at, ItemList rows);
    void removeVisible(int first, int last);
    Indicator indicatorOf(int row) const;
    void announceIndicator(int row);
    static int subtreeEnd(const ItemList& items, int position);

    int visibleRowOf(const QModelIndex& sourceIndex) const;
    int entryOf(const QModelIndex& node);
    void putEntry(const QModelIndex& node, ItemList items);
    bool takeEntry(const QModelIndex& node, ItemList* items = nullptr);
    void sourceShapeChanged();

    ItemList m_rows;
    std::vector<CollapsedEntry> m_collapsed;

    mutable QHash<QModelIndex, int> m_rowOfSource;
    mutable bool m_rowIndexStale = true;
    QHash<QModelIndex, int> m_entryOfNode;
    bool m_entryIndexStale = true;

    QPersistentModelIndex m_parentLosingChildren;
    bool m_resetting = false;
    bool m_layoutChanging = false;
    QModelIndexList m_layoutProxyIndexes;
    QList<QPersistentModelIndex> m_layoutSourceIndexes;
    QList<QMetaObject::Connection> m_sourceConnections;
};
