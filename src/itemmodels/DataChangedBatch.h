#pragma once

#include <QHash>
#include <QList>
#include <QModelIndex>
#include <QSet>

#include <map>
#include <vector>

class QAbstractItemModel;

// Collects the rows of one model whose data changed, with the roles that changed
// on each, and announces them as few dataChanged signals as the changes allow:
// one per run of adjacent rows under one parent that changed the same roles.
// Rows are merged only where their roles agree, so every signal names exactly
// what changed on each of its rows and no proxy above re-reads more than it must.
class DataChangedBatch
{
public:
    // Records that these roles of the row of `index` changed; column 0 of the
    // row is announced. Roles of a row recorded twice add up.
    void add(const QModelIndex& index, const QSet<int>& roles);
    bool isEmpty() const { return m_parents.empty(); }

    // Announces the recorded rows through `model`, which must own them, parents
    // in the order they were first recorded and rows in ascending order; then
    // forgets them. Roles are named in ascending order.
    void emitFrom(QAbstractItemModel* model);

    // Roles in the order every notification of the module names them.
    static QList<int> sortedRoles(const QSet<int>& roles);

private:
    struct Row
    {
        QModelIndex index;
        QSet<int> roles;
    };
    using RowsByNumber = std::map<int, Row>;

    QHash<QModelIndex, int> m_slotOfParent;
    std::vector<RowsByNumber> m_parents;
};
