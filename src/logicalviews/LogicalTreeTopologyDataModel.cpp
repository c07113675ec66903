#include "LogicalTreeTopologyDataModel.h"

#include "LogicalTreeNames.h"
#include "DataChangedBatch.h"
#include "LogicalTreeModel.h"
#include "StandardTopologyModel.h"
#include "TreeWalk.h"

#include <QStandardItem>

#include <algorithm>
#include <utility>

namespace {

using Logical = LogicalTreeModel;
using Device = StandardTopologyModel;

const QString kCloudFolderId = LogicalTreeNames::kCloudFolder;
// A DI/DO's level as the servers report it: 1 is the rising level, anything
// else the falling one.
constexpr int kRisingLevel = 1;
const QString kSupportEventsField = QStringLiteral("supportEventsRole");
// The connect type a cloud-relay station reports while it is reached through the relay.
constexpr int kRelayConnectType = 1;

// Logical roles answered with the value of a device role of the camera's device node.
struct DeviceField
{
    int logicalRole;
    int deviceRole;
};

constexpr DeviceField kDeviceFields[] = {
        {Logical::cameraTypeRole, Device::camTypeRole},
        {Logical::topologyNodeTypeRole, Device::nodeTypeRole},
        {Logical::isRecordingRole, Device::recordingRole},
        {Logical::isConnectedRole, Device::connectedRole},
        {Logical::takenOverRole, Device::takenOverRole},
        {Logical::processingStatusRole, Device::processingStatusRole},
        {Logical::brandRole, Device::brandRole},
        {Logical::isUseEdgeRecordingRole, Device::isUseEdgeRecordingRole},
        {Logical::edgeRecordingStreamRole, Device::edgeRecordingStreamRole},
        {Logical::supportEdgeRecordingRole, Device::supportEdgeRecordingRole},
        {Logical::hasEdgeRecordingFileRole, Device::hasEdgeRecordingFileRole},
};

// Read one by one by the device model, so added to the map here.
constexpr int kEdgeRecordingRoles[] = {Device::isUseEdgeRecordingRole, Device::edgeRecordingStreamRole,
                                       Device::supportEdgeRecordingRole, Device::hasEdgeRecordingFileRole};

int deviceRoleFor(int logicalRole)
{
    for (const DeviceField& field : kDeviceFields) {
        if (field.logicalRole == logicalRole)
            return field.deviceRole;
    }
    return 0;
}

int logicalRoleFor(int deviceRole)
{
    for (const DeviceField& field : kDeviceFields) {
        if (field.deviceRole == deviceRole)
            return field.logicalRole;
    }
    return 0;
}

const QSet<int>& stationRoles()
{
    static const QSet<int> roles{Logical::isSKYRCloudDeviceRole, Logical::isSKYRCloudDeviceRelayConnectRole,
                                 Logical::isSubstationDisconnectedRole};
    return roles;
}

// Every computed role that depends on the camera's own device node.
const QSet<int>& cameraRoles()
{
    static const QSet<int> roles = [] {
        QSet<int> result{Logical::nameRole, Logical::dataRole};
        for (const DeviceField& field : kDeviceFields)
            result.insert(field.logicalRole);
        return result;
    }();
    return roles;
}

// The device roles whose values reach the logical "dataRole" map: the fields of
// the device's whole-node map, as the device model itself lists them, and the
// fields that the failover control and this model add to it.
const QSet<int>& rolesInDeviceMap()
{
    static const QSet<int> roles = [] {
        QSet<int> result{Device::dataRole, Device::takenOverRole, Device::takenOverIdRole};
        for (int role : kEdgeRecordingRoles)
            result.insert(role);
        Device probe;
        auto* node = new QStandardItem;
        node->setData(Device::DeviceItem, Device::standardItemTypeRole);
        probe.appendRow(node);
        const QVariantMap fields = probe.index(0, 0).data(Device::dataRole).toMap();
        for (auto name = fields.keyBegin(); name != fields.keyEnd(); ++name)
            result.insert(Device::convertRoleNameStringToEnum(*name));
        return result;
    }();
    return roles;
}

QString idOf(const QModelIndex& deviceNode)
{
    return deviceNode.data(Device::idRole).toString();
}

QString cameraIdOf(const QModelIndex& sourceIndex)
{
    return sourceIndex.data(Logical::cameraNodeIDRole).toString();
}

bool isStation(const QModelIndex& deviceNode)
{
    return deviceNode.data(Device::nodeTypeRole).toInt() == Device::StationNode;
}

QString relayPathOf(const QString& cameraId)
{
    const qsizetype last = cameraId.lastIndexOf(QLatin1Char('/'));
    return last < 0 ? QString() : cameraId.left(last);
}

bool belongsToStation(const QString& cameraId, const QString& stationId)
{
    return LogicalTreeTopologyDataModel::stationIdOf(cameraId) == stationId || relayPathOf(cameraId) == stationId;
}

QString connectionWordOf(const QModelIndex& deviceNode)
{
    return deviceNode.data(Device::connectedRole).toBool() ? QStringLiteral("Connected")
                                                           : QStringLiteral("Disconnected");
}

QString levelWordOf(const QModelIndex& sourceIndex)
{
    return sourceIndex.data(Logical::diDoValueRole).toInt() == kRisingLevel ? QStringLiteral("Rising")
                                                                : QStringLiteral("Falling");
}

} // namespace

LogicalTreeTopologyDataModel::LogicalTreeTopologyDataModel(QObject* parent)
    : QIdentityProxyModel(parent)
{
}

void LogicalTreeTopologyDataModel::setSourceModel(QAbstractItemModel* sourceModel)
{
    m_sourceConnections.disconnectAll();
    QIdentityProxyModel::setSourceModel(sourceModel);
    // Connected after the base class, so that the source's own roles are passed
    // on before the computed roles that follow from them.
    if (sourceModel)
        m_sourceConnections.replace({connect(sourceModel, &QAbstractItemModel::dataChanged, this,
                                             &LogicalTreeTopologyDataModel::onSourceModelDataChanged)});
}

void LogicalTreeTopologyDataModel::setTopologyModel(QAbstractItemModel* topologyModel)
{
    if (topologyModel == m_topology)
        return;
    const bool resetting = beginResetIfPopulated();
    m_topologyConnections.disconnectAll();
    m_pendingChanges.clear();
    m_topology = topologyModel;
    if (topologyModel) {
        using Self = LogicalTreeTopologyDataModel;
        m_topologyConnections.replace({
                connect(topologyModel, &QAbstractItemModel::dataChanged, this, &Self::onTopologyModelDataChanged),
                connect(topologyModel, &QAbstractItemModel::rowsInserted, this, &Self::onTopologyModelRowsInserted),
                connect(topologyModel, &QAbstractItemModel::rowsAboutToBeRemoved, this,
                        &Self::onTopologyModelRowsAboutToBeRemoved),
                connect(topologyModel, &QAbstractItemModel::rowsRemoved, this, &Self::onTopologyModelRowsRemoved),
                connect(topologyModel, &QAbstractItemModel::modelAboutToBeReset, this,
                        &Self::onTopologyModelAboutToBeReset),
                connect(topologyModel, &QAbstractItemModel::modelReset, this, &Self::onTopologyModelReset),
                connect(topologyModel, &QAbstractItemModel::layoutChanged, this,
                        [this] {
                            CameraChanges unused;
                            collectRows(QModelIndex(), 0, m_topology->rowCount() - 1, &unused);
                        }),
                connect(topologyModel, &QObject::destroyed, this, &Self::onTopologyModelDestroyed),
        });
        CameraChanges unused;
        collectRows(QModelIndex(), 0, topologyModel->rowCount() - 1, &unused);
    }
    if (resetting)
        endResetModel();
}

QAbstractItemModel* LogicalTreeTopologyDataModel::topologyModel() const
{
    return m_topology;
}

QString LogicalTreeTopologyDataModel::stationIdOf(const QString& cameraId)
{
    const qsizetype last = cameraId.lastIndexOf(QLatin1Char('/'));
    if (last <= 0)
        return QString();
    const qsizetype before = cameraId.lastIndexOf(QLatin1Char('/'), last - 1);
    return cameraId.mid(before + 1, last - before - 1);
}

// --- Reads ---------------------------------------------------------------------

QVariant LogicalTreeTopologyDataModel::data(const QModelIndex& index, int role) const
{
    Q_ASSERT(checkIndex(index));
    if (!index.isValid() || index.model() != this)
        return QVariant();
    const QModelIndex source = mapToSource(index);
    switch (role) {
    case Qt::DisplayRole:
    case Logical::nameRole:
        return nameOf(source);
    case Logical::dataRole:
        return wholeNodeMap(source);
    case Logical::isSKYRCloudDeviceRole:
        return isCloudDevice(cameraIdOf(source));
    case Logical::isSKYRCloudDeviceRelayConnectRole:
        return isRelayConnected(cameraIdOf(source));
    case Logical::isSubstationDisconnectedRole:
        return isBehindDisconnectedSubstation(cameraIdOf(source));
    case Logical::displayIconRole:
        return displayIconOf(source);
    default:
        break;
    }
    if (const int deviceRole = deviceRoleFor(role))
        return topologyNodeOf(cameraIdOf(source)).data(deviceRole);
    return QIdentityProxyModel::data(index, role);
}

QHash<int, QByteArray> LogicalTreeTopologyDataModel::roleNames() const
{
    static const QHash<int, QByteArray> computed = {
            {Logical::cameraTypeRole, "cameraTypeRole"},
            {Logical::topologyNodeTypeRole, "topologyNodeTypeRole"},
            {Logical::isRecordingRole, "isRecordingRole"},
            {Logical::isConnectedRole, "isConnectedRole"},
            {Logical::isSKYRCloudDeviceRole, "isSKYRCloudDeviceRole"},
            {Logical::isSKYRCloudDeviceRelayConnectRole, "isSKYRCloudDeviceRelayConnectRole"},
            {Logical::isSubstationDisconnectedRole, "isSubstationDisconnectedRole"},
            {Logical::takenOverRole, "takenOverRole"},
            {Logical::processingStatusRole, "processingStatusRole"},
            {Logical::displayIconRole, "displayIconRole"},
            {Logical::isUseEdgeRecordingRole, "isUseEdgeRecordingRole"},
            {Logical::edgeRecordingStreamRole, "edgeRecordingStreamRole"},
            {Logical::supportEdgeRecordingRole, "supportEdgeRecordingRole"},
            {Logical::hasEdgeRecordingFileRole, "hasEdgeRecordingFileRole"},
    };
    QHash<int, QByteArray> names = sourceModel() ? sourceModel()->roleNames() : QHash<int, QByteArray>();
    names.insert(computed);
    return names;
}

QModelIndex LogicalTreeTopologyDataModel::topologyNodeOf(const QString& id) const
{
    // The empty ID names no device: folders must not find the login station,
    // whose identifier stays empty until it is known.
    if (id.isEmpty() || !m_topology)
        return QModelIndex();
    const QModelIndex start = m_topology->index(0, 0);
    if (!start.isValid())
        return QModelIndex();
    // The device model and the failover control answer idRole from their
    // identifier index whatever the flags; they make any other model search its
    // whole tree for the same answer.
    return m_topology
            ->match(start, Device::idRole, id, 1,
                    Qt::MatchFlags(Qt::MatchFixedString | Qt::MatchCaseSensitive | Qt::MatchRecursive))
            .value(0);
}

QModelIndex LogicalTreeTopologyDataModel::stationNodeOf(const QString& cameraId) const
{
    const QString stationId = stationIdOf(cameraId);
    const QModelIndex station = topologyNodeOf(stationId);
    if (station.isValid())
        return station;
    // Sub-stations may be known by their relay path: all of the ID before its last "/".
    const QString relayPath = relayPathOf(cameraId);
    return relayPath == stationId ? QModelIndex() : topologyNodeOf(relayPath);
}

QVariant LogicalTreeTopologyDataModel::nameOf(const QModelIndex& sourceIndex) const
{
    const QVariant storedName = sourceIndex.data(Logical::nameRole);
    if (!storedName.toString().isEmpty())
        return storedName;
    const QModelIndex device = topologyNodeOf(cameraIdOf(sourceIndex));
    return device.isValid() ? device.data(Device::nameRole) : QVariant();
}

// The same test that sets the device's own isSKYRCloudDeviceRole: a non-empty relay device ID.
bool LogicalTreeTopologyDataModel::isCloudDevice(const QString& cameraId) const
{
    const QString stationId = stationIdOf(cameraId);
    if (stationId.isEmpty())
        return false;
    if (!stationNodeOf(cameraId).data(Device::skyrCloudDeviceIdRole).toString().isEmpty())
        return true;
    return stationId == kCloudFolderId;
}

// Connect type 0, which a station that never reported one also reads, is a direct link.
bool LogicalTreeTopologyDataModel::isRelayConnected(const QString& cameraId) const
{
    if (stationIdOf(cameraId).isEmpty())
        return false;
    const QModelIndex station = stationNodeOf(cameraId);
    return !station.data(Device::skyrCloudDeviceIdRole).toString().isEmpty()
        && station.data(Device::skyrCloudDeviceConnectTypeRole).toInt() == kRelayConnectType;
}

// Nodes the topology does not know (DI/DO) start from their station's node. The
// top-level (login) station is the connection itself and does not count.
bool LogicalTreeTopologyDataModel::isBehindDisconnectedSubstation(const QString& cameraId) const
{
    QModelIndex node = topologyNodeOf(cameraId);
    if (!node.isValid())
        node = stationNodeOf(cameraId);
    for (; node.isValid() && node.parent().isValid(); node = node.parent()) {
        if (isStation(node) && !node.data(Device::connectedRole).toBool())
            return true;
    }
    return false;
}

QString LogicalTreeTopologyDataModel::displayIconOf(const QModelIndex& sourceIndex) const
{
    bool isNumber = false;
    const int type = sourceIndex.data(Logical::typeRole).toInt(&isNumber);
    if (!isNumber)
        return QString();
    switch (type) {
    case Logical::Camera: {
        const QModelIndex device = topologyNodeOf(cameraIdOf(sourceIndex));
        if (device.isValid() && device.data(Device::nodeTypeRole).toInt() == Device::RemovedCameraNode)
            return QStringLiteral("removedCamera");
        const int cameraType = device.data(Device::camTypeRole).toInt();
        if (cameraType == Device::CameraExternalDevice)
            return QStringLiteral("cameraExternalDevice");
        return QStringLiteral("camera") + Device::cameraModelWord(cameraType) + connectionWordOf(device);
    }
    case Logical::StationIoDevice:
        return QStringLiteral("ioSubstation");
    case Logical::ExternalDevice:
        return QStringLiteral("ioDevice") + connectionWordOf(topologyNodeOf(cameraIdOf(sourceIndex)));
    case Logical::LocalDBCamera:
        return QStringLiteral("localDBCamera");
    case Logical::DigitalInput:
        return QStringLiteral("di") + levelWordOf(sourceIndex);
    case Logical::DigitalOutput:
        return QStringLiteral("do") + levelWordOf(sourceIndex);
    case Logical::Folder:
        if (sourceIndex.data(Logical::nodeIDRole).toString() == kCloudFolderId)
            return QStringLiteral("SKYRCloudFolder");
        if (isCloudDevice(cameraIdOf(sourceIndex)))
            return QStringLiteral("SKYRCloudSubstationFolder");
        return QStringLiteral("folder");
    default:
        return QString();
    }
}

// The logical map joined with the device's whole-node map (take-over fields
// included), its capability flags and its edge-recording fields; a key the
// logical map has keeps the logical value, so "idRole" stays the tree ID.
QVariantMap LogicalTreeTopologyDataModel::wholeNodeMap(const QModelIndex& sourceIndex) const
{
    const QString cameraId = cameraIdOf(sourceIndex);
    QVariantMap fields;
    const QModelIndex device = topologyNodeOf(cameraId);
    if (device.isValid()) {
        const QVariantMap deviceFields = device.data(Device::dataRole).toMap();
        fields = deviceFields.value(kSupportEventsField).toMap();
        fields.insert(deviceFields);
        const QHash<int, QByteArray> deviceRoleNames = Device::getRoleNames();
        for (int role : kEdgeRecordingRoles)
            fields.insert(QString::fromLatin1(deviceRoleNames.value(role)), device.data(role));
    }
    fields.insert(sourceIndex.data(Logical::dataRole).toMap());
    // These keys speak of the node's station and appear only when true; the
    // device's own cloud flag of the same name must not stand in for them.
    const std::pair<QString, bool> stationFields[] = {
            {QStringLiteral("isSKYRCloudDeviceRole"), isCloudDevice(cameraId)},
            {QStringLiteral("isSKYRCloudDeviceRelayConnectRole"), isRelayConnected(cameraId)},
            {QStringLiteral("isSubstationDisconnectedRole"), isBehindDisconnectedSubstation(cameraId)},
    };
    for (const auto& [key, holds] : stationFields) {
        if (holds)
            fields.insert(key, true);
        else
            fields.remove(key);
    }
    return fields;
}

// --- Notifications -------------------------------------------------------------

void LogicalTreeTopologyDataModel::onSourceModelDataChanged(const QModelIndex& topLeft,
                                                            const QModelIndex& bottomRight, const QList<int>& roles)
{
    // No role named means every role, computed ones included.
    if (roles.isEmpty() || !topLeft.isValid() || !bottomRight.isValid())
        return;
    QSet<int> derived;
    for (int role : roles) {
        switch (role) {
        case Logical::cameraNodeIDRole:
            derived.unite(cameraRoles()).unite(stationRoles()).insert(Logical::displayIconRole);
            break;
        case Logical::typeRole:
        case Logical::diDoValueRole:
        case Logical::nodeIDRole:
            derived << Logical::dataRole << Logical::displayIconRole;
            break;
        case Logical::idRole:
        case Logical::nameRole:
        case Logical::settingStatusRole:
        case Logical::parentStationIDRole:
        case Logical::diDoIndexRole:
        case Logical::joystickKeyRole:
            derived << Logical::dataRole;
            break;
        default:
            break;
        }
    }
    // The shown name follows the name, which the source announces alone.
    if (roles.contains(Logical::nameRole))
        derived << Qt::DisplayRole;
    for (int role : roles)
        derived.remove(role);
    if (!derived.isEmpty())
        emit dataChanged(mapFromSource(topLeft), mapFromSource(bottomRight), DataChangedBatch::sortedRoles(derived));
}

void LogicalTreeTopologyDataModel::onTopologyModelDataChanged(const QModelIndex& topLeft,
                                                              const QModelIndex& bottomRight,
                                                              const QList<int>& roles)
{
    if (!m_topology || !topLeft.isValid() || !bottomRight.isValid() || topLeft.model() != m_topology)
        return;
    QSet<int> ownRoles;
    QSet<int> changedStationRoles;
    if (roles.isEmpty() || roles.contains(Device::idRole)) {
        ownRoles = cameraRoles();
        changedStationRoles = stationRoles();
    }
    for (int role : roles) {
        if (role == Device::nameRole)
            ownRoles << Logical::nameRole;
        if (const int logicalRole = logicalRoleFor(role))
            ownRoles << logicalRole;
        if (rolesInDeviceMap().contains(role))
            ownRoles << Logical::dataRole;
        if (role == Device::connectedRole || role == Device::nodeTypeRole)
            changedStationRoles << Logical::isSubstationDisconnectedRole;
        if (role == Device::skyrCloudDeviceIdRole || role == Device::skyrCloudDeviceConnectTypeRole)
            changedStationRoles << Logical::isSKYRCloudDeviceRole << Logical::isSKYRCloudDeviceRelayConnectRole;
    }

    // A station's change reaches the nodes below it only for the roles that follow
    // from the station; the nodes of its own cameras hear of its cloud fields.
    CameraChanges changes;
    const QModelIndex parent = topLeft.parent();
    const int last = std::min(bottomRight.row(), m_topology->rowCount(parent) - 1);
    for (int row = topLeft.row(); row <= last; ++row) {
        const QModelIndex node = m_topology->index(row, 0, parent);
        const QString id = idOf(node);
        if (!ownRoles.isEmpty() && !id.isEmpty())
            changes[id].roles.unite(ownRoles);
        if (!changedStationRoles.isEmpty() && isStation(node))
            collectStationChange(node, changedStationRoles, &changes);
    }
    emitDataChangedOfAll(changes);
}

void LogicalTreeTopologyDataModel::onTopologyModelRowsInserted(const QModelIndex& parent, int first, int last)
{
    CameraChanges changes;
    collectRows(parent, first, last, &changes);
    emitDataChangedOfAll(changes);
}

void LogicalTreeTopologyDataModel::onTopologyModelRowsAboutToBeRemoved(const QModelIndex& parent, int first, int last)
{
    // Gathered while the rows still exist; announced once look-ups no longer find them.
    collectRows(parent, first, last, &m_pendingChanges);
}

void LogicalTreeTopologyDataModel::onTopologyModelRowsRemoved()
{
    emitDataChangedOfAll(std::exchange(m_pendingChanges, {}));
}

void LogicalTreeTopologyDataModel::onTopologyModelAboutToBeReset()
{
    if (m_topology)
        collectRows(QModelIndex(), 0, m_topology->rowCount() - 1, &m_pendingChanges);
}

void LogicalTreeTopologyDataModel::onTopologyModelReset()
{
    emitDataChangedOfAll(std::exchange(m_pendingChanges, {}));
}

void LogicalTreeTopologyDataModel::onTopologyModelDestroyed()
{
    const bool resetting = beginResetIfPopulated();
    m_topologyConnections.disconnectAll();
    m_pendingChanges.clear();
    if (resetting)
        endResetModel();
}

// Visiting rows through the topology model also makes a filtering topology model
// (the failover control) map them: it reports rows inserted below a node only
// when it has mapped the node's parent.
void LogicalTreeTopologyDataModel::collectRows(const QModelIndex& parent, int first, int last,
                                               CameraChanges* changes) const
{
    for (int row = first; row <= last; ++row) {
        const QModelIndex node = m_topology->index(row, 0, parent);
        // Whatever sits below a station that came or went belongs to it or to a
        // station below it that came or went with it.
        collectSubtree(node, isStation(node) ? stationRoles() : QSet<int>(), changes);
    }
}

void LogicalTreeTopologyDataModel::collectSubtree(const QModelIndex& node, const QSet<int>& changedStationRoles,
                                                  CameraChanges* changes) const
{
    if (!node.isValid())
        return;
    const auto collect = [&](const QModelIndex& member) {
        const QString id = idOf(member);
        if (id.isEmpty())
            return;
        CameraChange& change = (*changes)[id];
        change.roles.unite(cameraRoles());
        change.stationRoles.unite(changedStationRoles);
    };
    collect(node);
    TreeWalk::forEachIndex(*m_topology, node, 0, m_topology->rowCount(node) - 1, collect);
}

void LogicalTreeTopologyDataModel::collectStationChange(const QModelIndex& station, const QSet<int>& changedRoles,
                                                        CameraChanges* changes) const
{
    const QString stationId = idOf(station);
    QSet<int> pathRoles;
    if (changedRoles.contains(Logical::isSubstationDisconnectedRole) && station.parent().isValid())
        pathRoles << Logical::isSubstationDisconnectedRole;
    QSet<int> cloudRoles = changedRoles;
    cloudRoles.remove(Logical::isSubstationDisconnectedRole);
    if (stationId.isEmpty())
        cloudRoles.clear();
    if (pathRoles.isEmpty() && cloudRoles.isEmpty())
        return;

    QList<QModelIndex> pending{station};
    while (!pending.isEmpty()) {
        const QModelIndex node = pending.takeLast();
        const QString id = idOf(node);
        QSet<int> roles = pathRoles;
        if (!cloudRoles.isEmpty() && belongsToStation(id, stationId))
            roles.unite(cloudRoles);
        if (!id.isEmpty() && !roles.isEmpty())
            (*changes)[id].stationRoles.unite(roles);
        if (!m_topology->hasChildren(node))
            continue;
        const int count = m_topology->rowCount(node);
        for (int row = 0; row < count; ++row)
            pending.append(m_topology->index(row, 0, node));
    }
}

void LogicalTreeTopologyDataModel::emitDataChangedOfAll(const CameraChanges& changes)
{
    QAbstractItemModel* source = sourceModel();
    if (!source || changes.isEmpty())
        return;
    const QModelIndex start = source->index(0, 0);
    if (!start.isValid())
        return;
    DataChangedBatch batch;
    for (auto camera = changes.cbegin(); camera != changes.cend(); ++camera) {
        // The logical model answers from its camera index whatever the flags.
        const QModelIndexList nodes = source->match(
                start, Logical::cameraNodeIDRole, camera.key(), -1,
                Qt::MatchFlags(Qt::MatchFixedString | Qt::MatchCaseSensitive | Qt::MatchRecursive));
        const QString stationId = stationIdOf(camera.key());
        for (const QModelIndex& node : nodes) {
            collectChangeOf(node, camera->roles + camera->stationRoles, &batch);
            if (camera->stationRoles.isEmpty() || stationId.isEmpty())
                continue;
            // DI/DO take their station from their owner's.
            const int childCount = source->rowCount(node);
            for (int row = 0; row < childCount; ++row) {
                const QModelIndex child = source->index(row, 0, node);
                if (stationIdOf(cameraIdOf(child)) == stationId)
                    collectChangeOf(child, camera->stationRoles, &batch);
            }
        }
    }
    batch.emitFrom(this);
}

void LogicalTreeTopologyDataModel::collectChangeOf(const QModelIndex& sourceIndex, QSet<int> roles,
                                                   DataChangedBatch* batch) const
{
    if (!sourceIndex.data(Logical::nameRole).toString().isEmpty())
        roles.remove(Logical::nameRole);
    bool isNumber = false;
    const int type = sourceIndex.data(Logical::typeRole).toInt(&isNumber);
    QList<int> iconInputs;
    if (isNumber && type == Logical::Camera)
        iconInputs = {Logical::cameraTypeRole, Logical::topologyNodeTypeRole, Logical::isConnectedRole};
    else if (isNumber && type == Logical::ExternalDevice)
        iconInputs = {Logical::isConnectedRole};
    else if (isNumber && type == Logical::Folder)
        iconInputs = {Logical::isSKYRCloudDeviceRole};
    if (std::any_of(iconInputs.cbegin(), iconInputs.cend(), [&](int role) { return roles.contains(role); }))
        roles.insert(Logical::displayIconRole);
    if (roles.intersects(stationRoles()))
        roles.insert(Logical::dataRole);
    if (roles.contains(Logical::nameRole))
        roles.insert(Qt::DisplayRole);
    if (!roles.isEmpty())
        batch->add(mapFromSource(sourceIndex), roles);
}

bool LogicalTreeTopologyDataModel::beginResetIfPopulated()
{
    if (!sourceModel() || sourceModel()->rowCount() == 0)
        return false;
    beginResetModel();
    return true;
}
