#pragma once

#include <QString>
#include <QVariant>

// The host framework's request channel, as the plug-ins see it.
//
// The host owns the object and hands a pointer to each plug-in in
// PluginBase::InitialPluginBase. The order of the virtual operations is part of
// the host's binary contract: the request operation is the second one.
class FrameworkWrapperBase
{
public:
    // Version text of the framework; not used by the topology module.
    virtual QString FrameworkVersion() const = 0;

    // Sends one request to the servers. `hostHandle` and `pluginId` identify the
    // sending plug-in; `pvContext` comes back unchanged with the response's
    // PluginBase::CommandProcessor call. Returns false when the request could not
    // be sent; the response then never arrives. The trailing string is reserved
    // by the host and always passed empty.
    virtual bool SendRequest(void* hostHandle, const QString& pluginId, const QString& command,
                             const QVariant& arguments, void* pvContext, bool blockReq,
                             const QString& reserved) = 0;

    virtual ~FrameworkWrapperBase() = default;
};
