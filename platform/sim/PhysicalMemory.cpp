#include "platform/PhysicalMemory.h"

#include <sys/mman.h>

#include <cerrno>

#include "sim/Board.h"

namespace platform {
namespace {

// The one descriptor of the simulated memory device: no system call ever sees it.
constexpr int kMemoryDescriptor = 1'000'000;

// Touches the mapping itself where a bus error is asked for, so that it is a real one.
void RaiseBusErrorAt(const volatile void* mapping, std::size_t byteOffset) {
  if (sim::Board::Get().settings.busErrorAt == byteOffset) {
    (void)*(static_cast<const volatile char*>(mapping) + byteOffset);
  }
}

}  // namespace

int OpenMemory() {
  if (sim::Board::Get().settings.memoryMissing) {
    errno = ENOENT;
    return -1;
  }
  return kMemoryDescriptor;
}

void CloseMemory(int /*descriptor*/) {
}

volatile void* MapMemory(int descriptor, std::uint64_t /*physicalAddress*/, std::size_t bytes) {
  if (descriptor != kMemoryDescriptor) {
    errno = EBADF;
    return nullptr;
  }
  return sim::Board::Get().MapWindow(bytes);
}

int UnmapMemory(volatile void* mapping, std::size_t bytes) {
  if (sim::Board::Get().settings.unmappingRefused) {
    errno = EINVAL;
    return -1;
  }
  return munmap(const_cast<void*>(mapping), bytes);
}

std::uint32_t LoadWord(const volatile void* mapping, std::size_t byteOffset) {
  RaiseBusErrorAt(mapping, byteOffset);
  return sim::Board::Get().registers.Load(static_cast<std::uint32_t>(byteOffset));
}

void StoreWord(volatile void* mapping, std::size_t byteOffset, std::uint32_t value) {
  RaiseBusErrorAt(mapping, byteOffset);
  sim::Board::Get().registers.Store(static_cast<std::uint32_t>(byteOffset), value);
}

}  // namespace platform
