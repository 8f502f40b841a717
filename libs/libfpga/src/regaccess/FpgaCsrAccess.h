#pragma once

#include <bit>
#include <cstdint>

#include "log/Log.h"
#include "platform/PhysicalMemory.h"
#include "regaccess/Bitfield.h"

/// The one mapping of the FPGA's control and status registers into the process, and the five kinds
/// of 32-bit access to it.
///
/// Every address is a byte offset from the start of the window. All state belongs to the process:
/// which object an operation is called on makes no difference. A failed access is logged at Error
/// and stores nothing.
///
/// Threads: Init and Shutdown belong to start-up and to the process's end; accesses may come from
/// any thread between them and take no lock. The guard of a read-modify-write is the mutex of the
/// module's BitfieldManager.
class FpgaCsrAccess {
 public:
  static constexpr std::uint32_t kPhysicalBase = 0xA8000000;
  static constexpr std::uint32_t kWindowBytes = 0x4000000;

  FpgaCsrAccess() = default;
  FpgaCsrAccess(const FpgaCsrAccess&) = delete;
  FpgaCsrAccess& operator=(const FpgaCsrAccess&) = delete;
  /// Calls Shutdown.
  ~FpgaCsrAccess();

  /// Maps the window. Gives 0, or -1 if it is mapped already or can't be mapped.
  int Init();
  /// Unmaps the window. Gives 0, or -1 if it is not mapped or can't be unmapped.
  int Shutdown();
  /// True while the window is mapped.
  bool IsInitialized() const;

  /// Reads a field into `*value`, which stays untouched on failure. Gives 0 or -1.
  int Read(const Bitfield& field, std::uint32_t* value) {
    static constexpr LogOrigin kOrigin = LOG_ORIGIN;  // see below
    if (!_IsLegal(field.address)) {
      return _RefuseRead(kOrigin, field.address);
    }
    *value = (_Load(field.address) >> field.lsb) & field.Mask();
    return 0;
  }
  /// Reads a field; 0xFFFFFFFF on failure.
  std::uint32_t Read(const Bitfield& field) {
    std::uint32_t value = 0xFFFFFFFF;
    (void)Read(field, &value);  // a failure leaves all ones
    return value;
  }
  /// Read-modify-write of a field: one load, then one store unless `value` is too wide. Gives 0 or
  /// -1.
  int Write(const Bitfield& field, std::uint32_t value) {
    static constexpr LogOrigin kOrigin = LOG_ORIGIN;  // see below
    if (!_IsLegal(field.address)) {
      return _RefuseWrite(kOrigin, field.address);
    }
    const std::uint32_t word = _Load(field.address);
    if ((value & ~field.Mask()) != 0) {
      return _RefuseValue(kOrigin, field, value);
    }
    _Store(field.address, (word & ~(field.Mask() << field.lsb)) | (value << field.lsb));
    return 0;
  }
  /// Stores the field's value in its place with every other bit of the word 0. Gives 0 or -1.
  int WriteNoRmw(const Bitfield& field, std::uint32_t value);

  /// One store of a whole word.
  void RawUnsafeWrite(std::uint32_t address, std::uint32_t value);
  /// One load of a whole word; 0 on failure.
  std::uint32_t RawUnsafeRead(std::uint32_t address);

 private:
  // Every access passes one comparison; what is wrong with an address is found out only after it.
  // A rotated address keeps its two lowest bits on top, where they put it out of range, and a
  // window of 0 words, before Init, refuses every address.
  static bool _IsLegal(std::uint32_t address) { return std::rotr(address, 2) < windowWords_; }
  static std::uint32_t _Load(std::uint32_t address) {
    return platform::LoadWord(mappedWindow_, address);
  }
  static void _Store(std::uint32_t address, std::uint32_t word) {
    platform::StoreWord(mappedWindow_, address, word);
  }

  // Each logs why, in the name of the access, and gives -1. The origin is constant data: one that
  // is put together where it is handed over costs instructions on the way of every access.
  static int _RefuseRead(const LogOrigin& access, std::uint32_t address);
  static int _RefuseWrite(const LogOrigin& access, std::uint32_t address);
  static int _RefuseValue(const LogOrigin& access, const Bitfield& field, std::uint32_t value);

  // Written by Init and Shutdown while no other thread accesses registers; constant while any does.
  static inline volatile void* mappedWindow_ = nullptr;
  static inline std::uint32_t windowWords_ = 0;
};
