#include "SysEeprom.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <tuple>

#include "sim/Board.h"

namespace {

// What the wrapped calls do. Only descriptors above the standard ones and the board's own log are
// of interest: the inventory is the only other file here.
struct Fault {
  std::size_t maxCount = SIZE_MAX;  // bytes that one call moves at most
  int interruptions = 0;            // calls that give EINTR first
  int callsUntilError = -1;         // good calls before EIO; -1 for never
};
Fault readFault;
Fault writeFault;

bool Fails(Fault& fault) {
  if (fault.interruptions > 0) {
    --fault.interruptions;
    errno = EINTR;
    return true;
  }
  if (fault.callsUntilError == 0) {
    errno = EIO;
    return true;
  }
  fault.callsUntilError -= fault.callsUntilError > 0 ? 1 : 0;
  return false;
}

}  // namespace

extern "C" {
ssize_t __real_read(int descriptor, void* buffer, size_t count);
ssize_t __real_write(int descriptor, const void* buffer, size_t count);

ssize_t __wrap_read(int descriptor, void* buffer, size_t count) {
  return Fails(readFault) ? -1
                          : __real_read(descriptor, buffer, std::min(count, readFault.maxCount));
}

ssize_t __wrap_write(int descriptor, const void* buffer, size_t count) {
  return Fails(writeFault) ? -1
                           : __real_write(descriptor, buffer, std::min(count, writeFault.maxCount));
}
}

namespace {

using Bytes = std::vector<std::uint8_t>;

class SysEepromTest : public testing::Test {
 protected:
  SysEepromTest() {
    board.UseFilesFolder(folder);
    std::filesystem::create_directories(folder + "/usr/orvane/lib");
  }
  ~SysEepromTest() override { std::filesystem::remove_all(folder); }

  void Write(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  Bytes Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  std::size_t Count(int severity) { return board.log.Messages(severity).size(); }

  // A file with both blocks valid, whose serial number is "SN1".
  void WriteValid() {
    Write(low, {});
    CSysEeprom().WriteSerialNumber("SN1");
    board.log.Clear();
  }

  sim::Board& board = sim::Board::Get();
  const std::string folder = testing::TempDir() + "eeprom-" + std::to_string(getpid());
  const std::string low = folder + "/usr/orvane/lib/eeprom-lo";
  const std::string high = folder + "/usr/orvane/lib/eeprom-hi";
};

TEST_F(SysEepromTest, FirstStartLaysTheImageDown) {
  board.clock.TakeOver();
  board.clock.SetRealTime({.tv_sec = 5, .tv_nsec = 0x12345678});
  Write(low, {});
  CSysEeprom eeprom;
  EXPECT_EQ(
      board.log.WithoutOrigins(),
      (std::vector<sim::LogRecord>{
          {2,
           "Inventory Signature mismatch. Defaulting Inventory. Expected: 0xCAFA0002 and read "
           "0x00000000"},
          {6, "EEPROM Write at 0x00000000, 76 bytes"},
          {2,
           "MAC addresses Signature mismatch. Defaulting. Expected: 0xCAFE0002 and read "
           "0x00000000"},
          {6, "EEPROM Write at 0x0000004C, 388 bytes"}}));
  const Bytes image = Read(low);
  ASSERT_EQ(image.size(), 464U);
  EXPECT_EQ(
      Bytes(image.begin(), image.begin() + 20),
      (Bytes{0x02, 0x00, 0xFA, 0xCA, 0, 0, 0, 0, 0, 0, 0, 0, '0', '0', '0', '0', '0', '1', 0, 0}));
  EXPECT_EQ(Bytes(image.begin() + 76, image.begin() + 92),
            (Bytes{0x02, 0x00, 0xFE, 0xCA, 0x5A, 0x78, 0x12, 0x34, 0x56, 0x00, 0x5A, 0x78, 0x12,
                   0x34, 0x56, 0x01}));
  EXPECT_EQ(eeprom.ReadMac(63), "5a:78:12:34:56:3f");
  EXPECT_EQ(eeprom.ReadMacInt(0), 0x5A7812345600U);
  EXPECT_EQ(eeprom.ReadHardwareRev() + eeprom.ReadBoardVariant(), "----");
}

TEST_F(SysEepromTest, TextsKeepToTheirFieldsAndOutliveARestart) {
  WriteValid();
  {
    CSysEeprom eeprom;
    EXPECT_EQ(eeprom.WriteBoardVariant(std::string(15, 'v')), 1);
    EXPECT_EQ(eeprom.WriteBoardVariant(std::string(16, 'x')), 0);
    EXPECT_EQ(eeprom.WriteHardwareRev(std::string(31, 'r')), 1);
    EXPECT_EQ(eeprom.WriteHardwareRev(std::string(32, 'x')), 0);
    EXPECT_EQ(eeprom.WriteSerialNumber(std::string(16, 'x')), 0);
    EXPECT_EQ(Count(2), 3U);
    EXPECT_EQ(eeprom.WriteSerialNumber("%s%n"), 1);
    EXPECT_EQ(eeprom.WriteSerialNumber("7"), 1);
  }
  const Bytes image = Read(low);  // each text left what stood behind its zero
  EXPECT_EQ(Bytes(image.begin() + 12, image.begin() + 19), (Bytes{'7', 0, '%', 'n', 0, '1', 0}));
  board.log.Clear();
  const CSysEeprom eeprom;
  EXPECT_EQ(eeprom.ReadBoardVariant(), std::string(15, 'v'));
  EXPECT_EQ(eeprom.ReadHardwareRev(), std::string(31, 'r'));
  EXPECT_EQ(eeprom.ReadSerialNumber(), "7");
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<sim::LogRecord>{{6, "VARIANT: " + std::string(15, 'v') + "\n"},
                                         {6, "REVISION: " + std::string(31, 'r') + "\n"},
                                         {6, "SN: 7\n"}}));
}

TEST_F(SysEepromTest, TextWithoutItsZeroEndsWithItsField) {
  WriteValid();
  Bytes image = Read(low);
  std::fill(image.begin() + 12, image.begin() + 76, std::uint8_t{'A'});
  Write(low, image);
  const CSysEeprom eeprom;
  EXPECT_EQ(eeprom.ReadSerialNumber(), std::string(16, 'A'));
  EXPECT_EQ(eeprom.ReadHardwareRev(), std::string(32, 'A'));
  EXPECT_EQ(eeprom.ReadBoardVariant(), std::string(16, 'A'));
}

TEST_F(SysEepromTest, EachBlockIsRepairedAlone) {
  WriteValid();
  Bytes image = Read(low);
  const Bytes macs(image.begin() + 80, image.end());
  image[76] ^= 1;
  Write(low, image);
  EXPECT_EQ(CSysEeprom().ReadSerialNumber(), "SN1");
  const Bytes whole = Read(low);
  EXPECT_NE(Bytes(whole.begin() + 80, whole.end()), macs);

  // The signature alone judges a file that ends anywhere; what the file doesn't hold is zero.
  using Case = std::tuple<std::size_t, const char*, std::size_t>;
  for (const auto& [size, serialNumber, defaulted] :
       {Case{0, "000001", 2}, Case{3, "000001", 2}, Case{4, "", 1}, Case{14, "SN", 1},
        Case{79, "SN1", 1}, Case{80, "SN1", 0}, Case{464, "SN1", 0}}) {
    SCOPED_TRACE(size);
    Write(low, Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    board.log.Clear();
    const CSysEeprom eeprom;
    EXPECT_EQ(eeprom.ReadSerialNumber(), serialNumber);
    EXPECT_EQ(eeprom.ReadMacInt(63) == 0, size == 80);
    EXPECT_EQ(Count(2), defaulted);
    EXPECT_EQ(Read(low).size(), defaulted > 0 ? 464 : size);
    if (size == 3) {
      EXPECT_NE(board.log.Messages(2).at(0).find(" read 0x00FA0002"), std::string::npos);
    }
  }
}

TEST_F(SysEepromTest, MacAddressesAreJudgedBeforeTheyAreStored) {
  WriteValid();
  CSysEeprom eeprom;
  const Bytes before = Read(low);
  const std::string mac = eeprom.ReadMac(1);
  for (const char* text : {"", ":", "1:2:3:4:5", "1:2:3:4:5:6:7", "1:2:3:4:5:g", "1:2:3:4:5: "}) {
    EXPECT_EQ(eeprom.WriteMac(1, text), 0) << text;
  }
  EXPECT_EQ(eeprom.WriteMac(64, "1:2:3:4:5:6"), 0);
  EXPECT_EQ(eeprom.WriteMac(-1, "1:2:3:4:5:6"), 0);
  EXPECT_EQ(eeprom.ReadMac(1), mac);
  EXPECT_EQ(Read(low), before);
  EXPECT_TRUE(board.log.All().empty());

  EXPECT_EQ(eeprom.WriteMac(0, "::0a:1B:0x2c::3:123:ffffffffffffffffffffff:"), 1);
  EXPECT_EQ(eeprom.ReadMac(0), "0a:1b:2c:03:23:ff");
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<sim::LogRecord>{{6, "Writing to EEPROM MAC index 0 0A:1B:2C:03:23:FF"},
                                         {6, "EEPROM Write at 0x00000050, 6 bytes"}}));
  Bytes after = before;
  std::copy_n(Bytes{0x0A, 0x1B, 0x2C, 0x03, 0x23, 0xFF}.begin(), 6, after.begin() + 80);
  EXPECT_EQ(Read(low), after);
  EXPECT_EQ(eeprom.ReadMac(64), "ERROR");
  EXPECT_EQ(eeprom.ReadMacInt(-1), 0U);
  EXPECT_EQ(Count(2), 2U);
}

TEST_F(SysEepromTest, EraseZeroesTheFileUntilTheNextStart) {
  WriteValid();
  {
    CSysEeprom eeprom;
    eeprom.Erase();
    EXPECT_EQ(eeprom.ReadSerialNumber(), "");
    EXPECT_EQ(Read(low), Bytes(3540, 0));
  }
  EXPECT_EQ(CSysEeprom().ReadSerialNumber(), "000001");
}

TEST_F(SysEepromTest, InterruptedAndShortCallsAreContinued) {
  WriteValid();
  readFault = {.maxCount = 7, .interruptions = 3};
  writeFault = {.maxCount = 5, .interruptions = 3};
  CSysEeprom eeprom;
  EXPECT_EQ(Count(2), 0U);
  eeprom.WriteBoardVariant("short writes");
  readFault = {};
  EXPECT_EQ(CSysEeprom().ReadBoardVariant(), "short writes");
}

TEST_F(SysEepromTest, ReadErrorStoresNothingOverWhatTheBoardHolds) {
  WriteValid();
  const Bytes before = Read(low);
  readFault = {.maxCount = 100, .callsUntilError = 1};
  const CSysEeprom eeprom;
  readFault = {};
  EXPECT_EQ(Count(2), 2U);
  EXPECT_NE(board.log.All().at(0).text.find(":Initialize("), std::string::npos);
  EXPECT_EQ(eeprom.ReadSerialNumber(), "000001");
  EXPECT_EQ(Read(low), before);
}

TEST_F(SysEepromTest, FileThatCannotBeHadIsLoggedAndWorkedWithout) {
  CSysEeprom missing;
  EXPECT_EQ(
      board.log.Messages(3),
      (std::vector<std::string>{"EEPROM Write error! Tried to write to 0x00000000, 76 bytes",
                                "EEPROM Write error! Tried to write to 0x0000004C, 388 bytes"}));
  EXPECT_EQ(missing.WriteSerialNumber("9"), 1);
  EXPECT_EQ(missing.ReadSerialNumber(), "9");

  std::filesystem::create_directory(low);
  board.log.Clear();
  CSysEeprom directory;
  EXPECT_EQ(Count(2), 2U);
  EXPECT_EQ(Count(3), 0U);
}

TEST_F(SysEepromTest, WriteErrorIsOneLine) {
  WriteValid();
  CSysEeprom eeprom;
  writeFault = {.maxCount = 40, .callsUntilError = 1};
  EXPECT_EQ(eeprom.WriteSerialNumber("8"), 1);
  EXPECT_EQ(
      board.log.Messages(3),
      (std::vector<std::string>{"EEPROM write error! 40 of 76 bytes written: Input/output error"}));
}

TEST_F(SysEepromTest, HighRecordNeverPassesItsBuffer) {
  WriteValid();
  CSysEeprom eeprom;
  Bytes buffer(8, 0xEE);
  const Bytes data{1, 2, 3};
  EXPECT_EQ(eeprom.ReadHighBlock(buffer.data(), 8), 0U);
  EXPECT_EQ(eeprom.WriteHighBlock(data.data(), 3), SIZE_MAX);
  Write(high, {});
  EXPECT_EQ(eeprom.WriteHighBlock(data.data(), 3), 3U);
  EXPECT_EQ(Read(high), (Bytes{0xFE, 0xCA, 0xEF, 0xBE, 3, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3}));
  EXPECT_EQ(eeprom.ReadHighBlock(buffer.data(), 2), 0U);
  EXPECT_EQ(eeprom.ReadHighBlock(buffer.data(), 8), 3U);
  EXPECT_EQ(buffer, (Bytes{1, 2, 3, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));

  Write(high, {0xFE, 0xCA, 0xEF, 0xBE, 6, 0, 0, 0, 0, 0, 0, 0, 9, 9});  // its data is cut off
  EXPECT_EQ(eeprom.ReadHighBlock(buffer.data(), 8), 2U);
  Write(high, {0xFE, 0xCA, 0xEF, 0xBE, 255, 255, 255, 255, 255, 255, 255, 255, 9, 9});
  EXPECT_EQ(eeprom.ReadHighBlock(buffer.data(), 8), 0U);
  Write(high, {0xFF, 0xCA, 0xEF, 0xBE, 1, 0, 0, 0, 0, 0, 0, 0, 9, 9});
  EXPECT_EQ(eeprom.ReadHighBlock(buffer.data(), 8), 0U);
}

}  // namespace
