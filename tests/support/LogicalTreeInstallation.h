#pragma once

#include "DeviceTree.h"
#include "LogicalTree.h"
#include "LogicalTreeTopologyDataModel.h"
#include "LogicalTreeValidCameraDataModel.h"
#include "StandardFailoverControl.h"

#include <QStringList>

// A node of the logical tree as the server sends it; a nameless one is a camera.
inline QVariantMap serverNode(const QString& treeId, const QString& name, const QString& nodeUid,
                              const QVariantList& children = {})
{
    return {{"treeNodeId", treeId}, {"name", name}, {"nodeUID", nodeUid}, {"children", children}};
}

// One installation for the suites of the logical tree's views: the device tree
// under the failover control, the logical tree, and the topology data model and
// valid-camera filter over them, wired as the plug-in wires them.
//
// Devices: R { R/C_1 Gate (ONVIF, PTZ, recording, bullet), R/C_2 Yard (VCA),
//   S1 (cloud, relay) { S1/C_1 Dock, S11 (offline) { S11/C_1 Shed },
//   S1/S12 (cloud, known by its relay path) { S1/S12/C_1 Crane } }, S2 { S2/C_1 Porch } }
// Logical: R Station { _REMOVED_CAMERAS_, _LOCAL_DB_, _IO_BOX_FID_ { S2/E_1 external device,
//   S2 station I/O }, F1 Lobby { T1 R/C_1, T2 S1/C_1 }, F2 annex { T3 R/C_1, T7 S11/C_1 { DI S11/C_1_0,
//   DO S11/C_1_1 } }, T4 S11/C_1, T5 Q/gone, T8 _SKYRCloud_/x, T9 S1/S12/C_1, T10 R/C_2,
//   T11 R/C_3 (no device yet), CLOUD (the cloud folder) }
struct LogicalTreeInstallation
{
    static QVariantMap station(const QString& id, const QString& name, const QString& cloudId = QString())
    {
        return {{"nodeUID", id}, {"nodeName", name}, {"nodeType", "Station"}, {"skyrCloudDeviceId", cloudId},
                {"skyrCloudDeviceConnectType", cloudId.isEmpty() ? 0 : 1}};
    }
    static QVariantMap camera(const QString& id, const QString& name)
    {
        return {{"nodeUID", id}, {"nodeName", name}, {"nodeType", "Camera"}};
    }
    static QVariantMap placement(const QString& treeId, const QString& parentId, const QString& cameraId, int diDo)
    {
        return {{"uid", treeId}, {"parentNodeId", parentId}, {"camNodeUid", cameraId}, {"diNum", diDo},
                {"doNum", diDo}};
    }

    LogicalTreeInstallation()
    {
        failover.setSourceModel(devices.getModel());
        topologyData.setSourceModel(logical.getModel());
        topologyData.setTopologyModel(&failover);
        validCameras.setSourceModel(&topologyData);
    }

    void buildDevices()
    {
        devices.insertLoginStation("s_Root", "10.0.0.1");
        devices.setDataMap(QString(), {{"idRole", "R"}, {"nodeIDRole", "R"}, {"connectedRole", true}});
        QVariantMap gate = camera("R/C_1", "c_Gate");
        gate.insert({{"brand", "ONVI"}, {"mechPtzCap", QVariantMap{{"suppPTZ", true}}}});
        devices.insertNewNodes("R", {gate, camera("R/C_2", "Yard"), station("S1", "Branch", "cloud-1"),
                                     station("S2", "Annex")});
        devices.insertNewNodes("S1", {camera("S1/C_1", "Dock"), station("S11", "Depot"),
                                      station("S1/S12", "Pier", "cloud-2")});
        devices.insertNewNodes("S11", {camera("S11/C_1", "Shed")});
        devices.insertNewNodes("S1/S12", {camera("S1/S12/C_1", "Crane")});
        devices.insertNewNodes("S2", {camera("S2/C_1", "Porch")});
        for (const QString& id : QStringList{"S1", "S1/S12", "S2", "R/C_1"})
            devices.setDataMap(id, {{"connectedRole", true}});
        devices.setDataMap("R/C_1", {{"camTypeRole", 2}, {"recordingRole", true}, {"processingStatusRole", 3},
                                     {"isUseEdgeRecordingRole", true}, {"edgeRecordingStreamRole", 2},
                                     {"supportEdgeRecordingRole", true}, {"hasEdgeRecordingFileRole", false}});
        devices.setDataMap("R/C_2", {{"isVCARole", true}});
    }

    void buildLogical()
    {
        logical.createDefaultNodes();
        logical.set(serverNode("R", "Station", "",
                               {serverNode("F1", "Lobby", "N1", {serverNode("T1", "", "R/C_1"), serverNode("T2", "", "S1/C_1")}),
                                serverNode("F2", "annex", "N2", {serverNode("T3", "", "R/C_1")}),
                                serverNode("T4", "", "S11/C_1"), serverNode("T5", "", "Q/gone"),
                                serverNode("T8", "", "_SKYRCloud_/x"), serverNode("T9", "", "S1/S12/C_1"),
                                serverNode("T10", "", "R/C_2"), serverNode("T11", "", "R/C_3"),
                                serverNode("CLOUD", "Cloud", "_SKYRCloud_")}),
                    QString());
        logical.insertCameraNodes({placement("T7", "F2", "S11/C_1", 1)});
        logical.insertIoDevices({QVariantMap{{"NodeID", "S2/E_1"}, {"RefName", "Box"}}},
                                LogicalTreeModel::ExternalDevice);
        logical.insertIoDevices({QVariantMap{{"NodeID", "S2"}, {"RefName", "Annex IO"}}},
                                LogicalTreeModel::StationIoDevice);
    }

    void build()
    {
        buildDevices();
        buildLogical();
    }

    DeviceTree devices;
    StandardFailoverControl failover;
    LogicalTree logical;
    LogicalTreeTopologyDataModel topologyData;
    LogicalTreeValidCameraDataModel validCameras;
};

// The first node in tree order with this tree ID. Rows without a column 0 (left
// by a removed column) are passed over.
inline QModelIndex findByTreeId(const QAbstractItemModel& model, const QString& id, const QModelIndex& parent = {})
{
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex node = model.index(row, 0, parent);
        if (!node.isValid())
            continue;
        if (node.data(LogicalTreeModel::idRole).toString() == id)
            return node;
        const QModelIndex found = findByTreeId(model, id, node);
        if (found.isValid())
            return found;
    }
    return QModelIndex();
}

// Rows as "treeId{children}", in the model's order; a node without a tree ID
// (the root before the server's tree arrives) as its name in brackets.
inline QString treeOutline(const QAbstractItemModel& model, const QModelIndex& parent = {})
{
    QStringList parts;
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex node = model.index(row, 0, parent);
        if (!node.isValid())
            continue;
        QString part = node.data(LogicalTreeModel::idRole).toString();
        if (part.isEmpty())
            part = '(' + node.data(LogicalTreeModel::nameRole).toString() + ')';
        if (model.rowCount(node) > 0)
            part += '{' + treeOutline(model, node) + '}';
        parts << part;
    }
    return parts.join(',');
}
