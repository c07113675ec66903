#include "LogicalTreeIdIndex.h"

#include "TreeOrder.h"

#include <QAbstractItemModel>

#include <algorithm>

LogicalTreeIdIndex::LogicalTreeIdIndex(QAbstractItemModel* model, int idRole, QObject* parent)
    : QObject(parent), m_model(model), m_idRole(idRole)
{
    connect(model, &QAbstractItemModel::rowsInserted, this, &LogicalTreeIdIndex::fileRows);
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this, &LogicalTreeIdIndex::forgetRows);
    connect(model, &QAbstractItemModel::dataChanged, this, &LogicalTreeIdIndex::followIdentifierChange);
    connect(model, &QAbstractItemModel::modelAboutToBeReset, this, &LogicalTreeIdIndex::forgetAll);
    connect(model, &QAbstractItemModel::modelReset, this, &LogicalTreeIdIndex::fileAllRows);
    fileAllRows();
}

QModelIndex LogicalTreeIdIndex::first(const QString& id) const
{
    const auto found = m_nodesById.constFind(id);
    if (found == m_nodesById.constEnd())
        return QModelIndex();
    // Duplicates are rare; only then is the order of the candidates worked out.
    QModelIndex earliest;
    for (const QPersistentModelIndex& node : *found) {
        if (precedesInTreeOrder(node, earliest))
            earliest = node;
    }
    return earliest;
}

QModelIndexList LogicalTreeIdIndex::all(const QString& id) const
{
    QModelIndexList result;
    const auto found = m_nodesById.constFind(id);
    if (found == m_nodesById.constEnd())
        return result;
    for (const QPersistentModelIndex& node : *found) {
        if (node.isValid())
            result.append(node);
    }
    std::sort(result.begin(), result.end(), precedesInTreeOrder);
    return result;
}

void LogicalTreeIdIndex::fileRows(const QModelIndex& parent, int first, int last)
{
    for (int row = first; row <= last; ++row) {
        const QModelIndex node = m_model->index(row, 0, parent);
        file(node, idOf(node));
        fileRows(node, 0, m_model->rowCount(node) - 1);
    }
}

void LogicalTreeIdIndex::forgetRows(const QModelIndex& parent, int first, int last)
{
    for (int row = first; row <= last; ++row) {
        const QModelIndex node = m_model->index(row, 0, parent);
        forgetRows(node, 0, m_model->rowCount(node) - 1);
        const QPersistentModelIndex persistent(node);
        const auto filed = m_idOfNode.find(persistent);
        if (filed == m_idOfNode.end())
            continue;
        forget(persistent, *filed);
        m_idOfNode.erase(filed);
    }
}

void LogicalTreeIdIndex::followIdentifierChange(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                                const QList<int>& roles)
{
    if (!topLeft.isValid() || topLeft.column() > 0)
        return;
    if (!roles.isEmpty() && !roles.contains(m_idRole))
        return;
    const QModelIndex parent = topLeft.parent();
    for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
        const QPersistentModelIndex node(m_model->index(row, 0, parent));
        const auto filed = m_idOfNode.find(node);
        if (filed == m_idOfNode.end())
            continue;
        const QString newId = idOf(node);
        if (*filed == newId)
            continue;
        forget(node, *filed);
        m_nodesById[newId].append(node);
        *filed = newId;
    }
}

void LogicalTreeIdIndex::forgetAll()
{
    m_nodesById.clear();
    m_idOfNode.clear();
}

void LogicalTreeIdIndex::fileAllRows()
{
    fileRows(QModelIndex(), 0, m_model->rowCount() - 1);
}

void LogicalTreeIdIndex::file(const QModelIndex& node, const QString& id)
{
    const QPersistentModelIndex persistent(node);
    m_nodesById[id].append(persistent);
    m_idOfNode.insert(persistent, id);
}

void LogicalTreeIdIndex::forget(const QPersistentModelIndex& node, const QString& id)
{
    const auto nodes = m_nodesById.find(id);
    if (nodes == m_nodesById.end())
        return;
    nodes->removeOne(node);
    if (nodes->isEmpty())
        m_nodesById.erase(nodes);
}

QString LogicalTreeIdIndex::idOf(const QModelIndex& node) const
{
    return m_model->data(node, m_idRole).toString();
}
