#include "ScenarioGenerator.h"

#include <QList>
#include <QStringList>

namespace {

struct GeneratedStation
{
    QVariantMap map;
    QString relayPath;
    QVariantList cameraUids;
    QList<int> children;
};

// Addresses and MACs come from one running number, so that no two devices share one.
class AddressPlan
{
public:
    QString nextIp()
    {
        const int n = ++m_serial;
        return QStringLiteral("10.%1.%2.%3").arg((n >> 16) & 0xff).arg((n >> 8) & 0xff).arg(n & 0xff);
    }
    QString macOfLast() const
    {
        return QStringLiteral("00:1A:2B:%1:%2:%3")
            .arg((m_serial >> 16) & 0xff, 2, 16, QLatin1Char('0'))
            .arg((m_serial >> 8) & 0xff, 2, 16, QLatin1Char('0'))
            .arg(m_serial & 0xff, 2, 16, QLatin1Char('0'))
            .toUpper();
    }

private:
    int m_serial = 0;
};

QString childPath(const QString& parent, const QString& id)
{
    return parent.isEmpty() ? id : parent + QLatin1Char('/') + id;
}

void addCameras(GeneratedStation& station, const QString& label, const ScenarioGenerator::Options& options,
                AddressPlan& addresses)
{
    static const QStringList types{QStringLiteral("FixedDome"), QStringLiteral("Bullet"), QStringLiteral("Box"),
                                   QStringLiteral("PTZSpeedDome"), QStringLiteral("Fisheye")};
    QVariantList cameras;
    for (int i = 1; i <= options.camerasPerStation; ++i) {
        const QString uid = QStringLiteral("C_%1").arg(i);
        cameras.append(QVariantMap{
            {QStringLiteral("uid"), uid},
            {QStringLiteral("name"), QStringLiteral("c_%1 Camera %2").arg(label).arg(i, 3, 10, QLatin1Char('0'))},
            {QStringLiteral("ip"), addresses.nextIp()},
            {QStringLiteral("type"), types.at((i - 1) % types.size())},
            {QStringLiteral("mac"), addresses.macOfLast()},
            {QStringLiteral("diCount"), i % 4 == 0 ? 1 : 0},
            {QStringLiteral("doCount"), i % 8 == 0 ? 1 : 0},
        });
        station.cameraUids.append(childPath(station.relayPath, uid));
    }
    station.map.insert(QStringLiteral("cameras"), cameras);

    QVariantList removed;
    for (int i = 1; i <= options.removedCamerasPerStation; ++i) {
        removed.append(QVariantMap{
            {QStringLiteral("id"), QStringLiteral("C_%1").arg(options.camerasPerStation + i)},
            {QStringLiteral("name"), QStringLiteral("c_%1 Removed %2").arg(label).arg(i)},
            {QStringLiteral("type"), 8}});
    }
    if (!removed.isEmpty())
        station.map.insert(QStringLiteral("removedCameras"), removed);
    if (options.camerasPerStation + options.removedCamerasPerStation > 0) {
        station.map.insert(QStringLiteral("locations"),
                           QVariantList{QVariantMap{{QStringLiteral("id"), QStringLiteral("Loc1")},
                                                    {QStringLiteral("group"), QStringLiteral("Main")}},
                                        QVariantMap{{QStringLiteral("id"), QStringLiteral("Loc1_Sub")},
                                                    {QStringLiteral("group"), QStringLiteral("Main")}}});
    }
}

GeneratedStation makeStation(const QString& id, const QString& parentPath, const QString& label,
                             AddressPlan& addresses)
{
    GeneratedStation station;
    station.relayPath = childPath(parentPath, id);
    station.map = QVariantMap{
        {QStringLiteral("name"), QStringLiteral("s_%1").arg(label)},
        {QStringLiteral("ip"), addresses.nextIp()},
        {QStringLiteral("httpPort"), 80},
        {QStringLiteral("user"), QStringLiteral("admin")},
        {QStringLiteral("password"), QStringLiteral("fake-station-password")},
        {QStringLiteral("serverVersion"), QStringLiteral("3.2.0")},
        {QStringLiteral("serverModelName"), QStringLiteral("Simulated Server")},
    };
    if (!id.isEmpty())
        station.map.insert(QStringLiteral("id"), id);
    return station;
}

QVariantMap assemble(const QList<GeneratedStation>& stations, int index)
{
    QVariantMap map = stations.at(index).map;
    QVariantList children;
    for (int child : stations.at(index).children)
        children.append(assemble(stations, child));
    if (!children.isEmpty())
        map.insert(QStringLiteral("stations"), children);
    return map;
}

QVariantMap logicalTreeOf(const QList<GeneratedStation>& stations)
{
    QVariantList folders;
    for (const GeneratedStation& station : stations) {
        if (station.cameraUids.isEmpty())
            continue;
        folders.append(QVariantMap{
            {QStringLiteral("name"), station.map.value(QStringLiteral("name")).toString().mid(2)},
            {QStringLiteral("children"), station.cameraUids}});
    }
    return {{QStringLiteral("name"), QStringLiteral("Root")}, {QStringLiteral("children"), folders}};
}

} // namespace

int ScenarioGenerator::stationCount(const Options& options)
{
    return 1 + qMax(0, options.stations) + qMax(0, options.nvrs) + qMax(0, options.redundantServers);
}

int ScenarioGenerator::cameraCount(const Options& options)
{
    return (1 + qMax(0, options.stations) + qMax(0, options.nvrs)) * qMax(0, options.camerasPerStation);
}

QVariantMap ScenarioGenerator::generate(const Options& requested)
{
    Options options = requested;
    options.stations = qMax(0, options.stations);
    options.camerasPerStation = qMax(0, options.camerasPerStation);
    options.depth = qMax(1, options.depth);
    options.removedCamerasPerStation = qMax(0, options.removedCamerasPerStation);

    AddressPlan addresses;
    QList<GeneratedStation> stations;
    stations.append(makeStation(QString(), QString(), QStringLiteral("Login Station"), addresses));
    addCameras(stations[0], QStringLiteral("Login Station"), options, addresses);

    int serial = 0;
    // The last station made on each level: the parent of the next one a level deeper.
    QList<int> lastOnLevel{0};
    for (int i = 0; i < options.stations; ++i) {
        const int level = i % options.depth + 1;
        const int parent = lastOnLevel.at(level - 1);
        const QString label = QStringLiteral("Site %1").arg(++serial, 3, 10, QLatin1Char('0'));
        GeneratedStation station =
            makeStation(QStringLiteral("S_%1").arg(serial), stations.at(parent).relayPath, label, addresses);
        addCameras(station, label, options, addresses);
        stations.append(station);
        stations[parent].children.append(int(stations.size()) - 1);
        lastOnLevel.resize(level);
        lastOnLevel.append(int(stations.size()) - 1);
    }
    for (int i = 0; i < qMax(0, options.nvrs); ++i) {
        const QString label = QStringLiteral("NVR %1").arg(++serial, 3, 10, QLatin1Char('0'));
        GeneratedStation nvr = makeStation(QStringLiteral("S_%1").arg(serial), QString(), label, addresses);
        nvr.map.insert(QStringLiteral("isNVR"), true);
        nvr.map.insert(QStringLiteral("wifi"),
                       QVariantMap{{QStringLiteral("Status"), QStringLiteral("Connected")},
                                   {QStringLiteral("Address"), nvr.map.value(QStringLiteral("ip"))}});
        addCameras(nvr, label, options, addresses);
        stations.append(nvr);
        stations[0].children.append(int(stations.size()) - 1);
    }
    for (int i = 0; i < qMax(0, options.redundantServers); ++i) {
        const QString label = QStringLiteral("Standby %1").arg(++serial, 3, 10, QLatin1Char('0'));
        GeneratedStation server = makeStation(QStringLiteral("S_%1").arg(serial), QString(), label, addresses);
        server.map.insert(QStringLiteral("isRedundantServer"), true);
        server.map.insert(QStringLiteral("failover"), QVariantMap{{QStringLiteral("status"), QStringLiteral("Standby")}});
        stations.append(server);
        stations[0].children.append(int(stations.size()) - 1);
    }

    QVariantMap document{
        {QStringLiteral("description"), QStringLiteral("Generated installation; every password in it is fake.")},
        {QStringLiteral("clientId"), QStringLiteral("generated-client")},
        {QStringLiteral("cameraDefaults"),
         QVariantMap{{QStringLiteral("port"), 80},
                     {QStringLiteral("user"), QStringLiteral("admin")},
                     {QStringLiteral("pwd"), QStringLiteral("fake-camera-password")},
                     {QStringLiteral("brand"), QStringLiteral("Simulated")},
                     {QStringLiteral("url"), QStringLiteral("rtsp://{ip}:554/stream1")},
                     {QStringLiteral("streamNum"), 2},
                     {QStringLiteral("motionCount"), 1}}},
        {QStringLiteral("loginStation"), assemble(stations, 0)},
    };
    if (options.logicalTree)
        document.insert(QStringLiteral("logicalTree"), logicalTreeOf(stations));
    if (options.answerParts > 1)
        document.insert(QStringLiteral("answerParts"), options.answerParts);
    return document;
}
