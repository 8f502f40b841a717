#include "regaccess/FpgaCsrAccess.h"

#include <cstddef>

#include "log/Log.h"
#include "platform/PhysicalMemory.h"
#include "regaccess/BusErrorReport.h"

namespace {

// The mapping. Written by Init and Shutdown while no other thread accesses registers; constant
// while any does.
volatile void* mappedWindow = nullptr;
std::uint32_t windowWords = 0;

constexpr std::uint32_t kWordBytes = 4;

bool IsAligned(std::uint32_t address) {
  return address % kWordBytes == 0;
}

// False for every address while nothing is mapped.
bool IsInWindow(std::uint32_t address) {
  return address / kWordBytes < windowWords;
}

std::uint32_t Load(std::uint32_t address) {
  return platform::LoadWord(mappedWindow, address);
}

void Store(std::uint32_t address, std::uint32_t word) {
  platform::StoreWord(mappedWindow, address, word);
}

bool MayRead(std::uint32_t address) {
  if (mappedWindow == nullptr) {
    LOG_ERROR("Attempt to read from un-initialized FPGA CSR bridge");
    return false;
  }
  if (!IsAligned(address)) {
    LOG_ERROR("Non-aligned FPGA CSR read access");
    return false;
  }
  if (!IsInWindow(address)) {
    LOG_ERROR("Attempt to read illegal FPGA CSR address");
    return false;
  }
  return true;
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
  mappedWindow = mapping;
  windowWords = kWindowBytes / kWordBytes;
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
  if (platform::UnmapMemory(mappedWindow, std::size_t{windowWords} * kWordBytes) != 0) {
    LOG_ERROR("Unable to munmap FPGA CSR bridge");
    return -1;
  }
  StopReportingBusErrors();
  mappedWindow = nullptr;
  windowWords = 0;
  LOG_INFO("Successfully munmapped FPGA CSR bridge");
  return 0;
}

bool FpgaCsrAccess::IsInitialized() const {
  return mappedWindow != nullptr;
}

int FpgaCsrAccess::Read(const Bitfield& field, std::uint32_t* value) {
  if (!MayRead(field.address)) {
    return -1;
  }
  *value = (Load(field.address) >> field.lsb) & field.Mask();
  return 0;
}

std::uint32_t FpgaCsrAccess::Read(const Bitfield& field) {
  std::uint32_t value = 0xFFFFFFFF;
  (void)Read(field, &value);  // a failure leaves all ones
  return value;
}

int FpgaCsrAccess::Write(const Bitfield& field, std::uint32_t value) {
  if (!IsInitialized()) {
    LOG_ERROR("Attempt to write to un-initialized FPGA CSR bridge");
    return -1;
  }
  if (!IsAligned(field.address)) {
    LOG_ERROR("Non-aligned FPGA CSR write access to addr 0x%x", field.address);
    return -1;
  }
  if (!IsInWindow(field.address)) {
    LOG_ERROR("Attempt to write illegal FPGA CSR address");
    return -1;
  }
  const std::uint32_t word = Load(field.address);
  if ((value & ~field.Mask()) != 0) {
    LOG_ERROR("Write data 0x%x exceeds bitfield width of %u lsb %u for address 0x%x", value,
              unsigned{field.width}, unsigned{field.lsb}, field.address);
    return -1;
  }
  Store(field.address, (word & ~(field.Mask() << field.lsb)) | (value << field.lsb));
  return 0;
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
  if (!IsInWindow(field.address)) {
    LOG_ERROR("Attempt to write illegal FPGA CSR address");
    return -1;
  }
  if ((value & ~field.Mask()) != 0) {
    LOG_ERROR("Write data 0x%x exceeds bitfield width for address 0x%x", value, field.address);
    return -1;
  }
  const std::uint32_t word = value << field.lsb;
  Store(field.address, word);
  LOG_DEBUG("raw 0x%x: 0x%08x", field.address / kWordBytes, word);
  return 0;
}

void FpgaCsrAccess::RawUnsafeWrite(std::uint32_t address, std::uint32_t value) {
  if (!IsAligned(address)) {
    LOG_ERROR("Non-aligned FPGA CSR write access to 0x%x", address);
    return;
  }
  if (!IsInWindow(address)) {
    LOG_ERROR("Attempt to write illegal FPGA CSR address");
    return;
  }
  Store(address, value);
}

std::uint32_t FpgaCsrAccess::RawUnsafeRead(std::uint32_t address) {
  if (!IsAligned(address)) {
    LOG_ERROR("Non-aligned FPGA CSR read access");
    return 0;
  }
  if (!IsInWindow(address)) {
    LOG_ERROR("Attempt to read illegal FPGA CSR address");
    return 0;
  }
  return Load(address);
}
