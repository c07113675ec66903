#pragma once

#include <QLatin1String>

// Identifiers of the folders the module itself keeps in the logical tree, which
// the views and the standalone player recognise again.
namespace LogicalTreeNames {
// The local databases the standalone player opened.
inline constexpr QLatin1String kLocalDbFolder("_LOCAL_DB_");
// The stations' I/O devices.
inline constexpr QLatin1String kIoDeviceFolder("_IO_BOX_FID_");
// The cloud's devices.
inline constexpr QLatin1String kCloudFolder("_SKYRCloud_");
} // namespace LogicalTreeNames
