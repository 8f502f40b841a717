#include "regaccess/FpgaCsrAccess.h"

#include <cstddef>

#include "log/Log.h"
#include "platform/PhysicalMemory.h"
#include "regaccess/BusErrorReport.h"

namespace {

constexpr std::uint32_t kWordBytes = 4;

bool IsAligned(std::uint32_t address) {
  return address % kWordBytes == 0;
}

}  // namespace

FpgaCsrAccess::~FpgaCsrAccess() {
  (void)Shutdown();  // logs its own failure
}

int FpgaCsrAccess::Init() {
  if (IsInitialized()) {
    LOG_ERROR("Attempt to re-initialize FPGA CSR bridge");
    return -1;
  }
  const int descriptor = platform::OpenMemory();
  if (descriptor < 0) {
    LOG_ERROR("Failed to open file /dev/mem for mmaping, FPGA CSR bridge is not usable");
  }
  volatile void* mapping = platform::MapMemory(descriptor, kPhysicalBase, kWindowBytes);
  if (descriptor >= 0) {
    platform::CloseMemory(descriptor);
  }
  if (mapping == nullptr) {
    LOG_ERROR("FPGA CSR bridge mmap failed");
    return -1;
  }
  mappedWindow_ = mapping;
  windowWords_ = kWindowBytes / kWordBytes;
  ReportBusErrorsIn(mapping, kWindowBytes);
  LOG_INFO("FPGA CSR bridge mmap success of 0x%x bytes at addr 0x%lx", kWindowBytes,
           reinterpret_cast<unsigned long>(mapping));
  return 0;
}

int FpgaCsrAccess::Shutdown() {
  if (!IsInitialized()) {
    LOG_ERROR("Attempt to shutdown uninitialized FPGA CSR bridge");
    return -1;
  }
  if (platform::UnmapMemory(mappedWindow_, std::size_t{windowWords_} * kWordBytes) != 0) {
    LOG_ERROR("Unable to munmap FPGA CSR bridge");
    return -1;
  }
  StopReportingBusErrors();
  mappedWindow_ = nullptr;
  windowWords_ = 0;
  LOG_INFO("Successfully munmapped FPGA CSR bridge");
  return 0;
}

bool FpgaCsrAccess::IsInitialized() const {
  return mappedWindow_ != nullptr;
}

int FpgaCsrAccess::_RefuseRead(const LogOrigin& access, std::uint32_t address) {
  if (mappedWindow_ == nullptr) {
    LOG_ERROR_FROM(access, "Attempt to read from un-initialized FPGA CSR bridge");
  } else if (!IsAligned(address)) {
    LOG_ERROR_FROM(access, "Non-aligned FPGA CSR read access");
  } else {
    LOG_ERROR_FROM(access, "Attempt to read illegal FPGA CSR address");
  }
  return -1;
}

int FpgaCsrAccess::_RefuseWrite(const LogOrigin& access, std::uint32_t address) {
  if (mappedWindow_ == nullptr) {
    LOG_ERROR_FROM(access, "Attempt to write to un-initialized FPGA CSR bridge");
  } else if (!IsAligned(address)) {
    LOG_ERROR_FROM(access, "Non-aligned FPGA CSR write access to addr 0x%x", address);
  } else {
    LOG_ERROR_FROM(access, "Attempt to write illegal FPGA CSR address");
  }
  return -1;
}

int FpgaCsrAccess::_RefuseValue(const LogOrigin& access, const Bitfield& field,
                                std::uint32_t value) {
  LOG_ERROR_FROM(access, "Write data 0x%x exceeds bitfield width of %u lsb %u for address 0x%x",
                 value, unsigned{field.width}, unsigned{field.lsb}, field.address);
  return -1;
}

int FpgaCsrAccess::WriteNoRmw(const Bitfield& field, std::uint32_t value) {
  if (!IsInitialized()) {
    LOG_ERROR("Attempt to write to un-initialized FPGA CSR bridge");
    return -1;
  }
  if (!IsAligned(field.address)) {
    LOG_ERROR("Non-aligned FPGA CSR write access");
    return -1;
  }
  if (!_IsLegal(field.address)) {
    LOG_ERROR("Attempt to write illegal FPGA CSR address");
    return -1;
  }
  if ((value & ~field.Mask()) != 0) {
    LOG_ERROR("Write data 0x%x exceeds bitfield width for address 0x%x", value, field.address);
    return -1;
  }
  const std::uint32_t word = value << field.lsb;
  _Store(field.address, word);
  LOG_DEBUG("raw 0x%x: 0x%08x", field.address / kWordBytes, word);
  return 0;
}

void FpgaCsrAccess::RawUnsafeWrite(std::uint32_t address, std::uint32_t value) {
  if (!IsAligned(address)) {
    LOG_ERROR("Non-aligned FPGA CSR write access to 0x%x", address);
    return;
  }
  if (!_IsLegal(address)) {
    LOG_ERROR("Attempt to write illegal FPGA CSR address");
    return;
  }
  _Store(address, value);
}

std::uint32_t FpgaCsrAccess::RawUnsafeRead(std::uint32_t address) {
  if (!IsAligned(address)) {
    LOG_ERROR("Non-aligned FPGA CSR read access");
    return 0;
  }
  if (!_IsLegal(address)) {
    LOG_ERROR("Attempt to read illegal FPGA CSR address");
    return 0;
  }
  return _Load(address);
}
