// Times a status storm through the flat list proxy: every camera of a fully
// expanded list reports a status change on its own (one dataChanged each), as
// the servers' status broadcasts do after a reconnection. The proxy must find
// each camera's list row; the figures show whether that stays flat per update
// as the list grows.
//
//   tree-to-list-bench               2,000 and 20,000 rows
//   tree-to-list-bench 5000 50000    the given row counts
//
// Columns: rows of the expanded list; expandAll of the whole tree; the storm
// straight over the device model and over a sorted device filter; forwarded
// changes (must equal the cameras); what a linear search of the list for each
// changed row would cost on its own, sampled.

#include "DeviceModelFactory.h"
#include "DeviceSortFilterModel.h"
#include "DeviceTree.h"
#include "TreeToListProxyModel.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>
#include <QUuid>

#include <memory>

namespace {

constexpr int kCamerasPerStation = 99;
constexpr int kLinearSamples = 200;

struct Installation
{
    DeviceTree tree;
    QStringList cameraIds;
};

// The login station with stations of up to 99 cameras each, `rows` nodes in all.
std::unique_ptr<Installation> buildInstallation(int rows)
{
    auto installation = std::make_unique<Installation>();
    DeviceTree& tree = installation->tree;
    tree.insertLoginStation(QStringLiteral("Root"), QStringLiteral("10.0.0.1"));
    tree.setDataMap(QString(), {{QStringLiteral("idRole"), QStringLiteral("R")},
                                {QStringLiteral("nodeIDRole"), QStringLiteral("R")}});
    QList<int> camerasPerStation;
    for (int remaining = rows - 1; remaining > 0; remaining -= kCamerasPerStation + 1)
        camerasPerStation << qMin(kCamerasPerStation, remaining - 1);
    QVariantList stationRecords;
    for (int station = 0; station < camerasPerStation.size(); ++station) {
        stationRecords << QVariantMap{{QStringLiteral("nodeUID"), QStringLiteral("S%1").arg(station)},
                                      {QStringLiteral("nodeName"), QStringLiteral("Station %1").arg(station)},
                                      {QStringLiteral("nodeType"), QStringLiteral("Station")}};
    }
    tree.insertNewNodes(QStringLiteral("R"), stationRecords);
    for (int station = 0; station < camerasPerStation.size(); ++station) {
        const QString stationId = QStringLiteral("S%1").arg(station);
        QVariantList cameras;
        for (int channel = 1; channel <= camerasPerStation.at(station); ++channel) {
            const QString id = stationId + QStringLiteral("/C_%1").arg(channel);
            installation->cameraIds << id;
            cameras << QVariantMap{{QStringLiteral("nodeUID"), id},
                                   {QStringLiteral("nodeName"), QStringLiteral("Camera %1").arg(channel)},
                                   {QStringLiteral("nodeType"), QStringLiteral("Camera")}};
        }
        tree.insertNewNodes(stationId, cameras);
    }
    return installation;
}

struct StormResult
{
    int rows = 0;
    double expandAllMs = 0;
    double stormMs = 0;
    int forwarded = 0;
};

// Every camera changes: `connected` is the opposite of what the previous storm set.
StormResult runStorm(Installation& installation, QAbstractItemModel* source, bool connected)
{
    StormResult result;
    TreeToListProxyModel proxy;
    proxy.setSourceModel(source);
    QElapsedTimer clock;
    clock.start();
    proxy.expandAll(0);
    result.expandAllMs = clock.nsecsElapsed() / 1e6;
    result.rows = proxy.rowCount();
    QObject::connect(&proxy, &QAbstractItemModel::dataChanged, &proxy, [&result] { ++result.forwarded; });

    // A camera announced first, so that the storm also pays for learning the new
    // row positions.
    installation.tree.insertNewCameraNodes({QVariantMap{{QStringLiteral("parentStationID"), QStringLiteral("R")},
                                                        {QStringLiteral("nodeUID"), QUuid::createUuid().toString()}}});
    clock.restart();
    for (const QString& id : std::as_const(installation.cameraIds)) {
        installation.tree.updateCameraStatus({QVariantMap{{QStringLiteral("camUID"), id},
                                                          {QStringLiteral("connected"), connected},
                                                          {QStringLiteral("recording"), connected}}});
    }
    result.stormMs = clock.nsecsElapsed() / 1e6;
    return result;
}

// The search the proxy would do without its index: compare every list row.
double linearSearchMicroseconds(Installation& installation)
{
    TreeToListProxyModel proxy;
    proxy.setSourceModel(installation.tree.getModel());
    proxy.expandAll(0);
    StandardTopologyModel* model = installation.tree.getModel();
    const int step = qMax(1, int(installation.cameraIds.size()) / kLinearSamples);
    int samples = 0;
    int found = 0;
    QElapsedTimer clock;
    clock.start();
    for (int at = 0; at < installation.cameraIds.size(); at += step, ++samples) {
        const QModelIndex camera = model->match(QModelIndex(), StandardTopologyModel::idRole,
                                                installation.cameraIds.at(at)).value(0);
        for (int row = 0; row < proxy.rowCount(); ++row) {
            if (proxy.mapToSource(proxy.index(row, 0)) == camera) {
                ++found;
                break;
            }
        }
    }
    return found == samples ? clock.nsecsElapsed() / 1e3 / qMax(1, samples) : -1;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QStringList sizes = app.arguments().mid(1);
    if (sizes.isEmpty())
        sizes = {QStringLiteral("2000"), QStringLiteral("20000")};

    QTextStream out(stdout);
    out << QStringLiteral("%1 %2 %3 %4 %5 %6 %7 %8\n")
               .arg(QStringLiteral("rows"), 7)
               .arg(QStringLiteral("expandAll ms"), 13)
               .arg(QStringLiteral("storm ms"), 9)
               .arg(QStringLiteral("us/update"), 10)
               .arg(QStringLiteral("filtered storm ms"), 18)
               .arg(QStringLiteral("us/update"), 10)
               .arg(QStringLiteral("forwarded"), 10)
               .arg(QStringLiteral("linear us/lookup"), 17);
    for (const QString& size : std::as_const(sizes)) {
        auto installation = buildInstallation(size.toInt());
        const int cameras = int(installation->cameraIds.size());
        const StormResult direct = runStorm(*installation, installation->tree.getModel(), true);
        std::unique_ptr<DeviceSortFilterModel> filtered(
                DeviceModelFactory::createFilteredStandardTopologyModel(installation->tree.getModel(), nullptr));
        filtered->sortModel();
        const StormResult viaFilter = runStorm(*installation, filtered.get(), false);
        const double linear = linearSearchMicroseconds(*installation);
        out << QStringLiteral("%1 %2 %3 %4 %5 %6 %7 %8\n")
                   .arg(direct.rows, 7)
                   .arg(direct.expandAllMs, 13, 'f', 1)
                   .arg(direct.stormMs, 9, 'f', 1)
                   .arg(direct.stormMs * 1000 / cameras, 10, 'f', 2)
                   .arg(viaFilter.stormMs, 18, 'f', 1)
                   .arg(viaFilter.stormMs * 1000 / cameras, 10, 'f', 2)
                   .arg(QStringLiteral("%1/%2").arg(qMin(direct.forwarded, viaFilter.forwarded)).arg(cameras), 10)
                   .arg(linear, 17, 'f', 1);
        out.flush();
    }
    return 0;
}
