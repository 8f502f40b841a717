#include "sim/RegisterFile.h"

#include <algorithm>
#include <utility>

#include "sim/BoardFolder.h"

namespace sim {
namespace {

constexpr std::string_view kNoCore = "no core lies there";

}  // namespace

std::string ToText(const RegisterAccess& access) {
  std::array<char, 32> text{};
  const char kind = access.kind == RegisterAccess::Kind::kLoad ? 'R' : 'W';
  (void)std::snprintf(text.data(), text.size(), "%c %08x %08x", kind, access.address, access.value);
  return text.data();
}

void RegisterFile::Attach(std::uint32_t base, CoreModel& model) {
  const std::lock_guard lock(mutex_);
  models_.at(base / kSlotBytes) = &model;
}

CoreModel* RegisterFile::ModelAt(std::uint32_t base) const {
  const std::lock_guard lock(mutex_);
  return models_.at(base / kSlotBytes);
}

void RegisterFile::BeforeLoad(std::function<void()> hook) {
  const std::lock_guard lock(mutex_);
  beforeLoad_ = std::move(hook);
}

std::uint32_t RegisterFile::Load(std::uint32_t address) {
  const std::lock_guard lock(mutex_);
  if (beforeLoad_) {
    beforeLoad_();
  }
  CoreModel* model = models_.at(address / kSlotBytes);
  const std::uint32_t value = model != nullptr ? model->Load(address % kSlotBytes) : Peek(address);
  ++loads_;
  _Record(Loaded(address, value));
  _Complain(Loaded(address, value), model != nullptr ? model->Complaint() : kNoCore);
  return value;
}

void RegisterFile::Store(std::uint32_t address, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  ++stores_;
  _Record(Stored(address, value));
  CoreModel* model = models_.at(address / kSlotBytes);
  if (model != nullptr) {
    model->Store(address % kSlotBytes, value);
  } else {
    Poke(address, value);
  }
  _Complain(Stored(address, value), model != nullptr ? model->Complaint() : kNoCore);
}

void RegisterFile::_Complain(const RegisterAccess& access, std::string_view what) {
  constexpr std::size_t kMaxComplaints = 20;
  if (!what.empty() && complaints_.size() < kMaxComplaints) {
    complaints_.push_back(ToText(access) + ": " + std::string(what));
  }
}

std::vector<std::string> RegisterFile::Complaints() const {
  const std::lock_guard lock(mutex_);
  return complaints_;
}

std::uint32_t RegisterFile::Peek(std::uint32_t address) const {
  const std::lock_guard lock(mutex_);
  const auto page = pages_.find(address / kPageBytes);
  return page != pages_.end() ? page->second[address % kPageBytes / 4] : 0;
}

void RegisterFile::Poke(std::uint32_t address, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  pages_[address / kPageBytes][address % kPageBytes / 4] = value;
}

void RegisterFile::StartTrace() {
  const std::lock_guard lock(mutex_);
  trace_.emplace();
}

std::vector<RegisterAccess> RegisterFile::TakeTrace() {
  const std::lock_guard lock(mutex_);
  std::vector<RegisterAccess> taken = trace_.value_or(std::vector<RegisterAccess>{});
  trace_.reset();
  return taken;
}

std::vector<RegisterAccess> RegisterFile::TakeStores() {
  std::vector<RegisterAccess> taken = TakeTrace();
  std::erase_if(taken, [](const RegisterAccess& access) {
    return access.kind != RegisterAccess::Kind::kStore;
  });
  return taken;
}

void RegisterFile::TraceToFile(const std::string& path) {
  const std::lock_guard lock(mutex_);
  traceFile_.reset(std::fopen(path.c_str(), "we"));
  if (!traceFile_) {
    ThrowFailed(path);
  }
}

std::uint64_t RegisterFile::LoadCount() const {
  const std::lock_guard lock(mutex_);
  return loads_;
}

std::uint64_t RegisterFile::StoreCount() const {
  const std::lock_guard lock(mutex_);
  return stores_;
}

void RegisterFile::_Record(const RegisterAccess& access) {
  if (trace_) {
    trace_->push_back(access);
  }
  if (traceFile_) {
    (void)std::fprintf(traceFile_.get(), "%s\n", ToText(access).c_str());
    (void)std::fflush(traceFile_.get());
  }
}

}  // namespace sim
