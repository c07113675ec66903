#include "LogicalTreeInstallation.h"
#include "LogicalTreeNodeBuilder.h"
#include "QorbLogUtlStub.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QUuid>
#include <QtTest>

#include <memory>

using Model = LogicalTreeModel;

namespace {

const QString kSpecial = QStringLiteral("_REMOVED_CAMERAS_,_LOCAL_DB_,_IO_BOX_FID_,");

// R { F1 { T1 (camera C_1), F2 { T2 (camera C_2), F4 } }, F3, T3 (camera C_1 again) }
QVariantMap serverTree()
{
    return serverNode("R", "s_Root", "",
                      {serverNode("F1", "c_Lobby", "N1",
                                  {serverNode("T1", "", "C_1"),
                                   serverNode("F2", "Stairs", "N2", {serverNode("T2", "", "C_2"),
                                                                     serverNode("F4", "Roof", "N4")})}),
                       serverNode("F3", "Yard", "N3"), serverNode("T3", "", "C_1")});
}

QVariantList childValues(const QAbstractItemModel& model, const QString& parentId, int role)
{
    QVariantList values;
    const QModelIndex parent = findByTreeId(model, parentId);
    for (int row = 0; row < model.rowCount(parent); ++row)
        values << model.index(row, 0, parent).data(role);
    return values;
}

struct Fixture
{
    explicit Fixture(bool withServerTree = true)
        : tester(tree.getModel(), QAbstractItemModelTester::FailureReportingMode::Fatal)
    {
        tree.createDefaultNodes();
        if (withServerTree)
            tree.set(serverTree(), "S_1");
        recorder = std::make_unique<ModelNotificationRecorder>(tree.getModel(), Model::idRole);
        QorbLogUtlStub::clear();
    }
    QString outline() const { return treeOutline(*model); }

    LogicalTree tree;
    Model* model = tree.getModel();
    QAbstractItemModelTester tester;
    std::unique_ptr<ModelNotificationRecorder> recorder;
};

} // namespace

class TestLogicalTree : public QObject
{
    Q_OBJECT

private slots:
    void createsDefaultNodes();
    void setBuildsServerNodes_data();
    void setBuildsServerNodes();
    void insertsFoldersAndCamerasWithDiDo_data();
    void insertsFoldersAndCamerasWithDiDo();
    void ioDevicesFindTheirPlaceInAnyOrder();
    void removedCamerasAndLocalDatabases();
    void moveNodes_data();
    void moveNodes();
    void nodesToBeRemoved();
    void removals();
    void cameraWideUpdatesReachEveryPlacement();
    void malformedInputIsHarmless();
    void lookupsFollowChangesMadeDirectlyOnTheModel();
};

void TestLogicalTree::createsDefaultNodes()
{
    // given
    LogicalTree tree;
    QAbstractItemModelTester tester(tree.getModel(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    ModelNotificationRecorder recorder(tree.getModel(), Model::nameRole);
    // when
    tree.createDefaultNodes();
    // then: one block
    QCOMPARE(recorder.lines(), QStringList({"insert 0..0 under <root>", "inserted 0..0 under <root>"}));
    QCOMPARE(treeOutline(*tree.getModel()), "(Station){" + kSpecial.chopped(1) + "}");
    QCOMPARE(tree.data("_REMOVED_CAMERAS_", Model::nameRole), QVariant("Removed Cameras"));
    QVERIFY(!tree.hasLocalDBNodes());
    // when: asked again for a connection reported twice, then nothing is added
    tree.createDefaultNodes();
    QCOMPARE(recorder.lines().size(), 2);
    // when: the standalone player's tree replaces it
    tree.createDefaultNodesForStandalonePlayer();
    // then
    QCOMPARE(treeOutline(*tree.getModel()), "nodeIDForDefaultRoot{_LOCAL_DB_}");
    QCOMPARE(tree.data("nodeIDForDefaultRoot", Model::nameRole), QVariant("Default Root"));
    QCOMPARE(tree.data("nodeIDForDefaultRoot", Model::cameraNodeIDRole), QVariant("nodeUIDForDefaultRoot"));
    // and the views bind to exactly these role names: of the base-class roles
    // only the shown name, and of the computed roles only the icon
    const QHash<int, QByteArray> qmlRoles{{Qt::DisplayRole, "display"}, {257, "idRole"},         {258, "typeRole"},      {259, "nameRole"},
                                          {260, "cameraNodeIDRole"}, {261, "dataRole"},    {264, "diDoValueRole"},
                                          {265, "diDoIndexRole"},  {266, "joystickKeyRole"}, {267, "nodeIDRole"},
                                          {278, "displayIconRole"}};
    QCOMPARE(tree.getModel()->roleNames(), qmlRoles);
}

void TestLogicalTree::setBuildsServerNodes_data()
{
    QTest::addColumn<QString>("stationId");
    QTest::addColumn<QString>("nodeUid");
    QTest::addColumn<QString>("cameraId");
    QTest::addColumn<QString>("cameraStation");

    QTest::newRow("login station") << "" << "C_1" << "C_1" << "";
    QTest::newRow("sub-station") << "S_1" << "C_1" << "S_1/C_1" << "S_1";
    QTest::newRow("node UID with a path") << "S_1" << "S_2/C_3" << "S_1/S_2/C_3" << "S_1/S_2";
}

void TestLogicalTree::setBuildsServerNodes()
{
    QFETCH(QString, stationId);
    QFETCH(QString, nodeUid);
    QFETCH(QString, cameraId);
    QFETCH(QString, cameraStation);
    // given: the default nodes only
    Fixture f(false);
    QVariantMap camera = serverNode("T1", "", nodeUid);
    camera.insert("joystickKey", 4);
    QVariantMap meantAsFolder = serverNode("F9", "", "N9", {serverNode("T9", "", "C_9")});
    meantAsFolder.remove("name");
    const QVariantMap tree = serverNode("R", "s_Root", "", {serverNode("F1", "c_Lobby", "N1", {camera}), meantAsFolder});
    // when
    f.tree.set(tree, stationId);
    // then: the root takes the server's fields in one change, then each top-level subtree enters whole
    QCOMPARE(f.recorder->lines(),
             QStringList({"changed R roles 257,258,259,260,262,263,264,265,266,267", "insert 3..3 under R",
                          "inserted 3..3 under R", "insert 4..4 under R", "inserted 4..4 under R"}));
    QCOMPARE(f.outline(), "R{" + kSpecial + "F1{T1},F9{T9}}");
    QCOMPARE(f.tree.data("R", Model::nameRole), QVariant("Root"));
    QCOMPARE(f.tree.data("F1", Model::nameRole), QVariant("Lobby"));
    QCOMPARE(f.tree.data("T1", Model::typeRole), QVariant(int(Model::Camera)));
    QCOMPARE(f.tree.data("T1", Model::cameraNodeIDRole), QVariant(cameraId));
    QCOMPARE(f.tree.data("T1", Model::parentStationIDRole), QVariant(cameraStation));
    QCOMPARE(f.tree.data("T1", Model::nodeIDRole), QVariant(nodeUid));
    QCOMPARE(f.tree.data("T1", Model::joystickKeyRole), QVariant(4));
    QVERIFY(!f.tree.data("T1", Model::dataRole).toMap().contains("nameRole"));
    QVERIFY(f.tree.existed(cameraId));
    // and a node without a name is a camera even when it holds others
    QCOMPARE(f.tree.data("F9", Model::typeRole), QVariant(int(Model::Camera)));
    // when: the same tree arrives again, nothing goes and the nodes come once more
    f.tree.set(tree, stationId);
    QCOMPARE(f.outline(), "R{" + kSpecial + "F1{T1},F9{T9},F1{T1},F9{T9}}");
}

void TestLogicalTree::insertsFoldersAndCamerasWithDiDo_data()
{
    QTest::addColumn<QVariant>("diNum");
    QTest::addColumn<QVariant>("doNum");
    // Each DI/DO under the camera as "treeId type index name" (DI is type 2, DO type 3).
    QTest::addColumn<QStringList>("children");

    QTest::newRow("2 DI, 2 DO") << QVariant(2) << QVariant(2)
                                << QStringList{"s1/c5_0 2 0 DI-1", "s1/c5_1 2 1 DI-2", "s1/c5_2 3 0 DO-1",
                                               "s1/c5_3 3 1 DO-2"};
    QTest::newRow("negative and text counts") << QVariant(-1) << QVariant("1") << QStringList{"s1/c5_0 3 0 DO-1"};
    QTest::newRow("no counts") << QVariant() << QVariant() << QStringList();
}

void TestLogicalTree::insertsFoldersAndCamerasWithDiDo()
{
    QFETCH(QVariant, diNum);
    QFETCH(QVariant, doNum);
    QFETCH(QStringList, children);
    // given
    Fixture f;
    // when: a folder under a known and one under an unknown parent
    const bool inserted = f.tree.insertFolder(
            {{"parentFolderUid", "F3"}, {"newFolderId", "F5"}, {"newFolderName", "s_New"}, {"nodeId", "N5"}});
    const bool orphan = f.tree.insertFolder({{"parentFolderUid", "nope"}, {"newFolderId", "F6"}});
    // then
    QVERIFY(inserted);
    QVERIFY(!orphan);
    QCOMPARE(f.tree.data("F5", Model::nameRole), QVariant("s_New"));
    QCOMPARE(f.tree.data("F5", Model::nodeIDRole), QVariant("N5"));
    QVERIFY(!f.tree.data("F6", Model::idRole).isValid());
    // when: a camera enters with its DI/DO, and one with an unknown parent is skipped
    f.recorder->clear();
    f.tree.insertCameraNodes({QVariantMap{{"uid", "T1"}, {"parentNodeId", "nope"}, {"camNodeUid", "s9/c9"}},
                              QVariantMap{{"uid", "T1"}, {"parentNodeId", "F5"}, {"camNodeUid", "s1/c5"},
                                          {"parentStationId", "s1"}, {"joystickKey", 8}, {"diNum", diNum},
                                          {"doNum", doNum}}});
    // then: one block, the DI/DO under the new camera (not under the older T1)
    QCOMPARE(f.recorder->lines(), QStringList({"insert 0..0 under F5", "inserted 0..0 under F5"}));
    QCOMPARE(f.tree.data("T1", Model::cameraNodeIDRole), QVariant("S_1/C_1"));
    const QModelIndex camera = f.model->match({}, Model::cameraNodeIDRole, "s1/c5").value(0);
    QCOMPARE(camera.parent().data(Model::idRole), QVariant("F5"));
    QCOMPARE(camera.data(Model::dataRole).toMap(),
             QVariantMap({{"idRole", "T1"}, {"typeRole", 1}, {"cameraNodeIDRole", "s1/c5"}, {"settingStatusRole", 0},
                          {"parentStationIDRole", "s1"}, {"didoValueRole", 0}, {"didoIndexRole", 0},
                          {"joystickKeyRole", 8}, {"nodeIDRole", "s1/c5"}}));
    QVERIFY(!f.tree.existed("s9/c9"));
    // and the DI/DO read whole, without their names, which the device tree gives
    QStringList actual;
    for (int row = 0; row < f.model->rowCount(camera); ++row) {
        const QModelIndex child = f.model->index(row, 0, camera);
        const QVariantMap whole = child.data(Model::dataRole).toMap();
        actual << QStringList{whole.value("idRole").toString(), whole.value("typeRole").toString(),
                              whole.value("didoIndexRole").toString(), child.data(Model::nameRole).toString()}
                          .join(' ');
        QVERIFY(!whole.contains("nameRole"));
        QCOMPARE(child.data(Model::cameraNodeIDRole), child.data(Model::idRole));
        QVERIFY(f.tree.existed(child.data(Model::idRole).toString()));
    }
    QCOMPARE(actual, children);
}

void TestLogicalTree::ioDevicesFindTheirPlaceInAnyOrder()
{
    // given: a sub-station's I/O device, and an external device behind it, arrive before the station's own
    Fixture f;
    const auto device = [](const QString& id, const QString& relayPath, const QStringList& di = {},
                           const QVariantList& dout = {}) {
        return QVariantMap{{"NodeID", id}, {"RefName", "d_" + id}, {"RelayPath", relayPath}, {"DINameList", di},
                           {"DONameList", dout}};
    };
    f.tree.insertIoDevices({device("S_1/S_3", "S_1", {"Door", "Window"}, {"Siren"})}, Model::StationIoDevice);
    QCOMPARE(childValues(*f.model, "S_1/S_3", Model::nameRole), QVariantList({"Door", "Window", "Siren"}));
    f.tree.insertIoDevices({device("S_1/S_3/IO_1", "S_1/S_3")}, Model::ExternalDevice);
    // then: the early one waits in the I/O folder, with the external device under it
    const auto ioFolder = [&f] { return treeOutline(*f.model, findByTreeId(*f.model, "_IO_BOX_FID_")); };
    QCOMPARE(ioFolder(), "S_1/S_3{S_1/S_3_0,S_1/S_3_1,S_1/S_3_2,S_1/S_3/IO_1}");

    // when: the station's own device arrives
    f.recorder->clear();
    f.tree.insertIoDevices({device("S_1", "", {"Gate"})}, Model::StationIoDevice);
    // then: it takes the early one in, with what is nested under it
    QCOMPARE(f.recorder->lines(), QStringList({"insert 1..1 under _IO_BOX_FID_", "inserted 1..1 under _IO_BOX_FID_",
                                               "remove 0..0 under _IO_BOX_FID_", "removed 0..0 under _IO_BOX_FID_",
                                               "insert 1..1 under S_1", "inserted 1..1 under S_1"}));
    QCOMPARE(ioFolder(), "S_1{S_1_0,S_1/S_3{S_1/S_3_0,S_1/S_3_1,S_1/S_3_2,S_1/S_3/IO_1}}");

    // when: announced again, unchanged and then with another port, the devices nested under it stay
    f.recorder->clear();
    f.tree.insertIoDevices({device("S_1", "", {"Gate"})}, Model::StationIoDevice);
    QCOMPARE(f.recorder->lines(), QStringList());
    f.tree.insertIoDevices({device("S_1", "", {"Gate", "Fence"})}, Model::StationIoDevice);
    QCOMPARE(f.recorder->lines(), QStringList({"remove 0..0 under S_1", "removed 0..0 under S_1",
                                               "insert 0..1 under S_1", "inserted 0..1 under S_1"}));
    QCOMPARE(ioFolder(), "S_1{S_1_0,S_1_1,S_1/S_3{S_1/S_3_0,S_1/S_3_1,S_1/S_3_2,S_1/S_3/IO_1}}");

    // when: announced behind another node, then it moves there whole, as the new kind, once
    f.tree.insertIoDevices({device("S_1", "F3")}, Model::ExternalDevice);
    QCOMPARE(treeOutline(*f.model, findByTreeId(*f.model, "F3")), "S_1{S_1/S_3{S_1/S_3_0,S_1/S_3_1,S_1/S_3_2,S_1/S_3/IO_1}}");
    QCOMPARE(f.tree.data("S_1", Model::typeRole), QVariant(int(Model::ExternalDevice)));
    QCOMPARE(f.model->match({}, Model::cameraNodeIDRole, "S_1").size(), 1);
    // when: announced behind a parent that does not exist, then it waits in the I/O folder again
    f.tree.insertIoDevices({device("S_1", "nope")}, Model::StationIoDevice);
    QCOMPARE(findByTreeId(*f.model, "S_1").parent().data(Model::idRole), QVariant("_IO_BOX_FID_"));
}

void TestLogicalTree::removedCamerasAndLocalDatabases()
{
    // given
    Fixture f;
    // when
    f.tree.insertRemovedCameras("S_1", {QVariantMap{{"camID", "C_7"}, {"camName", "c_Gate"}}, 5,
                                        QVariantMap{{"camID", "C_8"}}});
    f.tree.insertRemovedCameras("", {QVariantMap{{"camID", "C_7"}}});
    // then
    QCOMPARE(treeOutline(*f.model, findByTreeId(*f.model, "_REMOVED_CAMERAS_")),
             "_REMOVED_CAMERAS_/S_1/C_7,_REMOVED_CAMERAS_/S_1/C_8,_REMOVED_CAMERAS_/C_7");
    QCOMPARE(f.recorder->lines().first(), "insert 0..1 under _REMOVED_CAMERAS_");
    QCOMPARE(f.tree.data("_REMOVED_CAMERAS_/S_1/C_7", Model::nameRole), QVariant("Gate"));
    QCOMPARE(f.tree.data("_REMOVED_CAMERAS_/S_1/C_7", Model::parentStationIDRole), QVariant("S_1"));
    QVERIFY(f.tree.existed("C_7"));
    QCOMPARE(QorbLogUtlStub::messages(), QList<QByteArray>());

    // when: the standalone player's tree, which has no removed-cameras folder
    f.tree.createDefaultNodesForStandalonePlayer();
    f.tree.insertRemovedCameras("S_1", {QVariantMap{{"camID", "C_9"}}});
    // then
    QCOMPARE(QorbLogUtlStub::messages(), QList<QByteArray>({"LogicalTree::insertRemovedCameras, cannot find "
                                                             "removed camera folder in logical tree"}));
    QVERIFY(!f.tree.existed("S_1/C_9"));

    // when: two local databases arrive, then all go
    QVERIFY(!f.tree.hasLocalDBNodes());
    const QVariantMap database{{"LocObjectMetaInfo", QVariantMap{{"camName", "meta"}}},
                               {"cam1", QVariantMap{{"camName", "c_Front"}, {"recPath", "D:/rec"}}},
                               {"cam2", QVariantMap{{"camName", "Back"}}}, {"bad", 5}};
    f.tree.insertNewLocalDB(database, "Archive");
    f.tree.insertNewLocalDB({}, "Empty");
    // then
    const QVariantList folderIds = childValues(*f.model, "_LOCAL_DB_", Model::idRole);
    QCOMPARE(folderIds.size(), 2);
    QVERIFY(folderIds.at(0) != folderIds.at(1));
    QVERIFY(folderIds.at(0).toString().startsWith('{'));
    QVERIFY(!QUuid::fromString(folderIds.at(0).toString()).isNull());
    QCOMPARE(childValues(*f.model, folderIds.at(0).toString(), Model::idRole), QVariantList({"D:/rec/cam1", "cam2"}));
    QCOMPARE(f.tree.data("D:/rec/cam1", Model::dataRole).toMap().value("nameRole"), QVariant("Front"));
    QCOMPARE(f.tree.data("cam2", Model::typeRole), QVariant(int(Model::LocalDBCamera)));
    QVERIFY(f.tree.hasLocalDBNodes());
    f.tree.removeAllLocalDB();
    QVERIFY(!f.tree.hasLocalDBNodes());
    // and without the folder there is nothing to have
    f.tree.clear();
    QVERIFY(!f.tree.hasLocalDBNodes());
}

void TestLogicalTree::moveNodes_data()
{
    QTest::addColumn<QStringList>("sources");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("tree");
    QTest::addColumn<QStringList>("rejected");

    const QString unchanged = "F1{T1,F2{T2,F4}},F3,T3";
    QTest::newRow("camera and folder with subtree, in list order")
            << QStringList{"T3", "F2"} << "F3" << "F1{T1},F3{T3,F2{T2,F4}}" << QStringList();
    QTest::newRow("to its own parent goes last") << QStringList{"T1"} << "F1" << "F1{F2{T2,F4},T1},F3,T3"
                                                 << QStringList();
    QTest::newRow("onto itself") << QStringList{"F3"} << "F3" << unchanged << QStringList{"F3"};
    QTest::newRow("into a deeper descendant") << QStringList{"F1"} << "F4" << unchanged << QStringList{"F1"};
    QTest::newRow("unknown destination") << QStringList{"T1"} << "nope" << unchanged << QStringList{"T1"};
    QTest::newRow("rejected sources do not stop the others")
            << QStringList{"F1", "T3", "nope"} << "F4" << "F1{T1,F2{T2,F4{T3}}},F3" << QStringList{"F1", "nope"};
}

void TestLogicalTree::moveNodes()
{
    QFETCH(QStringList, sources);
    QFETCH(QString, destination);
    QFETCH(QString, tree);
    QFETCH(QStringList, rejected);
    // given
    Fixture f;
    // when
    f.tree.moveNodes(sources, destination);
    // then
    QCOMPARE(f.outline(), "R{" + kSpecial + tree + "}");
    QList<QByteArray> log;
    for (const QString& source : rejected)
        log << QStringLiteral("LogicalTree::moveNodes, Invalid move: source:%1, destination:%2")
                        .arg(source, destination).toLocal8Bit();
    QCOMPARE(QorbLogUtlStub::messages(), log);
    if (sources.size() == rejected.size())
        QCOMPARE(f.recorder->lines(), QStringList());
    // and moved cameras are found at their new place
    for (const QModelIndex& camera : f.model->match({}, Model::cameraNodeIDRole, "S_1/C_1"))
        QCOMPARE(camera, findByTreeId(*f.model, camera.data(Model::idRole).toString()));
}

void TestLogicalTree::nodesToBeRemoved()
{
    // given
    Fixture f;
    f.tree.insertCameraDiDoNodes({QVariantMap{{"idRole", "S_1/C_1"}, {"diCountRole", 1}, {"doCountRole", 0}}});
    // The selection split into "cameras|folders".
    const auto removing = [&f](const QStringList& selection) {
        const LogicalTree::RemovingNodes nodes = f.tree.nodesToBeRemoved(selection);
        return nodes.cameraNodes.join(',') + '|' + nodes.folderNodes.join(',');
    };
    // then: a camera goes with its selected folder; anything deeper, and nested folders, stay listed;
    // order is the selection's, and other kinds and unknown IDs are dropped
    QCOMPARE(removing({"T2", "F2"}), "|F2");
    QCOMPARE(removing({"F1", "F2"}), "|F1,F2");
    QCOMPARE(removing({"F1", "T2"}), "T2|F1");
    QCOMPARE(removing({"F3", "T3", "F1"}), "T3|F3,F1");
    QCOMPARE(removing({"S_1/C_1_0", "nope", ""}), "|");
}

void TestLogicalTree::removals()
{
    // given
    Fixture f;
    f.tree.insertCameraDiDoNodes({QVariantMap{{"idRole", "S_1/C_1"}, {"diCountRole", 1}, {"doCountRole", 0}}});
    f.tree.insertIoDevices({QVariantMap{{"NodeID", "S_1/IO_1"}}, QVariantMap{{"NodeID", "S_10/IO_1"}},
                            QVariantMap{{"NodeID", "S_1/IO_2"}}, QVariantMap{{"NodeID", "s_1/IO_3"}},
                            QVariantMap{{"NodeID", "S_1/IO_9"}, {"RelayPath", "F3"}}},
                           Model::StationIoDevice);
    f.recorder->clear();
    // when: by ID, with a subtree, an unknown ID and a DI placed twice
    f.tree.removeNodes(QStringList{"F2", "nope", "S_1/C_1_0"});
    // then: the first DI in tree order went, the other is found now
    QCOMPARE(f.recorder->lines(), QStringList({"remove 1..1 under F1", "removed 1..1 under F1",
                                               "remove 0..0 under T1", "removed 0..0 under T1"}));
    QCOMPARE(findByTreeId(*f.model, "S_1/C_1_0").parent().data(Model::idRole), QVariant("T3"));
    QVERIFY(!f.tree.existed("S_1/C_2"));
    // when: by records, skipping what is not one
    f.tree.removeNodes(QVariantList{QVariantMap{{"uid", "T1"}}, "T3", QVariantMap()});
    QCOMPARE(f.model->match({}, Model::cameraNodeIDRole, "S_1/C_1").size(), 1);
    // when: I/O devices by prefix (direct children of the I/O folder only, at a path boundary, case-sensitive)
    // and by node ID
    f.recorder->clear();
    f.tree.removeIoDevices("S_1");
    QCOMPARE(f.recorder->lines(), QStringList({"remove 2..2 under _IO_BOX_FID_", "removed 2..2 under _IO_BOX_FID_",
                                               "remove 0..0 under _IO_BOX_FID_", "removed 0..0 under _IO_BOX_FID_"}));
    QCOMPARE(childValues(*f.model, "_IO_BOX_FID_", Model::idRole), QVariantList({"S_10/IO_1", "s_1/IO_3"}));
    f.tree.removeIoDevices("S_1", {"IO_9", "nope"});
    f.tree.removeIoDevices("", {"S_10/IO_1"});
    QCOMPARE(childValues(*f.model, "_IO_BOX_FID_", Model::idRole), QVariantList({"s_1/IO_3"}));
    QCOMPARE(f.outline(), "R{_REMOVED_CAMERAS_,_LOCAL_DB_,_IO_BOX_FID_{s_1/IO_3},F1,F3,T3{S_1/C_1_0}}");

    // when: folders dissolve into their parents, keeping their children in order
    Fixture g;
    g.tree.insertFolder({{"parentFolderUid", "F1"}, {"newFolderId", "F7"}});
    g.tree.removeFolderAndKeepChildren({"F2", "R", "nope"});
    // then: the top-level folder stays
    QCOMPARE(g.outline(), "R{" + kSpecial + "F1{T1,F7,T2,F4},F3,T3}");
    QCOMPARE(QorbLogUtlStub::messages(), QList<QByteArray>());
    // and a folder whose parent has no ID yet counts as top level
    Fixture h(false);
    h.tree.removeFolderAndKeepChildren({"_LOCAL_DB_"});
    QCOMPARE(h.outline(), "(Station){" + kSpecial.chopped(1) + "}");
}

void TestLogicalTree::cameraWideUpdatesReachEveryPlacement()
{
    // given: camera S_1/C_1 placed as T1 and T3, each with DI-1, DI-2, DO-1
    Fixture f;
    f.tree.insertCameraDiDoNodes({QVariantMap{{"idRole", "S_1/C_1"}, {"diCountRole", 2}, {"doCountRole", 1}}});
    f.recorder->clear();
    // when
    f.tree.updateDiDoValues({{"NodeId", "S_1/C_1"}, {"EventType", "DI"}, {"Index", 2}, {"Value", "Rising"}});
    f.tree.updateDiDoValues({{"NodeId", "S_1/C_1"}, {"EventType", "DO"}, {"Index", "1"}, {"Value", "Rising"}});
    f.tree.updateDiDoValues({{"NodeId", "S_1/C_1"}, {"EventType", "DO"}, {"Index", 1}, {"Value", "Falling"}});
    f.tree.updateDiDoValues({{"NodeId", "S_1/C_1"}, {"EventType", "di"}, {"Index", 1}, {"Value", "Rising"}});
    f.tree.updateDiDoValues({{"NodeId", "S_1/C_1"}, {"EventType", "DI"}, {"Index", 0}, {"Value", "Rising"}});
    f.tree.updateDiDoNames({QVariantMap{{"nodeID", "S_1/C_1"},
                                        {"diChangeList", QVariantList{QVariantMap{{"Idx", 1}, {"RefName", "d_Door"}}}},
                                        {"doChangeList", QVariantList{QVariantMap{{"Idx", 1}, {"RefName", "Bell"}},
                                                                      QVariantMap{{"Idx", 4}, {"RefName", "x"}}}}}});
    f.tree.setSettingStatusOfCamera("S_1/C_1", 5);
    f.tree.setSettingStatus("T2", 2);
    f.tree.renameNode("F1", "s_Hall");
    // then: each change names its role; "di" is not "DI" and so means DO
    const QString di2 = "changed S_1/C_1_1 roles 264", do1 = "changed S_1/C_1_2 roles 264";
    QCOMPARE(f.recorder->lines(),
             QStringList({di2, di2, do1, do1, do1, do1, do1, do1, "changed S_1/C_1_0 roles 259", "changed S_1/C_1_0 roles 259",
                          "changed S_1/C_1_2 roles 259", "changed S_1/C_1_2 roles 259", "changed T1 roles 262",
                          "changed T3 roles 262", "changed T2 roles 262", "changed F1 roles 259"}));
    for (const char* owner : {"T1", "T3"}) {
        QCOMPARE(childValues(*f.model, owner, Model::diDoValueRole), QVariantList({0, 1, 1}));
        QCOMPARE(childValues(*f.model, owner, Model::nameRole), QVariantList({"Door", "DI-2", "Bell"}));
        QCOMPARE(f.tree.data(owner, Model::dataRole).toMap().value("settingStatusRole"), QVariant(5));
    }
    QCOMPARE(f.tree.data("F1", Model::nameRole), QVariant("s_Hall"));
    // when: DI/DO are rebuilt with other counts, both placements follow
    f.tree.insertCameraDiDoNodes({QVariantMap{{"idRole", "S_1/C_1"}, {"diCountRole", 0}, {"doCountRole", 1}}});
    QCOMPARE(childValues(*f.model, "T3", Model::nameRole), QVariantList({"DO-1"}));
    QCOMPARE(childValues(*f.model, "T1", Model::diDoValueRole), QVariantList{QVariant(0)});
}

void TestLogicalTree::malformedInputIsHarmless()
{
    // given: a tree whose root has no ID yet
    Fixture f(false);
    f.tree.insertCameraNodes({QVariantMap{{"uid", "T1"}, {"parentNodeId", "_IO_BOX_FID_"}, {"camNodeUid", "C1"}}});
    const QString before = f.outline();
    f.recorder->clear();
    // when
    QVERIFY(!f.tree.insertFolder({{"parentFolderUid", QVariantList{"_LOCAL_DB_"}}, {"newFolderId", "X"}}));
    QVERIFY(!f.tree.insertFolder({}));
    f.tree.insertCameraNodes({QVariant(), 5, QVariantList{QVariantMap{{"parentNodeId", "_LOCAL_DB_"}}},
                              QVariantMap{{"parentNodeId", QVariantMap()}}});
    f.tree.insertCameraDiDoNodes({QVariantMap(), QVariantMap{{"idRole", QVariantList{"C1"}}, {"diCountRole", 2}}});
    f.tree.insertIoDevices({QVariant(), "x", QVariantMap{{"RelayPath", "nope"}}}, Model::ExternalDevice);
    f.tree.insertRemovedCameras("S_1", {QVariant(), 3, QVariantList()});
    f.tree.removeNodes(QVariantList{QVariant(), QVariantMap{{"uid", QVariant()}}, QVariantList{"T1"}});
    f.tree.removeNodes(QStringList{QString(), ""});
    f.tree.removeFolderAndKeepChildren({QString(), "nope"});
    f.tree.removeIoDevices("S_", QStringList{QString()});
    f.tree.renameNode("", "x");
    f.tree.setSettingStatus(QString(), 1);
    f.tree.setSettingStatusOfCamera("", 1);
    f.tree.updateDiDoValues({});
    f.tree.updateDiDoValues({{"NodeId", QVariantMap()}, {"Index", "one"}});
    f.tree.updateDiDoNames({QVariantMap(), QVariantMap{{"nodeID", "C1"}, {"diChangeList", "x"},
                                                       {"doChangeList", QVariantList{5, QVariant()}}}});
    // then: nothing changed, nothing was logged, and the empty ID names nothing
    QCOMPARE(f.outline(), before);
    QCOMPARE(f.recorder->lines(), QStringList());
    QCOMPARE(QorbLogUtlStub::messages(), QList<QByteArray>());
    QCOMPARE(f.tree.data("", Model::nameRole), QVariant());
    QCOMPARE(f.model->data(QModelIndex(), Model::dataRole), QVariant());
    QVERIFY(!f.tree.existed(""));
    QVERIFY(!f.tree.isValidMove("", "_LOCAL_DB_"));
    // and a server tree with children of the wrong kinds keeps only the records
    f.tree.set({{"treeNodeId", "R"}, {"name", "Root"},
                {"children", QVariantList{5, QVariant(), "T", QVariantMap{{"treeNodeId", "F1"}, {"name", "A"},
                                                                          {"children", QVariantMap()}}}}},
               "S_1");
    QCOMPARE(f.outline(), "R{_REMOVED_CAMERAS_,_LOCAL_DB_,_IO_BOX_FID_{T1},F1}");
}

void TestLogicalTree::lookupsFollowChangesMadeDirectlyOnTheModel()
{
    // given: camera S_1/C_1 placed as T1 and T3, each with a DI of the same tree ID
    Fixture f;
    f.tree.insertCameraDiDoNodes({QVariantMap{{"idRole", "S_1/C_1"}, {"diCountRole", 1}, {"doCountRole", 0}}});
    // Every placement the camera look-up finds, as "parent/treeId".
    const auto placements = [&f](const QString& cameraId) {
        QStringList found;
        for (const QModelIndex& node : f.model->match({}, Model::cameraNodeIDRole, cameraId))
            found << node.parent().data(Model::idRole).toString() + '/' + node.data(Model::idRole).toString();
        return found;
    };
    // then: placements come by tree ID, those sharing one in tree order, whatever the start, hits and
    // flags; folders are never filed; other roles match as the base model does
    QCOMPARE(placements("S_1/C_1"), QStringList({"F1/T1", "R/T3"}));
    QCOMPARE(placements("S_1/C_1_0"), QStringList({"T1/S_1/C_1_0", "T3/S_1/C_1_0"}));
    QCOMPARE(f.model->match(findByTreeId(*f.model, "F2"), Model::cameraNodeIDRole, "S_1/C_1", 1, Qt::MatchContains),
             f.model->match({}, Model::cameraNodeIDRole, "S_1/C_1", -1));
    QVERIFY(f.model->match({}, Model::cameraNodeIDRole, "").isEmpty());
    QCOMPARE(f.model->match(f.model->index(0, 0), Model::idRole, "T", -1, Qt::MatchStartsWith | Qt::MatchRecursive).size(), 3);

    // when: T1 is taken out of its folder
    const QList<QStandardItem*> t1 = f.model->itemFromIndex(findByTreeId(*f.model, "F1"))->takeRow(0);
    // then: neither it nor its DI is found while it is out, and both are once it is back elsewhere
    QCOMPARE(placements("S_1/C_1"), QStringList({"R/T3"}));
    QCOMPARE(placements("S_1/C_1_0"), QStringList({"T3/S_1/C_1_0"}));
    f.model->itemFromIndex(findByTreeId(*f.model, "F3"))->appendRow(t1);
    QCOMPARE(placements("S_1/C_1"), QStringList({"F3/T1", "R/T3"}));
    QCOMPARE(placements("S_1/C_1_0"), QStringList({"T1/S_1/C_1_0", "T3/S_1/C_1_0"}));
    // and an edit by a shared tree ID reaches the first in tree order, not the first filed
    f.tree.setSettingStatus("S_1/C_1_0", 7);
    QCOMPARE(findByTreeId(*f.model, "S_1/C_1_0").data(Model::settingStatusRole), QVariant(7));

    // when: an ID is changed, the tree sorted, an item replaced in place and a column removed
    f.model->setData(findByTreeId(*f.model, "F3"), "F3b", Model::idRole);
    f.model->setSortRole(Model::idRole);
    f.model->sort(0, Qt::DescendingOrder);
    QCOMPARE(placements("S_1/C_1"), QStringList({"F3b/T1", "R/T3"}));
    QCOMPARE(placements("S_1/C_1_0"), QStringList({"T3/S_1/C_1_0", "T1/S_1/C_1_0"}));
    const QModelIndex t2 = findByTreeId(*f.model, "T2");
    f.model->itemFromIndex(t2.parent())->setChild(
            t2.row(), LogicalTreeNodeBuilder().setID("T9").setType(Model::Camera).setCameraNodeID("S_1/C_9").build());
    QCOMPARE(placements("S_1/C_9"), QStringList({"F2/T9"}));
    f.model->removeColumn(0, findByTreeId(*f.model, "F1"));
    // then: every look-up answers as a walk of the tree does
    QCOMPARE(f.outline(), "R{_REMOVED_CAMERAS_,_LOCAL_DB_,_IO_BOX_FID_,T3{S_1/C_1_0},F3b{T1{S_1/C_1_0}},F1{}}");
    for (const char* id : {"F3b", "T3", "F1", "R", "T1"})
        QCOMPARE(f.tree.data(id, Model::idRole), QVariant(id));
    for (const char* id : {"F3", "T2", "T9", "F2"})
        QVERIFY2(!f.tree.data(id, Model::idRole).isValid(), id);
    QVERIFY(!f.tree.existed("S_1/C_2") && !f.tree.existed("S_1/C_9"));

    // when: cleared through the base class, which only resets, then filled again
    static_cast<QStandardItemModel*>(f.model)->clear();
    QVERIFY(placements("S_1/C_1").isEmpty());
    QVERIFY(!f.tree.data("T3", Model::idRole).isValid());
    f.tree.createDefaultNodes();
    f.tree.set(serverTree(), "S_1");
    QCOMPARE(placements("S_1/C_1"), QStringList({"F1/T1", "R/T3"}));
}

QTEST_MAIN(TestLogicalTree)
#include "tst_logicaltree.moc"
