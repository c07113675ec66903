#include "RecordingLocations.h"

#include "DeviceNodeFactory.h"
#include "DeviceTree.h"
#include "LocalDatabaseKeys.h"
#include "ModuleLog.h"
#include "NodeSubtree.h"
#include "PayloadFields.h"
#include "StandardTopologyModel.h"

#include <QSet>

using PayloadFields::textOf;

namespace {
const QString kNameRole = QStringLiteral("nameRole");
const QString kRelayPathRole = QStringLiteral("relayPathRole");
const QString kCameraIdRole = QStringLiteral("camIDRole");
const QString kLocationRole = QStringLiteral("locationRole");
const QString kAvailableRole = QStringLiteral("availableRole");
const QString kQueryFromRole = QStringLiteral("queryFromRole");
const QString kGroupName = QStringLiteral("groupName");
const QString kStreamIndex = QStringLiteral("streamIndex");
const QString kAvailable = QStringLiteral("available");
const QString kLocalDbMetaInfoKey = LocalDatabaseKeys::kMetaInfo;

// Where playback asks for a location's recordings: the station's locations,
// anywhere else (the camera's own storage), or a local database. Local ones are
// marked apart so that they can be dropped together.
enum QueryFrom { kFromStation = 0, kFromElsewhere = 1, kFromLocalDatabase = 2 };
// NVR groups carry no stream number of their own: a sub-stream location records
// the second stream, every other location (and a camera's own storage) the first.
constexpr int kMainStream = 1;
constexpr int kSubStream = 2;

bool isSubStreamLocation(const QString& locationId)
{
    return locationId.contains(QLatin1String("_Sub"));
}

// Station locations are named "Loc…"; anything else is queried elsewhere.
int queryFromOf(const QString& locationId)
{
    return locationId.contains(QLatin1String("Loc")) ? kFromStation : kFromElsewhere;
}

QString locationIdOf(const QVariant& entry)
{
    return entry.typeId() == QMetaType::QVariantMap ? textOf(entry.toMap(), "Name") : PayloadFields::text(entry);
}

QVariantMap streamInfo(const QVariant& groupName, int streamIndex, bool available)
{
    return {{kGroupName, groupName}, {kStreamIndex, streamIndex}, {kAvailable, available}};
}

// The camera's identifier within its station, as the station's own lists name removed cameras.
QString localCameraIdOf(const QVariantMap& record)
{
    return record.value(kCameraIdRole).toString().section(QLatin1Char('/'), -1);
}
} // namespace

RecordingLocations::RecordingLocations(const DeviceTree& devices) : m_devices(devices) {}

// Each channel entry of each location: the record keeps one location for
// playback (an available one over an unavailable one, the later of two
// available ones, and never a main-stream location for a sub-stream one or the
// reverse), while the stream information keeps every location of the channel.
// A record that keeps its stored location also keeps where that location is
// queried from; fields a channel event added (live, stream index) stay.
void RecordingLocations::applyLocationAnswer(const QVariantMap& locations)
{
    const QString relayPath = textOf(locations, "relayPath");
    const bool isNvr = m_devices.data(relayPath, StandardTopologyModel::isNVRStationRole).toBool();
    for (const QVariant& locationEntry : PayloadFields::listOf(locations, "locInfo")) {
        for (const QVariant& channelEntry : PayloadFields::listOf(locationEntry.toMap(), "locs")) {
            const QVariantMap channel = channelEntry.toMap();
            const QString alias = textOf(channel, "Alias");
            const QString locationId = textOf(channel, "Name");
            if (alias.isEmpty() || locationId.isEmpty())
                continue;
            const QString nodeId = NodeSubtree::childId(relayPath, alias);
            const bool available = channel.value(QStringLiteral("Available")).toBool();

            const auto stored = m_records.constFind(nodeId);
            const bool hadLocation = stored != m_records.cend() && !stored->value(kLocationRole).toString().isEmpty();
            QVariantMap record = stored != m_records.cend() ? *stored : QVariantMap();
            record.insert(kNameRole, DeviceNodeFactory::cleanDisplayName(textOf(channel, "RefAlias")));
            record.insert(kRelayPathRole, relayPath);
            record.insert(kCameraIdRole, alias);
            if (!record.value(kAvailableRole).toBool() || available) {
                record.insert(kLocationRole, locationId);
                record.insert(kAvailableRole, available);
                record.insert(kQueryFromRole, kFromStation);
            }
            if (!hadLocation
                || isSubStreamLocation(stored->value(kLocationRole).toString()) == isSubStreamLocation(locationId))
                m_records.insert(nodeId, record);

            m_streams[nodeId].insert(
                locationId, isNvr ? streamInfo(m_devices.data(nodeId, StandardTopologyModel::nameRole),
                                               isSubStreamLocation(locationId) ? kSubStream : kMainStream, available)
                                  : streamInfo(textOf(channel, "GrpName"),
                                               channel.value(QStringLiteral("Stream")).toInt(), available));
        }
    }
}

QVariantList RecordingLocations::removedCamerasIn(const QVariantMap& locations)
{
    QVariantList removedCameras;
    for (const QVariant& entry : PayloadFields::listOf(locations, "removedCameras")) {
        if (entry.typeId() == QMetaType::QVariantMap && !textOf(entry.toMap(), "camID").isEmpty())
            removedCameras.append(entry);
    }
    return removedCameras;
}

void RecordingLocations::addEdgeRecordings(const std::vector<QVariantMap>& cameraRecords)
{
    for (const QVariantMap& camera : cameraRecords) {
        if (camera.value(QStringLiteral("useEdgeRecordingRole")).toBool()
            || camera.value(QStringLiteral("hasEdgeRecordingFileRole")).toBool())
            addEdgeRecording(camera.value(QStringLiteral("idRole")).toString());
    }
}

// A camera that records on its own storage can be played from there, under the
// last segment of its identifier; a station location that is available keeps
// priority. Its name and station come from the device tree when no station
// location has named it yet.
void RecordingLocations::addEdgeRecording(const QString& cameraId)
{
    if (cameraId.isEmpty())
        return;
    const QString locationId = cameraId.section(QLatin1Char('/'), -1);
    m_streams[cameraId].insert(locationId, streamInfo(QStringLiteral("EdgeRecording"), kMainStream, true));
    QVariantMap& record = m_records[cameraId];
    if (record.value(kAvailableRole).toBool())
        return;
    if (!record.contains(kNameRole)) {
        record.insert(kNameRole, m_devices.data(cameraId, StandardTopologyModel::nameRole).toString());
        record.insert(kRelayPathRole, m_devices.data(cameraId, StandardTopologyModel::parentStationIDRole).toString());
    }
    record.insert(kCameraIdRole, cameraId);
    record.insert(kQueryFromRole, kFromElsewhere);
    record.insert(kLocationRole, locationId);
    record.insert(kAvailableRole, true);
}

// A new main-stream channel plays live from its location at once; a
// sub-stream one only joins the stream information.
void RecordingLocations::addChannel(const QVariantMap& added)
{
    const QVariantMap channel = added.value(QStringLiteral("chnlInfo")).toMap();
    const QString relayPath = textOf(added, "relayPath");
    const QString alias = textOf(channel, "CamName");
    const QString locationId = textOf(channel, "Loc");
    if (alias.isEmpty() || locationId.isEmpty())
        return;
    const QString nodeId = NodeSubtree::childId(relayPath, alias);
    const int stream = channel.value(QStringLiteral("Stream")).toInt();

    if (!isSubStreamLocation(locationId)) {
        m_records.insert(nodeId, QVariantMap{{kNameRole, DeviceNodeFactory::cleanDisplayName(textOf(channel, "CamRefName"))},
                                             {kRelayPathRole, relayPath},
                                             {kLocationRole, locationId},
                                             {kCameraIdRole, alias},
                                             {QStringLiteral("liveRole"), true},
                                             {kQueryFromRole, kFromStation},
                                             {kAvailableRole, true},
                                             {QStringLiteral("streamIndexRole"), stream}});
    }
    m_streams[nodeId].insert(locationId, streamInfo(textOf(channel, "GrpName"), stream, true));
}

// "RemoveEntry" leaves the recordings listed but unreachable: the location is
// marked unavailable (in the channel's record too when it is the one in use), so
// that the next available location replaces it. "RemoveMedia" deletes them: the
// location is marked unavailable and a channel playing from it moves to one that
// still has recordings.
bool RecordingLocations::removeChannel(const QVariantMap& removed)
{
    const QVariantMap channel = removed.value(QStringLiteral("chnlInfo")).toMap();
    const QString nodeId = NodeSubtree::childId(textOf(removed, "relayPath"), textOf(channel, "CamName"));
    const QString method = textOf(channel, "Method");
    const QString locationId = textOf(channel, "Loc");

    const auto record = m_records.find(nodeId);
    if (record == m_records.end()) {
        TOPOLOGY_LOG_INFO("Location removed, but camera not found, nodeID:%s", nodeId);
        return false;
    }
    const bool inUse = record->value(kLocationRole).toString() == locationId;
    const auto streams = m_streams.find(nodeId);
    const bool listed = streams != m_streams.end() && streams->contains(locationId);
    if (method == QLatin1String("RemoveEntry")) {
        if (!listed) {
            TOPOLOGY_LOG_INFO("Channel removed, but location not found, nodeID:%s, locID:%s", nodeId, locationId);
            return false;
        }
        (*streams)[locationId].insert(kAvailable, false);
        if (inUse)
            record->insert(kAvailableRole, false);
    } else if (method == QLatin1String("RemoveMedia")) {
        if (listed)
            (*streams)[locationId].insert(kAvailable, false);
        return inUse && !moveToAvailableLocation(nodeId).isEmpty();
    }
    return false;
}

// The station's channels lose the removed locations from their stream
// information. A channel that was playing from one of them moves to a location
// that still has its recordings; a removed camera left without any goes from
// the tables, since nothing of it can be played.
RecordingLocations::LocationRemoval RecordingLocations::removeLocations(const QString& relayPath,
                                                                        const QVariantList& removedLocations)
{
    // Location identifiers repeat from station to station ("Loc1"): only this station's channels are touched.
    const auto ofThisStation = [&](const QString& nodeId) { return nodeId.section(QLatin1Char('/'), 0, -2) == relayPath; };
    QStringList affected = channelsPlayingFrom(removedLocations);
    affected.removeIf([&](const QString& nodeId) { return !ofThisStation(nodeId); });
    for (const QVariant& entry : removedLocations) {
        const QString locationId = locationIdOf(entry);
        for (auto streams = m_streams.begin(); streams != m_streams.end(); ++streams) {
            if (ofThisStation(streams.key()))
                streams->remove(locationId);
        }
    }

    LocationRemoval removal;
    for (const QString& nodeId : std::as_const(affected)) {
        const bool removedCamera = m_devices.data(nodeId, StandardTopologyModel::nodeTypeRole).toInt()
            == StandardTopologyModel::RemovedCameraNode;
        if (removedCamera && m_streams.value(nodeId).isEmpty()) {
            removal.removedCameras.append(NodeSubtree::childId(relayPath, localCameraIdOf(m_records.value(nodeId))));
            m_records.remove(nodeId);
            m_streams.remove(nodeId);
        } else if (!moveToAvailableLocation(nodeId).isEmpty()) {
            removal.moved.append(nodeId);
        }
    }
    return removal;
}

QStringList RecordingLocations::channelsPlayingFrom(const QVariantList& removedLocations) const
{
    QSet<QString> locationIds;
    for (const QVariant& entry : removedLocations) {
        const QString locationId = locationIdOf(entry);
        if (!locationId.isEmpty())
            locationIds.insert(locationId);
    }
    QStringList nodeIds;
    for (auto record = m_records.cbegin(); record != m_records.cend(); ++record) {
        if (locationIds.contains(record->value(kLocationRole).toString()))
            nodeIds.append(record.key());
    }
    return nodeIds;
}

QVariantList RecordingLocations::removedCamerasFor(const QStringList& nodeIds) const
{
    QVariantList removedCameras;
    for (const QString& nodeId : nodeIds) {
        const auto record = m_records.constFind(nodeId);
        if (record != m_records.cend())
            removedCameras.append(
                QVariantMap{{QStringLiteral("camID"), localCameraIdOf(*record)}, {QStringLiteral("camName"), record->value(kNameRole)}});
    }
    return removedCameras;
}

// So that the choice rules of later location answers compare against the
// location actually in use.
void RecordingLocations::switchLocation(const QString& nodeId, const QString& locationId)
{
    QVariantMap& record = m_records[nodeId];
    record.insert(kQueryFromRole, queryFromOf(locationId));
    record.insert(kLocationRole, locationId);
    const QMap<QString, QVariantMap> streams = m_streams.value(nodeId);
    if (streams.contains(locationId))
        record.insert(kAvailableRole, streams.value(locationId).value(kAvailable));
}

// Moves a channel whose location lost its recordings to another location that
// still has them: one of the same stream kind (main or sub) if there is one,
// otherwise of the other kind, the first in location order either way. Returns
// the new location, or an empty text when none is left (the channel then keeps
// its location, marked unavailable).
QString RecordingLocations::moveToAvailableLocation(const QString& nodeId)
{
    QVariantMap& record = m_records[nodeId];
    const QString current = record.value(kLocationRole).toString();
    const bool currentIsSub = isSubStreamLocation(current);
    QString sameKind;
    QString otherKind;
    const QMap<QString, QVariantMap> streams = m_streams.value(nodeId);
    for (auto stream = streams.cbegin(); stream != streams.cend(); ++stream) {
        if (stream.key() == current || !stream->value(kAvailable).toBool())
            continue;
        QString& candidate = isSubStreamLocation(stream.key()) == currentIsSub ? sameKind : otherKind;
        if (candidate.isEmpty())
            candidate = stream.key();
    }
    const QString chosen = sameKind.isEmpty() ? otherKind : sameKind;
    record.insert(kAvailableRole, !chosen.isEmpty());
    if (!chosen.isEmpty()) {
        record.insert(kLocationRole, chosen);
        record.insert(kQueryFromRole, queryFromOf(chosen));
    }
    return chosen;
}

void RecordingLocations::addLocalDatabase(const QVariantMap& cameras)
{
    for (auto camera = cameras.cbegin(); camera != cameras.cend(); ++camera) {
        if (camera.key() == kLocalDbMetaInfoKey || camera.value().typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap entry = camera.value().toMap();
        const QString recordingPath = textOf(entry, "recPath");
        m_records.insert(NodeSubtree::childId(recordingPath, camera.key()),
                         QVariantMap{{kNameRole, DeviceNodeFactory::cleanDisplayName(textOf(entry, "camName"))},
                                     {kRelayPathRole, recordingPath},
                                     {kCameraIdRole, camera.key()},
                                     {kQueryFromRole, kFromLocalDatabase},
                                     {kLocationRole, recordingPath},
                                     {kAvailableRole, true}});
    }
}

QVariantMap RecordingLocations::withRecordingPath(const QVariantMap& cameras, const QString& recordingPath)
{
    QVariantMap withPath = cameras;
    for (auto camera = withPath.begin(); camera != withPath.end(); ++camera) {
        if (camera.key() == kLocalDbMetaInfoKey || camera.value().typeId() != QMetaType::QVariantMap)
            continue;
        QVariantMap entry = camera.value().toMap();
        entry.insert(QStringLiteral("recPath"), recordingPath);
        camera.value() = entry;
    }
    return withPath;
}

void RecordingLocations::clearLocalDatabases()
{
    m_records.removeIf([](QMap<QString, QVariantMap>::iterator record) {
        return record->value(kQueryFromRole).toInt() == kFromLocalDatabase;
    });
}

QString RecordingLocations::nodeAt(const QString& locationId) const
{
    for (auto record = m_records.cbegin(); record != m_records.cend(); ++record) {
        if (record->value(kLocationRole).toString() == locationId)
            return record.key();
    }
    return QString();
}

QString RecordingLocations::cameraNameAt(const QString& locationId, const QString& relayPath) const
{
    for (const QVariantMap& record : m_records) {
        if (record.value(kLocationRole).toString() == locationId && record.value(kRelayPathRole).toString() == relayPath)
            return record.value(kNameRole).toString();
    }
    return QString();
}

// Empty when the location holds none of the channel's recordings.
QString RecordingLocations::cameraNameByLocation(const QString& nodeId, const QString& locationId) const
{
    if (!m_streams.value(nodeId).contains(locationId))
        return QString();
    return m_records.value(nodeId).value(kNameRole).toString();
}

void RecordingLocations::clear()
{
    m_records.clear();
    m_streams.clear();
}
