#include "devices/M23664_Soc.h"

#include "log/Log.h"

int M23664_Soc::Initialize(Spi* spi, const SpiSettings& settings, std::size_t index,
                           std::size_t count) {
  if (spi_ != nullptr) {
    LOG_ERROR("Attempt to re-initialize");
    return -1;
  }
  if (index >= count) {
    LOG_ERROR("Out of range device index");
    return -1;
  }
  spi_ = spi;
  settings_ = settings;
  index_ = index;
  count_ = count;
  return 0;
}
