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

    // Connected to a login station with the cameras C_1 and C_2, whose whole
    // topology has been answered; its camera information, locations and two
    // re-reads of its topology are still owed. One web page, WP_9, is shown.
    struct Connected : Fixture
    {
        Connected()
        {
            const auto camera = [](const char* id) {
                return QVariantMap{{"nodeUID", id}, {"nodeName", id}, {"nodeType", "Camera"}};
            };
            plugin.PluginServerConnected();
            framework.respond(framework.indexOf("RetrieveLoginStationInfo"), QVariantMap{{"stationName", "s_HQ"}});
            framework.respond(framework.indexOf("RetrieveAllDeviceTopology"),
                              QVariantMap{{"", QVariantMap{{"parentStationID", ""},
                                                           {"nodeList", QVariantList{camera("C_1"), camera("C_2")}}}}});
            plugin.retrieveDeviceTopology(QString());
            plugin.retrieveAllDeviceTopology(QString());
            framework.broadcast("NotifyWebPageChanged", QVariantList{QVariantMap{{"id", "WP_9"}, {"pageName", "Old"}}});
            QorbLogUtlStub::clear();
        }
        QAbstractItemModelTester deviceModelTester{plugin.getStandardTopologyModel(),
                                                   QAbstractItemModelTester::FailureReportingMode::Fatal};
        QObject owner;
        QAbstractItemModelTester webPageTester{plugin.getWebPageTreeSortFilterModel(&owner),
                                               QAbstractItemModelTester::FailureReportingMode::Fatal};
    };

    // What a reply of that name leaves in the plug-in, among the cameras C_1..C_4
    // and the web pages WP_1, WP_2 and WP_9.
    static QStringList heldAfter(const QString& command, PluginTopologyMgt& plugin)
    {
        QStringList held;
        for (const char* id : {"C_1", "C_2", "C_3", "C_4", "WP_1", "WP_2", "WP_9"}) {
            const bool holds = command == "RetrieveAllCamInfo" ? !plugin.cameraInfoMap(id).isEmpty()
                : command == "QryCamLocation"                   ? !plugin.locationInfo(id).isEmpty()
                : command.endsWith("DeviceTopology")            ? plugin.deviceTree().contains(id)
                                                                : !plugin.queryWebPageName(id).isEmpty();
            if (holds)
                held << id;
        }
        return held;
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

    void replyInPartsEndsAsInOnePiece_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QVariantList>("parts");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QByteArray>("announcement"); // emitted once, with the last part
        QTest::addColumn<QByteArray>("flag"); // a retrieved flag the last part raises
        QTest::addColumn<QStringList>("sentAfter"); // the requests the last part makes the module send
        QTest::addColumn<QStringList>("held");
        const auto cameraInfo = [](const char* id) {
            return QVariantMap{{"relayPath", ""},
                               {"cameras", QVariantList{QVariantMap{{"camUID", id}, {"camInfo", QVariantMap{{"name", id}}}}}}};
        };
        const auto location = [](const char* id, const char* location) {
            const QVariantMap channel{{"Name", location}, {"Available", true}, {"Alias", id}, {"RefAlias", id}};
            return QVariantMap{{"relayPath", ""},
                               {"locInfo", QVariantList{QVariantMap{{"Name", location}, {"locs", QVariantList{channel}}}}}};
        };
        const auto nodes = [](const QString& station, const QStringList& ids) {
            QVariantList list;
            for (const QString& id : ids)
                list << QVariantMap{{"nodeUID", id}, {"nodeName", id}, {"nodeType", id.startsWith("S_") ? "Station" : "Camera"}};
            return QVariantMap{{"parentStationID", station}, {"nodeList", list}};
        };
        const auto page = [](const char* id) { return QVariantList{QVariantMap{{"id", id}, {"pageName", id}}}; };
        const QString frameworkFailure = "{6A1F3C8E-4B2D-4E7A-9C05-B8D2E1F47A36}FrameworkInternalError";
        const QStringList stationDetails{"RetrieveServerInfo", "GetRedundantServersStatus",
                                         "GetSKYRCloudConnectionTimeoutList"};

        QTest::newRow("camera information")
            << "RetrieveAllCamInfo" << QVariantList{cameraInfo("C_1"), cameraInfo("C_2")} << "0"
            << QByteArray(SIGNAL(deviceInfoRetrieved(QString))) << QByteArray("nodeInfoRetrieved")
            << QStringList{"SubscribeCamStatus", "RetrieveRuleInfo", "GetDiDoRefName", "RetrieveExternalDevs",
                           "SubscribeCameraEvent", "SubscribeStationDIDOEvent", "SubscribeExtIODeviceEvent"}
            << QStringList{"C_1", "C_2"};
        // The retry budget is spent once per reply.
        QTest::newRow("camera information, framework failure")
            << "RetrieveAllCamInfo" << QVariantList{QVariant(), QVariant()} << frameworkFailure
            << QByteArray(SIGNAL(refreshCameraInfoResp(bool,bool,QString,QString))) << QByteArray()
            << QStringList{"RetrieveAllCamInfo"} << QStringList();
        QTest::newRow("locations") << "QryCamLocation" << QVariantList{location("C_1", "Loc1"), location("C_2", "Loc2")}
                                   << "0" << QByteArray(SIGNAL(deviceInfoRetrieved(QString)))
                                   << QByteArray("locationRetrieved") << QStringList() << QStringList{"C_1", "C_2"};
        // The part that first brings nodes replaces the station's children, even after an empty part.
        QTest::newRow("station topology")
            << "RetrieveDeviceTopology" << QVariantList{nodes("", {}), nodes("", {"C_3"}), nodes("", {"C_4"})} << "0"
            << QByteArray(SIGNAL(stationConnectionStatusChanged(QString,bool,bool))) << QByteArray()
            << QStringList{"RetrieveAllCamInfo", "QryCamLocation"} + stationDetails << QStringList{"C_3", "C_4"};
        // The station processing needs every station of the answer at once.
        QTest::newRow("whole topology")
            << "RetrieveAllDeviceTopology"
            << QVariantList{QVariantMap{{"", nodes("", {"C_3", "S_1"})}}, QVariantMap{{"S_1", nodes("S_1", {})}}} << "0"
            << QByteArray(SIGNAL(stationInserted(QString,QString,QString))) << QByteArray()
            << QStringList{"QryCamLocation", "QryCamLocation", "RetrieveAllCamInfo"} + stationDetails
                   + QStringList{"GetFailoverStatus", "RetrieveAllCamInfo"} + stationDetails + QStringList{"GetFailoverStatus"}
            << QStringList{"C_3"};
        // Without a context, parts are told apart by the request name.
        QTest::newRow("web pages") << "getAllWebPage" << QVariantList{page("WP_1"), page("WP_2")} << "0"
                                   << QByteArray(SIGNAL(webPageChanged())) << QByteArray() << QStringList()
                                   << QStringList{"WP_1", "WP_2"};
    }
    void replyInPartsEndsAsInOnePiece()
    {
        QFETCH(QString, command);
        QFETCH(QVariantList, parts);
        QFETCH(QString, code);
        QFETCH(QByteArray, announcement);
        QFETCH(QByteArray, flag);
        QFETCH(QStringList, sentAfter);
        QFETCH(QStringList, held);
        Connected given;
        QSignalSpy announced(&given.plugin, announcement.constData());
        const int request = given.framework.lastIndexOf(command);
        const int sent = int(given.framework.requests().size());

        // After each part: how often the reply was announced, and whether the flag is up.
        QStringList seen, expected;
        for (qsizetype part = 0; part < parts.size(); ++part) {
            const bool last = part == parts.size() - 1;
            given.framework.respond(request, parts.at(part), code, last);
            seen << QString::number(announced.count())
                    + (flag.isEmpty() ? "" : given.plugin.property(flag.constData()).toBool() ? " up" : " down");
            expected << (last ? "1" : "0") + QString(flag.isEmpty() ? "" : last ? " up" : " down");
        }
        QCOMPARE(seen, expected);
        QCOMPARE(given.framework.commandNames().mid(sent), sentAfter);
        QCOMPARE(heldAfter(command, given.plugin), held);
    }

    void repliesWithContextsNoLongerHeldAreDropped_data()
    {
        QTest::addColumn<QString>("context");
        QTest::newRow("second last part") << "answered";
        QTest::newRow("after disconnecting") << "retired";
        QTest::newRow("made up") << "made up";
        QTest::newRow("made for another request") << "another request's";
    }
    void repliesWithContextsNoLongerHeldAreDropped()
    {
        QFETCH(QString, context);
        Connected given;
        const RecordedRequest locations = given.framework.requests().at(given.framework.indexOf("QryCamLocation"));
        QString madeUp = QStringLiteral("S_1");
        void* stale = locations.context;
        if (context == "answered")
            given.framework.respond(given.framework.indexOf("QryCamLocation"), QVariantMap());
        else if (context == "retired")
            given.plugin.PluginServerDisconnected();
        else if (context == "made up")
            stale = &madeUp;
        else
            stale = given.framework.requests().at(given.framework.indexOf("RetrieveAllCamInfo")).context;
        QorbLogUtlStub::clear();
        QSignalSpy announced(&given.plugin, &PluginTopologyMgt::deviceInfoRetrieved);
        QSignalSpy flag(&given.plugin, &PluginTopologyMgt::locationRetrievedChanged);
        const qsizetype sent = given.framework.requests().size();

        // A failure would be logged by its handler and retried by the commander.
        given.plugin.CommandProcessor(QStringLiteral("QryCamLocation"), QVariantMap{{"relayPath", ""}}, stale,
                                      QStringLiteral("500"), QString(), true, QString());

        QCOMPARE(logged(), QList<QByteArray>{
                               "PluginTopologyMgt::CommandProcessor, reply QryCamLocation dropped: its context is not held for it"});
        QCOMPARE(announced.count() + flag.count(), 0);
        QCOMPARE(given.framework.requests().size(), sent);
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
        const QStringList firstConnection = given.snapshot();
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
        QCOMPARE(given.snapshot(), firstConnection);
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
