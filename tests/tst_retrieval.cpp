#include "NodeDataCommander.h"
#include "PluginTopologyMgt.h"
#include "QorbLogUtlStub.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"
#include "StandardTopologyModel.h"

#include <QtTest>

// A connection against a simulated installation, end to end: the requests the
// module sends, the device tree it builds, and how it recovers from failures.
class RetrievalTest : public QObject
{
    Q_OBJECT
private:
    struct Connection
    {
        explicit Connection(const QString& scenarioFile = sampleFile())
        {
            loaded = installation.loadFile(scenarioFile);
            installation.attach(&framework);
            framework.setPlugin(&plugin);
            plugin.InitialPluginBase(nullptr, nullptr, &framework);
        }
        ~Connection() { installation.detach(); }

        bool allRetrieved() const
        {
            return plugin.topologyRetrieved() && plugin.nodeInfoRetrieved() && plugin.serverInfoRetrieved()
                && plugin.locationRetrieved() && plugin.logicalTreeRetrieved() && plugin.camStatusRetrieved();
        }
        QStringList stationsAskedFor(const QString& command) const
        {
            QStringList stations;
            for (const RecordedRequest& request : framework.requests()) {
                if (request.command == command)
                    stations << request.arguments.toMap().value(QStringLiteral("relayPath")).toString();
            }
            return stations;
        }

        bool loaded = false;
        SimulatedFramework framework;
        SimulatedInstallation installation;
        PluginTopologyMgt plugin;
    };

    static QString sampleFile()
    {
        return QString::fromLocal8Bit(qgetenv("TOPOLOGY_EXAMPLES_DIR")) + QStringLiteral("/sample-installation.json");
    }

private slots:
    void initTestCase() { NodeDataCommander::setRetryDelaysForTesting(40, 20); }

    void connectingRetrievesTheWholeInstallation()
    {
        Connection given;
        QVERIFY2(given.loaded, qPrintable(given.installation.errorString()));
        QAbstractItemModelTester tester(given.plugin.getStandardTopologyModel(),
                                        QAbstractItemModelTester::FailureReportingMode::Fatal);
        const QList<const char*> flagSignals{SIGNAL(topologyRetrievedChanged(bool)), SIGNAL(nodeInfoRetrievedChanged(bool)),
                                             SIGNAL(serverInfoRetrievedChanged(bool)), SIGNAL(locationRetrievedChanged(bool)),
                                             SIGNAL(logicalTreeRetrievedChanged(bool)), SIGNAL(camStatusRetrievedChanged(bool))};
        QList<QSharedPointer<QSignalSpy>> flagSpies;
        for (const char* signal : flagSignals)
            flagSpies << QSharedPointer<QSignalSpy>::create(&given.plugin, signal);
        QSignalSpy stationInserted(&given.plugin, &PluginTopologyMgt::stationInserted);

        given.plugin.PluginServerConnected();

        // What leaves at once: the start sequence, the web pages, then the client's identity.
        QCOMPARE(given.framework.commandNames(),
                 (QStringList{QStringLiteral("RetrieveLoginStationInfo"), QStringLiteral("retrieveLogicalTree"),
                              QStringLiteral("RetrieveAllNodeInfo"), QStringLiteral("RetrieveAllDeviceTopology"),
                              QStringLiteral("getAllWebPage"), QStringLiteral("whoAmI")}));
        QVERIFY(given.framework.requests().first().blocking);
        QTRY_VERIFY(given.allRetrieved());

        // Each flag turned true exactly once, after having been false.
        for (const auto& spy : flagSpies) {
            QCOMPARE(spy->count(), 1);
            QCOMPARE(spy->first().first().toBool(), true);
        }
        // Stations are processed depth first: locations are asked on the way down,
        // server information once a station's sub-stations are done.
        QCOMPARE(given.stationsAskedFor(QStringLiteral("QryCamLocation")),
                 (QStringList{QString(), QStringLiteral("S_1"), QStringLiteral("S_1/S_3"), QStringLiteral("S_2"),
                              QStringLiteral("S_9")}));
        QCOMPARE(given.stationsAskedFor(QStringLiteral("RetrieveServerInfo")),
                 (QStringList{QStringLiteral("S_1/S_3"), QStringLiteral("S_1"), QStringLiteral("S_2"),
                              QStringLiteral("S_9"), QString()}));
        QCOMPARE(given.stationsAskedFor(QStringLiteral("GetWifiStatus")), QStringList{QStringLiteral("S_2")});
        QCOMPARE(given.framework.count(QStringLiteral("RetrieveAllCamInfo")), 0); // handed over from RetrieveAllNodeInfo
        QCOMPARE(given.plugin.clientId(), given.installation.scenario().clientId());

        // The tree holds every station and camera of the scenario, names cleaned.
        const DeviceTree& tree = given.plugin.deviceTree();
        for (const ScenarioStation& station : given.installation.scenario().stations()) {
            QVERIFY2(tree.contains(station.relayPath), qPrintable(station.relayPath));
            QCOMPARE(tree.data(station.relayPath, StandardTopologyModel::nodeTypeRole).toInt(),
                     int(StandardTopologyModel::StationNode));
            QVERIFY(!tree.data(station.relayPath, QStringLiteral("nameRole")).toString().startsWith(QLatin1String("s_")));
            for (const ScenarioCamera& camera : station.cameras) {
                QCOMPARE(tree.data(camera.uid, StandardTopologyModel::parentStationIDRole).toString(), station.relayPath);
                QCOMPARE(given.plugin.cameraInfoFrom(camera.uid, QStringLiteral("parentStationIDRole")).toString(),
                         station.relayPath);
                QCOMPARE(given.plugin.cameraInfoFrom(camera.uid, QStringLiteral("nameRole")).toString(),
                         tree.data(camera.uid, StandardTopologyModel::nameRole).toString());
            }
        }
        QCOMPARE(given.plugin.getCameraInfoList().size(), given.installation.scenario().cameraCount());
        QCOMPARE(tree.data(QStringLiteral("S_2"), StandardTopologyModel::connectedRole).toBool(), true);

        // The redundant server is not announced as an inserted station.
        QStringList announced;
        for (const QList<QVariant>& arguments : stationInserted)
            announced << arguments.at(0).toString();
        QCOMPARE(announced, (QStringList{QString(), QStringLiteral("S_1"), QStringLiteral("S_2"), QStringLiteral("S_1/S_3")}));
    }

    void failedRequestsAreRetriedAfterTheirDelay()
    {
        Connection given;
        given.installation.failRequest(QStringLiteral("RetrieveAllDeviceTopology"), QStringLiteral("503"));
        given.installation.failRequestForStation(QStringLiteral("QryCamLocation"), QStringLiteral("S_1"),
                                                 QStringLiteral("500"));

        given.plugin.PluginServerConnected();
        QTRY_VERIFY(given.allRetrieved());
        QCOMPARE(given.framework.count(QStringLiteral("RetrieveAllDeviceTopology")), 2);
        QCOMPARE(given.stationsAskedFor(QStringLiteral("QryCamLocation")).count(QStringLiteral("S_1")), 2);

        // A station still starting answers "80260006" and is asked again later.
        given.installation.failRequestForStation(QStringLiteral("RetrieveDeviceTopology"), QStringLiteral("S_2"),
                                                 QStringLiteral("80260006"));
        given.plugin.retrieveDeviceTopology(QStringLiteral("S_2"));
        QTRY_COMPARE(given.stationsAskedFor(QStringLiteral("RetrieveDeviceTopology")).count(QStringLiteral("S_2")), 2);
        QTRY_COMPARE(given.installation.pendingAnswers(), 0);
        QTest::qWait(100);
        QCOMPARE(given.stationsAskedFor(QStringLiteral("RetrieveDeviceTopology")).count(QStringLiteral("S_2")), 2);
        QVERIFY(given.plugin.deviceTree().contains(QStringLiteral("S_2/C_1")));
    }

    void cameraInformationGivesUpAfterFiveFrameworkErrors()
    {
        Connection given;
        const QString frameworkError = QStringLiteral("{6A1F3C8E-4B2D-4E7A-9C05-B8D2E1F47A36}FrameworkInternalError");
        given.installation.failRequest(QStringLiteral("RetrieveAllNodeInfo"), QStringLiteral("1"));
        given.installation.failRequestForStation(QStringLiteral("RetrieveAllCamInfo"), QStringLiteral("S_1/S_3"),
                                                 frameworkError, -1);
        QorbLogUtlStub::clear();

        given.plugin.PluginServerConnected();
        QTRY_VERIFY(given.plugin.topologyRetrieved() && given.plugin.nodeInfoRetrieved());
        QTRY_COMPARE(given.installation.pendingAnswers(), 0);

        QCOMPARE(given.stationsAskedFor(QStringLiteral("RetrieveAllCamInfo")).count(QStringLiteral("S_1/S_3")), 6);
        QCOMPARE(QorbLogUtlStub::messages().count("Get All CamInfo Timeout Retry, station: S_1/S_3"), 5);
        QCOMPARE(QorbLogUtlStub::messages().count("Get All CamInfo Timeout Retry End, station: S_1/S_3"), 1);
        QVERIFY(QorbLogUtlStub::messages().contains("One Command Get All Node Info failed"));
        // The other stations got their information from their own answers.
        QVERIFY(!given.plugin.cameraInfoMap(QStringLiteral("S_1/C_1")).isEmpty());
        QVERIFY(given.plugin.cameraInfoMap(QStringLiteral("S_1/S_3/C_1")).isEmpty());
    }

    void disconnectionEmptiesTheTreeButKeepsPendingRetries()
    {
        Connection given;
        given.plugin.PluginServerConnected();
        QTRY_VERIFY(given.allRetrieved());
        QSignalSpy topologyFlag(&given.plugin, &PluginTopologyMgt::topologyRetrievedChanged);
        QSignalSpy disconnected(&given.plugin, &PluginTopologyMgt::serverDisconnected);
        given.installation.failRequest(QStringLiteral("RetrieveAllDeviceTopology"), QStringLiteral("503"));
        given.plugin.retrieveAllDeviceTopology(QStringLiteral("S_1"));
        QTRY_COMPARE(given.installation.pendingAnswers(), 0);
        const int sentBefore = given.framework.count(QStringLiteral("RetrieveAllDeviceTopology"));

        given.plugin.PluginServerDisconnected();

        QCOMPARE(disconnected.count(), 1);
        QCOMPARE(topologyFlag.count(), 1);
        QCOMPARE(topologyFlag.first().first().toBool(), false);
        QVERIFY(!given.plugin.topologyRetrieved() && !given.plugin.nodeInfoRetrieved());
        QCOMPARE(given.plugin.getStandardTopologyModel()->rowCount(), 0);
        // The retry queued before the disconnection still goes out.
        QTRY_COMPARE(given.framework.count(QStringLiteral("RetrieveAllDeviceTopology")), sentBefore + 1);
    }

    void nodeInformationIsStoredBeforeItIsAnnounced()
    {
        Connection given;
        given.plugin.PluginServerConnected();
        QTRY_VERIFY(given.allRetrieved());
        QStringList heard;
        const auto hear = [&](const QString& what) { heard << what; };
        connect(&given.plugin, &PluginTopologyMgt::didoNodeChanged, this, [&](const QString& nodeId) {
            // Listeners must find the new values already stored.
            const QString model = given.plugin.deviceInfoFrom(nodeId, QStringLiteral("modelRole")).toString();
            hear(QStringLiteral("dido %1 %2").arg(nodeId, model));
        });
        connect(&given.plugin, &PluginTopologyMgt::deviceInfoRetrieved, this,
                [&](const QString& station) { hear(QStringLiteral("device info ") + station); });
        connect(&given.plugin, &PluginTopologyMgt::cameraAndStationConnectionStatusRetrieved, this,
                [&] { hear(QStringLiteral("status retrieved")); });
        connect(&given.plugin, &PluginTopologyMgt::refreshCameraInfoResp, this,
                [&](bool completed, bool success, const QString& station, const QString& camera) {
                    hear(QStringLiteral("refresh %1 %2 %3 %4").arg(completed).arg(success).arg(station, camera));
                });
        const QVariantMap answer{
            {QStringLiteral("relayPath"), QStringLiteral("S_1")},
            {QStringLiteral("cameras"),
             QVariantList{QVariantMap{{QStringLiteral("camUID"), QStringLiteral("S_1/C_2")},
                                      {QStringLiteral("camInfo"), QVariantMap{{QStringLiteral("type"), QStringLiteral("Dome")},
                                                                              {QStringLiteral("diCount"), 1}}}}}},
            {QStringLiteral("stations"),
             QVariantList{QVariantMap{{QStringLiteral("stationUID"), QStringLiteral("S_1")},
                                      {QStringLiteral("info"), QVariantMap{{QStringLiteral("Model"), QStringLiteral("X9")}}}}}}};
        void* context = new QVariantMap{{QStringLiteral("relayPath"), QStringLiteral("S_1")},
                                        {QStringLiteral("camIDList"), QStringList{QStringLiteral("S_1/C_2")}}};

        given.plugin.CommandProcessor(QStringLiteral("RetrieveCamInfo"), answer, context, QStringLiteral("0"), QString(),
                                      true, QString());

        QCOMPARE(heard, (QStringList{QStringLiteral("dido S_1/C_2 Dome"), QStringLiteral("dido S_1 X9"),
                                     QStringLiteral("device info S_1"), QStringLiteral("status retrieved"),
                                     QStringLiteral("refresh 1 1 S_1 S_1/C_2")}));
        QCOMPARE(given.plugin.cameraInfoFrom(QStringLiteral("S_1/C_2"), QStringLiteral("diNameListRole")).toStringList(),
                 QStringList{QStringLiteral("DI-1")});
    }

    void queriesReachTheStations()
    {
        Connection given;
        given.plugin.PluginServerConnected();
        QTRY_VERIFY(given.allRetrieved());
        given.framework.clearRequests();
        QSignalSpy refreshed(&given.plugin, &PluginTopologyMgt::refreshCameraInfoResp);
        QSignalSpy rules(&given.plugin, &PluginTopologyMgt::updateVCARulesResp);

        given.plugin.refreshCameraInfo({{QStringLiteral("idRole"), QStringLiteral("S_1/C_2")},
                                        {QStringLiteral("parentStationIDRole"), QStringLiteral("S_1")}},
                                       true);
        given.plugin.getServerInfo();
        given.plugin.updateVCARules();
        given.plugin.getCameraStatus(QStringLiteral("S_1"), QStringLiteral("S_1/C_2"));

        const RecordedRequest& refresh = given.framework.requests().first();
        QCOMPARE(refresh.command, QStringLiteral("RetrieveCamInfo"));
        QCOMPARE(refresh.arguments.toMap().value(QStringLiteral("camIDList")).toStringList(),
                 QStringList{QStringLiteral("S_1/C_2")});
        QCOMPARE(given.stationsAskedFor(QStringLiteral("RetrieveServerInfo")).size(),
                 given.installation.scenario().stations().size());
        QCOMPARE(given.stationsAskedFor(QStringLiteral("GetCameraStatus")), QStringList{QStringLiteral("S_1")});
        QTRY_COMPARE(refreshed.count(), 1);
        QCOMPARE(refreshed.first(), (QList<QVariant>{true, true, QStringLiteral("S_1"), QStringLiteral("S_1/C_2")}));
        QTRY_COMPARE(rules.count(), given.installation.scenario().stations().size());

        // Without insisting, a known camera is answered from what is stored.
        given.plugin.refreshCameraInfo({{QStringLiteral("idRole"), QStringLiteral("S_1/C_2")},
                                        {QStringLiteral("parentStationIDRole"), QStringLiteral("S_1")}},
                                       false);
        QCOMPARE(refreshed.count(), 2);
        QCOMPARE(given.framework.count(QStringLiteral("RetrieveCamInfo")), 1);
    }
};

QTEST_MAIN(RetrievalTest)
#include "tst_retrieval.moc"
