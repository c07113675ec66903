#include "DeviceTree.h"

#include "DeviceFieldTable.h"
#include "PayloadFields.h"

#include <QSet>

// Changes of node fields from the servers' answers and broadcasts.

namespace {

using PayloadFields::textOf;
using PayloadFields::isRecord;

using Model = StandardTopologyModel;

} // namespace

void DeviceTree::updateCameraInfo(const std::vector<QVariantMap>& cameraInfos)
{
    for (const QVariantMap& info : cameraInfos) {
        QMap<int, QVariant> values = valuesByRole(info);
        // The record also carries values kept for other plug-ins only.
        values.remove(0);
        writeRoles(indexOfCamera(textOf(info, "idRole")), values);
    }
}

void DeviceTree::updateCameraStatus(const QVariantList& statuses)
{
    for (const QVariant& entry : statuses) {
        if (!isRecord(entry))
            continue;
        const QVariantMap status = entry.toMap();
        writeRoles(indexOfCamera(textOf(status, "camUID")),
                   {{Model::connectedRole, status.value(QStringLiteral("connected")).toBool()},
                    {Model::recordingRole, status.value(QStringLiteral("recording")).toBool()},
                    {Model::isUseEdgeRecordingRole, status.value(QStringLiteral("useEdgeRecording")).toBool()},
                    {Model::edgeRecordingStreamRole, status.value(QStringLiteral("edgeRecordingStream")).toInt()}});
    }
}

void DeviceTree::updateDiDoNames(const std::vector<QVariantMap>& nameChanges)
{
    for (const QVariantMap& change : nameChanges) {
        const QModelIndex node = indexOf(textOf(change, "nodeID"));
        if (!node.isValid())
            continue;
        QMap<int, QVariant> renamed;
        const std::pair<int, const char*> lists[] = {{Model::diNameListRole, "diChangeList"},
                                                     {Model::doNameListRole, "doChangeList"}};
        for (const auto& [role, changeKey] : lists) {
            const QStringList names = node.data(role).toStringList();
            const QStringList newNames = newDiDoNameList(names, PayloadFields::list(change.value(QLatin1String(changeKey))));
            if (newNames != names)
                renamed.insert(role, newNames);
        }
        writeRoles(node, renamed);
    }
}

void DeviceTree::updateDisplayName(const QVariantMap& record)
{
    setData(textOf(record, "relayPath"), Model::displayNameRole, textOf(record, "DisplayName"));
}

void DeviceTree::updateStationConnected(const QString& stationId, bool connected)
{
    setData(stationId, Model::connectedRole, connected);
}

void DeviceTree::updateVCAProjection(const QString& cameraId, const QVariant& project)
{
    setData(cameraId, Model::vcaProjectRole, project);
}

void DeviceTree::updateSkyrCloudRelayTimeout(const QStringList& deviceIds, bool timedOut)
{
    const QHash<QString, QModelIndex> devices = indexOfSkyrCloudDevice(deviceIds);
    for (const QString& deviceId : deviceIds) {
        const QModelIndex device = devices.value(deviceId);
        if (device.isValid())
            m_model.setData(device, timedOut, Model::isSKYRCloudRelayTimeoutRole);
    }
}

void DeviceTree::updateServerRelayInfo(const QVariantMap& record)
{
    setData(textOf(record, "relayPath"), Model::relayEnabledRole, record.value(QStringLiteral("IsEnabled")).toBool());
}

void DeviceTree::updateServerPort(const QVariantMap& record)
{
    const QModelIndex station = indexOf(textOf(record, "stationId"));
    if (!station.isValid())
        return;
    QMap<int, QVariant> ports;
    for (const QVariant& entry : PayloadFields::listOf(record, "srvPorts")) {
        const QVariantMap port = entry.toMap();
        const QString name = textOf(port, "Name");
        if (name == QLatin1String("Web"))
            ports.insert(Model::httpPortRole, port.value(QStringLiteral("Port")).toInt());
        else if (name == QLatin1String("Https"))
            ports.insert(Model::httpsPortRole, port.value(QStringLiteral("Port")).toInt());
    }
    writeRoles(station, ports);
}

void DeviceTree::updateServerMulticastInfo(const QVariantMap& record)
{
    writeRoles(indexOf(textOf(record, "stationId")),
               {{Model::enableMulticastRole, record.value(QStringLiteral("Enable")).toBool()},
                {Model::multicastIpRole, textOf(record, "Ip")},
                {Model::multicastPortStartRole, record.value(QStringLiteral("PortStart")).toInt()},
                {Model::multicastPortEndRole, record.value(QStringLiteral("PortEnd")).toInt()}});
}

void DeviceTree::updateServerInfo(const QString& stationId, const QVariantMap& serverInfo)
{
    writeRoles(indexOf(stationId), DeviceFieldTable::serverInformation().carriedValues(serverInfo));
}

void DeviceTree::updateStationInfo(const QVariantMap& stationInfo)
{
    writeRoles(indexOf(textOf(stationInfo, "stationUID")), DeviceFieldTable::stationSettings().carriedValues(stationInfo));
}

void DeviceTree::updateStationInfo(const std::vector<QVariantMap>& stationRecords)
{
    const DeviceFieldTable& fields = DeviceFieldTable::stationRecord();
    for (const QVariantMap& record : stationRecords)
        writeRoles(indexOf(textOf(record, "idRole")), fields.carriedValues(record));
}

void DeviceTree::updateWifiStatus(const QVariantMap& record)
{
    const bool connected = textOf(record, "Status") == QLatin1String("Connected");
    writeRoles(indexOf(textOf(record, "stationUID")),
               {{Model::isWifiAvalibleRole, connected},
                {Model::wifiAddressRole, connected ? textOf(record, "Address") : QString()}});
}

QStringList DeviceTree::newDiDoNameList(const QStringList& names, const QVariantList& changes)
{
    QStringList renamed = names;
    for (const QVariant& entry : changes) {
        const QVariantMap change = entry.toMap();
        const int port = change.value(QStringLiteral("Idx")).toInt() - 1;
        if (port >= 0 && port < renamed.size())
            renamed[port] = textOf(change, "RefName");
    }
    return renamed;
}

QHash<QString, QModelIndex> DeviceTree::indexOfSkyrCloudDevice(const QStringList& deviceIds) const
{
    // Cloud devices are not in the identifier index; one walk answers the whole list.
    QSet<QString> wanted(deviceIds.cbegin(), deviceIds.cend());
    wanted.remove(QString());
    QHash<QString, QModelIndex> found;
    if (wanted.isEmpty())
        return found;
    forEachNodeDepthFirst(QModelIndex(), [&](const QModelIndex& node) {
        const QString deviceId = node.data(Model::skyrCloudDeviceIdRole).toString();
        if (wanted.contains(deviceId) && !found.contains(deviceId))
            found.insert(deviceId, node);
    });
    return found;
}
