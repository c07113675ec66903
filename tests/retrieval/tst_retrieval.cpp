#include "LogicalTreeInstallation.h"
#include "NodeDataCommander.h"
#include "QorbLogUtlStub.h"
#include "SampleConnection.h"
#include "StandardTopologyModel.h"

#include <QtTest>

// A connection against a simulated installation, end to end: the requests the
// module sends, the trees it builds, and how it recovers from failures.
class RetrievalTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { NodeDataCommander::setRetryDelaysForTesting(40, 20); }

    void connectingRetrievesTheWholeInstallation()
    {
        SampleConnection given(SampleConnection::sampleScenario(), false);
        QVERIFY2(given.loaded, qPrintable(given.installation.errorString()));
        const QList<const char*> flagSignals{SIGNAL(topologyRetrievedChanged(bool)), SIGNAL(nodeInfoRetrievedChanged(bool)),
                                             SIGNAL(serverInfoRetrievedChanged(bool)), SIGNAL(locationRetrievedChanged(bool)),
                                             SIGNAL(logicalTreeRetrievedChanged(bool)), SIGNAL(camStatusRetrievedChanged(bool))};
        QList<QSharedPointer<QSignalSpy>> flagSpies;
        for (const char* signal : flagSignals)
            flagSpies << QSharedPointer<QSignalSpy>::create(&given.plugin, signal);
        QSignalSpy stationInserted(&given.plugin, &PluginTopologyMgt::stationInserted);

        given.plugin.PluginServerConnected();

        // What leaves at once: the start sequence, the web pages, then the client's identity.
        QCOMPARE(given.framework.commandNames(),
                 (QStringList{"RetrieveLoginStationInfo", "retrieveLogicalTree", "RetrieveAllNodeInfo",
                              "RetrieveAllDeviceTopology", "getAllWebPage", "whoAmI"}));
        QVERIFY(given.framework.requests().first().blocking);
        QTRY_VERIFY(given.allRetrieved());

        // Each flag turned true exactly once, after having been false.
        for (const auto& spy : flagSpies)
            QCOMPARE(SampleConnection::texts(*spy), QStringList{"true"});
        // Stations are processed depth first: locations are asked on the way down,
        // server information once a station's sub-stations are done.
        QCOMPARE(given.stationsAskedFor("QryCamLocation"), (QStringList{"", "S_1", "S_1/S_3", "S_2", "S_9"}));
        QCOMPARE(given.stationsAskedFor("RetrieveServerInfo"), (QStringList{"S_1/S_3", "S_1", "S_2", "S_9", ""}));
        QCOMPARE(given.stationsAskedFor("GetWifiStatus"), QStringList{"S_2"});
        QCOMPARE(given.framework.count("RetrieveAllCamInfo"), 0); // handed over from RetrieveAllNodeInfo
        QCOMPARE(given.plugin.clientId(), given.installation.scenario().clientId());

        // The tree holds every station and camera of the scenario, names cleaned.
        const DeviceTree& tree = given.plugin.deviceTree();
        for (const ScenarioStation& station : given.installation.scenario().stations()) {
            QVERIFY2(tree.contains(station.relayPath), qPrintable(station.relayPath));
            QCOMPARE(tree.data(station.relayPath, StandardTopologyModel::nodeTypeRole).toInt(),
                     int(StandardTopologyModel::StationNode));
            QVERIFY(!tree.data(station.relayPath, "nameRole").toString().startsWith("s_"));
            for (const ScenarioCamera& camera : station.cameras) {
                QCOMPARE(tree.data(camera.uid, StandardTopologyModel::parentStationIDRole).toString(), station.relayPath);
                QCOMPARE(given.plugin.cameraInfoFrom(camera.uid, "parentStationIDRole").toString(), station.relayPath);
                QCOMPARE(given.plugin.cameraInfoFrom(camera.uid, "nameRole").toString(),
                         tree.data(camera.uid, StandardTopologyModel::nameRole).toString());
            }
        }
        QCOMPARE(given.plugin.getCameraInfoList().size(), given.installation.scenario().cameraCount());
        QCOMPARE(tree.data("S_2", StandardTopologyModel::connectedRole).toBool(), true);
        QVERIFY(given.plugin.existedInLogicalTree("C_1"));
        // Every station's I/O device is in the I/O folder, the sub-station's under its parent's,
        // though the sub-station's node information is handled first.
        QCOMPARE(treeOutline(*given.plugin.logicalTree().getModel(), given.logicalNode("_IO_BOX_FID_")),
                 QStringLiteral("S_1{S_1/S_3{S_1/S_3_0,S_1/S_3_1}},S_2,S_9"));

        // The redundant server is not announced as an inserted station.
        const auto announced = [&stationInserted] {
            QStringList ids;
            for (const QList<QVariant>& arguments : std::as_const(stationInserted))
                ids << arguments.at(0).toString();
            stationInserted.clear();
            return ids;
        };
        QCOMPARE(announced(), (QStringList{"", "S_1", "S_2", "S_1/S_3"}));

        // An answer nobody asked for, then a second connection without a disconnection: the same
        // tree, each node once; only the sub-stations, built anew, are announced again.
        const QString devices = treeOutline(*given.plugin.getStandardTopologyModel());
        given.reply("RetrieveLoginStationInfo", QVariantMap{{"stationName", "s_Other"}, {"stationIP", "10.9.9.9"}});
        QCOMPARE(given.device("", "nameRole").toString(), QStringLiteral("Other"));
        QVERIFY(given.connectAndWait());
        QCOMPARE(treeOutline(*given.plugin.getStandardTopologyModel()), devices);
        QCOMPARE(given.plugin.deviceTree().getModel()->identifierIndexFaults(), QStringList());
        QCOMPARE(announced(), (QStringList{"S_1", "S_2", "S_1/S_3"}));
    }

    void answersInPartsEndAsAnswersInOnePiece_data()
    {
        QTest::addColumn<bool>("nodeInfoPerStation");
        QTest::newRow("node information handed over") << false;
        // Without the whole node information each station's own answer is read.
        QTest::newRow("node information asked of each station") << true;
    }
    // Every answer in three parts, through the retrieval and the timeline's
    // broadcasts: the trees with all their data, the camera records, the
    // locations, the requests sent and each signal's emissions come out as with
    // every answer in one piece.
    void answersInPartsEndAsAnswersInOnePiece()
    {
        QFETCH(bool, nodeInfoPerStation);
        struct Outcome
        {
            QStringList state;
            QStringList requests;
            QMap<QByteArray, QStringList> emitted;
        };
        const auto connectWith = [nodeInfoPerStation](int answerParts) {
            QVariantMap scenario = SampleConnection::sampleScenario();
            scenario.insert("answerParts", answerParts);
            if (nodeInfoPerStation)
                scenario.insert("failures", QVariantList{QVariantMap{{"request", "RetrieveAllNodeInfo"}, {"code", "1"}}});
            SampleConnection connection(scenario, false);
            std::vector<std::unique_ptr<QSignalSpy>> spies;
            const QMetaObject& meta = PluginTopologyMgt::staticMetaObject;
            for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
                if (meta.method(i).methodType() == QMetaMethod::Signal)
                    spies.push_back(std::make_unique<QSignalSpy>(
                        &connection.plugin, (QByteArray("2") + meta.method(i).methodSignature()).constData()));
            }
            Outcome outcome;
            if (!connection.loaded || !connection.connectAndWait())
                return outcome;
            QSignalSpy timelineFinished(&connection.installation, &SimulatedInstallation::timelineFinished);
            connection.installation.setTimelineTimeScale(0.0);
            connection.installation.startTimeline();
            if (!QTest::qWaitFor([&] { return !timelineFinished.isEmpty() && connection.installation.pendingAnswers() == 0; }))
                return outcome;
            outcome.state = connection.snapshot();
            outcome.requests = connection.framework.commandNames();
            for (const auto& spy : spies) {
                QStringList& emissions = outcome.emitted[spy->signal()];
                for (const QList<QVariant>& arguments : std::as_const(*spy))
                    QDebug(&emissions.emplaceBack()) << arguments;
            }
            return outcome;
        };

        const Outcome onePiece = connectWith(1);
        const Outcome inParts = connectWith(3);

        QVERIFY(!onePiece.state.isEmpty() && !inParts.state.isEmpty());
        QCOMPARE(inParts.state, onePiece.state);
        QCOMPARE(inParts.requests, onePiece.requests);
        QCOMPARE(inParts.emitted.keys(), onePiece.emitted.keys());
        for (auto signal = onePiece.emitted.cbegin(); signal != onePiece.emitted.cend(); ++signal)
            QVERIFY2(inParts.emitted.value(signal.key()) == signal.value(), signal.key().constData());
    }

    void failedRequestsAreRetriedEvenAfterADisconnection()
    {
        SampleConnection given(SampleConnection::sampleScenario(), false);
        const QString frameworkError = "{6A1F3C8E-4B2D-4E7A-9C05-B8D2E1F47A36}FrameworkInternalError";
        given.installation.failRequest("RetrieveAllDeviceTopology", "503");
        given.installation.failRequestForStation("QryCamLocation", "S_1", "500");
        given.installation.failRequest("RetrieveAllNodeInfo", "1");
        given.installation.failRequestForStation("RetrieveAllCamInfo", "S_1/S_3", frameworkError, -1);
        QorbLogUtlStub::clear();

        QVERIFY(given.connectAndWait());

        // The whole topology and a station's locations are asked once more after their delay.
        QCOMPARE(given.framework.count("RetrieveAllDeviceTopology"), 2);
        QCOMPARE(given.stationsAskedFor("QryCamLocation").count("S_1"), 2);
        // Without the node information every station is asked for its own; framework
        // errors are resent five times, then given up.
        QCOMPARE(given.stationsAskedFor("RetrieveAllCamInfo").count("S_1/S_3"), 6);
        QCOMPARE(QorbLogUtlStub::messages().count("Get All CamInfo Timeout Retry, station: S_1/S_3"), 5);
        QCOMPARE(QorbLogUtlStub::messages().count("Get All CamInfo Timeout Retry End, station: S_1/S_3"), 1);
        QVERIFY(QorbLogUtlStub::messages().contains("One Command Get All Node Info failed"));
        QVERIFY(!given.plugin.cameraInfoMap("S_1/C_1").isEmpty());
        QVERIFY(given.plugin.cameraInfoMap("S_1/S_3/C_1").isEmpty());
        // No password reaches a line, plain or in the hex it travels in; every
        // password of the sample installation begins with "fake-".
        given.broadcast("NotifyStationInfoChange",
                        QVariantMap{{"stationUID", "S_1"}, {"stationPassword", QByteArray("fake-new").toHex()}});
        for (const QByteArray& line : QorbLogUtlStub::messages())
            QVERIFY2(!line.contains("fake-") && !line.contains(QByteArray("fake-").toHex()), line.constData());

        // when a retry is pending as the server goes away
        QSignalSpy topologyFlag(&given.plugin, &PluginTopologyMgt::topologyRetrievedChanged);
        given.installation.failRequest("RetrieveAllDeviceTopology", "503");
        given.plugin.retrieveAllDeviceTopology("S_1");
        QTRY_COMPARE(given.installation.pendingAnswers(), 0);
        const int sentBefore = given.framework.count("RetrieveAllDeviceTopology");
        given.plugin.PluginServerDisconnected();
        // then the flags fall, once, and the retry still goes out
        QTRY_COMPARE(given.framework.count("RetrieveAllDeviceTopology"), sentBefore + 1);
    }

    void cameraInformationIsStoredBeforeItIsAnnouncedAndAskedOfTheStations()
    {
        SampleConnection given;
        QVERIFY(given.ready());
        QStringList heard;
        connect(&given.plugin, &PluginTopologyMgt::didoNodeChanged, this, [&](const QString& nodeId) {
            // Listeners must find the new values already stored.
            heard << "dido " + nodeId + " " + given.plugin.deviceInfoFrom(nodeId, "modelRole").toString();
        });
        connect(&given.plugin, &PluginTopologyMgt::deviceInfoRetrieved, this,
                [&](const QString& station) { heard << "device info " + station; });
        connect(&given.plugin, &PluginTopologyMgt::cameraAndStationConnectionStatusRetrieved, this,
                [&] { heard << "status retrieved"; });
        connect(&given.plugin, &PluginTopologyMgt::refreshCameraInfoResp, this,
                [&](bool completed, bool success, const QString& station, const QString& camera) {
                    heard << QString("refresh %1 %2 %3 %4").arg(completed).arg(success).arg(station, camera);
                });
        const QVariantMap answer{
                {"relayPath", "S_1"},
                {"cameras", QVariantList{QVariantMap{{"camUID", "S_1/C_2"},
                                                     {"camInfo", QVariantMap{{"type", "Dome"}, {"diCount", 1}}}}}},
                {"stations", QVariantList{QVariantMap{{"stationUID", "S_1"}, {"info", QVariantMap{{"Model", "X9"}}}}}}};
        const QVariantMap camera{{"idRole", "S_1/C_2"}, {"parentStationIDRole", "S_1"}};
        given.plugin.refreshCameraInfo(camera, true);

        given.framework.respond(given.framework.lastIndexOf("RetrieveCamInfo"), answer);

        QCOMPARE(heard, (QStringList{"dido S_1/C_2 Dome", "dido S_1 X9", "device info S_1", "status retrieved",
                                     "refresh 1 1 S_1 S_1/C_2"}));
        QCOMPARE(given.plugin.cameraInfoFrom("S_1/C_2", "diNameListRole").toStringList(), QStringList{"DI-1"});

        // Queries reach the stations through the framework.
        given.framework.clearRequests();
        QSignalSpy refreshed(&given.plugin, &PluginTopologyMgt::refreshCameraInfoResp);
        QSignalSpy rules(&given.plugin, &PluginTopologyMgt::updateVCARulesResp);

        given.plugin.refreshCameraInfo(camera, true);
        given.plugin.getServerInfo();
        given.plugin.updateVCARules();

        const RecordedRequest& refresh = given.framework.requests().first();
        QCOMPARE(refresh.command, QString("RetrieveCamInfo"));
        QCOMPARE(refresh.arguments.toMap().value("camIDList").toStringList(), QStringList{"S_1/C_2"});
        const int stations = int(given.installation.scenario().stations().size());
        QCOMPARE(given.stationsAskedFor("RetrieveServerInfo").size(), stations);
        QTRY_COMPARE(refreshed.count(), 1);
        QCOMPARE(refreshed.first(), (QList<QVariant>{true, true, "S_1", "S_1/C_2"}));
        QTRY_COMPARE(rules.count(), stations);

        // Without insisting, a known camera is answered from what is stored.
        given.plugin.refreshCameraInfo(camera, false);
        QCOMPARE(refreshed.count(), 2);
        QCOMPARE(given.framework.count("RetrieveCamInfo"), 1);
    }
};

QTEST_MAIN(RetrievalTest)
#include "tst_retrieval.moc"
