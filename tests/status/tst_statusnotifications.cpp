#include "CameraStatusTable.h"
#include "DiDoStateTable.h"
#include "LogicalTreeFeeder.h"
#include "NodeDataCommander.h"
#include "QorbLogUtlStub.h"
#include "SampleConnection.h"

#include <QtTest>

// Status broadcasts reach the trees and the status tables before anyone is told.
class StatusNotificationsTest : public QObject
{
    Q_OBJECT
    static QVariantMap status(const char* camera, bool connected, bool recording, bool edge = false)
    {
        return {{"camUID", camera}, {"connected", connected}, {"recording", recording}, {"useEdgeRecording", edge}};
    }
    static QVariantMap station(const char* id, bool connected) { return {{"stationUID", id}, {"connected", connected}}; }
    static QStringList texts(const QSignalSpy& spy) { return SampleConnection::texts(spy); }

private slots:
    void initTestCase() { NodeDataCommander::setRetryDelaysForTesting(40, 20); }

    // Connection changes first, then recording changes, each in camera-ID order;
    // after the retrieval C_11 is offline and not recording.
    void cameraStatusIsAnnouncedInOrderOnceStored()
    {
        SampleConnection c;
        QVERIFY(c.ready());
        QStringList heard;
        connect(&c.plugin, &PluginTopologyMgt::nodeStatusChanged, this, [&](int, const QString& id, bool on) {
            heard << QStringLiteral("0 %1 %2").arg(id, on ? "true" : "false");
            QCOMPARE(c.device(id, "connectedRole").toBool(), on);
            QCOMPARE(c.plugin.cameraStatus(id).value("connectedRole").toBool(), on);
        });
        connect(&c.plugin, &PluginTopologyMgt::cameraRecordingStatusChanged, this, [&](const QString& id, bool on) {
            heard << QStringLiteral("%1 %2").arg(id, on ? "true" : "false");
            QCOMPARE(c.device(id, "recordingRole").toBool(), on);
            QCOMPARE(c.plugin.cameraStatus(id).value("recordingRole").toBool(), on);
        });

        c.broadcast("NotifyCameraStatus",
                    QVariantList{status("S_1/C_2", false, true), status("C_3", false, false), status("C_11", true, true)});

        QCOMPARE(heard, (QStringList{"0 C_11 true", "0 C_3 false", "0 S_1/C_2 false", "C_11 true", "C_3 false"}));
    }

    // Only a difference from what was last announced is news; a camera named
    // twice counts by its last entry, and one not held is taken in silently.
    void cameraStatusTableAnnouncesDifferencesOnly()
    {
        CameraStatusTable table;
        table.rememberRecords({{{"idRole", "C_1"}, {"nameRole", "Gate"}}, {{"idRole", "C_2"}, {"connectedRole", true}, {"recordingRole", true}}});
        table.remember("C_1", {{"connectedRole", true}, {"nameRole", "Gate 1"}}); // held: only the name follows

        const CameraStatusTable::Changes first =
            table.apply({status("C_2", true, false), status("C_1", false, false, true), status("C_1", true, true), status("C_9", true, true)});
        const CameraStatusTable::Changes second = table.apply({status("C_9", false, true), status("C_1", true, true)});

        QCOMPARE(first.connection, (QMap<QString, bool>{{"C_1", true}}));
        QCOMPARE(first.recording, (QMap<QString, bool>{{"C_1", true}, {"C_2", false}}));
        QCOMPARE(first.edgeRecording, QStringList{"C_1"});
        QCOMPARE(second.connection, (QMap<QString, bool>{{"C_9", false}}));
        QVERIFY(second.recording.isEmpty());
        QCOMPARE(table.status("C_1").value("nameRole").toString(), QStringLiteral("Gate 1"));
    }

    // A node takes what lies below it along, by its path: not a station whose
    // identifier merely begins the same, on either side of it in key order.
    void statusTablesForgetANodeWithEverythingBelowIt()
    {
        CameraStatusTable statuses;
        DiDoStateTable ports;
        const QStringList ids{"S_1", "S_1-C", "S_1/C_1", "S_1/S_2/C_1", "S_10/C_1", "C_1"};
        for (const QString& id : ids) {
            statuses.remember(id, {{"nameRole", id}});
            ports.resize(id, 1, 0);
        }

        statuses.forget({"S_1", ""});
        ports.forget({"S_1"});

        QStringList kept;
        for (const QString& id : ids) {
            if (!statuses.status(id).isEmpty())
                kept << id;
            QCOMPARE(ports.ports(id, "DI").isEmpty(), !kept.contains(id));
        }
        QCOMPARE(kept, (QStringList{"S_1-C", "S_10/C_1", "C_1"}));
    }

    // Ports are numbered from 1; the node information's count sizes them, and a
    // refresh of the count keeps the states.
    void diDoPortsFollowTheirCount()
    {
        DiDoStateTable ports;
        ports.resize("IO_1", 2, 1);
        for (const int port : {0, 2, 3})
            ports.setPort("IO_1", DiDoStateTable::PortKind::Input, port, true);
        ports.setPort("C_9", DiDoStateTable::PortKind::Input, 1, true);
        ports.resize("IO_1", 3, 1);

        QCOMPARE(ports.ports("IO_1", "DI"), (QVariantList{false, true, false}));
        QCOMPARE(ports.ports("IO_1", "DO"), QVariantList{false});
        QVERIFY(ports.ports("IO_1", "di").isEmpty() && ports.ports("C_9", "DI").isEmpty());
    }

    // The servers' tree keeps its shape and order; nameless cameras the device
    // tree knows are named, everything else is left as sent.
    void feederNamesTheServersCamerasAndCountsTheirPorts()
    {
        DeviceTree devices;
        LogicalTree logicalTree;
        QAbstractItemModelTester tester(devices.getModel(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        devices.insertLoginStation("s_HQ", "10.0.0.1");
        devices.insertNewNodes("", {QVariantMap{{"nodeUID", "C_1"}, {"nodeName", "c_Gate"}, {"nodeType", "Camera"}}});
        devices.updateCameraInfo({{{"idRole", "C_1"}, {"diCountRole", 2}, {"doCountRole", 1}}});
        const LogicalTreeFeeder feeder(devices, logicalTree);
        const auto node = [](const char* id, const char* name, const QVariantList& children = {}) {
            QVariantMap node{{"nodeUID", id}, {"name", name}};
            if (!children.isEmpty())
                node.insert("children", children);
            return node;
        };

        const QVariantMap filled = feeder.withCameraNames(node("", "Root", {node("F", "F", {node("C_1", ""), node("C_9", "")}), node("C_1", "Kept")}));

        const QVariantList folder = filled.value("children").toList().value(0).toMap().value("children").toList();
        QCOMPARE(folder.value(0).toMap().value("name").toString(), QStringLiteral("Gate"));
        QCOMPARE(folder.value(1).toMap(), node("C_9", ""));
        QCOMPARE(filled.value("children").toList().value(1).toMap(), node("C_1", "Kept"));
        QCOMPARE(feeder.withDiDoCounts({QVariantMap{{"camNodeUid", "C_1"}}}),
                 (QVariantList{QVariantMap{{"camNodeUid", "C_1"}, {"diNum", 2}, {"doNum", 1}}}));
    }

    void stationStatusRereadsReturningStationsAndDropsTheIoDevicesOfLostOnes()
    {
        QVariantMap scenario = SampleConnection::sampleScenario(); // S_10 must outlive S_1's removal
        QVariantMap login = scenario.value("loginStation").toMap();
        login["stations"] = login.value("stations").toList() << QVariantMap{{"id", "S_10"}};
        scenario["loginStation"] = login;
        SampleConnection c(scenario);
        QVERIFY(c.ready());
        QVERIFY(c.logicalNode("S_1/S_3").parent() == c.logicalNode("S_1")); // the dock's I/O node, inside S_1's
        QSignalSpy status(&c.plugin, &PluginTopologyMgt::nodeStatusChanged);
        QSignalSpy stations(&c.plugin, &PluginTopologyMgt::stationConnectionStatusChanged);
        connect(&c.plugin, &PluginTopologyMgt::stationConnectionStatusChanged, this,
                [&](const QString& id, bool on) { QCOMPARE(c.device(id, "connectedRole").toBool(), on); });
        c.framework.clearRequests();

        c.broadcast("NotifyStationStatus", station("S_1/S_3", false));
        QVERIFY(!c.logicalNode("S_1/S_3").isValid() && c.logicalNode("S_1").isValid());
        // A station behind the lost dock waits in the I/O folder for its parent's node, and goes with S_1.
        c.reply("RetrieveAllCamInfo", QVariantMap{{"relayPath", "S_1/S_3/S_7"},
                                                  {"stations", QVariantList{QVariantMap{{"stationUID", "S_1/S_3/S_7"}}}}});
        QVERIFY(c.logicalNode("S_1/S_3/S_7").parent() == c.logicalNode("_IO_BOX_FID_"));
        for (int twice = 0; twice < 2; ++twice)
            c.broadcast("NotifyStationStatus", station("S_1", false));
        QVERIFY(!c.logicalNode("S_1").isValid() && !c.logicalNode("S_1/S_3/S_7").isValid() && c.logicalNode("S_10").isValid());
        QCOMPARE(texts(status), (QStringList{"1 S_1/S_3 false", "1 S_1 false"}));
        QCOMPARE(texts(stations), (QStringList{"S_1/S_3 false false", "S_1 false false"}));

        // Read again on every report, announced on a change only; an NVR says so.
        for (const QVariantMap& event : {station("S_1", true), station("S_1", true), station("S_2", true), station("S_2", false)})
            c.broadcast("NotifyStationStatus", event);
        QCOMPARE(texts(stations).mid(2), (QStringList{"S_1 true false", "S_2 false true"}));
        QCOMPARE(c.stationsAskedFor("RetrieveAllDeviceTopology"), (QStringList{"S_1", "S_1", "S_2"}));

        // A station gone from the device tree still loses its I/O devices, silently.
        c.broadcast("NotifyNodeRemove", QVariantMap{{"nodeList", QStringList{"S_10"}}, {"nodeType", "Station"}});
        status.clear();
        c.broadcast("NotifyStationStatus", station("S_10", false));
        QVERIFY(!c.logicalNode("S_10").isValid());
        QCOMPARE(status.count(), 0);

        QSignalSpy wifi(&c.plugin, &PluginTopologyMgt::stationWifiConnectionStatusChanged);
        for (const char* state : {"connected", "Connected", "Connected"})
            c.broadcast("NotifyWifiStatusChange", QVariantMap{{"stationUID", "S_2"}, {"Status", state}, {"Address", "10.9.9.9"}});
        QCOMPARE(texts(wifi), (QStringList{"S_2 false", "S_2 true", "S_2 true"}));
        QCOMPARE(c.device("S_2", "wifiAddressRole").toString(), QStringLiteral("10.9.9.9"));
    }

    void diDoEventsReachTreesTableAndListeners_data()
    {
        QTest::addColumn<QString>("node");
        QTest::addColumn<QString>("type");
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QVariantList>("ports");
        QTest::newRow("camera input falls") << "C_1" << "DI" << 1 << "Falling" << QVariantList{false};
        QTest::newRow("camera output") << "C_1" << "DO" << 1 << "Rising" << QVariantList{true};
        QTest::newRow("I/O device port 4") << "IO_1" << "DI" << 4 << "Rising" << QVariantList{false, false, false, true};
    }
    void diDoEventsReachTreesTableAndListeners()
    {
        QFETCH(QString, node);
        QFETCH(QString, type);
        QFETCH(int, index);
        QFETCH(QString, value);
        QFETCH(QVariantList, ports);
        SampleConnection c;
        QVERIFY(c.ready());
        const auto event = [&](const QString& level) {
            return QVariantMap{{"NodeId", node}, {"EventType", type}, {type, QVariantMap{{"Index", index}, {"Value", level}}}};
        };
        c.broadcast("NotifyCameraEvent", event("Rising")); // so that a fall is seen
        QSignalSpy di(&c.plugin, &PluginTopologyMgt::diStatusChanged);
        QSignalSpy dout(&c.plugin, &PluginTopologyMgt::doStatusChanged);
        connect(&c.plugin, type == "DI" ? &PluginTopologyMgt::diStatusChanged : &PluginTopologyMgt::doStatusChanged, this,
                [&](const QString& id) { QCOMPARE(c.plugin.didoNodeInfoFrom(id, type), ports); });

        c.broadcast("NotifyStationDIDOStatus", event(value));

        const bool rising = value == "Rising";
        QCOMPARE(texts(type == "DI" ? di : dout), QStringList{QStringLiteral("%1 %2 %3").arg(node).arg(index).arg(rising ? "true" : "false")});
        QCOMPARE((type == "DI" ? dout : di).count(), 0);
        if (node == "C_1" && index == 1) // C_1's DI and DO children in the logical tree
            QCOMPARE(c.logicalNode(type == "DI" ? "C_1_0" : "C_1_1").data(LogicalTreeModel::diDoValueRole).toInt(), int(rising));
    }

    void settingsReferenceNamesStatusRepliesAndNewChannels()
    {
        SampleConnection c;
        QVERIFY(c.ready());
        QSignalSpy nodeStatus(&c.plugin, &PluginTopologyMgt::nodeStatusChanged);
        QSignalSpy project(&c.plugin, &PluginTopologyMgt::cameraVCAProjectChanged);
        QSignalSpy dido(&c.plugin, &PluginTopologyMgt::didoNodeChanged);
        connect(&c.plugin, &PluginTopologyMgt::cameraVCAProjectChanged, this, [&](const QString& id) {
            QCOMPARE(c.device(id, "vcaProjectRole").toString(), QStringLiteral("Yard"));
            QCOMPARE(c.plugin.cameraInfoFrom(id, "vcaProjectRole").toString(), QStringLiteral("Yard"));
        });
        const QVariantList frontDoor{QVariantMap{{"Idx", 1}, {"RefName", "Front Door"}}};

        c.broadcast("NotifyExternalIODeviceStatus", QVariantMap{{"NodeId", "IO_1"}, {"EventType", "ConnectionState"}});
        c.broadcast("NotifyCameraSettingsChanged",
                    QVariantMap{{"EventType", "NotifyCameraSettingsChanged"}, {"relayPath", "S_1"},
                                {"cameras", QVariantList{QVariantMap{{"camUID", "S_1/C_3"}, {"camInfo", QVariantMap{{"vcaProject", "Yard"}}}}}}});
        c.broadcast("NotifyDIDORefNameChange", QVariantMap{{"camNodeId", "C_1"}, {"diChangeList", frontDoor}});
        c.broadcast("NotifyDIDORefNameChange", QVariantMap{{"diChangeList", frontDoor}}); // names no node
        c.reply("GetDiDoRefName", QVariantList{QVariantMap{{"stationID", "S_1"}}, QVariantMap{{"camNodeId", "C_1"}, {"doChangeList", frontDoor}}});

        QCOMPARE(c.device("IO_1", "connectedRole").toBool(), false);
        QCOMPARE(nodeStatus.count(), 0);
        QCOMPARE(texts(project), QStringList{"S_1/C_3"});
        QCOMPARE(texts(dido), (QStringList{"C_1", "S_1", "C_1"}));
        QCOMPARE(c.device("C_1", "diNameListRole").toStringList(), QStringList{"Front Door"});
        QCOMPARE(c.logicalNode("C_1_1").data(LogicalTreeModel::nameRole).toString(), QStringLiteral("Front Door"));

        // A camera's status is answered on success only.
        QSignalSpy answer(&c.plugin, &PluginTopologyMgt::getCameraStatusResp);
        QorbLogUtlStub::clear();

        c.plugin.getCameraStatus("S_1", "C_2");
        QTRY_COMPARE(answer.count(), 1);
        c.reply("GetCameraStatus", QVariantMap{{"nodeID", "C_12"}, {"isRecording", false}}, "5");

        QCOMPARE(answer, (QList<QList<QVariant>>{{"S_1/C_2", QVariantMap{{"isRecording", true}}}}));
        QCOMPARE(QorbLogUtlStub::messages(), QList<QByteArray>{"PluginTopologyMgt::HandleGetCameraStatusResp, HandleGetCameraStatusResp return code : 5"});

        // New channels are announced from their information, or else from their first change of status.
        QVariantList channels; // two new NVR channels; the information of only one arrives
        for (const char* id : {"S_2/C_1", "S_2/C_7", "S_2/C_8"})
            channels << QVariantMap{{"nodeUID", id}, {"nodeType", "Camera"}};
        c.reply("RetrieveDeviceTopology", QVariantMap{{"parentStationID", "S_2"}, {"nodeList", channels}});
        c.reply("RetrieveCamInfo", QVariantMap{{"relayPath", "S_2"}, {"cameras", QVariantList{QVariantMap{{"camUID", "S_2/C_8"}}}}});
        QSignalSpy connection(&c.plugin, &PluginTopologyMgt::nodeStatusChanged);

        c.broadcast("NotifyCameraStatus", QVariantList{status("S_2/C_7", true, true), status("S_2/C_8", true, true)});
        QCOMPARE(texts(connection), QStringList{"0 S_2/C_8 true"});
        QCOMPARE(c.device("S_2/C_7", "connectedRole").toBool(), true);
        c.broadcast("NotifyCameraStatus", QVariantList{status("S_2/C_7", false, true)});
        QCOMPARE(texts(connection).last(), QStringLiteral("0 S_2/C_7 false"));
    }
};

QTEST_MAIN(StatusNotificationsTest)
#include "tst_statusnotifications.moc"
