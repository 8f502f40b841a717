#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "log/Log.h"
#include "map/FieldMap.h"
#include "regaccess/Bitfield.h"
#include "regaccess/FieldIndex.h"
#include "regaccess/FpgaCsrAccess.h"

/// The base of every driver of an FPGA core: the core's table of named fields, the mutex that
/// serialises its register accesses, and its entry in the process-wide registry of modules, through
/// which the console lists, reads and writes any field of any module.
///
/// Addresses are byte offsets from the start of the register window.
///
/// Threads: every access to a field or a word holds this manager's mutex for just that access, so
/// that a field write (one load, one store) is atomic against every other access through the same
/// manager. Sequences of accesses are not. Fields are declared only while the object is built. The
/// registry is written while the object graph is built, before any other thread exists.
class BitfieldManager {
 public:
  /// Enters the module under its name, which serves once in the life of a process, and maps the
  /// register window if no manager did so before.
  /// Throws std::invalid_argument, after a Critical line, on a name that is taken or when the
  /// window can't be mapped.
  BitfieldManager(const std::string& name, std::uint32_t baseAddress);
  BitfieldManager(const BitfieldManager&) = delete;
  BitfieldManager& operator=(const BitfieldManager&) = delete;
  /// The registry keeps the name: the static operations must not be called any more.
  virtual ~BitfieldManager() = default;

  /// Declares a field at a complete `address` (base plus register offset). Throws
  /// std::invalid_argument, after a Critical line, on a width above 32, an lsb above 31 or a name
  /// that this manager has already.
  void AddBitfield(const std::string& name, std::uint32_t address, std::uint8_t lsb,
                   std::uint8_t width);

  /// Looks a field up. Throws std::invalid_argument, after a Critical line, if there is none.
  Bitfield& GetBitfield(std::string_view name) {
    static constexpr LogOrigin kOrigin = LOG_ORIGIN;  // costs nothing while the name is there
    Bitfield* field = index_.Find(name);
    if (field == nullptr) {
      _RefuseName(kOrigin, name);
    }
    return *field;
  }

  /// Reads a field; 0xFFFFFFFF when the access is refused. Throws like GetBitfield.
  std::uint32_t ReadBitfield(std::string_view name) { return ReadField(GetBitfield(name)); }
  /// Reads a field into `*value`, which a refused access leaves alone. Gives 0 or -1.
  int ReadBitfield(std::string_view name, std::uint32_t* value) {
    return ReadField(GetBitfield(name), value);
  }
  /// Writes a field, leaving the other bits of its word. A refusal shows in the log alone.
  void WriteBitfield(std::string_view name, std::uint32_t value) {
    WriteField(GetBitfield(name), value);
  }
  /// Writes a field and zeroes the other bits of its word, without a load.
  void WriteBitfieldNoRmw(std::string_view name, std::uint32_t value) {
    WriteFieldNoRmw(GetBitfield(name), value);
  }

  /// One store or load of any word of the window, under this manager's mutex. A refused load gives
  /// 0.
  void RawWrite(std::uint32_t address, std::uint32_t value);
  std::uint32_t RawRead(std::uint32_t address);

  /// Fills `out` with one line for each module whose name contains `filter`, sorted by name: the
  /// name, dots up to column 40, and the base address as "<%08X>".
  static void ListModules(std::vector<std::string>& out, const std::string& filter);
  /// Fills `out` with one line for each field of `module` whose name contains `filter`, with the
  /// field's complete address. Gives 0, or -1 without such a module.
  static int ListBitfields(std::vector<std::string>& out, const std::string& module,
                           const std::string& filter);
  /// The same with each field's current value: "<%08X> Value:<%08X>".
  static int ListBitfieldValues(std::vector<std::string>& out, const std::string& module,
                                const std::string& filter);
  /// Writes a field of a module and puts its line, with the value read back, into `report`. Gives
  /// 0, also when the write was refused; -1 without such a module or field, with `report` left
  /// alone.
  static int WriteBitfieldAndReport(std::string& report, const std::string& module,
                                    const std::string& field, std::uint32_t value);

 protected:
  /// Declares all fields of a core's table, relative to the base address.
  template <std::size_t N>
  void AddBitfields(const std::array<Field, N>& fields) {
    for (const Field& field : fields) {
      AddBitfield(std::string(std::string_view(field.name)), baseAddress_ + field.byteOffset,
                  field.lsb, field.width);
    }
  }

  Bitfield Locate(const Field& field) const {
    return {baseAddress_ + field.byteOffset, field.lsb, field.width};
  }

  // One access to the hardware each, under the mutex.
  std::uint32_t ReadField(const Bitfield& field) {
    const std::lock_guard lock(mutex_);
    return bridge_.Read(field);
  }
  int ReadField(const Bitfield& field, std::uint32_t* value) {
    const std::lock_guard lock(mutex_);
    return bridge_.Read(field, value);
  }
  void WriteField(const Bitfield& field, std::uint32_t value) {
    const std::lock_guard lock(mutex_);
    (void)bridge_.Write(field, value);  // a refusal is logged there
  }
  void WriteFieldNoRmw(const Bitfield& field, std::uint32_t value) {
    const std::lock_guard lock(mutex_);
    (void)bridge_.WriteNoRmw(field, value);  // a refusal is logged there
  }

 private:
  using FieldTable = std::map<std::string, Bitfield, std::less<>>;

  using Registry = std::map<std::string, BitfieldManager*, std::less<>>;

  static BitfieldManager* _FindModule(std::string_view name);
  [[noreturn]] static void _RefuseName(const LogOrigin& lookUp, std::string_view name);

  // Both exist once per process. The bridge is destroyed first, so that the window is unmapped at
  // the process's end while the registry still stands.
  static Registry registry_;
  static FpgaCsrAccess bridge_;

  FieldTable fields_;  // read-only once the object is built, like its index
  FieldIndex index_;
  std::mutex mutex_;  // guards each access to the hardware through this manager
  std::uint32_t baseAddress_;
};

/// A BitfieldManager whose driver names its fields by literals of the core's table, checked and
/// resolved while the driver is compiled: an access costs no look-up. It declares the whole table.
///
///     class RefDetect : public RegisterBlock<kRefDetectFields> { ... WriteBitfield("reset", 1); }
template <const auto& Fields>
class RegisterBlock : public BitfieldManager {
 public:
  using FieldId = FieldIn<Fields>;                  ///< one field, by its name
  using NumberedFields = NumberedFieldsIn<Fields>;  ///< a run of fields, by a pattern with '#'

  /// As BitfieldManager's, and declares the fields of the table.
  RegisterBlock(const std::string& name, std::uint32_t baseAddress)
      : BitfieldManager(name, baseAddress) {
    AddBitfields(Fields);
  }

  // These hide the forms for names that come at run time, which stay reachable through the base.
  std::uint32_t ReadBitfield(FieldId field) { return ReadField(Locate(field.Get())); }
  int ReadBitfield(FieldId field, std::uint32_t* value) {
    return ReadField(Locate(field.Get()), value);
  }
  void WriteBitfield(FieldId field, std::uint32_t value) { WriteField(Locate(field.Get()), value); }
  void WriteBitfieldNoRmw(FieldId field, std::uint32_t value) {
    WriteFieldNoRmw(Locate(field.Get()), value);
  }

 protected:
  /// Writes bits that act while they are 1, and takes them back.
  void Pulse(FieldId field, std::uint32_t bits) {
    WriteBitfield(field, bits);
    WriteBitfield(field, 0);
  }
  /// Reads latched flags and, if there are any, clears them by a pulse of another field. Gives
  /// them.
  std::uint32_t TakeFlags(FieldId flags, FieldId clear) {
    const std::uint32_t taken = ReadBitfield(flags);
    if (taken != 0) {
      Pulse(clear, taken);
    }
    return taken;
  }
};
