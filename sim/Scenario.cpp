#include "Scenario.h"

#include <QSet>

#include <algorithm>

namespace {

bool fail(QString* error, const QString& message)
{
    if (error)
        *error = message;
    return false;
}

QString stationLabel(const QString& relayPath)
{
    return relayPath.isEmpty() ? QStringLiteral("login station") : QStringLiteral("station \"%1\"").arg(relayPath);
}

const QSet<QString>& knownTopLevelKeys()
{
    static const QSet<QString> keys{
        QStringLiteral("description"), QStringLiteral("format"), QStringLiteral("clientId"),
        QStringLiteral("loginStation"), QStringLiteral("answerDelayMs"), QStringLiteral("requestDelaysMs"),
        QStringLiteral("pushStatusOnSubscribe"), QStringLiteral("failures"), QStringLiteral("logicalTree"),
        QStringLiteral("webPages"), QStringLiteral("timeline"), QStringLiteral("cameraDefaults"),
        QStringLiteral("localDatabases"), QStringLiteral("answerParts"), QStringLiteral("requestParts")};
    return keys;
}

// The station keys kept in ScenarioStation::fields; the structural keys are read apart.
const QSet<QString>& knownStationFields()
{
    static const QSet<QString> keys{
        QStringLiteral("id"), QStringLiteral("name"), QStringLiteral("ip"), QStringLiteral("httpPort"),
        QStringLiteral("httpsPort"), QStringLiteral("useSSL"), QStringLiteral("user"), QStringLiteral("password"),
        QStringLiteral("nasDomain"), QStringLiteral("nasUserName"), QStringLiteral("nasPassword"),
        QStringLiteral("isNVR"), QStringLiteral("isRedundantServer"), QStringLiteral("isCMSRedundantServer"),
        QStringLiteral("p2pSerialNumber"), QStringLiteral("skyrCloudDeviceId"),
        QStringLiteral("skyrCloudDeviceConnectType"), QStringLiteral("skyrCloudRelayTimeout"),
        QStringLiteral("serverVersion"), QStringLiteral("serverModelName"), QStringLiteral("displayName"),
        QStringLiteral("info"), QStringLiteral("server"), QStringLiteral("wifi"), QStringLiteral("failover"),
        QStringLiteral("diNames"), QStringLiteral("doNames")};
    return keys;
}

const QSet<QString>& structuralStationKeys()
{
    static const QSet<QString> keys{QStringLiteral("cameras"), QStringLiteral("removedCameras"),
                                    QStringLiteral("locations"), QStringLiteral("externalDevices"),
                                    QStringLiteral("stations"), QStringLiteral("cameraDefaults")};
    return keys;
}

// Scenario-only keys of a camera; every other key is one of the server's camera details.
const QSet<QString>& cameraScenarioKeys()
{
    static const QSet<QString> keys{QStringLiteral("uid"), QStringLiteral("connected"), QStringLiteral("recording"),
                                    QStringLiteral("rules"), QStringLiteral("diNames"), QStringLiteral("doNames")};
    return keys;
}

bool isValidLocalId(const QString& id)
{
    return !id.isEmpty() && !id.contains(QLatin1Char('/'));
}

QVariantMap merged(QVariantMap base, const QVariantMap& overrides)
{
    for (auto it = overrides.cbegin(); it != overrides.cend(); ++it)
        base.insert(it.key(), it.value());
    return base;
}

// A default that is text may name the camera's own "{ip}" and "{uid}".
QVariant expandDefault(const QVariant& value, const QVariantMap& camera, const QString& localId)
{
    if (value.typeId() != QMetaType::QString)
        return value;
    QString text = value.toString();
    text.replace(QLatin1String("{ip}"), camera.value(QStringLiteral("ip")).toString());
    text.replace(QLatin1String("{uid}"), localId);
    return text;
}

} // namespace

bool Scenario::read(const QVariantMap& document, QString* error)
{
    Scenario parsed;
    if (!parsed.readDocument(document, error))
        return false;
    *this = std::move(parsed);
    return true;
}

bool Scenario::readDocument(const QVariantMap& document, QString* error)
{
    for (auto it = document.cbegin(); it != document.cend(); ++it) {
        if (!knownTopLevelKeys().contains(it.key()))
            return fail(error, QStringLiteral("unknown key \"%1\"").arg(it.key()));
    }
    if (!document.contains(QStringLiteral("loginStation")))
        return fail(error, QStringLiteral("no \"loginStation\""));

    m_clientId = document.value(QStringLiteral("clientId"), QStringLiteral("simulated-client")).toString();
    m_answerDelayMs = qMax(0, document.value(QStringLiteral("answerDelayMs")).toInt());
    const QVariantMap delays = document.value(QStringLiteral("requestDelaysMs")).toMap();
    for (auto it = delays.cbegin(); it != delays.cend(); ++it)
        m_requestDelaysMs.insert(it.key(), qMax(0, it.value().toInt()));
    m_pushStatusOnSubscribe = document.value(QStringLiteral("pushStatusOnSubscribe"), true).toBool();
    if (!readAnswerParts(document, error))
        return false;

    if (!readStation(document.value(QStringLiteral("loginStation")).toMap(), -1,
                     document.value(QStringLiteral("cameraDefaults")).toMap(), error))
        return false;
    if (!checkFailover(error))
        return false;

    m_logicalTree = document.value(QStringLiteral("logicalTree")).toMap();
    if (!m_logicalTree.isEmpty() && !checkLogicalTreeNode(m_logicalTree, QStringLiteral("logicalTree"), error))
        return false;
    m_webPages = document.value(QStringLiteral("webPages")).toList();
    return readTimeline(document.value(QStringLiteral("timeline")).toList(), error)
        && readFailures(document.value(QStringLiteral("failures")).toList(), error)
        && readLocalDatabases(document.value(QStringLiteral("localDatabases")).toList(), error);
}

bool Scenario::readStation(const QVariantMap& map, int parentIndex, const QVariantMap& inheritedCameraDefaults,
                           QString* error)
{
    const QVariantMap cameraDefaults =
        merged(inheritedCameraDefaults, map.value(QStringLiteral("cameraDefaults")).toMap());
    ScenarioStation station;
    if (parentIndex >= 0) {
        const ScenarioStation& parent = m_stations.at(parentIndex);
        station.localId = map.value(QStringLiteral("id")).toString();
        if (!isValidLocalId(station.localId))
            return fail(error, QStringLiteral("%1: sub-station without a valid \"id\" (%2)")
                                   .arg(stationLabel(parent.relayPath), station.localId));
        station.parentPath = parent.relayPath;
        station.relayPath = parent.childPath(station.localId);
        station.level = parent.level + 1;
        if (m_stationIndex.contains(station.relayPath))
            return fail(error, QStringLiteral("%1 appears twice").arg(stationLabel(station.relayPath)));
    }
    const QString label = stationLabel(station.relayPath);
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (structuralStationKeys().contains(it.key()))
            continue;
        if (!knownStationFields().contains(it.key()))
            return fail(error, QStringLiteral("%1: unknown key \"%2\"").arg(label, it.key()));
        station.fields.insert(it.key(), it.value());
    }
    if (!station.fields.contains(QStringLiteral("name")))
        station.fields.insert(QStringLiteral("name"),
                              station.localId.isEmpty() ? QStringLiteral("s_Login Station") : station.localId);

    if (!readCameras(map.value(QStringLiteral("cameras")).toList(), cameraDefaults, station, error)
        || !readRemovedCameras(map.value(QStringLiteral("removedCameras")).toList(), station, error)
        || !readLocations(map.value(QStringLiteral("locations")).toList(), station, error)
        || !readExternalDevices(map.value(QStringLiteral("externalDevices")).toList(), station, error))
        return false;

    const int index = int(m_stations.size());
    for (int i = 0; i < station.cameras.size(); ++i) {
        const QString& uid = station.cameras.at(i).uid;
        if (m_cameraIndex.contains(uid))
            return fail(error, QStringLiteral("%1: camera \"%2\" appears twice").arg(label, uid));
        m_cameraIndex.insert(uid, {index, i});
    }
    m_stationIndex.insert(station.relayPath, index);
    m_stations.append(station);
    if (parentIndex >= 0)
        m_stations[parentIndex].children.append(station.relayPath);

    const QVariantList children = map.value(QStringLiteral("stations")).toList();
    for (const QVariant& child : children) {
        if (!readStation(child.toMap(), index, cameraDefaults, error))
            return false;
    }
    return true;
}

bool Scenario::readCameras(const QVariantList& list, const QVariantMap& defaults, ScenarioStation& station,
                           QString* error)
{
    QSet<QString> localIds;
    for (int i = 0; i < list.size(); ++i) {
        const QVariantMap given = list.at(i).toMap();
        ScenarioCamera camera;
        camera.localId = given.value(QStringLiteral("uid"), QStringLiteral("C_%1").arg(i + 1)).toString();
        if (!isValidLocalId(camera.localId) || localIds.contains(camera.localId))
            return fail(error, QStringLiteral("%1: camera %2 has an empty, nested or repeated uid \"%3\"")
                                   .arg(stationLabel(station.relayPath)).arg(i + 1).arg(camera.localId));
        localIds.insert(camera.localId);
        camera.uid = station.childPath(camera.localId);

        QVariantMap map = given;
        for (auto it = defaults.cbegin(); it != defaults.cend(); ++it) {
            if (!map.contains(it.key()))
                map.insert(it.key(), expandDefault(it.value(), given, camera.localId));
        }
        camera.connected = map.value(QStringLiteral("connected"), true).toBool();
        camera.recording = map.value(QStringLiteral("recording"), true).toBool();
        camera.rules = map.value(QStringLiteral("rules")).toList();
        camera.diNames = map.value(QStringLiteral("diNames")).toStringList();
        camera.doNames = map.value(QStringLiteral("doNames")).toStringList();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (!cameraScenarioKeys().contains(it.key()))
                camera.details.insert(it.key(), it.value());
        }
        if (!camera.details.contains(QStringLiteral("id")))
            camera.details.insert(QStringLiteral("id"), camera.localId);
        if (!camera.details.contains(QStringLiteral("name")))
            camera.details.insert(QStringLiteral("name"), camera.localId);
        if (!camera.details.contains(QStringLiteral("diCount")))
            camera.details.insert(QStringLiteral("diCount"), int(camera.diNames.size()));
        if (!camera.details.contains(QStringLiteral("doCount")))
            camera.details.insert(QStringLiteral("doCount"), int(camera.doNames.size()));
        station.cameras.append(camera);
    }
    return true;
}

bool Scenario::readRemovedCameras(const QVariantList& list, ScenarioStation& station, QString* error)
{
    for (const QVariant& entry : list) {
        const QVariantMap map = entry.toMap();
        ScenarioRemovedCamera removed;
        removed.localId = map.value(QStringLiteral("id")).toString();
        const bool clash = std::any_of(station.cameras.cbegin(), station.cameras.cend(),
                                       [&](const ScenarioCamera& c) { return c.localId == removed.localId; });
        if (!isValidLocalId(removed.localId) || clash)
            return fail(error, QStringLiteral("%1: removed camera \"%2\" has no id or the id of an active camera")
                                   .arg(stationLabel(station.relayPath), removed.localId));
        removed.name = map.value(QStringLiteral("name"), removed.localId).toString();
        removed.cameraType = map.value(QStringLiteral("type")).toInt();
        station.removedCameras.append(removed);
    }
    return true;
}

bool Scenario::readLocations(const QVariantList& list, ScenarioStation& station, QString* error)
{
    QSet<QString> known;
    for (const ScenarioCamera& camera : std::as_const(station.cameras))
        known.insert(camera.localId);
    for (const ScenarioRemovedCamera& removed : std::as_const(station.removedCameras))
        known.insert(removed.localId);

    for (const QVariant& entry : list) {
        const QVariantMap map = entry.toMap();
        ScenarioLocation location;
        location.id = map.value(QStringLiteral("id")).toString();
        if (location.id.isEmpty())
            return fail(error, QStringLiteral("%1: location without \"id\"").arg(stationLabel(station.relayPath)));
        location.group = map.value(QStringLiteral("group"), location.id).toString();
        const bool subStream = location.id.contains(QLatin1String("_Sub"));
        location.stream = map.value(QStringLiteral("stream"), subStream ? 2 : 1).toInt();
        location.available = map.value(QStringLiteral("available"), true).toBool();
        location.allCameras = !map.contains(QStringLiteral("cameras"));
        location.cameras = map.value(QStringLiteral("cameras")).toStringList();
        for (const QString& camera : std::as_const(location.cameras)) {
            if (!known.contains(camera))
                return fail(error, QStringLiteral("%1: location \"%2\" names unknown camera \"%3\"")
                                       .arg(stationLabel(station.relayPath), location.id, camera));
        }
        station.locations.append(location);
    }
    return true;
}

bool Scenario::readExternalDevices(const QVariantList& list, ScenarioStation& station, QString* error)
{
    QSet<QString> ids;
    for (const QVariant& entry : list) {
        const QVariantMap map = entry.toMap();
        const QString id = map.value(QStringLiteral("id")).toString();
        if (!isValidLocalId(id) || ids.contains(id))
            return fail(error, QStringLiteral("%1: external device with an empty, nested or repeated id \"%2\"")
                                   .arg(stationLabel(station.relayPath), id));
        ids.insert(id);
        station.externalDevices.append(map);
    }
    return true;
}

bool Scenario::checkFailover(QString* error) const
{
    for (const ScenarioStation& station : m_stations) {
        const QVariantMap failover = station.fields.value(QStringLiteral("failover")).toMap();
        if (failover.isEmpty())
            continue;
        if (!station.isRedundantServer())
            return fail(error, QStringLiteral("%1 has a failover status but is no redundant server")
                                   .arg(stationLabel(station.relayPath)));
        const QString runningFor = failover.value(QStringLiteral("runningFor")).toString();
        if (failover.contains(QStringLiteral("runningFor")) && !m_stationIndex.contains(runningFor))
            return fail(error, QStringLiteral("%1: failover runs for unknown station \"%2\"")
                                   .arg(stationLabel(station.relayPath), runningFor));
    }
    return true;
}

bool Scenario::checkLogicalTreeNode(const QVariantMap& node, const QString& where, QString* error) const
{
    const QVariantList children = node.value(QStringLiteral("children")).toList();
    for (int i = 0; i < children.size(); ++i) {
        const QVariant& child = children.at(i);
        const QString childWhere = QStringLiteral("%1/%2").arg(where).arg(i);
        const bool isCamera = child.typeId() == QMetaType::QString
            || child.toMap().contains(QStringLiteral("camera"));
        if (!isCamera) {
            if (child.toMap().value(QStringLiteral("name")).toString().isEmpty())
                return fail(error, QStringLiteral("%1: a folder needs a name").arg(childWhere));
            if (!checkLogicalTreeNode(child.toMap(), childWhere, error))
                return false;
            continue;
        }
        const QString uid = child.typeId() == QMetaType::QString
            ? child.toString()
            : child.toMap().value(QStringLiteral("camera")).toString();
        if (!m_cameraIndex.contains(uid))
            return fail(error, QStringLiteral("%1: unknown camera \"%2\"").arg(childWhere, uid));
    }
    return true;
}

bool Scenario::readTimeline(const QVariantList& list, QString* error)
{
    for (int i = 0; i < list.size(); ++i) {
        const QVariantMap map = list.at(i).toMap();
        ScenarioBroadcast broadcast;
        broadcast.event = map.value(QStringLiteral("event")).toString();
        if (broadcast.event.isEmpty())
            return fail(error, QStringLiteral("timeline entry %1 has no \"event\"").arg(i));
        broadcast.delayMs = qMax(0, map.value(QStringLiteral("delayMs")).toInt());
        broadcast.payload = map.value(QStringLiteral("payload"));
        broadcast.target = map.value(QStringLiteral("target")).toString();
        m_timeline.append(broadcast);
    }
    return true;
}

bool Scenario::readFailures(const QVariantList& list, QString* error)
{
    for (int i = 0; i < list.size(); ++i) {
        const QVariantMap map = list.at(i).toMap();
        RequestFailure failure;
        failure.request = map.value(QStringLiteral("request")).toString();
        failure.returnCode = map.value(QStringLiteral("code")).toString();
        failure.noAnswer = map.value(QStringLiteral("noAnswer")).toBool();
        failure.times = map.value(QStringLiteral("times"), 1).toInt();
        failure.anyStation = !map.contains(QStringLiteral("station"));
        failure.station = map.value(QStringLiteral("station")).toString();
        if (failure.request.isEmpty() || (failure.returnCode.isEmpty() && !failure.noAnswer))
            return fail(error, QStringLiteral("failure %1 needs \"request\" and \"code\" (or \"noAnswer\")").arg(i));
        if (!failure.anyStation && !m_stationIndex.contains(failure.station))
            return fail(error, QStringLiteral("failure %1 names unknown station \"%2\"").arg(i).arg(failure.station));
        m_failures.append(failure);
    }
    return true;
}

// A count below one is refused rather than read as one: it is most likely a typing error.
bool Scenario::readAnswerParts(const QVariantMap& document, QString* error)
{
    m_answerParts = document.value(QStringLiteral("answerParts"), 1).toInt();
    if (m_answerParts < 1)
        return fail(error, QStringLiteral("\"answerParts\" must be a number of at least 1"));
    const QVariantMap byRequest = document.value(QStringLiteral("requestParts")).toMap();
    for (auto it = byRequest.cbegin(); it != byRequest.cend(); ++it) {
        const int parts = it.value().toInt();
        if (parts < 1)
            return fail(error, QStringLiteral("\"requestParts\" of \"%1\" must be a number of at least 1").arg(it.key()));
        m_requestParts.insert(it.key(), parts);
    }
    return true;
}

bool Scenario::readLocalDatabases(const QVariantList& list, QString* error)
{
    static const QSet<QString> databaseKeys{QStringLiteral("name"), QStringLiteral("recPath"),
                                            QStringLiteral("cameras")};
    static const QSet<QString> cameraKeys{QStringLiteral("camName"), QStringLiteral("recPath")};
    for (int i = 0; i < list.size(); ++i) {
        const QVariantMap map = list.at(i).toMap();
        const QString label = QStringLiteral("local database %1").arg(i);
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (!databaseKeys.contains(it.key()))
                return fail(error, QStringLiteral("%1: unknown key \"%2\"").arg(label, it.key()));
        }
        ScenarioLocalDatabase database;
        database.name = map.value(QStringLiteral("name")).toString();
        if (database.name.isEmpty())
            return fail(error, QStringLiteral("%1 needs a \"name\"").arg(label));
        database.recPath = map.value(QStringLiteral("recPath")).toString();
        database.cameras = map.value(QStringLiteral("cameras")).toMap();
        for (auto camera = database.cameras.cbegin(); camera != database.cameras.cend(); ++camera) {
            const QString where = QStringLiteral("%1, camera \"%2\"").arg(label, camera.key());
            if (!isValidLocalId(camera.key()) || camera.value().typeId() != QMetaType::QVariantMap)
                return fail(error,
                            QStringLiteral("%1: the key must be a name without \"/\" and the value a map").arg(where));
            const QVariantMap entry = camera.value().toMap();
            for (auto it = entry.cbegin(); it != entry.cend(); ++it) {
                if (!cameraKeys.contains(it.key()))
                    return fail(error, QStringLiteral("%1: unknown key \"%2\"").arg(where, it.key()));
            }
            // The database's folder replaces the cameras' own, so a camera's would be lost silently.
            if (!database.recPath.isEmpty() && entry.contains(QStringLiteral("recPath")))
                return fail(error, QStringLiteral("%1: \"recPath\" set by the database already").arg(where));
        }
        m_localDatabases.append(database);
    }
    return true;
}

const ScenarioStation* Scenario::station(const QString& relayPath) const
{
    const auto it = m_stationIndex.constFind(relayPath);
    return it == m_stationIndex.cend() ? nullptr : &m_stations.at(*it);
}

const ScenarioCamera* Scenario::camera(const QString& uid) const
{
    const auto it = m_cameraIndex.constFind(uid);
    return it == m_cameraIndex.cend() ? nullptr : &m_stations.at(it->first).cameras.at(it->second);
}

QList<const ScenarioStation*> Scenario::subtree(const QString& relayPath) const
{
    QList<const ScenarioStation*> result;
    const ScenarioStation* top = station(relayPath);
    if (!top)
        return result;
    // Stations are stored depth first, so a subtree is one run of the list.
    const int first = m_stationIndex.value(relayPath);
    result.append(top);
    const QString prefix = relayPath + QLatin1Char('/');
    for (int i = first + 1; i < m_stations.size(); ++i) {
        const ScenarioStation& candidate = m_stations.at(i);
        if (!relayPath.isEmpty() && !candidate.relayPath.startsWith(prefix))
            break;
        result.append(&candidate);
    }
    return result;
}

int Scenario::removedCameraCount() const
{
    int total = 0;
    for (const ScenarioStation& station : m_stations)
        total += int(station.removedCameras.size());
    return total;
}
