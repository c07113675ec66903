#include "PluginTopologyMgt.h"

#include "DeviceNodeFactory.h"
#include "FrameworkWrapperBase.h"
#include "InputLimits.h"
#include "ModuleLog.h"
#include "PayloadFields.h"
#include "DeviceModelFactory.h"
#include "DeviceSortFilterModel.h"
#include "EventDeviceModel.h"
#include "ListToFileWriter.h"
#include "LogicalTreeFilterSortModelEx.h"
#include "LogicalTreeFolderModel.h"
#include "LogicalTreeIDFilterModel.h"
#include "LogicalTreeSortFilterModel.h"
#include "LogicalTreeTopologyDataModel.h"
#include "LogicalTreeValidCameraDataModel.h"
#include "TreeToListProxyModel.h"
#include "WebPageTreeFilterSortModel.h"
#include "WebPageTreeModelController.h"
#include "StandardTopologyModel.h"

#include <new>

namespace {
const QString kPluginName = QStringLiteral("TopologyMgtPlugin");
const QString kPluginId = QStringLiteral("5E0C7A2B9D4F4E18A6B3C2D1F0E9A874");
// The views name the device tree as model type 0 in the generic model readers.
constexpr int kDeviceTreeModelType = 0;

QString cameraNodeId(const QString& stationId, const QString& cameraId)
{
    return stationId.isEmpty() ? cameraId : stationId + QLatin1Char('/') + cameraId;
}
} // namespace

PluginTopologyMgt::PluginTopologyMgt() = default;

PluginTopologyMgt::~PluginTopologyMgt()
{
    if (m_topologyDataModel)
        m_topologyDataModel->deleteLater();
    if (m_validCameraDataModel)
        m_validCameraDataModel->deleteLater();
    if (m_failoverControl)
        m_failoverControl->deleteLater();
    if (m_failoverControlWithoutRedundantServer)
        m_failoverControlWithoutRedundantServer->deleteLater();
}

bool PluginTopologyMgt::InitialPluginBase(QQmlContext* context, void* handle, FrameworkWrapperBase* framework)
{
    m_pluginName = kPluginName;
    m_pluginId = kPluginId;
    m_hostHandle = handle;
    m_framework = framework;
    return Init(context);
}

bool PluginTopologyMgt::Init(QQmlContext*)
{
    connect(&m_commander, &NodeDataCommander::sendCommand, this, &PluginTopologyMgt::sendCommandToServer);
    connect(&m_commander, &NodeDataCommander::allNodeInfoRetrieved, this, &PluginTopologyMgt::nodeInfoRetrievedChanged);
    connect(&m_commander, &NodeDataCommander::allTopologyRetrieved, this, &PluginTopologyMgt::topologyRetrievedChanged);
    connect(&m_commander, &NodeDataCommander::allCamStatusRetrieved, this,
            &PluginTopologyMgt::camStatusRetrievedChanged);
    connect(&m_commander, &NodeDataCommander::allServerInfoRetrieved, this,
            &PluginTopologyMgt::serverInfoRetrievedChanged);
    connect(&m_commander, &NodeDataCommander::logicalTreeRetrieved, this,
            &PluginTopologyMgt::logicalTreeRetrievedChanged);
    connect(&m_commander, &NodeDataCommander::locationRetrieved, this, &PluginTopologyMgt::locationRetrievedChanged);
    connect(&m_commander, &NodeDataCommander::handleStationTopology, this,
            [this](const QVariant& topology, const QString& returnCode) {
                HandleRetrieveDevTopology(topology, returnCode);
            });
    connect(&m_commander, &NodeDataCommander::handleGetAllNodeInfo, this, &PluginTopologyMgt::HandleRetrieveNodeInfo);

    try {
        m_failoverControl = new StandardFailoverControl(this);
        m_failoverControl->setSourceModel(m_deviceTree.getModel());
        m_failoverControlWithoutRedundantServer = new StandardFailoverControl(false, this);
        m_failoverControlWithoutRedundantServer->setSourceModel(m_deviceTree.getModel());
        connect(m_failoverControl, &StandardFailoverControl::stationTakenOverChanged, this,
                &PluginTopologyMgt::stationTakenOverChanged);
        connect(m_failoverControl, &StandardFailoverControl::failoverStatusChanged, this,
                &PluginTopologyMgt::failoverStatusChanged);
        // The logical views see the device data through the failover control, so
        // that taken-over stations show in them too.
        m_topologyDataModel = new LogicalTreeTopologyDataModel(this);
        m_topologyDataModel->setSourceModel(m_logicalTree.viewModel());
        m_topologyDataModel->setTopologyModel(m_failoverControl);
        m_validCameraDataModel = new LogicalTreeValidCameraDataModel(this);
        m_validCameraDataModel->setSourceModel(m_topologyDataModel);
        m_listToFileWriter = QSharedPointer<ListToFileWriter>::create();
        m_webPageController = std::make_shared<WebPageTreeModelController>();
    } catch (const std::bad_alloc&) {
        TOPOLOGY_LOG_ERROR("%s, std::bad_alloc", "PluginTopologyMgt::Init");
        return false;
    }

    initialCommandHandlerMap();
    initialEventActionMap();
    return true;
}

void PluginTopologyMgt::PluginServerConnected()
{
    m_commander.start();
    m_logicalTree.createDefaultNodes();
    getAllWebPage();
    if (m_framework)
        m_framework->SendRequest(m_hostHandle, m_pluginId, QStringLiteral("whoAmI"), QVariant(), nullptr, false,
                                 QString());
}

void PluginTopologyMgt::PluginServerDisconnected()
{
    // Replies still owed to the connection that ended describe nothing any more.
    m_requestContexts.retireAll();
    m_replyParts.clear();
    m_nodeListsReplaced.clear();
    m_commander.reset();
    m_logicalTree.clear();
    m_logicalTreeServerMap.clear();
    m_deviceTree.clear();
    if (m_failoverControl)
        m_failoverControl->clear();
    if (m_failoverControlWithoutRedundantServer)
        m_failoverControlWithoutRedundantServer->clear();
    // Everything below describes the cameras of the connection that ended; a
    // view asking before the next retrieval must not see them.
    clearConnectionTables();
    emit serverDisconnected();
}

void PluginTopologyMgt::sendCommandToServer(const QString& requestName, const QVariant& requestArguments,
                                            void* pvContext, bool blockReq)
{
    // Held before it leaves, since a framework may answer from inside the call.
    m_requestContexts.handOut(requestName, pvContext);
    if (m_framework
        && m_framework->SendRequest(m_hostHandle, m_pluginId, requestName, requestArguments, pvContext, blockReq,
                                    QString()))
        return;
    TOPOLOGY_LOG_ERROR("SendCommand (%s) failed", requestName);
    // A request that never left gets no reply, so nothing else would ever free its context.
    m_requestContexts.release(requestName, pvContext);
}

// A reply may come in several parts, each a call with the request's context and
// all but the last with `completed` false. Every part reaches the handlers that
// apply parts and the commander; a handler that needs the whole reply, and any
// handler of a failed one, runs once on the last part with the parts gathered.
// The context is freed after the last part.
void PluginTopologyMgt::CommandProcessor(QString command, QVariant respData, void* pvContext, QString returnCode,
                                         QString, bool completed, const QString& origin)
{
    const InputLimits::Scope limits("PluginTopologyMgt::CommandProcessor", "reply", command);
    // A context this module no longer holds (its reply has ended, or its
    // connection) or one made for another request must not be read.
    if (!m_requestContexts.isLive(command, pvContext)) {
        TOPOLOGY_LOG_ERROR("%s, reply %s dropped: its context is not held for it",
                           "PluginTopologyMgt::CommandProcessor", command);
        return;
    }
    const auto handler = m_commandHandlerMap.find(command);
    const bool hasHandler = handler != m_commandHandlerMap.end();
    const bool whoAmI = command == QLatin1String("whoAmI");
    const bool handlerTakesParts = hasHandler && handler->second.takesParts && returnCode == QLatin1String("0");
    // Only what a handler of this module reads whole is gathered.
    const bool gather = hasHandler ? !handlerTakesParts : whoAmI;
    const ReplyParts::Part part = m_replyParts.take(command, pvContext, respData, completed, gather);
    if (hasHandler && (handlerTakesParts || completed))
        handler->second.run(part.data, pvContext, returnCode, part.position, origin);

    m_commander.commandProcessor(command, respData, pvContext, returnCode, completed);

    if (whoAmI && completed) {
        m_clientId = PayloadFields::text(part.data);
        TOPOLOGY_LOG_INFO("I'm client id (%s).", m_clientId);
    }
    if (completed)
        m_requestContexts.release(command, pvContext);
}

void PluginTopologyMgt::EventProcessor(QString event, qint64, int, int, QVariant data, const QString& target)
{
    if (!target.isEmpty())
        return;
    const InputLimits::Scope limits("PluginTopologyMgt::EventProcessor", "broadcast", event);
    const auto action = m_eventActionMap.find(event);
    if (action != m_eventActionMap.end())
        action->second(data);
    m_commander.commandProcessor(event, data, nullptr, QStringLiteral("0"), true);
}

// The host also offers these two entry points with a configuration object; this
// module takes its traffic only from the plain ones, so anything delivered here
// is dropped on purpose.
void PluginTopologyMgt::EventProcessorEx(QString, ConfigBase*, qint64, int, int, QVariant, const QString&) {}

void PluginTopologyMgt::CommandProcessorEx(QString, ConfigBase*, QVariant, void*, QString, QString, bool,
                                           const QString&)
{
}

bool PluginTopologyMgt::topologyRetrieved() const { return m_commander.isTopologyRetrieved(); }
bool PluginTopologyMgt::logicalTreeRetrieved() const { return m_commander.isLogicalTreeRetrieved(); }
bool PluginTopologyMgt::locationRetrieved() const { return m_commander.isLocationRetrieved(); }
bool PluginTopologyMgt::nodeInfoRetrieved() const { return m_commander.isNodeInfoRetrieved(); }
bool PluginTopologyMgt::serverInfoRetrieved() const { return m_commander.isServerInfoRetrieved(); }
bool PluginTopologyMgt::camStatusRetrieved() const { return m_commander.isCamStatusRetrieved(); }

QStringList PluginTopologyMgt::commandHandlerNames() const
{
    QStringList names;
    for (const auto& entry : m_commandHandlerMap)
        names.append(entry.first);
    return names;
}

QStringList PluginTopologyMgt::eventActionNames() const
{
    QStringList names;
    for (const auto& entry : m_eventActionMap)
        names.append(entry.first);
    return names;
}

// ---- Retrieval, rules and server information -------------------------------

void PluginTopologyMgt::retrieveDeviceTopology(const QString& stationId)
{
    m_commander.retrieveDeviceTopology(stationId);
}

void PluginTopologyMgt::retrieveAllDeviceTopology(const QString& stationId)
{
    m_commander.retrieveAllDeviceTopology(stationId);
}

void PluginTopologyMgt::getCameraStatus(const QString& stationId, const QString& cameraId)
{
    m_commander.getCameraStatus(stationId, cameraId);
}

void PluginTopologyMgt::retryQueryLocation()
{
    m_commander.queryLocations(QString());
}

// Rules and server information are asked of every station the tree knows, NVRs
// included: each answers for its own cameras.
void PluginTopologyMgt::updateVCARules()
{
    for (const QString& stationId : m_deviceTree.getAllStationRelayPath(true))
        m_commander.retrieveRuleInfo(stationId);
}

void PluginTopologyMgt::getServerInfo()
{
    for (const QString& stationId : m_deviceTree.getAllStationRelayPath(true))
        m_commander.retrieveServerInfo(stationId);
}

// ---- Device models and device-tree queries ---------------------------------

QAbstractItemModel* PluginTopologyMgt::getStandardTopologyModel()
{
    return m_deviceTree.getModel();
}

QAbstractItemModel* PluginTopologyMgt::getFilteredStandardTopologyModel(QObject* parent)
{
    return DeviceModelFactory::createFilteredStandardTopologyModel(m_deviceTree.getModel(), parent);
}

QAbstractItemModel* PluginTopologyMgt::getTrendMicroDeviceModel(QObject* parent)
{
    return DeviceModelFactory::createTrendMicroDeviceModel(m_deviceTree.getModel(), parent);
}

QAbstractItemModel* PluginTopologyMgt::getSmartVCADeviceModel(QObject* parent)
{
    return DeviceModelFactory::createSmartVCADeviceModel(m_deviceTree.getModel(), parent);
}

QAbstractItemModel* PluginTopologyMgt::getThermalDeviceModel(QObject* parent)
{
    return DeviceModelFactory::createThermalDeviceModel(m_deviceTree.getModel(), parent);
}

QAbstractItemModel* PluginTopologyMgt::getGeneralDeviceModel(QObject* parent)
{
    return DeviceModelFactory::createGeneralDeviceModel(m_deviceTree.getModel(), parent);
}

QAbstractItemModel* PluginTopologyMgt::getCountingCameraDeviceTreeModel(QObject* parent)
{
    return DeviceModelFactory::createCountingCameraDeviceTreeModel(m_deviceTree.getModel(), parent);
}

QAbstractItemModel* PluginTopologyMgt::getTreeToListProxyModel(QObject* parent, QAbstractItemModel* source)
{
    return DeviceModelFactory::createTreeToListProxyModel(source, parent);
}

// ---- Failover --------------------------------------------------------------

bool PluginTopologyMgt::isStationTakenOver(const QString& stationID) const
{
    return m_failoverControl && m_failoverControl->IsStationTakenOver(stationID);
}

QAbstractItemModel* PluginTopologyMgt::getFailoverTopologyModel(QObject* parent)
{
    if (!m_failoverControl)
        return nullptr;
    return DeviceModelFactory::createFailoverTopologyModel(m_failoverControl, parent);
}

QAbstractItemModel* PluginTopologyMgt::getFailoverTopologyModelWithoutRedundantServer(QObject* parent)
{
    if (!m_failoverControlWithoutRedundantServer)
        return nullptr;
    return DeviceModelFactory::createFailoverTopologyModelWithoutRedundantServer(
        m_failoverControlWithoutRedundantServer, parent);
}

void PluginTopologyMgt::updateFailoverStatus(const QVariant& status)
{
    if (m_failoverControl)
        m_failoverControl->UpdateStatus(status);
    if (m_failoverControlWithoutRedundantServer)
        m_failoverControlWithoutRedundantServer->UpdateStatus(status);
}

QVariantMap PluginTopologyMgt::getValuesFromModel(int modelType, const QString& keyRoleName,
                                                  const QString& valueRoleName) const
{
    if (modelType != kDeviceTreeModelType)
        return QVariantMap();
    const QVariantMap keys = m_deviceTree.getAllValues(keyRoleName);
    const QVariantMap values = m_deviceTree.getAllValues(valueRoleName);
    QVariantMap result;
    for (auto it = keys.cbegin(); it != keys.cend(); ++it)
        result.insert(it.value().toString(), values.value(it.key()));
    return result;
}

QVariant PluginTopologyMgt::getValueFromModel(int modelType, const QString& nodeId, const QString& roleName) const
{
    if (modelType != kDeviceTreeModelType)
        return QVariant();
    return m_deviceTree.data(nodeId, roleName);
}

QVariantMap PluginTopologyMgt::getCameraNames() const
{
    const QVariantMap kinds = m_deviceTree.getAllValues(QStringLiteral("nodeTypeRole"));
    const QVariantMap names = m_deviceTree.getAllValues(QStringLiteral("nameRole"));
    QVariantMap cameras;
    for (auto it = kinds.cbegin(); it != kinds.cend(); ++it) {
        if (it.value().toInt() == StandardTopologyModel::CameraNode)
            cameras.insert(it.key(), names.value(it.key()));
    }
    return cameras;
}

QVariantList PluginTopologyMgt::getStationTree() const
{
    return m_deviceTree.getAllStationInfo();
}

QVariantMap PluginTopologyMgt::getStationMap() const
{
    return m_deviceTree.getAllStationNames();
}

QStringList PluginTopologyMgt::getStationRelayPathList(bool includeNVR) const
{
    return m_deviceTree.getAllStationRelayPath(includeNVR);
}

QVariantList PluginTopologyMgt::getLinuxNVRInfoList(const QString& stationId) const
{
    return m_deviceTree.getNvrInfoList(stationId);
}

QVariantMap PluginTopologyMgt::getRootStationNameAndCameras() const
{
    return m_deviceTree.getRootStationNameAndCameras();
}

void PluginTopologyMgt::setProcessingStatus(const QString& cameraId, const QString& stationId, int status)
{
    m_deviceTree.setData(cameraNodeId(stationId, cameraId), StandardTopologyModel::processingStatusRole, status);
}

QStringList PluginTopologyMgt::getCameraResolutionList(const QString& stationId, const QString& cameraId) const
{
    return m_deviceTree.data(cameraNodeId(stationId, cameraId), StandardTopologyModel::resolutionListRole)
        .toStringList();
}

// What the other plug-ins of the client ask of each camera: their name for a
// capability and the role (or event capability) that answers it.
namespace {
const DeviceTree::CapabilityTable& generalCapabilities()
{
    static const DeviceTree::CapabilityTable table{
        {QStringLiteral("ptz"), QStringLiteral("suppMechPtzRole")},
        {QStringLiteral("vca"), QStringLiteral("isVCARole")},
        {QStringLiteral("talk"), QStringLiteral("supportTalkRole")},
        {QStringLiteral("edgeRecording"), QStringLiteral("supportEdgeRecordingRole")},
        {QStringLiteral("deepSearch"), QStringLiteral("supportDeepSearchRole")},
        {QStringLiteral("lpr"), QStringLiteral("supportLPRRole")},
        {QStringLiteral("smartMotion"), QStringLiteral("suppSmartMotion")},
    };
    return table;
}

const DeviceTree::CapabilityTable& eventCapabilities()
{
    static const DeviceTree::CapabilityTable table{
        {QStringLiteral("pir"), QStringLiteral("suppPIR")},
        {QStringLiteral("tampering"), QStringLiteral("suppTampering")},
        {QStringLiteral("videoLoss"), QStringLiteral("suppVideoLoss")},
        {QStringLiteral("lineCrossing"), QStringLiteral("suppLineCrossing")},
        {QStringLiteral("fieldDetection"), QStringLiteral("suppFieldDetection")},
        {QStringLiteral("loitering"), QStringLiteral("suppLoitering")},
        {QStringLiteral("audioDetection"), QStringLiteral("suppAudioDetection")},
    };
    return table;
}

const DeviceTree::CapabilityTable& ptzCapabilities()
{
    static const DeviceTree::CapabilityTable table{
        {QStringLiteral("ptz"), QStringLiteral("suppMechPtzRole")},
        {QStringLiteral("pan"), QStringLiteral("suppPanRole")},
        {QStringLiteral("tilt"), QStringLiteral("suppTiltRole")},
        {QStringLiteral("zoom"), QStringLiteral("suppZoomRole")},
        {QStringLiteral("focus"), QStringLiteral("suppFocusRole")},
        {QStringLiteral("talk"), QStringLiteral("supportTalkRole")},
    };
    return table;
}
} // namespace

QVariantMap PluginTopologyMgt::getDeviceTreeMap() const
{
    return m_deviceTree.getApiMap(generalCapabilities());
}

QVariantMap PluginTopologyMgt::getHMDeviceTreeMap() const
{
    return m_deviceTree.getHMApiMap(eventCapabilities());
}

QVariantList PluginTopologyMgt::getTalvixChannelInfoList() const
{
    return m_deviceTree.getTalvixApiList(ptzCapabilities());
}

// The first station, depth-first, that has a camera on that channel.
QVariantMap PluginTopologyMgt::getTalvixChannelInfo(const int& channel) const
{
    for (const QVariant& station : getTalvixChannelInfoList()) {
        for (const QVariant& camera : station.toMap().value(QStringLiteral("channels")).toList()) {
            if (camera.toMap().value(QStringLiteral("channel")).toInt() == channel)
                return camera.toMap();
        }
    }
    return QVariantMap();
}

QVariantList PluginTopologyMgt::getUpgradeStationTreeList() const
{
    return m_deviceTree.getUpgradeStationList();
}

bool PluginTopologyMgt::hasStationOrCameraInRootStation() const
{
    return m_deviceTree.hasStationOrCameraInRootStation();
}

bool PluginTopologyMgt::existedInDeviceTree(const QString& nodeId) const
{
    return m_deviceTree.contains(nodeId);
}

// ---- Logical tree ------------------------------------------------------------

void PluginTopologyMgt::retrieveLogicalTree()
{
    m_commander.retrieveLogicalTree();
}

void PluginTopologyMgt::setLogicalTreeSettingStatus(const QString& cameraNodeID, const QString& stationId, int status)
{
    m_logicalTree.setSettingStatusOfCamera(cameraNodeId(stationId, cameraNodeID), status);
}

void PluginTopologyMgt::setLogicalTreeSettingStatus(const QString& treeId, int status)
{
    m_logicalTree.setSettingStatus(treeId, status);
}

// An edit the local tree could not show is not asked for: the servers would
// apply it, and the tree would then refuse their broadcast of it.
void PluginTopologyMgt::moveLogicalTreeNode(const QStringList& sourceIDList, const QString& destinationID)
{
    for (const QString& sourceId : sourceIDList) {
        if (!m_logicalTree.fitsWithinDepth(sourceId, destinationID)) {
            const InputLimits::Scope limits("PluginTopologyMgt::moveLogicalTreeNode", "request",
                                            QStringLiteral("moveLogicalTreeNode"));
            InputLimits::editRefused();
            emit moveLogicalTreeNodeResp(false);
            return;
        }
    }
    m_commander.sendLogicalTreeRequest(QStringLiteral("moveLogicalTreeNode"),
                                       QVariantMap{{QStringLiteral("moveSourceIDList"), sourceIDList},
                                                   {QStringLiteral("moveDestinationID"), destinationID}});
}

void PluginTopologyMgt::renameLogicalTreeFolder(const QString& treeNodeId, const QString& newName)
{
    m_commander.sendLogicalTreeRequest(QStringLiteral("renameLogicalTreeFolder"),
                                       QVariantMap{{QStringLiteral("treeNodeId"), treeNodeId},
                                                   {QStringLiteral("name"), newName}});
}

void PluginTopologyMgt::insertLogicalTreeFolder(const QString& folderName, const QString& parentFolderUid)
{
    if (!m_logicalTree.hasRoomForFolder(parentFolderUid)) {
        const InputLimits::Scope limits("PluginTopologyMgt::insertLogicalTreeFolder", "request",
                                        QStringLiteral("InsertFolderLogical"));
        InputLimits::editRefused();
        emit logicalTreeFolderInserted(false, QString());
        return;
    }
    m_commander.sendLogicalTreeRequest(QStringLiteral("InsertFolderLogical"),
                                       QVariantMap{{QStringLiteral("parentFolderUid"), parentFolderUid},
                                                   {QStringLiteral("newFolderName"), folderName}});
}

// Only folders and cameras are sent; other kinds in the selection are dropped.
void PluginTopologyMgt::removeLogicalTreeItem(const QStringList& treeIDs, bool bKeepContents)
{
    const LogicalTree::RemovingNodes selection = m_logicalTree.nodesToBeRemoved(treeIDs);
    m_commander.sendLogicalTreeRequest(QStringLiteral("removeLogicalTreeItem"),
                                       QVariantMap{{QStringLiteral("folderIDList"), selection.folderNodes},
                                                   {QStringLiteral("orphanIDList"), selection.cameraNodes},
                                                   {QStringLiteral("keepContents"), bKeepContents}});
}

void PluginTopologyMgt::addDeviceIntoLogicalTree(const QStringList& cameraNodeIdList, const QString& destinationId)
{
    m_commander.sendLogicalTreeRequest(QStringLiteral("addDeviceIntoLogicalTree"),
                                       QVariantMap{{QStringLiteral("addDeviceNodeIdList"), cameraNodeIdList},
                                                   {QStringLiteral("addDeviceDestinationId"), destinationId}});
}

void PluginTopologyMgt::addStationIntoLogicalTree(const QStringList& stationUIDList, const QStringList& stationNameList,
                                                  const QString& destinationId)
{
    m_commander.sendLogicalTreeRequest(QStringLiteral("addStationIntoLogicalTree"),
                                       QVariantMap{{QStringLiteral("addStationIdList"), stationUIDList},
                                                   {QStringLiteral("addStationNameList"), stationNameList},
                                                   {QStringLiteral("addStationDestinationId"), destinationId}});
}

void PluginTopologyMgt::getLogicalTreePathIds(const QVariantList& nodeIds)
{
    m_commander.sendLogicalTreeRequest(QStringLiteral("lookupLogicalTreePathIds"), nodeIds);
}

void PluginTopologyMgt::addLogicalTreeDefaultRootNode()
{
    m_logicalTree.createDefaultNodesForStandalonePlayer();
}

QVariantMap PluginTopologyMgt::getLogicalTreeMap() const
{
    return fillCameraNameToLogicalTree(m_logicalTreeServerMap);
}

QVariant PluginTopologyMgt::logicalTreeInfoFrom(const QString& treeID, int role) const
{
    return m_logicalTree.data(treeID, role);
}

bool PluginTopologyMgt::existedInLogicalTree(const QString& cameraId) const
{
    return m_logicalTree.existed(cameraId);
}

// Unlike the other edits this one goes straight to the framework; its answer
// only says that the servers are done.
void PluginTopologyMgt::restoreUngroupedDevices()
{
    if (m_framework)
        m_framework->SendRequest(m_hostHandle, m_pluginId, QStringLiteral("restoreUngroupedDevices"), QVariant(),
                                 nullptr, false, QString());
}

// Cameras in the servers' tree carry no name; the device tree knows it.
QVariantMap PluginTopologyMgt::withCameraName(const QVariantMap& treeNode) const
{
    QVariantMap filled = treeNode;
    const QString name = PayloadFields::textOf(treeNode, "name");
    const QString nodeId = PayloadFields::textOf(treeNode, "nodeUID");
    if (name.isEmpty() && m_deviceTree.contains(nodeId)) {
        filled.insert(QStringLiteral("nodeUID"), nodeId);
        filled.insert(QStringLiteral("name"), m_deviceTree.data(nodeId, StandardTopologyModel::nameRole));
        filled.insert(QStringLiteral("ip"), m_deviceTree.data(nodeId, StandardTopologyModel::ipRole));
        filled.insert(QStringLiteral("port"), m_deviceTree.data(nodeId, StandardTopologyModel::portRole));
        filled.insert(QStringLiteral("brand"), m_deviceTree.data(nodeId, StandardTopologyModel::brandRole));
        filled.insert(QStringLiteral("model"), m_deviceTree.data(nodeId, StandardTopologyModel::modelRole));
    }
    return filled;
}

// Depth first on an explicit stack rather than by recursion: a broken or
// hostile server may nest its folders thousands of levels deep.
QVariantMap PluginTopologyMgt::fillCameraNameToLogicalTree(const QVariantMap& treeNode) const
{
    struct OpenNode
    {
        QVariantMap filled;
        QVariantList children;
        qsizetype nextChild = 0;
        QVariantList filledChildren;
    };
    std::vector<OpenNode> open;
    const auto enter = [&](const QVariantMap& node) {
        open.push_back({withCameraName(node), node.value(QStringLiteral("children")).toList(), 0, {}});
    };
    enter(treeNode);
    QVariantMap result;
    while (!open.empty()) {
        if (open.back().nextChild < open.back().children.size()) {
            const QVariant child = open.back().children.at(open.back().nextChild++);
            enter(child.toMap());
            continue;
        }
        OpenNode done = std::move(open.back());
        open.pop_back();
        if (done.filled.contains(QStringLiteral("children")))
            done.filled.insert(QStringLiteral("children"), done.filledChildren);
        if (open.empty())
            result = done.filled;
        else
            open.back().filledChildren.append(done.filled);
    }
    return result;
}

QVariantList PluginTopologyMgt::addDiDoNumToLogicalTreeCameraData(const QVariantList& cameras) const
{
    QVariantList completed;
    completed.reserve(cameras.size());
    for (const QVariant& entry : cameras) {
        QVariantMap camera = entry.toMap();
        const QString cameraId = PayloadFields::textOf(camera, "camNodeUid");
        camera.insert(QStringLiteral("diNum"), m_deviceTree.data(cameraId, StandardTopologyModel::diCountRole).toInt());
        camera.insert(QStringLiteral("doNum"), m_deviceTree.data(cameraId, StandardTopologyModel::doCountRole).toInt());
        completed.append(camera);
    }
    return completed;
}

// A station's own DI/DO and the external devices behind it are shown in the
// logical tree as I/O devices.
void PluginTopologyMgt::updateStationDiDoInLogicalTreeModel(const std::vector<QVariantMap>& stations)
{
    QVariantList stationDevices;
    QStringList stationIds;
    for (const QVariantMap& station : stations) {
        const QString stationId = station.value(QStringLiteral("idRole")).toString();
        if (stationId.isEmpty())
            continue;
        const int separator = int(stationId.lastIndexOf(QLatin1Char('/')));
        stationDevices.append(QVariantMap{{QStringLiteral("NodeID"), stationId},
                                          {QStringLiteral("RefName"), station.value(QStringLiteral("nameRole"))},
                                          {QStringLiteral("DINameList"), station.value(QStringLiteral("diNameListRole"))},
                                          {QStringLiteral("DONameList"), station.value(QStringLiteral("doNameListRole"))},
                                          {QStringLiteral("RelayPath"),
                                           separator < 0 ? QString() : stationId.left(separator)}});
        stationIds.append(stationId);
    }
    if (stationDevices.isEmpty())
        return;
    m_logicalTree.insertIoDevices(stationDevices, LogicalTreeModel::StationIoDevice);
    for (const QString& stationId : stationIds) {
        const QVariantList externalDevices = m_deviceTree.getAllExternalDeviceInfoUnderSubstation(stationId);
        if (!externalDevices.isEmpty())
            m_logicalTree.insertIoDevices(externalDevices, LogicalTreeModel::ExternalDevice);
    }
}

// ---- Web pages ---------------------------------------------------------------

void PluginTopologyMgt::setWebPageTreeModelController(std::shared_ptr<WebPageTreeModelController> controller)
{
    m_webPageController = std::move(controller);
}

QAbstractItemModel* PluginTopologyMgt::getWebPageTreeSortFilterModel(QObject* parent)
{
    return m_webPageController ? m_webPageController->getSortFilterModel(parent) : nullptr;
}

bool PluginTopologyMgt::sendWebPageRequest(const QString& requestName, const QVariant& arguments)
{
    return m_framework
        && m_framework->SendRequest(m_hostHandle, m_pluginId, requestName, arguments, nullptr, false, QString());
}

bool PluginTopologyMgt::addWebPage(const QString& pageName, const QString& url, int iconType)
{
    return sendWebPageRequest(QStringLiteral("addWebPage"), QVariantMap{{QStringLiteral("pageName"), pageName},
                                                                        {QStringLiteral("url"), url},
                                                                        {QStringLiteral("iconType"), iconType}});
}

bool PluginTopologyMgt::removeWebPage(const QString& id)
{
    return sendWebPageRequest(QStringLiteral("removeWebPage"), id);
}

bool PluginTopologyMgt::editWebPage(const QString& id, const QString& pageName, const QString& url, int iconType)
{
    return sendWebPageRequest(QStringLiteral("editWebPage"), QVariantMap{{QStringLiteral("id"), id},
                                                                         {QStringLiteral("pageName"), pageName},
                                                                         {QStringLiteral("url"), url},
                                                                         {QStringLiteral("iconType"), iconType}});
}

bool PluginTopologyMgt::getAllWebPage()
{
    return sendWebPageRequest(QStringLiteral("getAllWebPage"), QVariant());
}

QString PluginTopologyMgt::queryWebPageName(const QString& id)
{
    return m_webPageController ? m_webPageController->queryWebPageName(id) : QString();
}

QString PluginTopologyMgt::queryWebPageUrl(const QString& id)
{
    return m_webPageController ? m_webPageController->queryWebPageUrl(id) : QString();
}

int PluginTopologyMgt::queryWebPageIconType(const QString& id) const
{
    return m_webPageController ? m_webPageController->queryWebPageIconType(id) : 0;
}

bool PluginTopologyMgt::replaceWebPages(const QVariant& pages)
{
    if (!m_webPageController)
        return false;
    // The page records are kept as sent, so no deeper than the module keeps anything.
    m_webPageController->setAllWebPages(PayloadFields::withinNesting(pages).toList());
    emit webPageChanged();
    return true;
}

// ---- List files --------------------------------------------------------------

void PluginTopologyMgt::setListToFileWriter(QSharedPointer<IListToFileWriter> writer)
{
    m_listToFileWriter = std::move(writer);
}

QString PluginTopologyMgt::getStreamingUrlListFilePath()
{
    return m_listFileLocations.streamingUrlListFilePath();
}

void PluginTopologyMgt::generateStreamingUrlListFile(const QStringList& data)
{
    if (m_listToFileWriter)
        m_listToFileWriter->write(getStreamingUrlListFilePath(), data);
}

void PluginTopologyMgt::generateMacListOfAllCamera(const QString& path)
{
    if (m_listToFileWriter)
        m_listToFileWriter->write(ListFileLocations::macListFilePath(path), m_deviceTree.getMacListInBfsOrder());
}

// ---- Live status tables and recording locations ----------------------------

QVariantList PluginTopologyMgt::didoNodeInfoFrom(const QString& nodeId, const QString& portKind) const
{
    const auto state = m_diDoStates.constFind(nodeId);
    if (state == m_diDoStates.cend())
        return QVariantList();
    QVariantList ports;
    if (portKind == QLatin1String("DI")) {
        for (bool active : state->inputs)
            ports.append(active);
    } else if (portKind == QLatin1String("DO")) {
        for (bool active : state->outputs)
            ports.append(active);
    }
    return ports;
}

// Events name ports 1-based; the table counts from 0. A port beyond the count
// the node information gave, or of a node it never described, is not kept: the
// count is what sizes the views' port lists.
void PluginTopologyMgt::setDiDoPortState(const QString& nodeId, int portKind, int portIndex, bool active)
{
    const auto state = m_diDoStates.find(nodeId);
    if (state == m_diDoStates.end())
        return;
    QList<bool>& ports = portKind == LogicalTreeModel::DigitalInput ? state->inputs : state->outputs;
    if (portIndex >= 0 && portIndex < ports.size())
        ports[portIndex] = active;
}

// A camera enters the status table when its information arrives (or when it is
// inserted), with the state the device tree shows, so that the first status
// event that differs from it is announced. A camera already in the table keeps
// what was last announced of it; only its name follows.
void PluginTopologyMgt::rememberCameraStatuses(const std::vector<QVariantMap>& cameraRecords)
{
    for (const QVariantMap& camera : cameraRecords) {
        rememberCameraStatus(camera.value(QStringLiteral("idRole")).toString(),
                             {{QStringLiteral("connectedRole"), camera.value(QStringLiteral("connectedRole")).toBool()},
                              {QStringLiteral("recordingRole"), camera.value(QStringLiteral("recordingRole")).toBool()},
                              {QStringLiteral("useEdgeRecordingRole"),
                               camera.value(QStringLiteral("useEdgeRecordingRole")).toBool()},
                              {QStringLiteral("edgeRecordingStreamRole"),
                               camera.value(QStringLiteral("edgeRecordingStreamRole")).toInt()},
                              {QStringLiteral("nameRole"), camera.value(QStringLiteral("nameRole")).toString()}});
    }
}

void PluginTopologyMgt::rememberCameraStatus(const QString& cameraId, const QVariantMap& status)
{
    if (cameraId.isEmpty())
        return;
    const auto known = m_cameraStatusTable.find(cameraId);
    if (known == m_cameraStatusTable.end())
        m_cameraStatusTable.insert(cameraId, status);
    else
        known->insert(QStringLiteral("nameRole"), status.value(QStringLiteral("nameRole")));
}

// A removed node takes the entries of everything below it with it.
void PluginTopologyMgt::forgetNodes(const QStringList& nodeIds)
{
    for (const QString& nodeId : nodeIds) {
        if (nodeId.isEmpty())
            continue;
        const QString below = nodeId + QLatin1Char('/');
        const auto isGone = [&](const QString& key) { return key == nodeId || key.startsWith(below); };
        m_diDoStates.removeIf([&](QHash<QString, DiDoState>::iterator entry) { return isGone(entry.key()); });
        m_cameraStatusTable.removeIf([&](QMap<QString, QVariantMap>::iterator entry) { return isGone(entry.key()); });
    }
}

// In the logical tree a station's I/O node holds the external devices behind it
// and the I/O nodes of its sub-stations, so removing that one node drops all of
// them, however deep the station lies; the login station has no node of its
// own, and everything in the I/O folder lies behind it. Devices of the station
// or behind it that still wait in the I/O folder for their parent's node are
// taken by their path ("S_1/...", never "S_10/...").
void PluginTopologyMgt::removeStationIoDevices(const QString& stationId)
{
    if (stationId.isEmpty()) {
        m_logicalTree.removeIoDevices(QString());
        return;
    }
    if (m_logicalTree.data(stationId, LogicalTreeModel::typeRole).toInt() == LogicalTreeModel::StationIoDevice)
        m_logicalTree.removeIoDevices(QString(), QStringList{stationId});
    m_logicalTree.removeIoDevices(stationId);
}

void PluginTopologyMgt::clearConnectionTables()
{
    m_locationInfoMap.clear();
    m_streamInfoMap.clear();
    m_cameraStatusTable.clear();
    m_cameraInfoMap.clear();
    m_diDoStates.clear();
}

QVariantMap PluginTopologyMgt::locationInfo(const QString& nodeId) const
{
    return m_locationInfoMap.value(nodeId);
}

QVariant PluginTopologyMgt::locationDataFrom(const QString& nodeId, const QString& roleName) const
{
    return m_locationInfoMap.value(nodeId).value(roleName);
}

QString PluginTopologyMgt::getCameraNameFromLocation(const QString& locationId, const QString& relayPath) const
{
    for (const QVariantMap& record : m_locationInfoMap) {
        if (record.value(QStringLiteral("locationRole")).toString() == locationId
            && record.value(QStringLiteral("relayPathRole")).toString() == relayPath)
            return record.value(QStringLiteral("nameRole")).toString();
    }
    return QString();
}

// The channel's name as listed with its recordings at that location; empty when
// the location holds none of the channel's recordings.
QString PluginTopologyMgt::getCameraNameByLocID(const QString& nodeId, const QString& locationId) const
{
    if (!m_streamInfoMap.value(nodeId).contains(locationId))
        return QString();
    return m_locationInfoMap.value(nodeId).value(QStringLiteral("nameRole")).toString();
}

QString PluginTopologyMgt::findNodeIDFromLocation(const QString& locationId) const
{
    for (auto record = m_locationInfoMap.cbegin(); record != m_locationInfoMap.cend(); ++record) {
        if (record->value(QStringLiteral("locationRole")).toString() == locationId)
            return record.key();
    }
    return QString();
}

namespace {
// Station locations are named "Loc…"; anything else (the camera's own storage)
// is queried elsewhere.
int queryFromOf(const QString& locationId)
{
    return locationId.contains(QLatin1String("Loc")) ? 0 : 1;
}
} // namespace

// The location's availability, when the channel's stream information knows it,
// follows the switch, so that the choice rules of later location answers
// compare against the location actually in use.
void PluginTopologyMgt::switchLocationID(const QString& nodeId, const QString& locationId)
{
    QVariantMap& record = m_locationInfoMap[nodeId];
    record.insert(QStringLiteral("queryFromRole"), queryFromOf(locationId));
    record.insert(QStringLiteral("locationRole"), locationId);
    const QMap<QString, QVariantMap> streams = m_streamInfoMap.value(nodeId);
    if (streams.contains(locationId))
        record.insert(QStringLiteral("availableRole"), streams.value(locationId).value(QStringLiteral("available")));
    emit locationIDChanged(nodeId);
}

// Moves a channel whose location lost its recordings to another location that
// still has them: one of the same stream kind (main or sub) if there is one,
// otherwise of the other kind, the first in location order either way. Returns
// the new location, or an empty text when none is left (the channel then keeps
// its location, marked unavailable).
QString PluginTopologyMgt::moveToAvailableLocation(const QString& nodeId)
{
    QVariantMap& record = m_locationInfoMap[nodeId];
    const QString current = record.value(QStringLiteral("locationRole")).toString();
    const bool currentIsSub = current.contains(QLatin1String("_Sub"));
    QString sameKind;
    QString otherKind;
    const QMap<QString, QVariantMap> streams = m_streamInfoMap.value(nodeId);
    for (auto stream = streams.cbegin(); stream != streams.cend(); ++stream) {
        if (stream.key() == current || !stream->value(QStringLiteral("available")).toBool())
            continue;
        QString& candidate = stream.key().contains(QLatin1String("_Sub")) == currentIsSub ? sameKind : otherKind;
        if (candidate.isEmpty())
            candidate = stream.key();
    }
    const QString chosen = sameKind.isEmpty() ? otherKind : sameKind;
    record.insert(QStringLiteral("availableRole"), !chosen.isEmpty());
    if (!chosen.isEmpty()) {
        record.insert(QStringLiteral("locationRole"), chosen);
        record.insert(QStringLiteral("queryFromRole"), queryFromOf(chosen));
    }
    return chosen;
}

// ---- Logical tree views ------------------------------------------------------

QAbstractItemModel* PluginTopologyMgt::getFullLogicalTreeModel()
{
    return m_topologyDataModel;
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeModel()
{
    return m_validCameraDataModel;
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeSortFilterModel(QObject* parent)
{
    auto* model = new LogicalTreeSortFilterModel(parent);
    model->setSourceModel(m_validCameraDataModel);
    return model;
}

// The tree filter library filters over our own sorted, filtered view; the
// inner view belongs to the outer one, so the caller's parent owns both.
QAbstractItemModel* PluginTopologyMgt::createAdvancedLogicalTreeModel(QObject* parent, bool showIoDevices)
{
    auto* advanced = new LogicalTreeFilterSortModelEx(parent);
    auto* inner = new LogicalTreeSortFilterModel(advanced);
    inner->showIONodesAndFolders(showIoDevices);
    inner->setSourceModel(m_validCameraDataModel);
    advanced->setSourceModel(inner);
    advanced->setDataRoleEnum(LogicalTreeModel::dataRole);
    return advanced;
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeAdvancedSortFilterModel(QObject* parent)
{
    return createAdvancedLogicalTreeModel(parent, false);
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeAdvancedSortFilterModelWithIODevices(QObject* parent)
{
    return createAdvancedLogicalTreeModel(parent, true);
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeFolderModel(QObject* parent)
{
    auto* model = new LogicalTreeFolderModel(parent);
    model->setSourceModel(m_validCameraDataModel);
    return model;
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeIDFilterModel(QObject* parent, QAbstractItemModel* source)
{
    auto* model = new LogicalTreeIDFilterModel(parent);
    model->setSourceModel(source);
    return model;
}

// ---- Local databases and the standalone player -------------------------------

namespace {
// Location records of local databases are marked apart from the stations' (0)
// and the elsewhere-recorded ones (1), so that they can be dropped together.
constexpr int kLocalDatabaseLocation = 2;
const QString kLocalDbMetaInfoKey = QStringLiteral("LocObjectMetaInfo");
}

void PluginTopologyMgt::saveToLocationInfoMap(const QVariantMap& cameras)
{
    for (auto camera = cameras.cbegin(); camera != cameras.cend(); ++camera) {
        if (camera.key() == kLocalDbMetaInfoKey || camera.value().typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap entry = camera.value().toMap();
        const QString recordingPath = PayloadFields::textOf(entry, "recPath");
        const QString nodeId = recordingPath.isEmpty() ? camera.key() : recordingPath + QLatin1Char('/') + camera.key();
        m_locationInfoMap.insert(nodeId, QVariantMap{
            {QStringLiteral("nameRole"), DeviceNodeFactory::cleanDisplayName(PayloadFields::textOf(entry, "camName"))},
            {QStringLiteral("relayPathRole"), recordingPath},
            {QStringLiteral("camIDRole"), camera.key()},
            {QStringLiteral("queryFromRole"), kLocalDatabaseLocation},
            {QStringLiteral("locationRole"), recordingPath},
            {QStringLiteral("availableRole"), true}});
    }
}

QVariantMap PluginTopologyMgt::addRecordingPathToLocationMap(const QVariantMap& cameras, const QString& recPath) const
{
    QVariantMap withPath = cameras;
    for (auto camera = withPath.begin(); camera != withPath.end(); ++camera) {
        if (camera.key() == kLocalDbMetaInfoKey || camera.value().typeId() != QMetaType::QVariantMap)
            continue;
        QVariantMap entry = camera.value().toMap();
        entry.insert(QStringLiteral("recPath"), recPath);
        camera.value() = entry;
    }
    return withPath;
}

void PluginTopologyMgt::addNewLocation(const QVariantMap& locInfoMap, const QString& recPath, const QString& localDBName)
{
    addNewLocalDB(addRecordingPathToLocationMap(locInfoMap, recPath), localDBName);
}

void PluginTopologyMgt::addNewLocalDB(const QVariantMap& cameras, const QString& localDBName)
{
    saveToLocationInfoMap(cameras);
    m_logicalTree.insertNewLocalDB(cameras, localDBName);
}

void PluginTopologyMgt::clearLocalDBLocations()
{
    m_logicalTree.removeAllLocalDB();
    for (auto record = m_locationInfoMap.begin(); record != m_locationInfoMap.end();) {
        if (record->value(QStringLiteral("queryFromRole")).toInt() == kLocalDatabaseLocation)
            record = m_locationInfoMap.erase(record);
        else
            ++record;
    }
}

bool PluginTopologyMgt::hasLocalDBNodes() const
{
    return m_logicalTree.hasLocalDBNodes();
}

QAbstractItemModel* PluginTopologyMgt::getStandalonePlayerLocalDBModel(QObject* parent)
{
    auto* model = new LogicalTreeSortFilterModel(parent);
    model->showLocalDBFolder(true);
    model->setSourceModel(m_playlist.getModel());
    return model;
}

void PluginTopologyMgt::addNewStandalonePlayerLocation(const QVariantMap& cameras, const QString& recPath,
                                                       const QString& localDBName)
{
    addNewStandalonePlayerLocalDB(addRecordingPathToLocationMap(cameras, recPath), localDBName);
}

void PluginTopologyMgt::addNewStandalonePlayerLocalDB(const QVariantMap& cameras, const QString& localDBName)
{
    saveToLocationInfoMap(cameras);
    m_playlist.appendLocalDB(cameras, localDBName);
}

void PluginTopologyMgt::clearStandalonePlayerLocalDB()
{
    m_playlist.clear();
}

bool PluginTopologyMgt::hasLocalDBNodesInStandalonePlayer() const
{
    return !m_playlist.isEmpty();
}
