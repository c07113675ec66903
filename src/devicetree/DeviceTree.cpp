#include "DeviceTree.h"

#include "DeviceFieldTable.h"
#include "DeviceNodeFactory.h"
#include "RowBlocks.h"
#include "InputLimits.h"
#include "ModuleLimits.h"
#include "ModuleLog.h"
#include "PayloadFields.h"
#include "TreeWalk.h"

#include <QSet>
#include <QStandardItem>

#include <algorithm>

namespace {

using PayloadFields::textOf;
using PayloadFields::isRecord;

using Model = StandardTopologyModel;

// The announced values that differ from the node's, so that an unchanged node
// is not reported as changed.
QMap<int, QVariant> changedValues(const QModelIndex& node, const QStandardItem& announced, const QList<int>& roles)
{
    QMap<int, QVariant> values;
    for (int role : roles) {
        const QVariant value = announced.data(role);
        if (node.data(role) != value)
            values.insert(role, value);
    }
    return values;
}

// The records of a list that carry an identifier under `key`, in list order;
// of several with one identifier only the last, which is what the list ends with.
QVariantList lastOfEachIdentifier(const QVariantList& records, const char* key)
{
    QSet<QString> seen;
    QVariantList kept;
    for (auto entry = records.crbegin(); entry != records.crend(); ++entry) {
        const QString id = textOf(entry->toMap(), key);
        if (!isRecord(*entry) || id.isEmpty() || seen.contains(id))
            continue;
        seen.insert(id);
        kept.prepend(*entry);
    }
    return kept;
}

// Whether nodes `levels` below the parent stay within the depth limit; a
// top-level node is at level 1.
bool hasRoomBelow(const QModelIndex& parent, int levels = 1)
{
    int level = levels;
    for (QModelIndex node = parent; node.isValid(); node = node.parent())
        ++level;
    return level <= ModuleLimits::kMaxTreeDepth;
}

// Whether `node` with everything below it can move under `parent` within the
// depth limit.
bool fitsBelow(const QModelIndex& node, const QModelIndex& parent)
{
    const auto* model = qobject_cast<const QStandardItemModel*>(node.model());
    return model && hasRoomBelow(parent, TreeWalk::heightOf(model->itemFromIndex(node)));
}

// Records left out for their depth take with them whatever later records of
// the same input hang below them.
void dropForDepth(const QVariantList& records, const char* idKey, bool report)
{
    int dropped = 0;
    for (const QVariant& entry : records) {
        const QString id = isRecord(entry) ? textOf(entry.toMap(), idKey) : QString();
        if (id.isEmpty())
            continue;
        InputLimits::rememberDroppedNode(id);
        ++dropped;
    }
    if (report)
        InputLimits::partsDropped(dropped);
}

} // namespace

DeviceTree::DeviceTree(QObject* parent)
    : QObject(parent)
    , m_model(this)
{
    const QHash<int, QByteArray> names = m_model.roleNames();
    m_roleNumbers.reserve(names.size());
    for (auto it = names.cbegin(); it != names.cend(); ++it)
        m_roleNumbers.insert(QString::fromLatin1(it.value()), it.key());
}

StandardTopologyModel* DeviceTree::getModel()
{
    return &m_model;
}

// ---------------------------------------------------------------- building

bool DeviceTree::insertLoginStation(const QString& name, const QString& ip)
{
    // The login station is named by the empty identifier until the server's
    // answers tell its own.
    const QVariantMap record{
        {QStringLiteral("nodeUID"), QString()},
        {QStringLiteral("nodeName"), name},
        {QStringLiteral("nodeType"), QStringLiteral("Station")},
        {QStringLiteral("nodeIP"), ip},
        {QStringLiteral("useSSL"), true},
    };
    std::unique_ptr<QStandardItem> station = DeviceNodeFactory::createStationNode(record, 0, QString());
    // A second answer (a new connection without a disconnection, or one nobody
    // asked for) describes the station that is already there, whatever its
    // identifier has become since.
    const QModelIndex known = m_model.index(0, 0);
    if (isStation(known)) {
        writeRoles(known, changedValues(known, *station, {Model::nameRole, Model::ipRole}));
        return false;
    }
    m_model.appendRow(station.release());
    return true;
}

bool DeviceTree::insertNewNodes(const QString& parentId, const QVariantList& nodeRecords)
{
    return insertNodes(parentId, nodeRecords, true);
}

bool DeviceTree::appendNewNodes(const QString& parentId, const QVariantList& nodeRecords)
{
    return insertNodes(parentId, nodeRecords, false);
}

bool DeviceTree::insertNodes(const QString& parentId, const QVariantList& nodeRecords, bool replaceChildren)
{
    const QModelIndex found = indexOf(parentId);
    if (!found.isValid() && InputLimits::isDroppedNode(parentId)) {
        dropForDepth(nodeRecords, "nodeUID", false);
        return false;
    }
    if (!found.isValid()) {
        TOPOLOGY_LOG_ERROR("%s, cannot find parent node %s", "DeviceTree::insertNewNodes", parentId);
        return false;
    }
    if (!hasRoomBelow(found)) {
        dropForDepth(nodeRecords, "nodeUID", true);
        return false;
    }
    // Persistent: taking a node out of another place may move the parent's row.
    const QPersistentModelIndex parent(found);
    const int level = parent.data(Model::levelRole).toInt() + 1;
    const QString parentNodeId = parent.data(Model::idRole).toString();

    QList<QStandardItem*> nodes;
    QList<QStandardItem*> elsewhere;
    for (const QVariant& entry : lastOfEachIdentifier(nodeRecords, "nodeUID")) {
        const QVariantMap record = entry.toMap();
        const QModelIndex known = indexOf(textOf(record, "nodeUID"));
        // The parent and the stations above it cannot become its children.
        if (TreeWalk::isAtOrAbove(known, parent))
            continue;
        // A node that sits elsewhere (or, for a later part, among the children
        // already there) comes here: its old row goes first, so that the tree
        // never holds it twice.
        if (known.isValid() && (!replaceChildren || !TreeWalk::isAtOrAbove(parent, known)))
            elsewhere.append(m_model.itemFromIndex(known));
        nodes.append(DeviceNodeFactory::createNode(record, level, parentNodeId).release());
    }
    // An empty answer must not wipe a station that was already known.
    if (nodes.isEmpty())
        return false;
    RowBlocks::removeItems(m_model, elsewhere);

    QStandardItem* parentItem = m_model.itemFromIndex(parent);
    if (replaceChildren && parentItem->rowCount() > 0)
        parentItem->removeRows(0, parentItem->rowCount());
    parentItem->appendRows(nodes);
    return true;
}

QStringList DeviceTree::insertNewStationNodes(const QVariantList& stationRecords)
{
    const DeviceFieldTable& fields = DeviceFieldTable::announcedStation();
    RowBlocks waiting(rowForPlacement());
    QStringList added;
    for (const QVariant& entry : stationRecords) {
        if (!isRecord(entry))
            continue;
        const QVariantMap inserted = entry.toMap();
        const QString id = textOf(inserted, "stationUID");
        const QString relayPath = textOf(inserted, "relayPath");
        // The empty identifier is the login station's until its own is known; a
        // node made without one would hide it from every look-up.
        if (id.isEmpty())
            continue;
        // A station announced below one announced just before needs it in the tree.
        if (waiting.isWaiting(id) || waiting.isWaiting(relayPath))
            waiting.flush();
        const QModelIndex parent = indexOf(relayPath);
        if (!parent.isValid()) {
            if (InputLimits::isDroppedNode(relayPath))
                dropForDepth({entry}, "stationUID", false);
            continue;
        }
        if (!hasRoomBelow(parent)) {
            dropForDepth({entry}, "stationUID", true);
            continue;
        }
        const int level = parent.data(Model::levelRole).toInt() + 1;
        if (placeNode(DeviceNodeFactory::createAnnouncedStation(inserted, level), parent, Position::Last,
                      fields.carriedRoles(inserted), waiting))
            added.append(id);
    }
    return added;
}

QStringList DeviceTree::insertNewCameraNodes(const QVariantList& cameraRecords)
{
    const DeviceFieldTable& fields = DeviceFieldTable::announcedCamera();
    RowBlocks waiting(rowForPlacement());
    QStringList added;
    for (const QVariant& entry : cameraRecords) {
        if (!isRecord(entry))
            continue;
        const QVariantMap inserted = entry.toMap();
        const QString id = textOf(inserted, "nodeUID");
        if (id.isEmpty())
            continue;
        if (waiting.isWaiting(id))
            waiting.flush();
        const QModelIndex parent = indexOf(textOf(inserted, "parentStationID"));
        if (!parent.isValid())
            continue;
        if (!hasRoomBelow(parent)) {
            InputLimits::partsDropped();
            continue;
        }
        const int level = parent.data(Model::levelRole).toInt() + 1;
        if (placeNode(DeviceNodeFactory::createAnnouncedCamera(inserted, level), parent, Position::BeforeSubstations,
                      fields.carriedRoles(inserted), waiting))
            added.append(id);
    }
    return added;
}

void DeviceTree::insertRemovedCameras(const QString& stationId, const QVariantList& removedCameras)
{
    const QPersistentModelIndex station(indexOf(stationId));
    if (!station.isValid() || removedCameras.isEmpty())
        return;
    const int stationLevel = station.data(Model::levelRole).toInt();
    const QPersistentModelIndex folder(indexOf(DeviceNodeFactory::removedCameraFolderId(stationId)));

    // A removed camera listed again is updated where it is; anything else
    // holding its identifier gives way to it.
    QList<QStandardItem*> cameras;
    QList<QStandardItem*> elsewhere;
    for (const QVariant& entry : lastOfEachIdentifier(removedCameras, "camID")) {
        const QVariantMap record = entry.toMap();
        std::unique_ptr<QStandardItem> camera =
            DeviceNodeFactory::createRemovedCameraNode(record, stationId, stationLevel);
        const QModelIndex known = indexOf(camera->data(Model::idRole).toString());
        if (known.isValid() && known.parent() == folder
            && known.data(Model::nodeTypeRole) == camera->data(Model::nodeTypeRole)) {
            writeRoles(known, changedValues(known, *camera, DeviceFieldTable::removedCamera().carriedRoles(record)));
            continue;
        }
        if (TreeWalk::isAtOrAbove(known, station))
            continue;
        if (known.isValid())
            elsewhere.append(m_model.itemFromIndex(known));
        cameras.append(camera.release());
    }
    if (cameras.isEmpty())
        return;
    RowBlocks::removeItems(m_model, elsewhere);
    // The cameras lie in a folder below the station.
    if (!hasRoomBelow(station, 2)) {
        InputLimits::partsDropped(int(cameras.size()));
        qDeleteAll(cameras);
        return;
    }

    if (folder.isValid()) {
        m_model.itemFromIndex(folder)->appendRows(cameras);
        return;
    }
    // A new folder goes in with its cameras as one block.
    std::unique_ptr<QStandardItem> newFolder = DeviceNodeFactory::createRemovedCameraFolder(stationId, stationLevel);
    newFolder->appendRows(cameras);
    m_model.itemFromIndex(station)->insertRow(firstStationNodeRow(station), newFolder.release());
}

// One node per identifier: an announced node that the tree already holds is
// changed in place, keeping its state and its subtree. When the announcement
// puts it under another parent, it moves there whole (views hear one removal
// and one insertion of that subtree); when it names a node of another kind,
// the announced node replaces it. A node cannot be placed under itself.
bool DeviceTree::placeNode(std::unique_ptr<QStandardItem> node, const QModelIndex& parentIndex, Position position,
                           const QList<int>& carried, RowBlocks& waiting)
{
    const QPersistentModelIndex parent(parentIndex);
    const QString id = node->data(Model::idRole).toString();
    const QModelIndex known = indexOf(id);
    if (known.isValid()) {
        if (TreeWalk::isAtOrAbove(known, parent))
            return false;
        if (known.data(Model::nodeTypeRole) == node->data(Model::nodeTypeRole) && known.parent() == parent) {
            writeRoles(known, changedValues(known, *node, carried));
            return false;
        }
        // Rows move below: the nodes waiting go in first, where they were meant to.
        waiting.flush();
        if (known.data(Model::nodeTypeRole) == node->data(Model::nodeTypeRole)) {
            if (!fitsBelow(known, parent))
                InputLimits::partsDropped();
            else
                moveNode(known, parent, position, *node, carried);
            return false;
        }
        m_model.removeRow(known.row(), known.parent());
    }
    waiting.add(m_model.itemFromIndex(parent), int(position), id, std::move(node));
    return true;
}

void DeviceTree::moveNode(const QModelIndex& node, const QPersistentModelIndex& newParent, Position position,
                          const QStandardItem& announced, const QList<int>& carried)
{
    QStandardItem* oldParent = node.parent().isValid() ? m_model.itemFromIndex(node.parent())
                                                       : m_model.invisibleRootItem();
    const int levelShift = announced.data(Model::levelRole).toInt() - node.data(Model::levelRole).toInt();
    QStandardItem* moved = oldParent->takeRow(node.row()).value(0);
    if (!moved)
        return;
    // Changed while out of the model, so the move is all that views hear.
    for (int role : carried)
        moved->setData(announced.data(role), role);
    moved->setData(announced.data(Model::parentStationIDRole), Model::parentStationIDRole);
    moved->setData(announced.data(Model::levelRole), Model::levelRole);
    TreeWalk::forEachItem(moved, 0, moved->rowCount() - 1, [levelShift](QStandardItem* below) {
        below->setData(below->data(Model::levelRole).toInt() + levelShift, Model::levelRole);
    });
    m_model.itemFromIndex(newParent)->insertRow(rowFor(newParent, position), moved);
}

int DeviceTree::rowFor(const QModelIndex& parent, Position position) const
{
    return position == Position::Last ? m_model.rowCount(parent) : firstStationNodeRow(parent);
}

RowBlocks::RowFor DeviceTree::rowForPlacement() const
{
    return [this](QStandardItem* parent, int placement) {
        return rowFor(m_model.indexFromItem(parent), Position(placement));
    };
}

// ------------------------------------------------------------ field access

bool DeviceTree::contains(const QString& id) const
{
    return indexOf(id).isValid();
}

QVariant DeviceTree::data(const QString& id, int role) const
{
    const QModelIndex index = indexOf(id);
    return index.isValid() ? m_model.data(index, role) : QVariant();
}

QVariant DeviceTree::data(const QString& id, const QString& roleName) const
{
    return data(id, roleOf(roleName));
}

QVariantMap DeviceTree::getAllValues(const QString& roleName) const
{
    const int role = roleOf(roleName);
    QVariantMap values;
    forEachNodeDepthFirst(QModelIndex(), [&](const QModelIndex& node) {
        values.insert(node.data(Model::idRole).toString(), m_model.data(node, role));
    });
    return values;
}

void DeviceTree::setData(const QString& id, int role, const QVariant& value)
{
    writeRoles(indexOf(id), {{role, value}});
}

void DeviceTree::setDataMap(const QString& id, const QVariantMap& valuesByRoleName)
{
    setItemData(id, valuesByRole(valuesByRoleName));
}

void DeviceTree::setDataList(const QString& id, const RoleValueList& valuesByRoleName)
{
    QMap<int, QVariant> values;
    for (const auto& [roleName, value] : valuesByRoleName)
        values.insert(roleOf(roleName), value);
    setItemData(id, values);
}

void DeviceTree::updateNodeName(const QString& id, const QString& name)
{
    setData(id, Model::nameRole, name);
}

void DeviceTree::clear()
{
    m_model.clear();
}

// -------------------------------------------------------- external devices

void DeviceTree::updateExternalDevice(const QVariantList& devices)
{
    const DeviceFieldTable& fields = DeviceFieldTable::externalDevice();
    RowBlocks waiting(rowForPlacement());
    for (const QVariant& entry : devices) {
        if (!isRecord(entry))
            continue;
        const QVariantMap device = entry.toMap();
        const QString deviceId = textOf(device, "NodeID");
        if (deviceId.isEmpty())
            continue;
        if (waiting.isWaiting(deviceId))
            waiting.flush();
        const QModelIndex known = indexOfCamera(deviceId);
        if (known.isValid()) {
            writeRoles(known, fields.updateValues(device));
            continue;
        }
        const QModelIndex station = indexOf(textOf(device, "RelayPath"));
        if (!station.isValid())
            continue;
        if (!hasRoomBelow(station)) {
            InputLimits::partsDropped();
            continue;
        }
        const int level = station.data(Model::levelRole).toInt() + 1;
        waiting.add(m_model.itemFromIndex(station), int(Position::BeforeSubstations), deviceId,
                    DeviceNodeFactory::createExternalDevice(device, level));
    }
}

// ----------------------------------------------------------------- removal

void DeviceTree::removeNodes(const QStringList& ids)
{
    QList<QStandardItem*> nodes;
    for (const QString& id : ids) {
        if (QStandardItem* node = m_model.itemFromIndex(indexOf(id)))
            nodes.append(node);
    }
    RowBlocks::removeItems(m_model, nodes);
}

void DeviceTree::removeExternalDevice(const QString& stationId, const QStringList& deviceIds)
{
    const QModelIndex station = indexOf(stationId);
    if (!station.isValid())
        return;
    QList<QStandardItem*> devices;
    for (const QString& deviceId : deviceIds) {
        const QModelIndex device = indexOf(deviceId);
        if (device.isValid() && device.parent() == station && isExternalDevice(device))
            devices.append(m_model.itemFromIndex(device));
    }
    RowBlocks::removeItems(m_model, devices);
}

void DeviceTree::removeRemovedCameras(const QString& stationId, const QStringList& cameraIds)
{
    const QModelIndex folder = indexOf(DeviceNodeFactory::removedCameraFolderId(stationId));
    if (!folder.isValid() || cameraIds.isEmpty())
        return;
    // Cameras inserted twice share an identifier, so the index cannot tell which
    // row to take: each listed identifier takes the first row still holding it.
    // One pass over the folder finds them all.
    const QSet<QString> wanted(cameraIds.cbegin(), cameraIds.cend());
    QHash<QString, QList<int>> rowsById;
    for (int row = 0; row < m_model.rowCount(folder); ++row) {
        const QString id = m_model.index(row, 0, folder).data(Model::idRole).toString();
        if (wanted.contains(id))
            rowsById[id].append(row);
    }
    QStandardItem* folderItem = m_model.itemFromIndex(folder);
    QList<QStandardItem*> cameras;
    for (const QString& id : cameraIds) {
        auto candidates = rowsById.find(id);
        if (candidates != rowsById.end() && !candidates->isEmpty())
            cameras.append(folderItem->child(candidates->takeFirst()));
    }
    RowBlocks::removeItems(m_model, cameras);
}

// ----------------------------------------------------------------- helpers

QModelIndex DeviceTree::indexOf(const QString& id) const
{
    return m_model.match(m_model.index(0, 0), Model::idRole, id, 1, Qt::MatchRecursive).value(0);
}

QModelIndex DeviceTree::indexOfCamera(const QString& id) const
{
    return id.isEmpty() ? QModelIndex() : indexOf(id);
}

int DeviceTree::roleOf(const QString& roleName) const
{
    return m_roleNumbers.value(roleName, 0);
}

QMap<int, QVariant> DeviceTree::valuesByRole(const QVariantMap& valuesByRoleName) const
{
    QMap<int, QVariant> values;
    for (auto it = valuesByRoleName.cbegin(); it != valuesByRoleName.cend(); ++it)
        values.insert(roleOf(it.key()), it.value());
    return values;
}

void DeviceTree::setItemData(const QString& id, const QMap<int, QVariant>& values)
{
    writeRoles(indexOf(id), values);
}

void DeviceTree::writeRoles(const QModelIndex& index, QMap<int, QVariant> values)
{
    if (!index.isValid())
        return;
    const auto cameraType = values.find(Model::camTypeRole);
    if (cameraType != values.end())
        *cameraType = Model::cameraTypeOf(*cameraType);
    // Taking an identifier that another node holds would hide one of the two
    // from every look-up; the node keeps its own.
    const auto id = values.constFind(Model::idRole);
    if (id != values.cend() && id->toString() != index.data(Model::idRole).toString()
        && indexOf(id->toString()).isValid()) {
        values.remove(Model::idRole);
        values.remove(Model::nodeIDRole);
    }
    // One dataChanged naming every role, so proxies re-check only what they filter on.
    if (!values.isEmpty())
        m_model.setItemData(index, values);
}

int DeviceTree::firstStationNodeRow(const QModelIndex& parent) const
{
    const int rows = m_model.rowCount(parent);
    for (int row = 0; row < rows; ++row) {
        if (isStation(m_model.index(row, 0, parent)))
            return row;
    }
    return rows;
}

bool DeviceTree::isStation(const QModelIndex& index) const
{
    return index.isValid() && index.data(Model::nodeTypeRole).toInt() == Model::StationNode;
}

bool DeviceTree::isCamera(const QModelIndex& index) const
{
    return index.isValid() && index.data(Model::nodeTypeRole).toInt() == Model::CameraNode && !isExternalDevice(index);
}

bool DeviceTree::isExternalDevice(const QModelIndex& index) const
{
    return index.data(Model::nodeTypeRole).toInt() == Model::CameraNode
        && index.data(Model::camTypeRole).toInt() == Model::CameraExternalDevice;
}

