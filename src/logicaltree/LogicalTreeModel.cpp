#include "LogicalTreeModel.h"

#include "TreeOrder.h"

#include <QStandardItem>

#include <algorithm>
#include <optional>
#include <utility>

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
    : QStandardItemModel(parent),
      m_nodesByCameraId(
              this,
              [](const QStandardItem& node) {
                  return node.data(typeRole).toInt() == Folder ? std::nullopt
                                                               : std::optional(node.data(cameraNodeIDRole).toString());
              },
              {typeRole, cameraNodeIDRole}, IdentifierIndex::Keys::Shared)
{
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
    QList<QStandardItem*> placements = m_nodesByCameraId.items(value.toString());
    // Read each placement's tree ID once, not at every comparison.
    QList<QPair<QString, QModelIndex>> ordered;
    ordered.reserve(placements.size());
    for (const QStandardItem* placement : std::as_const(placements))
        ordered.append({placement->data(idRole).toString(), placement->index()});
    std::sort(ordered.begin(), ordered.end(), [](const auto& left, const auto& right) {
        if (left.first != right.first)
            return left.first < right.first;
        return precedesInTreeOrder(left.second, right.second);
    });
    QModelIndexList result;
    result.reserve(ordered.size());
    for (const auto& placement : std::as_const(ordered))
        result.append(placement.second);
    return result;
}
