#include "RecursiveFilterCheck.h"

#include <QSortFilterProxyModel>

#include <utility>
#include <vector>

RecursiveFilterCheck::RecursiveFilterCheck(const QSortFilterProxyModel& proxy, OwnVerdict ownVerdict)
    : m_proxy(proxy)
    , m_ownVerdict(std::move(ownVerdict))
{
}

bool RecursiveFilterCheck::isShown(const QModelIndex& sourceNode) const
{
    std::vector<QModelIndex> path;
    for (QModelIndex node = sourceNode; node.isValid(); node = node.parent())
        path.push_back(node);
    // From the top down: each level must be known to be shown before its child's
    // mapping means anything.
    for (auto node = path.crbegin(); node != path.crend(); ++node) {
        if (!m_proxy.mapFromSource(*node).isValid())
            return false;
    }
    return true;
}

bool RecursiveFilterCheck::acceptsWithDescendants(const QModelIndex& sourceNode) const
{
    const QAbstractItemModel* source = m_proxy.sourceModel();
    std::vector<QModelIndex> pending{sourceNode};
    while (!pending.empty()) {
        const QModelIndex node = pending.back();
        pending.pop_back();
        switch (m_ownVerdict(node)) {
        case Verdict::Accepted:
            return true;
        case Verdict::Rejected:
            break;
        case Verdict::DependsOnChildren:
            for (int row = source->rowCount(node) - 1; row >= 0; --row)
                pending.push_back(source->index(row, 0, node));
            break;
        }
    }
    return false;
}

bool RecursiveFilterCheck::anyRowAccepted(const QModelIndex& sourceParent, bool parentShown, int first,
                                          int last) const
{
    const QAbstractItemModel* source = m_proxy.sourceModel();
    for (int row = first; row <= last; ++row) {
        const QModelIndex node = source->index(row, 0, sourceParent);
        // Below a shown parent Qt has just filtered these rows; its answer is reused.
        if (parentShown ? m_proxy.mapFromSource(node).isValid() : acceptsWithDescendants(node))
            return true;
    }
    return false;
}

// For the children off the changed path the rows already shown answer, since
// nothing changed there; only ancestors whose own verdict depends on their
// children cost more than reading their own fields.
bool RecursiveFilterCheck::ancestorsAreStale(const QModelIndex& sourceParent, int first, int last) const
{
    std::vector<QModelIndex> path; // sourceParent first, the top-level ancestor last
    for (QModelIndex node = sourceParent; node.isValid(); node = node.parent())
        path.push_back(node);
    // shown[i]: whether path[i] and all its ancestors show; shown[size] is the root.
    std::vector<bool> shown(path.size() + 1, true);
    for (size_t level = path.size(); level-- > 0;)
        shown[level] = shown[level + 1] && m_proxy.mapFromSource(path[level]).isValid();

    const QAbstractItemModel* source = m_proxy.sourceModel();
    bool pathChildAccepted = anyRowAccepted(sourceParent, shown[0], first, last);
    int pathChildrenShown = 0;
    if (shown[0]) {
        for (int row = first; row <= last; ++row)
            pathChildrenShown += m_proxy.mapFromSource(source->index(row, 0, sourceParent)).isValid() ? 1 : 0;
    }
    for (size_t level = 0; level < path.size(); ++level) {
        const QModelIndex& node = path[level];
        const Verdict verdict = m_ownVerdict(node);
        const QModelIndex shownNode = m_proxy.mapFromSource(node);
        bool acceptedNow = verdict == Verdict::Accepted;
        if (verdict == Verdict::DependsOnChildren) {
            const int otherChildrenShown = shown[level] ? m_proxy.rowCount(shownNode) - pathChildrenShown : 0;
            acceptedNow = pathChildAccepted || otherChildrenShown > 0;
        }
        if (shown[level + 1] && acceptedNow != shownNode.isValid())
            return true;
        pathChildAccepted = acceptedNow;
        pathChildrenShown = shownNode.isValid() ? 1 : 0;
    }
    return false;
}

bool RecursiveFilterCheck::descendantsAreStale(const QModelIndex& sourceNode) const
{
    const QAbstractItemModel* source = m_proxy.sourceModel();
    if (!source->hasChildren(sourceNode) || !isShown(sourceNode))
        return false;
    std::vector<QModelIndex> pending{sourceNode};
    while (!pending.empty()) {
        const QModelIndex node = pending.back();
        pending.pop_back();
        const int count = source->rowCount(node);
        for (int row = 0; row < count; ++row) {
            const QModelIndex child = source->index(row, 0, node);
            const bool shown = m_proxy.mapFromSource(child).isValid();
            if (shown != acceptsWithDescendants(child))
                return true;
            if (shown)
                pending.push_back(child);
        }
    }
    return false;
}
