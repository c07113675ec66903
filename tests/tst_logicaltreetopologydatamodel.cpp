#include "DeviceTree.h"
#include "LogicalTree.h"
#include "LogicalTreeTopologyDataModel.h"
#include "StandardFailoverControl.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QtTest>

#include <functional>
#include <memory>

using Logical = LogicalTreeModel;
using Device = StandardTopologyModel;
using Tester = QAbstractItemModelTester;

namespace {

QVariantMap station(const QString& id, const QString& name, const QString& cloudId = QString())
{
    return {{"nodeUID", id}, {"nodeName", name}, {"nodeType", "Station"}, {"skyrCloudDeviceId", cloudId},
            {"skyrCloudDeviceConnectType", cloudId.isEmpty() ? 0 : 1}};
}

QVariantMap camera(const QString& id, const QString& name)
{
    return {{"nodeUID", id}, {"nodeName", name}, {"nodeType", "Camera"}};
}

QVariantMap serverNode(const QString& treeId, const QString& name, const QString& nodeUid,
                       const QVariantList& children = {})
{
    return {{"treeNodeId", treeId}, {"name", name}, {"nodeUID", nodeUid}, {"children", children}};
}

// Devices: R { R/C_1 Gate, R/C_2, S1 (cloud, relay) { S1/C_1 Dock, S11 (offline) { S11/C_1 Shed },
//   S1/S12 (cloud, known by relay path) { S1/S12/C_1 } }, S2 { S2/C_1 } }
void buildDevices(DeviceTree& devices)
{
    devices.insertLoginStation("s_Root", "10.0.0.1");
    devices.setDataMap(QString(), {{"idRole", "R"}, {"nodeIDRole", "R"}, {"connectedRole", true}});
    QVariantMap gate = camera("R/C_1", "c_Gate");
    gate.insert({{"brand", "ONVI"}, {"mechPtzCap", QVariantMap{{"suppPTZ", true}}}});
    devices.insertNewNodes("R", {gate, camera("R/C_2", "Yard"), station("S1", "Branch", "cloud-1"),
                                 station("S2", "Annex")});
    devices.insertNewNodes("S1", {camera("S1/C_1", "Dock"), station("S11", "Depot"),
                                  station("S1/S12", "Pier", "cloud-2")});
    devices.insertNewNodes("S11", {camera("S11/C_1", "Shed")});
    devices.insertNewNodes("S1/S12", {camera("S1/S12/C_1", "Crane")});
    devices.insertNewNodes("S2", {camera("S2/C_1", "Porch")});
    for (const QString& id : QStringList{"S1", "S1/S12", "S2", "R/C_1"})
        devices.setDataMap(id, {{"connectedRole", true}});
    devices.setDataMap("R/C_1", {{"camTypeRole", 2}, {"recordingRole", true}, {"processingStatusRole", 3},
                                 {"isUseEdgeRecordingRole", true}, {"edgeRecordingStreamRole", 2},
                                 {"supportEdgeRecordingRole", true}, {"hasEdgeRecordingFileRole", false}});
}

// Logical: Station(R) { special folders, F1 Lobby { T1 R/C_1, T2 S1/C_1 }, F2 Yard folder { T3 R/C_1,
//   T7 S11/C_1 with DI S11/C_1_0 and DO S11/C_1_1 }, T4 S11/C_1, T5 Q/gone, T8 _SKYRCloud_/x,
//   T9 S1/S12/C_1, T10 R/C_2, T11 R/C_3 (not yet a device), CLOUD folder }
void buildLogical(LogicalTree& logical)
{
    logical.createDefaultNodes();
    logical.set(serverNode("R", "Station", "",
                           {serverNode("F1", "Lobby", "N1", {serverNode("T1", "", "R/C_1"), serverNode("T2", "", "S1/C_1")}),
                            serverNode("F2", "Yard folder", "N2", {serverNode("T3", "", "R/C_1")}),
                            serverNode("T4", "", "S11/C_1"), serverNode("T5", "", "Q/gone"),
                            serverNode("T8", "", "_SKYRCloud_/x"), serverNode("T9", "", "S1/S12/C_1"),
                            serverNode("T10", "", "R/C_2"), serverNode("T11", "", "R/C_3"),
                            serverNode("CLOUD", "Cloud", "_SKYRCloud_")}),
                QString());
    logical.insertCameraNodes({QVariantMap{{"uid", "T7"}, {"parentNodeId", "F2"}, {"camNodeUid", "S11/C_1"},
                                           {"diNum", 1}, {"doNum", 1}}});
}

QModelIndex findById(const QAbstractItemModel& model, const QString& id, const QModelIndex& parent = {})
{
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex node = model.index(row, 0, parent);
        if (node.data(Logical::idRole).toString() == id)
            return node;
        const QModelIndex found = findById(model, id, node);
        if (found.isValid())
            return found;
    }
    return QModelIndex();
}

QString rolesText(QList<int> roles)
{
    std::sort(roles.begin(), roles.end());
    QStringList texts;
    for (int role : roles)
        texts << QString::number(role);
    return texts.join(',');
}

// Every computed role of a camera; without the station roles when only the camera came or went.
QString allCameraRoles(bool withStationRoles)
{
    QList<int> roles{Logical::nameRole, Logical::dataRole};
    for (int role = Logical::cameraTypeRole; role <= Logical::hasEdgeRecordingFileRole; ++role)
        roles << role;
    if (!withStationRoles) {
        roles.removeOne(Logical::isSKYRCloudDeviceRole);
        roles.removeOne(Logical::isSKYRCloudDeviceRelayConnectRole);
        roles.removeOne(Logical::isSubstationDisconnectedRole);
    }
    return rolesText(roles);
}

struct Fixture
{
    Fixture()
    {
        failover.setSourceModel(devices.getModel());
        model.setSourceModel(logical.getModel());
        model.setTopologyModel(&failover);
        tester = std::make_unique<Tester>(&model, Tester::FailureReportingMode::Fatal);
        buildDevices(devices);
        buildLogical(logical);
        recorder = std::make_unique<ModelNotificationRecorder>(&model, Logical::idRole);
    }
    QVariant value(const QString& treeId, int role) const { return findById(model, treeId).data(role); }

    DeviceTree devices;
    StandardFailoverControl failover;
    LogicalTree logical;
    LogicalTreeTopologyDataModel model;
    std::unique_ptr<Tester> tester;
    std::unique_ptr<ModelNotificationRecorder> recorder;
};

using Operation = std::function<void(Fixture&)>;

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestLogicalTreeTopologyDataModel : public QObject
{
    Q_OBJECT

private slots:
    void computedRoles_data();
    void computedRoles();
    void cameraIcons_data();
    void cameraIcons();
    void iconsOfOtherKinds();
    void dataRoleJoinsDeviceFields();
    void notifiesOnlyAffectedNodes_data();
    void notifiesOnlyAffectedNodes();
    void topologyResetSwapAndLoss();
    void malformedNodesAreHarmless();
};

void TestLogicalTreeTopologyDataModel::computedRoles_data()
{
    QTest::addColumn<QString>("treeId");
    QTest::addColumn<int>("role");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("camera named by its device") << "T1" << int(Logical::nameRole) << QVariant("Gate");
    QTest::newRow("folder keeps its name") << "F1" << int(Logical::nameRole) << QVariant("Lobby");
    QTest::newRow("unknown camera has no name") << "T5" << int(Logical::nameRole) << QVariant();
    QTest::newRow("camera type") << "T1" << int(Logical::cameraTypeRole) << QVariant(2);
    QTest::newRow("device kind") << "T1" << int(Logical::topologyNodeTypeRole) << QVariant(0);
    QTest::newRow("recording") << "T1" << int(Logical::isRecordingRole) << QVariant(true);
    QTest::newRow("connected") << "T2" << int(Logical::isConnectedRole) << QVariant(false);
    QTest::newRow("not taken over") << "T1" << int(Logical::takenOverRole) << QVariant(false);
    QTest::newRow("processing") << "T1" << int(Logical::processingStatusRole) << QVariant(3);
    QTest::newRow("brand") << "T1" << int(Logical::brandRole) << QVariant("ONVI");
    QTest::newRow("edge recording") << "T1" << int(Logical::isUseEdgeRecordingRole) << QVariant(true);
    QTest::newRow("edge stream") << "T1" << int(Logical::edgeRecordingStreamRole) << QVariant(2);
    QTest::newRow("edge support") << "T1" << int(Logical::supportEdgeRecordingRole) << QVariant(true);
    QTest::newRow("edge files") << "T1" << int(Logical::hasEdgeRecordingFileRole) << QVariant(false);
    QTest::newRow("unknown camera's type") << "T5" << int(Logical::cameraTypeRole) << QVariant();
    QTest::newRow("root station is no cloud") << "T1" << int(Logical::isSKYRCloudDeviceRole) << QVariant(false);
    QTest::newRow("cloud station") << "T2" << int(Logical::isSKYRCloudDeviceRole) << QVariant(true);
    QTest::newRow("cloud relay") << "T2" << int(Logical::isSKYRCloudDeviceRelayConnectRole) << QVariant(true);
    QTest::newRow("cloud by relay path") << "T9" << int(Logical::isSKYRCloudDeviceRole) << QVariant(true);
    QTest::newRow("cloud folder station") << "T8" << int(Logical::isSKYRCloudDeviceRole) << QVariant(true);
    QTest::newRow("cloud folder has no relay") << "T8" << int(Logical::isSKYRCloudDeviceRelayConnectRole)
                                               << QVariant(false);
    QTest::newRow("behind offline substation") << "T4" << int(Logical::isSubstationDisconnectedRole)
                                               << QVariant(true);
    QTest::newRow("DI behind offline substation") << "S11/C_1_0" << int(Logical::isSubstationDisconnectedRole)
                                                  << QVariant(true);
    QTest::newRow("below connected substation") << "T2" << int(Logical::isSubstationDisconnectedRole)
                                                << QVariant(false);
    QTest::newRow("below root station") << "T10" << int(Logical::isSubstationDisconnectedRole) << QVariant(false);
    QTest::newRow("stored role passes") << "T1" << int(Logical::joystickKeyRole) << QVariant(-1);
}

void TestLogicalTreeTopologyDataModel::computedRoles()
{
    QFETCH(QString, treeId);
    QFETCH(int, role);
    QFETCH(QVariant, expected);
    // given
    Fixture f;
    // when
    const QVariant actual = f.value(treeId, role);
    // then
    QCOMPARE(actual, expected);
}

void TestLogicalTreeTopologyDataModel::cameraIcons_data()
{
    QTest::addColumn<int>("cameraType");
    QTest::addColumn<bool>("connected");
    QTest::addColumn<QString>("icon");

    const QStringList words{"", "Box", "Bullet", "MiniBox", "PTZSpeedDome", "Cube", "MobileDome", "Fisheye",
                            "FixedDome", "VideoServer", "", "MultiAngle", ""};
    for (int type = 0; type < words.size(); ++type) {
        if (type == Device::CameraExternalDevice)
            continue;
        QTest::addRow("type %d online", type) << type << true << "camera" + words.at(type) + "Connected";
        QTest::addRow("type %d offline", type) << type << false << "camera" + words.at(type) + "Disconnected";
    }
    QTest::newRow("external device") << int(Device::CameraExternalDevice) << true << "cameraExternalDevice";
}

void TestLogicalTreeTopologyDataModel::cameraIcons()
{
    QFETCH(int, cameraType);
    QFETCH(bool, connected);
    QFETCH(QString, icon);
    // given
    Fixture f;
    // when
    f.devices.setDataMap("R/C_2", {{"camTypeRole", cameraType}, {"connectedRole", connected}});
    // then
    QCOMPARE(f.value("T10", Logical::displayIconRole).toString(), icon);
}

void TestLogicalTreeTopologyDataModel::iconsOfOtherKinds()
{
    // given: a removed camera, a station I/O device, a local database and a folder of a cloud station
    Fixture f;
    f.devices.insertRemovedCameras("S1", {QVariantMap{{"camID", "old"}, {"camName", "Old"}, {"cameraType", 2}}});
    f.logical.insertRemovedCameras("S1", {QVariantMap{{"camID", "old"}, {"camName", "Old"}}});
    f.logical.insertIoDevices({QVariantMap{{"NodeID", "S2"}, {"RefName", "Annex IO"}}}, Logical::StationIoDevice);
    f.logical.insertIoDevices({QVariantMap{{"NodeID", "S2/E_1"}, {"RefName", "Box"}}}, Logical::ExternalDevice);
    f.logical.insertNewLocalDB({{"cam1", QVariantMap{{"camName", "Archive"}, {"recPath", "D:"}}}}, "Disk");
    QStandardItemModel* store = f.logical.getModel();
    store->setData(findById(*store, "F2"), "S1/x", Logical::cameraNodeIDRole);
    store->setData(findById(*store, "T11"), 9, Logical::typeRole);
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
}

void TestLogicalTreeTopologyDataModel::dataRoleJoinsDeviceFields()
{
    // given
    Fixture f;
    f.failover.UpdateStatus(QVariantMap{
            {"GetFailoverStatusRes", QVariantMap{{"Name", "F_9"}, {"Status", QVariantMap{{"#text", "Running"},
                                                                                          {"@Server", "R"}}}}}});
    // when
    const QVariantMap camera = f.value("T1", Logical::dataRole).toMap();
    const QVariantMap cloudCamera = f.value("T2", Logical::dataRole).toMap();
    const QVariantMap offlineCamera = f.value("T4", Logical::dataRole).toMap();
    const QVariantMap folder = f.value("F1", Logical::dataRole).toMap();
    // then: logical fields win, device fields, capability flags and edge fields join
    QCOMPARE(camera.value("idRole"), QVariant("T1"));
    QCOMPARE(camera.value("nameRole"), QVariant("Gate"));
    QCOMPARE(camera.value("brandRole"), QVariant("ONVI"));
    QCOMPARE(camera.value("suppPTZ"), QVariant(true));
    QCOMPARE(camera.value("isUseEdgeRecordingRole"), QVariant(true));
    QCOMPARE(camera.value("takenOverRole"), QVariant(true));
    QCOMPARE(camera.value("takenOverIdRole"), QVariant("S_9"));
    QVERIFY(!camera.contains("isSKYRCloudDeviceRole"));
    QCOMPARE(cloudCamera.value("isSKYRCloudDeviceRole"), QVariant(true));
    QCOMPARE(cloudCamera.value("isSKYRCloudDeviceRelayConnectRole"), QVariant(true));
    QVERIFY(!cloudCamera.contains("isSubstationDisconnectedRole"));
    QCOMPARE(offlineCamera.value("isSubstationDisconnectedRole"), QVariant(true));
    QCOMPARE(folder.value("nameRole"), QVariant("Lobby"));
    QVERIFY(!folder.contains("ipRole"));
    // and the names views bind to
    const QHash<int, QByteArray> names = f.model.roleNames();
    QCOMPARE(names.value(Logical::displayIconRole), QByteArray("displayIconRole"));
    QCOMPARE(names.value(Logical::isSubstationDisconnectedRole), QByteArray("isSubstationDisconnectedRole"));
    QCOMPARE(names.value(Logical::cameraNodeIDRole), QByteArray("cameraNodeIDRole"));
    QVERIFY(!names.contains(Logical::brandRole));
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
                                    << QStringList{changed("T1", "259,261"), changed("T3", "259,261")};
    QTest::newRow("field outside every computed role") << Operation([](Fixture& f) {
        f.devices.setData("R/C_1", Device::camModelRole, "X-1");
    }) << QStringList();
    QTest::newRow("camera outside the logical tree") << Operation([](Fixture& f) {
        f.devices.setDataMap("S2/C_1", {{"connectedRole", true}});
    }) << QStringList();
    QTest::newRow("login station goes offline") << Operation([](Fixture& f) {
        f.devices.setDataMap("R", {{"connectedRole", false}});
    }) << QStringList();
    QTest::newRow("station leaves the cloud") << Operation([](Fixture& f) {
        f.devices.setDataMap("S1", {{"skyrCloudDeviceIdRole", ""}});
    }) << QStringList{changed("T2", "261,272,273")};
    QTest::newRow("substation goes offline") << Operation([](Fixture& f) {
        f.devices.setDataMap("S1", {{"connectedRole", false}});
    }) << QStringList{changed("T2", "261,274"),        changed("T9", "261,274"),
                      changed("T4", "261,274"),        changed("T7", "261,274"),
                      changed("S11/C_1_0", "261,274"), changed("S11/C_1_1", "261,274")};
    QTest::newRow("station removed") << Operation([](Fixture& f) { f.devices.removeNodes({"S11"}); })
                                     << QStringList{changed("T4", allCameraRoles(true)),
                                                    changed("T7", allCameraRoles(true)),
                                                    changed("S11/C_1_0", "261,272,273,274"),
                                                    changed("S11/C_1_1", "261,272,273,274")};
    QTest::newRow("camera arrives") << Operation([](Fixture& f) {
        f.devices.insertNewCameraNodes({QVariantMap{{"nodeUID", "R/C_3"}, {"parentStationID", "R"}}});
    }) << QStringList{changed("T11", allCameraRoles(false))};
    QTest::newRow("station taken over") << Operation([](Fixture& f) {
        f.failover.UpdateStatus(QVariantMap{
                {"FailoverStatusChg", QVariantMap{{"Name", "F_9"}, {"Status", QVariantMap{{"#text", "Running"},
                                                                                         {"@Server", "S11"}}}}}});
    }) << QStringList{changed("T4", "261,275"), changed("T7", "261,275")};
    QTest::newRow("folder renamed") << Operation([](Fixture& f) { f.logical.renameNode("F1", "Hall"); })
                                    << QStringList{changed("F1", "259"), changed("F1", "261")};
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
    f.recorder->clear();
    // when
    operation(f);
    // then
    QCOMPARE(f.recorder->lines(), expected);
}

void TestLogicalTreeTopologyDataModel::topologyResetSwapAndLoss()
{
    // given
    Fixture f;
    f.recorder->clear();
    // when the device tree is cleared (a lost server connection)
    f.devices.clear();
    // then every placed camera the devices knew hears of it, with its DI/DO, and loses its device name
    QStringList expected;
    for (const QString& treeId : QStringList{"T1", "T3", "T10", "T2", "T9", "T4", "T7"})
        expected << "changed " + treeId + " roles " + allCameraRoles(true);
    expected << "changed S11/C_1_0 roles 261,272,273,274" << "changed S11/C_1_1 roles 261,272,273,274";
    QCOMPARE(f.recorder->lines(), expected);
    QCOMPARE(f.value("T1", Logical::nameRole), QVariant());

    // when another topology is set on a populated tree: one reset, values from the new one
    buildDevices(f.devices);
    f.recorder->clear();
    {
        auto plain = std::make_unique<QStandardItemModel>();
        auto* node = new QStandardItem;
        node->setData("R/C_1", Device::idRole);
        node->setData("Plain", Device::nameRole);
        plain->appendRow(node);
        f.model.setTopologyModel(plain.get());
        QCOMPARE(f.recorder->lines(), QStringList{"reset"});
        QCOMPARE(f.value("T1", Logical::nameRole), QVariant("Plain"));
        QCOMPARE(f.model.topologyModel(), plain.get());
        // and loses it
    }
    QCOMPARE(f.model.topologyModel(), nullptr);
    QCOMPARE(f.recorder->lines(), QStringList({"reset", "reset"}));
    QCOMPARE(f.value("T1", Logical::nameRole), QVariant());
    QCOMPARE(f.value("T1", Logical::displayIconRole), QVariant("cameraDisconnected"));
}

void TestLogicalTreeTopologyDataModel::malformedNodesAreHarmless()
{
    // given nodes with data of the wrong kinds, and a model without source or topology
    Fixture f;
    QStandardItemModel* store = f.logical.getModel();
    const QModelIndex camera = findById(*store, "T2");
    store->setData(camera, QVariantList{1, 2}, Logical::cameraNodeIDRole);
    store->setData(findById(*store, "T1"), "/", Logical::cameraNodeIDRole);
    store->setData(findById(*store, "F1"), QVariantMap{{"a", 1}}, Logical::typeRole);
    LogicalTreeTopologyDataModel empty;
    // when / then: reads answer without crashing
    QCOMPARE(f.value("T2", Logical::nameRole), QVariant());
    QCOMPARE(f.value("T1", Logical::isSKYRCloudDeviceRole), QVariant(false));
    QCOMPARE(f.value("F1", Logical::displayIconRole), QVariant(""));
    QCOMPARE(LogicalTreeTopologyDataModel::stationIdOf("/x"), QString());
    QCOMPARE(LogicalTreeTopologyDataModel::stationIdOf("a/b/c"), QString("b"));
    QCOMPARE(empty.data(f.model.index(0, 0), Logical::nameRole), QVariant());
    QCOMPARE(empty.rowCount(), 0);
    QVERIFY(empty.roleNames().contains(Logical::displayIconRole));
    f.devices.setDataMap("S1", {{"connectedRole", false}});
}

QTEST_MAIN(TestLogicalTreeTopologyDataModel)
#include "tst_logicaltreetopologydatamodel.moc"
