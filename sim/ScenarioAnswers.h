#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

#include "Scenario.h"

// What a server answers to one request: the return code and the payload.
struct ServerAnswer
{
    QString returnCode = QStringLiteral("0");
    QVariant data;
};

// Turns a scenario into the answers its servers give, request by request, in
// the payload shapes the module reads (examples/README.md lists them). Holds a
// reference to the scenario, which must outlive it.
class ScenarioAnswers
{
public:
    // Return codes of the simulator itself, for requests that name a station or
    // camera the installation does not have.
    static const QString unknownStationCode;
    static const QString unknownCameraCode;

    explicit ScenarioAnswers(const Scenario& scenario) : m_scenario(scenario) {}

    // The answer to `command` with `arguments`. A station-scoped request names its
    // station by the arguments' "relayPath", or else by `fallbackStation` (the
    // login station unless told).
    ServerAnswer answer(const QString& command, const QVariant& arguments,
                        const QString& fallbackStation = QString()) const;
    static bool isStationScoped(const QString& command);

    QVariantMap loginStationInfo() const;
    QVariantMap deviceTopology(const ScenarioStation& station) const;
    QVariantMap allDeviceTopology(const ScenarioStation& station) const;
    // Only the cameras whose UID or local id is listed, when `cameraIds` is not empty.
    QVariantMap nodeInfo(const ScenarioStation& station, const QStringList& cameraIds = QStringList()) const;
    QVariantMap allNodeInfo() const;
    QVariantMap serverInfo(const ScenarioStation& station) const;
    QVariantMap locations(const ScenarioStation& station) const;
    QVariantMap rules(const ScenarioStation& station, const QStringList& cameraIds = QStringList()) const;
    QVariantList cameraStatusList(const ScenarioStation& station) const;
    QVariantList externalDevices(const ScenarioStation& station) const;
    QVariantList diDoReferenceNames(const ScenarioStation& station) const;
    QVariantMap wifiStatus(const ScenarioStation& station) const;
    QVariantMap failoverStatus(const ScenarioStation& station) const;
    QVariantList redundantServersStatus(const ScenarioStation& station) const;
    QStringList cloudRelayTimeouts(const ScenarioStation& station) const;
    QVariantMap logicalTree() const;
    QVariantList webPages() const;

    static QVariantMap stationRecord(const ScenarioStation& station);
    static QVariantMap cameraRecord(const ScenarioCamera& camera);
    static QVariantMap cameraStatus(const ScenarioCamera& camera);
    static QVariantMap failoverEntry(const ScenarioStation& redundantServer);
    // The name a redundant server reports itself by: its local id with "S_" turned into "F_".
    static QString failoverName(const QString& relayPath);

private:
    ServerAnswer answerForStation(const QString& command, const ScenarioStation& station,
                                  const QVariantMap& arguments) const;
    QVariantMap logicalTreeNode(const QVariant& node, int& serial) const;
    QList<const ScenarioCamera*> selectCameras(const ScenarioStation& station, const QStringList& cameraIds) const;

    const Scenario& m_scenario;
};
