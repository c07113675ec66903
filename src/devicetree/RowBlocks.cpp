#include "RowBlocks.h"

#include <QStandardItem>
#include <QStandardItemModel>

#include <algorithm>

RowBlocks::RowBlocks(RowFor rowFor) : m_rowFor(std::move(rowFor)) {}

RowBlocks::~RowBlocks()
{
    flush();
}

void RowBlocks::add(QStandardItem* parent, int placement, const QString& id, std::unique_ptr<QStandardItem> node)
{
    m_waitingIds.insert(id);
    const auto block = std::find_if(m_blocks.begin(), m_blocks.end(), [&](const Block& candidate) {
        return candidate.parent == parent && candidate.placement == placement;
    });
    if (block != m_blocks.end())
        block->nodes.append(node.release());
    else
        m_blocks.push_back({parent, placement, {node.release()}});
}

bool RowBlocks::isWaiting(const QString& id) const
{
    return m_waitingIds.contains(id);
}

void RowBlocks::flush()
{
    std::vector<Block> blocks;
    blocks.swap(m_blocks);
    m_waitingIds.clear();
    for (Block& block : blocks)
        block.parent->insertRows(m_rowFor(block.parent, block.placement), block.nodes);
}

void RowBlocks::removeItems(QStandardItemModel& model, const QList<QStandardItem*>& items)
{
    const QSet<QStandardItem*> listed(items.cbegin(), items.cend());
    // Parents in the order the list first names them, so that views hear the
    // removals in a predictable order.
    std::vector<std::pair<QStandardItem*, QList<int>>> rowsByParent;
    QHash<QStandardItem*, size_t> entryOfParent;
    QSet<QStandardItem*> taken;
    for (QStandardItem* item : items) {
        bool belowListed = false;
        for (QStandardItem* above = item->parent(); above && !belowListed; above = above->parent())
            belowListed = listed.contains(above);
        if (belowListed || taken.contains(item))
            continue;
        taken.insert(item);
        QStandardItem* parent = item->parent() ? item->parent() : model.invisibleRootItem();
        const auto entry = entryOfParent.constFind(parent);
        if (entry == entryOfParent.cend()) {
            entryOfParent.insert(parent, rowsByParent.size());
            rowsByParent.push_back({parent, {item->row()}});
        } else {
            rowsByParent[*entry].second.append(item->row());
        }
    }
    for (auto& [parent, rows] : rowsByParent) {
        std::sort(rows.begin(), rows.end(), std::greater<int>());
        for (qsizetype i = 0; i < rows.size();) {
            int first = rows.at(i);
            int count = 1;
            while (i + count < rows.size() && rows.at(i + count) == first - 1) {
                --first;
                ++count;
            }
            parent->removeRows(first, count);
            i += count;
        }
    }
}
