#include "platform/PhysicalMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace platform {

int OpenMemory() {
  return open("/dev/mem", O_RDWR | O_SYNC | O_CLOEXEC);
}

void CloseMemory(int descriptor) {
  (void)close(descriptor);  // nothing was written through it
}

volatile void* MapMemory(int descriptor, std::uint64_t physicalAddress, std::size_t bytes) {
  // The hint is an address of this process that nothing has been asked about: an integer turned
  // into a pointer is what mmap wants here.
  void* hint = reinterpret_cast<void*>(physicalAddress);  // NOLINT(performance-no-int-to-ptr)
  void* mapping = mmap(hint, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor,
                       static_cast<off_t>(physicalAddress));
  return mapping != MAP_FAILED ? mapping : nullptr;
}

int UnmapMemory(volatile void* mapping, std::size_t bytes) {
  return munmap(const_cast<void*>(mapping), bytes);
}

std::uint32_t LoadWord(const volatile void* mapping, std::size_t byteOffset) {
  return static_cast<const volatile std::uint32_t*>(mapping)[byteOffset / sizeof(std::uint32_t)];
}

void StoreWord(volatile void* mapping, std::size_t byteOffset, std::uint32_t value) {
  static_cast<volatile std::uint32_t*>(mapping)[byteOffset / sizeof(std::uint32_t)] = value;
}

}  // namespace platform
