#include <sys/mman.h>

#include "platform/Clock.h"
#include "platform/PhysicalMemory.h"
#include "platform/SystemLog.h"

// The machine's edge with the register window in plain memory and a log that nobody keeps.
namespace platform {

int OpenMemory() {
  return 0;
}

void CloseMemory(int /*descriptor*/) {
}

volatile void* MapMemory(int /*descriptor*/, std::uint64_t /*physicalAddress*/, std::size_t bytes) {
  void* mapping = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return mapping != MAP_FAILED ? mapping : nullptr;
}

int UnmapMemory(volatile void* mapping, std::size_t bytes) {
  return munmap(const_cast<void*>(mapping), bytes);
}

std::uint32_t LoadWord(const volatile void* mapping, std::size_t byteOffset) {
  return static_cast<const volatile std::uint32_t*>(mapping)[byteOffset / 4];
}

void StoreWord(volatile void* mapping, std::size_t byteOffset, std::uint32_t value) {
  static_cast<volatile std::uint32_t*>(mapping)[byteOffset / 4] = value;
}

void SystemLog(int /*severity*/, const char* /*text*/) {
}

void SystemLogV(int /*severity*/, const char* /*format*/, std::va_list /*arguments*/) {
}

void SleepMicroseconds(std::uint32_t /*microseconds*/) {
}

std::chrono::steady_clock::time_point SteadyTime() {
  return std::chrono::steady_clock::now();
}

std::timespec RealTime() {
  return {};
}

}  // namespace platform
