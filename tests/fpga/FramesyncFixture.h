#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string_view>
#include <vector>

#include "log/Log.h"
#include "modules/Framesync.h"
#include "sim/Board.h"
#include "sim/models/FramesyncModel.h"
#include "support/Accesses.h"

/// A driver and its core, whose words hold garbage, so that a field write that touches its
/// neighbours shows.
class FramesyncFixture : public testing::Test {
 protected:
  static constexpr std::uint32_t kBase = 0x3100000;
  static constexpr std::uint32_t kGarbage = 0xA5C3965A;

  FramesyncFixture() {
    SetLogLevel(kLogDebug);
    for (const Field& field : framesync_regs::kFields) {
      if (field.access == Access::kReadWrite) {
        core.SetWord(field.byteOffset, kGarbage);
      }
    }
  }

  /// The accesses of field writes in this order, from what the core holds now: a load and a store
  /// each.
  struct FieldWrite {
    std::string_view field;
    std::uint32_t value;
  };
  std::vector<sim::RegisterAccess> Writes(const std::vector<FieldWrite>& writes) const {
    std::map<std::uint32_t, std::uint32_t> words;
    std::vector<sim::RegisterAccess> accesses;
    for (const FieldWrite& write : writes) {
      const Field& field = *std::find_if(
          framesync_regs::kFields.begin(), framesync_regs::kFields.end(),
          [&](const Field& row) { return std::string_view(row.name) == write.field; });
      std::uint32_t& word =
          words.try_emplace(field.byteOffset, core.Word(field.byteOffset)).first->second;
      accesses.push_back(sim::Loaded(kBase + field.byteOffset, word));
      word = (word & ~MaskInWord(field)) | write.value << field.lsb;
      accesses.push_back(sim::Stored(kBase + field.byteOffset, word));
    }
    return accesses;
  }

  sim::Board& board = sim::Board::Get();
  sim::FramesyncModel& core = board.Core<sim::FramesyncModel>("framesync1");
  FramesyncImpl framesync{"framesync1", kBase, 1};
};
