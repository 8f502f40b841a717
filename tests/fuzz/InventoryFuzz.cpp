// Any bytes as the inventory's files, and any text for its fields.

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>

#include "SysEeprom.h"
#include "fuzz/Fuzz.h"
#include "log/Log.h"
#include "sim/Board.h"

namespace {

const std::string kFolder = "files/usr/orvane/lib";
const std::string kLow = kFolder + "/eeprom-lo";
constexpr std::size_t kImageBytes = 3540;

struct Text {
  std::size_t offset;
  std::size_t size;
  int (CSysEeprom::*write)(const std::string& text);
  std::string (CSysEeprom::*read)() const;
};
constexpr std::array kTexts{
    Text{12, 16, &CSysEeprom::WriteSerialNumber, &CSysEeprom::ReadSerialNumber},
    Text{28, 32, &CSysEeprom::WriteHardwareRev, &CSysEeprom::ReadHardwareRev},
    Text{60, 16, &CSysEeprom::WriteBoardVariant, &CSysEeprom::ReadBoardVariant},
};

// What `operation` gives, which may change the file in one place only.
int ChangesOnly(std::size_t offset, std::size_t size, const std::function<int()>& operation) {
  std::string before = ReadFile(kLow);
  const int result = operation();
  std::string after = ReadFile(kLow);
  Require(after.size() <= std::max(before.size(), kImageBytes), "the file keeps to the image");
  before.resize(std::max(after.size(), offset + size));
  after.resize(before.size());
  Require(before.replace(offset, size, "") == after.replace(offset, size, ""),
          "an operation changes its own bytes only");
  return result;
}

// The address that a text holds, as it is read back; empty if it holds none.
std::string MacIn(const std::string& text) {
  std::string mac;
  for (const std::string& piece : Split(text, ':')) {
    unsigned value = 0;
    if (!piece.empty() && std::sscanf(piece.c_str(), "%x", &value) != 1) {
      return "";
    }
    mac += piece.empty() ? "" : FormatMessage(":%02x", value & 0xFF);
  }
  return mac.size() == 18 ? mac.substr(1) : "";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static sim::Board& board = sim::Board::CreateInMemory();
  board.log.Clear();
  board.UseFilesFolder("files");
  std::filesystem::create_directories(kFolder);
  const LineAndFile input(data, size);
  const std::string& text = input.line;
  WriteFile(kLow, input.file);
  WriteFile(kFolder + "/eeprom-hi", input.file);

  CSysEeprom eeprom;
  for (const Text& field : kTexts) {
    const std::string before = (eeprom.*field.read)();
    Require(before.size() <= field.size, "a text ends with its field");
    const bool accepted =
        ChangesOnly(field.offset, field.size, [&] { return (eeprom.*field.write)(text); }) == 1;
    Require(accepted == (text.size() < field.size), "a text is refused if it is too long");
    Require((eeprom.*field.read)() == (accepted ? text.c_str() : before), "a text is read back");
  }
  const std::size_t index = text.size() % CSysEeprom::kMacCount;
  const int at = static_cast<int>(index);
  const std::string mac = MacIn(text);
  const std::string expected = mac.empty() ? eeprom.ReadMac(at) : mac;
  const int accepted = ChangesOnly(80 + 6 * index, 6, [&] { return eeprom.WriteMac(at, text); });
  Require(accepted == (mac.empty() ? 0 : 1), "an address is stored, and nothing else");
  Require(eeprom.ReadMac(at) == expected, "an address is read back");
  const CSysEeprom again;
  for (const Text& field : kTexts) {
    Require((again.*field.read)() == (eeprom.*field.read)(), "a new start finds the same texts");
  }
  for (int i = 0; i < CSysEeprom::kMacCount; ++i) {
    Require(again.ReadMacInt(i) == eeprom.ReadMacInt(i), "a new start finds the same addresses");
  }

  std::vector<std::uint8_t> buffer(text.size());
  Require(eeprom.ReadHighBlock(buffer.data(), buffer.size()) <= buffer.size(), "the record fits");
  Require(eeprom.WriteHighBlock(data, buffer.size()) == buffer.size() &&
              eeprom.ReadHighBlock(buffer.data(), buffer.size()) == buffer.size() &&
              std::equal(buffer.begin(), buffer.end(), data),
          "a record is read back");
  eeprom.Erase();
  Require(ReadFile(kLow).substr(0, kImageBytes) == std::string(kImageBytes, '\0'), "all is erased");
  return 0;
}
