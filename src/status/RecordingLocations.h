#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <vector>

class DeviceTree;

// Where playback finds each channel's recordings. A channel is named by its
// station's relay path, "/", and its alias. Its record names the one location
// it plays from now ("locationRole", "availableRole", "queryFromRole", with
// "nameRole", "relayPathRole", "camIDRole"); its stream information lists every
// location that records it, by location identifier, as {"groupName",
// "streamIndex", "available"}. Names and station kinds are read from the
// device tree.
class RecordingLocations
{
public:
    explicit RecordingLocations(const DeviceTree& devices);

    // A location answer, or a location change broadcast, of one station.
    void applyLocationAnswer(const QVariantMap& locations);
    // The answer's removed cameras that name a camera.
    static QVariantList removedCamerasIn(const QVariantMap& locations);
    // Cameras that record on their own storage (camera records with "idRole",
    // "useEdgeRecordingRole", "hasEdgeRecordingFileRole").
    void addEdgeRecordings(const std::vector<QVariantMap>& cameraRecords);
    void addEdgeRecording(const QString& cameraId);

    // Channel broadcasts ({"relayPath", "chnlInfo"}). A removal returns whether
    // the channel moved to another location.
    void addChannel(const QVariantMap& added);
    bool removeChannel(const QVariantMap& removed);

    struct LocationRemoval
    {
        // Channels now playing from another location.
        QStringList moved;
        // Removed cameras left with nothing to play: they go from the trees.
        QStringList removedCameras;
    };
    LocationRemoval removeLocations(const QString& relayPath, const QVariantList& removedLocations);
    // Every channel that plays from one of the listed locations, in node order.
    QStringList channelsPlayingFrom(const QVariantList& removedLocations) const;
    // How the cameras removed with "RemoveEntry" come back as removed cameras,
    // for those whose recordings are known.
    QVariantList removedCamerasFor(const QStringList& nodeIds) const;

    // The location's availability follows the switch when the stream
    // information knows it.
    void switchLocation(const QString& nodeId, const QString& locationId);

    // Local databases: their camera maps, keyed by camera, with "camName" and
    // "recPath", beside an entry of metadata.
    void addLocalDatabase(const QVariantMap& cameras);
    static QVariantMap withRecordingPath(const QVariantMap& cameras, const QString& recordingPath);
    void clearLocalDatabases();

    QVariantMap record(const QString& nodeId) const { return m_records.value(nodeId); }
    QMap<QString, QVariantMap> streams(const QString& nodeId) const { return m_streams.value(nodeId); }
    QString nodeAt(const QString& locationId) const;
    QString cameraNameAt(const QString& locationId, const QString& relayPath) const;
    QString cameraNameByLocation(const QString& nodeId, const QString& locationId) const;

    void clear();

private:
    QString moveToAvailableLocation(const QString& nodeId);

    const DeviceTree& m_devices;
    // Channel node id -> where playback finds its recordings now.
    QMap<QString, QVariantMap> m_records;
    // Channel node id -> location id -> {"groupName", "streamIndex", "available"}.
    QMap<QString, QMap<QString, QVariantMap>> m_streams;
};
