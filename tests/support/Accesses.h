#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "sim/RegisterFile.h"

/// One step of what a driver is expected to do to the hardware, by the names of its fields. The
/// names stand for what the hardware's own list says of them (RegisterFacts.h). A fixture derived
/// from CoreTest makes them for its module; another module's field is written "module.field".
struct Expected {
  enum class Kind : std::uint8_t { kWrite, kWriteAlone, kRead, kRaw };

  Kind kind;
  std::string name;                 ///< for messages
  std::uint32_t address = 0;        ///< of the word
  std::uint32_t mask = 0xFFFFFFFF;  ///< the field's bits in it
  std::uint32_t bits = 0;           ///< what is written to or expected in these bits
  bool anyValue = false;            ///< a read whose value doesn't matter
  sim::RegisterAccess::Kind rawKind{};

  Expected(Kind k, std::string_view module, std::string_view field,
           std::optional<std::uint32_t> value);
  /// A whole word, as sim::Loaded and sim::Stored make it.
  Expected(const sim::RegisterAccess& raw);  // NOLINT(google-explicit-constructor)
};

using Accesses = std::vector<Expected>;

/// One after the other.
Accesses operator+(Accesses first, const Accesses& second);
Accesses operator+(Accesses first, const Expected& second);

/// What a driver did: each load and store, in order.
struct Trace : std::vector<sim::RegisterAccess> {
  using std::vector<sim::RegisterAccess>::vector;
  explicit Trace(std::vector<sim::RegisterAccess> accesses) : vector(std::move(accesses)) {}
};

/// True if the trace is these accesses and nothing else. A field write is a load of its word and a
/// store of what was loaded with the field alone changed, so that it is proved to leave its
/// neighbours as they are.
bool operator==(const Trace& trace, const Accesses& expected);
void PrintTo(const Trace& trace, std::ostream* out);
void PrintTo(const Expected& access, std::ostream* out);

/// The accesses of one operation, whose log lines are kept alone.
Trace AccessesOf(const std::function<void()>& operation);

/// The stores among them.
std::vector<sim::RegisterAccess> StoresOf(const std::function<void()>& operation);

/// The slots of the register window in the order in which a trace came to them.
std::vector<std::uint32_t> ModulesInOrder(const std::vector<sim::RegisterAccess>& trace);

/// Says that this test reaches words without a field, or writes to status, on purpose. Any other
/// test that does fails when it ends.
void MeanStrayAccesses();
