#include "DeviceTree.h"
#include "LogicalTree.h"
#include "LogicalTreeFilterSortModelEx.h"
#include "LogicalTreeFolderModel.h"
#include "LogicalTreeIDFilterModel.h"
#include "LogicalTreeSortFilterModel.h"
#include "LogicalTreeTopologyDataModel.h"
#include "LogicalTreeValidCameraDataModel.h"
#include "StandardFailoverControl.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QtTest>

#include <functional>
#include <memory>
#include <vector>

using Logical = LogicalTreeModel;
using Tester = QAbstractItemModelTester;

namespace {

QVariantMap station(const QString& id, const QString& name, const QString& cloudId = QString())
{
    return {{"nodeUID", id}, {"nodeName", name}, {"nodeType", "Station"}, {"skyrCloudDeviceId", cloudId}};
}

QVariantMap camera(const QString& id, const QString& name, const QString& brand = QString())
{
    return {{"nodeUID", id}, {"nodeName", name}, {"nodeType", "Camera"}, {"brand", brand},
            {"mechPtzCap", QVariantMap{{"suppPTZ", id == "R/C_1"}}}};
}

QVariantMap serverNode(const QString& treeId, const QString& name, const QString& nodeUid,
                       const QVariantList& children = {})
{
    return {{"treeNodeId", treeId}, {"name", name}, {"nodeUID", nodeUid}, {"children", children}};
}

QVariantMap placement(const QString& treeId, const QString& parentId, const QString& cameraId, int diDo = 0)
{
    return {{"uid", treeId}, {"parentNodeId", parentId}, {"camNodeUid", cameraId}, {"diNum", diDo},
            {"doNum", diDo}};
}

// Devices: R { R/C_1 Gate (ONVIF, PTZ, recording), R/C_2 yard cam (VCA), R/C_3 Atrium, S1 (cloud) { S1/C_1 Dock } }
// Logical: R Station { the special folders, F1 b { T1 R/C_1 (1 DI, 1 DO), T2 S1/C_1 }, F2 A { T3 R/C_2 },
//   T4 R/C_3, T5 Q/gone (no device), CLOUD, I/O folder { EXT external device, SIO station I/O } }
struct Fixture
{
    Fixture()
    {
        failover.setSourceModel(devices.getModel());
        topologyData.setSourceModel(logical.getModel());
        topologyData.setTopologyModel(&failover);
        validCameras.setSourceModel(&topologyData);
        devices.insertLoginStation("s_Root", "10.0.0.1");
        devices.setDataMap(QString(), {{"idRole", "R"}, {"nodeIDRole", "R"}});
        devices.insertNewNodes("R", {camera("R/C_1", "Gate", "ONVI"), camera("R/C_2", "yard cam"),
                                     camera("R/C_3", "Atrium"), station("S1", "Branch", "cloud-1")});
        devices.insertNewNodes("S1", {camera("S1/C_1", "Dock")});
        devices.setDataMap("R/C_1", {{"recordingRole", true}});
        devices.setDataMap("R/C_2", {{"isVCARole", true}});
        logical.createDefaultNodes();
        logical.set(serverNode("R", "Station", "",
                               {serverNode("F1", "b", "N1", {serverNode("T2", "", "S1/C_1")}),
                                serverNode("F2", "A", "N2", {serverNode("T3", "", "R/C_2")}),
                                serverNode("T4", "", "R/C_3"), serverNode("T5", "", "Q/gone"),
                                serverNode("CLOUD", "Cloud", "_SKYRCloud_")}),
                    QString());
        logical.insertCameraNodes({placement("T1", "F1", "R/C_1", 1)});
        logical.insertIoDevices({QVariantMap{{"NodeID", "EXT"}, {"RefName", "Box"}}}, Logical::ExternalDevice);
        logical.insertIoDevices({QVariantMap{{"NodeID", "SIO"}, {"RefName", "Panel"}}}, Logical::StationIoDevice);
    }

    template <typename Proxy>
    Proxy* attach(QAbstractItemModel* source)
    {
        auto* proxy = new Proxy(&owner);
        proxy->setSourceModel(source);
        testers.push_back(std::make_unique<Tester>(proxy, Tester::FailureReportingMode::Fatal));
        return proxy;
    }

    DeviceTree devices;
    StandardFailoverControl failover;
    LogicalTree logical;
    LogicalTreeTopologyDataModel topologyData;
    LogicalTreeValidCameraDataModel validCameras;
    QObject owner;
    std::vector<std::unique_ptr<Tester>> testers;
};

// Rows as "id{children}", in the proxy's order.
QString outline(const QAbstractItemModel& model, const QModelIndex& parent = {})
{
    QStringList parts;
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex node = model.index(row, 0, parent);
        QString part = node.data(Logical::idRole).toString();
        if (model.rowCount(node) > 0)
            part += '{' + outline(model, node) + '}';
        parts << part;
    }
    return parts.join(',');
}

using Setup = std::function<void(LogicalTreeSortFilterModel&)>;

} // namespace

Q_DECLARE_METATYPE(Setup)

class TestLogicalTreeProxies : public QObject
{
    Q_OBJECT

private slots:
    void sortFilterSettings_data();
    void sortFilterSettings();
    void textFilterFollowsChanges();
    void firstRowRuleFollowsRemovals();
    void folderIdAndValidCameraViews();
    void advancedViews();
    void everyViewStaysConsistentThroughChanges();
};

void TestLogicalTreeProxies::sortFilterSettings_data()
{
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<QString>("expected");

    const QString defaults = "R{CLOUD,F2{T3},F1{T2,T1},T4}";
    QTest::newRow("defaults") << Setup([](auto&) {}) << defaults;
    QTest::newRow("removed cameras folder") << Setup([](auto& m) { m.showRemovedCameraFolder(true); })
                                            << "R{CLOUD,_REMOVED_CAMERAS_,F2{T3},F1{T2,T1},T4}";
    QTest::newRow("local DB folder") << Setup([](auto& m) { m.showLocalDBFolder(true); })
                                     << "R{CLOUD,_LOCAL_DB_,F2{T3},F1{T2,T1},T4}";
    QTest::newRow("special folders in their order") << Setup([](auto& m) {
        m.showLocalDBFolder(true);
        m.showRemovedCameraFolder(true);
    }) << "R{CLOUD,_LOCAL_DB_,_REMOVED_CAMERAS_,F2{T3},F1{T2,T1},T4}";
    QTest::newRow("I/O and DI/DO") << Setup([](auto& m) { m.showIONodesAndFolders(true); })
                                   << "R{CLOUD,F2{T3},F1{T2,T1{R/C_1_0,R/C_1_1}},_IO_BOX_FID_{SIO,EXT},T4}";
    QTest::newRow("no ONVIF") << Setup([](auto& m) { m.showOnvifCamera(false); }) << "R{CLOUD,F2{T3},F1{T2},T4}";
    QTest::newRow("no cloud devices") << Setup([](auto& m) { m.setFilterSKYRCloudDevice(true); })
                                      << "R{CLOUD,F2{T3},F1{T1},T4}";
    QTest::newRow("first rows and cameras only") << Setup([](auto& m) {
        m.showRemovedCameraFolder(true);
        m.setFilterNotRootDevice(true);
    }) << "R{_REMOVED_CAMERAS_,T4}";
    QTest::newRow("excluded camera") << Setup([](auto& m) { m.filterOutCameraNodeIds({"R/C_1", "r/c_3"}); })
                                     << "R{CLOUD,F2{T3},F1{T2},T4}";
    QTest::newRow("folder name shows its cameras") << Setup([](auto& m) { m.filter("b"); }) << "R{F1{T2,T1}}";
    QTest::newRow("camera name, any case") << Setup([](auto& m) { m.filter("DOCK"); }) << "R{F1{T2}}";
    QTest::newRow("root name shows all") << Setup([](auto& m) { m.filter("stat"); }) << defaults;
    QTest::newRow("no match") << Setup([](auto& m) { m.filter("zzz"); }) << "";
    QTest::newRow("all capabilities") << Setup([](auto& m) {
        m.setFilterCapability({"suppPTZ", "recordingRole"}, true);
    }) << "R{CLOUD,F2,F1{T1}}";
    QTest::newRow("one capability missing") << Setup([](auto& m) {
        m.setFilterCapability({"suppPTZ", "isVCARole"}, true);
    }) << "R{CLOUD,F2,F1}";
    QTest::newRow("any capability") << Setup([](auto& m) { m.setFilterCapability({"suppPTZ", "isVCARole"}, false); })
                                    << "R{CLOUD,F2{T3},F1{T1}}";
    QTest::newRow("capability and own name") << Setup([](auto& m) {
        m.setFilterCapability({"suppPTZ", "isVCARole"}, false);
        m.filter("yard");
    }) << "R{F2{T3}}";
    QTest::newRow("capability ignores folder name") << Setup([](auto& m) {
        m.setFilterCapability({"suppPTZ"}, false);
        m.filter("b");
    }) << "R{F1}";
    QTest::newRow("capabilities cleared") << Setup([](auto& m) {
        m.setFilterCapability({"suppPTZ"});
        m.clearFilterCapability();
    }) << defaults;
}

void TestLogicalTreeProxies::sortFilterSettings()
{
    QFETCH(Setup, setup);
    QFETCH(QString, expected);
    // given
    Fixture f;
    auto* model = f.attach<LogicalTreeSortFilterModel>(&f.validCameras);
    // when
    setup(*model);
    // then
    QCOMPARE(outline(*model), expected);
}

void TestLogicalTreeProxies::textFilterFollowsChanges()
{
    // given a text filter over a populated tree
    Fixture f;
    auto* model = f.attach<LogicalTreeSortFilterModel>(&f.validCameras);
    model->filter("dock");
    const auto rebuilt = [&f] {
        LogicalTreeSortFilterModel fresh;
        fresh.setSourceModel(&f.validCameras);
        fresh.filter("dock");
        return outline(fresh);
    };
    QCOMPARE(outline(*model), QString("R{F1{T2}}"));
    const std::vector<std::pair<std::function<void()>, QString>> steps{
            {[&f] { f.devices.updateNodeName("R/C_3", "Dockyard"); }, "R{F1{T2},T4}"},
            {[&f] { f.logical.renameNode("F1", "Dockside"); }, "R{F1{T2,T1},T4}"},
            {[&f] { f.logical.renameNode("F1", "b"); }, "R{F1{T2},T4}"},
            {[&f] { f.devices.updateNodeName("S1/C_1", "Pier"); }, "R{T4}"},
            {[&f] { f.logical.renameNode("F2", "dock folder"); }, "R{F2{T3},T4}"},
            {[&f] { f.logical.moveNodes({"T4"}, "F1"); }, "R{F1{T4},F2{T3}}"},
            {[&f] { f.logical.removeNodes(QStringList{"T4"}); }, "R{F2{T3}}"},
            {[&f] { f.devices.removeNodes({"R/C_2"}); }, "R{F2}"},
            {[&f] { f.logical.renameNode("F2", "A"); }, ""},
            {[&f] { f.devices.insertNewCameraNodes({QVariantMap{{"nodeUID", "Q/gone"}, {"parentStationID", "R"},
                                                                {"nodeName", "Old dock"}}}); },
             "R{T5}"},
    };
    for (const auto& [change, expected] : steps) {
        // when
        change();
        // then the view equals both the expected one and one built from scratch
        QCOMPARE(outline(*model), expected);
        QCOMPARE(outline(*model), rebuilt());
    }
}

void TestLogicalTreeProxies::firstRowRuleFollowsRemovals()
{
    // given only first rows and cameras, with the local DB folder second under the root
    Fixture f;
    auto* model = f.attach<LogicalTreeSortFilterModel>(&f.validCameras);
    model->showLocalDBFolder(true);
    model->setFilterNotRootDevice(true);
    QCOMPARE(outline(*model), QString("R{T4}"));
    // when the first row goes
    f.logical.removeNodes(QStringList{"_REMOVED_CAMERAS_"});
    // then the local DB folder is first and shows
    QCOMPARE(outline(*model), QString("R{_LOCAL_DB_,T4}"));
}

void TestLogicalTreeProxies::folderIdAndValidCameraViews()
{
    // given a folder of a cloud station and views over the valid cameras
    Fixture f;
    f.logical.insertFolder({{"parentFolderUid", "R"}, {"newFolderId", "F3"}, {"newFolderName", "c"}});
    QStandardItemModel* store = f.logical.getModel();
    store->setData(store->match(store->index(0, 0), Logical::idRole, "F3", 1, Qt::MatchRecursive).value(0), "S1/x",
                   Logical::cameraNodeIDRole);
    auto* folders = f.attach<LogicalTreeFolderModel>(&f.validCameras);
    auto* ids = f.attach<LogicalTreeIDFilterModel>(&f.validCameras);
    // then: user folders by name; the valid cameras hide the camera without device
    QCOMPARE(outline(*folders), QString("R{F2,F1,CLOUD}"));
    QCOMPARE(outline(f.validCameras),
             QString("R{_REMOVED_CAMERAS_,_LOCAL_DB_,_IO_BOX_FID_{EXT,SIO},F1{T2,T1{R/C_1_0,R/C_1_1}},F2{T3},T4,"
                     "CLOUD,F3}"));
    QCOMPARE(outline(*ids), outline(f.validCameras));
    // when ids are listed, then only listed nodes under listed parents show
    ids->setAvailableIDList({"R", "F1", "T2", "T3"});
    QCOMPARE(outline(*ids), QString("R{F1{T2}}"));
    ids->setAvailableIDList({"T2"});
    QCOMPARE(outline(*ids), QString());
    ids->clearFilter();
    QCOMPARE(outline(*ids), outline(f.validCameras));
    // when the unknown camera's device arrives, it shows
    f.devices.insertNewCameraNodes({QVariantMap{{"nodeUID", "Q/gone"}, {"parentStationID", "R"}}});
    QVERIFY(outline(f.validCameras).contains(",T5,"));
}

void TestLogicalTreeProxies::advancedViews()
{
    // given the advanced chain with I/O: the sort filter under the tree filter on dataRole
    Fixture f;
    auto* inner = f.attach<LogicalTreeSortFilterModel>(&f.validCameras);
    inner->showIONodesAndFolders(true);
    auto* advanced = f.attach<LogicalTreeFilterSortModelEx>(inner);
    advanced->setDataRoleEnum(Logical::dataRole);
    auto* direct = f.attach<LogicalTreeFilterSortModelEx>(&f.validCameras);
    // then folders first (special ones first), I/O kinds in the order they come, the rest by name
    QCOMPARE(outline(*advanced), QString("R{CLOUD,F2{T3},F1{T2,T1{R/C_1_0,R/C_1_1}},_IO_BOX_FID_{SIO,EXT},T4}"));
    QCOMPARE(outline(*direct), QString("R{CLOUD,_LOCAL_DB_,_REMOVED_CAMERAS_,F2{T3},F1{T2,T1{R/C_1_0,R/C_1_1}},"
                                       "_IO_BOX_FID_{EXT,SIO},T4}"));
    // when filtered by a camera's device name, then its ancestors and its DI/DO show
    advanced->setFilterFixedString("GATE");
    QCOMPARE(outline(*advanced), QString("R{F1{T1{R/C_1_0,R/C_1_1}}}"));
    // and a rename reaches the filter through dataRole
    f.devices.updateNodeName("R/C_3", "Gatehouse");
    QCOMPARE(outline(*advanced), QString("R{F1{T1{R/C_1_0,R/C_1_1}},T4}"));
}

void TestLogicalTreeProxies::everyViewStaysConsistentThroughChanges()
{
    // given every view of the logical tree under the model tester, and twenty more cameras
    Fixture f;
    f.testers.push_back(std::make_unique<Tester>(&f.topologyData, Tester::FailureReportingMode::Fatal));
    f.testers.push_back(std::make_unique<Tester>(&f.validCameras, Tester::FailureReportingMode::Fatal));
    const auto filterOnA = [](LogicalTreeSortFilterModel& m) {
        m.filter("a");
        m.setFilterCapability({"connectedRole"}, false);
    };
    const QStringList listedIds{"R", "F1", "F2", "T1", "T2", "T3"};
    const auto advancedOnA = [](LogicalTreeFilterSortModelEx& m) {
        m.setDataRoleEnum(Logical::dataRole);
        m.setFilterFixedString("a");
    };
    auto* plain = f.attach<LogicalTreeSortFilterModel>(&f.validCameras);
    auto* filtered = f.attach<LogicalTreeSortFilterModel>(&f.validCameras);
    filterOnA(*filtered);
    auto* folders = f.attach<LogicalTreeFolderModel>(&f.validCameras);
    auto* ids = f.attach<LogicalTreeIDFilterModel>(&f.validCameras);
    ids->setAvailableIDList(listedIds);
    auto* advanced = f.attach<LogicalTreeFilterSortModelEx>(plain);
    advancedOnA(*advanced);
    QVariantList cameras;
    QVariantList placements;
    for (int i = 0; i < 20; ++i) {
        const QString id = QStringLiteral("S1/C_%1").arg(i + 2);
        cameras << camera(id, i % 2 ? "Hall" : "Dock");
        placements << placement(QStringLiteral("X%1").arg(i), i % 3 ? "F1" : "F2", id, i % 2);
    }
    f.devices.insertNewNodes("S1", cameras);
    f.logical.insertCameraNodes(placements);
    ModelNotificationRecorder recorder(plain, Logical::idRole);

    // when a status storm passes, then the views pass it on naming the computed roles
    QRandomGenerator random(7);
    for (int i = 0; i < 200; ++i)
        f.devices.setDataMap(QStringLiteral("S1/C_%1").arg(random.bounded(2, 22)),
                             {{"connectedRole", random.bounded(2) == 1}});
    QVERIFY(!recorder.lines().isEmpty());
    for (const QString& line : recorder.lines())
        QVERIFY2(line.endsWith(" roles 261,271,278"), qPrintable(line));

    // when a camera is renamed, folders move, a station goes and a folder is dissolved
    f.devices.updateNodeName("S1/C_3", "Atrium");
    f.logical.insertFolder({{"parentFolderUid", "F1"}, {"newFolderId", "F9"}, {"newFolderName", "Annex"}});
    f.logical.moveNodes({"F2", "X1", "X4"}, "F9");
    f.logical.moveNodes({"F9"}, "R");
    f.devices.removeNodes({"S1"});
    f.logical.removeFolderAndKeepChildren({"F9"});

    // then every view equals one built anew
    LogicalTreeSortFilterModel freshPlain;
    freshPlain.setSourceModel(&f.validCameras);
    LogicalTreeSortFilterModel freshFiltered;
    freshFiltered.setSourceModel(&f.validCameras);
    filterOnA(freshFiltered);
    LogicalTreeFolderModel freshFolders;
    freshFolders.setSourceModel(&f.validCameras);
    LogicalTreeIDFilterModel freshIds;
    freshIds.setSourceModel(&f.validCameras);
    freshIds.setAvailableIDList(listedIds);
    LogicalTreeFilterSortModelEx freshAdvanced;
    freshAdvanced.setSourceModel(&freshPlain);
    advancedOnA(freshAdvanced);
    QCOMPARE(outline(*plain), outline(freshPlain));
    QCOMPARE(outline(*filtered), outline(freshFiltered));
    QCOMPARE(outline(*folders), outline(freshFolders));
    QCOMPARE(outline(*ids), outline(freshIds));
    QCOMPARE(outline(*advanced), outline(freshAdvanced));
}

QTEST_MAIN(TestLogicalTreeProxies)
#include "tst_logicaltreeproxies.moc"
