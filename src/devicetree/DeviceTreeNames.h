#pragma once

#include <QLatin1String>

// Names the device tree gives its own nodes, which the logical tree and its
// views recognise again.
namespace DeviceTreeNames {

// The folder of a station's removed cameras: the last segment of its
// identifier in the device tree, and the whole identifier in the logical tree.
inline constexpr QLatin1String kRemovedCamerasFolder("_REMOVED_CAMERAS_");
// The brand of a camera whose record names none.
inline constexpr QLatin1String kDefaultBrand("xrqz");

} // namespace DeviceTreeNames
