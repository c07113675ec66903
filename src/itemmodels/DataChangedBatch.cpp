#include "DataChangedBatch.h"

#include <QAbstractItemModel>

#include <algorithm>
#include <iterator>

QList<int> DataChangedBatch::sortedRoles(const QSet<int>& roles)
{
    QList<int> result(roles.cbegin(), roles.cend());
    std::sort(result.begin(), result.end());
    return result;
}

void DataChangedBatch::add(const QModelIndex& index, const QSet<int>& roles)
{
    // A change naming no role would tell every proxy above to re-read every role.
    Q_ASSERT(!roles.isEmpty());
    if (!index.isValid() || roles.isEmpty())
        return;
    const QModelIndex parent = index.parent();
    auto slot = m_slotOfParent.constFind(parent);
    if (slot == m_slotOfParent.cend()) {
        slot = m_slotOfParent.insert(parent, int(m_parents.size()));
        m_parents.emplace_back();
    }
    Row& row = m_parents[size_t(*slot)][index.row()];
    if (!row.index.isValid())
        row.index = index.siblingAtColumn(0);
    row.roles.unite(roles);
}

void DataChangedBatch::emitFrom(QAbstractItemModel* model)
{
    for (const RowsByNumber& rows : m_parents) {
        auto runStart = rows.cbegin();
        auto runEnd = runStart;
        while (runStart != rows.cend()) {
            Q_ASSERT(runStart->second.index.model() == model);
            auto next = std::next(runEnd);
            const bool extends = next != rows.cend() && next->first == runEnd->first + 1
                              && next->second.roles == runStart->second.roles;
            if (extends) {
                runEnd = next;
                continue;
            }
            emit model->dataChanged(runStart->second.index, runEnd->second.index, sortedRoles(runStart->second.roles));
            runStart = runEnd = next;
        }
    }
    m_slotOfParent.clear();
    m_parents.clear();
}
