#include "modules/DanteCoreInterface.h"

#include "log/Log.h"

DanteCoreInterface::DanteCoreInterface(const std::string& name, std::uint32_t baseAddress)
    : CoreDriver(name, baseAddress, 0) {
}

void DanteCoreInterface::HoldInReset() {
  LOG_INFO("Hold In Reset");
  CoreDriver::HoldInReset();
}

void DanteCoreInterface::ReleaseFromReset() {
  LOG_INFO("Release From Reset");
  CoreDriver::ReleaseFromReset();
}
