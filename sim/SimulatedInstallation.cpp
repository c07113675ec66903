#include "SimulatedInstallation.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>

#include "AnswerParts.h"
#include "SimulatedFramework.h"

namespace {

const QString subscribeCamStatus = QStringLiteral("SubscribeCamStatus");

// The station a request addresses: its arguments' "relayPath", the login
// station without one. Contexts are the module's and never read here.
QString stationOf(const RecordedRequest& request)
{
    return request.arguments.toMap().value(QStringLiteral("relayPath")).toString();
}

} // namespace

SimulatedInstallation::SimulatedInstallation(QObject* parent) : QObject(parent)
{
    m_timelineTimer.setSingleShot(true);
    m_timelineTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_timelineTimer, &QTimer::timeout, this, &SimulatedInstallation::sendNextBroadcast);
}

bool SimulatedInstallation::loadFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    const QByteArray content = file.readAll();
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(content, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        const int line = int(content.left(parseError.offset).count('\n')) + 1;
        m_error = QStringLiteral("%1:%2: %3").arg(path).arg(line).arg(parseError.errorString());
        return false;
    }
    if (!load(document.object())) {
        m_error.prepend(path + QStringLiteral(": "));
        return false;
    }
    return true;
}

bool SimulatedInstallation::load(const QJsonObject& scenario)
{
    return load(scenario.toVariantMap());
}

bool SimulatedInstallation::load(const QVariantMap& scenario)
{
    QString error;
    if (!m_scenario.read(scenario, &error)) {
        m_error = error;
        return false;
    }
    m_error.clear();
    stopTimeline();
    m_answerDelayMs = m_scenario.answerDelayMs();
    m_requestDelaysMs = m_scenario.requestDelaysMs();
    m_failures = m_scenario.failures();
    m_answerParts = m_scenario.answerParts();
    m_requestParts = m_scenario.requestParts();
    m_pushStatusOnSubscribe = m_scenario.pushesStatusOnSubscribe();
    return true;
}

void SimulatedInstallation::attach(SimulatedFramework* framework)
{
    detach();
    m_framework = framework;
    if (framework)
        m_requestConnection = connect(framework, &SimulatedFramework::requestSent, this,
                                      &SimulatedInstallation::onRequestSent);
}

void SimulatedInstallation::detach()
{
    disconnect(m_requestConnection);
    m_framework = nullptr;
}

void SimulatedInstallation::addFailure(const RequestFailure& failure)
{
    m_failures.append(failure);
}

void SimulatedInstallation::failRequest(const QString& request, const QString& returnCode, int times)
{
    RequestFailure failure;
    failure.request = request;
    failure.returnCode = returnCode;
    failure.times = times;
    addFailure(failure);
}

void SimulatedInstallation::failRequestForStation(const QString& request, const QString& station,
                                                  const QString& returnCode, int times)
{
    RequestFailure failure;
    failure.request = request;
    failure.returnCode = returnCode;
    failure.times = times;
    failure.anyStation = false;
    failure.station = station;
    addFailure(failure);
}

void SimulatedInstallation::dropRequest(const QString& request, int times)
{
    RequestFailure failure;
    failure.request = request;
    failure.times = times;
    failure.noAnswer = true;
    addFailure(failure);
}

int SimulatedInstallation::remainingFailures(const QString& request) const
{
    int total = 0;
    for (const RequestFailure& failure : m_failures) {
        if (failure.request != request)
            continue;
        if (failure.times < 0)
            return -1;
        total += failure.times;
    }
    return total;
}

std::optional<RequestFailure> SimulatedInstallation::takeFailure(const QString& command, const QString& station)
{
    for (int i = 0; i < m_failures.size(); ++i) {
        RequestFailure& failure = m_failures[i];
        if (failure.request != command || (!failure.anyStation && failure.station != station))
            continue;
        const RequestFailure taken = failure;
        if (failure.times > 0 && --failure.times == 0)
            m_failures.removeAt(i);
        return taken;
    }
    return std::nullopt;
}

void SimulatedInstallation::onRequestSent(int index)
{
    const RecordedRequest& request = m_framework->requests().at(index);
    const std::optional<RequestFailure> failure = takeFailure(request.command, stationOf(request));
    if (failure && failure->noAnswer)
        return;

    std::optional<ServerAnswer> failedAnswer;
    if (failure)
        failedAnswer = ServerAnswer{failure->returnCode, QVariantMap()};
    ++m_pendingAnswers;
    const QPointer<SimulatedFramework> framework = m_framework;
    const int generation = m_framework->generation();
    QTimer::singleShot(answerDelay(request.command), Qt::PreciseTimer, this,
                       [this, framework, index, generation, failedAnswer] {
                           --m_pendingAnswers;
                           // The framework may have been replaced or have forgotten its
                           // requests meanwhile; the index then names another request.
                           if (framework && framework == m_framework && framework->generation() == generation
                               && !framework->isAnswered(index))
                               deliver(index, failedAnswer);
                       });
}

// The parts of one answer follow each other with nothing in between, the way
// a reply without a context can still be told apart from the next one.
void SimulatedInstallation::deliver(int index, const std::optional<ServerAnswer>& failedAnswer)
{
    // A copy: answering may make the module send further requests, which grow the list.
    const RecordedRequest request = m_framework->requests().at(index);
    const QString station = stationOf(request);
    const ServerAnswer answer = failedAnswer ? *failedAnswer : m_answers.answer(request.command, request.arguments);
    const QVariantList parts = AnswerParts::split(answer.data, answerParts(request.command));
    const QPointer<SimulatedFramework> framework = m_framework;
    const int generation = framework->generation();
    for (qsizetype part = 0; part < parts.size(); ++part) {
        // Handling a part may replace the framework or make it forget its requests.
        if (!framework || framework != m_framework || framework->generation() != generation)
            return;
        framework->respond(index, parts.at(part), answer.returnCode, part == parts.size() - 1);
    }
    emit answered(index, request.command, answer.returnCode);

    if (m_pushStatusOnSubscribe && request.command == subscribeCamStatus && answer.returnCode == QLatin1String("0")) {
        ++m_pendingAnswers;
        QTimer::singleShot(0, this, [this, station] {
            --m_pendingAnswers;
            pushCameraStatus(station);
        });
    }
}

void SimulatedInstallation::pushCameraStatus(const QString& station)
{
    const ScenarioStation* subscribed = m_scenario.station(station);
    if (!m_framework || !subscribed)
        return;
    const QVariantList statusList = m_answers.cameraStatusList(*subscribed);
    if (!statusList.isEmpty())
        m_framework->broadcast(QStringLiteral("NotifyCameraStatus"), statusList);
    m_framework->broadcast(QStringLiteral("NotifyCameraStatusRetrieved"),
                           QVariantMap{{QStringLiteral("relayPath"), station}});
}

void SimulatedInstallation::startTimeline()
{
    m_timelineTimer.stop();
    m_nextBroadcast = 0;
    m_timelineRunning = true;
    scheduleNextBroadcast();
}

void SimulatedInstallation::stopTimeline()
{
    m_timelineTimer.stop();
    m_timelineRunning = false;
}

void SimulatedInstallation::scheduleNextBroadcast()
{
    const QList<ScenarioBroadcast> timeline = m_scenario.timeline();
    if (m_nextBroadcast >= timeline.size()) {
        m_timelineRunning = false;
        emit timelineFinished();
        return;
    }
    m_timelineTimer.start(qRound(timeline.at(m_nextBroadcast).delayMs * m_timelineScale));
}

void SimulatedInstallation::sendNextBroadcast()
{
    const int entryIndex = m_nextBroadcast++;
    const ScenarioBroadcast broadcast = m_scenario.timeline().at(entryIndex);
    emit timelineEventSending(entryIndex, broadcast.event);
    if (m_framework)
        m_framework->broadcast(broadcast.event, broadcast.payload, broadcast.target);
    emit timelineEventSent(entryIndex, broadcast.event);
    if (m_timelineRunning)
        scheduleNextBroadcast();
}
