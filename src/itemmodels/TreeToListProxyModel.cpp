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
    m_sourceConnections.disconnectAll();
    forgetEverything();
    QAbstractProxyModel::setSourceModel(source);
    if (source) {
        using Model = QAbstractItemModel;
        using Self = TreeToListProxyModel;
        m_sourceConnections.replace({
                connect(source, &Model::rowsInserted, this, &Self::sourceRowsInserted),
                connect(source, &Model::rowsAboutToBeRemoved, this, &Self::sourceRowsAboutToBeRemoved),
                connect(source, &Model::rowsRemoved, this, &Self::sourceRowsRemoved),
                connect(source, &Model::dataChanged, this, &Self::sourceDataChanged),
                connect(source, &Model::layoutAboutToBeChanged, this, [this] { sourceLayoutAboutToBeChanged(); }),
                connect(source, &Model::layoutChanged, this, [this] { sourceLayoutChanged(); }),
                connect(source, &Model::modelAboutToBeReset, this, [this] { sourceAboutToBeReset(); }),
                connect(source, &Model::modelReset, this, [this] { sourceReset(); }),
                // Moves and column changes are rare for trees; reading the tree again in
                // its new shape, keeping which nodes were expanded, is simpler than
                // following them step by step.
                connect(source, &Model::rowsAboutToBeMoved, this, [this] { sourceLayoutAboutToBeChanged(); }),
                connect(source, &Model::rowsMoved, this, [this] { sourceLayoutChanged(); }),
                connect(source, &Model::columnsAboutToBeInserted, this, [this] { sourceLayoutAboutToBeChanged(); }),
                connect(source, &Model::columnsInserted, this, [this] { sourceLayoutChanged(); }),
                connect(source, &Model::columnsAboutToBeRemoved, this, [this] { sourceLayoutAboutToBeChanged(); }),
                connect(source, &Model::columnsRemoved, this, [this] { sourceLayoutChanged(); }),
                connect(source, &Model::columnsAboutToBeMoved, this, [this] { sourceLayoutAboutToBeChanged(); }),
                connect(source, &Model::columnsMoved, this, [this] { sourceLayoutChanged(); }),
                connect(source, &QObject::destroyed, this, [this] { sourceDestroyed(); }),
        });
    }
    endResetModel();
    if (source && source->rowCount() > 0)
        sourceRowsInserted(QModelIndex(), 0, source->rowCount() - 1);
}

void TreeToListProxyModel::forgetEverything()
{
    m_rows.clear();
    m_rowOfNode.clear();
    m_rowsIndexedUpTo = 0;
    m_expanded.clear();
    m_layoutProxyIndexes.clear();
    m_layoutSourceIndexes.clear();
    m_layoutExpandedNodes.clear();
}

int TreeToListProxyModel::rowCount(const QModelIndex& parent) const
{
    Q_ASSERT(checkIndex(parent));
    return parent.isValid() ? 0 : int(m_rows.size());
}

int TreeToListProxyModel::columnCount(const QModelIndex& parent) const
{
    Q_ASSERT(checkIndex(parent));
    return parent.isValid() ? 0 : 1;
}

QModelIndex TreeToListProxyModel::index(int row, int column, const QModelIndex& parent) const
{
    Q_ASSERT(checkIndex(parent));
    if (parent.isValid() || row < 0 || row >= int(m_rows.size()) || column != 0)
        return QModelIndex();
    return createIndex(row, column);
}

QModelIndex TreeToListProxyModel::parent(const QModelIndex& child) const
{
    Q_ASSERT(checkIndex(child, CheckIndexOption::DoNotUseParent));
    return QModelIndex();
}

QModelIndex TreeToListProxyModel::sibling(int row, int column, const QModelIndex& index) const
{
    Q_ASSERT(checkIndex(index));
    return this->index(row, column);
}

bool TreeToListProxyModel::hasChildren(const QModelIndex& parent) const
{
    Q_ASSERT(checkIndex(parent));
    return !parent.isValid() && !m_rows.empty();
}

Qt::ItemFlags TreeToListProxyModel::flags(const QModelIndex& index) const
{
    Q_ASSERT(checkIndex(index, CheckIndexOption::ParentIsInvalid));
    const Qt::ItemFlags flags = QAbstractProxyModel::flags(index);
    return index.isValid() ? flags | Qt::ItemNeverHasChildren : flags;
}

QModelIndex TreeToListProxyModel::mapToSource(const QModelIndex& proxyIndex) const
{
    Q_ASSERT(checkIndex(proxyIndex, CheckIndexOption::ParentIsInvalid));
    if (!proxyIndex.isValid() || proxyIndex.model() != this || proxyIndex.row() >= int(m_rows.size()))
        return QModelIndex();
    return m_rows[size_t(proxyIndex.row())].sourceIndex;
}

QModelIndex TreeToListProxyModel::mapFromSource(const QModelIndex& sourceIndex) const
{
    Q_ASSERT(!sourceIndex.isValid() || sourceIndex.model() == sourceModel());
    const int row = visibleRowOf(sourceIndex);
    return row >= 0 ? index(row, 0) : QModelIndex();
}

QVariant TreeToListProxyModel::data(const QModelIndex& index, int role) const
{
    Q_ASSERT(checkIndex(index, CheckIndexOption::ParentIsInvalid));
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
    const ListItem& item = m_rows[size_t(row)];
    m_expanded.insert(item.sourceIndex);
    insertVisible(row + 1, shownRowsUnder(item.sourceIndex, item.level + 1));
    announceIndicator(row);
}

void TreeToListProxyModel::collapse(int row)
{
    if (row < 0 || row >= int(m_rows.size()))
        return;
    const int end = subtreeEnd(row);
    if (end == row + 1)
        return;
    // The nodes below keep their own state: expanding this row again shows them as
    // they are now.
    removeVisible(row + 1, end - 1);
    m_expanded.remove(m_rows[size_t(row)].sourceIndex);
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

QString TreeToListProxyModel::checkConsistency() const
{
    const QAbstractItemModel* source = sourceModel();
    if (!source)
        return m_rows.empty() && m_expanded.isEmpty() ? QString() : QStringLiteral("rows kept without a source");
    const QString rememberedProblem = m_expanded.check(*source);
    if (!rememberedProblem.isEmpty())
        return rememberedProblem;
    const ItemList expected = shownRowsUnder(QModelIndex(), 0);
    for (size_t row = 0; row < std::max(m_rows.size(), expected.size()); ++row) {
        if (row >= m_rows.size() || row >= expected.size())
            return QStringLiteral("%1 rows listed, the expanded part of the source has %2")
                    .arg(m_rows.size())
                    .arg(expected.size());
        const ListItem& listed = m_rows[row];
        if (listed.sourceIndex != expected[row].sourceIndex || listed.level != expected[row].level)
            return QStringLiteral("row %1 shows source row %2 at level %3, the source has row %4 at level %5")
                    .arg(row)
                    .arg(listed.sourceIndex.row())
                    .arg(listed.level)
                    .arg(expected[row].sourceIndex.row())
                    .arg(expected[row].level);
    }
    if (m_rowOfNode.size() != qsizetype(m_rows.size()) || m_rowsIndexedUpTo > int(m_rows.size()))
        return QStringLiteral("the row index holds %1 nodes, indexed up to row %2, for %3 rows")
                .arg(m_rowOfNode.size())
                .arg(m_rowsIndexedUpTo)
                .arg(m_rows.size());
    for (int row = 0; row < int(m_rows.size()); ++row) {
        const auto found = m_rowOfNode.constFind(m_rows[size_t(row)].sourceIndex);
        if (found == m_rowOfNode.cend() || (row < m_rowsIndexedUpTo && *found != row))
            return QStringLiteral("the row index does not find row %1").arg(row);
    }
    return QString();
}

void TreeToListProxyModel::sourceRowsInserted(const QModelIndex& parent, int first, int last)
{
    if (!isSourceRange(parent, first, last))
        return;
    // Keys first: every look-up below must find the later siblings at their new rows.
    const int count = last - first + 1;
    shiftListedChildren(parent, first, count);
    m_expanded.shiftChildren(*sourceModel(), parent, first, count);
    // A node that had no children arrives collapsed: its expander changes, its rows
    // wait until it is expanded.
    if (parent.isValid() && sourceModel()->rowCount(parent) == count) {
        const int parentRow = visibleRowOf(parent);
        if (parentRow >= 0)
            announceIndicator(parentRow);
        return;
    }
    // Rows under a collapsed or hidden node are read from the source when it is
    // expanded; only rows under a shown, expanded node appear now, in source order
    // among their siblings.
    if (!showsChildrenOf(parent))
        return;
    const int level = parent.isValid() ? m_rows[size_t(visibleRowOf(parent))].level + 1 : 0;
    ItemList rows;
    rows.reserve(size_t(count));
    for (int row = first; row <= last; ++row)
        rows.push_back({sourceModel()->index(row, 0, parent), level});
    insertVisible(insertPosition(parent, last), std::move(rows));
}

void TreeToListProxyModel::sourceRowsAboutToBeRemoved(const QModelIndex& parent, int first, int last)
{
    if (!isSourceRange(parent, first, last))
        return;
    m_expanded.forgetRowsUnder(parent, first, last);
    // Children arriving later start collapsed.
    if (parent.isValid() && sourceModel()->rowCount(parent) == last - first + 1)
        m_expanded.remove(parent);
    const Runs runs = visibleRuns(parent, first, last);
    // One removal per run of adjacent list rows, last run first, so that the
    // earlier runs keep their positions.
    for (auto run = runs.rbegin(); run != runs.rend(); ++run)
        removeVisible(run->first, run->second - 1);
}

void TreeToListProxyModel::sourceRowsRemoved(const QModelIndex& parent, int first, int last)
{
    const QAbstractItemModel* source = sourceModel();
    if (!source || first < 0 || last < first || (parent.isValid() && parent.model() != source))
        return;
    const int count = last - first + 1;
    shiftListedChildren(parent, last + 1, -count);
    m_expanded.shiftChildren(*source, parent, last + 1, -count);
    if (!parent.isValid() || source->rowCount(parent) > 0)
        return;
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
    // Only for the change: the source moves these along with their nodes.
    m_layoutExpandedNodes.clear();
    const QModelIndexList expanded = m_expanded.nodes();
    for (const QModelIndex& node : expanded)
        m_layoutExpandedNodes.append(QPersistentModelIndex(node));
}

void TreeToListProxyModel::sourceLayoutChanged()
{
    if (!m_layoutChanging)
        sourceLayoutAboutToBeChanged();
    // The list is read again in the source's new order, from the expanded nodes
    // as the source moved them.
    m_expanded.clear();
    for (const QPersistentModelIndex& node : std::as_const(m_layoutExpandedNodes)) {
        if (node.isValid() && sourceModel() && sourceModel()->rowCount(node) > 0)
            m_expanded.insert(node);
    }
    m_layoutExpandedNodes.clear();
    m_rows = sourceModel() ? shownRowsUnder(QModelIndex(), 0) : ItemList();
    m_rowOfNode.clear();
    m_rowsIndexedUpTo = 0;
    indexAllRows();

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
    m_sourceConnections.disconnectAll();
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

bool TreeToListProxyModel::showsChildrenOf(const QModelIndex& sourceParent) const
{
    if (!sourceParent.isValid())
        return true;
    const int row = visibleRowOf(sourceParent);
    return row >= 0 && indicatorOf(row) == Indicator::Expanded;
}

int TreeToListProxyModel::insertPosition(const QModelIndex& sourceParent, int last) const
{
    // Before the next sibling when it is listed, else after the parent's subtree.
    const QAbstractItemModel* source = sourceModel();
    if (last + 1 < source->rowCount(sourceParent)) {
        const int nextRow = visibleRowOf(source->index(last + 1, 0, sourceParent));
        if (nextRow >= 0)
            return nextRow;
    }
    return sourceParent.isValid() ? subtreeEnd(visibleRowOf(sourceParent)) : int(m_rows.size());
}

TreeToListProxyModel::Runs TreeToListProxyModel::visibleRuns(const QModelIndex& sourceParent, int first,
                                                             int last) const
{
    // Each listed node takes the rows of its subtree along: [first, end) runs in
    // list order, merged where they touch.
    Runs runs;
    if (!showsChildrenOf(sourceParent))
        return runs;
    const QAbstractItemModel* source = sourceModel();
    for (int row = first; row <= last; ++row) {
        const int at = visibleRowOf(source->index(row, 0, sourceParent));
        if (at < 0)
            continue;
        const int end = subtreeEnd(at);
        if (!runs.empty() && runs.back().second == at)
            runs.back().second = end;
        else
            runs.emplace_back(at, end);
    }
    return runs;
}

TreeToListProxyModel::ItemList TreeToListProxyModel::shownRowsUnder(const QModelIndex& sourceParent, int level) const
{
    // Depth first with a stack of its own: a tree may be deeper than a thread's
    // stack could follow by recursion.
    struct Pending
    {
        QModelIndex parent;
        int next;
        int count;
        int level;
    };
    const QAbstractItemModel* source = sourceModel();
    ItemList rows;
    std::vector<Pending> pending{{sourceParent, 0, source->rowCount(sourceParent), level}};
    while (!pending.empty()) {
        Pending& top = pending.back();
        if (top.next == top.count) {
            pending.pop_back();
            continue;
        }
        const QModelIndex child = source->index(top.next++, 0, top.parent);
        const int childLevel = top.level;
        rows.push_back({child, childLevel});
        if (m_expanded.contains(child)) {
            const int count = source->rowCount(child);
            if (count > 0)
                pending.push_back({child, 0, count, childLevel + 1});
        }
    }
    return rows;
}

void TreeToListProxyModel::shiftListedChildren(const QModelIndex& sourceParent, int fromRow, int delta)
{
    const QAbstractItemModel* source = sourceModel();
    // Rows appended after every sibling, or removed from the end, shift nothing.
    if (fromRow + delta >= source->rowCount(sourceParent))
        return;
    // Listed children exist only under the root or a listed, expanded parent;
    // they are the rows one level below it up to the end of its subtree.
    int position = 0;
    int childLevel = 0;
    if (sourceParent.isValid()) {
        const int parentRow = visibleRowOf(sourceParent);
        if (parentRow < 0)
            return;
        position = parentRow + 1;
        childLevel = m_rows[size_t(parentRow)].level + 1;
    }
    // The shifted siblings follow the subtree of the last sibling that kept its row.
    const int keptRow = std::min(fromRow, fromRow + delta) - 1;
    if (keptRow >= 0) {
        const int keptAt = visibleRowOf(source->index(keptRow, 0, sourceParent));
        if (keptAt >= 0)
            position = subtreeEnd(keptAt);
    }
    std::vector<int> shifted;
    for (; position < int(m_rows.size()) && m_rows[size_t(position)].level >= childLevel; ++position) {
        const ListItem& item = m_rows[size_t(position)];
        if (item.level == childLevel && item.sourceIndex.row() >= fromRow)
            shifted.push_back(position);
    }
    // Siblings share a parent key: rewritten away from the shift, no new key meets
    // an old one still in the hash.
    if (delta > 0)
        std::reverse(shifted.begin(), shifted.end());
    for (int at : shifted) {
        ListItem& item = m_rows[size_t(at)];
        m_rowOfNode.remove(item.sourceIndex);
        item.sourceIndex = source->index(item.sourceIndex.row() + delta, 0, sourceParent);
        m_rowOfNode.insert(item.sourceIndex, at);
    }
}

void TreeToListProxyModel::insertVisible(int at, ItemList rows)
{
    if (rows.empty())
        return;
    const int count = int(rows.size());
    beginInsertRows(QModelIndex(), at, at + count - 1);
    m_rows.insert(m_rows.begin() + at, std::make_move_iterator(rows.begin()), std::make_move_iterator(rows.end()));
    for (int row = at; row < at + count; ++row)
        m_rowOfNode.insert(m_rows[size_t(row)].sourceIndex, row);
    // The rows behind moved; they are indexed again on the next look-up.
    m_rowsIndexedUpTo = std::min(m_rowsIndexedUpTo, at);
    endInsertRows();
}

void TreeToListProxyModel::removeVisible(int first, int last)
{
    beginRemoveRows(QModelIndex(), first, last);
    for (int row = first; row <= last; ++row)
        m_rowOfNode.remove(m_rows[size_t(row)].sourceIndex);
    m_rows.erase(m_rows.begin() + first, m_rows.begin() + last + 1);
    m_rowsIndexedUpTo = std::min(m_rowsIndexedUpTo, first);
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

int TreeToListProxyModel::subtreeEnd(int row) const
{
    const int level = m_rows[size_t(row)].level;
    int end = row + 1;
    while (end < int(m_rows.size()) && m_rows[size_t(end)].level > level)
        ++end;
    return end;
}

int TreeToListProxyModel::visibleRowOf(const QModelIndex& sourceIndex) const
{
    if (!sourceIndex.isValid() || sourceIndex.model() != sourceModel())
        return -1;
    const auto found = m_rowOfNode.constFind(sourceIndex);
    if (found == m_rowOfNode.cend())
        return -1;
    if (*found < m_rowsIndexedUpTo)
        return *found;
    indexAllRows();
    return m_rowOfNode.value(sourceIndex, -1);
}

void TreeToListProxyModel::indexAllRows() const
{
    for (int row = m_rowsIndexedUpTo; row < int(m_rows.size()); ++row)
        m_rowOfNode.insert(m_rows[size_t(row)].sourceIndex, row);
    m_rowsIndexedUpTo = int(m_rows.size());
}
