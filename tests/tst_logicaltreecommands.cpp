#include "LogicalTreeModel.h"
#include "PluginTopologyMgt.h"
#include "QorbLogUtlStub.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

#include <QtTest>

// The user's edits of the logical tree leave as requests and come back as
// broadcasts; only the broadcasts change the tree.
class LogicalTreeCommandsTest : public QObject
{
    Q_OBJECT
private:
    struct Fixture
    {
        Fixture()
        {
            framework.setPlugin(&plugin);
            plugin.InitialPluginBase(nullptr, nullptr, &framework);
            plugin.PluginServerConnected();
            framework.clearRequests();
            // A login station with one camera that has two inputs and one output.
            reply(QStringLiteral("RetrieveLoginStationInfo"), QVariantMap{{QStringLiteral("stationName"), QStringLiteral("HQ")}});
            reply(QStringLiteral("RetrieveDeviceTopology"),
                  QVariantMap{{QStringLiteral("parentStationID"), QString()},
                              {QStringLiteral("nodeList"),
                               QVariantList{QVariantMap{{QStringLiteral("nodeUID"), QStringLiteral("C_1")},
                                                        {QStringLiteral("nodeName"), QStringLiteral("c_Gate")},
                                                        {QStringLiteral("nodeType"), QStringLiteral("Camera")},
                                                        {QStringLiteral("nodeIP"), QStringLiteral("10.0.0.5")},
                                                        {QStringLiteral("diCount"), 2},
                                                        {QStringLiteral("doCount"), 1}}}}});
            framework.clearRequests();
        }
        void reply(const QString& command, const QVariant& data, const QString& code = QStringLiteral("0"),
                   const QString& origin = QString())
        {
            plugin.CommandProcessor(command, data, nullptr, code, QString(), true, origin);
        }
        void broadcast(const QString& event, const QVariant& data) { framework.broadcast(event, data); }
        void retrieveTree()
        {
            reply(QStringLiteral("retrieveLogicalTree"), serverTree());
        }
        static QVariantMap folder(const char* id, const char* name, const QVariantList& children = {})
        {
            return {{QStringLiteral("treeNodeId"), id}, {QStringLiteral("name"), name},
                    {QStringLiteral("nodeUID"), QString()}, {QStringLiteral("children"), children}};
        }
        static QVariantMap camera(const char* treeId, const char* cameraId)
        {
            return {{QStringLiteral("treeNodeId"), treeId}, {QStringLiteral("name"), QString()},
                    {QStringLiteral("nodeUID"), cameraId}};
        }
        static QVariantMap serverTree()
        {
            return folder("ROOT", "Site", {folder("F1", "s_Lobby", {camera("T1", "C_1")}), folder("F2", "Yard")});
        }

        SimulatedFramework framework;
        PluginTopologyMgt plugin;
    };

    // The node with that tree ID, found the way a view would.
    static QModelIndex nodeOf(PluginTopologyMgt& plugin, const QString& treeId)
    {
        QAbstractItemModel* model = plugin.logicalTree().getModel();
        return model->match(model->index(0, 0), LogicalTreeModel::idRole, treeId, 1,
                            Qt::MatchRecursive | Qt::MatchExactly)
            .value(0);
    }

    static QVariantMap lastArguments(const SimulatedFramework& framework)
    {
        return framework.requests().last().arguments.toMap();
    }

private slots:
    void init() { QorbLogUtlStub::clear(); }

    void editsLeaveAsRequestsAndChangeNothing()
    {
        Fixture given;
        given.retrieveTree();
        QAbstractItemModelTester tester(given.plugin.logicalTree().getModel(),
                                        QAbstractItemModelTester::FailureReportingMode::Fatal);
        QSignalSpy changes(given.plugin.logicalTree().getModel(), &QAbstractItemModel::rowsInserted);

        given.plugin.moveLogicalTreeNode({QStringLiteral("T1")}, QStringLiteral("F2"));
        QCOMPARE(lastArguments(given.framework),
                 (QVariantMap{{QStringLiteral("moveSourceIDList"), QStringList{QStringLiteral("T1")}},
                              {QStringLiteral("moveDestinationID"), QStringLiteral("F2")}}));
        given.plugin.renameLogicalTreeFolder(QStringLiteral("F2"), QStringLiteral("Back yard"));
        QCOMPARE(lastArguments(given.framework),
                 (QVariantMap{{QStringLiteral("treeNodeId"), QStringLiteral("F2")},
                              {QStringLiteral("name"), QStringLiteral("Back yard")}}));
        given.plugin.insertLogicalTreeFolder(QStringLiteral("Gates"), QStringLiteral("F1"));
        QCOMPARE(lastArguments(given.framework),
                 (QVariantMap{{QStringLiteral("parentFolderUid"), QStringLiteral("F1")},
                              {QStringLiteral("newFolderName"), QStringLiteral("Gates")}}));
        given.plugin.removeLogicalTreeItem({QStringLiteral("F2"), QStringLiteral("T1"), QStringLiteral("nowhere")}, true);
        QCOMPARE(lastArguments(given.framework),
                 (QVariantMap{{QStringLiteral("folderIDList"), QStringList{QStringLiteral("F2")}},
                              {QStringLiteral("orphanIDList"), QStringList{QStringLiteral("T1")}},
                              {QStringLiteral("keepContents"), true}}));
        given.plugin.addDeviceIntoLogicalTree({QStringLiteral("C_1")}, QStringLiteral("F2"));
        QCOMPARE(lastArguments(given.framework),
                 (QVariantMap{{QStringLiteral("addDeviceNodeIdList"), QStringList{QStringLiteral("C_1")}},
                              {QStringLiteral("addDeviceDestinationId"), QStringLiteral("F2")}}));
        given.plugin.addStationIntoLogicalTree({QStringLiteral("S_1")}, {QStringLiteral("Depot")}, QStringLiteral("F1"));
        QCOMPARE(lastArguments(given.framework),
                 (QVariantMap{{QStringLiteral("addStationIdList"), QStringList{QStringLiteral("S_1")}},
                              {QStringLiteral("addStationNameList"), QStringList{QStringLiteral("Depot")}},
                              {QStringLiteral("addStationDestinationId"), QStringLiteral("F1")}}));
        const QVariantList path{QStringLiteral("T1"), 7};
        given.plugin.getLogicalTreePathIds(path);
        QCOMPARE(given.framework.requests().last().arguments, QVariant(path));
        given.plugin.restoreUngroupedDevices();
        QVERIFY(!given.framework.requests().last().arguments.isValid());

        QCOMPARE(given.framework.commandNames(),
                 (QStringList{QStringLiteral("moveLogicalTreeNode"), QStringLiteral("renameLogicalTreeFolder"),
                              QStringLiteral("InsertFolderLogical"), QStringLiteral("removeLogicalTreeItem"),
                              QStringLiteral("addDeviceIntoLogicalTree"), QStringLiteral("addStationIntoLogicalTree"),
                              QStringLiteral("lookupLogicalTreePathIds"), QStringLiteral("restoreUngroupedDevices")}));
        for (const RecordedRequest& request : given.framework.requests())
            QCOMPARE(request.context, nullptr);
        QCOMPARE(changes.count(), 0);
    }

    void answersReportSuccessOnly()
    {
        Fixture given;
        given.retrieveTree();
        QSignalSpy moved(&given.plugin, &PluginTopologyMgt::moveLogicalTreeNodeResp);
        QSignalSpy renamed(&given.plugin, &PluginTopologyMgt::renameFolderResponded);
        QSignalSpy removed(&given.plugin, &PluginTopologyMgt::removeLogicalTreeItemResp);
        QSignalSpy devices(&given.plugin, &PluginTopologyMgt::addDeviceIntoLogicalTreeResp);
        QSignalSpy stations(&given.plugin, &PluginTopologyMgt::addStationIntoLogicalTreeResp);
        QSignalSpy paths(&given.plugin, &PluginTopologyMgt::getLogicalTreePathIdsResponse);
        QSignalSpy restored(&given.plugin, &PluginTopologyMgt::restoreUngroupedDevicesFinished);
        QSignalSpy folders(&given.plugin, &PluginTopologyMgt::logicalTreeFolderInserted);

        given.reply(QStringLiteral("moveLogicalTreeNode"), QVariant(), QStringLiteral("0"));
        given.reply(QStringLiteral("moveLogicalTreeNode"), QVariant(), QStringLiteral("00"));
        given.reply(QStringLiteral("renameLogicalTreeFolder"), QStringLiteral("F2"), QStringLiteral("5"));
        given.reply(QStringLiteral("removeLogicalTreeItem"), QVariant(), QStringLiteral("0"));
        given.reply(QStringLiteral("addDeviceIntoLogicalTree"), QVariant(), QStringLiteral("1"));
        given.reply(QStringLiteral("addStationIntoLogicalTree"), QVariant(), QStringLiteral("0"));
        given.reply(QStringLiteral("lookupLogicalTreePathIds"), QVariantList{QStringLiteral("ROOT")}, QStringLiteral("9"));
        given.reply(QStringLiteral("restoreUngroupedDevices"), QVariant(), QStringLiteral("9"));
        given.reply(QStringLiteral("InsertFolderLogical"), QVariantMap{{QStringLiteral("newFolderId"), QStringLiteral("X")}});

        QCOMPARE(moved.count(), 2);
        QCOMPARE(moved.at(0).first().toBool(), true);
        QCOMPARE(moved.at(1).first().toBool(), false);
        QCOMPARE(renamed.first(), (QList<QVariant>{QStringLiteral("F2"), false}));
        QCOMPARE(removed.first().first().toBool(), true);
        QCOMPARE(devices.first().first().toBool(), false);
        QCOMPARE(stations.first().first().toBool(), true);
        QCOMPARE(paths.first().first().toList(), QVariantList{QStringLiteral("ROOT")});
        QCOMPARE(restored.count(), 1);
        QCOMPARE(folders.count(), 0);
        // Answering a move moves nothing: only the broadcast does.
        QCOMPARE(given.plugin.logicalTreeInfoFrom(QStringLiteral("T1"), LogicalTreeModel::idRole).toString(),
                 QStringLiteral("T1"));
        QCOMPARE(nodeOf(given.plugin, QStringLiteral("T1")).parent().data(LogicalTreeModel::idRole).toString(),
                 QStringLiteral("F1"));
    }

    void broadcastsChangeTheTree()
    {
        Fixture given;
        given.retrieveTree();
        QAbstractItemModelTester tester(given.plugin.logicalTree().getModel(),
                                        QAbstractItemModelTester::FailureReportingMode::Fatal);
        QSignalSpy moveComplete(&given.plugin, &PluginTopologyMgt::moveLogicalTreeNodeComplete);
        QSignalSpy folderInserted(&given.plugin, &PluginTopologyMgt::logicalTreeFolderInserted);
        const auto parentOf = [&](const QString& treeId) {
            const QModelIndex found = nodeOf(given.plugin, treeId);
            return found.isValid() ? found.parent().data(LogicalTreeModel::idRole).toString() : QStringLiteral("<gone>");
        };

        given.broadcast(QStringLiteral("NotifyFolderCreatedLogical"),
                        QVariantMap{{QStringLiteral("parentFolderUid"), QStringLiteral("F2")},
                                    {QStringLiteral("newFolderId"), QStringLiteral("F3")},
                                    {QStringLiteral("newFolderName"), QStringLiteral("Gates")}});
        given.broadcast(QStringLiteral("NotifyFolderCreatedLogical"),
                        QVariantMap{{QStringLiteral("parentFolderUid"), QStringLiteral("nowhere")},
                                    {QStringLiteral("newFolderId"), QStringLiteral("F4")}});
        QCOMPARE(folderInserted.at(0), (QList<QVariant>{true, QStringLiteral("F3")}));
        QCOMPARE(folderInserted.at(1), (QList<QVariant>{false, QStringLiteral("F4")}));
        QCOMPARE(parentOf(QStringLiteral("F3")), QStringLiteral("F2"));

        given.broadcast(QStringLiteral("notifyLogicalTreeNodeMoved"),
                        QVariantMap{{QStringLiteral("moveSourceIDList"), QStringList{QStringLiteral("T1")}},
                                    {QStringLiteral("moveDestinationID"), QStringLiteral("F3")}});
        QCOMPARE(moveComplete.count(), 1);
        QCOMPARE(parentOf(QStringLiteral("T1")), QStringLiteral("F3"));

        given.broadcast(QStringLiteral("nofifyRenameLogicalTreeFolder"),
                        QVariantMap{{QStringLiteral("treeNodeId"), QStringLiteral("F3")},
                                    {QStringLiteral("name"), QStringLiteral("Front gates")}});
        QCOMPARE(given.plugin.logicalTreeInfoFrom(QStringLiteral("F3"), LogicalTreeModel::nameRole).toString(),
                 QStringLiteral("Front gates"));

        // Removing a folder but keeping its contents lifts them one level up.
        given.broadcast(QStringLiteral("notifyRemoveLogicalTreeFolder"),
                        QVariantMap{{QStringLiteral("folderIDList"), QStringList{QStringLiteral("F3")}},
                                    {QStringLiteral("orphanIDList"), QStringList()},
                                    {QStringLiteral("keepContents"), true}});
        QCOMPARE(parentOf(QStringLiteral("F3")), QStringLiteral("<gone>"));
        QCOMPARE(parentOf(QStringLiteral("T1")), QStringLiteral("F2"));

        // A camera placed by broadcast gets its DI/DO from the device tree.
        given.broadcast(QStringLiteral("NotifyCamInsertLogical"),
                        QVariantList{QVariantMap{{QStringLiteral("uid"), QStringLiteral("T9")},
                                                 {QStringLiteral("camNodeUid"), QStringLiteral("C_1")},
                                                 {QStringLiteral("parentNodeId"), QStringLiteral("F1")}}});
        const QModelIndex placed = nodeOf(given.plugin, QStringLiteral("T9"));
        QVERIFY(placed.isValid());
        QCOMPARE(given.plugin.logicalTree().getModel()->rowCount(placed), 3);

        given.broadcast(QStringLiteral("NotifyCamRemoveLogical"),
                        QVariantList{QVariantMap{{QStringLiteral("uid"), QStringLiteral("T9")}}});
        QCOMPARE(parentOf(QStringLiteral("T9")), QStringLiteral("<gone>"));
        QVERIFY(given.plugin.existedInLogicalTree(QStringLiteral("C_1")));

        // Broadcasts without a payload are logged and change nothing.
        QorbLogUtlStub::clear();
        for (const char* event : {"NotifyCamInsertLogical", "notifyLogicalTreeNodeMoved", "notifyRemoveLogicalTreeFolder"})
            given.broadcast(QString::fromLatin1(event), QVariant());
        QCOMPARE(QorbLogUtlStub::messages(),
                 (QList<QByteArray>{"PluginTopologyMgt::HandleBroadcastCamInsertLogical, notify is null",
                                    "PluginTopologyMgt::HandleBroadcastMoveLogicalTreeNode, notify is null",
                                    "PluginTopologyMgt::HandleBroadcastRemoveLogicalTreeFolder, notify is null"}));
        QCOMPARE(moveComplete.count(), 1);
    }

    void retrievalKeepsTheServerMapAndFillsCameraNames()
    {
        Fixture given;
        given.reply(QStringLiteral("retrieveLogicalTree"), Fixture::serverTree(), QStringLiteral("0"), QStringLiteral("S_7"));
        given.reply(QStringLiteral("retrieveLogicalTree"), Fixture::folder("OTHER", "Other"), QStringLiteral("3"));

        QVERIFY(QorbLogUtlStub::messages().contains(
            "PluginTopologyMgt::HandleRetrieveLogicalTree, RetrieveLogicalTree return code : 3"));
        const QVariantMap map = given.plugin.getLogicalTreeMap();
        QCOMPARE(map.value(QStringLiteral("treeNodeId")).toString(), QStringLiteral("ROOT"));
        const QVariantMap lobbyCamera =
            map.value(QStringLiteral("children")).toList().at(0).toMap().value(QStringLiteral("children")).toList().at(0).toMap();
        QCOMPARE(lobbyCamera.value(QStringLiteral("name")).toString(), QStringLiteral("Gate"));
        QCOMPARE(lobbyCamera.value(QStringLiteral("ip")).toString(), QStringLiteral("10.0.0.5"));
        QCOMPARE(given.plugin.logicalTreeInfoFrom(QStringLiteral("F1"), LogicalTreeModel::nameRole).toString(),
                 QStringLiteral("Lobby"));
        QVERIFY(!nodeOf(given.plugin, QStringLiteral("OTHER")).isValid());
    }

    void connectionFillsAndDisconnectionClearsTheTree()
    {
        SimulatedFramework framework;
        SimulatedInstallation installation;
        QVERIFY(installation.loadFile(QString::fromLocal8Bit(qgetenv("TOPOLOGY_EXAMPLES_DIR"))
                                      + QStringLiteral("/sample-installation.json")));
        installation.attach(&framework);
        PluginTopologyMgt plugin;
        framework.setPlugin(&plugin);
        plugin.InitialPluginBase(nullptr, nullptr, &framework);
        QAbstractItemModelTester tester(plugin.logicalTree().getModel(),
                                        QAbstractItemModelTester::FailureReportingMode::Fatal);

        plugin.PluginServerConnected();
        QTRY_VERIFY(plugin.logicalTreeRetrieved() && plugin.nodeInfoRetrieved());
        QVERIFY(plugin.existedInLogicalTree(QStringLiteral("C_1")));
        QVERIFY(plugin.logicalTree().getModel()->rowCount() > 0);

        plugin.PluginServerDisconnected();
        QCOMPARE(plugin.logicalTree().getModel()->rowCount(), 0);
        QVERIFY(!plugin.existedInLogicalTree(QStringLiteral("C_1")));
        installation.detach();
    }
};

QTEST_MAIN(LogicalTreeCommandsTest)
#include "tst_logicaltreecommands.moc"
