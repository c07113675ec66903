#pragma once

#include "IdentifierIndex.h"

#include <QList>
#include <QStandardItemModel>

// The item model of the user's logical tree: folders, cameras, DI/DO, I/O
// devices and local databases, one QStandardItem per node in column 0. It adds
// the role names published to the views, a whole-node read through dataRole, and
// a look-up of every placement of a camera by its camera ID that never walks the
// tree: every node that is not a folder is filed under its camera ID. Several
// nodes may share one camera ID and even one tree ID (the DI/DO of a camera
// placed twice); each is a placement of its own.
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

private:
    QVariantMap wholeNodeMap(const QStandardItem& item) const;

    IdentifierIndex m_nodesByCameraId;
};
