#include "SimulatedFramework.h"

#include "PluginBase.h"

SimulatedFramework::SimulatedFramework(QObject* parent) : QObject(parent) {}

SimulatedFramework::~SimulatedFramework() = default;

QString SimulatedFramework::FrameworkVersion() const
{
    return QStringLiteral("simulated");
}

bool SimulatedFramework::SendRequest(void* hostHandle, const QString& pluginId, const QString& command,
                                     const QVariant& arguments, void* pvContext, bool blockReq, const QString&)
{
    if (!m_acceptsRequests)
        return false;
    m_requests.append({command, arguments, pvContext, blockReq, pluginId, hostHandle, false});
    emit requestSent(int(m_requests.size()) - 1);
    return true;
}

QStringList SimulatedFramework::commandNames() const
{
    QStringList names;
    names.reserve(m_requests.size());
    for (const RecordedRequest& request : m_requests)
        names.append(request.command);
    return names;
}

int SimulatedFramework::indexOf(const QString& command, int from) const
{
    for (int i = qMax(0, from); i < m_requests.size(); ++i) {
        if (m_requests.at(i).command == command)
            return i;
    }
    return -1;
}

int SimulatedFramework::lastIndexOf(const QString& command) const
{
    for (int i = int(m_requests.size()) - 1; i >= 0; --i) {
        if (m_requests.at(i).command == command)
            return i;
    }
    return -1;
}

int SimulatedFramework::count(const QString& command) const
{
    int total = 0;
    for (const RecordedRequest& request : m_requests)
        total += request.command == command ? 1 : 0;
    return total;
}

void SimulatedFramework::clearRequests()
{
    m_requests.clear();
    ++m_generation;
}

bool SimulatedFramework::isAnswered(int index) const
{
    return index >= 0 && index < m_requests.size() && m_requests.at(index).answered;
}

void SimulatedFramework::respond(int index, const QVariant& data, const QString& returnCode, bool completed,
                                 const QString& origin)
{
    if (index < 0 || index >= m_requests.size() || m_requests.at(index).answered)
        return;
    m_requests[index].answered = completed;
    const RecordedRequest request = m_requests.at(index);
    if (m_plugin)
        m_plugin->CommandProcessor(request.command, data, request.context, returnCode, QString(), completed, origin);
}

void SimulatedFramework::broadcast(const QString& event, const QVariant& data, const QString& target)
{
    if (m_plugin)
        m_plugin->EventProcessor(event, 0, 0, 0, data, target);
}
