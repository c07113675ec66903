#include "NodeDataCommander.h"

#include "ModuleLimits.h"
#include "ModuleLog.h"
#include "PayloadFields.h"
#include "RequestContexts.h"

#include <QTimerEvent>

#include <vector>

namespace {

using PayloadFields::textOf;

constexpr char kSuccess[] = "0";
// The servers' answer of a station that cannot serve its topology yet.
constexpr char kTopologyBusy[] = "80260006";
constexpr char kFrameworkFailure[] = "FrameworkInternalError";
constexpr int kCameraInfoResendLimit = 5;

int g_topologyBusyRetryDelayMs = 10000;
int g_failureRetryDelayMs = 2000;

// Remaining immediate resends of "RetrieveAllCamInfo" per station. One map for
// the module's whole life, shared by every instance: a station that keeps
// failing must not get a fresh allowance from a reconnection.
QMap<QString, int>& cameraInfoRetryBudget()
{
    static QMap<QString, int> budget;
    return budget;
}

QVariantMap stationArguments(const QString& stationId)
{
    return {{QStringLiteral("relayPath"), stationId}};
}

bool isSuccess(const QString& returnCode)
{
    return returnCode == QLatin1String(kSuccess);
}

QStringList subStationsOf(const QVariantList& nodeList)
{
    QStringList stations;
    for (const QVariant& node : nodeList) {
        const QVariantMap entry = node.toMap();
        if (textOf(entry, "nodeType") == QLatin1String("Station"))
            stations.append(textOf(entry, "nodeUID"));
    }
    return stations;
}

} // namespace

NodeDataCommander::NodeDataCommander(QObject* parent) : QObject(parent) {}

// Pending retry timers die with the object; the queue holds no contexts.
NodeDataCommander::~NodeDataCommander() = default;

void NodeDataCommander::setRetryDelaysForTesting(int topologyBusyMs, int failureMs)
{
    g_topologyBusyRetryDelayMs = topologyBusyMs;
    g_failureRetryDelayMs = failureMs;
}

int NodeDataCommander::topologyBusyRetryDelay() { return g_topologyBusyRetryDelayMs; }
int NodeDataCommander::failureRetryDelay() { return g_failureRetryDelayMs; }

void NodeDataCommander::start()
{
    emit sendCommand(QStringLiteral("RetrieveLoginStationInfo"), QVariant(), nullptr, true);
    m_firstConnection = m_neverConnected;
    m_neverConnected = false;
    // Node information kept from an earlier connection no longer describes the stations.
    m_keptNodeInfo.clear();
    m_nodeInfoSettled.clear();
    retrieveLogicalTree();
    TOPOLOGY_LOG_INFO("Send retrieveAllNodeInfo");
    emit sendCommand(QStringLiteral("RetrieveAllNodeInfo"), QVariant(), nullptr, false);
    retrieveAllDeviceTopology(QString());
}

void NodeDataCommander::reset()
{
    // A reply cut off by the disconnection never ends.
    m_gatheredReplies.clear();
    for (int flag = 0; flag < FlagCount; ++flag) {
        RetrievedFlag& state = m_flags[flag];
        state.awaited.clear();
        if (!state.changedSinceReset)
            continue;
        state.changedSinceReset = false;
        state.retrieved = false;
        emitRetrieved(Flag(flag), false);
    }
}

const QHash<QString, NodeDataCommander::ReactionEntry>& NodeDataCommander::reactions()
{
    static const QHash<QString, ReactionEntry> table = {
        {QStringLiteral("RetrieveDeviceTopology"), {&NodeDataCommander::onDeviceTopology, Parts::Gathered}},
        {QStringLiteral("RetrieveAllDeviceTopology"), {&NodeDataCommander::onAllDeviceTopology, Parts::Gathered}},
        {QStringLiteral("QryCamLocation"), {&NodeDataCommander::onLocations, Parts::Last}},
        {QStringLiteral("RetrieveServerInfo"), {&NodeDataCommander::onServerInfo, Parts::Last}},
        {QStringLiteral("RetrieveAllNodeInfo"), {&NodeDataCommander::onAllNodeInfo, Parts::Each}},
        {QStringLiteral("RetrieveAllCamInfo"), {&NodeDataCommander::onCameraInfo, Parts::Last}},
        {QStringLiteral("RetrieveCamInfo"), {&NodeDataCommander::onCameraInfo, Parts::Last}},
        {QStringLiteral("retrieveLogicalTree"), {&NodeDataCommander::onLogicalTree, Parts::Last}},
        {QStringLiteral("NotifyStationStatus"), {&NodeDataCommander::onStationStatus, Parts::Last}},
        {QStringLiteral("NotifyCamInsert"), {&NodeDataCommander::onCamerasInserted, Parts::Last}},
        {QStringLiteral("NotifyCameraInfoChange"), {&NodeDataCommander::onCameraInfoChanged, Parts::Last}},
        {QStringLiteral("NotifyStationInsert"), {&NodeDataCommander::onStationsInserted, Parts::Last}},
        {QStringLiteral("NotifyExternalDeviceAdd"), {&NodeDataCommander::onExternalDevicesChanged, Parts::Last}},
        {QStringLiteral("NotifyExternalDeviceUpdated"), {&NodeDataCommander::onExternalDevicesChanged, Parts::Last}},
        {QStringLiteral("NotifyCameraStatusRetrieved"), {&NodeDataCommander::onCameraStatusRetrieved, Parts::Last}},
    };
    return table;
}

// The context is read here but never freed: the plug-in holds every context it
// hands out and frees it once the reply's last part has been seen by all.
void NodeDataCommander::commandProcessor(const QString& command, const QVariant& respData, void* pvContext,
                                         const QString& returnCode, bool completed)
{
    const auto entry = reactions().constFind(command);
    if (entry == reactions().cend())
        return;
    // Retries, budgets and awaited stations move once per reply, on its last
    // part; only a successful answer that adds up part by part is taken as it comes.
    const bool eachPart = entry->parts == Parts::Each && isSuccess(returnCode);
    const QVariant data = entry->parts == Parts::Gathered
        ? m_gatheredReplies.take(command, pvContext, respData, completed, true).data
        : respData;
    if (!completed && !eachPart)
        return;
    const Response response{command, data, returnCode, pvContext != nullptr,
                            RequestContexts::stationIdOf(command, pvContext)};
    (this->*entry->reaction)(response);
}

void NodeDataCommander::onDeviceTopology(const Response& response)
{
    const QString& station = response.stationId;
    TOPOLOGY_LOG_INFO("RetrieveDeviceTopology, return code: %s, station id: %s", response.returnCode, station);
    if (!isSuccess(response.returnCode)) {
        // A station whose topology cannot be read must not hold up the camera status.
        stationAnswered(CamStatus, station);
        if (response.returnCode == QLatin1String(kTopologyBusy)) {
            TOPOLOGY_LOG_INFO("Add to retry queue, station=%s, command=%s", station, response.command);
            queueRetry(response.command, station, topologyBusyRetryDelay());
        } else {
            stationAnswered(Topology, station);
        }
        return;
    }

    const QVariantMap topology = response.data.toMap();
    const QString parentStation = textOf(topology, "parentStationID");
    const QVariantList nodeList = PayloadFields::listOf(topology, "nodeList");
    const QStringList subStations = subStationsOf(nodeList);
    // The sub-stations are awaited before this station counts, so that the flag
    // does not turn true in between.
    for (const QString& subStation : subStations) {
        awaitStation(Topology, subStation);
        awaitStation(CamStatus, subStation);
    }
    stationAnswered(Topology, station);

    for (const QString& subStation : subStations)
        retrieveDeviceTopology(subStation);
    retrieveAllCamInfo(parentStation);
    queryLocations(parentStation);
    retrieveServerInfo(parentStation);
    sendStationRequest(QStringLiteral("GetRedundantServersStatus"), parentStation);
    sendStationRequest(QStringLiteral("GetSKYRCloudConnectionTimeoutList"), parentStation);
    requestWifiStatus(nodeList);
}

void NodeDataCommander::onAllDeviceTopology(const Response& response)
{
    if (!isSuccess(response.returnCode)) {
        TOPOLOGY_LOG_ERROR("Retrieve All DeviceTopology failed. Start retry, returnCode:%s, stationID:%s",
                           response.returnCode, response.stationId);
        queueRetry(response.command, response.stationId, failureRetryDelay());
        return;
    }
    processStationTopology(response.data.toMap(), response.stationId);
}

// Depth first: a station counts as answered only after every station below it
// has been taken in. The open stations are kept on a stack rather than in
// recursion, because a broken or hostile answer may chain stations thousands
// of levels deep; and the walk goes no deeper than the depth limit, below which
// the device tree takes no station anyway (it reports what it leaves out).
void NodeDataCommander::processStationTopology(const QVariantMap& allTopology, const QString& relayPath)
{
    struct OpenStation
    {
        QString relayPath;
        QVariantList nodeList;
        QStringList subStations;
        qsizetype nextSubStation = 0;
    };
    std::vector<OpenStation> open;
    QSet<QString> visited;
    const auto enter = [&](const QString& station) {
        // A malformed answer that lists a station below itself must not loop forever.
        if (visited.contains(station))
            return;
        visited.insert(station);
        const auto found = allTopology.constFind(station);
        if (found == allTopology.constEnd()) {
            TOPOLOGY_LOG_ERROR("Station not found in allStationTopology, relayPath:%s", station);
            return;
        }
        const QVariant stationTopology = found.value();
        emit handleStationTopology(stationTopology, QStringLiteral("0"));
        queryLocations(station);
        awaitStation(Topology, station);
        awaitStation(CamStatus, station);
        awaitStation(NodeInfo, station);
        const QVariantList nodeList = PayloadFields::listOf(stationTopology.toMap(), "nodeList");
        open.push_back({station, nodeList, subStationsOf(nodeList), 0});
    };

    enter(relayPath);
    while (!open.empty()) {
        OpenStation& current = open.back();
        if (current.nextSubStation < current.subStations.size() && open.size() < size_t(ModuleLimits::kMaxTreeDepth)) {
            const QString subStation = current.subStations.at(current.nextSubStation++);
            enter(subStation);
            continue;
        }
        const OpenStation done = std::move(current);
        open.pop_back();
        finishStationTopology(done.relayPath, done.nodeList);
    }
}

void NodeDataCommander::finishStationTopology(const QString& relayPath, const QVariantList& nodeList)
{
    stationAnswered(Topology, relayPath);
    if (!handOverKeptNodeInfo(relayPath))
        retrieveAllCamInfo(relayPath);
    requestStationDetails(relayPath);
    sendStationRequest(QStringLiteral("GetFailoverStatus"), relayPath);
    requestWifiStatus(nodeList);
}

bool NodeDataCommander::handOverKeptNodeInfo(const QString& stationId)
{
    const auto kept = m_keptNodeInfo.find(stationId);
    if (kept == m_keptNodeInfo.end())
        return false;
    // Each entry serves once: a later retrieval of the station asks the station itself.
    const QVariant nodeInfo = kept.value();
    m_keptNodeInfo.erase(kept);
    m_nodeInfoSettled.insert(stationId);

    TOPOLOGY_LOG_INFO("Get all NodeInfo from allNodeInfoMap, station:%s", stationId);
    emit handleGetAllNodeInfo(nodeInfo, nullptr, QStringLiteral("0"), true);
    // Counted only now, so that listeners of the flag find the station's cameras merged.
    stationAnswered(NodeInfo, stationId);
    requestAfterNodeInfo(stationId);
    return true;
}

void NodeDataCommander::onLocations(const Response& response)
{
    if (isSuccess(response.returnCode)) {
        stationAnswered(Location, response.stationId);
        return;
    }
    TOPOLOGY_LOG_ERROR("METHOD_QRY_LOCATIONS return code: %s, stationID: %s", response.returnCode,
                       response.stationId);
    if (response.hasContext)
        queueRetry(response.command, response.stationId, failureRetryDelay());
    else
        stationAnswered(Location, response.stationId);
}

void NodeDataCommander::onServerInfo(const Response& response)
{
    if (!isSuccess(response.returnCode))
        TOPOLOGY_LOG_ERROR("%s, METHOD_SRV_INFO_RETRIEVE return code : %s", "NodeDataCommander::commandProcessor",
                           response.returnCode);
    stationAnswered(ServerInfo, response.stationId);
}

void NodeDataCommander::onAllNodeInfo(const Response& response)
{
    if (!isSuccess(response.returnCode)) {
        TOPOLOGY_LOG_ERROR("One Command Get All Node Info failed");
        return;
    }
    // Each part adds its stations.
    const QVariantMap answer = response.data.toMap();
    for (auto it = answer.constBegin(); it != answer.constEnd(); ++it) {
        // Kept until the station's turn, so no deeper than the module keeps anything.
        if (!m_nodeInfoSettled.contains(it.key()))
            m_keptNodeInfo.insert(it.key(), PayloadFields::withinNesting(it.value()));
    }
}

void NodeDataCommander::onCameraInfo(const Response& response)
{
    const QString& station = response.stationId;
    const bool allCameras = response.command == QLatin1String("RetrieveAllCamInfo");
    const bool frameworkFailure = response.returnCode.contains(QLatin1String(kFrameworkFailure));
    if (allCameras && !frameworkFailure)
        cameraInfoRetryBudget().remove(station);

    if (isSuccess(response.returnCode)) {
        if (allCameras) {
            stationAnswered(NodeInfo, station);
            requestAfterNodeInfo(station);
        }
        return;
    }

    TOPOLOGY_LOG_ERROR("Get CamInfo fail, station: %s, returnCode: %s, cmd: %s", station, response.returnCode,
                       response.command);
    if (!allCameras || (frameworkFailure && resendCameraInfoWithinBudget(station)))
        return;
    // Given up: no node information, so no camera status will be subscribed either.
    stationAnswered(NodeInfo, station);
    stationAnswered(CamStatus, station);
}

bool NodeDataCommander::resendCameraInfoWithinBudget(const QString& stationId)
{
    QMap<QString, int>& budget = cameraInfoRetryBudget();
    auto remaining = budget.find(stationId);
    if (remaining == budget.end())
        remaining = budget.insert(stationId, kCameraInfoResendLimit);
    if (remaining.value() < 1) {
        TOPOLOGY_LOG_ERROR("Get All CamInfo Timeout Retry End, station: %s", stationId);
        return false;
    }
    TOPOLOGY_LOG_ERROR("Get All CamInfo Timeout Retry, station: %s", stationId);
    // Spent before the resend: its answer may come back while it is being sent.
    --remaining.value();
    retrieveAllCamInfo(stationId);
    return true;
}

void NodeDataCommander::onLogicalTree(const Response& response)
{
    stationAnswered(LogicalTree, response.stationId);
}

void NodeDataCommander::onStationStatus(const Response& response)
{
    const QVariantMap status = response.data.toMap();
    if (status.value(QStringLiteral("connected")).toBool())
        return;
    const QString station = textOf(status, "stationUID");
    for (int flag = 0; flag < FlagCount; ++flag)
        stationAnswered(Flag(flag), station);
}

void NodeDataCommander::onCamerasInserted(const Response& response)
{
    QStringList stations;
    QHash<QString, QStringList> camerasByStation;
    const QVariantList cameras = PayloadFields::list(response.data);
    for (const QVariant& camera : cameras) {
        const QVariantMap entry = camera.toMap();
        const QString station = textOf(entry, "parentStationID");
        if (!camerasByStation.contains(station))
            stations.append(station);
        camerasByStation[station].append(textOf(entry, "nodeUID"));
    }
    for (const QString& station : stations)
        retrieveCamInfo(station, camerasByStation.value(station));
}

void NodeDataCommander::onCameraInfoChanged(const Response& response)
{
    const QVariantMap change = response.data.toMap();
    const QStringList cameraIds = PayloadFields::textListOf(change, "idList");
    if (!cameraIds.isEmpty())
        retrieveCamInfo(textOf(change, "relayPath"), cameraIds);
}

void NodeDataCommander::onStationsInserted(const Response& response)
{
    const QVariantList stations = PayloadFields::list(response.data);
    for (const QVariant& inserted : stations) {
        const QString station = textOf(inserted.toMap(), "stationUID");
        if (station.isEmpty())
            continue;
        awaitStation(Topology, station);
        awaitStation(CamStatus, station);
        retrieveDeviceTopology(station);
    }
}

void NodeDataCommander::onExternalDevicesChanged(const Response& response)
{
    sendStationRequest(QStringLiteral("RetrieveExternalDevs"),
                       textOf(response.data.toMap(), "relayPath"));
}

void NodeDataCommander::onCameraStatusRetrieved(const Response& response)
{
    stationAnswered(CamStatus, textOf(response.data.toMap(), "relayPath"));
}

void NodeDataCommander::requestAfterNodeInfo(const QString& stationId)
{
    sendStationRequest(QStringLiteral("SubscribeCamStatus"), stationId);
    retrieveRuleInfo(stationId);
    sendStationRequest(QStringLiteral("GetDiDoRefName"), stationId);
    sendStationRequest(QStringLiteral("RetrieveExternalDevs"), stationId);
    sendStationRequest(QStringLiteral("SubscribeCameraEvent"), stationId);
    sendStationRequest(QStringLiteral("SubscribeStationDIDOEvent"), stationId);
    sendStationRequest(QStringLiteral("SubscribeExtIODeviceEvent"), stationId);
}

void NodeDataCommander::requestStationDetails(const QString& stationId)
{
    retrieveServerInfo(stationId);
    sendStationRequest(QStringLiteral("GetRedundantServersStatus"), stationId);
    sendStationRequest(QStringLiteral("GetSKYRCloudConnectionTimeoutList"), stationId);
}

void NodeDataCommander::requestWifiStatus(const QVariantList& nodeList)
{
    for (const QVariant& node : nodeList) {
        const QVariantMap entry = node.toMap();
        if (entry.value(QStringLiteral("isNVR")).toBool())
            sendStationRequest(QStringLiteral("GetWifiStatus"), textOf(entry, "nodeUID"));
    }
}

void NodeDataCommander::retrieveCamInfo(const QString& stationId, const QStringList& cameraIds)
{
    QVariantMap arguments = stationArguments(stationId);
    arguments.insert(QStringLiteral("camIDList"), cameraIds);
    emit sendCommand(QStringLiteral("RetrieveCamInfo"), arguments, RequestContexts::makeArgumentsContext(arguments),
                     false);
}

void NodeDataCommander::sendStationRequest(const QString& requestName, const QString& stationId)
{
    emit sendCommand(requestName, stationArguments(stationId), nullptr, false);
}

void NodeDataCommander::retrieveAllDeviceTopology(const QString& stationId)
{
    const QString request = QStringLiteral("RetrieveAllDeviceTopology");
    emit sendCommand(request, stationArguments(stationId), RequestContexts::makeStationContext(stationId), false);
}

void NodeDataCommander::retrieveDeviceTopology(const QString& stationId)
{
    TOPOLOGY_LOG_INFO("Send RetrieveDeviceTopology, station id: %s", stationId);
    const QString request = QStringLiteral("RetrieveDeviceTopology");
    emit sendCommand(request, stationArguments(stationId), RequestContexts::makeStationContext(stationId), false);
}

void NodeDataCommander::retrieveLogicalTree()
{
    // The logical tree belongs to the login station.
    awaitStation(LogicalTree, QString());
    emit sendCommand(QStringLiteral("retrieveLogicalTree"), stationArguments(QString()), nullptr, false);
}

void NodeDataCommander::queryLocations(const QString& stationId)
{
    awaitStation(Location, stationId);
    sendLocationQuery(stationId);
}

void NodeDataCommander::sendLocationQuery(const QString& stationId)
{
    const QString request = QStringLiteral("QryCamLocation");
    emit sendCommand(request, stationArguments(stationId), RequestContexts::makeStationContext(stationId), false);
}

void NodeDataCommander::retrieveAllCamInfo(const QString& stationId)
{
    TOPOLOGY_LOG_INFO("Send retrieveAllCamInfo, station id: %s", stationId);
    m_nodeInfoSettled.insert(stationId);
    awaitStation(NodeInfo, stationId);
    const QVariantMap arguments = stationArguments(stationId);
    emit sendCommand(QStringLiteral("RetrieveAllCamInfo"), arguments, RequestContexts::makeArgumentsContext(arguments),
                     false);
}

void NodeDataCommander::retrieveServerInfo(const QString& stationId)
{
    awaitStation(ServerInfo, stationId);
    const QString request = QStringLiteral("RetrieveServerInfo");
    emit sendCommand(request, stationArguments(stationId), RequestContexts::makeStationContext(stationId), false);
}

void NodeDataCommander::retrieveRuleInfo(const QString& stationId)
{
    sendStationRequest(QStringLiteral("RetrieveRuleInfo"), stationId);
}

void NodeDataCommander::getCameraStatus(const QString& stationId, const QString& cameraId)
{
    QVariantMap arguments = stationArguments(stationId);
    arguments.insert(QStringLiteral("camID"), cameraId);
    emit sendCommand(QStringLiteral("GetCameraStatus"), arguments, nullptr, false);
}

void NodeDataCommander::queueRetry(const QString& requestName, const QString& stationId, int delayMs)
{
    const int timerId = startTimer(delayMs, Qt::CoarseTimer);
    if (timerId != 0)
        m_retryQueue.insert(timerId, {requestName, QVariant(stationId)});
}

void NodeDataCommander::timerEvent(QTimerEvent* event)
{
    const int timerId = event->timerId();
    killTimer(timerId);
    const auto queued = m_retryQueue.find(timerId);
    if (queued == m_retryQueue.end())
        return;
    const RetryEntry retry = queued.value();
    m_retryQueue.erase(queued);

    const QString station = retry.stationId.toString();
    if (retry.requestName == QLatin1String("QryCamLocation")) {
        TOPOLOGY_LOG_INFO("Retry retryQueryLocations, station id: %s", station);
        // The station stays awaited across its retry; one let go of by a reset or
        // a disconnection in the meantime is not waited for again.
        sendLocationQuery(station);
    } else if (retry.requestName == QLatin1String("RetrieveDeviceTopology")) {
        TOPOLOGY_LOG_INFO("Retry retrieveDeviceTopology, station id: %s", station);
        retrieveDeviceTopology(station);
    } else if (retry.requestName == QLatin1String("RetrieveAllDeviceTopology")) {
        TOPOLOGY_LOG_INFO("Retry retrieveAllDeviceTopology, station id: %s", station);
        retrieveAllDeviceTopology(station);
    }
}

void NodeDataCommander::awaitStation(Flag flag, const QString& stationId)
{
    setRetrieved(flag, false);
    m_flags[flag].awaited.insert(stationId);
}

void NodeDataCommander::stationAnswered(Flag flag, const QString& stationId)
{
    QSet<QString>& awaited = m_flags[flag].awaited;
    // Only the answer that empties the set raises the flag; stray answers change nothing.
    if (awaited.remove(stationId) && awaited.isEmpty())
        setRetrieved(flag, true);
}

void NodeDataCommander::setRetrieved(Flag flag, bool retrieved)
{
    RetrievedFlag& state = m_flags[flag];
    if (state.retrieved == retrieved)
        return;
    state.retrieved = retrieved;
    state.changedSinceReset = true;
    emitRetrieved(flag, retrieved);
}

void NodeDataCommander::emitRetrieved(Flag flag, bool retrieved)
{
    switch (flag) {
    case NodeInfo: emit allNodeInfoRetrieved(retrieved); break;
    case CamStatus: emit allCamStatusRetrieved(retrieved); break;
    case Topology: emit allTopologyRetrieved(retrieved); break;
    case ServerInfo: emit allServerInfoRetrieved(retrieved); break;
    case LogicalTree: emit logicalTreeRetrieved(retrieved); break;
    case Location: emit locationRetrieved(retrieved); break;
    case FlagCount: break;
    }
}

bool NodeDataCommander::isNodeInfoRetrieved() const { return m_flags[NodeInfo].retrieved; }
bool NodeDataCommander::isCamStatusRetrieved() const { return m_flags[CamStatus].retrieved; }
bool NodeDataCommander::isTopologyRetrieved() const { return m_flags[Topology].retrieved; }
bool NodeDataCommander::isServerInfoRetrieved() const { return m_flags[ServerInfo].retrieved; }
bool NodeDataCommander::isLogicalTreeRetrieved() const { return m_flags[LogicalTree].retrieved; }
bool NodeDataCommander::isLocationRetrieved() const { return m_flags[Location].retrieved; }

void NodeDataCommander::sendLogicalTreeRequest(const QString& requestName, const QVariant& arguments)
{
    emit sendCommand(requestName, arguments, nullptr, false);
}
