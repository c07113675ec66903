#include "LogicalTreeModel.h"

#include "TreeOrder.h"
#include "TreeWalk.h"

#include <QStandardItem>

#include <algorithm>

namespace {

// The whole-node map's keys for the stored roles, in the order the map is read.
// The DI/DO keys are spelt differently from their role names on purpose: the
// views use both spellings.
struct WholeNodeField
{
    int role;
    QLatin1String key;
};

const WholeNodeField kWholeNodeFields[] = {
        {LogicalTreeModel::idRole, QLatin1String("idRole")},
        {LogicalTreeModel::typeRole, QLatin1String("typeRole")},
        {LogicalTreeModel::cameraNodeIDRole, QLatin1String("cameraNodeIDRole")},
        {LogicalTreeModel::settingStatusRole, QLatin1String("settingStatusRole")},
        {LogicalTreeModel::parentStationIDRole, QLatin1String("parentStationIDRole")},
        {LogicalTreeModel::diDoValueRole, QLatin1String("didoValueRole")},
        {LogicalTreeModel::diDoIndexRole, QLatin1String("didoIndexRole")},
        {LogicalTreeModel::joystickKeyRole, QLatin1String("joystickKeyRole")},
        {LogicalTreeModel::nodeIDRole, QLatin1String("nodeIDRole")},
};

} // namespace

LogicalTreeModel::LogicalTreeModel(QObject* parent)
    : QStandardItemModel(parent)
{
    // Connected before anyone else can listen, so that the index is complete when
    // other listeners of rowsInserted run and emptied while the rows still exist.
    connect(this, &QAbstractItemModel::rowsInserted, this, &LogicalTreeModel::genModelIndexMap);
    connect(this, &QAbstractItemModel::rowsAboutToBeRemoved, this, &LogicalTreeModel::removeModelIndexMap);
    connect(this, &QAbstractItemModel::columnsAboutToBeRemoved, this, &LogicalTreeModel::forgetColumnZero);
    connect(this, &QAbstractItemModel::modelAboutToBeReset, this, &LogicalTreeModel::forgetAllCameras);
    connect(this, &QAbstractItemModel::modelReset, this, &LogicalTreeModel::indexAllRows);
    // An item replaced in place is deleted between these two, unannounced.
    connect(this, &QAbstractItemModel::layoutChanged, this, [this] {
        forgetAllCameras();
        indexAllRows();
    });
}

QVariant LogicalTreeModel::data(const QModelIndex& index, int role) const
{
    const QStandardItem* item = itemFromIndex(index);
    if (!item)
        return QVariant();
    if (role == dataRole)
        return wholeNodeMap(*item);
    // Stock delegates show "display": the node's name.
    return item->data(role == Qt::DisplayRole ? int(nameRole) : role);
}

QVariantMap LogicalTreeModel::wholeNodeMap(const QStandardItem& item) const
{
    QVariantMap result;
    for (const WholeNodeField& field : kWholeNodeFields)
        result.insert(field.key, item.data(field.role));
    // Camera and DI/DO names come from the device topology, not from this model.
    const QVariant type = result.value(QLatin1String("typeRole"));
    if (type.toInt() == Folder || type.toInt() == LocalDBCamera)
        result.insert(QStringLiteral("nameRole"), item.data(nameRole));
    return result;
}

QHash<int, QByteArray> LogicalTreeModel::roleNames() const
{
    static const QHash<int, QByteArray> names = {
            {Qt::DisplayRole, "display"},
            {idRole, "idRole"},
            {typeRole, "typeRole"},
            {nameRole, "nameRole"},
            {cameraNodeIDRole, "cameraNodeIDRole"},
            {dataRole, "dataRole"},
            {diDoValueRole, "diDoValueRole"},
            {diDoIndexRole, "diDoIndexRole"},
            {joystickKeyRole, "joystickKeyRole"},
            {nodeIDRole, "nodeIDRole"},
            {displayIconRole, "displayIconRole"},
    };
    return names;
}

QModelIndexList LogicalTreeModel::match(const QModelIndex& start, int role, const QVariant& value, int hits,
                                        Qt::MatchFlags flags) const
{
    if (role != cameraNodeIDRole)
        return QStandardItemModel::match(start, role, value, hits, flags);
    QModelIndexList result;
    const auto found = m_nodesByCameraId.constFind(value.toString());
    if (found == m_nodesByCameraId.constEnd())
        return result;
    for (const QList<QStandardItem*>& placements : *found) {
        const qsizetype firstOfTreeId = result.size();
        for (const QStandardItem* placement : placements)
            result.append(placement->index());
        if (result.size() - firstOfTreeId > 1)
            std::sort(result.begin() + firstOfTreeId, result.end(), precedesInTreeOrder);
    }
    return result;
}

void LogicalTreeModel::clear()
{
    forgetAllCameras();
    QStandardItemModel::clear();
}

void LogicalTreeModel::genModelIndexMap(const QModelIndex& parent, int first, int last)
{
    fileRows(itemOrRoot(parent), first, last);
}

void LogicalTreeModel::removeModelIndexMap(const QModelIndex& parent, int first, int last)
{
    forgetRows(itemOrRoot(parent), first, last);
}

// Children of any kind travel with a moved row; they are filed again here
// because they were forgotten when the row was taken out.
void LogicalTreeModel::fileRows(const QStandardItem* parent, int first, int last)
{
    TreeWalk::forEachItem(parent, first, last, [this](QStandardItem* node) {
        if (node->data(typeRole).toInt() != Folder)
            fileNode(node);
    });
}

void LogicalTreeModel::forgetRows(const QStandardItem* parent, int first, int last)
{
    TreeWalk::forEachItem(parent, first, last, [this](QStandardItem* node) { unfileNode(node); });
}

void LogicalTreeModel::fileNode(QStandardItem* node)
{
    const QString cameraId = node->data(cameraNodeIDRole).toString();
    const QString treeId = node->data(idRole).toString();
    m_nodesByCameraId[cameraId][treeId].append(node);
}

void LogicalTreeModel::unfileNode(QStandardItem* node)
{
    // Folders are never filed; looking them up costs as little as testing their type
    // and still finds a node whose type was changed after insertion.
    const auto camera = m_nodesByCameraId.find(node->data(cameraNodeIDRole).toString());
    if (camera == m_nodesByCameraId.end())
        return;
    const auto placements = camera->find(node->data(idRole).toString());
    if (placements == camera->end())
        return;
    placements->removeOne(node);
    if (placements->isEmpty())
        camera->erase(placements);
    if (camera->isEmpty())
        m_nodesByCameraId.erase(camera);
}

void LogicalTreeModel::forgetColumnZero(const QModelIndex& parent, int first, int last)
{
    // The nodes live in column 0; removing it deletes them without a row removal.
    if (first == 0 && last >= 0)
        removeModelIndexMap(parent, 0, rowCount(parent) - 1);
}

void LogicalTreeModel::forgetAllCameras()
{
    m_nodesByCameraId.clear();
}

void LogicalTreeModel::indexAllRows()
{
    // A reset that leaves rows behind (the base class's clear() leaves none) must
    // not leave them unfindable.
    if (rowCount() > 0)
        genModelIndexMap(QModelIndex(), 0, rowCount() - 1);
}

QStandardItem* LogicalTreeModel::itemOrRoot(const QModelIndex& index) const
{
    return index.isValid() ? itemFromIndex(index) : invisibleRootItem();
}
