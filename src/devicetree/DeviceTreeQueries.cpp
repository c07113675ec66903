#include "DeviceTree.h"

#include <QQueue>
#include <QRegularExpression>

// The read-only questions other plug-ins and views ask of the device tree.

namespace {

using Model = StandardTopologyModel;

int channelOf(const QString& nodeId)
{
    static const QRegularExpression channelSuffix(QStringLiteral("C_(\\d+)$"));
    const QRegularExpressionMatch match = channelSuffix.match(nodeId);
    return match.hasMatch() ? match.captured(1).toInt() : 0;
}
} // namespace

QVariantList DeviceTree::getAllStationInfo() const
{
    // Stations only hang under stations. Each station's entry can only be made
    // once its children's entries are, so the walk keeps its open stations on
    // a stack instead of recursing.
    struct OpenStation
    {
        QModelIndex station;
        int nextRow = 0;
        QVariantList children;
    };
    std::vector<OpenStation> open{{QModelIndex(), 0, {}}};
    QVariantList result;
    while (!open.empty()) {
        OpenStation& current = open.back();
        if (current.nextRow < m_model.rowCount(current.station)) {
            const QModelIndex child = m_model.index(current.nextRow++, 0, current.station);
            if (isStation(child))
                open.push_back({child, 0, {}});
            continue;
        }
        OpenStation done = std::move(current);
        open.pop_back();
        if (open.empty()) {
            result = done.children;
            break;
        }
        open.back().children.append(QVariantMap{
            {QStringLiteral("name"), done.station.data(Model::nameRole)},
            {QStringLiteral("ip"), done.station.data(Model::ipRole)},
            {QStringLiteral("relayPath"), done.station.data(Model::nodeIDRole)},
            {QStringLiteral("type"), done.station.data(Model::modelRole)},
            {QStringLiteral("children"), done.children},
        });
    }
    return result;
}

QVariantMap DeviceTree::getAllStationNames() const
{
    QVariantMap names;
    for (const QModelIndex& station : stationsDepthFirst())
        names.insert(station.data(Model::idRole).toString(), station.data(Model::nameRole));
    return names;
}

QStringList DeviceTree::getAllStationRelayPath(bool includeNvr) const
{
    QStringList relayPaths;
    for (const QModelIndex& station : stationsDepthFirst()) {
        if (includeNvr || !station.data(Model::isNVRStationRole).toBool())
            relayPaths.append(station.data(Model::nodeIDRole).toString());
    }
    return relayPaths;
}

QStringList DeviceTree::getMacListInBfsOrder() const
{
    QStringList macs;
    QQueue<QModelIndex> pending;
    pending.enqueue(QModelIndex());
    while (!pending.isEmpty()) {
        const QModelIndex parent = pending.dequeue();
        for (int row = 0; row < m_model.rowCount(parent); ++row) {
            const QModelIndex node = m_model.index(row, 0, parent);
            if (isCamera(node)) {
                const QString mac = node.data(Model::macRole).toString();
                if (!mac.isEmpty())
                    macs.append(mac);
            }
            if (m_model.hasChildren(node))
                pending.enqueue(node);
        }
    }
    return macs;
}

QVariantList DeviceTree::getNvrInfoList(const QString& stationId) const
{
    const QModelIndex station = indexOf(stationId);
    if (!station.isValid())
        return QVariantList();
    QVariantList nvrs;
    forEachNodeDepthFirst(station, [&](const QModelIndex& node) {
        if (!isStation(node) || !node.data(Model::isNVRStationRole).toBool())
            return;
        nvrs.append(QVariantMap{
            {QStringLiteral("stationName"), node.data(Model::nameRole)},
            {QStringLiteral("cameraNumber"), int(camerasOf(node).size())},
            {QStringLiteral("connected"), node.data(Model::connectedRole).toBool()},
        });
    });
    return nvrs;
}

QVariantMap DeviceTree::getRootStationNameAndCameras() const
{
    const QModelIndex root = m_model.index(0, 0);
    if (!isStation(root))
        return QVariantMap();
    QVariantList cameras;
    for (const QModelIndex& camera : camerasOf(root)) {
        cameras.append(QVariantMap{
            {QStringLiteral("name"), camera.data(Model::nameRole)},
            {QStringLiteral("camTypeRole"), camera.data(Model::camTypeRole)},
        });
    }
    return QVariantMap{
        {QStringLiteral("stationName"), root.data(Model::nameRole)},
        {QStringLiteral("nodeID"), root.data(Model::nodeIDRole)},
        {QStringLiteral("cameraList"), cameras},
    };
}

QVariantList DeviceTree::getUpgradeStationList() const
{
    QVariantList stations;
    for (const QModelIndex& station : stationsDepthFirst()) {
        stations.append(QVariantMap{
            {QStringLiteral("nodeUID"), station.data(Model::nodeIDRole)},
            {QStringLiteral("name"), station.data(Model::nameRole)},
            {QStringLiteral("ip"), station.data(Model::ipRole)},
            {QStringLiteral("version"), station.data(Model::serverVersionRole)},
            {QStringLiteral("isRedundant"), station.data(Model::redundantServerRole).toBool()},
            {QStringLiteral("isTakenover"), station.data(Model::takenOverRole).toBool()},
            {QStringLiteral("connected"), station.data(Model::connectedRole).toBool()},
            {QStringLiteral("QELM"),
             station.data(Model::modelRole).toString().contains(QLatin1String("QELM"), Qt::CaseInsensitive)},
            {QStringLiteral("isQELM2"), station.data(Model::isQELM2Role).toBool()},
        });
    }
    return stations;
}

QVariantList DeviceTree::getAllExternalDeviceInfoUnderSubstation(const QString& relayPath) const
{
    const QModelIndex station = indexOf(relayPath);
    if (!station.isValid())
        return QVariantList();
    QVariantList devices;
    for (int row = 0; row < m_model.rowCount(station); ++row) {
        const QModelIndex device = m_model.index(row, 0, station);
        if (!isExternalDevice(device))
            continue;
        devices.append(QVariantMap{
            {QStringLiteral("NodeID"), device.data(Model::nodeIDRole)},
            {QStringLiteral("RefName"), device.data(Model::nameRole)},
            {QStringLiteral("DINameList"), device.data(Model::diNameListRole)},
            {QStringLiteral("DONameList"), device.data(Model::doNameListRole)},
            {QStringLiteral("RelayPath"), relayPath},
        });
    }
    return devices;
}

bool DeviceTree::hasStationOrCameraInRootStation() const
{
    const QModelIndex root = m_model.index(0, 0);
    if (!root.isValid())
        return false;
    for (int row = 0; row < m_model.rowCount(root); ++row) {
        const int nodeType = m_model.index(row, 0, root).data(Model::nodeTypeRole).toInt();
        if (nodeType == Model::CameraNode || nodeType == Model::StationNode)
            return true;
    }
    return false;
}

QVariantMap DeviceTree::getApiMap(const CapabilityTable& capabilities) const
{
    QVariantMap result;
    for (const QModelIndex& station : stationsDepthFirst()) {
        QVariantList cameras;
        for (const QModelIndex& camera : camerasOf(station))
            cameras.append(cameraDescription(camera, capabilities));
        QVariantMap entry = stationInfoOf(station);
        entry.insert(QStringLiteral("cameras"), cameras);
        result.insert(station.data(Model::idRole).toString(), entry);
    }
    return result;
}

QVariantMap DeviceTree::getHMApiMap(const CapabilityTable& capabilities) const
{
    QVariantMap result;
    for (const QModelIndex& station : stationsDepthFirst()) {
        QVariantMap cameras;
        for (const QModelIndex& camera : camerasOf(station))
            cameras.insert(camera.data(Model::idRole).toString(), cameraDescription(camera, capabilities));
        result.insert(station.data(Model::idRole).toString(), cameras);
    }
    return result;
}

QVariantMap DeviceTree::getTalvixApiMap(const CapabilityTable& capabilities) const
{
    QVariantMap result;
    for (const QModelIndex& station : stationsDepthFirst()) {
        QVariantMap channels;
        for (const QModelIndex& camera : camerasOf(station)) {
            const QVariantMap description = cameraDescription(camera, capabilities);
            const int channel = description.value(QStringLiteral("channel")).toInt();
            if (channel > 0)
                channels.insert(QString::number(channel), description);
        }
        result.insert(station.data(Model::idRole).toString(), channels);
    }
    return result;
}

QVariantList DeviceTree::getTalvixApiList(const CapabilityTable& capabilities) const
{
    QVariantList result;
    for (const QModelIndex& station : stationsDepthFirst()) {
        QVariantList channels;
        for (const QModelIndex& camera : camerasOf(station))
            channels.append(cameraDescription(camera, capabilities));
        result.append(QVariantMap{
            {QStringLiteral("stationID"), station.data(Model::idRole)},
            {QStringLiteral("stationName"), station.data(Model::nameRole)},
            {QStringLiteral("channels"), channels},
        });
    }
    return result;
}

QModelIndexList DeviceTree::stationsDepthFirst() const
{
    QModelIndexList stations;
    forEachNodeDepthFirst(QModelIndex(), [&](const QModelIndex& node) {
        if (isStation(node))
            stations.append(node);
    });
    return stations;
}

QModelIndexList DeviceTree::camerasOf(const QModelIndex& station) const
{
    QModelIndexList cameras;
    for (int row = 0; row < m_model.rowCount(station); ++row) {
        const QModelIndex node = m_model.index(row, 0, station);
        if (isCamera(node))
            cameras.append(node);
    }
    return cameras;
}

QVariantMap DeviceTree::stationInfoOf(const QModelIndex& station) const
{
    return QVariantMap{
        {QStringLiteral("stationName"), station.data(Model::nameRole)},
        {QStringLiteral("ip"), station.data(Model::ipRole)},
        {QStringLiteral("connected"), station.data(Model::connectedRole).toBool()},
        {QStringLiteral("isNVR"), station.data(Model::isNVRStationRole).toBool()},
    };
}

QVariantMap DeviceTree::cameraDescription(const QModelIndex& camera, const CapabilityTable& capabilities) const
{
    const QVariantMap events = camera.data(Model::supportEventsRole).toMap();
    QVariantMap answers;
    for (auto it = capabilities.cbegin(); it != capabilities.cend(); ++it) {
        const int role = Model::convertRoleNameStringToEnum(it.value());
        answers.insert(it.key(), role != 0 ? camera.data(role).toBool() : events.value(it.value()).toBool());
    }
    const QString nodeId = camera.data(Model::nodeIDRole).toString();
    return QVariantMap{
        {QStringLiteral("nodeID"), nodeId},
        {QStringLiteral("name"), camera.data(Model::nameRole)},
        {QStringLiteral("channel"), channelOf(nodeId)},
        {QStringLiteral("ip"), camera.data(Model::ipRole)},
        {QStringLiteral("port"), camera.data(Model::portRole)},
        {QStringLiteral("brand"), camera.data(Model::brandRole)},
        {QStringLiteral("model"), camera.data(Model::modelRole)},
        {QStringLiteral("camType"), camera.data(Model::camTypeRole)},
        {QStringLiteral("connected"), camera.data(Model::connectedRole).toBool()},
        {QStringLiteral("recording"), camera.data(Model::recordingRole).toBool()},
        {QStringLiteral("capabilities"), answers},
    };
}
