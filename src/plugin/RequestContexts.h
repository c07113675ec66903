#pragma once

#include <QString>
#include <QVariantMap>

// The context pointers that travel with requests and come back with their
// responses. What a context points to is decided by the request's name alone,
// so that a void* is only ever read as the type it was made with:
//
//   "RetrieveDeviceTopology", "RetrieveAllDeviceTopology", "QryCamLocation",
//   "RetrieveServerInfo":
//       a QString with the station id;
//   "RetrieveAllCamInfo", "RetrieveCamInfo":
//       a QVariantMap with the request's own arguments ("relayPath", "camIDList");
//   every other request: no context (null).
//
// RequestContextRegistry holds every context the module hands out and releases
// each exactly once: after the last part of its reply, or when its request is
// refused.
namespace RequestContexts {

inline bool carriesStationId(const QString& command)
{
    return command == QLatin1String("RetrieveDeviceTopology") || command == QLatin1String("RetrieveAllDeviceTopology")
        || command == QLatin1String("QryCamLocation") || command == QLatin1String("RetrieveServerInfo");
}

inline bool carriesArguments(const QString& command)
{
    return command == QLatin1String("RetrieveAllCamInfo") || command == QLatin1String("RetrieveCamInfo");
}

inline void* makeStationContext(const QString& stationId)
{
    return new QString(stationId);
}

inline void* makeArgumentsContext(const QVariantMap& arguments)
{
    return new QVariantMap(arguments);
}

// The station a response belongs to; the root station (empty id) when the
// request carried no context.
inline QString stationIdOf(const QString& command, const void* context)
{
    if (!context)
        return QString();
    if (carriesStationId(command))
        return *static_cast<const QString*>(context);
    if (carriesArguments(command))
        return static_cast<const QVariantMap*>(context)->value(QStringLiteral("relayPath")).toString();
    return QString();
}

// The request's own arguments, for the requests that carry them; empty otherwise.
inline QVariantMap argumentsOf(const QString& command, const void* context)
{
    if (!context || !carriesArguments(command))
        return QVariantMap();
    return *static_cast<const QVariantMap*>(context);
}

inline void release(const QString& command, void* context)
{
    if (!context)
        return;
    if (carriesStationId(command))
        delete static_cast<QString*>(context);
    else if (carriesArguments(command))
        delete static_cast<QVariantMap*>(context);
}

} // namespace RequestContexts
