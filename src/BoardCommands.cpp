#include "BoardCommands.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <exception>
#include <optional>
#include <ostream>
#include <string_view>
#include <utility>

#include "FieldCommands.h"
#include "Numbers.h"
#include "SysEeprom.h"
#include "devices/SdiCableEqInterface.h"
#include "log/Log.h"
#include "modules/SdiRx.h"
#include "modules/VideoCrosspoint.h"
#include "top/TopFpga.h"

namespace {

using std::ostream;
using std::string;

struct FieldValue {
  const char* field;
  unsigned value;
};

// One-shot set-up of a transmitter, in this order: the loops first, then the PHY, then both out of
// reset.
constexpr std::array kTxSdiSetup{
    FieldValue{"picxoRefSelect", 4},
    FieldValue{"ncoV", 958},
    FieldValue{"ncoR", 0},
    FieldValue{"ncoAccStep", 1},
    FieldValue{"ncoCeDspRate", 511},
    FieldValue{"ncoG1", 8},
    FieldValue{"ncoG2", 10},
    FieldValue{"picxoV", 2},
    FieldValue{"picxoR", 0},
    FieldValue{"picxoCeDspRate", 4095},
    FieldValue{"picxoAccStep", 1},
    FieldValue{"picxoG1", 0},
    FieldValue{"picxoG2", 6},
    FieldValue{"picxoP", 4},
    FieldValue{"picxoN", 5},
    FieldValue{"picxoC", 89},
    FieldValue{"std", 2},
    FieldValue{"swingControl", 5},
    FieldValue{"preCursor", 5},
    FieldValue{"postCursor", 5},
    FieldValue{"reset", 1},
    FieldValue{"resetPicxo", 1},
    FieldValue{"resetPicxo", 0},
    FieldValue{"reset", 0},
};
static_assert(kTxSdiSetup.size() == 24);

string NotAnInteger(const char* what, const string& text) {
  return string(what) + " argument <" + text + "> cannot be converted to integer\n";
}

std::optional<int> IntOf(const string& text) {
  try {
    return ToInt(text);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<std::size_t> SizeOf(const string& text) {
  try {
    return ToULong(text);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

// The commands that go on with 0 where a number is bad.
std::size_t SizeOrZero(const char* what, const string& text) {
  const std::optional<std::size_t> number = SizeOf(text);
  if (!number) {
    std::printf("%s", NotAnInteger(what, text).c_str());
  }
  return number.value_or(0);
}

string RouteText(std::size_t source, std::size_t destination) {
  return FormatMessage("Source: %i --> Destination: %i\n", static_cast<int>(source),
                       static_cast<int>(destination));
}

string RouteOf(VideoCrosspoint& crosspoint, std::size_t destination) {
  std::size_t source = 0;
  (void)crosspoint.GetRoute(source, destination);  // without such a destination the source stays 0
  return RouteText(source, destination);
}

string RawText(const string& address, std::uint32_t value) {
  return "Raw Read " + address + ": " + std::to_string(value);
}

constexpr std::uint32_t kRate6G = 5;

// The names that eqrate gives: it has none for 6G.
const char* RateName(std::uint32_t rate) {
  switch (rate) {
    case 1:
      return "MADI";
    case 2:
      return "SD";
    case 3:
      return "HD";
    case 4:
      return "3G";
    case 6:
      return "12G";
    default:
      return "Unknown";
  }
}

}  // namespace

void BoardCommands::AddTo(cli::Menu& menu) {
  menu.AddCommand(
      "txsdisetup", [this](ostream& out, const string& index) { out << _TxSdiSetup(index); },
      "Setup the SDI transmitter");
  menu.AddCommand(
      "readraw", [this](ostream& out, const string& address) { out << _ReadRaw(address); },
      "Read the raw data value from the address given");
  menu.AddCommand(
      "writeraw",
      [this](ostream& out, const string& address, const string& value) {
        out << _WriteRaw(address, value);
      },
      "Write the raw data value to the address given");
  menu.AddCommand(
      "rxgetroute",
      [this](ostream& out, const string& destination) { out << _RxGetRoute(destination); },
      "Get the route of the SDI receiver");
  menu.AddCommand(
      "txgetroute",
      [this](ostream& out, const string& destination) { out << _TxGetRoute(destination); },
      "Get the route of the SDI transmitter");
  menu.AddCommand(
      "rxsetroute",
      [this](ostream& out, const string& source, const string& destination) {
        out << _SetRoute(fpga_->GetSdiRxCrosspoint(), source, destination);
      },
      "Set the route of the SDI receiver");
  menu.AddCommand(
      "txsetroute",
      [this](ostream& out, const string& source, const string& destination) {
        out << _SetRoute(fpga_->GetSdiTxCrosspoint(), source, destination);
      },
      "Set the route of the SDI transmitter");
}

std::unique_ptr<cli::Menu> BoardCommands::EepromMenu() {
  auto menu = std::make_unique<cli::Menu>("eeprom");
  menu->AddCommand(
      "readmac", [this](ostream& out, const string& index) { out << _ReadMac(index); },
      "Read the MAC Address at arg1 from the storage device");
  menu->AddCommand(
      "writemac", [this](ostream& out, const string& argument) { out << _WriteMac(argument); },
      "Write the MAC address arg1 to the storage device");
  menu->AddCommand(
      "erase", [this](ostream& /*out*/) { eeprom_->Erase(); }, "Erase the entire EEPROM");
  // The inventory logs what it refuses and what it reads; the console shows neither.
  menu->AddCommand(
      "writevariant",
      [this](ostream& /*out*/, const string& text) { (void)eeprom_->WriteBoardVariant(text); },
      "Write the board variant arg1 to the storage device");
  menu->AddCommand(
      "readvariant", [this](ostream& /*out*/) { (void)eeprom_->ReadBoardVariant(); },
      "Read the board variant from the storage device");
  menu->AddCommand(
      "writerev",
      [this](ostream& /*out*/, const string& text) { (void)eeprom_->WriteHardwareRev(text); },
      "Write the hardware revision arg1 to the storage device");
  menu->AddCommand(
      "readrev", [this](ostream& /*out*/) { (void)eeprom_->ReadHardwareRev(); },
      "Read the hardware revision from the storage device");
  menu->AddCommand(
      "readsn", [this](ostream& /*out*/) { (void)eeprom_->ReadSerialNumber(); },
      "Read the serial number from the storage device");
  menu->AddCommand(
      "writesn",
      [this](ostream& /*out*/, const string& text) { (void)eeprom_->WriteSerialNumber(text); },
      "Write the serial number arg1 to the storage device");
  return menu;
}

std::unique_ptr<cli::Menu> BoardCommands::SdiMenu() {
  auto menu = std::make_unique<cli::Menu>("sdi");
  menu->AddCommand(
      "eqmode", [this](ostream& out, const string& mode) { out << SetForcedMode(mode); },
      "Set equalizer to forced mode");
  menu->AddCommand(
      "eqrate", [this](ostream& /*out*/, const string& index) { _PrintEqRate(index); },
      "Return SDI equalizer rate");
  menu->AddCommand(
      "drvsignaldetect",
      [this](ostream& out, const string& index) { out << _SdiDebugInformation(index); },
      "Return debug information for SDI receiver");
  return menu;
}

// Any module reaches any word of the window; raw words go through the receive crosspoint's.
BitfieldManager& BoardCommands::_Registers() {
  return dynamic_cast<VideoCrosspointImpl&>(fpga_->GetSdiRxCrosspoint());
}

string BoardCommands::_ReadRaw(const string& address) {
  const std::optional<int> byteOffset = IntOf(address);
  if (!byteOffset) {
    return NotAnInteger("Address", address);
  }
  return RawText(address, _Registers().RawRead(static_cast<std::uint32_t>(*byteOffset)));
}

string BoardCommands::_WriteRaw(const string& address, const string& value) {
  const std::optional<int> byteOffset = IntOf(address);
  if (!byteOffset) {
    return NotAnInteger("Address", address);
  }
  const std::optional<int> word = IntOf(value);
  if (!word) {
    return NotAnInteger("Value", value);
  }
  _Registers().RawWrite(static_cast<std::uint32_t>(*byteOffset), static_cast<std::uint32_t>(*word));
  return RawText(address, _Registers().RawRead(static_cast<std::uint32_t>(*byteOffset)));
}

string BoardCommands::_RxGetRoute(const string& destination) {
  const std::optional<std::size_t> number = SizeOf(destination);
  if (!number) {
    return NotAnInteger("Destination", destination);
  }
  return RouteOf(fpga_->GetSdiRxCrosspoint(), *number);
}

string BoardCommands::_TxGetRoute(const string& destination) {
  return RouteOf(fpga_->GetSdiTxCrosspoint(), SizeOrZero("Destination", destination));
}

// The route is set while the output may still be disabled, and the output enabled behind it. The
// text stands also for a route that the crosspoint refused: it has logged that.
string BoardCommands::_SetRoute(VideoCrosspoint& crosspoint, const string& source,
                                const string& destination) {
  const std::size_t from = SizeOrZero("Source", source);
  const std::size_t to = SizeOrZero("Destination", destination);
  (void)crosspoint.SetRoute(from, to, true /* quiet */);
  (void)crosspoint.SetOutputDisable(to, false /* disable */, false /* quiet */);
  return RouteText(from, to);
}

string BoardCommands::_TxSdiSetup(const string& index) {
  constexpr std::array kModules{"sdi_tx0", "sdi_tx1", "sdi_tx2", "sdi_tx3"};
  const std::optional<std::size_t> number = SizeOf(index);
  if (!number) {
    return NotAnInteger("Destination", index);
  }
  const string module = *number < kModules.size() ? kModules[*number] : "";
  for (const FieldValue& step : kTxSdiSetup) {
    (void)field_commands::WriteBitfield(module, step.field, std::to_string(step.value));
  }
  return field_commands::ReadBitfields(module, "");
}

string BoardCommands::_ReadMac(const string& index) {
  const std::optional<int> number = IntOf(index);
  if (!number) {
    return NotAnInteger("Index", index);
  }
  return FormatMessage("MAC Address %i: %s\n", *number, eeprom_->ReadMac(*number).c_str());
}

string BoardCommands::_WriteMac(const string& argument) {
  const std::size_t equals = argument.find('=');
  const bool hasIndex = equals != string::npos;
  const std::optional<int> index = hasIndex ? IntOf(argument.substr(0, equals)) : 0;
  const string address = hasIndex ? argument.substr(equals + 1) : argument;
  if (!index || eeprom_->WriteMac(*index, address) == 0) {
    return "MAC address argument <" + argument + "> is not valid\n";
  }
  return FormatMessage("MAC Address %i: %s\n", *index, eeprom_->ReadMac(*index).c_str());
}

string BoardCommands::SetForcedMode(const string& mode) {
  const std::optional<int> number = IntOf(mode);
  if (!number) {
    return NotAnInteger("Value", mode);
  }
  for (SdiRx* receiver : fpga_->GetSdiRxs()) {
    if (receiver == nullptr) {
      LOG_WARNING("NULL SDI RX instance");
      continue;
    }
    receiver->HoldInReset();
    receiver->SetForcedMode(static_cast<std::uint32_t>(*number));
    receiver->ReleaseFromReset();
  }
  return "";
}

void BoardCommands::_PrintEqRate(const string& index) {
  const std::optional<int> number = IntOf(index);
  if (!number) {
    std::printf("%s", NotAnInteger("Value", index).c_str());
  }
  std::uint32_t rate = 0;
  (void)cableEqs_->GetRateDetect(static_cast<std::size_t>(number.value_or(0)), &rate);
  std::printf("Video Format: %s\n", RateName(rate));
}

string BoardCommands::_SdiDebugInformation(const string& index) {
  const std::optional<int> number = IntOf(index);
  if (!number) {
    return NotAnInteger("Value", index);
  }
  return _EqualiserInformation(*number) + _ReceiverInformation(*number);
}

string BoardCommands::_EqualiserInformation(int index) {
  if (index < 0 || static_cast<std::size_t>(index) >= cableEqs_->GetChainLength()) {
    return FormatMessage("Equalizer: none at index %i\n", index);
  }
  const auto status = cableEqs_->GetStatus(static_cast<std::size_t>(index));
  if (!status) {
    return "Equalizer: does not answer\n";
  }
  if (!status->signalPresent) {
    return "Equalizer: no signal\n";
  }
  const char* rate = status->rate == kRate6G ? "6G" : RateName(status->rate);
  return FormatMessage("Equalizer: signal, rate %s\n", rate);
}

string BoardCommands::_ReceiverInformation(int index) {
  const std::vector<SdiRx*>& receivers = fpga_->GetSdiRxs();
  if (index < 0 || static_cast<std::size_t>(index) >= receivers.size()) {
    return FormatMessage("Receiver: none at index %i\n", index);
  }
  SdiRx& receiver = *receivers[static_cast<std::size_t>(index)];
  string text = "Receiver: " + dynamic_cast<SdiRxImpl&>(receiver).GetStatusText() + "\n";
  const int standard = static_cast<int>(receiver.GetVideoFormat().standardId);
  text += FormatMessage("Video format: %s\n", GetVideoStandard(standard).name.c_str());
  text += FormatMessage("CRC errors: %u\n", receiver.GetCrcErrorCount(false /* clear */));
  return text;
}
