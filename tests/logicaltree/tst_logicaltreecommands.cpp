#include "LogicalTreeInstallation.h"
#include "PluginTopologyMgt.h"
#include "QorbLogUtlStub.h"
#include "SampleConnection.h"
#include "TestSupport.h"

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
            // A login station with one camera that has two inputs and one output.
            reply("RetrieveLoginStationInfo", QVariantMap{{"stationName", "HQ"}});
            reply("RetrieveDeviceTopology",
                  QVariantMap{{"parentStationID", QString()},
                              {"nodeList", QVariantList{QVariantMap{{"nodeUID", "C_1"}, {"nodeName", "c_Gate"},
                                                                    {"nodeType", "Camera"}, {"nodeIP", "10.0.0.5"},
                                                                    {"diCount", 2}, {"doCount", 1}}}}});
            framework.clearRequests();
        }
        void reply(const QString& command, const QVariant& data, const QString& code = "0", const QString& origin = {})
        {
            plugin.CommandProcessor(command, data, nullptr, code, QString(), true, origin);
        }
        void broadcast(const QString& event, const QVariant& data) { framework.broadcast(event, data); }
        static QVariantMap serverTree()
        {
            return serverNode("ROOT", "Site", "", {serverNode("F1", "s_Lobby", "", {serverNode("T1", "", "C_1")}),
                                                   serverNode("F2", "Yard", "")});
        }
        // The parent of the node with that tree ID, found the way a view would.
        QString parentOf(const QString& treeId)
        {
            QAbstractItemModel* model = plugin.logicalTree().getModel();
            const QModelIndex node = model->match(model->index(0, 0), LogicalTreeModel::idRole, treeId, 1,
                                                  Qt::MatchRecursive | Qt::MatchExactly).value(0);
            return node.isValid() ? node.parent().data(LogicalTreeModel::idRole).toString() : "<gone>";
        }

        SimulatedFramework framework;
        PluginTopologyMgt plugin;
    };

private slots:
    void init() { QorbLogUtlStub::clear(); }

    void editsLeaveAsRequestsAndAnswersReportSuccessOnly()
    {
        Fixture given;
        given.reply("retrieveLogicalTree", Fixture::serverTree());
        QAbstractItemModelTester tester(given.plugin.logicalTree().getModel(),
                                        QAbstractItemModelTester::FailureReportingMode::Fatal);
        ModelNotificationRecorder changes(given.plugin.logicalTree().getModel(), LogicalTreeModel::idRole);

        given.plugin.moveLogicalTreeNode({"T1"}, "F2");
        given.plugin.renameLogicalTreeFolder("F2", "Back yard");
        given.plugin.insertLogicalTreeFolder("Gates", "F1");
        given.plugin.removeLogicalTreeItem({"F2", "T1", "nowhere"}, true);
        given.plugin.addDeviceIntoLogicalTree({"C_1"}, "F2");
        given.plugin.addStationIntoLogicalTree({"S_1"}, {"Depot"}, "F1");
        given.plugin.getLogicalTreePathIds({"T1", 7});
        given.plugin.restoreUngroupedDevices();

        QCOMPARE(given.framework.commandNames(),
                 (QStringList{"moveLogicalTreeNode", "renameLogicalTreeFolder", "InsertFolderLogical",
                              "removeLogicalTreeItem", "addDeviceIntoLogicalTree", "addStationIntoLogicalTree",
                              "lookupLogicalTreePathIds", "restoreUngroupedDevices"}));
        const QVariantList expected{
                QVariantMap{{"moveSourceIDList", QStringList{"T1"}}, {"moveDestinationID", "F2"}},
                QVariantMap{{"treeNodeId", "F2"}, {"name", "Back yard"}},
                QVariantMap{{"parentFolderUid", "F1"}, {"newFolderName", "Gates"}},
                QVariantMap{{"folderIDList", QStringList{"F2"}}, {"orphanIDList", QStringList{"T1"}}, {"keepContents", true}},
                QVariantMap{{"addDeviceNodeIdList", QStringList{"C_1"}}, {"addDeviceDestinationId", "F2"}},
                QVariantMap{{"addStationIdList", QStringList{"S_1"}}, {"addStationNameList", QStringList{"Depot"}},
                            {"addStationDestinationId", "F1"}},
                QVariantList{"T1", 7},
                QVariant()};
        for (int i = 0; i < expected.size(); ++i) {
            QCOMPARE(given.framework.requests().at(i).arguments, expected.at(i));
            QCOMPARE(given.framework.requests().at(i).context, nullptr);
        }

        // when the answers come, then only success is reported, and nothing in the tree changes
        QSignalSpy moved(&given.plugin, &PluginTopologyMgt::moveLogicalTreeNodeResp);
        QSignalSpy renamed(&given.plugin, &PluginTopologyMgt::renameFolderResponded);
        QSignalSpy removed(&given.plugin, &PluginTopologyMgt::removeLogicalTreeItemResp);
        QSignalSpy devices(&given.plugin, &PluginTopologyMgt::addDeviceIntoLogicalTreeResp);
        QSignalSpy stations(&given.plugin, &PluginTopologyMgt::addStationIntoLogicalTreeResp);
        QSignalSpy paths(&given.plugin, &PluginTopologyMgt::getLogicalTreePathIdsResponse);
        QSignalSpy restored(&given.plugin, &PluginTopologyMgt::restoreUngroupedDevicesFinished);
        QSignalSpy folders(&given.plugin, &PluginTopologyMgt::logicalTreeFolderInserted);
        given.reply("moveLogicalTreeNode", QVariant(), "0");
        given.reply("moveLogicalTreeNode", QVariant(), "00");
        given.reply("renameLogicalTreeFolder", "F2", "5");
        given.reply("removeLogicalTreeItem", QVariant(), "0");
        given.reply("addDeviceIntoLogicalTree", QVariant(), "1");
        given.reply("addStationIntoLogicalTree", QVariant(), "0");
        given.reply("lookupLogicalTreePathIds", QVariantList{"ROOT"}, "9");
        given.reply("restoreUngroupedDevices", QVariant(), "9");
        given.reply("InsertFolderLogical", QVariantMap{{"newFolderId", "X"}});

        QCOMPARE(SampleConnection::texts(moved), (QStringList{"true", "false"}));
        QCOMPARE(renamed.first(), (QList<QVariant>{"F2", false}));
        QCOMPARE(removed.first().first().toBool(), true);
        QCOMPARE(devices.first().first().toBool(), false);
        QCOMPARE(stations.first().first().toBool(), true);
        QCOMPARE(paths.first().first().toList(), QVariantList{"ROOT"});
        QCOMPARE(restored.count(), 1);
        QCOMPARE(folders.count(), 0);
        QCOMPARE(changes.lines(), QStringList());
        QCOMPARE(given.parentOf("T1"), QString("F1"));
    }

    void broadcastsChangeTheTree()
    {
        Fixture given;
        given.reply("retrieveLogicalTree", Fixture::serverTree());
        QAbstractItemModelTester tester(given.plugin.logicalTree().getModel(),
                                        QAbstractItemModelTester::FailureReportingMode::Fatal);
        QSignalSpy moveComplete(&given.plugin, &PluginTopologyMgt::moveLogicalTreeNodeComplete);
        QSignalSpy folderInserted(&given.plugin, &PluginTopologyMgt::logicalTreeFolderInserted);

        given.broadcast("NotifyFolderCreatedLogical",
                        QVariantMap{{"parentFolderUid", "F2"}, {"newFolderId", "F3"}, {"newFolderName", "Gates"}});
        given.broadcast("NotifyFolderCreatedLogical", QVariantMap{{"parentFolderUid", "nowhere"}, {"newFolderId", "F4"}});
        QCOMPARE(SampleConnection::texts(folderInserted), (QStringList{"true F3", "false F4"}));
        QCOMPARE(given.parentOf("F3"), QString("F2"));

        given.broadcast("notifyLogicalTreeNodeMoved", QVariantMap{{"moveSourceIDList", QStringList{"T1"}},
                                                                  {"moveDestinationID", "F3"}});
        QCOMPARE(moveComplete.count(), 1);
        QCOMPARE(given.parentOf("T1"), QString("F3"));

        given.broadcast("nofifyRenameLogicalTreeFolder", QVariantMap{{"treeNodeId", "F3"}, {"name", "Front gates"}});
        QCOMPARE(given.plugin.logicalTreeInfoFrom("F3", LogicalTreeModel::nameRole).toString(), QString("Front gates"));

        // Removing a folder but keeping its contents lifts them one level up.
        given.broadcast("notifyRemoveLogicalTreeFolder", QVariantMap{{"folderIDList", QStringList{"F3"}},
                                                                     {"orphanIDList", QStringList()},
                                                                     {"keepContents", true}});
        QCOMPARE(given.parentOf("F3"), QString("<gone>"));
        QCOMPARE(given.parentOf("T1"), QString("F2"));

        // A camera placed by broadcast gets its DI/DO from the device tree.
        given.broadcast("NotifyCamInsertLogical",
                        QVariantList{QVariantMap{{"uid", "T9"}, {"camNodeUid", "C_1"}, {"parentNodeId", "F1"}}});
        const QModelIndex placed = findByTreeId(*given.plugin.logicalTree().getModel(), "T9");
        QCOMPARE(given.plugin.logicalTree().getModel()->rowCount(placed), 3);
        given.broadcast("NotifyCamRemoveLogical", QVariantList{QVariantMap{{"uid", "T9"}}});
        QCOMPARE(given.parentOf("T9"), QString("<gone>"));
        QVERIFY(given.plugin.existedInLogicalTree("C_1"));

        // A move broadcast without a payload reports no completed move.
        given.broadcast("notifyLogicalTreeNodeMoved", QVariant());
        QCOMPARE(moveComplete.count(), 1);
    }

    void retrievalKeepsTheServerMapAndFillsCameraNames()
    {
        Fixture given;
        given.reply("retrieveLogicalTree", Fixture::serverTree(), "0", "S_7");
        given.reply("retrieveLogicalTree", serverNode("OTHER", "Other", ""), "3");

        const QVariantMap map = given.plugin.getLogicalTreeMap();
        const QVariantMap lobbyCamera = map.value("children").toList().at(0).toMap().value("children").toList().at(0).toMap();
        QCOMPARE(lobbyCamera.value("name").toString(), QString("Gate"));
        QCOMPARE(lobbyCamera.value("ip").toString(), QString("10.0.0.5"));
        QCOMPARE(given.parentOf("OTHER"), QString("<gone>"));
    }
};

QTEST_MAIN(LogicalTreeCommandsTest)
#include "tst_logicaltreecommands.moc"
