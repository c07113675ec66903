#include "LogicalTreeInstallation.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QtTest>

#include <functional>
#include <memory>

using Logical = LogicalTreeModel;
using Device = StandardTopologyModel;
using Tester = QAbstractItemModelTester;

namespace {

// Every computed role, and those of a camera that came or went without its station.
const QString kAllRoles = "0,259,261,268,269,270,271,272,273,274,275,276,277,278,279,280,281,282";
const QString kCameraRoles = "0,259,261,268,269,270,271,275,276,277,278,279,280,281,282";

QVariant runningFor(const QString& key, const QString& station)
{
    return QVariantMap{{key, QVariantMap{{"Name", "F_9"}, {"Status", QVariantMap{{"#text", "Running"},
                                                                                  {"@Server", station}}}}}};
}

// The installation, filled under the model tester, and a recorder of the model's notifications.
struct Fixture : LogicalTreeInstallation
{
    Fixture()
        : tester(&topologyData, Tester::FailureReportingMode::Fatal)
        , recorder(&topologyData, Logical::idRole)
    {
        build();
        recorder.clear();
    }
    QVariant value(const QString& treeId, int role) const { return findByTreeId(topologyData, treeId).data(role); }

    Tester tester;
    ModelNotificationRecorder recorder;
};

using Operation = std::function<void(Fixture&)>;

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestLogicalTreeTopologyDataModel : public QObject
{
    Q_OBJECT

private slots:
    void computedRoles();
    void displayIcons();
    void notifiesOnlyAffectedNodes_data();
    void notifiesOnlyAffectedNodes();
    void topologyResetSwapAndLoss();
    void malformedNodesAreHarmless();
};

void TestLogicalTreeTopologyDataModel::computedRoles()
{
    // given
    Fixture f;
    f.failover.UpdateStatus(runningFor("GetFailoverStatusRes", "R"));
    const struct {
        const char* treeId;
        int role;
        QVariant expected;
    } cases[] = {
            {"T1", Logical::nameRole, "Gate"},                     // camera named by its device
            {"F1", Logical::nameRole, "Lobby"},                    // folder keeps its name
            {"T5", Logical::nameRole, QVariant()},                 // unknown camera has no name
            {"T1", Logical::cameraTypeRole, 2},                    // a device field passed through
            {"T2", Logical::isConnectedRole, false},
            {"T1", Logical::isSKYRCloudDeviceRole, false},         // root station is no cloud
            {"T2", Logical::isSKYRCloudDeviceRole, true},          // cloud station
            {"T2", Logical::isSKYRCloudDeviceRelayConnectRole, true},
            {"T9", Logical::isSKYRCloudDeviceRole, true},          // cloud by relay path
            {"T8", Logical::isSKYRCloudDeviceRole, true},          // cloud folder station
            {"T8", Logical::isSKYRCloudDeviceRelayConnectRole, false},
            {"T4", Logical::isSubstationDisconnectedRole, true},   // behind offline substation
            {"S11/C_1_0", Logical::isSubstationDisconnectedRole, true},
            {"T10", Logical::isSubstationDisconnectedRole, false}, // below login station
    };
    for (const auto& [treeId, role, expected] : cases) {
        const QVariant actual = f.value(treeId, role);
        QVERIFY2(actual == expected, qPrintable(QStringLiteral("%1 role %2 is %3").arg(treeId).arg(role).arg(
                                             actual.isValid() ? actual.toString() : QStringLiteral("invalid"))));
    }

    // and the whole record joins device fields, capability flags and take-over to the logical fields,
    // leaving out flags that are false
    const QVariantMap camera = f.value("T1", Logical::dataRole).toMap();
    QCOMPARE(camera.value("idRole"), QVariant("T1"));
    QCOMPARE(camera.value("brandRole"), QVariant("ONVI"));
    QCOMPARE(camera.value("suppPTZ"), QVariant(true));
    QCOMPARE(camera.value("isUseEdgeRecordingRole"), QVariant(true));
    QCOMPARE(camera.value("takenOverRole"), QVariant(true));
    QCOMPARE(camera.value("takenOverIdRole"), QVariant("S_9"));
    QVERIFY(!camera.contains("isSKYRCloudDeviceRole"));
    QCOMPARE(f.value("T2", Logical::dataRole).toMap().value("isSKYRCloudDeviceRelayConnectRole"), QVariant(true));
    QVERIFY(!f.value("T2", Logical::dataRole).toMap().contains("isSubstationDisconnectedRole"));
    QVERIFY(!f.value("F1", Logical::dataRole).toMap().contains("ipRole"));
}

void TestLogicalTreeTopologyDataModel::displayIcons()
{
    // given a removed camera, a local database, a folder of a cloud station and a node of no known kind
    Fixture f;
    f.devices.insertRemovedCameras("S1", {QVariantMap{{"camID", "old"}, {"camName", "Old"}, {"cameraType", 2}}});
    f.logical.insertRemovedCameras("S1", {QVariantMap{{"camID", "old"}, {"camName", "Old"}}});
    f.logical.insertNewLocalDB({{"cam1", QVariantMap{{"camName", "Archive"}, {"recPath", "D:"}}}}, "Disk");
    QStandardItemModel* store = f.logical.getModel();
    store->setData(findByTreeId(*store, "F2"), "S1/x", Logical::cameraNodeIDRole);
    store->setData(findByTreeId(*store, "T11"), 9, Logical::typeRole);
    // when
    f.logical.updateDiDoValues({{"NodeId", "S11/C_1"}, {"EventType", "DI"}, {"Index", 1}, {"Value", "Rising"}});
    // then
    const QList<QPair<QString, QString>> expected{
            {"_REMOVED_CAMERAS_/S1/old", "removedCamera"}, {"S2", "ioSubstation"},
            {"S2/E_1", "ioDeviceDisconnected"},           {"D:/cam1", "localDBCamera"},
            {"S11/C_1_0", "diRising"},                    {"S11/C_1_1", "doFalling"},
            {"F1", "folder"},                             {"CLOUD", "SKYRCloudFolder"},
            {"F2", "SKYRCloudSubstationFolder"},          {"T11", ""},
    };
    for (const auto& [treeId, icon] : expected)
        QCOMPARE(f.value(treeId, Logical::displayIconRole).toString(), icon);

    // and cameras by their model and connection
    const QStringList models{"", "Box", "Bullet", "MiniBox", "PTZSpeedDome", "Cube", "MobileDome", "Fisheye",
                             "FixedDome", "VideoServer", "", "MultiAngle", ""};
    for (int type = 0; type < models.size(); ++type) {
        for (bool connected : {true, false}) {
            f.devices.setDataMap("R/C_2", {{"camTypeRole", type}, {"connectedRole", connected}});
            const QString icon = type == Device::CameraExternalDevice
                    ? "cameraExternalDevice"
                    : "camera" + models.at(type) + (connected ? "Connected" : "Disconnected");
            QCOMPARE(f.value("T10", Logical::displayIconRole).toString(), icon);
        }
    }
}

void TestLogicalTreeTopologyDataModel::notifiesOnlyAffectedNodes_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QStringList>("expected");

    const auto changed = [](const QString& treeId, const QString& roles) {
        return QStringLiteral("changed %1 roles %2").arg(treeId, roles);
    };
    QTest::newRow("camera goes offline") << Operation([](Fixture& f) {
        f.devices.setDataMap("R/C_1", {{"connectedRole", false}});
    }) << QStringList{changed("T1", "261,271,278"), changed("T3", "261,271,278")};
    QTest::newRow("camera renamed") << Operation([](Fixture& f) { f.devices.updateNodeName("R/C_1", "Main"); })
                                    << QStringList{changed("T1", "0,259,261"), changed("T3", "0,259,261")};
    QTest::newRow("field outside every computed role") << Operation([](Fixture& f) {
        f.devices.setData("R/C_1", Device::camModelRole, "X-1");
    }) << QStringList();
    QTest::newRow("camera outside the logical tree") << Operation([](Fixture& f) {
        f.devices.setDataMap("S2/C_1", {{"connectedRole", true}});
    }) << QStringList();
    QTest::newRow("login station goes offline") << Operation([](Fixture& f) {
        f.devices.setDataMap("R", {{"connectedRole", false}});
    }) << QStringList();
    QTest::newRow("substation goes offline") << Operation([](Fixture& f) {
        f.devices.setDataMap("S1", {{"connectedRole", false}});
    }) << QStringList{changed("T2", "261,274"), changed("T4", "261,274"), changed("T9", "261,274"),
                      changed("T7", "261,274"), changed("S11/C_1_0..S11/C_1_1", "261,274")};
    QTest::newRow("station removed") << Operation([](Fixture& f) { f.devices.removeNodes({"S11"}); })
                                     << QStringList{changed("T4", kAllRoles), changed("T7", kAllRoles),
                                                    changed("S11/C_1_0..S11/C_1_1", "261,272,273,274")};
    QTest::newRow("camera arrives") << Operation([](Fixture& f) {
        f.devices.insertNewCameraNodes({QVariantMap{{"nodeUID", "R/C_3"}, {"parentStationID", "R"}}});
    }) << QStringList{changed("T11", kCameraRoles)};
    QTest::newRow("station taken over") << Operation([](Fixture& f) {
        f.failover.UpdateStatus(runningFor("FailoverStatusChg", "S11"));
    }) << QStringList{changed("T4", "261,275"), changed("T7", "261,275")};
    QTest::newRow("folder renamed") << Operation([](Fixture& f) { f.logical.renameNode("F1", "Hall"); })
                                    << QStringList{changed("F1", "259"), changed("F1", "0,261")};
    QTest::newRow("DI level") << Operation([](Fixture& f) {
        f.logical.updateDiDoValues({{"NodeId", "S11/C_1"}, {"EventType", "DI"}, {"Index", 1}, {"Value", "Rising"}});
    }) << QStringList{changed("S11/C_1_0", "264"), changed("S11/C_1_0", "261,278")};
}

void TestLogicalTreeTopologyDataModel::notifiesOnlyAffectedNodes()
{
    QFETCH(Operation, operation);
    QFETCH(QStringList, expected);
    // given
    Fixture f;
    // when
    operation(f);
    // then
    QCOMPARE(f.recorder.lines(), expected);
}

void TestLogicalTreeTopologyDataModel::topologyResetSwapAndLoss()
{
    // given
    Fixture f;
    // when the device tree is cleared (a lost server connection)
    f.devices.clear();
    // then every node of a known device hears of it (the station I/O device keeps its own name and icon),
    // with the DI/DO of cameras, and cameras lose their device names; adjacent rows with the same
    // roles are told in one signal (F1's, F2's, then the top level's T4 and T9, T10)
    QStringList expected;
    for (const QString& treeIds : QStringList{"T1..T2", "T3..T7", "T4", "T9..T10"})
        expected << "changed " + treeIds + " roles " + kAllRoles;
    expected << "changed S11/C_1_0..S11/C_1_1 roles 261,272,273,274"
             << "changed S2 roles 261,268,269,270,271,272,273,274,275,276,277,279,280,281,282";
    QCOMPARE(f.recorder.lines(), expected);
    QCOMPARE(f.value("T1", Logical::nameRole), QVariant());

    // when another topology is set on a populated tree: one reset, values from the new one
    f.recorder.clear();
    {
        auto plain = std::make_unique<QStandardItemModel>();
        auto* node = new QStandardItem;
        node->setData("R/C_1", Device::idRole);
        node->setData("Plain", Device::nameRole);
        plain->appendRow(node);
        f.topologyData.setTopologyModel(plain.get());
        QCOMPARE(f.recorder.lines(), QStringList{"reset"});
        QCOMPARE(f.value("T1", Logical::nameRole), QVariant("Plain"));
        QCOMPARE(f.topologyData.topologyModel(), plain.get());
        // and loses it
    }
    QCOMPARE(f.topologyData.topologyModel(), nullptr);
    QCOMPARE(f.recorder.lines(), QStringList({"reset", "reset"}));
    QCOMPARE(f.value("T1", Logical::nameRole), QVariant());
    QCOMPARE(f.value("T1", Logical::displayIconRole), QVariant("cameraDisconnected"));
}

void TestLogicalTreeTopologyDataModel::malformedNodesAreHarmless()
{
    // given nodes whose fields have the wrong kinds, and a model without source or topology
    Fixture f;
    QStandardItemModel* store = f.logical.getModel();
    store->setData(findByTreeId(*store, "T2"), QVariantList{1, 2}, Logical::cameraNodeIDRole);
    store->setData(findByTreeId(*store, "T1"), "/", Logical::cameraNodeIDRole);
    store->setData(findByTreeId(*store, "F1"), QVariantMap{{"a", 1}}, Logical::typeRole);
    LogicalTreeTopologyDataModel empty;
    // when / then: reads and notifications go on
    QCOMPARE(f.value("T2", Logical::nameRole), QVariant());
    QCOMPARE(f.value("T1", Logical::isSKYRCloudDeviceRole), QVariant(false));
    QCOMPARE(f.value("F1", Logical::displayIconRole), QVariant(""));
    QCOMPARE(empty.data(QModelIndex(), Logical::nameRole), QVariant());
    f.recorder.clear();
    f.devices.setDataMap("S1", {{"connectedRole", false}});
    QCOMPARE(f.recorder.lines().first(), QString("changed T2 roles 261,274"));
}

QTEST_MAIN(TestLogicalTreeTopologyDataModel)
#include "tst_logicaltreetopologydatamodel.moc"
