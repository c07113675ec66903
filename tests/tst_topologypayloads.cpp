#include "PluginTopologyMgt.h"
#include "StandardTopologyModel.h"

#include <QtTest>

// The camera information record and the station records made from the
// servers' node information answers.
class TopologyPayloadsTest : public QObject
{
    Q_OBJECT
private:
    static QVariantMap cameraEntry(const QVariantMap& details, const QString& cameraId = QStringLiteral("S_1/C_1"))
    {
        return {{QStringLiteral("camUID"), cameraId}, {QStringLiteral("camInfo"), details}};
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
        row("prefix only at the start", {{"name", "Gate c_Lobby"}}, "nameRole", "Gate c_Lobby");
        row("one prefix only", {{"name", "c_d_Lobby"}}, "nameRole", "d_Lobby");
        row("brand default", {}, "brandRole", "xrqz");
        row("brand given", {{"brand", "Acme"}}, "brandRole", "Acme");
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
        row("no DO names", {{"doCount", 0}}, "doNameListRole", QStringList());
        row("auto tracking", {{"suppAutoTrack", true}}, "suppAutoTrackingRole", true);
        row("resolutions", {{"resolutionList", QVariantList{"1920x1080", "640x480"}}}, "resolutionListRole",
            QStringList{"1920x1080", "640x480"});
        row("rules start empty", {}, "ruleInfoListRole", QVariantList());
        row("station id", {}, "parentStationIDRole", "S_1");
        row("camera type as text", {{"type", "PTZSpeedDome"}}, "camModelRole", "PTZSpeedDome");
    }

    void cameraRecordValues()
    {
        QFETCH(QVariantMap, details);
        QFETCH(QString, recordKey);
        QFETCH(QVariant, expected);
        PluginTopologyMgt plugin;

        const QVariantMap record = plugin.createCameraInfoMap(cameraEntry(details), QStringLiteral("S_1"));

        QVERIFY2(record.contains(recordKey), qPrintable(recordKey));
        QCOMPARE(record.value(recordKey), expected);
    }

    void eventCapabilities()
    {
        PluginTopologyMgt plugin;
        const QVariantMap details{{QStringLiteral("suppAutoTrack"), true},
                                  {QStringLiteral("suppPTZ"), true},
                                  {QStringLiteral("suppThermalFireSpotEvent"), true},
                                  {QStringLiteral("supportRunningDetection"), true},
                                  {QStringLiteral("suppThermalFireSpot"), true}};

        const QVariantMap events = plugin.createCameraInfoMap(cameraEntry(details), QString())
                                       .value(QStringLiteral("supportEventsRole"))
                                       .toMap();

        QCOMPARE(events.size(), 35);
        QCOMPARE(events.value(QStringLiteral("suppAutoTracking")), QVariant(true));
        QCOMPARE(events.value(QStringLiteral("suppPTZ")), QVariant(true));
        QCOMPARE(events.value(QStringLiteral("suppThermalFireSpot")), QVariant(true));
        QCOMPARE(events.value(QStringLiteral("suppRunningDetection")), QVariant(true));
        QCOMPARE(events.value(QStringLiteral("suppLoitering")), QVariant(false));
        QVERIFY(!events.contains(QStringLiteral("suppAutoTrack")));
        QVERIFY(!events.contains(QStringLiteral("suppThermalFireSpotEvent")));
    }

    void knownCamerasKeepTheirStatus()
    {
        PluginTopologyMgt plugin;
        DeviceTree& tree = plugin.deviceTree();
        tree.insertLoginStation(QStringLiteral("HQ"), QStringLiteral("10.0.0.1"));
        tree.insertNewNodes(QString(), {QVariantMap{{QStringLiteral("nodeUID"), QStringLiteral("C_1")},
                                                    {QStringLiteral("nodeType"), QStringLiteral("Camera")}}});
        tree.setData(QStringLiteral("C_1"), StandardTopologyModel::connectedRole, true);
        tree.setData(QStringLiteral("C_1"), StandardTopologyModel::recordingRole, true);

        const QVariantMap known = plugin.createCameraInfoMap(cameraEntry({}, QStringLiteral("C_1")), QString());
        const QVariantMap unknown = plugin.createCameraInfoMap(cameraEntry({}, QStringLiteral("C_2")), QString());

        QCOMPARE(known.value(QStringLiteral("connectedRole")), QVariant(true));
        QCOMPARE(known.value(QStringLiteral("recordingRole")), QVariant(true));
        QCOMPARE(unknown.value(QStringLiteral("connectedRole")), QVariant(false));
        QCOMPARE(unknown.value(QStringLiteral("recordingRole")), QVariant(false));
    }

    void malformedEntriesGiveEmptyValues()
    {
        PluginTopologyMgt plugin;
        const QVariantList cameras{
            QVariantMap{{QStringLiteral("camUID"), QStringLiteral("C_1")}},
            QVariantMap{{QStringLiteral("camUID"), QStringLiteral("C_2")}, {QStringLiteral("camInfo"), QVariantList{1}}},
            QVariantMap{{QStringLiteral("camUID"), QVariantList{}},
                        {QStringLiteral("camInfo"),
                         QVariantMap{{QStringLiteral("name"), QVariantMap()},
                                     {QStringLiteral("port"), QStringLiteral("eighty")},
                                     {QStringLiteral("mechPtzCap"), 5},
                                     {QStringLiteral("diCount"), -3},
                                     {QStringLiteral("resolutionList"), 7}}}},
            QVariant(42),
            QVariant(),
        };

        const std::vector<QVariantMap> records = plugin.parseCamerasList(cameras, QStringLiteral("S_1"));

        QCOMPARE(records.size(), size_t(5));
        const QVariantMap reference = plugin.createCameraInfoMap(QVariantMap(), QStringLiteral("S_1"));
        for (const QVariantMap& record : records) {
            QCOMPARE(record.keys(), reference.keys());
            QCOMPARE(record.value(QStringLiteral("nameRole")).toString(), QString());
            QCOMPARE(record.value(QStringLiteral("portRole")).toInt(), 0);
            QCOMPARE(record.value(QStringLiteral("suppMechPtzRole")).toBool(), false);
        }
        QCOMPARE(records.at(0).value(QStringLiteral("idRole")).toString(), QStringLiteral("C_1"));
        QCOMPARE(records.at(2).value(QStringLiteral("diNameListRole")).toStringList(), QStringList());
        QVERIFY(plugin.parseCamerasList({}, QString()).empty());
    }

    void stationRecordsAndAnnouncedSubstations()
    {
        PluginTopologyMgt plugin;
        const QVariantList stations{
            QVariantMap{{QStringLiteral("stationUID"), QStringLiteral("S_1")},
                        {QStringLiteral("info"),
                         QVariantMap{{QStringLiteral("RefName"), QStringLiteral("s_Warehouse")},
                                     {QStringLiteral("Model"), QStringLiteral("NVR-8")},
                                     {QStringLiteral("DINum"), 2},
                                     {QStringLiteral("DONum"), 1},
                                     {QStringLiteral("DeepSearchVersion"), QStringLiteral("2.1")}}}},
            QVariant(QStringLiteral("not a station")),
        };

        const std::vector<QVariantMap> records = plugin.parseStationsList(stations);

        QCOMPARE(records.size(), size_t(2));
        QCOMPARE(records.at(0).value(QStringLiteral("nameRole")).toString(), QStringLiteral("Warehouse"));
        QCOMPARE(records.at(0).value(QStringLiteral("diNameListRole")).toStringList(),
                 (QStringList{QStringLiteral("DI-1"), QStringLiteral("DI-2")}));
        QCOMPARE(records.at(0).value(QStringLiteral("doNameListRole")).toStringList(), QStringList{QStringLiteral("DO-1")});
        QCOMPARE(records.at(1).value(QStringLiteral("idRole")).toString(), QString());
        QCOMPARE(records.at(1).size(), 9);

        // Sub-stations are announced with their parent as the tree holds it.
        DeviceTree& tree = plugin.deviceTree();
        tree.insertLoginStation(QStringLiteral("HQ"), QString());
        const auto station = [](const char* id, const char* name, bool redundant, const char* type = "Station") {
            return QVariantMap{{QStringLiteral("nodeUID"), id}, {QStringLiteral("nodeName"), name},
                               {QStringLiteral("nodeType"), type}, {QStringLiteral("isRedundantServer"), redundant}};
        };
        const QVariantList nodeList{station("S_1", "s_Warehouse", false), station("S_9", "s_Standby", true),
                                    station("C_1", "c_Door", false, "Camera"), station("S_2", "d_Parking", false),
                                    station("S_3", "Lower", false, "station")};
        tree.insertNewNodes(QString(), nodeList);
        const QVariantList announced = plugin.allNonRedundantServerSubstations(nodeList);
        QCOMPARE(announced.size(), 2);
        QCOMPARE(announced.at(0).toMap(),
                 (QVariantMap{{QStringLiteral("nodeUID"), QStringLiteral("S_1")},
                              {QStringLiteral("nodeName"), QStringLiteral("Warehouse")},
                              {QStringLiteral("parentStationID"), QString()}}));
        QCOMPARE(announced.at(1).toMap().value(QStringLiteral("nodeName")).toString(), QStringLiteral("Parking"));
    }
};

QTEST_MAIN(TopologyPayloadsTest)
#include "tst_topologypayloads.moc"
