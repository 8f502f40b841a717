#include "DeviceCount.h"

#include <cstdio>
#include <system_error>

#include "log/Log.h"
#include "platform/StrapPins.h"

std::optional<unsigned> DeviceCountFromStraps(int psMio2, int psMio3) {
  if (psMio2 == 0 && psMio3 == 1) {
    return 2;
  }
  if (psMio2 == 1 && psMio3 == 0) {
    return 3;
  }
  if (psMio2 == 1 && psMio3 == 1) {
    return 5;
  }
  return std::nullopt;
}

unsigned ReadDeviceCount() {
  const platform::StrapReading straps = platform::ReadStrapPins();
  if (straps.failedCall != nullptr) {
    LOG_WARNING("Unable to read the strap pins: %s: %s", straps.failedCall,
                std::generic_category().message(straps.error).c_str());
  }
  const std::optional<unsigned> count = DeviceCountFromStraps(straps.values[0], straps.values[1]);
  if (!count) {
    std::printf("Number of devices is unknown, defaulting to 5...");
  }
  return count.value_or(kDefaultDeviceCount);
}
