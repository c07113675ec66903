#include "LogicalTree.h"

#include "TreeWalk.h"
#include "LogicalTreeNames.h"
#include "DeviceNodeFactory.h"
#include "InputLimits.h"
#include "LogicalTreeNodeBuilder.h"
#include "ModuleLimits.h"
#include "ModuleLog.h"
#include "PayloadFields.h"
#include "DeviceTreeNames.h"
#include "LocalDatabaseKeys.h"

#include <QSet>
#include <QStandardItem>
#include <QUuid>

#include <algorithm>
#include <deque>
#include <memory>
#include <utility>
#include <vector>

namespace {

using PayloadFields::textOf;
using PayloadFields::isRecord;

using Model = LogicalTreeModel;

const QString kDefaultRootName = QStringLiteral("Station");
const QString kRemovedCamerasFolderName = QStringLiteral("Removed Cameras");
const QString kLocalDbFolderName = QStringLiteral("Local DB");
const QString kIoDeviceFolderName = QStringLiteral("I/O Device");
const QString kStandaloneRootId = QStringLiteral("nodeIDForDefaultRoot");
const QString kStandaloneRootName = QStringLiteral("Default Root");
const QString kStandaloneRootCameraId = QStringLiteral("nodeUIDForDefaultRoot");
const QString kLocalDbMetaInfoKey = LocalDatabaseKeys::kMetaInfo;

int numberOf(const QVariantMap& record, const char* key, int fallback)
{
    bool ok = false;
    const int number = record.value(QLatin1String(key)).toInt(&ok);
    return ok ? number : fallback;
}

QStringList textListOf(const QVariant& value)
{
    const int type = value.typeId();
    if (type == QMetaType::QStringList || type == QMetaType::QVariantList)
        return PayloadFields::textList(value);
    return QStringList();
}

int levelOf(const QModelIndex& node)
{
    int level = 0;
    for (QModelIndex ancestor = node; ancestor.isValid(); ancestor = ancestor.parent())
        ++level;
    return level;
}

// Whether nodes `levels` below the parent stay within the depth limit; a
// top-level node is at level 1, and the invisible root at 0.
bool hasRoomBelow(const QModelIndex& parent, int levels = 1)
{
    return levelOf(parent) + levels <= ModuleLimits::kMaxTreeDepth;
}

// Whether `node` with its subtree can go under `parent` within the depth limit.
bool fitsBelow(const QModelIndex& node, const QModelIndex& parent)
{
    const auto* model = qobject_cast<const QStandardItemModel*>(node.model());
    return model && levelOf(parent) + TreeWalk::heightOf(model->itemFromIndex(node)) <= ModuleLimits::kMaxTreeDepth;
}

// DI/DO hang one level below their owner: an owner at the depth limit keeps none.
void keepDiDoWithinDepth(const QModelIndex& ownerParent, QStringList& diNames, QStringList& doNames)
{
    if (hasRoomBelow(ownerParent, 2))
        return;
    InputLimits::partsDropped(int(diNames.size() + doNames.size()));
    diNames.clear();
    doNames.clear();
}

// A device's ID within the tree: behind its station, or bare for the login station.
QString joinedId(const QString& stationId, const QString& id)
{
    return stationId.isEmpty() ? id : stationId + QLatin1Char('/') + id;
}

QString stationPartOf(const QString& cameraId)
{
    const qsizetype slash = cameraId.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QStringLiteral("") : cameraId.left(slash);
}

bool isIoDevice(int type)
{
    return type == Model::StationIoDevice || type == Model::ExternalDevice;
}

QStringList defaultDiDoNames(const QString& prefix, int count)
{
    QStringList names;
    for (int number = 1; number <= count; ++number)
        names.append(prefix + QString::number(number));
    return names;
}

LogicalTreeNodeBuilder specialFolder(const QString& id, const QString& name)
{
    LogicalTreeNodeBuilder folder;
    folder.setID(id).setNodeID(id).setName(name).setType(Model::Folder);
    return folder;
}

// Cameras arrive nameless and are named later from the device tree, so the name
// is the only sign of a server node's kind.
LogicalTreeNodeBuilder serverNode(const QVariantMap& node, const QString& stationId)
{
    const QString name = textOf(node, "name");
    const QString nodeUid = textOf(node, "nodeUID");
    LogicalTreeNodeBuilder builder;
    builder.setID(textOf(node, "treeNodeId"))
            .setNodeID(nodeUid)
            .setName(DeviceNodeFactory::cleanDisplayName(name))
            .setParentStationNodeID(stationId);
    if (!name.isEmpty())
        return builder.setType(Model::Folder).setJoystickKey(-1);
    const QString cameraId = joinedId(stationId, nodeUid);
    return builder.setType(Model::Camera)
            .setJoystickKey(numberOf(node, "joystickKey", -1))
            .setCameraNodeID(cameraId)
            .setParentStationNodeID(stationPartOf(cameraId));
}

// Breadth first through a queue rather than by recursion: a broken or hostile
// server may nest its folders thousands of levels deep. The subtree's top lies
// at `level`; children that would lie deeper than the limit are left out, with
// everything below them.
QStandardItem* buildServerSubtree(const QVariantMap& node, const QString& stationId, int level)
{
    std::unique_ptr<QStandardItem> top(serverNode(node, stationId).build());
    if (!top)
        return nullptr;
    struct Pending
    {
        QStandardItem* parent;
        QVariantList children;
        int childLevel;
    };
    std::deque<Pending> pending;
    pending.push_back({top.get(), PayloadFields::listOf(node, "children"), level + 1});
    while (!pending.empty()) {
        const Pending next = std::move(pending.front());
        pending.pop_front();
        for (const QVariant& child : next.children) {
            if (!isRecord(child))
                continue;
            if (next.childLevel > ModuleLimits::kMaxTreeDepth) {
                InputLimits::partsDropped();
                continue;
            }
            const QVariantMap childNode = child.toMap();
            QStandardItem* item = serverNode(childNode, stationId).build();
            if (!item)
                continue;
            next.parent->appendRow(item);
            pending.push_back({item, PayloadFields::listOf(childNode, "children"), next.childLevel + 1});
        }
    }
    return top.release();
}

// DI and DO share one running number in their IDs, while each kind counts its
// own index from 0.
QList<QStandardItem*> buildDiDoChildren(const QString& ownerId, const QStringList& diNames,
                                        const QStringList& doNames)
{
    QList<QStandardItem*> children;
    const auto append = [&](int type, const QString& name, int number, int index) {
        const QString id = ownerId + QLatin1Char('_') + QString::number(number);
        LogicalTreeNodeBuilder builder;
        builder.setID(id).setCameraNodeID(id).setType(type).setName(name).setDIDOValue(0).setDIDOIndex(index);
        if (QStandardItem* child = builder.build())
            children.append(child);
    };
    for (int i = 0; i < diNames.size(); ++i)
        append(Model::DigitalInput, diNames.at(i), i, i);
    for (int j = 0; j < doNames.size(); ++j)
        append(Model::DigitalOutput, doNames.at(j), int(diNames.size()) + j, j);
    return children;
}

} // namespace

const QString LogicalTree::kRemovedCamerasFolderId = DeviceTreeNames::kRemovedCamerasFolder;
const QString LogicalTree::kLocalDbFolderId = LogicalTreeNames::kLocalDbFolder;
const QString LogicalTree::kIoDeviceFolderId = LogicalTreeNames::kIoDeviceFolder;

LogicalTree::LogicalTree(QObject* parent)
    : QObject(parent), m_idIndex(&m_model, Model::idRole)
{
}

LogicalTreeModel* LogicalTree::getModel()
{
    return &m_model;
}

void LogicalTree::clear()
{
    m_model.clear();
}

void LogicalTree::createDefaultNodes()
{
    // A connection reported twice keeps the folders of the first report.
    if (nodeById(kRemovedCamerasFolderId).isValid() && nodeById(kLocalDbFolderId).isValid()
        && nodeById(kIoDeviceFolderId).isValid())
        return;
    LogicalTreeNodeBuilder root;
    root.setName(kDefaultRootName).setType(Model::Folder);
    std::unique_ptr<QStandardItem> rootItem(root.build());
    if (!rootItem)
        return;
    for (const auto& [id, name] : {std::pair{kRemovedCamerasFolderId, kRemovedCamerasFolderName},
                                   std::pair{kLocalDbFolderId, kLocalDbFolderName},
                                   std::pair{kIoDeviceFolderId, kIoDeviceFolderName}}) {
        if (QStandardItem* folder = specialFolder(id, name).build())
            rootItem->appendRow(folder);
    }
    m_model.appendRow(rootItem.release());
}

void LogicalTree::createDefaultNodesForStandalonePlayer()
{
    m_model.clear();
    LogicalTreeNodeBuilder root;
    root.setID(kStandaloneRootId).setName(kStandaloneRootName).setCameraNodeID(kStandaloneRootCameraId)
            .setType(Model::Folder);
    std::unique_ptr<QStandardItem> rootItem(root.build());
    if (!rootItem)
        return;
    if (QStandardItem* folder = specialFolder(kLocalDbFolderId, kLocalDbFolderName).build())
        rootItem->appendRow(folder);
    m_model.appendRow(rootItem.release());
}

void LogicalTree::set(const QVariantMap& tree, const QString& stationId)
{
    const LogicalTreeNodeBuilder rootFields = serverNode(tree, stationId);
    QModelIndex root = m_model.index(0, 0);
    if (root.isValid()) {
        m_model.setItemData(root, rootFields.roleValues());
    } else {
        QStandardItem* rootItem = rootFields.build();
        if (!rootItem)
            return;
        m_model.appendRow(rootItem);
        root = m_model.index(0, 0);
    }
    QList<QStandardItem*> children;
    const QVariantList childRecords = PayloadFields::listOf(tree, "children");
    for (const QVariant& child : childRecords) {
        if (!isRecord(child))
            continue;
        if (QStandardItem* item = buildServerSubtree(child.toMap(), stationId, levelOf(root) + 1))
            children.append(item);
    }
    appendChildren(root, children);
}

bool LogicalTree::insertFolder(const QVariantMap& folder)
{
    const QModelIndex parent = nodeById(textOf(folder, "parentFolderUid"));
    if (!parent.isValid())
        return false;
    if (!hasRoomBelow(parent)) {
        InputLimits::editRefused();
        return false;
    }
    LogicalTreeNodeBuilder builder;
    builder.setID(textOf(folder, "newFolderId"))
            .setName(textOf(folder, "newFolderName"))
            .setNodeID(textOf(folder, "nodeId"))
            .setType(Model::Folder);
    QStandardItem* item = builder.build();
    if (!item)
        return false;
    appendChildren(parent, {item});
    return true;
}

void LogicalTree::insertCameraNodes(const QVariantList& cameras)
{
    for (const QVariant& entry : cameras) {
        if (!isRecord(entry))
            continue;
        const QVariantMap camera = entry.toMap();
        const QModelIndex parent = nodeById(textOf(camera, "parentNodeId"));
        if (!parent.isValid())
            continue;
        if (!hasRoomBelow(parent)) {
            InputLimits::partsDropped();
            continue;
        }
        const QString cameraId = textOf(camera, "camNodeUid");
        LogicalTreeNodeBuilder builder;
        builder.setID(textOf(camera, "uid"))
                .setType(Model::Camera)
                .setCameraNodeID(cameraId)
                .setNodeID(cameraId)
                .setParentStationNodeID(textOf(camera, "parentStationId"))
                .setJoystickKey(numberOf(camera, "joystickKey", -1));
        QStandardItem* item = builder.build();
        if (!item)
            continue;
        QStringList diNames = defaultDiDoNames(QStringLiteral("DI-"), numberOf(camera, "diNum", 0));
        QStringList doNames = defaultDiDoNames(QStringLiteral("DO-"), numberOf(camera, "doNum", 0));
        keepDiDoWithinDepth(parent, diNames, doNames);
        replaceDiDoChildren(item, cameraId, diNames, doNames);
        appendChildren(parent, {item});
    }
}

void LogicalTree::insertCameraDiDoNodes(const std::vector<QVariantMap>& devices)
{
    for (const QVariantMap& device : devices) {
        const QString cameraId = textOf(device, "idRole");
        const QStringList diNames = defaultDiDoNames(QStringLiteral("DI-"), numberOf(device, "diCountRole", 0));
        const QStringList doNames = defaultDiDoNames(QStringLiteral("DO-"), numberOf(device, "doCountRole", 0));
        for (const QPersistentModelIndex& owner : nodesOfCamera(cameraId)) {
            if (!owner.isValid())
                continue;
            QStringList ownerDiNames = diNames;
            QStringList ownerDoNames = doNames;
            keepDiDoWithinDepth(owner.parent(), ownerDiNames, ownerDoNames);
            replaceDiDoChildren(m_model.itemFromIndex(owner), cameraId, ownerDiNames, ownerDoNames);
        }
    }
}

void LogicalTree::insertIoDevices(const QVariantList& devices, LogicalTreeModel::LogicalTreeTypes type)
{
    for (const QVariant& entry : devices) {
        if (!isRecord(entry))
            continue;
        const QVariantMap device = entry.toMap();
        const QString deviceId = textOf(device, "NodeID");
        if (deviceId.isEmpty())
            continue;
        // The node information of a sub-station may be handled before its
        // parent's: a device whose parent is not in the tree yet waits in the I/O
        // folder, and its parent takes it in when it arrives.
        const QString relayPath = textOf(device, "RelayPath");
        QModelIndex parent = nodeById(relayPath);
        if (!parent.isValid())
            parent = nodeById(kIoDeviceFolderId);
        if (!parent.isValid())
            continue;
        LogicalTreeNodeBuilder builder;
        builder.setID(deviceId)
                .setCameraNodeID(deviceId)
                .setType(type)
                .setName(DeviceNodeFactory::cleanDisplayName(textOf(device, "RefName")))
                .setParentStationNodeID(relayPath);
        QStringList diNames = textListOf(device.value(QStringLiteral("DINameList")));
        QStringList doNames = textListOf(device.value(QStringLiteral("DONameList")));

        // A device announced again is updated where it is, so that the devices
        // nested under it stay.
        const QModelIndex known = ioDeviceNode(deviceId);
        if (known.isValid()) {
            keepDiDoWithinDepth(known.parent(), diNames, doNames);
            updateIoDevice(known, builder, parent, diNames, doNames);
        } else if (!hasRoomBelow(parent)) {
            InputLimits::partsDropped();
            continue;
        } else if (QStandardItem* item = builder.build()) {
            keepDiDoWithinDepth(parent, diNames, doNames);
            replaceDiDoChildren(item, deviceId, diNames, doNames);
            appendChildren(parent, {item});
        }
        adoptWaitingIoDevices(deviceId);
    }
}

void LogicalTree::insertRemovedCameras(const QString& stationId, const QVariantList& cameras)
{
    const QModelIndex folder = nodeById(kRemovedCamerasFolderId);
    if (!folder.isValid()) {
        TOPOLOGY_LOG_ERROR("%s, cannot find removed camera folder in logical tree", "LogicalTree::insertRemovedCameras");
        return;
    }
    if (!hasRoomBelow(folder)) {
        InputLimits::partsDropped(int(cameras.size()));
        return;
    }
    QList<QStandardItem*> items;
    for (const QVariant& entry : cameras) {
        if (!isRecord(entry))
            continue;
        const QVariantMap camera = entry.toMap();
        const QString cameraId = joinedId(stationId, textOf(camera, "camID"));
        LogicalTreeNodeBuilder builder;
        builder.setID(kRemovedCamerasFolderId + QLatin1Char('/') + cameraId)
                .setType(Model::Camera)
                .setCameraNodeID(cameraId)
                .setName(DeviceNodeFactory::cleanDisplayName(textOf(camera, "camName")))
                .setParentStationNodeID(stationId);
        if (QStandardItem* item = builder.build())
            items.append(item);
    }
    appendChildren(folder, items);
}

void LogicalTree::insertNewLocalDB(const QVariantMap& localDb, const QString& name)
{
    const QModelIndex localDbFolder = nodeById(kLocalDbFolderId);
    if (!localDbFolder.isValid())
        return;
    // The database's folder, and its cameras below it.
    if (!hasRoomBelow(localDbFolder, 2)) {
        InputLimits::partsDropped();
        return;
    }
    LogicalTreeNodeBuilder folderBuilder;
    folderBuilder.setID(QUuid::createUuid().toString()).setName(name).setType(Model::Folder);
    std::unique_ptr<QStandardItem> folder(folderBuilder.build());
    if (!folder)
        return;
    for (auto entry = localDb.cbegin(); entry != localDb.cend(); ++entry) {
        if (entry.key() == kLocalDbMetaInfoKey || !isRecord(entry.value()))
            continue;
        const QVariantMap camera = entry.value().toMap();
        const QString recordingPath = textOf(camera, "recPath");
        const QString id = recordingPath.isEmpty() ? entry.key() : recordingPath + QLatin1Char('/') + entry.key();
        LogicalTreeNodeBuilder builder;
        builder.setID(id)
                .setCameraNodeID(id)
                .setType(Model::LocalDBCamera)
                .setName(DeviceNodeFactory::cleanDisplayName(textOf(camera, "camName")));
        if (QStandardItem* item = builder.build())
            folder->appendRow(item);
    }
    appendChildren(localDbFolder, {folder.release()});
}

void LogicalTree::removeAllLocalDB()
{
    const QModelIndex folder = nodeById(kLocalDbFolderId);
    if (folder.isValid() && m_model.rowCount(folder) > 0)
        m_model.removeRows(0, m_model.rowCount(folder), folder);
}

bool LogicalTree::hasLocalDBNodes() const
{
    const QModelIndex folder = nodeById(kLocalDbFolderId);
    return folder.isValid() && m_model.rowCount(folder) > 0;
}

bool LogicalTree::isValidMove(const QString& sourceId, const QString& destinationId) const
{
    if (sourceId == destinationId)
        return false;
    const QModelIndex source = nodeById(sourceId);
    const QModelIndex destination = nodeById(destinationId);
    if (!source.isValid() || !destination.isValid())
        return false;
    for (QModelIndex ancestor = destination.parent(); ancestor.isValid(); ancestor = ancestor.parent()) {
        if (ancestor == source)
            return false;
    }
    return true;
}

bool LogicalTree::fitsWithinDepth(const QString& sourceId, const QString& destinationId) const
{
    const QModelIndex source = nodeById(sourceId);
    const QModelIndex destination = nodeById(destinationId);
    return !source.isValid() || !destination.isValid()
        || levelOf(destination) + TreeWalk::heightOf(m_model.itemFromIndex(source)) <= ModuleLimits::kMaxTreeDepth;
}

bool LogicalTree::hasRoomForFolder(const QString& parentId) const
{
    const QModelIndex parent = nodeById(parentId);
    return !parent.isValid() || hasRoomBelow(parent);
}

void LogicalTree::moveNodes(const QStringList& sourceIds, const QString& destinationId)
{
    for (const QString& sourceId : sourceIds) {
        if (!isValidMove(sourceId, destinationId)) {
            TOPOLOGY_LOG_ERROR("%s, Invalid move: source:%s, destination:%s", "LogicalTree::moveNodes", sourceId,
                               destinationId);
            continue;
        }
        const QModelIndex source = nodeById(sourceId);
        if (!fitsWithinDepth(sourceId, destinationId)) {
            InputLimits::editRefused();
            continue;
        }
        QStandardItem* sourceParent = itemOrRoot(source.parent());
        const int sourceRow = source.row();
        // Taking the source out shifts the rows after it; the persistent index
        // follows the destination wherever it ends up.
        const QPersistentModelIndex destination(nodeById(destinationId));
        const QList<QStandardItem*> row = sourceParent->takeRow(sourceRow);
        if (QStandardItem* destinationItem = m_model.itemFromIndex(destination))
            destinationItem->appendRow(row);
        else
            sourceParent->insertRow(sourceRow, row);
    }
}

LogicalTree::RemovingNodes LogicalTree::nodesToBeRemoved(const QStringList& ids) const
{
    const QSet<QString> selected(ids.cbegin(), ids.cend());
    RemovingNodes result;
    for (const QString& id : ids) {
        const QModelIndex node = nodeById(id);
        if (!node.isValid())
            continue;
        const int type = typeOf(node);
        if (type == Model::Camera) {
            // Removing a selected folder takes its cameras with it.
            const QString parentId = idOf(node.parent());
            if (!parentId.isEmpty() && selected.contains(parentId))
                continue;
            result.cameraNodes.append(id);
        } else if (type == Model::Folder) {
            result.folderNodes.append(id);
        }
    }
    return result;
}

void LogicalTree::removeNodes(const QStringList& ids)
{
    for (const QString& id : ids)
        removeNode(nodeById(id));
}

void LogicalTree::removeNodes(const QVariantList& records)
{
    for (const QVariant& record : records) {
        if (isRecord(record))
            removeNode(nodeById(textOf(record.toMap(), "uid")));
    }
}

void LogicalTree::removeFolderAndKeepChildren(const QStringList& folderIds)
{
    for (const QString& folderId : folderIds) {
        const QModelIndex folder = nodeById(folderId);
        if (!folder.isValid())
            continue;
        const QString parentId = idOf(folder.parent());
        if (parentId.isEmpty())
            continue;
        QStringList childIds;
        for (int row = 0; row < m_model.rowCount(folder); ++row)
            childIds.append(idOf(m_model.index(row, 0, folder)));
        const QPersistentModelIndex folderToRemove(folder);
        moveNodes(childIds, parentId);
        removeNode(folderToRemove);
    }
}

void LogicalTree::removeIoDevices(const QString& cameraIdPrefix)
{
    const QModelIndex folder = nodeById(kIoDeviceFolderId);
    if (!folder.isValid())
        return;
    // "S_1" holds "S_1" and "S_1/..." but not "S_10/..."; the empty prefix holds everything.
    const QString below = cameraIdPrefix + QLatin1Char('/');
    const auto matches = [&](int row) {
        const QString cameraId = m_model.index(row, 0, folder).data(Model::cameraNodeIDRole).toString();
        return cameraIdPrefix.isEmpty() || cameraId == cameraIdPrefix || cameraId.startsWith(below);
    };
    for (int last = m_model.rowCount(folder) - 1; last >= 0; --last) {
        if (!matches(last))
            continue;
        int first = last;
        while (first > 0 && matches(first - 1))
            --first;
        m_model.removeRows(first, last - first + 1, folder);
        last = first;
    }
}

void LogicalTree::removeIoDevices(const QString& stationId, const QStringList& nodeIds)
{
    for (const QString& nodeId : nodeIds)
        removeNode(nodeById(joinedId(stationId, nodeId)));
}

void LogicalTree::renameNode(const QString& id, const QString& name)
{
    setDataOfNode(nodeById(id), name, Model::nameRole);
}

void LogicalTree::setSettingStatus(const QString& id, int status)
{
    setDataOfNode(nodeById(id), status, Model::settingStatusRole);
}

void LogicalTree::setSettingStatusOfCamera(const QString& cameraId, int status)
{
    for (const QPersistentModelIndex& node : nodesOfCamera(cameraId))
        setDataOfNode(node, status, Model::settingStatusRole);
}

void LogicalTree::updateDiDoValues(const QVariantMap& event)
{
    const int kind = textOf(event, "EventType") == QLatin1String("DI") ? Model::DigitalInput : Model::DigitalOutput;
    const int level = textOf(event, "Value") == QLatin1String("Rising") ? 1 : 0;
    setDiDoChildData(textOf(event, "NodeId"), kind, numberOf(event, "Index", 0) - 1, level, Model::diDoValueRole);
}

void LogicalTree::updateDiDoNames(const std::vector<QVariantMap>& changes)
{
    for (const QVariantMap& change : changes) {
        const QString cameraId = textOf(change, "nodeID");
        for (const auto& [listKey, kind] : {std::pair{"diChangeList", int(Model::DigitalInput)},
                                            std::pair{"doChangeList", int(Model::DigitalOutput)}}) {
            const QVariantList renames = PayloadFields::list(change.value(QLatin1String(listKey)));
            for (const QVariant& entry : renames) {
                if (!isRecord(entry))
                    continue;
                const QVariantMap rename = entry.toMap();
                setDiDoChildData(cameraId, kind, numberOf(rename, "Idx", 0) - 1,
                                 DeviceNodeFactory::cleanDisplayName(textOf(rename, "RefName")), Model::nameRole);
            }
        }
    }
}

QVariant LogicalTree::data(const QString& id, int role) const
{
    const QModelIndex node = nodeById(id);
    return node.isValid() ? m_model.data(node, role) : QVariant();
}

bool LogicalTree::existed(const QString& cameraId) const
{
    return !nodesOfCamera(cameraId).isEmpty();
}

QModelIndex LogicalTree::nodeById(const QString& id) const
{
    if (id.isEmpty())
        return QModelIndex();
    return m_idIndex.first(id);
}

QList<QPersistentModelIndex> LogicalTree::nodesOfCamera(const QString& cameraId) const
{
    QList<QPersistentModelIndex> nodes;
    if (cameraId.isEmpty())
        return nodes;
    // Persistent, because the callers change the tree between one node and the next.
    const QModelIndexList found = m_model.match(QModelIndex(), Model::cameraNodeIDRole, cameraId);
    nodes.reserve(found.size());
    for (const QModelIndex& node : found)
        nodes.append(QPersistentModelIndex(node));
    return nodes;
}

QStandardItem* LogicalTree::itemOrRoot(const QModelIndex& index) const
{
    return index.isValid() ? m_model.itemFromIndex(index) : m_model.invisibleRootItem();
}

QString LogicalTree::idOf(const QModelIndex& node) const
{
    return node.isValid() ? m_model.data(node, Model::idRole).toString() : QString();
}

int LogicalTree::typeOf(const QModelIndex& node) const
{
    return m_model.data(node, Model::typeRole).toInt();
}

void LogicalTree::appendChildren(const QModelIndex& parent, const QList<QStandardItem*>& children)
{
    appendRows(itemOrRoot(parent), children);
}

void LogicalTree::appendRows(QStandardItem* parent, const QList<QStandardItem*>& rows)
{
    if (parent)
        insertRows(parent, parent->rowCount(), rows);
}

void LogicalTree::insertRows(QStandardItem* parent, int row, const QList<QStandardItem*>& rows)
{
    if (!parent || rows.isEmpty())
        return;
    // Inserting a list of rows hands the model to the rows themselves but not to
    // their descendants, which would then be invisible to the model; a row with a
    // subtree goes in on its own, which takes its whole subtree along.
    const bool allLeaves =
            std::none_of(rows.cbegin(), rows.cend(), [](const QStandardItem* item) { return item->hasChildren(); });
    if (!allLeaves) {
        for (QStandardItem* item : rows)
            parent->insertRow(row++, item);
        return;
    }
    // A list inserted into a node without columns would announce its first column
    // in the middle of announcing the rows; the column comes first on its own.
    if (parent->columnCount() == 0)
        parent->setColumnCount(1);
    parent->insertRows(row, rows);
}

QModelIndex LogicalTree::ioDeviceNode(const QString& deviceId) const
{
    for (const QPersistentModelIndex& node : nodesOfCamera(deviceId)) {
        if (isIoDevice(typeOf(node)))
            return node;
    }
    return QModelIndex();
}

void LogicalTree::updateIoDevice(const QModelIndex& device, const LogicalTreeNodeBuilder& announced,
                                 const QModelIndex& parent, const QStringList& diNames, const QStringList& doNames)
{
    QPersistentModelIndex node(device);
    // A device cannot go under itself or under a device nested in it.
    if (node.parent() != parent && !TreeWalk::isAtOrAbove(node, parent) && fitsBelow(node, parent))
        node = moveUnder(node, parent);
    QMap<int, QVariant> changed;
    const QMap<int, QVariant> values = announced.roleValues();
    for (int role : {int(Model::typeRole), int(Model::nameRole), int(Model::parentStationIDRole)}) {
        if (m_model.data(node, role) != values.value(role))
            changed.insert(role, values.value(role));
    }
    if (!changed.isEmpty())
        m_model.setItemData(node, changed);
    replaceDiDoRows(node, idOf(node), diNames, doNames);
}

void LogicalTree::adoptWaitingIoDevices(const QString& deviceId)
{
    const QModelIndex folder = nodeById(kIoDeviceFolderId);
    const QPersistentModelIndex device(ioDeviceNode(deviceId));
    if (!folder.isValid() || !device.isValid())
        return;
    QList<QPersistentModelIndex> waiting;
    for (int row = 0; row < m_model.rowCount(folder); ++row) {
        const QModelIndex child = m_model.index(row, 0, folder);
        if (isIoDevice(typeOf(child)) && m_model.data(child, Model::parentStationIDRole).toString() == deviceId)
            waiting.append(child);
    }
    for (const QPersistentModelIndex& child : waiting) {
        if (!TreeWalk::isAtOrAbove(child, device) && fitsBelow(child, device))
            moveUnder(child, device);
    }
}

QPersistentModelIndex LogicalTree::moveUnder(const QPersistentModelIndex& node, const QModelIndex& parent)
{
    // Taken out and appended with its subtree: one removal and one insertion.
    const QPersistentModelIndex destination(parent);
    QStandardItem* item = itemOrRoot(node.parent())->takeRow(node.row()).value(0);
    if (!item)
        return QPersistentModelIndex();
    itemOrRoot(destination)->appendRow(item);
    return QPersistentModelIndex(item->index());
}

void LogicalTree::replaceDiDoRows(const QModelIndex& owner, const QString& ownerId, const QStringList& diNames,
                                  const QStringList& doNames)
{
    // Only the owner's own DI/DO: a station's I/O device also holds the devices
    // behind it. Unchanged ports keep their rows and their levels.
    QStringList currentDi;
    QStringList currentDo;
    QList<int> rows;
    for (int row = 0; row < m_model.rowCount(owner); ++row) {
        const QModelIndex child = m_model.index(row, 0, owner);
        const int type = typeOf(child);
        if (type != Model::DigitalInput && type != Model::DigitalOutput)
            continue;
        (type == Model::DigitalInput ? currentDi : currentDo).append(m_model.data(child, Model::nameRole).toString());
        rows.append(row);
    }
    if (currentDi == diNames && currentDo == doNames)
        return;
    for (int i = int(rows.size()) - 1; i >= 0;) {
        int first = rows.at(i);
        int count = 1;
        while (i - count >= 0 && rows.at(i - count) == first - 1) {
            --first;
            ++count;
        }
        m_model.removeRows(first, count, owner);
        i -= count;
    }
    insertRows(m_model.itemFromIndex(owner), 0, buildDiDoChildren(ownerId, diNames, doNames));
}

void LogicalTree::removeNode(const QModelIndex& node)
{
    if (node.isValid())
        m_model.removeRow(node.row(), node.parent());
}

void LogicalTree::replaceDiDoChildren(QStandardItem* owner, const QString& ownerId, const QStringList& diNames,
                                      const QStringList& doNames)
{
    if (!owner)
        return;
    if (owner->rowCount() > 0)
        owner->removeRows(0, owner->rowCount());
    appendRows(owner, buildDiDoChildren(ownerId, diNames, doNames));
}

void LogicalTree::setDiDoChildData(const QString& cameraId, int kind, int diDoIndex, const QVariant& value, int role)
{
    if (diDoIndex < 0)
        return;
    // DI/DO are found through their owner: their own camera IDs are the owner's
    // with a running number that mixes DI and DO.
    for (const QPersistentModelIndex& owner : nodesOfCamera(cameraId)) {
        for (int row = 0; row < m_model.rowCount(owner); ++row) {
            const QModelIndex child = m_model.index(row, 0, owner);
            if (typeOf(child) == kind && m_model.data(child, Model::diDoIndexRole).toInt() == diDoIndex)
                setDataOfNode(child, value, role);
        }
    }
}

void LogicalTree::setDataOfNode(const QModelIndex& node, const QVariant& value, int role)
{
    if (node.isValid())
        m_model.setData(node, value, role);
}
