#include "PluginTopologyMgt.h"

#include "ModuleLog.h"
#include "RequestContexts.h"
#include "StandardTopologyModel.h"

namespace {
const QString kSuccess = QStringLiteral("0");
}

// Each reply name is bound to the handler's own parameters; the binders below
// pick the positions of (respData, pvContext, returnCode, completed, origin).
void PluginTopologyMgt::initialCommandHandlerMap()
{
    using Self = PluginTopologyMgt;
    const auto dataAndCode = [this](void (Self::*handler)(const QVariant&, const QString&)) -> CommandHandler {
        return [this, handler](const QVariant& data, void*, const QString& code, bool, const QString&) {
            (this->*handler)(data, code);
        };
    };
    const auto dataContextCodeCompleted =
        [this](void (Self::*handler)(const QVariant&, void*, const QString&, bool)) -> CommandHandler {
        return [this, handler](const QVariant& data, void* context, const QString& code, bool completed,
                               const QString&) { (this->*handler)(data, context, code, completed); };
    };
    const auto dataCodeOrigin =
        [this](void (Self::*handler)(const QVariant&, const QString&, const QString&)) -> CommandHandler {
        return [this, handler](const QVariant& data, void*, const QString& code, bool, const QString& origin) {
            (this->*handler)(data, code, origin);
        };
    };
    const auto dataAndOrigin = [this](void (Self::*handler)(const QVariant&, const QString&)) -> CommandHandler {
        return [this, handler](const QVariant& data, void*, const QString&, bool, const QString& origin) {
            (this->*handler)(data, origin);
        };
    };
    const auto codeOnly = [this](void (Self::*handler)(const QString&)) -> CommandHandler {
        return [this, handler](const QVariant&, void*, const QString& code, bool, const QString&) {
            (this->*handler)(code);
        };
    };
    const auto dataOnly = [this](void (Self::*handler)(const QVariant&)) -> CommandHandler {
        return [this, handler](const QVariant& data, void*, const QString&, bool, const QString&) {
            (this->*handler)(data);
        };
    };
    const auto nothing = [this](void (Self::*handler)()) -> CommandHandler {
        return [this, handler](const QVariant&, void*, const QString&, bool, const QString&) { (this->*handler)(); };
    };
    // The new folder arrives with its broadcast; the answer itself carries nothing to act on.
    const CommandHandler ignored = [](const QVariant&, void*, const QString&, bool, const QString&) {};

    m_commandHandlerMap.emplace(QStringLiteral("RetrieveDeviceTopology"), dataAndCode(&Self::HandleRetrieveDevTopology));
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveAllCamInfo"),
                                dataContextCodeCompleted(&Self::HandleRetrieveNodeInfo));
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveCamInfo"), dataContextCodeCompleted(&Self::HandleRetrieveNodeInfo));
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveRuleInfo"), dataContextCodeCompleted(&Self::HandleRetrieveRuleInfo));
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveLoginStationInfo"),
                                dataAndCode(&Self::HandleRetrieveLoginStationInfo));
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveServerInfo"), dataAndCode(&Self::HandleRetrieveSrvInfo));
    m_commandHandlerMap.emplace(QStringLiteral("retrieveLogicalTree"), dataCodeOrigin(&Self::HandleRetrieveLogicalTree));
    m_commandHandlerMap.emplace(QStringLiteral("moveLogicalTreeNode"), codeOnly(&Self::HandleMoveLogicalTreeNode));
    m_commandHandlerMap.emplace(QStringLiteral("renameLogicalTreeFolder"),
                                dataAndCode(&Self::HandleRenameLogicalTreeFolder));
    m_commandHandlerMap.emplace(QStringLiteral("InsertFolderLogical"), ignored);
    m_commandHandlerMap.emplace(QStringLiteral("removeLogicalTreeItem"), codeOnly(&Self::HandleRemoveLogicalTreeItem));
    m_commandHandlerMap.emplace(QStringLiteral("addDeviceIntoLogicalTree"),
                                codeOnly(&Self::HandleAddDeviceIntoLogicalTree));
    m_commandHandlerMap.emplace(QStringLiteral("addStationIntoLogicalTree"),
                                codeOnly(&Self::HandleAddStationIntoLogicalTree));
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveExternalDevs"), dataOnly(&Self::HandleExternalDevicesRetrieve));
    m_commandHandlerMap.emplace(QStringLiteral("getAllWebPage"), dataAndCode(&Self::HandleGetAllWebPageResponse));
    m_commandHandlerMap.emplace(QStringLiteral("GetFailoverStatus"), dataAndOrigin(&Self::HandleGetFailoverStatus));
    m_commandHandlerMap.emplace(QStringLiteral("GetRedundantServersStatus"),
                                dataOnly(&Self::HandleGetRedundantServersStatus));
    m_commandHandlerMap.emplace(QStringLiteral("lookupLogicalTreePathIds"),
                                dataOnly(&Self::HandleLookupLogicalTreePathId));
    m_commandHandlerMap.emplace(QStringLiteral("restoreUngroupedDevices"),
                                nothing(&Self::HandleRestoreUngroupedDevices));
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

QVariantList PluginTopologyMgt::allNonRedundantServerSubstations(const QVariantList& nodeList) const
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

void PluginTopologyMgt::HandleRetrieveDevTopology(const QVariant& respData, const QString& returnCode)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, RetrieveDevTopology return code : %s", "PluginTopologyMgt::HandleRetrieveDevTopology",
                           returnCode);
        return;
    }
    const QVariantMap topology = respData.toMap();
    const QString parentStationId = topology.value(QStringLiteral("parentStationID")).toString();
    const QVariantList nodeList = topology.value(QStringLiteral("nodeList")).toList();

    m_deviceTree.insertNewNodes(parentStationId, nodeList);
    m_deviceTree.updateStationConnected(parentStationId, true);
    const bool isNvr = m_deviceTree.data(parentStationId, StandardTopologyModel::isNVRStationRole).toBool();

    emit nodeStatusChanged(StandardTopologyModel::StationNode, parentStationId, true);
    emit stationConnectionStatusChanged(parentStationId, true, isNvr);
    for (const QVariant& substation : allNonRedundantServerSubstations(nodeList)) {
        const QVariantMap record = substation.toMap();
        emit stationInserted(record.value(QStringLiteral("nodeUID")).toString(),
                             record.value(QStringLiteral("nodeName")).toString(),
                             record.value(QStringLiteral("parentStationID")).toString());
    }
}

void PluginTopologyMgt::HandleRetrieveNodeInfo(const QVariant& respData, void* pvContext, const QString& returnCode,
                                               bool completed)
{
    // The context of a camera information request is the request's own argument
    // map; whole-station hand-overs from the commander come without one.
    const QVariantMap request = RequestContexts::argumentsOf(QStringLiteral("RetrieveCamInfo"), pvContext);
    const QStringList requestedCameras = request.value(QStringLiteral("camIDList")).toStringList();
    const QString requestedCamera = requestedCameras.isEmpty() ? QString() : requestedCameras.first();

    if (returnCode != kSuccess) {
        const QString station = request.value(QStringLiteral("relayPath")).toString();
        TOPOLOGY_LOG_ERROR("RetrieveNodeInfo fail station:%s, return code :%s", station, returnCode);
        if (pvContext)
            emit refreshCameraInfoResp(completed, false, station, requestedCamera);
        return;
    }

    const QVariantMap answer = respData.toMap();
    const QString station = answer.value(QStringLiteral("relayPath")).toString();

    const std::vector<QVariantMap> cameras =
        parseCamerasList(answer.value(QStringLiteral("cameras")).toList(), station);
    m_deviceTree.updateCameraInfo(cameras);
    for (const QVariantMap& camera : cameras)
        m_cameraInfoMap.insert(camera.value(QStringLiteral("idRole")).toString(), camera);
    storeDiDoStates(cameras);
    m_logicalTree.insertCameraDiDoNodes(cameras);
    emitDiDoNodeChangedSignal(cameras);

    const std::vector<QVariantMap> stations = parseStationsList(answer.value(QStringLiteral("stations")).toList());
    m_deviceTree.updateStationInfo(stations);
    storeDiDoStates(stations);
    updateStationDiDoInLogicalTreeModel(stations);
    emitDiDoNodeChangedSignal(stations);

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

void PluginTopologyMgt::storeDiDoStates(const std::vector<QVariantMap>& records)
{
    for (const QVariantMap& record : records)
        storeDiDoState(record.value(QStringLiteral("idRole")).toString(),
                       record.value(QStringLiteral("diCountRole")).toInt(),
                       record.value(QStringLiteral("doCountRole")).toInt());
}

// A node's port states survive a refresh of its information; only the number
// of ports follows the record.
void PluginTopologyMgt::storeDiDoState(const QString& nodeId, int inputCount, int outputCount)
{
    if (nodeId.isEmpty())
        return;
    DiDoState& state = m_diDoStates[nodeId];
    state.inputs.resize(qMax(0, inputCount));
    state.outputs.resize(qMax(0, outputCount));
}

void PluginTopologyMgt::HandleRetrieveRuleInfo(const QVariant& respData, void*, const QString& returnCode, bool)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, HandleRetrieveRuleInfo return code : %s", "PluginTopologyMgt::HandleRetrieveRuleInfo",
                           returnCode);
        return;
    }
    const QVariantMap answer = respData.toMap();
    for (const QVariant& cameraEntry : answer.value(QStringLiteral("cameras")).toList()) {
        const QVariantMap camera = cameraEntry.toMap();
        const QString cameraId = camera.value(QStringLiteral("camUID")).toString();
        const auto record = m_cameraInfoMap.find(cameraId);
        if (record == m_cameraInfoMap.end())
            continue;
        const QVariantList rules = camera.value(QStringLiteral("ruleList")).toList();
        record->insert(QStringLiteral("ruleInfoListRole"), rules);
        m_deviceTree.setData(cameraId, StandardTopologyModel::ruleInfoListRole, rules);
    }
    emit updateVCARulesResp(answer.value(QStringLiteral("relayPath")).toString());
}

void PluginTopologyMgt::HandleRetrieveLoginStationInfo(const QVariant& respData, const QString& returnCode)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, retrieve login station info failed. return code : %s",
                           "PluginTopologyMgt::HandleRetrieveLoginStationInfo", returnCode);
        return;
    }
    const QVariantMap answer = respData.toMap();
    m_deviceTree.insertLoginStation(answer.value(QStringLiteral("stationName")).toString(),
                                    answer.value(QStringLiteral("stationIP")).toString());
    const QString loginStationId;
    emit stationInserted(loginStationId,
                         m_deviceTree.data(loginStationId, StandardTopologyModel::nameRole).toString(), QString());
}

void PluginTopologyMgt::HandleRetrieveSrvInfo(const QVariant& respData, const QString& returnCode)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, HandleRetrieveSrvInfo return code : %s", "PluginTopologyMgt::HandleRetrieveSrvInfo",
                           returnCode);
        return;
    }
    const QVariantMap answer = respData.toMap();
    m_deviceTree.updateServerInfo(answer.value(QStringLiteral("relayPath")).toString(), answer);
}

// The external and I/O devices of a station arrive as a list of device records
// (either the answer itself or its "deviceList"); each is merged into the device
// tree, its port count sizes its DI/DO state, and its views are told that its
// DI/DO names may have changed.
void PluginTopologyMgt::HandleExternalDevicesRetrieve(const QVariant& respData)
{
    const QVariantList devices = respData.typeId() == QMetaType::QVariantList
        ? respData.toList()
        : respData.toMap().value(QStringLiteral("deviceList")).toList();
    if (devices.isEmpty())
        return;
    m_deviceTree.updateExternalDevice(devices);
    for (const QVariant& deviceEntry : devices) {
        const QVariantMap device = deviceEntry.toMap();
        const QString deviceId = device.value(QStringLiteral("NodeID")).toString();
        if (deviceId.isEmpty() || !m_deviceTree.contains(deviceId))
            continue;
        storeDiDoState(deviceId, device.value(QStringLiteral("DINum")).toInt(),
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

void PluginTopologyMgt::HandleRetrieveLogicalTree(const QVariant& respData, const QString& returnCode,
                                                  const QString& stationId)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, RetrieveLogicalTree return code : %s", "PluginTopologyMgt::HandleRetrieveLogicalTree",
                           returnCode);
        return;
    }
    m_logicalTreeServerMap = respData.toMap();
    m_logicalTree.set(m_logicalTreeServerMap, stationId);
}

void PluginTopologyMgt::HandleMoveLogicalTreeNode(const QString& returnCode)
{
    emit moveLogicalTreeNodeResp(returnCode == kSuccess);
}

void PluginTopologyMgt::HandleRenameLogicalTreeFolder(const QVariant& respData, const QString& returnCode)
{
    emit renameFolderResponded(respData.toString(), returnCode == kSuccess);
}

void PluginTopologyMgt::HandleRemoveLogicalTreeItem(const QString& returnCode)
{
    emit removeLogicalTreeItemResp(returnCode == kSuccess);
}

void PluginTopologyMgt::HandleAddDeviceIntoLogicalTree(const QString& returnCode)
{
    emit addDeviceIntoLogicalTreeResp(returnCode == kSuccess);
}

void PluginTopologyMgt::HandleAddStationIntoLogicalTree(const QString& returnCode)
{
    emit addStationIntoLogicalTreeResp(returnCode == kSuccess);
}

void PluginTopologyMgt::HandleLookupLogicalTreePathId(const QVariant& respData)
{
    emit getLogicalTreePathIdsResponse(respData.toList());
}

void PluginTopologyMgt::HandleRestoreUngroupedDevices()
{
    emit restoreUngroupedDevicesFinished();
}

// ---- Failover replies --------------------------------------------------------

// The take-over is announced from the report before the controls change, so
// that listeners compare the news with the state they knew.
void PluginTopologyMgt::HandleGetFailoverStatus(const QVariant& respData, const QString&)
{
    if (!m_failoverControl)
        return;
    m_failoverControl->announceTakenOverChange(respData);
    updateFailoverStatus(respData);
}

void PluginTopologyMgt::HandleGetRedundantServersStatus(const QVariant& respData)
{
    if (!m_failoverControl)
        return;
    const QList<QVariant> entries = StandardFailoverControl::statusEntryList(respData);
    m_failoverControl->announceTakenOverChanges(entries);
    m_failoverControl->UpdateStatusList(entries);
    if (m_failoverControlWithoutRedundantServer)
        m_failoverControlWithoutRedundantServer->UpdateStatusList(entries);
    emit deviceInfoRetrieved(QString());
    emit cameraAndStationConnectionStatusRetrieved();
}

// ---- Web page replies --------------------------------------------------------

// The list always comes whole; the reply also answers getAllWebPage's callers.
void PluginTopologyMgt::HandleGetAllWebPageResponse(const QVariant& respData, const QString& returnCode)
{
    if (returnCode != kSuccess)
        return;
    if (replaceWebPages(respData))
        emit getAllWebPageResp(respData.toList());
}
