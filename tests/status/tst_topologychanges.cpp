#include "NodeDataCommander.h"
#include "QorbLogUtlStub.h"
#include "SampleConnection.h"
#include "TestSupport.h"

#include <QtTest>

// Topology broadcasts change the trees first; listeners find what they are told about.
class TopologyChangesTest : public QObject
{
    Q_OBJECT
    static QStringList texts(const QSignalSpy& spy) { return SampleConnection::texts(spy); }
    // The station's removed cameras in the device tree, then in the logical tree.
    static QStringList removedCameras(SampleConnection& c, const QString& stationId)
    {
        QStringList ids;
        const QAbstractItemModel* devices = c.plugin.getStandardTopologyModel();
        const QModelIndex folder = devices->match(devices->index(0, 0), StandardTopologyModel::idRole, stationId + "/_REMOVED_CAMERAS_",
                                                  1, Qt::MatchRecursive | Qt::MatchExactly).value(0);
        for (int row = 0; folder.isValid() && row < devices->rowCount(folder); ++row)
            ids << "device " + devices->index(row, 0, folder).data(StandardTopologyModel::idRole).toString();
        const QModelIndex logical = c.logicalNode(LogicalTree::kRemovedCamerasFolderId);
        for (int row = 0; row < logical.model()->rowCount(logical); ++row) {
            const QString id = logical.model()->index(row, 0, logical).data(LogicalTreeModel::cameraNodeIDRole).toString();
            if (id.startsWith(stationId + "/"))
                ids << "logical " + id;
        }
        return ids;
    }

private slots:
    void initTestCase() { NodeDataCommander::setRetryDelaysForTesting(40, 20); }

    void insertionsAreAnnouncedOnceInTheTree()
    {
        SampleConnection c;
        QVERIFY(c.ready());
        QStringList heard;
        for (auto signal : {&PluginTopologyMgt::nodeInserted, &PluginTopologyMgt::standardNodeInserted})
            connect(&c.plugin, signal, this, [&, signal](const QString& id) {
                heard << (signal == &PluginTopologyMgt::nodeInserted ? "node " : "standard ") + id
                        + (c.plugin.existedInDeviceTree(id) ? "" : " missing");
            });
        QSignalSpy stations(&c.plugin, &PluginTopologyMgt::stationInserted);
        QVariantList cameras; // S_7 is unknown, S_1/C_9 listed twice
        for (const char* id : {"S_1/C_9", "S_1/C_10", "S_7/C_1", "S_1/C_11", "S_1/C_9"})
            cameras << QVariantMap{{"nodeUID", id}, {"nodeName", "c_New"}, {"parentStationID", QString(id).section('/', 0, 0)}};
        const QVariantList newStations{QVariantMap{{"stationUID", "S_1/S_4"}, {"nodeName", "s_Annex"}, {"relayPath", "S_1"}},
                                       QVariantMap{{"stationUID", "S_8/S_1"}, {"relayPath", "S_8"}}};

        c.broadcast("NotifyCamInsert", cameras);
        c.broadcast("NotifyStationInsert", newStations);
        // Announced again, they are known already: nothing is inserted or announced twice.
        c.broadcast("NotifyCamInsert", cameras);
        c.broadcast("NotifyStationInsert", newStations);

        QCOMPARE(heard, (QStringList{"node S_1/C_9", "standard S_1/C_9", "node S_1/C_10", "standard S_1/C_10",
                                     "node S_1/C_11", "standard S_1/C_11", "node S_1/S_4"}));
        QCOMPARE(texts(stations), QStringList{"S_1/S_4 Annex S_1"});
        QCOMPARE(c.device("S_1/C_10", "nameRole").toString(), QStringLiteral("New"));
        // One removal leaves nothing behind.
        c.broadcast("NotifyNodeRemove", QVariantMap{{"parentStationID", "S_1"}, {"nodeList", QStringList{"S_1/C_10", "S_1/S_4"}}});
        QVERIFY(!c.plugin.existedInDeviceTree("S_1/C_10") && !c.plugin.existedInDeviceTree("S_1/S_4"));
        QCOMPARE(c.plugin.deviceTree().getModel()->identifierIndexFaults(), QStringList());
        // The new camera's first status is news.
        QSignalSpy status(&c.plugin, &PluginTopologyMgt::nodeStatusChanged);
        c.broadcast("NotifyCameraStatus", QVariantList{QVariantMap{{"camUID", "S_1/C_9"}, {"connected", true}}});
        QCOMPARE(texts(status), QStringList{"0 S_1/C_9 true"});
    }

    void cameraTypesAreNumbersOnEveryPath()
    {
        SampleConnection c;
        QVERIFY(c.ready());
        QAbstractItemModel* view = c.plugin.getFullLogicalTreeModel();
        QAbstractItemModelTester viewTester(view, QAbstractItemModelTester::FailureReportingMode::Fatal);

        // Cameras announced with a model word and with a JSON number, a rename, a removed camera and an external device.
        c.broadcast("NotifyCamInsert",
                    QVariantList{QVariantMap{{"nodeUID", "S_1/C_20"}, {"parentStationID", "S_1"}, {"camType", "Fisheye"}},
                                 QVariantMap{{"nodeUID", "S_1/C_21"}, {"parentStationID", "S_1"},
                                             {"camType", QVariant::fromValue<qlonglong>(2)}}});
        c.broadcast("NotifyCameraChange", QVariantMap{{"camUID", "C_1"}, {"name", "Gate"}});
        c.reply("QryCamLocation", QVariantMap{{"relayPath", "S_1"},
                                              {"removedCameras", QVariantList{QVariantMap{{"camID", "C_30"}, {"camName", "Old"},
                                                                                          {"cameraType", "8"}}}}});
        c.reply("RetrieveExternalDevs", QVariantList{QVariantMap{{"RelayPath", "S_1"}, {"NodeID", "S_1/IO_2"}}});

        // C_1 is a fixed dome whose type came as a model word with its camera information.
        const auto typed = [](const QVariant& value) { return QString("%1 %2").arg(value.typeName(), value.toString()); };
        QStringList types;
        for (const char* id : {"C_1", "S_1/C_20", "S_1/C_21", "S_1/C_30", "S_1/IO_2"})
            types << id + (" " + typed(c.device(id, "camTypeRole")));
        types << "record " + typed(c.plugin.cameraInfoFrom("C_1", "camTypeRole"));
        QCOMPARE(types, (QStringList{"C_1 int 8", "S_1/C_20 int 7", "S_1/C_21 int 2", "S_1/C_30 int 8", "S_1/IO_2 int 10",
                                     "record int 8"}));
        const QModelIndex gate = view->match(view->index(0, 0), LogicalTreeModel::cameraNodeIDRole, "C_1", 1,
                                             Qt::MatchRecursive | Qt::MatchExactly).value(0);
        QCOMPARE(gate.data(LogicalTreeModel::displayIconRole).toString(), QStringLiteral("cameraFixedDomeConnected"));
    }

    void renamesAreCleanedStoredAndAnnounced()
    {
        SampleConnection c;
        QVERIFY(c.ready());
        QSignalSpy cameraRenamed(&c.plugin, &PluginTopologyMgt::cameraNameChanged);
        QSignalSpy stationRenamed(&c.plugin, &PluginTopologyMgt::stationNameChanged);
        connect(&c.plugin, &PluginTopologyMgt::cameraNameChanged, this, [&](const QString& cameraId, const QString& to) {
            QCOMPARE(c.device(cameraId, "nameRole").toString(), to);
            QCOMPARE(c.plugin.cameraStatus(cameraId).value("nameRole").toString(), to);
            QCOMPARE(c.plugin.cameraInfoFrom(cameraId, "nameRole").toString(), to);
        });

        c.broadcast("NotifyCameraChange", QVariantMap{{"camUID", "C_4"}, {"name", "d_Gate"}});
        c.broadcast("NotifyStationChange", QVariantMap{{"stationUID", ""}, {"name", "s_Head Office"}}); // the login station

        QCOMPARE(cameraRenamed, (QList<QList<QVariant>>{{"C_4", "Gate"}}));
        QCOMPARE(stationRenamed, (QList<QList<QVariant>>{{"", "Head Office"}}));
        QCOMPARE(c.device("C_4", "nameRole").toString(), QStringLiteral("Gate"));
        QCOMPARE(c.device("", "nameRole").toString(), QStringLiteral("Head Office"));
    }

    void removalsKeepCamerasWithRecordingsAsRemovedCameras_data()
    {
        QTest::addColumn<QStringList>("nodes");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("method");
        QTest::addColumn<QStringList>("announced");
        QTest::addColumn<QStringList>("removed");
        // S_1/C_9 arrives by broadcast: no location lists recordings of it.
        QTest::newRow("entry removed") << QStringList{"S_1/C_2", "S_1/C_9"} << "Camera" << "RemoveEntry"
                                       << QStringList{"device S_1/C_2", "device S_1/C_9"} << QStringList{"device S_1/C_2", "logical S_1/C_2"};
        QTest::newRow("recordings deleted too") << QStringList{"S_1/C_2", "S_1/C_9"} << "Camera" << "RemoveAll"
                                                << QStringList{"device S_1/C_2", "device S_1/C_9"} << QStringList();
        QTest::newRow("station") << QStringList{"S_1/S_3"} << "Station" << "RemoveEntry" << QStringList{"station S_1/S_3"} << QStringList();
    }
    void removalsKeepCamerasWithRecordingsAsRemovedCameras()
    {
        QFETCH(QStringList, nodes);
        QFETCH(QString, type);
        QFETCH(QString, method);
        QFETCH(QStringList, announced);
        QFETCH(QStringList, removed);
        SampleConnection c;
        QVERIFY(c.ready());
        c.broadcast("NotifyCamInsert", QVariantList{QVariantMap{{"nodeUID", "S_1/C_9"}, {"parentStationID", "S_1"}}});
        QStringList heard;
        for (auto signal : {&PluginTopologyMgt::deviceRemoved, &PluginTopologyMgt::stationRemoved})
            connect(&c.plugin, signal, this, [&, signal](const QString& id) {
                heard << (signal == &PluginTopologyMgt::deviceRemoved ? "device " : "station ") + id;
                QCOMPARE(removedCameras(c, "S_1"), removed);
            });

        c.broadcast("NotifyNodeRemove", QVariantMap{{"parentStationID", "S_1"}, {"nodeList", nodes}, {"nodeType", type}, {"method", method}});

        QCOMPARE(heard, announced);
        QCOMPARE(removedCameras(c, "S_1"), removed);
        if (!removed.isEmpty())
            QCOMPARE(c.device("S_1/C_2", "nameRole").toString(), QStringLiteral("Warehouse Aisle 2"));
        // The status table forgets the removed nodes and everything below them.
        QVERIFY(c.plugin.cameraStatus(nodes.first()).isEmpty());
        QCOMPARE(c.plugin.cameraStatus("S_1/S_3/C_1").isEmpty(), type == "Station");
        QVERIFY(!c.plugin.cameraStatus("S_1/C_1").isEmpty());
    }

    void externalDevicesAreRemovedByEitherIdentifier_data()
    {
        QTest::addColumn<QString>("listed");
        QTest::newRow("within the station") << "IO_2";
        QTest::newRow("whole") << "S_1/IO_2";
    }
    void externalDevicesAreRemovedByEitherIdentifier()
    {
        QFETCH(QString, listed);
        SampleConnection c;
        QVERIFY(c.ready());
        c.reply("RetrieveExternalDevs", QVariantList{QVariantMap{{"RelayPath", "S_1"}, {"NodeID", "S_1/IO_2"}, {"DINum", 2}}});
        c.reply("RetrieveAllCamInfo", QVariantMap{{"relayPath", "S_1"}, {"stations", QVariantList{QVariantMap{{"stationUID", "S_1"}}}}});
        QVERIFY(c.plugin.existedInDeviceTree("S_1/IO_2") && c.logicalNode("S_1/IO_2").isValid());
        QCOMPARE(c.plugin.didoNodeInfoFrom("S_1/IO_2", "DI").size(), 2);

        c.broadcast("NotifyExternalDeviceRemove", QVariantMap{{"relayPath", "S_1"}, {"idList", QStringList{listed}}});

        QVERIFY(!c.plugin.existedInDeviceTree("S_1/IO_2") && !c.logicalNode("S_1/IO_2").isValid());
        QVERIFY(c.plugin.didoNodeInfoFrom("S_1/IO_2", "DI").isEmpty());
        QVERIFY(c.plugin.existedInDeviceTree("IO_1"));
    }

    // Broadcasts whose handlers cannot read a null payload log it instead of
    // running; the others read it as empty.
    void nullBroadcastsAreLoggedAndChangeNothing_data()
    {
        QTest::addColumn<QString>("event");
        QTest::addColumn<QByteArray>("logged");
        QTest::newRow("misspelt name") << "NotifyCamInsert" << QByteArray("PluginTopologyMgt::HandleBroadcastCamInsert, HanldeBroadcastCamInsert : notify is null");
        QTest::newRow("read as empty") << "NotifyCamRemoveLogical" << QByteArray();
    }
    void nullBroadcastsAreLoggedAndChangeNothing()
    {
        QFETCH(QString, event);
        QFETCH(QByteArray, logged);
        SampleConnection c;
        QVERIFY(c.ready());
        ModelNotificationRecorder devices(c.plugin.getStandardTopologyModel(), StandardTopologyModel::idRole);
        ModelNotificationRecorder logical(c.plugin.logicalTree().getModel(), LogicalTreeModel::idRole);
        const QVariantMap locations = c.plugin.locationInfo("C_1");
        QorbLogUtlStub::clear();

        c.broadcast(event, QVariant());

        QCOMPARE(QorbLogUtlStub::messages(), logged.isEmpty() ? QList<QByteArray>() : QList<QByteArray>{logged});
        QCOMPARE(devices.lines() + logical.lines(), QStringList());
        QCOMPARE(c.plugin.locationInfo("C_1"), locations);
    }
};

QTEST_MAIN(TopologyChangesTest)
#include "tst_topologychanges.moc"
