#include "modules/VideoCrosspoint.h"

#include <algorithm>

#include "log/Log.h"

namespace {

constexpr std::uint32_t kPortDisabled = 0x80000000;
constexpr std::uint32_t kOutputCommand = 0x40000000;
constexpr std::uint32_t kControlWord = 0x20000000;

constexpr std::uint32_t kMaxAddress = 0xFFFFFFFF;
constexpr std::uint32_t kBehindWindow = 0xFFFFFFFC;  // of a word that no register window reaches

// Stall words: two bits for each source.
constexpr std::size_t kStallSources = 32;
constexpr std::size_t kStallSourcesPerWord = 16;
constexpr std::uint32_t kStallMask = 3;

}  // namespace

VideoCrosspointImpl::VideoCrosspointImpl(const std::string& name, std::uint32_t base,
                                         std::size_t numSrc, std::size_t numDest,
                                         std::size_t firstUnused, std::size_t secondUnused)
    : VideoCrosspointImpl(name, base, 0, numSrc, numDest, 1, {}, firstUnused, secondUnused) {
}

VideoCrosspointImpl::VideoCrosspointImpl(const std::string& name, std::uint32_t base,
                                         std::uint32_t xptStride, std::size_t numSrc,
                                         std::size_t numDest, std::size_t numXpts,
                                         const std::vector<std::size_t>& outputsPerXpt,
                                         std::size_t /*firstUnused*/, std::size_t /*secondUnused*/)
    : BitfieldManager(name, base),
      name_(name),
      base_(base),
      xptStride_(xptStride),
      numSrc_(numSrc),
      numDest_(numDest),
      numXpts_(numXpts),
      outputsPerXpt_(outputsPerXpt),
      routes_(numDest, 0),
      disabled_(numDest, true) {
}

int VideoCrosspointImpl::GetRoute(std::size_t& src, std::size_t dest) {
  if (!_HasDest(dest)) {
    LOG_ERROR("%s Attempt to get source for dest %zu, only %zu dest avail", name_.c_str(), dest,
              numDest_);
    return -1;
  }
  src = routes_[dest];
  return 0;
}

int VideoCrosspointImpl::SetRoute(std::size_t src, std::size_t dest, bool quiet) {
  if (src >= numSrc_) {
    LOG_ERROR("%s Attempt to route from src %zu, only %zu src avail", name_.c_str(), src, numSrc_);
    return -1;
  }
  if (!_HasDest(dest)) {
    LOG_ERROR("%s Attempt to route to dest %zu, only %zu dest avail", name_.c_str(), dest,
              numDest_);
    return -1;
  }
  std::size_t xpt = 0;
  std::size_t port = 0;
  if (FindXpt(dest, xpt, port) != 0) {
    LOG_ERROR("%s Error determining crosspoint and output port for dest %zu", name_.c_str(), dest);
    return -1;
  }
  if (SetRouteSingle(src, dest, xpt, port, quiet) != 0) {
    return -1;
  }
  return numXpts_ < 2 ? 0 : SetStallRouting(src, xpt);
}

void VideoCrosspointImpl::WriteControlWord() {
  RawWrite(base_, kControlWord);
}

int VideoCrosspointImpl::SetOutputDisable(std::size_t dest, bool disable, bool quiet) {
  if (!_HasDest(dest)) {
    LOG_ERROR("%s Attempt to set output disable/enable for dest %zu, only %zu dest avail",
              name_.c_str(), dest, numDest_);
    return -1;
  }
  std::size_t xpt = 0;
  std::size_t port = 0;
  if (FindXpt(dest, xpt, port) != 0) {
    LOG_WARNING("%s Unable to determine crosspoint and output port for dest %zu", name_.c_str(),
                dest);
    return -1;
  }
  return SetOutputDisableSingle(dest, xpt, port, disable, quiet);
}

std::size_t VideoCrosspointImpl::GetNumSrc() {
  return numSrc_;
}

std::size_t VideoCrosspointImpl::GetNumDest() {
  return numDest_;
}

std::string VideoCrosspointImpl::GetName() const {
  return name_;
}

int VideoCrosspointImpl::GetOutputDisable(std::size_t dest, bool& disabled) const {
  if (!_HasDest(dest)) {
    LOG_ERROR("%s Attempt to get output disable/enable status for dest %zu, only %zu dest avail",
              name_.c_str(), dest, numDest_);
    return -1;
  }
  disabled = disabled_[dest];
  return 0;
}

// Destinations are numbered through the physical crosspoints in order.
int VideoCrosspointImpl::FindXpt(std::size_t dest, std::size_t& xpt, std::size_t& port) const {
  if (!_HasDest(dest)) {
    return -1;
  }
  if (numXpts_ == 1) {
    xpt = 0;
    port = dest;
    return 0;
  }
  std::size_t first = 0;
  for (std::size_t i = 0; i < numXpts_ && i < outputsPerXpt_.size(); ++i) {
    if (dest - first < outputsPerXpt_[i]) {
      xpt = i;
      port = dest - first;
      return 0;
    }
    first += outputsPerXpt_[i];
  }
  return -1;
}

int VideoCrosspointImpl::SetRouteSingle(std::size_t src, std::size_t dest, std::size_t xpt,
                                        std::size_t port, bool quiet) {
  LOG_INFO("%s Routing src %zu to dest %zu using xpt %zu output %zu.", name_.c_str(), src, dest,
           xpt, port);
  if (src >= numSrc_) {
    LOG_ERROR("%s Attempt to route from src %zu, only %zu src avail", name_.c_str(), src, numSrc_);
    return -1;
  }
  if (!_HasDest(dest)) {
    LOG_ERROR("%s Attempt to route to dest %zu, only %zu dest avail", name_.c_str(), dest,
              numDest_);
    return -1;
  }
  if (!_HasXpt(LOG_ORIGIN, xpt) || !_HasPort(LOG_ORIGIN, xpt, port)) {
    return -1;
  }
  bool disabled = true;
  if (GetOutputDisable(dest, disabled) != 0) {
    LOG_WARNING("Unable to get output disabled state");
    return -1;
  }
  if (routes_[dest] == src) {
    LOG_DEBUG("%s dest %zu was already %zu src %zu", name_.c_str(), dest, routes_[dest], src);
  } else if (!quiet) {
    LOG_INFO("%s dest %zu changing from src %zu to src %zu on xpt %zu out %zu", name_.c_str(), dest,
             routes_[dest], src, xpt, port);
  }
  routes_[dest] = src;
  _WritePort(dest, xpt, port);
  return 0;
}

int VideoCrosspointImpl::SetOutputDisableSingle(std::size_t dest, std::size_t xpt, std::size_t port,
                                                bool disable, bool /*quiet*/) {
  if (!_HasDest(dest) || dest >= disabled_.size()) {
    LOG_ERROR("%s Attempt to set output disable/enable for dest %zu, only %zu dest avail",
              name_.c_str(), dest, numDest_);
    return -1;
  }
  if (!_HasXpt(LOG_ORIGIN, xpt) || !_HasPort(LOG_ORIGIN, xpt, port)) {
    return -1;
  }
  disabled_[dest] = disable;
  _WritePort(dest, xpt, port);
  return 0;
}

int VideoCrosspointImpl::SetStallRouting(std::size_t src, std::size_t xpt) {
  if (src >= kStallSources || src >= numSrc_) {
    LOG_ERROR("%s Attempt to set stall route for a non-existant input %zu.", name_.c_str(), src);
    return -1;
  }
  if (xpt >= numXpts_) {
    LOG_ERROR("%s Attempt to drive stall for input %zu from non existent crosspoint %zu",
              name_.c_str(), src, xpt);
    return -1;
  }
  const auto address = base_ + static_cast<std::uint32_t>(4 * (src / kStallSourcesPerWord));
  const auto shift = static_cast<std::uint32_t>(2 * (src % kStallSourcesPerWord));
  const std::uint32_t word = RawRead(address) & ~(kStallMask << shift);
  RawWrite(address, word | ((static_cast<std::uint32_t>(xpt) & kStallMask) << shift));
  return 0;
}

int VideoCrosspointImpl::WriteOutputCommand(std::uint32_t value, std::uint64_t offset) {
  RawWrite(_AddressOf(offset), value | kOutputCommand);
  return 0;
}

// An address that 32 bits don't hold becomes one that the register access refuses: cut, it would be
// that of another word.
std::uint32_t VideoCrosspointImpl::_AddressOf(std::uint64_t offset) const {
  return offset > kMaxAddress - base_ ? kBehindWindow : base_ + static_cast<std::uint32_t>(offset);
}

std::uint32_t VideoCrosspointImpl::_PortAddress(std::size_t xpt, std::size_t port) const {
  const std::size_t block = numXpts_ == 1 ? 0 : xptStride_ * (xpt + 1);
  return _AddressOf(block + 4 * std::min<std::size_t>(port, kMaxAddress));
}

void VideoCrosspointImpl::_WritePort(std::size_t dest, std::size_t xpt, std::size_t port) {
  const auto source = static_cast<std::uint32_t>(routes_[dest]);
  RawWrite(_PortAddress(xpt, port),
           disabled_[dest] ? source | kPortDisabled : source & ~kPortDisabled);
}

bool VideoCrosspointImpl::_HasXpt(const LogOrigin& operation, std::size_t xpt) const {
  if (xpt >= numXpts_) {
    LOG_ERROR_FROM(operation, "%s Attempt to route using crosspoint %zu that does not exist",
                   name_.c_str(), xpt);
    return false;
  }
  return true;
}

bool VideoCrosspointImpl::_HasPort(const LogOrigin& operation, std::size_t xpt,
                                   std::size_t port) const {
  if (numXpts_ > 1 && (xpt >= outputsPerXpt_.size() || port >= outputsPerXpt_[xpt])) {
    LOG_ERROR_FROM(operation, "%s Attempt to route to output %zu that does not exist on xpt %zu",
                   name_.c_str(), port, xpt);
    return false;
  }
  return true;
}
