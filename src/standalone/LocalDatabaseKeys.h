#pragma once

#include <QLatin1String>

namespace LocalDatabaseKeys {

// The entry of a local database that describes the database itself; every
// other entry is a camera.
inline constexpr QLatin1String kMetaInfo("LocObjectMetaInfo");

} // namespace LocalDatabaseKeys
