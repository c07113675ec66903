#include "PluginTopologyMgt.h"

#include "DeviceNodeFactory.h"
#include "ModuleLog.h"
#include "PayloadFields.h"

#include <QSet>

// Broadcasts are routed by their exact, case-sensitive names (some of them
// misspelt or lower-case, as the servers send them). Every handler takes the
// event's payload only.
void PluginTopologyMgt::initialEventActionMap()
{
    using Self = PluginTopologyMgt;
    const auto bind = [this](void (Self::*handler)(const QVariant&)) -> EventAction {
        return [this, handler](const QVariant& notify) { (this->*handler)(notify); };
    };
    m_eventActionMap.emplace(QStringLiteral("NotifyStationStatus"), bind(&Self::HandleBroadcastStationStatus));
    m_eventActionMap.emplace(QStringLiteral("NotifyWifiStatusChange"), bind(&Self::HandleWifiStatus));
    m_eventActionMap.emplace(QStringLiteral("NotifyCameraStatus"), bind(&Self::HandleNotifyCamStatusChanged));
    m_eventActionMap.emplace(QStringLiteral("NotifyNodeRemove"), bind(&Self::HandleBroadcastNodeRemoved));
    m_eventActionMap.emplace(QStringLiteral("NotifyCamInsert"), bind(&Self::HandleBroadcastCamInsert));
    m_eventActionMap.emplace(QStringLiteral("NotifyStationInsert"), bind(&Self::HandleBroadcastStationInsert));
    m_eventActionMap.emplace(QStringLiteral("NotifyStationChange"), bind(&Self::HandleBroadcastStationChange));
    m_eventActionMap.emplace(QStringLiteral("NotifyStationInfoChange"), bind(&Self::HandleBroadcastStationInfoChange));
    m_eventActionMap.emplace(QStringLiteral("NotifyCameraChange"), bind(&Self::HandleBroadcastCamChange));
    m_eventActionMap.emplace(QStringLiteral("NotifyLocationRemove"), bind(&Self::HandleBroadcastLocRemoved));
    m_eventActionMap.emplace(QStringLiteral("NotifyChannelAdd"), bind(&Self::HandleBroadcastChnlAdded));
    m_eventActionMap.emplace(QStringLiteral("NotifyChannelRemove"), bind(&Self::HandleBroadcastChnlRemoved));
    // A location change carries the same payload as the answer to a location query.
    m_eventActionMap.emplace(QStringLiteral("NotifyLocationChange"),
                             [this](const QVariant& notify) { HandleQryLocationInfo(notify, QStringLiteral("0")); });
    m_eventActionMap.emplace(QStringLiteral("NotifySrvPortChange"), bind(&Self::HandleBroadcastSrvPortChange));
    m_eventActionMap.emplace(QStringLiteral("NotifyRelayInfoChange"), bind(&Self::HandleBroadcastRelayInfoChange));
    m_eventActionMap.emplace(QStringLiteral("NotifyDIDORefNameChange"), bind(&Self::HandleBroadcastDIDORefNameChange));
    m_eventActionMap.emplace(QStringLiteral("NotifyExternalDeviceRemove"), bind(&Self::HandleBroadcastExtDevRemove));
    m_eventActionMap.emplace(QStringLiteral("NotifyCameraEvent"), bind(&Self::handleNotifyEvent));
    m_eventActionMap.emplace(QStringLiteral("NotifyExternalIODeviceStatus"), bind(&Self::handleNotifyEvent));
    m_eventActionMap.emplace(QStringLiteral("NotifyStationDIDOStatus"), bind(&Self::handleNotifyEvent));
    m_eventActionMap.emplace(QStringLiteral("NotifyStationMulticastChange"),
                             bind(&Self::HandleBroadcastMulticastInfoChanged));
    m_eventActionMap.emplace(QStringLiteral("notifySKYRCloudDeviceConnectionTimeout"),
                             bind(&Self::HandleBroadcastSKYRCloudDeviceConnectionTimeout));
    m_eventActionMap.emplace(QStringLiteral("notifySKYRCloudDeviceReconnected"),
                             bind(&Self::HandleBroadcastSKYRCloudDeviceReconnected));
    m_eventActionMap.emplace(QStringLiteral("NotifyCameraSettingsChanged"), bind(&Self::handleNotifyEvent));
    m_eventActionMap.emplace(QStringLiteral("NotifyCamInsertLogical"), bind(&Self::HandleBroadcastCamInsertLogical));
    m_eventActionMap.emplace(QStringLiteral("NotifyCamRemoveLogical"), bind(&Self::HandleBroadcastCamDeleteLogical));
    m_eventActionMap.emplace(QStringLiteral("notifyLogicalTreeNodeMoved"),
                             bind(&Self::HandleBroadcastMoveLogicalTreeNode));
    m_eventActionMap.emplace(QStringLiteral("NotifyFolderCreatedLogical"),
                             bind(&Self::HandleBroadcastInsertLogicalFolder));
    m_eventActionMap.emplace(QStringLiteral("nofifyRenameLogicalTreeFolder"),
                             bind(&Self::HandleBroadcastRenameLogicalTreeNode));
    m_eventActionMap.emplace(QStringLiteral("notifyRemoveLogicalTreeFolder"),
                             bind(&Self::HandleBroadcastRemoveLogicalTreeFolder));
    m_eventActionMap.emplace(QStringLiteral("FailoverStatusChange"), bind(&Self::HandleBroadcastFailoverStatusChanged));
    m_eventActionMap.emplace(QStringLiteral("NotifyWebPageChanged"), bind(&Self::HandleBroadcastWebPageChanged));
}

// ---- Logical tree broadcasts -----------------------------------------------

void PluginTopologyMgt::HandleBroadcastCamInsertLogical(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, notify is null", "PluginTopologyMgt::HandleBroadcastCamInsertLogical");
        return;
    }
    m_logicalTree.insertCameraNodes(addDiDoNumToLogicalTreeCameraData(notify.toList()));
}

void PluginTopologyMgt::HandleBroadcastCamDeleteLogical(const QVariant& notify)
{
    m_logicalTree.removeNodes(notify.toList());
}

void PluginTopologyMgt::HandleBroadcastMoveLogicalTreeNode(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, notify is null", "PluginTopologyMgt::HandleBroadcastMoveLogicalTreeNode");
        return;
    }
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
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, notify is null", "PluginTopologyMgt::HandleBroadcastRemoveLogicalTreeFolder");
        return;
    }
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
        emit notifyWebPageChanged(notify.toList());
}

// ---- Status broadcasts -------------------------------------------------------
//
// Handlers read their payload, change the stores (device tree, logical tree,
// the plug-in's tables), and only then emit, so that a listener finds the new
// state. An event that names no node is dropped: the empty identifier is the
// login station's, and a missing key must not change it.

namespace {

using PayloadFields::textOf;

QString childNodeId(const QString& stationId, const QString& localId)
{
    return stationId.isEmpty() ? localId : stationId + QLatin1Char('/') + localId;
}

bool isStationEvent(const QVariant& notify)
{
    return notify.typeId() == QMetaType::QVariantMap && notify.toMap().contains(QStringLiteral("stationUID"));
}
} // namespace

void PluginTopologyMgt::HandleNotifyCamStatusChanged(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, HandleNotifyCamStatusChanged : notify is null",
                           "PluginTopologyMgt::HandleNotifyCamStatusChanged");
        return;
    }
    const QVariantList statuses = notify.toList();

    // A camera listed twice counts by its last entry, and is news only when that
    // differs from what was last announced.
    QMap<QString, bool> lastConnected;
    QMap<QString, bool> lastRecording;
    for (const QVariant& entry : statuses) {
        const QVariantMap status = entry.toMap();
        const QString cameraId = textOf(status, "camUID");
        if (!m_cameraStatusTable.contains(cameraId))
            continue;
        lastConnected.insert(cameraId, status.value(QStringLiteral("connected")).toBool());
        lastRecording.insert(cameraId, status.value(QStringLiteral("recording")).toBool());
        if (status.value(QStringLiteral("useEdgeRecording")).toBool())
            updateLocationInfoForEdgeRecordingCamera(cameraId);
    }
    QMap<QString, bool> connectionChanges;
    QMap<QString, bool> recordingChanges;
    for (auto it = lastConnected.cbegin(); it != lastConnected.cend(); ++it) {
        const QVariantMap& announced = m_cameraStatusTable[it.key()];
        if (announced.value(QStringLiteral("connectedRole")).toBool() != it.value())
            connectionChanges.insert(it.key(), it.value());
        if (announced.value(QStringLiteral("recordingRole")).toBool() != lastRecording.value(it.key()))
            recordingChanges.insert(it.key(), lastRecording.value(it.key()));
    }

    m_deviceTree.updateCameraStatus(statuses);
    for (const QVariant& entry : statuses) {
        const QVariantMap status = entry.toMap();
        const QString cameraId = textOf(status, "camUID");
        if (cameraId.isEmpty())
            continue;
        QVariantMap& row = m_cameraStatusTable[cameraId];
        row.insert(QStringLiteral("connectedRole"), status.value(QStringLiteral("connected")).toBool());
        row.insert(QStringLiteral("recordingRole"), status.value(QStringLiteral("recording")).toBool());
        row.insert(QStringLiteral("useEdgeRecordingRole"), status.value(QStringLiteral("useEdgeRecording")).toBool());
        row.insert(QStringLiteral("edgeRecordingStreamRole"), status.value(QStringLiteral("edgeRecordingStream")).toInt());
    }

    for (auto it = connectionChanges.cbegin(); it != connectionChanges.cend(); ++it)
        emit nodeStatusChanged(StandardTopologyModel::CameraNode, it.key(), it.value());
    for (auto it = recordingChanges.cbegin(); it != recordingChanges.cend(); ++it)
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
        removeStationIoDevices(stationId);
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
    setDiDoPortState(nodeId, isInput ? LogicalTreeModel::DigitalInput : LogicalTreeModel::DigitalOutput, index - 1,
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
    const QVariantList cameras = event.value(QStringLiteral("cameras")).toList();
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
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, HanldeBroadcastCamInsert : notify is null", "PluginTopologyMgt::HandleBroadcastCamInsert");
        return;
    }
    const QStringList inserted = m_deviceTree.insertNewCameraNodes(notify.toList());
    for (const QString& cameraId : inserted) {
        rememberCameraStatus(
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
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, HandleBroadcastCamChange : notify is null", "PluginTopologyMgt::HandleBroadcastCamChange");
        return;
    }
    const QVariantMap change = notify.toMap();
    const QString cameraId = textOf(change, "camUID");
    if (cameraId.isEmpty())
        return;
    const QString name = DeviceNodeFactory::cleanDisplayName(textOf(change, "name"));
    m_deviceTree.updateNodeName(cameraId, name);
    const auto status = m_cameraStatusTable.find(cameraId);
    if (status != m_cameraStatusTable.end())
        status->insert(QStringLiteral("nameRole"), name);
    const auto info = m_cameraInfoMap.find(cameraId);
    if (info != m_cameraInfoMap.end())
        info->insert(QStringLiteral("nameRole"), name);
    emit cameraNameChanged(cameraId, name);
}

void PluginTopologyMgt::HandleBroadcastStationInsert(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, HanldeBroadcastStationInsert : notify is null",
                           "PluginTopologyMgt::HandleBroadcastStationInsert");
        return;
    }
    const QVariantList stations = notify.toList();
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
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, HandleBroadcastStationChange : notify is null",
                           "PluginTopologyMgt::HandleBroadcastStationChange");
        return;
    }
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
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, HandleBroadcastStationInfoChange : notify is null",
                           "PluginTopologyMgt::HandleBroadcastStationInfoChange");
        return;
    }
    m_deviceTree.updateStationInfo(notify.toMap());
}

void PluginTopologyMgt::HandleBroadcastSrvPortChange(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, notify is null", "PluginTopologyMgt::HandleBroadcastSrvPortChange");
        return;
    }
    m_deviceTree.updateServerPort(notify.toMap());
}

void PluginTopologyMgt::HandleBroadcastRelayInfoChange(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, notify is null", "PluginTopologyMgt::HandleBroadcastRelayInfoChange");
        return;
    }
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
        deviceIds.append(whole ? id : childNodeId(stationId, id));
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
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, HandleBroadcastNodeRemoved : notify is null",
                           "PluginTopologyMgt::HandleBroadcastNodeRemoved");
        return;
    }
    const QVariantMap removal = notify.toMap();
    const QString stationId = textOf(removal, "parentStationID");
    QStringList nodeIds = PayloadFields::textListOf(removal, "nodeList");
    nodeIds.removeAll(QString());
    const QString nodeType = textOf(removal, "nodeType");

    m_deviceTree.removeNodes(nodeIds);
    forgetNodes(nodeIds);

    QVariantList removedCameras;
    if (textOf(removal, "method") == QLatin1String("RemoveEntry") && nodeType == QLatin1String("Camera")) {
        for (const QString& nodeId : std::as_const(nodeIds)) {
            const auto location = m_locationInfoMap.constFind(nodeId);
            if (location == m_locationInfoMap.cend())
                continue;
            removedCameras.append(QVariantMap{
                {QStringLiteral("camID"), location->value(QStringLiteral("camIDRole")).toString().section(QLatin1Char('/'), -1)},
                {QStringLiteral("camName"), location->value(QStringLiteral("nameRole"))}});
        }
    }
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

void PluginTopologyMgt::HandleBroadcastChnlAdded(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, HandleBroadcastChnlAdded : notify is null", "PluginTopologyMgt::HandleBroadcastChnlAdded");
        return;
    }
    const QVariantMap added = notify.toMap();
    const QVariantMap channel = added.value(QStringLiteral("chnlInfo")).toMap();
    const QString relayPath = textOf(added, "relayPath");
    const QString alias = textOf(channel, "CamName");
    const QString locationId = textOf(channel, "Loc");
    if (alias.isEmpty() || locationId.isEmpty())
        return;
    const QString nodeId = childNodeId(relayPath, alias);
    const int stream = channel.value(QStringLiteral("Stream")).toInt();

    if (!locationId.contains(QLatin1String("_Sub"))) {
        m_locationInfoMap.insert(
            nodeId, QVariantMap{{QStringLiteral("nameRole"), DeviceNodeFactory::cleanDisplayName(textOf(channel, "CamRefName"))},
                                {QStringLiteral("relayPathRole"), relayPath},
                                {QStringLiteral("locationRole"), locationId},
                                {QStringLiteral("camIDRole"), alias},
                                {QStringLiteral("liveRole"), true},
                                {QStringLiteral("queryFromRole"), 0},
                                {QStringLiteral("availableRole"), true},
                                {QStringLiteral("streamIndexRole"), stream}});
    }
    m_streamInfoMap[nodeId].insert(locationId, QVariantMap{{QStringLiteral("groupName"), textOf(channel, "GrpName")},
                                                           {QStringLiteral("streamIndex"), stream},
                                                           {QStringLiteral("available"), true}});
}

// "RemoveEntry" leaves the recordings listed but unreachable: the location is
// marked unavailable (in the channel's record too when it is the one in use), so
// that the next available location replaces it. "RemoveMedia" deletes them: the
// location is marked unavailable and a channel playing from it moves to one that
// still has recordings.
void PluginTopologyMgt::HandleBroadcastChnlRemoved(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, HandleBroadcastChnlRemoved : notify is null",
                           "PluginTopologyMgt::HandleBroadcastChnlRemoved");
        return;
    }
    const QVariantMap removed = notify.toMap();
    const QVariantMap channel = removed.value(QStringLiteral("chnlInfo")).toMap();
    const QString nodeId = childNodeId(textOf(removed, "relayPath"), textOf(channel, "CamName"));
    const QString method = textOf(channel, "Method");
    const QString locationId = textOf(channel, "Loc");

    const auto record = m_locationInfoMap.find(nodeId);
    if (record == m_locationInfoMap.end()) {
        TOPOLOGY_LOG_INFO("Location removed, but camera not found, nodeID:%s", nodeId);
        return;
    }
    const bool inUse = record->value(QStringLiteral("locationRole")).toString() == locationId;
    const auto streams = m_streamInfoMap.find(nodeId);
    const bool listed = streams != m_streamInfoMap.end() && streams->contains(locationId);
    if (method == QLatin1String("RemoveEntry")) {
        if (!listed) {
            TOPOLOGY_LOG_INFO("Channel removed, but location not found, nodeID:%s, locID:%s", nodeId, locationId);
            return;
        }
        (*streams)[locationId].insert(QStringLiteral("available"), false);
        if (inUse)
            record->insert(QStringLiteral("availableRole"), false);
    } else if (method == QLatin1String("RemoveMedia")) {
        if (listed)
            (*streams)[locationId].insert(QStringLiteral("available"), false);
        if (inUse && !moveToAvailableLocation(nodeId).isEmpty())
            emit locationIDChanged(nodeId);
    }
}

// The station's channels lose the removed locations from their stream
// information. A channel that was playing from one of them moves to a location
// that still has its recordings; a removed camera left without any goes from
// both trees and from the location tables, since nothing of it can be played.
void PluginTopologyMgt::HandleBroadcastLocRemoved(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, HandleBroadcastLocRemoved : notify is null", "PluginTopologyMgt::HandleBroadcastLocRemoved");
        return;
    }
    const QVariantMap removal = notify.toMap();
    const QString relayPath = textOf(removal, "relayPath");
    const QVariantList removedLocations = removal.value(QStringLiteral("locInfo")).toList();
    // A channel's identifier is its station's relay path, "/", and its alias.
    const auto ofThisStation = [&](const QString& nodeId) {
        return nodeId.section(QLatin1Char('/'), 0, -2) == relayPath;
    };

    QStringList affected = parseRemovingRemovedCameras(removedLocations);
    affected.removeIf([&](const QString& nodeId) { return !ofThisStation(nodeId); });
    for (const QVariant& entry : removedLocations) {
        const QString locationId = entry.typeId() == QMetaType::QVariantMap ? textOf(entry.toMap(), "Name") : PayloadFields::text(entry);
        for (auto streams = m_streamInfoMap.begin(); streams != m_streamInfoMap.end(); ++streams) {
            if (ofThisStation(streams.key()))
                streams->remove(locationId);
        }
    }

    QStringList moved;
    QStringList deviceIds;
    QStringList logicalIds;
    for (const QString& nodeId : std::as_const(affected)) {
        const bool removedCamera = m_deviceTree.data(nodeId, StandardTopologyModel::nodeTypeRole).toInt()
            == StandardTopologyModel::RemovedCameraNode;
        if (removedCamera && m_streamInfoMap.value(nodeId).isEmpty()) {
            const QString cameraId = childNodeId(
                relayPath, locationDataFrom(nodeId, QStringLiteral("camIDRole")).toString().section(QLatin1Char('/'), -1));
            deviceIds.append(cameraId);
            logicalIds.append(LogicalTree::kRemovedCamerasFolderId + QLatin1Char('/') + cameraId);
            m_locationInfoMap.remove(nodeId);
            m_streamInfoMap.remove(nodeId);
        } else if (!moveToAvailableLocation(nodeId).isEmpty()) {
            moved.append(nodeId);
        }
    }
    m_deviceTree.removeRemovedCameras(relayPath, deviceIds);
    m_logicalTree.removeNodes(logicalIds);

    for (const QString& nodeId : std::as_const(moved))
        emit locationIDChanged(nodeId);
}
