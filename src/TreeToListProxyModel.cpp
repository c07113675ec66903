#include "TreeToListProxyModel.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

QString indicatorText(bool hasChildren, bool expanded)
{
    if (!hasChildren)
        return QStringLiteral("none");
    return expanded ? QStringLiteral("expanded") : QStringLiteral("collapsed");
}

} // namespace

TreeToListProxyModel::TreeToListProxyModel(QObject* parent)
    : QAbstractProxyModel(parent)
{
}

void TreeToListProxyModel::setSourceModel(QAbstractItemModel* source)
{
    beginResetModel();
    disconnectSource();
    forgetEverything();
    QAbstractProxyModel::setSourceModel(source);
    connectSource(source);
    endResetModel();
    if (source && source->rowCount() > 0)
        sourceRowsInserted(QModelIndex(), 0, source->rowCount() - 1);
}

void TreeToListProxyModel::connectSource(QAbstractItemModel* source)
{
    if (!source)
        return;
    using Model = QAbstractItemModel;
    m_sourceConnections = {
            connect(source, &Model::rowsInserted, this, &TreeToListProxyModel::sourceRowsInserted),
            connect(source, &Model::rowsAboutToBeRemoved, this, &TreeToListProxyModel::sourceRowsAboutToBeRemoved),
            connect(source, &Model::rowsRemoved, this, [this] { sourceRowsRemoved(); }),
            connect(source, &Model::dataChanged, this, &TreeToListProxyModel::sourceDataChanged),
            connect(source, &Model::layoutAboutToBeChanged, this, [this] { sourceLayoutAboutToBeChanged(); }),
            connect(source, &Model::layoutChanged, this, [this] { sourceLayoutChanged(); }),
            connect(source, &Model::modelAboutToBeReset, this, [this] { sourceAboutToBeReset(); }),
            connect(source, &Model::modelReset, this, [this] { sourceReset(); }),
            // Moves and column changes are rare for trees; reading the tree again in
            // its new shape is simpler than following them step by step.
            connect(source, &Model::rowsAboutToBeMoved, this, [this] { sourceLayoutAboutToBeChanged(); }),
            connect(source, &Model::rowsMoved, this, [this] { sourceLayoutChanged(); }),
            connect(source, &Model::columnsAboutToBeInserted, this, [this] { sourceLayoutAboutToBeChanged(); }),
            connect(source, &Model::columnsInserted, this, [this] { sourceLayoutChanged(); }),
            connect(source, &Model::columnsAboutToBeRemoved, this, [this] { sourceLayoutAboutToBeChanged(); }),
            connect(source, &Model::columnsRemoved, this, [this] { sourceLayoutChanged(); }),
            connect(source, &Model::columnsAboutToBeMoved, this, [this] { sourceLayoutAboutToBeChanged(); }),
            connect(source, &Model::columnsMoved, this, [this] { sourceLayoutChanged(); }),
            connect(source, &QObject::destroyed, this, [this] { sourceDestroyed(); }),
    };
}

void TreeToListProxyModel::disconnectSource()
{
    for (const QMetaObject::Connection& connection : std::as_const(m_sourceConnections))
        disconnect(connection);
    m_sourceConnections.clear();
}

void TreeToListProxyModel::forgetEverything()
{
    m_rows.clear();
    m_collapsed.clear();
    m_rowOfSource.clear();
    m_entryOfNode.clear();
    m_rowIndexStale = true;
    m_entryIndexStale = true;
    m_parentLosingChildren = QPersistentModelIndex();
    m_layoutProxyIndexes.clear();
    m_layoutSourceIndexes.clear();
}

int TreeToListProxyModel::rowCount(const QModelIndex&) const
{
    return int(m_rows.size());
}

int TreeToListProxyModel::columnCount(const QModelIndex&) const
{
    return 1;
}

QModelIndex TreeToListProxyModel::index(int row, int column, const QModelIndex&) const
{
    if (row < 0 || row >= int(m_rows.size()) || column != 0)
        return QModelIndex();
    return createIndex(row, column);
}

QModelIndex TreeToListProxyModel::parent(const QModelIndex&) const
{
    return QModelIndex();
}

QModelIndex TreeToListProxyModel::sibling(int row, int column, const QModelIndex&) const
{
    return index(row, column);
}

bool TreeToListProxyModel::hasChildren(const QModelIndex& parent) const
{
    return !parent.isValid() && !m_rows.empty();
}

QModelIndex TreeToListProxyModel::mapToSource(const QModelIndex& proxyIndex) const
{
    if (proxyIndex.model() != this || proxyIndex.row() < 0 || proxyIndex.row() >= int(m_rows.size()))
        return QModelIndex();
    return m_rows[size_t(proxyIndex.row())].sourceIndex;
}

QModelIndex TreeToListProxyModel::mapFromSource(const QModelIndex& sourceIndex) const
{
    const int row = visibleRowOf(sourceIndex);
    return row >= 0 ? index(row, 0) : QModelIndex();
}

QVariant TreeToListProxyModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.model() != this || index.column() != 0 || index.row() >= int(m_rows.size()))
        return QVariant();
    const ListItem& item = m_rows[size_t(index.row())];
    switch (role) {
    case childIndicatorRole: {
        const Indicator indicator = indicatorOf(index.row());
        return indicatorText(indicator != Indicator::None, indicator == Indicator::Expanded);
    }
    case levelRole:
        return item.level;
    default:
        return sourceModel() ? sourceModel()->data(item.sourceIndex, role) : QVariant();
    }
}

QHash<int, QByteArray> TreeToListProxyModel::roleNames() const
{
    // The device model publishes a "levelRole" of its own (261); list views read
    // the list depth from 401, which carries the same name.
    QHash<int, QByteArray> names = QAbstractProxyModel::roleNames();
    names.insert(childIndicatorRole, QByteArrayLiteral("childIndicatorRole"));
    names.insert(levelRole, QByteArrayLiteral("levelRole"));
    return names;
}

void TreeToListProxyModel::expand(int row)
{
    if (row < 0 || row >= int(m_rows.size()) || indicatorOf(row) != Indicator::Collapsed)
        return;
    const QModelIndex node = m_rows[size_t(row)].sourceIndex;
    ItemList children;
    if (!takeEntry(node, &children) || children.empty()) {
        children.clear();
        appendChildRows(node, m_rows[size_t(row)].level + 1, children, QSet<QModelIndex>());
    }
    insertVisible(row + 1, std::move(children));
    announceIndicator(row);
}

void TreeToListProxyModel::collapse(int row)
{
    if (row < 0 || row >= int(m_rows.size()))
        return;
    const int end = subtreeEnd(m_rows, row);
    if (end == row + 1)
        return;
    // Copied, not moved: views may still read the rows while they are told of
    // their removal.
    putEntry(m_rows[size_t(row)].sourceIndex, ItemList(m_rows.begin() + row + 1, m_rows.begin() + end));
    removeVisible(row + 1, end - 1);
    announceIndicator(row);
}

void TreeToListProxyModel::expandAll(int row)
{
    if (row < 0 || row >= int(m_rows.size()))
        return;
    expand(row);
    const int level = m_rows[size_t(row)].level;
    for (int below = row + 1; below < int(m_rows.size()) && m_rows[size_t(below)].level > level; ++below) {
        if (indicatorOf(below) == Indicator::Collapsed)
            expand(below);
    }
}

void TreeToListProxyModel::sourceRowsInserted(const QModelIndex& parent, int first, int last)
{
    sourceShapeChanged();
    if (!isSourceRange(parent, first, last))
        return;
    QAbstractItemModel* source = sourceModel();
    const int level = depthOf(parent) + 1;
    ItemList rows;
    rows.reserve(size_t(last - first + 1));
    for (int row = first; row <= last; ++row) {
        const QModelIndex child = source->index(row, 0, parent);
        rows.push_back({QPersistentModelIndex(child), level});
        if (source->rowCount(child) > 0)
            storeCollapsed(child, level + 1, QSet<QModelIndex>());
    }

    // A node that had no children has nowhere to show them yet: they start
    // collapsed under it.
    const bool onlyChildren = parent.isValid() && source->rowCount(parent) == last - first + 1;
    const ChildRows place = onlyChildren ? ChildRows() : childRowsOf(parent);
    if (!place.items) {
        if (parent.isValid())
            putEntry(parent, std::move(rows));
    } else if (place.visible) {
        insertVisible(insertPosition(place, parent, last), std::move(rows));
    } else {
        const int at = insertPosition(place, parent, last);
        place.items->insert(place.items->begin() + at, std::make_move_iterator(rows.begin()),
                            std::make_move_iterator(rows.end()));
    }
    if (onlyChildren) {
        const int parentRow = visibleRowOf(parent);
        if (parentRow >= 0)
            announceIndicator(parentRow);
    }
}

void TreeToListProxyModel::sourceRowsAboutToBeRemoved(const QModelIndex& parent, int first, int last)
{
    if (!isSourceRange(parent, first, last))
        return;
    QAbstractItemModel* source = sourceModel();
    QSet<QModelIndex> leaving;
    leaving.reserve(last - first + 1);
    for (int row = first; row <= last; ++row) {
        const QModelIndex child = source->index(row, 0, parent);
        leaving.insert(child);
        forgetEntriesUnder(child);
    }

    const ChildRows place = childRowsOf(parent);
    if (place.items)
        removeRuns(place, leavingRuns(place, leaving));

    if (parent.isValid() && source->rowCount(parent) == last - first + 1) {
        takeEntry(parent);
        m_parentLosingChildren = parent;
    }
}

std::vector<std::pair<int, int>> TreeToListProxyModel::leavingRuns(const ChildRows& place,
                                                                 const QSet<QModelIndex>& leaving) const
{
    // Each leaving node takes the rows of its subtree along: [first, end) runs,
    // merged where they touch.
    const ItemList& items = *place.items;
    std::vector<std::pair<int, int>> runs;
    if (place.visible) {
        for (const QModelIndex& node : leaving) {
            const int at = visibleRowOf(node);
            if (at >= place.begin && at < place.end)
                runs.emplace_back(at, subtreeEnd(items, at));
        }
        std::sort(runs.begin(), runs.end());
    } else {
        for (int at = place.begin; at < place.end; ++at) {
            if (leaving.contains(items[size_t(at)].sourceIndex)) {
                runs.emplace_back(at, subtreeEnd(items, at));
                at = runs.back().second - 1;
            }
        }
    }
    std::vector<std::pair<int, int>> merged;
    for (const auto& run : runs) {
        if (!merged.empty() && run.first <= merged.back().second)
            merged.back().second = std::max(merged.back().second, run.second);
        else
            merged.push_back(run);
    }
    return merged;
}

void TreeToListProxyModel::removeRuns(const ChildRows& place, const std::vector<std::pair<int, int>>& runs)
{
    // Last run first, so that the earlier runs keep their positions.
    for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
        if (place.visible)
            removeVisible(run->first, run->second - 1);
        else
            place.items->erase(place.items->begin() + run->first, place.items->begin() + run->second);
    }
}

void TreeToListProxyModel::sourceRowsRemoved()
{
    sourceShapeChanged();
    const QPersistentModelIndex parent = std::exchange(m_parentLosingChildren, QPersistentModelIndex());
    const int parentRow = visibleRowOf(parent);
    if (parentRow >= 0)
        announceIndicator(parentRow);
}

void TreeToListProxyModel::sourceDataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                             const QList<int>& roles)
{
    if (!topLeft.isValid() || topLeft.model() != sourceModel() || topLeft.column() != 0)
        return;
    const int firstRow = visibleRowOf(topLeft);
    if (firstRow < 0)
        return;
    int lastRow = firstRow;
    if (bottomRight.isValid() && bottomRight.row() != topLeft.row())
        lastRow = std::max(firstRow, visibleRowOf(bottomRight.siblingAtColumn(0)));
    emit dataChanged(index(firstRow, 0), index(lastRow, 0), roles);
}

void TreeToListProxyModel::sourceLayoutAboutToBeChanged()
{
    if (m_layoutChanging)
        return;
    m_layoutChanging = true;
    emit layoutAboutToBeChanged();
    m_layoutProxyIndexes = persistentIndexList();
    m_layoutSourceIndexes.clear();
    m_layoutSourceIndexes.reserve(m_layoutProxyIndexes.size());
    for (const QModelIndex& proxyIndex : std::as_const(m_layoutProxyIndexes))
        m_layoutSourceIndexes.append(QPersistentModelIndex(mapToSource(proxyIndex)));
}

void TreeToListProxyModel::sourceLayoutChanged()
{
    if (!m_layoutChanging)
        sourceLayoutAboutToBeChanged();
    sourceShapeChanged();
    // The stored rows still name the same nodes; which of them were expanded is
    // all that is kept.
    const QSet<QModelIndex> expanded = expandedNodes();
    m_rows.clear();
    m_collapsed.clear();
    m_entryOfNode.clear();
    m_entryIndexStale = false;
    if (sourceModel())
        appendChildRows(QModelIndex(), 0, m_rows, expanded);

    QModelIndexList moved;
    moved.reserve(m_layoutProxyIndexes.size());
    for (const QPersistentModelIndex& node : std::as_const(m_layoutSourceIndexes)) {
        const int row = visibleRowOf(node);
        moved.append(row >= 0 ? index(row, 0) : QModelIndex());
    }
    changePersistentIndexList(m_layoutProxyIndexes, moved);
    m_layoutProxyIndexes.clear();
    m_layoutSourceIndexes.clear();
    m_layoutChanging = false;
    emit layoutChanged();
}

void TreeToListProxyModel::sourceAboutToBeReset()
{
    if (m_resetting)
        return;
    m_resetting = true;
    beginResetModel();
}

void TreeToListProxyModel::sourceReset()
{
    // Nothing is read back: the list fills again as the source reports rows.
    if (!m_resetting)
        beginResetModel();
    forgetEverything();
    m_resetting = false;
    endResetModel();
}

void TreeToListProxyModel::sourceDestroyed()
{
    beginResetModel();
    m_sourceConnections.clear();
    forgetEverything();
    endResetModel();
}

bool TreeToListProxyModel::isSourceRange(const QModelIndex& parent, int first, int last) const
{
    const QAbstractItemModel* source = sourceModel();
    if (!source || first < 0 || last < first)
        return false;
    if (parent.isValid() && parent.model() != source)
        return false;
    return last < source->rowCount(parent);
}

int TreeToListProxyModel::depthOf(const QModelIndex& sourceIndex) const
{
    int depth = -1;
    for (QModelIndex node = sourceIndex; node.isValid(); node = node.parent())
        ++depth;
    return depth;
}

TreeToListProxyModel::ChildRows TreeToListProxyModel::childRowsOf(const QModelIndex& sourceParent)
{
    if (!sourceParent.isValid())
        return {&m_rows, 0, int(m_rows.size()), true};
    const int row = visibleRowOf(sourceParent);
    if (row >= 0) {
        const int end = subtreeEnd(m_rows, row);
        if (end > row + 1)
            return {&m_rows, row + 1, end, true};
    }
    const int entry = entryOf(sourceParent);
    if (entry >= 0) {
        ItemList& items = m_collapsed[size_t(entry)].items;
        return {&items, 0, int(items.size()), false};
    }
    if (row >= 0)
        return {};
    // Expanded when an ancestor collapsed: its rows follow it inside the
    // ancestor's entry. Rare enough for a walk over the stored rows.
    for (CollapsedEntry& collapsed : m_collapsed) {
        ItemList& items = collapsed.items;
        for (int at = 0; at < int(items.size()); ++at) {
            if (items[size_t(at)].sourceIndex != sourceParent)
                continue;
            const int end = subtreeEnd(items, at);
            if (end > at + 1)
                return {&items, at + 1, end, false};
            return {};
        }
    }
    return {};
}

int TreeToListProxyModel::insertPosition(const ChildRows& place, const QModelIndex& sourceParent, int last) const
{
    const QAbstractItemModel* source = sourceModel();
    if (last + 1 < source->rowCount(sourceParent)) {
        const QModelIndex next = source->index(last + 1, 0, sourceParent);
        if (place.visible) {
            const int row = visibleRowOf(next);
            if (row >= place.begin && row < place.end)
                return row;
        } else {
            for (int at = place.begin; at < place.end; ++at) {
                if ((*place.items)[size_t(at)].sourceIndex == next)
                    return at;
            }
        }
    }
    return place.end;
}

void TreeToListProxyModel::appendChildRows(const QModelIndex& sourceParent, int level, ItemList& out,
                                           const QSet<QModelIndex>& expanded)
{
    QAbstractItemModel* source = sourceModel();
    const int count = source->rowCount(sourceParent);
    for (int row = 0; row < count; ++row) {
        const QModelIndex child = source->index(row, 0, sourceParent);
        out.push_back({QPersistentModelIndex(child), level});
        if (source->rowCount(child) == 0)
            continue;
        if (expanded.contains(child))
            appendChildRows(child, level + 1, out, expanded);
        else
            storeCollapsed(child, level + 1, expanded);
    }
}

void TreeToListProxyModel::storeCollapsed(const QModelIndex& node, int childLevel, const QSet<QModelIndex>& expanded)
{
    ItemList rows;
    appendChildRows(node, childLevel, rows, expanded);
    putEntry(node, std::move(rows));
}

void TreeToListProxyModel::forgetEntriesUnder(const QModelIndex& node)
{
    const QAbstractItemModel* source = sourceModel();
    const int count = source->rowCount(node);
    if (count == 0 || m_collapsed.empty())
        return;
    takeEntry(node);
    for (int row = 0; row < count; ++row)
        forgetEntriesUnder(source->index(row, 0, node));
}

QSet<QModelIndex> TreeToListProxyModel::expandedNodes() const
{
    QSet<QModelIndex> expanded;
    const auto collect = [&expanded](const ItemList& items) {
        for (size_t at = 0; at + 1 < items.size(); ++at) {
            if (items[at + 1].level > items[at].level && items[at].sourceIndex.isValid())
                expanded.insert(items[at].sourceIndex);
        }
    };
    collect(m_rows);
    for (const CollapsedEntry& collapsed : m_collapsed)
        collect(collapsed.items);
    return expanded;
}

void TreeToListProxyModel::insertVisible(int at, ItemList rows)
{
    if (rows.empty())
        return;
    beginInsertRows(QModelIndex(), at, at + int(rows.size()) - 1);
    m_rows.insert(m_rows.begin() + at, std::make_move_iterator(rows.begin()), std::make_move_iterator(rows.end()));
    m_rowIndexStale = true;
    endInsertRows();
}

void TreeToListProxyModel::removeVisible(int first, int last)
{
    beginRemoveRows(QModelIndex(), first, last);
    m_rows.erase(m_rows.begin() + first, m_rows.begin() + last + 1);
    m_rowIndexStale = true;
    endRemoveRows();
}

TreeToListProxyModel::Indicator TreeToListProxyModel::indicatorOf(int row) const
{
    const ListItem& item = m_rows[size_t(row)];
    const QAbstractItemModel* source = sourceModel();
    if (!source || !item.sourceIndex.isValid() || source->rowCount(item.sourceIndex) == 0)
        return Indicator::None;
    const size_t next = size_t(row) + 1;
    if (next < m_rows.size() && m_rows[next].level > item.level)
        return Indicator::Expanded;
    return Indicator::Collapsed;
}

void TreeToListProxyModel::announceIndicator(int row)
{
    const QModelIndex changed = index(row, 0);
    emit dataChanged(changed, changed, {childIndicatorRole});
}

int TreeToListProxyModel::subtreeEnd(const ItemList& items, int position)
{
    const int level = items[size_t(position)].level;
    int end = position + 1;
    while (end < int(items.size()) && items[size_t(end)].level > level)
        ++end;
    return end;
}

int TreeToListProxyModel::visibleRowOf(const QModelIndex& sourceIndex) const
{
    if (!sourceIndex.isValid())
        return -1;
    if (m_rowIndexStale) {
        m_rowOfSource.clear();
        m_rowOfSource.reserve(int(m_rows.size()));
        for (int row = 0; row < int(m_rows.size()); ++row) {
            const QPersistentModelIndex& node = m_rows[size_t(row)].sourceIndex;
            if (node.isValid())
                m_rowOfSource.insert(node, row);
        }
        m_rowIndexStale = false;
    }
    return m_rowOfSource.value(sourceIndex, -1);
}

int TreeToListProxyModel::entryOf(const QModelIndex& node)
{
    if (m_entryIndexStale) {
        // An entry whose node left the source unannounced has nothing left to show.
        m_collapsed.erase(std::remove_if(m_collapsed.begin(), m_collapsed.end(),
                                         [](const CollapsedEntry& entry) { return !entry.node.isValid(); }),
                          m_collapsed.end());
        m_entryOfNode.clear();
        m_entryOfNode.reserve(int(m_collapsed.size()));
        for (size_t at = 0; at < m_collapsed.size(); ++at)
            m_entryOfNode.insert(m_collapsed[at].node, int(at));
        m_entryIndexStale = false;
    }
    return m_entryOfNode.value(node, -1);
}

void TreeToListProxyModel::putEntry(const QModelIndex& node, ItemList items)
{
    const int at = entryOf(node);
    if (at >= 0) {
        m_collapsed[size_t(at)].items = std::move(items);
        return;
    }
    m_collapsed.push_back({QPersistentModelIndex(node), std::move(items)});
    m_entryOfNode.insert(node, int(m_collapsed.size()) - 1);
}

bool TreeToListProxyModel::takeEntry(const QModelIndex& node, ItemList* items)
{
    const int at = entryOf(node);
    if (at < 0)
        return false;
    if (items)
        *items = std::move(m_collapsed[size_t(at)].items);
    m_entryOfNode.remove(node);
    // The last entry fills the gap, so that no other entry changes place but one.
    const size_t lastEntry = m_collapsed.size() - 1;
    if (size_t(at) != lastEntry) {
        m_collapsed[size_t(at)] = std::move(m_collapsed[lastEntry]);
        m_entryOfNode.insert(m_collapsed[size_t(at)].node, at);
    }
    m_collapsed.pop_back();
    return true;
}

void TreeToListProxyModel::sourceShapeChanged()
{
    m_rowIndexStale = true;
    m_entryIndexStale = true;
}
