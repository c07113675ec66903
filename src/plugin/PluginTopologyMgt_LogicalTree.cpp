#include "PluginTopologyMgt.h"

#include "FrameworkWrapperBase.h"
#include "InputLimits.h"
#include "LogicalTreeFilterSortModelEx.h"
#include "LogicalTreeFolderModel.h"
#include "LogicalTreeIDFilterModel.h"
#include "LogicalTreeSortFilterModel.h"
#include "LogicalTreeTopologyDataModel.h"
#include "LogicalTreeValidCameraDataModel.h"
#include "NodeSubtree.h"

// The logical tree as the views reach it: edits are requests to the servers,
// the views are proxies over the tree joined with the device data, and local
// databases join it (or the standalone player's playlist) beside the servers'.

// ---- Logical tree ------------------------------------------------------------

void PluginTopologyMgt::retrieveLogicalTree()
{
    m_commander.retrieveLogicalTree();
}

void PluginTopologyMgt::setLogicalTreeSettingStatus(const QString& cameraNodeID, const QString& stationId, int status)
{
    m_logicalTree.setSettingStatusOfCamera(NodeSubtree::childId(stationId, cameraNodeID), status);
}

void PluginTopologyMgt::setLogicalTreeSettingStatus(const QString& treeId, int status)
{
    m_logicalTree.setSettingStatus(treeId, status);
}

// An edit the local tree could not show is not asked for: the servers would
// apply it, and the tree would then refuse their broadcast of it.
void PluginTopologyMgt::moveLogicalTreeNode(const QStringList& sourceIDList, const QString& destinationID)
{
    for (const QString& sourceId : sourceIDList) {
        if (!m_logicalTree.fitsWithinDepth(sourceId, destinationID)) {
            const InputLimits::Scope limits("PluginTopologyMgt::moveLogicalTreeNode", "request",
                                            QStringLiteral("moveLogicalTreeNode"));
            InputLimits::editRefused();
            emit moveLogicalTreeNodeResp(false);
            return;
        }
    }
    m_commander.sendLogicalTreeRequest(QStringLiteral("moveLogicalTreeNode"),
                                       QVariantMap{{QStringLiteral("moveSourceIDList"), sourceIDList},
                                                   {QStringLiteral("moveDestinationID"), destinationID}});
}

void PluginTopologyMgt::renameLogicalTreeFolder(const QString& treeNodeId, const QString& newName)
{
    m_commander.sendLogicalTreeRequest(QStringLiteral("renameLogicalTreeFolder"),
                                       QVariantMap{{QStringLiteral("treeNodeId"), treeNodeId},
                                                   {QStringLiteral("name"), newName}});
}

void PluginTopologyMgt::insertLogicalTreeFolder(const QString& folderName, const QString& parentFolderUid)
{
    if (!m_logicalTree.hasRoomForFolder(parentFolderUid)) {
        const InputLimits::Scope limits("PluginTopologyMgt::insertLogicalTreeFolder", "request",
                                        QStringLiteral("InsertFolderLogical"));
        InputLimits::editRefused();
        emit logicalTreeFolderInserted(false, QString());
        return;
    }
    m_commander.sendLogicalTreeRequest(QStringLiteral("InsertFolderLogical"),
                                       QVariantMap{{QStringLiteral("parentFolderUid"), parentFolderUid},
                                                   {QStringLiteral("newFolderName"), folderName}});
}

// Only folders and cameras are sent; other kinds in the selection are dropped.
void PluginTopologyMgt::removeLogicalTreeItem(const QStringList& treeIDs, bool bKeepContents)
{
    const LogicalTree::RemovingNodes selection = m_logicalTree.nodesToBeRemoved(treeIDs);
    m_commander.sendLogicalTreeRequest(QStringLiteral("removeLogicalTreeItem"),
                                       QVariantMap{{QStringLiteral("folderIDList"), selection.folderNodes},
                                                   {QStringLiteral("orphanIDList"), selection.cameraNodes},
                                                   {QStringLiteral("keepContents"), bKeepContents}});
}

void PluginTopologyMgt::addDeviceIntoLogicalTree(const QStringList& cameraNodeIdList, const QString& destinationId)
{
    m_commander.sendLogicalTreeRequest(QStringLiteral("addDeviceIntoLogicalTree"),
                                       QVariantMap{{QStringLiteral("addDeviceNodeIdList"), cameraNodeIdList},
                                                   {QStringLiteral("addDeviceDestinationId"), destinationId}});
}

void PluginTopologyMgt::addStationIntoLogicalTree(const QStringList& stationUIDList, const QStringList& stationNameList,
                                                  const QString& destinationId)
{
    m_commander.sendLogicalTreeRequest(QStringLiteral("addStationIntoLogicalTree"),
                                       QVariantMap{{QStringLiteral("addStationIdList"), stationUIDList},
                                                   {QStringLiteral("addStationNameList"), stationNameList},
                                                   {QStringLiteral("addStationDestinationId"), destinationId}});
}

void PluginTopologyMgt::getLogicalTreePathIds(const QVariantList& nodeIds)
{
    m_commander.sendLogicalTreeRequest(QStringLiteral("lookupLogicalTreePathIds"), nodeIds);
}

void PluginTopologyMgt::addLogicalTreeDefaultRootNode()
{
    m_logicalTree.createDefaultNodesForStandalonePlayer();
}

QVariantMap PluginTopologyMgt::getLogicalTreeMap() const
{
    return m_logicalTreeFeeder.withCameraNames(m_logicalTreeServerMap);
}

QVariant PluginTopologyMgt::logicalTreeInfoFrom(const QString& treeID, int role) const
{
    return m_logicalTree.data(treeID, role);
}

bool PluginTopologyMgt::existedInLogicalTree(const QString& cameraId) const
{
    return m_logicalTree.existed(cameraId);
}

// Unlike the other edits this one goes straight to the framework; its answer
// only says that the servers are done.
void PluginTopologyMgt::restoreUngroupedDevices()
{
    if (m_framework)
        m_framework->SendRequest(m_hostHandle, m_pluginId, QStringLiteral("restoreUngroupedDevices"), QVariant(),
                                 nullptr, false, QString());
}

// ---- Logical tree views ------------------------------------------------------

QAbstractItemModel* PluginTopologyMgt::getFullLogicalTreeModel()
{
    return m_topologyDataModel;
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeModel()
{
    return m_validCameraDataModel;
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeSortFilterModel(QObject* parent)
{
    auto* model = new LogicalTreeSortFilterModel(parent);
    model->setSourceModel(m_validCameraDataModel);
    return model;
}

// The tree filter library filters over our own sorted, filtered view; the
// inner view belongs to the outer one, so the caller's parent owns both.
QAbstractItemModel* PluginTopologyMgt::createAdvancedLogicalTreeModel(QObject* parent, bool showIoDevices)
{
    auto* advanced = new LogicalTreeFilterSortModelEx(parent);
    auto* inner = new LogicalTreeSortFilterModel(advanced);
    inner->showIONodesAndFolders(showIoDevices);
    inner->setSourceModel(m_validCameraDataModel);
    advanced->setSourceModel(inner);
    advanced->setDataRoleEnum(LogicalTreeModel::dataRole);
    return advanced;
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeAdvancedSortFilterModel(QObject* parent)
{
    return createAdvancedLogicalTreeModel(parent, false);
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeAdvancedSortFilterModelWithIODevices(QObject* parent)
{
    return createAdvancedLogicalTreeModel(parent, true);
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeFolderModel(QObject* parent)
{
    auto* model = new LogicalTreeFolderModel(parent);
    model->setSourceModel(m_validCameraDataModel);
    return model;
}

QAbstractItemModel* PluginTopologyMgt::getLogicalTreeIDFilterModel(QObject* parent, QAbstractItemModel* source)
{
    auto* model = new LogicalTreeIDFilterModel(parent);
    model->setSourceModel(source);
    return model;
}

// ---- Local databases and the standalone player -------------------------------

void PluginTopologyMgt::saveToLocationInfoMap(const QVariantMap& cameras)
{
    m_locations.addLocalDatabase(cameras);
}

QVariantMap PluginTopologyMgt::addRecordingPathToLocationMap(const QVariantMap& cameras, const QString& recPath) const
{
    return RecordingLocations::withRecordingPath(cameras, recPath);
}

void PluginTopologyMgt::addNewLocation(const QVariantMap& locInfoMap, const QString& recPath, const QString& localDBName)
{
    addNewLocalDB(addRecordingPathToLocationMap(locInfoMap, recPath), localDBName);
}

void PluginTopologyMgt::addNewLocalDB(const QVariantMap& cameras, const QString& localDBName)
{
    saveToLocationInfoMap(cameras);
    m_logicalTree.insertNewLocalDB(cameras, localDBName);
}

void PluginTopologyMgt::clearLocalDBLocations()
{
    m_logicalTree.removeAllLocalDB();
    m_locations.clearLocalDatabases();
}

bool PluginTopologyMgt::hasLocalDBNodes() const
{
    return m_logicalTree.hasLocalDBNodes();
}

QAbstractItemModel* PluginTopologyMgt::getStandalonePlayerLocalDBModel(QObject* parent)
{
    auto* model = new LogicalTreeSortFilterModel(parent);
    model->showLocalDBFolder(true);
    model->setSourceModel(m_playlist.getModel());
    return model;
}

void PluginTopologyMgt::addNewStandalonePlayerLocation(const QVariantMap& cameras, const QString& recPath,
                                                       const QString& localDBName)
{
    addNewStandalonePlayerLocalDB(addRecordingPathToLocationMap(cameras, recPath), localDBName);
}

void PluginTopologyMgt::addNewStandalonePlayerLocalDB(const QVariantMap& cameras, const QString& localDBName)
{
    saveToLocationInfoMap(cameras);
    m_playlist.appendLocalDB(cameras, localDBName);
}

void PluginTopologyMgt::clearStandalonePlayerLocalDB()
{
    m_playlist.clear();
}

bool PluginTopologyMgt::hasLocalDBNodesInStandalonePlayer() const
{
    return !m_playlist.isEmpty();
}
