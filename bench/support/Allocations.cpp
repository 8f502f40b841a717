#include "support/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> allocations{0};

}  // namespace

std::size_t bench::AllocationCount() {
  return allocations;
}

void* operator new(std::size_t bytes) {
  ++allocations;
  if (void* memory = std::malloc(bytes); memory != nullptr) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*bytes*/) noexcept {
  std::free(memory);
}
