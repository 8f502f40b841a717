#pragma once

#include <optional>

/// Number of cable equalisers, and of cable drivers, when the strap pins don't tell it.
inline constexpr unsigned kDefaultDeviceCount = 5;

/// The number of devices in each cable chain (2, 3 or 5) that the levels of the strap pins PS_MIO2
/// and PS_MIO3 stand for; nothing for a pair without a meaning. A level is 0 or 1; a pin that could
/// not be read counts as -1.
std::optional<unsigned> DeviceCountFromStraps(int psMio2, int psMio3);

/// Reads both strap pins and gives the number of devices in each cable chain. If they don't tell
/// it, says so on standard output, without a line feed, and gives kDefaultDeviceCount. A failed
/// reading is logged at Warning.
unsigned ReadDeviceCount();
