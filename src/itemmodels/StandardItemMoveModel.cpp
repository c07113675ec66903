#include "StandardItemMoveModel.h"

#include <QSignalBlocker>
#include <QStandardItemModel>

StandardItemMoveModel::StandardItemMoveModel(QStandardItemModel* source, QObject* parent)
    : QIdentityProxyModel(parent), m_source(source)
{
    setSourceModel(source);
}

bool StandardItemMoveModel::moveRow(QStandardItem* item, QStandardItem* newParent, int destinationRow)
{
    if (!item || item->model() != m_source)
        return false;
    QStandardItem* root = m_source->invisibleRootItem();
    QStandardItem* oldParent = item->parent() ? item->parent() : root;
    if (!newParent)
        newParent = root;
    if (newParent != root && newParent->model() != m_source)
        return false;
    for (const QStandardItem* ancestor = newParent; ancestor; ancestor = ancestor->parent()) {
        if (ancestor == item)
            return false;
    }
    if (destinationRow < 0 || destinationRow > newParent->rowCount())
        return false;
    const int row = item->row();
    // A row moved to where it already is, or just below itself, stays: Qt
    // refuses that as a move.
    if (oldParent == newParent && (destinationRow == row || destinationRow == row + 1))
        return true;
    const QModelIndex from = mapFromSource(m_source->indexFromItem(oldParent));
    const QModelIndex to = mapFromSource(m_source->indexFromItem(newParent));
    if (!beginMoveRows(from, row, row, to, destinationRow))
        return false;
    QSignalBlocker silence(m_source);
    const QList<QStandardItem*> taken = oldParent->takeRow(row);
    newParent->insertRow(oldParent == newParent && destinationRow > row ? destinationRow - 1 : destinationRow, taken);
    // Views may react to the move by changing the source, and must be heard.
    silence.unblock();
    endMoveRows();
    return true;
}
