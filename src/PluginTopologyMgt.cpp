#include "PluginTopologyMgt.h"

#include "FrameworkWrapperBase.h"
#include "ModuleLog.h"
#include "RequestContexts.h"
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

PluginTopologyMgt::~PluginTopologyMgt() = default;

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
            &PluginTopologyMgt::HandleRetrieveDevTopology);
    connect(&m_commander, &NodeDataCommander::handleGetAllNodeInfo, this, &PluginTopologyMgt::HandleRetrieveNodeInfo);

    try {
        // The failover controls, the logical tree's data models, the list writer
        // and the web page controller are created here as their parts arrive.
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
    if (m_framework)
        m_framework->SendRequest(m_hostHandle, m_pluginId, QStringLiteral("whoAmI"), QVariant(), nullptr, false,
                                 QString());
}

void PluginTopologyMgt::PluginServerDisconnected()
{
    m_commander.reset();
    m_deviceTree.clear();
    emit serverDisconnected();
}

void PluginTopologyMgt::sendCommandToServer(const QString& requestName, const QVariant& requestArguments,
                                            void* pvContext, bool blockReq)
{
    if (m_framework
        && m_framework->SendRequest(m_hostHandle, m_pluginId, requestName, requestArguments, pvContext, blockReq,
                                    QString()))
        return;
    TOPOLOGY_LOG_ERROR("SendCommand (%s) failed", requestName);
    // A request that never left gets no response, so nothing else would ever
    // release its context.
    RequestContexts::release(requestName, pvContext);
}

void PluginTopologyMgt::CommandProcessor(QString command, QVariant respData, void* pvContext, QString returnCode,
                                         QString, bool completed, const QString& origin)
{
    const auto handler = m_commandHandlerMap.find(command);
    if (handler != m_commandHandlerMap.end())
        handler->second(respData, pvContext, returnCode, completed, origin);

    m_commander.commandProcessor(command, respData, pvContext, returnCode, completed);

    if (command == QLatin1String("whoAmI")) {
        m_clientId = respData.toString();
        TOPOLOGY_LOG_INFO("I'm client id (%s).", m_clientId);
    }
}

void PluginTopologyMgt::EventProcessor(QString event, qint64, int, int, QVariant data, const QString& target)
{
    if (!target.isEmpty())
        return;
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
