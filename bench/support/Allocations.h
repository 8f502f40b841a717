#pragma once

#include <cstddef>

namespace bench {

/// Number of heap allocations of the program so far, by all threads. A program that links
/// Allocations.cpp counts them.
std::size_t AllocationCount();

}  // namespace bench
