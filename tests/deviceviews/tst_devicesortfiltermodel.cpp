#include "DeviceModelFactory.h"
#include "DeviceSortFilterModel.h"
#include "DeviceTree.h"

#include <QAbstractItemModelTester>
#include <QIdentityProxyModel>
#include <QStandardItem>
#include <QtTest>

#include <functional>

#include "TestSupport.h"

using Model = StandardTopologyModel;

namespace {

using DeviceRecords::camera;
using DeviceRecords::station;

QVariantMap filter(const QString& role, const QVariant& value)
{
    return {{"role", role}, {"value", value}};
}

// R: R/C_1 "gate" (VCA), R/C_10 "Lobby", S1 "Branch" (S1/C_1 "Yard" with smart VCA,
// S1/C_11 "Dock", S11 "Depot" (S11/C_2 "Ramp")), S2 "Annex" (S2/C_5 "Hall", removed camera S2/old).
void buildInstallation(DeviceTree& tree)
{
    tree.insertLoginStation("Root", "10.0.0.1");
    tree.setDataMap(QString(), {{"idRole", "R"}, {"nodeIDRole", "R"}});
    tree.insertNewNodes("R", {camera("R/C_1", "gate"), camera("R/C_10", "Lobby"), station("S1", "Branch"),
                              station("S2", "Annex")});
    tree.insertNewNodes("S1", {camera("S1/C_1", "Yard"), camera("S1/C_11", "Dock"), station("S11", "Depot")});
    tree.insertNewNodes("S11", {camera("S11/C_2", "Ramp")});
    tree.insertNewNodes("S2", {camera("S2/C_5", "Hall")});
    tree.insertRemovedCameras("S2", {QVariantMap{{"camID", "old"}, {"camName", "Old"}, {"cameraType", 1}}});
    tree.setData("R/C_1", Model::isVCARole, true);
    tree.setData("S1/C_1", Model::supportEventsRole, QVariantMap{{"suppSmartVca", true}});
}

// Identifiers of every row, depth-first.
QStringList shownIds(const QAbstractItemModel& model, const QModelIndex& parent = QModelIndex())
{
    QStringList ids;
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, 0, parent);
        ids << index.data(Model::idRole).toString() << shownIds(model, index);
    }
    return ids;
}

const QStringList kAllVisible = {"R",   "R/C_1",   "R/C_10", "S1", "S1/C_1",
                                 "S1/C_11", "S11", "S11/C_2", "S2", "S2/C_5"};

using Configure = std::function<void(DeviceSortFilterModel&)>;
using TreeChange = std::function<void(DeviceTree&)>;

Configure unionOf(const QVariantList& filters)
{
    return [=](DeviceSortFilterModel& model) { model.setUnionFilter(filters); };
}

Configure allOf(const QVariantList& filters)
{
    return [=](DeviceSortFilterModel& model) { model.setFilter(filters); };
}

struct Fixture
{
    Fixture()
        : tester(&proxy, QAbstractItemModelTester::FailureReportingMode::Fatal)
    {
        buildInstallation(tree);
    }
    DeviceTree tree;
    DeviceSortFilterModel proxy;
    QAbstractItemModelTester tester;
};

// Counts the whole-node reads that pass through it.
class WholeNodeReadCounter : public QIdentityProxyModel
{
public:
    mutable int wholeNodeReads = 0;
    QVariant data(const QModelIndex& index, int role) const override
    {
        wholeNodeReads += role == Model::dataRole;
        return QIdentityProxyModel::data(index, role);
    }
};

} // namespace

Q_DECLARE_METATYPE(Configure)
Q_DECLARE_METATYPE(TreeChange)

class TestDeviceSortFilterModel : public QObject
{
    Q_OBJECT

private slots:
    void filters_data();
    void filters();
    void followsTreeChanges_data();
    void followsTreeChanges();
    void readsOnlyWhatItFiltersOn();
    void factoryBuildsTheConfiguredViews();
};

void TestDeviceSortFilterModel::filters_data()
{
    QTest::addColumn<Configure>("configure");
    QTest::addColumn<QStringList>("shown");
    QTest::newRow("no filters hide removed cameras only") << Configure([](auto&) {}) << kAllVisible;
    QTest::newRow("all filters: a camera shows its ancestors")
        << allOf({filter("isVCARole", true)}) << QStringList{"R", "R/C_1"};
    QTest::newRow("all filters must hold")
        << allOf({filter("isVCARole", true), filter("nameRole", "Yard")}) << QStringList();
    QTest::newRow("union: one filter is enough")
        << unionOf({filter("isVCARole", true), filter("nameRole", "Ramp")})
        << QStringList{"R", "R/C_1", "S1", "S11", "S11/C_2"};
    QTest::newRow("default filter keeps the first root without its children")
        << Configure([](auto& model) { model.setDefaultFilter({filter("nameRole", "nothing")}); })
        << QStringList{"R"};
    QTest::newRow("identifiers match as substrings")
        << allOf({filter("nodeIDRole", "C_1")}) << QStringList{"R", "R/C_1", "R/C_10", "S1", "S1/C_1", "S1/C_11"};
    QTest::newRow("other texts match whole") << allOf({filter("nameRole", "Yar")}) << QStringList();
    QTest::newRow("integers") << allOf({filter("levelRole", 2)})
                              << QStringList{"R", "S1", "S1/C_1", "S1/C_11", "S11", "S2", "S2/C_5"};
    QTest::newRow("a map filter reaches into a map field")
        << allOf({filter("supportEventsRole", filter("suppSmartVca", true))}) << QStringList{"R", "S1", "S1/C_1"};
    QTest::newRow("a map filter on a field that is no map")
        << allOf({filter("nameRole", filter("suppSmartVca", true))}) << QStringList();
    QTest::newRow("a field the node does not hold reads false")
        << allOf({filter("redundantServerRole", false)}) << kAllVisible;
    QTest::newRow("a role outside the whole-node map fails") << allOf({filter("takenOverRole", false)})
                                                             << QStringList();
    QTest::newRow("a value of another type fails") << allOf({filter("isVCARole", 1.0)}) << QStringList();
    QTest::newRow("maps without role or value are skipped")
        << allOf({QVariantMap{{"role", "isVCARole"}}, QVariantMap{{"value", true}}, "junk"}) << kAllVisible;
    QTest::newRow("identifier filter")
        << Configure([](auto& model) { model.setNodeIdFilter({"S11/C_2", "S2"}); })
        << QStringList{"R", "S1", "S11", "S11/C_2", "S2"};
    QTest::newRow("setFilter drops the identifier filter") << Configure([](auto& model) {
        model.setNodeIdFilter({"S2"});
        model.setFilter({});
    }) << kAllVisible;
    QTest::newRow("setNodeIdFilter drops the filters") << Configure([](auto& model) {
        model.setFilter({filter("isVCARole", true)});
        model.setNodeIdFilter({"S2/C_5"});
    }) << QStringList{"R", "S2", "S2/C_5"};
    QTest::newRow("sorted: cameras before stations, names ignoring case")
        << Configure([](auto& model) { model.sortModel(); })
        << QStringList{"R", "R/C_1", "R/C_10", "S2", "S2/C_5", "S1", "S1/C_11", "S1/C_1", "S11", "S11/C_2"};
}

void TestDeviceSortFilterModel::filters()
{
    QFETCH(Configure, configure);
    QFETCH(QStringList, shown);
    // given
    Fixture f;
    f.proxy.setSourceModel(f.tree.getModel());
    // when
    configure(f.proxy);
    // then
    QCOMPARE(shownIds(f.proxy), shown);
}

void TestDeviceSortFilterModel::followsTreeChanges_data()
{
    QTest::addColumn<Configure>("configure");
    QTest::addColumn<TreeChange>("change");
    QTest::addColumn<QStringList>("shown");
    const Configure counting = unionOf({filter("isVCARole", true)});
    QTest::newRow("a camera below hidden stations qualifies")
        << counting << TreeChange([](DeviceTree& tree) { tree.setDataMap("S11/C_2", {{"isVCARole", true}}); })
        << QStringList{"R", "R/C_1", "S1", "S11", "S11/C_2"};
    QTest::newRow("a station's last qualifying camera stops qualifying")
        << unionOf({filter("isVCARole", true), filter("nameRole", "Hall")})
        << TreeChange([](DeviceTree& tree) { tree.updateNodeName("S2/C_5", "Corridor"); })
        << QStringList{"R", "R/C_1"};
    QTest::newRow("a qualifying camera inserted below a hidden station")
        << counting << TreeChange([](DeviceTree& tree) {
               auto* item = new QStandardItem;
               item->setData("S2/C_9", Model::idRole);
               item->setData(true, Model::isVCARole);
               Model* model = tree.getModel();
               model->itemFromIndex(model->match(QModelIndex(), Model::idRole, "S2").value(0))->appendRow(item);
           })
        << QStringList{"R", "R/C_1", "S2", "S2/C_9"};
    QTest::newRow("the only qualifying camera of a station removed")
        << unionOf({filter("isVCARole", true), filter("nodeIDRole", "S2/C_5")}) << TreeChange([](DeviceTree& tree) { tree.removeNodes({"S2/C_5"}); })
        << QStringList{"R", "R/C_1"};
    QTest::newRow("a qualifying camera below a hidden node stays hidden")
        << counting << TreeChange([](DeviceTree& tree) { tree.setDataMap("S2/old", {{"isVCARole", true}}); })
        << QStringList{"R", "R/C_1"};
    QTest::newRow("a node hidden later takes its subtree along")
        << Configure([](auto&) {})
        << TreeChange([](DeviceTree& tree) { tree.setData("S1", Model::hiddenInLiveRole, true); })
        << QStringList{"R", "R/C_1", "R/C_10", "S2", "S2/C_5"};
    QTest::newRow("an identifier given later")
        << Configure([](auto& model) { model.setNodeIdFilter({"R2"}); })
        << TreeChange([](DeviceTree& tree) { tree.setDataMap("R", {{"idRole", "R2"}, {"nodeIDRole", "R2"}}); })
        << QStringList{"R2"};
    QTest::newRow("the order follows a renamed node")
        << Configure([](auto& model) { model.sortModel(); })
        << TreeChange([](DeviceTree& tree) { tree.updateNodeName("R/C_1", "Zone"); })
        << QStringList{"R", "R/C_10", "R/C_1", "S2", "S2/C_5", "S1", "S1/C_11", "S1/C_1", "S11", "S11/C_2"};
}

void TestDeviceSortFilterModel::followsTreeChanges()
{
    QFETCH(Configure, configure);
    QFETCH(TreeChange, change);
    QFETCH(QStringList, shown);
    // given
    Fixture f;
    f.proxy.setSourceModel(f.tree.getModel());
    configure(f.proxy);
    // when
    change(f.tree);
    // then
    QCOMPARE(shownIds(f.proxy), shown);
}

void TestDeviceSortFilterModel::readsOnlyWhatItFiltersOn()
{
    // given a counting view over a source that counts whole-node reads
    DeviceTree tree;
    buildInstallation(tree);
    WholeNodeReadCounter source;
    source.setSourceModel(tree.getModel());
    RowFilterCounter<DeviceSortFilterModel> proxy;
    QAbstractItemModelTester tester(&proxy, QAbstractItemModelTester::FailureReportingMode::Fatal);
    proxy.setUnionFilter({filter("isVCARole", true), filter("supportEventsRole", filter("suppSmartVca", true))});
    proxy.setSourceModel(&source);
    // then one node was read whole, to learn the map's fields
    QCOMPARE(shownIds(proxy), (QStringList{"R", "R/C_1", "S1", "S1/C_1"}));
    QCOMPARE(source.wholeNodeReads, 1);
    // when status changes arrive, then no row is filtered beyond the changed one
    proxy.rowsFiltered = 0;
    for (const QString& id : QStringList{"R/C_1", "S1/C_11", "S2/C_5"})
        tree.updateCameraStatus({QVariantMap{{"camUID", id}, {"connected", true}, {"recording", true}}});
    QVERIFY2(proxy.rowsFiltered <= 3, qPrintable(QString::number(proxy.rowsFiltered)));
    QCOMPARE(source.wholeNodeReads, 1);
}

void TestDeviceSortFilterModel::factoryBuildsTheConfiguredViews()
{
    // given; ownership by the caller is the plug-in suite's, which asks every getter
    DeviceTree tree;
    buildInstallation(tree);
    QObject owner;
    QIdentityProxyModel failoverControl;
    failoverControl.setSourceModel(tree.getModel());
    const QList<QPair<DeviceSortFilterModel*, QStringList>> views = {
        {DeviceModelFactory::createFilteredStandardTopologyModel(tree.getModel(), &owner), kAllVisible},
        {DeviceModelFactory::createCountingCameraDeviceTreeModel(tree.getModel(), &owner), {"R", "R/C_1"}},
        {DeviceModelFactory::createFailoverTopologyModel(&failoverControl, &owner), kAllVisible},
        {DeviceModelFactory::createFailoverTopologyModelWithoutRedundantServer(&failoverControl, &owner), kAllVisible},
    };
    // then
    for (const auto& [view, shown] : views) {
        QAbstractItemModelTester tester(view, QAbstractItemModelTester::FailureReportingMode::Fatal);
        QCOMPARE(shownIds(*view), shown);
    }
}

QTEST_MAIN(TestDeviceSortFilterModel)
#include "tst_devicesortfiltermodel.moc"
