#include "StandardFailoverControl.h"

#include "ModuleLog.h"
#include "PayloadFields.h"
#include "StandardTopologyModel.h"
#include "TreeWalk.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

using Model = StandardTopologyModel;

const QString kReplyKey = QStringLiteral("GetFailoverStatusRes");
const QString kEventKey = QStringLiteral("FailoverStatusChg");
const QString kNameKey = QStringLiteral("Name");
const QString kStatusKey = QStringLiteral("Status");
const QString kStatusTextKey = QStringLiteral("#text");
const QString kServerKey = QStringLiteral("@Server");
const QString kIpField = QStringLiteral("ipRole");
const QString kTakenOverField = QStringLiteral("takenOverRole");
const QString kTakenOverIdField = QStringLiteral("takenOverIdRole");

using PayloadFields::isMap;

QString lastSegment(const QString& id)
{
    return id.mid(id.lastIndexOf(QLatin1Char('/')) + 1);
}

// Redundant servers report under names in which stations read "F_" for "S_".
QString serverIdOf(const QString& name)
{
    return QString(name).replace(QLatin1String("F_"), QLatin1String("S_"));
}

QString idOf(const QModelIndex& sourceIndex)
{
    return sourceIndex.data(Model::idRole).toString();
}

// The entry a status payload carries, or an invalid value.
QVariant statusEntryOf(const QVariant& statusPayload)
{
    if (!isMap(statusPayload))
        return QVariant();
    const QVariantMap payload = statusPayload.toMap();
    if (payload.contains(kReplyKey))
        return payload.value(kReplyKey);
    return payload.value(kEventKey);
}

// An entry must name its redundant server: an empty identifier would take the
// login station's empty segment for a redundant server.
bool isUsableEntry(const QVariant& entry)
{
    return isMap(entry) && !PayloadFields::text(entry.toMap().value(kNameKey)).isEmpty();
}

const QList<int>& allRewrittenRoles()
{
    static const QList<int> roles{Model::dataRole, Model::ipRole, Model::takenOverRole, Model::takenOverIdRole};
    return roles;
}

} // namespace

StandardFailoverControl::StandardFailoverControl(QObject* parent)
    : StandardFailoverControl(true, parent)
{
}

StandardFailoverControl::StandardFailoverControl(bool showRedundantServer, QObject* parent)
    : QSortFilterProxyModel(parent)
    , m_showRedundantServer(showRedundantServer)
{
}

StandardFailoverControl::Status StandardFailoverControl::TransferToStatus(const QString& status)
{
    static const QHash<QString, Status> statuses{
            {QStringLiteral("standby"), Standby},       {QStringLiteral("disabled"), Disabled},
            {QStringLiteral("running"), Running},       {QStringLiteral("stopped"), Stopped},
            {QStringLiteral("goingtorun"), GoingToRun}, {QStringLiteral("goingtostandby"), GoingToStandby},
    };
    return statuses.value(status.toLower(), NoMatch);
}

// --- Status ---------------------------------------------------------------

void StandardFailoverControl::UpdateStatus(const QVariant& statusPayload)
{
    const TakerTable takersBefore = m_takerOf;
    const qsizetype listedBefore = m_redundantServers.size();
    if (!ParseStatusMap(statusEntryOf(statusPayload))) {
        TOPOLOGY_LOG_ERROR("%s, wrong data", "StandardFailoverControl::UpdateStatus");
        return;
    }
    publishChanges(takersBefore, listedBefore);
}

void StandardFailoverControl::UpdateStatusList(const QList<QVariant>& entries)
{
    const TakerTable takersBefore = m_takerOf;
    const qsizetype listedBefore = m_redundantServers.size();
    for (const QVariant& entry : entries) {
        if (!ParseStatusMap(entry))
            TOPOLOGY_LOG_ERROR("%s, wrong data", "StandardFailoverControl::UpdateStatusList");
    }
    publishChanges(takersBefore, listedBefore);
}

bool StandardFailoverControl::ParseStatusMap(const QVariant& entry)
{
    if (!isUsableEntry(entry))
        return false;
    const QVariantMap fields = entry.toMap();
    const QString id = serverIdOf(PayloadFields::text(fields.value(kNameKey)));
    const QVariant statusValue = fields.value(kStatusKey);
    QString activeServer;
    Status status = NoMatch;
    if (isMap(statusValue)) {
        const QVariantMap statusFields = statusValue.toMap();
        activeServer = serverIdOf(PayloadFields::text(statusFields.value(kServerKey)));
        status = TransferToStatus(PayloadFields::text(statusFields.value(kStatusTextKey)));
    } else {
        status = TransferToStatus(PayloadFields::text(statusValue));
    }

    if (!m_redundantServers.contains(id))
        m_redundantServers.append(id);
    if (status == Running)
        m_takenOver.insert(id, activeServer);
    else
        m_takenOver.remove(id);
    return true;
}

void StandardFailoverControl::publishChanges(const TakerTable& takersBefore, qsizetype listedBefore)
{
    rebuildTakers();
    // The list only grows, so re-filtering can only hide rows, and only here.
    if (!m_showRedundantServer && m_redundantServers.size() != listedBefore)
        invalidateRowsFilter();
    notifyTakerChanges(takersBefore);
}

void StandardFailoverControl::rebuildTakers()
{
    m_takerOf.clear();
    m_runningServers.clear();
    for (auto entry = m_takenOver.cbegin(); entry != m_takenOver.cend(); ++entry) {
        if (entry.value().isEmpty() || m_takerOf.contains(entry.value()))
            continue;
        m_takerOf.insert(entry.value(), entry.key());
        m_runningServers.insert(entry.key());
    }
}

QString StandardFailoverControl::GetActiveServerId(const QString& id) const
{
    return m_takenOver.value(id);
}

bool StandardFailoverControl::IsStationTakenOver(const QString& nodeId) const
{
    return m_takerOf.contains(lastSegment(nodeId));
}

void StandardFailoverControl::setShowRedundantServer(bool show)
{
    if (show == m_showRedundantServer)
        return;
    m_showRedundantServer = show;
    invalidateRowsFilter();
}

void StandardFailoverControl::clear()
{
    const TakerTable takersBefore = m_takerOf;
    m_takenOver.clear();
    rebuildTakers();
    notifyTakerChanges(takersBefore);
}

// --- Announcements ----------------------------------------------------------

QList<QVariant> StandardFailoverControl::statusEntryList(const QVariant& listPayload)
{
    if (listPayload.typeId() == QMetaType::QVariantList)
        return PayloadFields::list(listPayload);
    if (isMap(listPayload))
        return {listPayload};
    return {};
}

QString StandardFailoverControl::statusTextOf(const QVariant& status)
{
    if (isMap(status))
        return PayloadFields::text(status.toMap().value(kStatusTextKey));
    return PayloadFields::text(status);
}

QString StandardFailoverControl::activeServerTextOf(const QVariant& status)
{
    if (!isMap(status))
        return QString();
    return PayloadFields::text(status.toMap().value(kServerKey));
}

void StandardFailoverControl::announceTakenOverChange(const QVariant& statusPayload)
{
    announceEntry(statusEntryOf(statusPayload));
}

void StandardFailoverControl::announceTakenOverChanges(const QList<QVariant>& entries)
{
    for (const QVariant& entry : entries)
        announceEntry(entry);
}

void StandardFailoverControl::announceEntry(const QVariant& entry)
{
    if (!isUsableEntry(entry))
        return;
    const QVariantMap fields = entry.toMap();
    const QVariant status = fields.value(kStatusKey);
    QString station = activeServerTextOf(status);
    // Without "@Server" the redundant server has stopped running for someone:
    // the station it ran for until now is released.
    if (station.isEmpty())
        station = GetActiveServerId(serverIdOf(PayloadFields::text(fields.value(kNameKey))));
    if (station.isEmpty())
        return;
    // Deliberately exact: listeners take only "Running" as sent for a take-over.
    emit stationTakenOverChanged(station, statusTextOf(status) == QLatin1String("Running"));
}

void StandardFailoverControl::announceFailoverStatusChange(const QVariant& statusPayload)
{
    const QVariant entry = statusEntryOf(statusPayload);
    if (!isUsableEntry(entry))
        return;
    const QVariantMap fields = entry.toMap();
    const QVariant status = fields.value(kStatusKey);
    emit failoverStatusChanged(PayloadFields::text(fields.value(kNameKey)), statusTextOf(status),
                               activeServerTextOf(status));
}

// --- Model ------------------------------------------------------------------

void StandardFailoverControl::setSourceModel(QAbstractItemModel* model)
{
    for (const QMetaObject::Connection& connection : std::as_const(m_sourceConnections))
        disconnect(connection);
    m_sourceConnections.clear();
    QSortFilterProxyModel::setSourceModel(model);
    if (model) {
        // Connected after the base class, so that the proxy already maps the
        // rows when these run.
        m_sourceConnections = {
                connect(model, &QAbstractItemModel::rowsInserted, this, &StandardFailoverControl::followInsertedRows),
                connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this,
                        &StandardFailoverControl::forgetRowsBeingRemoved),
                connect(model, &QAbstractItemModel::rowsRemoved, this, &StandardFailoverControl::followRemovedRows),
                connect(model, &QAbstractItemModel::dataChanged, this,
                        &StandardFailoverControl::followSourceDataChanged),
                connect(model, &QAbstractItemModel::modelReset, this, &StandardFailoverControl::rebuildSegmentIndex),
        };
    }
    rebuildSegmentIndex();
}

bool StandardFailoverControl::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const
{
    if (m_showRedundantServer)
        return true;
    const QModelIndex node = sourceModel()->index(sourceRow, 0, sourceParent);
    return !m_redundantServers.contains(lastSegment(idOf(node)));
}

QVariant StandardFailoverControl::data(const QModelIndex& index, int role) const
{
    if (!sourceModel()) {
        TOPOLOGY_LOG_ERROR("%s, source model not set", "StandardFailoverControl::data");
        return QVariant();
    }
    const QVariant value = QSortFilterProxyModel::data(index, role);
    if (!index.isValid())
        return value;
    switch (role) {
    case Model::takenOverRole:
        return !takerOf(mapToSource(index)).isEmpty();
    case Model::takenOverIdRole: {
        const QString taker = takerOf(mapToSource(index));
        return taker.isEmpty() ? value : QVariant(taker);
    }
    case Model::ipRole: {
        const QString taker = takerOf(mapToSource(index));
        const QVariant address = taker.isEmpty() ? QVariant() : addressOf(taker);
        return address.isValid() ? address : value;
    }
    case Model::dataRole: {
        if (!isMap(value))
            return value;
        QVariantMap fields = value.toMap();
        const QString taker = takerOf(mapToSource(index));
        if (!taker.isEmpty()) {
            const QVariant address = addressOf(taker);
            if (address.isValid())
                fields.insert(kIpField, address);
        }
        fields.insert(kTakenOverField, !taker.isEmpty());
        fields.insert(kTakenOverIdField, taker);
        return fields;
    }
    default:
        return value;
    }
}

QModelIndexList StandardFailoverControl::match(const QModelIndex& start, int role, const QVariant& value, int hits,
                                               Qt::MatchFlags flags) const
{
    if (!sourceModel()) {
        TOPOLOGY_LOG_ERROR("%s, source model not set", "StandardFailoverControl::match");
        return QModelIndexList();
    }
    if (role == Model::idRole) {
        const QModelIndex node = mapFromSource(sourceNodeById(value.toString()));
        return node.isValid() ? QModelIndexList{node} : QModelIndexList();
    }
    // The walk of the abstract model reads this view's data, rewritten roles included.
    return QAbstractItemModel::match(start, role, value, hits, flags);
}

QString StandardFailoverControl::takerOf(const QModelIndex& sourceIndex) const
{
    if (m_takerOf.isEmpty())
        return QString();
    for (QModelIndex node = sourceIndex; node.isValid(); node = node.parent()) {
        const auto taker = m_takerOf.constFind(lastSegment(idOf(node)));
        if (taker != m_takerOf.cend())
            return *taker;
    }
    return QString();
}

QVariant StandardFailoverControl::addressOf(const QString& redundantServer) const
{
    if (redundantServer.isEmpty())
        return QVariant();
    const QModelIndex server = sourceNodesWithSegment(redundantServer).value(0);
    return server.isValid() ? server.data(Model::ipRole) : QVariant();
}

QModelIndex StandardFailoverControl::sourceNodeById(const QString& id) const
{
    QAbstractItemModel* source = sourceModel();
    if (!source || source->rowCount() == 0)
        return QModelIndex();
    // The device model answers idRole from its identifier index whatever the
    // flags; they make any other source search its whole tree for the same answer.
    return source
            ->match(source->index(0, 0), Model::idRole, id, 1,
                    Qt::MatchFlags(Qt::MatchFixedString | Qt::MatchCaseSensitive | Qt::MatchRecursive))
            .value(0);
}

QModelIndexList StandardFailoverControl::sourceNodesWithSegment(const QString& segment) const
{
    const auto ids = m_idsBySegment.constFind(segment);
    if (ids == m_idsBySegment.cend())
        return QModelIndexList();
    // Sorted, so that of two nodes ending in one segment the same one answers first every time.
    QStringList sortedIds(ids->cbegin(), ids->cend());
    sortedIds.sort();
    QModelIndexList nodes;
    for (const QString& id : std::as_const(sortedIds)) {
        const QModelIndex node = sourceNodeById(id);
        if (node.isValid())
            nodes.append(node);
    }
    return nodes;
}

// --- Notifications ------------------------------------------------------------

void StandardFailoverControl::notifyTakerChanges(const TakerTable& takersBefore)
{
    QSet<QString> stations(takersBefore.keyBegin(), takersBefore.keyEnd());
    for (auto taker = m_takerOf.cbegin(); taker != m_takerOf.cend(); ++taker)
        stations.insert(taker.key());
    // A station taken over in its own right, before or after, keeps its subtree
    // out of an ancestor's change: either nothing changes there or it is
    // announced as a station of its own.
    const QSet<QString> shielded = stations;

    QStringList changedStations;
    for (const QString& station : std::as_const(stations)) {
        if (takersBefore.value(station) != m_takerOf.value(station))
            changedStations.append(station);
    }
    changedStations.sort();

    for (const QString& station : std::as_const(changedStations)) {
        const QString before = takersBefore.value(station);
        const QString after = m_takerOf.value(station);
        QList<int> roles{Model::dataRole};
        if (addressOf(before) != addressOf(after))
            roles.append(Model::ipRole);
        if (before.isEmpty() != after.isEmpty())
            roles.append(Model::takenOverRole);
        roles.append(Model::takenOverIdRole);
        for (const QModelIndex& node : sourceNodesWithSegment(station))
            notifySubtree(node, roles, shielded);
    }
}

void StandardFailoverControl::notifyAddressChange(const QString& redundantServer)
{
    const QSet<QString> shielded(m_takerOf.keyBegin(), m_takerOf.keyEnd());
    for (auto taker = m_takerOf.cbegin(); taker != m_takerOf.cend(); ++taker) {
        if (taker.value() != redundantServer)
            continue;
        for (const QModelIndex& node : sourceNodesWithSegment(taker.key()))
            notifySubtree(node, {Model::dataRole, Model::ipRole}, shielded);
    }
}

void StandardFailoverControl::notifySubtree(const QModelIndex& sourceNode, const QList<int>& roles,
                                            const QSet<QString>& shielded)
{
    const QModelIndex node = mapFromSource(sourceNode);
    if (!node.isValid())
        return;
    notifyRows(node.parent(), {node.row()}, roles);
    notifyDescendants(sourceNode, node, roles, shielded);
}

void StandardFailoverControl::notifyDescendants(const QModelIndex& sourceParent, const QModelIndex& proxyParent,
                                                const QList<int>& roles, const QSet<QString>& shielded)
{
    // Each level's rows are announced before the levels below them, in the
    // order recursion would take; the open parents wait on a stack because a
    // station chain may be thousands of levels deep.
    const QAbstractItemModel* source = sourceModel();
    std::vector<QPair<QModelIndex, QModelIndex>> pending{{sourceParent, proxyParent}};
    while (!pending.empty()) {
        const auto [parentInSource, parentInProxy] = pending.back();
        pending.pop_back();
        const int childCount = source->rowCount(parentInSource);
        QList<int> rows;
        QList<QPair<QModelIndex, QModelIndex>> followed;
        for (int row = 0; row < childCount; ++row) {
            const QModelIndex sourceChild = source->index(row, 0, parentInSource);
            if (shielded.contains(lastSegment(idOf(sourceChild))))
                continue;
            const QModelIndex child = mapFromSource(sourceChild);
            if (!child.isValid())
                continue;
            rows.append(child.row());
            followed.append({sourceChild, child});
        }
        if (rows.isEmpty())
            continue;
        notifyRows(parentInProxy, rows, roles);
        for (auto next = followed.crbegin(); next != followed.crend(); ++next)
            pending.push_back(*next);
    }
}

void StandardFailoverControl::notifyRows(const QModelIndex& proxyParent, QList<int> rows, const QList<int>& roles)
{
    if (rows.isEmpty())
        return;
    std::sort(rows.begin(), rows.end());
    const int lastColumn = columnCount(proxyParent) - 1;
    qsizetype runStart = 0;
    for (qsizetype i = 1; i <= rows.size(); ++i) {
        if (i < rows.size() && rows.at(i) == rows.at(i - 1) + 1)
            continue;
        emit dataChanged(index(rows.at(runStart), 0, proxyParent), index(rows.at(i - 1), lastColumn, proxyParent),
                         roles);
        runStart = i;
    }
}

// --- Segment index, kept from the source's notifications --------------------

void StandardFailoverControl::indexRows(const QModelIndex& sourceParent, int first, int last,
                                        QSet<QString>* runningServersSeen)
{
    TreeWalk::forEachIndex(*sourceModel(), sourceParent, first, last, [&](const QModelIndex& node) {
        const QString id = idOf(node);
        const QString segment = lastSegment(id);
        if (!id.isEmpty())
            m_idsBySegment[segment].insert(id);
        if (m_runningServers.contains(segment))
            runningServersSeen->insert(segment);
    });
}

void StandardFailoverControl::unindexRows(const QModelIndex& sourceParent, int first, int last,
                                          QSet<QString>* runningServersSeen)
{
    TreeWalk::forEachIndex(*sourceModel(), sourceParent, first, last, [&](const QModelIndex& node) {
        const QString id = idOf(node);
        const QString segment = lastSegment(id);
        const auto ids = m_idsBySegment.find(segment);
        if (ids != m_idsBySegment.end()) {
            ids->remove(id);
            if (ids->isEmpty())
                m_idsBySegment.erase(ids);
        }
        if (m_runningServers.contains(segment))
            runningServersSeen->insert(segment);
    });
}

void StandardFailoverControl::rebuildSegmentIndex()
{
    m_idsBySegment.clear();
    m_serversLeaving.clear();
    if (!sourceModel())
        return;
    QSet<QString> runningServersSeen;
    indexRows(QModelIndex(), 0, sourceModel()->rowCount() - 1, &runningServersSeen);
}

void StandardFailoverControl::followInsertedRows(const QModelIndex& sourceParent, int first, int last)
{
    QSet<QString> arrivedServers;
    indexRows(sourceParent, first, last, &arrivedServers);
    for (const QString& server : std::as_const(arrivedServers))
        notifyAddressChange(server);
}

void StandardFailoverControl::forgetRowsBeingRemoved(const QModelIndex& sourceParent, int first, int last)
{
    unindexRows(sourceParent, first, last, &m_serversLeaving);
}

void StandardFailoverControl::followRemovedRows()
{
    const QSet<QString> leftServers = std::exchange(m_serversLeaving, {});
    for (const QString& server : leftServers)
        notifyAddressChange(server);
}

void StandardFailoverControl::followSourceDataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                                      const QList<int>& roles)
{
    if (!topLeft.isValid())
        return;
    const bool identifierChanged = roles.isEmpty() || roles.contains(Model::idRole);
    const bool addressChanged = roles.isEmpty() || roles.contains(Model::ipRole);
    if (!identifierChanged && !addressChanged)
        return;
    const QSet<QString> shielded(m_takerOf.keyBegin(), m_takerOf.keyEnd());
    QSet<QString> serversWithNewAddress;
    for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
        const QModelIndex node = topLeft.siblingAtRow(row).siblingAtColumn(0);
        const QString id = idOf(node);
        const QString segment = lastSegment(id);
        if (identifierChanged) {
            // The entry of the old identifier stays behind; it no longer
            // resolves through the source, so it finds nothing.
            if (!id.isEmpty())
                m_idsBySegment[segment].insert(id);
            if (m_takerOf.contains(segment))
                notifySubtree(node, allRewrittenRoles(), shielded);
        }
        if (m_runningServers.contains(segment))
            serversWithNewAddress.insert(segment);
    }
    for (const QString& server : std::as_const(serversWithNewAddress))
        notifyAddressChange(server);
}
