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
        return {{QStringLiteral("C_1"), QVariantMap{{QStringLiteral("camName"), QStringLiteral("c_Door")}}},
                {QStringLiteral("C_2"), QVariantMap{{QStringLiteral("camName"), QStringLiteral("Yard")}}},
                {QStringLiteral("LocObjectMetaInfo"), QVariantMap{{QStringLiteral("version"), 3}}},
                {QStringLiteral("broken"), 5}};
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

        plugin.addNewStandalonePlayerLocation(database(), QStringLiteral("/rec/db1"), QStringLiteral("Export"));
        plugin.addNewStandalonePlayerLocalDB(database(), QStringLiteral("Export"));

        QVERIFY(plugin.hasLocalDBNodesInStandalonePlayer());
        QCOMPARE(view->rowCount(), 1);
        const QModelIndex root = view->index(0, 0);
        QCOMPARE(view->rowCount(root), 2);
        QCOMPARE(view->rowCount(view->index(0, 0, root)), 2);
        // The location records know where each camera's recordings are.
        const QVariantMap located = plugin.locationInfo(QStringLiteral("/rec/db1/C_1"));
        QCOMPARE(located.value(QStringLiteral("nameRole")).toString(), QStringLiteral("Door"));
        QCOMPARE(located.value(QStringLiteral("locationRole")).toString(), QStringLiteral("/rec/db1"));
        QCOMPARE(plugin.locationInfo(QStringLiteral("C_2")).value(QStringLiteral("camIDRole")).toString(),
                 QStringLiteral("C_2"));
        QVERIFY(plugin.locationInfo(QStringLiteral("LocObjectMetaInfo")).isEmpty());

        plugin.clearStandalonePlayerLocalDB();
        QVERIFY(!plugin.hasLocalDBNodesInStandalonePlayer());
        QCOMPARE(view->rowCount(view->index(0, 0)), 0);
    }

    void clearingLocalDatabasesKeepsStationLocations()
    {
        PluginTopologyMgt plugin;
        plugin.InitialPluginBase(nullptr, nullptr, nullptr);
        plugin.PluginServerConnected();
        plugin.switchLocationID(QStringLiteral("S_1/C_4"), QStringLiteral("Loc1"));

        plugin.addNewLocation(database(), QStringLiteral("/rec/db2"), QStringLiteral("Archive"));
        QVERIFY(plugin.hasLocalDBNodes());
        QVERIFY(!plugin.locationInfo(QStringLiteral("/rec/db2/C_2")).isEmpty());

        plugin.clearLocalDBLocations();
        QVERIFY(!plugin.hasLocalDBNodes());
        QVERIFY(plugin.locationInfo(QStringLiteral("/rec/db2/C_2")).isEmpty());
        QCOMPARE(plugin.locationDataFrom(QStringLiteral("S_1/C_4"), QStringLiteral("locationRole")).toString(),
                 QStringLiteral("Loc1"));
    }
};

QTEST_MAIN(LocalDatabasesTest)
#include "tst_localdatabases.moc"
