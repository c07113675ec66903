#include "LogicalTreeFilterSortModelEx.h"
#include "LogicalTreeFolderModel.h"
#include "LogicalTreeIDFilterModel.h"
#include "LogicalTreeInstallation.h"
#include "LogicalTreeSortFilterModel.h"
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

// The installation with views attached under the model tester; over the valid
// cameras, T5, T8 and T11 (no device) never show.
struct Fixture : LogicalTreeInstallation
{
    Fixture() { build(); }

    template <typename Proxy>
    Proxy* attach(QAbstractItemModel* source)
    {
        auto* proxy = new Proxy(&owner);
        proxy->setSourceModel(source);
        testers.push_back(std::make_unique<Tester>(proxy, Tester::FailureReportingMode::Fatal));
        return proxy;
    }

    QObject owner;
    std::vector<std::unique_ptr<Tester>> testers;
};

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
    const auto row = [](const char* name, const Setup& setup, const QString& expected) {
        QTest::newRow(name) << setup << expected;
    };
    // Folders first, the cloud folder before the others, then names ignoring case (annex before Lobby).
    const QString defaults = "R{CLOUD,F2{T3,T7},F1{T2,T1},T9,T4,T10}";
    row("defaults", [](auto&) {}, defaults);
    row("special folders in their order", [](auto& m) {
        m.showRemovedCameraFolder(true);
        m.showLocalDBFolder(true);
    }, "R{CLOUD,_LOCAL_DB_,_REMOVED_CAMERAS_,F2{T3,T7},F1{T2,T1},T9,T4,T10}");
    row("I/O, station devices first, DI/DO by port", [](auto& m) { m.showIONodesAndFolders(true); },
        "R{CLOUD,F2{T3,T7{S11/C_1_0,S11/C_1_1}},_IO_BOX_FID_{S2,S2/E_1},F1{T2,T1},T9,T4,T10}");
    row("no ONVIF", [](auto& m) { m.showOnvifCamera(false); }, "R{CLOUD,F2{T7},F1{T2},T9,T4,T10}");
    row("no cloud devices", [](auto& m) { m.setFilterSKYRCloudDevice(true); }, "R{CLOUD,F2{T3,T7},F1{T1},T4,T10}");
    row("excluded cameras, exact case", [](auto& m) { m.filterOutCameraNodeIds({"S1/C_1", "r/c_2"}); },
        "R{CLOUD,F2{T3,T7},F1{T1},T9,T4,T10}");
    row("folder name, any case, shows its cameras", [](auto& m) { m.filter("LOB"); }, "R{F1{T2,T1}}");
    row("all capabilities", [](auto& m) { m.setFilterCapability({"suppPTZ", "recordingRole"}, true); },
        "R{CLOUD,F2{T3},F1{T1}}");
    row("one capability missing", [](auto& m) { m.setFilterCapability({"suppPTZ", "isVCARole"}, true); },
        "R{CLOUD,F2,F1}");
    row("any capability", [](auto& m) { m.setFilterCapability({"suppPTZ", "isVCARole"}, false); },
        "R{CLOUD,F2{T3},F1{T1},T10}");
    row("capability and own name", [](auto& m) {
        m.setFilterCapability({"suppPTZ", "isVCARole"}, false);
        m.filter("gate");
    }, "R{F2{T3},F1{T1}}");
    row("capability ignores folder name", [](auto& m) {
        m.setFilterCapability({"suppPTZ"}, false);
        m.filter("lob");
    }, "R{F1}");
    row("capabilities cleared", [](auto& m) {
        m.setFilterCapability({"suppPTZ"});
        m.clearFilterCapability();
    }, defaults);
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
    QCOMPARE(treeOutline(*model), expected);
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
        return treeOutline(fresh);
    };
    QCOMPARE(treeOutline(*model), QString("R{F1{T2}}"));
    const std::vector<std::pair<std::function<void()>, QString>> steps{
            {[&f] { f.devices.updateNodeName("R/C_2", "Dockyard"); }, "R{F1{T2},T10}"},
            {[&f] { f.logical.renameNode("F1", "Dockside"); }, "R{F1{T2,T1},T10}"},
            {[&f] { f.logical.renameNode("F1", "Lobby"); }, "R{F1{T2},T10}"},
            {[&f] { f.devices.updateNodeName("S1/C_1", "Pier"); }, "R{T10}"},
            {[&f] { f.logical.renameNode("F2", "dock folder"); }, "R{F2{T3,T7},T10}"},
            {[&f] { f.logical.moveNodes({"T10"}, "F1"); }, "R{F2{T3,T7},F1{T10}}"},
            {[&f] { f.logical.removeNodes(QStringList{"T10"}); }, "R{F2{T3,T7}}"},
            {[&f] { f.devices.removeNodes({"S11"}); }, "R{F2{T3}}"},
            // a camera unknown to the topology shows once its device arrives
            {[&f] { f.devices.insertNewCameraNodes({QVariantMap{{"nodeUID", "Q/gone"}, {"parentStationID", "R"},
                                                                {"nodeName", "Old dock"}}}); },
             "R{F2{T3},T5}"},
    };
    for (const auto& [change, expected] : steps) {
        // when
        change();
        // then the view equals both the expected one and one built from scratch
        QCOMPARE(treeOutline(*model), expected);
        QCOMPARE(treeOutline(*model), rebuilt());
    }
}

void TestLogicalTreeProxies::firstRowRuleFollowsRemovals()
{
    // given only first rows and cameras, with the local DB folder second under the root
    Fixture f;
    auto* model = f.attach<LogicalTreeSortFilterModel>(&f.validCameras);
    model->showLocalDBFolder(true);
    model->setFilterNotRootDevice(true);
    QCOMPARE(treeOutline(*model), QString("R{T9,T4,T10}"));
    // when the first row goes
    f.logical.removeNodes(QStringList{"_REMOVED_CAMERAS_"});
    // then the local DB folder is first and shows
    QCOMPARE(treeOutline(*model), QString("R{_LOCAL_DB_,T9,T4,T10}"));
}

void TestLogicalTreeProxies::folderIdAndValidCameraViews()
{
    // given a folder of a cloud station and views over the valid cameras
    Fixture f;
    f.logical.insertFolder({{"parentFolderUid", "R"}, {"newFolderId", "F3"}, {"newFolderName", "c"}});
    QStandardItemModel* store = f.logical.getModel();
    store->setData(findByTreeId(*store, "F3"), "S1/x", Logical::cameraNodeIDRole);
    auto* folders = f.attach<LogicalTreeFolderModel>(&f.validCameras);
    auto* ids = f.attach<LogicalTreeIDFilterModel>(&f.validCameras);
    // then: user folders by name; cameras without a device are hidden, everything else kept in order
    QCOMPARE(treeOutline(*folders), QString("R{F2,CLOUD,F1}"));
    const QString valid = "R{_REMOVED_CAMERAS_,_LOCAL_DB_,_IO_BOX_FID_{S2/E_1,S2},F1{T1,T2},"
                          "F2{T3,T7{S11/C_1_0,S11/C_1_1}},T4,T9,T10,CLOUD,F3}";
    QCOMPARE(treeOutline(f.validCameras), valid);
    // when ids are listed, then only listed nodes under listed parents show
    ids->setAvailableIDList({"R", "F1", "T2", "T3"});
    QCOMPARE(treeOutline(*ids), QString("R{F1{T2}}"));
    ids->clearFilter();
    QCOMPARE(treeOutline(*ids), valid);
}

void TestLogicalTreeProxies::advancedViews()
{
    // given the advanced chain with I/O (the tree filter on dataRole over the sort filter), and the
    // advanced order straight over the valid cameras
    Fixture f;
    auto* inner = f.attach<LogicalTreeSortFilterModel>(&f.validCameras);
    inner->showIONodesAndFolders(true);
    auto* advanced = f.attach<LogicalTreeFilterSortModelEx>(inner);
    advanced->setDataRoleEnum(Logical::dataRole);
    auto* direct = f.attach<LogicalTreeFilterSortModelEx>(&f.validCameras);
    // then folders first, special ones first; I/O kinds in the order they come
    QCOMPARE(treeOutline(*advanced), QString("R{CLOUD,F2{T3,T7{S11/C_1_0,S11/C_1_1}},_IO_BOX_FID_{S2,S2/E_1},"
                                             "F1{T2,T1},T9,T4,T10}"));
    QCOMPARE(treeOutline(*direct), QString("R{CLOUD,_LOCAL_DB_,_REMOVED_CAMERAS_,F2{T3,T7{S11/C_1_0,S11/C_1_1}},"
                                           "_IO_BOX_FID_{S2/E_1,S2},F1{T2,T1},T9,T4,T10}"));
    // when filtered by a device name, then the matches, their ancestors and their DI/DO show
    advanced->setFilterFixedString("SHED");
    QCOMPARE(treeOutline(*advanced), QString("R{F2{T7{S11/C_1_0,S11/C_1_1}},T4}"));
    // and a rename reaches the filter through dataRole
    f.devices.updateNodeName("R/C_2", "Shed 2");
    QCOMPARE(treeOutline(*advanced), QString("R{F2{T7{S11/C_1_0,S11/C_1_1}},T4,T10}"));
}

void TestLogicalTreeProxies::everyViewStaysConsistentThroughChanges()
{
    // given every view of the logical tree under the model tester
    Fixture f;
    f.testers.push_back(std::make_unique<Tester>(&f.topologyData, Tester::FailureReportingMode::Fatal));
    f.testers.push_back(std::make_unique<Tester>(&f.validCameras, Tester::FailureReportingMode::Fatal));
    const auto filterOnA = [](LogicalTreeSortFilterModel& m) {
        m.filter("a");
        m.setFilterCapability({"connectedRole"}, false);
    };
    const auto advancedOnA = [](LogicalTreeFilterSortModelEx& m) {
        m.setDataRoleEnum(Logical::dataRole);
        m.setFilterFixedString("a");
    };
    auto* plain = f.attach<LogicalTreeSortFilterModel>(&f.validCameras);
    auto* filtered = f.attach<LogicalTreeSortFilterModel>(&f.validCameras);
    filterOnA(*filtered);
    f.attach<LogicalTreeFolderModel>(&f.validCameras);
    f.attach<LogicalTreeIDFilterModel>(&f.validCameras)->setAvailableIDList({"R", "F1", "F2", "T1", "T2", "T3"});
    auto* advanced = f.attach<LogicalTreeFilterSortModelEx>(plain);
    advancedOnA(*advanced);
    ModelNotificationRecorder recorder(plain, Logical::idRole);

    // when a status storm passes, then the views pass it on naming the computed roles
    const QStringList placed{"R/C_1", "R/C_2", "S1/C_1", "S11/C_1", "S1/S12/C_1"};
    QRandomGenerator random(7);
    for (int i = 0; i < 200; ++i)
        f.devices.setDataMap(placed.at(random.bounded(placed.size())), {{"connectedRole", random.bounded(2) == 1}});
    QVERIFY(!recorder.lines().isEmpty());
    for (const QString& line : recorder.lines())
        QVERIFY2(line.endsWith(" roles 261,271,278"), qPrintable(line));

    // when a camera is renamed, folders move, a station goes and a folder is dissolved
    f.devices.updateNodeName("S1/C_1", "Atrium");
    f.logical.insertFolder({{"parentFolderUid", "F1"}, {"newFolderId", "F9"}, {"newFolderName", "Annex"}});
    f.logical.moveNodes({"F2", "T9", "T10"}, "F9");
    f.logical.moveNodes({"F9"}, "R");
    f.devices.removeNodes({"S1"});
    f.logical.removeFolderAndKeepChildren({"F9"});

    // then the views that depend on more than a row's own fields equal views built anew
    LogicalTreeSortFilterModel freshPlain;
    freshPlain.setSourceModel(&f.validCameras);
    LogicalTreeSortFilterModel freshFiltered;
    freshFiltered.setSourceModel(&f.validCameras);
    filterOnA(freshFiltered);
    LogicalTreeFilterSortModelEx freshAdvanced;
    freshAdvanced.setSourceModel(&freshPlain);
    advancedOnA(freshAdvanced);
    QCOMPARE(treeOutline(*plain), treeOutline(freshPlain));
    QCOMPARE(treeOutline(*filtered), treeOutline(freshFiltered));
    QCOMPARE(treeOutline(*advanced), treeOutline(freshAdvanced));
}

QTEST_MAIN(TestLogicalTreeProxies)
#include "tst_logicaltreeproxies.moc"
