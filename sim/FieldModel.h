#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "map/FieldMap.h"
#include "sim/CoreModel.h"
#include "sim/RegisterFile.h"

namespace sim {

/// A core that is built on its register table. It holds the words that fields cover and answers
/// each field as its Access says: status ignores writes (a store that doesn't write back what was
/// loaded is complained of, and so is an access to a word that no field covers), strobes read back
/// as 0, flags clear on a written 1. Powered up, a core is held in reset by its field "reset" and
/// all else is 0. A derived model adds what follows from an access in OnLoad and OnStore.
///
/// Thread-safe: the public operations take the board's lock; the hooks are called with it held.
class FieldModel : public CoreModel {
 public:
  FieldModel(BoardMutex& mutex, std::span<const Field> fields);

  std::uint32_t Load(std::uint32_t offset) final;
  void Store(std::uint32_t offset, std::uint32_t value) final;

  /// What a field holds, and what the hardware puts into it. No hook is called. Throws
  /// std::out_of_range for a name that the table doesn't have; a value is cut to the field's width.
  std::uint32_t Get(std::string_view name) const;
  void Set(std::string_view name, std::uint32_t value);

  /// A whole word, as held. 0 where no field lies.
  std::uint32_t Word(std::uint32_t offset) const;
  void SetWord(std::uint32_t offset, std::uint32_t value);

  /// Puts `pattern` into all bits that hold what is written.
  void FillWritable(std::uint32_t pattern);

 protected:
  /// Called before a load is answered: the place to bring status up to date.
  virtual void OnLoad(std::uint32_t offset);
  /// Called after a load was answered: the place where reading has a consequence (FIFOs, counters).
  virtual void AfterLoad(std::uint32_t offset);
  /// Called after a store took effect on the fields. `written` is the word as written, strobes and
  /// ones-to-clear included; `before` is what the word held.
  virtual void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before);

  /// The field's row in the table.
  const Field& Row(std::string_view name) const;
  /// True if `offset` is the field's register and `written` has a 1 in the field.
  bool Strobed(std::string_view name, std::uint32_t offset, std::uint32_t written) const;

  std::uint32_t GetField(const Field& field) const;
  void SetField(const Field& field, std::uint32_t value);

  BoardMutex& Mutex() const { return mutex_; }

 private:
  struct Register {
    std::uint32_t value = 0;
    std::uint32_t covered = 0;       // bits that a field names
    std::uint32_t writable = 0;      // bits that hold what is written
    std::uint32_t clearedByOne = 0;  // latched flags
    std::uint32_t strobes = 0;       // bits on which a 1 acts
    std::uint32_t loaded = 0;        // as the last load gave it
    std::uint32_t Status() const { return covered & ~(writable | clearedByOne | strobes); }
  };

  Register* _At(std::uint32_t offset);

  BoardMutex& mutex_;  // guards all that follows
  std::span<const Field> fields_;
  std::vector<Register> registers_;
};

/// A FieldModel whose code names its fields by literals of the core's table, checked while it
/// compiles. The forms for names that come at run time stay reachable through the base.
///
///     class SdiTxModel : public ModelOf<sdi_tx_regs::kFields> { ... Set("pllLocked", 3); }
template <const auto& Fields>
class ModelOf : public FieldModel {
 public:
  using FieldId = FieldIn<Fields>;
  using NumberedFields = NumberedFieldsIn<Fields>;

  explicit ModelOf(BoardMutex& mutex) : FieldModel(mutex, Fields) {}

  std::uint32_t Get(FieldId field) const { return GetField(field.Get()); }
  void Set(FieldId field, std::uint32_t value) { SetField(field.Get(), value); }

 protected:
  /// Byte offset of a field's register: a label for the hooks' switches.
  static constexpr std::uint32_t WordOf(FieldId field) { return field.Get().byteOffset; }
  /// The field's bits in its register.
  static constexpr std::uint32_t MaskOf(FieldId field) { return MaskInWord(field.Get()); }
  /// True if `offset` is the field's register and `written` has a 1 in the field.
  static constexpr bool Strobed(FieldId field, std::uint32_t offset, std::uint32_t written) {
    return WordOf(field) == offset && (written & MaskOf(field)) != 0;
  }
};

}  // namespace sim
