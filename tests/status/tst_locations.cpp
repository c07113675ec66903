#include "NodeDataCommander.h"
#include "QorbLogUtlStub.h"
#include "RecordingLocations.h"
#include "SampleConnection.h"

#include <QtTest>

// Where playback finds each channel's recordings. In the sample the headquarters
// record every camera in Loc1 and Loc1_Sub, C_1, C_2 and the removed C_13 also in
// the unavailable Loc2; C_8 records on its own card too; S_1 and the NVR S_2 have
// a Loc1 each.
class LocationsTest : public QObject
{
    Q_OBJECT
    static QVariantMap entry(const QString& location, bool available, const char* alias = "C_50")
    {
        return {{"Name", location}, {"Available", available}, {"Alias", alias}, {"RefAlias", "c_Fifty"}, {"GrpName", "Disks"}, {"Stream", 1}};
    }
    static QVariantMap locations(const QString& station, const QVariantList& entries, const QVariantList& removed = {})
    {
        QVariantList locInfo;
        for (const QVariant& channel : entries)
            locInfo << QVariantMap{{"Name", channel.toMap().value("Name")}, {"locs", QVariantList{channel}}};
        return {{"relayPath", station}, {"locInfo", locInfo}, {"removedCameras", removed}};
    }
    static QVariantMap channelEvent(const char* station, const char* alias, const QString& location, const char* method = "")
    {
        return {{"relayPath", station}, {"chnlInfo", QVariantMap{{"CamName", alias}, {"CamRefName", "c_Gate 20"}, {"GrpName", "Disks"},
                                                                 {"Loc", location}, {"Stream", location.contains("_Sub") ? 2 : 1},
                                                                 {"Method", method}}}};
    }
    static QString at(const SampleConnection& c, const QString& node) { return c.plugin.locationDataFrom(node, "locationRole").toString(); }
    static QStringList streams(const SampleConnection& c, const QString& node) { return c.plugin.streamInfo(node).keys(); }
    static bool streamAvailable(const SampleConnection& c, const QString& node, const QString& location)
    {
        return c.plugin.streamInfo(node).value(location).value("available").toBool();
    }
    // Removed-camera nodes of that camera, in both trees.
    static int removedNodes(SampleConnection& c, const QString& cameraId)
    {
        return int(c.plugin.existedInDeviceTree(cameraId)) + int(c.logicalNode(LogicalTree::kRemovedCamerasFolderId + "/" + cameraId).isValid());
    }

private slots:
    void initTestCase() { NodeDataCommander::setRetryDelaysForTesting(40, 20); }

    void locationAnswersFillBothTablesAndTheRemovedCameras()
    {
        SampleConnection c;
        QVERIFY(c.ready());

        QCOMPARE(c.plugin.locationInfo("C_1"), (QVariantMap{{"nameRole", "Main Entrance"}, {"relayPathRole", ""}, {"camIDRole", "C_1"},
                                                             {"queryFromRole", 0}, {"locationRole", "Loc1"}, {"availableRole", true}}));
        QCOMPARE(c.plugin.streamInfo("C_1").value("Loc1_Sub"), (QVariantMap{{"groupName", "RAID Array"}, {"streamIndex", 2}, {"available", true}}));
        QVERIFY(!streamAvailable(c, "C_1", "Loc2"));
        QCOMPARE(streams(c, "C_8"), (QStringList{"C_8", "Loc1", "Loc1_Sub"})); // the available station location keeps priority
        QCOMPARE(at(c, "C_8"), QStringLiteral("Loc1"));
        QCOMPARE(c.plugin.streamInfo("S_2/C_1").value("Loc1"), (QVariantMap{{"groupName", "Parking Level 1"}, {"streamIndex", 1}, {"available", true}}));
        QCOMPARE(c.plugin.getCameraNameFromLocation("Loc1", "S_1"), QStringLiteral("Warehouse Aisle 1"));
        QCOMPARE(c.plugin.getCameraNameByLocID("C_2", "Loc2") + c.plugin.getCameraNameByLocID("C_3", "Loc2"), QStringLiteral("Lobby"));
        QCOMPARE(removedNodes(c, "C_13") + removedNodes(c, "C_14"), 4);

        // Recordings on a camera's card count even while it records elsewhere.
        c.reply("RetrieveCamInfo", QVariantMap{{"relayPath", "S_1"}, {"cameras", QVariantList{QVariantMap{
                                                   {"camUID", "S_1/C_5"}, {"camInfo", QVariantMap{{"hasEdgeRecordingFile", true}}}}}}});
        QCOMPARE(streams(c, "S_1/C_5"), (QStringList{"C_5", "Loc1"}));

        // Listed again, removed cameras are not doubled; a failed answer changes nothing.
        QSignalSpy retrieved(&c.plugin, &PluginTopologyMgt::deviceInfoRetrieved);
        const QVariantList c13{QVariantMap{{"camID", "C_13"}, {"camName", "c_Old Lobby"}}};
        c.broadcast("NotifyLocationChange", locations("", {entry("Loc1", true, "C_13")}, c13));
        QorbLogUtlStub::clear();
        c.reply("QryCamLocation", locations("", {entry("Loc7", true, "C_13")}, {QVariantMap{{"camID", "C_15"}}}), "9");
        QCOMPARE(QorbLogUtlStub::messages().value(0), QByteArray("PluginTopologyMgt::HandleQryLocationInfo, HandleQryLocationInfo return code : 9"));
        QCOMPARE(texts(retrieved), QStringList{""});
        const QModelIndex logicalFolder = c.logicalNode(LogicalTree::kRemovedCamerasFolderId);
        QCOMPARE(logicalFolder.model()->rowCount(logicalFolder), 2);
        QCOMPARE(removedNodes(c, "C_13") + removedNodes(c, "C_14") + removedNodes(c, "C_15"), 4);
    }

    void oneLocationIsChosenPerChannel_data()
    {
        QTest::addColumn<QVariantList>("entries");
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<bool>("available");
        QTest::newRow("available before unavailable") << QVariantList{entry("LocA", true), entry("LocB", false)} << "LocA" << true;
        QTest::newRow("both available: the later") << QVariantList{entry("LocA", true), entry("LocB", true)} << "LocB" << true;
        QTest::newRow("only unavailable: kept") << QVariantList{entry("LocA", false)} << "LocA" << false;
        QTest::newRow("unavailable replaced") << QVariantList{entry("LocA", false), entry("LocB", true)} << "LocB" << true;
        QTest::newRow("sub never replaces main") << QVariantList{entry("Loc1", true), entry("Loc1_Sub", true)} << "Loc1" << true;
    }
    void oneLocationIsChosenPerChannel()
    {
        QFETCH(QVariantList, entries);
        QFETCH(QString, chosen);
        QFETCH(bool, available);
        const DeviceTree devices;
        RecordingLocations table(devices);

        table.applyLocationAnswer(locations("S_1", entries));

        const QVariantMap record = table.record("S_1/C_50");
        QCOMPARE(record.value("locationRole").toString(), chosen);
        QCOMPARE(record.value("availableRole").toBool(), available);
        QCOMPARE(record.value("nameRole").toString(), QStringLiteral("Fifty"));
        QCOMPARE(table.streams("S_1/C_50").size(), entries.size());
    }

    void edgeRecordingStandsInAndLocationsAreSwitchedByHand()
    {
        SampleConnection c;
        QVERIFY(c.ready());
        const auto edgeStatus = [](const char* camera) {
            return QVariantList{QVariantMap{{"camUID", camera}, {"connected", true}, {"recording", true}, {"useEdgeRecording", true}}};
        };
        c.broadcast("NotifyCameraStatus", edgeStatus("C_8"));
        QCOMPARE(at(c, "C_8"), QStringLiteral("Loc1"));

        c.broadcast("NotifyChannelRemove", channelEvent("S_1", "C_4", "Loc1", "RemoveEntry")); // S_1's only location
        c.broadcast("NotifyCameraStatus", edgeStatus("S_1/C_4"));
        QCOMPARE(at(c, "S_1/C_4"), QStringLiteral("C_4"));
        QCOMPARE(c.plugin.locationDataFrom("S_1/C_4", "queryFromRole").toInt(), 1);
        QCOMPARE(c.plugin.streamInfo("S_1/C_4").value("C_4").value("groupName").toString(), QStringLiteral("EdgeRecording"));

        // Removed while playing from its own card, it stays a camera of its station.
        c.broadcast("NotifyNodeRemove", QVariantMap{{"parentStationID", "S_1"}, {"nodeList", QStringList{"S_1/C_4"}},
                                                    {"nodeType", "Camera"}, {"method", "RemoveEntry"}});
        QCOMPARE(removedNodes(c, "S_1/C_4"), 2);

        c.broadcast("NotifyLocationChange", locations("S_1", {entry("Loc3", true, "C_4")}));
        QCOMPARE(at(c, "S_1/C_4"), QStringLiteral("Loc3"));
        QCOMPARE(c.plugin.locationDataFrom("S_1/C_4", "queryFromRole").toInt(), 0);

        // Switched by hand, to the camera's card or a station location.
        QStringList heard;
        connect(&c.plugin, &PluginTopologyMgt::locationIDChanged, this, [&](const QString& node) {
            heard << QStringLiteral("%1 %2 from %3 %4").arg(node, at(c, node), c.plugin.locationDataFrom(node, "queryFromRole").toString(),
                                                           c.plugin.locationDataFrom(node, "availableRole").toString());
        });

        for (const auto& [node, location] : {std::pair{"C_1", "EdgeRecording"}, {"C_1", "Loc2"}, {"C_1", "loc2"}, {"S_7/C_1", "Loc1"}})
            c.plugin.switchLocationID(node, location);

        // Availability follows where the stream information knows the location.
        QCOMPARE(heard, (QStringList{"C_1 EdgeRecording from 1 true", "C_1 Loc2 from 0 false", "C_1 loc2 from 1 false", "S_7/C_1 Loc1 from 0 "}));
    }

    void channelEvents()
    {
        SampleConnection c;
        QVERIFY(c.ready());
        QSignalSpy changed(&c.plugin, &PluginTopologyMgt::locationIDChanged);

        c.broadcast("NotifyChannelAdd", channelEvent("S_1", "C_20", "Loc5"));
        c.broadcast("NotifyChannelAdd", channelEvent("S_1", "C_20", "Loc5_Sub"));
        QCOMPARE(c.plugin.locationInfo("S_1/C_20"), (QVariantMap{{"nameRole", "Gate 20"}, {"relayPathRole", "S_1"}, {"locationRole", "Loc5"},
                                                                  {"camIDRole", "C_20"}, {"liveRole", true}, {"queryFromRole", 0},
                                                                  {"availableRole", true}, {"streamIndexRole", 1}}));
        QCOMPARE(c.plugin.streamInfo("S_1/C_20").value("Loc5_Sub"), (QVariantMap{{"groupName", "Disks"}, {"streamIndex", 2}, {"available", true}}));

        QorbLogUtlStub::clear();
        c.broadcast("NotifyChannelRemove", channelEvent("S_1", "C_99", "Loc1", "RemoveEntry"));
        c.broadcast("NotifyChannelRemove", channelEvent("", "C_1", "Loc9", "RemoveEntry"));
        QCOMPARE(QorbLogUtlStub::messages(), (QList<QByteArray>{"Location removed, but camera not found, nodeID:S_1/C_99",
                                                                "Channel removed, but location not found, nodeID:C_1, locID:Loc9"}));
        // An entry removed makes the location unavailable; other methods but media removal change nothing.
        c.broadcast("NotifyChannelRemove", channelEvent("", "C_1", "Loc1", "RemoveEntry"));
        c.broadcast("NotifyChannelRemove", channelEvent("", "C_3", "Loc1", "Archive"));
        QVERIFY(!streamAvailable(c, "C_1", "Loc1") && streamAvailable(c, "C_3", "Loc1"));
        QCOMPARE(c.plugin.locationDataFrom("C_1", "availableRole").toBool(), false);
        QCOMPARE(at(c, "C_1"), QStringLiteral("Loc1"));
        // Media removed: to a location that still has recordings, of the same stream kind if there is one.
        c.broadcast("NotifyChannelRemove", channelEvent("", "C_2", "Loc1", "RemoveMedia"));
        c.broadcast("NotifyLocationChange", locations("S_1", {entry("LocB", true), entry("LocA_Sub", true), entry("LocC", true)}));
        c.broadcast("NotifyChannelRemove", channelEvent("S_1", "C_50", "LocC", "RemoveMedia"));
        QCOMPARE(at(c, "C_2"), QStringLiteral("Loc1_Sub"));
        QCOMPARE(at(c, "S_1/C_50"), QStringLiteral("LocB"));
        QCOMPARE(texts(changed), (QStringList{"C_2", "S_1/C_50"}));
    }

    void removedLocationsTakeTheirRemovedCamerasAlong()
    {
        SampleConnection c;
        QVERIFY(c.ready());
        QSignalSpy changed(&c.plugin, &PluginTopologyMgt::locationIDChanged);
        connect(&c.plugin, &PluginTopologyMgt::locationIDChanged, this, [&](const QString& node) {
            QCOMPARE(at(c, node), node);
            QCOMPARE(removedNodes(c, "C_14"), 0);
        });

        c.broadcast("NotifyChannelAdd", channelEvent("S_1", "C_30", "Loc1_Sub")); // known by its stream information only
        c.broadcast("NotifyLocationRemove", QVariantMap{{"relayPath", ""}, {"locInfo", QVariantList{QVariantMap{{"Name", "Loc1"}}, "Loc1_Sub"}}});
        QCOMPARE(streams(c, "S_1/C_30"), QStringList{"Loc1_Sub"});

        // C_14 had nothing elsewhere; C_13 keeps its (unavailable) Loc2.
        QCOMPARE(removedNodes(c, "C_14"), 0);
        QVERIFY(c.plugin.locationInfo("C_14").isEmpty() && c.plugin.streamInfo("C_14").isEmpty());
        QCOMPARE(removedNodes(c, "C_13"), 2);
        QCOMPARE(streams(c, "C_13"), QStringList{"Loc2"});
        QCOMPARE(c.plugin.locationDataFrom("C_13", "availableRole").toBool(), false);
        QCOMPARE(texts(changed), QStringList{"C_8"}); // to its own card
        // Other stations' "Loc1" is another location.
        QCOMPARE(at(c, "S_1/C_1"), QStringLiteral("Loc1"));
        QVERIFY(c.plugin.locationDataFrom("S_1/C_1", "availableRole").toBool() && streamAvailable(c, "S_1/C_1", "Loc1"));

        connect(&c.plugin, &PluginTopologyMgt::serverDisconnected, this, [&] {
            QVERIFY(c.plugin.locationInfo("C_1").isEmpty() && c.plugin.streamInfo("C_1").isEmpty() && c.plugin.cameraStatus("C_1").isEmpty());
        });
        c.plugin.PluginServerDisconnected();
    }

private:
    static QStringList texts(const QSignalSpy& spy) { return SampleConnection::texts(spy); }
};

QTEST_MAIN(LocationsTest)
#include "tst_locations.moc"
