#include "SysEeprom.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <tuple>

#include "sim/Board.h"

namespace {

// What the wrapped calls do. The inventory's files and, when it is opened, the board's log are the
// only files here.
struct Fault {
  std::size_t maxCount = SIZE_MAX;  // bytes that one call moves at most
  int interruptions = 0;            // calls that give EINTR first
  int callsUntilError = -1;         // good calls before the error; -1 for never
  int error = EIO;
};
struct Faults {
  Fault open{}, read{}, write{}, putBack{}, synchronise{};
} faults;

bool Fails(Fault& fault) {
  if (fault.interruptions > 0) {
    --fault.interruptions;
    errno = EINTR;
    return true;
  }
  if (fault.callsUntilError == 0) {
    errno = fault.error;
    return true;
  }
  fault.callsUntilError -= fault.callsUntilError > 0 ? 1 : 0;
  return false;
}

template <typename Call>
ssize_t Limited(Fault& fault, std::size_t count, Call call) {
  return Fails(fault) ? -1 : call(std::min(count, fault.maxCount));
}

}  // namespace

extern "C" {
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int descriptor, void* buffer, size_t count);
ssize_t __real_pread(int descriptor, void* buffer, size_t count, off_t offset);
ssize_t __real_write(int descriptor, const void* buffer, size_t count);
ssize_t __real_pwrite(int descriptor, const void* buffer, size_t count, off_t offset);
int __real_fdatasync(int descriptor);

int __wrap_open(const char* path, int flags, ...) {
  return Fails(faults.open) ? -1 : __real_open(path, flags, 0644);
}
ssize_t __wrap_read(int fd, void* to, size_t count) {
  return Limited(faults.read, count, [&](size_t n) { return __real_read(fd, to, n); });
}
ssize_t __wrap_pread(int fd, void* to, size_t count, off_t at) {
  return Limited(faults.read, count, [&](size_t n) { return __real_pread(fd, to, n, at); });
}
ssize_t __wrap_write(int fd, const void* from, size_t count) {
  return Limited(faults.write, count, [&](size_t n) { return __real_write(fd, from, n); });
}
ssize_t __wrap_pwrite(int fd, const void* from, size_t count, off_t at) {
  return Limited(faults.putBack, count, [&](size_t n) { return __real_pwrite(fd, from, n, at); });
}
int __wrap_fdatasync(int fd) {
  return Fails(faults.synchronise) ? -1 : __real_fdatasync(fd);
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
  const Fault interrupted{.maxCount = 7, .interruptions = 3};
  faults = {interrupted, interrupted, interrupted, interrupted, interrupted};
  CSysEeprom eeprom;
  EXPECT_EQ(Count(2), 0U);
  eeprom.WriteBoardVariant("short writes");
  EXPECT_EQ(Count(3), 0U);
  EXPECT_EQ(faults.synchronise.interruptions, 0);
  faults = {};
  EXPECT_EQ(CSysEeprom().ReadBoardVariant(), "short writes");
}

TEST_F(SysEepromTest, ReadErrorStoresNothingOverWhatTheBoardHolds) {
  WriteValid();
  Bytes image = Read(low);
  faults.read = {.maxCount = 100, .callsUntilError = 1};
  CSysEeprom eeprom;
  EXPECT_EQ(Count(2), 2U);
  EXPECT_NE(board.log.All().at(0).text.find(":Initialize("), std::string::npos);
  EXPECT_EQ(eeprom.ReadSerialNumber(), "000001");
  eeprom.WriteSerialNumber("S");
  eeprom.WriteMac(1, "1:1:1:1:1:1");
  EXPECT_EQ(eeprom.ReadSerialNumber() + eeprom.ReadMac(1), "S01:01:01:01:01:01");
  const std::string behind =
      " bytes written, what the file holds can't be read: Input/output error";
  EXPECT_EQ(board.log.Messages(3),
            (std::vector<std::string>{"The inventory can't be read, its defaults stand in memory: "
                                      "Input/output error",
                                      "EEPROM write error! 0 of 76" + behind,
                                      "EEPROM write error! 0 of 6" + behind}));
  EXPECT_EQ(Count(2), 2U);
  EXPECT_EQ(Read(low), image);

  // The first store behind a good reading brings all changes into what the file holds, and only
  // the block that isn't valid there is laid down anew.
  image[0] ^= 1;
  Write(low, image);
  faults = {};
  eeprom.WriteMac(0, "2:2:2:2:2:2");
  EXPECT_EQ(Count(2), 3U);
  image[0] ^= 1;
  std::copy_n(Bytes{'S', 0, '0', '0', '0', '1'}.begin(), 6, image.begin() + 12);
  std::fill_n(image.begin() + 80, 6, std::uint8_t{2});
  std::fill_n(image.begin() + 86, 6, std::uint8_t{1});
  EXPECT_EQ(Read(low), image);
}

TEST_F(SysEepromTest, FileThatCannotBeHadIsLoggedAndWorkedWithout) {
  const std::string error = "EEPROM Write error! Tried to write to ";
  CSysEeprom missing;
  EXPECT_EQ(missing.WriteSerialNumber("9"), 1);
  std::filesystem::create_directory(low);
  CSysEeprom directory;
  EXPECT_EQ(Count(2), 4U);
  directory.Erase();
  EXPECT_EQ(
      board.log.Messages(3),
      (std::vector<std::string>{error + "0x00000000, 76 bytes", error + "0x0000004C, 388 bytes",
                                error + "0x00000000, 76 bytes",
                                "The inventory can't be read, its defaults stand in memory: "
                                "Is a directory",
                                error + "0x00000000, 3540 bytes"}));

  // The file comes up late, and what it holds counts.
  std::filesystem::remove(low);
  WriteValid();
  missing.WriteHardwareRev("A1");
  const CSysEeprom again;
  EXPECT_EQ(again.ReadSerialNumber() + again.ReadHardwareRev(), "9A1");
  EXPECT_EQ(again.ReadMac(5), missing.ReadMac(5));
  EXPECT_EQ(Count(2), 0U);
  directory.WriteMac(0, "3:3:3:3:3:3");
  Bytes erased(3540, 0);
  std::fill_n(erased.begin() + 80, 6, std::uint8_t{3});
  EXPECT_EQ(Read(low), erased);
}

TEST_F(SysEepromTest, BrokenOffStoreIsTakenBackAndOneLine) {
  const Fault after40{.maxCount = 40, .callsUntilError = 1};
  const Fault fails{.callsUntilError = 0};
  const Fault isNone{.callsUntilError = 0, .error = EINVAL};
  const std::string eio = "Input/output error";
  const std::string half = "40 of 76 bytes written: " + eio + "; the old bytes ";
  const std::string unread = "0 of 76 bytes written, what the file holds can't be read: " + eio;
  const std::string undone = "76 bytes written, which a power cut may undo: " + eio;
  // The faults, the last digit of the serial number that the file holds then, and the line.
  using Case = std::tuple<Faults, char, std::string>;
  for (const auto& [planted, digit, line] :
       {Case{{.write = after40}, '1', half + "stand again"},
        Case{{.write = after40, .putBack = fails}, '2', half + "could not be put back"},
        Case{{.read = fails}, '1', unread}, Case{{.synchronise = fails}, '2', undone},
        Case{{.synchronise = isNone}, '2', ""}}) {
    SCOPED_TRACE(line);
    WriteValid();
    Bytes image = Read(low);
    CSysEeprom eeprom;
    faults = planted;
    EXPECT_EQ(eeprom.WriteSerialNumber("SN2"), 1);
    faults = {};
    EXPECT_EQ(board.log.Messages(3),
              std::vector<std::string>(line.empty() ? 0 : 1, "EEPROM write error! " + line));
    image[14] = static_cast<std::uint8_t>(digit);
    EXPECT_EQ(Read(low), image);
  }

  Write(low, {1, 2, 3});  // a file that grew gets its end back
  faults.write = after40;
  const CSysEeprom eeprom;
  EXPECT_EQ(Read(low), (Bytes{1, 2, 3}));
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
  faults.write = {.maxCount = 14, .callsUntilError = 1};  // a broken-off record is none
  EXPECT_EQ(eeprom.WriteHighBlock(Bytes{4, 5, 6, 7}.data(), 4), 2U);
  EXPECT_EQ(eeprom.ReadHighBlock(buffer.data(), 8), 3U);
  EXPECT_EQ(buffer, (Bytes{1, 2, 3, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
  faults = {};

  Write(high, {0xFE, 0xCA, 0xEF, 0xBE, 6, 0, 0, 0, 0, 0, 0, 0, 9, 9});  // its data is cut off
  EXPECT_EQ(eeprom.ReadHighBlock(buffer.data(), 8), 2U);
  Write(high, {0xFE, 0xCA, 0xEF, 0xBE, 255, 255, 255, 255, 255, 255, 255, 255, 9, 9});
  EXPECT_EQ(eeprom.ReadHighBlock(buffer.data(), 8), 0U);
  Write(high, {0xFF, 0xCA, 0xEF, 0xBE, 1, 0, 0, 0, 0, 0, 0, 0, 9, 9});
  EXPECT_EQ(eeprom.ReadHighBlock(buffer.data(), 8), 0U);
}

}  // namespace
