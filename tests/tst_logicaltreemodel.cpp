#include "LogicalTreeModel.h"
#include "LogicalTreeNodeBuilder.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QStandardItem>
#include <QtTest>

using Model = LogicalTreeModel;

namespace {

QStandardItem* node(const QString& id, int type, const QString& cameraId = QString(), const QString& name = QString())
{
    LogicalTreeNodeBuilder builder;
    builder.setID(id).setType(type).setCameraNodeID(cameraId).setName(name.isEmpty() ? id : name);
    return builder.build();
}

QStandardItem* folder(const QString& id, const QList<QStandardItem*>& children = {})
{
    QStandardItem* item = node(id, Model::Folder);
    for (QStandardItem* child : children)
        item->appendRow(child);
    return item;
}

QStandardItem* camera(const QString& treeId, const QString& cameraId, const QList<QStandardItem*>& children = {})
{
    QStandardItem* item = node(treeId, Model::Camera, cameraId);
    for (QStandardItem* child : children)
        item->appendRow(child);
    return item;
}

QStandardItem* digitalInput(const QString& id)
{
    return node(id, Model::DigitalInput, id);
}

QStringList idsOf(const QModelIndexList& nodes)
{
    QStringList ids;
    for (const QModelIndex& index : nodes)
        ids << (index.isValid() ? index.data(Model::idRole).toString() : QStringLiteral("<invalid>"));
    return ids;
}

QStringList cameraMatch(const Model& model, const QString& cameraId)
{
    return idsOf(model.match(model.index(0, 0), Model::cameraNodeIDRole, cameraId, 1));
}

QModelIndex findById(const Model& model, const QString& id)
{
    const QModelIndexList hits =
            model.match(model.index(0, 0), Model::idRole, id, 1, Qt::MatchExactly | Qt::MatchRecursive);
    return hits.value(0);
}

// The tree of most tests: F1 { C1(cam A) { A_0 }, F2 { C2(cam B), C3(cam A) } }, F3 { }.
void fill(Model& model)
{
    model.appendRow(folder("F1", {camera("C1", "A", {digitalInput("A_0")}),
                                  folder("F2", {camera("C2", "B"), camera("C3", "A")})}));
    model.appendRow(folder("F3"));
}

} // namespace

class TestLogicalTreeModel : public QObject
{
    Q_OBJECT

private slots:
    void publishesExactlyTheTenRoleNames();
    void wholeNodeMapHoldsStoredFields_data();
    void wholeNodeMapHoldsStoredFields();
    void cameraIndexFollowsBlockInsertsAndRemovals();
    void cameraIndexFollowsMovedRowsAndTheirChildren();
    void cameraMatchIgnoresStartHitsAndFlags();
    void otherRolesMatchLikeTheBaseModel();
    void resetEmptiesTheCameraIndex();
    void cameraIndexSurvivesLayoutChangesAndColumnRemoval();
};

void TestLogicalTreeModel::publishesExactlyTheTenRoleNames()
{
    // given
    Model model;
    // when
    const QHash<int, QByteArray> names = model.roleNames();
    // then: no base-class roles, nothing for 262, 263 and the computed roles but 278
    const QHash<int, QByteArray> expected{{257, "idRole"},         {258, "typeRole"},      {259, "nameRole"},
                                          {260, "cameraNodeIDRole"}, {261, "dataRole"},    {264, "diDoValueRole"},
                                          {265, "diDoIndexRole"},  {266, "joystickKeyRole"}, {267, "nodeIDRole"},
                                          {278, "displayIconRole"}};
    QCOMPARE(names, expected);
}

void TestLogicalTreeModel::wholeNodeMapHoldsStoredFields_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("hasName");

    QTest::newRow("folder") << int(Model::Folder) << true;
    QTest::newRow("camera") << int(Model::Camera) << false;
    QTest::newRow("digital input") << int(Model::DigitalInput) << false;
    QTest::newRow("digital output") << int(Model::DigitalOutput) << false;
    QTest::newRow("local database camera") << int(Model::LocalDBCamera) << true;
    QTest::newRow("station I/O device") << int(Model::StationIoDevice) << false;
    QTest::newRow("external device") << int(Model::ExternalDevice) << false;
}

void TestLogicalTreeModel::wholeNodeMapHoldsStoredFields()
{
    QFETCH(int, type);
    QFETCH(bool, hasName);
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    LogicalTreeNodeBuilder builder;
    builder.setID("T1").setType(type).setName("Name").setCameraNodeID("S1/C1").setSettingStatus(3)
            .setParentStationNodeID("S1").setDIDOValue(1).setDIDOIndex(2).setJoystickKey(7).setNodeID("C1");
    model.appendRow(builder.build());
    // when
    const QVariantMap whole = model.index(0, 0).data(Model::dataRole).toMap();
    // then
    QVariantMap expected{{"idRole", "T1"},          {"typeRole", type},        {"cameraNodeIDRole", "S1/C1"},
                         {"settingStatusRole", 3},  {"parentStationIDRole", "S1"}, {"didoValueRole", 1},
                         {"didoIndexRole", 2},      {"joystickKeyRole", 7},    {"nodeIDRole", "C1"}};
    if (hasName)
        expected.insert("nameRole", "Name");
    QCOMPARE(whole, expected);
    // and every other role is the item's own data; outside the items there is none
    QCOMPARE(model.index(0, 0).data(Model::nameRole), QVariant("Name"));
    QCOMPARE(model.index(0, 0).data(Model::displayIconRole), QVariant());
    QCOMPARE(model.data(QModelIndex(), Model::dataRole), QVariant());
    QCOMPARE(model.data(model.index(0, 0, model.index(0, 0)), Model::idRole), QVariant());
}

void TestLogicalTreeModel::cameraIndexFollowsBlockInsertsAndRemovals()
{
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    ModelNotificationRecorder recorder(&model, Model::idRole);
    // when: a whole subtree enters in one block
    fill(model);
    // then: every placement of a camera is found, ordered by tree ID, folders never
    QCOMPARE(recorder.lines(), QStringList({"insert 0..0 under <root>", "inserted 0..0 under <root>",
                                            "insert 1..1 under <root>", "inserted 1..1 under <root>"}));
    QCOMPARE(cameraMatch(model, "A"), QStringList({"C1", "C3"}));
    QCOMPARE(cameraMatch(model, "B"), QStringList({"C2"}));
    QCOMPARE(cameraMatch(model, "A_0"), QStringList({"A_0"}));
    QCOMPARE(cameraMatch(model, ""), QStringList());
    QCOMPARE(cameraMatch(model, "F2"), QStringList());

    // when: a placement is added later under a camera-less folder
    model.itemFromIndex(findById(model, "F3"))->appendRow(camera("C0", "A"));
    // then
    QCOMPARE(cameraMatch(model, "A"), QStringList({"C0", "C1", "C3"}));

    // when: a folder goes with its subtree, then one DI goes on its own
    model.removeRow(findById(model, "F2").row(), findById(model, "F2").parent());
    model.removeRow(0, findById(model, "C1"));
    // then: only what is left is found
    QCOMPARE(cameraMatch(model, "A"), QStringList({"C0", "C1"}));
    QCOMPARE(cameraMatch(model, "B"), QStringList());
    QCOMPARE(cameraMatch(model, "A_0"), QStringList());
}

void TestLogicalTreeModel::cameraIndexFollowsMovedRowsAndTheirChildren()
{
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    fill(model);
    // when: the camera with a DI is taken out and put under another folder
    QStandardItem* f1 = model.itemFromIndex(findById(model, "F1"));
    const QList<QStandardItem*> row = f1->takeRow(0);
    // then: while out of the model, neither it nor its DI is found
    QCOMPARE(cameraMatch(model, "A"), QStringList({"C3"}));
    QCOMPARE(cameraMatch(model, "A_0"), QStringList());
    // when
    model.itemFromIndex(findById(model, "F3"))->appendRow(row);
    // then: both are found at their new place
    const QModelIndexList moved = model.match(QModelIndex(), Model::cameraNodeIDRole, "A_0");
    QCOMPARE(idsOf(moved), QStringList({"A_0"}));
    QCOMPARE(moved.first().parent().parent().data(Model::idRole), QVariant("F3"));
    QCOMPARE(cameraMatch(model, "A"), QStringList({"C1", "C3"}));
}

void TestLogicalTreeModel::cameraMatchIgnoresStartHitsAndFlags()
{
    // given: one camera ID on two placements whose tree IDs share a text, and one more
    Model model;
    fill(model);
    model.itemFromIndex(findById(model, "F3"))->appendRow(camera("C1", "A"));
    const QModelIndex inside = findById(model, "F2");
    // when
    const QModelIndexList fromInside = model.match(inside, Model::cameraNodeIDRole, "A", 1, Qt::MatchContains);
    const QModelIndexList all = model.match(QModelIndex(), Model::cameraNodeIDRole, "A", -1);
    const QModelIndexList prefix = model.match(model.index(0, 0), Model::cameraNodeIDRole, "S", 5, Qt::MatchStartsWith);
    // then: every placement, the two sharing a tree ID in tree order
    QCOMPARE(fromInside, all);
    QCOMPARE(idsOf(all), QStringList({"C1", "C1", "C3"}));
    QCOMPARE(all.at(0).parent().data(Model::idRole), QVariant("F1"));
    QCOMPARE(all.at(1).parent().data(Model::idRole), QVariant("F3"));
    QVERIFY(prefix.isEmpty());
}

void TestLogicalTreeModel::otherRolesMatchLikeTheBaseModel()
{
    // given
    Model model;
    fill(model);
    // when
    const QModelIndexList byId =
            model.match(model.index(0, 0), Model::idRole, "C", -1, Qt::MatchStartsWith | Qt::MatchRecursive);
    const QModelIndexList topLevelOnly = model.match(model.index(0, 0), Model::typeRole, int(Model::Camera), -1);
    // then
    QCOMPARE(idsOf(byId), QStringList({"C1", "C2", "C3"}));
    QVERIFY(topLevelOnly.isEmpty());
}

void TestLogicalTreeModel::resetEmptiesTheCameraIndex()
{
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    fill(model);
    // when: cleared through this model
    model.clear();
    // then
    QCOMPARE(cameraMatch(model, "A"), QStringList());
    // when: refilled and cleared through the base class, which only resets
    fill(model);
    QCOMPARE(cameraMatch(model, "A"), QStringList({"C1", "C3"}));
    static_cast<QStandardItemModel&>(model).clear();
    // then
    QCOMPARE(cameraMatch(model, "A"), QStringList());
    QCOMPARE(cameraMatch(model, "B"), QStringList());
    // and the index works again afterwards
    fill(model);
    QCOMPARE(cameraMatch(model, "B"), QStringList({"C2"}));
}

void TestLogicalTreeModel::cameraIndexSurvivesLayoutChangesAndColumnRemoval()
{
    // given
    Model model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    fill(model);
    // when: sorted, so that every row may have moved
    model.setSortRole(Model::idRole);
    model.sort(0, Qt::DescendingOrder);
    // then
    QCOMPARE(cameraMatch(model, "A"), QStringList({"C1", "C3"}));
    QCOMPARE(model.match({}, Model::cameraNodeIDRole, "A").first(), findById(model, "C1"));
    // when: an item is replaced in place (the old one is deleted unannounced)
    model.itemFromIndex(findById(model, "F2"))->setChild(findById(model, "C2").row(), camera("C9", "Z"));
    // then
    QCOMPARE(cameraMatch(model, "B"), QStringList());
    QCOMPARE(cameraMatch(model, "Z"), QStringList({"C9"}));
    // when: the column holding a folder's nodes goes
    model.removeColumn(0, findById(model, "F2"));
    // then
    QCOMPARE(cameraMatch(model, "A"), QStringList({"C1"}));
    QCOMPARE(cameraMatch(model, "Z"), QStringList());
}

QTEST_MAIN(TestLogicalTreeModel)
#include "tst_logicaltreemodel.moc"
