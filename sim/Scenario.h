#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

// A camera of the simulated installation.
struct ScenarioCamera
{
    // Node UID as the servers send it: the station's relay path, "/", the local id;
    // the local id alone on the login station.
    QString uid;
    // The camera's id within its station ("C_3"); also its alias in the locations.
    QString localId;
    // The server's camera details, keyed as in a node information answer ("camInfo").
    QVariantMap details;
    bool connected = true;
    bool recording = true;
    QVariantList rules;
    QStringList diNames;
    QStringList doNames;
};

// A camera deleted from its station whose recordings are still kept.
struct ScenarioRemovedCamera
{
    QString localId;
    QString name;
    int cameraType = 0;
};

// A recording location of a station and the cameras recorded there.
struct ScenarioLocation
{
    QString id;
    QString group;
    int stream = 1;
    bool available = true;
    // Local ids of active and removed cameras; every camera of the station when allCameras.
    bool allCameras = true;
    QStringList cameras;
};

// The login station or a station reached through a relay path.
struct ScenarioStation
{
    // The station's id: empty for the login station, otherwise the local ids of the
    // stations on the way down joined with "/" ("S_1/S_3").
    QString relayPath;
    QString parentPath;
    QString localId;
    int level = 0;
    // The station's own scenario keys (name, ip, ports, flags, info, server, wifi, failover, ...).
    QVariantMap fields;
    QList<ScenarioCamera> cameras;
    QList<ScenarioRemovedCamera> removedCameras;
    QList<ScenarioLocation> locations;
    QVariantList externalDevices;
    // Relay paths of the sub-stations, in scenario order.
    QStringList children;

    QString name() const { return fields.value(QStringLiteral("name")).toString(); }
    bool isNvr() const { return fields.value(QStringLiteral("isNVR")).toBool(); }
    bool isRedundantServer() const { return fields.value(QStringLiteral("isRedundantServer")).toBool(); }
    QString childPath(const QString& localId) const
    {
        return relayPath.isEmpty() ? localId : relayPath + QLatin1Char('/') + localId;
    }
};

// One broadcast of the timeline, sent `delayMs` after the one before it.
struct ScenarioBroadcast
{
    QString event;
    int delayMs = 0;
    QVariant payload;
    QString target;
};

// A local database as the host hands it to the standalone player: exported or
// copied recordings, read without any server.
struct ScenarioLocalDatabase
{
    QString name;
    // The folder of every camera's recordings; when empty, each camera names its own.
    QString recPath;
    // Camera key within the database -> {"camName", "recPath"}.
    QVariantMap cameras;
};

// Makes a request fail `times` times (every time when negative): answered with
// `returnCode` and an empty map, or not answered at all when `noAnswer`.
struct RequestFailure
{
    QString request;
    QString returnCode;
    int times = 1;
    bool anyStation = true;
    QString station;
    bool noAnswer = false;
};

// An installation read from a scenario document (see examples/README.md): the
// stations with their cameras, and everything the servers answer besides the
// topology. Reading checks the references inside the document, so that a typing
// error in a scenario is reported instead of showing up as a missing answer.
class Scenario
{
public:
    // Replaces the contents with the document's; on failure returns false, keeps
    // nothing of the document and names the faulty entry in `error`.
    bool read(const QVariantMap& document, QString* error = nullptr);

    // Stations in depth-first order, the login station first.
    const QList<ScenarioStation>& stations() const { return m_stations; }
    const ScenarioStation* station(const QString& relayPath) const;
    const ScenarioCamera* camera(const QString& uid) const;
    // The station and every station below it, depth first.
    QList<const ScenarioStation*> subtree(const QString& relayPath) const;
    int cameraCount() const { return int(m_cameraIndex.size()); }
    int removedCameraCount() const;

    QString clientId() const { return m_clientId; }
    // The logical tree in the scenario's compact form (folders with children,
    // camera UIDs as text or {"camera", "joystickKey"}).
    QVariantMap logicalTree() const { return m_logicalTree; }
    QVariantList webPages() const { return m_webPages; }
    QList<ScenarioBroadcast> timeline() const { return m_timeline; }
    QList<ScenarioLocalDatabase> localDatabases() const { return m_localDatabases; }
    QList<RequestFailure> failures() const { return m_failures; }
    int answerDelayMs() const { return m_answerDelayMs; }
    QHash<QString, int> requestDelaysMs() const { return m_requestDelaysMs; }
    // How many parts each answer comes in, and the exceptions by request name.
    int answerParts() const { return m_answerParts; }
    QHash<QString, int> requestParts() const { return m_requestParts; }
    bool pushesStatusOnSubscribe() const { return m_pushStatusOnSubscribe; }

private:
    bool readDocument(const QVariantMap& document, QString* error);
    bool readStation(const QVariantMap& map, int parentIndex, const QVariantMap& inheritedCameraDefaults,
                     QString* error);
    bool readCameras(const QVariantList& list, const QVariantMap& defaults, ScenarioStation& station,
                     QString* error);
    bool readRemovedCameras(const QVariantList& list, ScenarioStation& station, QString* error);
    bool readLocations(const QVariantList& list, ScenarioStation& station, QString* error);
    bool readExternalDevices(const QVariantList& list, ScenarioStation& station, QString* error);
    bool checkFailover(QString* error) const;
    bool checkLogicalTreeNode(const QVariantMap& node, const QString& where, QString* error) const;
    bool readTimeline(const QVariantList& list, QString* error);
    bool readFailures(const QVariantList& list, QString* error);
    bool readLocalDatabases(const QVariantList& list, QString* error);
    bool readAnswerParts(const QVariantMap& document, QString* error);

    QList<ScenarioStation> m_stations;
    QHash<QString, int> m_stationIndex;
    QHash<QString, QPair<int, int>> m_cameraIndex;
    QString m_clientId;
    QVariantMap m_logicalTree;
    QVariantList m_webPages;
    QList<ScenarioBroadcast> m_timeline;
    QList<RequestFailure> m_failures;
    QList<ScenarioLocalDatabase> m_localDatabases;
    int m_answerDelayMs = 0;
    QHash<QString, int> m_requestDelaysMs;
    int m_answerParts = 1;
    QHash<QString, int> m_requestParts;
    bool m_pushStatusOnSubscribe = true;
};
