#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "log/Log.h"
#include "sim/Board.h"
#include "support/Accesses.h"
#include "support/RegisterFacts.h"

using Texts = std::vector<std::string>;

/// What a driver's DumpStatus reports. Its two numbers make no difference and there is never more.
template <typename Driver>
std::string ReportOf(Driver& driver) {
  std::string report = "old";
  std::uint8_t more = 1;
  driver.DumpStatus(1, 2, report, &more);
  EXPECT_EQ(more, 0);
  return report;
}

/// The fixture of a driver's test: the simulated board, the model of the driver's core, and the
/// notation for its accesses. The driver itself is a member of the derived fixture.
template <typename Model>
class CoreTest : public testing::Test {
 protected:
  explicit CoreTest(std::string module, LogLevel level = kLogDebug)
      : name(std::move(module)), base(facts::ModuleOf(name).base), core(board.Core<Model>(name)) {
    SetLogLevel(level);
  }

  /// A field write: a load and a store of its word, all else unchanged.
  Expected W(std::string_view field, std::uint32_t value) const {
    return {Expected::Kind::kWrite, name, field, value};
  }
  /// A store without a load: the field's neighbours become 0.
  Expected WAlone(std::string_view field, std::uint32_t value) const {
    return {Expected::Kind::kWriteAlone, name, field, value};
  }
  /// A load of a field's word, and what the field must hold in it.
  Expected R(std::string_view field, std::optional<std::uint32_t> value = std::nullopt) const {
    return {Expected::Kind::kRead, name, field, value};
  }

  /// Whether an interrupt line, 0 to 63, has reached the aggregator since it was last cleared
  /// there.
  bool LineIsRaised(std::uint64_t irq) const {
    const char* const lines = irq < 32 ? "irq_status_0_31" : "irq_status_32_63";
    const auto latched = board.registers.Load(facts::PlaceOf("irq_handler", lines).address);
    return (latched >> irq % 32 & 1) != 0;
  }

  /// Fills all bits that hold what is written with garbage, so that a write that touches its
  /// neighbours, or leaves out what it must set, shows.
  void FillWithGarbage() { core.FillWritable(0xA5C3965A); }

  sim::Board& board = sim::Board::Get();
  const std::string name;
  const std::uint32_t base;
  Model& core;
};
