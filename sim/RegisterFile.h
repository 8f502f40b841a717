#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "sim/CoreModel.h"

namespace sim {

/// The board's lock. It is recursive, since a model that answers an access may reach other models.
using BoardMutex = std::recursive_mutex;

/// One traced access.
struct RegisterAccess {
  enum class Kind : std::uint8_t { kLoad, kStore };

  Kind kind;
  std::uint32_t address;  ///< byte offset in the window
  std::uint32_t value;    ///< what was read or written

  friend bool operator==(const RegisterAccess&, const RegisterAccess&) = default;
};

constexpr RegisterAccess Loaded(std::uint32_t address, std::uint32_t value) {
  return {RegisterAccess::Kind::kLoad, address, value};
}
constexpr RegisterAccess Stored(std::uint32_t address, std::uint32_t value) {
  return {RegisterAccess::Kind::kStore, address, value};
}

/// "R 00300010 0000002a" or "W ...".
std::string ToText(const RegisterAccess& access);

/// The 64 MiB register window, held sparsely. Slots of 1 MiB belong to the models attached to them;
/// what no model answers is plain memory. Thread-safe.
class RegisterFile {
 public:
  static constexpr std::uint32_t kBytes = 0x4000000;
  static constexpr std::uint32_t kSlotBytes = 0x100000;

  explicit RegisterFile(BoardMutex& mutex) : mutex_(mutex) {}

  /// Puts a model into the slot at `base`, in place of what was there. The model is not owned.
  void Attach(std::uint32_t base, CoreModel& model);

  /// The model in the slot at `base`, or null.
  CoreModel* ModelAt(std::uint32_t base) const;

  /// Calls `hook` before each load of the program under test, with the board's lock held: the place
  /// to follow what a person does to the board.
  void BeforeLoad(std::function<void()> hook);

  /// The accesses of the program under test.
  std::uint32_t Load(std::uint32_t address);
  void Store(std::uint32_t address, std::uint32_t value);

  /// The words behind the models, for tests that use plain memory: no model sees these, no trace.
  std::uint32_t Peek(std::uint32_t address) const;
  void Poke(std::uint32_t address, std::uint32_t value);

  /// Starts a new trace of every access, in order. Recording starts switched off.
  void StartTrace();
  /// Ends the trace and gives what was recorded since StartTrace.
  std::vector<RegisterAccess> TakeTrace();
  /// The stores of TakeTrace alone.
  std::vector<RegisterAccess> TakeStores();
  /// Writes every access from now on to a file as well, a line each. Throws std::system_error.
  void TraceToFile(const std::string& path);

  /// The accesses that no driver should make, "W 00300018 00000001: a write to status", the first
  /// ones of them.
  std::vector<std::string> Complaints() const;

  /// Number of loads and stores since the start of the process.
  std::uint64_t LoadCount() const;
  std::uint64_t StoreCount() const;

 private:
  static constexpr std::uint32_t kPageBytes = 4096;
  using Page = std::array<std::uint32_t, kPageBytes / 4>;
  struct CloseFile {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
  };

  void _Record(const RegisterAccess& access);
  void _Complain(const RegisterAccess& access, std::string_view what);

  BoardMutex& mutex_;  // guards all that follows
  std::array<CoreModel*, kBytes / kSlotBytes> models_{};
  std::unordered_map<std::uint32_t, Page> pages_;
  std::function<void()> beforeLoad_;
  std::optional<std::vector<RegisterAccess>> trace_;
  std::unique_ptr<std::FILE, CloseFile> traceFile_;
  std::vector<std::string> complaints_;
  std::uint64_t loads_ = 0;
  std::uint64_t stores_ = 0;
};

}  // namespace sim
