#pragma once

#include <QLatin1String>
#include <QString>
#include <QVariant>
#include <QVariantMap>

// Reading the servers' payloads: a missing or wrong-typed key reads as an empty
// value, never as an error.
namespace PayloadFields {

inline QString textOf(const QVariantMap& map, const char* key)
{
    return map.value(QLatin1String(key)).toString();
}

inline bool flagOf(const QVariantMap& map, const char* key)
{
    return map.value(QLatin1String(key)).toBool();
}

inline bool isRecord(const QVariant& entry)
{
    return entry.canConvert<QVariantMap>();
}

} // namespace PayloadFields
