#include "DeviceTree.h"
#include "QorbLogUtlStub.h"
#include "StandardFailoverControl.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

using Model = StandardTopologyModel;
using Tester = QAbstractItemModelTester;

namespace {

QVariantMap station(const QString& id, const QString& ip, bool redundant = false)
{
    return {{"nodeUID", id}, {"nodeName", id}, {"nodeType", "Station"}, {"nodeIP", ip},
            {"isRedundantServer", redundant}};
}

// As the insertion broadcasts announce them, one at a time.
QVariantList announcedStation(const QString& id, const QString& relayPath, const QString& ip)
{
    return {QVariantMap{{"stationUID", id}, {"relayPath", relayPath}, {"stationIP", ip}, {"isRedundantServer", true}}};
}

QVariantMap camera(const QString& id)
{
    return {{"nodeUID", id}, {"nodeName", id}, {"nodeType", "Camera"}, {"nodeIP", "cam:" + id}};
}

QVariant entry(const QString& name, const QVariant& status) { return QVariantMap{{"Name", name}, {"Status", status}}; }
QVariant running(const QString& name, const QString& server, const QString& text = "Running")
{
    return entry(name, QVariantMap{{"#text", text}, {"@Server", server}});
}
QVariant statusReply(const QVariant& e) { return QVariantMap{{"GetFailoverStatusRes", e}}; }
QVariant changeEvent(const QVariant& e) { return QVariantMap{{"FailoverStatusChg", e}}; }

QString takenOverText(const StandardFailoverControl& control)
{
    QStringList pairs;
    const QMap<QString, QString> map = control.takenOverMap();
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        pairs << it.key() + ">" + it.value();
    return pairs.join(',');
}

// R: R/C_1, S_1 (S_1/C_1, S_1/C_2, S_1/S_3 (S_1/S_3/C_1, S_1/S_3/C_2, S_1/S_3/S_4 (S_1/S_3/S_4/C_1))),
// and the redundant servers S_12 and S_13. Both views are built and checked while the tree grows.
struct Fixture
{
    Fixture()
    {
        for (StandardFailoverControl* control : controls()) {
            control->setSourceModel(tree.getModel());
            testers.push_back(std::make_unique<Tester>(control, Tester::FailureReportingMode::Fatal));
        }
        tree.insertLoginStation("s_Root", "10.0.0.1");
        tree.setDataMap(QString(), {{"idRole", "R"}, {"nodeIDRole", "R"}});
        tree.insertNewNodes("R", {camera("R/C_1"), station("S_1", "10.0.1.1"), station("S_12", "10.0.12.1", true),
                                  station("S_13", "10.0.13.1", true)});
        tree.insertNewNodes("S_1", {camera("S_1/C_1"), camera("S_1/C_2"), station("S_1/S_3", "10.0.3.1")});
        tree.insertNewNodes("S_1/S_3", {camera("S_1/S_3/C_1"), camera("S_1/S_3/C_2"), station("S_1/S_3/S_4", "4")});
        tree.insertNewNodes("S_1/S_3/S_4", {camera("S_1/S_3/S_4/C_1")});
        allRecorder.clear();
        hidingRecorder.clear();
        QorbLogUtlStub::clear();
    }
    QList<StandardFailoverControl*> controls() { return {&all, &withoutRedundant}; }
    QModelIndex node(StandardFailoverControl& control, const QString& id)
    {
        return control.match(QModelIndex(), Model::idRole, id).value(0);
    }
    DeviceTree tree;
    StandardFailoverControl all{nullptr};
    RowFilterCounter<StandardFailoverControl> withoutRedundant{false, nullptr};
    std::vector<std::unique_ptr<Tester>> testers;
    ModelNotificationRecorder allRecorder{&all, Model::idRole};
    ModelNotificationRecorder hidingRecorder{&withoutRedundant, Model::idRole};
};

const QString kAllRoles = "roles 258,263,365,366";

// The notifications of S_1/S_3's subtree, one per run of rows.
QStringList s3Subtree(const QString& roles)
{
    return {"changed S_1/S_3 " + roles, "changed S_1/S_3/C_1..S_1/S_3/S_4 " + roles,
            "changed S_1/S_3/S_4/C_1 " + roles};
}

} // namespace

class TestStandardFailoverControl : public QObject
{
    Q_OBJECT

private slots:
    void parsesStatusEntries_data();
    void parsesStatusEntries();
    void rewritesTakenOverSubtree();
    void notifiesChangedSubtreesOnly_data();
    void notifiesChangedSubtreesOnly();
    void followsRedundantServerRowAndRenames();
    void hidesReportedRedundantServers();
    void announcesAroundTheUpdate_data();
    void announcesAroundTheUpdate();
    void redundantServerListReply();
    void withoutSourceModel();
};

void TestStandardFailoverControl::parsesStatusEntries_data()
{
    QTest::addColumn<QVariantList>("payloads");
    QTest::addColumn<QStringList>("listed");
    QTest::addColumn<QString>("takenOver");
    QTest::addColumn<int>("wrongData");
    const QVariant run = statusReply(running("F_12", "F_3"));
    QTest::newRow("reply") << QVariantList{run} << QStringList{"S_12"} << "S_12>S_3" << 0;
    QTest::newRow("every F_ replaced") << QVariantList{statusReply(running("F_1F_2", "F_1/F_3"))}
                                       << QStringList{"S_1S_2"} << "S_1S_2>S_1/S_3" << 0;
    QTest::newRow("going to run is not running")
            << QVariantList{run, statusReply(running("F_12", "F_3", "GoingToRun"))} << QStringList{"S_12"} << "" << 0;
    QTest::newRow("plain running, no server") << QVariantList{statusReply(entry("F_12", "Running"))}
                                              << QStringList{"S_12"} << "S_12>" << 0;
    QTest::newRow("listed once, in order")
            << QVariantList{run, changeEvent(running("F_13", "F_1")), statusReply(entry("S_12", "Stopped")), run}
            << QStringList{"S_12", "S_13"} << "S_12>S_3,S_13>S_1" << 0;
    const QVariantList malformed{QVariant(),
                                 QVariantList{run},
                                 QVariantMap{{"Other", running("F_1", "F_2")}},
                                 statusReply(QVariantList{running("F_1", "F_2")}),
                                 statusReply(QVariantMap{{"Status", "Running"}}),
                                 changeEvent(QVariantMap{{"Name", QVariantList{"F_1"}}, {"Status", "Running"}}),
                                 "text"};
    QTest::newRow("malformed") << malformed << QStringList() << "" << int(malformed.size());
}

void TestStandardFailoverControl::parsesStatusEntries()
{
    QFETCH(QVariantList, payloads);
    QFETCH(QStringList, listed);
    QFETCH(QString, takenOver);
    QFETCH(int, wrongData);
    // given
    Fixture f;
    // when
    for (const QVariant& payload : std::as_const(payloads))
        f.all.UpdateStatus(payload);
    // then
    QCOMPARE(f.all.redundantServerList(), listed);
    QCOMPARE(takenOverText(f.all), takenOver);
    QCOMPARE(QorbLogUtlStub::messages().count("StandardFailoverControl::UpdateStatus, wrong data"), wrongData);
    QCOMPARE(int(QorbLogUtlStub::messages().size()), wrongData);
    QVERIFY(!f.all.IsStationTakenOver(QString()));
}

void TestStandardFailoverControl::rewritesTakenOverSubtree()
{
    // given
    Fixture f;
    // when
    for (StandardFailoverControl* control : f.controls())
        control->UpdateStatus(statusReply(running("F_12", "F_3")));
    // then the station and all below it read the server's name and address, one by one and in the
    // whole-node map; its parent, a sibling camera and the server itself keep their own
    const QMap<QString, QString> ipOf{{"S_1/S_3", "10.0.12.1"}, {"S_1/S_3/S_4/C_1", "10.0.12.1"},
                                      {"S_1", "10.0.1.1"}, {"S_1/C_1", "cam:S_1/C_1"}, {"S_12", "10.0.12.1"}};
    for (StandardFailoverControl* control : f.controls()) {
        for (auto it = ipOf.cbegin(); it != ipOf.cend(); ++it) {
            const QModelIndex node = f.node(*control, it.key());
            if (!control->showRedundantServer() && it.key() == "S_12")
                continue;
            const bool taken = it.key().startsWith("S_1/S_3");
            QVERIFY(node.isValid());
            QCOMPARE(node.data(Model::takenOverRole).toBool(), taken);
            QCOMPARE(node.data(Model::takenOverIdRole), taken ? QVariant("S_12") : QVariant());
            QCOMPARE(node.data(Model::ipRole).toString(), it.value());
            const QVariantMap whole = node.data(Model::dataRole).toMap();
            QCOMPARE(whole.value("ipRole").toString(), it.value());
            QCOMPARE(whole.value("takenOverRole"), QVariant(taken));
            QCOMPARE(whole.value("takenOverIdRole"), QVariant(QString(taken ? "S_12" : "")));
            QCOMPARE(whole.value("idRole").toString(), it.key());
            QCOMPARE(control->IsStationTakenOver(it.key()), it.key() == "S_1/S_3");
        }
    }
}

void TestStandardFailoverControl::notifiesChangedSubtreesOnly_data()
{
    QTest::addColumn<QVariantList>("before");
    QTest::addColumn<QVariantList>("entries");
    QTest::addColumn<QStringList>("lines");
    const QVariant run12 = running("F_12", "F_3");
    QTest::newRow("begins") << QVariantList{} << QVariantList{run12} << s3Subtree(kAllRoles);
    QTest::newRow("ends") << QVariantList{run12} << QVariantList{entry("F_12", "Standby")} << s3Subtree(kAllRoles);
    QTest::newRow("passes to another server") << QVariantList{run12, running("F_13", "F_3")}
                                              << QVariantList{entry("F_12", "Standby")}
                                              << s3Subtree("roles 258,263,366");
    QTest::newRow("server without a row keeps the address")
            << QVariantList{} << QVariantList{running("F_99", "F_3")} << s3Subtree("roles 258,365,366");
    QTest::newRow("repeated status") << QVariantList{run12} << QVariantList{run12} << QStringList();
    QTest::newRow("running for nobody") << QVariantList{} << QVariantList{entry("F_12", "Running")} << QStringList();
    QTest::newRow("station taken over in its own right is left out")
            << QVariantList{running("F_13", "F_4")} << QVariantList{running("F_12", "F_1")}
            << QStringList{"changed S_1 " + kAllRoles, "changed S_1/C_1..S_1/S_3 " + kAllRoles,
                           "changed S_1/S_3/C_1..S_1/S_3/C_2 " + kAllRoles};
}

void TestStandardFailoverControl::notifiesChangedSubtreesOnly()
{
    QFETCH(QVariantList, before);
    QFETCH(QVariantList, entries);
    QFETCH(QStringList, lines);
    // given
    Fixture f;
    f.all.UpdateStatusList(before);
    f.allRecorder.clear();
    // when
    f.all.UpdateStatusList(entries);
    // then
    QCOMPARE(f.allRecorder.lines(), lines);
}

void TestStandardFailoverControl::followsRedundantServerRowAndRenames()
{
    // given a take-over by a server the tree does not hold yet
    Fixture f;
    f.all.UpdateStatus(statusReply(running("F_99", "F_3")));
    const QPersistentModelIndex watched = f.node(f.all, "S_1/S_3/C_1");
    const QStringList addressLines = s3Subtree("roles 258,263");
    QCOMPARE(watched.data(Model::ipRole).toString(), "cam:S_1/S_3/C_1");
    // when the server arrives, then its address moves in
    f.allRecorder.clear();
    f.tree.insertNewStationNodes(announcedStation("S_1/S_99", "S_1", "10.0.99.1"));
    QCOMPARE(f.allRecorder.lines(), QStringList({"insert 3..3 under S_1", "inserted 3..3 under S_1"}) + addressLines);
    QCOMPARE(watched.data(Model::ipRole).toString(), "10.0.99.1");
    // when its address changes
    f.allRecorder.clear();
    f.tree.setData("S_1/S_99", Model::ipRole, "10.0.99.2");
    QCOMPARE(f.allRecorder.lines(), QStringList("changed S_1/S_99 roles 263") + addressLines);
    QCOMPARE(f.node(f.all, "S_1/S_3").data(Model::dataRole).toMap().value("ipRole").toString(), "10.0.99.2");
    // when it leaves
    f.allRecorder.clear();
    f.tree.removeNodes({"S_1/S_99"});
    QCOMPARE(f.allRecorder.lines(), QStringList({"remove 3..3 under S_1", "removed 3..3 under S_1"}) + addressLines);
    QCOMPARE(watched.data(Model::ipRole).toString(), "cam:S_1/S_3/C_1");
    // when a station is renamed into a taken-over identifier
    f.all.UpdateStatus(statusReply(running("F_13", "F_7")));
    f.allRecorder.clear();
    f.tree.setDataMap("S_1/S_3/S_4", {{"idRole", "S_1/S_3/S_7"}});
    QCOMPARE(f.allRecorder.lines(), QStringList({"changed S_1/S_3/S_7 roles 257", "changed S_1/S_3/S_7 " + kAllRoles,
                                                 "changed S_1/S_3/S_4/C_1 " + kAllRoles}));
    QCOMPARE(f.node(f.all, "S_1/S_3/S_4/C_1").data(Model::takenOverIdRole).toString(), "S_13");
    // when stations come and go under a take-over, new rows read taken over at once
    f.tree.insertNewCameraNodes({QVariantMap{{"nodeUID", "S_1/S_3/S_7/C_9"}, {"parentStationID", "S_1/S_3/S_7"}}});
    QVERIFY(f.node(f.all, "S_1/S_3/S_7/C_9").data(Model::takenOverRole).toBool());
    f.tree.removeNodes({"S_1/S_3"});
    f.tree.insertNewStationNodes(announcedStation("S_1/S_3", "S_1", "10.0.3.1"));
    QCOMPARE(f.node(f.all, "S_1/S_3").data(Model::takenOverIdRole).toString(), "S_99");
}

void TestStandardFailoverControl::hidesReportedRedundantServers()
{
    // given
    Fixture f;
    QVERIFY(f.node(f.withoutRedundant, "S_12").isValid());
    // when two servers report in one list, then one re-filter hides both
    f.withoutRedundant.UpdateStatusList({running("F_12", "F_3"), entry("F_13", "Standby")});
    QCOMPARE(f.hidingRecorder.lines(),
             QStringList({"remove 2..3 under R", "removed 2..3 under R"}) + s3Subtree(kAllRoles));
    QVERIFY(!f.node(f.withoutRedundant, "S_12").isValid());
    // when the take-over ends or the connection is lost, then they stay hidden
    f.withoutRedundant.UpdateStatus(changeEvent(entry("F_12", "Standby")));
    f.withoutRedundant.clear();
    QCOMPARE(f.withoutRedundant.rowCount(f.node(f.withoutRedundant, "R")), 2);
    // when the flag is set to its value, nothing is re-filtered; when it flips, they return
    f.hidingRecorder.clear();
    f.withoutRedundant.rowsFiltered = 0;
    f.withoutRedundant.setShowRedundantServer(false);
    QCOMPARE(f.withoutRedundant.rowsFiltered, 0);
    f.withoutRedundant.setShowRedundantServer(true);
    QCOMPARE(f.hidingRecorder.lines(), QStringList({"insert 2..3 under R", "inserted 2..3 under R"}));
    // the view that shows them never hid anything
    f.all.UpdateStatusList({running("F_12", "F_3"), entry("F_13", "Standby")});
    QVERIFY(f.node(f.all, "S_13").isValid());
    // match on idRole is the exact identifier look-up; other roles read the rewritten data
    QVERIFY(f.all.match(QModelIndex(), Model::idRole, "S_1/S").isEmpty());
    QStringList takenOverIds;
    const QModelIndex first = f.all.index(0, 0);
    for (const QModelIndex& node : f.all.match(first, Model::takenOverIdRole, "S_12", -1,
                                               Qt::MatchExactly | Qt::MatchRecursive))
        takenOverIds << node.data(Model::idRole).toString();
    QCOMPARE(takenOverIds, QStringList({"S_1/S_3", "S_1/S_3/C_1", "S_1/S_3/C_2", "S_1/S_3/S_4", "S_1/S_3/S_4/C_1"}));
    // when cleared, every take-over ends and is announced to views; the list stays
    f.allRecorder.clear();
    f.all.clear();
    QCOMPARE(f.allRecorder.lines(), s3Subtree(kAllRoles));
    QVERIFY(!f.all.IsStationTakenOver("S_3"));
    // when the device tree goes first on disconnection, then clearing notifies nothing more
    f.all.UpdateStatus(statusReply(running("F_12", "F_3")));
    f.tree.clear();
    f.allRecorder.clear();
    f.all.clear();
    QCOMPARE(f.allRecorder.lines(), QStringList());
    QCOMPARE(f.all.redundantServerList(), QStringList({"S_12", "S_13"}));
}

void TestStandardFailoverControl::announcesAroundTheUpdate_data()
{
    QTest::addColumn<QVariantList>("before");
    QTest::addColumn<QVariant>("payload");
    QTest::addColumn<QStringList>("emitted");
    const QVariant run12 = running("F_12", "F_3");
    QTest::newRow("take-over, server as received")
            << QVariantList{} << changeEvent(run12)
            << QStringList{"taken over F_3 true []", "status F_12 Running F_3 [S_12>S_3]"};
    QTest::newRow("release by F_ name") << QVariantList{run12} << changeEvent(entry("F_12", "Standby"))
                                        << QStringList{"taken over S_3 false [S_12>S_3]", "status F_12 Standby  []"};
    QTest::newRow("capitals: running for the view, not for listeners")
            << QVariantList{} << changeEvent(running("F_12", "F_3", "RUNNING"))
            << QStringList{"taken over F_3 false []", "status F_12 RUNNING F_3 [S_12>S_3]"};
    QTest::newRow("idle server") << QVariantList{} << changeEvent(entry("F_12", "Standby"))
                                 << QStringList{"status F_12 Standby  []"};
    QTest::newRow("no entry") << QVariantList{run12} << QVariant(QVariantMap{{"Other", run12}}) << QStringList();
    QTest::newRow("entry is a list") << QVariantList{run12} << changeEvent(QVariantList{run12}) << QStringList();
}

void TestStandardFailoverControl::announcesAroundTheUpdate()
{
    QFETCH(QVariantList, before);
    QFETCH(QVariant, payload);
    QFETCH(QStringList, emitted);
    // given
    Fixture f;
    f.all.UpdateStatusList(before);
    // Each line ends with the state the control holds while the signal is delivered.
    QStringList lines;
    const auto state = [&] { return "[" + takenOverText(f.all) + "]"; };
    connect(&f.all, &StandardFailoverControl::stationTakenOverChanged, &f.all, [&](const QString& id, bool taken) {
        lines << QString("taken over %1 %2 %3").arg(id, taken ? "true" : "false", state());
    });
    connect(&f.all, &StandardFailoverControl::failoverStatusChanged, &f.all,
            [&](const QString& name, const QString& status, const QString& active) {
                lines << QString("status %1 %2 %3 %4").arg(name, status, active, state());
            });
    // when the event handler's sequence runs
    f.all.announceTakenOverChange(payload);
    f.all.UpdateStatus(payload);
    f.all.announceFailoverStatusChange(payload);
    // then
    QCOMPARE(lines, emitted);
}

void TestStandardFailoverControl::redundantServerListReply()
{
    // given
    Fixture f;
    f.all.UpdateStatus(statusReply(running("F_13", "F_1")));
    QSignalSpy takenOver(&f.all, &StandardFailoverControl::stationTakenOverChanged);
    const QVariantList payload{running("F_12", "F_3"), 5, entry("F_13", "Standby"), "text"};
    // when
    const QList<QVariant> entries = StandardFailoverControl::statusEntryList(payload);
    f.all.announceTakenOverChanges(entries);
    f.all.UpdateStatusList(entries);
    // then every announcement was read against the state before the list
    QCOMPARE(takenOver.size(), 2);
    QCOMPARE(takenOver.at(0), QVariantList({"F_3", true}));
    QCOMPARE(takenOver.at(1), QVariantList({"S_1", false}));
    QCOMPARE(takenOverText(f.all), "S_12>S_3");
    QCOMPARE(QorbLogUtlStub::messages().count("StandardFailoverControl::UpdateStatusList, wrong data"), 2);
    // a lone entry is a list of one; anything else is no list
    QCOMPARE(StandardFailoverControl::statusEntryList(running("F_12", "F_3")), QVariantList{running("F_12", "F_3")});
    QVERIFY(StandardFailoverControl::statusEntryList(QVariant()).isEmpty());
    QVERIFY(StandardFailoverControl::statusEntryList("F_12").isEmpty());
}

void TestStandardFailoverControl::withoutSourceModel()
{
    // given
    StandardFailoverControl control;
    control.UpdateStatus(statusReply(running("F_12", "F_3")));
    QorbLogUtlStub::clear();
    // when
    const QVariant value = control.data(QModelIndex(), Model::takenOverRole);
    const QModelIndexList found = control.match(QModelIndex(), Model::idRole, "S_3");
    // then
    QVERIFY(!value.isValid());
    QVERIFY(found.isEmpty());
    QCOMPARE(QorbLogUtlStub::messages(), QList<QByteArray>({"StandardFailoverControl::data, source model not set",
                                                           "StandardFailoverControl::match, source model not set"}));
    QVERIFY(control.IsStationTakenOver("S_1/S_3"));
}

QTEST_MAIN(TestStandardFailoverControl)
#include "tst_standardfailovercontrol.moc"
