#include "DeviceTree.h"
#include "TestSupport.h"
#include "TreeToListProxyModel.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>
#include <QThread>
#include <QtTest>

#include <functional>
#include <memory>

using Model = StandardTopologyModel;
using Proxy = TreeToListProxyModel;
using Tester = QAbstractItemModelTester;
constexpr auto kFatal = QAbstractItemModelTester::FailureReportingMode::Fatal;

namespace {

using DeviceRecords::camera;
using DeviceRecords::station;

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

// One word per row, read through the proxy's own roles: a dot per level, the
// name, then "+" for a collapsed and "-" for an expanded row.
QString rowWord(int level, const QString& name, const QString& indicator)
{
    return QString(level, '.') + name + (indicator == "collapsed" ? "+" : indicator == "expanded" ? "-" : "");
}

QStringList rowsOf(const QAbstractItemModel& proxy)
{
    QStringList rows;
    for (int row = 0; row < proxy.rowCount(); ++row) {
        const QModelIndex index = proxy.index(row, 0);
        rows << rowWord(index.data(Proxy::levelRole).toInt(), index.data(Model::nameRole).toString(),
                        index.data(Proxy::childIndicatorRole).toString());
    }
    return rows;
}

QStringList words(const QString& text)
{
    return text.split(' ', Qt::SkipEmptyParts);
}

// "+1..4" rows inserted, "-1..7" rows removed, "R:400" R's roles changed.
QStringList notifications(const QString& text)
{
    QStringList lines;
    for (const QString& word : words(text)) {
        if (word.startsWith('+'))
            lines << "insert " + word.mid(1) + " under <root>" << "inserted " + word.mid(1) + " under <root>";
        else if (word.startsWith('-'))
            lines << "remove " + word.mid(1) + " under <root>" << "removed " + word.mid(1) + " under <root>";
        else
            lines << "changed " + word.section(':', 0, 0) + " roles " + word.section(':', 1);
    }
    return lines;
}

int rowNamed(const QAbstractItemModel& proxy, const QString& name)
{
    for (int row = 0; row < proxy.rowCount(); ++row) {
        if (proxy.index(row, 0).data(Model::nameRole).toString() == name)
            return row;
    }
    return -1;
}

struct Fixture
{
    Fixture()
    {
        buildInstallation(tree);
        proxy.setSourceModel(tree.getModel());
        recorder = std::make_unique<ModelNotificationRecorder>(&proxy, Model::nameRole);
    }
    // "expand S1", "collapse #3" (a row number), "expandAll R".
    void apply(const QStringList& operations)
    {
        for (const QString& operation : operations) {
            const QString target = operation.section(' ', 1);
            const int row = target.startsWith('#') ? target.mid(1).toInt() : rowNamed(proxy, target);
            const QString verb = operation.section(' ', 0, 0);
            if (verb == "expand")
                proxy.expand(row);
            else if (verb == "collapse")
                proxy.collapse(row);
            else
                proxy.expandAll(row);
        }
    }
    DeviceTree tree;
    Proxy proxy;
    Tester listTester{&proxy, kFatal};
    Tester treeTester{tree.getModel(), kFatal};
    std::unique_ptr<ModelNotificationRecorder> recorder;
};

using SourceChange = std::function<void(DeviceTree&)>;

const QString kTopExpanded = "R- .R/C_1 .R/C_2 .S1+ .S2+";

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
    void followsATreeThousandsOfLevelsDeep();
};

void TestTreeToListProxyModel::presentsAFlatList()
{
    // given
    // (where each node maps to is checked after every step of the random edits below)
    Fixture f;
    // then only the top-level station shows, collapsed
    QCOMPARE(rowsOf(f.proxy), QStringList{"R+"});
    // when expanded, then its children follow one level deeper, in a list without hierarchy
    // (row counts, parents and children of rows are Qt's tester's to check)
    f.proxy.expand(0);
    const QModelIndex station = f.proxy.index(3, 0);
    QVERIFY(!f.proxy.index(0, 0, station).isValid() && f.proxy.flags(station).testFlag(Qt::ItemNeverHasChildren));
    QVERIFY(!f.proxy.index(5, 0).isValid() && !f.proxy.index(0, 1).isValid());
    QVERIFY(!f.proxy.mapToSource(f.proxy.index(-1, 0)).isValid());
    const QHash<int, QByteArray> names = f.proxy.roleNames();
    QCOMPARE(names.value(Proxy::childIndicatorRole), QByteArray("childIndicatorRole"));
    QCOMPARE(names.value(Proxy::levelRole), QByteArray("levelRole"));
    QCOMPARE(names.value(Model::levelRole), QByteArray("levelRole"));
}

void TestTreeToListProxyModel::expandAndCollapse_data()
{
    QTest::addColumn<QStringList>("setup");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("rows");
    QTest::addColumn<QString>("notifications");
    QTest::newRow("expand") << QStringList() << "expand R" << kTopExpanded << "+1..4 R:400";
    QTest::newRow("expand beyond the list") << QStringList() << "expand #1" << "R+" << "";
    QTest::newRow("collapse takes the visible subtree")
        << QStringList{"expand R", "expand S1"} << "collapse R" << "R+" << "-1..7 R:400";
    QTest::newRow("expanding again restores inner expansion")
        << QStringList{"expand R", "expand S1", "collapse R"} << "expand R"
        << "R- .R/C_1 .R/C_2 .S1- ..S1/C_1 ..S1/C_2 ..S11+ .S2+" << "+1..7 R:400";
    QTest::newRow("expandAll opens the whole subtree top-down")
        << QStringList() << "expandAll R" << "R- .R/C_1 .R/C_2 .S1- ..S1/C_1 ..S1/C_2 ..S11- ...S11/C_1 .S2- ..S2/C_1"
        << "+1..4 R:400 +4..6 S1:400 +7..7 S11:400 +9..9 S2:400";
    QTest::newRow("expandAll of an inner row stays in its subtree")
        << QStringList{"expand R"} << "expandAll S1" << "R- .R/C_1 .R/C_2 .S1- ..S1/C_1 ..S1/C_2 ..S11- ...S11/C_1 .S2+"
        << "+4..6 S1:400 +7..7 S11:400";
}

void TestTreeToListProxyModel::expandAndCollapse()
{
    QFETCH(QStringList, setup);
    QFETCH(QString, operation);
    QFETCH(QString, rows);
    QFETCH(QString, notifications);
    // given
    Fixture f;
    f.apply(setup);
    f.recorder->clear();
    // when
    f.apply({operation});
    // then
    QCOMPARE(rowsOf(f.proxy), words(rows));
    QCOMPARE(f.recorder->lines(), ::notifications(notifications));
}

void TestTreeToListProxyModel::followsSourceChanges_data()
{
    QTest::addColumn<QStringList>("setup");
    QTest::addColumn<SourceChange>("change");
    QTest::addColumn<QString>("notifications");
    QTest::addColumn<QString>("rows");
    QTest::addColumn<QString>("then");
    QTest::addColumn<QString>("rowsThen");
    const QStringList s1LeftOpen = {"expand R", "expand S1", "collapse R"};
    const auto insertCamera = [](const QString& stationId, const QString& id) {
        return SourceChange([=](DeviceTree& tree) { tree.insertNewCameraNodes({announcedCamera(stationId, id)}); });
    };
    const auto remove = [](const QString& id) {
        return SourceChange([=](DeviceTree& tree) { tree.removeNodes({id}); });
    };
    const auto connect = [](const QString& id) {
        return SourceChange([=](DeviceTree& tree) {
            tree.updateCameraStatus({QVariantMap{{"camUID", id}, {"connected", true}, {"recording", true}}});
        });
    };
    QTest::newRow("camera into an expanded station, before its sub-stations")
        << QStringList{"expand R"} << insertCamera("R", "R/C_3") << "+3..3" << "R- .R/C_1 .R/C_2 .R/C_3 .S1+ .S2+"
        << "" << "";
    QTest::newRow("camera into a collapsed station waits at its place")
        << QStringList() << insertCamera("R", "R/C_3") << "" << "R+" << "expand R"
        << "R- .R/C_1 .R/C_2 .R/C_3 .S1+ .S2+";
    QTest::newRow("camera under a station left expanded in a collapsed subtree")
        << s1LeftOpen << insertCamera("S1", "S1/C_3") << "" << "R+" << "expand R"
        << "R- .R/C_1 .R/C_2 .S1- ..S1/C_1 ..S1/C_2 ..S1/C_3 ..S11+ .S2+";
    QTest::newRow("first children of a station inside a collapsed subtree")
        << s1LeftOpen << SourceChange([](DeviceTree& tree) {
               tree.insertNewStationNodes({QVariantMap{{"relayPath", "S1"}, {"stationUID", "S12"}, {"nodeName", "S12"}}});
               tree.insertNewNodes("S12", {camera("S12/C_1")});
           })
        << "" << "R+" << "expand R" << "R- .R/C_1 .R/C_2 .S1- ..S1/C_1 ..S1/C_2 ..S11+ ..S12+ .S2+";
    QTest::newRow("first children of a visible station arrive collapsed")
        << QStringList{"expand R"} << SourceChange([](DeviceTree& tree) {
               tree.insertNewStationNodes({QVariantMap{{"relayPath", "R"}, {"stationUID", "S3"}, {"nodeName", "S3"}}});
               tree.insertNewNodes("S3", {camera("S3/C_1")});
           })
        << "+5..5 S3:400" << kTopExpanded + " .S3+" << "" << "";
    QTest::newRow("children of an expanded station replaced")
        << QStringList{"expand R", "expand S2"}
        << SourceChange([](DeviceTree& tree) { tree.insertNewNodes("S2", {camera("S2/C_8"), camera("S2/C_9")}); })
        << "-5..5 S2:400 S2:400" << kTopExpanded << "expand S2" << "R- .R/C_1 .R/C_2 .S1+ .S2- ..S2/C_8 ..S2/C_9";
    QTest::newRow("a visible subtree removed")
        << QStringList{"expandAll R"} << remove("S1") << "-3..7" << "R- .R/C_1 .R/C_2 .S2- ..S2/C_1" << "" << "";
    QTest::newRow("last camera of an expanded station removed")
        << QStringList{"expand R", "expand S2"} << remove("S2/C_1") << "-5..5 S2:400" << "R- .R/C_1 .R/C_2 .S1+ .S2"
        << "" << "";
    QTest::newRow("last camera of a collapsed station removed")
        << QStringList{"expand R"} << remove("S2/C_1") << "S2:400" << "R- .R/C_1 .R/C_2 .S1+ .S2" << "" << "";
    QTest::newRow("status of a visible camera, with its roles")
        << QStringList{"expand R"} << connect("R/C_2") << "R/C_2:284,304,382,383" << kTopExpanded << "" << "";
    QTest::newRow("status of a camera in a collapsed subtree")
        << QStringList{"expand R"} << connect("S1/C_2") << "" << kTopExpanded << "" << "";
}

void TestTreeToListProxyModel::followsSourceChanges()
{
    QFETCH(QStringList, setup);
    QFETCH(SourceChange, change);
    QFETCH(QString, notifications);
    QFETCH(QString, rows);
    QFETCH(QString, then);
    QFETCH(QString, rowsThen);
    // given
    Fixture f;
    f.apply(setup);
    f.recorder->clear();
    // when
    change(f.tree);
    // then
    QCOMPARE(f.recorder->lines(), ::notifications(notifications));
    QCOMPARE(rowsOf(f.proxy), words(rows));
    QCOMPARE(f.proxy.checkConsistency(), QString());
    f.apply(words(then).isEmpty() ? QStringList() : QStringList{then});
    QCOMPARE(rowsOf(f.proxy), words(then.isEmpty() ? rows : rowsThen));
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
    QCOMPARE(rowsOf(f.proxy), words("R- .S2- ..S2/C_1 .S1+ .R/C_2 .R/C_1"));
    QCOMPARE(s2.row(), 1);
    f.proxy.expand(3);
    QCOMPARE(rowsOf(f.proxy).mid(3, 5), words(".S1- ..S11- ...S11/C_1 ..S1/C_2 ..S1/C_1"));
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
    // when a reported station gets children behind the proxy's back, then expanding finds them
    f.tree.insertLoginStation("Second", "10.0.0.2");
    f.tree.getModel()->blockSignals(true);
    f.tree.getModel()->item(1)->appendRow(new QStandardItem);
    f.tree.getModel()->blockSignals(false);
    f.proxy.expand(0);
    QCOMPARE(rowsOf(f.proxy), (QStringList{"Second-", "."}));
}

void TestTreeToListProxyModel::survivesMissingAndDestroyedSources()
{
    Proxy proxy;
    Tester tester(&proxy, kFatal);
    ModelNotificationRecorder recorder(&proxy, Qt::DisplayRole);
    proxy.expandAll(0);
    auto source = std::make_unique<QStandardItemModel>();
    source->appendRow(new QStandardItem("a"));
    source->item(0)->appendRow(new QStandardItem("b"));
    proxy.setSourceModel(source.get());
    proxy.expand(0);
    source.reset();
    proxy.collapse(0);
    proxy.setSourceModel(nullptr);
    QCOMPARE(proxy.rowCount(), 0);
    QCOMPARE(recorder.lines(),
             (QStringList{"reset", "insert 0..0 under <root>", "inserted 0..0 under <root>", "insert 1..1 under <root>",
                          "inserted 1..1 under <root>", "changed a roles 400", "reset", "reset"}));
}

void TestTreeToListProxyModel::staysTheExpandedPartOfTheTreeUnderRandomEdits()
{
    // given a proxy, a view's copy of the list kept from notifications alone, and
    // the names of the nodes the user left expanded
    Fixture f;
    Model* model = f.tree.getModel();
    const auto nameAt = [&f](int row) { return f.proxy.index(row, 0).data(Model::nameRole).toString(); };
    QStringList viewCopy{nameAt(0)};
    connect(&f.proxy, &QAbstractItemModel::rowsInserted, this, [&](const QModelIndex&, int first, int last) {
        for (int row = first; row <= last; ++row)
            viewCopy.insert(row, nameAt(row));
    });
    connect(&f.proxy, &QAbstractItemModel::rowsRemoved, this,
            [&](const QModelIndex&, int first, int last) { viewCopy.remove(first, last - first + 1); });
    // A search box over the list filters recursively, as it does over trees.
    QSortFilterProxyModel search;
    search.setRecursiveFilteringEnabled(true);
    search.setFilterRole(Model::nameRole);
    search.setFilterFixedString("1");
    search.setSourceModel(&f.proxy);
    Tester searchTester(&search, kFatal);
    QSet<QString> expanded;
    // Collects every node below `parent`, and the rows that should show (level -1: none).
    std::function<void(QModelIndex, int, QModelIndexList&, QStringList&)> walk;
    walk = [&](QModelIndex parent, int level, QModelIndexList& nodes, QStringList& rows) {
        for (int row = 0; row < model->rowCount(parent); ++row) {
            const QModelIndex node = model->index(row, 0, parent);
            const QString name = node.data(Model::nameRole).toString();
            const bool hasChildren = model->rowCount(node) > 0;
            const bool open = hasChildren && expanded.contains(name);
            nodes << node;
            if (level >= 0)
                rows << rowWord(level, name, hasChildren ? (open ? "expanded" : "collapsed") : "none");
            walk(node, open && level >= 0 ? level + 1 : -1, nodes, rows);
        }
    };
    QRandomGenerator random(20240611);
    for (int step = 0; step < 400; ++step) {
        QModelIndexList nodes;
        QStringList ignored, stations;
        walk(QModelIndex(), -1, nodes, ignored);
        for (const QModelIndex& node : std::as_const(nodes)) {
            if (node.data(Model::nodeTypeRole).toInt() == Model::StationNode)
                stations << node.data(Model::idRole).toString();
        }
        const int row = int(random.bounded(qMax(1, f.proxy.rowCount())));
        const QString stationId = stations.value(int(random.bounded(qMax(1, int(stations.size())))));
        const QString nodeId = nodes.value(1 + int(random.bounded(qMax(1, int(nodes.size()) - 1)))).data(Model::idRole).toString();
        const QString newId = QStringLiteral("N%1").arg(step);
        // Growing more often than shrinking keeps the tree a few levels deep.
        const int action = int(random.bounded(12));
        if (action < 3) {
            if (f.proxy.index(row, 0).data(Proxy::childIndicatorRole) == "collapsed")
                expanded.insert(nameAt(row));
            f.proxy.expand(row);
        } else if (action == 3) {
            expanded.remove(nameAt(row));
            f.proxy.collapse(row);
        } else if (action < 6) {
            f.tree.insertNewCameraNodes({announcedCamera(stationId, newId)});
        } else if (action < 8) {
            f.tree.insertNewStationNodes({QVariantMap{{"relayPath", stationId}, {"stationUID", newId}, {"nodeName", newId}}});
        } else if (action == 8) {
            f.tree.removeNodes({nodeId});
        } else if (action == 9) {
            QVariantList records;
            for (int count = int(random.bounded(4)); count > 0; --count)
                records << (count % 2 ? camera(newId + char('a' + count)) : station(newId + char('a' + count)));
            if (!records.isEmpty())
                expanded.remove(stationId);
            f.tree.insertNewNodes(stationId, records);
        } else {
            f.tree.updateCameraStatus({QVariantMap{{"camUID", nodeId}, {"connected", step % 2 == 0}}});
        }
        // A node without children has nothing to keep open.
        for (auto it = expanded.begin(); it != expanded.end();) {
            const QModelIndex found = model->match(QModelIndex(), Model::idRole, *it).value(0);
            it = found.isValid() && model->rowCount(found) > 0 ? std::next(it) : expanded.erase(it);
        }
        // then the list is the expanded part of the tree, the view's copy agrees, the
        // search shows the rows that match, and every node maps to its row or to none
        nodes.clear();
        QStringList expected;
        walk(QModelIndex(), 0, nodes, expected);
        const QByteArray context = QStringLiteral("step %1, action %2 (row %3, station %4, node %5)\n%6\n%7")
                                       .arg(step).arg(action).arg(row)
                                       .arg(stationId, nodeId, rowsOf(f.proxy).join(' '), expected.join(' '))
                                       .toUtf8();
        QVERIFY2(rowsOf(f.proxy) == expected && viewCopy.size() == f.proxy.rowCount(), context.constData());
        QVERIFY2(search.rowCount() == expected.filter("1").size(), context.constData());
        const QString inconsistency = f.proxy.checkConsistency();
        QVERIFY2(inconsistency.isEmpty(), qPrintable(inconsistency + '\n' + context));
        for (const QModelIndex& node : std::as_const(nodes)) {
            const QModelIndex shown = f.proxy.mapFromSource(node);
            const QString name = node.data(Model::nameRole).toString();
            QVERIFY2(shown.row() == rowNamed(f.proxy, name), context.constData());
            QVERIFY2(!shown.isValid() || (f.proxy.mapToSource(shown) == node && viewCopy.at(shown.row()) == name),
                     context.constData());
        }
    }
}

void TestTreeToListProxyModel::followsATreeThousandsOfLevelsDeep()
{
    // On Windows' default 1 MiB thread stack a walk that recursed per level of the
    // tree would overflow long before this depth.
    constexpr int kDepth = 5000;
    QStringList steps;
    std::unique_ptr<QThread> thread(QThread::create([&steps] {
        // given a chain of folders, built row by row: QStandardItemModel itself
        // recurses when a deep branch is inserted or deleted in one piece
        QStandardItemModel source;
        Tester sourceTester(&source, kFatal);
        std::vector<QStandardItem*> chain;
        for (QStandardItem* deepest = source.invisibleRootItem(); int(chain.size()) < kDepth;) {
            chain.push_back(new QStandardItem(QString::number(chain.size())));
            deepest->appendRow(chain.back());
            deepest = chain.back();
        }
        Proxy proxy;
        const auto record = [&](const char* step) {
            steps << QStringLiteral("%1: %2 rows %3").arg(step).arg(proxy.rowCount()).arg(proxy.checkConsistency());
        };
        // when attached, expanded, collapsed and expanded again
        proxy.setSourceModel(&source);
        record("attached");
        proxy.expandAll(0);
        record("expandAll");
        // Qt's tester walks the whole list after each notification: it joins once
        // expandAll's ten thousand are done.
        Tester listTester(&proxy, kFatal);
        proxy.collapse(0);
        record("collapsed");
        proxy.expand(0);
        record("expanded again");
        // when the lower half goes under a collapsed folder, then the rest
        proxy.collapse(kDepth / 2);
        chain[kDepth / 2]->takeRow(0);
        record("lower half removed");
        source.invisibleRootItem()->takeRow(0);
        record("removed");
        // Deleted bottom-up, so that no item deletes a deep branch.
        for (int level = kDepth - 1; level > 0; --level) {
            chain[size_t(level - 1)]->takeRow(0);
            delete chain[size_t(level)];
        }
        delete chain.front();
    }));
    thread->setStackSize(1024 * 1024);
    thread->start();
    thread->wait();
    // then every step keeps the list whole, the expansion inside kept
    QCOMPARE(steps, (QStringList{"attached: 1 rows ", "expandAll: 5000 rows ", "collapsed: 1 rows ",
                                 "expanded again: 5000 rows ", "lower half removed: 2501 rows ", "removed: 0 rows "}));
}

QTEST_MAIN(TestTreeToListProxyModel)
#include "tst_treetolistproxymodel.moc"
