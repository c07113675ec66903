#include "PluginTopologyMgt.h"

#include "DeviceNodeFactory.h"
#include "ModuleLimits.h"
#include "ModuleLog.h"
#include "PayloadFields.h"
#include "RequestContexts.h"
#include "StandardTopologyModel.h"
#include "WebPageTreeModelController.h"

namespace {
const QString kSuccess = QStringLiteral("0");
using PayloadFields::textOf;
}

// Each reply name is bound to the handler's own parameters; the binders below
// pick the positions of (respData, pvContext, returnCode, part, origin). A
// handler bound with inParts applies each part of a reply in several parts
// itself (CommandProcessor tells it where the part stands); every other one
// runs once, with the whole reply.
void PluginTopologyMgt::initialCommandHandlerMap()
{
    using Self = PluginTopologyMgt;
    using Run = decltype(CommandHandler::run);
    const auto whole = [](Run run) { return CommandHandler{std::move(run), false}; };
    const auto inParts = [](Run run) { return CommandHandler{std::move(run), true}; };
    const auto dataAndCode = [this](void (Self::*handler)(const QVariant&, const QString&)) -> Run {
        return [this, handler](const QVariant& data, void*, const QString& code, ReplyPart, const QString&) {
            (this->*handler)(data, code);
        };
    };
    const auto dataCodePart = [this](void (Self::*handler)(const QVariant&, const QString&, ReplyPart)) -> Run {
        return [this, handler](const QVariant& data, void*, const QString& code, ReplyPart part, const QString&) {
            (this->*handler)(data, code, part);
        };
    };
    // `completed` of these handlers is the reply's last part.
    const auto dataContextCodeCompleted =
        [this](void (Self::*handler)(const QVariant&, void*, const QString&, bool)) -> Run {
        return [this, handler](const QVariant& data, void* context, const QString& code, ReplyPart part,
                               const QString&) { (this->*handler)(data, context, code, part.last); };
    };
    const auto dataAndOrigin = [this](void (Self::*handler)(const QVariant&, const QString&)) -> Run {
        return [this, handler](const QVariant& data, void*, const QString&, ReplyPart, const QString& origin) {
            (this->*handler)(data, origin);
        };
    };
    const auto codeOnly = [this](void (Self::*handler)(const QString&)) -> Run {
        return [this, handler](const QVariant&, void*, const QString& code, ReplyPart, const QString&) {
            (this->*handler)(code);
        };
    };
    const auto dataOnly = [this](void (Self::*handler)(const QVariant&)) -> Run {
        return [this, handler](const QVariant& data, void*, const QString&, ReplyPart, const QString&) {
            (this->*handler)(data);
        };
    };
    const auto nothing = [this](void (Self::*handler)()) -> Run {
        return [this, handler](const QVariant&, void*, const QString&, ReplyPart, const QString&) { (this->*handler)(); };
    };
    const Run logicalTree = [this](const QVariant& data, void*, const QString& code, ReplyPart part,
                                   const QString& origin) { HandleRetrieveLogicalTree(data, code, origin, part); };
    // The new folder arrives with its broadcast; the answer itself carries nothing to act on.
    const Run ignored = [](const QVariant&, void*, const QString&, ReplyPart, const QString&) {};

    // Lists of records, applied part by part.
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveDeviceTopology"),
                                inParts(dataCodePart(&Self::HandleRetrieveDevTopology)));
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveAllCamInfo"),
                                inParts(dataContextCodeCompleted(&Self::HandleRetrieveNodeInfo)));
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveCamInfo"),
                                inParts(dataContextCodeCompleted(&Self::HandleRetrieveNodeInfo)));
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveRuleInfo"),
                                inParts(dataContextCodeCompleted(&Self::HandleRetrieveRuleInfo)));
    m_commandHandlerMap.emplace(QStringLiteral("QryCamLocation"), inParts(dataCodePart(&Self::HandleQryLocationInfo)));
    m_commandHandlerMap.emplace(QStringLiteral("retrieveLogicalTree"), inParts(logicalTree));
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveExternalDevs"),
                                inParts(dataOnly(&Self::HandleExternalDevicesRetrieve)));
    m_commandHandlerMap.emplace(QStringLiteral("getAllWebPage"),
                                inParts(dataCodePart(&Self::HandleGetAllWebPageResponse)));
    m_commandHandlerMap.emplace(QStringLiteral("GetDiDoRefName"), inParts(dataOnly(&Self::HandleGetAllDiDoRefname)));
    m_commandHandlerMap.emplace(QStringLiteral("GetSKYRCloudConnectionTimeoutList"),
                                inParts(dataAndCode(&Self::HandleGetSKYRCloudConnectionTimeoutList)));

    // Records of single fields, answers that only confirm, and lists handed on
    // or compared whole: taken whole.
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveLoginStationInfo"),
                                whole(dataAndCode(&Self::HandleRetrieveLoginStationInfo)));
    m_commandHandlerMap.emplace(QStringLiteral("RetrieveServerInfo"), whole(dataAndCode(&Self::HandleRetrieveSrvInfo)));
    m_commandHandlerMap.emplace(QStringLiteral("GetCameraStatus"), whole(dataAndCode(&Self::HandleGetCameraStatusResp)));
    m_commandHandlerMap.emplace(QStringLiteral("moveLogicalTreeNode"), whole(codeOnly(&Self::HandleMoveLogicalTreeNode)));
    m_commandHandlerMap.emplace(QStringLiteral("renameLogicalTreeFolder"),
                                whole(dataAndCode(&Self::HandleRenameLogicalTreeFolder)));
    m_commandHandlerMap.emplace(QStringLiteral("InsertFolderLogical"), whole(ignored));
    m_commandHandlerMap.emplace(QStringLiteral("removeLogicalTreeItem"),
                                whole(codeOnly(&Self::HandleRemoveLogicalTreeItem)));
    m_commandHandlerMap.emplace(QStringLiteral("addDeviceIntoLogicalTree"),
                                whole(codeOnly(&Self::HandleAddDeviceIntoLogicalTree)));
    m_commandHandlerMap.emplace(QStringLiteral("addStationIntoLogicalTree"),
                                whole(codeOnly(&Self::HandleAddStationIntoLogicalTree)));
    m_commandHandlerMap.emplace(QStringLiteral("GetFailoverStatus"), whole(dataAndOrigin(&Self::HandleGetFailoverStatus)));
    m_commandHandlerMap.emplace(QStringLiteral("GetRedundantServersStatus"),
                                whole(dataOnly(&Self::HandleGetRedundantServersStatus)));
    m_commandHandlerMap.emplace(QStringLiteral("lookupLogicalTreePathIds"),
                                whole(dataOnly(&Self::HandleLookupLogicalTreePathId)));
    m_commandHandlerMap.emplace(QStringLiteral("GetWifiStatus"), whole(dataOnly(&Self::HandleWifiStatus)));
    m_commandHandlerMap.emplace(QStringLiteral("restoreUngroupedDevices"),
                                whole(nothing(&Self::HandleRestoreUngroupedDevices)));
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

// A station's node list replaces the station's children. In parts, the first
// part that brings nodes replaces them and later parts add theirs; the station
// is marked connected and announced once, with its last part.
void PluginTopologyMgt::HandleRetrieveDevTopology(const QVariant& respData, const QString& returnCode, ReplyPart part)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, RetrieveDevTopology return code : %s", "PluginTopologyMgt::HandleRetrieveDevTopology",
                           returnCode);
        return;
    }
    const QVariantMap topology = respData.toMap();
    const QString parentStationId = textOf(topology, "parentStationID");
    const QVariantList nodeList = topology.value(QStringLiteral("nodeList")).toList();

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
    const QString station = textOf(answer, "relayPath");

    const std::vector<QVariantMap> cameras =
        parseCamerasList(answer.value(QStringLiteral("cameras")).toList(), station);
    m_deviceTree.updateCameraInfo(cameras);
    for (const QVariantMap& camera : cameras)
        m_cameraInfoMap.insert(camera.value(QStringLiteral("idRole")).toString(), camera);
    storeDiDoStates(cameras);
    rememberCameraStatuses(cameras);
    m_logicalTree.insertCameraDiDoNodes(cameras);
    emitDiDoNodeChangedSignal(cameras);
    updateEdgeRecordingLocations(cameras);

    const std::vector<QVariantMap> stations = parseStationsList(answer.value(QStringLiteral("stations")).toList());
    m_deviceTree.updateStationInfo(stations);
    storeDiDoStates(stations);
    updateStationDiDoInLogicalTreeModel(stations);
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

void PluginTopologyMgt::HandleRetrieveRuleInfo(const QVariant& respData, void*, const QString& returnCode,
                                               bool completed)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, HandleRetrieveRuleInfo return code : %s", "PluginTopologyMgt::HandleRetrieveRuleInfo",
                           returnCode);
        return;
    }
    const QVariantMap answer = respData.toMap();
    for (const QVariant& cameraEntry : answer.value(QStringLiteral("cameras")).toList()) {
        const QVariantMap camera = cameraEntry.toMap();
        const QString cameraId = textOf(camera, "camUID");
        const auto record = m_cameraInfoMap.find(cameraId);
        if (record == m_cameraInfoMap.end())
            continue;
        // Kept in the record and the tree, so no deeper than the module keeps anything.
        const QVariantList rules = PayloadFields::withinNesting(camera.value(QStringLiteral("ruleList"))).toList();
        record->insert(QStringLiteral("ruleInfoListRole"), rules);
        m_deviceTree.setData(cameraId, StandardTopologyModel::ruleInfoListRole, rules);
    }
    if (completed)
        emit updateVCARulesResp(textOf(answer, "relayPath"));
}

void PluginTopologyMgt::HandleRetrieveLoginStationInfo(const QVariant& respData, const QString& returnCode)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, retrieve login station info failed. return code : %s",
                           "PluginTopologyMgt::HandleRetrieveLoginStationInfo", returnCode);
        return;
    }
    const QVariantMap answer = respData.toMap();
    // An answer for a login station that is already there updates it; it was
    // announced when it was inserted.
    if (!m_deviceTree.insertLoginStation(textOf(answer, "stationName"), textOf(answer, "stationIP")))
        return;
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
    m_deviceTree.updateServerInfo(textOf(answer, "relayPath"), answer);
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
        const QString deviceId = textOf(device, "NodeID");
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

// Each part of the tree carries the root's fields and some of its top-level
// subtrees; the first part replaces the tree kept as sent and later parts add
// their subtrees to it.
void PluginTopologyMgt::HandleRetrieveLogicalTree(const QVariant& respData, const QString& returnCode,
                                                  const QString& stationId, ReplyPart part)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, RetrieveLogicalTree return code : %s", "PluginTopologyMgt::HandleRetrieveLogicalTree",
                           returnCode);
        return;
    }
    // Each level of the tree is a node's map and the list of its children.
    const QVariantMap tree = PayloadFields::withinNesting(respData, 2 * ModuleLimits::kMaxTreeDepth).toMap();
    m_logicalTreeServerMap = part.first ? tree : ReplyParts::merged(m_logicalTreeServerMap, tree).toMap();
    m_logicalTree.set(tree, stationId);
}

void PluginTopologyMgt::HandleMoveLogicalTreeNode(const QString& returnCode)
{
    emit moveLogicalTreeNodeResp(returnCode == kSuccess);
}

void PluginTopologyMgt::HandleRenameLogicalTreeFolder(const QVariant& respData, const QString& returnCode)
{
    emit renameFolderResponded(PayloadFields::text(respData), returnCode == kSuccess);
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

// The reply holds the whole list, which replaces the shown one; in parts, the
// first part replaces it and later parts add their pages, and the list is
// announced once, complete. The reply also answers getAllWebPage's callers.
void PluginTopologyMgt::HandleGetAllWebPageResponse(const QVariant& respData, const QString& returnCode,
                                                    ReplyPart part)
{
    if (returnCode != kSuccess || !m_webPageController)
        return;
    if (part.first) {
        m_webPageController->setAllWebPages(respData.toList());
    } else {
        for (const QVariant& page : respData.toList()) {
            if (page.typeId() == QMetaType::QVariantMap)
                m_webPageController->addWebPage(page.toMap());
        }
    }
    if (!part.last)
        return;
    emit webPageChanged();
    emit getAllWebPageResp(m_webPageController->getWebPageList());
}

// ---- Recording locations -----------------------------------------------------

namespace {
const QString kLocationRole = QStringLiteral("locationRole");
const QString kAvailableRole = QStringLiteral("availableRole");
const QString kQueryFromRole = QStringLiteral("queryFromRole");

QString channelNodeId(const QString& relayPath, const QString& alias)
{
    return relayPath.isEmpty() ? alias : relayPath + QLatin1Char('/') + alias;
}

bool isSubStreamLocation(const QString& locationId)
{
    return locationId.contains(QLatin1String("_Sub"));
}

// NVR groups carry no stream number of their own; a sub-stream location records
// the second stream, every other location the first.
int nvrStreamIndex(const QString& locationId)
{
    return isSubStreamLocation(locationId) ? 2 : 1;
}
} // namespace

// Parts of a location answer each bring some locations and removed cameras;
// every channel entry updates the stored record in turn, as in one answer.
void PluginTopologyMgt::HandleQryLocationInfo(const QVariant& respData, const QString& returnCode, ReplyPart part)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, HandleQryLocationInfo return code : %s", "PluginTopologyMgt::HandleQryLocationInfo",
                           returnCode);
        return;
    }
    const QVariantMap locations = respData.toMap();
    const QString relayPath = textOf(locations, "relayPath");
    updateLocationInfoModel(locations);
    const QVariantList removedCameras = parseRemovedCameras(locations);
    if (!removedCameras.isEmpty())
        replaceRemovedCameras(relayPath, removedCameras);
    if (part.last)
        emit deviceInfoRetrieved(relayPath);
}

// Each channel entry of each location: the record keeps one location for
// playback (an available one over an unavailable one, the later of two
// available ones, and never a main-stream location for a sub-stream one or the
// reverse), while the stream information keeps every location of the channel.
// A record that keeps its stored location also keeps where that location is
// queried from; fields a channel event added (live, stream index) stay.
void PluginTopologyMgt::updateLocationInfoModel(const QVariantMap& locations)
{
    const QString relayPath = textOf(locations, "relayPath");
    const bool isNvr = m_deviceTree.data(relayPath, StandardTopologyModel::isNVRStationRole).toBool();
    for (const QVariant& locationEntry : locations.value(QStringLiteral("locInfo")).toList()) {
        for (const QVariant& channelEntry : locationEntry.toMap().value(QStringLiteral("locs")).toList()) {
            const QVariantMap channel = channelEntry.toMap();
            const QString alias = textOf(channel, "Alias");
            const QString locationId = textOf(channel, "Name");
            if (alias.isEmpty() || locationId.isEmpty())
                continue;
            const QString nodeId = channelNodeId(relayPath, alias);
            const bool available = channel.value(QStringLiteral("Available")).toBool();

            const auto stored = m_locationInfoMap.constFind(nodeId);
            const bool hadLocation = stored != m_locationInfoMap.cend() && !stored->value(kLocationRole).toString().isEmpty();
            QVariantMap record = stored != m_locationInfoMap.cend() ? *stored : QVariantMap();
            record.insert(QStringLiteral("nameRole"),
                          DeviceNodeFactory::cleanDisplayName(textOf(channel, "RefAlias")));
            record.insert(QStringLiteral("relayPathRole"), relayPath);
            record.insert(QStringLiteral("camIDRole"), alias);
            if (!record.value(kAvailableRole).toBool() || available) {
                record.insert(kLocationRole, locationId);
                record.insert(kAvailableRole, available);
                record.insert(kQueryFromRole, 0);
            }
            if (!hadLocation
                || isSubStreamLocation(stored->value(kLocationRole).toString()) == isSubStreamLocation(locationId))
                m_locationInfoMap.insert(nodeId, record);

            m_streamInfoMap[nodeId].insert(
                locationId,
                isNvr ? QVariantMap{{QStringLiteral("groupName"), m_deviceTree.data(nodeId, StandardTopologyModel::nameRole)},
                                    {QStringLiteral("streamIndex"), nvrStreamIndex(locationId)},
                                    {QStringLiteral("available"), available}}
                      : QVariantMap{{QStringLiteral("groupName"), textOf(channel, "GrpName")},
                                    {QStringLiteral("streamIndex"), channel.value(QStringLiteral("Stream")).toInt()},
                                    {QStringLiteral("available"), available}});
        }
    }
}

// A camera that records on its own storage can be played from there, under the
// last segment of its identifier; a station location that is available keeps
// priority. Its name and station come from the device tree when no station
// location has named it yet.
void PluginTopologyMgt::updateLocationInfoForEdgeRecordingCamera(const QString& camId)
{
    if (camId.isEmpty())
        return;
    const QString locationId = camId.section(QLatin1Char('/'), -1);
    m_streamInfoMap[camId].insert(locationId, QVariantMap{{QStringLiteral("groupName"), QStringLiteral("EdgeRecording")},
                                                          {QStringLiteral("streamIndex"), 1},
                                                          {QStringLiteral("available"), true}});
    QVariantMap& record = m_locationInfoMap[camId];
    if (record.value(kAvailableRole).toBool())
        return;
    if (!record.contains(QStringLiteral("nameRole"))) {
        record.insert(QStringLiteral("nameRole"), m_deviceTree.data(camId, StandardTopologyModel::nameRole).toString());
        record.insert(QStringLiteral("relayPathRole"),
                      m_deviceTree.data(camId, StandardTopologyModel::parentStationIDRole).toString());
    }
    record.insert(QStringLiteral("camIDRole"), camId);
    record.insert(kQueryFromRole, 1);
    record.insert(kLocationRole, locationId);
    record.insert(kAvailableRole, true);
}

void PluginTopologyMgt::updateEdgeRecordingLocations(const std::vector<QVariantMap>& cameraRecords)
{
    for (const QVariantMap& camera : cameraRecords) {
        if (camera.value(QStringLiteral("useEdgeRecordingRole")).toBool()
            || camera.value(QStringLiteral("hasEdgeRecordingFileRole")).toBool())
            updateLocationInfoForEdgeRecordingCamera(camera.value(QStringLiteral("idRole")).toString());
    }
}

QVariantList PluginTopologyMgt::parseRemovedCameras(const QVariantMap& locations) const
{
    QVariantList removedCameras;
    for (const QVariant& entry : locations.value(QStringLiteral("removedCameras")).toList()) {
        if (entry.typeId() == QMetaType::QVariantMap
            && !textOf(entry.toMap(), "camID").isEmpty())
            removedCameras.append(entry);
    }
    return removedCameras;
}

// Every channel that plays from one of the listed locations, in node order,
// once. Location identifiers repeat from station to station ("Loc1"), so the
// caller keeps the channels of the station that lost the location.
QStringList PluginTopologyMgt::parseRemovingRemovedCameras(const QVariantList& removedLocations) const
{
    QSet<QString> locationIds;
    for (const QVariant& entry : removedLocations) {
        const QString locationId = entry.typeId() == QMetaType::QVariantMap
            ? textOf(entry.toMap(), "Name")
            : PayloadFields::text(entry);
        if (!locationId.isEmpty())
            locationIds.insert(locationId);
    }
    QStringList nodeIds;
    for (auto record = m_locationInfoMap.cbegin(); record != m_locationInfoMap.cend(); ++record) {
        if (locationIds.contains(record->value(kLocationRole).toString()))
            nodeIds.append(record.key());
    }
    return nodeIds;
}

// The station's removed cameras as the servers list them now. A camera listed
// again replaces its earlier node in both trees instead of doubling it; removed
// cameras that the list leaves out stay until their location goes.
void PluginTopologyMgt::replaceRemovedCameras(const QString& stationId, const QVariantList& removedCameras)
{
    QStringList deviceIds;
    QStringList logicalIds;
    for (const QVariant& entry : removedCameras) {
        const QString cameraId = channelNodeId(stationId, textOf(entry.toMap(), "camID"));
        deviceIds.append(cameraId);
        logicalIds.append(LogicalTree::kRemovedCamerasFolderId + QLatin1Char('/') + cameraId);
    }
    m_deviceTree.removeRemovedCameras(stationId, deviceIds);
    m_logicalTree.removeNodes(logicalIds);
    m_deviceTree.insertRemovedCameras(stationId, removedCameras);
    m_logicalTree.insertRemovedCameras(stationId, removedCameras);
}

// ---- Status replies ------------------------------------------------------------

void PluginTopologyMgt::HandleGetCameraStatusResp(const QVariant& respData, const QString& returnCode)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, HandleGetCameraStatusResp return code : %s",
                           "PluginTopologyMgt::HandleGetCameraStatusResp", returnCode);
        return;
    }
    const QVariantMap status = respData.toMap();
    emit getCameraStatusResp(textOf(status, "nodeID"),
                             QVariantMap{{QStringLiteral("isRecording"),
                                          status.value(QStringLiteral("isRecording")).toBool()}});
}

void PluginTopologyMgt::HandleGetAllDiDoRefname(const QVariant& respData)
{
    const std::vector<QVariantMap> records = parseDiDoRefNames(respData.toList());
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
void PluginTopologyMgt::HandleGetSKYRCloudConnectionTimeoutList(const QVariant& respData, const QString& returnCode)
{
    if (returnCode != kSuccess) {
        TOPOLOGY_LOG_ERROR("%s, HandleGetSKYRCloudConnectionTimeoutList return code : %s",
                           "PluginTopologyMgt::HandleGetSKYRCloudConnectionTimeoutList", returnCode);
        return;
    }
    m_deviceTree.updateSkyrCloudRelayTimeout(PayloadFields::textList(respData), true);
}
