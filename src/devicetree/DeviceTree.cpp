#include "DeviceTree.h"

#include "DeviceNodeFactory.h"
#include "DeviceTreeNames.h"
#include "InputLimits.h"
#include "ModuleLimits.h"
#include "ModuleLog.h"
#include "PayloadFields.h"
#include "TreeWalk.h"

#include <QQueue>
#include <QRegularExpression>
#include <QSet>
#include <QStandardItem>

#include <algorithm>
#include <initializer_list>

namespace {

using PayloadFields::textOf;
using PayloadFields::isRecord;

using Model = StandardTopologyModel;

enum class Conversion { AsSent, Text, Flag, Number, HexText };

struct Field
{
    const char* key;
    int role;
    Conversion conversion;
};

QVariant converted(const QVariant& value, Conversion conversion)
{
    switch (conversion) {
    case Conversion::Text:
        return PayloadFields::text(value);
    case Conversion::Flag:
        return value.toBool();
    case Conversion::Number:
        return value.toInt();
    case Conversion::HexText:
        return DeviceNodeFactory::decodeHexText(value);
    case Conversion::AsSent:
        break;
    }
    return value;
}

// Only the fields that the record carries.
QMap<int, QVariant> carriedFields(const QVariantMap& record, std::initializer_list<Field> fields)
{
    QMap<int, QVariant> values;
    for (const Field& field : fields) {
        const auto found = record.constFind(QLatin1String(field.key));
        if (found != record.constEnd())
            values.insert(field.role, converted(*found, field.conversion));
    }
    return values;
}

// The empty identifier is the login station's until its own is known; a node
// made without one would hide it from every look-up.
bool hasIdentifier(const QVariantMap& record, const char* key)
{
    return !textOf(record, key).isEmpty();
}

// A record key that an insertion announces, with the roles it fills. When the
// tree already holds the announced node, only the roles of the keys that the
// record carries are written: a missing key must not wipe what other answers
// have filled in since.
struct AnnouncedField
{
    const char* key;
    int role;
    int secondRole = 0;
};

const AnnouncedField kCameraInsertFields[] = {
    {"nodeName", Model::nameRole}, {"camIP", Model::ipRole}, {"camType", Model::camTypeRole},
    {"camPort", Model::portRole}};
const AnnouncedField kStationInsertFields[] = {
    {"nodeName", Model::nameRole},
    {"stationIP", Model::ipRole},
    {"useSSL", Model::useSSLRole},
    {"nasPassword", Model::nasPasswordRole},
    {"nasDomain", Model::nasDomainRole},
    {"nasUserName", Model::nasUsernameRole},
    {"isCMSRedundantServer", Model::isCMSRedundantServerRole},
    {"user", Model::userRole},
    {"stationPassword", Model::stationPasswordRole},
    {"httpPort", Model::httpPortRole},
    {"isRedundantServer", Model::redundantServerRole},
    {"p2pSerialNumber", Model::p2pSerialNumberRole},
    {"skyrCloudDeviceId", Model::skyrCloudDeviceIdRole, Model::isSKYRCloudDeviceRole},
    {"skyrCloudDeviceConnectType", Model::skyrCloudDeviceConnectTypeRole}};
const AnnouncedField kRemovedCameraFields[] = {{"camName", Model::nameRole}, {"cameraType", Model::camTypeRole}};

template <std::size_t N>
QList<int> carriedRoles(const QVariantMap& record, const AnnouncedField (&fields)[N])
{
    QList<int> roles;
    for (const AnnouncedField& field : fields) {
        if (!record.contains(QLatin1String(field.key)))
            continue;
        roles.append(field.role);
        if (field.secondRole != 0)
            roles.append(field.secondRole);
    }
    return roles;
}

// The announced values that differ from the node's, so that an unchanged node
// is not reported as changed.
QMap<int, QVariant> changedValues(const QModelIndex& node, const QStandardItem& announced, const QList<int>& roles)
{
    QMap<int, QVariant> values;
    for (int role : roles) {
        const QVariant value = announced.data(role);
        if (node.data(role) != value)
            values.insert(role, value);
    }
    return values;
}

// The records of a list that carry an identifier under `key`, in list order;
// of several with one identifier only the last, which is what the list ends with.
QVariantList lastOfEachIdentifier(const QVariantList& records, const char* key)
{
    QSet<QString> seen;
    QVariantList kept;
    for (auto entry = records.crbegin(); entry != records.crend(); ++entry) {
        const QString id = textOf(entry->toMap(), key);
        if (!isRecord(*entry) || id.isEmpty() || seen.contains(id))
            continue;
        seen.insert(id);
        kept.prepend(*entry);
    }
    return kept;
}

// True when `node` is `descendant` itself or one of its ancestors.
bool isAtOrAbove(const QModelIndex& node, const QModelIndex& descendant)
{
    if (!node.isValid())
        return false;
    for (QModelIndex ancestor = descendant; ancestor.isValid(); ancestor = ancestor.parent()) {
        if (ancestor == node)
            return true;
    }
    return false;
}

// Whether nodes `levels` below the parent stay within the depth limit; a
// top-level node is at level 1.
bool hasRoomBelow(const QModelIndex& parent, int levels = 1)
{
    int level = levels;
    for (QModelIndex node = parent; node.isValid(); node = node.parent())
        ++level;
    return level <= ModuleLimits::kMaxTreeDepth;
}

// Whether `node` with everything below it can move under `parent` within the
// depth limit.
bool fitsBelow(const QModelIndex& node, const QModelIndex& parent)
{
    const auto* model = qobject_cast<const QStandardItemModel*>(node.model());
    return model && hasRoomBelow(parent, TreeWalk::heightOf(model->itemFromIndex(node)));
}

// Records left out for their depth take with them whatever later records of
// the same input hang below them.
void dropForDepth(const QVariantList& records, const char* idKey, bool report)
{
    int dropped = 0;
    for (const QVariant& entry : records) {
        const QString id = isRecord(entry) ? textOf(entry.toMap(), idKey) : QString();
        if (id.isEmpty())
            continue;
        InputLimits::rememberDroppedNode(id);
        ++dropped;
    }
    if (report)
        InputLimits::partsDropped(dropped);
}

int channelOf(const QString& nodeId)
{
    static const QRegularExpression channelSuffix(QStringLiteral("C_(\\d+)$"));
    const QRegularExpressionMatch match = channelSuffix.match(nodeId);
    return match.hasMatch() ? match.captured(1).toInt() : 0;
}

} // namespace

template <typename Visit>
void DeviceTree::forEachNodeDepthFirst(const QModelIndex& parent, Visit&& visit) const
{
    TreeWalk::forEachIndex(m_model, parent, 0, m_model.rowCount(parent) - 1, visit);
}

DeviceTree::DeviceTree(QObject* parent)
    : QObject(parent)
    , m_model(this)
{
    const QHash<int, QByteArray> names = m_model.roleNames();
    m_roleNumbers.reserve(names.size());
    for (auto it = names.cbegin(); it != names.cend(); ++it)
        m_roleNumbers.insert(QString::fromLatin1(it.value()), it.key());
}

StandardTopologyModel* DeviceTree::getModel()
{
    return &m_model;
}

// ---------------------------------------------------------------- building

bool DeviceTree::insertLoginStation(const QString& name, const QString& ip)
{
    // The login station is named by the empty identifier until the server's
    // answers tell its own.
    const QVariantMap record{
        {QStringLiteral("nodeUID"), QString()},
        {QStringLiteral("nodeName"), name},
        {QStringLiteral("nodeType"), QStringLiteral("Station")},
        {QStringLiteral("nodeIP"), ip},
        {QStringLiteral("useSSL"), true},
    };
    std::unique_ptr<QStandardItem> station = DeviceNodeFactory::createStationNode(record, 0, QString());
    // A second answer (a new connection without a disconnection, or one nobody
    // asked for) describes the station that is already there, whatever its
    // identifier has become since.
    const QModelIndex known = m_model.index(0, 0);
    if (isStation(known)) {
        writeRoles(known, changedValues(known, *station, {Model::nameRole, Model::ipRole}));
        return false;
    }
    m_model.appendRow(station.release());
    return true;
}

bool DeviceTree::insertNewNodes(const QString& parentId, const QVariantList& nodeRecords)
{
    return insertNodes(parentId, nodeRecords, true);
}

bool DeviceTree::appendNewNodes(const QString& parentId, const QVariantList& nodeRecords)
{
    return insertNodes(parentId, nodeRecords, false);
}

bool DeviceTree::insertNodes(const QString& parentId, const QVariantList& nodeRecords, bool replaceChildren)
{
    const QModelIndex found = indexOf(parentId);
    if (!found.isValid() && InputLimits::isDroppedNode(parentId)) {
        dropForDepth(nodeRecords, "nodeUID", false);
        return false;
    }
    if (!found.isValid()) {
        TOPOLOGY_LOG_ERROR("%s, cannot find parent node %s", "DeviceTree::insertNewNodes", parentId);
        return false;
    }
    if (!hasRoomBelow(found)) {
        dropForDepth(nodeRecords, "nodeUID", true);
        return false;
    }
    // Persistent: taking a node out of another place may move the parent's row.
    const QPersistentModelIndex parent(found);
    const int level = parent.data(Model::levelRole).toInt() + 1;
    const QString parentNodeId = parent.data(Model::idRole).toString();

    QList<QStandardItem*> nodes;
    for (const QVariant& entry : lastOfEachIdentifier(nodeRecords, "nodeUID")) {
        const QVariantMap record = entry.toMap();
        const QModelIndex known = indexOf(textOf(record, "nodeUID"));
        // The parent and the stations above it cannot become its children.
        if (isAtOrAbove(known, parent))
            continue;
        // A node that sits elsewhere (or, for a later part, among the children
        // already there) comes here: its old row goes first, so that the tree
        // never holds it twice.
        if (known.isValid() && (!replaceChildren || !isAtOrAbove(parent, known)))
            m_model.removeRow(known.row(), known.parent());
        nodes.append(DeviceNodeFactory::createNode(record, level, parentNodeId).release());
    }
    // An empty answer must not wipe a station that was already known.
    if (nodes.isEmpty())
        return false;

    QStandardItem* parentItem = m_model.itemFromIndex(parent);
    if (replaceChildren && parentItem->rowCount() > 0)
        parentItem->removeRows(0, parentItem->rowCount());
    parentItem->appendRows(nodes);
    return true;
}

QStringList DeviceTree::insertNewStationNodes(const QVariantList& stationRecords)
{
    static const char* const kCopiedKeys[] = {
        "useSSL", "nasPassword", "nasDomain", "nasUserName", "isCMSRedundantServer", "user",
        "stationPassword", "httpPort", "isRedundantServer", "p2pSerialNumber", "skyrCloudDeviceId",
        "skyrCloudDeviceConnectType",
    };
    QStringList added;
    for (const QVariant& entry : stationRecords) {
        if (!isRecord(entry))
            continue;
        const QVariantMap inserted = entry.toMap();
        if (!hasIdentifier(inserted, "stationUID"))
            continue;
        const QString relayPath = textOf(inserted, "relayPath");
        const QModelIndex parent = indexOf(relayPath);
        if (!parent.isValid()) {
            if (InputLimits::isDroppedNode(relayPath))
                dropForDepth({entry}, "stationUID", false);
            continue;
        }
        if (!hasRoomBelow(parent)) {
            dropForDepth({entry}, "stationUID", true);
            continue;
        }
        QVariantMap record{
            {QStringLiteral("nodeUID"), inserted.value(QStringLiteral("stationUID"))},
            {QStringLiteral("nodeName"), DeviceNodeFactory::cleanDisplayName(textOf(inserted, "nodeName"))},
            {QStringLiteral("nodeType"), QStringLiteral("Station")},
            {QStringLiteral("nodeIP"), inserted.value(QStringLiteral("stationIP"))},
        };
        for (const char* key : kCopiedKeys)
            record.insert(QLatin1String(key), inserted.value(QLatin1String(key)));
        const int level = parent.data(Model::levelRole).toInt() + 1;
        if (placeNode(DeviceNodeFactory::createStationNode(record, level, relayPath), parent, Position::Last,
                      carriedRoles(inserted, kStationInsertFields)))
            added.append(textOf(inserted, "stationUID"));
    }
    return added;
}

QStringList DeviceTree::insertNewCameraNodes(const QVariantList& cameraRecords)
{
    QStringList added;
    for (const QVariant& entry : cameraRecords) {
        if (!isRecord(entry))
            continue;
        const QVariantMap inserted = entry.toMap();
        if (!hasIdentifier(inserted, "nodeUID"))
            continue;
        const QString stationId = textOf(inserted, "parentStationID");
        const QModelIndex parent = indexOf(stationId);
        if (!parent.isValid())
            continue;
        if (!hasRoomBelow(parent)) {
            InputLimits::partsDropped();
            continue;
        }
        const QVariantMap record{
            {QStringLiteral("nodeUID"), inserted.value(QStringLiteral("nodeUID"))},
            {QStringLiteral("nodeName"), DeviceNodeFactory::cleanDisplayName(textOf(inserted, "nodeName"))},
            {QStringLiteral("nodeType"), QStringLiteral("Camera")},
            {QStringLiteral("nodeIP"), inserted.value(QStringLiteral("camIP"))},
            {QStringLiteral("brand"), QString(DeviceTreeNames::kDefaultBrand)},
            {QStringLiteral("user"), QString()},
            {QStringLiteral("diCount"), 0},
            {QStringLiteral("doCount"), 0},
            {QStringLiteral("motionCount"), 0},
            {QStringLiteral("channelID"), 1},
        };
        const int level = parent.data(Model::levelRole).toInt() + 1;
        std::unique_ptr<QStandardItem> camera = DeviceNodeFactory::createCameraNode(record, level, stationId);
        // Set before insertion so that the camera arrives complete, without a
        // data change right after it.
        camera->setData(Model::cameraTypeOf(inserted.value(QStringLiteral("camType"))), Model::camTypeRole);
        camera->setData(textOf(inserted, "camPort"), Model::portRole);
        if (placeNode(std::move(camera), parent, Position::BeforeSubstations,
                      carriedRoles(inserted, kCameraInsertFields)))
            added.append(textOf(inserted, "nodeUID"));
    }
    return added;
}

void DeviceTree::insertRemovedCameras(const QString& stationId, const QVariantList& removedCameras)
{
    const QPersistentModelIndex station(indexOf(stationId));
    if (!station.isValid() || removedCameras.isEmpty())
        return;
    const int stationLevel = station.data(Model::levelRole).toInt();
    const QPersistentModelIndex folder(indexOf(DeviceNodeFactory::removedCameraFolderId(stationId)));

    // A removed camera listed again is updated where it is; anything else
    // holding its identifier gives way to it.
    QList<QStandardItem*> cameras;
    for (const QVariant& entry : lastOfEachIdentifier(removedCameras, "camID")) {
        const QVariantMap record = entry.toMap();
        std::unique_ptr<QStandardItem> camera =
            DeviceNodeFactory::createRemovedCameraNode(record, stationId, stationLevel);
        const QModelIndex known = indexOf(camera->data(Model::idRole).toString());
        if (known.isValid() && known.parent() == folder
            && known.data(Model::nodeTypeRole) == camera->data(Model::nodeTypeRole)) {
            writeRoles(known, changedValues(known, *camera, carriedRoles(record, kRemovedCameraFields)));
            continue;
        }
        if (isAtOrAbove(known, station))
            continue;
        if (known.isValid())
            m_model.removeRow(known.row(), known.parent());
        cameras.append(camera.release());
    }
    if (cameras.isEmpty())
        return;
    // The cameras lie in a folder below the station.
    if (!hasRoomBelow(station, 2)) {
        InputLimits::partsDropped(int(cameras.size()));
        qDeleteAll(cameras);
        return;
    }

    if (folder.isValid()) {
        m_model.itemFromIndex(folder)->appendRows(cameras);
        return;
    }
    // A new folder goes in with its cameras as one block.
    std::unique_ptr<QStandardItem> newFolder = DeviceNodeFactory::createRemovedCameraFolder(stationId, stationLevel);
    newFolder->appendRows(cameras);
    m_model.itemFromIndex(station)->insertRow(firstStationNodeRow(station), newFolder.release());
}

// One node per identifier: an announced node that the tree already holds is
// changed in place, keeping its state and its subtree. When the announcement
// puts it under another parent, it moves there whole (views hear one removal
// and one insertion of that subtree); when it names a node of another kind,
// the announced node replaces it. A node cannot be placed under itself.
bool DeviceTree::placeNode(std::unique_ptr<QStandardItem> node, const QModelIndex& parentIndex, Position position,
                           const QList<int>& carried)
{
    const QPersistentModelIndex parent(parentIndex);
    const QModelIndex known = indexOf(node->data(Model::idRole).toString());
    if (known.isValid()) {
        if (isAtOrAbove(known, parent))
            return false;
        if (known.data(Model::nodeTypeRole) == node->data(Model::nodeTypeRole)) {
            if (known.parent() == parent) {
                writeRoles(known, changedValues(known, *node, carried));
            } else if (!fitsBelow(known, parent)) {
                InputLimits::partsDropped();
            } else {
                moveNode(known, parent, position, *node, carried);
            }
            return false;
        }
        m_model.removeRow(known.row(), known.parent());
    }
    m_model.itemFromIndex(parent)->insertRow(rowFor(parent, position), node.release());
    return true;
}

void DeviceTree::moveNode(const QModelIndex& node, const QPersistentModelIndex& newParent, Position position,
                          const QStandardItem& announced, const QList<int>& carried)
{
    QStandardItem* oldParent = node.parent().isValid() ? m_model.itemFromIndex(node.parent())
                                                       : m_model.invisibleRootItem();
    const int levelShift = announced.data(Model::levelRole).toInt() - node.data(Model::levelRole).toInt();
    QStandardItem* moved = oldParent->takeRow(node.row()).value(0);
    if (!moved)
        return;
    // Changed while out of the model, so the move is all that views hear.
    for (int role : carried)
        moved->setData(announced.data(role), role);
    moved->setData(announced.data(Model::parentStationIDRole), Model::parentStationIDRole);
    moved->setData(announced.data(Model::levelRole), Model::levelRole);
    TreeWalk::forEachItem(moved, 0, moved->rowCount() - 1, [levelShift](QStandardItem* below) {
        below->setData(below->data(Model::levelRole).toInt() + levelShift, Model::levelRole);
    });
    m_model.itemFromIndex(newParent)->insertRow(rowFor(newParent, position), moved);
}

int DeviceTree::rowFor(const QModelIndex& parent, Position position) const
{
    return position == Position::Last ? m_model.rowCount(parent) : firstStationNodeRow(parent);
}

// ------------------------------------------------------------ field access

bool DeviceTree::contains(const QString& id) const
{
    return indexOf(id).isValid();
}

QVariant DeviceTree::data(const QString& id, int role) const
{
    const QModelIndex index = indexOf(id);
    return index.isValid() ? m_model.data(index, role) : QVariant();
}

QVariant DeviceTree::data(const QString& id, const QString& roleName) const
{
    return data(id, roleOf(roleName));
}

QVariantMap DeviceTree::getAllValues(const QString& roleName) const
{
    const int role = roleOf(roleName);
    QVariantMap values;
    forEachNodeDepthFirst(QModelIndex(), [&](const QModelIndex& node) {
        values.insert(node.data(Model::idRole).toString(), m_model.data(node, role));
    });
    return values;
}

void DeviceTree::setData(const QString& id, int role, const QVariant& value)
{
    writeRoles(indexOf(id), {{role, value}});
}

void DeviceTree::setDataMap(const QString& id, const QVariantMap& valuesByRoleName)
{
    setItemData(id, valuesByRole(valuesByRoleName));
}

void DeviceTree::setDataList(const QString& id, const RoleValueList& valuesByRoleName)
{
    QMap<int, QVariant> values;
    for (const auto& [roleName, value] : valuesByRoleName)
        values.insert(roleOf(roleName), value);
    setItemData(id, values);
}

void DeviceTree::updateNodeName(const QString& id, const QString& name)
{
    setData(id, Model::nameRole, name);
}

void DeviceTree::clear()
{
    m_model.clear();
}

// ----------------------------------------------------------------- updates

void DeviceTree::updateCameraInfo(const std::vector<QVariantMap>& cameraInfos)
{
    for (const QVariantMap& info : cameraInfos) {
        writeRoles(indexOfCamera(textOf(info, "idRole")), valuesByRole(info));
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
            const QStringList newNames = newDiDoNameList(names, change.value(QLatin1String(changeKey)).toList());
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
    for (const QVariant& entry : record.value(QStringLiteral("srvPorts")).toList()) {
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
    using C = Conversion;
    writeRoles(indexOf(stationId),
               carriedFields(serverInfo,
                             {{"isNVREventSearch", Model::nvrEventSearchRole, C::Flag},
                              {"relayEnabled", Model::relayEnabledRole, C::Flag},
                              {"hasGPSConnectionEventCap", Model::gpsConnectionEventCapRole, C::Flag},
                              {"hasGPSSpeedLimitationEventCap", Model::gpsSpeedLimitationEventCapRole, C::Flag},
                              {"hasGSensorEventCap", Model::gSensorEventCapRole, C::Flag},
                              {"hasFanStatusEventCap", Model::fanStatusEventCapRole, C::Flag},
                              {"suppBruteForceAttack", Model::bruteForceAttackCapRole, C::Flag},
                              {"suppCyberAttack", Model::cyberAttackCapRole, C::Flag},
                              {"suppQuarantineEvent", Model::quarantineEventCapRole, C::Flag},
                              {"isQELM2", Model::isQELM2Role, C::Flag},
                              {"isNVRStation", Model::isNVRStationRole, C::Flag},
                              {"enableMulticast", Model::enableMulticastRole, C::Flag},
                              {"multicastIp", Model::multicastIpRole, C::Text},
                              {"multicastPortStart", Model::multicastPortStartRole, C::Number},
                              {"multicastPortEnd", Model::multicastPortEndRole, C::Number},
                              {"isNVRSupportCameraSetting", Model::nvrSupportCameraSettingRole, C::Flag},
                              {"serverVersion", Model::serverVersionRole, C::Text},
                              {"stationGUID", Model::stationGuidRole, C::Text},
                              {"httpPort", Model::httpPortRole, C::Number},
                              {"httpsPort", Model::httpsPortRole, C::Number}}));
}

void DeviceTree::updateStationInfo(const QVariantMap& stationInfo)
{
    using C = Conversion;
    writeRoles(indexOf(textOf(stationInfo, "stationUID")),
               carriedFields(stationInfo,
                             {{"nasDomain", Model::nasDomainRole, C::Text},
                              {"nasUserName", Model::nasUsernameRole, C::Text},
                              {"nasPassword", Model::nasPasswordRole, C::HexText},
                              {"stationPassword", Model::stationPasswordRole, C::HexText},
                              {"httpPort", Model::httpPortRole, C::Number},
                              {"useSSL", Model::useSSLRole, C::Flag},
                              {"IP", Model::ipRole, C::Text}}));
}

void DeviceTree::updateStationInfo(const std::vector<QVariantMap>& stationRecords)
{
    using C = Conversion;
    for (const QVariantMap& record : stationRecords) {
        writeRoles(indexOf(textOf(record, "idRole")),
                   carriedFields(record,
                                 {{"modelRole", Model::modelRole, C::AsSent},
                                  {"displayNameRole", Model::displayNameRole, C::AsSent},
                                  {"diCountRole", Model::diCountRole, C::AsSent},
                                  {"diNameListRole", Model::diNameListRole, C::AsSent},
                                  {"doCountRole", Model::doCountRole, C::AsSent},
                                  {"doNameListRole", Model::doNameListRole, C::AsSent},
                                  {"deepSearchVersionRole", Model::deepSearchVersionRole, C::AsSent}}));
    }
}

void DeviceTree::updateWifiStatus(const QVariantMap& record)
{
    const bool connected = textOf(record, "Status") == QLatin1String("Connected");
    writeRoles(indexOf(textOf(record, "stationUID")),
               {{Model::isWifiAvalibleRole, connected},
                {Model::wifiAddressRole, connected ? textOf(record, "Address") : QString()}});
}

void DeviceTree::updateExternalDevice(const QVariantList& devices)
{
    for (const QVariant& entry : devices) {
        if (!isRecord(entry))
            continue;
        const QVariantMap device = entry.toMap();
        const QString deviceId = textOf(device, "NodeID");
        if (deviceId.isEmpty())
            continue;
        const QMap<int, QVariant> values{
            {Model::passwordRole, textOf(device, "Password")},
            {Model::diNameListRole, PayloadFields::textListOf(device, "DINameList")},
            {Model::doNameListRole, PayloadFields::textListOf(device, "DONameList")},
            {Model::modelRole, textOf(device, "ModuleName")},
            {Model::portRole, textOf(device, "Port")},
            {Model::connectedRole, true},
            {Model::camTypeRole, int(Model::CameraExternalDevice)},
        };
        const QModelIndex known = indexOfCamera(deviceId);
        if (known.isValid()) {
            writeRoles(known, values);
            continue;
        }
        const QString stationId = textOf(device, "RelayPath");
        const QModelIndex station = indexOf(stationId);
        if (!station.isValid())
            continue;
        if (!hasRoomBelow(station)) {
            InputLimits::partsDropped();
            continue;
        }
        const QVariantMap record{
            {QStringLiteral("nodeUID"), deviceId},
            {QStringLiteral("nodeName"), textOf(device, "RefName")},
            {QStringLiteral("nodeType"), QStringLiteral("Camera")},
            {QStringLiteral("nodeIP"), textOf(device, "HostIP")},
            {QStringLiteral("brand"), textOf(device, "Brand")},
            {QStringLiteral("user"), textOf(device, "User")},
            {QStringLiteral("diCount"), device.value(QStringLiteral("DINum"))},
            {QStringLiteral("doCount"), device.value(QStringLiteral("DONum"))},
            {QStringLiteral("motionCount"), 0},
            {QStringLiteral("channelID"), 1},
        };
        const int level = station.data(Model::levelRole).toInt() + 1;
        std::unique_ptr<QStandardItem> node = DeviceNodeFactory::createCameraNode(record, level, stationId);
        for (auto it = values.cbegin(); it != values.cend(); ++it)
            node->setData(it.value(), it.key());
        m_model.itemFromIndex(station)->insertRow(firstStationNodeRow(station), node.release());
    }
}

// ----------------------------------------------------------------- removal

void DeviceTree::removeNodes(const QStringList& ids)
{
    for (const QString& id : ids) {
        const QModelIndex node = indexOf(id);
        if (node.isValid())
            m_model.removeRow(node.row(), node.parent());
    }
}

void DeviceTree::removeExternalDevice(const QString& stationId, const QStringList& deviceIds)
{
    const QModelIndex station = indexOf(stationId);
    if (!station.isValid())
        return;
    for (const QString& deviceId : deviceIds) {
        const QModelIndex device = indexOf(deviceId);
        if (device.isValid() && device.parent() == station && isExternalDevice(device))
            m_model.removeRow(device.row(), station);
    }
}

void DeviceTree::removeRemovedCameras(const QString& stationId, const QStringList& cameraIds)
{
    const QModelIndex folder = indexOf(DeviceNodeFactory::removedCameraFolderId(stationId));
    if (!folder.isValid() || cameraIds.isEmpty())
        return;
    // Cameras inserted twice share an identifier, so the index cannot tell which
    // row to take: each listed identifier takes the first row still holding it.
    // One pass over the folder finds them all.
    const QSet<QString> wanted(cameraIds.cbegin(), cameraIds.cend());
    QHash<QString, QList<int>> rowsById;
    for (int row = 0; row < m_model.rowCount(folder); ++row) {
        const QString id = m_model.index(row, 0, folder).data(Model::idRole).toString();
        if (wanted.contains(id))
            rowsById[id].append(row);
    }
    QList<int> rows;
    for (const QString& id : cameraIds) {
        auto candidates = rowsById.find(id);
        if (candidates != rowsById.end() && !candidates->isEmpty())
            rows.append(candidates->takeFirst());
    }
    // From the bottom up, so the rows still to remove keep their numbers; rows
    // that lie together go in one block.
    std::sort(rows.begin(), rows.end(), std::greater<int>());
    for (int i = 0; i < rows.size();) {
        int first = rows.at(i);
        int count = 1;
        while (i + count < rows.size() && rows.at(i + count) == first - 1) {
            --first;
            ++count;
        }
        m_model.removeRows(first, count, folder);
        i += count;
    }
}

// ----------------------------------------------------------------- queries

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

// ----------------------------------------------------------------- helpers

QModelIndex DeviceTree::indexOf(const QString& id) const
{
    return m_model.match(m_model.index(0, 0), Model::idRole, id, 1, Qt::MatchRecursive).value(0);
}

QModelIndex DeviceTree::indexOfCamera(const QString& id) const
{
    return id.isEmpty() ? QModelIndex() : indexOf(id);
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

int DeviceTree::roleOf(const QString& roleName) const
{
    return m_roleNumbers.value(roleName, 0);
}

QMap<int, QVariant> DeviceTree::valuesByRole(const QVariantMap& valuesByRoleName) const
{
    QMap<int, QVariant> values;
    for (auto it = valuesByRoleName.cbegin(); it != valuesByRoleName.cend(); ++it)
        values.insert(roleOf(it.key()), it.value());
    return values;
}

void DeviceTree::setItemData(const QString& id, const QMap<int, QVariant>& values)
{
    writeRoles(indexOf(id), values);
}

void DeviceTree::writeRoles(const QModelIndex& index, QMap<int, QVariant> values)
{
    if (!index.isValid())
        return;
    const auto cameraType = values.find(Model::camTypeRole);
    if (cameraType != values.end())
        *cameraType = Model::cameraTypeOf(*cameraType);
    // Taking an identifier that another node holds would hide one of the two
    // from every look-up; the node keeps its own.
    const auto id = values.constFind(Model::idRole);
    if (id != values.cend() && id->toString() != index.data(Model::idRole).toString()
        && indexOf(id->toString()).isValid()) {
        values.remove(Model::idRole);
        values.remove(Model::nodeIDRole);
    }
    // One dataChanged naming every role, so proxies re-check only what they filter on.
    if (!values.isEmpty())
        m_model.setItemData(index, values);
}

int DeviceTree::firstStationNodeRow(const QModelIndex& parent) const
{
    const int rows = m_model.rowCount(parent);
    for (int row = 0; row < rows; ++row) {
        if (isStation(m_model.index(row, 0, parent)))
            return row;
    }
    return rows;
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

bool DeviceTree::isStation(const QModelIndex& index) const
{
    return index.isValid() && index.data(Model::nodeTypeRole).toInt() == Model::StationNode;
}

bool DeviceTree::isCamera(const QModelIndex& index) const
{
    return index.isValid() && index.data(Model::nodeTypeRole).toInt() == Model::CameraNode && !isExternalDevice(index);
}

bool DeviceTree::isExternalDevice(const QModelIndex& index) const
{
    return index.data(Model::nodeTypeRole).toInt() == Model::CameraNode
        && index.data(Model::camTypeRole).toInt() == Model::CameraExternalDevice;
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
        const int role = roleOf(it.value());
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
