#pragma once

#include <QString>
#include <QVariantMap>

#include <memory>

class QStandardItem;

// Makes the items of the device tree from the servers' records: stations,
// cameras, removed cameras and the per-station folder that holds them. Each
// item leaves here with all its fields set and is not yet in any model.
class DeviceNodeFactory
{
public:
    // A record whose "nodeType" is exactly "Station" becomes a station, any
    // other a camera.
    static std::unique_ptr<QStandardItem> createNode(const QVariantMap& record, int level, const QString& parentId);
    static std::unique_ptr<QStandardItem> createStationNode(const QVariantMap& record, int level,
                                                            const QString& parentId);
    static std::unique_ptr<QStandardItem> createCameraNode(const QVariantMap& record, int level,
                                                           const QString& parentId);
    // From a broadcast's announcement of a station ("stationUID", "relayPath", ...)
    // or a camera ("nodeUID", "parentStationID", ...), and from a station's
    // report of an external I/O device ("NodeID", "RelayPath", ...).
    static std::unique_ptr<QStandardItem> createAnnouncedStation(const QVariantMap& announcement, int level);
    static std::unique_ptr<QStandardItem> createAnnouncedCamera(const QVariantMap& announcement, int level);
    static std::unique_ptr<QStandardItem> createExternalDevice(const QVariantMap& device, int level);
    static std::unique_ptr<QStandardItem> createRemovedCameraFolder(const QString& stationId, int stationLevel);
    // From a removed-camera record: "camID", "camName", "cameraType".
    static std::unique_ptr<QStandardItem> createRemovedCameraNode(const QVariantMap& removedCamera,
                                                                  const QString& stationId, int stationLevel);

    static QString removedCameraFolderId(const QString& stationId);
    static QString removedCameraId(const QString& stationId, const QString& camId);

    // Removes one leading "s_", "c_" or "d_" from a name sent by a server.
    static QString cleanDisplayName(const QString& name);
    // Passwords travel as hex text; text that is not valid hex decodes as far as it goes.
    static QString decodeHexText(const QVariant& hexText);
    static int nodeTypeFromText(const QString& nodeType);
};
