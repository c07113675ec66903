#pragma once

#include <QList>
#include <QMap>
#include <QStandardItemModel>

// The item model of the user's logical tree: folders, cameras, DI/DO, I/O
// devices and local databases, one QStandardItem per node in column 0. It adds
// the role names published to the views, a whole-node read through dataRole, and
// a look-up of every placement of a camera by its camera ID that never walks the
// tree.
//
// The camera index follows the model's own notifications only: every node that
// is not a folder is filed under its camera ID and tree ID when rowsInserted
// reports it or any ancestor of it, and forgotten on rowsAboutToBeRemoved of it
// or an ancestor. A moved row (taken out and inserted again) therefore takes its
// DI/DO children out of and back into the index with it, and the index always
// holds exactly the non-folder nodes in the tree. Several nodes may share one
// camera ID and even one tree ID (the DI/DO of a camera placed twice); each is a
// placement of its own. A reset empties the index; a layout change (a sort, or an
// item replaced in place) and the removal of column 0 refile what is left.
// Changes of a node's data after insertion are not followed.
//
// The index holds the items themselves rather than persistent indexes: Qt
// visits every persistent index of a model on each row removal, so one per node
// would make every removal and every move cost a walk of the whole tree. Items
// keep their identity when a row is taken out and inserted elsewhere, and leave
// the model only in the ways listed above (deleting an item that is in the model
// bypasses all of them and is not supported).
class LogicalTreeModel : public QStandardItemModel
{
    Q_OBJECT
public:
    // Role numbers are part of the contract with the views. 257 to 267 are stored
    // in the items; dataRole and the roles from 268 on are computed, dataRole here
    // and the others by the topology data model over this one.
    enum LogicalTreeRoles {
        idRole = Qt::UserRole + 1,
        typeRole,
        nameRole,
        cameraNodeIDRole,
        dataRole,
        settingStatusRole,
        parentStationIDRole,
        diDoValueRole,
        diDoIndexRole,
        joystickKeyRole,
        nodeIDRole,
        cameraTypeRole,
        topologyNodeTypeRole,
        isRecordingRole,
        isConnectedRole,
        isSKYRCloudDeviceRole,
        isSKYRCloudDeviceRelayConnectRole,
        isSubstationDisconnectedRole,
        takenOverRole,
        processingStatusRole,
        brandRole,
        displayIconRole,
        isUseEdgeRecordingRole,
        edgeRecordingStreamRole,
        supportEdgeRecordingRole,
        hasEdgeRecordingFileRole,
    };
    Q_ENUM(LogicalTreeRoles)

    // Stored under typeRole.
    enum LogicalTreeTypes {
        Folder = 0,
        Camera = 1,
        DigitalInput = 2,
        DigitalOutput = 3,
        LocalDBCamera = 4,
        StationIoDevice = 5,
        ExternalDevice = 6,
    };
    Q_ENUM(LogicalTreeTypes)

    explicit LogicalTreeModel(QObject* parent = nullptr);

    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    // For cameraNodeIDRole the answer comes from the camera index: every node
    // filed under the value, ordered by tree ID (nodes sharing a tree ID in tree
    // order); start, hits and flags are ignored. Every other role is matched by
    // the base model.
    QModelIndexList match(const QModelIndex& start, int role, const QVariant& value, int hits = 1,
                          Qt::MatchFlags flags = Qt::MatchFlags(Qt::MatchStartsWith | Qt::MatchWrap)) const override;

    void clear();

protected:
    void genModelIndexMap(const QModelIndex& parent, int first, int last);
    void removeModelIndexMap(const QModelIndex& parent, int first, int last);

private:
    void fileRows(const QStandardItem* parent, int first, int last);
    void forgetRows(const QStandardItem* parent, int first, int last);
    void fileNode(QStandardItem* node);
    void unfileNode(QStandardItem* node);
    void forgetColumnZero(const QModelIndex& parent, int first, int last);
    void forgetAllCameras();
    void indexAllRows();
    QStandardItem* itemOrRoot(const QModelIndex& index) const;
    QVariantMap wholeNodeMap(const QStandardItem& item) const;

    // camera ID -> tree ID -> the nodes with both, usually one.
    QMap<QString, QMap<QString, QList<QStandardItem*>>> m_nodesByCameraId;
};
