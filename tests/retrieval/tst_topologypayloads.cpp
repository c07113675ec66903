#include "PluginTopologyMgt.h"
#include "StandardTopologyModel.h"

#include <QtTest>

// The camera information record and the station records made from the
// servers' node information answers.
class TopologyPayloadsTest : public QObject
{
    Q_OBJECT
private:
    static QVariantMap cameraEntry(const QVariantMap& details, const QString& cameraId = "S_1/C_1")
    {
        return {{"camUID", cameraId}, {"camInfo", details}};
    }

private slots:
    void cameraRecordValues_data()
    {
        QTest::addColumn<QVariantMap>("details");
        QTest::addColumn<QString>("recordKey");
        QTest::addColumn<QVariant>("expected");

        const auto row = [](const char* name, const QVariantMap& details, const char* key, const QVariant& expected) {
            QTest::newRow(name) << details << QString::fromLatin1(key) << expected;
        };
        row("prefix removed", {{"name", "c_Lobby"}}, "nameRole", "Lobby");
        row("brand default", {}, "brandRole", "xrqz");
        row("empty brand kept", {{"brand", ""}}, "brandRole", "");
        row("plain port", {{"port", 80}, {"httpsPort", 443}}, "portRole", 80);
        row("ssl port", {{"port", 80}, {"httpsPort", 443}, {"useSSL", true}}, "portRole", 443);
        row("http port stays", {{"port", 80}, {"httpsPort", 443}, {"useSSL", true}}, "httpPortRole", 80);
        row("suppVCARole alone loses", {{"suppVCARole", true}}, "suppVCARole", false);
        row("suppVCA wins", {{"suppVCARole", false}, {"suppVCA", true}}, "suppVCARole", true);
        row("ampersand first", {{"url", "rtsp://h/a&amp;lt;b"}}, "urlRole", "rtsp://h/a<b");
        row("all references", {{"url", "&lt;&gt;&apos;&quot;&amp;"}}, "urlRole", "<>'\"&");
        row("washer", {{"peripheralSupDev", "wiper,washer"}}, "supportWasherRole", true);
        row("Washer is not washer", {{"peripheralSupDev", "Washer"}}, "supportWasherRole", false);
        row("either LPR", {{"suppVaxtorLPR", true}}, "supportLPRRole", true);
        row("no LPR", {{"suppNeuralLabLPR", false}}, "supportLPRRole", false);
        row("ptz from its map", {{"mechPtzCap", QVariantMap{{"suppPTZ", true}}}}, "suppMechPtzRole", true);
        row("top-level ptz is not mechanical", {{"suppPTZ", true}}, "suppMechPtzRole", false);
        row("default DI names", {{"diCount", 2}}, "diNameListRole", QStringList{"DI-1", "DI-2"});
        row("auto tracking", {{"suppAutoTrack", true}}, "suppAutoTrackingRole", true);
        row("resolutions", {{"resolutionList", QVariantList{"1920x1080", "640x480"}}}, "resolutionListRole",
            QStringList{"1920x1080", "640x480"});
        row("camera model as text", {{"type", "PTZSpeedDome"}}, "camModelRole", "PTZSpeedDome");
        row("camera type from its model word", {{"type", "PTZSpeedDome"}}, "camTypeRole", 4);
        row("model words are exact", {{"type", "fixeddome"}}, "camTypeRole", 0);
        row("camera type from decimal text", {{"type", "11"}}, "camTypeRole", 11);
        row("camera type from a JSON number", {{"type", QVariant::fromValue<qlonglong>(8)}}, "camTypeRole", 8);
    }

    void cameraRecordValues()
    {
        QFETCH(QVariantMap, details);
        QFETCH(QString, recordKey);
        QFETCH(QVariant, expected);
        PluginTopologyMgt plugin;

        const QVariantMap record = plugin.createCameraInfoMap(cameraEntry(details), "S_1");

        QVERIFY2(record.contains(recordKey), qPrintable(recordKey));
        QCOMPARE(record.value(recordKey), expected);
        // Views compare with values of exactly this type.
        QCOMPARE(record.value(recordKey).metaType(), expected.metaType());
    }

    void eventCapabilities()
    {
        PluginTopologyMgt plugin;
        const QVariantMap details{{"suppAutoTrack", true}, {"suppPTZ", true}, {"suppThermalFireSpotEvent", true},
                                  {"supportRunningDetection", true}, {"suppThermalFireSpot", true}};

        const QVariantMap events =
            plugin.createCameraInfoMap(cameraEntry(details), QString()).value("supportEventsRole").toMap();

        QCOMPARE(events.value("suppAutoTracking"), QVariant(true));
        QCOMPARE(events.value("suppPTZ"), QVariant(true));
        QCOMPARE(events.value("suppThermalFireSpot"), QVariant(true));
        QCOMPARE(events.value("suppRunningDetection"), QVariant(true));
        QCOMPARE(events.value("suppLoitering"), QVariant(false));
        QVERIFY(!events.contains("suppAutoTrack"));
        QVERIFY(!events.contains("suppThermalFireSpotEvent"));
    }

    void knownCamerasKeepTheirStatus()
    {
        PluginTopologyMgt plugin;
        DeviceTree& tree = plugin.deviceTree();
        tree.insertLoginStation("HQ", "10.0.0.1");
        tree.insertNewNodes(QString(), {QVariantMap{{"nodeUID", "C_1"}, {"nodeType", "Camera"}}});
        tree.setDataMap("C_1", {{"connectedRole", true}, {"recordingRole", true}});

        const QVariantMap known = plugin.createCameraInfoMap(cameraEntry({}, "C_1"), QString());
        const QVariantMap unknown = plugin.createCameraInfoMap(cameraEntry({}, "C_2"), QString());

        QCOMPARE(known.value("connectedRole"), QVariant(true));
        QCOMPARE(known.value("recordingRole"), QVariant(true));
        QCOMPARE(unknown.value("connectedRole"), QVariant(false));
        QCOMPARE(unknown.value("recordingRole"), QVariant(false));
    }

    void malformedEntriesGiveEmptyValues()
    {
        PluginTopologyMgt plugin;
        const QVariantMap wrongTypes{{"name", QVariantMap()}, {"port", "eighty"}, {"mechPtzCap", 5},
                                     {"diCount", -3}, {"resolutionList", 7}};
        const QVariantList cameras{QVariantMap{{"camUID", "C_1"}},
                                   QVariantMap{{"camUID", "C_2"}, {"camInfo", QVariantList{1}}},
                                   QVariantMap{{"camUID", QVariantList{}}, {"camInfo", wrongTypes}}, QVariant(42),
                                   QVariant()};

        const std::vector<QVariantMap> records = plugin.parseCamerasList(cameras, "S_1");

        QCOMPARE(records.size(), size_t(5));
        const QVariantMap reference = plugin.createCameraInfoMap(QVariantMap(), "S_1");
        for (const QVariantMap& record : records) {
            QCOMPARE(record.keys(), reference.keys());
            QCOMPARE(record.value("nameRole").toString(), QString());
            QCOMPARE(record.value("portRole").toInt(), 0);
            QCOMPARE(record.value("suppMechPtzRole").toBool(), false);
        }
        QCOMPARE(records.at(0).value("idRole").toString(), "C_1");
        QCOMPARE(records.at(2).value("diNameListRole").toStringList(), QStringList());
        QVERIFY(plugin.parseCamerasList({}, QString()).empty());
    }

    void stationRecordsAndAnnouncedSubstations()
    {
        PluginTopologyMgt plugin;
        const QVariantMap info{{"RefName", "s_Warehouse"}, {"Model", "NVR-8"}, {"DINum", 2}, {"DONum", 1},
                               {"DeepSearchVersion", "2.1"}};
        const QVariantList stations{QVariantMap{{"stationUID", "S_1"}, {"info", info}}, QVariant("not a station")};

        const std::vector<QVariantMap> records = plugin.parseStationsList(stations);

        QCOMPARE(records.size(), size_t(2));
        QCOMPARE(records.at(0).value("nameRole").toString(), "Warehouse");
        QCOMPARE(records.at(0).value("diNameListRole").toStringList(), QStringList({"DI-1", "DI-2"}));
        QCOMPARE(records.at(0).value("doNameListRole").toStringList(), QStringList{"DO-1"});
        QCOMPARE(records.at(1).value("idRole").toString(), QString());
        QCOMPARE(records.at(1).size(), 9);

        // Sub-stations are announced with their parent as the tree holds it.
        plugin.deviceTree().insertLoginStation("HQ", QString());
        const auto station = [](const char* id, const char* name, bool redundant, const char* type = "Station") {
            return QVariantMap{
                {"nodeUID", id}, {"nodeName", name}, {"nodeType", type}, {"isRedundantServer", redundant}};
        };
        const QVariantList nodeList{station("S_1", "s_Warehouse", false), station("S_9", "s_Standby", true),
                                    station("C_1", "c_Door", false, "Camera"), station("S_2", "d_Parking", false),
                                    station("S_3", "Lower", false, "station")};
        plugin.deviceTree().insertNewNodes(QString(), nodeList);
        const QList<RedundantStationInfo> announced = plugin.allNonRedundantServerSubstations(nodeList);
        QCOMPARE(announced.size(), 2);
        QCOMPARE(announced.at(0), RedundantStationInfo("S_1", "Warehouse", QString(), false));
        QCOMPARE(announced.at(1).stationName, "Parking");
    }
};

QTEST_MAIN(TopologyPayloadsTest)
#include "tst_topologypayloads.moc"
