#include <QSignalSpy>
#include <QTest>

#include "PluginBase.h"
#include "ReplyParts.h"
#include "ScenarioGenerator.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

// The simulator itself is exercised by every end-to-end suite; this one keeps
// what those cannot notice: how scenario files are checked, how often injected
// failures come back, and the timeline's order.

namespace {

// Stands in for the module: records what the framework delivers.
class RecordingPlugin : public PluginBase
{
public:
    QStringList traffic; // answers and broadcasts by name, in arrival order
    QStringList returnCodes;
    QVariant lastAnswer;
    QVariantList parts; // every part delivered, the last part of each answer included
    QList<bool> completed;

    bool InitialPluginBase(QQmlContext*, void*, FrameworkWrapperBase*) override { return true; }
    void EventProcessor(QString event, qint64, int, int, QVariant, const QString&) override { traffic << event; }
    void EventProcessorEx(QString, ConfigBase*, qint64, int, int, QVariant, const QString&) override {}
    void CommandProcessor(QString command, QVariant respData, void*, QString returnCode, QString, bool last,
                          const QString&) override
    {
        parts << respData;
        completed << last;
        if (!last)
            return;
        traffic << command;
        returnCodes << returnCode;
        lastAnswer = respData;
    }
    void CommandProcessorEx(QString, ConfigBase*, QVariant, void*, QString, QString, bool, const QString&) override {}
    bool Init(QQmlContext*) override { return true; }
    void PluginServerConnected() override {}
    void PluginServerDisconnected() override {}
};

// The sample installation answering through the framework to the recording plug-in.
struct Simulation
{
    Simulation()
    {
        framework.setPlugin(&plugin);
        loaded = installation.loadFile(qEnvironmentVariable("TOPOLOGY_EXAMPLES_DIR") + "/sample-installation.json");
        installation.attach(&framework);
    }
    // Sends a request; true once its answer arrived.
    bool answer(const QString& command, const char* station = nullptr)
    {
        const QVariantMap arguments = station ? QVariantMap{{"relayPath", station}} : QVariantMap();
        const qsizetype before = plugin.returnCodes.size();
        framework.SendRequest(nullptr, "test", command, station ? QVariant(arguments) : QVariant(), nullptr, false, QString());
        return QTest::qWaitFor([&] { return plugin.returnCodes.size() > before; }, 2000);
    }

    RecordingPlugin plugin;
    SimulatedFramework framework;
    SimulatedInstallation installation;
    bool loaded = false;
};

} // namespace

class TestSimulation : public QObject
{
    Q_OBJECT

private slots:
    void failuresAreInjectedAsOftenAsAsked()
    {
        Simulation sim;
        QVERIFY(sim.loaded);
        const QString frameworkError = "{6A1F3C8E-4B2D-4E7A-9C05-B8D2E1F47A36}FrameworkInternalError";
        sim.installation.failRequest("RetrieveAllCamInfo", frameworkError, 2);
        sim.installation.failRequest("GetWifiStatus", "80260099", -1);
        for (int i = 0; i < 3; ++i)
            QVERIFY(sim.answer("RetrieveAllCamInfo", ""));
        QCOMPARE(sim.plugin.returnCodes, (QStringList{frameworkError, frameworkError, "0"}));
        QCOMPARE(sim.installation.remainingFailures("RetrieveAllCamInfo"), 0);
        QCOMPARE(sim.installation.remainingFailures("GetWifiStatus"), -1);

        // Failures declared by the scenario hit their station only; loading forgets the earlier ones.
        QVariantMap scenario = ScenarioGenerator::generate({});
        scenario.insert("failures", QVariantList{QVariantMap{{"request", "RetrieveAllDeviceTopology"}, {"code", "80260006"},
                                                             {"station", "S_2"}, {"times", 1}}});
        QVERIFY(sim.installation.load(scenario));
        for (const char* station : {"S_1", "S_2", "S_2"})
            QVERIFY(sim.answer("RetrieveAllDeviceTopology", station));
        QCOMPARE(sim.plugin.returnCodes.mid(3), (QStringList{"0", "80260006", "0"}));
        QCOMPARE(sim.installation.remainingFailures("GetWifiStatus"), 0);
    }

    void answersInPartsJoinIntoTheWholeAnswer_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("splits"); // false: empty parts, then the whole answer
        QTest::newRow("list") << "getAllWebPage" << true;
        QTest::newRow("map keyed by station") << "RetrieveAllNodeInfo" << true;
        QTest::newRow("map carrying lists") << "QryCamLocation" << true;
        QTest::newRow("text") << "whoAmI" << false;
    }
    void answersInPartsJoinIntoTheWholeAnswer()
    {
        QFETCH(QString, command);
        QFETCH(bool, splits);
        Simulation sim; // the login station's answers
        QVERIFY(sim.loaded);
        const ServerAnswer whole = sim.installation.answers().answer(command, QVariant());
        sim.installation.setAnswerParts(command, 3);

        QVERIFY(sim.answer(command));

        QCOMPARE(sim.plugin.completed, (QList<bool>{false, false, true}));
        QVariant joined;
        for (const QVariant& part : std::as_const(sim.plugin.parts))
            joined = ReplyParts::merged(joined, part);
        QCOMPARE(joined, whole.data);
        // No part is the whole answer, or it comes last after empty parts.
        QCOMPARE(sim.plugin.parts.indexOf(whole.data), splits ? -1 : 2);
        QVERIFY(splits || sim.plugin.parts.mid(0, 2) == QVariantList(2, QVariant(QString())));
    }

    void timelineReplaysBroadcastsInOrder()
    {
        Simulation sim;
        QVERIFY(sim.loaded);
        QStringList expected;
        for (const ScenarioBroadcast& broadcast : sim.installation.scenario().timeline())
            expected << broadcast.event;
        QSignalSpy finished(&sim.installation, &SimulatedInstallation::timelineFinished);
        sim.installation.setTimelineTimeScale(0.0);
        sim.installation.startTimeline();
        QVERIFY(sim.plugin.traffic.isEmpty()); // never from inside the call
        QVERIFY(finished.wait(2000));
        QCOMPARE(sim.plugin.traffic, expected);
    }

    void inconsistentScenariosAreRejected_data()
    {
        QTest::addColumn<QString>("key"); // "station.<key>" is a key of the first sub-station
        QTest::addColumn<QVariant>("value"); // invalid: the key is removed
        QTest::addColumn<QString>("message");

        const QVariantList cameras = ScenarioGenerator::generate({})
                                         .value("loginStation").toMap().value("stations").toList().at(0)
                                         .toMap().value("cameras").toList();
        auto row = [](const char* name, const char* key, const QVariant& value, const char* message) {
            QTest::newRow(name) << QString(key) << value << QString(message);
        };
        row("camera uid twice", "station.cameras", cameras + cameras.mid(0, 1), "repeated uid \"C_1\"");
        row("logical tree names an unknown camera", "logicalTree", QVariantMap{{"children", QStringList{"S_1/C_99"}}},
            "unknown camera \"S_1/C_99\"");
        row("location names an unknown camera", "station.locations",
            QVariantList{QVariantMap{{"id", "Loc1"}, {"cameras", QStringList{"C_99"}}}}, "names unknown camera");
        row("misspelt station key", "station.isNvr", true, "unknown key \"isNvr\"");
        row("failover on a plain station", "station.failover", QVariantMap{{"status", "Running"}}, "is no redundant server");
        row("failure for an unknown station", "failures",
            QVariantList{QVariantMap{{"request", "GetWifiStatus"}, {"code", "1"}, {"station", "S_77"}}},
            "unknown station \"S_77\"");
        row("sub-station without id", "station.id", QVariant(), "without a valid \"id\"");
        row("answers in no part", "answerParts", 0, "\"answerParts\" must be a number of at least 1");
        row("misspelt local database camera key", "localDatabases",
            QVariantList{QVariantMap{{"name", "Export"}, {"cameras", QVariantMap{{"C_1", QVariantMap{{"camname", "Lobby"}}}}}}},
            "unknown key \"camname\"");
        row("camera folder under a database folder", "localDatabases",
            QVariantList{QVariantMap{{"name", "Export"}, {"recPath", "/media/export"},
                                     {"cameras", QVariantMap{{"C_1", QVariantMap{{"recPath", "/else"}}}}}}},
            "set by the database already");
    }
    void inconsistentScenariosAreRejected()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, value);
        QFETCH(QString, message);
        Simulation sim;
        QVERIFY(sim.loaded);

        QVariantMap document = ScenarioGenerator::generate({});
        QVariantMap login = document.value("loginStation").toMap();
        QVariantList stations = login.value("stations").toList();
        QVariantMap first = stations.at(0).toMap();
        QVariantMap& spoilt = key.startsWith("station.") ? first : document;
        if (value.isValid())
            spoilt.insert(key.section('.', -1), value);
        else
            spoilt.remove(key.section('.', -1));
        stations[0] = first;
        login.insert("stations", stations);
        document.insert("loginStation", login);

        QVERIFY(!sim.installation.load(document));
        QVERIFY2(sim.installation.errorString().contains(message), qPrintable(sim.installation.errorString()));
        // The installation loaded before stays in place
        QCOMPARE(sim.installation.scenario().cameraCount(), 30);
        QVERIFY(sim.answer("whoAmI"));
        QCOMPARE(sim.plugin.lastAnswer.toString(), QStringLiteral("sample-client-01"));
    }

};

QTEST_GUILESS_MAIN(TestSimulation)
#include "tst_simulation.moc"
