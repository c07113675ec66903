#include "PluginTopologyMgt.h"

#include "DeviceModelFactory.h"
#include "DeviceSortFilterModel.h"
#include "EventDeviceModel.h"
#include "FrameworkWrapperBase.h"
#include "InputLimits.h"
#include "ListToFileWriter.h"
#include "LogicalTreeTopologyDataModel.h"
#include "LogicalTreeValidCameraDataModel.h"
#include "ModuleLog.h"
#include "NodeSubtree.h"
#include "PayloadFields.h"
#include "StandardTopologyModel.h"
#include "TreeToListProxyModel.h"
#include "WebPageTreeFilterSortModel.h"
#include "WebPageTreeModelController.h"

#include <new>

namespace {
const QString kPluginName = QStringLiteral("TopologyMgtPlugin");
const QString kPluginId = QStringLiteral("5E0C7A2B9D4F4E18A6B3C2D1F0E9A874");
// The return code of a reply that succeeded.
const QString kSuccess = QStringLiteral("0");
// The views name the device tree as model type 0 in the generic model readers.
constexpr int kDeviceTreeModelType = 0;

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
    // The commander hands on answers it asked for itself, each whole.
    connect(&m_commander, &NodeDataCommander::handleStationTopology, this,
            [this](const QVariant& topology, const QString& returnCode) {
                HandleRetrieveDevTopology({topology, nullptr, returnCode, {}, {}});
            });
    connect(&m_commander, &NodeDataCommander::handleGetAllNodeInfo, this,
            [this](const QVariant& nodeInfo, void* context, const QString& returnCode, bool completed) {
                HandleRetrieveNodeInfo({nodeInfo, context, returnCode, {true, completed}, {}});
            });

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
        m_topologyDataModel->setSourceModel(m_logicalTree.getModel());
        m_topologyDataModel->setTopologyModel(m_failoverControl);
        m_validCameraDataModel = new LogicalTreeValidCameraDataModel(this);
        m_validCameraDataModel->setSourceModel(m_topologyDataModel);
        m_listToFileWriter = QSharedPointer<ListToFileWriter>::create();
        m_webPageController = std::make_shared<WebPageTreeModelController>();
    } catch (const std::bad_alloc&) {
        TOPOLOGY_LOG_ERROR("%s, std::bad_alloc", "PluginTopologyMgt::Init");
        return false;
    }
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
    m_locations.clear();
    m_cameraStatuses.clear();
    m_cameraInfoMap.clear();
    m_diDoStates.clear();
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
    const ReplyRoute* const route = replyRoutes().value(command);
    const bool whoAmI = command == QLatin1String("whoAmI");
    const bool handlerTakesParts = route && route->takesParts && returnCode == kSuccess;
    // Only what a handler of this module reads whole is gathered.
    const bool gather = route ? !handlerTakesParts : whoAmI;
    const ReplyParts::Part part = m_replyParts.take(command, pvContext, respData, completed, gather);
    if (route && route->handler && (handlerTakesParts || completed))
        (this->*route->handler)({part.data, pvContext, returnCode, part.position, origin});

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
    if (const BroadcastRoute* const route = broadcastRoutes().value(event)) {
        if (data.isNull() && route->nullPayloadLine)
            TOPOLOGY_LOG_ERROR("%s", route->nullPayloadLine);
        else
            (this->*route->handler)(data);
    }
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

bool PluginTopologyMgt::Reply::succeeded() const
{
    return returnCode == kSuccess;
}

QStringList PluginTopologyMgt::commandHandlerNames() const
{
    QStringList names = replyRoutes().keys();
    names.sort();
    return names;
}

QStringList PluginTopologyMgt::eventActionNames() const
{
    QStringList names = broadcastRoutes().keys();
    names.sort();
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
    m_deviceTree.setData(NodeSubtree::childId(stationId, cameraId), StandardTopologyModel::processingStatusRole, status);
}

QStringList PluginTopologyMgt::getCameraResolutionList(const QString& stationId, const QString& cameraId) const
{
    return m_deviceTree.data(NodeSubtree::childId(stationId, cameraId), StandardTopologyModel::resolutionListRole)
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
        for (const QVariant& camera : PayloadFields::listOf(station.toMap(), "channels")) {
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
    m_webPageController->setAllWebPages(PayloadFields::list(PayloadFields::withinNesting(pages)));
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
    return m_diDoStates.ports(nodeId, portKind);
}

QVariantMap PluginTopologyMgt::locationInfo(const QString& nodeId) const
{
    return m_locations.record(nodeId);
}

QVariant PluginTopologyMgt::locationDataFrom(const QString& nodeId, const QString& roleName) const
{
    return m_locations.record(nodeId).value(roleName);
}

QString PluginTopologyMgt::getCameraNameFromLocation(const QString& locationId, const QString& relayPath) const
{
    return m_locations.cameraNameAt(locationId, relayPath);
}

QString PluginTopologyMgt::getCameraNameByLocID(const QString& nodeId, const QString& locationId) const
{
    return m_locations.cameraNameByLocation(nodeId, locationId);
}

QString PluginTopologyMgt::findNodeIDFromLocation(const QString& locationId) const
{
    return m_locations.nodeAt(locationId);
}

QVariantList PluginTopologyMgt::parseRemovedCameras(const QVariantMap& locations) const
{
    return RecordingLocations::removedCamerasIn(locations);
}

QStringList PluginTopologyMgt::parseRemovingRemovedCameras(const QVariantList& removedLocations) const
{
    return m_locations.channelsPlayingFrom(removedLocations);
}

void PluginTopologyMgt::switchLocationID(const QString& nodeId, const QString& locationId)
{
    m_locations.switchLocation(nodeId, locationId);
    emit locationIDChanged(nodeId);
}
