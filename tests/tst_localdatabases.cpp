#include "PluginTopologyMgt.h"

#include <QtTest>

// Local databases reach playback through the location records, whether they
// are shown in the logical tree or in the standalone player's playlist.
class LocalDatabasesTest : public QObject
{
    Q_OBJECT
private:
    static QVariantMap database()
    {
        return {{"C_1", QVariantMap{{"camName", "c_Door"}}}, {"C_2", QVariantMap{{"camName", "Yard"}}},
                {"LocObjectMetaInfo", QVariantMap{{"version", 3}}}, {"broken", 5}};
    }

private slots:
    void standalonePlayerShowsEachDatabaseAsAFolder()
    {
        PluginTopologyMgt plugin;
        plugin.InitialPluginBase(nullptr, nullptr, nullptr);
        QObject owner;
        QAbstractItemModel* view = plugin.getStandalonePlayerLocalDBModel(&owner);
        QCOMPARE(view->parent(), &owner);
        QAbstractItemModelTester tester(view, QAbstractItemModelTester::FailureReportingMode::Fatal);
        QVERIFY(!plugin.hasLocalDBNodesInStandalonePlayer());

        plugin.addNewStandalonePlayerLocation(database(), "/rec/db1", "Export");
        plugin.addNewStandalonePlayerLocalDB(database(), "Export");

        QVERIFY(plugin.hasLocalDBNodesInStandalonePlayer());
        QCOMPARE(view->rowCount(), 1);
        const QModelIndex root = view->index(0, 0);
        QCOMPARE(view->rowCount(root), 2);
        QCOMPARE(view->rowCount(view->index(0, 0, root)), 2);
        // The location records know where each camera's recordings are.
        const QVariantMap located = plugin.locationInfo("/rec/db1/C_1");
        QCOMPARE(located.value("nameRole").toString(), "Door");
        QCOMPARE(located.value("locationRole").toString(), "/rec/db1");
        QCOMPARE(plugin.locationInfo("C_2").value("camIDRole").toString(), "C_2");
        QVERIFY(plugin.locationInfo("LocObjectMetaInfo").isEmpty());

        plugin.clearStandalonePlayerLocalDB();
        QVERIFY(!plugin.hasLocalDBNodesInStandalonePlayer());
        QCOMPARE(view->rowCount(view->index(0, 0)), 0);
    }

    void clearingLocalDatabasesKeepsStationLocations()
    {
        PluginTopologyMgt plugin;
        plugin.InitialPluginBase(nullptr, nullptr, nullptr);
        plugin.PluginServerConnected();
        plugin.switchLocationID("S_1/C_4", "Loc1");

        plugin.addNewLocation(database(), "/rec/db2", "Archive");
        QVERIFY(plugin.hasLocalDBNodes());
        QVERIFY(!plugin.locationInfo("/rec/db2/C_2").isEmpty());

        plugin.clearLocalDBLocations();
        QVERIFY(!plugin.hasLocalDBNodes());
        QVERIFY(plugin.locationInfo("/rec/db2/C_2").isEmpty());
        QCOMPARE(plugin.locationDataFrom("S_1/C_4", "locationRole").toString(), "Loc1");
    }
};

QTEST_MAIN(LocalDatabasesTest)
#include "tst_localdatabases.moc"
