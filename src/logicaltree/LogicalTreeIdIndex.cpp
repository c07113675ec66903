#include "LogicalTreeIdIndex.h"

#include "TreeOrder.h"
#include "TreeWalk.h"

#include <QStandardItemModel>

LogicalTreeIdIndex::LogicalTreeIdIndex(QStandardItemModel* model, int idRole, QObject* parent)
    : QObject(parent), m_model(model), m_idRole(idRole)
{
    connect(model, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex& parent, int first, int last) { fileRows(itemOrRoot(parent), first, last); });
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this,
            [this](const QModelIndex& parent, int first, int last) { forgetRows(itemOrRoot(parent), first, last); });
    connect(model, &QAbstractItemModel::dataChanged, this, &LogicalTreeIdIndex::followIdentifierChange);
    connect(model, &QAbstractItemModel::columnsAboutToBeRemoved, this, &LogicalTreeIdIndex::forgetColumnZero);
    connect(model, &QAbstractItemModel::modelAboutToBeReset, this, [this] {
        m_nodesById.clear();
        m_idOfNode.clear();
    });
    connect(model, &QAbstractItemModel::modelReset, this, &LogicalTreeIdIndex::refileAll);
    // An item replaced in place is deleted between layoutAboutToBeChanged and
    // layoutChanged, unannounced.
    connect(model, &QAbstractItemModel::layoutChanged, this, &LogicalTreeIdIndex::refileAll);
    refileAll();
}

QModelIndex LogicalTreeIdIndex::first(const QString& id) const
{
    const auto found = m_nodesById.constFind(id);
    if (found == m_nodesById.constEnd())
        return QModelIndex();
    // Duplicates are rare; only then is the order of the candidates worked out.
    QModelIndex earliest = found->first()->index();
    for (qsizetype i = 1; i < found->size(); ++i) {
        const QModelIndex candidate = found->at(i)->index();
        if (precedesInTreeOrder(candidate, earliest))
            earliest = candidate;
    }
    return earliest;
}

void LogicalTreeIdIndex::fileRows(const QStandardItem* parent, int first, int last)
{
    TreeWalk::forEachItem(parent, first, last, [this](QStandardItem* node) {
        const QString id = node->data(m_idRole).toString();
        m_nodesById[id].append(node);
        m_idOfNode.insert(node, id);
    });
}

void LogicalTreeIdIndex::forgetRows(const QStandardItem* parent, int first, int last)
{
    TreeWalk::forEachItem(parent, first, last, [this](QStandardItem* node) {
        const auto filed = m_idOfNode.constFind(node);
        if (filed == m_idOfNode.constEnd())
            return;
        const auto nodes = m_nodesById.find(*filed);
        if (nodes != m_nodesById.end()) {
            nodes->removeOne(node);
            if (nodes->isEmpty())
                m_nodesById.erase(nodes);
        }
        m_idOfNode.erase(filed);
    });
}

void LogicalTreeIdIndex::followIdentifierChange(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                                const QList<int>& roles)
{
    if (!topLeft.isValid() || topLeft.column() > 0)
        return;
    if (!roles.isEmpty() && !roles.contains(m_idRole))
        return;
    const QStandardItem* parent = itemOrRoot(topLeft.parent());
    for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
        QStandardItem* node = parent->child(row);
        const auto filed = m_idOfNode.find(node);
        if (!node || filed == m_idOfNode.end())
            continue;
        const QString newId = node->data(m_idRole).toString();
        if (*filed == newId)
            continue;
        const auto oldNodes = m_nodesById.find(*filed);
        if (oldNodes != m_nodesById.end()) {
            oldNodes->removeOne(node);
            if (oldNodes->isEmpty())
                m_nodesById.erase(oldNodes);
        }
        m_nodesById[newId].append(node);
        *filed = newId;
    }
}

void LogicalTreeIdIndex::forgetColumnZero(const QModelIndex& parent, int first, int last)
{
    // The nodes live in column 0; removing it deletes them without a row removal.
    if (first == 0 && last >= 0)
        forgetRows(itemOrRoot(parent), 0, m_model->rowCount(parent) - 1);
}

void LogicalTreeIdIndex::refileAll()
{
    m_nodesById.clear();
    m_idOfNode.clear();
    fileRows(m_model->invisibleRootItem(), 0, m_model->rowCount() - 1);
}

QStandardItem* LogicalTreeIdIndex::itemOrRoot(const QModelIndex& index) const
{
    return index.isValid() ? m_model->itemFromIndex(index) : m_model->invisibleRootItem();
}
