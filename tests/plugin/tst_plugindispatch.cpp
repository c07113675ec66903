#include "DeviceSortFilterModel.h"
#include "ModuleLimits.h"
#include "ModuleLog.h"
#include "PluginTopologyMgt.h"
#include "QorbLogUtlStub.h"
#include "SampleConnection.h"
#include "SimulatedFramework.h"
#include "TreeToListProxyModel.h"

#include <QStringDecoder>
#include <QtTest>

#include <utility>

// Replies and broadcasts reach the module through two entry points and are
// routed by name; these tests pin the routing rules the rest relies on, and
// what the module does with absurd input: trees far deeper than any
// installation, texts of megabytes, identifiers that try to break log lines.
class PluginDispatchTest : public QObject
{
    Q_OBJECT
private:
    struct Fixture
    {
        Fixture()
        {
            framework.setPlugin(&plugin);
            plugin.InitialPluginBase(nullptr, &hostHandle, &framework);
            QorbLogUtlStub::clear();
        }
        void reply(const QString& command, const QVariant& data, void* context = nullptr)
        {
            plugin.CommandProcessor(command, data, context, QStringLiteral("0"), QString(), true, QString());
        }
        int hostHandle = 0;
        SimulatedFramework framework;
        PluginTopologyMgt plugin;
    };

    static QList<QByteArray> logged() { return QorbLogUtlStub::messages(); }

    static constexpr int kDepth = ModuleLimits::kMaxTreeDepth;

    // Qt frees nested values by recursion, so a test must take a value a
    // hundred thousand levels deep apart level by level. Should the module still
    // hold a level, freeing it later recurses and the test crashes.
    static void releaseNested(QVariant value)
    {
        while (value.isValid()) {
            QVariantList inside = value.typeId() == QMetaType::QVariantMap ? value.toMap().values() : value.toList();
            value = QVariant();
            for (QVariant& child : inside) {
                if (child.typeId() == QMetaType::QVariantMap || child.typeId() == QMetaType::QVariantList) {
                    value = std::exchange(child, QVariant());
                    break;
                }
            }
        }
    }

    // A logical tree whose folders F1 (the root) .. F<levels> each hold the next.
    static QVariantMap folderChain(int levels)
    {
        QVariant below;
        for (int level = levels; level >= 1; --level) {
            QVariantMap folder{{"treeNodeId", QStringLiteral("F%1").arg(level)}, {"name", "Folder"}};
            if (below.isValid())
                folder.insert("children", QVariantList{below});
            below = folder;
        }
        return below.toMap();
    }

    // The levels of a chain, following the first row down.
    static int depthOf(const QAbstractItemModel* model)
    {
        int depth = 0;
        for (QModelIndex node = model->index(0, 0); node.isValid(); node = model->index(0, 0, node))
            ++depth;
        return depth;
    }

    static QList<QByteArray> errorsLogged()
    {
        QList<QByteArray> errors;
        for (const QorbLogUtlStub::Line& line : QorbLogUtlStub::lines()) {
            if (line.level == 2)
                errors << line.message;
        }
        return errors;
    }

    static QByteArray limitLine(const char* entry, const char* input, const char* lost)
    {
        return QByteArray(entry) + ", " + input + " over the module's limits: " + lost;
    }

    // Connected to a login station with the cameras C_1 and C_2, whose whole
    // topology has been answered; its camera information, locations and two
    // re-reads of its topology are still owed. One web page, WP_9, is shown.
    struct Connected : Fixture
    {
        Connected()
        {
            const auto camera = [](const char* id) {
                return QVariantMap{{"nodeUID", id}, {"nodeName", id}, {"nodeType", "Camera"}};
            };
            plugin.PluginServerConnected();
            framework.respond(framework.indexOf("RetrieveLoginStationInfo"), QVariantMap{{"stationName", "s_HQ"}});
            framework.respond(framework.indexOf("RetrieveAllDeviceTopology"),
                              QVariantMap{{"", QVariantMap{{"parentStationID", ""},
                                                           {"nodeList", QVariantList{camera("C_1"), camera("C_2")}}}}});
            plugin.retrieveDeviceTopology(QString());
            plugin.retrieveAllDeviceTopology(QString());
            framework.broadcast("NotifyWebPageChanged", QVariantList{QVariantMap{{"id", "WP_9"}, {"pageName", "Old"}}});
            QorbLogUtlStub::clear();
        }
        QAbstractItemModelTester deviceModelTester{plugin.getStandardTopologyModel(),
                                                   QAbstractItemModelTester::FailureReportingMode::Fatal};
        QObject owner;
        QAbstractItemModelTester webPageTester{plugin.getWebPageTreeSortFilterModel(&owner),
                                               QAbstractItemModelTester::FailureReportingMode::Fatal};
    };

    // What a reply of that name leaves in the plug-in, among the cameras C_1..C_4
    // and the web pages WP_1, WP_2 and WP_9.
    static QStringList heldAfter(const QString& command, PluginTopologyMgt& plugin)
    {
        QStringList held;
        for (const char* id : {"C_1", "C_2", "C_3", "C_4", "WP_1", "WP_2", "WP_9"}) {
            const bool holds = command == "RetrieveAllCamInfo" ? !plugin.cameraInfoMap(id).isEmpty()
                : command == "QryCamLocation"                   ? !plugin.locationInfo(id).isEmpty()
                : command.endsWith("DeviceTopology")            ? plugin.deviceTree().contains(id)
                                                                : !plugin.queryWebPageName(id).isEmpty();
            if (holds)
                held << id;
        }
        return held;
    }

private slots:
    void init() { QorbLogUtlStub::setDisabled({}); }

    // A handler of this module reads a reply before the commander retries or
    // counts it; names match exactly, and a name without a handler still reaches
    // the commander.
    void repliesAreRoutedByExactNameBeforeTheCommander()
    {
        Fixture given;

        given.plugin.CommandProcessor(QStringLiteral("retrieveserverinfo"), QVariantMap(), nullptr,
                                      QStringLiteral("42"), QString(), true, QString());
        given.plugin.CommandProcessor(QStringLiteral("RetrieveServerInfo"), QVariantMap(), nullptr,
                                      QStringLiteral("42"), QString(), true, QString());
        given.plugin.CommandProcessor(QStringLiteral("RetrieveAllDeviceTopology"), QVariant(), nullptr,
                                      QStringLiteral("13"), QString(), true, QString());

        QCOMPARE(logged(), (QList<QByteArray>{
                               "PluginTopologyMgt::HandleRetrieveSrvInfo, HandleRetrieveSrvInfo return code : 42",
                               "NodeDataCommander::commandProcessor, METHOD_SRV_INFO_RETRIEVE return code : 42",
                               "Retrieve All DeviceTopology failed. Start retry, returnCode:13, stationID:"}));
    }

    void replyInPartsEndsAsInOnePiece_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QVariantList>("parts");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QByteArray>("announcement"); // emitted once, with the last part
        QTest::addColumn<QByteArray>("flag"); // a retrieved flag the last part raises
        QTest::addColumn<QStringList>("sentAfter"); // the requests the last part makes the module send
        QTest::addColumn<QStringList>("held");
        const auto cameraInfo = [](const char* id) {
            return QVariantMap{{"relayPath", ""},
                               {"cameras", QVariantList{QVariantMap{{"camUID", id}, {"camInfo", QVariantMap{{"name", id}}}}}}};
        };
        const auto location = [](const char* id, const char* location) {
            const QVariantMap channel{{"Name", location}, {"Available", true}, {"Alias", id}, {"RefAlias", id}};
            return QVariantMap{{"relayPath", ""},
                               {"locInfo", QVariantList{QVariantMap{{"Name", location}, {"locs", QVariantList{channel}}}}}};
        };
        const auto nodes = [](const QString& station, const QStringList& ids) {
            QVariantList list;
            for (const QString& id : ids)
                list << QVariantMap{{"nodeUID", id}, {"nodeName", id}, {"nodeType", id.startsWith("S_") ? "Station" : "Camera"}};
            return QVariantMap{{"parentStationID", station}, {"nodeList", list}};
        };
        const auto page = [](const char* id) { return QVariantList{QVariantMap{{"id", id}, {"pageName", id}}}; };
        const QString frameworkFailure = "{6A1F3C8E-4B2D-4E7A-9C05-B8D2E1F47A36}FrameworkInternalError";
        const QStringList stationDetails{"RetrieveServerInfo", "GetRedundantServersStatus",
                                         "GetSKYRCloudConnectionTimeoutList"};

        QTest::newRow("camera information")
            << "RetrieveAllCamInfo" << QVariantList{cameraInfo("C_1"), cameraInfo("C_2")} << "0"
            << QByteArray(SIGNAL(deviceInfoRetrieved(QString))) << QByteArray("nodeInfoRetrieved")
            << QStringList{"SubscribeCamStatus", "RetrieveRuleInfo", "GetDiDoRefName", "RetrieveExternalDevs",
                           "SubscribeCameraEvent", "SubscribeStationDIDOEvent", "SubscribeExtIODeviceEvent"}
            << QStringList{"C_1", "C_2"};
        // The retry budget is spent once per reply.
        QTest::newRow("camera information, framework failure")
            << "RetrieveAllCamInfo" << QVariantList{QVariant(), QVariant()} << frameworkFailure
            << QByteArray(SIGNAL(refreshCameraInfoResp(bool,bool,QString,QString))) << QByteArray()
            << QStringList{"RetrieveAllCamInfo"} << QStringList();
        QTest::newRow("locations") << "QryCamLocation" << QVariantList{location("C_1", "Loc1"), location("C_2", "Loc2")}
                                   << "0" << QByteArray(SIGNAL(deviceInfoRetrieved(QString)))
                                   << QByteArray("locationRetrieved") << QStringList() << QStringList{"C_1", "C_2"};
        // The part that first brings nodes replaces the station's children, even after an empty part.
        QTest::newRow("station topology")
            << "RetrieveDeviceTopology" << QVariantList{nodes("", {}), nodes("", {"C_3"}), nodes("", {"C_4"})} << "0"
            << QByteArray(SIGNAL(stationConnectionStatusChanged(QString,bool,bool))) << QByteArray()
            << QStringList{"RetrieveAllCamInfo", "QryCamLocation"} + stationDetails << QStringList{"C_3", "C_4"};
        // The station processing needs every station of the answer at once.
        QTest::newRow("whole topology")
            << "RetrieveAllDeviceTopology"
            << QVariantList{QVariantMap{{"", nodes("", {"C_3", "S_1"})}}, QVariantMap{{"S_1", nodes("S_1", {})}}} << "0"
            << QByteArray(SIGNAL(stationInserted(QString,QString,QString))) << QByteArray()
            << QStringList{"QryCamLocation", "QryCamLocation", "RetrieveAllCamInfo"} + stationDetails
                   + QStringList{"GetFailoverStatus", "RetrieveAllCamInfo"} + stationDetails + QStringList{"GetFailoverStatus"}
            << QStringList{"C_3"};
        // Without a context, parts are told apart by the request name.
        QTest::newRow("web pages") << "getAllWebPage" << QVariantList{page("WP_1"), page("WP_2")} << "0"
                                   << QByteArray(SIGNAL(webPageChanged())) << QByteArray() << QStringList()
                                   << QStringList{"WP_1", "WP_2"};
    }
    void replyInPartsEndsAsInOnePiece()
    {
        QFETCH(QString, command);
        QFETCH(QVariantList, parts);
        QFETCH(QString, code);
        QFETCH(QByteArray, announcement);
        QFETCH(QByteArray, flag);
        QFETCH(QStringList, sentAfter);
        QFETCH(QStringList, held);
        Connected given;
        QSignalSpy announced(&given.plugin, announcement.constData());
        const int request = given.framework.lastIndexOf(command);
        const int sent = int(given.framework.requests().size());

        // After each part: how often the reply was announced, and whether the flag is up.
        QStringList seen, expected;
        for (qsizetype part = 0; part < parts.size(); ++part) {
            const bool last = part == parts.size() - 1;
            given.framework.respond(request, parts.at(part), code, last);
            seen << QString::number(announced.count())
                    + (flag.isEmpty() ? "" : given.plugin.property(flag.constData()).toBool() ? " up" : " down");
            expected << (last ? "1" : "0") + QString(flag.isEmpty() ? "" : last ? " up" : " down");
        }
        QCOMPARE(seen, expected);
        QCOMPARE(given.framework.commandNames().mid(sent), sentAfter);
        QCOMPARE(heldAfter(command, given.plugin), held);
    }

    void repliesWithContextsNoLongerHeldAreDropped_data()
    {
        QTest::addColumn<QString>("context");
        QTest::newRow("second last part") << "answered";
        QTest::newRow("after disconnecting") << "retired";
        QTest::newRow("made up") << "made up";
        QTest::newRow("made for another request") << "another request's";
    }
    void repliesWithContextsNoLongerHeldAreDropped()
    {
        QFETCH(QString, context);
        Connected given;
        const RecordedRequest locations = given.framework.requests().at(given.framework.indexOf("QryCamLocation"));
        QString madeUp = QStringLiteral("S_1");
        void* stale = locations.context;
        if (context == "answered")
            given.framework.respond(given.framework.indexOf("QryCamLocation"), QVariantMap());
        else if (context == "retired")
            given.plugin.PluginServerDisconnected();
        else if (context == "made up")
            stale = &madeUp;
        else
            stale = given.framework.requests().at(given.framework.indexOf("RetrieveAllCamInfo")).context;
        QorbLogUtlStub::clear();
        QSignalSpy announced(&given.plugin, &PluginTopologyMgt::deviceInfoRetrieved);
        QSignalSpy flag(&given.plugin, &PluginTopologyMgt::locationRetrievedChanged);
        const qsizetype sent = given.framework.requests().size();

        // A failure would be logged by its handler and retried by the commander.
        given.plugin.CommandProcessor(QStringLiteral("QryCamLocation"), QVariantMap{{"relayPath", ""}}, stale,
                                      QStringLiteral("500"), QString(), true, QString());

        QCOMPARE(logged(), QList<QByteArray>{
                               "PluginTopologyMgt::CommandProcessor, reply QryCamLocation dropped: its context is not held for it"});
        QCOMPARE(announced.count() + flag.count(), 0);
        QCOMPARE(given.framework.requests().size(), sent);
    }

    void whoAmIAnswerBecomesTheClientId()
    {
        Fixture given;
        given.plugin.PluginServerConnected();
        const int whoAmI = given.framework.lastIndexOf(QStringLiteral("whoAmI"));
        QVERIFY(whoAmI >= 0);
        QCOMPARE(given.framework.requests().at(whoAmI).context, nullptr);
        QCOMPARE(given.framework.requests().at(whoAmI).blocking, false);
        QorbLogUtlStub::clear();

        given.framework.respond(whoAmI, QStringLiteral("client-7"));
        given.plugin.CommandProcessor(QStringLiteral("whoAmI"), QStringLiteral("client-8"), nullptr,
                                      QStringLiteral("0"), QString(), true, QString());

        QCOMPARE(given.plugin.clientId(), QStringLiteral("client-8"));
        QCOMPARE(logged(), (QList<QByteArray>{"I'm client id (client-7).", "I'm client id (client-8)."}));

        // An identity over the text limit reads as empty and is named once; one
        // at the limit is taken, and written cut with a note of the rest.
        QorbLogUtlStub::clear();
        const QString atTextLimit(ModuleLimits::kMaxPayloadTextLength, QLatin1Char('y'));
        given.reply("whoAmI", QString(50 * 1024 * 1024, QLatin1Char('x')));
        QCOMPARE(given.plugin.clientId(), QString());
        given.reply("whoAmI", atTextLimit);
        QCOMPARE(given.plugin.clientId(), atTextLimit);
        QCOMPARE(logged(), (QList<QByteArray>{"I'm client id ().",
                                              limitLine("PluginTopologyMgt::CommandProcessor", "reply whoAmI",
                                                        "1 text(s) longer than 65536 characters dropped"),
                                              "I'm client id (" + QByteArray(256, 'y') + "...[65280 more characters])."}));
    }

    void exEntryPointsAndForeignTargetsChangeNothing()
    {
        Fixture given;
        QSignalSpy anySignal(&given.plugin, &PluginTopologyMgt::stationInserted);
        const QVariantMap loginStation{{QStringLiteral("stationName"), QStringLiteral("s_HQ")}};

        given.plugin.CommandProcessorEx(QStringLiteral("RetrieveLoginStationInfo"), nullptr, loginStation, nullptr,
                                        QStringLiteral("0"), QString(), true, QString());
        given.plugin.EventProcessorEx(QStringLiteral("NotifyStationInsert"), nullptr, 0, 0, 0, QVariantMap(), QString());
        given.plugin.EventProcessor(QStringLiteral("NotifyStationInsert"), 0, 0, 0,
                                    QVariantList{QVariantMap{{QStringLiteral("stationUID"), QStringLiteral("S9")}}},
                                    QStringLiteral("another-receiver"));

        QCOMPARE(anySignal.count(), 0);
        QCOMPARE(given.plugin.getStandardTopologyModel()->rowCount(), 0);
        QVERIFY(given.framework.requests().isEmpty());
        QVERIFY(logged().isEmpty());

        // The same broadcast addressed to everyone does reach the commander.
        given.plugin.EventProcessor(QStringLiteral("NotifyStationInsert"), 0, 0, 0,
                                    QVariantList{QVariantMap{{QStringLiteral("stationUID"), QStringLiteral("S9")}}}, QString());
        QCOMPARE(given.framework.commandNames(), QStringList{QStringLiteral("RetrieveDeviceTopology")});
    }

    void logLinesPassTheLibraryGateFirst()
    {
        Fixture given;
        QCOMPARE(QorbLogUtlStub::registeredModuleName(), QByteArray("PluginTopologyMgt"));
        QCOMPARE(QorbLogUtlStub::registrationValue(), 19);

        given.plugin.sendCommandToServer(QStringLiteral("A"), QVariant(), nullptr, false);
        given.framework.setAcceptsRequests(false);
        given.plugin.sendCommandToServer(QStringLiteral("B"), QVariant(), nullptr, false);
        const QList<QorbLogUtlStub::Line> lines = QorbLogUtlStub::lines();
        QCOMPARE(lines.size(), 1);
        QCOMPARE(lines.first().message, "SendCommand (B) failed");
        QCOMPARE(lines.first().level, 2);
        QCOMPARE(lines.first().moduleNumber, QorbLogUtlStub::kModuleNumber);
        QVERIFY(lines.first().sourceFile.endsWith("PluginTopologyMgt.cpp"));

        // Without a framework a send fails too; the direct "whoAmI" path stays silent.
        QorbLogUtlStub::clear();
        PluginTopologyMgt withoutFramework;
        withoutFramework.InitialPluginBase(nullptr, nullptr, nullptr);
        withoutFramework.sendCommandToServer(QStringLiteral("D"), QVariant(), nullptr, false);
        withoutFramework.PluginServerConnected();
        QCOMPARE(logged().value(0), "SendCommand (D) failed");
        QVERIFY(!logged().contains("SendCommand (whoAmI) failed"));

        // A disabled level is asked about but never written.
        QorbLogUtlStub::clear();
        QorbLogUtlStub::setDisabled({QorbLogUtlStub::kModuleNumber << 8 | 2});
        given.plugin.sendCommandToServer(QStringLiteral("C"), QVariant(), nullptr, false);
        QCOMPARE(QorbLogUtlStub::gateQueries(), 1);
        QVERIFY(QorbLogUtlStub::lines().isEmpty());
    }

    // Each text argument is escaped so that one call stays one line, then cut
    // with a note of how much was left out.
    void logArgumentsAreEscapedAndCut_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QByteArray>("written");
        QTest::newRow("control characters") << QStringLiteral("S_1\nB\r\t\x01\x7f") << QByteArray("S_1\\x0AB\\x0D\\x09\\x01\\x7F");
        QTest::newRow("separator and backslash") << QStringLiteral("a\u2028b\\x0A") << QByteArray("a\\xE2\\x80\\xA8b\\\\x0A");
        QTest::newRow("printable non-ASCII") << QStringLiteral("S\u00FCd \u6771") << QByteArray("S\xC3\xBC" "d \xE6\x9D\xB1");
        QTest::newRow("cut") << QString(300, QLatin1Char('a')) << QByteArray(256, 'a') + "...[44 more characters]";
        QTest::newRow("escape at the cut") << QString(255, QLatin1Char('a')) + QStringLiteral("\nb")
                                           << QByteArray(255, 'a') + "...[2 more characters]";
    }
    void logArgumentsAreEscapedAndCut()
    {
        QFETCH(QString, argument);
        QFETCH(QByteArray, written);
        QorbLogUtlStub::clear();
        TOPOLOGY_LOG_ERROR("%s", argument);
        QCOMPARE(QorbLogUtlStub::messages(), QList<QByteArray>{written});
    }

    // An identifier with line breaks stays on its line; a line of many long
    // arguments is cut to its bound, between whole characters.
    void logLinesStayBounded()
    {
        Fixture given;
        given.framework.broadcast("NotifyChannelRemove",
                                  QVariantMap{{"relayPath", "S_1\nFAKE error line"},
                                              {"chnlInfo", QVariantMap{{"CamName", "C_1\x01"}, {"Method", "RemoveEntry"}, {"Loc", "Loc1"}}}});
        const QString longName(300, QChar(0x6771));
        TOPOLOGY_LOG_ERROR("%s %s %s %s", longName, longName, longName, longName);

        const QList<QByteArray> lines = logged();
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines.first(), "Location removed, but camera not found, nodeID:S_1\\x0AFAKE error line/C_1\\x01");
        QVERIFY(lines.last().size() <= ModuleLimits::kMaxLogLineBytes);
        QVERIFY(lines.last().size() > ModuleLimits::kMaxLogLineBytes - 4);
        QVERIFY(lines.last().endsWith("...[line cut]"));
        QStringDecoder utf8(QStringDecoder::Utf8);
        (void)utf8.decode(lines.last());
        QVERIFY(!utf8.hasError());
    }

    void reconnectingStartsFromEmptyTreesAndEndsAsTheFirstConnection()
    {
        SampleConnection given;
        QVERIFY(given.ready());
        const QStringList firstConnection = given.snapshot();
        const QString recordedCamera = QStringLiteral("C_1");
        QVERIFY(!given.plugin.locationInfo(recordedCamera).isEmpty());
        QVERIFY(!given.plugin.cameraStatus(recordedCamera).isEmpty());
        QSignalSpy disconnected(&given.plugin, &PluginTopologyMgt::serverDisconnected);

        given.plugin.PluginServerDisconnected();
        given.plugin.PluginServerDisconnected();

        QCOMPARE(disconnected.count(), 2);
        QVERIFY(!given.plugin.topologyRetrieved() && !given.plugin.nodeInfoRetrieved()
                && !given.plugin.logicalTreeRetrieved() && !given.plugin.locationRetrieved());
        QCOMPARE(given.plugin.getStandardTopologyModel()->rowCount(), 0);
        QCOMPARE(given.plugin.logicalTree().getModel()->rowCount(), 0);
        QVERIFY(given.plugin.getCameraInfoList().isEmpty());
        QVERIFY(given.plugin.getLogicalTreeMap().isEmpty());
        QVERIFY(given.plugin.locationInfo(recordedCamera).isEmpty());
        QVERIFY(given.plugin.cameraStatus(recordedCamera).isEmpty());

        given.plugin.PluginServerConnected();

        QVERIFY(QTest::qWaitFor([&] { return given.allRetrieved() && given.installation.pendingAnswers() == 0; }));
        QCOMPARE(given.snapshot(), firstConnection);
    }

    // A tree a hundred thousand levels deep is taken down to the limit, named
    // once in the log, shown by every view and torn down without overflowing
    // Qt's recursion.
    void deepTreesAreCutAtTheLimit_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<int>("levels");
        QTest::addColumn<int>("inputs");
        QTest::newRow("logical tree reply") << "retrieveLogicalTree" << 100000 << 1;
        QTest::newRow("whole-topology reply") << "RetrieveAllDeviceTopology" << 100000 << 2;
        // Each inserted station is asked for, so a shorter chain keeps the test quick.
        QTest::newRow("station insert broadcast") << "NotifyStationInsert" << 300 << 1;
    }
    void deepTreesAreCutAtTheLimit()
    {
        QFETCH(QString, input);
        QFETCH(int, levels);
        QFETCH(int, inputs);
        const bool logical = input == QLatin1String("retrieveLogicalTree");
        Fixture given;
        QObject views;
        QAbstractItemModel* tree = logical ? static_cast<QAbstractItemModel*>(given.plugin.logicalTree().getModel())
                                           : given.plugin.getStandardTopologyModel();
        QAbstractItemModel* filtered = logical ? given.plugin.getLogicalTreeSortFilterModel(&views)
                                               : given.plugin.getFilteredStandardTopologyModel(&views);
        auto* list = qobject_cast<TreeToListProxyModel*>(given.plugin.getTreeToListProxyModel(&views, filtered));
        QAbstractItemModelTester treeTester(tree, QAbstractItemModelTester::FailureReportingMode::Fatal);
        QAbstractItemModelTester filteredTester(filtered, QAbstractItemModelTester::FailureReportingMode::Fatal);
        QAbstractItemModelTester listTester(list, QAbstractItemModelTester::FailureReportingMode::Fatal);
        if (!logical)
            given.reply("RetrieveLoginStationInfo", QVariantMap{{"stationName", "HQ"}});

        // Stations "S_1", "S_2" ... each below the one before, the first below the login station.
        QVariant payload;
        if (logical) {
            payload = folderChain(levels);
            given.reply(input, payload);
        } else if (input == QLatin1String("RetrieveAllDeviceTopology")) {
            QVariantMap answer;
            for (int station = 0; station < levels; ++station) {
                const QString id = station == 0 ? QString() : QStringLiteral("S_%1").arg(station);
                const QVariantMap below{{"nodeUID", QStringLiteral("S_%1").arg(station + 1)}, {"nodeType", "Station"}};
                answer.insert(id, QVariantMap{{"parentStationID", id}, {"nodeList", QVariantList{below}}});
            }
            payload = answer;
            given.plugin.retrieveAllDeviceTopology(QString());
            given.framework.respond(given.framework.lastIndexOf(input), payload);
            // The walk through the chain stops at the limit too.
            QCOMPARE(given.framework.count("QryCamLocation"), kDepth);
            // Read again from a station near the limit: what goes below is cut
            // there, and the stations further down are not taken for orphans.
            given.plugin.retrieveAllDeviceTopology(QStringLiteral("S_%1").arg(kDepth - 2));
            given.framework.respond(given.framework.lastIndexOf(input), payload);
        } else {
            QVariantList stations;
            for (int station = 1; station <= levels; ++station)
                stations << QVariantMap{{"stationUID", QStringLiteral("S_%1").arg(station)},
                                        {"relayPath", station == 1 ? QString() : QStringLiteral("S_%1").arg(station - 1)}};
            payload = stations;
            given.framework.broadcast(input, payload);
        }
        releaseNested(std::move(payload));

        QCOMPARE(depthOf(tree), kDepth);
        QCOMPARE(depthOf(filtered), kDepth);
        // The logical tree as sent is kept, and read back, down to the limit too.
        int keptLevels = 0;
        for (QVariantMap node = given.plugin.getLogicalTreeMap(); logical && !node.isEmpty();
             node = node.value("children").toList().value(0).toMap())
            ++keptLevels;
        QCOMPARE(keptLevels, logical ? kDepth : 0);
        list->expandAll(0);
        QCOMPARE(list->rowCount(), kDepth);
        const bool broadcast = input.startsWith("Notify");
        QCOMPARE(errorsLogged(),
                 QList<QByteArray>(inputs, limitLine(broadcast ? "PluginTopologyMgt::EventProcessor"
                                                               : "PluginTopologyMgt::CommandProcessor",
                                                     qPrintable((broadcast ? "broadcast " : "reply ") + input),
                                                     "1 part(s) beyond the depth limit of 64 levels dropped")));

        given.plugin.PluginServerDisconnected();
        QCOMPARE(tree->rowCount(), 0);
        QCOMPARE(list->rowCount(), 0);
    }

    // Folder creations and moves that would put anything below the limit are
    // refused, whether the user asks or a server broadcasts them; one level
    // less is taken.
    void editsBelowTheLimitAreRefused()
    {
        Fixture given;
        QVariantMap tree = folderChain(kDepth);
        QVariantList topFolders = tree.value("children").toList();
        topFolders << QVariantMap{{"treeNodeId", "G"}, {"name", "G"},
                                  {"children", QVariantList{QVariantMap{{"treeNodeId", "H"}, {"name", "H"}}}}};
        tree.insert("children", topFolders);
        given.reply("retrieveLogicalTree", tree);
        QAbstractItemModel* model = given.plugin.logicalTree().getModel();
        QAbstractItemModelTester tester(model, QAbstractItemModelTester::FailureReportingMode::Fatal);
        QSignalSpy inserted(&given.plugin, &PluginTopologyMgt::logicalTreeFolderInserted);
        QSignalSpy moved(&given.plugin, &PluginTopologyMgt::moveLogicalTreeNodeResp);
        const QString deepest = QStringLiteral("F%1").arg(kDepth);
        const QString aboveDeepest = QStringLiteral("F%1").arg(kDepth - 1);
        QorbLogUtlStub::clear();
        given.framework.clearRequests();

        given.framework.broadcast("NotifyFolderCreatedLogical",
                                  QVariantMap{{"parentFolderUid", deepest}, {"newFolderId", "X"}, {"newFolderName", "X"}});
        given.plugin.insertLogicalTreeFolder("Y", deepest);
        given.plugin.insertLogicalTreeFolder("Z", aboveDeepest);
        given.plugin.moveLogicalTreeNode({"G"}, aboveDeepest);
        given.framework.broadcast("notifyLogicalTreeNodeMoved",
                                  QVariantMap{{"moveSourceIDList", QStringList{"G", "H"}}, {"moveDestinationID", aboveDeepest}});

        QCOMPARE(SampleConnection::texts(inserted), (QStringList{"false X", "false "}));
        QCOMPARE(SampleConnection::texts(moved), QStringList{"false"});
        QCOMPARE(given.framework.commandNames(), QStringList{"InsertFolderLogical"});
        QCOMPARE(given.framework.requests().first().arguments.toMap().value("parentFolderUid").toString(), aboveDeepest);
        const QModelIndex movedLeaf =
            model->match(model->index(0, 0), LogicalTreeModel::idRole, "H", 1, Qt::MatchRecursive | Qt::MatchExactly).value(0);
        QCOMPARE(movedLeaf.parent().data(LogicalTreeModel::idRole).toString(), aboveDeepest);
        const QByteArray refused = "1 edit(s) refused for going deeper than 64 levels";
        QCOMPARE(errorsLogged(),
                 (QList<QByteArray>{
                     limitLine("PluginTopologyMgt::EventProcessor", "broadcast NotifyFolderCreatedLogical", refused),
                     limitLine("PluginTopologyMgt::insertLogicalTreeFolder", "request InsertFolderLogical", refused),
                     limitLine("PluginTopologyMgt::moveLogicalTreeNode", "request moveLogicalTreeNode", refused),
                     limitLine("PluginTopologyMgt::EventProcessor", "broadcast notifyLogicalTreeNodeMoved", refused)}));
    }

    // A value kept past its input (rules) loses what lies below the nesting
    // limit, and a filter reaching into nested fields goes no deeper.
    void deepPayloadValuesAreCut()
    {
        Fixture given;
        given.reply("RetrieveAllCamInfo", QVariantMap{{"cameras", QVariantList{QVariantMap{{"camUID", "C_1"}}}}});
        QVariant rules = QVariantList{"bottom"};
        for (int level = 1; level < 100000; ++level)
            rules = QVariantList{rules};
        QorbLogUtlStub::clear();

        given.reply("RetrieveRuleInfo", QVariantMap{{"cameras", QVariantList{QVariantMap{{"camUID", "C_1"}, {"ruleList", rules}}}}});
        releaseNested(std::move(rules));

        int levels = 0;
        for (QVariant kept = given.plugin.cameraInfoFrom("C_1", "ruleInfoListRole"); kept.typeId() == QMetaType::QVariantList;
             kept = kept.toList().value(0))
            ++levels;
        QCOMPARE(levels, ModuleLimits::kMaxPayloadNesting);
        QCOMPARE(errorsLogged(), QList<QByteArray>{limitLine("PluginTopologyMgt::CommandProcessor", "reply RetrieveRuleInfo",
                                                             "1 part(s) beyond the depth limit of 64 levels dropped")});
        given.plugin.PluginServerDisconnected();

        for (const int depth : {ModuleLimits::kMaxPayloadNesting, 100000}) {
            QVariant wanted = true;
            QVariant field = true;
            for (int level = 1; level < depth; ++level) {
                wanted = QVariantMap{{"role", "x"}, {"value", wanted}};
                field = QVariantMap{{"x", field}};
            }
            QCOMPARE(DeviceSortFilterModel::compareRoleValue({"x", wanted}, QVariantMap{{"x", field}}),
                     depth <= ModuleLimits::kMaxPayloadNesting);
            releaseNested(std::move(wanted));
            releaseNested(std::move(field));
        }
    }

    // Qt turns a text into a list of its characters; a text where a list
    // belongs must read as no entries, or each character is taken for one.
    void textWhereAListBelongsHasNoEntries()
    {
        Connected given;
        QSignalSpy pages(&given.plugin, &PluginTopologyMgt::notifyWebPageChanged);
        QSignalSpy pathIds(&given.plugin, &PluginTopologyMgt::getLogicalTreePathIdsResponse);
        const QVariant text(QStringLiteral("C_3C_4"));
        const QAbstractItemModel* devices = given.plugin.getStandardTopologyModel();
        const auto nodeCount = [devices] {
            int count = 0;
            for (QModelIndexList open{QModelIndex()}; !open.isEmpty();) {
                const QModelIndex parent = open.takeLast();
                count += devices->rowCount(parent);
                for (int row = 0; row < devices->rowCount(parent); ++row)
                    open.append(devices->index(row, 0, parent));
            }
            return count;
        };
        const int nodesBefore = nodeCount();

        given.framework.broadcast("NotifyWebPageChanged", text);
        given.plugin.CommandProcessor(QStringLiteral("lookupLogicalTreePathIds"), text, nullptr, QStringLiteral("0"),
                                      QString(), true, QString());
        given.framework.broadcast("NotifyCamInsert", text);

        QCOMPARE(pages.size(), 1);
        QCOMPARE(pages.at(0).at(0).toList(), QVariantList());
        QCOMPARE(pathIds.size(), 1);
        QCOMPARE(pathIds.at(0).at(0).toList(), QVariantList());
        QCOMPARE(nodeCount(), nodesBefore);
    }

    void everyHandlerSurvivesMalformedPayloads()
    {
        Fixture given;
        const QVariantMap wrongTypes{{QStringLiteral("nodeList"), 5},
                                     {QStringLiteral("cameras"), QStringLiteral("x")},
                                     {QStringLiteral("stations"), QVariantMap()},
                                     {QStringLiteral("relayPath"), QVariantList{1, 2}},
                                     {QStringLiteral("parentStationID"), QVariantMap()},
                                     {QStringLiteral("deviceList"), 3.5}};
        const QVariantList listInsteadOfMap{wrongTypes, QVariant(), 7};
        const QList<QVariant> payloads{QVariant(), QVariant(listInsteadOfMap), QVariant(wrongTypes),
                                       QVariant(QVariantMap()), QVariant(QStringLiteral("text"))};
        const QStringList commands = given.plugin.commandHandlerNames();
        QVERIFY(!commands.isEmpty());

        for (const QVariant& payload : payloads) {
            for (const QString& command : commands) {
                given.plugin.CommandProcessor(command, payload, nullptr, QStringLiteral("0"), QString(), true, QString());
                given.plugin.CommandProcessor(command, payload, nullptr, QStringLiteral("1"), QString(), false, QString());
            }
            for (const QString& event : given.plugin.eventActionNames())
                given.plugin.EventProcessor(event, 0, 0, 0, payload, QString());
        }
        // Only the login station reply may create a node from such payloads.
        QVERIFY(given.plugin.getStandardTopologyModel()->rowCount() <= payloads.size());
    }
};

QTEST_MAIN(PluginDispatchTest)
#include "tst_plugindispatch.moc"
