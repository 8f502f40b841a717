#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

/// Ratios of two pieces of code that are measured in turns in one run, so that a busy machine slows
/// both alike.
namespace bench {

/// Nanoseconds that one call of `work` takes, over `calls` calls.
template <typename Work>
double NanosecondsPerCall(Work&& work, int calls) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < calls; ++i) {
    work();
  }
  const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
  return taken.count() / calls;
}

struct Comparison {
  double workNs;
  double baseNs;

  double Ratio() const { return workNs / baseNs; }
};

/// Measures both in turns and gives the fastest turn of each.
template <typename Work, typename Base>
Comparison Compare(Work&& work, Base&& base, int calls = 100'000, int turns = 30) {
  Comparison best{1e18, 1e18};
  for (int turn = 0; turn < turns; ++turn) {
    best.workNs = std::min(best.workNs, NanosecondsPerCall(work, calls));
    best.baseNs = std::min(best.baseNs, NanosecondsPerCall(base, calls));
  }
  return best;
}

/// One line: what was measured, the figure, its unit, its goal, and whether it was met.
inline void Report(const char* what, double figure, const char* unit, double goal) {
  std::printf("%-66s %10.3f %-3s goal %10.3f  %s\n", what, figure, unit, goal,
              figure <= goal ? "met" : "NOT MET");
}

}  // namespace bench
