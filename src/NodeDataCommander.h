#pragma once

#include <QMap>
#include <QObject>
#include <QSet>
#include <QString>
#include <QVariant>

// Drives the retrieval of the installation's topology from the stations: sends
// the requests (only through its sendCommand signal), keeps the six retrieved
// flags with the stations still awaited for each, and retries what a station
// could not serve on one-shot timers.
class NodeDataCommander : public QObject
{
    Q_OBJECT
public:
    explicit NodeDataCommander(QObject* parent = nullptr);
    ~NodeDataCommander() override;

    // Start sequence of a server connection.
    void start();
    // Disconnection: the six flags fall back to false; pending retries and the
    // camera-information retry budget are kept.
    void reset();
    // Sees every response and every accepted event, after the dispatch tables' handlers.
    void commandProcessor(const QString& command, const QVariant& respData, void* pvContext,
                          const QString& returnCode, bool completed);

    void retrieveAllDeviceTopology(const QString& stationId);
    void retrieveDeviceTopology(const QString& stationId);
    void retrieveLogicalTree();
    void queryLocations(const QString& stationId);
    void retrieveAllCamInfo(const QString& stationId);
    void retrieveCamInfo(const QString& stationId, const QStringList& cameraIds);
    void retrieveServerInfo(const QString& stationId);
    void retrieveRuleInfo(const QString& stationId);
    void getCameraStatus(const QString& stationId, const QString& cameraId);

    bool isNodeInfoRetrieved() const;
    bool isCamStatusRetrieved() const;
    bool isTopologyRetrieved() const;
    bool isServerInfoRetrieved() const;
    bool isLogicalTreeRetrieved() const;
    bool isLocationRetrieved() const;

signals:
    void sendCommand(const QString& requestName, const QVariant& requestArguments, void* pvContext, bool blockReq);
    void allNodeInfoRetrieved(bool status);
    void allTopologyRetrieved(bool status);
    void allCamStatusRetrieved(bool status);
    void allServerInfoRetrieved(bool status);
    void logicalTreeRetrieved(bool status);
    void locationRetrieved(bool status);
    void handleStationTopology(const QVariant& respData, const QString& returnCode);
    void handleGetAllNodeInfo(const QVariant& respData, void* pvContext, const QString& returnCode, bool completed);
};
