#pragma once

#include <QLatin1String>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

// Reading the servers' payloads: a missing or wrong-typed key reads as an empty
// value, never as an error. Every text of a payload is read here, so that the
// length limit (ModuleLimits.h) holds everywhere: a longer text reads as empty
// and counts for the input's limit report (InputLimits).
namespace PayloadFields {

QString text(const QVariant& value);
// A list of texts keeps its length: an entry that is too long reads as empty in
// its place, since positions can matter (port names by index).
QStringList textList(const QVariant& value);

// The entries of a list. Anything else reads as no entries: Qt would turn a
// text into a list of its characters, and each would be taken for an entry.
QVariantList list(const QVariant& value);

inline QVariantList listOf(const QVariantMap& map, const char* key)
{
    return list(map.value(QLatin1String(key)));
}

// Whether the value is a whole number of any width.
bool isInteger(const QVariant& value);
// Whether the value is a number: numbers parsed from JSON arrive as 64-bit
// integers or doubles.
bool isNumber(const QVariant& value);

inline QString textOf(const QVariantMap& map, const char* key)
{
    return text(map.value(QLatin1String(key)));
}

inline QStringList textListOf(const QVariantMap& map, const char* key)
{
    return textList(map.value(QLatin1String(key)));
}

inline bool flagOf(const QVariantMap& map, const char* key)
{
    return map.value(QLatin1String(key)).toBool();
}

// A map as the servers' payloads hold one, whichever of Qt's two map types it came as.
inline bool isMap(const QVariant& value)
{
    return value.typeId() == QMetaType::QVariantMap || value.typeId() == QMetaType::QVariantHash;
}

inline bool isRecord(const QVariant& entry)
{
    return entry.canConvert<QVariantMap>();
}

// The value as the module may keep it: itself when its maps and lists nest at
// most maxLevels deep (the value is level 1), otherwise a copy without the maps
// and lists that lie deeper, which are reported. Qt copies, compares and frees
// nested values by recursion, so a value kept past the call that brought it
// must be shallow enough for that.
QVariant withinNesting(const QVariant& value, int maxLevels);
QVariant withinNesting(const QVariant& value);

} // namespace PayloadFields
