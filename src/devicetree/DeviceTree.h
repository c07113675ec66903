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
// Choices made where the behaviour was open:
// - One node per identifier, so that the identifier index finds every node.
//   An insertion of an identifier the tree already holds (an announcement
//   repeated, a second login station answer) writes the fields its record
//   carries onto that node and keeps the rest: status, camera information and
//   the nodes below it. When the announcement names another parent, the node
//   moves there with its subtree (one removal and one insertion for views), as
//   the latest announcement tells where it is now; when it names a node of
//   another kind, the new node replaces the old one. A topology answer
//   (insertNewNodes) replaces all of the parent's children and its later parts
//   (appendNewNodes) add to them; a node either names that sits elsewhere (for
//   a later part, also among the children already there) is removed from there
//   first; of two records with one identifier in one list the later one
//   counts, and a record naming the parent or a station above it is skipped. The login station is
//   the first top-level station, whatever its identifier has become. An
//   identifier written through setData or setDataMap that another node holds
//   is not taken.
// - camTypeRole holds a plain int wherever it is written from
//   (StandardTopologyModel::cameraTypeOf).
// - The empty identifier belongs to the login station alone. Records that would
//   make a node without an identifier (no "nodeUID", "stationUID" or "camID")
//   are skipped by the insertions, and camera-oriented updates (updateCameraInfo,
//   updateCameraStatus, updateExternalDevice) skip records with an empty
//   identifier. List entries that are not maps are skipped wherever records are
//   expected; insertNewNodes keeps the old children when no record is usable.
// - updateServerInfo and both updateStationInfo overloads write only the fields
//   their record carries, since those records come from several answers and
//   events; every other update writes all its roles, reading a missing key as
//   an empty value. Several roles of one node are always written in one change.
// - updateStationInfo decodes the hex passwords as station creation does.
// - updateDiDoNames applies change entries {"Idx": 1-based port, "RefName"} to
//   the stored lists; an index outside the list is ignored, and a list that
//   ends unchanged is not written.
// - updateSkyrCloudRelayTimeout never matches the empty device identifier,
//   which every station without a cloud device carries.
// - updateExternalDevice creates a device it does not know yet under its
//   station (found by "RelayPath"), placed like a camera; a known one is
//   updated in one change. Either way the device is marked connected and typed
//   as CameraExternalDevice; its port is kept as text, like a new camera's.
// - removeExternalDevice removes only nodes that are external devices and
//   children of the named station.
// - "Cameras" in the queries below are the camera nodes (nodeTypeRole
//   CameraNode) that are not external devices.
// - getMacListInBfsOrder leaves out cameras without a MAC address.
// - getNvrInfoList lists the NVR stations anywhere below the given station (not
//   the station itself), depth-first; "cameraNumber" counts the cameras
//   directly under each NVR, i.e. its channels.
// - getAllExternalDeviceInfoUnderSubstation lists the devices directly under
//   the station; "RelayPath" is the station's identifier.
// - getUpgradeStationList: "isTakenover" is the node's takenOverRole (false
//   unless set), "QELM" is true when the server model name (modelRole)
//   contains "QELM", ignoring case.
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

    // Building. The insertions that announce single nodes tell which
    // identifiers they added; a node the tree held already is not among them.
    bool insertLoginStation(const QString& name, const QString& ip);
    // Replaces the parent's children with the records' nodes; false, changing
    // nothing, when no record makes a node.
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
    void setData(const QString& id, int role, const QVariant& value);
    void setDataMap(const QString& id, const QVariantMap& valuesByRoleName);
    void setDataList(const QString& id, const RoleValueList& valuesByRoleName);
    void updateNodeName(const QString& id, const QString& name);
    void clear();

    // Updates from answers and broadcasts
    void updateCameraInfo(const std::vector<QVariantMap>& cameraInfos);
    void updateCameraStatus(const QVariantList& statuses);
    void updateDiDoNames(const std::vector<QVariantMap>& nameChanges);
    void updateDisplayName(const QVariantMap& record);
    void updateStationConnected(const QString& stationId, bool connected);
    void updateVCAProjection(const QString& cameraId, const QVariant& project);
    void updateSkyrCloudRelayTimeout(const QStringList& deviceIds, bool timedOut);
    void updateServerRelayInfo(const QVariantMap& record);
    void updateServerPort(const QVariantMap& record);
    void updateServerMulticastInfo(const QVariantMap& record);
    void updateServerInfo(const QString& stationId, const QVariantMap& serverInfo);
    void updateStationInfo(const QVariantMap& stationInfo);
    void updateStationInfo(const std::vector<QVariantMap>& stationRecords);
    void updateWifiStatus(const QVariantMap& record);
    void updateExternalDevice(const QVariantList& devices);

    // Removal
    void removeNodes(const QStringList& ids);
    void removeExternalDevice(const QString& stationId, const QStringList& deviceIds);
    void removeRemovedCameras(const QString& stationId, const QStringList& cameraIds);

    // Queries
    QVariantList getAllStationInfo() const;
    QVariantMap getAllStationNames() const;
    QStringList getAllStationRelayPath(bool includeNvr) const;
    QStringList getMacListInBfsOrder() const;
    QVariantList getNvrInfoList(const QString& stationId) const;
    QVariantMap getRootStationNameAndCameras() const;
    QVariantList getUpgradeStationList() const;
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
