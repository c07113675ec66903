#include "LogicalTreeModel.h"

#include "TreeOrder.h"

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
    connect(this, &QAbstractItemModel::modelAboutToBeReset, this, &LogicalTreeModel::forgetAllCameras);
    connect(this, &QAbstractItemModel::modelReset, this, &LogicalTreeModel::indexAllRows);
}

QVariant LogicalTreeModel::data(const QModelIndex& index, int role) const
{
    const QStandardItem* item = itemFromIndex(index);
    if (!item)
        return QVariant();
    if (role == dataRole)
        return wholeNodeMap(*item);
    return item->data(role);
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
    for (const QList<QPersistentModelIndex>& placements : *found) {
        const qsizetype firstOfTreeId = result.size();
        for (const QPersistentModelIndex& placement : placements) {
            if (placement.isValid())
                result.append(QModelIndex(placement));
        }
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
    for (int row = first; row <= last; ++row) {
        const QModelIndex node = index(row, 0, parent);
        if (QStandardItemModel::data(node, typeRole).toInt() != Folder)
            fileNode(node);
        // Children of any kind travel with a moved row; they are filed again here
        // because they were forgotten when the row was taken out.
        genModelIndexMap(node, 0, rowCount(node) - 1);
    }
}

void LogicalTreeModel::removeModelIndexMap(const QModelIndex& parent, int first, int last)
{
    for (int row = first; row <= last; ++row) {
        const QModelIndex node = index(row, 0, parent);
        removeModelIndexMap(node, 0, rowCount(node) - 1);
        unfileNode(node);
    }
}

void LogicalTreeModel::fileNode(const QModelIndex& node)
{
    const QString cameraId = QStandardItemModel::data(node, cameraNodeIDRole).toString();
    const QString treeId = QStandardItemModel::data(node, idRole).toString();
    m_nodesByCameraId[cameraId][treeId].append(QPersistentModelIndex(node));
}

void LogicalTreeModel::unfileNode(const QModelIndex& node)
{
    // Folders are never filed; looking them up costs as little as testing their type
    // and still finds a node whose type was changed after insertion.
    const auto camera = m_nodesByCameraId.find(QStandardItemModel::data(node, cameraNodeIDRole).toString());
    if (camera == m_nodesByCameraId.end())
        return;
    const auto placements = camera->find(QStandardItemModel::data(node, idRole).toString());
    if (placements == camera->end())
        return;
    placements->removeIf([&node](const QPersistentModelIndex& placement) {
        return placement == node || !placement.isValid();
    });
    if (placements->isEmpty())
        camera->erase(placements);
    if (camera->isEmpty())
        m_nodesByCameraId.erase(camera);
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
