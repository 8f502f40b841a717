#include "regaccess/BitfieldManager.h"

#include <algorithm>
#include <stdexcept>

#include "log/Log.h"
#include "regaccess/BusErrorReport.h"

namespace {

using Registry = std::map<std::string, BitfieldManager*, std::less<>>;

// Both exist once per process. The bridge is built last and so destroyed first: the window is
// unmapped at the process's end while the registry still stands.
Registry registry;
FpgaCsrAccess bridge;

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

BitfieldManager* FindModule(std::string_view name) {
  const auto found = registry.find(name);
  return found != registry.end() ? found->second : nullptr;
}

}  // namespace

BitfieldManager::BitfieldManager(const std::string& name, std::uint32_t baseAddress)
    : baseAddress_(baseAddress) {
  if (FindModule(name) != nullptr) {
    LOG_CRITICAL("Bitfield Manager %s already exists. This is not supported! Throwing exception!",
                 name.c_str());
    throw std::invalid_argument("Tried instantiating bitfield manager with duplicate name");
  }
  registry.emplace(name, this);
  NameModuleForBusErrors(baseAddress, name);
  if (!bridge.IsInitialized() && bridge.Init() != 0) {
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
  if (!fields_.try_emplace(name, address, lsb, width).second) {
    LOG_CRITICAL(
        "Failed to add bitfield. Bitfield with this name already exists. Throwing exception!");
    throw std::invalid_argument("Failed to add bitfield.");
  }
}

Bitfield& BitfieldManager::GetBitfield(std::string_view name) {
  const auto found = fields_.find(name);
  if (found == fields_.end()) {
    const std::string text(name);
    LOG_CRITICAL("Bitfield manager cannot find bitfield %s. Throwing Exception!", text.c_str());
    throw std::invalid_argument("Cannot find specified bitfield " + text);
  }
  return found->second;
}

std::uint32_t BitfieldManager::ReadBitfield(std::string_view name) {
  return ReadField(GetBitfield(name));
}

int BitfieldManager::ReadBitfield(std::string_view name, std::uint32_t* value) {
  return ReadField(GetBitfield(name), value);
}

void BitfieldManager::WriteBitfield(std::string_view name, std::uint32_t value) {
  WriteField(GetBitfield(name), value);
}

void BitfieldManager::WriteBitfieldNoRmw(std::string_view name, std::uint32_t value) {
  WriteFieldNoRmw(GetBitfield(name), value);
}

void BitfieldManager::RawWrite(std::uint32_t address, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  bridge.RawUnsafeWrite(address, value);
}

std::uint32_t BitfieldManager::RawRead(std::uint32_t address) {
  const std::lock_guard lock(mutex_);
  return bridge.RawUnsafeRead(address);
}

std::uint32_t BitfieldManager::ReadField(const Bitfield& field) {
  const std::lock_guard lock(mutex_);
  return bridge.Read(field);
}

int BitfieldManager::ReadField(const Bitfield& field, std::uint32_t* value) {
  const std::lock_guard lock(mutex_);
  return bridge.Read(field, value);
}

void BitfieldManager::WriteField(const Bitfield& field, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  (void)bridge.Write(field, value);  // a refusal is logged there
}

void BitfieldManager::WriteFieldNoRmw(const Bitfield& field, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  (void)bridge.WriteNoRmw(field, value);  // a refusal is logged there
}

void BitfieldManager::ListModules(std::vector<std::string>& out, const std::string& filter) {
  out.clear();
  for (const auto& [name, manager] : registry) {
    if (Matches(name, filter)) {
      out.push_back(AddressLine(name, manager->baseAddress_));
    }
  }
}

int BitfieldManager::ListBitfields(std::vector<std::string>& out, const std::string& module,
                                   const std::string& filter) {
  out.clear();
  const BitfieldManager* manager = FindModule(module);
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
  BitfieldManager* manager = FindModule(module);
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
  BitfieldManager* manager = FindModule(module);
  if (manager == nullptr) {
    return -1;
  }
  const auto found = manager->fields_.find(field);
  if (found == manager->fields_.end()) {
    return -1;
  }
  manager->WriteField(found->second, value);
  report = ValueLine(field, found->second.address, manager->ReadField(found->second));
  return 0;
}
