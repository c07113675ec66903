#include "PluginTopologyMgt.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

#include <QtTest>

// What the views get from the plug-in: new proxies owned by the caller over
// the one device model, and the failover state that follows the servers.
class DeviceViewsPluginTest : public QObject
{
    Q_OBJECT
private:
    struct Connection
    {
        Connection()
        {
            loaded = installation.loadFile(QString::fromLocal8Bit(qgetenv("TOPOLOGY_EXAMPLES_DIR"))
                                           + QStringLiteral("/sample-installation.json"));
            installation.attach(&framework);
            framework.setPlugin(&plugin);
            plugin.InitialPluginBase(nullptr, nullptr, &framework);
        }
        ~Connection() { installation.detach(); }
        bool loaded = false;
        SimulatedFramework framework;
        SimulatedInstallation installation;
        PluginTopologyMgt plugin;
    };

    static QVariantMap failoverChange(const char* redundantServer, const QVariant& status)
    {
        return {{QStringLiteral("FailoverStatusChg"),
                 QVariantMap{{QStringLiteral("Name"), redundantServer}, {QStringLiteral("Status"), status}}}};
    }

private slots:
    void gettersBuildProxiesOwnedByTheCaller()
    {
        Connection given;
        QVERIFY(given.loaded);
        QObject owner;
        const QList<const char*> getters{"getFilteredStandardTopologyModel", "getTrendMicroDeviceModel",
                                         "getSmartVCADeviceModel",           "getThermalDeviceModel",
                                         "getGeneralDeviceModel",            "getCountingCameraDeviceTreeModel",
                                         "getFailoverTopologyModel",         "getFailoverTopologyModelWithoutRedundantServer"};
        QList<QSharedPointer<QAbstractItemModelTester>> testers;
        QSet<QAbstractItemModel*> built;
        for (const char* getter : getters) {
            for (int call = 0; call < 2; ++call) {
                QAbstractItemModel* model = nullptr;
                QVERIFY(QMetaObject::invokeMethod(&given.plugin, getter, Q_RETURN_ARG(QAbstractItemModel*, model),
                                                  Q_ARG(QObject*, &owner)));
                QVERIFY2(model, getter);
                QCOMPARE(model->parent(), &owner);
                built.insert(model);
                testers << QSharedPointer<QAbstractItemModelTester>::create(
                    model, QAbstractItemModelTester::FailureReportingMode::Fatal);
            }
        }
        QCOMPARE(built.size(), getters.size() * 2);
        QAbstractItemModel* flatList = given.plugin.getTreeToListProxyModel(&owner, given.plugin.getStandardTopologyModel());
        QCOMPARE(flatList->parent(), &owner);
        QCOMPARE(given.plugin.getStandardTopologyModel(), given.plugin.getStandardTopologyModel());

        // The proxies follow the retrieval and the disconnection underneath.
        given.plugin.PluginServerConnected();
        QTRY_VERIFY(given.plugin.topologyRetrieved() && given.plugin.nodeInfoRetrieved());
        QAbstractItemModel* filtered = given.plugin.getFilteredStandardTopologyModel(&owner);
        QVERIFY(filtered->rowCount() > 0);
        QVERIFY(flatList->rowCount() > 0);
        given.plugin.PluginServerDisconnected();
        QCOMPARE(filtered->rowCount(), 0);
    }

    void logicalViewsFollowBothTrees()
    {
        Connection given;
        QObject owner;
        QAbstractItemModel* full = given.plugin.getFullLogicalTreeModel();
        QAbstractItemModel* valid = given.plugin.getLogicalTreeModel();
        QVERIFY(full && valid && full != valid);
        QCOMPARE(given.plugin.getFullLogicalTreeModel(), full);
        QCOMPARE(given.plugin.getLogicalTreeModel(), valid);
        QList<QAbstractItemModel*> views{given.plugin.getLogicalTreeSortFilterModel(&owner),
                                         given.plugin.getLogicalTreeAdvancedSortFilterModel(&owner),
                                         given.plugin.getLogicalTreeAdvancedSortFilterModelWithIODevices(&owner),
                                         given.plugin.getLogicalTreeFolderModel(&owner),
                                         given.plugin.getLogicalTreeIDFilterModel(&owner, valid)};
        QList<QSharedPointer<QAbstractItemModelTester>> testers;
        for (QAbstractItemModel* view : views << full << valid) {
            QVERIFY(view);
            testers << QSharedPointer<QAbstractItemModelTester>::create(
                view, QAbstractItemModelTester::FailureReportingMode::Fatal);
        }
        for (int i = 0; i < 5; ++i)
            QCOMPARE(views.at(i)->parent(), &owner);

        // Retrieval, a status storm, a take-over and a disconnection underneath.
        given.plugin.PluginServerConnected();
        QTRY_VERIFY(given.plugin.topologyRetrieved() && given.plugin.logicalTreeRetrieved()
                    && given.plugin.camStatusRetrieved());
        QVERIFY(views.first()->rowCount() > 0);
        QVariantList storm;
        for (const ScenarioCamera& camera : given.installation.scenario().stations().first().cameras)
            storm << QVariantMap{{QStringLiteral("camUID"), camera.uid}, {QStringLiteral("connected"), false},
                                 {QStringLiteral("recording"), false}};
        given.framework.broadcast(QStringLiteral("NotifyCameraStatus"), storm);
        given.framework.broadcast(QStringLiteral("FailoverStatusChange"),
                                  failoverChange("F_9", QVariantMap{{QStringLiteral("#text"), QStringLiteral("Running")},
                                                                    {QStringLiteral("@Server"), QStringLiteral("F_1")}}));
        given.plugin.PluginServerDisconnected();
        QCOMPARE(views.first()->rowCount(), 0);
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
        QVERIFY(!given.plugin.isStationTakenOver(QStringLiteral("S_1")));

        // The standby server starts running for the warehouse.
        given.framework.broadcast(QStringLiteral("FailoverStatusChange"),
                                  failoverChange("F_9", QVariantMap{{QStringLiteral("#text"), QStringLiteral("Running")},
                                                                    {QStringLiteral("@Server"), QStringLiteral("F_1")}}));
        QVERIFY(given.plugin.isStationTakenOver(QStringLiteral("S_1")));
        // Only the station named in the report counts as taken over itself.
        QVERIFY(!given.plugin.isStationTakenOver(QStringLiteral("S_1/S_3")));
        QVERIFY(!given.plugin.isStationTakenOver(QStringLiteral("S_2")));
        QCOMPARE(takenOver.count(), 1);
        QCOMPARE(takenOver.first().at(1).toBool(), true);
        QCOMPARE(failover.count(), 1);
        QCOMPARE(failover.first().at(1).toString(), QStringLiteral("Running"));

        // Back on standby: the station is released and the release announced.
        given.framework.broadcast(QStringLiteral("FailoverStatusChange"), failoverChange("F_9", QStringLiteral("Standby")));
        QVERIFY(!given.plugin.isStationTakenOver(QStringLiteral("S_1")));
        QCOMPARE(takenOver.count(), 2);
        QCOMPARE(takenOver.last(), (QList<QVariant>{QStringLiteral("S_1"), false}));

        // The control reads the status in any case, the announcement only "Running" exactly.
        given.framework.broadcast(QStringLiteral("FailoverStatusChange"),
                                  failoverChange("F_9", QVariantMap{{QStringLiteral("#text"), QStringLiteral("running")},
                                                                    {QStringLiteral("@Server"), QStringLiteral("F_2")}}));
        QVERIFY(given.plugin.isStationTakenOver(QStringLiteral("S_2")));
        QCOMPARE(takenOver.last(), (QList<QVariant>{QStringLiteral("F_2"), false}));
        given.plugin.PluginServerDisconnected();
        QVERIFY(!given.plugin.isStationTakenOver(QStringLiteral("S_2")));
    }
};

QTEST_MAIN(DeviceViewsPluginTest)
#include "tst_deviceviewsplugin.moc"
