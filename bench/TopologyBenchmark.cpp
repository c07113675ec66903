// Times the full retrieval of generated installations through the simulated
// servers (answers without delay) against a bare QStandardItemModel built with
// the same nodes and roles, and reports the peak memory per camera.
//
//   topology-bench                 runs 1,000, 10,000 and 50,000 cameras, each in a process of its own
//   topology-bench --cameras N     measures one installation and prints one RESULT line

#include "PeakMemory.h"
#include "PluginTopologyMgt.h"
#include "ScenarioGenerator.h"
#include "SimulatedFramework.h"
#include "SimulatedInstallation.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardItemModel>
#include <QTextStream>

#include <memory>
#include <vector>

namespace {

constexpr int kCamerasPerStation = 100;
constexpr int kTimeoutMs = 20 * 60 * 1000;

struct NodeCopy
{
    int parent = -1;
    QMap<int, QVariant> roles;
};

bool allRetrieved(const PluginTopologyMgt& plugin)
{
    return plugin.topologyRetrieved() && plugin.nodeInfoRetrieved() && plugin.serverInfoRetrieved()
        && plugin.locationRetrieved() && plugin.logicalTreeRetrieved() && plugin.camStatusRetrieved();
}

void copyNodes(const QAbstractItemModel& model, const QModelIndex& parent, int parentCopy,
               std::vector<NodeCopy>& nodes)
{
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, 0, parent);
        nodes.push_back({parentCopy, model.itemData(index)});
        copyNodes(model, index, int(nodes.size()) - 1, nodes);
    }
}

// The baseline: the same items with the same role values, built into a plain
// model without any index, parsing or notification listeners.
qint64 buildBaseline(const std::vector<NodeCopy>& nodes)
{
    QElapsedTimer clock;
    clock.start();
    QStandardItemModel model;
    std::vector<QStandardItem*> items;
    items.reserve(nodes.size());
    for (const NodeCopy& node : nodes) {
        auto* item = new QStandardItem;
        for (auto role = node.roles.cbegin(); role != node.roles.cend(); ++role)
            item->setData(role.value(), role.key());
        items.push_back(item);
        if (node.parent < 0)
            model.appendRow(item);
        else
            items[size_t(node.parent)]->appendRow(item);
    }
    return clock.nsecsElapsed();
}

int measure(int cameras)
{
    QTextStream out(stdout);
    ScenarioGenerator::Options options;
    options.camerasPerStation = kCamerasPerStation;
    options.stations = qMax(0, cameras / kCamerasPerStation - 1);
    options.depth = 3;
    options.logicalTree = false;

    SimulatedInstallation installation;
    if (!installation.load(ScenarioGenerator::generate(options))) {
        out << "cannot load generated scenario: " << installation.errorString() << '\n';
        return 2;
    }
    installation.setAnswerDelay(0);
    SimulatedFramework framework;
    installation.attach(&framework);
    PluginTopologyMgt plugin;
    framework.setPlugin(&plugin);
    plugin.InitialPluginBase(nullptr, nullptr, &framework);

    const qint64 memoryBefore = PeakMemory::currentBytes();
    QElapsedTimer clock;
    clock.start();
    plugin.PluginServerConnected();
    while (!allRetrieved(plugin) && clock.elapsed() < kTimeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    const qint64 retrievalNs = clock.nsecsElapsed();
    const qint64 peakDelta = PeakMemory::peakBytes() - memoryBefore;
    if (!allRetrieved(plugin)) {
        out << "retrieval did not finish\n";
        return 1;
    }

    std::vector<NodeCopy> nodes;
    copyNodes(*plugin.getStandardTopologyModel(), QModelIndex(), -1, nodes);
    const qint64 baselineNs = buildBaseline(nodes);

    out << "RESULT " << ScenarioGenerator::cameraCount(options) << ' ' << nodes.size() << ' '
        << retrievalNs / 1000000.0 << ' ' << baselineNs / 1000000.0 << ' ' << peakDelta << ' '
        << framework.requests().size() << '\n';
    return 0;
}

int runAll(const QStringList& sizes)
{
    QTextStream out(stdout);
    out << QStringLiteral("%1 %2 %3 %4 %5 %6 %7\n")
               .arg(QStringLiteral("cameras"), 8)
               .arg(QStringLiteral("nodes"), 8)
               .arg(QStringLiteral("requests"), 9)
               .arg(QStringLiteral("retrieval ms"), 13)
               .arg(QStringLiteral("baseline ms"), 12)
               .arg(QStringLiteral("ratio"), 7)
               .arg(QStringLiteral("peak KiB/camera"), 16);
    out.flush();
    int exitCode = 0;
    for (const QString& size : sizes) {
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--cameras"), size});
        child.waitForFinished(kTimeoutMs + 60000);
        const QString output = QString::fromLocal8Bit(child.readAllStandardOutput());
        const int at = output.indexOf(QLatin1String("RESULT "));
        if (child.exitCode() != 0 || at < 0) {
            out << size << ": failed: " << output << '\n';
            exitCode = 1;
            continue;
        }
        const QStringList fields = output.mid(at).section(QLatin1Char('\n'), 0, 0).split(QLatin1Char(' '));
        const int cameras = fields.value(1).toInt();
        const double retrievalMs = fields.value(3).toDouble();
        const double baselineMs = fields.value(4).toDouble();
        const double peakKiBPerCamera = fields.value(5).toDouble() / 1024.0 / qMax(1, cameras);
        out << QStringLiteral("%1 %2 %3 %4 %5 %6 %7\n")
                   .arg(cameras, 8)
                   .arg(fields.value(2), 8)
                   .arg(fields.value(6), 9)
                   .arg(retrievalMs, 13, 'f', 1)
                   .arg(baselineMs, 12, 'f', 1)
                   .arg(retrievalMs / qMax(0.001, baselineMs), 7, 'f', 1)
                   .arg(peakKiBPerCamera, 16, 'f', 1);
        out.flush();
    }
    return exitCode;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const int camerasAt = int(arguments.indexOf(QStringLiteral("--cameras")));
    if (camerasAt > 0 && camerasAt + 1 < arguments.size())
        return measure(arguments.at(camerasAt + 1).toInt());
    const QStringList sizes = arguments.size() > 1 ? arguments.mid(1)
                                                   : QStringList{QStringLiteral("1000"), QStringLiteral("10000"),
                                                                 QStringLiteral("50000")};
    return runAll(sizes);
}
