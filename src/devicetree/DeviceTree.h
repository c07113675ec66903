#pragma once

#include "RowBlocks.h"
#include "StandardTopologyModel.h"
#include "TreeWalk.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPair>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <vector>

// The store of the physical topology: it owns the one device model and offers
// the rest of the plug-in operations keyed by node identifier, so that callers
// never hold items. Every change reaches views through the model's ordinary
// notifications; a node that is not found is silently left alone, except for the
// parent of insertNewNodes, whose absence is logged.
//
// Layouts of the camera descriptions for other plug-ins. A capability table maps
// the consumer's capability name to the field that answers it: a published role
// name, or otherwise a key of the camera's supportEventsRole map; the answer is a
// bool. Each camera is described as
//   {"nodeID", "name", "channel", "ip", "port", "brand", "model", "camType",
//    "connected", "recording", "capabilities": {consumer name: bool}}
// where "channel" is the number after a final "C_" of the identifier, 0 without
// one. Stations are keyed by their identifier (the login station's may be
// empty), cameras listed in row order:
// - getApiMap: station id -> {"stationName", "ip", "connected", "isNVR",
//   "cameras": [camera descriptions]}
// - getHMApiMap: station id -> {camera id -> camera description}
// - getTalvixApiMap: station id -> {channel as decimal text -> camera
//   description}; cameras without a channel number are left out, and of two
//   cameras on one channel the later row wins
// - getTalvixApiList: [{"stationID", "stationName", "channels": [camera
//   descriptions]}], stations depth-first
class DeviceTree : public QObject
{
    Q_OBJECT
public:
    using CapabilityTable = QMap<QString, QString>;
    using RoleValueList = QList<QPair<QString, QVariant>>;

    explicit DeviceTree(QObject* parent = nullptr);

    StandardTopologyModel* getModel();

    // Building. The tree holds one node per identifier, so that the identifier
    // index finds every node; the empty identifier is the login station's alone,
    // and records without one ("nodeUID", "stationUID", "camID") or that are no
    // map are skipped. The insertions that announce single nodes tell which
    // identifiers they added; a node the tree held already is not among them.
    // An announced node the tree holds already keeps its state and subtree and
    // takes only the fields its record carries; announced under another parent it
    // moves there whole (one removal and one insertion for views), and a node of
    // another kind under its identifier is replaced. The new nodes of one parent
    // go in as one block. A node is never placed under itself.
    //
    // The login station is the first top-level station, whatever its identifier
    // has become.
    bool insertLoginStation(const QString& name, const QString& ip);
    // Replaces the parent's children with the records' nodes; false, changing
    // nothing, when no record makes a node. A node listed that sits elsewhere is
    // taken from there; of two records with one identifier the later counts; a
    // record naming the parent or a station above it is skipped.
    bool insertNewNodes(const QString& parentId, const QVariantList& nodeRecords);
    // Adds the records' nodes after the parent's children, as the later parts
    // of a node list that arrives in parts do.
    bool appendNewNodes(const QString& parentId, const QVariantList& nodeRecords);
    QStringList insertNewStationNodes(const QVariantList& stationRecords);
    QStringList insertNewCameraNodes(const QVariantList& cameraRecords);
    void insertRemovedCameras(const QString& stationId, const QVariantList& removedCameras);

    // Field access
    bool contains(const QString& id) const;
    QVariant data(const QString& id, int role) const;
    QVariant data(const QString& id, const QString& roleName) const;
    QVariantMap getAllValues(const QString& roleName) const;
    // camTypeRole is always stored as a plain int (StandardTopologyModel::cameraTypeOf);
    // an identifier that another node holds is not taken. Several roles of one
    // node are written in one change.
    void setData(const QString& id, int role, const QVariant& value);
    void setDataMap(const QString& id, const QVariantMap& valuesByRoleName);
    void setDataList(const QString& id, const RoleValueList& valuesByRoleName);
    void updateNodeName(const QString& id, const QString& name);
    void clear();

    // Updates from answers and broadcasts. Camera updates skip records with an
    // empty identifier. updateServerInfo and both updateStationInfo overloads
    // write only the fields their record carries, as those records come from
    // several answers and events; the others write all their roles, a missing
    // key reading as an empty value.
    void updateCameraInfo(const std::vector<QVariantMap>& cameraInfos);
    void updateCameraStatus(const QVariantList& statuses);
    // Change entries {"Idx": 1-based port, "RefName"}; an index outside the list
    // is ignored, and a list that ends unchanged is not written.
    void updateDiDoNames(const std::vector<QVariantMap>& nameChanges);
    void updateDisplayName(const QVariantMap& record);
    void updateStationConnected(const QString& stationId, bool connected);
    void updateVCAProjection(const QString& cameraId, const QVariant& project);
    // Never matches the empty device identifier, which every station without a
    // cloud device carries.
    void updateSkyrCloudRelayTimeout(const QStringList& deviceIds, bool timedOut);
    void updateServerRelayInfo(const QVariantMap& record);
    void updateServerPort(const QVariantMap& record);
    void updateServerMulticastInfo(const QVariantMap& record);
    void updateServerInfo(const QString& stationId, const QVariantMap& serverInfo);
    void updateStationInfo(const QVariantMap& stationInfo);
    void updateStationInfo(const std::vector<QVariantMap>& stationRecords);
    void updateWifiStatus(const QVariantMap& record);
    // A device not known yet is made under its station ("RelayPath"), placed
    // like a camera; a known one changes in one notification. Either way it is
    // connected, typed CameraExternalDevice, and its port is kept as text.
    void updateExternalDevice(const QVariantList& devices);

    // Removal
    void removeNodes(const QStringList& ids);
    // Removal goes in one block per run of adjacent rows. removeExternalDevice
    // removes only external devices that are children of the station.
    void removeExternalDevice(const QString& stationId, const QStringList& deviceIds);
    void removeRemovedCameras(const QString& stationId, const QStringList& cameraIds);

    // Queries. "Cameras" are the camera nodes that are not external devices.
    QVariantList getAllStationInfo() const;
    QVariantMap getAllStationNames() const;
    QStringList getAllStationRelayPath(bool includeNvr) const;
    // Cameras without a MAC address are left out.
    QStringList getMacListInBfsOrder() const;
    // The NVR stations anywhere below the station (not itself), depth-first;
    // "cameraNumber" counts the cameras directly under each NVR, its channels.
    QVariantList getNvrInfoList(const QString& stationId) const;
    QVariantMap getRootStationNameAndCameras() const;
    // "isTakenover" is takenOverRole (false unless set); "QELM" is true when the
    // server model name contains "QELM", ignoring case.
    QVariantList getUpgradeStationList() const;
    // The devices directly under the station; "RelayPath" is its identifier.
    QVariantList getAllExternalDeviceInfoUnderSubstation(const QString& relayPath) const;
    bool hasStationOrCameraInRootStation() const;
    QVariantMap getApiMap(const CapabilityTable& capabilities) const;
    QVariantMap getHMApiMap(const CapabilityTable& capabilities) const;
    QVariantMap getTalvixApiMap(const CapabilityTable& capabilities) const;
    QVariantList getTalvixApiList(const CapabilityTable& capabilities) const;

private:
    bool insertNodes(const QString& parentId, const QVariantList& nodeRecords, bool replaceChildren);
    QModelIndex indexOf(const QString& id) const;
    QModelIndex indexOfCamera(const QString& id) const;
    QHash<QString, QModelIndex> indexOfSkyrCloudDevice(const QStringList& deviceIds) const;
    int roleOf(const QString& roleName) const;
    // Names that are not published roles all land in role 0.
    QMap<int, QVariant> valuesByRole(const QVariantMap& valuesByRoleName) const;
    void setItemData(const QString& id, const QMap<int, QVariant>& values);
    void writeRoles(const QModelIndex& index, QMap<int, QVariant> values);
    int firstStationNodeRow(const QModelIndex& parent) const;

    // Where an announced node goes among its parent's children.
    enum class Position { BeforeSubstations, Last };
    // True when the node was inserted, false when the tree held it already
    // (or it would have to go under itself).
    // A new node waits in `waiting`, so that the new nodes of one parent go in as one block.
    bool placeNode(std::unique_ptr<QStandardItem> node, const QModelIndex& parent, Position position,
                   const QList<int>& carriedRoles, RowBlocks& waiting);
    void moveNode(const QModelIndex& node, const QPersistentModelIndex& newParent, Position position,
                  const QStandardItem& announced, const QList<int>& carriedRoles);
    int rowFor(const QModelIndex& parent, Position position) const;
    RowBlocks::RowFor rowForPlacement() const;
    static QStringList newDiDoNameList(const QStringList& names, const QVariantList& changes);

    bool isStation(const QModelIndex& index) const;
    bool isCamera(const QModelIndex& index) const;
    bool isExternalDevice(const QModelIndex& index) const;
    template <typename Visit>
    void forEachNodeDepthFirst(const QModelIndex& parent, Visit&& visit) const;
    QModelIndexList stationsDepthFirst() const;
    QModelIndexList camerasOf(const QModelIndex& station) const;
    QVariantMap stationInfoOf(const QModelIndex& station) const;
    QVariantMap cameraDescription(const QModelIndex& camera, const CapabilityTable& capabilities) const;

    StandardTopologyModel m_model;
    QHash<QString, int> m_roleNumbers;
};

template <typename Visit>
void DeviceTree::forEachNodeDepthFirst(const QModelIndex& parent, Visit&& visit) const
{
    TreeWalk::forEachIndex(m_model, parent, 0, m_model.rowCount(parent) - 1, visit);
}
