#include "ExpandedNodes.h"

#include <QAbstractItemModel>

#include <algorithm>
#include <utility>

void ExpandedNodes::clear()
{
    m_entries.clear();
}

QModelIndexList ExpandedNodes::nodes() const
{
    QModelIndexList expanded;
    for (auto entry = m_entries.cbegin(); entry != m_entries.cend(); ++entry) {
        if (entry->expanded)
            expanded.append(entry.key());
    }
    return expanded;
}

void ExpandedNodes::remove(const QModelIndex& sourceNode)
{
    const auto entry = m_entries.find(sourceNode);
    if (entry == m_entries.end())
        return;
    entry->expanded = false;
    forgetIfUnneeded(sourceNode);
}

void ExpandedNodes::shiftChildren(const QAbstractItemModel& source, const QModelIndex& sourceParent, int fromRow, int delta)
{
    const auto parentEntry = m_entries.find(sourceParent);
    if (parentEntry == m_entries.end())
        return;
    // Taken out while the children's own entries are rekeyed, which may move the
    // hash's storage.
    std::vector<QModelIndex> children = std::move(parentEntry->children);
    const auto firstShifted = std::find_if(children.begin(), children.end(),
                                           [fromRow](const QModelIndex& child) { return child.row() >= fromRow; });
    std::vector<QModelIndex*> shifted;
    for (auto child = firstShifted; child != children.end(); ++child)
        shifted.push_back(&*child);
    if (delta > 0)
        std::reverse(shifted.begin(), shifted.end());
    for (QModelIndex* child : shifted) {
        Entry entry = m_entries.take(*child);
        *child = source.index(child->row() + delta, 0, sourceParent);
        m_entries.insert(*child, std::move(entry));
    }
    m_entries[sourceParent].children = std::move(children);
}

bool ExpandedNodes::contains(const QModelIndex& sourceNode) const
{
    const auto entry = m_entries.constFind(sourceNode);
    return entry != m_entries.cend() && entry->expanded;
}

void ExpandedNodes::insert(const QModelIndex& sourceNode)
{
    m_entries[sourceNode].expanded = true;
    // Linked into its ancestors' entries up to the first one that was known,
    // which is linked already.
    for (QModelIndex child = sourceNode; child.isValid(); child = child.parent()) {
        const QModelIndex parent = child.parent();
        const bool known = m_entries.contains(parent);
        std::vector<QModelIndex>& siblings = m_entries[parent].children;
        const auto at = std::lower_bound(siblings.begin(), siblings.end(), child.row(),
                                         [](const QModelIndex& sibling, int row) { return sibling.row() < row; });
        if (at != siblings.end() && at->row() == child.row())
            return;
        siblings.insert(at, child);
        if (known)
            return;
    }
}

void ExpandedNodes::forgetIfUnneeded(QModelIndex sourceNode)
{
    for (;;) {
        const auto entry = m_entries.find(sourceNode);
        if (entry == m_entries.end() || entry->expanded || !entry->children.empty())
            return;
        m_entries.erase(entry);
        if (!sourceNode.isValid())
            return;
        const QModelIndex parent = sourceNode.parent();
        std::vector<QModelIndex>& siblings = m_entries[parent].children;
        siblings.erase(std::remove(siblings.begin(), siblings.end(), sourceNode), siblings.end());
        sourceNode = parent;
    }
}

void ExpandedNodes::forgetRowsUnder(const QModelIndex& sourceParent, int first, int last)
{
    const auto parentEntry = m_entries.find(sourceParent);
    if (parentEntry == m_entries.end())
        return;
    std::vector<QModelIndex> pending;
    std::vector<QModelIndex>& children = parentEntry->children;
    const auto removed = std::remove_if(children.begin(), children.end(), [&](const QModelIndex& child) {
        const bool goes = child.row() >= first && child.row() <= last;
        if (goes)
            pending.push_back(child);
        return goes;
    });
    children.erase(removed, children.end());
    // Only the remembered part of the removed subtrees is walked.
    while (!pending.empty()) {
        const Entry entry = m_entries.take(pending.back());
        pending.pop_back();
        pending.insert(pending.end(), entry.children.cbegin(), entry.children.cend());
    }
    forgetIfUnneeded(sourceParent);
}

QString ExpandedNodes::check(const QAbstractItemModel& source) const
{
    // Every entry must be reached from the root's, under a key the source would
    // hand out now.
    if (m_entries.isEmpty())
        return QString();
    if (!m_entries.contains(QModelIndex()))
        return QStringLiteral("remembered nodes without the root's entry");
    qsizetype reached = 0;
    std::vector<QModelIndex> pending{QModelIndex()};
    while (!pending.empty()) {
        const QModelIndex node = pending.back();
        pending.pop_back();
        const auto entry = m_entries.constFind(node);
        if (entry == m_entries.cend())
            return QStringLiteral("a remembered child has no entry of its own");
        ++reached;
        if (node.isValid() && !entry->expanded && entry->children.empty())
            return QStringLiteral("a node is remembered for nothing");
        if (entry->expanded && source.rowCount(node) == 0)
            return QStringLiteral("an expanded node is gone or has no children");
        int previousRow = -1;
        for (const QModelIndex& child : entry->children) {
            if (child.row() <= previousRow || child != source.index(child.row(), 0, node))
                return QStringLiteral("remembered child row %1 is out of order or out of date").arg(child.row());
            previousRow = child.row();
            pending.push_back(child);
        }
    }
    if (reached != m_entries.size())
        return QStringLiteral("%1 nodes remembered, %2 reached from the root").arg(m_entries.size()).arg(reached);
    return QString();
}
