#pragma once

#include "IdentifierIndex.h"
#include "LogicalTreeModel.h"
#include "LogicalTreeNodeBuilder.h"
#include "StandardItemMoveModel.h"

#include <QList>
#include <QObject>
#include <QPersistentModelIndex>
#include <QStringList>
#include <QVariant>

#include <vector>

class QStandardItem;

// The store of the user's logical tree: it owns the one LogicalTreeModel and
// offers the rest of the plug-in operations keyed by tree ID or camera ID, so
// that callers never hold items. Views attach to viewModel(), which shows the
// model row for row and announces moved nodes as moves, so that a moved node
// keeps its expansion and selection; the model itself does not hear of moves.
//
// A node found by ID is the first node, in a pre-order walk of the whole tree,
// whose idRole equals the text; the look-up is a hash find, not a walk. The nodes
// of a camera are every node whose cameraNodeIDRole equals the camera ID, found
// through the model's camera index.
//
// The empty text names no node and no camera: the root made by
// createDefaultNodes has no ID until the server's tree arrives, and a record
// that lacks its "uid" or "NodeId" must not remove or change the whole tree.
// Payloads are read defensively: entries of a list that are not maps are
// skipped, missing keys read as empty text or 0, and a missing or non-numeric
// "joystickKey" reads as -1 (no shortcut). Subtrees are built before they enter
// the model, so that views hear of one insertion per subtree. No node lies
// deeper than the depth limit (ModuleLimits.h): nodes, DI/DO and subtrees that
// would are left out, and a folder insertion or a move that would put anything
// there is refused.
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

    // The store, for callers that read or edit items directly.
    LogicalTreeModel* getModel();
    // What views attach to.
    QAbstractItemModel* viewModel();
    void clear();

    // Building
    // Adds nothing when the special folders are there already.
    void createDefaultNodes();
    void createDefaultNodesForStandalonePlayer();
    // Inserts each child of the server's root with all its descendants; without
    // a root, the server's root becomes the first top-level node.
    void set(const QVariantMap& tree, const QString& stationId);
    // A folder whose parent has no ID counts as top level.
    bool insertFolder(const QVariantMap& folder);
    // Each camera enters together with its DI/DO, which go to the node just
    // made even when an earlier node carries the same "uid".
    void insertCameraNodes(const QVariantList& cameras);
    // DI/DO rebuilt under an existing owner, like removed cameras, enter as one block.
    void insertCameraDiDoNodes(const std::vector<QVariantMap>& devices);
    // Devices may arrive in any order: a device whose "RelayPath" names no node
    // yet waits directly in the I/O folder, and moves under that node with
    // whatever is nested under it when the node arrives. A device announced
    // again is updated where it is (moved when its relay path names another
    // existing node), so the devices nested under it stay; its DI/DO rows are
    // rebuilt only when its port names change. Devices keep their relay path
    // under parentStationIDRole, which is how a waiting device is recognised. A
    // camera placed in a folder under a device's ID is left alone. Names given
    // with "RefName" are cleaned of their server prefix, here and in DI/DO renames.
    void insertIoDevices(const QVariantList& devices, LogicalTreeModel::LogicalTreeTypes type);
    void insertRemovedCameras(const QString& stationId, const QVariantList& cameras);
    // The folder enters together with its cameras; camera entries that are not
    // maps are skipped, and nothing is added without the local DB folder. Folder,
    // rename and local database names are kept as given.
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
    // Matches at a path boundary: "S_1" takes "S_1" and "S_1/..." but not
    // "S_10/..."; the empty prefix takes every device in the folder. Runs of
    // adjacent matching rows go in one notification each.
    void removeIoDevices(const QString& cameraIdPrefix);
    void removeIoDevices(const QString& stationId, const QStringList& nodeIds);

    // Field updates
    void renameNode(const QString& id, const QString& name);
    void setSettingStatus(const QString& id, int status);
    void setSettingStatusOfCamera(const QString& cameraId, int status);
    // Changes every matching child, should an owner have two DI (or DO) with one index.
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
    QModelIndex moveUnder(const QModelIndex& node, const QModelIndex& parent);
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
    StandardItemMoveModel m_viewModel;
    IdentifierIndex m_idIndex;
};
