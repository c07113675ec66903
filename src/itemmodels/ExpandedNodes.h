#pragma once

#include <QHash>
#include <QModelIndex>
#include <QString>

#include <vector>

class QAbstractItemModel;

// The expanded nodes of a tree model, held as plain indexes rather than one
// persistent index each, which Qt would visit on every row insertion or removal.
// Each expanded node's ancestors are held too, so that the owner can rewrite the
// indexes a source insertion or removal shifts: the later siblings under the
// changed parent, whose own entries lead to everything remembered below them.
// Like QSortFilterProxyModel, it relies on a node's index changing only when its
// own row does. A collapsed node's expanded descendants stay remembered.
class ExpandedNodes
{
public:
    bool isEmpty() const { return m_entries.isEmpty(); }
    bool contains(const QModelIndex& sourceNode) const;
    QModelIndexList nodes() const;
    void insert(const QModelIndex& sourceNode);
    // The node collapses; what is remembered below it stays.
    void remove(const QModelIndex& sourceNode);
    void clear();

    // To be called once rows moved by delta under sourceParent: the children
    // from fromRow on (numbered as before the change) take their new indexes.
    void shiftChildren(const QAbstractItemModel& source, const QModelIndex& sourceParent, int fromRow, int delta);
    // To be called before rows first..last under sourceParent are removed: they
    // and everything remembered below them are forgotten, walking only that.
    void forgetRowsUnder(const QModelIndex& sourceParent, int first, int last);

    // The first entry that disagrees with the source or with the others, or an empty text.
    QString check(const QAbstractItemModel& source) const;

private:
    struct Entry
    {
        bool expanded = false;
        // Remembered children, by ascending row.
        std::vector<QModelIndex> children;
    };

    void forgetIfUnneeded(QModelIndex sourceNode);

    // Keyed by source node, the root (an invalid index) included while anything
    // is remembered.
    QHash<QModelIndex, Entry> m_entries;
};
