#include "TopologyPayloadParser.h"

#include "DeviceNodeFactory.h"
#include "DeviceTree.h"
#include "DeviceTreeNames.h"
#include "PayloadFields.h"
#include "StandardTopologyModel.h"

namespace {

using PayloadFields::textOf;
using PayloadFields::flagOf;

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
        events.insert(QLatin1String(key), flagOf(details, key));
    events.insert(QStringLiteral("suppAutoTracking"), flagOf(details, "suppAutoTrack"));
    for (const char* key : kEventsKeptByNameAfterAutoTracking)
        events.insert(QLatin1String(key), flagOf(details, key));
    for (const auto& [recordKey, serverKey] : kRenamedEvents)
        events.insert(QLatin1String(recordKey), flagOf(details, serverKey));
    return events;
}

QVariantMap TopologyPayloadParser::createCameraInfoMap(const QVariantMap& cameraEntry, const QString& stationId) const
{
    const QString cameraId = textOf(cameraEntry, "camUID");
    const QVariantMap info = cameraEntry.value(QStringLiteral("camInfo")).toMap();
    const QVariantMap ptz = info.value(QStringLiteral("mechPtzCap")).toMap();
    const bool known = m_deviceTree.contains(cameraId);
    const uint doCount = unsignedNumber(info, "doCount");
    const uint diCount = unsignedNumber(info, "diCount");

    QVariantMap record;
    record.insert(QStringLiteral("idRole"), cameraId);
    record.insert(QStringLiteral("nameRole"), DeviceNodeFactory::cleanDisplayName(textOf(info, "name")));
    record.insert(QStringLiteral("camIDRole"), textOf(info, "id"));
    record.insert(QStringLiteral("ipRole"), textOf(info, "ip"));
    record.insert(QStringLiteral("portRole"), number(info, "port"));
    record.insert(QStringLiteral("httpPortRole"), number(info, "port"));
    record.insert(QStringLiteral("usernameRole"), textOf(info, "user"));
    record.insert(QStringLiteral("userRole"), textOf(info, "user"));
    record.insert(QStringLiteral("passwordRole"), textOf(info, "pwd"));
    record.insert(QStringLiteral("parentStationIDRole"), stationId);
    // The servers name the model as a word; views compare the type as a number.
    record.insert(QStringLiteral("camTypeRole"),
                  StandardTopologyModel::cameraTypeOf(info.value(QStringLiteral("type"))));
    record.insert(QStringLiteral("camModelRole"), textOf(info, "type"));
    record.insert(QStringLiteral("modelRole"), textOf(info, "type"));
    record.insert(QStringLiteral("firmwareVersionRole"), textOf(info, "firmwareVersion"));
    record.insert(QStringLiteral("isVCARole"), flagOf(info, "vca"));
    record.insert(QStringLiteral("ruleInfoListRole"), QVariantList());
    record.insert(QStringLiteral("connectedRole"),
                  known && m_deviceTree.data(cameraId, StandardTopologyModel::connectedRole).toBool());
    record.insert(QStringLiteral("suppMechPtzRole"), flagOf(ptz, "suppPTZ"));
    record.insert(QStringLiteral("suppPanRole"), flagOf(ptz, "suppPan"));
    record.insert(QStringLiteral("suppTiltRole"), flagOf(ptz, "suppTilt"));
    record.insert(QStringLiteral("suppZoomRole"), flagOf(ptz, "suppZoom"));
    record.insert(QStringLiteral("suppFocusRole"), flagOf(ptz, "suppFocus"));
    record.insert(QStringLiteral("suppIrisRole"), flagOf(ptz, "suppIris"));
    record.insert(QStringLiteral("suppJoystickRole"), flagOf(ptz, "suppJoystick"));
    record.insert(QStringLiteral("suppAutoTrackingRole"), flagOf(info, "suppAutoTrack"));
    record.insert(QStringLiteral("supportZoomModuleRole"), flagOf(info, "zoomModule"));
    record.insert(QStringLiteral("brandRole"),
                  info.contains(QStringLiteral("brand")) ? textOf(info, "brand") : QString(DeviceTreeNames::kDefaultBrand));
    record.insert(QStringLiteral("recordingRole"),
                  known && m_deviceTree.data(cameraId, StandardTopologyModel::recordingRole).toBool());
    record.insert(QStringLiteral("supportSeamlessRole"), flagOf(info, "suppSeamless"));
    record.insert(QStringLiteral("sdCardReadyRole"), flagOf(info, "sdCardReady"));
    record.insert(QStringLiteral("streamNumberRole"), unsignedNumber(info, "streamNum"));
    record.insert(QStringLiteral("profileNumberRole"), unsignedNumber(info, "profileNum"));
    record.insert(QStringLiteral("supportTimeShiftRole"), flagOf(info, "suppTimeShift"));
    record.insert(QStringLiteral("resolutionListRole"), PayloadFields::textListOf(info, "resolutionList"));
    record.insert(QStringLiteral("urlRole"), decryptUrlString(textOf(info, "url")));
    record.insert(QStringLiteral("suppSmartMotionRole"), flagOf(info, "suppSmartMotion"));
    record.insert(QStringLiteral("focusSpeedRole"), number(info, "focusSpeed"));
    record.insert(QStringLiteral("supPPTZRole"), flagOf(info, "suppPPTZ"));
    record.insert(QStringLiteral("isPPTZEnabledRole"), flagOf(info, "isPPTZEnabled"));
    record.insert(QStringLiteral("supportWasherRole"), textOf(info, "peripheralSupDev").contains(QLatin1String("washer")));
    record.insert(QStringLiteral("supportObjectMetadataRole"), flagOf(info, "supportObjectMetadata"));
    record.insert(QStringLiteral("supportVehicleDetectionRole"), flagOf(info, "suppVehicleDetection"));
    record.insert(QStringLiteral("vcaVersionRole"), textOf(info, "vcaVersion"));
    record.insert(QStringLiteral("vcaGitVersionRole"), textOf(info, "vcaGitVersion"));
    record.insert(QStringLiteral("vcaProjectRole"), textOf(info, "vcaProject"));
    record.insert(QStringLiteral("supportSmartVCARole"), flagOf(info, "suppSmartVca"));
    record.insert(QStringLiteral("authWebsocketRole"), flagOf(info, "authWebsocket"));
    record.insert(QStringLiteral("supportZoneDetectionRole"), flagOf(info, "suppZoneDetection"));
    record.insert(QStringLiteral("supportSmartSDRole"), flagOf(info, "suppSmartSD"));
    record.insert(QStringLiteral("supportAudioDetectionRole"), flagOf(info, "suppAudioDetection"));
    record.insert(QStringLiteral("supportShockDetectionRole"), flagOf(info, "suppShockDetection"));
    record.insert(QStringLiteral("vcaStatusRole"), textOf(info, "vcaStatus"));
    record.insert(QStringLiteral("enableMulticastRole"), flagOf(info, "enableMulticast"));
    record.insert(QStringLiteral("suppSmartTrackingRole"), flagOf(info, "suppSmartTracking"));
    record.insert(QStringLiteral("runningDetectionRole"), flagOf(info, "supportRunningDetection"));
    record.insert(QStringLiteral("parkingViolationDetectionRole"), flagOf(info, "supportParkingViolationDetection"));
    record.insert(QStringLiteral("restrictedZoneDetectionRole"), flagOf(info, "supportRestrictedZoneDetection"));
    record.insert(QStringLiteral("suppVCARole"), flagOf(info, "suppVCARole"));
    record.insert(QStringLiteral("useServerTimeRole"), flagOf(info, "useServerTime"));
    record.insert(QStringLiteral("macRole"), textOf(info, "mac"));
    record.insert(QStringLiteral("doCountRole"), doCount);
    record.insert(QStringLiteral("doNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DO-"), int(doCount)));
    record.insert(QStringLiteral("diCountRole"), diCount);
    record.insert(QStringLiteral("diNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DI-"), int(diCount)));
    record.insert(QStringLiteral("motionCountRole"), unsignedNumber(info, "motionCount"));
    record.insert(QStringLiteral("useSSLRole"), number(info, "useSSL"));
    record.insert(QStringLiteral("httpsPortRole"), number(info, "httpsPort"));
    record.insert(QStringLiteral("protocolRole"), textOf(info, "protocol"));
    record.insert(QStringLiteral("portRole"), flagOf(info, "useSSL") ? number(info, "httpsPort") : number(info, "port"));
    record.insert(QStringLiteral("channelRole"), number(info, "channel"));
    record.insert(QStringLiteral("channelNumRole"), number(info, "channelNum"));
    record.insert(QStringLiteral("ptSpeedLevelRole"), number(info, "ptSpeedLevel"));
    record.insert(QStringLiteral("zoomSpeedLevelRole"), number(info, "zoomSpeedLevel"));
    record.insert(QStringLiteral("supportTalkRole"), flagOf(info, "suppTalk"));
    record.insert(QStringLiteral("suppVCARole"), flagOf(info, "suppVCA"));
    record.insert(QStringLiteral("suppRemoteFocusRole"), flagOf(info, "suppRemoteFocus"));
    record.insert(QStringLiteral("supportDeepSearchRole"), flagOf(info, "suppDeepSearch"));
    record.insert(QStringLiteral("enableDeepSearchAttributeRole"), flagOf(info, "enableDeepSearchAttribute"));
    record.insert(QStringLiteral("reidRole"), flagOf(info, "reid"));
    record.insert(QStringLiteral("supportDeepSearchProtectRole"), flagOf(info, "suppDeepSearchProtect"));
    record.insert(QStringLiteral("useMACBindingRole"), flagOf(info, "useMACBinding"));
    record.insert(QStringLiteral("supportSAFRRole"), flagOf(info, "suppSAFR"));
    record.insert(QStringLiteral("supportLPRRole"), flagOf(info, "suppNeuralLabLPR") || flagOf(info, "suppVaxtorLPR"));
    record.insert(QStringLiteral("supportNeuralLabLPRRole"), flagOf(info, "suppNeuralLabLPR"));
    record.insert(QStringLiteral("supportVaxtorLPRRole"), flagOf(info, "suppVaxtorLPR"));
    record.insert(QStringLiteral("useEdgeRecordingRole"), flagOf(info, "useEdgeRecording"));
    record.insert(QStringLiteral("edgeRecordingStreamRole"), number(info, "edgeRecordingStream"));
    record.insert(QStringLiteral("supportEdgeRecordingRole"), flagOf(info, "supportEdgeRecording"));
    record.insert(QStringLiteral("supportEdgeRecordingSettingsRole"), flagOf(info, "supportEdgeRecordingSettings"));
    record.insert(QStringLiteral("hasEdgeRecordingFileRole"), flagOf(info, "hasEdgeRecordingFile"));
    record.insert(QStringLiteral("fisheyeCapRole"), number(info, "fisheyeCap"));
    record.insert(QStringLiteral("vcaCapabilityRole"), textOf(info, "vcaCapability"));
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
        record.insert(QStringLiteral("idRole"), textOf(entry, "stationUID"));
        record.insert(QStringLiteral("nameRole"), DeviceNodeFactory::cleanDisplayName(textOf(info, "RefName")));
        record.insert(QStringLiteral("modelRole"), textOf(info, "Model"));
        record.insert(QStringLiteral("displayNameRole"), textOf(info, "DisplayName"));
        record.insert(QStringLiteral("diCountRole"), diCount);
        record.insert(QStringLiteral("diNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DI-"), diCount));
        record.insert(QStringLiteral("doCountRole"), doCount);
        record.insert(QStringLiteral("doNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DO-"), doCount));
        record.insert(QStringLiteral("deepSearchVersionRole"), textOf(info, "DeepSearchVersion"));
        records.push_back(record);
    }
    return records;
}

QVariantList TopologyPayloadParser::allNonRedundantServerSubstations(const QVariantList& nodeList) const
{
    QVariantList substations;
    for (const QVariant& node : nodeList) {
        const QVariantMap entry = node.toMap();
        if (textOf(entry, "nodeType") != QLatin1String("Station") || flagOf(entry, "isRedundantServer"))
            continue;
        const QString nodeId = textOf(entry, "nodeUID");
        QVariantMap substation;
        substation.insert(QStringLiteral("nodeUID"), nodeId);
        substation.insert(QStringLiteral("nodeName"), DeviceNodeFactory::cleanDisplayName(textOf(entry, "nodeName")));
        substation.insert(QStringLiteral("parentStationID"),
                          m_deviceTree.data(nodeId, StandardTopologyModel::parentStationIDRole).toString());
        substations.append(substation);
    }
    return substations;
}
