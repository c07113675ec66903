#include "PluginTopologyMgt.h"

#include "ModuleLog.h"

// Broadcasts are routed by their exact, case-sensitive names (some of them
// misspelt or lower-case, as the servers send them). Every handler takes the
// event's payload only.
void PluginTopologyMgt::initialEventActionMap()
{
    using Self = PluginTopologyMgt;
    const auto bind = [this](void (Self::*handler)(const QVariant&)) -> EventAction {
        return [this, handler](const QVariant& notify) { (this->*handler)(notify); };
    };
    m_eventActionMap.emplace(QStringLiteral("NotifyCamInsertLogical"), bind(&Self::HandleBroadcastCamInsertLogical));
    m_eventActionMap.emplace(QStringLiteral("NotifyCamRemoveLogical"), bind(&Self::HandleBroadcastCamDeleteLogical));
    m_eventActionMap.emplace(QStringLiteral("notifyLogicalTreeNodeMoved"),
                             bind(&Self::HandleBroadcastMoveLogicalTreeNode));
    m_eventActionMap.emplace(QStringLiteral("NotifyFolderCreatedLogical"),
                             bind(&Self::HandleBroadcastInsertLogicalFolder));
    m_eventActionMap.emplace(QStringLiteral("nofifyRenameLogicalTreeFolder"),
                             bind(&Self::HandleBroadcastRenameLogicalTreeNode));
    m_eventActionMap.emplace(QStringLiteral("notifyRemoveLogicalTreeFolder"),
                             bind(&Self::HandleBroadcastRemoveLogicalTreeFolder));
    m_eventActionMap.emplace(QStringLiteral("FailoverStatusChange"), bind(&Self::HandleBroadcastFailoverStatusChanged));
    m_eventActionMap.emplace(QStringLiteral("NotifyWebPageChanged"), bind(&Self::HandleBroadcastWebPageChanged));
}

// ---- Logical tree broadcasts -----------------------------------------------

void PluginTopologyMgt::HandleBroadcastCamInsertLogical(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, notify is null", "PluginTopologyMgt::HandleBroadcastCamInsertLogical");
        return;
    }
    m_logicalTree.insertCameraNodes(addDiDoNumToLogicalTreeCameraData(notify.toList()));
}

void PluginTopologyMgt::HandleBroadcastCamDeleteLogical(const QVariant& notify)
{
    m_logicalTree.removeNodes(notify.toList());
}

void PluginTopologyMgt::HandleBroadcastMoveLogicalTreeNode(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, notify is null", "PluginTopologyMgt::HandleBroadcastMoveLogicalTreeNode");
        return;
    }
    const QVariantMap move = notify.toMap();
    m_logicalTree.moveNodes(move.value(QStringLiteral("moveSourceIDList")).toStringList(),
                            move.value(QStringLiteral("moveDestinationID")).toString());
    emit moveLogicalTreeNodeComplete();
}

void PluginTopologyMgt::HandleBroadcastInsertLogicalFolder(const QVariant& notify)
{
    const QVariantMap folder = notify.toMap();
    const bool inserted = m_logicalTree.insertFolder(folder);
    emit logicalTreeFolderInserted(inserted, folder.value(QStringLiteral("newFolderId")).toString());
}

void PluginTopologyMgt::HandleBroadcastRenameLogicalTreeNode(const QVariant& notify)
{
    const QVariantMap rename = notify.toMap();
    m_logicalTree.renameNode(rename.value(QStringLiteral("treeNodeId")).toString(),
                             rename.value(QStringLiteral("name")).toString());
}

void PluginTopologyMgt::HandleBroadcastRemoveLogicalTreeFolder(const QVariant& notify)
{
    if (notify.isNull()) {
        TOPOLOGY_LOG_ERROR("%s, notify is null", "PluginTopologyMgt::HandleBroadcastRemoveLogicalTreeFolder");
        return;
    }
    const QVariantMap removal = notify.toMap();
    const QStringList folders = removal.value(QStringLiteral("folderIDList")).toStringList();
    if (removal.value(QStringLiteral("keepContents")).toBool())
        m_logicalTree.removeFolderAndKeepChildren(folders);
    else
        m_logicalTree.removeNodes(folders);
    m_logicalTree.removeNodes(removal.value(QStringLiteral("orphanIDList")).toStringList());
}

// ---- Failover broadcasts -----------------------------------------------------

void PluginTopologyMgt::HandleBroadcastFailoverStatusChanged(const QVariant& notify)
{
    if (!m_failoverControl)
        return;
    m_failoverControl->announceTakenOverChange(notify);
    updateFailoverStatus(notify);
    m_failoverControl->announceFailoverStatusChange(notify);
}

// ---- Web page broadcasts -----------------------------------------------------

// Another client changed the list: it is replaced exactly as by a reply.
void PluginTopologyMgt::HandleBroadcastWebPageChanged(const QVariant& notify)
{
    if (replaceWebPages(notify))
        emit notifyWebPageChanged(notify.toList());
}
