#include "regaccess/FieldIndex.h"

#include <algorithm>
#include <bit>

void FieldIndex::Add(std::string_view name, Bitfield& field) {
  if (2 * (count_ + 1) > slots_.size()) {
    std::vector<Slot> old(std::max<std::size_t>(16, 2 * slots_.size()));
    old.swap(slots_);
    shift_ = 64 - std::countr_zero(slots_.size());
    for (const Slot& slot : old) {
      if (slot.field != nullptr) {
        _Insert(slot);
      }
    }
  }
  _Insert({name, &field});
  ++count_;
}

void FieldIndex::_Insert(const Slot& slot) {
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = _Hash(slot.name) >> shift_;
  while (slots_[i].field != nullptr) {
    i = (i + 1) & mask;
  }
  slots_[i] = slot;
}
