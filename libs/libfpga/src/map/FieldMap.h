#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// Register maps as plain constexpr data.
///
/// Each core has one table of Field rows in the order of its map. The driver declares its fields
/// from it, the simulated core is built on it, and tests name fields by it, so that no offset,
/// width or name is written twice.

/// Longest field or module name that the reports have room for.
inline constexpr std::size_t kMaxFieldName = 40;

/// How the hardware answers accesses to a field. Checks and simulated cores look at it; a driver's
/// accesses don't.
enum class Access : std::uint8_t {
  kReadWrite,        ///< holds what is written
  kReadOnly,         ///< status: a write changes nothing
  kStrobe,           ///< a written 1 acts and reads back as 0
  kWriteOneToClear,  ///< a latched flag: a written 1 clears it
  kReadAdvances,     ///< status of which each load hands out the next: reading has a consequence
};

/// A field's name, held by value, so that generated tables own their names.
class FieldName {
 public:
  constexpr FieldName() = default;
  constexpr FieldName(const char* name) : FieldName(std::string_view(name)) {}  // NOLINT: a literal
  constexpr FieldName(std::string_view name) : length_(name.size()) {           // NOLINT: a literal
    std::copy_n(name.begin(), name.size(), text_.begin());
  }

  constexpr operator std::string_view() const {  // NOLINT: a name is a text
    return {text_.data(), length_};
  }

 private:
  std::array<char, kMaxFieldName> text_{};  // a longer name is out of bounds: it doesn't compile
  std::size_t length_ = 0;
};

/// One named register field.
struct Field {
  FieldName name;                      ///< as the hardware names it
  std::uint32_t byteOffset = 0;        ///< of its register, from the module's base
  std::uint8_t lsb = 0;                ///< lowest bit
  std::uint8_t width = 0;              ///< bits
  Access access = Access::kReadWrite;  ///< how the hardware answers
  std::string_view meaning = {};       ///< what it stands for, for a reader of the map
  bool alias = false;                  ///< shares bits with an earlier field on purpose
};

/// The field's bits in its register word.
constexpr std::uint32_t MaskInWord(const Field& field) {
  const std::uint32_t mask = field.width == 32 ? 0xFFFFFFFFU : (1U << field.width) - 1U;
  return mask << field.lsb;
}

/// True if the names are unique, all registers are aligned, every field has at least one bit and
/// lies inside its word, and no two fields share a bit unless the later one says so.
template <std::size_t N>
constexpr bool WellFormed(const std::array<Field, N>& map) {
  for (std::size_t i = 0; i < N; ++i) {
    const Field& field = map[i];
    const std::string_view name = field.name;
    if (name.empty() || field.byteOffset % 4 != 0 || field.width == 0 ||
        field.lsb + field.width > 32) {
      return false;
    }
    for (std::size_t j = 0; j < i; ++j) {
      const Field& earlier = map[j];
      if (name == std::string_view(earlier.name)) {
        return false;
      }
      if (!field.alias && field.byteOffset == earlier.byteOffset &&
          (MaskInWord(field) & MaskInWord(earlier)) != 0) {
        return false;
      }
    }
  }
  return true;
}

/// `pattern` with its '#' replaced by `number`.
constexpr FieldName NumberedName(std::string_view pattern, std::size_t number) {
  std::array<char, 20> digits{};
  std::size_t count = 0;
  do {
    digits[count++] = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  std::array<char, 2 * kMaxFieldName> text{};
  std::size_t length = 0;
  for (const char c : pattern) {
    if (c != '#') {
      text[length++] = c;
      continue;
    }
    for (std::size_t i = count; i > 0; --i) {
      text[length++] = digits[i - 1];
    }
  }
  return FieldName(std::string_view(text.data(), length));
}

/// Where the copies of a repeated field lie, relative to the first one.
struct Repeat {
  std::size_t perWord = 1;       ///< copies in one register
  std::uint8_t bitStride = 0;    ///< bits from one copy to the next in a register
  std::uint32_t wordStride = 4;  ///< bytes from one register to the next
  std::size_t firstNumber = 0;   ///< the number that replaces '#' in the first copy's name
};

/// Generates `N` copies of `first`, whose name holds a '#' in the place of the number.
template <std::size_t N>
constexpr std::array<Field, N> RepeatField(const Field& first, const Repeat& repeat = {}) {
  std::array<Field, N> fields{};
  for (std::size_t i = 0; i < N; ++i) {
    fields[i] = first;
    fields[i].name = NumberedName(first.name, repeat.firstNumber + i);
    fields[i].byteOffset += static_cast<std::uint32_t>(i / repeat.perWord) * repeat.wordStride;
    fields[i].lsb = static_cast<std::uint8_t>(first.lsb + (i % repeat.perWord) * repeat.bitStride);
  }
  return fields;
}

/// Joins tables, in order.
template <std::size_t... N>
constexpr auto JoinFields(const std::array<Field, N>&... parts) {
  std::array<Field, (N + ... + 0)> all{};
  auto next = all.begin();
  ((next = std::copy(parts.begin(), parts.end(), next)), ...);
  return all;
}

/// A literal that names a row of `Fields`. A name that isn't in the table doesn't compile.
template <const auto& Fields>
class FieldIn {
 public:
  consteval FieldIn(const char* name) : row_(_RowOf(name)) {}  // NOLINT: written as a literal

  constexpr const Field& Get() const { return Fields[row_]; }

 private:
  template <const auto&>
  friend class NumberedFieldsIn;

  constexpr explicit FieldIn(std::size_t row) : row_(row) {}

  static constexpr std::size_t _RowOf(std::string_view name) {
    for (std::size_t i = 0; i < Fields.size(); ++i) {
      if (std::string_view(Fields[i].name) == name) {
        return i;
      }
    }
    throw "no such field in the table";  // never reached at run time: _RowOf is evaluated by
                                         // compilers
  }

  std::size_t row_;
};

/// A literal pattern such as "per_ch_init_delay_#" that names a numbered run of fields of `Fields`.
/// A pattern without a match doesn't compile; a number outside the run throws std::out_of_range.
template <const auto& Fields>
class NumberedFieldsIn {
 public:
  consteval NumberedFieldsIn(const char* pattern,  // NOLINT: written as a literal
                             std::size_t firstNumber = 0)
      : first_(firstNumber) {
    const auto rowOf = [pattern](std::size_t number) {
      return FieldIn<Fields>::_RowOf(NumberedName(pattern, number));
    };
    const auto exists = [pattern](std::size_t number) {
      return std::any_of(Fields.begin(), Fields.end(), [&](const Field& field) {
        return std::string_view(field.name) == std::string_view(NumberedName(pattern, number));
      });
    };
    for (count_ = 0; count_ < kMaxCount && exists(firstNumber + count_); ++count_) {
      rows_[count_] = static_cast<std::uint16_t>(rowOf(firstNumber + count_));
    }
    if (count_ == 0) {
      throw "no field of the table matches the pattern";
    }
  }

  /// The field whose name holds `number`.
  constexpr FieldIn<Fields> operator[](std::size_t number) const {
    return FieldIn<Fields>(rows_.at(number - first_ < count_ ? number - first_ : kMaxCount));
  }

  constexpr std::size_t Count() const { return count_; }

 private:
  static constexpr std::size_t kMaxCount = 128;

  std::array<std::uint16_t, kMaxCount> rows_{};
  std::size_t first_;
  std::size_t count_ = 0;
};
