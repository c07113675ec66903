#pragma once

#include <QHash>
#include <QIdentityProxyModel>
#include <QList>
#include <QMap>
#include <QMetaObject>
#include <QPointer>
#include <QSet>
#include <QString>

// The logical tree as the views read it: every node of the logical tree's model
// joined with what the device topology knows of the camera or device it stands
// for (its name, kinds, connection, recording, cloud relay, edge recording and
// take-over) and the icon name that follows from them. The logical tree keeps
// only identifiers, folder names and DI/DO levels; everything else is looked up
// here, by camera ID (cameraNodeIDRole) in the topology model's identifier index
// (match on idRole), on every read.
//
// Views are told exactly what changed. A change of topology data, topology rows
// inserted or removed, and a topology reset each end in one dataChanged per
// logical node of every affected camera, naming the logical roles whose values
// follow from the changed topology roles; logical nodes are found through the
// logical model's camera index (match on cameraNodeIDRole), never by a walk of
// the logical tree. A change of a station reaches the nodes of the cameras below
// it, and the DI/DO of those nodes, only for the roles that depend on the station.
// Changes of the logical model's own roles are passed on as they come, followed
// by one dataChanged naming the computed roles that depend on them.
//
// Choices where the behaviour was open:
// - The station of a node is the second-to-last "/" part of its camera ID. Since
//   sub-stations may be known by their relay path, a station that is not found
//   under that part is looked up under the whole camera ID before its last "/".
// - A station is a cloud-relay device when its skyrCloudDeviceIdRole is a
//   non-empty text, the same test that sets the device's own
//   isSKYRCloudDeviceRole; its relay connection is up when it is a cloud-relay
//   device and its skyrCloudDeviceConnectTypeRole reads 1 (relay). 0, which a
//   station that never reported a connect type also reads, is a direct link.
// - A node sits behind a disconnected sub-station when, from its camera's device
//   node (or, for nodes the topology does not know, such as DI/DO, from its
//   station's node) up to the top, a station that is not a top-level one reads
//   connectedRole false. The login station is the connection itself and does not
//   count.
// - The empty camera ID names no device: folders never look up the login
//   station, whose identifier is empty until it is known.
// - "dataRole" is the logical model's map, to which the device's own whole-node
//   map (as the topology model hands it out, take-over fields included), the
//   capability flags of its supportEventsRole map (keys such as "suppPTZ") and
//   the four edge-recording fields under their device role names are added; a
//   key the logical map already has keeps the logical value, so "idRole" stays
//   the tree ID and a camera gains its device name under "nameRole". Then the
//   three keys "isSKYRCloudDeviceRole", "isSKYRCloudDeviceRelayConnectRole" and
//   "isSubstationDisconnectedRole" are present exactly when true (the device's
//   own cloud flag, which shares the first name, is left out).
// - Roles named in the re-emitted dataChanged: nameRole (for nodes without a name
//   of their own) for the device name; the logical role answered from each
//   changed device role (cameraTypeRole for camTypeRole, isConnectedRole for
//   connectedRole, and so on); dataRole when a changed device role feeds the
//   map above; displayIconRole when the node's kind takes its icon from a
//   changed role; for stations, isSubstationDisconnectedRole on every node below
//   a sub-station whose connection or kind changed, and the two cloud roles on
//   the nodes of its own cameras when its cloud fields changed. A changed
//   identifier, a change naming no role, inserted and removed topology rows and a
//   topology reset name every computed role (the cloud and sub-station roles only
//   where a station came or went).
// - Setting another topology model, or losing it, while the logical tree has
//   rows resets this model, since every computed value may change at once.
class LogicalTreeTopologyDataModel : public QIdentityProxyModel
{
    Q_OBJECT
public:
    explicit LogicalTreeTopologyDataModel(QObject* parent = nullptr);

    void setSourceModel(QAbstractItemModel* sourceModel) override;
    // The device topology, normally the failover control over the device model,
    // so that take-over reaches the logical views. May be null.
    void setTopologyModel(QAbstractItemModel* topologyModel);
    QAbstractItemModel* topologyModel() const;

    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    // The station part of a camera ID: its second-to-last "/" part, or empty.
    static QString stationIdOf(const QString& cameraId);

private:
    // The logical roles to announce for the nodes of one camera; stationRoles are
    // those that its DI/DO share because they follow from the camera's station.
    struct CameraChange
    {
        QSet<int> roles;
        QSet<int> stationRoles;
    };
    using CameraChanges = QMap<QString, CameraChange>;

    void onSourceModelDataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                  const QList<int>& roles);
    void onTopologyModelDataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                    const QList<int>& roles);
    void onTopologyModelRowsInserted(const QModelIndex& parent, int first, int last);
    void onTopologyModelRowsAboutToBeRemoved(const QModelIndex& parent, int first, int last);
    void onTopologyModelRowsRemoved();
    void onTopologyModelAboutToBeReset();
    void onTopologyModelReset();
    void onTopologyModelDestroyed();

    // Reads
    QModelIndex topologyNodeOf(const QString& id) const;
    QModelIndex stationNodeOf(const QString& cameraId) const;
    QVariant nameOf(const QModelIndex& sourceIndex) const;
    bool isCloudDevice(const QString& cameraId) const;
    bool isRelayConnected(const QString& cameraId) const;
    bool isBehindDisconnectedSubstation(const QString& cameraId) const;
    QString displayIconOf(const QModelIndex& sourceIndex) const;
    QVariantMap wholeNodeMap(const QModelIndex& sourceIndex) const;

    // Notifications
    void collectRows(const QModelIndex& parent, int first, int last, CameraChanges* changes) const;
    void collectSubtree(const QModelIndex& node, const QSet<int>& stationRoles, CameraChanges* changes) const;
    void collectStationChange(const QModelIndex& station, const QSet<int>& stationRoles,
                              CameraChanges* changes) const;
    void emitDataChangedOfAll(const CameraChanges& changes);
    void emitDataChangedOf(const QModelIndex& sourceIndex, QSet<int> roles);
    // Starts a reset when the logical tree has rows; returns whether it did.
    bool beginResetIfPopulated();

    QPointer<QAbstractItemModel> m_topology;
    QList<QMetaObject::Connection> m_topologyConnections;
    QMetaObject::Connection m_sourceConnection;
    // Cameras whose topology rows are being removed, announced once they are gone.
    CameraChanges m_pendingChanges;
};
