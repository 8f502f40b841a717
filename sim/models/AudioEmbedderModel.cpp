#include "sim/models/AudioEmbedderModel.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace sim {
namespace {

constexpr AudioEmbedderModel::NumberedFields kLines("nonPcmLinePair#", 1);

// A field holds the line less this.
constexpr std::uint32_t kLineOffset = 6;
constexpr std::uint32_t kLastLine = 0xFFF + kLineOffset;

}  // namespace

AudioEmbedderModel::AudioEmbedderModel(BoardMutex& mutex, IrqAggregatorModel& aggregator,
                                       std::uint32_t irqLine)
    : ModelOf(mutex), aggregator_(aggregator), irqLine_(irqLine) {
  Set("irqReset", 1);
  Set("irqMask", 1);
}

void AudioEmbedderModel::RaiseErrors(std::uint32_t errors) {
  const std::lock_guard lock(Mutex());
  Set("errStatus", Get("errStatus") | errors);
  _Update(1);
}

void AudioEmbedderModel::SetBurstLine(std::size_t pair, std::uint32_t line) {
  if (line < kLineOffset || line > kLastLine) {
    throw std::out_of_range("no line that an embedder can report");
  }
  Set(kLines[pair + 1], line - kLineOffset);
}

void AudioEmbedderModel::FollowBursts(BurstLines lines) {
  burstLines_ = std::move(lines);
}

void AudioEmbedderModel::OnLoad(std::uint32_t offset) {
  if (!burstLines_) {
    return;
  }
  for (std::uint32_t pair = 0; pair < kLines.Count(); ++pair) {
    const FieldId field = kLines[pair + 1];
    if (WordOf(field) != offset) {
      continue;
    }
    if (const std::optional<std::uint32_t> line = burstLines_(pair)) {
      Set(field, std::clamp(*line, kLineOffset, kLastLine) - kLineOffset);
    }
  }
}

void AudioEmbedderModel::OnStore(std::uint32_t offset, std::uint32_t written,
                                 std::uint32_t /*before*/) {
  if (Strobed("errClr", offset, written)) {
    Set("errStatus", 0);
  }
  _Update(0);
}

void AudioEmbedderModel::_Update(std::uint32_t news) {
  Set("embeddingIsActive", Get("reset") == 0 && Get("aesGrpEn") != 0 ? 1 : 0);
  const bool cleared = Get("irqClr") != 0 || Get("irqReset") != 0;
  const std::uint32_t pending = cleared ? 0 : Get("irqStatus") | news;
  Set("irqStatus", pending);
  aggregator_.SetLine(irqLine_, pending != 0 && Get("irqMask") == 0);
}

}  // namespace sim
