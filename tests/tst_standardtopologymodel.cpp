#include "StandardTopologyModel.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QSet>
#include <QStandardItem>
#include <QtTest>

#include <memory>

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

const QStringList kStationAndCameras = {"S1", "S1/C_1", "S1/C_2", "S1/C_3"};

} // namespace

class TestStandardTopologyModel : public QObject
{
    Q_OBJECT

private slots:
    void publishesEveryRoleOnceUnderItsOwnName();
    void convertsRoleNames_data();
    void convertsRoleNames();
    void subtreeInsertedInOneBlockIsFindableAtOnce();
    void removalUnindexesBeforeRowsGo();
    void indexFollowsRowsMovedByOtherChanges();
    void identifierMatchIgnoresStartHitsAndFlags_data();
    void identifierMatchIgnoresStartHitsAndFlags();
    void otherRolesMatchLikeTheBaseModel();
    void wholeNodeMapDependsOnItemType_data();
    void wholeNodeMapDependsOnItemType();
    void indexFollowsChangedIdentifier();
    void duplicateIdentifiers();
    void clearEmptiesTheIndex();
};

void TestStandardTopologyModel::publishesEveryRoleOnceUnderItsOwnName()
{
    // given
    Model model;
    // when
    const QHash<int, QByteArray> names = model.roleNames();
    // then
    QCOMPARE(names.size(), 134);
    QSet<QByteArray> distinct;
    for (auto it = names.cbegin(); it != names.cend(); ++it) {
        QVERIFY2(it.key() >= 257 && it.key() <= 391 && it.key() != 298, it.value().constData());
        QVERIFY(it.value().endsWith("Role"));
        QCOMPARE(Model::convertRoleNameStringToEnum(QString::fromLatin1(it.value())), it.key());
        distinct.insert(it.value());
    }
    QCOMPARE(distinct.size(), 134);
    QCOMPARE(Model::getRoleNames(), names);
}

void TestStandardTopologyModel::convertsRoleNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("role");
    QTest::newRow("first") << "idRole" << 257;
    QTest::newRow("name") << "nameRole" << 259;
    QTest::newRow("before the gap") << "wifiAddressRole" << 297;
    QTest::newRow("after the gap") << "multicastIpRole" << 299;
    QTest::newRow("last") << "hasEdgeRecordingFileRole" << 391;
    QTest::newRow("unknown") << "noSuchRole" << 0;
    QTest::newRow("case matters") << "NameRole" << 0;
    QTest::newRow("empty") << "" << 0;
}

void TestStandardTopologyModel::convertsRoleNames()
{
    QFETCH(QString, name);
    QFETCH(int, role);
    QCOMPARE(Model::convertRoleNameStringToEnum(name), role);
}

void TestStandardTopologyModel::subtreeInsertedInOneBlockIsFindableAtOnce()
{
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    ModelNotificationRecorder recorder(&model, Model::idRole);
    QStringList findableWhenAnnounced;
    connect(&model, &QAbstractItemModel::rowsInserted, this, [&] {
        for (const QString& id : kStationAndCameras) {
            if (findable(model, id))
                findableWhenAnnounced << id;
        }
    });
    // when
    model.appendRow(stationWithCameras("S1"));
    // then
    QCOMPARE(recorder.lines(), QStringList({"insert 0..0 under <root>", "inserted 0..0 under <root>"}));
    QCOMPARE(findableWhenAnnounced, kStationAndCameras);
    const QModelIndex camera = model.match(QModelIndex(), Model::idRole, "S1/C_2").value(0);
    QCOMPARE(camera.row(), 1);
    QCOMPARE(camera.parent().data(Model::idRole).toString(), "S1");
}

void TestStandardTopologyModel::removalUnindexesBeforeRowsGo()
{
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.appendRow(stationWithCameras("S1"));
    model.appendRow(node("S2", QString(), Model::StationItem));
    QStringList findableWhenAnnounced;
    int rowsWhenAnnounced = -1;
    connect(&model, &QAbstractItemModel::rowsAboutToBeRemoved, this, [&] {
        rowsWhenAnnounced = model.rowCount();
        for (const QString& id : kStationAndCameras) {
            if (findable(model, id))
                findableWhenAnnounced << id;
        }
    });
    // when
    model.removeRow(0);
    // then
    QCOMPARE(rowsWhenAnnounced, 2);
    QVERIFY2(findableWhenAnnounced.isEmpty(), qPrintable(findableWhenAnnounced.join(',')));
    QVERIFY(findable(model, "S2"));
    QCOMPARE(model.match(QModelIndex(), Model::idRole, "S2").value(0).row(), 0);
}

void TestStandardTopologyModel::indexFollowsRowsMovedByOtherChanges()
{
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QStandardItem* station = stationWithCameras("S1");
    model.appendRow(station);
    // when: a camera goes in front of the others and the first one is taken out
    station->insertRow(0, node("S1/C_9"));
    station->removeRow(1);
    // then
    QVERIFY(!findable(model, "S1/C_1"));
    QCOMPARE(model.match(QModelIndex(), Model::idRole, "S1/C_9").value(0).row(), 0);
    QCOMPARE(model.match(QModelIndex(), Model::idRole, "S1/C_3").value(0).row(), 2);
}

void TestStandardTopologyModel::identifierMatchIgnoresStartHitsAndFlags_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("hits");
    QTest::addColumn<int>("flags");
    QTest::addColumn<QStringList>("expected");
    const int recursiveWrap = Qt::MatchRecursive | Qt::MatchWrap;
    QTest::newRow("known") << QVariant("S1/C_2") << 1 << int(Qt::MatchExactly) << QStringList{"S1/C_2"};
    QTest::newRow("all hits asked") << QVariant("S1/C_2") << -1 << recursiveWrap << QStringList{"S1/C_2"};
    QTest::newRow("unknown, recursive and wrapping") << QVariant("S1/C_4") << -1 << recursiveWrap << QStringList();
    QTest::newRow("prefix is not a hit") << QVariant("S1/C") << -1 << int(Qt::MatchStartsWith | Qt::MatchRecursive)
                                         << QStringList();
    QTest::newRow("substring is not a hit") << QVariant("C_1") << -1 << int(Qt::MatchContains | Qt::MatchRecursive)
                                            << QStringList();
    QTest::newRow("case is kept") << QVariant("s1") << 1 << int(Qt::MatchFixedString) << QStringList();
    QTest::newRow("empty identifier unknown") << QVariant(QString()) << 1 << recursiveWrap << QStringList();
    QTest::newRow("null value") << QVariant() << 1 << recursiveWrap << QStringList();
}

void TestStandardTopologyModel::identifierMatchIgnoresStartHitsAndFlags()
{
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
    const QModelIndexList found = model.match(lastCamera, Model::idRole, value, hits, Qt::MatchFlags(flags));
    // then
    QStringList ids;
    for (const QModelIndex& index : found)
        ids << index.data(Model::idRole).toString();
    QCOMPARE(ids, expected);
}

void TestStandardTopologyModel::otherRolesMatchLikeTheBaseModel()
{
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.appendRow(stationWithCameras("S1"));
    model.appendRow(stationWithCameras("S2"));
    const QModelIndex start = model.index(0, 0);
    const Qt::MatchFlags flags = Qt::MatchStartsWith | Qt::MatchRecursive;
    // when
    const QModelIndexList found = model.match(start, Model::nameRole, "Cam", -1, flags);
    // then
    QCOMPARE(found, model.QStandardItemModel::match(start, Model::nameRole, "Cam", -1, flags));
    QCOMPARE(found.size(), 6);
    QCOMPARE(model.match(start, Model::nameRole, "Cam 2", 1, Qt::MatchExactly | Qt::MatchRecursive).size(), 1);
}

void TestStandardTopologyModel::wholeNodeMapDependsOnItemType_data()
{
    QTest::addColumn<int>("itemType");
    QTest::addColumn<bool>("wholeMap");
    QTest::newRow("camera or folder") << int(Model::DeviceItem) << true;
    QTest::newRow("station") << int(Model::StationItem) << true;
    QTest::newRow("other kind") << 1 << false;
    QTest::newRow("another kind") << 5 << false;
}

void TestStandardTopologyModel::wholeNodeMapDependsOnItemType()
{
    QFETCH(int, itemType);
    QFETCH(bool, wholeMap);
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QStandardItem* item = node("S1/C_1", "Lobby", itemType);
    item->setData(true, Model::connectedRole);
    item->setData(QStringLiteral("00:11:22:33:44:55"), Model::macRole);
    item->setData(QStringLiteral("R1"), Model::camIDRole);
    item->setData(QStringLiteral("own value"), Model::dataRole);
    model.appendRow(item);
    // when
    const QVariant value = model.index(0, 0).data(Model::dataRole);
    // then
    if (!wholeMap) {
        QCOMPARE(value, QVariant(QStringLiteral("own value")));
        return;
    }
    const QVariantMap fields = value.toMap();
    QCOMPARE(fields.size(), 108);
    // Lists, rules, edge recording and take-over state are read role by role.
    const QStringList readOneByOne = {
        "camIDRole", "camModelRole", "dataRole", "edgeRecordingStreamRole", "hasEdgeRecordingFileRole",
        "isUseEdgeRecordingRole", "parkingViolationDetectionRole", "resolutionListRole",
        "restrictedZoneDetectionRole", "ruleInfoListRole", "runningDetectionRole", "standardItemTypeRole",
        "suppAutoTrackingRole", "suppSmartMotionRole", "suppSmartTrackingRole", "supportAudioDetectionRole",
        "supportEdgeRecRole", "supportEdgeRecordingRole", "supportShockDetectionRole", "supportSmartSDRole",
        "supportSmartVCARole", "supportZoneDetectionRole", "takenOverIdRole", "takenOverRole", "usernameRole",
        "vcaCapabilityRole"};
    for (const QByteArray& name : Model::getRoleNames()) {
        const QString key = QString::fromLatin1(name);
        QVERIFY2(fields.contains(key) != readOneByOne.contains(key), name.constData());
    }
    QCOMPARE(fields.value("idRole"), QVariant("S1/C_1"));
    QCOMPARE(fields.value("nameRole"), QVariant("Lobby"));
    QCOMPARE(fields.value("connectedRole"), QVariant(true));
    QCOMPARE(fields.value("macRole"), QVariant("00:11:22:33:44:55"));
    QVERIFY(fields.contains("fisheyeCapRole"));
    QVERIFY(!fields.value("fisheyeCapRole").isValid());
    // The map never hides the roles that are read one by one.
    QCOMPARE(model.index(0, 0).data(Model::camIDRole), QVariant("R1"));
}

void TestStandardTopologyModel::indexFollowsChangedIdentifier()
{
    // given: the login station enters without an identifier
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.appendRow(stationWithCameras(QString()));
    QVERIFY(findable(model, QString()));
    const QModelIndex station = model.index(0, 0);
    // when
    model.setData(station, QStringLiteral("S1"), Model::idRole);
    // then
    QVERIFY(findable(model, "S1"));
    QVERIFY(!findable(model, QString()));
    // and a change of several roles at once is followed too
    QMap<int, QVariant> roles{{Model::idRole, QStringLiteral("S1-renamed")}, {Model::nameRole, QStringLiteral("Main")}};
    QVERIFY(model.setItemData(station, roles));
    QVERIFY(findable(model, "S1-renamed"));
    QVERIFY(!findable(model, "S1"));
    // and changes of other roles leave the index alone
    model.setData(station, QStringLiteral("S1"), Model::nodeIDRole);
    QVERIFY(findable(model, "S1-renamed"));
    // and the node is unindexed under its current identifier when it goes
    model.removeRow(0);
    QVERIFY(!findable(model, "S1-renamed"));
    QVERIFY(!findable(model, "/C_1"));
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
    // when the first one is renamed, the look-up of the later one stays
    model.setData(model.index(0, 0), QStringLiteral("renamed"), Model::idRole);
    // then
    QCOMPARE(model.match(QModelIndex(), Model::idRole, "renamed").value(0).data(Model::nameRole), QVariant("first"));
    QCOMPARE(model.match(QModelIndex(), Model::idRole, "dup").value(0).data(Model::nameRole), QVariant("third"));
    // when one of the remaining two goes, neither is found any more
    model.removeRow(1);
    QVERIFY(!findable(model, "dup"));
    QVERIFY(findable(model, "renamed"));
}

void TestStandardTopologyModel::clearEmptiesTheIndex()
{
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.appendRow(stationWithCameras("S1"));
    // when
    model.clear();
    // then
    for (const QString& id : kStationAndCameras)
        QVERIFY2(!findable(model, id), qPrintable(id));
    // and a reset through the base class does not leave stale entries either
    model.appendRow(stationWithCameras("S2"));
    static_cast<QStandardItemModel&>(model).clear();
    QVERIFY(!findable(model, "S2/C_1"));
    // and the model indexes again afterwards
    model.appendRow(stationWithCameras("S1"));
    QVERIFY(findable(model, "S1/C_3"));
}

QTEST_MAIN(TestStandardTopologyModel)
#include "tst_standardtopologymodel.moc"
