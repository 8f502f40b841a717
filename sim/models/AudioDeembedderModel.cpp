#include "sim/models/AudioDeembedderModel.h"

namespace sim {
namespace {

constexpr std::uint32_t kAllIrqSources = 0x1FFF;
constexpr std::uint32_t kBothChannels = 3;
constexpr AudioPair kNoAudio{.present = false, .burstType = 0, .line = 0};

using FieldId = AudioDeembedderModel::FieldId;
using NumberedFields = AudioDeembedderModel::NumberedFields;

constexpr NumberedFields kPairLines("nonpcm_channel_pair_#_line");
constexpr NumberedFields kPairTypes("nonpcm_channel_pair_#_type");
constexpr NumberedFields kTestLines("avSyncTestLine_#");
constexpr NumberedFields kTestFrames("avSyncTestFrame_#");
constexpr NumberedFields kTestValues("avSyncTestValue_#");

// By Error.
constexpr std::array<FieldId, 5> kErrorFlags{"fifoOverflow", "fifoUnderflow", "fifoEmpty",
                                             "fifoFull", "alignment_err_saved"};

}  // namespace

AudioDeembedderModel::AudioDeembedderModel(BoardMutex& mutex, IrqAggregatorModel& aggregator,
                                           std::uint32_t irqLine)
    : ModelOf(mutex), aggregator_(aggregator), irqLine_(irqLine) {
  pairs_.fill(kNoAudio);
  Set("irqMask", kAllIrqSources);
  Set("avSyncFifoEmpty", 1);
}

void AudioDeembedderModel::Plug(std::size_t pair, const AudioPair& audio) {
  const std::lock_guard lock(Mutex());
  pairs_.at(pair) = audio;
  _ShowPairs();
  _Update();
}

void AudioDeembedderModel::Raise(Error error, std::uint32_t flags) {
  const std::lock_guard lock(Mutex());
  raised_.at(static_cast<std::size_t>(error)) |= flags;
  _Update();
}

void AudioDeembedderModel::Hold(Error error, std::uint32_t flags) {
  const std::lock_guard lock(Mutex());
  held_.at(static_cast<std::size_t>(error)) = flags;
  _Update();
}

void AudioDeembedderModel::SetTestResult(std::size_t index, std::uint32_t line, std::uint32_t frame,
                                         std::uint32_t value) {
  const std::lock_guard lock(Mutex());
  const FieldId lineField = kTestLines[index];
  if (Get("avSyncClearResults") != 0) {
    return;
  }
  Set(lineField, line);
  Set(kTestFrames[index], frame);
  Set(kTestValues[index], value);
}

void AudioDeembedderModel::PushTestFrame(std::uint16_t frame) {
  const std::lock_guard lock(Mutex());
  if (testFrames_.size() < kTestFifoDepth) {
    testFrames_.push_back(frame);
    Set("avSyncFifoEmpty", 0);
  }
}

void AudioDeembedderModel::OnStore(std::uint32_t offset, std::uint32_t written,
                                   std::uint32_t /*before*/) {
  if (Strobed("avSyncClearResults", offset, written)) {
    for (std::size_t r = 0; r < kTestLines.Count(); ++r) {
      Set(kTestLines[r], 0);
      Set(kTestFrames[r], 0);
      Set(kTestValues[r], 0);
    }
  } else if (Strobed("avSyncFifoRd", offset, written) && !testFrames_.empty()) {
    Set("avSyncFifoFrameNum", testFrames_.front());
    testFrames_.pop_front();
    Set("avSyncFifoEmpty", testFrames_.empty() ? 1 : 0);
  }
  if (offset == WordOf("reset") || offset == WordOf("deembed_en")) {
    _ShowPairs();
  }
  _Update();
}

void AudioDeembedderModel::_ShowPairs() {
  const bool running = Get("reset") == 0 && Get("deembed_en") != 0;
  const std::uint32_t presenceBefore = Get("audioStatus");
  std::uint32_t presence = 0;
  std::uint32_t changed = 0;
  for (std::size_t p = 0; p < kPairs; ++p) {
    const AudioPair& audio = running ? pairs_[p] : kNoAudio;
    presence |= (audio.present ? kBothChannels : 0) << (2 * p);
    const std::uint32_t before = Word(WordOf(kPairLines[p]));
    Set(kPairLines[p], audio.line);
    Set(kPairTypes[p], audio.burstType);
    const bool presenceChanged = ((presence ^ presenceBefore) >> (2 * p) & kBothChannels) != 0;
    if (presenceChanged || Word(WordOf(kPairLines[p])) != before) {
      changed |= 1U << (kIrqPair + p);
    }
  }
  Set("audioStatus", presence);
  news_ |= changed;
}

void AudioDeembedderModel::_LatchErrors() {
  for (std::size_t e = 0; e < kErrors; ++e) {
    const std::uint32_t flags = raised_[e] | held_[e];
    raised_[e] = 0;
    if (flags == 0) {
      continue;
    }
    const std::uint32_t before = Get(kErrorFlags[e]);
    Set(kErrorFlags[e], before | flags);
    if (Get(kErrorFlags[e]) != before) {
      news_ |= 1U << (kIrqError + e);
    }
  }
}

void AudioDeembedderModel::_Update() {
  _LatchErrors();
  const std::uint32_t pending = (Get("irqStatus") | news_) & ~Get("irqClr");
  news_ = 0;
  Set("irqStatus", pending);
  aggregator_.SetLine(irqLine_, (pending & ~Get("irqMask")) != 0);
}

}  // namespace sim
