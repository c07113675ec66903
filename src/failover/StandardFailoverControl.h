#pragma once

#include <QHash>
#include <QList>
#include <QMap>
#include <QMetaObject>
#include <QSet>
#include <QSortFilterProxyModel>
#include <QStringList>
#include <QVariant>

// A view of the device tree that knows which stations redundant (failover)
// servers currently run for. Such a station and every node under it read as
// taken over, name the redundant server that runs for them and hand out that
// server's address in place of their own; without showRedundantServer the view
// also hides every redundant server that has ever reported.
//
// Failover status arrives as entries converted from the servers' XML:
//   {"Name": "F_12", "Status": "Standby"}
//   {"Name": "F_12", "Status": {"#text": "Running", "@Server": "F_3"}}
// Server names become identifiers by turning every "F_" into "S_", and nodes are
// compared by the last "/"-separated segment of their idRole only, so F_3 stands
// for the station S_3 wherever it sits in the tree.
//
// Views are told exactly what changed: when a station's take-over begins, ends
// or passes to another redundant server, one dataChanged per run of rows of the
// station's subtree names the rewritten roles that changed, and stations below
// it that are taken over in their own right are left out. The same happens when
// the row or address of a redundant server that is running for someone comes,
// goes or changes in the source. Nodes are found by segment through an index of
// source identifiers kept from the source's own row notifications; rows are then
// reached through the source's identifier look-up (match on idRole).
//
// Choices where the behaviour was open:
// - An entry that is not a map or has no "Name" is wrong data: it is logged and
//   changes nothing, so that no empty identifier is ever listed or hidden.
// - A "running" entry without "@Server" is kept in the taken-over map with an
//   empty value, but the empty segment of the login station is never taken
//   over by it.
// - When the redundant server's own row is not in the source, a taken-over
//   node keeps its own ipRole.
// - dataRole is rewritten only when the source answers it with a map.
// - match on idRole answers from the source's identifier index like the device
//   model itself (start, hits and flags ignored); a node this view hides is not
//   found. Other roles are matched by a walk over the rewritten data.
// - The filter is re-run only when it can change: when the redundant server
//   list grows while redundant servers are hidden, or when the flag flips.
class StandardFailoverControl : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    enum Status {
        NoMatch = 0,
        Standby = 1,
        Disabled = 2,
        Running = 3,
        Stopped = 4,
        GoingToRun = 5,
        GoingToStandby = 6,
    };
    Q_ENUM(Status)

    explicit StandardFailoverControl(QObject* parent = nullptr);
    explicit StandardFailoverControl(bool showRedundantServer, QObject* parent = nullptr);

    // Case-insensitive; NoMatch for every other word.
    static Status TransferToStatus(const QString& status);

    // Applies the entry under "GetFailoverStatusRes" (reply) or "FailoverStatusChg"
    // (event) of a status payload.
    void UpdateStatus(const QVariant& statusPayload);
    // Applies every entry, then re-filters and notifies once.
    void UpdateStatusList(const QList<QVariant>& entries);

    // The station the redundant server with this identifier runs for, or empty.
    QString GetActiveServerId(const QString& id) const;
    // Whether some redundant server runs for the station named by nodeId's last segment.
    bool IsStationTakenOver(const QString& nodeId) const;

    bool showRedundantServer() const { return m_showRedundantServer; }
    void setShowRedundantServer(bool show);
    // Ends every take-over (a lost server connection); the redundant servers stay listed.
    void clear();

    QStringList redundantServerList() const { return m_redundantServers; }
    QMap<QString, QString> takenOverMap() const { return m_takenOver; }

    // For the plug-in's handlers, which announce before and after applying a
    // message. The announcements read the entries that UpdateStatus and
    // UpdateStatusList would apply, and change nothing.
    //
    // The entries of a "GetRedundantServersStatus" reply; a lone entry map, as an
    // XML conversion makes of a one-element list, counts as a list of one.
    static QList<QVariant> statusEntryList(const QVariant& listPayload);
    // A "Status" value: the plain text, or the "#text" of its map.
    static QString statusTextOf(const QVariant& status);
    // A "Status" value: the "@Server" of its map, as received.
    static QString activeServerTextOf(const QVariant& status);
    // stationTakenOverChanged for the entry of a status payload, read against the
    // current state: call before the payload is applied.
    void announceTakenOverChange(const QVariant& statusPayload);
    // The same for each entry of a list, all against the current state.
    void announceTakenOverChanges(const QList<QVariant>& entries);
    // failoverStatusChanged with the entry's values as received.
    void announceFailoverStatusChange(const QVariant& statusPayload);

    void setSourceModel(QAbstractItemModel* sourceModel) override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QModelIndexList match(const QModelIndex& start, int role, const QVariant& value, int hits = 1,
                          Qt::MatchFlags flags = Qt::MatchFlags(Qt::MatchStartsWith | Qt::MatchWrap)) const override;

signals:
    // takenOver is true exactly when the entry's status reads "Running", case
    // and all; stationId is the entry's "@Server" as received, or, when the
    // entry has none, the station its redundant server ran for until now.
    void stationTakenOverChanged(const QString& stationId, bool takenOver);
    void failoverStatusChanged(const QString& redundantServerId, const QString& status,
                               const QString& activeServerId);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

private:
    // Taken-over station segment -> the redundant server that runs for it (the
    // first in the taken-over map's key order when several claim it).
    using TakerTable = QHash<QString, QString>;

    bool ParseStatusMap(const QVariant& entry);
    void publishChanges(const TakerTable& takersBefore, qsizetype listedBefore);
    void rebuildTakers();
    void announceEntry(const QVariant& entry);

    QString takerOf(const QModelIndex& sourceIndex) const;
    QVariant addressOf(const QString& redundantServer) const;
    QModelIndex sourceNodeById(const QString& id) const;
    QModelIndexList sourceNodesWithSegment(const QString& segment) const;

    void notifyTakerChanges(const TakerTable& takersBefore);
    void notifyAddressChange(const QString& redundantServer);
    void notifySubtree(const QModelIndex& sourceNode, const QList<int>& roles, const QSet<QString>& shielded);
    void notifyDescendants(const QModelIndex& sourceParent, const QModelIndex& proxyParent, const QList<int>& roles,
                           const QSet<QString>& shielded);
    void notifyRows(const QModelIndex& proxyParent, QList<int> rows, const QList<int>& roles);

    void indexRows(const QModelIndex& sourceParent, int first, int last, QSet<QString>* runningServersSeen);
    void unindexRows(const QModelIndex& sourceParent, int first, int last, QSet<QString>* runningServersSeen);
    void rebuildSegmentIndex();
    void followInsertedRows(const QModelIndex& sourceParent, int first, int last);
    void forgetRowsBeingRemoved(const QModelIndex& sourceParent, int first, int last);
    void followRemovedRows();
    void followSourceDataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles);

    bool m_showRedundantServer = true;
    QStringList m_redundantServers;
    // Redundant server -> the station it runs for, for every server whose last status was running.
    QMap<QString, QString> m_takenOver;
    TakerTable m_takerOf;
    QSet<QString> m_runningServers;
    // Last identifier segment -> the source identifiers that end in it.
    QHash<QString, QSet<QString>> m_idsBySegment;
    QSet<QString> m_serversLeaving;
    QList<QMetaObject::Connection> m_sourceConnections;
};
