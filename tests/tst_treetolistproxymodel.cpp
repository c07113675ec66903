#include "DeviceTree.h"
#include "TestSupport.h"
#include "TreeToListProxyModel.h"

#include <QRandomGenerator>
#include <QStandardItemModel>
#include <QtTest>

#include <functional>
#include <memory>

using Model = StandardTopologyModel;
using Proxy = TreeToListProxyModel;

namespace {

QVariantMap station(const QString& id)
{
    return {{"nodeUID", id}, {"nodeName", id}, {"nodeType", "Station"}};
}

QVariantMap camera(const QString& id)
{
    return {{"nodeUID", id}, {"nodeName", id}, {"nodeType", "Camera"}};
}

QVariantMap announcedCamera(const QString& stationId, const QString& id)
{
    return {{"parentStationID", stationId}, {"nodeUID", id}, {"nodeName", id}};
}

// R: R/C_1, R/C_2, S1 (S1/C_1, S1/C_2, S11 (S11/C_1)), S2 (S2/C_1); names are the identifiers.
void buildInstallation(DeviceTree& tree)
{
    tree.insertLoginStation("R", "10.0.0.1");
    tree.setDataMap(QString(), {{"idRole", "R"}, {"nodeIDRole", "R"}});
    tree.insertNewNodes("R", {camera("R/C_1"), camera("R/C_2"), station("S1"), station("S2")});
    tree.insertNewNodes("S1", {camera("S1/C_1"), camera("S1/C_2"), station("S11")});
    tree.insertNewNodes("S11", {camera("S11/C_1")});
    tree.insertNewNodes("S2", {camera("S2/C_1")});
}

// One line per row, read through the proxy's own roles: depth as indentation,
// then " +" for collapsed and " -" for expanded rows.
QStringList rowsOf(const QAbstractItemModel& proxy)
{
    QStringList rows;
    for (int row = 0; row < proxy.rowCount(); ++row) {
        const QModelIndex index = proxy.index(row, 0);
        const QString indicator = index.data(Proxy::childIndicatorRole).toString();
        const QString suffix = indicator == "collapsed" ? " +" : indicator == "expanded" ? " -" : "";
        rows << QString(index.data(Proxy::levelRole).toInt() * 2, ' ') + index.data(Model::nameRole).toString()
                + suffix;
    }
    return rows;
}

int rowNamed(const QAbstractItemModel& proxy, const QString& name)
{
    for (int row = 0; row < proxy.rowCount(); ++row) {
        if (proxy.index(row, 0).data(Model::nameRole).toString() == name)
            return row;
    }
    return -1;
}

// "expand S1", "collapse #3" (a row number), "expandAll R".
void apply(Proxy& proxy, const QString& operation)
{
    const QString verb = operation.section(' ', 0, 0);
    const QString target = operation.section(' ', 1);
    const int row = target.startsWith('#') ? target.mid(1).toInt() : rowNamed(proxy, target);
    if (verb == "expand")
        proxy.expand(row);
    else if (verb == "collapse")
        proxy.collapse(row);
    else if (verb == "expandAll")
        proxy.expandAll(row);
    else
        qFatal("unknown operation %s", qPrintable(operation));
}

struct Fixture
{
    Fixture()
    {
        buildInstallation(tree);
        proxy.setSourceModel(tree.getModel());
        recorder = std::make_unique<ModelNotificationRecorder>(&proxy, Model::nameRole);
    }
    void apply(const QStringList& operations)
    {
        for (const QString& operation : operations)
            ::apply(proxy, operation);
    }
    DeviceTree tree;
    Proxy proxy;
    std::unique_ptr<ModelNotificationRecorder> recorder;
};

using SourceChange = std::function<void(DeviceTree&)>;

const QStringList kTopExpanded = {"R -", "  R/C_1", "  R/C_2", "  S1 +", "  S2 +"};

} // namespace

Q_DECLARE_METATYPE(SourceChange)

class TestTreeToListProxyModel : public QObject
{
    Q_OBJECT

private slots:
    void presentsAFlatList();
    void expandAndCollapse_data();
    void expandAndCollapse();
    void followsSourceChanges_data();
    void followsSourceChanges();
    void layoutChangeKeepsExpansionAndPersistentIndexes();
    void resetEmptiesTheListUntilRowsAreReported();
    void survivesMissingAndDestroyedSources();
    void staysTheExpandedPartOfTheTreeUnderRandomEdits();
};

void TestTreeToListProxyModel::presentsAFlatList()
{
    // given a station with three cameras
    DeviceTree tree;
    tree.insertLoginStation("R", "10.0.0.1");
    tree.setDataMap(QString(), {{"idRole", "R"}, {"nodeIDRole", "R"}});
    tree.insertNewNodes("R", {camera("C1"), camera("C2"), camera("C3")});
    Proxy proxy;
    proxy.setSourceModel(tree.getModel());
    const QModelIndex cameraInSource = tree.getModel()->index(1, 0, tree.getModel()->index(0, 0));
    // then it shows one collapsed row, and nothing below it maps
    QCOMPARE(rowsOf(proxy), QStringList{"R +"});
    QVERIFY(!proxy.mapFromSource(cameraInSource).isValid());
    // when expanded, then the cameras follow at level 1, and the list has no hierarchy
    proxy.expand(0);
    QCOMPARE(rowsOf(proxy), (QStringList{"R -", "  C1", "  C2", "  C3"}));
    QCOMPARE(proxy.mapFromSource(cameraInSource), proxy.index(2, 0));
    QCOMPARE(proxy.mapToSource(proxy.index(2, 0)), cameraInSource);
    QCOMPARE(proxy.rowCount(proxy.index(1, 0)), 4);
    QCOMPARE(proxy.columnCount(proxy.index(1, 0)), 1);
    QVERIFY(!proxy.parent(proxy.index(1, 0)).isValid());
    QVERIFY(!proxy.hasChildren(proxy.index(0, 0)));
    QVERIFY(!proxy.index(4, 0).isValid());
    QVERIFY(!proxy.index(0, 1).isValid());
    QVERIFY(!proxy.mapToSource(proxy.index(-1, 0)).isValid());
    QVERIFY(!proxy.data(QModelIndex(), Proxy::levelRole).isValid());
    const QHash<int, QByteArray> names = proxy.roleNames();
    QCOMPARE(names.value(Proxy::childIndicatorRole), QByteArray("childIndicatorRole"));
    QCOMPARE(names.value(Proxy::levelRole), QByteArray("levelRole"));
    QCOMPARE(names.value(Model::levelRole), QByteArray("levelRole"));
    QCOMPARE(names.value(Model::nameRole), QByteArray("nameRole"));
}

void TestTreeToListProxyModel::expandAndCollapse_data()
{
    QTest::addColumn<QStringList>("setup");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QStringList>("rows");
    QTest::addColumn<QStringList>("notifications");
    const QStringList expandR = {"insert 1..4 under <root>", "inserted 1..4 under <root>", "changed R roles 400"};
    QTest::newRow("expand") << QStringList() << "expand R" << kTopExpanded << expandR;
    QTest::newRow("expand a row without children")
        << QStringList{"expand R"} << "expand R/C_1" << kTopExpanded << QStringList();
    QTest::newRow("expand an expanded row") << QStringList{"expand R"} << "expand R" << kTopExpanded << QStringList();
    QTest::newRow("expand beyond the list") << QStringList() << "expand #1" << QStringList{"R +"} << QStringList();
    QTest::newRow("expandAll before the list") << QStringList() << "expandAll #-1" << QStringList{"R +"}
                                               << QStringList();
    QTest::newRow("collapse a row without children")
        << QStringList{"expand R"} << "collapse R/C_2" << kTopExpanded << QStringList();
    QTest::newRow("collapse takes the visible subtree")
        << QStringList{"expand R", "expand S1"} << "collapse R" << QStringList{"R +"}
        << QStringList{"remove 1..7 under <root>", "removed 1..7 under <root>", "changed R roles 400"};
    QTest::newRow("expanding again restores inner expansion")
        << QStringList{"expand R", "expand S1", "collapse R"} << "expand R"
        << QStringList{"R -", "  R/C_1", "  R/C_2", "  S1 -", "    S1/C_1", "    S1/C_2", "    S11 +", "  S2 +"}
        << QStringList{"insert 1..7 under <root>", "inserted 1..7 under <root>", "changed R roles 400"};
    QTest::newRow("expandAll opens the whole subtree top-down")
        << QStringList() << "expandAll R"
        << QStringList{"R -", "  R/C_1", "  R/C_2", "  S1 -", "    S1/C_1", "    S1/C_2", "    S11 -", "      S11/C_1",
                       "  S2 -", "    S2/C_1"}
        << expandR + QStringList{"insert 4..6 under <root>", "inserted 4..6 under <root>", "changed S1 roles 400",
                                 "insert 7..7 under <root>", "inserted 7..7 under <root>", "changed S11 roles 400",
                                 "insert 9..9 under <root>", "inserted 9..9 under <root>", "changed S2 roles 400"};
    QTest::newRow("expandAll of an inner row stays in its subtree")
        << QStringList{"expand R"} << "expandAll S1"
        << QStringList{"R -", "  R/C_1", "  R/C_2", "  S1 -", "    S1/C_1", "    S1/C_2", "    S11 -", "      S11/C_1",
                       "  S2 +"}
        << QStringList{"insert 4..6 under <root>", "inserted 4..6 under <root>", "changed S1 roles 400",
                       "insert 7..7 under <root>", "inserted 7..7 under <root>", "changed S11 roles 400"};
}

void TestTreeToListProxyModel::expandAndCollapse()
{
    QFETCH(QStringList, setup);
    QFETCH(QString, operation);
    QFETCH(QStringList, rows);
    QFETCH(QStringList, notifications);
    // given
    Fixture f;
    f.apply(setup);
    f.recorder->clear();
    // when
    apply(f.proxy, operation);
    // then
    QCOMPARE(rowsOf(f.proxy), rows);
    QCOMPARE(f.recorder->lines(), notifications);
}

void TestTreeToListProxyModel::followsSourceChanges_data()
{
    QTest::addColumn<QStringList>("setup");
    QTest::addColumn<SourceChange>("change");
    QTest::addColumn<QStringList>("notifications");
    QTest::addColumn<QStringList>("rows");
    QTest::addColumn<QString>("then");
    QTest::addColumn<QStringList>("rowsThen");
    const QStringList s1Inline = {"expand R", "expand S1", "collapse R"};
    const auto insertCamera = [](const QString& stationId, const QString& id) {
        return SourceChange([=](DeviceTree& tree) { tree.insertNewCameraNodes({announcedCamera(stationId, id)}); });
    };
    const auto remove = [](const QString& id) {
        return SourceChange([=](DeviceTree& tree) { tree.removeNodes({id}); });
    };

    QTest::newRow("camera into an expanded station, before its sub-stations")
        << QStringList{"expand R"} << insertCamera("R", "R/C_3")
        << QStringList{"insert 3..3 under <root>", "inserted 3..3 under <root>"}
        << QStringList{"R -", "  R/C_1", "  R/C_2", "  R/C_3", "  S1 +", "  S2 +"} << QString() << QStringList();
    QTest::newRow("camera into a collapsed station waits at its place")
        << QStringList() << insertCamera("R", "R/C_3") << QStringList() << QStringList{"R +"} << "expand R"
        << QStringList{"R -", "  R/C_1", "  R/C_2", "  R/C_3", "  S1 +", "  S2 +"};
    QTest::newRow("camera into a station inside a collapsed subtree")
        << QStringList{"expand R"} << insertCamera("S1", "S1/C_3") << QStringList() << kTopExpanded << "expand S1"
        << QStringList{"R -", "  R/C_1", "  R/C_2", "  S1 -", "    S1/C_1", "    S1/C_2", "    S1/C_3", "    S11 +",
                       "  S2 +"};
    QTest::newRow("camera under a station left expanded in a collapsed subtree")
        << s1Inline << insertCamera("S1", "S1/C_3") << QStringList() << QStringList{"R +"} << "expand R"
        << QStringList{"R -", "  R/C_1", "  R/C_2", "  S1 -", "    S1/C_1", "    S1/C_2", "    S1/C_3", "    S11 +",
                       "  S2 +"};
    QTest::newRow("first children of a visible station arrive collapsed")
        << QStringList{"expand R"} << SourceChange([](DeviceTree& tree) {
               tree.insertNewStationNodes({QVariantMap{{"relayPath", "R"}, {"stationUID", "S3"}, {"nodeName", "S3"}}});
               tree.insertNewNodes("S3", {camera("S3/C_1")});
           })
        << QStringList{"insert 5..5 under <root>", "inserted 5..5 under <root>", "changed S3 roles 400"}
        << kTopExpanded + QStringList{"  S3 +"} << QString() << QStringList();
    QTest::newRow("children of an expanded station replaced")
        << QStringList{"expand R", "expand S2"} << SourceChange([](DeviceTree& tree) {
               tree.insertNewNodes("S2", {camera("S2/C_8"), camera("S2/C_9")});
           })
        << QStringList{"remove 5..5 under <root>", "removed 5..5 under <root>", "changed S2 roles 400",
                       "changed S2 roles 400"}
        << kTopExpanded << "expand S2" << kTopExpanded.mid(0, 4) + QStringList{"  S2 -", "    S2/C_8", "    S2/C_9"};
    QTest::newRow("a visible subtree removed")
        << QStringList{"expandAll R"} << remove("S1")
        << QStringList{"remove 3..7 under <root>", "removed 3..7 under <root>"}
        << QStringList{"R -", "  R/C_1", "  R/C_2", "  S2 -", "    S2/C_1"} << QString() << QStringList();
    QTest::newRow("a station inside a collapsed subtree removed")
        << QStringList{"expand R"} << remove("S11") << QStringList() << kTopExpanded << "expandAll S1"
        << QStringList{"R -", "  R/C_1", "  R/C_2", "  S1 -", "    S1/C_1", "    S1/C_2", "  S2 +"};
    QTest::newRow("camera removed under a station left expanded in a collapsed subtree")
        << s1Inline << remove("S1/C_1") << QStringList() << QStringList{"R +"} << "expand R"
        << QStringList{"R -", "  R/C_1", "  R/C_2", "  S1 -", "    S1/C_2", "    S11 +", "  S2 +"};
    QTest::newRow("last camera of an expanded station removed")
        << QStringList{"expand R", "expand S2"} << remove("S2/C_1")
        << QStringList{"remove 5..5 under <root>", "removed 5..5 under <root>", "changed S2 roles 400"}
        << kTopExpanded.mid(0, 4) + QStringList{"  S2"} << QString() << QStringList();
    QTest::newRow("last camera of a collapsed station removed")
        << QStringList{"expand R"} << remove("S2/C_1") << QStringList{"changed S2 roles 400"}
        << kTopExpanded.mid(0, 4) + QStringList{"  S2"} << QString() << QStringList();
    QTest::newRow("the top-level station removed")
        << QStringList{"expand R"} << remove("R") << QStringList{"remove 0..4 under <root>", "removed 0..4 under <root>"}
        << QStringList() << QString() << QStringList();
    const auto connect = [](const QString& id) {
        return SourceChange([=](DeviceTree& tree) {
            tree.updateCameraStatus({QVariantMap{{"camUID", id}, {"connected", true}, {"recording", true}}});
        });
    };
    QTest::newRow("status of a visible camera, with its roles")
        << QStringList{"expand R"} << connect("R/C_2") << QStringList{"changed R/C_2 roles 284,304,382,383"}
        << kTopExpanded << QString() << QStringList();
    QTest::newRow("status of a camera in a collapsed subtree")
        << QStringList{"expand R"} << connect("S1/C_2") << QStringList() << kTopExpanded << QString()
        << QStringList();
}

void TestTreeToListProxyModel::followsSourceChanges()
{
    QFETCH(QStringList, setup);
    QFETCH(SourceChange, change);
    QFETCH(QStringList, notifications);
    QFETCH(QStringList, rows);
    QFETCH(QString, then);
    QFETCH(QStringList, rowsThen);
    // given
    Fixture f;
    f.apply(setup);
    f.recorder->clear();
    // when
    change(f.tree);
    // then
    QCOMPARE(f.recorder->lines(), notifications);
    QCOMPARE(rowsOf(f.proxy), rows);
    if (!then.isEmpty()) {
        apply(f.proxy, then);
        QCOMPARE(rowsOf(f.proxy), rowsThen);
    }
}

void TestTreeToListProxyModel::layoutChangeKeepsExpansionAndPersistentIndexes()
{
    // given S1 collapsed with S11 left expanded inside it
    Fixture f;
    f.apply({"expandAll R", "collapse S1"});
    const QPersistentModelIndex s2(f.proxy.index(rowNamed(f.proxy, "S2"), 0));
    f.recorder->clear();
    // when the source sorts itself by name, descending
    f.tree.getModel()->setSortRole(Model::nameRole);
    f.tree.getModel()->sort(0, Qt::DescendingOrder);
    // then the list follows the new order in one layout change, expansion kept
    QCOMPARE(f.recorder->lines(), QStringList{"layout"});
    QCOMPARE(rowsOf(f.proxy), (QStringList{"R -", "  S2 -", "    S2/C_1", "  S1 +", "  R/C_2", "  R/C_1"}));
    QCOMPARE(s2.row(), 1);
    f.proxy.expand(3);
    QCOMPARE(rowsOf(f.proxy).mid(3, 5),
             (QStringList{"  S1 -", "    S11 -", "      S11/C_1", "    S1/C_2", "    S1/C_1"}));
    QCOMPARE(f.proxy.mapFromSource(f.tree.getModel()->index(0, 0, f.tree.getModel()->index(0, 0))), QModelIndex(s2));
}

void TestTreeToListProxyModel::resetEmptiesTheListUntilRowsAreReported()
{
    // given
    Fixture f;
    f.apply({"expand R"});
    f.recorder->clear();
    // when the source is cleared and refilled behind the proxy's back
    f.tree.clear();
    f.tree.getModel()->blockSignals(true);
    f.tree.getModel()->appendRow(new QStandardItem);
    f.tree.getModel()->blockSignals(false);
    // then the proxy is empty after one reset
    QCOMPARE(f.recorder->lines(), QStringList{"reset"});
    QCOMPARE(f.proxy.rowCount(), 0);
    // when a top-level station is reported, then it shows, and its unreported children expand from the source
    f.tree.insertLoginStation("Second", "10.0.0.2");
    QCOMPARE(rowsOf(f.proxy), QStringList{"Second"});
    f.tree.getModel()->blockSignals(true);
    f.tree.getModel()->item(1)->appendRow(new QStandardItem);
    f.tree.getModel()->blockSignals(false);
    f.proxy.expand(0);
    QCOMPARE(f.proxy.rowCount(), 2);
}

void TestTreeToListProxyModel::survivesMissingAndDestroyedSources()
{
    Proxy proxy;
    ModelNotificationRecorder recorder(&proxy, Qt::DisplayRole);
    proxy.expandAll(0);
    QCOMPARE(proxy.rowCount(), 0);
    auto source = std::make_unique<QStandardItemModel>();
    source->appendRow(new QStandardItem("a"));
    source->item(0)->appendRow(new QStandardItem("b"));
    proxy.setSourceModel(source.get());
    proxy.expand(0);
    QCOMPARE(proxy.rowCount(), 2);
    QCOMPARE(proxy.index(1, 0).data(Qt::DisplayRole), QVariant("b"));
    // when the source goes away, then the proxy empties and stays usable
    source.reset();
    QCOMPARE(proxy.rowCount(), 0);
    proxy.expand(0);
    proxy.collapse(0);
    QVERIFY(!proxy.mapFromSource(QModelIndex()).isValid());
    proxy.setSourceModel(nullptr);
    QCOMPARE(recorder.lines(),
             (QStringList{"reset", "insert 0..0 under <root>", "inserted 0..0 under <root>", "insert 1..1 under <root>",
                          "inserted 1..1 under <root>", "changed a roles 400", "reset", "reset"}));
}

void TestTreeToListProxyModel::staysTheExpandedPartOfTheTreeUnderRandomEdits()
{
    // given a proxy, a view's copy of the list kept from notifications alone, and
    // the set of nodes the user left expanded
    Fixture f;
    Model* model = f.tree.getModel();
    const auto namesOf = [](const QAbstractItemModel& proxy) {
        QStringList names;
        for (int row = 0; row < proxy.rowCount(); ++row)
            names << proxy.index(row, 0).data(Model::nameRole).toString();
        return names;
    };
    QStringList viewCopy = namesOf(f.proxy);
    connect(&f.proxy, &QAbstractItemModel::rowsInserted, this, [&](const QModelIndex&, int first, int last) {
        for (int row = first; row <= last; ++row)
            viewCopy.insert(row, f.proxy.index(row, 0).data(Model::nameRole).toString());
    });
    connect(&f.proxy, &QAbstractItemModel::rowsRemoved, this,
            [&](const QModelIndex&, int first, int last) { viewCopy.remove(first, last - first + 1); });
    QSet<QString> expanded;
    std::function<void(const QModelIndex&, int, QStringList&)> expectedRows;
    expectedRows = [&](const QModelIndex& parent, int level, QStringList& out) {
        for (int row = 0; row < model->rowCount(parent); ++row) {
            const QModelIndex node = model->index(row, 0, parent);
            const QString name = node.data(Model::nameRole).toString();
            const bool hasChildren = model->rowCount(node) > 0;
            const bool open = hasChildren && expanded.contains(name);
            out << QString(level * 2, ' ') + name + (hasChildren ? (open ? " -" : " +") : "");
            if (open)
                expectedRows(node, level + 1, out);
        }
    };
    std::function<void(QModelIndex, QList<QModelIndex>&)> collect;
    collect = [&](QModelIndex parent, QList<QModelIndex>& out) {
        for (int row = 0; row < model->rowCount(parent); ++row) {
            const QModelIndex node = model->index(row, 0, parent);
            out << node;
            collect(node, out);
        }
    };
    QRandomGenerator random(20240611);
    int created = 0;
    for (int step = 0; step < 400; ++step) {
        QList<QModelIndex> nodes;
        collect(QModelIndex(), nodes);
        QList<QModelIndex> stations;
        for (const QModelIndex& node : nodes) {
            if (node.data(Model::nodeTypeRole).toInt() == Model::StationNode)
                stations << node;
        }
        const int row = f.proxy.rowCount() ? int(random.bounded(f.proxy.rowCount())) : 0;
        const QString rowName = f.proxy.index(row, 0).data(Model::nameRole).toString();
        const QString indicator = f.proxy.index(row, 0).data(Proxy::childIndicatorRole).toString();
        const QString stationId = stations.isEmpty() ? QString()
            : stations[int(random.bounded(stations.size()))].data(Model::idRole).toString();
        const QString anyId = nodes.size() < 2
            ? QString()
            : nodes[1 + int(random.bounded(nodes.size() - 1))].data(Model::idRole).toString();
        const QString newId = QStringLiteral("N%1").arg(++created);
        QString described;
        // Growing more often than shrinking keeps the tree a few levels deep.
        switch (random.bounded(12)) {
        case 0:
        case 1:
            described = "expand " + rowName;
            if (indicator == "collapsed")
                expanded.insert(rowName);
            f.proxy.expand(row);
            break;
        case 2:
            described = "collapse " + rowName;
            expanded.remove(rowName);
            f.proxy.collapse(row);
            break;
        case 3: {
            described = "expandAll " + rowName;
            QList<QModelIndex> below;
            const QModelIndex source = f.proxy.mapToSource(f.proxy.index(row, 0));
            if (source.isValid())
                below << source;
            collect(source, below);
            for (const QModelIndex& node : std::as_const(below))
                expanded.insert(node.data(Model::nameRole).toString());
            f.proxy.expandAll(row);
            break;
        }
        case 4:
        case 5:
            described = "camera " + newId + " into " + stationId;
            f.tree.insertNewCameraNodes({announcedCamera(stationId, newId)});
            break;
        case 6:
        case 7:
            described = "station " + newId + " into " + stationId;
            f.tree.insertNewStationNodes(
                {QVariantMap{{"relayPath", stationId}, {"stationUID", newId}, {"nodeName", newId}}});
            break;
        case 8:
            described = "remove " + anyId;
            f.tree.removeNodes({anyId});
            break;
        case 9: {
            described = "replace children of " + stationId;
            QVariantList records;
            for (int count = int(random.bounded(4)); count > 0; --count)
                records << (random.bounded(2) ? camera(newId + char('a' + count)) : station(newId + char('a' + count)));
            if (!records.isEmpty())
                expanded.remove(stationId);
            f.tree.insertNewNodes(stationId, records);
            break;
        }
        default:
            described = "status of " + anyId;
            f.tree.updateCameraStatus({QVariantMap{{"camUID", anyId}, {"connected", bool(step % 2)}}});
            break;
        }
        // A node without children has nothing to keep open.
        for (auto it = expanded.begin(); it != expanded.end();) {
            const QModelIndex node = model->match(QModelIndex(), Model::idRole, *it).value(0);
            it = node.isValid() && model->rowCount(node) > 0 ? std::next(it) : expanded.erase(it);
        }
        QStringList expected;
        expectedRows(QModelIndex(), 0, expected);
        const QString context = QStringLiteral("step %1: %2").arg(step).arg(described);
        QVERIFY2(rowsOf(f.proxy) == expected, qPrintable(context + "\n" + rowsOf(f.proxy).join('|') + "\n"
                                                          + expected.join('|')));
        QVERIFY2(viewCopy == namesOf(f.proxy), qPrintable(context));
        nodes.clear();
        collect(QModelIndex(), nodes);
        for (const QModelIndex& node : std::as_const(nodes)) {
            const QModelIndex shown = f.proxy.mapFromSource(node);
            const int visibleRow = rowNamed(f.proxy, node.data(Model::nameRole).toString());
            QVERIFY2(shown.row() == visibleRow, qPrintable(context));
            QVERIFY2(!shown.isValid() || f.proxy.mapToSource(shown) == node, qPrintable(context));
        }
    }
}

QTEST_MAIN(TestTreeToListProxyModel)
#include "tst_treetolistproxymodel.moc"
