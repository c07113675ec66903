#include "TopologyPayloadParser.h"

#include "DeviceFieldTable.h"
#include "DeviceNodeFactory.h"
#include "DeviceTree.h"
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
    using Model = StandardTopologyModel;
    const QString cameraId = textOf(cameraEntry, "camUID");
    const QVariantMap info = cameraEntry.value(QStringLiteral("camInfo")).toMap();
    const bool known = m_deviceTree.contains(cameraId);
    const uint doCount = unsignedNumber(info, "doCount");
    const uint diCount = unsignedNumber(info, "diCount");

    QVariantMap record;
    DeviceFieldTable::cameraInformation().insertByRoleName(record, info);
    // The fields that are not one key's value.
    record.insert(QStringLiteral("idRole"), cameraId);
    record.insert(QStringLiteral("parentStationIDRole"), stationId);
    record.insert(QStringLiteral("connectedRole"), known && m_deviceTree.data(cameraId, Model::connectedRole).toBool());
    record.insert(QStringLiteral("recordingRole"), known && m_deviceTree.data(cameraId, Model::recordingRole).toBool());
    record.insert(QStringLiteral("portRole"), flagOf(info, "useSSL") ? number(info, "httpsPort") : number(info, "port"));
    record.insert(QStringLiteral("urlRole"), decryptUrlString(textOf(info, "url")));
    record.insert(QStringLiteral("supportWasherRole"), textOf(info, "peripheralSupDev").contains(QLatin1String("washer")));
    record.insert(QStringLiteral("supportLPRRole"), flagOf(info, "suppNeuralLabLPR") || flagOf(info, "suppVaxtorLPR"));
    record.insert(QStringLiteral("doNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DO-"), int(doCount)));
    record.insert(QStringLiteral("diNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DI-"), int(diCount)));
    record.insert(QStringLiteral("supportEventsRole"), supportedEvents(info));
    // Kept for the edge recording locations under a name of its own: the
    // node's own flag follows the camera status broadcasts instead.
    record.insert(QStringLiteral("useEdgeRecordingRole"), flagOf(info, "useEdgeRecording"));
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
        DeviceFieldTable::stationInformation().insertByRoleName(record, info);
        record.insert(QStringLiteral("idRole"), textOf(entry, "stationUID"));
        record.insert(QStringLiteral("diNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DI-"), diCount));
        record.insert(QStringLiteral("doNameListRole"), generateDefaultDiDoNameList(QStringLiteral("DO-"), doCount));
        records.push_back(record);
    }
    return records;
}

QList<RedundantStationInfo> TopologyPayloadParser::allNonRedundantServerSubstations(const QVariantList& nodeList) const
{
    QList<RedundantStationInfo> substations;
    for (const QVariant& node : nodeList) {
        const QVariantMap entry = node.toMap();
        if (textOf(entry, "nodeType") != QLatin1String("Station") || flagOf(entry, "isRedundantServer"))
            continue;
        const QString nodeId = textOf(entry, "nodeUID");
        substations.append({nodeId, DeviceNodeFactory::cleanDisplayName(textOf(entry, "nodeName")),
                            m_deviceTree.data(nodeId, StandardTopologyModel::parentStationIDRole).toString(),
                            false});
    }
    return substations;
}
