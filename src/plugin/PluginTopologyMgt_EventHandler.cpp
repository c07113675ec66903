#include "PluginTopologyMgt.h"

#include "DeviceNodeFactory.h"
#include "ModuleLog.h"
#include "NodeSubtree.h"
#include "PayloadFields.h"

#include <QSet>

// One row per broadcast name: exact and case-sensitive, some of them misspelt
// or lower-case, as the servers send them. Every handler takes the event's
// payload only.
const QHash<QString, const PluginTopologyMgt::BroadcastRoute*>& PluginTopologyMgt::broadcastRoutes()
{
    using Self = PluginTopologyMgt;
    static const BroadcastRoute routes[] = {
        {"NotifyStationStatus", &Self::HandleBroadcastStationStatus, nullptr},
        {"NotifyWifiStatusChange", &Self::HandleWifiStatus, nullptr},
        {"NotifyCameraStatus", &Self::HandleNotifyCamStatusChanged,
         "PluginTopologyMgt::HandleNotifyCamStatusChanged, HandleNotifyCamStatusChanged : notify is null"},
        {"NotifyNodeRemove", &Self::HandleBroadcastNodeRemoved,
         "PluginTopologyMgt::HandleBroadcastNodeRemoved, HandleBroadcastNodeRemoved : notify is null"},
        {"NotifyCamInsert", &Self::HandleBroadcastCamInsert,
         "PluginTopologyMgt::HandleBroadcastCamInsert, HanldeBroadcastCamInsert : notify is null"},
        {"NotifyStationInsert", &Self::HandleBroadcastStationInsert,
         "PluginTopologyMgt::HandleBroadcastStationInsert, HanldeBroadcastStationInsert : notify is null"},
        {"NotifyStationChange", &Self::HandleBroadcastStationChange,
         "PluginTopologyMgt::HandleBroadcastStationChange, HandleBroadcastStationChange : notify is null"},
        {"NotifyStationInfoChange", &Self::HandleBroadcastStationInfoChange,
         "PluginTopologyMgt::HandleBroadcastStationInfoChange, HandleBroadcastStationInfoChange : notify is null"},
        {"NotifyCameraChange", &Self::HandleBroadcastCamChange,
         "PluginTopologyMgt::HandleBroadcastCamChange, HandleBroadcastCamChange : notify is null"},
        {"NotifyLocationRemove", &Self::HandleBroadcastLocRemoved,
         "PluginTopologyMgt::HandleBroadcastLocRemoved, HandleBroadcastLocRemoved : notify is null"},
        {"NotifyChannelAdd", &Self::HandleBroadcastChnlAdded,
         "PluginTopologyMgt::HandleBroadcastChnlAdded, HandleBroadcastChnlAdded : notify is null"},
        {"NotifyChannelRemove", &Self::HandleBroadcastChnlRemoved,
         "PluginTopologyMgt::HandleBroadcastChnlRemoved, HandleBroadcastChnlRemoved : notify is null"},
        {"NotifyLocationChange", &Self::HandleBroadcastLocationChange, nullptr},
        {"NotifySrvPortChange", &Self::HandleBroadcastSrvPortChange,
         "PluginTopologyMgt::HandleBroadcastSrvPortChange, notify is null"},
        {"NotifyRelayInfoChange", &Self::HandleBroadcastRelayInfoChange,
         "PluginTopologyMgt::HandleBroadcastRelayInfoChange, notify is null"},
        {"NotifyDIDORefNameChange", &Self::HandleBroadcastDIDORefNameChange, nullptr},
        {"NotifyExternalDeviceRemove", &Self::HandleBroadcastExtDevRemove, nullptr},
        {"NotifyCameraEvent", &Self::handleNotifyEvent, nullptr},
        {"NotifyExternalIODeviceStatus", &Self::handleNotifyEvent, nullptr},
        {"NotifyStationDIDOStatus", &Self::handleNotifyEvent, nullptr},
        {"NotifyCameraSettingsChanged", &Self::handleNotifyEvent, nullptr},
        {"NotifyStationMulticastChange", &Self::HandleBroadcastMulticastInfoChanged, nullptr},
        {"notifySKYRCloudDeviceConnectionTimeout", &Self::HandleBroadcastSKYRCloudDeviceConnectionTimeout, nullptr},
        {"notifySKYRCloudDeviceReconnected", &Self::HandleBroadcastSKYRCloudDeviceReconnected, nullptr},
        {"NotifyCamInsertLogical", &Self::HandleBroadcastCamInsertLogical,
         "PluginTopologyMgt::HandleBroadcastCamInsertLogical, notify is null"},
        {"NotifyCamRemoveLogical", &Self::HandleBroadcastCamDeleteLogical, nullptr},
        {"notifyLogicalTreeNodeMoved", &Self::HandleBroadcastMoveLogicalTreeNode,
         "PluginTopologyMgt::HandleBroadcastMoveLogicalTreeNode, notify is null"},
        {"NotifyFolderCreatedLogical", &Self::HandleBroadcastInsertLogicalFolder, nullptr},
        {"nofifyRenameLogicalTreeFolder", &Self::HandleBroadcastRenameLogicalTreeNode, nullptr},
        {"notifyRemoveLogicalTreeFolder", &Self::HandleBroadcastRemoveLogicalTreeFolder,
         "PluginTopologyMgt::HandleBroadcastRemoveLogicalTreeFolder, notify is null"},
        {"FailoverStatusChange", &Self::HandleBroadcastFailoverStatusChanged, nullptr},
        {"NotifyWebPageChanged", &Self::HandleBroadcastWebPageChanged, nullptr},
    };
    static const QHash<QString, const BroadcastRoute*> byName = [] {
        QHash<QString, const BroadcastRoute*> index;
        for (const BroadcastRoute& route : routes)
            index.insert(QString::fromLatin1(route.name), &route);
        return index;
    }();
    return byName;
}

// ---- Logical tree broadcasts -----------------------------------------------

void PluginTopologyMgt::HandleBroadcastCamInsertLogical(const QVariant& notify)
{
    m_logicalTreeFeeder.insertCameras(PayloadFields::list(notify));
}

void PluginTopologyMgt::HandleBroadcastCamDeleteLogical(const QVariant& notify)
{
    m_logicalTree.removeNodes(PayloadFields::list(notify));
}

void PluginTopologyMgt::HandleBroadcastMoveLogicalTreeNode(const QVariant& notify)
{
    const QVariantMap move = notify.toMap();
    m_logicalTree.moveNodes(PayloadFields::textListOf(move, "moveSourceIDList"),
                            PayloadFields::textOf(move, "moveDestinationID"));
    emit moveLogicalTreeNodeComplete();
}

void PluginTopologyMgt::HandleBroadcastInsertLogicalFolder(const QVariant& notify)
{
    const QVariantMap folder = notify.toMap();
    const bool inserted = m_logicalTree.insertFolder(folder);
    emit logicalTreeFolderInserted(inserted, PayloadFields::textOf(folder, "newFolderId"));
}

void PluginTopologyMgt::HandleBroadcastRenameLogicalTreeNode(const QVariant& notify)
{
    const QVariantMap rename = notify.toMap();
    m_logicalTree.renameNode(PayloadFields::textOf(rename, "treeNodeId"), PayloadFields::textOf(rename, "name"));
}

void PluginTopologyMgt::HandleBroadcastRemoveLogicalTreeFolder(const QVariant& notify)
{
    const QVariantMap removal = notify.toMap();
    const QStringList folders = PayloadFields::textListOf(removal, "folderIDList");
    if (removal.value(QStringLiteral("keepContents")).toBool())
        m_logicalTree.removeFolderAndKeepChildren(folders);
    else
        m_logicalTree.removeNodes(folders);
    m_logicalTree.removeNodes(PayloadFields::textListOf(removal, "orphanIDList"));
}

// ---- Failover broadcasts -----------------------------------------------------

void PluginTopologyMgt::HandleBroadcastFailoverStatusChanged(const QVariant& notify)
{
    if (!m_failoverControl)
        return;
    m_failoverControl->announceTakenOverChange(notify);
    updateFailoverStatus(notify);
    m_failoverControl->announceFailoverStatusChange(notify);
}

// ---- Web page broadcasts -----------------------------------------------------

// Another client changed the list: it is replaced exactly as by a reply.
void PluginTopologyMgt::HandleBroadcastWebPageChanged(const QVariant& notify)
{
    if (replaceWebPages(notify))
        emit notifyWebPageChanged(PayloadFields::list(notify));
}

// ---- Status broadcasts -------------------------------------------------------
//
// Handlers read their payload, change the stores (device tree, logical tree,
// the status tables), and only then emit, so that a listener finds the new
// state. An event that names no node is dropped: the empty identifier is the
// login station's, and a missing key must not change it.

namespace {

using PayloadFields::textOf;

bool isStationEvent(const QVariant& notify)
{
    return notify.typeId() == QMetaType::QVariantMap && notify.toMap().contains(QStringLiteral("stationUID"));
}
} // namespace

void PluginTopologyMgt::HandleNotifyCamStatusChanged(const QVariant& notify)
{
    const QVariantList statuses = PayloadFields::list(notify);
    const CameraStatusTable::Changes changes = m_cameraStatuses.apply(statuses);
    for (const QString& cameraId : changes.edgeRecording)
        m_locations.addEdgeRecording(cameraId);
    m_deviceTree.updateCameraStatus(statuses);

    for (auto it = changes.connection.cbegin(); it != changes.connection.cend(); ++it)
        emit nodeStatusChanged(StandardTopologyModel::CameraNode, it.key(), it.value());
    for (auto it = changes.recording.cbegin(); it != changes.recording.cend(); ++it)
        emit cameraRecordingStatusChanged(it.key(), it.value());
}

// A station that reports back is read again whole, whatever the stored flag
// says: what happened behind it while it was away is unknown. Its storage usage
// has no request of its own in the servers' vocabulary; the re-read asks for
// its locations (with their availability) and its server information again.
// A station that is gone takes its I/O devices out of the logical tree.
void PluginTopologyMgt::HandleBroadcastStationStatus(const QVariant& notify)
{
    if (!isStationEvent(notify))
        return;
    const QVariantMap status = notify.toMap();
    const QString stationId = textOf(status, "stationUID");
    const bool connected = status.value(QStringLiteral("connected")).toBool();

    const bool known = m_deviceTree.contains(stationId);
    bool changed = false;
    bool isNvr = false;
    if (known) {
        TOPOLOGY_LOG_INFO("HandleStationBroadcast, nodeID:[%s], connected: %d, client id:[%s]", stationId, connected,
                          m_clientId);
        changed = m_deviceTree.data(stationId, StandardTopologyModel::connectedRole).toBool() != connected;
        isNvr = m_deviceTree.data(stationId, StandardTopologyModel::isNVRStationRole).toBool();
        m_deviceTree.updateStationConnected(stationId, connected);
    }
    if (!connected)
        m_logicalTreeFeeder.removeStationIoDevices(stationId);
    if (known && connected)
        retrieveAllDeviceTopology(stationId);

    if (changed) {
        emit nodeStatusChanged(StandardTopologyModel::StationNode, stationId, connected);
        emit stationConnectionStatusChanged(stationId, connected, isNvr);
    }
}

void PluginTopologyMgt::HandleWifiStatus(const QVariant& notify)
{
    if (!isStationEvent(notify))
        return;
    const QVariantMap status = notify.toMap();
    m_deviceTree.updateWifiStatus(status);
    emit stationWifiConnectionStatusChanged(textOf(status, "stationUID"),
                                            textOf(status, "Status") == QLatin1String("Connected"));
}

void PluginTopologyMgt::handleNotifyEvent(const QVariant& notify)
{
    const QVariantMap event = notify.toMap();
    const QString nodeId = textOf(event, "NodeId");
    const QString eventType = textOf(event, "EventType");
    if (eventType == QLatin1String("NotifyCameraSettingsChanged")) {
        handleCameraSettingsEvent(event);
        return;
    }
    if (nodeId.isEmpty())
        return;
    if (eventType == QLatin1String("DI") || eventType == QLatin1String("DO"))
        handleDiDoEvent(nodeId, eventType, event);
    else if (eventType == QLatin1String("ConnectionState"))
        m_deviceTree.setData(nodeId, StandardTopologyModel::connectedRole,
                             textOf(event, "ConnectionState") == QLatin1String("Connected"));
}

// The servers nest the port under the event type ({"DI": {"Index", "Value"}});
// the logical tree reads "Index" and "Value" beside "NodeId" and "EventType", so
// it is handed the event with the port's fields lifted next to them.
void PluginTopologyMgt::handleDiDoEvent(const QString& nodeId, const QString& eventType, const QVariantMap& event)
{
    const QVariantMap port = event.value(eventType).toMap();
    const int index = port.value(QStringLiteral("Index")).toInt();
    const bool active = textOf(port, "Value") == QLatin1String("Rising");
    const bool isInput = eventType == QLatin1String("DI");

    QVariantMap levelChange = event;
    levelChange.insert(QStringLiteral("Index"), index);
    levelChange.insert(QStringLiteral("Value"), port.value(QStringLiteral("Value")));
    m_logicalTree.updateDiDoValues(levelChange);
    m_diDoStates.setPort(nodeId, isInput ? DiDoStateTable::PortKind::Input : DiDoStateTable::PortKind::Output, index,
                         active);

    if (isInput)
        emit diStatusChanged(nodeId, index, active);
    else
        emit doStatusChanged(nodeId, index, active);
}

// The camera information record follows the new project too, so that
// cameraInfoFrom agrees with the device tree when the signal arrives.
void PluginTopologyMgt::handleCameraSettingsEvent(const QVariantMap& event)
{
    const QVariantList cameras = PayloadFields::listOf(event, "cameras");
    QMap<QString, QVariant> projects;
    for (const QVariantMap& record : parseCamerasList(cameras, textOf(event, "relayPath")))
        projects.insert(record.value(QStringLiteral("idRole")).toString(), record.value(QStringLiteral("vcaProjectRole")));

    QStringList changed;
    for (const QVariant& entry : cameras) {
        const QString cameraId = textOf(entry.toMap(), "camUID");
        if (cameraId.isEmpty() || !projects.contains(cameraId))
            continue;
        const QVariant project = projects.value(cameraId);
        m_deviceTree.updateVCAProjection(cameraId, project);
        const auto info = m_cameraInfoMap.find(cameraId);
        if (info != m_cameraInfoMap.end())
            info->insert(QStringLiteral("vcaProjectRole"), project);
        changed.append(cameraId);
    }
    for (const QString& cameraId : changed)
        emit cameraVCAProjectChanged(cameraId);
}

void PluginTopologyMgt::HandleBroadcastDIDORefNameChange(const QVariant& notify)
{
    const QVariantMap change = notify.toMap();
    const char* const nodeKey = change.contains(QStringLiteral("camNodeId")) ? "camNodeId"
        : change.contains(QStringLiteral("stationNodeId"))                   ? "stationNodeId"
                                                                             : nullptr;
    if (!nodeKey)
        return;
    const std::vector<QVariantMap> records = parseDiDoRefNames(QVariantList{change});
    m_deviceTree.updateDiDoNames(records);
    m_logicalTree.updateDiDoNames(records);
    emit didoNodeChanged(textOf(change, nodeKey));
}

void PluginTopologyMgt::HandleBroadcastSKYRCloudDeviceConnectionTimeout(const QVariant& notify)
{
    const QString deviceId = PayloadFields::text(notify);
    if (!deviceId.isEmpty())
        m_deviceTree.updateSkyrCloudRelayTimeout(QStringList{deviceId}, true);
}

void PluginTopologyMgt::HandleBroadcastSKYRCloudDeviceReconnected(const QVariant& notify)
{
    const QString deviceId = PayloadFields::text(notify);
    if (!deviceId.isEmpty())
        m_deviceTree.updateSkyrCloudRelayTimeout(QStringList{deviceId}, false);
}

// ---- Topology broadcasts -----------------------------------------------------
//
// Only nodes that the device tree took in are announced as inserted: a record
// whose station is unknown, or that has no identifier, leaves nothing to find,
// and a node the tree held already was updated, not inserted.

void PluginTopologyMgt::HandleBroadcastCamInsert(const QVariant& notify)
{
    const QStringList inserted = m_deviceTree.insertNewCameraNodes(PayloadFields::list(notify));
    for (const QString& cameraId : inserted) {
        m_cameraStatuses.remember(
            cameraId,
            {{QStringLiteral("connectedRole"), m_deviceTree.data(cameraId, StandardTopologyModel::connectedRole).toBool()},
             {QStringLiteral("recordingRole"), m_deviceTree.data(cameraId, StandardTopologyModel::recordingRole).toBool()},
             {QStringLiteral("useEdgeRecordingRole"), false},
             {QStringLiteral("edgeRecordingStreamRole"), 0},
             {QStringLiteral("nameRole"), m_deviceTree.data(cameraId, StandardTopologyModel::nameRole).toString()}});
    }
    for (const QString& cameraId : inserted) {
        emit nodeInserted(cameraId);
        emit standardNodeInserted(cameraId);
    }
}

// Renames reach the camera's status and information records too, so that
// every reader agrees with the device tree when cameraNameChanged arrives; a
// camera the table does not hold is not added by its rename.
void PluginTopologyMgt::HandleBroadcastCamChange(const QVariant& notify)
{
    const QVariantMap change = notify.toMap();
    const QString cameraId = textOf(change, "camUID");
    if (cameraId.isEmpty())
        return;
    const QString name = DeviceNodeFactory::cleanDisplayName(textOf(change, "name"));
    m_deviceTree.updateNodeName(cameraId, name);
    m_cameraStatuses.rename(cameraId, name);
    const auto info = m_cameraInfoMap.find(cameraId);
    if (info != m_cameraInfoMap.end())
        info->insert(QStringLiteral("nameRole"), name);
    emit cameraNameChanged(cameraId, name);
}

void PluginTopologyMgt::HandleBroadcastStationInsert(const QVariant& notify)
{
    const QVariantList stations = PayloadFields::list(notify);
    const QStringList added = m_deviceTree.insertNewStationNodes(stations);
    QSet<QString> inserted(added.cbegin(), added.cend());
    for (const QVariant& entry : stations) {
        const QVariantMap station = entry.toMap();
        const QString stationId = textOf(station, "stationUID");
        if (!inserted.remove(stationId))
            continue;
        emit nodeInserted(stationId);
        emit stationInserted(stationId, DeviceNodeFactory::cleanDisplayName(textOf(station, "nodeName")),
                             textOf(station, "relayPath"));
    }
}

void PluginTopologyMgt::HandleBroadcastStationChange(const QVariant& notify)
{
    if (!isStationEvent(notify))
        return;
    const QVariantMap change = notify.toMap();
    const QString stationId = textOf(change, "stationUID");
    const QString name = DeviceNodeFactory::cleanDisplayName(textOf(change, "name"));
    m_deviceTree.updateNodeName(stationId, name);
    emit stationNameChanged(stationId, name);
}

void PluginTopologyMgt::HandleBroadcastStationInfoChange(const QVariant& notify)
{
    m_deviceTree.updateStationInfo(notify.toMap());
}

void PluginTopologyMgt::HandleBroadcastSrvPortChange(const QVariant& notify)
{
    m_deviceTree.updateServerPort(notify.toMap());
}

void PluginTopologyMgt::HandleBroadcastRelayInfoChange(const QVariant& notify)
{
    m_deviceTree.updateServerRelayInfo(notify.toMap());
}

void PluginTopologyMgt::HandleBroadcastMulticastInfoChanged(const QVariant& notify)
{
    m_deviceTree.updateServerMulticastInfo(notify.toMap());
}

// The device tree names devices by their whole identifier, the logical tree by
// the one within the station; the event may carry either.
void PluginTopologyMgt::HandleBroadcastExtDevRemove(const QVariant& notify)
{
    const QVariantMap removal = notify.toMap();
    const QString stationId = textOf(removal, "relayPath");
    const QString stationPrefix = stationId + QLatin1Char('/');
    QStringList deviceIds;
    QStringList localIds;
    for (const QString& id : PayloadFields::textListOf(removal, "idList")) {
        if (id.isEmpty())
            continue;
        const bool whole = stationId.isEmpty() || id.startsWith(stationPrefix);
        deviceIds.append(whole ? id : NodeSubtree::childId(stationId, id));
        localIds.append(whole && !stationId.isEmpty() ? id.mid(stationPrefix.size()) : id);
    }
    if (deviceIds.isEmpty())
        return;
    m_deviceTree.removeExternalDevice(stationId, deviceIds);
    m_logicalTree.removeIoDevices(stationId, localIds);
    forgetNodes(deviceIds);
}

// A camera removed with "RemoveEntry" keeps its recordings: when the location
// information knows them, it comes back as a removed camera of its station in
// both trees before anyone hears of the removal. An edge-recording record names
// the camera by its whole identifier; the removed camera takes its last segment,
// as the station's own lists do.
void PluginTopologyMgt::HandleBroadcastNodeRemoved(const QVariant& notify)
{
    const QVariantMap removal = notify.toMap();
    const QString stationId = textOf(removal, "parentStationID");
    QStringList nodeIds = PayloadFields::textListOf(removal, "nodeList");
    nodeIds.removeAll(QString());
    const QString nodeType = textOf(removal, "nodeType");

    m_deviceTree.removeNodes(nodeIds);
    forgetNodes(nodeIds);

    const bool keepsRecordings =
        textOf(removal, "method") == QLatin1String("RemoveEntry") && nodeType == QLatin1String("Camera");
    const QVariantList removedCameras = keepsRecordings ? m_locations.removedCamerasFor(nodeIds) : QVariantList();
    if (!removedCameras.isEmpty())
        replaceRemovedCameras(stationId, removedCameras);

    const bool stations = nodeType == QLatin1String("Station");
    for (const QString& nodeId : std::as_const(nodeIds)) {
        if (stations)
            emit stationRemoved(nodeId);
        else
            emit deviceRemoved(nodeId);
    }
}

// ---- Location broadcasts -----------------------------------------------------

// A location change carries the same payload as the answer to a location query.
void PluginTopologyMgt::HandleBroadcastLocationChange(const QVariant& notify)
{
    applyLocationAnswer(notify.toMap(), ReplyPart{});
}

void PluginTopologyMgt::HandleBroadcastChnlAdded(const QVariant& notify)
{
    m_locations.addChannel(notify.toMap());
}

void PluginTopologyMgt::HandleBroadcastChnlRemoved(const QVariant& notify)
{
    const QVariantMap removed = notify.toMap();
    if (m_locations.removeChannel(removed))
        emit locationIDChanged(NodeSubtree::childId(textOf(removed, "relayPath"),
                                                    textOf(removed.value(QStringLiteral("chnlInfo")).toMap(), "CamName")));
}

// A removed camera left without recordings goes from both trees too.
void PluginTopologyMgt::HandleBroadcastLocRemoved(const QVariant& notify)
{
    const QVariantMap removal = notify.toMap();
    const QString relayPath = textOf(removal, "relayPath");
    const RecordingLocations::LocationRemoval removed =
        m_locations.removeLocations(relayPath, PayloadFields::listOf(removal, "locInfo"));
    removeRemovedCameras(relayPath, removed.removedCameras);
    for (const QString& nodeId : removed.moved)
        emit locationIDChanged(nodeId);
}

// A removed node takes the entries of everything below it with it.
void PluginTopologyMgt::forgetNodes(const QStringList& nodeIds)
{
    m_diDoStates.forget(nodeIds);
    m_cameraStatuses.forget(nodeIds);
}
