#include "PluginTopologyMgt.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

#include <QtTest>

// What the views get from the plug-in: new proxies owned by the caller over
// the one device model and the logical trees, and the failover state that
// follows the servers.
class DeviceViewsPluginTest : public QObject
{
    Q_OBJECT
private:
    struct Connection
    {
        Connection()
        {
            loaded = installation.loadFile(QString::fromLocal8Bit(qgetenv("TOPOLOGY_EXAMPLES_DIR"))
                                           + "/sample-installation.json");
            installation.attach(&framework);
            framework.setPlugin(&plugin);
            plugin.InitialPluginBase(nullptr, nullptr, &framework);
        }
        ~Connection() { installation.detach(); }
        void failoverChange(const char* redundantServer, const QVariant& status)
        {
            const QVariantMap change{{"Name", redundantServer}, {"Status", status}};
            framework.broadcast("FailoverStatusChange", QVariantMap{{"FailoverStatusChg", change}});
        }
        bool loaded = false;
        SimulatedFramework framework;
        SimulatedInstallation installation;
        PluginTopologyMgt plugin;
    };

    static QVariantMap runningFor(const char* server) { return {{"#text", "Running"}, {"@Server", server}}; }

private slots:
    void gettersBuildProxiesOwnedByTheCallerThatFollowBothTrees()
    {
        Connection given;
        QVERIFY(given.loaded);
        QObject owner;
        const QList<const char*> getters{"getFilteredStandardTopologyModel", "getTrendMicroDeviceModel",
                                         "getSmartVCADeviceModel", "getThermalDeviceModel", "getGeneralDeviceModel",
                                         "getCountingCameraDeviceTreeModel", "getFailoverTopologyModel",
                                         "getFailoverTopologyModelWithoutRedundantServer"};
        QList<QAbstractItemModel*> views;
        for (const char* getter : getters) {
            for (int call = 0; call < 2; ++call) {
                QAbstractItemModel* model = nullptr;
                QVERIFY(QMetaObject::invokeMethod(&given.plugin, getter, Q_RETURN_ARG(QAbstractItemModel*, model),
                                                  Q_ARG(QObject*, &owner)));
                QVERIFY2(model, getter);
                views << model;
            }
        }
        QCOMPARE(QSet<QAbstractItemModel*>(views.cbegin(), views.cend()).size(), getters.size() * 2);
        QAbstractItemModel* full = given.plugin.getFullLogicalTreeModel();
        QAbstractItemModel* valid = given.plugin.getLogicalTreeModel();
        QVERIFY(full && valid && full != valid);
        QCOMPARE(given.plugin.getFullLogicalTreeModel(), full);
        QCOMPARE(given.plugin.getLogicalTreeModel(), valid);
        QAbstractItemModel* flatList =
            given.plugin.getTreeToListProxyModel(&owner, given.plugin.getStandardTopologyModel());
        QAbstractItemModel* logical = given.plugin.getLogicalTreeSortFilterModel(&owner);
        views << flatList << logical << given.plugin.getLogicalTreeAdvancedSortFilterModel(&owner)
              << given.plugin.getLogicalTreeAdvancedSortFilterModelWithIODevices(&owner)
              << given.plugin.getLogicalTreeFolderModel(&owner)
              << given.plugin.getLogicalTreeIDFilterModel(&owner, valid);
        QList<QSharedPointer<QAbstractItemModelTester>> testers;
        for (QAbstractItemModel* view : std::as_const(views)) {
            QVERIFY(view);
            QCOMPARE(view->parent(), &owner);
            testers << QSharedPointer<QAbstractItemModelTester>::create(
                view, QAbstractItemModelTester::FailureReportingMode::Fatal);
        }
        for (QAbstractItemModel* model : {full, valid})
            testers << QSharedPointer<QAbstractItemModelTester>::create(
                model, QAbstractItemModelTester::FailureReportingMode::Fatal);

        // Retrieval, a status storm, a take-over and a disconnection underneath.
        given.plugin.PluginServerConnected();
        QTRY_VERIFY(given.plugin.topologyRetrieved() && given.plugin.nodeInfoRetrieved()
                    && given.plugin.logicalTreeRetrieved() && given.plugin.camStatusRetrieved());
        QAbstractItemModel* filtered = views.first();
        QVERIFY(filtered->rowCount() > 0 && flatList->rowCount() > 0 && logical->rowCount() > 0);
        QVariantList storm;
        for (const ScenarioCamera& camera : given.installation.scenario().stations().first().cameras)
            storm << QVariantMap{{"camUID", camera.uid}, {"connected", false}, {"recording", false}};
        given.framework.broadcast("NotifyCameraStatus", storm);
        given.failoverChange("F_9", runningFor("F_1"));
        given.plugin.PluginServerDisconnected();
        QCOMPARE(filtered->rowCount(), 0);
        QCOMPARE(logical->rowCount(), 0);
    }

    void failoverReportsTakeStationsOverAndBack()
    {
        Connection given;
        given.plugin.PluginServerConnected();
        QTRY_VERIFY(given.plugin.topologyRetrieved() && given.plugin.serverInfoRetrieved());
        QAbstractItemModel* failoverView = given.plugin.getFailoverTopologyModel(&given.plugin);
        QAbstractItemModelTester tester(failoverView, QAbstractItemModelTester::FailureReportingMode::Fatal);
        QSignalSpy takenOver(&given.plugin, &PluginTopologyMgt::stationTakenOverChanged);
        QSignalSpy failover(&given.plugin, &PluginTopologyMgt::failoverStatusChanged);
        QVERIFY(!given.plugin.isStationTakenOver("S_1"));

        // The standby server starts running for the warehouse.
        given.failoverChange("F_9", runningFor("F_1"));
        QVERIFY(given.plugin.isStationTakenOver("S_1"));
        QCOMPARE(takenOver.count(), 1);
        QCOMPARE(takenOver.first().at(1).toBool(), true);
        QCOMPARE(failover.count(), 1);
        QCOMPARE(failover.first().at(1).toString(), "Running");

        // Back on standby: the station is released and the release announced with the state before it.
        given.failoverChange("F_9", "Standby");
        QVERIFY(!given.plugin.isStationTakenOver("S_1"));
        QCOMPARE(takenOver.count(), 2);
        QCOMPARE(takenOver.last(), (QList<QVariant>{"S_1", false}));

        // Taken over again, then the connection is lost: the take-over ends with it.
        given.failoverChange("F_9", runningFor("F_2"));
        QVERIFY(given.plugin.isStationTakenOver("S_2"));
        given.plugin.PluginServerDisconnected();
        QVERIFY(!given.plugin.isStationTakenOver("S_2"));
    }
};

QTEST_MAIN(DeviceViewsPluginTest)
#include "tst_deviceviewsplugin.moc"
