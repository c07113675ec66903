#include "TopologyPayloadParser.h"

#include "DeviceNodeFactory.h"
#include "DeviceTree.h"
#include "StandardTopologyModel.h"

namespace {

QString text(const QVariantMap& map, const char* key)
{
    return map.value(QLatin1String(key)).toString();
}

bool flag(const QVariantMap& map, const char* key)
{
    return map.value(QLatin1String(key)).toBool();
}

int number(const QVariantMap& map, const char* key)
{
    return map.value(QLatin1String(key)).toInt();
}

uint unsignedNumber(const QVariantMap& map, const char* key)
{
    return map.value(QLatin1String(key)).toUInt();
}

// Event capabilities whose record key is the server's key.
const char* const kEventsKeptByName[] = {
    "suppSmartVca", "suppSmartMotion", "suppSmartTracking",
};
const char* const kEventsKeptByNameAfterAutoTracking[] = {
    "suppSmartSD", "suppZoneDetection", "suppAudioDetection", "suppShockDetection", "suppPIR", "suppTampering",
    "suppTemperature", "suppIR", "suppVideoLoss", "suppLineCrossing", "suppFieldDetection", "suppLoitering",
    "suppBruteForceAttack", "suppCyberAttack", "suppQuarantineEvent", "suppPTZ",
};
// Event capabilities the servers name differently from the record.
const std::pair<const char*, const char*> kRenamedEvents[] = {
    {"suppRunningDetection", "supportRunningDetection"},
    {"suppParkingViolationDetection", "supportParkingViolationDetection"},
    {"suppRestrictedZoneDetection", "supportRestrictedZoneDetection"},
    {"suppTemperatureThresholdWarning", "suppTemperatureThresholdWarningEvent"},
    {"suppTemperatureThresholdAlarm", "suppTemperatureThresholdAlarmEvent"},
    {"suppTemperatureDifferenceWarning", "suppTemperatureDifferenceWarningEvent"},
    {"suppTemperatureDifferenceAlarm", "suppTemperatureDifferenceAlarmEvent"},
    {"suppTemperatureSectionAlarm", "suppTemperatureSectionAlarmEvent"},
    {"suppTemperatureRiseWarning", "suppTemperatureRiseWarningEvent"},
    {"suppTemperatureRiseAlarm", "suppTemperatureRiseAlarmEvent"},
    {"suppThermalIntrusion", "suppThermalIntrusionEvent"},
    {"suppThermalMultiLoitering", "suppThermalMultiLoiteringEvent"},
    {"suppThermalFireSpot", "suppThermalFireSpotEvent"},
    {"suppThermalSmoker", "suppThermalSmokerEvent"},
    {"suppThermalSmokeAndFlame", "suppThermalSmokeAndFlameEvent"},
};

} // namespace

TopologyPayloadParser::TopologyPayloadParser(const DeviceTree& deviceTree) : m_deviceTree(deviceTree) {}

QString TopologyPayloadParser::decryptUrlString(const QString& text)
{
    // "&amp;" goes first on purpose: an escaped ampersand followed by "lt;" then
    // reads as "<", which is what the servers' double escaping expects.
    QString url = text;
    url.replace(QLatin1String("&amp;"), QLatin1String("&"));
    url.replace(QLatin1String("&lt;"), QLatin1String("<"));
    url.replace(QLatin1String("&gt;"), QLatin1String(">"));
    url.replace(QLatin1String("&apos;"), QLatin1String("'"));
    url.replace(QLatin1String("&quot;"), QLatin1String("\""));
    return url;
}

QStringList TopologyPayloadParser::generateDefaultDiDoNameList(const QString& prefix, int count)
{
    QStringList names;
    if (count < 1)
        return names;
    names.reserve(count);
    for (int port = 1; port <= count; ++port)
        names.append(prefix + QString::number(port));
    return names;
}

QVariantMap TopologyPayloadParser::supportedEvents(const QVariantMap& details)
{
    QVariantMap events;
    for (const char* key : kEventsKeptByName)
        events.insert(QLatin1String(key), flag(details, key));
    events.insert(QStringLiteral("suppAutoTracking"), flag(details, "suppAutoTrack"));
    for (const char* key : kEventsKeptByNameAfterAutoTracking)
        events.insert(QLatin1String(key), flag(details, key));
    for (const auto& [recordKey, serverKey] : kRenamedEvents)
        events.insert(QLatin1String(recordKey), flag(details, serverKey));
    return events;
}

QVariantMap TopologyPayloadParser::createCameraInfoMap(const QVariantMap& cameraEntry, const QString& stationId) const
{
    const QString cameraId = text(cameraEntry, "camUID");
    const QVariantMap info = cameraEntry.value(QStringLiteral("camInfo")).toMap();
    const QVariantMap ptz = info.value(QStringLiteral("mechPtzCap")).toMap();
    const bool known = m_deviceTree.contains(cameraId);
    const uint doCount = unsignedNumber(info, "doCount");
    const uint diCount = unsignedNumber(info, "diCount");

    QVariantMap record;
    record.insert(QStringLiteral("idRole"), cameraId);
    record.insert(QStringLiteral("nameRole"), DeviceNodeFactory::cleanDisplayName(text(info, "name")));
    record.insert(QStringLiteral("camIDRole"), text(info, "id"));
    record.insert(QStringLiteral("ipRole"), text(info, "ip"));
    record.insert(QStringLiteral("portRole"), number(info, "port"));
    record.insert(QStringLiteral("httpPortRole"), number(info, "port"));
    record.insert(QStringLiteral("usernameRole"), text(info, "user"));
    record.insert(QStringLiteral("userRole"), text(info, "user"));
    record.insert(QStringLiteral("passwordRole"), text(info, "pwd"));
    record.insert(QStringLiteral("parentStationIDRole"), stationId);
    record.insert(QStringLiteral("camTypeRole"), text(info, "type"));
    record.insert(QStringLiteral("camModelRole"), text(info, "type"));
    record.insert(QStringLiteral("modelRole"), text(info, "type"));
    record.insert(QStringLiteral("firmwareVersionRole"), text(info, "firmwareVersion"));
    record.insert(QStringLiteral("isVCARole"), flag(info, "vca"));
    record.insert(QStringLiteral("ruleInfoListRole"), QVariantList());
    record.insert(QStringLiteral("connectedRole"),
                  known && m_deviceTree.data(cameraId, StandardTopologyModel::connectedRole).toBool());
    record.insert(QStringLiteral("suppMechPtzRole"), flag(ptz, "suppPTZ"));
    record.insert(QStringLiteral("suppPanRole"), flag(ptz, "suppPan"));
    record.insert(QStringLiteral("suppTiltRole"), flag(ptz, "suppTilt"));
    record.insert(QStringLiteral("suppZoomRole"), flag(ptz, "suppZoom"));
    record.insert(QStringLiteral("suppFocusRole"), flag(ptz, "suppFocus"));
    record.insert(QStringLiteral("suppIrisRole"), flag(ptz, "suppIris"));
    record.insert(QStringLiteral("suppJoystickRole"), flag(ptz, "suppJoystick"));
    record.insert(QStringLiteral("suppAutoTrackingRole"), flag(info, "suppAutoTrack"));
    record.insert(QStringLiteral("supportZoomModuleRole"), flag(info, "zoomModule"));
    record.insert(QStringLiteral("brandRole"),
                  info.contains(QStringLiteral("brand")) ? text(info, "brand") : QStringLiteral("xrqz"));
    record.insert(QStringLiteral("recordingRole"),
                  known && m_deviceTree.data(cameraId, StandardTopologyModel::recordingRole).toBool());
    record.insert(QStringLiteral("supportSeamlessRole"), flag(info, "suppSeamless"));
    record.insert(QStringLiteral("sdCardReadyRole"), flag(info, "sdCardReady"));
    record.insert(QStringLiteral("streamNumberRole"), unsignedNumber(info, "streamNum"));
    record.insert(QStringLiteral("profileNumberRole"), unsignedNumber(info, "profileNum"));
    record.insert(QStringLiteral("supportTimeShiftRole"), flag(info, "suppTimeShift"));
    record.insert(QStringLiteral("resolutionListRole"), info.value(QStringLiteral("resolutionList")).toStringList());
    record.insert(QStringLiteral("urlRole"), decryptUrlString(text(info, "url")));
    record.insert(QStringLiteral("suppSmartMotionRole"), flag(info, "suppSmartMotion"));
    record.insert(QStringLiteral("focusSpeedRole"), number(info, "focusSpeed"));
    record.insert(QStringLiteral("supPPTZRole"), flag(info, "suppPPTZ"));
    record.insert(QStringLiteral("isPPTZEnabledRole"), flag(info, "isPPTZEnabled"));
    record.insert(QStringLiteral("supportWasherRole"), text(info, "peripheralSupDev").contains(QLatin1String("washer")));
    record.insert(QStringLiteral("supportObjectMetadataRole"), flag(info, "supportObjectMetadata"));
    record.insert(QStringLiteral("supportVehicleDetectionRole"), flag(info, "suppVehicleDetection"));
    record.insert(QStringLiteral("vcaVersionRole"), text(info, "vcaVersion"));
    record.insert(QStringLiteral("vcaGitVersionRole"), text(info, "vcaGitVersion"));
    record.insert(QStringLiteral("vcaProjectRole"), text(info, "vcaProject"));
    record.insert(QStringLiteral("supportSmartVCARole"), flag(info, "suppSmartVca"));
    record.insert(QStringLiteral("authWebsocketRole"), flag(info, "authWebsocket"));
    record.insert(QStringLiteral("supportZoneDetectionRole"), flag(info, "suppZoneDetection"));
    record.insert(QStringLiteral("supportSmartSDRole"), flag(info, "suppSmartSD"));
    record.insert(QStringLiteral("supportAudioDetectionRole"), flag(info, "suppAudioDetection"));
    record.insert(QStringLiteral("supportShockDetectionRole"), flag(info, "suppShockDetection"));
    record.insert(QStringLiteral("vcaStatusRole"), text(info, "vcaStatus"));
    record.insert(QStringLiteral("enableMulticastRole"), flag(info, "enableMulticast"));
    record.insert(QStringLiteral("suppSmartTrackingRole"), flag(info, "suppSmartTracking"));
    record.insert(QStringLiteral("runningDetectionRole"), flag(info, "supportRunningDetection"));
    record.insert(QStringLiteral("parkingViolationDetectionRole"), flag(info, "supportParkingViolationDetection"));
    record.insert(QStringLiteral("restrictedZoneDetectionRole"), flag(info, "supportRestrictedZoneDetection"));
    record.insert(QStringLiteral("suppVCARole"), flag(info, "suppVCARole"));
    record.insert(QStringLiteral("useServerTimeRole"), flag(info, "useServerTime"));
    record.insert(QStringLiteral("macRole"), text(info, "mac"));
    record.insert(QStringLiteral("doCountRole"), doCount);
    record.insert(QStringLiteral("doNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DO-"), int(doCount)));
    record.insert(QStringLiteral("diCountRole"), diCount);
    record.insert(QStringLiteral("diNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DI-"), int(diCount)));
    record.insert(QStringLiteral("motionCountRole"), unsignedNumber(info, "motionCount"));
    record.insert(QStringLiteral("useSSLRole"), number(info, "useSSL"));
    record.insert(QStringLiteral("httpsPortRole"), number(info, "httpsPort"));
    record.insert(QStringLiteral("protocolRole"), text(info, "protocol"));
    record.insert(QStringLiteral("portRole"), flag(info, "useSSL") ? number(info, "httpsPort") : number(info, "port"));
    record.insert(QStringLiteral("channelRole"), number(info, "channel"));
    record.insert(QStringLiteral("channelNumRole"), number(info, "channelNum"));
    record.insert(QStringLiteral("ptSpeedLevelRole"), number(info, "ptSpeedLevel"));
    record.insert(QStringLiteral("zoomSpeedLevelRole"), number(info, "zoomSpeedLevel"));
    record.insert(QStringLiteral("supportTalkRole"), flag(info, "suppTalk"));
    record.insert(QStringLiteral("suppVCARole"), flag(info, "suppVCA"));
    record.insert(QStringLiteral("suppRemoteFocusRole"), flag(info, "suppRemoteFocus"));
    record.insert(QStringLiteral("supportDeepSearchRole"), flag(info, "suppDeepSearch"));
    record.insert(QStringLiteral("enableDeepSearchAttributeRole"), flag(info, "enableDeepSearchAttribute"));
    record.insert(QStringLiteral("reidRole"), flag(info, "reid"));
    record.insert(QStringLiteral("supportDeepSearchProtectRole"), flag(info, "suppDeepSearchProtect"));
    record.insert(QStringLiteral("useMACBindingRole"), flag(info, "useMACBinding"));
    record.insert(QStringLiteral("supportSAFRRole"), flag(info, "suppSAFR"));
    record.insert(QStringLiteral("supportLPRRole"), flag(info, "suppNeuralLabLPR") || flag(info, "suppVaxtorLPR"));
    record.insert(QStringLiteral("supportNeuralLabLPRRole"), flag(info, "suppNeuralLabLPR"));
    record.insert(QStringLiteral("supportVaxtorLPRRole"), flag(info, "suppVaxtorLPR"));
    record.insert(QStringLiteral("useEdgeRecordingRole"), flag(info, "useEdgeRecording"));
    record.insert(QStringLiteral("edgeRecordingStreamRole"), number(info, "edgeRecordingStream"));
    record.insert(QStringLiteral("supportEdgeRecordingRole"), flag(info, "supportEdgeRecording"));
    record.insert(QStringLiteral("supportEdgeRecordingSettingsRole"), flag(info, "supportEdgeRecordingSettings"));
    record.insert(QStringLiteral("hasEdgeRecordingFileRole"), flag(info, "hasEdgeRecordingFile"));
    record.insert(QStringLiteral("fisheyeCapRole"), number(info, "fisheyeCap"));
    record.insert(QStringLiteral("vcaCapabilityRole"), text(info, "vcaCapability"));
    record.insert(QStringLiteral("supportEventsRole"), supportedEvents(info));
    return record;
}

std::vector<QVariantMap> TopologyPayloadParser::parseCamerasList(const QVariantList& cameras,
                                                                const QString& stationId) const
{
    std::vector<QVariantMap> records;
    records.reserve(size_t(cameras.size()));
    for (const QVariant& camera : cameras)
        records.push_back(createCameraInfoMap(camera.toMap(), stationId));
    return records;
}

std::vector<QVariantMap> TopologyPayloadParser::parseStationsList(const QVariantList& stations) const
{
    std::vector<QVariantMap> records;
    records.reserve(size_t(stations.size()));
    for (const QVariant& stationEntry : stations) {
        const QVariantMap entry = stationEntry.toMap();
        const QVariantMap info = entry.value(QStringLiteral("info")).toMap();
        const int diCount = number(info, "DINum");
        const int doCount = number(info, "DONum");
        QVariantMap record;
        record.insert(QStringLiteral("idRole"), text(entry, "stationUID"));
        record.insert(QStringLiteral("nameRole"), DeviceNodeFactory::cleanDisplayName(text(info, "RefName")));
        record.insert(QStringLiteral("modelRole"), info.value(QStringLiteral("Model")));
        record.insert(QStringLiteral("displayNameRole"), info.value(QStringLiteral("DisplayName")));
        record.insert(QStringLiteral("diCountRole"), diCount);
        record.insert(QStringLiteral("diNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DI-"), diCount));
        record.insert(QStringLiteral("doCountRole"), doCount);
        record.insert(QStringLiteral("doNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DO-"), doCount));
        record.insert(QStringLiteral("deepSearchVersionRole"), text(info, "DeepSearchVersion"));
        records.push_back(record);
    }
    return records;
}

QVariantList TopologyPayloadParser::allNonRedundantServerSubstations(const QVariantList& nodeList) const
{
    QVariantList substations;
    for (const QVariant& node : nodeList) {
        const QVariantMap entry = node.toMap();
        if (text(entry, "nodeType") != QLatin1String("Station") || flag(entry, "isRedundantServer"))
            continue;
        const QString nodeId = text(entry, "nodeUID");
        QVariantMap substation;
        substation.insert(QStringLiteral("nodeUID"), nodeId);
        substation.insert(QStringLiteral("nodeName"), DeviceNodeFactory::cleanDisplayName(text(entry, "nodeName")));
        substation.insert(QStringLiteral("parentStationID"),
                          m_deviceTree.data(nodeId, StandardTopologyModel::parentStationIDRole).toString());
        substations.append(substation);
    }
    return substations;
}
