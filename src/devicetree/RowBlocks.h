#pragma once

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

class QStandardItem;
class QStandardItemModel;

// Structural changes of a QStandardItemModel gathered per parent, so that views
// hear one insertion or removal per block of adjacent rows instead of one per
// row. A view or proxy re-checks its mapping on every notification; on a
// station with thousands of cameras that is the difference between one pass and
// thousands.
class RowBlocks
{
public:
    // Where a parent's waiting nodes go, asked when they are inserted.
    using RowFor = std::function<int(QStandardItem* parent, int placement)>;

    explicit RowBlocks(RowFor rowFor);
    RowBlocks(const RowBlocks&) = delete;
    RowBlocks& operator=(const RowBlocks&) = delete;
    // Nodes still waiting are inserted.
    ~RowBlocks();

    // The node waits until flush(), behind the nodes already waiting for the
    // same parent and placement.
    void add(QStandardItem* parent, int placement, const QString& id, std::unique_ptr<QStandardItem> node);
    bool isWaiting(const QString& id) const;
    // Inserts the waiting nodes, one block per parent and placement.
    void flush();

    // Removes the items with everything below them. An item below another
    // listed item goes with it; per parent, each run of adjacent rows goes in
    // one removal, the lowest run first so that the other rows keep their numbers.
    static void removeItems(QStandardItemModel& model, const QList<QStandardItem*>& items);

private:
    struct Block
    {
        QStandardItem* parent;
        int placement;
        QList<QStandardItem*> nodes;
    };

    RowFor m_rowFor;
    std::vector<Block> m_blocks;
    QSet<QString> m_waitingIds;
};
