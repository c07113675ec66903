#include "DeviceModelFactory.h"
#include "DeviceTree.h"
#include "EventDeviceModel.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

#include "TestSupport.h"

using Model = StandardTopologyModel;

namespace {

using DeviceRecords::camera;
using DeviceRecords::station;

// R "Root": R/C_1 "Gate" (line crossing), R/C_2 "Lobby", R/C_3 "IO box" (external
// device, line crossing), S1 "Branch" (brute-force station: S1/C_1 "Yard" (cyber
// attack), S1/C_2 "Dock"), S2 "Annex" (S2/C_1 "Hall" (loitering), S2/C_2 "Siren"
// (external device), a removed camera), S3 "Cloud" (brute-force station, no cameras).
void buildInstallation(DeviceTree& tree)
{
    tree.insertLoginStation("Root", "10.0.0.1");
    tree.setDataMap(QString(), {{"idRole", "R"}, {"nodeIDRole", "R"}});
    tree.insertNewNodes("R", {camera("R/C_1", "Gate"), camera("R/C_2", "Lobby"), camera("R/C_3", "IO box"),
                              station("S1", "Branch"), station("S2", "Annex"), station("S3", "Cloud")});
    tree.insertNewNodes("S1", {camera("S1/C_1", "Yard"), camera("S1/C_2", "Dock")});
    tree.insertNewNodes("S2", {camera("S2/C_1", "Hall"), camera("S2/C_2", "Siren")});
    tree.insertRemovedCameras("S2", {QVariantMap{{"camID", "old"}, {"camName", "Old"}}});
    const QMap<QString, QVariantMap> capabilities = {{"R/C_1", {{"suppLineCrossing", true}}},
                                                      {"R/C_3", {{"suppLineCrossing", true}}},
                                                      {"S1/C_1", {{"suppCyberAttack", true}}},
                                                      {"S2/C_1", {{"suppLoitering", true}}},
                                                      {"S2/old", {{"suppLoitering", true}}}};
    for (auto it = capabilities.cbegin(); it != capabilities.cend(); ++it)
        tree.setData(it.key(), Model::supportEventsRole, it.value());
    for (const QString& device : {QStringLiteral("R/C_3"), QStringLiteral("S2/C_2")})
        tree.setData(device, Model::camTypeRole, int(Model::CameraExternalDevice));
    for (const QString& station : {QStringLiteral("S1"), QStringLiteral("S3")})
        tree.setData(station, Model::bruteForceAttackCapRole, true);
}

EventDeviceModel* create(const QString& kind, QAbstractItemModel* source, QObject* parent)
{
    if (kind == "smartVCA")
        return DeviceModelFactory::createSmartVCADeviceModel(source, parent);
    if (kind == "thermal")
        return DeviceModelFactory::createThermalDeviceModel(source, parent);
    if (kind == "trendMicro")
        return DeviceModelFactory::createTrendMicroDeviceModel(source, parent);
    return DeviceModelFactory::createGeneralDeviceModel(source, parent);
}

// Rows depth-first; a node shown only for what lies below it is in brackets.
QStringList shownRows(const QAbstractItemModel& model, const QModelIndex& parent = QModelIndex())
{
    QStringList rows;
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, 0, parent);
        const QString id = index.data(Model::idRole).toString();
        rows << (index.data(Model::dataRole).toMap().value("supportedDevice").toBool() ? id : "[" + id + "]")
             << shownRows(model, index);
    }
    return rows;
}

struct Fixture
{
    explicit Fixture(const QString& kind)
    {
        buildInstallation(tree);
        model = create(kind, tree.getModel(), &owner);
        tester = std::make_unique<QAbstractItemModelTester>(model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    }
    DeviceTree tree;
    QObject owner;
    EventDeviceModel* model = nullptr;
    std::unique_ptr<QAbstractItemModelTester> tester;
};

const QStringList kGeneral = {"[R]", "R/C_1", "R/C_2", "[S2]", "S2/C_1", "[S1]", "S1/C_2", "S1/C_1"};

} // namespace

class TestEventDeviceModel : public QObject
{
    Q_OBJECT

private slots:
    void showsSupportedDevices_data();
    void showsSupportedDevices();
    void presentsUnsupportedNodesAsGroups();
    void followsTreeChanges();
};

void TestEventDeviceModel::showsSupportedDevices_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("search");
    QTest::addColumn<QStringList>("shown");
    QTest::newRow("general: cameras but external devices") << "general" << QString() << kGeneral;
    QTest::newRow("smart analytics: cameras with one capability")
        << "smartVCA" << QString() << QStringList{"[R]", "R/C_1", "R/C_3", "[S2]", "S2/C_1"};
    QTest::newRow("thermal: no camera qualifies before its information") << "thermal" << QString() << QStringList();
    QTest::newRow("cyber security: stations with a capability, even without cameras")
        << "trendMicro" << QString() << QStringList{"[R]", "S1", "S1/C_1", "S3"};
    QTest::newRow("search by camera name") << "general" << "Yard" << QStringList{"[R]", "[S1]", "S1/C_1"};
    QTest::newRow("search is a regular expression") << "general" << "^L" << QStringList{"[R]", "R/C_2"};
    QTest::newRow("a station's name shows its supported cameras")
        << "general" << "Annex" << QStringList{"[R]", "[S2]", "S2/C_1"};
    QTest::newRow("a matching station that is not supported shows nothing by itself")
        << "trendMicro" << "Annex" << QStringList();
}

void TestEventDeviceModel::showsSupportedDevices()
{
    QFETCH(QString, kind);
    QFETCH(QString, search);
    QFETCH(QStringList, shown);
    // given
    Fixture f(kind);
    // when
    f.model->setFilterRegularExpression(search);
    // then
    QCOMPARE(shownRows(*f.model), shown);
}

void TestEventDeviceModel::presentsUnsupportedNodesAsGroups()
{
    // given
    Fixture f("trendMicro");
    const QModelIndex root = f.model->index(0, 0);
    const QModelIndex branch = f.model->index(0, 0, root);
    // then an unsupported station reads as kind 3 in both roles, a supported one as itself
    QCOMPARE(root.data(Model::nodeTypeRole), QVariant(EventDeviceModel::UnsupportedNode));
    const QVariantMap rootMap = root.data(Model::dataRole).toMap();
    QCOMPARE(rootMap.value("nodeTypeRole"), QVariant(EventDeviceModel::UnsupportedNode));
    QCOMPARE(rootMap.value("supportedDevice"), QVariant(false));
    QCOMPARE(rootMap.value("nameRole"), QVariant("Root"));
    QCOMPARE(rootMap.size(), f.tree.getModel()->index(0, 0).data(Model::dataRole).toMap().size() + 1);
    QCOMPARE(branch.data(Model::nodeTypeRole), QVariant(int(Model::StationNode)));
    QCOMPARE(branch.data(Model::dataRole).toMap().value("supportedDevice"), QVariant(true));
    QVERIFY(!f.model->data(QModelIndex(), Model::dataRole).isValid());
    // when a group station appears beside supported ones, then the order uses the
    // source kinds, not the presented ones: stations by name
    f.tree.setDataMap("S2/C_2", {{"supportEventsRole", QVariantMap{{"suppQuarantineEvent", true}}}});
    QCOMPARE(shownRows(*f.model), (QStringList{"[R]", "[S2]", "S2/C_2", "S1", "S1/C_1", "S3"}));
}

void TestEventDeviceModel::followsTreeChanges()
{
    // given a cyber-security view
    Fixture f("trendMicro");
    QSignalSpy changed(f.model, &QAbstractItemModel::dataChanged);
    // when a shown station loses its capability, then it stays as a group and says so
    f.tree.setDataMap("S1", {{"bruteForceAttackCapRole", false}});
    QCOMPARE(shownRows(*f.model), (QStringList{"[R]", "[S1]", "S1/C_1", "S3"}));
    const QModelIndex branch = f.model->index(0, 0, f.model->index(0, 0));
    bool announced = false;
    for (const QList<QVariant>& signal : std::as_const(changed)) {
        const QList<int> roles = signal.at(2).value<QList<int>>();
        announced |= signal.at(0).toModelIndex() == branch && roles.contains(Model::nodeTypeRole)
            && roles.contains(Model::dataRole);
    }
    QVERIFY(announced);
    // when a camera below a hidden station gains a capability, then it shows with its station
    f.tree.setDataMap("S2/C_2", {{"supportEventsRole", QVariantMap{{"suppQuarantineEvent", true}}}});
    QCOMPARE(shownRows(*f.model), (QStringList{"[R]", "[S2]", "S2/C_2", "[S1]", "S1/C_1", "S3"}));

    // given a search in the general view
    Fixture general("general");
    general.model->setFilterRegularExpression("Dock");
    QCOMPARE(shownRows(*general.model), (QStringList{"[R]", "[S1]", "S1/C_2"}));
    // when a shown station is renamed to match, then all its supported cameras show
    general.tree.updateNodeName("S1", "Dockyard");
    QCOMPARE(shownRows(*general.model), (QStringList{"[R]", "[S1]", "S1/C_2", "S1/C_1"}));
    // when a hidden station is renamed to match, then it shows with its supported cameras
    general.tree.updateNodeName("S2", "Docks");
    QCOMPARE(shownRows(*general.model), (QStringList{"[R]", "[S2]", "S2/C_1", "[S1]", "S1/C_2", "S1/C_1"}));

    // given a view that counts the rows it filters
    RowFilterCounter<EventDeviceModel> counting;
    QAbstractItemModelTester tester(&counting, QAbstractItemModelTester::FailureReportingMode::Fatal);
    counting.setSourceModel(general.tree.getModel());
    counting.rowsFiltered = 0;
    // when status changes arrive, then no row is filtered beyond the changed ones
    for (const QString& id : QStringList{"R/C_1", "S1/C_2", "S2/C_1"})
        general.tree.updateCameraStatus({QVariantMap{{"camUID", id}, {"connected", true}, {"recording", true}}});
    QVERIFY2(counting.rowsFiltered <= 3, qPrintable(QString::number(counting.rowsFiltered)));
}

QTEST_MAIN(TestEventDeviceModel)
#include "tst_eventdevicemodel.moc"
