#include "platform/StrapPins.h"

#include <cerrno>

#include "sim/Board.h"

namespace platform {

StrapReading ReadStrapPins() {
  const sim::Settings& settings = sim::Board::Get().settings;
  StrapReading reading;
  if (settings.strapChipMissing) {
    reading.failedCall = "gpiod_chip_open_by_name";
    reading.error = ENOENT;
    return reading;
  }
  if (settings.strapLineBusy) {
    reading.failedCall = "gpiod_line_request_input";
    reading.error = EBUSY;
    return reading;
  }
  reading.values = settings.straps;
  if (reading.values[0] < 0 || reading.values[1] < 0) {
    reading.failedCall = "gpiod_line_get_value";
    reading.error = EIO;
  }
  return reading;
}

}  // namespace platform
