#pragma once

#include <QHash>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QString>
#include <QVariant>

#include "ReplyParts.h"

#include <array>

class QTimerEvent;

// Drives the retrieval of the installation's topology from the stations: sends
// the requests (only through its sendCommand signal), keeps the six retrieved
// flags with the stations still awaited for each, and retries what a station
// could not serve on one-shot timers.
//
// Request sequence
// ----------------
// Station-scoped requests carry {"relayPath": station}; the contexts follow
// RequestContexts.h and belong to the plug-in, which frees them.
//
// A reply may come in several parts (`completed` false on all but the last).
// The commander reacts to a reply once, on its last part: the topology replies
// are gathered part by part and taken whole, and a failure counts once. Only
// the "RetrieveAllNodeInfo" answer is taken part by part, each part adding its
// stations.
//
// start():
//   "RetrieveLoginStationInfo" (blocking), "retrieveLogicalTree" {"relayPath": ""},
//   "RetrieveAllNodeInfo", "RetrieveAllDeviceTopology" for the root station ("").
//
// "RetrieveAllDeviceTopology" answered "0": for the requested station and then,
// depth first, for each sub-station ("nodeType" "Station") of its "nodeList":
//   handleStationTopology, "QryCamLocation", the sub-stations, then the node
//   information (handed over from the "RetrieveAllNodeInfo" answer, or asked
//   for with "RetrieveAllCamInfo"), "RetrieveServerInfo",
//   "GetRedundantServersStatus", "GetSKYRCloudConnectionTimeoutList",
//   "GetFailoverStatus", and last "GetWifiStatus" for each NVR of its node list.
//
// "RetrieveDeviceTopology" answered "0" (one station at a time):
//   "RetrieveDeviceTopology" for each sub-station, then for the station
//   "RetrieveAllCamInfo", "QryCamLocation", "RetrieveServerInfo",
//   "GetRedundantServersStatus", "GetSKYRCloudConnectionTimeoutList", and last
//   "GetWifiStatus" for each NVR of its node list.
//
// Once a station's node information is in (handed over, or a final
// "RetrieveAllCamInfo" answer "0"): "SubscribeCamStatus", "RetrieveRuleInfo",
// "GetDiDoRefName", "RetrieveExternalDevs", "SubscribeCameraEvent",
// "SubscribeStationDIDOEvent", "SubscribeExtIODeviceEvent". Rules and DI/DO
// names attach to the camera and DI/DO records, and events name the nodes,
// so all of them wait until the records exist.
//
// Events:
//   "NotifyCamInsert"           "RetrieveCamInfo" per "parentStationID" with the
//                               new cameras' "nodeUID"s as "camIDList";
//   "NotifyCameraInfoChange"    "RetrieveCamInfo" for its "relayPath" and "idList"
//                               (nothing when the list is empty);
//   "NotifyStationInsert"       each "stationUID" is awaited for topology and
//                               camera status and asked for with
//                               "RetrieveDeviceTopology" (a station still starting
//                               answers "80260006" and is retried);
//   "NotifyExternalDeviceAdd",
//   "NotifyExternalDeviceUpdated"
//                               "RetrieveExternalDevs" for its "relayPath";
//   "NotifyStationStatus"       a station reported not "connected" can answer
//                               nothing more: it stops being awaited by every
//                               flag. A connected one is re-read by the plug-in's
//                               own handler, so nothing is sent here;
//   "NotifyCameraStatusRetrieved"
//                               its "relayPath" is answered for camStatusRetrieved.
//
// Retrieved flags
// ---------------
// A flag turns false (signalled when it was true) whenever a station is added
// to its awaited set, and true (signalled) when an answer removes the last
// awaited station. An answer for a station that is not awaited changes nothing,
// so stray or late answers cannot raise a flag. The sets hold each station once:
// two requests in flight for one station are settled by the first answer, and a
// flag never waits for an answer that was only counted once.
//
//   topologyRetrieved     + each station of a whole-topology answer (while it is
//                           processed), the sub-stations of a "RetrieveDeviceTopology"
//                           answer, each "NotifyStationInsert" station.
//                         - the end of a station's whole-topology processing; a
//                           "RetrieveDeviceTopology" answer other than "80260006"
//                           (that one is retried, so it is not yet the answer).
//   camStatusRetrieved    + as topologyRetrieved.
//                         - "NotifyCameraStatusRetrieved" for the station (the
//                           servers send it once the statuses that
//                           "SubscribeCamStatus" asked for are delivered); any
//                           "RetrieveDeviceTopology" failure for the station; a
//                           "RetrieveAllCamInfo" failure that is not retried any more
//                           (without node information nothing is subscribed).
//   nodeInfoRetrieved     + each station of a whole-topology answer, each station
//                           "RetrieveAllCamInfo" is sent for.
//                         - node information handed over; the last part of a
//                           "RetrieveAllCamInfo" answer "0"; a failure of it that is
//                           not retried (a framework failure within the retry budget
//                           is retried and keeps the station awaited).
//   serverInfoRetrieved   + each station "RetrieveServerInfo" is sent for.
//                         - its answer, whatever the code.
//   locationRetrieved     + each station "QryCamLocation" is sent for; a retry
//                           leaves the station awaited or not, as it finds it.
//                         - its answer "0", or a failure that is not retried (one
//                           without a context).
//   logicalTreeRetrieved  + the root station when "retrieveLogicalTree" is sent.
//                         - its answer, whatever the code.
//   every flag            - a "NotifyStationStatus" that is not "connected".
//
// reset() empties every set and sets back, with a signal, each flag that has
// changed since the last reset. The retry queue and the camera information
// retry budget are kept on purpose.
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
    // The user's edits of the logical tree: requests without a station context,
    // whose answers only confirm or refuse.
    void sendLogicalTreeRequest(const QString& requestName, const QVariant& arguments);

    bool isNodeInfoRetrieved() const;
    bool isCamStatusRetrieved() const;
    bool isTopologyRetrieved() const;
    bool isServerInfoRetrieved() const;
    bool isLogicalTreeRetrieved() const;
    bool isLocationRetrieved() const;

    // Retry delays, shared by every instance: after "80260006" on
    // "RetrieveDeviceTopology" (10000 ms) and after a failed whole-topology or
    // location query (2000 ms). Only tests change them, to keep suites fast.
    static void setRetryDelaysForTesting(int topologyBusyMs, int failureMs);
    static int topologyBusyRetryDelay();
    static int failureRetryDelay();

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

protected:
    // Fires the retry queued under the timer's id; every retry timer fires once.
    void timerEvent(QTimerEvent* event) override;

private:
    enum Flag { NodeInfo, CamStatus, Topology, ServerInfo, LogicalTree, Location, FlagCount };

    struct RetrievedFlag
    {
        bool retrieved = false;
        bool changedSinceReset = false;
        QSet<QString> awaited;
    };

    struct RetryEntry
    {
        QString requestName;
        QVariant stationId;
    };

    // One response or event as commandProcessor hands it on: a whole reply, or
    // one part of a reply whose reaction takes each part.
    struct Response
    {
        const QString& command;
        const QVariant& data;
        const QString& returnCode;
        bool hasContext;
        QString stationId;
    };
    using Reaction = void (NodeDataCommander::*)(const Response&);
    // Which parts of a reply in several parts a reaction sees: each successful
    // one, only the last, or the last with the parts gathered into the whole.
    enum class Parts { Each, Last, Gathered };
    struct ReactionEntry
    {
        Reaction reaction;
        Parts parts;
    };
    static const QHash<QString, ReactionEntry>& reactions();

    void onDeviceTopology(const Response& response);
    void onAllDeviceTopology(const Response& response);
    void onLocations(const Response& response);
    void onServerInfo(const Response& response);
    void onAllNodeInfo(const Response& response);
    void onCameraInfo(const Response& response);
    void onLogicalTree(const Response& response);
    void onStationStatus(const Response& response);
    void onCamerasInserted(const Response& response);
    void onCameraInfoChanged(const Response& response);
    void onStationsInserted(const Response& response);
    void onExternalDevicesChanged(const Response& response);
    void onCameraStatusRetrieved(const Response& response);

    void processStationTopology(const QVariantMap& allTopology, const QString& relayPath);
    void finishStationTopology(const QString& relayPath, const QVariantList& nodeList);
    bool handOverKeptNodeInfo(const QString& stationId);
    bool resendCameraInfoWithinBudget(const QString& stationId);
    void requestAfterNodeInfo(const QString& stationId);
    void requestStationDetails(const QString& stationId);
    void requestWifiStatus(const QVariantList& nodeList);
    void sendStationRequest(const QString& requestName, const QString& stationId);
    void sendLocationQuery(const QString& stationId);
    void queueRetry(const QString& requestName, const QString& stationId, int delayMs);

    void awaitStation(Flag flag, const QString& stationId);
    void stationAnswered(Flag flag, const QString& stationId);
    void setRetrieved(Flag flag, bool retrieved);
    void emitRetrieved(Flag flag, bool retrieved);

    std::array<RetrievedFlag, FlagCount> m_flags;
    QMap<int, RetryEntry> m_retryQueue;
    // The parts so far of the topology replies, which are acted on whole.
    ReplyParts m_gatheredReplies;
    // Node information of the connection's "RetrieveAllNodeInfo" answer, by
    // station, until it is handed over during the station's processing.
    QVariantMap m_keptNodeInfo;
    // Stations whose node information this connection has already handed over
    // or asked for; a late "RetrieveAllNodeInfo" entry for them would be stale
    // by the time it could be used.
    QSet<QString> m_nodeInfoSettled;
    // Whether the running connection is the object's first; a reconnection
    // meets stores that an earlier connection filled. Set at each start.
    bool m_neverConnected = true;
    bool m_firstConnection = false;
};
