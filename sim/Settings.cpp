#include "sim/Settings.h"

#include <functional>
#include <iostream>
#include <stdexcept>

#include "sim/BoardFolder.h"
#include "sim/ConfigFile.h"
#include "sim/RegisterFile.h"

namespace sim {
namespace {

struct Setting {
  const char* key;
  const char* defaultValue;
  const char* meaning;
  std::function<void(Settings&, const std::string&)> apply;
};

bool ToBool(const std::string& text) {
  if (text != "yes" && text != "no") {
    throw std::invalid_argument("neither yes nor no");
  }
  return text == "yes";
}

auto Flag(bool Settings::*member) {
  return [member](Settings& settings, const std::string& text) { settings.*member = ToBool(text); };
}

auto Strap(std::size_t pin) {
  return [pin](Settings& settings, const std::string& text) {
    if (text != "0" && text != "1" && text != "error") {
      throw std::invalid_argument("neither 0 nor 1 nor error");
    }
    settings.straps[pin] = text == "error" ? -1 : text == "1" ? 1 : 0;
  };
}

void SetBusErrorAt(Settings& settings, const std::string& text) {
  if (text == "none") {
    settings.busErrorAt.reset();
    return;
  }
  const std::uint32_t offset = ParseNumber(text);
  if (offset >= RegisterFile::kBytes || offset % 4 != 0) {
    throw std::invalid_argument("no such register");
  }
  settings.busErrorAt = offset;
}

struct FaultName {
  const char* text;
  SpiFault fault;
};
constexpr std::array kSpiFaults{
    FaultName{"none", SpiFault::kNone},
    FaultName{"missing", SpiFault::kMissing},
    FaultName{"mode", SpiFault::kMode},
    FaultName{"lsb_first", SpiFault::kLsbFirst},
    FaultName{"bits_per_word", SpiFault::kBitsPerWord},
    FaultName{"transfer", SpiFault::kTransfer},
    FaultName{"short", SpiFault::kShort},
    FaultName{"vanished", SpiFault::kVanished},
};

auto Fault(SpiFault Settings::*member) {
  return [member](Settings& settings, const std::string& text) {
    for (const FaultName& known : kSpiFaults) {
      if (text == known.text) {
        settings.*member = known.fault;
        return;
      }
    }
    throw std::invalid_argument("no such fault");
  };
}

const std::array kSettings{
    Setting{"ps_mio2", "1", "strap pin PS_MIO2: 0, 1 or error", Strap(0)},
    Setting{"ps_mio3", "1", "strap pin PS_MIO3: 0, 1 or error", Strap(1)},
    Setting{"strap_chip_missing", "no", "no GPIO chip: yes or no",
            Flag(&Settings::strapChipMissing)},
    Setting{"strap_line_busy", "no", "its lines are in use", Flag(&Settings::strapLineBusy)},
    Setting{"equaliser_spi_fault", "none",
            "the equalisers' SPI device: none, missing, vanished, short (transfers end in their\n"
            "# middle), or the call that fails: mode, lsb_first, bits_per_word, transfer",
            Fault(&Settings::equaliserSpiFault)},
    Setting{"driver_spi_fault", "none", "the same for the cable drivers' SPI device",
            Fault(&Settings::driverSpiFault)},
    Setting{"memory_missing", "no", "no memory device", Flag(&Settings::memoryMissing)},
    Setting{"mapping_refused", "no", "it can't be mapped", Flag(&Settings::mappingRefused)},
    Setting{"unmapping_refused", "no", "it can't be unmapped", Flag(&Settings::unmappingRefused)},
    Setting{"bus_error_at", "none", "byte offset of a register that doesn't answer, or none",
            SetBusErrorAt},
    Setting{"trace", "no", "write every register access to trace.txt",
            Flag(&Settings::traceToFile)},
};

void Apply(Settings& settings, const std::string& key, const std::string& value) {
  for (const Setting& setting : kSettings) {
    if (key == setting.key) {
      setting.apply(settings, value);
      return;
    }
  }
  throw std::invalid_argument("no such setting");
}

std::string DefaultSettings() {
  std::string text = "# The simulated board: read once, when the program starts.\n";
  for (const Setting& setting : kSettings) {
    text += std::string("\n# ") + setting.meaning + '\n';
    text += std::string(setting.key) + " = " + setting.defaultValue + '\n';
  }
  return text;
}

}  // namespace

std::size_t Settings::CableChips() const {
  if (straps == std::array{0, 1}) {
    return 2;
  }
  return straps == std::array{1, 0} ? 3 : kMaxCableChips;
}

Settings ReadSettings(const std::string& path) {
  ProvideFile(path, DefaultSettings());
  Settings settings;
  ReadConfigFile(
      path,
      [&settings](const std::string& key, const std::string& value) {
        Apply(settings, key, value);
      },
      [](const std::string& complaint) { std::cerr << complaint << '\n'; });
  return settings;
}

}  // namespace sim
