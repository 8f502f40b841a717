#pragma once

#include <cstddef>
#include <cstdint>

/// The register window of the FPGA, as the machine offers it: physical memory that is mapped, and
/// one aligned 32-bit access at a time. No other kind of access exists: what lies behind it has
/// strobes and FIFOs.
namespace platform {

/// Opens the memory device for reading and writing, synchronous. Gives a descriptor, or -1 with
/// errno set.
int OpenMemory();

/// Closes what OpenMemory gave. A mapping stays valid without its descriptor.
void CloseMemory(int descriptor);

/// Maps `bytes` of physical memory from `physicalAddress` on, shared, readable and writable; the
/// physical address serves as a hint for the place as well. Gives null with errno set on failure,
/// also for a descriptor of -1.
volatile void* MapMemory(int descriptor, std::uint64_t physicalAddress, std::size_t bytes);

/// Unmaps a whole mapping. Gives 0, or -1 with errno set.
int UnmapMemory(volatile void* mapping, std::size_t bytes);

/// One aligned 32-bit load at `byteOffset` of a mapping. `byteOffset` is a multiple of 4 inside it.
/// Thread-safe, like the store; neither orders anything between two threads.
std::uint32_t LoadWord(const volatile void* mapping, std::size_t byteOffset);

/// One aligned 32-bit store.
void StoreWord(volatile void* mapping, std::size_t byteOffset, std::uint32_t value);

}  // namespace platform
