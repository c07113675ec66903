#include "DeviceTree.h"
#include "QorbLogUtlStub.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QtTest>

#include <functional>
#include <memory>

using Model = StandardTopologyModel;

namespace {

QVariantMap station(const QString& id, const QString& name, bool nvr = false)
{
    return {{"nodeUID", id}, {"nodeName", name}, {"nodeType", "Station"}, {"isNVR", nvr}};
}

QVariantMap camera(const QString& id, const QString& name = QStringLiteral("c_Cam"))
{
    return {{"nodeUID", id}, {"nodeName", name}, {"nodeType", "Camera"}};
}

QStringList childIds(const DeviceTree& tree, const QString& parentId)
{
    const Model* model = const_cast<DeviceTree&>(tree).getModel();
    const QModelIndex parent = model->match(QModelIndex(), Model::idRole, parentId).value(0);
    QStringList ids;
    for (int row = 0; row < model->rowCount(parent); ++row)
        ids << model->index(row, 0, parent).data(Model::idRole).toString();
    return ids;
}

// The roles of one node that differ from the expected values, as "role: value" texts.
QStringList differingRoles(const DeviceTree& tree, const QString& id, const QVariantMap& expected)
{
    QStringList differing;
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        const QVariant value = tree.data(id, it.key());
        if (value != it.value())
            differing << it.key() + ": " + value.toString();
    }
    return differing;
}

// The login station, named R once its identifier is known, with two cameras and
// two sub-stations; S1 is an NVR with a sub-NVR of its own.
void buildInstallation(DeviceTree& tree)
{
    tree.insertLoginStation("s_Root", "10.0.0.1");
    tree.setDataMap(QString(), {{"idRole", "R"}, {"nodeIDRole", "R"}});
    tree.insertNewNodes("R", {camera("R/C_1"), camera("R/C_2"), station("S1", "s_Branch", true),
                              station("S2", "Annex")});
    tree.insertNewNodes("S1", {camera("S1/C_1"), camera("S1/C_12"), station("S11", "Depot", true)});
    tree.insertNewNodes("S11", {camera("S11/C_1")});
    tree.insertNewNodes("S2", {camera("S2/CamX")});
    const QMap<QString, QString> macs{{"R/C_1", "m1"}, {"R/C_2", "m2"}, {"S1/C_1", "s1m1"},
                                      {"S11/C_1", "s11m1"}, {"S2/CamX", "s2m"}};
    for (auto it = macs.cbegin(); it != macs.cend(); ++it)
        tree.setData(it.key(), Model::macRole, it.value());
    tree.setDataMap("R", {{"modelRole", "qelm-Box"}, {"connectedRole", true}, {"serverVersionRole", "2.1"}});
    tree.setDataMap("S1", {{"connectedRole", true}, {"skyrCloudDeviceIdRole", "cloud-1"}});
    tree.setDataMap("R/C_1",
                    {{"diNameListRole", QStringList{"DI-1", "DI-2"}}, {"doNameListRole", QStringList{"DO-1"}}});
}

struct Fixture
{
    Fixture()
        : tester(tree.getModel(), QAbstractItemModelTester::FailureReportingMode::Fatal)
    {
        buildInstallation(tree);
        recorder = std::make_unique<ModelNotificationRecorder>(tree.getModel(), Model::idRole);
        QorbLogUtlStub::clear();
    }
    DeviceTree tree;
    QAbstractItemModelTester tester;
    std::unique_ptr<ModelNotificationRecorder> recorder;
};

using Operation = std::function<void(DeviceTree&)>;

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestDeviceTree : public QObject
{
    Q_OBJECT

private slots:
    void createsStationsFromRecords();
    void createsCamerasFromRecords();
    void cleansOneNamePrefix();
    void decodesHexPasswords();
    void insertNewNodesReplacesChildren();
    void insertsAnnouncedNodesInPlace();
    void announcingAKnownNodeChangesItInPlace();
    void removedCamerasAndSubtrees();
    void updatesChangeRolesInOneNotification_data();
    void updatesChangeRolesInOneNotification();
    void externalDevices();
    void badInputIsHarmless();
    void stationQueries();
    void cameraDescriptionsForOtherPlugins();
};

void TestDeviceTree::createsStationsFromRecords()
{
    // given
    Fixture f;
    QVariantMap record = station("S3", "s_North");
    record.insert({{"nodeIP", "10.0.3.1"}, {"useSSL", true}, {"httpPort", 8080}, {"nasDomain", "nas.local"},
                   {"nasUserName", "backup"}, {"nasPassword", "707764"}, {"stationPassword", "616263"},
                   {"isRedundantServer", true}, {"skyrCloudDeviceId", "cloud-9"}, {"skyrCloudDeviceConnectType", 3},
                   {"serverModelName", "NVR-16"}, {"displayName", "s_North site"}, {"serverVersion", "3.0"}});
    // when
    f.tree.insertNewNodes("S2", {record});
    // then
    const QVariantMap expected{
        {"idRole", "S3"}, {"nodeIDRole", "S3"}, {"stationGuidRole", "S3"}, {"nameRole", "North"},
        {"nodeTypeRole", 1}, {"standardItemTypeRole", 2}, {"levelRole", 2}, {"parentStationIDRole", "S2"},
        {"ipRole", "10.0.3.1"}, {"useSSLRole", true}, {"httpPortRole", 8080}, {"httpsPortRole", 8080},
        {"nasDomainRole", "nas.local"}, {"nasUsernameRole", "backup"}, {"nasPasswordRole", "pwd"},
        {"stationPasswordRole", "abc"}, {"redundantServerRole", true}, {"skyrCloudDeviceIdRole", "cloud-9"},
        {"isSKYRCloudDeviceRole", true}, {"skyrCloudDeviceConnectTypeRole", 3}, {"modelRole", "NVR-16"},
        {"displayNameRole", "s_North site"}, {"serverVersionRole", "3.0"}, {"isNVRStationRole", false},
        {"connectedRole", false}, {"relayEnabledRole", false}, {"wifiAddressRole", ""}, {"selectionRole", 2},
        {"hiddenInLiveRole", false}};
    QCOMPARE(differingRoles(f.tree, "S3", expected), QStringList());
    // and only the exact type text makes a station
    f.tree.insertNewNodes("S3",
                          {QVariantMap{{"nodeUID", "N1"}, {"nodeType", "station"}}, QVariantMap{{"nodeUID", "N2"}}});
    for (const char* id : {"N1", "N2"}) {
        QCOMPARE(f.tree.data(id, Model::nodeTypeRole), QVariant(int(Model::CameraNode)));
        QCOMPARE(f.tree.data(id, Model::standardItemTypeRole), QVariant(int(Model::DeviceItem)));
    }
}

void TestDeviceTree::createsCamerasFromRecords()
{
    // given
    Fixture f;
    QVariantMap record = camera("S2/C_5", "c_Gate");
    record.insert({{"nodeIP", "10.0.2.5"}, {"brand", "Acme"}, {"user", "admin"}, {"diCount", 2}, {"doCount", 1},
                   {"motionCount", 4}, {"channelID", 5}, {"suppLineCrossing", true}, {"suppPTZ", true}});
    QVariantMap mechanical = camera("S2/C_6");
    mechanical.insert("mechPtzCap", QVariantMap{{"suppPTZ", true}});
    // when
    f.tree.insertNewNodes("S2", {record, mechanical});
    // then pan-tilt-zoom is read from the mechanical capabilities only, never from the top-level flag
    const QVariantMap capabilities = f.tree.data("S2/C_5", Model::supportEventsRole).toMap();
    QCOMPARE(capabilities.size(), 20);
    QCOMPARE(capabilities.value("suppPTZ"), QVariant(false));
    QCOMPARE(capabilities.value("suppLineCrossing"), QVariant(true));
    QCOMPARE(capabilities.value("suppPIR"), QVariant(false));
    QCOMPARE(f.tree.data("S2/C_6", Model::supportEventsRole).toMap().value("suppPTZ"), QVariant(true));
    const QVariantMap expected{
        {"nameRole", "Gate"}, {"brandRole", "Acme"}, {"diCountRole", 2u}, {"channelRole", 5}, {"levelRole", 2},
        {"parentStationIDRole", "S2"}, {"standardItemTypeRole", 0}, {"portRole", "80"}, {"channelNumRole", 1},
        {"recordingRole", false}};
    QCOMPARE(differingRoles(f.tree, "S2/C_5", expected), QStringList());
}

void TestDeviceTree::cleansOneNamePrefix()
{
    // The plain "s_", "c_" and "d_" prefixes are seen going in elsewhere; these are the edges.
    Fixture f;
    const QMap<QString, QString> shownFor{
        {"c_d_Gate", "d_Gate"}, {"Gate_d_", "Gate_d_"}, {"S_Main", "S_Main"}, {"s_", ""}};
    for (auto it = shownFor.cbegin(); it != shownFor.cend(); ++it) {
        const QString& sent = it.key();
        f.tree.insertNewNodes("S2", {camera("c_" + sent, sent), station("s_" + sent, sent)});
        QCOMPARE(f.tree.data("c_" + sent, Model::nameRole), QVariant(it.value()));
        QCOMPARE(f.tree.data("s_" + sent, Model::nameRole), QVariant(it.value()));
        // Identifiers are never cleaned.
        QCOMPARE(f.tree.data("c_" + sent, Model::nodeIDRole), QVariant("c_" + sent));
    }
}

void TestDeviceTree::decodesHexPasswords()
{
    // given: "616263" decoding to "abc" is seen when a station is created
    Fixture f;
    QVariantMap record = station("S3", "North");
    record.insert({{"nasPassword", "61zz62"}, {"stationPassword", 616263}});
    // when: created, announced and changed later, with invalid digits, a number, or nothing
    f.tree.insertNewNodes("S2", {record});
    f.tree.insertNewStationNodes({QVariantMap{{"stationUID", "S4"}, {"relayPath", "S2"}, {"stationPassword", "61zz62"}},
                                  QVariantMap{{"stationUID", "S5"}, {"relayPath", "S2"}}});
    f.tree.updateStationInfo(QVariantMap{{"stationUID", "S1"}, {"nasPassword", 616263}});
    // then invalid digits are skipped and numbers are read as their digits
    QCOMPARE(f.tree.data("S3", Model::nasPasswordRole), QVariant("ab"));
    QCOMPARE(f.tree.data("S3", Model::stationPasswordRole), QVariant("abc"));
    QCOMPARE(f.tree.data("S4", Model::stationPasswordRole), QVariant("ab"));
    QCOMPARE(f.tree.data("S5", Model::stationPasswordRole), QVariant(""));
    QCOMPARE(f.tree.data("S1", Model::nasPasswordRole), QVariant("abc"));
}

void TestDeviceTree::insertNewNodesReplacesChildren()
{
    // given
    Fixture f;
    const QStringList oldChildren{"S1/C_1", "S1/C_12", "S11"};
    // when the answer holds no records, or names an unknown parent
    f.tree.insertNewNodes("S1", {});
    f.tree.insertNewNodes("S1", {QVariant(), 42, "text"});
    f.tree.insertNewNodes("S9", {camera("S9/C_1")});
    // then nothing moves, and the unknown parent is logged once
    QCOMPARE(f.recorder->lines(), QStringList());
    QCOMPARE(childIds(f.tree, "S1"), oldChildren);
    QCOMPARE(QorbLogUtlStub::messages(),
             QList<QByteArray>{"DeviceTree::insertNewNodes, cannot find parent node S9"});
    QCOMPARE(QorbLogUtlStub::lines().value(0).level, 2);
    QVERIFY(!f.tree.contains("S9/C_1"));
    // when an answer lists many cameras, then they go in as one block
    QVariantList many;
    for (int i = 0; i < 100; ++i)
        many.append(camera(QStringLiteral("S11/M_%1").arg(i)));
    QSignalSpy inserted(f.tree.getModel(), &QAbstractItemModel::rowsInserted);
    f.tree.insertNewNodes("S11", many);
    QCOMPARE(inserted.size(), 1);
    QCOMPARE(inserted.at(0).at(1).toInt(), 0);
    QCOMPARE(inserted.at(0).at(2).toInt(), 99);
    f.recorder->clear();
    // when records come, then all children are replaced in one block, the old subtree with them
    f.tree.insertNewNodes("S1", {camera("S1/C_1"), camera("S1/C_7")});
    QCOMPARE(f.recorder->lines(), QStringList({"remove 0..2 under S1", "removed 0..2 under S1",
                                               "insert 0..1 under S1", "inserted 0..1 under S1"}));
    QCOMPARE(childIds(f.tree, "S1"), QStringList({"S1/C_1", "S1/C_7"}));
    for (const char* child : {"S1/C_1", "S1/C_7"})
        QCOMPARE(differingRoles(f.tree, child, {{"levelRole", 2}, {"parentStationIDRole", "S1"}}), QStringList());
    QVERIFY(!f.tree.contains("S11/C_1"));

    // when an answer names a node twice, a node of another station, the parent and a station above it
    f.recorder->clear();
    f.tree.insertNewNodes("S2", {camera("S2/A", "first"), camera("S1/C_7"), camera("S2/A", "second"),
                                 station("S2", "Self"), station("R", "Above")});
    // then the node of the other station comes over, the later record counts, and the tree holds each once
    QCOMPARE(f.recorder->lines(), QStringList({"remove 1..1 under S1", "removed 1..1 under S1", "remove 0..0 under S2",
                                               "removed 0..0 under S2", "insert 0..1 under S2", "inserted 0..1 under S2"}));
    QCOMPARE(childIds(f.tree, "S2"), QStringList({"S1/C_7", "S2/A"}));
    QCOMPARE(f.tree.data("S2/A", "nameRole"), QVariant("second"));
    // and a later part of the answer that names a child again moves it last instead of doubling it
    f.tree.appendNewNodes("S2", {camera("S1/C_7"), camera("S2/B")});
    QCOMPARE(childIds(f.tree, "S2"), QStringList({"S2/A", "S1/C_7", "S2/B"}));
    QCOMPARE(f.tree.getModel()->identifierIndexFaults(), QStringList());
}

void TestDeviceTree::insertsAnnouncedNodesInPlace()
{
    // given
    Fixture f;
    const auto announced = [](const QString& stationId, const QString& id) {
        return QVariantMap{{"parentStationID", stationId}, {"nodeUID", id}, {"nodeName", "c_Dock"},
                           {"camIP", "10.9.9.9"}, {"camType", 4}, {"camPort", 8080}};
    };
    // when cameras are announced
    f.tree.insertNewCameraNodes({announced("R", "R/new"), announced("S2", "S2/new"), announced("R", "R/new2")});
    // then each goes in front of its station's first sub-station, or last, one block per station
    QCOMPARE(f.recorder->lines(), QStringList({"insert 2..3 under R", "inserted 2..3 under R",
                                               "insert 1..1 under S2", "inserted 1..1 under S2"}));
    QCOMPARE(childIds(f.tree, "R"), QStringList({"R/C_1", "R/C_2", "R/new", "R/new2", "S1", "S2"}));
    QCOMPARE(childIds(f.tree, "S2"), QStringList({"S2/CamX", "S2/new"}));
    QCOMPARE(f.tree.data("R/new", "levelRole"), QVariant(1));
    QCOMPARE(differingRoles(f.tree, "S2/new", {{"levelRole", 2}, {"camTypeRole", 4}, {"portRole", "8080"},
                                               {"ipRole", "10.9.9.9"}, {"brandRole", "xrqz"}, {"nameRole", "Dock"}}),
             QStringList());

    // when stations are announced
    f.recorder->clear();
    f.tree.insertNewStationNodes({QVariantMap{{"stationUID", "S3"}, {"relayPath", "R"}, {"nodeName", "s_North"},
                                              {"stationIP", "10.0.3.1"}, {"httpPort", 81}, {"useSSL", true}}});
    // then they go last
    QCOMPARE(f.recorder->lines(), QStringList({"insert 6..6 under R", "inserted 6..6 under R"}));
    QCOMPARE(childIds(f.tree, "R").last(), QStringLiteral("S3"));
    QCOMPARE(differingRoles(f.tree, "S3", {{"nameRole", "North"}, {"ipRole", "10.0.3.1"}, {"httpsPortRole", 81},
                                           {"useSSLRole", true}, {"levelRole", 1}, {"parentStationIDRole", "R"}}),
             QStringList());
}

void TestDeviceTree::announcingAKnownNodeChangesItInPlace()
{
    // given: a camera with its status and type filled in
    Fixture f;
    f.tree.setDataMap("R/C_1", {{"connectedRole", true}, {"camTypeRole", 8}});
    f.recorder->clear();
    // when it is announced again with a new name and type, next to a new camera listed twice
    const QVariantMap again{{"parentStationID", "R"}, {"nodeUID", "R/C_1"}, {"nodeName", "c_Porch"}, {"camType", "Bullet"}};
    const QVariantMap added{{"parentStationID", "R"}, {"nodeUID", "R/new"}};
    // then only the new one counts as inserted, and the known one changes what the announcement carries
    QCOMPARE(f.tree.insertNewCameraNodes({again, added, added}), QStringList{"R/new"});
    QCOMPARE(f.recorder->lines(),
             QStringList({"changed R/C_1 roles 0,259,302,2", "insert 2..2 under R", "inserted 2..2 under R"}));
    QCOMPARE(differingRoles(f.tree, "R/C_1", {{"nameRole", "Porch"}, {"camTypeRole", 2}, {"connectedRole", true},
                                              {"portRole", "80"}}),
             QStringList());

    // when announced under another station, then it moves there whole, state and all
    f.recorder->clear();
    QCOMPARE(f.tree.insertNewCameraNodes({QVariantMap{{"parentStationID", "S2"}, {"nodeUID", "R/C_1"}}}), QStringList());
    QCOMPARE(f.recorder->lines(), QStringList({"remove 0..0 under R", "removed 0..0 under R", "insert 1..1 under S2",
                                               "inserted 1..1 under S2"}));
    QCOMPARE(differingRoles(f.tree, "R/C_1", {{"levelRole", 2}, {"parentStationIDRole", "S2"}, {"nameRole", "Porch"},
                                              {"connectedRole", true}}),
             QStringList());
    // and a station takes its subtree along, one level deeper
    f.recorder->clear();
    f.tree.insertNewStationNodes({QVariantMap{{"stationUID", "S1"}, {"relayPath", "S2"}, {"nodeName", "s_North"}}});
    QCOMPARE(f.recorder->lines(), QStringList({"remove 2..2 under R", "removed 2..2 under R", "insert 2..2 under S2",
                                               "inserted 2..2 under S2"}));
    QCOMPARE(differingRoles(f.tree, "S1", {{"nameRole", "North"}, {"levelRole", 2}, {"connectedRole", true}}),
             QStringList());
    QCOMPARE(f.tree.data("S11/C_1", "levelRole"), QVariant(4));

    // when a station is announced below itself, then nothing happens
    f.recorder->clear();
    f.tree.insertNewStationNodes({QVariantMap{{"stationUID", "S2"}, {"relayPath", "S11"}}});
    QCOMPARE(f.recorder->lines(), QStringList());
    // when a node of another kind holds the identifier, then the announced node replaces it
    QCOMPARE(f.tree.insertNewStationNodes({QVariantMap{{"stationUID", "R/C_2"}, {"relayPath", "R"}}}),
             QStringList{"R/C_2"});
    QCOMPARE(f.recorder->lines(), QStringList({"remove 0..0 under R", "removed 0..0 under R", "insert 2..2 under R",
                                               "inserted 2..2 under R"}));
    QCOMPARE(f.tree.data("R/C_2", Model::nodeTypeRole), QVariant(int(Model::StationNode)));
    // when the login station is answered again, then the one there changes, whatever its identifier now
    f.recorder->clear();
    QVERIFY(!f.tree.insertLoginStation("s_Head", "10.0.0.9"));
    QCOMPARE(f.recorder->lines(), QStringList({"changed R roles 0,259,263,2"}));
    QCOMPARE(f.tree.getModel()->rowCount(), 1);
    QCOMPARE(f.tree.getModel()->identifierIndexFaults(), QStringList());
}

void TestDeviceTree::removedCamerasAndSubtrees()
{
    // given
    Fixture f;
    const QVariantList removed{QVariantMap{{"camID", "7"}, {"camName", "c_Old"}, {"cameraType", 3}},
                               QVariantMap{{"camID", "8"}, {"camName", "Older"}, {"cameraType", 2}}};
    // when: the folder is new
    f.tree.insertRemovedCameras("R", removed);
    // then it goes in with its cameras as one block, in front of the sub-stations
    QCOMPARE(f.recorder->lines(), QStringList({"insert 2..2 under R", "inserted 2..2 under R"}));
    QCOMPARE(childIds(f.tree, "R"), QStringList({"R/C_1", "R/C_2", "R/_REMOVED_CAMERAS_", "S1", "S2"}));
    QCOMPARE(childIds(f.tree, "R/_REMOVED_CAMERAS_"), QStringList({"R/7", "R/8"}));
    QCOMPARE(differingRoles(f.tree, "R/_REMOVED_CAMERAS_", {{"nameRole", "Removed Cameras"}, {"nodeTypeRole", 4},
                                                            {"levelRole", 1}, {"hiddenInLiveRole", true}}),
             QStringList());
    QCOMPARE(differingRoles(f.tree, "R/7",
                            {{"nameRole", "Old"}, {"nodeTypeRole", 2}, {"camTypeRole", 3}, {"hiddenInLiveRole", true},
                             {"levelRole", 2}, {"parentStationIDRole", "R"}}),
             QStringList());

    // when: the same cameras come again, one of them renamed and listed twice
    f.recorder->clear();
    f.tree.insertRemovedCameras("R", removed + QVariantList{QVariantMap{{"camID", "8"}, {"camName", "Oldest"}}});
    // then they change in place instead of doubling, and only in what their entries carry
    QCOMPARE(f.recorder->lines(), QStringList({"changed R/8 roles 0,259,2"}));
    QCOMPARE(childIds(f.tree, "R/_REMOVED_CAMERAS_"), QStringList({"R/7", "R/8"}));
    QCOMPARE(f.tree.data("R/8", "camTypeRole"), QVariant(2));
    QCOMPARE(f.tree.getModel()->identifierIndexFaults(), QStringList());

    // when: removed cameras are taken away
    f.recorder->clear();
    f.tree.removeRemovedCameras("R", {"R/8", "R/7", "R/nowhere"});
    QCOMPARE(f.recorder->lines(), QStringList({"remove 0..1 under R/_REMOVED_CAMERAS_",
                                               "removed 0..1 under R/_REMOVED_CAMERAS_"}));
    // then the folder stays when it is left empty
    QVERIFY(f.tree.contains("R/_REMOVED_CAMERAS_"));
    QCOMPARE(childIds(f.tree, "R/_REMOVED_CAMERAS_"), QStringList());

    // and nothing happens for an empty list or an unknown station
    f.recorder->clear();
    f.tree.insertRemovedCameras("R", {});
    f.tree.insertRemovedCameras("S9", removed);
    QCOMPARE(f.recorder->lines(), QStringList());

    // when whole subtrees are removed, then adjacent rows go as one block, and unknown or already gone nodes are skipped
    f.tree.removeNodes({"S9", "R/C_2", "S1", "S11/C_1", "R/C_1"});
    QCOMPARE(f.recorder->lines(), QStringList({"remove 3..3 under R", "removed 3..3 under R", "remove 0..1 under R",
                                               "removed 0..1 under R"}));
    for (const char* id : {"S1", "S1/C_1", "S1/C_12", "S11", "S11/C_1"})
        QVERIFY2(!f.tree.contains(id), id);
    QVERIFY(f.tree.contains("S2/CamX"));
}

void TestDeviceTree::updatesChangeRolesInOneNotification_data()
{
    QTest::addColumn<Operation>("update");
    QTest::addColumn<QStringList>("notifications");
    QTest::addColumn<QString>("nodeId");
    QTest::addColumn<QVariantMap>("values");

    // role 0 is the display role, which always reads the node's name
    QTest::newRow("names that are no published role land in role 0, unseen")
        << Operation([](DeviceTree& t) { t.setDataMap("R/C_1", {{"ipRole", "10.0.0.7"}, {"noSuchRole", "display"}}); })
        << QStringList{"changed R/C_1 roles 0,263,2"} << "R/C_1"
        << QVariantMap{{"ipRole", "10.0.0.7"}, {"anotherUnknownRole", "Cam"}};
    QTest::newRow("a list keeps its order, the later value of a role winning")
        << Operation([](DeviceTree& t) {
               t.setDataList("R/C_1", {{"nameRole", "first"}, {"ipRole", "10.0.0.8"}, {"nameRole", "second"}});
           })
        << QStringList{"changed R/C_1 roles 0,259,263,2"} << "R/C_1"
        << QVariantMap{{"nameRole", "second"}, {"ipRole", "10.0.0.8"}};
    QTest::newRow("a camera's model word is stored as its type number")
        << Operation([](DeviceTree& t) { t.setDataMap("R/C_1", {{"camTypeRole", "FixedDome"}}); })
        << QStringList{"changed R/C_1 roles 302"} << "R/C_1" << QVariantMap{{"camTypeRole", 8}};
    QTest::newRow("an identifier another node holds is not taken")
        << Operation([](DeviceTree& t) {
               t.setDataMap("R/C_2", {{"idRole", "R/C_1"}, {"nodeIDRole", "R/C_1"}, {"nameRole", "Two"}});
           })
        << QStringList{"changed R/C_2 roles 0,259,2"} << "R/C_2" << QVariantMap{{"nameRole", "Two"}};
    QTest::newRow("camera status")
        << Operation([](DeviceTree& t) {
               t.updateCameraStatus({QVariantMap{{"camUID", "R/C_1"}, {"connected", true}, {"recording", true},
                                                 {"useEdgeRecording", true}, {"edgeRecordingStream", 2}}});
           })
        << QStringList{"changed R/C_1 roles 284,304,382,383"} << "R/C_1"
        << QVariantMap{{"connectedRole", true}, {"recordingRole", true}, {"isUseEdgeRecordingRole", true},
                       {"edgeRecordingStreamRole", 2}};
    QTest::newRow("camera information")
        << Operation([](DeviceTree& t) {
               t.updateCameraInfo({{{"idRole", "R/C_1"}, {"macRole", "aa"}, {"isVCARole", true}}});
           })
        << QStringList{"changed R/C_1 roles 257,303,355"} << "R/C_1"
        << QVariantMap{{"macRole", "aa"}, {"isVCARole", true}};
    QTest::newRow("DI/DO names")
        << Operation([](DeviceTree& t) {
               t.updateDiDoNames({{{"nodeID", "R/C_1"},
                                   {"diChangeList", QVariantList{QVariantMap{{"Idx", 2}, {"RefName", "Door"}},
                                                                 QVariantMap{{"Idx", 3}, {"RefName", "none"}},
                                                                 QVariantMap{{"Idx", 0}, {"RefName", "none"}}}},
                                   {"doChangeList", QVariantList{QVariantMap{{"Idx", 1}, {"RefName", "Siren"}}}}}});
           })
        << QStringList{"changed R/C_1 roles 367,368"} << "R/C_1"
        << QVariantMap{{"diNameListRole", QStringList{"DI-1", "Door"}}, {"doNameListRole", QStringList{"Siren"}}};
    QTest::newRow("server ports")
        << Operation([](DeviceTree& t) {
               t.updateServerPort({{"stationId", "S1"},
                                   {"srvPorts", QVariantList{QVariantMap{{"Name", "Web"}, {"Port", 8081}},
                                                             QVariantMap{{"Name", "Rtsp"}, {"Port", 554}},
                                                             QVariantMap{{"Name", "Https"}, {"Port", 8443}}}}});
           })
        << QStringList{"changed S1 roles 274,275"} << "S1"
        << QVariantMap{{"httpPortRole", 8081}, {"httpsPortRole", 8443}};
    QTest::newRow("server information writes what it carries")
        << Operation([](DeviceTree& t) { t.updateServerInfo("S1", {{"isQELM2", true}, {"httpsPort", 443}}); })
        << QStringList{"changed S1 roles 275,283"} << "S1"
        << QVariantMap{{"isQELM2Role", true}, {"httpsPortRole", 443}, {"httpPortRole", 0}};
    QTest::newRow("station information")
        << Operation([](DeviceTree& t) {
               t.updateStationInfo(QVariantMap{{"stationUID", "S1"}, {"IP", "10.0.1.9"}, {"useSSL", true}});
           })
        << QStringList{"changed S1 roles 263,273"} << "S1"
        << QVariantMap{{"ipRole", "10.0.1.9"}, {"useSSLRole", true}};
    QTest::newRow("station records keep their names")
        << Operation([](DeviceTree& t) {
               t.updateStationInfo(std::vector<QVariantMap>{{{"idRole", "S1"}, {"nameRole", "ignored"},
                                                             {"modelRole", "NVR-8"}, {"diCountRole", 1},
                                                             {"diNameListRole", QStringList{"DI-1"}}}});
           })
        << QStringList{"changed S1 roles 268,311,367"} << "S1"
        << QVariantMap{{"nameRole", "Branch"}, {"modelRole", "NVR-8"}, {"diNameListRole", QStringList{"DI-1"}}};
    QTest::newRow("display names keep their prefix")
        << Operation([](DeviceTree& t) { t.updateDisplayName({{"relayPath", "S1"}, {"DisplayName", "s_Yard"}}); })
        << QStringList{"changed S1 roles 380"} << "S1" << QVariantMap{{"displayNameRole", "s_Yard"}};
    QTest::newRow("cloud relay time-out, empty device id matches nothing")
        << Operation([](DeviceTree& t) { t.updateSkyrCloudRelayTimeout({"", "cloud-1", "cloud-x"}, true); })
        << QStringList{"changed S1 roles 295"} << "S1" << QVariantMap{{"isSKYRCloudRelayTimeoutRole", true}};
    QTest::newRow("unknown node")
        << Operation([](DeviceTree& t) {
               t.updateCameraStatus({QVariantMap{{"camUID", "R/C_9"}, {"connected", true}}});
               t.updateStationConnected("S9", true);
           })
        << QStringList() << "R/C_1" << QVariantMap{{"connectedRole", false}};
}

void TestDeviceTree::updatesChangeRolesInOneNotification()
{
    QFETCH(Operation, update);
    QFETCH(QStringList, notifications);
    QFETCH(QString, nodeId);
    QFETCH(QVariantMap, values);
    // given
    Fixture f;
    // when
    update(f.tree);
    // then
    QCOMPARE(f.recorder->lines(), notifications);
    QCOMPARE(differingRoles(f.tree, nodeId, values), QStringList());
    QCOMPARE(QorbLogUtlStub::messages(), QList<QByteArray>());
}

void TestDeviceTree::externalDevices()
{
    // given
    Fixture f;
    QVariantMap device{{"RelayPath", "S1"}, {"NodeID", "S1/IO_1"}, {"RefName", "d_Panel"}, {"ModuleName", "IO-8"},
                       {"Brand", "Acme"}, {"HostIP", "10.0.1.5"}, {"Port", 502}, {"User", "admin"},
                       {"Password", "pw"}, {"DINum", 2}, {"DONum", 1}, {"DINameList", QStringList{"In1", "In2"}},
                       {"DONameList", QStringList{"Out1"}}};
    // when: the device is not known yet
    f.tree.updateExternalDevice({device, QVariantMap{{"RelayPath", "S9"}, {"NodeID", "S9/IO_1"}}});
    // then it is placed like a camera, complete
    QCOMPARE(f.recorder->lines(), QStringList({"insert 2..2 under S1", "inserted 2..2 under S1"}));
    QCOMPARE(childIds(f.tree, "S1"), QStringList({"S1/C_1", "S1/C_12", "S1/IO_1", "S11"}));
    QVERIFY(!f.tree.contains("S9/IO_1"));
    QCOMPARE(differingRoles(f.tree, "S1/IO_1",
                            {{"camTypeRole", 10}, {"connectedRole", true}, {"portRole", "502"}, {"diCountRole", 2u}}),
             QStringList());
    QCOMPARE(f.tree.getAllExternalDeviceInfoUnderSubstation("S1"),
             QVariantList({QVariantMap{{"NodeID", "S1/IO_1"}, {"RefName", "Panel"},
                                       {"DINameList", QStringList{"In1", "In2"}}, {"DONameList", QStringList{"Out1"}},
                                       {"RelayPath", "S1"}}}));
    // and it is no camera for the queries
    QCOMPARE(f.tree.getNvrInfoList("R").value(0).toMap().value("cameraNumber"), QVariant(2));

    // when: the device is known
    f.recorder->clear();
    device.insert("Password", "new");
    f.tree.updateExternalDevice({device});
    // then it changes in one notification
    QCOMPARE(f.recorder->lines(), QStringList({"changed S1/IO_1 roles 268,284,302,306,317,367,368"}));
    QCOMPARE(f.tree.data("S1/IO_1", "passwordRole"), QVariant("new"));

    // when: removal names another station, or a camera
    f.recorder->clear();
    f.tree.removeExternalDevice("R", {"S1/IO_1"});
    f.tree.removeExternalDevice("S1", {"S1/C_1"});
    QCOMPARE(f.recorder->lines(), QStringList());
    // and then the device's own station
    f.tree.removeExternalDevice("S1", {"S1/IO_1"});
    QCOMPARE(f.recorder->lines(), QStringList({"remove 2..2 under S1", "removed 2..2 under S1"}));
    QVERIFY(!f.tree.contains("S1/IO_1"));
}

void TestDeviceTree::badInputIsHarmless()
{
    // given: a login station still without identifier
    DeviceTree tree;
    QAbstractItemModelTester tester(tree.getModel(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    tree.insertLoginStation("Root", "10.0.0.1");
    // when: records carry values of the wrong types
    tree.insertNewNodes(QString(), {QVariantMap{{"nodeUID", "S9"}, {"nodeType", "Station"}, {"nodeName", QVariantMap()},
                                                {"httpPort", QVariantList{1, 2}}, {"useSSL", QVariantMap()},
                                                {"nasPassword", QVariantList()}},
                                    QVariantMap{{"nodeUID", "C9"}, {"diCount", "many"}, {"mechPtzCap", "yes"},
                                                {"suppPIR", QVariantList()}, {"channelID", QVariant()}},
                                    QVariantMap(), QVariant()});
    // then records without identifier are left out and the others get the values' empty forms
    QCOMPARE(childIds(tree, QString()), QStringList({"S9", "C9"}));
    QCOMPARE(differingRoles(tree, "S9",
                            {{"nameRole", ""}, {"httpPortRole", 0}, {"useSSLRole", false}, {"nasPasswordRole", ""}}),
             QStringList());
    QCOMPARE(tree.data("C9", "diCountRole"), QVariant(0u));
    QCOMPARE(tree.data("C9", "supportEventsRole").toMap().value("suppPIR"), QVariant(false));

    // when: updates come with nulls, empty maps, non-records and empty camera ids
    ModelNotificationRecorder recorder(tree.getModel(), Model::nameRole);
    tree.updateCameraStatus({QVariant(), 5, QVariantMap(), QVariantMap{{"camUID", QVariant()}, {"connected", true}}});
    tree.updateCameraInfo({QVariantMap(), {{"idRole", ""}, {"connectedRole", true}}});
    tree.updateExternalDevice({QVariant(), QVariantMap{{"RelayPath", ""}}});
    tree.updateDiDoNames({QVariantMap{{"nodeID", "C9"}, {"diChangeList", "x"}, {"doChangeList", QVariant()}}});
    tree.updateServerPort({{"stationId", "S9"}, {"srvPorts", "not a list"}});
    tree.updateServerInfo("S9", {});
    tree.updateStationInfo(QVariantMap());
    tree.updateStationInfo(std::vector<QVariantMap>{QVariantMap()});
    tree.updateSkyrCloudRelayTimeout({}, true);
    tree.insertNewStationNodes({QVariant(), QVariantMap()});
    tree.insertNewCameraNodes({QVariant(), 1.5});
    tree.insertRemovedCameras(QString(), {QVariant()});
    tree.removeRemovedCameras(QString(), {QString()});
    tree.setDataMap("S9", {});
    // then the login station is untouched and nothing else moved
    QCOMPARE(recorder.lines(), QStringList());
    QCOMPARE(tree.data(QString(), "connectedRole"), QVariant(false));
    QCOMPARE(QorbLogUtlStub::messages(), QList<QByteArray>());
}

void TestDeviceTree::stationQueries()
{
    // given
    Fixture f;
    // then
    const auto info = [](const char* name, const char* id, const QVariant& type, const QVariantList& children) {
        return QVariantMap{{"name", name}, {"ip", ""}, {"relayPath", id}, {"type", type}, {"children", children}};
    };
    QCOMPARE(f.tree.getAllStationInfo()[0].toMap().value("children"),
             QVariant(QVariantList{info("Branch", "S1", "", {info("Depot", "S11", "", {})}),
                                   info("Annex", "S2", "", {})}));
    QCOMPARE(f.tree.getAllStationInfo()[0].toMap().value("ip"), QVariant("10.0.0.1"));
    QCOMPARE(f.tree.getAllStationNames(),
             QVariantMap({{"R", "Root"}, {"S1", "Branch"}, {"S11", "Depot"}, {"S2", "Annex"}}));
    QCOMPARE(f.tree.getAllStationRelayPath(false), QStringList({"R", "S2"}));
    QCOMPARE(f.tree.getAllStationRelayPath(true), QStringList({"R", "S1", "S11", "S2"}));
    // breadth-first: the sub-NVR's camera comes after the cameras one level up
    QCOMPARE(f.tree.getMacListInBfsOrder(), QStringList({"m1", "m2", "s1m1", "s2m", "s11m1"}));
    QCOMPARE(f.tree.getNvrInfoList("R"),
             QVariantList({QVariantMap{{"stationName", "Branch"}, {"cameraNumber", 2}, {"connected", true}},
                           QVariantMap{{"stationName", "Depot"}, {"cameraNumber", 1}, {"connected", false}}}));
    QCOMPARE(f.tree.getNvrInfoList("S9"), QVariantList());
    QCOMPARE(f.tree.getRootStationNameAndCameras(),
             QVariantMap({{"stationName", "Root"}, {"nodeID", "R"},
                          {"cameraList", QVariantList{QVariantMap{{"name", "Cam"}, {"camTypeRole", 0}},
                                                      QVariantMap{{"name", "Cam"}, {"camTypeRole", 0}}}}}));
    const QVariantList upgrade = f.tree.getUpgradeStationList();
    QCOMPARE(upgrade.size(), 4);
    QCOMPARE(upgrade[0], QVariant(QVariantMap{{"nodeUID", "R"}, {"name", "Root"}, {"ip", "10.0.0.1"},
                                              {"version", "2.1"}, {"isRedundant", false}, {"isTakenover", false},
                                              {"connected", true}, {"QELM", true}, {"isQELM2", false}}));
    QCOMPARE(upgrade[3].toMap().value("QELM"), QVariant(false));
    QVERIFY(f.tree.hasStationOrCameraInRootStation());
    const QVariantMap levels = f.tree.getAllValues("levelRole");
    QCOMPARE(levels.size(), 10);
    QCOMPARE(levels.value("R"), QVariant(0));
    QCOMPARE(levels.value("S11/C_1"), QVariant(3));

    // and a login station holding only removed cameras, still without identifier, has neither
    DeviceTree alone;
    QAbstractItemModelTester tester(alone.getModel(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    QVERIFY(!alone.hasStationOrCameraInRootStation());
    QCOMPARE(alone.getRootStationNameAndCameras(), QVariantMap());
    alone.insertLoginStation("Root", "10.0.0.1");
    alone.insertRemovedCameras(QString(), {QVariantMap{{"camID", "7"}}});
    QVERIFY(!alone.hasStationOrCameraInRootStation());
    QCOMPARE(childIds(alone, "_REMOVED_CAMERAS_"), QStringList({"7"}));
    QCOMPARE(alone.data("7", "parentStationIDRole"), QVariant(""));
}

void TestDeviceTree::cameraDescriptionsForOtherPlugins()
{
    // given
    Fixture f;
    // The channel is the number after the last "C_", at the very end of the identifier.
    f.tree.insertNewNodes("S2", {QVariantMap{{"nodeUID", "S2/C_3"}, {"nodeName", "Yard"}, {"suppLineCrossing", true}},
                                 camera("S2/CamX"), camera("S2/C_4a"), camera("C_1/C_23")});
    f.tree.setDataMap("S2/C_3", {{"suppMechPtzRole", true}, {"recordingRole", true}});
    f.tree.updateExternalDevice({QVariantMap{{"RelayPath", "S2"}, {"NodeID", "S2/C_4"}}});
    const DeviceTree::CapabilityTable table{
        {"ptz", "suppMechPtzRole"}, {"lineCrossing", "suppLineCrossing"}, {"unknown", "noSuchCapability"}};
    const QVariantMap yard{{"nodeID", "S2/C_3"}, {"name", "Yard"}, {"channel", 3}, {"ip", ""}, {"port", "80"},
                           {"brand", ""}, {"model", ""}, {"camType", 0}, {"connected", false}, {"recording", true},
                           {"capabilities", QVariantMap{{"ptz", true}, {"lineCrossing", true}, {"unknown", false}}}};
    // when
    const QVariantMap api = f.tree.getApiMap(table);
    const QVariantMap hm = f.tree.getHMApiMap(table);
    const QVariantMap talvix = f.tree.getTalvixApiMap(table);
    const QVariantList talvixList = f.tree.getTalvixApiList(table);
    // then
    QCOMPARE(api.keys(), QStringList({"R", "S1", "S11", "S2"}));
    const QVariantMap annex = api.value("S2").toMap();
    QCOMPARE(annex.value("stationName"), QVariant("Annex"));
    QCOMPARE(annex.value("cameras").toList().size(), 4);
    QCOMPARE(annex.value("cameras").toList().value(0), QVariant(yard));
    QCOMPARE(hm.value("S2").toMap().keys(), QStringList({"C_1/C_23", "S2/C_3", "S2/C_4a", "S2/CamX"}));
    QCOMPARE(hm.value("S2").toMap().value("S2/C_3"), QVariant(yard));
    QCOMPARE(talvix.value("S2").toMap().keys(), QStringList({"23", "3"}));
    QCOMPARE(talvix.value("S2").toMap().value("3"), QVariant(yard));
    QCOMPARE(talvix.value("S1").toMap().keys(), QStringList({"1", "12"}));
    QCOMPARE(talvixList.size(), 4);
    QCOMPARE(talvixList[3].toMap().value("stationID"), QVariant("S2"));
    QCOMPARE(talvixList[3].toMap().value("channels").toList().size(), 4);
}

QTEST_MAIN(TestDeviceTree)
#include "tst_devicetree.moc"
