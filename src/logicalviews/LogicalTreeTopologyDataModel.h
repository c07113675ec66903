#pragma once

#include "SourceConnections.h"

#include <QHash>
#include <QIdentityProxyModel>
#include <QList>
#include <QMap>
#include <QPointer>
#include <QSet>
#include <QString>

class DataChangedBatch;

// The logical tree as the views read it: every node of the logical tree's model
// joined with what the device topology knows of the camera or device it stands
// for (its name, kinds, connection, recording, cloud relay, edge recording and
// take-over) and the icon name that follows from them. The logical tree keeps
// only identifiers, folder names and DI/DO levels; everything else is looked up
// here, by camera ID (cameraNodeIDRole) in the topology model's identifier index
// (match on idRole), on every read.
//
// Views are told exactly what changed. A change of topology data, topology rows
// inserted or removed, and a topology reset each end in dataChanged signals over
// the logical nodes of every affected camera, adjacent rows with the same roles
// joined, naming the logical roles whose values follow from the changed topology
// roles; logical nodes are found through the
// logical model's camera index (match on cameraNodeIDRole), never by a walk of
// the logical tree. A change of a station reaches the nodes of the cameras below
// it, and the DI/DO of those nodes, only for the roles that depend on the station.
// Changes of the logical model's own roles are passed on as they come, followed
// by one dataChanged naming the computed roles that depend on them.
class LogicalTreeTopologyDataModel : public QIdentityProxyModel
{
    Q_OBJECT
public:
    explicit LogicalTreeTopologyDataModel(QObject* parent = nullptr);

    void setSourceModel(QAbstractItemModel* sourceModel) override;
    // The device topology, normally the failover control over the device model,
    // so that take-over reaches the logical views. May be null. Another topology,
    // or none, resets a populated model: every computed value may change at once.
    void setTopologyModel(QAbstractItemModel* topologyModel);
    QAbstractItemModel* topologyModel() const;

    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    // The station part of a camera ID: its second-to-last "/" part, or empty.
    // Sub-stations may be known by their relay path instead (see stationNodeOf).
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
    void collectChangeOf(const QModelIndex& sourceIndex, QSet<int> roles, DataChangedBatch* batch) const;
    // Starts a reset when the logical tree has rows; returns whether it did.
    bool beginResetIfPopulated();

    QPointer<QAbstractItemModel> m_topology;
    SourceConnections m_topologyConnections;
    SourceConnections m_sourceConnections;
    // Cameras whose topology rows are being removed, announced once they are gone.
    CameraChanges m_pendingChanges;
};
