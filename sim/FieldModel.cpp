#include "sim/FieldModel.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace sim {

FieldModel::FieldModel(BoardMutex& mutex, std::span<const Field> fields)
    : mutex_(mutex), fields_(fields) {
  for (const Field& field : fields) {
    const std::size_t index = field.byteOffset / 4;
    if (index >= registers_.size()) {
      registers_.resize(index + 1);
    }
    Register& reg = registers_[index];
    const std::uint32_t mask = MaskInWord(field);
    reg.covered |= mask;
    if (field.access == Access::kReadWrite) {
      reg.writable |= mask;
    } else if (field.access == Access::kWriteOneToClear) {
      reg.clearedByOne |= mask;
    } else if (field.access == Access::kStrobe) {
      reg.strobes |= mask;
    }
    if (std::string_view(field.name) == "reset") {
      reg.value |= mask;
    }
  }
}

FieldModel::Register* FieldModel::_At(std::uint32_t offset) {
  const std::size_t index = offset / 4;
  if (index >= registers_.size() || registers_[index].covered == 0) {
    Complain("no field lies there");
    return nullptr;
  }
  return &registers_[index];
}

std::uint32_t FieldModel::Load(std::uint32_t offset) {
  const std::lock_guard lock(mutex_);
  Complain("");
  Register* reg = _At(offset);
  if (reg == nullptr) {
    return 0;
  }
  OnLoad(offset);
  const std::uint32_t value = reg->value;
  reg->loaded = value;
  AfterLoad(offset);
  return value;
}

void FieldModel::Store(std::uint32_t offset, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  Complain("");
  Register* reg = _At(offset);
  if (reg == nullptr) {
    return;
  }
  // A store without a load leaves 0 in the place of status.
  const std::uint32_t status = value & reg->Status();
  if (reg->Status() == reg->covered || (status != 0 && status != (reg->loaded & reg->Status()))) {
    Complain("a write to status");
  }
  const std::uint32_t before = reg->value;
  reg->value = (before & ~reg->writable) | (value & reg->writable);
  reg->value &= ~(value & reg->clearedByOne);
  OnStore(offset, value, before);
}

std::uint32_t FieldModel::Get(std::string_view name) const {
  return GetField(Row(name));
}

void FieldModel::Set(std::string_view name, std::uint32_t value) {
  SetField(Row(name), value);
}

std::uint32_t FieldModel::GetField(const Field& field) const {
  const std::lock_guard lock(mutex_);
  return (registers_[field.byteOffset / 4].value & MaskInWord(field)) >> field.lsb;
}

void FieldModel::SetField(const Field& field, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  const std::uint32_t mask = MaskInWord(field);
  std::uint32_t& word = registers_[field.byteOffset / 4].value;
  word = (word & ~mask) | ((value << field.lsb) & mask);
}

std::uint32_t FieldModel::Word(std::uint32_t offset) const {
  const std::lock_guard lock(mutex_);
  return offset / 4 < registers_.size() ? registers_[offset / 4].value : 0;
}

void FieldModel::SetWord(std::uint32_t offset, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  registers_.at(offset / 4).value = value;
}

void FieldModel::FillWritable(std::uint32_t pattern) {
  const std::lock_guard lock(mutex_);
  for (Register& reg : registers_) {
    reg.value = (reg.value & ~reg.writable) | (pattern & reg.writable);
  }
}

void FieldModel::OnLoad(std::uint32_t /*offset*/) {
}

void FieldModel::AfterLoad(std::uint32_t /*offset*/) {
}

void FieldModel::OnStore(std::uint32_t /*offset*/, std::uint32_t /*written*/,
                         std::uint32_t /*before*/) {
}

const Field& FieldModel::Row(std::string_view name) const {
  const auto row = std::find_if(fields_.begin(), fields_.end(), [name](const Field& field) {
    return std::string_view(field.name) == name;
  });
  if (row == fields_.end()) {
    throw std::out_of_range("the core has no field " + std::string(name));
  }
  return *row;
}

bool FieldModel::Strobed(std::string_view name, std::uint32_t offset, std::uint32_t written) const {
  const Field& field = Row(name);
  return field.byteOffset == offset && (written & MaskInWord(field)) != 0;
}

}  // namespace sim
