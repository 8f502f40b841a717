#include "support/Accesses.h"

#include <gtest/gtest.h>

#include <map>

#include "sim/Board.h"
#include "support/RegisterFacts.h"

using sim::RegisterAccess;

Expected::Expected(Kind k, std::string_view module, std::string_view field,
                   std::optional<std::uint32_t> value)
    : kind(k), name(field), anyValue(!value) {
  const facts::Place place = facts::PlaceOf(module, field);
  address = place.address;
  mask = place.mask;
  bits = value.value_or(0) << place.lsb;
  if ((bits & ~mask) != 0 || bits >> place.lsb != value.value_or(0)) {
    ADD_FAILURE() << *value << " does not fit into " << field;
  }
}

Expected::Expected(const RegisterAccess& raw)
    : kind(Kind::kRaw), address(raw.address), bits(raw.value), rawKind(raw.kind) {
}

Accesses operator+(Accesses first, const Accesses& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

Accesses operator+(Accesses first, const Expected& second) {
  first.push_back(second);
  return first;
}

namespace {

bool Matches(const Expected& access, const Trace& trace, std::size_t& at) {
  const auto next = [&](RegisterAccess::Kind kind) -> const RegisterAccess* {
    const bool fits =
        at < trace.size() && trace[at].kind == kind && trace[at].address == access.address;
    return fits ? &trace[at++] : nullptr;
  };
  switch (access.kind) {
    case Expected::Kind::kWrite: {
      const RegisterAccess* load = next(RegisterAccess::Kind::kLoad);
      const RegisterAccess* store = load != nullptr ? next(RegisterAccess::Kind::kStore) : nullptr;
      return store != nullptr && store->value == ((load->value & ~access.mask) | access.bits);
    }
    case Expected::Kind::kWriteAlone: {
      const RegisterAccess* store = next(RegisterAccess::Kind::kStore);
      return store != nullptr && store->value == access.bits;
    }
    case Expected::Kind::kRead: {
      const RegisterAccess* load = next(RegisterAccess::Kind::kLoad);
      return load != nullptr && (access.anyValue || (load->value & access.mask) == access.bits);
    }
    case Expected::Kind::kRaw: {
      const RegisterAccess* raw = next(access.rawKind);
      return raw != nullptr && raw->value == access.bits;
    }
  }
  return false;
}

// The fields of a word and what they hold, "emb_1.reset=1 emb_1.aesGrpEn=15".
std::string FieldsOf(const RegisterAccess& access) {
  std::string text;
  for (const auto& [name, module] : facts::AllModules()) {
    for (const auto& [key, field] : facts::AllFields()) {
      if (key.first == module.core && module.base + field.offset == access.address) {
        text += " " + name + "." + key.second + "=" +
                std::to_string((access.value & field.Mask()) >> field.lsb);
      }
    }
  }
  return text;
}

}  // namespace

bool operator==(const Trace& trace, const Accesses& expected) {
  std::size_t at = 0;
  for (const Expected& access : expected) {
    if (!Matches(access, trace, at)) {
      return false;
    }
  }
  return at == trace.size();
}

void PrintTo(const Trace& trace, std::ostream* out) {
  for (const RegisterAccess& access : trace) {
    *out << "\n  " << ToText(access) << FieldsOf(access);
  }
}

void PrintTo(const Expected& access, std::ostream* out) {
  constexpr const char* kKinds[] = {"W", "W alone", "R", "raw"};
  *out << "\n  " << kKinds[static_cast<std::size_t>(access.kind)] << " " << access.name << std::hex
       << " @" << access.address << " bits " << access.bits << std::dec;
}

Trace AccessesOf(const std::function<void()>& operation) {
  sim::Board& board = sim::Board::Get();
  board.log.Clear();
  board.registers.StartTrace();
  operation();
  return Trace(board.registers.TakeTrace());
}

std::vector<RegisterAccess> StoresOf(const std::function<void()>& operation) {
  std::vector<RegisterAccess> stores = AccessesOf(operation);
  std::erase_if(stores,
                [](const auto& access) { return access.kind != RegisterAccess::Kind::kStore; });
  return stores;
}

std::vector<std::uint32_t> ModulesInOrder(const std::vector<RegisterAccess>& trace) {
  std::vector<std::uint32_t> modules;
  for (const RegisterAccess& access : trace) {
    const std::uint32_t module = access.address / sim::RegisterFile::kSlotBytes;
    if (modules.empty() || modules.back() != module) {
      modules.push_back(module);
    }
  }
  return modules;
}
