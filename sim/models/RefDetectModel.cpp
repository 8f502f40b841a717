#include "sim/models/RefDetectModel.h"

#include <cmath>

#include "video/VideoStandardTable.h"

namespace sim {
namespace {

constexpr double kClockHz = 300e6;
constexpr double kTickHz = 27e6;  // of the table's line periods

// What the core counts on one input.
struct Counts {
  std::uint32_t hLow = 0, hHigh = 0;
  std::uint32_t fLow = 0, fHigh = 0;
  std::uint32_t vLow = 0, vHigh = 0;
};

// The line and frame pulses are low for one line sync and for five lines. The field pulse changes
// with each field, and stays low on a progressive reference.
Counts CountsOf(const VideoStandard& standard) {
  const auto counts = [&standard](double lines) {
    const double seconds = lines * static_cast<double>(standard.linePeriod) / kTickHz;
    return static_cast<std::uint32_t>(std::lround(seconds * kClockHz));
  };
  constexpr double kSyncOfLine = 0.04;
  constexpr double kFramePulseLines = 5;
  const double lines = standard.totalLines;
  const double field = standard.scanType == ScanType::kProgressive ? lines : lines / 2;
  const std::uint32_t frame = counts(lines);
  return {counts(kSyncOfLine),   counts(1) - counts(kSyncOfLine), counts(field),
          frame - counts(field), counts(kFramePulseLines),        frame - counts(kFramePulseLines)};
}

}  // namespace

RefDetectModel::RefDetectModel(BoardMutex& mutex) : ModelOf(mutex) {
}

void RefDetectModel::SetReference(Input input, int standardId) {
  const std::lock_guard lock(Mutex());
  standardIds_.at(static_cast<std::size_t>(input)) = standardId;
  _Measure(input);
}

int RefDetectModel::Plugged(Input input) const {
  const std::lock_guard lock(Mutex());
  return standardIds_.at(static_cast<std::size_t>(input));
}

void RefDetectModel::OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) {
  if (offset != WordOf("reset") || ((written ^ before) & MaskOf("reset")) == 0) {
    return;
  }
  _Measure(Input::kFirst);
  _Measure(Input::kSecond);
}

void RefDetectModel::_Measure(Input input) {
  const VideoStandard& standard = FindVideoStandard(standardIds_[static_cast<std::size_t>(input)]);
  const bool plugged = &standard != &FindVideoStandard(0);
  const Counts counts = plugged && Get("reset") == 0 ? CountsOf(standard) : Counts{};
  const auto set = [&](FieldId first, FieldId second, std::uint32_t count) {
    Set(input == Input::kFirst ? first : second, count);
  };
  set("ref1HLowCnt", "ref2HLowCnt", counts.hLow);
  set("ref1HHighCnt", "ref2HHighCnt", counts.hHigh);
  set("ref1FLowCnt", "ref2FLowCnt", counts.fLow);
  set("ref1FHighCnt", "ref2FHighCnt", counts.fHigh);
  set("ref1VLowCnt", "ref2VLowCnt", counts.vLow);
  set("ref1VHighCnt", "ref2VHighCnt", counts.vHigh);
}

}  // namespace sim
