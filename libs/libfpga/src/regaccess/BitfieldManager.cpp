#include "regaccess/BitfieldManager.h"

#include <algorithm>
#include <stdexcept>

#include "log/Log.h"
#include "regaccess/BusErrorReport.h"

namespace {

constexpr std::size_t kNameColumns = 40;

std::string NameColumn(std::string_view name) {
  std::string text(name);
  text.resize(std::max(text.size(), kNameColumns), '.');
  return text;
}

std::string AddressLine(std::string_view name, std::uint32_t address) {
  return NameColumn(name) + FormatMessage("<%08X>", address);
}

std::string ValueLine(std::string_view name, std::uint32_t address, std::uint32_t value) {
  return NameColumn(name) + FormatMessage("<%08X> Value:<%08X>", address, value);
}

bool Matches(std::string_view name, std::string_view filter) {
  return name.find(filter) != std::string_view::npos;
}

}  // namespace

BitfieldManager::Registry BitfieldManager::registry_;
FpgaCsrAccess BitfieldManager::bridge_;

BitfieldManager* BitfieldManager::_FindModule(std::string_view name) {
  const auto found = registry_.find(name);
  return found != registry_.end() ? found->second : nullptr;
}

BitfieldManager::BitfieldManager(const std::string& name, std::uint32_t baseAddress)
    : baseAddress_(baseAddress) {
  if (_FindModule(name) != nullptr) {
    LOG_CRITICAL("Bitfield Manager %s already exists. This is not supported! Throwing exception!",
                 name.c_str());
    throw std::invalid_argument("Tried instantiating bitfield manager with duplicate name");
  }
  registry_.emplace(name, this);
  NameModuleForBusErrors(baseAddress, name);
  if (!bridge_.IsInitialized() && bridge_.Init() != 0) {
    LOG_CRITICAL("Failed to initialize FpgaCsrAccess. Throwing exception.");
    throw std::invalid_argument("Failed to initialize FpgaCsrACcess.");
  }
}

void BitfieldManager::AddBitfield(const std::string& name, std::uint32_t address, std::uint8_t lsb,
                                  std::uint8_t width) {
  if (width > 32 || lsb > 31) {
    LOG_CRITICAL("Bitfield parameters out of range. Failed to add Bitfield. Throwing exception!");
    throw std::invalid_argument("Bitfield parameters out of range. Failed to add Bitfield.");
  }
  const auto [entry, added] = fields_.try_emplace(name, address, lsb, width);
  if (!added) {
    LOG_CRITICAL(
        "Failed to add bitfield. Bitfield with this name already exists. Throwing exception!");
    throw std::invalid_argument("Failed to add bitfield.");
  }
  index_.Add(entry->first, entry->second);
}

void BitfieldManager::_RefuseName(const LogOrigin& lookUp, std::string_view name) {
  const std::string text(name);
  LOG_CRITICAL_FROM(lookUp, "Bitfield manager cannot find bitfield %s. Throwing Exception!",
                    text.c_str());
  throw std::invalid_argument("Cannot find specified bitfield " + text);
}

void BitfieldManager::RawWrite(std::uint32_t address, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  bridge_.RawUnsafeWrite(address, value);
}

std::uint32_t BitfieldManager::RawRead(std::uint32_t address) {
  const std::lock_guard lock(mutex_);
  return bridge_.RawUnsafeRead(address);
}

void BitfieldManager::ListModules(std::vector<std::string>& out, const std::string& filter) {
  out.clear();
  for (const auto& [name, manager] : registry_) {
    if (Matches(name, filter)) {
      out.push_back(AddressLine(name, manager->baseAddress_));
    }
  }
}

int BitfieldManager::ListBitfields(std::vector<std::string>& out, const std::string& module,
                                   const std::string& filter) {
  out.clear();
  const BitfieldManager* manager = _FindModule(module);
  if (manager == nullptr) {
    return -1;
  }
  for (const auto& [name, field] : manager->fields_) {
    if (Matches(name, filter)) {
      out.push_back(AddressLine(name, field.address));
    }
  }
  return 0;
}

int BitfieldManager::ListBitfieldValues(std::vector<std::string>& out, const std::string& module,
                                        const std::string& filter) {
  out.clear();
  BitfieldManager* manager = _FindModule(module);
  if (manager == nullptr) {
    return -1;
  }
  for (const auto& [name, field] : manager->fields_) {
    if (Matches(name, filter)) {
      out.push_back(ValueLine(name, field.address, manager->ReadBitfield(name)));
    }
  }
  return 0;
}

int BitfieldManager::WriteBitfieldAndReport(std::string& report, const std::string& module,
                                            const std::string& field, std::uint32_t value) {
  BitfieldManager* manager = _FindModule(module);
  if (manager == nullptr) {
    return -1;
  }
  const Bitfield* found = manager->index_.Find(field);
  if (found == nullptr) {
    return -1;
  }
  manager->WriteField(*found, value);
  report = ValueLine(field, found->address, manager->ReadField(*found));
  return 0;
}
