#pragma once

#include <QIdentityProxyModel>

class QStandardItem;
class QStandardItemModel;

// A QStandardItemModel seen row for row, which can move a row with its subtree
// as one move. QStandardItemModel has no moveRows: a row taken out and inserted
// elsewhere reaches views as a removal and an insertion, so they lose the row's
// expansion, selection and persistent indexes. Here the source is rearranged
// with its signals blocked, inside this model's own beginMoveRows/endMoveRows,
// so views attached to this model hear one move and their persistent indexes
// follow it. Listeners of the source itself do not hear of such a move, which
// only suits those that follow items rather than rows (an identifier index).
class StandardItemMoveModel : public QIdentityProxyModel
{
    Q_OBJECT
public:
    explicit StandardItemMoveModel(QStandardItemModel* source, QObject* parent = nullptr);

    // Moves the row of item, every column, to destinationRow under newParent
    // (the top level when null), counted before the move. False when it cannot
    // go there: into its own subtree, or to a row out of range.
    bool moveRow(QStandardItem* item, QStandardItem* newParent, int destinationRow);

private:
    QStandardItemModel* m_source;
};
