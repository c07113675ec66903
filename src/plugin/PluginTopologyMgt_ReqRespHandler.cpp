#include "PluginTopologyMgt.h"

#include "ModuleLimits.h"
#include "ModuleLog.h"
#include "PayloadFields.h"
#include "NodeSubtree.h"
#include "RequestContexts.h"
#include "StandardTopologyModel.h"
#include "WebPageTreeModelController.h"

using PayloadFields::textOf;

// One row per reply name. A handler that takes parts applies each part of a
// reply in several parts itself (CommandProcessor tells it where the part
// stands); every other one runs once, with the whole reply.
const QHash<QString, const PluginTopologyMgt::ReplyRoute*>& PluginTopologyMgt::replyRoutes()
{
    using Self = PluginTopologyMgt;
    static const ReplyRoute routes[] = {
        // Lists of records, applied part by part.
        {"RetrieveDeviceTopology", &Self::HandleRetrieveDevTopology, true},
        {"RetrieveAllCamInfo", &Self::HandleRetrieveNodeInfo, true},
        {"RetrieveCamInfo", &Self::HandleRetrieveNodeInfo, true},
        {"RetrieveRuleInfo", &Self::HandleRetrieveRuleInfo, true},
        {"QryCamLocation", &Self::HandleQryLocationInfo, true},
        {"retrieveLogicalTree", &Self::HandleRetrieveLogicalTree, true},
        {"RetrieveExternalDevs", &Self::HandleExternalDevicesRetrieve, true},
        {"getAllWebPage", &Self::HandleGetAllWebPageResponse, true},
        {"GetDiDoRefName", &Self::HandleGetAllDiDoRefname, true},
        {"GetSKYRCloudConnectionTimeoutList", &Self::HandleGetSKYRCloudConnectionTimeoutList, true},
        // Records of single fields, answers that only confirm, and lists handed
        // on or compared whole: taken whole.
        {"RetrieveLoginStationInfo", &Self::HandleRetrieveLoginStationInfo, false},
        {"RetrieveServerInfo", &Self::HandleRetrieveSrvInfo, false},
        {"GetCameraStatus", &Self::HandleGetCameraStatusResp, false},
        {"moveLogicalTreeNode", &Self::HandleMoveLogicalTreeNode, false},
        {"renameLogicalTreeFolder", &Self::HandleRenameLogicalTreeFolder, false},
        // The new folder arrives with its broadcast.
        {"InsertFolderLogical", nullptr, false},
        {"removeLogicalTreeItem", &Self::HandleRemoveLogicalTreeItem, false},
        {"addDeviceIntoLogicalTree", &Self::HandleAddDeviceIntoLogicalTree, false},
        {"addStationIntoLogicalTree", &Self::HandleAddStationIntoLogicalTree, false},
        {"GetFailoverStatus", &Self::HandleGetFailoverStatus, false},
        {"GetRedundantServersStatus", &Self::HandleGetRedundantServersStatus, false},
        {"lookupLogicalTreePathIds", &Self::HandleLookupLogicalTreePathId, false},
        {"GetWifiStatus", &Self::HandleGetWifiStatus, false},
        {"restoreUngroupedDevices", &Self::HandleRestoreUngroupedDevices, false},
    };
    static const QHash<QString, const ReplyRoute*> byName = [] {
        QHash<QString, const ReplyRoute*> index;
        for (const ReplyRoute& route : routes)
            index.insert(QString::fromLatin1(route.name), &route);
        return index;
    }();
    return byName;
}

// ---- Topology payloads -----------------------------------------------------

QVariantMap PluginTopologyMgt::createCameraInfoMap(const QVariantMap& cameraEntry, const QString& stationId) const
{
    return m_payloadParser.createCameraInfoMap(cameraEntry, stationId);
}

std::vector<QVariantMap> PluginTopologyMgt::parseCamerasList(const QVariantList& cameras,
                                                            const QString& stationId) const
{
    return m_payloadParser.parseCamerasList(cameras, stationId);
}

std::vector<QVariantMap> PluginTopologyMgt::parseStationsList(const QVariantList& stations) const
{
    return m_payloadParser.parseStationsList(stations);
}

QList<RedundantStationInfo> PluginTopologyMgt::allNonRedundantServerSubstations(const QVariantList& nodeList) const
{
    return m_payloadParser.allNonRedundantServerSubstations(nodeList);
}

QString PluginTopologyMgt::decryptUrlString(const QString& text) const
{
    return TopologyPayloadParser::decryptUrlString(text);
}

QStringList PluginTopologyMgt::generateDefaultDiDoNameList(const QString& prefix, int count) const
{
    return TopologyPayloadParser::generateDefaultDiDoNameList(prefix, count);
}

// ---- Reply handlers --------------------------------------------------------

// A station's node list replaces the station's children. In parts, the first
// part that brings nodes replaces them and later parts add theirs; the station
// is marked connected and announced once, with its last part.
void PluginTopologyMgt::HandleRetrieveDevTopology(const Reply& reply)
{
    if (!reply.succeeded()) {
        TOPOLOGY_LOG_ERROR("%s, RetrieveDevTopology return code : %s", "PluginTopologyMgt::HandleRetrieveDevTopology",
                           reply.returnCode);
        return;
    }
    const ReplyPart part = reply.part;
    const QVariantMap topology = reply.data.toMap();
    const QString parentStationId = textOf(topology, "parentStationID");
    const QVariantList nodeList = PayloadFields::listOf(topology, "nodeList");

    if (part.first)
        m_nodeListsReplaced.remove(parentStationId);
    if (m_nodeListsReplaced.contains(parentStationId))
        m_deviceTree.appendNewNodes(parentStationId, nodeList);
    else if (m_deviceTree.insertNewNodes(parentStationId, nodeList) && !part.last)
        m_nodeListsReplaced.insert(parentStationId);
    if (part.last) {
        m_nodeListsReplaced.remove(parentStationId);
        m_deviceTree.updateStationConnected(parentStationId, true);
        const bool isNvr = m_deviceTree.data(parentStationId, StandardTopologyModel::isNVRStationRole).toBool();
        emit nodeStatusChanged(StandardTopologyModel::StationNode, parentStationId, true);
        emit stationConnectionStatusChanged(parentStationId, true, isNvr);
    }
    for (const RedundantStationInfo& substation : allNonRedundantServerSubstations(nodeList))
        emit stationInserted(substation.stationId, substation.stationName, substation.parentStationId);
}

void PluginTopologyMgt::HandleRetrieveNodeInfo(const Reply& reply)
{
    void* const pvContext = reply.context;
    const bool completed = reply.part.last;
    // The context of a camera information request is the request's own argument
    // map; whole-station hand-overs from the commander come without one.
    const QVariantMap request = RequestContexts::argumentsOf(QStringLiteral("RetrieveCamInfo"), pvContext);
    const QStringList requestedCameras = request.value(QStringLiteral("camIDList")).toStringList();
    const QString requestedCamera = requestedCameras.isEmpty() ? QString() : requestedCameras.first();

    if (!reply.succeeded()) {
        const QString station = request.value(QStringLiteral("relayPath")).toString();
        TOPOLOGY_LOG_ERROR("RetrieveNodeInfo fail station:%s, return code :%s", station, reply.returnCode);
        if (pvContext)
            emit refreshCameraInfoResp(completed, false, station, requestedCamera);
        return;
    }

    const QVariantMap answer = reply.data.toMap();
    const QString station = textOf(answer, "relayPath");

    const std::vector<QVariantMap> cameras =
        parseCamerasList(PayloadFields::listOf(answer, "cameras"), station);
    m_deviceTree.updateCameraInfo(cameras);
    for (const QVariantMap& camera : cameras)
        m_cameraInfoMap.insert(camera.value(QStringLiteral("idRole")).toString(), camera);
    m_diDoStates.resizeFromRecords(cameras);
    m_cameraStatuses.rememberRecords(cameras);
    m_logicalTree.insertCameraDiDoNodes(cameras);
    emitDiDoNodeChangedSignal(cameras);
    m_locations.addEdgeRecordings(cameras);

    const std::vector<QVariantMap> stations = parseStationsList(PayloadFields::listOf(answer, "stations"));
    m_deviceTree.updateStationInfo(stations);
    m_diDoStates.resizeFromRecords(stations);
    m_logicalTreeFeeder.insertStationIoDevices(stations);
    emitDiDoNodeChangedSignal(stations);

    // A reply in parts is announced once, complete.
    if (!completed)
        return;
    emit deviceInfoRetrieved(station);
    emit cameraAndStationConnectionStatusRetrieved();
    if (pvContext)
        emit refreshCameraInfoResp(completed, true, request.value(QStringLiteral("relayPath")).toString(),
                                   requestedCamera);
}

void PluginTopologyMgt::emitDiDoNodeChangedSignal(const std::vector<QVariantMap>& records)
{
    for (const QVariantMap& record : records) {
        const QString nodeId = record.value(QStringLiteral("idRole")).toString();
        if (!nodeId.isEmpty())
            emit didoNodeChanged(nodeId);
    }
}

void PluginTopologyMgt::HandleRetrieveRuleInfo(const Reply& reply)
{
    if (!reply.succeeded()) {
        TOPOLOGY_LOG_ERROR("%s, HandleRetrieveRuleInfo return code : %s", "PluginTopologyMgt::HandleRetrieveRuleInfo",
                           reply.returnCode);
        return;
    }
    const QVariantMap answer = reply.data.toMap();
    for (const QVariant& cameraEntry : PayloadFields::listOf(answer, "cameras")) {
        const QVariantMap camera = cameraEntry.toMap();
        const QString cameraId = textOf(camera, "camUID");
        const auto record = m_cameraInfoMap.find(cameraId);
        if (record == m_cameraInfoMap.end())
            continue;
        // Kept in the record and the tree, so no deeper than the module keeps anything.
        const QVariantList rules = PayloadFields::list(PayloadFields::withinNesting(camera.value(QStringLiteral("ruleList"))));
        record->insert(QStringLiteral("ruleInfoListRole"), rules);
        m_deviceTree.setData(cameraId, StandardTopologyModel::ruleInfoListRole, rules);
    }
    if (reply.part.last)
        emit updateVCARulesResp(textOf(answer, "relayPath"));
}

void PluginTopologyMgt::HandleRetrieveLoginStationInfo(const Reply& reply)
{
    if (!reply.succeeded()) {
        TOPOLOGY_LOG_ERROR("%s, retrieve login station info failed. return code : %s",
                           "PluginTopologyMgt::HandleRetrieveLoginStationInfo", reply.returnCode);
        return;
    }
    const QVariantMap answer = reply.data.toMap();
    // An answer for a login station that is already there updates it; it was
    // announced when it was inserted.
    if (!m_deviceTree.insertLoginStation(textOf(answer, "stationName"), textOf(answer, "stationIP")))
        return;
    const QString loginStationId;
    emit stationInserted(loginStationId,
                         m_deviceTree.data(loginStationId, StandardTopologyModel::nameRole).toString(), QString());
}

void PluginTopologyMgt::HandleRetrieveSrvInfo(const Reply& reply)
{
    if (!reply.succeeded()) {
        TOPOLOGY_LOG_ERROR("%s, HandleRetrieveSrvInfo return code : %s", "PluginTopologyMgt::HandleRetrieveSrvInfo",
                           reply.returnCode);
        return;
    }
    const QVariantMap answer = reply.data.toMap();
    m_deviceTree.updateServerInfo(textOf(answer, "relayPath"), answer);
}

// The external and I/O devices of a station arrive as a list of device records
// (either the answer itself or its "deviceList"); each is merged into the device
// tree, its port count sizes its DI/DO state, and its views are told that its
// DI/DO names may have changed.
void PluginTopologyMgt::HandleExternalDevicesRetrieve(const Reply& reply)
{
    const QVariantList devices = reply.data.typeId() == QMetaType::QVariantList
        ? PayloadFields::list(reply.data)
        : PayloadFields::listOf(reply.data.toMap(), "deviceList");
    if (devices.isEmpty())
        return;
    m_deviceTree.updateExternalDevice(devices);
    for (const QVariant& deviceEntry : devices) {
        const QVariantMap device = deviceEntry.toMap();
        const QString deviceId = textOf(device, "NodeID");
        if (deviceId.isEmpty() || !m_deviceTree.contains(deviceId))
            continue;
        m_diDoStates.resize(deviceId, device.value(QStringLiteral("DINum")).toInt(),
                            device.value(QStringLiteral("DONum")).toInt());
        emit didoNodeChanged(deviceId);
    }
}

// ---- Topology queries ------------------------------------------------------

QVariantList PluginTopologyMgt::getCameraInfoList() const
{
    QVariantList records;
    records.reserve(m_cameraInfoMap.size());
    for (const QVariantMap& record : m_cameraInfoMap)
        records.append(record);
    return records;
}

QVariant PluginTopologyMgt::cameraInfoFrom(const QString& camUID, const QString& roleName) const
{
    return m_cameraInfoMap.value(camUID).value(roleName);
}

QVariantMap PluginTopologyMgt::cameraInfoMap(const QString& camUID) const
{
    return m_cameraInfoMap.value(camUID);
}

QVariant PluginTopologyMgt::deviceInfoFrom(const QString& nodeId, const QString& roleName) const
{
    return m_deviceTree.data(nodeId, roleName);
}

// Asks the camera's station for fresh information about that one camera. A
// caller that does not insist on a refresh is answered from the stored record
// when there is one; the answer comes as refreshCameraInfoResp either way.
void PluginTopologyMgt::refreshCameraInfo(const QVariantMap& camera, bool refresh)
{
    const QString cameraId = camera.value(QStringLiteral("idRole")).toString();
    const QString stationId = camera.value(QStringLiteral("parentStationIDRole")).toString();
    if (cameraId.isEmpty())
        return;
    if (!refresh && m_cameraInfoMap.contains(cameraId)) {
        emit refreshCameraInfoResp(true, true, stationId, cameraId);
        return;
    }
    m_commander.retrieveCamInfo(stationId, QStringList{cameraId});
}

// ---- Logical tree replies --------------------------------------------------

// Each part of the tree carries the root's fields and some of its top-level
// subtrees; the first part replaces the tree kept as sent and later parts add
// their subtrees to it.
// The reply's origin names the station that sent the tree.
void PluginTopologyMgt::HandleRetrieveLogicalTree(const Reply& reply)
{
    if (!reply.succeeded()) {
        TOPOLOGY_LOG_ERROR("%s, RetrieveLogicalTree return code : %s", "PluginTopologyMgt::HandleRetrieveLogicalTree",
                           reply.returnCode);
        return;
    }
    // Each level of the tree is a node's map and the list of its children.
    const QVariantMap tree = PayloadFields::withinNesting(reply.data, 2 * ModuleLimits::kMaxTreeDepth).toMap();
    m_logicalTreeServerMap = reply.part.first ? tree : ReplyParts::merged(m_logicalTreeServerMap, tree).toMap();
    m_logicalTree.set(tree, reply.origin);
}

void PluginTopologyMgt::HandleMoveLogicalTreeNode(const Reply& reply)
{
    emit moveLogicalTreeNodeResp(reply.succeeded());
}

void PluginTopologyMgt::HandleRenameLogicalTreeFolder(const Reply& reply)
{
    emit renameFolderResponded(PayloadFields::text(reply.data), reply.succeeded());
}

void PluginTopologyMgt::HandleRemoveLogicalTreeItem(const Reply& reply)
{
    emit removeLogicalTreeItemResp(reply.succeeded());
}

void PluginTopologyMgt::HandleAddDeviceIntoLogicalTree(const Reply& reply)
{
    emit addDeviceIntoLogicalTreeResp(reply.succeeded());
}

void PluginTopologyMgt::HandleAddStationIntoLogicalTree(const Reply& reply)
{
    emit addStationIntoLogicalTreeResp(reply.succeeded());
}

void PluginTopologyMgt::HandleLookupLogicalTreePathId(const Reply& reply)
{
    emit getLogicalTreePathIdsResponse(PayloadFields::list(reply.data));
}

// The answer only says that the servers are done.
void PluginTopologyMgt::HandleRestoreUngroupedDevices(const Reply&)
{
    emit restoreUngroupedDevicesFinished();
}

// ---- Failover replies --------------------------------------------------------

// The take-over is announced from the report before the controls change, so
// that listeners compare the news with the state they knew.
void PluginTopologyMgt::HandleGetFailoverStatus(const Reply& reply)
{
    if (!m_failoverControl)
        return;
    m_failoverControl->announceTakenOverChange(reply.data);
    updateFailoverStatus(reply.data);
}

void PluginTopologyMgt::HandleGetRedundantServersStatus(const Reply& reply)
{
    if (!m_failoverControl)
        return;
    const QList<QVariant> entries = StandardFailoverControl::statusEntryList(reply.data);
    m_failoverControl->announceTakenOverChanges(entries);
    m_failoverControl->UpdateStatusList(entries);
    if (m_failoverControlWithoutRedundantServer)
        m_failoverControlWithoutRedundantServer->UpdateStatusList(entries);
    emit deviceInfoRetrieved(QString());
    emit cameraAndStationConnectionStatusRetrieved();
}

// ---- Web page replies --------------------------------------------------------

// The reply holds the whole list, which replaces the shown one; in parts, the
// first part replaces it and later parts add their pages, and the list is
// announced once, complete. The reply also answers getAllWebPage's callers.
void PluginTopologyMgt::HandleGetAllWebPageResponse(const Reply& reply)
{
    if (!reply.succeeded() || !m_webPageController)
        return;
    if (reply.part.first) {
        m_webPageController->setAllWebPages(PayloadFields::list(reply.data));
    } else {
        for (const QVariant& page : PayloadFields::list(reply.data)) {
            if (page.typeId() == QMetaType::QVariantMap)
                m_webPageController->addWebPage(page.toMap());
        }
    }
    if (!reply.part.last)
        return;
    emit webPageChanged();
    emit getAllWebPageResp(m_webPageController->getWebPageList());
}

// ---- Recording locations -----------------------------------------------------

void PluginTopologyMgt::HandleQryLocationInfo(const Reply& reply)
{
    if (!reply.succeeded()) {
        TOPOLOGY_LOG_ERROR("%s, HandleQryLocationInfo return code : %s", "PluginTopologyMgt::HandleQryLocationInfo",
                           reply.returnCode);
        return;
    }
    applyLocationAnswer(reply.data.toMap(), reply.part);
}

// Parts of a location answer each bring some locations and removed cameras;
// every channel entry updates the stored record in turn, as in one answer.
void PluginTopologyMgt::applyLocationAnswer(const QVariantMap& locations, ReplyPart part)
{
    const QString relayPath = textOf(locations, "relayPath");
    m_locations.applyLocationAnswer(locations);
    const QVariantList removedCameras = RecordingLocations::removedCamerasIn(locations);
    if (!removedCameras.isEmpty())
        replaceRemovedCameras(relayPath, removedCameras);
    if (part.last)
        emit deviceInfoRetrieved(relayPath);
}

// The station's removed cameras as the servers list them now. A camera listed
// again replaces its earlier node in both trees instead of doubling it; removed
// cameras that the list leaves out stay until their location goes.
void PluginTopologyMgt::replaceRemovedCameras(const QString& stationId, const QVariantList& removedCameras)
{
    QStringList cameraIds;
    for (const QVariant& entry : removedCameras)
        cameraIds.append(NodeSubtree::childId(stationId, textOf(entry.toMap(), "camID")));
    removeRemovedCameras(stationId, cameraIds);
    m_deviceTree.insertRemovedCameras(stationId, removedCameras);
    m_logicalTree.insertRemovedCameras(stationId, removedCameras);
}

void PluginTopologyMgt::removeRemovedCameras(const QString& stationId, const QStringList& cameraIds)
{
    QStringList logicalIds;
    for (const QString& cameraId : cameraIds)
        logicalIds.append(NodeSubtree::childId(LogicalTree::kRemovedCamerasFolderId, cameraId));
    m_deviceTree.removeRemovedCameras(stationId, cameraIds);
    m_logicalTree.removeNodes(logicalIds);
}

// ---- Status replies ------------------------------------------------------------

void PluginTopologyMgt::HandleGetCameraStatusResp(const Reply& reply)
{
    if (!reply.succeeded()) {
        TOPOLOGY_LOG_ERROR("%s, HandleGetCameraStatusResp return code : %s",
                           "PluginTopologyMgt::HandleGetCameraStatusResp", reply.returnCode);
        return;
    }
    const QVariantMap status = reply.data.toMap();
    emit getCameraStatusResp(textOf(status, "nodeID"),
                             QVariantMap{{QStringLiteral("isRecording"),
                                          status.value(QStringLiteral("isRecording")).toBool()}});
}

void PluginTopologyMgt::HandleGetAllDiDoRefname(const Reply& reply)
{
    const std::vector<QVariantMap> records = parseDiDoRefNames(PayloadFields::list(reply.data));
    m_deviceTree.updateDiDoNames(records);
    m_logicalTree.updateDiDoNames(records);
    for (const QVariantMap& record : records) {
        const QString nodeId = record.value(QStringLiteral("nodeID")).toString();
        if (!nodeId.isEmpty())
            emit didoNodeChanged(nodeId);
    }
}

std::vector<QVariantMap> PluginTopologyMgt::parseDiDoRefNames(const QVariantList& items) const
{
    std::vector<QVariantMap> records;
    records.reserve(size_t(items.size()));
    for (const QVariant& entry : items) {
        const QVariantMap item = entry.toMap();
        const char* const nodeKey = item.contains(QStringLiteral("camNodeId")) ? "camNodeId"
            : item.contains(QStringLiteral("stationID"))                       ? "stationID"
                                                                               : "stationNodeId";
        records.push_back({{QStringLiteral("nodeID"), textOf(item, nodeKey)},
                           {QStringLiteral("diChangeList"), item.value(QStringLiteral("diChangeList"))},
                           {QStringLiteral("doChangeList"), item.value(QStringLiteral("doChangeList"))}});
    }
    return records;
}

// Only time-outs are listed; devices missing from the list keep their mark
// until they report back.
void PluginTopologyMgt::HandleGetSKYRCloudConnectionTimeoutList(const Reply& reply)
{
    if (!reply.succeeded()) {
        TOPOLOGY_LOG_ERROR("%s, HandleGetSKYRCloudConnectionTimeoutList return code : %s",
                           "PluginTopologyMgt::HandleGetSKYRCloudConnectionTimeoutList", reply.returnCode);
        return;
    }
    m_deviceTree.updateSkyrCloudRelayTimeout(PayloadFields::textList(reply.data), true);
}

// The answer carries what the broadcast of a change carries.
void PluginTopologyMgt::HandleGetWifiStatus(const Reply& reply)
{
    HandleWifiStatus(reply.data);
}
