#pragma once

#include "CameraStatusTable.h"
#include "DeviceTree.h"
#include "DiDoStateTable.h"
#include "IListToFileWriter.h"
#include "ListFileLocations.h"
#include "LogicalTree.h"
#include "LogicalTreeFeeder.h"
#include "NodeDataCommander.h"
#include "PluginBase.h"
#include "RecordingLocations.h"
#include "ReplyParts.h"
#include "RequestContextRegistry.h"
#include "StandalonePlayerPlaylist.h"
#include "StandardFailoverControl.h"
#include "TopologyPayloadParser.h"

#include <QHash>
#include <QMap>
#include <QSet>
#include <QSharedPointer>
#include <QString>
#include <QVariant>

#include <memory>
#include <vector>

class LogicalTreeTopologyDataModel;
class LogicalTreeValidCameraDataModel;
class WebPageTreeModelController;

class QAbstractItemModel;
class QQmlContext;

// The topology module as the host and the views see it: the host plug-in
// (replies and broadcasts come in through CommandProcessor/EventProcessor and
// are routed by name), the owner of the device tree and the retrieval, and the
// facade that QML reaches through properties, invokable operations and signals.
class PluginTopologyMgt : public PluginBase
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID PluginBase_iid FILE "PluginTopologyMgt.json")
    Q_INTERFACES(PluginBase)

    Q_PROPERTY(bool topologyRetrieved READ topologyRetrieved NOTIFY topologyRetrievedChanged)
    Q_PROPERTY(bool logicalTreeRetrieved READ logicalTreeRetrieved NOTIFY logicalTreeRetrievedChanged)
    Q_PROPERTY(bool locationRetrieved READ locationRetrieved NOTIFY locationRetrievedChanged)
    Q_PROPERTY(bool nodeInfoRetrieved READ nodeInfoRetrieved NOTIFY nodeInfoRetrievedChanged)
    Q_PROPERTY(bool serverInfoRetrieved READ serverInfoRetrieved NOTIFY serverInfoRetrievedChanged)
    Q_PROPERTY(bool camStatusRetrieved READ camStatusRetrieved NOTIFY camStatusRetrievedChanged)

public:
    PluginTopologyMgt();
    ~PluginTopologyMgt() override;

    // Host contract.
    bool InitialPluginBase(QQmlContext* context, void* handle, FrameworkWrapperBase* framework) override;
    void EventProcessor(QString event, qint64 eventTime, int eventKind, int eventSource, QVariant data,
                        const QString& target) override;
    void EventProcessorEx(QString event, ConfigBase* config, qint64 eventTime, int eventKind, int eventSource,
                          QVariant data, const QString& target) override;
    void CommandProcessor(QString command, QVariant respData, void* pvContext, QString returnCode, QString reserved,
                          bool completed, const QString& origin) override;
    void CommandProcessorEx(QString command, ConfigBase* config, QVariant respData, void* pvContext,
                            QString returnCode, QString reserved, bool completed, const QString& origin) override;
    bool Init(QQmlContext* context) override;
    void PluginServerConnected() override;
    void PluginServerDisconnected() override;

    bool topologyRetrieved() const;
    bool logicalTreeRetrieved() const;
    bool locationRetrieved() const;
    bool nodeInfoRetrieved() const;
    bool serverInfoRetrieved() const;
    bool camStatusRetrieved() const;

    QString clientId() const { return m_clientId; }

    // Names of the routed replies and broadcasts, sorted.
    QStringList commandHandlerNames() const;
    QStringList eventActionNames() const;

    // The one slot: the commander's requests leave through it.
    Q_SLOT void sendCommandToServer(const QString& requestName, const QVariant& requestArguments, void* pvContext,
                                    bool blockReq);

    // The operations the views call, in the order the QML surface lists them.
    // Retrieval.
    Q_INVOKABLE void retrieveDeviceTopology(const QString& stationId);
    Q_INVOKABLE void retrieveAllDeviceTopology(const QString& stationId);
    Q_INVOKABLE void retrieveLogicalTree();
    Q_INVOKABLE void getCameraStatus(const QString& stationId, const QString& cameraId);
    void retryQueryLocation();

    // Rules and server information.
    Q_INVOKABLE void updateVCARules();
    Q_INVOKABLE void getServerInfo();

    // Topology queries.
    Q_INVOKABLE QVariantList getCameraInfoList() const;
    Q_INVOKABLE QVariant cameraInfoFrom(const QString& camUID, const QString& roleName) const;
    Q_INVOKABLE QVariantMap cameraInfoMap(const QString& camUID) const;
    Q_INVOKABLE QVariant deviceInfoFrom(const QString& nodeId, const QString& roleName) const;
    Q_INVOKABLE void refreshCameraInfo(const QVariantMap& camera, bool refresh);

    // Device models and device-tree queries. Every getter but the first builds
    // a new proxy owned by the given parent.
    Q_INVOKABLE QAbstractItemModel* getStandardTopologyModel();
    Q_INVOKABLE QAbstractItemModel* getFilteredStandardTopologyModel(QObject* parent);
    Q_INVOKABLE QAbstractItemModel* getTrendMicroDeviceModel(QObject* parent);
    Q_INVOKABLE QAbstractItemModel* getSmartVCADeviceModel(QObject* parent);
    Q_INVOKABLE QAbstractItemModel* getThermalDeviceModel(QObject* parent);
    Q_INVOKABLE QAbstractItemModel* getGeneralDeviceModel(QObject* parent);
    Q_INVOKABLE QAbstractItemModel* getCountingCameraDeviceTreeModel(QObject* parent);
    Q_INVOKABLE QAbstractItemModel* getTreeToListProxyModel(QObject* parent, QAbstractItemModel* source);
    Q_INVOKABLE QVariantMap getValuesFromModel(int modelType, const QString& keyRoleName,
                                               const QString& valueRoleName) const;
    Q_INVOKABLE QVariant getValueFromModel(int modelType, const QString& idRole, const QString& roleName) const;
    Q_INVOKABLE QVariantMap getCameraNames() const;
    Q_INVOKABLE QVariantList getStationTree() const;
    Q_INVOKABLE QVariantMap getStationMap() const;
    Q_INVOKABLE QStringList getStationRelayPathList(bool includeNVR) const;
    Q_INVOKABLE QVariantList getLinuxNVRInfoList(const QString& stationId) const;
    Q_INVOKABLE QVariantMap getRootStationNameAndCameras() const;
    Q_INVOKABLE void setProcessingStatus(const QString& cameraId, const QString& stationId, int status);
    Q_INVOKABLE QStringList getCameraResolutionList(const QString& stationId, const QString& cameraId) const;
    Q_INVOKABLE QVariantMap getDeviceTreeMap() const;
    Q_INVOKABLE QVariantMap getHMDeviceTreeMap() const;
    Q_INVOKABLE QVariantList getTalvixChannelInfoList() const;
    Q_INVOKABLE QVariantMap getTalvixChannelInfo(const int& channel) const;
    Q_INVOKABLE QVariantList getUpgradeStationTreeList() const;
    // The on/off state of a node's digital inputs ("DI") or outputs ("DO"), in
    // port order; empty for any other kind and for a node without DI/DO.
    Q_INVOKABLE QVariantList didoNodeInfoFrom(const QString& nodeId, const QString& portKind) const;
    Q_INVOKABLE bool hasStationOrCameraInRootStation() const;
    Q_INVOKABLE bool existedInDeviceTree(const QString& nodeId) const;

    // Logical tree: edits are requests; the tree changes when the servers
    // broadcast them. The first two getters hand out the long-lived models; the
    // others build a new proxy owned by the given parent.
    Q_INVOKABLE QAbstractItemModel* getFullLogicalTreeModel();
    Q_INVOKABLE QAbstractItemModel* getLogicalTreeModel();
    Q_INVOKABLE QAbstractItemModel* getLogicalTreeSortFilterModel(QObject* parent);
    Q_INVOKABLE QAbstractItemModel* getLogicalTreeAdvancedSortFilterModel(QObject* parent);
    Q_INVOKABLE QAbstractItemModel* getLogicalTreeAdvancedSortFilterModelWithIODevices(QObject* parent);
    Q_INVOKABLE QAbstractItemModel* getLogicalTreeFolderModel(QObject* parent);
    Q_INVOKABLE QAbstractItemModel* getLogicalTreeIDFilterModel(QObject* parent, QAbstractItemModel* source);
    Q_INVOKABLE void setLogicalTreeSettingStatus(const QString& cameraNodeID, const QString& stationId, int status);
    Q_INVOKABLE void setLogicalTreeSettingStatus(const QString& treeId, int status);
    Q_INVOKABLE void moveLogicalTreeNode(const QStringList& sourceIDList, const QString& destinationID);
    Q_INVOKABLE void renameLogicalTreeFolder(const QString& treeNodeId, const QString& newName);
    Q_INVOKABLE void insertLogicalTreeFolder(const QString& folderName, const QString& parentFolderUid);
    Q_INVOKABLE void removeLogicalTreeItem(const QStringList& treeIDs, bool bKeepContents);
    Q_INVOKABLE void addDeviceIntoLogicalTree(const QStringList& cameraNodeIdList, const QString& destinationId);
    Q_INVOKABLE void addStationIntoLogicalTree(const QStringList& stationUIDList, const QStringList& stationNameList,
                                               const QString& destinationId);
    Q_INVOKABLE void getLogicalTreePathIds(const QVariantList& nodeIds);
    Q_INVOKABLE void addLogicalTreeDefaultRootNode();
    Q_INVOKABLE QVariantMap getLogicalTreeMap() const;
    Q_INVOKABLE QVariant logicalTreeInfoFrom(const QString& treeID, int role) const;
    Q_INVOKABLE bool existedInLogicalTree(const QString& cameraId) const;
    Q_INVOKABLE void restoreUngroupedDevices();

    // Failover.
    Q_INVOKABLE bool isStationTakenOver(const QString& stationID) const;
    Q_INVOKABLE QAbstractItemModel* getFailoverTopologyModel(QObject* parent);
    Q_INVOKABLE QAbstractItemModel* getFailoverTopologyModelWithoutRedundantServer(QObject* parent);

    // Web pages: requests go straight to the framework; the list comes back whole.
    Q_INVOKABLE QAbstractItemModel* getWebPageTreeSortFilterModel(QObject* parent);
    Q_INVOKABLE bool addWebPage(const QString& pageName, const QString& url, int iconType);
    Q_INVOKABLE bool removeWebPage(const QString& id);
    Q_INVOKABLE bool editWebPage(const QString& id, const QString& pageName, const QString& url, int iconType);
    Q_INVOKABLE bool getAllWebPage();
    Q_INVOKABLE QString queryWebPageName(const QString& id);
    Q_INVOKABLE QString queryWebPageUrl(const QString& id);
    Q_INVOKABLE int queryWebPageIconType(const QString& id) const;

    // Recording locations, by channel node identifier (relay path, "/", alias).
    // Local databases go into the logical tree's local DB folder; both feed the
    // location records.
    Q_INVOKABLE void addNewLocation(const QVariantMap& locInfoMap, const QString& recPath, const QString& localDBName);
    Q_INVOKABLE void addNewLocalDB(const QVariantMap& cameras, const QString& localDBName);
    Q_INVOKABLE void clearLocalDBLocations();
    Q_INVOKABLE bool hasLocalDBNodes() const;
    Q_INVOKABLE QString getCameraNameFromLocation(const QString& locationId, const QString& relayPath) const;
    Q_INVOKABLE QVariant locationDataFrom(const QString& nodeId, const QString& roleName) const;
    Q_INVOKABLE QVariantMap locationInfo(const QString& nodeId) const;
    Q_INVOKABLE void switchLocationID(const QString& nodeId, const QString& locationId);
    Q_INVOKABLE QString getCameraNameByLocID(const QString& nodeId, const QString& locationId) const;

    // The standalone player's playlist of local databases, and the list files.
    Q_INVOKABLE QAbstractItemModel* getStandalonePlayerLocalDBModel(QObject* parent);
    Q_INVOKABLE void addNewStandalonePlayerLocation(const QVariantMap& cameras, const QString& recPath,
                                                    const QString& localDBName);
    Q_INVOKABLE void addNewStandalonePlayerLocalDB(const QVariantMap& cameras, const QString& localDBName);
    Q_INVOKABLE void clearStandalonePlayerLocalDB();
    Q_INVOKABLE bool hasLocalDBNodesInStandalonePlayer() const;
    Q_INVOKABLE QString getStreamingUrlListFilePath();
    Q_INVOKABLE void generateStreamingUrlListFile(const QStringList& data);
    Q_INVOKABLE void generateMacListOfAllCamera(const QString& path);

    // Not for QML.
    void saveToLocationInfoMap(const QVariantMap& cameras);
    QVariantMap addRecordingPathToLocationMap(const QVariantMap& cameras, const QString& recPath) const;
    QString findNodeIDFromLocation(const QString& locationId) const;
    QVariantList parseRemovedCameras(const QVariantMap& locations) const;
    QStringList parseRemovingRemovedCameras(const QVariantList& removedLocations) const;
    std::vector<QVariantMap> parseDiDoRefNames(const QVariantList& items) const;

    // Replaceable collaborators, for hosts and tests.
    void setWebPageTreeModelController(std::shared_ptr<WebPageTreeModelController> controller);
    void setListToFileWriter(QSharedPointer<IListToFileWriter> writer);
    void setListFileLocations(const ListFileLocations& locations) { m_listFileLocations = locations; }

    // Topology payloads.
    QVariantMap createCameraInfoMap(const QVariantMap& cameraEntry, const QString& stationId) const;
    std::vector<QVariantMap> parseCamerasList(const QVariantList& cameras, const QString& stationId) const;
    std::vector<QVariantMap> parseStationsList(const QVariantList& stations) const;
    QList<RedundantStationInfo> allNonRedundantServerSubstations(const QVariantList& nodeList) const;
    QString decryptUrlString(const QString& text) const;
    QStringList generateDefaultDiDoNameList(const QString& prefix, int count) const;

    // What the status handlers last announced of a camera: "connectedRole",
    // "recordingRole", "useEdgeRecordingRole", "edgeRecordingStreamRole", "nameRole".
    QVariantMap cameraStatus(const QString& cameraId) const { return m_cameraStatuses.status(cameraId); }
    // Location identifier -> {"groupName", "streamIndex", "available"} of every
    // location that records the channel.
    QMap<QString, QVariantMap> streamInfo(const QString& nodeId) const { return m_locations.streams(nodeId); }

    LogicalTree& logicalTree() { return m_logicalTree; }
    DeviceTree& deviceTree() { return m_deviceTree; }
    const DeviceTree& deviceTree() const { return m_deviceTree; }

signals:
    void didoNodeChanged(const QString& nodeId);
    void updateVCARulesResp(const QString& stationId);
    void nodeInserted(const QString& nodeId);
    void standardNodeInserted(const QString& nodeId);
    void nodeStatusChanged(int type, const QString& nodeUID, bool connected);
    void cameraRecordingStatusChanged(const QString& cameraId, bool recording);
    void getCameraStatusResp(const QString& nodeID, const QVariant& camStatus);
    void moveLogicalTreeNodeResp(bool success);
    void moveLogicalTreeNodeComplete();
    void renameFolderResponded(const QString& treeNodeID, bool success);
    void removeLogicalTreeItemResp(bool success);
    void logicalTreeFolderInserted(bool success, const QString& newFolderID);
    void topologyRetrievedChanged(bool retrieved);
    void locationRetrievedChanged(bool retrieved);
    void nodeInfoRetrievedChanged(bool retrieved);
    void serverInfoRetrievedChanged(bool retrieved);
    void camStatusRetrievedChanged(bool retrieved);
    void logicalTreeRetrievedChanged(bool retrieved);
    void diStatusChanged(const QString& nodeId, int diIndex, bool bTrigger);
    void doStatusChanged(const QString& nodeId, int doIndex, bool bTrigger);
    void addDeviceIntoLogicalTreeResp(bool success);
    void addStationIntoLogicalTreeResp(bool success);
    void cameraNameChanged(const QString& cameraId, const QString& name);
    void cameraVCAProjectChanged(QString cameraId);
    void stationInserted(const QString& stationNodeId, const QString& stationName, const QString& parentNodeId);
    void stationRemoved(const QString& stationId);
    void deviceRemoved(const QString& deviceId);
    void stationConnectionStatusChanged(const QString& stationId, bool connected, bool isNVR);
    void stationWifiConnectionStatusChanged(const QString& stationId, bool connected);
    void stationNameChanged(const QString& stationId, const QString& name);
    void stationTakenOverChanged(const QString& stationId, bool takenOver);
    void failoverStatusChanged(const QString& redundantServerId, const QString& status, const QString& activeServerId);
    void getLogicalTreePathIdsResponse(const QVariantList& pathIds);
    void deviceInfoRetrieved(const QString& deviceId);
    void cameraAndStationConnectionStatusRetrieved();
    void refreshCameraInfoResp(bool completed, bool success, const QString& relayPath, const QString& camID);
    void getAllWebPageResp(const QVariantList& allWebPage);
    void notifyWebPageChanged(const QVariantList& webPages);
    void webPageChanged();
    void locationIDChanged(const QString& cameraId);
    void restoreUngroupedDevicesFinished();
    void serverDisconnected();

private:
    // One reply, or one part of it, as its handler sees it: this part's data,
    // or on the last part of a gathered reply the whole.
    struct Reply
    {
        QVariant data;
        void* context = nullptr;
        QString returnCode;
        ReplyPart part;
        QString origin;
        bool succeeded() const;
    };
    using ReplyHandler = void (PluginTopologyMgt::*)(const Reply&);
    using BroadcastHandler = void (PluginTopologyMgt::*)(const QVariant&);
    struct ReplyRoute
    {
        const char* name;
        // None when the reply carries nothing to act on.
        ReplyHandler handler;
        // Whether the handler applies each part of a successful reply itself;
        // otherwise it runs once, on the last part, with the parts gathered.
        bool takesParts;
    };
    struct BroadcastRoute
    {
        const char* name;
        BroadcastHandler handler;
        // What is logged instead of running the handler when the payload is
        // null; none where a null payload is simply read as empty.
        const char* nullPayloadLine;
    };
    // The routes by exact, case-sensitive name.
    static const QHash<QString, const ReplyRoute*>& replyRoutes();
    static const QHash<QString, const BroadcastRoute*>& broadcastRoutes();

    // Reply handlers.
    void HandleRetrieveDevTopology(const Reply& reply);
    void HandleRetrieveNodeInfo(const Reply& reply);
    void HandleRetrieveRuleInfo(const Reply& reply);
    void HandleRetrieveLoginStationInfo(const Reply& reply);
    void HandleRetrieveSrvInfo(const Reply& reply);
    void HandleExternalDevicesRetrieve(const Reply& reply);
    void HandleRetrieveLogicalTree(const Reply& reply);
    void HandleMoveLogicalTreeNode(const Reply& reply);
    void HandleRenameLogicalTreeFolder(const Reply& reply);
    void HandleRemoveLogicalTreeItem(const Reply& reply);
    void HandleAddDeviceIntoLogicalTree(const Reply& reply);
    void HandleAddStationIntoLogicalTree(const Reply& reply);
    void HandleLookupLogicalTreePathId(const Reply& reply);
    void HandleRestoreUngroupedDevices(const Reply& reply);
    void HandleGetFailoverStatus(const Reply& reply);
    void HandleGetRedundantServersStatus(const Reply& reply);
    void HandleGetAllWebPageResponse(const Reply& reply);
    void HandleQryLocationInfo(const Reply& reply);
    void HandleGetCameraStatusResp(const Reply& reply);
    void HandleGetAllDiDoRefname(const Reply& reply);
    void HandleGetSKYRCloudConnectionTimeoutList(const Reply& reply);
    void HandleGetWifiStatus(const Reply& reply);

    // Broadcast handlers.
    void HandleBroadcastCamInsertLogical(const QVariant& notify);
    void HandleBroadcastCamDeleteLogical(const QVariant& notify);
    void HandleBroadcastMoveLogicalTreeNode(const QVariant& notify);
    void HandleBroadcastInsertLogicalFolder(const QVariant& notify);
    void HandleBroadcastRenameLogicalTreeNode(const QVariant& notify);
    void HandleBroadcastRemoveLogicalTreeFolder(const QVariant& notify);
    void HandleBroadcastFailoverStatusChanged(const QVariant& notify);
    void HandleBroadcastWebPageChanged(const QVariant& notify);
    void HandleNotifyCamStatusChanged(const QVariant& notify);
    void HandleBroadcastStationStatus(const QVariant& notify);
    void HandleWifiStatus(const QVariant& notify);
    void handleNotifyEvent(const QVariant& notify);
    void HandleBroadcastDIDORefNameChange(const QVariant& notify);
    void HandleBroadcastSKYRCloudDeviceConnectionTimeout(const QVariant& notify);
    void HandleBroadcastSKYRCloudDeviceReconnected(const QVariant& notify);
    void HandleBroadcastCamInsert(const QVariant& notify);
    void HandleBroadcastCamChange(const QVariant& notify);
    void HandleBroadcastStationInsert(const QVariant& notify);
    void HandleBroadcastStationChange(const QVariant& notify);
    void HandleBroadcastStationInfoChange(const QVariant& notify);
    void HandleBroadcastSrvPortChange(const QVariant& notify);
    void HandleBroadcastRelayInfoChange(const QVariant& notify);
    void HandleBroadcastMulticastInfoChanged(const QVariant& notify);
    void HandleBroadcastExtDevRemove(const QVariant& notify);
    void HandleBroadcastNodeRemoved(const QVariant& notify);
    void HandleBroadcastChnlAdded(const QVariant& notify);
    void HandleBroadcastChnlRemoved(const QVariant& notify);
    void HandleBroadcastLocRemoved(const QVariant& notify);
    void HandleBroadcastLocationChange(const QVariant& notify);

    void handleDiDoEvent(const QString& nodeId, const QString& eventType, const QVariantMap& event);
    void handleCameraSettingsEvent(const QVariantMap& event);
    void emitDiDoNodeChangedSignal(const std::vector<QVariantMap>& records);
    void applyLocationAnswer(const QVariantMap& locations, ReplyPart part);
    void forgetNodes(const QStringList& nodeIds);
    void replaceRemovedCameras(const QString& stationId, const QVariantList& removedCameras);
    void removeRemovedCameras(const QString& stationId, const QStringList& cameraIds);
    bool replaceWebPages(const QVariant& pages);
    bool sendWebPageRequest(const QString& requestName, const QVariant& arguments);
    QAbstractItemModel* createAdvancedLogicalTreeModel(QObject* parent, bool showIoDevices);
    // Both failover controls follow every status report.
    void updateFailoverStatus(const QVariant& status);

    LogicalTreeTopologyDataModel* m_topologyDataModel = nullptr;
    LogicalTreeValidCameraDataModel* m_validCameraDataModel = nullptr;
    QSharedPointer<IListToFileWriter> m_listToFileWriter;
    ListFileLocations m_listFileLocations;
    // The failover control that shows redundant servers, and the one that hides them.
    StandardFailoverControl* m_failoverControl = nullptr;
    StandardFailoverControl* m_failoverControlWithoutRedundantServer = nullptr;
    // Every context handed out with a request, until its reply has ended.
    RequestContextRegistry m_requestContexts;
    // Where each reply in several parts stands.
    ReplyParts m_replyParts;
    // Stations whose node list the reply now arriving has already replaced.
    QSet<QString> m_nodeListsReplaced;
    NodeDataCommander m_commander;
    DeviceTree m_deviceTree;
    TopologyPayloadParser m_payloadParser{m_deviceTree};
    LogicalTree m_logicalTree;
    LogicalTreeFeeder m_logicalTreeFeeder{m_deviceTree, m_logicalTree};
    StandalonePlayerPlaylist m_playlist;
    // The last logical tree the servers sent, as sent; replaced by each successful retrieval.
    QVariantMap m_logicalTreeServerMap;
    // Camera identifier -> the camera information record built from the node information answers.
    QMap<QString, QVariantMap> m_cameraInfoMap;
    CameraStatusTable m_cameraStatuses;
    DiDoStateTable m_diDoStates;
    RecordingLocations m_locations{m_deviceTree};
    std::shared_ptr<WebPageTreeModelController> m_webPageController;
    QString m_clientId;
};
