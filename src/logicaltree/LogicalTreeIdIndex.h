#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QModelIndex>

class QStandardItem;
class QStandardItemModel;

// Finds the nodes of a tree of QStandardItems by the text of their identifier
// role without walking the tree, so that edits keyed by identifier cost the same
// in a tree of ten nodes and of ten thousand.
//
// It follows the model's own notifications: rows are filed with their whole
// subtree when rowsInserted reports them and forgotten on rowsAboutToBeRemoved;
// a node whose identifier changes in place (dataChanged naming the role, or no
// role) is filed under its new text; a reset, a layout change (a sort, or an item
// replaced in place) and the removal of column 0 refile what is left.
//
// It holds the items rather than persistent indexes, for the reason and under the
// conditions that LogicalTreeModel gives for its camera index.
class LogicalTreeIdIndex : public QObject
{
    Q_OBJECT
public:
    LogicalTreeIdIndex(QStandardItemModel* model, int idRole, QObject* parent = nullptr);

    // The node that a pre-order walk of the whole tree meets first with this
    // identifier, or an invalid index when none has it.
    QModelIndex first(const QString& id) const;

private:
    void fileRows(const QStandardItem* parent, int first, int last);
    void forgetRows(const QStandardItem* parent, int first, int last);
    void followIdentifierChange(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles);
    void forgetColumnZero(const QModelIndex& parent, int first, int last);
    void refileAll();
    QStandardItem* itemOrRoot(const QModelIndex& index) const;

    QStandardItemModel* m_model;
    int m_idRole;
    QHash<QString, QList<QStandardItem*>> m_nodesById;
    // The text each node was filed under, so that a changed identifier can be
    // moved to its new key without searching the index.
    QHash<const QStandardItem*, QString> m_idOfNode;
};
