#pragma once

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <optional>

#include "Scenario.h"
#include "ScenarioAnswers.h"

class SimulatedFramework;

// The servers of a simulated installation. Attached to a SimulatedFramework, it
// answers every request the module sends the way the servers would: later,
// through the event loop (never from inside the request call), with the request's
// context handed back unchanged, in one piece or in parts. Requests can be made to fail, and the scenario's
// timeline of broadcasts can be replayed.
class SimulatedInstallation : public QObject
{
    Q_OBJECT
public:
    explicit SimulatedInstallation(QObject* parent = nullptr);

    // Each load replaces the installation, its answer delays and its failures with
    // the scenario's. A scenario that cannot be read leaves everything as it was
    // and is described by errorString().
    bool loadFile(const QString& path);
    bool load(const QJsonObject& scenario);
    bool load(const QVariantMap& scenario);
    QString errorString() const { return m_error; }

    const Scenario& scenario() const { return m_scenario; }
    const ScenarioAnswers& answers() const { return m_answers; }

    // Answers every request the framework records from now on.
    void attach(SimulatedFramework* framework);
    void detach();

    // Answers are queued; 0 ms means "at the next turn of the event loop".
    void setAnswerDelay(int milliseconds) { m_answerDelayMs = qMax(0, milliseconds); }
    void setAnswerDelay(const QString& request, int milliseconds) { m_requestDelaysMs[request] = qMax(0, milliseconds); }
    int answerDelay(const QString& request) const { return m_requestDelaysMs.value(request, m_answerDelayMs); }

    // Answers come in this many parts (see AnswerParts), one after the other;
    // 1, the default, is the answer in one piece.
    void setAnswerParts(int parts) { m_answerParts = qMax(1, parts); }
    void setAnswerParts(const QString& request, int parts) { m_requestParts[request] = qMax(1, parts); }
    int answerParts(const QString& request) const { return m_requestParts.value(request, m_answerParts); }

    void addFailure(const RequestFailure& failure);
    // `times` < 0 fails every request of that name.
    void failRequest(const QString& request, const QString& returnCode, int times = 1);
    void failRequestForStation(const QString& request, const QString& station, const QString& returnCode,
                               int times = 1);
    // The request is never answered, as when a server does not reply.
    void dropRequest(const QString& request, int times = 1);
    void clearFailures() { m_failures.clear(); }
    // Failures of that request still to come; -1 when one of them never runs out.
    int remainingFailures(const QString& request) const;

    // After a successful "SubscribeCamStatus" the station's camera status is
    // broadcast ("NotifyCameraStatus"), then "NotifyCameraStatusRetrieved".
    void setPushStatusOnSubscribe(bool push) { m_pushStatusOnSubscribe = push; }

    // Replays the scenario's timeline through the framework's broadcasts, each entry
    // its delay after the one before; delays are multiplied by the time scale.
    void startTimeline();
    void stopTimeline();
    bool isTimelineRunning() const { return m_timelineRunning; }
    void setTimelineTimeScale(double scale) { m_timelineScale = qMax(0.0, scale); }

    int pendingAnswers() const { return m_pendingAnswers; }

signals:
    void answered(int requestIndex, const QString& command, const QString& returnCode);
    // Just before and just after a timeline entry reaches the module.
    void timelineEventSending(int entryIndex, const QString& event);
    void timelineEventSent(int entryIndex, const QString& event);
    void timelineFinished();

private:
    void onRequestSent(int index);
    std::optional<RequestFailure> takeFailure(const QString& command, const QString& station);
    void deliver(int index, const std::optional<ServerAnswer>& failedAnswer);
    void pushCameraStatus(const QString& station);
    void scheduleNextBroadcast();
    void sendNextBroadcast();

    Scenario m_scenario;
    ScenarioAnswers m_answers{m_scenario};
    QString m_error;
    QPointer<SimulatedFramework> m_framework;
    QMetaObject::Connection m_requestConnection;

    int m_answerDelayMs = 0;
    QHash<QString, int> m_requestDelaysMs;
    int m_answerParts = 1;
    QHash<QString, int> m_requestParts;
    QList<RequestFailure> m_failures;
    bool m_pushStatusOnSubscribe = true;
    int m_pendingAnswers = 0;

    QTimer m_timelineTimer;
    int m_nextBroadcast = 0;
    bool m_timelineRunning = false;
    double m_timelineScale = 1.0;
};
