#include "modules/DanteCoreInterface.h"

#include "log/Log.h"

DanteCoreInterface::DanteCoreInterface(const std::string& name, std::uint32_t baseAddress)
    : RegisterBlock(name, baseAddress), name_(name), baseAddress_(baseAddress) {
}

void DanteCoreInterface::HoldInReset() {
  LOG_INFO("Hold In Reset");
  WriteBitfield("reset", 1);
}

void DanteCoreInterface::ReleaseFromReset() {
  LOG_INFO("Release From Reset");
  WriteBitfield("reset", 0);
}

void DanteCoreInterface::ResetAndRelease() {
  HoldInReset();
  ReleaseFromReset();
}
