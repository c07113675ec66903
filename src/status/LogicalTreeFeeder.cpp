#include "LogicalTreeFeeder.h"

#include "DeviceTree.h"
#include "LogicalTree.h"
#include "PayloadFields.h"
#include "StandardTopologyModel.h"

LogicalTreeFeeder::LogicalTreeFeeder(const DeviceTree& devices, LogicalTree& logicalTree)
    : m_devices(devices), m_logicalTree(logicalTree)
{
}

QVariantMap LogicalTreeFeeder::withCameraName(const QVariantMap& treeNode) const
{
    QVariantMap filled = treeNode;
    const QString name = PayloadFields::textOf(treeNode, "name");
    const QString nodeId = PayloadFields::textOf(treeNode, "nodeUID");
    if (name.isEmpty() && m_devices.contains(nodeId)) {
        filled.insert(QStringLiteral("nodeUID"), nodeId);
        filled.insert(QStringLiteral("name"), m_devices.data(nodeId, StandardTopologyModel::nameRole));
        filled.insert(QStringLiteral("ip"), m_devices.data(nodeId, StandardTopologyModel::ipRole));
        filled.insert(QStringLiteral("port"), m_devices.data(nodeId, StandardTopologyModel::portRole));
        filled.insert(QStringLiteral("brand"), m_devices.data(nodeId, StandardTopologyModel::brandRole));
        filled.insert(QStringLiteral("model"), m_devices.data(nodeId, StandardTopologyModel::modelRole));
    }
    return filled;
}

// Depth first on an explicit stack rather than by recursion: a broken or
// hostile server may nest its folders thousands of levels deep.
QVariantMap LogicalTreeFeeder::withCameraNames(const QVariantMap& serverTree) const
{
    struct OpenNode
    {
        QVariantMap filled;
        QVariantList children;
        qsizetype nextChild = 0;
        QVariantList filledChildren;
    };
    const QString childrenKey = QStringLiteral("children");
    std::vector<OpenNode> open;
    const auto enter = [&](const QVariantMap& node) {
        open.push_back({withCameraName(node), PayloadFields::list(node.value(childrenKey)), 0, {}});
    };
    enter(serverTree);
    QVariantMap result;
    while (!open.empty()) {
        if (open.back().nextChild < open.back().children.size()) {
            const QVariant child = open.back().children.at(open.back().nextChild++);
            enter(child.toMap());
            continue;
        }
        OpenNode done = std::move(open.back());
        open.pop_back();
        if (done.filled.contains(childrenKey))
            done.filled.insert(childrenKey, done.filledChildren);
        if (open.empty())
            result = done.filled;
        else
            open.back().filledChildren.append(done.filled);
    }
    return result;
}

QVariantList LogicalTreeFeeder::withDiDoCounts(const QVariantList& cameras) const
{
    QVariantList completed;
    completed.reserve(cameras.size());
    for (const QVariant& entry : cameras) {
        QVariantMap camera = entry.toMap();
        const QString cameraId = PayloadFields::textOf(camera, "camNodeUid");
        camera.insert(QStringLiteral("diNum"), m_devices.data(cameraId, StandardTopologyModel::diCountRole).toInt());
        camera.insert(QStringLiteral("doNum"), m_devices.data(cameraId, StandardTopologyModel::doCountRole).toInt());
        completed.append(camera);
    }
    return completed;
}

void LogicalTreeFeeder::insertCameras(const QVariantList& cameras)
{
    m_logicalTree.insertCameraNodes(withDiDoCounts(cameras));
}

void LogicalTreeFeeder::insertStationIoDevices(const std::vector<QVariantMap>& stations)
{
    QVariantList stationDevices;
    QStringList stationIds;
    for (const QVariantMap& station : stations) {
        const QString stationId = station.value(QStringLiteral("idRole")).toString();
        if (stationId.isEmpty())
            continue;
        const qsizetype separator = stationId.lastIndexOf(QLatin1Char('/'));
        stationDevices.append(QVariantMap{{QStringLiteral("NodeID"), stationId},
                                          {QStringLiteral("RefName"), station.value(QStringLiteral("nameRole"))},
                                          {QStringLiteral("DINameList"), station.value(QStringLiteral("diNameListRole"))},
                                          {QStringLiteral("DONameList"), station.value(QStringLiteral("doNameListRole"))},
                                          {QStringLiteral("RelayPath"), separator < 0 ? QString() : stationId.left(separator)}});
        stationIds.append(stationId);
    }
    if (stationDevices.isEmpty())
        return;
    m_logicalTree.insertIoDevices(stationDevices, LogicalTreeModel::StationIoDevice);
    for (const QString& stationId : std::as_const(stationIds)) {
        const QVariantList externalDevices = m_devices.getAllExternalDeviceInfoUnderSubstation(stationId);
        if (!externalDevices.isEmpty())
            m_logicalTree.insertIoDevices(externalDevices, LogicalTreeModel::ExternalDevice);
    }
}

// A station's I/O node holds the external devices behind it and the I/O nodes
// of its sub-stations, so removing that one node drops all of them, however
// deep the station lies; the login station has no node of its own, and
// everything in the I/O folder lies behind it. Devices of the station or
// behind it that still wait in the I/O folder for their parent's node are
// taken by their path ("S_1/...", never "S_10/...").
void LogicalTreeFeeder::removeStationIoDevices(const QString& stationId)
{
    if (stationId.isEmpty()) {
        m_logicalTree.removeIoDevices(QString());
        return;
    }
    if (m_logicalTree.data(stationId, LogicalTreeModel::typeRole).toInt() == LogicalTreeModel::StationIoDevice)
        m_logicalTree.removeIoDevices(QString(), QStringList{stationId});
    m_logicalTree.removeIoDevices(stationId);
}
