#include "sim/SpiBus.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace sim {
namespace {

constexpr std::uint8_t kMaxMode = 3;
constexpr std::uint8_t kMaxBitsPerWord = 32;
constexpr std::uint8_t kByteBits = 8;

std::vector<std::uint8_t> BytesToSend(const spi_ioc_transfer& transfer, std::size_t count) {
  const auto* bytes =
      reinterpret_cast<const std::uint8_t*>(static_cast<std::uintptr_t>(transfer.tx_buf));
  return bytes != nullptr ? std::vector<std::uint8_t>(bytes, bytes + count)
                          : std::vector<std::uint8_t>(count);
}

void HandOver(const spi_ioc_transfer& transfer, const std::vector<std::uint8_t>& received) {
  auto* bytes = reinterpret_cast<std::uint8_t*>(static_cast<std::uintptr_t>(transfer.rx_buf));
  if (bytes != nullptr) {
    std::copy(received.begin(), received.end(), bytes);
  }
}

}  // namespace

void SpiBus::BeforeTransfer(std::function<void()> hook) {
  const std::lock_guard lock(mutex_);
  beforeTransfer_ = std::move(hook);
}

int SpiBus::Open() {
  const std::lock_guard lock(mutex_);
  if (fault_ == SpiFault::kMissing) {
    return -ENOENT;
  }
  ++openCount_;
  return 0;
}

int SpiBus::Close() {
  const std::lock_guard lock(mutex_);
  if (openCount_ == 0) {
    return -EBADF;
  }
  --openCount_;
  return 0;
}

// What this call fails with now, or 0.
int SpiBus::_Failure(SpiFault atThisCall, int error) const {
  if (openCount_ == 0) {
    return -EBADF;
  }
  if (fault_ == SpiFault::kVanished) {
    return -ESHUTDOWN;
  }
  return fault_ == atThisCall ? -error : 0;
}

int SpiBus::SetMode(std::uint8_t mode) {
  const std::lock_guard lock(mutex_);
  if (const int failure = _Failure(SpiFault::kMode, EINVAL); failure != 0) {
    return failure;
  }
  if (mode > kMaxMode) {
    return -EINVAL;
  }
  mode_ = mode;
  _Record({SpiCall::Kind::kMode, mode});
  return 0;
}

int SpiBus::SetLsbFirst(std::uint8_t lsbFirst) {
  const std::lock_guard lock(mutex_);
  if (const int failure = _Failure(SpiFault::kLsbFirst, EINVAL); failure != 0) {
    return failure;
  }
  lsbFirst_ = lsbFirst != 0;
  _Record({SpiCall::Kind::kLsbFirst, lsbFirst});
  return 0;
}

int SpiBus::SetBitsPerWord(std::uint8_t bitsPerWord) {
  const std::lock_guard lock(mutex_);
  if (const int failure = _Failure(SpiFault::kBitsPerWord, EINVAL); failure != 0) {
    return failure;
  }
  if (bitsPerWord > kMaxBitsPerWord) {
    return -EINVAL;
  }
  bitsPerWord_ = bitsPerWord != 0 ? bitsPerWord : kByteBits;
  _Record({SpiCall::Kind::kBitsPerWord, bitsPerWord});
  return 0;
}

int SpiBus::Transfer(const spi_ioc_transfer& transfer) {
  const std::lock_guard lock(mutex_);
  if (beforeTransfer_) {
    beforeTransfer_();
  }
  if (const int failure = _Failure(SpiFault::kTransfer, EIO); failure != 0) {
    return failure;
  }
  if (transfer.len > kMaxTransferBytes) {
    return -EMSGSIZE;
  }
  const std::uint32_t count = fault_ == SpiFault::kShort ? transfer.len / 2 : transfer.len;
  const std::uint8_t bits = transfer.bits_per_word != 0 ? transfer.bits_per_word : bitsPerWord_;
  std::vector<std::uint8_t> sent = BytesToSend(transfer, count);
  const bool understood = mode_ == chainMode_ && !lsbFirst_ && bits == kByteBits;
  if (understood && count != 0) {
    HandOver(transfer, chain_.Exchange(sent));
  } else {
    HandOver(transfer, std::vector<std::uint8_t>(count));
  }
  _Record({SpiCall::Kind::kTransfer, transfer.speed_hz, bits, std::move(sent)});
  return static_cast<int>(count);
}

void SpiBus::_Record(SpiCall call) {
  if (trace_) {
    trace_->push_back(std::move(call));
  }
}

void SpiBus::StartTrace() {
  const std::lock_guard lock(mutex_);
  trace_.emplace();
}

std::vector<SpiCall> SpiBus::TakeTrace() {
  const std::lock_guard lock(mutex_);
  return std::exchange(trace_, std::nullopt).value_or(std::vector<SpiCall>{});
}

std::vector<std::vector<std::uint8_t>> SpiBus::TakeSent() {
  std::vector<std::vector<std::uint8_t>> sent;
  for (SpiCall& call : TakeTrace()) {
    if (call.kind == SpiCall::Kind::kTransfer) {
      sent.push_back(std::move(call.sent));
    }
  }
  return sent;
}

}  // namespace sim
