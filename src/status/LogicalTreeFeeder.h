#pragma once

#include <QString>
#include <QVariant>

#include <vector>

class DeviceTree;
class LogicalTree;

// What the logical tree shows of the devices comes from the device tree: the
// servers' logical tree names no camera, camera broadcasts carry no DI/DO
// counts, and a station's own DI/DO and the external devices behind it appear
// in the logical tree as I/O devices.
class LogicalTreeFeeder
{
public:
    LogicalTreeFeeder(const DeviceTree& devices, LogicalTree& logicalTree);

    // The servers' tree ("nodeUID", "name", "children" on every level) with
    // each camera that has no name filled in from the device tree.
    QVariantMap withCameraNames(const QVariantMap& serverTree) const;
    // Camera broadcast entries ("camNodeUid") with their "diNum" and "doNum".
    QVariantList withDiDoCounts(const QVariantList& cameras) const;
    void insertCameras(const QVariantList& cameras);
    // Station records ("idRole", "nameRole", "diNameListRole", "doNameListRole").
    void insertStationIoDevices(const std::vector<QVariantMap>& stations);
    // The I/O devices of a station that is gone, wherever they wait.
    void removeStationIoDevices(const QString& stationId);

private:
    QVariantMap withCameraName(const QVariantMap& treeNode) const;

    const DeviceTree& m_devices;
    LogicalTree& m_logicalTree;
};
