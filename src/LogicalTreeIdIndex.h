#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QPersistentModelIndex>

class QAbstractItemModel;

// Finds the nodes of a tree model by the text of their identifier role without
// walking the tree, so that edits keyed by identifier cost the same in a tree of
// ten nodes and of ten thousand.
//
// It follows the model's own notifications: rows are filed with their whole
// subtree when rowsInserted reports them and forgotten on rowsAboutToBeRemoved;
// a node whose identifier changes in place (dataChanged naming the role, or no
// role) is filed under its new text; a reset files whatever rows remain. Moves
// and sorts need nothing, since persistent indexes follow them.
class LogicalTreeIdIndex : public QObject
{
    Q_OBJECT
public:
    LogicalTreeIdIndex(QAbstractItemModel* model, int idRole, QObject* parent = nullptr);

    // The node that a pre-order walk of the whole tree meets first with this
    // identifier, or an invalid index when none has it.
    QModelIndex first(const QString& id) const;
    // Every node with this identifier, in tree order.
    QModelIndexList all(const QString& id) const;

private:
    void fileRows(const QModelIndex& parent, int first, int last);
    void forgetRows(const QModelIndex& parent, int first, int last);
    void followIdentifierChange(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles);
    void forgetAll();
    void fileAllRows();
    void file(const QModelIndex& node, const QString& id);
    void forget(const QPersistentModelIndex& node, const QString& id);
    QString idOf(const QModelIndex& node) const;

    QAbstractItemModel* m_model;
    int m_idRole;
    QHash<QString, QList<QPersistentModelIndex>> m_nodesById;
    // The text each node was filed under, so that a changed identifier can be
    // moved to its new key without searching the index.
    QHash<QPersistentModelIndex, QString> m_idOfNode;
};
