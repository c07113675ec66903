#pragma once

#include <QStringList>

class DeviceSortFilterModel;
class EventDeviceModel;
class QAbstractItemModel;
class QObject;
class TreeToListProxyModel;

// Builds the device views that the plug-in hands out, each configured for one
// purpose. Every call makes a new proxy over the given source, owned by `parent`
// (which may be null: the caller then owns it). The event models get their
// capabilities before their source, so that the first filtering already uses
// them.
class DeviceModelFactory
{
public:
    // Everything but removed cameras and their folders.
    static DeviceSortFilterModel* createFilteredStandardTopologyModel(QAbstractItemModel* deviceModel,
                                                                      QObject* parent);
    // Cameras that analyse video for counting, with their stations.
    static DeviceSortFilterModel* createCountingCameraDeviceTreeModel(QAbstractItemModel* deviceModel,
                                                                      QObject* parent);
    // Over the failover control's topology model, with or without redundant
    // servers: the control filters those, this proxy the hidden nodes.
    static DeviceSortFilterModel* createFailoverTopologyModel(QAbstractItemModel* failoverTopology, QObject* parent);
    static DeviceSortFilterModel* createFailoverTopologyModelWithoutRedundantServer(
            QAbstractItemModel* failoverTopologyWithoutRedundantServers, QObject* parent);

    static EventDeviceModel* createGeneralDeviceModel(QAbstractItemModel* deviceModel, QObject* parent);
    static EventDeviceModel* createSmartVCADeviceModel(QAbstractItemModel* deviceModel, QObject* parent);
    static EventDeviceModel* createThermalDeviceModel(QAbstractItemModel* deviceModel, QObject* parent);
    static EventDeviceModel* createTrendMicroDeviceModel(QAbstractItemModel* deviceModel, QObject* parent);

    static TreeToListProxyModel* createTreeToListProxyModel(QAbstractItemModel* source, QObject* parent);

    // The event capabilities of the event models, in the order they are tested.
    static QStringList smartVCACameraCapabilities();
    static QStringList thermalCameraCapabilities();
    static QStringList trendMicroCameraCapabilities();
    static QStringList trendMicroStationCapabilities();

private:
    static DeviceSortFilterModel* createUnfiltered(QAbstractItemModel* source, QObject* parent);
    static EventDeviceModel* createEventModel(QAbstractItemModel* source, QObject* parent,
                                              const QStringList& cameraCapabilities,
                                              const QStringList& stationCapabilities);
};
