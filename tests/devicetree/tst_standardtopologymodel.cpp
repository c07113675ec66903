#include "StandardTopologyModel.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QStandardItem>
#include <QtTest>

using Model = StandardTopologyModel;

namespace {

QStandardItem* node(const QString& id, const QString& name = QString(), int itemType = Model::DeviceItem)
{
    auto* item = new QStandardItem;
    item->setData(id, Model::idRole);
    item->setData(id, Model::nodeIDRole);
    item->setData(name.isEmpty() ? id : name, Model::nameRole);
    item->setData(itemType, Model::standardItemTypeRole);
    return item;
}

// A station with three cameras, built before it enters the model.
QStandardItem* stationWithCameras(const QString& stationId)
{
    QStandardItem* station = node(stationId, QString(), Model::StationItem);
    for (int channel = 1; channel <= 3; ++channel)
        station->appendRow(
            node(stationId + QStringLiteral("/C_%1").arg(channel), QStringLiteral("Cam %1").arg(channel)));
    return station;
}

bool findable(const Model& model, const QString& id)
{
    const QModelIndexList hits = model.match(model.index(0, 0), Model::idRole, id, 1, Qt::MatchRecursive);
    return hits.size() == 1 && hits.first().data(Model::idRole).toString() == id;
}

QStringList findableOf(const Model& model, const QStringList& ids)
{
    QStringList found;
    for (const QString& id : ids) {
        if (findable(model, id))
            found << id;
    }
    return found;
}

const QStringList kStationAndCameras = {"S1", "S1/C_1", "S1/C_2", "S1/C_3"};

} // namespace

class TestStandardTopologyModel : public QObject
{
    Q_OBJECT

private slots:
    void publishesEveryRoleOnceUnderItsOwnName();
    void indexIsCompleteWhenRowsAreAnnounced();
    void indexFollowsMovedRowsChangedIdentifiersAndResets();
    void duplicateIdentifiers();
    void match_data();
    void match();
    void wholeNodeMapDependsOnItemType();
};

void TestStandardTopologyModel::publishesEveryRoleOnceUnderItsOwnName()
{
    // given
    Model model;
    // when
    QHash<int, QByteArray> names = model.roleNames();
    // then stock delegates find the shown name under "display"
    QCOMPARE(names.take(Qt::DisplayRole), QByteArray("display"));
    // and 134 names on the numbers 257 to 391 without 298, each converting back (so no name is used twice)
    QCOMPARE(names.size(), 134);
    for (auto it = names.cbegin(); it != names.cend(); ++it) {
        QVERIFY2(it.key() >= 257 && it.key() <= 391 && it.key() != 298, it.value().constData());
        QVERIFY(it.value().endsWith("Role"));
        QCOMPARE(Model::convertRoleNameStringToEnum(QString::fromLatin1(it.value())), it.key());
    }
    QCOMPARE(Model::getRoleNames(), names);
    // and views bind to these spellings, odd ones included
    QCOMPARE(names.value(296), "isWifiAvalibleRole");
    QCOMPARE(names.value(340), "supPPTZRole");
    // and anything else converts to 0, case included
    QCOMPARE(Model::convertRoleNameStringToEnum("noSuchRole"), 0);
    QCOMPARE(Model::convertRoleNameStringToEnum("NameRole"), 0);
    QCOMPARE(Model::convertRoleNameStringToEnum(""), 0);
}

void TestStandardTopologyModel::indexIsCompleteWhenRowsAreAnnounced()
{
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    ModelNotificationRecorder recorder(&model, Model::idRole);
    QStringList findableWhenInserted;
    QStringList findableWhenRemoved{"not announced"};
    int rowsWhenRemoved = -1;
    connect(&model, &QAbstractItemModel::rowsInserted, this,
            [&] { findableWhenInserted = findableOf(model, kStationAndCameras); });
    connect(&model, &QAbstractItemModel::rowsAboutToBeRemoved, this, [&] {
        rowsWhenRemoved = model.rowCount();
        findableWhenRemoved = findableOf(model, kStationAndCameras);
    });
    // when a subtree goes in as one block
    model.appendRow(stationWithCameras("S1"));
    // then every node of it is findable when the block is announced
    QCOMPARE(recorder.lines(), QStringList({"insert 0..0 under <root>", "inserted 0..0 under <root>"}));
    QCOMPARE(findableWhenInserted, kStationAndCameras);

    // when it is removed again
    model.appendRow(node("S2", QString(), Model::StationItem));
    model.removeRow(0);
    // then it was unindexed before the rows went, and the rest is found at its new row
    QCOMPARE(rowsWhenRemoved, 2);
    QCOMPARE(findableWhenRemoved, QStringList());
    QCOMPARE(model.match(QModelIndex(), Model::idRole, "S2").value(0).row(), 0);
}

void TestStandardTopologyModel::indexFollowsMovedRowsChangedIdentifiersAndResets()
{
    // given: the login station enters without an identifier
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QStandardItem* station = stationWithCameras(QString());
    model.appendRow(station);
    QVERIFY(findable(model, QString()));
    // when a camera goes in front of the others and the first one is taken out
    station->insertRow(0, node("/C_9"));
    station->removeRow(1);
    // then the look-up follows the rows that moved
    QVERIFY(!findable(model, "/C_1"));
    QCOMPARE(model.match(QModelIndex(), Model::idRole, "/C_9").value(0).row(), 0);
    QCOMPARE(model.match(QModelIndex(), Model::idRole, "/C_3").value(0).row(), 2);

    // when the identifier is set, alone and together with other roles
    const QModelIndex index = model.index(0, 0);
    model.setData(index, QStringLiteral("S1"), Model::idRole);
    QVERIFY(findable(model, "S1"));
    QVERIFY(!findable(model, QString()));
    QVERIFY(model.setItemData(index, {{Model::idRole, QStringLiteral("S1-renamed")}, {Model::nameRole, "Main"}}));
    QVERIFY(findable(model, "S1-renamed"));
    QVERIFY(!findable(model, "S1"));
    // then other roles leave the index alone
    model.setData(index, QStringLiteral("S1"), Model::nodeIDRole);
    QVERIFY(findable(model, "S1-renamed"));
    // and the consistency check finds nothing to report
    QCOMPARE(model.identifierIndexFaults(), QStringList());
    // and the node is unindexed under its current identifier when it goes
    model.removeRow(0);
    QVERIFY(!findable(model, "S1-renamed"));
    QVERIFY(!findable(model, "/C_3"));

    // when the model is cleared, by itself or through the base class
    model.appendRow(stationWithCameras("S1"));
    model.clear();
    QCOMPARE(findableOf(model, kStationAndCameras), QStringList());
    model.appendRow(stationWithCameras("S2"));
    static_cast<QStandardItemModel&>(model).clear();
    QVERIFY(!findable(model, "S2/C_1"));
    // then it indexes again afterwards
    model.appendRow(stationWithCameras("S1"));
    QVERIFY(findable(model, "S1/C_3"));
}

void TestStandardTopologyModel::duplicateIdentifiers()
{
    // given: two nodes share one identifier; the later one is found
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.appendRow(node("dup", "first"));
    model.appendRow(node("dup", "second"));
    model.appendRow(node("dup", "third"));
    QCOMPARE(model.match(QModelIndex(), Model::idRole, "dup").value(0).data(Model::nameRole), QVariant("third"));
    // and the consistency check names every node the look-up misses
    const QString shared = "two nodes share the identifier \"dup\"", lost = "\"dup\" does not find its node";
    QCOMPARE(model.identifierIndexFaults(), QStringList({lost, shared, lost, shared}));
    // when the first one is renamed, the look-up of the later one stays
    model.setData(model.index(0, 0), QStringLiteral("renamed"), Model::idRole);
    // then
    QCOMPARE(model.match(QModelIndex(), Model::idRole, "renamed").value(0).data(Model::nameRole), QVariant("first"));
    QCOMPARE(model.match(QModelIndex(), Model::idRole, "dup").value(0).data(Model::nameRole), QVariant("third"));
    // when one of the remaining two goes, neither is found any more
    model.removeRow(1);
    QVERIFY(!findable(model, "dup"));
    QVERIFY(findable(model, "renamed"));
    QCOMPARE(model.identifierIndexFaults(), QStringList({lost}));
}

void TestStandardTopologyModel::match_data()
{
    QTest::addColumn<int>("role");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("hits");
    QTest::addColumn<int>("flags");
    QTest::addColumn<QStringList>("expected");
    const int id = Model::idRole;
    const int recursiveWrap = Qt::MatchRecursive | Qt::MatchWrap;
    QTest::newRow("known, all hits asked") << id << QVariant("S1/C_2") << -1 << int(Qt::MatchExactly)
                                           << QStringList{"S1/C_2"};
    QTest::newRow("unknown, recursive and wrapping") << id << QVariant("S1/C_4") << -1 << recursiveWrap
                                                     << QStringList();
    QTest::newRow("substring is not a hit") << id << QVariant("C_1") << -1
                                            << int(Qt::MatchContains | Qt::MatchRecursive) << QStringList();
    QTest::newRow("case is kept") << id << QVariant("s1") << 1 << int(Qt::MatchFixedString) << QStringList();
    QTest::newRow("empty identifier unknown") << id << QVariant(QString()) << 1 << recursiveWrap << QStringList();
    QTest::newRow("other roles search from the start")
        << int(Model::nameRole) << QVariant("Cam") << -1 << int(Qt::MatchStartsWith | Qt::MatchWrap)
        << QStringList{"S1/C_3", "S1/C_1", "S1/C_2"};
}

void TestStandardTopologyModel::match()
{
    QFETCH(int, role);
    QFETCH(QVariant, value);
    QFETCH(int, hits);
    QFETCH(int, flags);
    QFETCH(QStringList, expected);
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.appendRow(stationWithCameras("S1"));
    // when: the search starts at the last camera, below which nothing lies
    const QModelIndex lastCamera = model.index(2, 0, model.index(0, 0));
    const QModelIndexList found = model.match(lastCamera, role, value, hits, Qt::MatchFlags(flags));
    // then identifiers are looked up whatever the start, hits and flags; other roles match like the base model
    QStringList ids;
    for (const QModelIndex& index : found)
        ids << index.data(Model::idRole).toString();
    QCOMPARE(ids, expected);
    if (role != Model::idRole)
        QCOMPARE(found, model.QStandardItemModel::match(lastCamera, role, value, hits, Qt::MatchFlags(flags)));
}

void TestStandardTopologyModel::wholeNodeMapDependsOnItemType()
{
    // given a camera and a node of another kind, each with a value of its own under dataRole
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    for (int itemType : {int(Model::DeviceItem), 1}) {
        QStandardItem* item = node("S1/C_1", "Lobby", itemType);
        item->setData(true, Model::connectedRole);
        item->setData(QStringLiteral("R1"), Model::camIDRole);
        item->setData(QStringLiteral("own value"), Model::dataRole);
        model.appendRow(item);
    }
    // then only device and station nodes answer with the whole-node map
    QCOMPARE(model.index(1, 0).data(Model::dataRole), QVariant(QStringLiteral("own value")));
    const QVariantMap fields = model.index(0, 0).data(Model::dataRole).toMap();
    QCOMPARE(fields.size(), 108);
    // Take-over state is left to the failover views, which write it into the map themselves.
    for (const char* readOneByOne : {"dataRole", "takenOverRole", "takenOverIdRole", "camIDRole"})
        QVERIFY2(!fields.contains(readOneByOne), readOneByOne);
    QCOMPARE(fields.value("idRole"), QVariant("S1/C_1"));
    QCOMPARE(fields.value("nameRole"), QVariant("Lobby"));
    QCOMPARE(fields.value("connectedRole"), QVariant(true));
    QVERIFY(fields.contains("fisheyeCapRole"));
    QVERIFY(!fields.value("fisheyeCapRole").isValid());
    // The map never hides the roles that are read one by one.
    QCOMPARE(model.index(0, 0).data(Model::camIDRole), QVariant("R1"));
}

QTEST_MAIN(TestStandardTopologyModel)
#include "tst_standardtopologymodel.moc"
