#pragma once

#include <cstdint>

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
  bool IsInitialized() const;

  /// Reads a field into `*value`, which stays untouched on failure. Gives 0 or -1.
  int Read(const Bitfield& field, std::uint32_t* value);
  /// Reads a field; 0xFFFFFFFF on failure.
  std::uint32_t Read(const Bitfield& field);
  /// Read-modify-write of a field: one load, then one store unless `value` is too wide. Gives 0 or
  /// -1.
  int Write(const Bitfield& field, std::uint32_t value);
  /// Stores the field's value in its place with every other bit of the word 0. Gives 0 or -1.
  int WriteNoRmw(const Bitfield& field, std::uint32_t value);

  /// One store of a whole word.
  void RawUnsafeWrite(std::uint32_t address, std::uint32_t value);
  /// One load of a whole word; 0 on failure.
  std::uint32_t RawUnsafeRead(std::uint32_t address);
};
