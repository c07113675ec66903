// libFuzzer target: drives the module, connected to the simulated sample
// installation, with any reply or broadcast, any payload and any order, and
// walks every model it hands out after each input so that a corrupt model
// surfaces as a crash.
//
//   topology-fuzz --write-seeds DIR     writes the seed corpus drawn from the scenario
//   topology-fuzz [libFuzzer flags] CORPUS...
//
// Each input starts from a fresh module (its state is the input's alone, so a
// crash file replays the same way); see FuzzInput.h for the byte format.

#include "FuzzInput.h"
#include "ModelWalk.h"

#include "NodeDataCommander.h"
#include "PluginTopologyMgt.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QThread>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

using namespace FuzzInput;

namespace {

QVariantMap g_scenario;
QStringList g_replyNames;
QStringList g_eventNames;
// The keys and identifiers the module reads; generated payloads are built from them
// so that they reach past the first look-up.
QStringList g_keys;
const QStringList kIdentifiers = {
    QString(), QStringLiteral("S_1"), QStringLiteral("S_1/S_2"), QStringLiteral("S_1/S_2/S_3"), QStringLiteral("C_1"),
    QStringLiteral("S_1/C_1"), QStringLiteral("S_1/IO_1"), QStringLiteral("IO_1"), QStringLiteral("F_1"),
    QStringLiteral("_REMOVED_CAMERAS_"), QStringLiteral("_IO_BOX_FID_"), QStringLiteral("_LOCAL_DB_"),
    QStringLiteral("_SKYRCloud_"), QStringLiteral("root"), QStringLiteral("0"), QStringLiteral("Station"),
    QStringLiteral("Camera"), QStringLiteral("Running"), QStringLiteral("Connected"), QStringLiteral("DI"),
    QStringLiteral("DO"), QStringLiteral("Rising")};

constexpr int kMaxSteps = 48;
// Each connection retrieves the whole installation again (and the logical tree
// keeps what earlier retrievals gave it), so a few are enough for any order.
constexpr int kMaxConnections = 4;
constexpr int kMaxGeneratedNesting = 80; // beyond the module's own nesting limit
constexpr int kMaxGeneratedValues = 4000;

QString pick(const QStringList& list, int index)
{
    return list.isEmpty() ? QString() : list.at(index % list.size());
}

QString readName(Reader& in, const QStringList& known)
{
    if (in.u8() % 2 == KnownName)
        return pick(known, in.u8());
    return in.text();
}

QString readCode(Reader& in)
{
    switch (in.u8() % CodeChoiceCount) {
    case Success:
        return QStringLiteral("0");
    case Busy:
        return QStringLiteral("80260006");
    case FrameworkFailure:
        return QStringLiteral("{6A1F3C8E-4B2D-4E7A-9C05-B8D2E1F47A36}FrameworkInternalError");
    default:
        return in.text();
    }
}

QVariant generateValue(Reader& in, int depth, int& budget)
{
    if (--budget < 0 || in.atEnd())
        return QVariant();
    switch (in.u8() % 10) {
    case 0:
        return QVariant();
    case 1:
        return bool(in.u8() & 1);
    case 2:
        return int(std::int16_t(in.u16()));
    case 3:
        return double(std::int16_t(in.u16())) / 7.0;
    case 4:
        return pick(g_keys, in.u16());
    case 5:
        return in.text();
    case 6:
    case 7:
        return pick(kIdentifiers, in.u8());
    case 8: {
        QVariantList list;
        const int count = in.u8() % 9;
        for (int i = 0; i < count && depth < kMaxGeneratedNesting; ++i)
            list.append(generateValue(in, depth + 1, budget));
        return list;
    }
    default: {
        QVariantMap map;
        const int count = in.u8() % 9;
        for (int i = 0; i < count && depth < kMaxGeneratedNesting; ++i) {
            const QString key = (in.u8() % 4 == 0) ? in.text() : pick(g_keys, in.u16());
            map.insert(key, generateValue(in, depth + 1, budget));
        }
        return map;
    }
    }
}

// One module with the simulated servers and every view a host can ask for.
class Session
{
public:
    Session()
    {
        NodeDataCommander::setRetryDelaysForTesting(1, 1);
        m_installation.load(g_scenario);
        m_installation.attach(&m_framework);
        m_framework.setPlugin(&m_plugin);
        m_plugin.InitialPluginBase(nullptr, nullptr, &m_framework);
        createViews();
    }
    ~Session()
    {
        m_testers.clear();
        m_installation.detach();
        m_installation.stopTimeline();
    }

    void run(Reader& in)
    {
        for (int step = 0; step < kMaxSteps && !in.atEnd(); ++step)
            runStep(in);
        deliverAnswers();
        ModelWalk::walkAll(m_views);
        readQueries();
    }

private:
    void runStep(Reader& in)
    {
        switch (in.u8() % OpCount) {
        case Connect:
            if (++m_connections > kMaxConnections)
                break;
            m_plugin.PluginServerConnected();
            deliverAnswers();
            break;
        case Disconnect:
            m_plugin.PluginServerDisconnected();
            break;
        case DeliverAnswers:
            deliverAnswers();
            break;
        case Reply: {
            m_lastIsReply = true;
            m_lastName = readName(in, g_replyNames);
            m_lastPayload = readPayload(in, m_lastName);
            m_lastCode = readCode(in);
            m_lastCompleted = in.u8() % 2 == 0;
            m_lastContext = readContext(in, m_lastName);
            sendLast();
            break;
        }
        case Broadcast:
            m_lastIsReply = false;
            m_lastName = readName(in, g_eventNames);
            m_lastPayload = readPayload(in, m_lastName);
            m_lastTarget = in.u8() % 8 == 0 ? QStringLiteral("another-client") : QString();
            sendLast();
            break;
        case RepeatLast:
            if (!m_lastName.isNull())
                sendLast();
            break;
        case ViewAction:
            viewAction(in);
            break;
        case LetTimePass:
            letTimePass();
            break;
        }
    }

    void sendLast()
    {
        if (m_lastIsReply)
            m_plugin.CommandProcessor(m_lastName, m_lastPayload, m_lastContext, m_lastCode, QString(), m_lastCompleted,
                                      QString());
        else
            m_plugin.EventProcessor(m_lastName, 0, 0, 0, m_lastPayload, m_lastTarget);
    }

    QVariant readPayload(Reader& in, const QString& name)
    {
        switch (in.u8() % PayloadKindCount) {
        case NullPayload:
            return QVariant();
        case JsonPayload:
            return QJsonDocument::fromJson(in.json()).toVariant().toList().value(0);
        case GeneratedPayload: {
            int budget = kMaxGeneratedValues;
            return generateValue(in, 0, budget);
        }
        case HugeText:
            return QString(qsizetype(in.u8() % 32 + 1) * 65536, QChar(u'x' + in.u8() % 3));
        default: {
            const int index = lastRequestNamed(name);
            const RecordedRequest* request = index < 0 ? nullptr : &m_framework.requests().at(index);
            const QVariant arguments = request ? request->arguments : QVariant();
            return m_installation.answers()
                .answer(name, arguments, arguments.toMap().value(QStringLiteral("relayPath")).toString())
                .data;
        }
        }
    }

    void* readContext(Reader& in, const QString& name)
    {
        switch (in.u8() % ContextChoiceCount) {
        case NoContext:
            return nullptr;
        case LatestOfSameName: {
            const int index = lastRequestNamed(name);
            return index < 0 ? nullptr : m_framework.requests().at(index).context;
        }
        case AnyRecorded: {
            const int index = in.u16();
            const auto& requests = m_framework.requests();
            return requests.isEmpty() ? nullptr : requests.at(index % requests.size()).context;
        }
        default: {
            // Poisoned by the address sanitizer: reading it is reported at once.
            auto* gone = new QString(QStringLiteral("freed"));
            delete gone;
            return gone;
        }
        }
    }

    int lastRequestNamed(const QString& name) const
    {
        const auto& requests = m_framework.requests();
        for (int i = int(requests.size()) - 1; i >= 0; --i) {
            if (requests.at(i).command == name)
                return i;
        }
        return -1;
    }

    void viewAction(Reader& in)
    {
        const int action = in.u8() % 8;
        const int row = in.u16() % 64;
        const QString text = in.text();
        QAbstractItemModel* list = (action % 2) ? m_deviceList : m_logicalList;
        switch (action) {
        case 0:
        case 1:
            QMetaObject::invokeMethod(list, "expand", Q_ARG(int, row));
            break;
        case 2:
        case 3:
            QMetaObject::invokeMethod(list, "expandAll", Q_ARG(int, row));
            break;
        case 4:
        case 5:
            QMetaObject::invokeMethod(list, "collapse", Q_ARG(int, row));
            break;
        case 6:
            QMetaObject::invokeMethod(m_logicalSortFilter, "filter", Q_ARG(QString, text));
            break;
        default:
            QMetaObject::invokeMethod(m_filteredDevices, "setNodeIdFilter", Q_ARG(QStringList, QStringList{text}));
            break;
        }
    }

    void deliverAnswers()
    {
        for (int turn = 0; turn < 20000 && m_installation.pendingAnswers() > 0; ++turn)
            QCoreApplication::processEvents();
    }

    void letTimePass()
    {
        QThread::msleep(2);
        QCoreApplication::processEvents();
        deliverAnswers();
    }

    void createViews()
    {
        QObject* owner = &m_viewOwner;
        QAbstractItemModel* deviceModel = m_plugin.getStandardTopologyModel();
        m_filteredDevices = m_plugin.getFilteredStandardTopologyModel(owner);
        m_logicalSortFilter = m_plugin.getLogicalTreeSortFilterModel(owner);
        m_deviceList = m_plugin.getTreeToListProxyModel(owner, deviceModel);
        m_logicalList = m_plugin.getTreeToListProxyModel(owner, m_logicalSortFilter);
        m_views = {deviceModel,
                   m_filteredDevices,
                   m_plugin.getTrendMicroDeviceModel(owner),
                   m_plugin.getSmartVCADeviceModel(owner),
                   m_plugin.getThermalDeviceModel(owner),
                   m_plugin.getGeneralDeviceModel(owner),
                   m_plugin.getCountingCameraDeviceTreeModel(owner),
                   m_deviceList,
                   m_logicalList,
                   m_plugin.getFailoverTopologyModel(owner),
                   m_plugin.getFailoverTopologyModelWithoutRedundantServer(owner),
                   m_plugin.getWebPageTreeSortFilterModel(owner),
                   m_plugin.getFullLogicalTreeModel(),
                   m_plugin.getLogicalTreeModel(),
                   m_logicalSortFilter,
                   m_plugin.getLogicalTreeAdvancedSortFilterModel(owner),
                   m_plugin.getLogicalTreeAdvancedSortFilterModelWithIODevices(owner),
                   m_plugin.getLogicalTreeFolderModel(owner),
                   m_plugin.getLogicalTreeIDFilterModel(owner, m_plugin.getFullLogicalTreeModel()),
                   m_plugin.getStandalonePlayerLocalDBModel(owner)};
        for (QAbstractItemModel* view : m_views) {
            if (!view) {
                std::fprintf(stderr, "a getter returned no model\n");
                std::abort();
            }
            m_testers.push_back(std::make_unique<QAbstractItemModelTester>(
                view, QAbstractItemModelTester::FailureReportingMode::Fatal));
        }
    }

    // The query operations views and other plug-ins call, on whatever the input left.
    void readQueries()
    {
        const QString someId = pick(kIdentifiers, int(m_framework.requests().size()));
        m_plugin.getCameraInfoList();
        m_plugin.cameraInfoMap(someId);
        m_plugin.deviceInfoFrom(someId, QStringLiteral("nameRole"));
        m_plugin.getCameraNames();
        m_plugin.getStationTree();
        m_plugin.getStationMap();
        m_plugin.getStationRelayPathList(true);
        m_plugin.getLinuxNVRInfoList(someId);
        m_plugin.getRootStationNameAndCameras();
        m_plugin.getDeviceTreeMap();
        m_plugin.getHMDeviceTreeMap();
        m_plugin.getTalvixChannelInfoList();
        m_plugin.getUpgradeStationTreeList();
        m_plugin.didoNodeInfoFrom(someId, QStringLiteral("DI"));
        m_plugin.hasStationOrCameraInRootStation();
        m_plugin.existedInDeviceTree(someId);
        m_plugin.getLogicalTreeMap();
        m_plugin.existedInLogicalTree(someId);
        m_plugin.isStationTakenOver(someId);
        m_plugin.locationInfo(someId);
        m_plugin.getValuesFromModel(0, QStringLiteral("idRole"), QStringLiteral("nameRole"));
        m_plugin.getValuesFromModel(1, QStringLiteral("idRole"), QStringLiteral("nameRole"));
    }

    PluginTopologyMgt m_plugin;
    SimulatedFramework m_framework;
    SimulatedInstallation m_installation;
    QObject m_viewOwner;
    std::vector<QAbstractItemModel*> m_views;
    std::vector<std::unique_ptr<QAbstractItemModelTester>> m_testers;
    QAbstractItemModel* m_filteredDevices = nullptr;
    QAbstractItemModel* m_logicalSortFilter = nullptr;
    QAbstractItemModel* m_deviceList = nullptr;
    QAbstractItemModel* m_logicalList = nullptr;

    int m_connections = 0;
    bool m_lastIsReply = true;
    QString m_lastName;
    QVariant m_lastPayload;
    QString m_lastCode;
    bool m_lastCompleted = true;
    void* m_lastContext = nullptr;
    QString m_lastTarget;
};

QString argumentAfter(int argc, char** argv, const char* flag)
{
    for (int i = 1; i + 1 < argc; ++i) {
        if (qstrcmp(argv[i], flag) == 0)
            return QString::fromLocal8Bit(argv[i + 1]);
    }
    return QString();
}

bool loadScenario(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    g_scenario = QJsonDocument::fromJson(file.readAll()).toVariant().toMap();
    return !g_scenario.isEmpty();
}

// Dictionary lines look like: "nodeUID"
void loadKeys(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (line.size() > 2 && line.startsWith('"') && line.endsWith('"'))
            g_keys.append(QString::fromUtf8(line.mid(1, line.size() - 2)));
    }
}

void writeSeed(const QString& directory, const QString& name, const QByteArray& bytes)
{
    QFile file(directory + QLatin1Char('/') + name);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

// Seeds drawn from the scenario: every answer the simulated servers give during a
// retrieval, each delivered again after connecting (whole, and cut in two parts);
// every broadcast of the timeline after connecting; and a few orders that
// real traffic does not have.
int writeSeeds(const QString& directory)
{
    QDir().mkpath(directory);
    SimulatedFramework framework;
    SimulatedInstallation installation;
    installation.load(g_scenario);
    installation.attach(&framework);
    PluginTopologyMgt plugin;
    framework.setPlugin(&plugin);
    plugin.InitialPluginBase(nullptr, nullptr, &framework);
    plugin.PluginServerConnected();
    for (int turn = 0; turn < 20000 && installation.pendingAnswers() > 0; ++turn)
        QCoreApplication::processEvents();

    QSet<QString> seen;
    int written = 0;
    for (const RecordedRequest& request : framework.requests()) {
        const QString key = request.command + request.arguments.toMap().value(QStringLiteral("relayPath")).toString();
        if (seen.contains(key))
            continue;
        seen.insert(key);
        const int nameIndex = int(g_replyNames.indexOf(request.command));
        const QVariant data = installation.answers()
                                  .answer(request.command, request.arguments,
                                          request.arguments.toMap().value(QStringLiteral("relayPath")).toString())
                                  .data;
        for (int parts = 1; parts <= 2; ++parts) {
            Writer seed;
            seed.u8(Connect);
            for (int part = 1; part <= parts; ++part) {
                seed.u8(Reply);
                if (nameIndex >= 0)
                    seed.knownName(nameIndex);
                else {
                    seed.u8(OwnName);
                    seed.text(request.command);
                }
                seed.jsonPayload(data);
                seed.u8(Success);
                seed.u8(part == parts ? 0 : 1); // completed on the last part
                seed.u8(LatestOfSameName);
            }
            seed.u8(RepeatLast);
            writeSeed(directory, QStringLiteral("reply-%1-%2").arg(written++).arg(parts), seed.bytes());
        }
    }
    const QList<ScenarioBroadcast> timeline = installation.scenario().timeline();
    for (int i = 0; i < timeline.size(); ++i) {
        Writer seed;
        seed.u8(Connect);
        seed.u8(Broadcast);
        const int nameIndex = int(g_eventNames.indexOf(timeline.at(i).event));
        if (nameIndex >= 0)
            seed.knownName(nameIndex);
        else {
            seed.u8(OwnName);
            seed.text(timeline.at(i).event);
        }
        seed.jsonPayload(timeline.at(i).payload);
        seed.u8(1); // no target
        seed.u8(ViewAction);
        seed.u8(2); // expand everything in the logical list
        seed.u16(0);
        seed.text(QString());
        writeSeed(directory, QStringLiteral("broadcast-%1").arg(i), seed.bytes());
    }
    Writer unordered;
    unordered.u8(Disconnect);
    unordered.u8(Connect);
    unordered.u8(Disconnect);
    unordered.u8(DeliverAnswers);
    unordered.u8(Connect);
    unordered.u8(Connect);
    unordered.u8(LetTimePass);
    writeSeed(directory, QStringLiteral("orders"), unordered.bytes());
    std::printf("wrote %d seeds to %s\n", written + int(timeline.size()) + 1, qPrintable(directory));
    installation.detach();
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication application(*argc, *argv);
    if (!loadScenario(QStringLiteral(TOPOLOGY_FUZZ_SCENARIO))) {
        std::fprintf(stderr, "cannot read the scenario %s\n", TOPOLOGY_FUZZ_SCENARIO);
        std::exit(2);
    }
    loadKeys(QStringLiteral(TOPOLOGY_FUZZ_DICTIONARY));
    {
        PluginTopologyMgt plugin;
        plugin.Init(nullptr);
        // Names only the commander reacts to, and the client id answer.
        g_replyNames = plugin.commandHandlerNames()
            + QStringList{QStringLiteral("RetrieveAllDeviceTopology"), QStringLiteral("RetrieveAllNodeInfo"),
                          QStringLiteral("whoAmI")};
        g_eventNames = plugin.eventActionNames()
            + QStringList{QStringLiteral("NotifyCameraStatusRetrieved"), QStringLiteral("NotifyExternalDeviceAdd"),
                          QStringLiteral("NotifyExternalDeviceUpdated"), QStringLiteral("NotifyCameraInfoChange")};
    }
    const QString seedDirectory = argumentAfter(*argc, *argv, "--write-seeds");
    if (!seedDirectory.isEmpty())
        std::exit(writeSeeds(seedDirectory));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    {
        Session session;
        Reader in(data, size);
        session.run(in);
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return 0;
}
