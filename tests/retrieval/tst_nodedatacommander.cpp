#include "NodeDataCommander.h"
#include "QorbLogUtlStub.h"
#include "RequestContexts.h"

#include <QAbstractEventDispatcher>
#include <QSignalSpy>
#include <QTest>

namespace {

// Short retry delays for the tests; both stay above 20 ms, below which Qt turns
// a coarse timer into a precise one.
constexpr int kBusyDelayMs = 40;
constexpr int kFailureDelayMs = 25;
const QString kFrameworkFailure = QStringLiteral("{6A1F3C8E-4B2D-4E7A-9C05-B8D2E1F47A36}FrameworkInternalError");

// Stands in for the framework and the plug-in: records what the commander sends
// and answers it through commandProcessor with the context handed back. The
// contexts are released with the recorder, as the plug-in owns them.
class Recorder : public QObject
{
public:
    struct Request
    {
        QString name;
        QVariant arguments;
        void* context;
        bool answered;
        QString relayPath() const { return arguments.toMap().value("relayPath").toString(); }
    };

    explicit Recorder(NodeDataCommander& commander) : m_commander(commander)
    {
        connect(&commander, &NodeDataCommander::sendCommand, this,
                [this](const QString& name, const QVariant& arguments, void* context, bool) {
                    requests.append({name, arguments, context, false});
                });
    }
    ~Recorder() override
    {
        for (const Request& request : std::as_const(requests))
            RequestContexts::release(request.name, request.context);
    }

    // "Name(relayPath)", with "[camera ids]" when the request names cameras.
    QStringList sequence(int from = 0) const
    {
        QStringList lines;
        for (const Request& request : requests.mid(from)) {
            const QStringList cameras = request.arguments.toMap().value("camIDList").toStringList();
            lines.append(request.name + '(' + request.relayPath() + ')'
                         + (cameras.isEmpty() ? QString() : '[' + cameras.join(',') + ']'));
        }
        return lines;
    }
    int pending(const QString& name, const QString& station) const
    {
        for (int i = requests.size() - 1; i >= 0; --i)
            if (!requests[i].answered && requests[i].name == name && requests[i].relayPath() == station)
                return i;
        return -1;
    }
    void answer(int index, const QVariant& data = QVariant(), const QString& code = QStringLiteral("0"))
    {
        QVERIFY(index >= 0 && !requests[index].answered);
        requests[index].answered = true;
        const Request request = requests[index];
        m_commander.commandProcessor(request.name, data, request.context, code, true);
    }
    void answer(const QString& name, const QString& station, const QVariant& data = QVariant(),
                const QString& code = QStringLiteral("0"))
    {
        answer(pending(name, station), data, code);
    }
    void broadcast(const QString& name, const QVariant& payload)
    {
        m_commander.commandProcessor(name, payload, nullptr, QStringLiteral("0"), true);
    }

    QList<Request> requests;

private:
    NodeDataCommander& m_commander;
};

QVariantMap node(const QString& uid, const QString& type, bool isNVR = false)
{
    return {{"nodeUID", uid}, {"nodeName", "s_" + uid}, {"nodeType", type}, {"isNVR", isNVR}, {"isRedundantServer", false}};
}

QVariantMap topology(const QString& station, const QVariantList& nodes)
{
    return {{"parentStationID", station}, {"nodeList", nodes}};
}

QVariantMap nodeInfo(const QString& station)
{
    return {{"relayPath", station}, {"cameraSequence", 1}, {"cameras", QVariantList()}, {"stations", QVariantList()}};
}

// Root "" holds a camera and the stations A (with A1 below it), B (an NVR) and
// Z, which the answer lacks; A1 wrongly lists A below itself. The node
// information answer holds the root and A1 only.
void startAndAnswerInstallation(NodeDataCommander& commander, Recorder& recorder)
{
    commander.start();
    recorder.answer("RetrieveAllNodeInfo", QString(), QVariantMap{{"", nodeInfo("")}, {"A1", nodeInfo("A1")}});
    recorder.answer("RetrieveAllDeviceTopology", QString(), QVariantMap{
        {"", topology("", {node("c1", "Camera"), node("A", "Station"), node("B", "Station", true), node("Z", "Station")})},
        {"A", topology("A", {node("A1", "Station")})},
        {"A1", topology("A1", {node("A", "Station")})},
        {"B", topology("B", {})},
    });
}

QList<QAbstractEventDispatcher::TimerInfo> timersOf(QObject* object)
{
    return QAbstractEventDispatcher::instance()->registeredTimers(object);
}

} // namespace

class TestNodeDataCommander : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // The delays of a real installation; every test then shortens them.
        QCOMPARE(NodeDataCommander::topologyBusyRetryDelay(), 10000);
        QCOMPARE(NodeDataCommander::failureRetryDelay(), 2000);
    }
    void init()
    {
        NodeDataCommander::setRetryDelaysForTesting(kBusyDelayMs, kFailureDelayMs);
        QorbLogUtlStub::clear();
    }

    void wholeTopologyIsWalkedOnceDepthFirst()
    {
        NodeDataCommander commander;
        Recorder recorder(commander);
        QStringList topologies, handedOver;
        QList<bool> topologyFlagWhileProcessing;
        connect(&commander, &NodeDataCommander::handleStationTopology, this, [&](const QVariant& data, const QString&) {
            topologies.append(data.toMap().value("parentStationID").toString());
            topologyFlagWhileProcessing.append(commander.isTopologyRetrieved());
        });
        connect(&commander, &NodeDataCommander::handleGetAllNodeInfo, this,
                [&](const QVariant& data, void* context, const QString& code, bool completed) {
                    QVERIFY(!context && code == "0" && completed);
                    handedOver.append(data.toMap().value("relayPath").toString());
                });
        QSignalSpy topologyFlag(&commander, &NodeDataCommander::allTopologyRetrieved);

        startAndAnswerInstallation(commander, recorder);

        // A1 listing A below itself does not walk A again; Z, missing from the answer, is skipped.
        QCOMPARE(topologies, QStringList({"", "A", "A1", "B"}));
        QVERIFY(recorder.sequence().filter("(Z)").isEmpty());
        // Kept node information is handed over; the other stations are asked for their own.
        QCOMPARE(handedOver, QStringList({"A1", ""}));
        QCOMPARE(recorder.sequence().filter("RetrieveAllCamInfo("), QStringList({"RetrieveAllCamInfo(A)", "RetrieveAllCamInfo(B)"}));
        QCOMPARE(topologyFlagWhileProcessing, QList<bool>({false, false, false, false}));
        QCOMPARE(topologyFlag.count(), 1);
        QVERIFY(commander.isTopologyRetrieved() && !commander.isNodeInfoRetrieved());
    }

    void keptNodeInfoIsHandedOverOnce_data()
    {
        QTest::addColumn<bool>("nodeInfoFirst");
        QTest::newRow("node information before the topology") << true;
        QTest::newRow("node information after the station asked") << false;
    }
    void keptNodeInfoIsHandedOverOnce()
    {
        QFETCH(bool, nodeInfoFirst);
        NodeDataCommander commander;
        Recorder recorder(commander);
        QSignalSpy handedOver(&commander, &NodeDataCommander::handleGetAllNodeInfo);
        QList<int> handedOverWhenFlagRose;
        connect(&commander, &NodeDataCommander::allNodeInfoRetrieved, this,
                [&](bool) { handedOverWhenFlagRose.append(handedOver.count()); });
        const QVariantMap allNodeInfo = {{"", nodeInfo("")}}, rootOnly = {{"", topology("", {})}};
        commander.start();

        if (nodeInfoFirst)
            recorder.answer("RetrieveAllNodeInfo", QString(), allNodeInfo);
        recorder.answer("RetrieveAllDeviceTopology", QString(), rootOnly);
        if (!nodeInfoFirst)
            recorder.answer("RetrieveAllNodeInfo", QString(), allNodeInfo);

        QCOMPARE(handedOver.count(), nodeInfoFirst ? 1 : 0);
        // Listeners of the flag find the node information already merged.
        QCOMPARE(handedOverWhenFlagRose, nodeInfoFirst ? QList<int>{1} : QList<int>{});
        // Reading the station again asks the station itself.
        const int again = recorder.requests.size();
        commander.retrieveAllDeviceTopology(QString());
        recorder.answer("RetrieveAllDeviceTopology", QString(), rootOnly);
        QCOMPARE(handedOver.count(), nodeInfoFirst ? 1 : 0);
        QVERIFY(recorder.sequence(again).contains("RetrieveAllCamInfo()"));
    }

    void flagTurnsTrueWithTheLastStation_data()
    {
        QTest::addColumn<QByteArray>("flagSignal");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QStringList>("stations");
        QTest::addColumn<QString>("lastCode");
        // Every flag counts its stations the same way; these two have their own way of counting one.
        QTest::newRow("server info, a failure counts") << QByteArray(SIGNAL(allServerInfoRetrieved(bool)))
                                                       << "RetrieveServerInfo" << QStringList{"", "A", "A1", "B"} << "80001000";
        QTest::newRow("node info of the stations not handed over")
            << QByteArray(SIGNAL(allNodeInfoRetrieved(bool))) << "RetrieveAllCamInfo" << QStringList{"A", "B"} << "80001000";
    }
    void flagTurnsTrueWithTheLastStation()
    {
        QFETCH(QByteArray, flagSignal);
        QFETCH(QString, answer);
        QFETCH(QStringList, stations);
        QFETCH(QString, lastCode);
        NodeDataCommander commander;
        Recorder recorder(commander);
        QSignalSpy flag(&commander, flagSignal.constData());
        startAndAnswerInstallation(commander, recorder);

        for (const QString& station : stations) {
            QCOMPARE(flag.count(), 0);
            recorder.answer(answer, station, nodeInfo(station), station == stations.last() ? lastCode : "0");
        }

        QCOMPARE(flag.count(), 1);
        QCOMPARE(flag.at(0).at(0).toBool(), true);
    }

    void singleStationTopologyDrivesItsStation()
    {
        NodeDataCommander commander;
        Recorder recorder(commander);
        QSignalSpy topologyFlag(&commander, &NodeDataCommander::allTopologyRetrieved);
        commander.retrieveDeviceTopology("S");

        recorder.answer("RetrieveDeviceTopology", "S",
                        topology("S", {node("c1", "Camera"), node("S1", "Station"), node("S2", "Station", true)}));

        QCOMPARE(recorder.sequence(1).filter("RetrieveDeviceTopology("),
                 (QStringList{"RetrieveDeviceTopology(S1)", "RetrieveDeviceTopology(S2)"}));

        // The sub-stations, asked next, hold the flag; a busy answer is retried, so it is not yet the answer.
        recorder.answer("RetrieveDeviceTopology", "S1", topology("S1", {}));
        recorder.answer("RetrieveDeviceTopology", "S2", QVariant(), "80260006");
        QCOMPARE(topologyFlag.count(), 0);
        QTRY_VERIFY(recorder.pending("RetrieveDeviceTopology", "S2") >= 0);
        recorder.answer("RetrieveDeviceTopology", "S2", QVariant(), "80001000");
        QCOMPARE(topologyFlag.count(), 1);

        // S1 still owes its camera status; a station that goes away owes nothing.
        recorder.broadcast("NotifyStationStatus", QVariantMap{{"stationUID", "S1"}, {"connected", true}});
        QVERIFY(!commander.isCamStatusRetrieved());
        recorder.broadcast("NotifyStationStatus", QVariantMap{{"stationUID", "S1"}, {"connected", false}});
        QVERIFY(commander.isCamStatusRetrieved());
    }

    void failuresAreRetriedOnceAfterTheirDelay_data()
    {
        QTest::addColumn<QString>("request");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("failureLog");
        QTest::addColumn<QString>("retryLog"); // empty: not retried
        QTest::newRow("busy topology") << "RetrieveDeviceTopology" << "80260006"
                                       << "Add to retry queue, station=R1, command=RetrieveDeviceTopology"
                                       << "Retry retrieveDeviceTopology, station id: R1";
        QTest::newRow("other topology failure") << "RetrieveDeviceTopology" << "80001000"
                                                << "RetrieveDeviceTopology, return code: 80001000, station id: R1" << "";
        QTest::newRow("whole topology") << "RetrieveAllDeviceTopology" << "80001000"
                                        << "Retrieve All DeviceTopology failed. Start retry, returnCode:80001000, stationID:R1"
                                        << "Retry retrieveAllDeviceTopology, station id: R1";
        QTest::newRow("locations") << "QryCamLocation" << "80001000"
                                   << "METHOD_QRY_LOCATIONS return code: 80001000, stationID: R1"
                                   << "Retry retryQueryLocations, station id: R1";
    }
    void failuresAreRetriedOnceAfterTheirDelay()
    {
        QFETCH(QString, request);
        QFETCH(QString, code);
        QFETCH(QString, failureLog);
        QFETCH(QString, retryLog);
        const bool retried = !retryLog.isEmpty();
        NodeDataCommander commander;
        Recorder recorder(commander);
        if (request == "RetrieveDeviceTopology")
            commander.retrieveDeviceTopology("R1");
        else if (request == "RetrieveAllDeviceTopology")
            commander.retrieveAllDeviceTopology("R1");
        else
            commander.queryLocations("R1");
        recorder.answer(0, QVariant(), code);

        // One coarse one-shot timer with the delay of its kind of failure (the defaults
        // are checked in initTestCase), then the request once more.
        const auto timers = timersOf(&commander);
        QCOMPARE(timers.size(), retried ? 1 : 0);
        if (retried) {
            QCOMPARE(timers[0].interval, code == "80260006" ? kBusyDelayMs : kFailureDelayMs);
            QCOMPARE(timers[0].timerType, Qt::CoarseTimer);
            QCOMPARE(recorder.requests.size(), 1);
            QTRY_COMPARE(recorder.sequence(), QStringList({request + "(R1)", request + "(R1)"}));
        }
        QTest::qWait(3 * kBusyDelayMs);
        QCOMPARE(recorder.requests.size(), retried ? 2 : 1);
        QVERIFY(timersOf(&commander).isEmpty());
        QVERIFY(QorbLogUtlStub::messages().contains(failureLog.toLocal8Bit()));
        QVERIFY(!retried || QorbLogUtlStub::messages().contains(retryLog.toLocal8Bit()));
    }

    void frameworkFailuresAreResentFiveTimesPerStation()
    {
        NodeDataCommander commander;
        Recorder recorder(commander);
        // Answers every resend with a framework failure; the number of resends.
        const auto failUntilGivenUp = [](Recorder& recorder, const QString& station) {
            const int before = recorder.sequence().filter("RetrieveAllCamInfo(").size();
            for (int answers = 0; answers < 20 && recorder.pending("RetrieveAllCamInfo", station) >= 0; ++answers)
                recorder.answer("RetrieveAllCamInfo", station, QVariant(), kFrameworkFailure);
            return recorder.sequence().filter("RetrieveAllCamInfo(").size() - before;
        };

        commander.retrieveAllCamInfo("budget-1");
        QCOMPARE(failUntilGivenUp(recorder, "budget-1"), 5);
        QVERIFY(commander.isNodeInfoRetrieved());
        commander.retrieveAllCamInfo("budget-1");
        QCOMPARE(failUntilGivenUp(recorder, "budget-1"), 0);

        // Any other answer starts the count again.
        commander.retrieveAllCamInfo("budget-2");
        for (int i = 0; i < 3; ++i)
            recorder.answer("RetrieveAllCamInfo", "budget-2", QVariant(), kFrameworkFailure);
        recorder.answer("RetrieveAllCamInfo", "budget-2", nodeInfo("budget-2"));
        commander.retrieveAllCamInfo("budget-2");
        QCOMPARE(failUntilGivenUp(recorder, "budget-2"), 5);

        // One budget for the module, whichever instance asks.
        commander.retrieveAllCamInfo("budget-3");
        recorder.answer("RetrieveAllCamInfo", "budget-3", QVariant(), kFrameworkFailure);
        recorder.answer("RetrieveAllCamInfo", "budget-3", QVariant(), kFrameworkFailure);
        NodeDataCommander other;
        Recorder otherRecorder(other);
        other.retrieveAllCamInfo("budget-3");
        QCOMPARE(failUntilGivenUp(otherRecorder, "budget-3"), 3);

        // Requests for some cameras are not resent.
        recorder.broadcast("NotifyCameraInfoChange", QVariantMap{{"relayPath", "budget-4"}, {"idList", QStringList{"c9"}}});
        recorder.answer("RetrieveCamInfo", "budget-4", QVariant(), kFrameworkFailure);
        QCOMPARE(recorder.sequence().filter("RetrieveCamInfo(").size(), 1);
        QVERIFY(QorbLogUtlStub::messages().contains(
            "Get CamInfo fail, station: budget-4, returnCode: " + kFrameworkFailure.toLocal8Bit() + ", cmd: RetrieveCamInfo"));
    }

    void resetFallsBackWithSignalsButQueuedRetriesGoOut()
    {
        NodeDataCommander commander;
        Recorder recorder(commander);
        QSignalSpy logicalTree(&commander, &NodeDataCommander::logicalTreeRetrieved);
        QSignalSpy topologyFlag(&commander, &NodeDataCommander::allTopologyRetrieved);
        QSignalSpy serverInfo(&commander, &NodeDataCommander::allServerInfoRetrieved);
        commander.start();
        // Any answer to the logical tree request settles its flag, a failure too.
        recorder.answer("retrieveLogicalTree", QString(), QVariant(), "80001000");
        recorder.answer("RetrieveAllDeviceTopology", QString(), QVariantMap{{"", topology("", {})}});
        commander.queryLocations(QString()); // the same failure twice: two retries
        recorder.answer("QryCamLocation", QString(), QVariant(), "80001000");
        recorder.answer("QryCamLocation", QString(), QVariant(), "80001000");
        QCOMPARE(timersOf(&commander).size(), 2);
        QVERIFY(commander.isLogicalTreeRetrieved() && commander.isTopologyRetrieved());
        const int foreignTimer = commander.startTimer(60000);
        const int sent = recorder.requests.size();

        commander.reset();
        QCoreApplication::postEvent(&commander, new QTimerEvent(foreignTimer));

        QVERIFY(!commander.isLogicalTreeRetrieved() && !commander.isTopologyRetrieved());
        QCOMPARE(logicalTree.count(), 2);
        QCOMPARE(logicalTree.last().at(0).toBool(), false);
        QCOMPARE(topologyFlag.count(), 2);
        QCOMPARE(topologyFlag.last().at(0).toBool(), false);
        QCOMPARE(serverInfo.count(), 0);
        // A station awaited before the reset is no longer awaited after it.
        recorder.answer("RetrieveServerInfo", QString(), QVariant(), "80001000");
        QVERIFY(!commander.isServerInfoRetrieved());
        QVERIFY(QorbLogUtlStub::messages().contains(
            "NodeDataCommander::commandProcessor, METHOD_SRV_INFO_RETRIEVE return code : 80001000"));
        // Each failure fires its own retry, once; the foreign timer is killed and sends nothing.
        QTRY_COMPARE(recorder.sequence(sent), QStringList({"QryCamLocation()", "QryCamLocation()"}));
        QTest::qWait(3 * kBusyDelayMs);
        QCOMPARE(recorder.requests.size(), sent + 2);
        QVERIFY(timersOf(&commander).isEmpty());
        // The retries' answers no longer count either.
        recorder.answer("QryCamLocation", QString());
        recorder.answer("QryCamLocation", QString());
        QVERIFY(!commander.isLocationRetrieved());
        commander.reset();
        QCOMPARE(logicalTree.count() + topologyFlag.count() + serverInfo.count(), 4);
    }

    void eventsAskForWhatChanged()
    {
        NodeDataCommander commander;
        Recorder recorder(commander);
        const auto camera = [](const QString& id, const QString& station) {
            return QVariantMap{{"nodeUID", id}, {"parentStationID", station}};
        };

        recorder.broadcast("NotifyCamInsert", QVariantList{camera("c1", "S"), camera("c2", "T"), camera("c3", "S")});
        recorder.broadcast("NotifyExternalDeviceAdd", QVariantMap{{"relayPath", "S"}, {"idList", QStringList{"x1"}}});

        // Inserted cameras are asked for with one request per station.
        QCOMPARE(recorder.sequence(),
                 (QStringList{"RetrieveCamInfo(S)[c1,c3]", "RetrieveCamInfo(T)[c2]", "RetrieveExternalDevs(S)"}));
    }
};

QTEST_MAIN(TestNodeDataCommander)
#include "tst_nodedatacommander.moc"
