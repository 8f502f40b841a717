#include "sim/models/MadiModel.h"

namespace sim {

MadiModel::MadiModel(BoardMutex& mutex) : ModelOf(mutex) {
}

void MadiModel::Plug(std::uint32_t sampleCount) {
  const std::lock_guard lock(Mutex());
  plugged_ = true;
  sampleCount_ = sampleCount;
  _Follow();
}

void MadiModel::Unplug() {
  const std::lock_guard lock(Mutex());
  plugged_ = false;
  sampleCount_ = 0;
  _Follow();
}

void MadiModel::SetErrors(std::uint32_t errors) {
  const std::lock_guard lock(Mutex());
  errors_ = errors;
  _Follow();
}

void MadiModel::OnStore(std::uint32_t /*offset*/, std::uint32_t /*written*/,
                        std::uint32_t /*before*/) {
  _Follow();
}

void MadiModel::_Follow() {
  const bool running = Get("reset") == 0;
  Set("rxSampleCount", running ? sampleCount_ : 0);
  if (running) {
    Set("rxStatus", Get("rxStatus") | errors_ | (plugged_ ? 0 : kNoLink));
  }
}

}  // namespace sim
