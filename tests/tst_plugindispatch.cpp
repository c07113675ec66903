#include "PluginTopologyMgt.h"
#include "QorbLogUtlStub.h"
#include "SampleConnection.h"
#include "SimulatedFramework.h"

#include <QtTest>

// Replies and broadcasts reach the module through two entry points and are
// routed by name; these tests pin the routing rules the rest relies on.
class PluginDispatchTest : public QObject
{
    Q_OBJECT
private:
    struct Fixture
    {
        Fixture()
        {
            framework.setPlugin(&plugin);
            plugin.InitialPluginBase(nullptr, &hostHandle, &framework);
            QorbLogUtlStub::clear();
        }
        int hostHandle = 0;
        SimulatedFramework framework;
        PluginTopologyMgt plugin;
    };

    static QList<QByteArray> logged() { return QorbLogUtlStub::messages(); }

    // Every row of a model, depth first, with all of its data.
    static void dumpRows(const QAbstractItemModel* model, const QModelIndex& parent, QStringList& lines)
    {
        for (int row = 0; row < model->rowCount(parent); ++row) {
            const QModelIndex index = model->index(row, 0, parent);
            QString line;
            QDebug(&line) << model->itemData(index);
            lines << line;
            dumpRows(model, index, lines);
        }
    }

    // What the views and the other plug-ins can read of one connection.
    static QStringList snapshot(PluginTopologyMgt& plugin)
    {
        QStringList lines;
        dumpRows(plugin.getStandardTopologyModel(), QModelIndex(), lines);
        dumpRows(plugin.logicalTree().getModel(), QModelIndex(), lines);
        for (const QVariant& camera : plugin.getCameraInfoList()) {
            const QString cameraId = camera.toMap().value(QStringLiteral("idRole")).toString();
            QDebug(&lines.emplaceBack()) << camera << plugin.locationInfo(cameraId) << plugin.cameraStatus(cameraId);
        }
        QDebug(&lines.emplaceBack()) << plugin.getLogicalTreeMap();
        return lines;
    }

private slots:
    void init() { QorbLogUtlStub::setDisabled({}); }

    // Every reply and broadcast name the servers send has its entry; a name
    // missing from a table would silently reach only the commander.
    void dispatchTablesHoldEveryReplyAndBroadcastName()
    {
        Fixture given;
        QStringList replies{
            QStringLiteral("RetrieveDeviceTopology"),
            QStringLiteral("RetrieveAllCamInfo"),
            QStringLiteral("RetrieveCamInfo"),
            QStringLiteral("RetrieveRuleInfo"),
            QStringLiteral("QryCamLocation"),
            QStringLiteral("RetrieveLoginStationInfo"),
            QStringLiteral("RetrieveServerInfo"),
            QStringLiteral("GetCameraStatus"),
            QStringLiteral("retrieveLogicalTree"),
            QStringLiteral("moveLogicalTreeNode"),
            QStringLiteral("renameLogicalTreeFolder"),
            QStringLiteral("InsertFolderLogical"),
            QStringLiteral("removeLogicalTreeItem"),
            QStringLiteral("addDeviceIntoLogicalTree"),
            QStringLiteral("addStationIntoLogicalTree"),
            QStringLiteral("RetrieveExternalDevs"),
            QStringLiteral("GetDiDoRefName"),
            QStringLiteral("GetFailoverStatus"),
            QStringLiteral("GetRedundantServersStatus"),
            QStringLiteral("lookupLogicalTreePathIds"),
            QStringLiteral("GetWifiStatus"),
            QStringLiteral("getAllWebPage"),
            QStringLiteral("GetSKYRCloudConnectionTimeoutList"),
            QStringLiteral("restoreUngroupedDevices")};
        QStringList broadcasts{
            QStringLiteral("NotifyStationStatus"),
            QStringLiteral("NotifyWifiStatusChange"),
            QStringLiteral("NotifyCameraStatus"),
            QStringLiteral("NotifyNodeRemove"),
            QStringLiteral("NotifyCamInsert"),
            QStringLiteral("NotifyStationInsert"),
            QStringLiteral("NotifyStationChange"),
            QStringLiteral("NotifyStationInfoChange"),
            QStringLiteral("NotifyCameraChange"),
            QStringLiteral("NotifyLocationRemove"),
            QStringLiteral("NotifyChannelAdd"),
            QStringLiteral("NotifyChannelRemove"),
            QStringLiteral("NotifyLocationChange"),
            QStringLiteral("NotifyCamInsertLogical"),
            QStringLiteral("NotifyCamRemoveLogical"),
            QStringLiteral("notifyLogicalTreeNodeMoved"),
            QStringLiteral("NotifyFolderCreatedLogical"),
            QStringLiteral("nofifyRenameLogicalTreeFolder"),
            QStringLiteral("notifyRemoveLogicalTreeFolder"),
            QStringLiteral("NotifySrvPortChange"),
            QStringLiteral("NotifyRelayInfoChange"),
            QStringLiteral("NotifyDIDORefNameChange"),
            QStringLiteral("NotifyExternalDeviceRemove"),
            QStringLiteral("NotifyCameraEvent"),
            QStringLiteral("NotifyExternalIODeviceStatus"),
            QStringLiteral("NotifyStationDIDOStatus"),
            QStringLiteral("FailoverStatusChange"),
            QStringLiteral("NotifyStationMulticastChange"),
            QStringLiteral("NotifyWebPageChanged"),
            QStringLiteral("notifySKYRCloudDeviceConnectionTimeout"),
            QStringLiteral("notifySKYRCloudDeviceReconnected"),
            QStringLiteral("NotifyCameraSettingsChanged")};
        replies.sort();
        broadcasts.sort();

        QCOMPARE(given.plugin.commandHandlerNames(), replies);
        QCOMPARE(given.plugin.eventActionNames(), broadcasts);
    }

    void repliesAreRoutedByExactNameBeforeTheCommander()
    {
        Fixture given;

        given.plugin.CommandProcessor(QStringLiteral("RetrieveServerInfo"), QVariantMap(), nullptr,
                                      QStringLiteral("42"), QString(), true, QString());

        // The handler's line comes first, then the commander's for the same reply.
        QCOMPARE(logged(), (QList<QByteArray>{
                               "PluginTopologyMgt::HandleRetrieveSrvInfo, HandleRetrieveSrvInfo return code : 42",
                               "NodeDataCommander::commandProcessor, METHOD_SRV_INFO_RETRIEVE return code : 42"}));

        QorbLogUtlStub::clear();
        given.plugin.CommandProcessor(QStringLiteral("retrieveserverinfo"), QVariantMap(), nullptr,
                                      QStringLiteral("42"), QString(), true, QString());
        QVERIFY(logged().isEmpty());
    }

    void unknownRepliesReachOnlyTheCommander()
    {
        Fixture given;

        given.plugin.CommandProcessor(QStringLiteral("RetrieveAllDeviceTopology"), QVariant(), nullptr,
                                      QStringLiteral("13"), QString(), true, QString());

        QCOMPARE(logged(), (QList<QByteArray>{
                               "Retrieve All DeviceTopology failed. Start retry, returnCode:13, stationID:"}));
    }

    void replyHandlerRunsBeforeTheCommanderSeesIt()
    {
        Fixture given;
        const QString frameworkError = QStringLiteral("{6A1F3C8E-4B2D-4E7A-9C05-B8D2E1F47A36}FrameworkInternalError");
        given.plugin.refreshCameraInfo({{QStringLiteral("idRole"), QStringLiteral("dispatch-order/C_1")},
                                        {QStringLiteral("parentStationIDRole"), QStringLiteral("dispatch-order")}},
                                       true);

        given.framework.respond(0, QVariant(), frameworkError);

        const QList<QByteArray> lines = logged();
        QVERIFY(lines.size() >= 2);
        QCOMPARE(lines.at(0), ("RetrieveNodeInfo fail station:dispatch-order, return code :" + frameworkError).toLocal8Bit());
        QCOMPARE(lines.at(1),
                 ("Get CamInfo fail, station: dispatch-order, returnCode: " + frameworkError + ", cmd: RetrieveCamInfo")
                     .toLocal8Bit());
    }

    void whoAmIAnswerBecomesTheClientId()
    {
        Fixture given;
        given.plugin.PluginServerConnected();
        const int whoAmI = given.framework.lastIndexOf(QStringLiteral("whoAmI"));
        QVERIFY(whoAmI >= 0);
        QCOMPARE(given.framework.requests().at(whoAmI).context, nullptr);
        QCOMPARE(given.framework.requests().at(whoAmI).blocking, false);
        QorbLogUtlStub::clear();

        given.framework.respond(whoAmI, QStringLiteral("client-7"));
        given.plugin.CommandProcessor(QStringLiteral("whoAmI"), QStringLiteral("client-8"), nullptr,
                                      QStringLiteral("0"), QString(), true, QString());

        QCOMPARE(given.plugin.clientId(), QStringLiteral("client-8"));
        QCOMPARE(logged(), (QList<QByteArray>{"I'm client id (client-7).", "I'm client id (client-8)."}));
    }

    void exEntryPointsAndForeignTargetsChangeNothing()
    {
        Fixture given;
        QSignalSpy anySignal(&given.plugin, &PluginTopologyMgt::stationInserted);
        const QVariantMap loginStation{{QStringLiteral("stationName"), QStringLiteral("s_HQ")}};

        given.plugin.CommandProcessorEx(QStringLiteral("RetrieveLoginStationInfo"), nullptr, loginStation, nullptr,
                                        QStringLiteral("0"), QString(), true, QString());
        given.plugin.EventProcessorEx(QStringLiteral("NotifyStationInsert"), nullptr, 0, 0, 0, QVariantMap(), QString());
        given.plugin.EventProcessor(QStringLiteral("NotifyStationInsert"), 0, 0, 0,
                                    QVariantList{QVariantMap{{QStringLiteral("stationUID"), QStringLiteral("S9")}}},
                                    QStringLiteral("another-receiver"));

        QCOMPARE(anySignal.count(), 0);
        QCOMPARE(given.plugin.getStandardTopologyModel()->rowCount(), 0);
        QVERIFY(given.framework.requests().isEmpty());
        QVERIFY(logged().isEmpty());

        // The same broadcast addressed to everyone does reach the commander.
        given.plugin.EventProcessor(QStringLiteral("NotifyStationInsert"), 0, 0, 0,
                                    QVariantList{QVariantMap{{QStringLiteral("stationUID"), QStringLiteral("S9")}}}, QString());
        QCOMPARE(given.framework.commandNames(), QStringList{QStringLiteral("RetrieveDeviceTopology")});
    }

    void failedSendsAreLogged()
    {
        PluginTopologyMgt withoutFramework;
        withoutFramework.InitialPluginBase(nullptr, nullptr, nullptr);
        QorbLogUtlStub::clear();
        withoutFramework.sendCommandToServer(QStringLiteral("RetrieveServerInfo"), QVariant(), nullptr, false);
        // The direct "whoAmI" path stays silent without a framework.
        withoutFramework.PluginServerConnected();
        QVERIFY(logged().contains("SendCommand (RetrieveServerInfo) failed"));
        QVERIFY(!logged().contains("SendCommand (whoAmI) failed"));

        Fixture refusing;
        refusing.framework.setAcceptsRequests(false);
        refusing.plugin.sendCommandToServer(QStringLiteral("GetWifiStatus"), QVariant(), nullptr, false);
        QCOMPARE(logged(), (QList<QByteArray>{"SendCommand (GetWifiStatus) failed"}));
    }

    void logLinesPassTheLibraryGateFirst()
    {
        Fixture given;
        QCOMPARE(QorbLogUtlStub::registeredModuleName(), QByteArray("PluginTopologyMgt"));
        QCOMPARE(QorbLogUtlStub::registrationValue(), 19);

        given.plugin.sendCommandToServer(QStringLiteral("A"), QVariant(), nullptr, false);
        given.framework.setAcceptsRequests(false);
        given.plugin.sendCommandToServer(QStringLiteral("B"), QVariant(), nullptr, false);
        const QList<QorbLogUtlStub::Line> lines = QorbLogUtlStub::lines();
        QCOMPARE(lines.size(), 1);
        QCOMPARE(lines.first().level, 2);
        QCOMPARE(lines.first().moduleNumber, QorbLogUtlStub::kModuleNumber);
        QVERIFY(lines.first().sourceFile.endsWith("PluginTopologyMgt.cpp"));

        // A disabled level is asked about but never written.
        QorbLogUtlStub::clear();
        QorbLogUtlStub::setDisabled({QorbLogUtlStub::kModuleNumber << 8 | 2});
        given.plugin.sendCommandToServer(QStringLiteral("C"), QVariant(), nullptr, false);
        QCOMPARE(QorbLogUtlStub::gateQueries(), 1);
        QVERIFY(QorbLogUtlStub::lines().isEmpty());
    }

    void reconnectingStartsFromEmptyTreesAndEndsAsTheFirstConnection()
    {
        SampleConnection given;
        QVERIFY(given.ready());
        const QStringList firstConnection = snapshot(given.plugin);
        const QString recordedCamera = QStringLiteral("C_1");
        QVERIFY(!given.plugin.locationInfo(recordedCamera).isEmpty());
        QVERIFY(!given.plugin.cameraStatus(recordedCamera).isEmpty());
        QSignalSpy disconnected(&given.plugin, &PluginTopologyMgt::serverDisconnected);

        given.plugin.PluginServerDisconnected();
        given.plugin.PluginServerDisconnected();

        QCOMPARE(disconnected.count(), 2);
        QVERIFY(!given.plugin.topologyRetrieved() && !given.plugin.nodeInfoRetrieved()
                && !given.plugin.logicalTreeRetrieved() && !given.plugin.locationRetrieved());
        QCOMPARE(given.plugin.getStandardTopologyModel()->rowCount(), 0);
        QCOMPARE(given.plugin.logicalTree().getModel()->rowCount(), 0);
        QVERIFY(given.plugin.getCameraInfoList().isEmpty());
        QVERIFY(given.plugin.getLogicalTreeMap().isEmpty());
        QVERIFY(given.plugin.locationInfo(recordedCamera).isEmpty());
        QVERIFY(given.plugin.cameraStatus(recordedCamera).isEmpty());

        given.plugin.PluginServerConnected();

        QVERIFY(QTest::qWaitFor([&] { return given.allRetrieved() && given.installation.pendingAnswers() == 0; }));
        QCOMPARE(snapshot(given.plugin), firstConnection);
    }

    void deeplyNestedServerTreeIsHarmless()
    {
        // given: a broken or hostile server's logical tree, ten thousand folders deep
        const int levels = 10000;
        QVariantMap nested{{QStringLiteral("treeNodeId"), QStringLiteral("F_%1").arg(levels)},
                           {QStringLiteral("name"), QStringLiteral("deepest")}};
        for (int level = levels - 1; level >= 0; --level)
            nested = {{QStringLiteral("treeNodeId"), QStringLiteral("F_%1").arg(level)},
                      {QStringLiteral("name"), QStringLiteral("level")},
                      {QStringLiteral("children"), QVariantList{nested}}};

        Fixture given;
        QAbstractItemModel* view = given.plugin.getLogicalTreeSortFilterModel(&given.plugin);

        // when: built, read back and dropped again
        given.plugin.CommandProcessor(QStringLiteral("retrieveLogicalTree"), nested, nullptr, QStringLiteral("0"),
                                      QString(), true, QString());
        const QVariantMap readBack = given.plugin.getLogicalTreeMap();
        given.plugin.PluginServerDisconnected();

        // then
        QVariantMap node = readBack;
        int depth = 0;
        while (!node.value(QStringLiteral("children")).toList().isEmpty()) {
            node = node.value(QStringLiteral("children")).toList().constFirst().toMap();
            ++depth;
        }
        QCOMPARE(depth, levels);
        QCOMPARE(node.value(QStringLiteral("name")).toString(), QStringLiteral("deepest"));
        QCOMPARE(view->rowCount(), 0);
        QCOMPARE(given.plugin.logicalTree().getModel()->rowCount(), 0);
    }

    void deeplyNestedStationChainIsHarmless()
    {
        // given: a whole-topology answer in which every station hides one more below it
        const int levels = 10000;
        QVariantMap allTopology;
        for (int level = 0; level < levels; ++level) {
            const QString station = level == 0 ? QString() : QStringLiteral("N%1").arg(level);
            const QVariantMap subStation{{QStringLiteral("nodeUID"), QStringLiteral("N%1").arg(level + 1)},
                                         {QStringLiteral("nodeName"), QStringLiteral("s_Level %1").arg(level + 1)},
                                         {QStringLiteral("nodeType"), QStringLiteral("Station")}};
            allTopology.insert(station, QVariantMap{{QStringLiteral("parentStationID"), station},
                                                    {QStringLiteral("nodeList"), QVariantList{subStation}}});
        }
        Fixture given;
        given.plugin.CommandProcessor(QStringLiteral("RetrieveLoginStationInfo"),
                                      QVariantMap{{QStringLiteral("stationName"), QStringLiteral("Top")}}, nullptr,
                                      QStringLiteral("0"), QString(), true, QString());

        // when
        given.plugin.CommandProcessor(QStringLiteral("RetrieveAllDeviceTopology"), allTopology, nullptr,
                                      QStringLiteral("0"), QString(), true, QString());
        const QVariantList stationTree = given.plugin.getStationTree();
        const qsizetype stationsFound = given.plugin.getStationRelayPathList(true).size();
        given.plugin.PluginServerDisconnected();

        // then: every station of the chain is in the tree, and gone again after the disconnection
        QCOMPARE(stationsFound, levels + 1);
        QCOMPARE(stationTree.size(), 1);
        QCOMPARE(given.plugin.getStandardTopologyModel()->rowCount(), 0);
    }

    void everyHandlerSurvivesMalformedPayloads()
    {
        Fixture given;
        const QVariantMap wrongTypes{{QStringLiteral("nodeList"), 5},
                                     {QStringLiteral("cameras"), QStringLiteral("x")},
                                     {QStringLiteral("stations"), QVariantMap()},
                                     {QStringLiteral("relayPath"), QVariantList{1, 2}},
                                     {QStringLiteral("parentStationID"), QVariantMap()},
                                     {QStringLiteral("deviceList"), 3.5}};
        const QVariantList listInsteadOfMap{wrongTypes, QVariant(), 7};
        const QList<QVariant> payloads{QVariant(), QVariant(listInsteadOfMap), QVariant(wrongTypes),
                                       QVariant(QVariantMap()), QVariant(QStringLiteral("text"))};
        const QStringList commands = given.plugin.commandHandlerNames();
        QVERIFY(!commands.isEmpty());

        for (const QVariant& payload : payloads) {
            for (const QString& command : commands) {
                given.plugin.CommandProcessor(command, payload, nullptr, QStringLiteral("0"), QString(), true, QString());
                given.plugin.CommandProcessor(command, payload, nullptr, QStringLiteral("1"), QString(), false, QString());
            }
            for (const QString& event : given.plugin.eventActionNames())
                given.plugin.EventProcessor(event, 0, 0, 0, payload, QString());
        }
        // Only the login station reply may create a node from such payloads.
        QVERIFY(given.plugin.getStandardTopologyModel()->rowCount() <= payloads.size());
    }
};

QTEST_MAIN(PluginDispatchTest)
#include "tst_plugindispatch.moc"
