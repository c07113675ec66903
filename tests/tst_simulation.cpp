#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include "PluginBase.h"
#include "RequestContexts.h"
#include "ScenarioGenerator.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

namespace {

// Stands in for the module: records what the framework delivers and frees each
// context after its answer, as the module does.
class RecordingPlugin : public PluginBase
{
public:
    struct Answer
    {
        QString command;
        QVariant data;
        void* context;
        QString returnCode;
    };
    struct Broadcast
    {
        QString event;
        QVariant data;
    };

    QList<Answer> answers;
    QList<Broadcast> broadcasts;
    QStringList traffic; // answers and broadcasts by name, in arrival order

    bool InitialPluginBase(QQmlContext*, void*, FrameworkWrapperBase*) override { return true; }
    void EventProcessor(QString event, qint64, int, int, QVariant data, const QString&) override
    {
        traffic << event;
        broadcasts.append({event, data});
    }
    void EventProcessorEx(QString, ConfigBase*, qint64, int, int, QVariant, const QString&) override {}
    void CommandProcessor(QString command, QVariant respData, void* pvContext, QString returnCode, QString, bool,
                          const QString&) override
    {
        traffic << command;
        answers.append({command, respData, pvContext, returnCode});
        RequestContexts::release(command, pvContext);
    }
    void CommandProcessorEx(QString, ConfigBase*, QVariant, void*, QString, QString, bool, const QString&) override {}
    bool Init(QQmlContext*) override { return true; }
    void PluginServerConnected() override {}
    void PluginServerDisconnected() override {}
};

QString sampleFile()
{
    return qEnvironmentVariable("TOPOLOGY_EXAMPLES_DIR") + "/sample-installation.json";
}

// Reads a value out of nested maps and lists: "GetFailoverStatusRes.Name", "cameras.0.camUID".
QVariant valueAt(QVariant value, const QString& path)
{
    for (const QString& step : path.split(QLatin1Char('.'), Qt::SkipEmptyParts)) {
        bool isIndex = false;
        const int index = step.toInt(&isIndex);
        value = isIndex ? value.toList().value(index) : value.toMap().value(step);
    }
    return value;
}

QVariantMap relay(const QString& station)
{
    return {{"relayPath", station}};
}

} // namespace

class TestSimulation : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void answersArriveThroughTheEventLoopWithTheirContext();
    void answerShapes_data();
    void answerShapes();
    void failuresAreInjectedAsOftenAsAsked();
    void generatorBuildsTheRequestedInstallation_data();
    void generatorBuildsTheRequestedInstallation();
    void timelineReplaysBroadcastsInOrder();
    void localDatabasesAreRead();
    void inconsistentScenariosAreRejected_data();
    void inconsistentScenariosAreRejected();

private:
    int send(const QString& command, const QVariant& arguments = QVariant());
    RecordingPlugin::Answer answerTo(const QString& command, const QVariant& arguments = QVariant());

    SimulatedFramework* m_framework = nullptr;
    SimulatedInstallation* m_installation = nullptr;
    RecordingPlugin* m_plugin = nullptr;
};

void TestSimulation::init()
{
    m_plugin = new RecordingPlugin;
    m_framework = new SimulatedFramework;
    m_framework->setPlugin(m_plugin);
    m_installation = new SimulatedInstallation;
    QVERIFY2(m_installation->loadFile(sampleFile()), qPrintable(m_installation->errorString()));
    m_installation->attach(m_framework);
}

void TestSimulation::cleanup()
{
    delete m_installation;
    delete m_framework;
    delete m_plugin;
}

// Sends a request with the context the module would give it.
int TestSimulation::send(const QString& command, const QVariant& arguments)
{
    const QVariantMap map = arguments.toMap();
    void* context = nullptr;
    if (RequestContexts::carriesStationId(command))
        context = RequestContexts::makeStationContext(map.value("relayPath").toString());
    else if (RequestContexts::carriesArguments(command))
        context = RequestContexts::makeArgumentsContext(map);
    m_framework->SendRequest(nullptr, "test", command, arguments, context, false, QString());
    return int(m_framework->requests().size()) - 1;
}

RecordingPlugin::Answer TestSimulation::answerTo(const QString& command, const QVariant& arguments)
{
    const int before = int(m_plugin->answers.size());
    send(command, arguments);
    if (!QTest::qWaitFor([&] { return m_plugin->answers.size() > before; }, 2000))
        return {command, QVariant(), nullptr, "no answer"};
    return m_plugin->answers.last();
}

void TestSimulation::answersArriveThroughTheEventLoopWithTheirContext()
{
    // Given two requests sent one after the other
    const int topology = send("RetrieveAllDeviceTopology", relay(""));
    send("whoAmI");
    void* const topologyContext = m_framework->requests().at(topology).context;

    // then nothing is answered from inside the request calls
    QVERIFY(m_plugin->answers.isEmpty());
    QCOMPARE(m_installation->pendingAnswers(), 2);

    // and both answers come from the event loop, in order, the context handed back unchanged
    QTRY_COMPARE(m_plugin->answers.size(), 2);
    QCOMPARE(m_plugin->traffic, (QStringList{"RetrieveAllDeviceTopology", "whoAmI"}));
    QCOMPARE(m_plugin->answers.at(0).context, topologyContext);
    QCOMPARE(m_plugin->answers.at(1).data.toString(), QString("sample-client-01"));
    QCOMPARE(m_installation->pendingAnswers(), 0);
    // and the whole topology of a station is the station and everything below it, each under its own key
    const QVariantMap all = m_plugin->answers.at(0).data.toMap();
    QCOMPARE(all.keys(), (QStringList{"", "S_1", "S_1/S_3", "S_2", "S_9"}));
    for (auto it = all.cbegin(); it != all.cend(); ++it)
        QCOMPARE(valueAt(it.value(), "parentStationID").toString(), it.key());
    QCOMPARE(answerTo("RetrieveAllDeviceTopology", relay("S_1")).data.toMap().keys(), (QStringList{"S_1", "S_1/S_3"}));
    // An unknown station is an error of its own, not an empty installation
    QCOMPARE(answerTo("RetrieveAllDeviceTopology", relay("S_7")).returnCode, ScenarioAnswers::unknownStationCode);

    // When the framework forgets its requests before a delayed answer is due
    m_installation->setAnswerDelay("RetrieveServerInfo", 30);
    send("RetrieveServerInfo", relay(""));
    m_framework->clearRequests();
    send("whoAmI"); // now recorded under the same index
    // then the late answer is not delivered to the request that took its index
    QTRY_COMPARE(m_installation->pendingAnswers(), 0);
    QCOMPARE(m_plugin->traffic.mid(4), QStringList{"whoAmI"});
}

void TestSimulation::answerShapes_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QVariant>("arguments");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QVariant>("expected");

    const QVariant root = relay("");
    const QVariant warehouse = relay("S_1");
    const QVariant nvr = relay("S_2");
    auto row = [](const char* name, const QString& command, const QVariant& arguments, const QString& path,
                  const QVariant& expected) { QTest::newRow(name) << command << arguments << path << expected; };

    row("login station", "RetrieveLoginStationInfo", QVariant(), "stationName", "s_Headquarters");
    row("station password as hex", "RetrieveDeviceTopology", root, "nodeList.12.stationPassword",
        QString::fromLatin1(QByteArray("fake-wh-pass").toHex()));
    row("PTZ capability", "RetrieveDeviceTopology", root, "nodeList.6.mechPtzCap.suppPTZ", true);
    row("auto tracking renamed", "RetrieveDeviceTopology", root, "nodeList.6.suppAutoTracking", true);
    row("channel", "RetrieveDeviceTopology", relay("S_1/S_3"), "nodeList.1.channelID", 2);
    row("camera sequence", "RetrieveAllCamInfo", nvr, "cameraSequence.5", "S_2/C_6");
    row("default url names the camera", "RetrieveAllCamInfo", nvr, "cameras.2.camInfo.url",
        "rtsp://192.168.10.40:554/channel/C_3");
    row("station information", "RetrieveAllCamInfo", root, "stations.0.info.DINum", 1);
    const QVariantMap c8{{"relayPath", ""}, {"camIDList", QStringList{"C_8"}}};
    row("listed camera only", "RetrieveCamInfo", c8, "cameraSequence", QVariantList{"C_8"});
    row("edge recording details", "RetrieveCamInfo", c8, "cameras.0.camInfo.useEdgeRecording", true);
    row("node info of every station", "RetrieveAllNodeInfo", QVariant(), "S_1/S_3.cameras.3.camUID", "S_1/S_3/C_4");
    row("server information", "RetrieveServerInfo", nvr, "isNVRStation", true);
    row("server information relay path", "RetrieveServerInfo", nvr, "relayPath", "S_2");
    row("location of listed channels", "QryCamLocation", root, "locInfo.2.locs.2.Alias", "C_13");
    row("rules", "RetrieveRuleInfo", root, "cameras.0.ruleList.0.ruleType", "LineCrossing");
    row("external device", "RetrieveExternalDevs", root, "0.DONameList", QStringList{"Alarm Light", "Buzzer"});
    row("camera DI names", "GetDiDoRefName", root, "0.diChangeList.0.RefName", "Door Contact");
    row("station DO names", "GetDiDoRefName", root, "1.doChangeList.0.RefName", "Siren");
    row("wifi", "GetWifiStatus", nvr, "Status", "Connected");
    row("failover of the server below", "GetFailoverStatus", root, "GetFailoverStatusRes.Name", "F_9");
    row("no redundant server below", "GetFailoverStatus", warehouse, "GetFailoverStatusRes", QVariant());
    row("redundant servers", "GetRedundantServersStatus", root, "0.Status", "Standby");
    row("logical tree camera", "retrieveLogicalTree", root, "children.1.children.2.children.0.nodeUID", "S_1/S_3/C_1");
    row("logical tree joystick key", "retrieveLogicalTree", root, "children.0.children.2.joystickKey", 3);
    row("web pages", "getAllWebPage", QVariant(), "1.pageName", "Access Control Panel");
    row("request the scenario does not know", "moveLogicalTreeNode", QVariant(), "", QVariantMap());
}

void TestSimulation::answerShapes()
{
    QFETCH(QString, command);
    QFETCH(QVariant, arguments);
    QFETCH(QString, path);
    QFETCH(QVariant, expected);

    const RecordingPlugin::Answer answer = answerTo(command, arguments);
    QCOMPARE(answer.returnCode, "0");
    QCOMPARE(valueAt(answer.data, path), expected);
}

void TestSimulation::failuresAreInjectedAsOftenAsAsked()
{
    const QString frameworkError = "{6A1F3C8E-4B2D-4E7A-9C05-B8D2E1F47A36}FrameworkInternalError";
    m_installation->failRequest("RetrieveAllCamInfo", frameworkError, 2);
    m_installation->failRequest("GetWifiStatus", "80260099", -1);
    m_installation->dropRequest("RetrieveServerInfo");
    QCOMPARE(m_installation->remainingFailures("GetWifiStatus"), -1);

    QStringList codes;
    for (int i = 0; i < 3; ++i)
        codes << answerTo("RetrieveAllCamInfo", relay("")).returnCode;
    QCOMPARE(codes, (QStringList{frameworkError, frameworkError, "0"}));
    QCOMPARE(m_plugin->answers.at(0).data, QVariant(QVariantMap()));
    QCOMPARE(m_plugin->answers.at(0).context, m_framework->requests().at(0).context);
    QCOMPARE(m_installation->remainingFailures("RetrieveAllCamInfo"), 0);

    // A dropped request stays unanswered; the framework still owns its context
    const int dropped = send("RetrieveServerInfo", relay(""));
    QTest::qWait(30);
    QVERIFY(!m_framework->isAnswered(dropped));
    QCOMPARE(m_installation->pendingAnswers(), 0);
    QCOMPARE(answerTo("RetrieveServerInfo", relay("")).returnCode, QString("0"));

    // Failures declared by the scenario, for one station; loading forgets the earlier ones
    QVariantMap scenario = ScenarioGenerator::generate({});
    scenario.insert("failures", QVariantList{QVariantMap{{"request", "RetrieveAllDeviceTopology"}, {"code", "80260006"},
                                                         {"station", "S_2"}, {"times", 1}}});
    QVERIFY(m_installation->load(scenario));
    for (const char* station : {"S_1", "S_2", "S_2"})
        codes << answerTo("RetrieveAllDeviceTopology", relay(station)).returnCode;
    QCOMPARE(codes.mid(3), (QStringList{"0", "80260006", "0"}));
    QCOMPARE(m_installation->remainingFailures("GetWifiStatus"), 0);
}

void TestSimulation::generatorBuildsTheRequestedInstallation_data()
{
    QTest::addColumn<int>("stations");
    QTest::addColumn<int>("cameras");
    QTest::addColumn<int>("depth");
    QTest::addColumn<int>("nvrs");
    QTest::addColumn<int>("redundant");
    QTest::addColumn<int>("removed");

    QTest::newRow("flat") << 10 << 16 << 1 << 0 << 0 << 0;
    QTest::newRow("nested") << 7 << 3 << 3 << 2 << 1 << 2;
    QTest::newRow("login station only") << 0 << 5 << 4 << 0 << 0 << 1;
    QTest::newRow("large") << 200 << 64 << 4 << 20 << 2 << 3;
}

void TestSimulation::generatorBuildsTheRequestedInstallation()
{
    QFETCH(int, stations);
    QFETCH(int, cameras);
    QFETCH(int, depth);
    QFETCH(int, nvrs);
    QFETCH(int, redundant);
    QFETCH(int, removed);

    ScenarioGenerator::Options options;
    options.stations = stations;
    options.camerasPerStation = cameras;
    options.depth = depth;
    options.nvrs = nvrs;
    options.redundantServers = redundant;
    options.removedCamerasPerStation = removed;
    const QVariantMap document = ScenarioGenerator::generate(options);
    QCOMPARE(ScenarioGenerator::generate(options), document);

    Scenario scenario;
    QString error;
    QVERIFY2(scenario.read(document, &error), qPrintable(error));
    QCOMPARE(int(scenario.stations().size()), ScenarioGenerator::stationCount(options));
    QCOMPARE(scenario.cameraCount(), ScenarioGenerator::cameraCount(options));
    QCOMPARE(scenario.cameraCount(), (1 + stations + nvrs) * cameras);
    QCOMPARE(scenario.removedCameraCount(), (1 + stations + nvrs) * removed);

    int deepest = 0;
    int nvrCount = 0;
    int redundantCount = 0;
    for (const ScenarioStation& station : scenario.stations()) {
        deepest = qMax(deepest, station.level);
        nvrCount += station.isNvr() ? 1 : 0;
        redundantCount += station.isRedundantServer() ? 1 : 0;
    }
    QCOMPARE(deepest, stations > 0 ? qMin(depth, stations) : (nvrs + redundant > 0 ? 1 : 0));
    QCOMPARE(nvrCount, nvrs);
    QCOMPARE(redundantCount, redundant);

    // Every station of the installation is reachable from the login station's answer
    const ScenarioAnswers answers(scenario);
    QCOMPARE(answers.allDeviceTopology(*scenario.station(QString())).size(), scenario.stations().size());
}

void TestSimulation::timelineReplaysBroadcastsInOrder()
{
    QStringList expected;
    const QList<ScenarioBroadcast> timeline = m_installation->scenario().timeline();
    for (const ScenarioBroadcast& broadcast : timeline)
        expected << broadcast.event;
    QVERIFY(expected.contains("NotifyNodeRemove"));

    QSignalSpy finished(m_installation, &SimulatedInstallation::timelineFinished);
    m_installation->setTimelineTimeScale(0.0);
    m_installation->startTimeline();
    QVERIFY(m_plugin->broadcasts.isEmpty());
    QVERIFY(finished.wait(2000));
    QCOMPARE(m_plugin->traffic, expected);
    QCOMPARE(m_plugin->broadcasts.at(4).data, timeline.at(4).payload);

    // Delays hold each entry back after the one before; stopping ends the replay
    QVariantMap scenario = ScenarioGenerator::generate({});
    scenario.insert("timeline",
                    QVariantList{QVariantMap{{"event", "First"}}, QVariantMap{{"event", "Second"}, {"delayMs", 60}},
                                 QVariantMap{{"event", "Third"}, {"delayMs", 0}}});
    QVERIFY(m_installation->load(scenario));
    m_installation->setTimelineTimeScale(1.0);
    m_plugin->traffic.clear();
    QElapsedTimer clock;
    clock.start();
    m_installation->startTimeline();
    QTRY_COMPARE(m_plugin->traffic.size(), 3);
    QVERIFY2(clock.elapsed() >= 55, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(m_plugin->traffic, (QStringList{"First", "Second", "Third"}));

    m_plugin->traffic.clear();
    m_installation->startTimeline();
    QTRY_COMPARE(m_plugin->traffic.size(), 1);
    m_installation->stopTimeline();
    QTest::qWait(100);
    QCOMPARE(m_plugin->traffic, QStringList{"First"});
}

void TestSimulation::localDatabasesAreRead()
{
    const QList<ScenarioLocalDatabase> databases = m_installation->scenario().localDatabases();
    QCOMPARE(databases.size(), 2);
    QCOMPARE(databases.at(0).name, QStringLiteral("Lobby Export"));
    QCOMPARE(databases.at(0).recPath, QStringLiteral("/media/usb0/lobby-export"));
    QCOMPARE(databases.at(0).cameras.value(QStringLiteral("C_9")).toMap(), (QVariantMap{{"camName", "Reception"}}));
    QVERIFY(databases.at(1).recPath.isEmpty());
    QCOMPARE(databases.at(1).cameras.keys(), (QStringList{"CH01", "CH02", "Doorbell"}));
}

void TestSimulation::inconsistentScenariosAreRejected_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QString>("message");

    QTest::newRow("camera uid twice") << "duplicateCamera" << "repeated uid \"C_1\"";
    QTest::newRow("logical tree names an unknown camera") << "unknownTreeCamera" << "unknown camera \"S_1/C_99\"";
    QTest::newRow("location names an unknown camera") << "unknownLocationCamera" << "names unknown camera";
    QTest::newRow("misspelt station key") << "misspeltKey" << "unknown key \"isNvr\"";
    QTest::newRow("failover on a plain station") << "failoverOnStation" << "is no redundant server";
    QTest::newRow("failure for an unknown station") << "failureStation" << "unknown station \"S_77\"";
    QTest::newRow("sub-station without id") << "stationWithoutId" << "without a valid \"id\"";
    QTest::newRow("misspelt local database camera key") << "localDatabaseKey" << "unknown key \"camname\"";
    QTest::newRow("camera folder under a database folder") << "localDatabaseFolders" << "set by the database already";
}

void TestSimulation::inconsistentScenariosAreRejected()
{
    QFETCH(QString, change);
    QFETCH(QString, message);

    QVariantMap document = ScenarioGenerator::generate({});
    QVariantMap login = document.value(QStringLiteral("loginStation")).toMap();
    QVariantList stations = login.value(QStringLiteral("stations")).toList();
    QVariantMap first = stations.at(0).toMap();
    QVariantList cameras = first.value(QStringLiteral("cameras")).toList();
    if (change == QLatin1String("duplicateCamera"))
        cameras.append(cameras.at(0));
    else if (change == QLatin1String("unknownTreeCamera"))
        document.insert(QStringLiteral("logicalTree"), QVariantMap{{"children", QStringList{"S_1/C_99"}}});
    else if (change == QLatin1String("unknownLocationCamera"))
        first.insert(QStringLiteral("locations"), QVariantList{QVariantMap{{"id", "Loc1"}, {"cameras", QStringList{"C_99"}}}});
    else if (change == QLatin1String("misspeltKey"))
        first.insert(QStringLiteral("isNvr"), true);
    else if (change == QLatin1String("failoverOnStation"))
        first.insert(QStringLiteral("failover"), QVariantMap{{"status", "Running"}});
    else if (change == QLatin1String("failureStation"))
        document.insert(QStringLiteral("failures"), QVariantList{QVariantMap{{"request", "GetWifiStatus"},
                                                                             {"code", "1"}, {"station", "S_77"}}});
    else if (change == QLatin1String("stationWithoutId"))
        first.remove(QStringLiteral("id"));
    else if (change == QLatin1String("localDatabaseKey"))
        document.insert(QStringLiteral("localDatabases"),
                        QVariantList{QVariantMap{{"name", "Export"},
                                                 {"cameras", QVariantMap{{"C_1", QVariantMap{{"camname", "Lobby"}}}}}}});
    else if (change == QLatin1String("localDatabaseFolders"))
        document.insert(QStringLiteral("localDatabases"),
                        QVariantList{QVariantMap{{"name", "Export"}, {"recPath", "/media/export"},
                                                 {"cameras", QVariantMap{{"C_1", QVariantMap{{"recPath", "/else"}}}}}}});
    first.insert(QStringLiteral("cameras"), cameras);
    stations[0] = first;
    login.insert(QStringLiteral("stations"), stations);
    document.insert(QStringLiteral("loginStation"), login);

    QVERIFY(!m_installation->load(document));
    QVERIFY2(m_installation->errorString().contains(message), qPrintable(m_installation->errorString()));
    // The installation loaded before stays in place
    QCOMPARE(m_installation->scenario().cameraCount(), 30);
    QCOMPARE(answerTo(QStringLiteral("whoAmI")).data.toString(), QStringLiteral("sample-client-01"));
}

QTEST_GUILESS_MAIN(TestSimulation)
#include "tst_simulation.moc"
