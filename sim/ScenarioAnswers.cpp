#include "ScenarioAnswers.h"

#include <QHash>
#include <QRegularExpression>
#include <QUuid>

#include <functional>

const QString ScenarioAnswers::unknownStationCode = QStringLiteral("SimulatorUnknownStation");
const QString ScenarioAnswers::unknownCameraCode = QStringLiteral("SimulatorUnknownCamera");

namespace {

QString lastSegment(const QString& path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString hexOf(const QString& text)
{
    return QString::fromLatin1(text.toUtf8().toHex());
}

QVariant valueOr(const QVariantMap& map, const QString& key, const QVariant& fallback)
{
    const auto it = map.constFind(key);
    return it == map.cend() ? fallback : *it;
}

// The camera record's capability flags that sit at the top level of the details.
const QStringList& capabilityKeys()
{
    static const QStringList keys{
        QStringLiteral("suppPIR"), QStringLiteral("suppTampering"), QStringLiteral("suppTemperature"),
        QStringLiteral("suppIR"), QStringLiteral("suppVideoLoss"), QStringLiteral("suppLineCrossing"),
        QStringLiteral("suppFieldDetection"), QStringLiteral("suppLoitering"), QStringLiteral("suppSmartVca"),
        QStringLiteral("suppSmartMotion"), QStringLiteral("suppSmartTracking"), QStringLiteral("suppBruteForceAttack"),
        QStringLiteral("suppCyberAttack"), QStringLiteral("suppQuarantineEvent"), QStringLiteral("suppZoneDetection"),
        QStringLiteral("suppSmartSD"), QStringLiteral("suppAudioDetection"), QStringLiteral("suppShockDetection")};
    return keys;
}

int channelOf(const ScenarioCamera& camera)
{
    if (camera.details.contains(QStringLiteral("channel")))
        return camera.details.value(QStringLiteral("channel")).toInt();
    static const QRegularExpression channelPattern(QStringLiteral("C_(\\d+)$"));
    const QRegularExpressionMatch match = channelPattern.match(camera.localId);
    return match.hasMatch() ? match.captured(1).toInt() : 1;
}

QVariantList changeList(const QStringList& names)
{
    QVariantList list;
    for (int i = 0; i < names.size(); ++i)
        list.append(QVariantMap{{QStringLiteral("Idx"), i + 1}, {QStringLiteral("RefName"), names.at(i)}});
    return list;
}

} // namespace

bool ScenarioAnswers::isStationScoped(const QString& command)
{
    static const QStringList commands{
        QStringLiteral("RetrieveAllDeviceTopology"), QStringLiteral("RetrieveDeviceTopology"),
        QStringLiteral("RetrieveAllCamInfo"), QStringLiteral("RetrieveCamInfo"), QStringLiteral("RetrieveServerInfo"),
        QStringLiteral("QryCamLocation"), QStringLiteral("RetrieveRuleInfo"), QStringLiteral("RetrieveExternalDevs"),
        QStringLiteral("GetDiDoRefName"), QStringLiteral("GetWifiStatus"), QStringLiteral("GetFailoverStatus"),
        QStringLiteral("GetRedundantServersStatus"), QStringLiteral("GetSKYRCloudConnectionTimeoutList"),
        QStringLiteral("GetCameraStatus"), QStringLiteral("SubscribeCamStatus"), QStringLiteral("SubscribeCameraEvent"),
        QStringLiteral("SubscribeStationDIDOEvent"), QStringLiteral("SubscribeExtIODeviceEvent")};
    return commands.contains(command);
}

ServerAnswer ScenarioAnswers::answer(const QString& command, const QVariant& arguments,
                                     const QString& fallbackStation) const
{
    if (command == QLatin1String("whoAmI"))
        return {QStringLiteral("0"), m_scenario.clientId()};
    if (command == QLatin1String("RetrieveLoginStationInfo"))
        return {QStringLiteral("0"), loginStationInfo()};
    if (command == QLatin1String("RetrieveAllNodeInfo"))
        return {QStringLiteral("0"), allNodeInfo()};
    if (command == QLatin1String("retrieveLogicalTree"))
        return {QStringLiteral("0"), logicalTree()};
    if (command == QLatin1String("getAllWebPage"))
        return {QStringLiteral("0"), webPages()};
    if (!isStationScoped(command))
        return {QStringLiteral("0"), QVariantMap()};

    const QVariantMap argumentMap = arguments.toMap();
    const QString relayPath = argumentMap.contains(QStringLiteral("relayPath"))
        ? argumentMap.value(QStringLiteral("relayPath")).toString()
        : fallbackStation;
    const ScenarioStation* station = m_scenario.station(relayPath);
    if (!station)
        return {unknownStationCode, QVariantMap()};
    return answerForStation(command, *station, argumentMap);
}

ServerAnswer ScenarioAnswers::answerForStation(const QString& command, const ScenarioStation& station,
                                               const QVariantMap& arguments) const
{
    using Builder = std::function<QVariant(const ScenarioAnswers&, const ScenarioStation&, const QVariantMap&)>;
    static const QHash<QString, Builder> builders{
        {QStringLiteral("RetrieveAllDeviceTopology"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap&) { return a.allDeviceTopology(s); }},
        {QStringLiteral("RetrieveDeviceTopology"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap&) { return a.deviceTopology(s); }},
        {QStringLiteral("RetrieveAllCamInfo"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap&) { return a.nodeInfo(s); }},
        {QStringLiteral("RetrieveCamInfo"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap& args) {
             // An empty list asks for no camera, unlike "RetrieveAllCamInfo".
             const QStringList ids = args.value(QStringLiteral("camIDList")).toStringList();
             return ids.isEmpty() ? QVariant(a.nodeInfo(s, {QString()})) : QVariant(a.nodeInfo(s, ids));
         }},
        {QStringLiteral("RetrieveServerInfo"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap&) { return a.serverInfo(s); }},
        {QStringLiteral("QryCamLocation"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap&) { return a.locations(s); }},
        {QStringLiteral("RetrieveRuleInfo"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap& args) {
             return a.rules(s, args.value(QStringLiteral("camIDList")).toStringList());
         }},
        {QStringLiteral("RetrieveExternalDevs"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap&) { return a.externalDevices(s); }},
        {QStringLiteral("GetDiDoRefName"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap&) {
             return a.diDoReferenceNames(s);
         }},
        {QStringLiteral("GetWifiStatus"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap&) { return a.wifiStatus(s); }},
        {QStringLiteral("GetFailoverStatus"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap&) { return a.failoverStatus(s); }},
        {QStringLiteral("GetRedundantServersStatus"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap&) {
             return a.redundantServersStatus(s);
         }},
        {QStringLiteral("GetSKYRCloudConnectionTimeoutList"),
         [](const ScenarioAnswers& a, const ScenarioStation& s, const QVariantMap&) {
             return a.cloudRelayTimeouts(s);
         }},
    };

    if (command == QLatin1String("GetCameraStatus")) {
        const QString camId = arguments.value(QStringLiteral("camID")).toString();
        // The id within the station first: "C_1" of a sub-station is not the login station's "C_1".
        const ScenarioCamera* camera = m_scenario.camera(station.childPath(camId));
        if (!camera)
            camera = m_scenario.camera(camId);
        if (!camera)
            return {unknownCameraCode, QVariantMap()};
        return {QStringLiteral("0"),
                QVariantMap{{QStringLiteral("nodeID"), camera->uid}, {QStringLiteral("isRecording"), camera->recording}}};
    }
    const auto builder = builders.constFind(command);
    if (builder == builders.cend())
        return {QStringLiteral("0"), QVariantMap()}; // the subscriptions
    return {QStringLiteral("0"), (*builder)(*this, station, arguments)};
}

QVariantMap ScenarioAnswers::loginStationInfo() const
{
    const ScenarioStation& login = m_scenario.stations().constFirst();
    return {{QStringLiteral("stationName"), login.name()},
            {QStringLiteral("stationIP"), login.fields.value(QStringLiteral("ip"))}};
}

QVariantMap ScenarioAnswers::stationRecord(const ScenarioStation& station)
{
    const QVariantMap& f = station.fields;
    return {
        {QStringLiteral("nodeUID"), station.relayPath},
        {QStringLiteral("nodeName"), station.name()},
        {QStringLiteral("nodeType"), QStringLiteral("Station")},
        {QStringLiteral("nodeIP"), f.value(QStringLiteral("ip")).toString()},
        {QStringLiteral("useSSL"), f.value(QStringLiteral("useSSL")).toBool()},
        {QStringLiteral("httpPort"), valueOr(f, QStringLiteral("httpPort"), 80).toInt()},
        {QStringLiteral("nasDomain"), f.value(QStringLiteral("nasDomain")).toString()},
        {QStringLiteral("nasUserName"), f.value(QStringLiteral("nasUserName")).toString()},
        {QStringLiteral("nasPassword"), hexOf(f.value(QStringLiteral("nasPassword")).toString())},
        {QStringLiteral("stationPassword"), hexOf(f.value(QStringLiteral("password")).toString())},
        {QStringLiteral("isCMSRedundantServer"), f.value(QStringLiteral("isCMSRedundantServer")).toBool()},
        {QStringLiteral("isRedundantServer"), station.isRedundantServer()},
        {QStringLiteral("isNVR"), station.isNvr()},
        {QStringLiteral("user"), valueOr(f, QStringLiteral("user"), QStringLiteral("admin")).toString()},
        {QStringLiteral("p2pSerialNumber"), f.value(QStringLiteral("p2pSerialNumber")).toString()},
        {QStringLiteral("skyrCloudDeviceId"), f.value(QStringLiteral("skyrCloudDeviceId")).toString()},
        {QStringLiteral("skyrCloudDeviceConnectType"), f.value(QStringLiteral("skyrCloudDeviceConnectType")).toInt()},
        {QStringLiteral("serverVersion"), f.value(QStringLiteral("serverVersion")).toString()},
        {QStringLiteral("serverModelName"), f.value(QStringLiteral("serverModelName")).toString()},
        {QStringLiteral("displayName"), valueOr(f, QStringLiteral("displayName"), station.name()).toString()},
    };
}

QVariantMap ScenarioAnswers::cameraRecord(const ScenarioCamera& camera)
{
    const QVariantMap& d = camera.details;
    QVariantMap record{
        {QStringLiteral("nodeUID"), camera.uid},
        {QStringLiteral("nodeName"), d.value(QStringLiteral("name")).toString()},
        {QStringLiteral("nodeType"), QStringLiteral("Camera")},
        {QStringLiteral("nodeIP"), d.value(QStringLiteral("ip")).toString()},
        {QStringLiteral("user"), d.value(QStringLiteral("user")).toString()},
        {QStringLiteral("diCount"), d.value(QStringLiteral("diCount")).toUInt()},
        {QStringLiteral("doCount"), d.value(QStringLiteral("doCount")).toUInt()},
        {QStringLiteral("motionCount"), d.value(QStringLiteral("motionCount")).toUInt()},
        {QStringLiteral("channelID"), channelOf(camera)},
    };
    // Without a brand the module shows its own default, so an absent brand stays absent.
    if (d.contains(QStringLiteral("brand")))
        record.insert(QStringLiteral("brand"), d.value(QStringLiteral("brand")).toString());
    for (const QString& key : capabilityKeys())
        record.insert(key, d.value(key).toBool());
    // The details call auto tracking "suppAutoTrack"; the topology record "suppAutoTracking".
    record.insert(QStringLiteral("suppAutoTracking"),
                  valueOr(d, QStringLiteral("suppAutoTracking"), d.value(QStringLiteral("suppAutoTrack"))).toBool());
    if (d.contains(QStringLiteral("mechPtzCap")))
        record.insert(QStringLiteral("mechPtzCap"), d.value(QStringLiteral("mechPtzCap")).toMap());
    return record;
}

QVariantMap ScenarioAnswers::deviceTopology(const ScenarioStation& station) const
{
    QVariantList nodes;
    nodes.reserve(station.cameras.size() + station.children.size());
    for (const ScenarioCamera& camera : station.cameras)
        nodes.append(cameraRecord(camera));
    for (const QString& child : station.children)
        nodes.append(stationRecord(*m_scenario.station(child)));
    return {{QStringLiteral("parentStationID"), station.relayPath}, {QStringLiteral("nodeList"), nodes}};
}

QVariantMap ScenarioAnswers::allDeviceTopology(const ScenarioStation& station) const
{
    QVariantMap all;
    const QList<const ScenarioStation*> stations = m_scenario.subtree(station.relayPath);
    for (const ScenarioStation* member : stations)
        all.insert(member->relayPath, deviceTopology(*member));
    return all;
}

QList<const ScenarioCamera*> ScenarioAnswers::selectCameras(const ScenarioStation& station,
                                                            const QStringList& cameraIds) const
{
    QList<const ScenarioCamera*> selected;
    for (const ScenarioCamera& camera : station.cameras) {
        if (cameraIds.isEmpty() || cameraIds.contains(camera.uid) || cameraIds.contains(camera.localId))
            selected.append(&camera);
    }
    return selected;
}

QVariantMap ScenarioAnswers::nodeInfo(const ScenarioStation& station, const QStringList& cameraIds) const
{
    QVariantList sequence;
    QVariantList cameras;
    for (const ScenarioCamera* camera : selectCameras(station, cameraIds)) {
        sequence.append(camera->uid);
        cameras.append(QVariantMap{{QStringLiteral("camUID"), camera->uid}, {QStringLiteral("camInfo"), camera->details}});
    }
    const QVariantMap& f = station.fields;
    QVariantMap info{
        {QStringLiteral("RefName"), station.name()},
        {QStringLiteral("Model"), f.value(QStringLiteral("serverModelName")).toString()},
        {QStringLiteral("DisplayName"), valueOr(f, QStringLiteral("displayName"), station.name()).toString()},
        {QStringLiteral("DINum"), int(f.value(QStringLiteral("diNames")).toStringList().size())},
        {QStringLiteral("DONum"), int(f.value(QStringLiteral("doNames")).toStringList().size())},
        {QStringLiteral("DeepSearchVersion"), QString()},
    };
    const QVariantMap overrides = f.value(QStringLiteral("info")).toMap();
    for (auto it = overrides.cbegin(); it != overrides.cend(); ++it)
        info.insert(it.key(), it.value());
    const QVariantList stations{
        QVariantMap{{QStringLiteral("stationUID"), station.relayPath}, {QStringLiteral("info"), info}}};
    return {{QStringLiteral("relayPath"), station.relayPath},
            {QStringLiteral("cameraSequence"), sequence},
            {QStringLiteral("cameras"), cameras},
            {QStringLiteral("stations"), stations}};
}

QVariantMap ScenarioAnswers::allNodeInfo() const
{
    QVariantMap all;
    for (const ScenarioStation& station : m_scenario.stations())
        all.insert(station.relayPath, nodeInfo(station));
    return all;
}

QVariantMap ScenarioAnswers::serverInfo(const ScenarioStation& station) const
{
    static const QUuid stationNamespace(QStringLiteral("{5b0c6c2e-3f4a-4d71-9a8e-2c1f0e7d9b34}"));
    const QVariantMap& f = station.fields;
    QVariantMap info{
        {QStringLiteral("relayPath"), station.relayPath},
        {QStringLiteral("isNVREventSearch"), false},
        {QStringLiteral("relayEnabled"), station.level > 0},
        {QStringLiteral("hasGPSConnectionEventCap"), false},
        {QStringLiteral("hasGPSSpeedLimitationEventCap"), false},
        {QStringLiteral("hasGSensorEventCap"), false},
        {QStringLiteral("hasFanStatusEventCap"), false},
        {QStringLiteral("suppBruteForceAttack"), false},
        {QStringLiteral("suppCyberAttack"), false},
        {QStringLiteral("suppQuarantineEvent"), false},
        {QStringLiteral("isQELM2"), false},
        {QStringLiteral("isNVRStation"), station.isNvr()},
        {QStringLiteral("enableMulticast"), false},
        {QStringLiteral("multicastIp"), QString()},
        {QStringLiteral("multicastPortStart"), 0},
        {QStringLiteral("multicastPortEnd"), 0},
        {QStringLiteral("isNVRSupportCameraSetting"), station.isNvr()},
        {QStringLiteral("serverVersion"), f.value(QStringLiteral("serverVersion")).toString()},
        // Derived from the relay path so that a scenario gives the same GUIDs on every run.
        {QStringLiteral("stationGUID"),
         QUuid::createUuidV5(stationNamespace, station.relayPath).toString(QUuid::WithBraces)},
        {QStringLiteral("httpPort"), valueOr(f, QStringLiteral("httpPort"), 80).toInt()},
        {QStringLiteral("httpsPort"), valueOr(f, QStringLiteral("httpsPort"), 443).toInt()},
    };
    const QVariantMap overrides = f.value(QStringLiteral("server")).toMap();
    for (auto it = overrides.cbegin(); it != overrides.cend(); ++it)
        info.insert(it.key(), it.value());
    return info;
}

QVariantMap ScenarioAnswers::locations(const ScenarioStation& station) const
{
    // Channels by local id: the active cameras and the removed ones, whose recordings stay.
    QList<QPair<QString, QString>> channels;
    for (const ScenarioCamera& camera : station.cameras)
        channels.append({camera.localId, camera.details.value(QStringLiteral("name")).toString()});
    QVariantList removed;
    for (const ScenarioRemovedCamera& camera : station.removedCameras) {
        channels.append({camera.localId, camera.name});
        removed.append(QVariantMap{{QStringLiteral("camID"), camera.localId},
                                   {QStringLiteral("camName"), camera.name},
                                   {QStringLiteral("cameraType"), camera.cameraType}});
    }

    QVariantList locInfo;
    for (const ScenarioLocation& location : station.locations) {
        QVariantList entries;
        for (const auto& channel : std::as_const(channels)) {
            if (!location.allCameras && !location.cameras.contains(channel.first))
                continue;
            entries.append(QVariantMap{{QStringLiteral("Name"), location.id},
                                       {QStringLiteral("Available"), location.available},
                                       {QStringLiteral("Alias"), channel.first},
                                       {QStringLiteral("RefAlias"), channel.second},
                                       {QStringLiteral("GrpName"), location.group},
                                       {QStringLiteral("Stream"), location.stream}});
        }
        locInfo.append(QVariantMap{{QStringLiteral("Name"), location.id},
                                   {QStringLiteral("GrpName"), location.group},
                                   {QStringLiteral("Stream"), location.stream},
                                   {QStringLiteral("Available"), location.available},
                                   {QStringLiteral("locs"), entries}});
    }
    return {{QStringLiteral("relayPath"), station.relayPath},
            {QStringLiteral("locInfo"), locInfo},
            {QStringLiteral("removedCameras"), removed}};
}

QVariantMap ScenarioAnswers::rules(const ScenarioStation& station, const QStringList& cameraIds) const
{
    QVariantList cameras;
    for (const ScenarioCamera* camera : selectCameras(station, cameraIds))
        cameras.append(QVariantMap{{QStringLiteral("camUID"), camera->uid}, {QStringLiteral("ruleList"), camera->rules}});
    return {{QStringLiteral("relayPath"), station.relayPath}, {QStringLiteral("cameras"), cameras}};
}

QVariantMap ScenarioAnswers::cameraStatus(const ScenarioCamera& camera)
{
    return {{QStringLiteral("camUID"), camera.uid},
            {QStringLiteral("connected"), camera.connected},
            {QStringLiteral("recording"), camera.recording},
            {QStringLiteral("useEdgeRecording"), camera.details.value(QStringLiteral("useEdgeRecording")).toBool()},
            {QStringLiteral("edgeRecordingStream"), camera.details.value(QStringLiteral("edgeRecordingStream")).toInt()}};
}

QVariantList ScenarioAnswers::cameraStatusList(const ScenarioStation& station) const
{
    QVariantList list;
    for (const ScenarioCamera& camera : station.cameras)
        list.append(cameraStatus(camera));
    return list;
}

QVariantList ScenarioAnswers::externalDevices(const ScenarioStation& station) const
{
    QVariantList list;
    for (const QVariant& entry : station.externalDevices) {
        const QVariantMap device = entry.toMap();
        const QStringList diNames = device.value(QStringLiteral("diNames")).toStringList();
        const QStringList doNames = device.value(QStringLiteral("doNames")).toStringList();
        list.append(QVariantMap{
            {QStringLiteral("RelayPath"), station.relayPath},
            {QStringLiteral("NodeID"), station.childPath(device.value(QStringLiteral("id")).toString())},
            {QStringLiteral("RefName"), device.value(QStringLiteral("name")).toString()},
            {QStringLiteral("ModuleName"), device.value(QStringLiteral("module")).toString()},
            {QStringLiteral("Brand"), device.value(QStringLiteral("brand")).toString()},
            {QStringLiteral("HostIP"), device.value(QStringLiteral("ip")).toString()},
            {QStringLiteral("Port"), valueOr(device, QStringLiteral("port"), 502).toInt()},
            {QStringLiteral("User"), device.value(QStringLiteral("user")).toString()},
            {QStringLiteral("Password"), device.value(QStringLiteral("password")).toString()},
            {QStringLiteral("DINum"), int(diNames.size())},
            {QStringLiteral("DONum"), int(doNames.size())},
            {QStringLiteral("DINameList"), diNames},
            {QStringLiteral("DONameList"), doNames},
        });
    }
    return list;
}

QVariantList ScenarioAnswers::diDoReferenceNames(const ScenarioStation& station) const
{
    QVariantList list;
    for (const ScenarioCamera& camera : station.cameras) {
        if (camera.diNames.isEmpty() && camera.doNames.isEmpty())
            continue;
        list.append(QVariantMap{{QStringLiteral("camNodeId"), camera.uid},
                                {QStringLiteral("diChangeList"), changeList(camera.diNames)},
                                {QStringLiteral("doChangeList"), changeList(camera.doNames)}});
    }
    const QStringList diNames = station.fields.value(QStringLiteral("diNames")).toStringList();
    const QStringList doNames = station.fields.value(QStringLiteral("doNames")).toStringList();
    if (!diNames.isEmpty() || !doNames.isEmpty()) {
        list.append(QVariantMap{{QStringLiteral("stationNodeId"), station.relayPath},
                                {QStringLiteral("diChangeList"), changeList(diNames)},
                                {QStringLiteral("doChangeList"), changeList(doNames)}});
    }
    return list;
}

QVariantMap ScenarioAnswers::wifiStatus(const ScenarioStation& station) const
{
    const QVariantMap wifi = station.fields.value(QStringLiteral("wifi")).toMap();
    return {{QStringLiteral("stationUID"), station.relayPath},
            {QStringLiteral("Status"), valueOr(wifi, QStringLiteral("Status"), QStringLiteral("Disconnected"))},
            {QStringLiteral("Address"), wifi.value(QStringLiteral("Address")).toString()}};
}

QString ScenarioAnswers::failoverName(const QString& relayPath)
{
    QString name = lastSegment(relayPath);
    if (name.startsWith(QLatin1String("S_")))
        name.replace(0, 2, QStringLiteral("F_"));
    return name;
}

QVariantMap ScenarioAnswers::failoverEntry(const ScenarioStation& redundantServer)
{
    const QVariantMap failover = redundantServer.fields.value(QStringLiteral("failover")).toMap();
    const QString status = failover.value(QStringLiteral("status"), QStringLiteral("Standby")).toString();
    QVariant statusValue = status;
    if (failover.contains(QStringLiteral("runningFor"))) {
        statusValue = QVariantMap{
            {QStringLiteral("#text"), status},
            {QStringLiteral("@Server"), failoverName(failover.value(QStringLiteral("runningFor")).toString())}};
    }
    return {{QStringLiteral("Name"), failoverName(redundantServer.relayPath)}, {QStringLiteral("Status"), statusValue}};
}

QVariantMap ScenarioAnswers::failoverStatus(const ScenarioStation& station) const
{
    const ScenarioStation* server = station.isRedundantServer() ? &station : nullptr;
    for (int i = 0; !server && i < station.children.size(); ++i) {
        const ScenarioStation* child = m_scenario.station(station.children.at(i));
        if (child->isRedundantServer())
            server = child;
    }
    if (!server)
        return QVariantMap();
    return {{QStringLiteral("GetFailoverStatusRes"), failoverEntry(*server)}};
}

QVariantList ScenarioAnswers::redundantServersStatus(const ScenarioStation& station) const
{
    QVariantList list;
    for (const QString& childPath : station.children) {
        const ScenarioStation* child = m_scenario.station(childPath);
        if (child->isRedundantServer())
            list.append(failoverEntry(*child));
    }
    return list;
}

QStringList ScenarioAnswers::cloudRelayTimeouts(const ScenarioStation& station) const
{
    QStringList ids;
    QList<const ScenarioStation*> candidates{&station};
    for (const QString& childPath : station.children)
        candidates.append(m_scenario.station(childPath));
    for (const ScenarioStation* candidate : std::as_const(candidates)) {
        const QString id = candidate->fields.value(QStringLiteral("skyrCloudDeviceId")).toString();
        if (!id.isEmpty() && candidate->fields.value(QStringLiteral("skyrCloudRelayTimeout")).toBool())
            ids.append(id);
    }
    return ids;
}

QVariantMap ScenarioAnswers::logicalTree() const
{
    const QVariantMap tree = m_scenario.logicalTree();
    if (tree.isEmpty())
        return QVariantMap();
    int serial = 0;
    return logicalTreeNode(tree, serial);
}

QVariantMap ScenarioAnswers::logicalTreeNode(const QVariant& node, int& serial) const
{
    // Camera entries carry no name: the module names them from the device tree.
    const QVariantMap map = node.toMap();
    const bool isCamera = node.typeId() == QMetaType::QString || map.contains(QStringLiteral("camera"));
    const QString generatedId = QStringLiteral("LT_%1").arg(serial++);
    if (isCamera) {
        const QString uid = node.typeId() == QMetaType::QString ? node.toString()
                                                                : map.value(QStringLiteral("camera")).toString();
        return {{QStringLiteral("treeNodeId"), valueOr(map, QStringLiteral("id"), generatedId)},
                {QStringLiteral("nodeUID"), uid},
                {QStringLiteral("name"), QString()},
                {QStringLiteral("joystickKey"), valueOr(map, QStringLiteral("joystickKey"), -1).toInt()},
                {QStringLiteral("children"), QVariantList()}};
    }
    QVariantList children;
    const QVariantList scenarioChildren = map.value(QStringLiteral("children")).toList();
    for (const QVariant& child : scenarioChildren)
        children.append(logicalTreeNode(child, serial));
    return {{QStringLiteral("treeNodeId"), valueOr(map, QStringLiteral("id"), generatedId)},
            {QStringLiteral("nodeUID"), QString()},
            {QStringLiteral("name"), map.value(QStringLiteral("name")).toString()},
            {QStringLiteral("children"), children}};
}

QVariantList ScenarioAnswers::webPages() const
{
    QVariantList pages;
    const QVariantList scenarioPages = m_scenario.webPages();
    for (int i = 0; i < scenarioPages.size(); ++i) {
        const QVariantMap page = scenarioPages.at(i).toMap();
        pages.append(QVariantMap{
            {QStringLiteral("id"), valueOr(page, QStringLiteral("id"), QStringLiteral("WP_%1").arg(i + 1)).toString()},
            {QStringLiteral("pageName"), page.value(QStringLiteral("pageName")).toString()},
            {QStringLiteral("url"), page.value(QStringLiteral("url")).toString()},
            {QStringLiteral("iconType"), page.value(QStringLiteral("iconType")).toInt()}});
    }
    return pages;
}
