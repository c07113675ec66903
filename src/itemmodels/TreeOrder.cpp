#include "TreeOrder.h"

#include <QVarLengthArray>

#include <algorithm>

namespace {

using RowPath = QVarLengthArray<int, 8>;

RowPath rowPathOf(QModelIndex index)
{
    RowPath path;
    for (; index.isValid(); index = index.parent())
        path.append(index.row());
    std::reverse(path.begin(), path.end());
    return path;
}

} // namespace

bool precedesInTreeOrder(const QModelIndex& first, const QModelIndex& second)
{
    if (!first.isValid() || !second.isValid())
        return first.isValid() && !second.isValid();
    const RowPath firstPath = rowPathOf(first);
    const RowPath secondPath = rowPathOf(second);
    // An ancestor's path is a prefix of its descendants' paths, and compares less.
    return std::lexicographical_compare(firstPath.cbegin(), firstPath.cend(), secondPath.cbegin(), secondPath.cend());
}
