#include "platform/StrapPins.h"

#include <gpiod.h>

#include <cerrno>

namespace platform {
namespace {

// Reads one line into `value`. Gives false if the line can't be had.
bool ReadLine(gpiod_chip* chip, const StrapLine& strap, int& value, StrapReading& reading) {
  const auto failed = [&reading](const char* call) {
    if (reading.failedCall == nullptr) {
      reading.failedCall = call;
      reading.error = errno;
    }
  };
  gpiod_line* line = gpiod_chip_get_line(chip, strap.offset);
  if (line == nullptr) {
    failed("gpiod_chip_get_line");
    return false;
  }
  if (gpiod_line_request_input(line, strap.consumer) != 0) {
    failed("gpiod_line_request_input");
    return false;
  }
  value = gpiod_line_get_value(line);
  if (value < 0) {
    failed("gpiod_line_get_value");
  }
  gpiod_line_release(line);
  return true;
}

}  // namespace

StrapReading ReadStrapPins() {
  StrapReading reading;
  gpiod_chip* chip = gpiod_chip_open_by_name(kStrapChip);
  if (chip == nullptr) {
    reading.failedCall = "gpiod_chip_open_by_name";
    reading.error = errno;
    return reading;
  }
  for (std::size_t i = 0; i < kStrapLines.size(); ++i) {
    if (!ReadLine(chip, kStrapLines[i], reading.values[i], reading)) {
      reading.values = {-1, -1};
      break;
    }
  }
  gpiod_chip_close(chip);
  return reading;
}

}  // namespace platform
