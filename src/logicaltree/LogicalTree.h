#pragma once

#include "LogicalTreeIdIndex.h"
#include "LogicalTreeModel.h"
#include "LogicalTreeNodeBuilder.h"

#include <QList>
#include <QObject>
#include <QPersistentModelIndex>
#include <QStringList>
#include <QVariant>

#include <vector>

class QStandardItem;

// The store of the user's logical tree: it owns the one LogicalTreeModel and
// offers the rest of the plug-in operations keyed by tree ID or camera ID, so
// that callers never hold items. Every change reaches views through the model's
// ordinary notifications.
//
// A node found by ID is the first node, in a pre-order walk of the whole tree,
// whose idRole equals the text; the look-up is a hash find, not a walk. The nodes
// of a camera are every node whose cameraNodeIDRole equals the camera ID, found
// through the model's camera index.
//
// Choices made where the behaviour was open:
// - The empty text names no node and no camera: the root made by
//   createDefaultNodes has no ID until the server's tree arrives, and a record
//   that lacks its "uid" or "NodeId" must not remove or change the whole tree.
//   A folder whose parent has no ID counts as top level.
// - Payloads are read defensively: entries of a list that are not maps are
//   skipped, missing keys read as empty text or 0, and a missing or non-numeric
//   "joystickKey" reads as -1 (no shortcut).
// - Subtrees are built before they enter the model, so that views hear of one
//   insertion per subtree: set() inserts each child of the server's root with all
//   its descendants, a camera or I/O device enters together with its DI/DO, and
//   a new local database folder together with its cameras. Rows without children
//   (DI/DO rebuilt under an existing owner, removed cameras) enter as one block.
// - set() without a root appends the server's root as the first top-level node.
// - insertCameraNodes gives the DI/DO to the node it has just made, even when an
//   earlier node carries the same "uid".
// - Names given with "RefName" are cleaned of their server prefix wherever they
//   arrive (I/O devices and DI/DO renames); folder names from "newFolderName",
//   renames and local database names are kept as given.
// - insertNewLocalDB skips camera entries whose value is not a map, and adds
//   nothing when the local DB folder is missing.
// - I/O devices may arrive in any order: the node information of a sub-station
//   can be handled before its parent's. A device whose "RelayPath" names no
//   node yet waits directly in the I/O folder; when the node it names arrives,
//   it moves under it with whatever is nested under it. A device announced
//   again is updated where it is (moved when its relay path names another
//   existing node), so the devices nested under it stay; its DI/DO rows are
//   rebuilt only when its port names change. Devices keep their relay path
//   under parentStationIDRole, which is how a waiting device is recognised.
//   A camera placed in a folder under a device's ID is left alone.
// - createDefaultNodes adds nothing when the special folders are there already.
// - removeIoDevices(prefix) matches at a path boundary: "S_1" takes "S_1" and
//   "S_1/..." but not "S_10/..."; the empty prefix takes every device in the
//   folder. Runs of adjacent matching rows go in one notification each.
// - A camera-wide DI/DO update changes every matching child, should an owner
//   have two DI (or DO) with one index.
// - No node lies deeper than the depth limit (ModuleLimits.h): nodes, DI/DO and
//   subtrees that would are left out, and a folder insertion or a move that
//   would put anything there is refused.
class LogicalTree : public QObject
{
    Q_OBJECT
public:
    // A selection sorted for removal.
    struct RemovingNodes
    {
        QStringList cameraNodes;
        QStringList folderNodes;
    };

    static const QString kRemovedCamerasFolderId;
    static const QString kLocalDbFolderId;
    static const QString kIoDeviceFolderId;

    explicit LogicalTree(QObject* parent = nullptr);

    LogicalTreeModel* getModel();
    void clear();

    // Building
    void createDefaultNodes();
    void createDefaultNodesForStandalonePlayer();
    void set(const QVariantMap& tree, const QString& stationId);
    bool insertFolder(const QVariantMap& folder);
    void insertCameraNodes(const QVariantList& cameras);
    void insertCameraDiDoNodes(const std::vector<QVariantMap>& devices);
    void insertIoDevices(const QVariantList& devices, LogicalTreeModel::LogicalTreeTypes type);
    void insertRemovedCameras(const QString& stationId, const QVariantList& cameras);
    void insertNewLocalDB(const QVariantMap& localDb, const QString& name);
    void removeAllLocalDB();
    bool hasLocalDBNodes() const;

    // Moving and removing
    bool isValidMove(const QString& sourceId, const QString& destinationId) const;
    // Whether the node with everything below it would stay within the depth
    // limit (ModuleLimits.h) under the destination, and whether a new folder
    // would under the parent; true when either node is unknown, since nothing
    // can be said of those.
    bool fitsWithinDepth(const QString& sourceId, const QString& destinationId) const;
    bool hasRoomForFolder(const QString& parentId) const;
    void moveNodes(const QStringList& sourceIds, const QString& destinationId);
    RemovingNodes nodesToBeRemoved(const QStringList& ids) const;
    void removeNodes(const QStringList& ids);
    void removeNodes(const QVariantList& records);
    void removeFolderAndKeepChildren(const QStringList& folderIds);
    void removeIoDevices(const QString& cameraIdPrefix);
    void removeIoDevices(const QString& stationId, const QStringList& nodeIds);

    // Field updates
    void renameNode(const QString& id, const QString& name);
    void setSettingStatus(const QString& id, int status);
    void setSettingStatusOfCamera(const QString& cameraId, int status);
    void updateDiDoValues(const QVariantMap& event);
    void updateDiDoNames(const std::vector<QVariantMap>& changes);

    // Queries
    QVariant data(const QString& id, int role) const;
    bool existed(const QString& cameraId) const;

private:
    QModelIndex nodeById(const QString& id) const;
    QList<QPersistentModelIndex> nodesOfCamera(const QString& cameraId) const;
    QStandardItem* itemOrRoot(const QModelIndex& index) const;
    QString idOf(const QModelIndex& node) const;
    int typeOf(const QModelIndex& node) const;

    void appendChildren(const QModelIndex& parent, const QList<QStandardItem*>& children);
    void appendRows(QStandardItem* parent, const QList<QStandardItem*>& rows);
    void insertRows(QStandardItem* parent, int row, const QList<QStandardItem*>& rows);
    QPersistentModelIndex moveUnder(const QPersistentModelIndex& node, const QModelIndex& parent);
    QModelIndex ioDeviceNode(const QString& deviceId) const;
    void updateIoDevice(const QModelIndex& device, const LogicalTreeNodeBuilder& announced, const QModelIndex& parent,
                        const QStringList& diNames, const QStringList& doNames);
    void adoptWaitingIoDevices(const QString& deviceId);
    void replaceDiDoRows(const QModelIndex& owner, const QString& ownerId, const QStringList& diNames,
                         const QStringList& doNames);
    void removeNode(const QModelIndex& node);
    void replaceDiDoChildren(QStandardItem* owner, const QString& ownerId, const QStringList& diNames,
                             const QStringList& doNames);
    void setDiDoChildData(const QString& cameraId, int kind, int diDoIndex, const QVariant& value, int role);
    void setDataOfNode(const QModelIndex& node, const QVariant& value, int role);

    LogicalTreeModel m_model;
    LogicalTreeIdIndex m_idIndex;
};
