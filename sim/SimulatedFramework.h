#pragma once

#include "FrameworkWrapperBase.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include "PluginBase.h"

// One request as the module handed it to the framework.
struct RecordedRequest
{
    QString command;
    QVariant arguments;
    void* context = nullptr;
    bool blocking = false;
    QString pluginId;
    void* hostHandle = nullptr;
    // Its last part has been delivered.
    bool answered = false;
};

// A framework that records every request the plug-in sends and lets the caller
// answer them through the plug-in's CommandProcessor, as the real framework
// would, handing the request's context back unchanged. Like the real one it
// never reads nor frees a context: they belong to the module.
class SimulatedFramework : public QObject, public FrameworkWrapperBase
{
    Q_OBJECT
public:
    explicit SimulatedFramework(QObject* parent = nullptr);
    ~SimulatedFramework() override;

    QString FrameworkVersion() const override;
    bool SendRequest(void* hostHandle, const QString& pluginId, const QString& command,
                     const QVariant& arguments, void* pvContext, bool blockReq,
                     const QString& reserved) override;

    void setPlugin(PluginBase* plugin) { m_plugin = plugin; }
    // When false, SendRequest refuses every request (returns false), as a
    // framework that lost its connection does.
    void setAcceptsRequests(bool accepts) { m_acceptsRequests = accepts; }

    const QList<RecordedRequest>& requests() const { return m_requests; }
    QStringList commandNames() const;
    int indexOf(const QString& command, int from = 0) const;
    int lastIndexOf(const QString& command) const;
    int count(const QString& command) const;
    // Forgets the recorded requests.
    void clearRequests();
    // Counts the calls of clearRequests, so that whoever answers later by index can
    // tell that the index it kept now names another request (or none).
    int generation() const { return m_generation; }
    bool isAnswered(int index) const;

    // Delivers a response to request `index` through CommandProcessor: one part
    // of it while `completed` is false, its last part (or the whole) when true.
    // Nothing more is delivered once a last part has been.
    void respond(int index, const QVariant& data, const QString& returnCode = QStringLiteral("0"),
                 bool completed = true, const QString& origin = QString());
    // Delivers a broadcast through EventProcessor.
    void broadcast(const QString& event, const QVariant& data, const QString& target = QString());

signals:
    void requestSent(int index);

private:
    QPointer<PluginBase> m_plugin;
    QList<RecordedRequest> m_requests;
    bool m_acceptsRequests = true;
    int m_generation = 0;
};
