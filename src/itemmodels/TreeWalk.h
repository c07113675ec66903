#pragma once

#include <QAbstractItemModel>
#include <QStandardItem>

#include <algorithm>
#include <utility>
#include <vector>

// Pre-order walks over rows first..last under a parent and everything below
// them. They keep their own stack instead of recursing: a broken or hostile
// server may send trees thousands of levels deep, more than a thread's stack
// holds when walked by recursion (a Windows thread has 1 MiB).
namespace TreeWalk {

template <typename Visit>
void forEachItem(const QStandardItem* parent, int first, int last, Visit&& visit)
{
    std::vector<QStandardItem*> pending;
    // Read through the parent: itemFromIndex would fill an empty slot with a new
    // item, changing the model while it announces a change.
    const auto pushChildren = [&pending](const QStandardItem* item, int from, int to) {
        for (int row = to; row >= from; --row) {
            if (QStandardItem* child = item->child(row))
                pending.push_back(child);
        }
    };
    pushChildren(parent, first, last);
    while (!pending.empty()) {
        QStandardItem* item = pending.back();
        pending.pop_back();
        visit(item);
        pushChildren(item, 0, item->rowCount() - 1);
    }
}

template <typename Visit>
void forEachIndex(const QAbstractItemModel& model, const QModelIndex& parent, int first, int last, Visit&& visit)
{
    std::vector<QModelIndex> pending;
    const auto pushChildren = [&](const QModelIndex& node, int from, int to) {
        for (int row = to; row >= from; --row)
            pending.push_back(model.index(row, 0, node));
    };
    pushChildren(parent, first, last);
    while (!pending.empty()) {
        const QModelIndex node = pending.back();
        pending.pop_back();
        visit(node);
        pushChildren(node, 0, model.rowCount(node) - 1);
    }
}

// The levels a subtree spans: 1 for an item without children.
inline int heightOf(const QStandardItem* top)
{
    int height = 0;
    std::vector<std::pair<const QStandardItem*, int>> pending{{top, 1}};
    while (!pending.empty()) {
        const std::pair<const QStandardItem*, int> entry = pending.back();
        pending.pop_back();
        height = std::max(height, entry.second);
        for (int row = 0; row < entry.first->rowCount(); ++row) {
            if (const QStandardItem* child = entry.first->child(row))
                pending.emplace_back(child, entry.second + 1);
        }
    }
    return height;
}

// True when `node` is `descendant` itself or one of its ancestors.
inline bool isAtOrAbove(const QModelIndex& node, const QModelIndex& descendant)
{
    if (!node.isValid())
        return false;
    for (QModelIndex ancestor = descendant; ancestor.isValid(); ancestor = ancestor.parent()) {
        if (ancestor == node)
            return true;
    }
    return false;
}

} // namespace TreeWalk
