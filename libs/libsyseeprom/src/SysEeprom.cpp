#include "SysEeprom.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "log/Log.h"
#include "platform/Clock.h"
#include "platform/Storage.h"

namespace {

constexpr const char* kLowFile = "/usr/orvane/lib/eeprom-lo";
constexpr const char* kHighFile = "/usr/orvane/lib/eeprom-hi";

constexpr std::uint32_t kInventorySignature = 0xCAFA0002;
constexpr std::uint32_t kMacSignature = 0xCAFE0002;

// The record of the second file: magic (4 bytes), length of the data (8 bytes), data;
// little-endian.
constexpr std::uint32_t kHighMagic = 0xBEEFCAFE;
constexpr std::size_t kHighHeaderBytes = 12;

// The results of CSysEeprom::_ReadLow that are no count.
constexpr ssize_t kNotOpened = -1;
constexpr ssize_t kNotRead = -2;

// Repeats a system call for as long as a signal interrupts it.
template <typename Call>
auto RetryInterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

struct Moved {
  std::size_t bytes;
  int error;  // 0 if nothing failed
};

// Repeats `call`, which moves bytes from one position to the end or fewer, until all are moved, it
// moves none, or it fails.
template <typename Call>
Moved MoveAll(std::size_t length, Call call) {
  std::size_t done = 0;
  while (done < length) {
    const ssize_t count = RetryInterrupted([&] { return call(done, length - done); });
    if (count <= 0) {
      return {done, count < 0 ? errno : 0};
    }
    done += static_cast<std::size_t>(count);
  }
  return {done, 0};
}

// Error lines of a store that is left out, since there is no file, or since nothing is known of the
// bytes that would be lost.
void LogNotOpened(std::size_t offset, std::size_t length) {
  LogErrorF("EEPROM Write error! Tried to write to 0x%08X, %zu bytes",
            static_cast<unsigned>(offset), length);
}

void LogUnreadable(std::size_t length, int error) {
  LogErrorF("EEPROM write error! 0 of %zu bytes written, what the file holds can't be read: %s",
            length, std::strerror(error));
}

// A descriptor that is closed at the end of its scope. Descriptor 0 is standard input's place and
// counts as a failed open here.
class File {
 public:
  explicit File(const std::string& path)
      : descriptor_(RetryInterrupted([&] { return open(path.c_str(), O_RDWR | O_CLOEXEC); })) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (descriptor_ >= 0) {
      (void)close(descriptor_);
    }
  }

  bool IsOpen() const { return descriptor_ >= 1; }
  bool SeekTo(std::size_t offset) const {
    return lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) == static_cast<off_t>(offset);
  }

  // Reads until `length` bytes are there or the file ends. -1, and errno, on an error.
  ssize_t Read(std::uint8_t* buffer, std::size_t length) const {
    const Moved moved = MoveAll(length, [&](std::size_t done, std::size_t rest) {
      return read(descriptor_, buffer + done, rest);
    });
    errno = moved.error;
    return moved.error != 0 ? -1 : static_cast<ssize_t>(moved.bytes);
  }

  // Writes all of it at `position`, where the descriptor stands, down to the medium. If that breaks
  // off, the old bytes are put back as far as that goes. Gives what was written before that; any
  // failure is one Error line.
  std::size_t Replace(off_t position, const std::uint8_t* buffer, std::size_t length) const {
    struct stat before {};
    std::vector<std::uint8_t> old(length);
    const Moved held = MoveAll(length, [&](std::size_t done, std::size_t rest) {
      return pread(descriptor_, old.data() + done, rest, position + static_cast<off_t>(done));
    });
    if (held.error != 0 || fstat(descriptor_, &before) != 0) {
      LogUnreadable(length, held.error != 0 ? held.error : errno);
      return 0;
    }
    const Moved written = MoveAll(length, [&](std::size_t done, std::size_t rest) {
      return write(descriptor_, buffer + done, rest);
    });
    if (written.bytes == length) {
      if (const int error = _Synchronise(); error != 0) {
        LogErrorF("EEPROM write error! %zu bytes written, which a power cut may undo: %s", length,
                  std::strerror(error));
      }
      return length;
    }
    old.resize(held.bytes);
    const bool standsAgain = _PutBack(position, old, held.bytes < length ? &before : nullptr);
    LogErrorF("EEPROM write error! %zu of %zu bytes written: %s; the old bytes %s", written.bytes,
              length, std::strerror(written.error != 0 ? written.error : ENOSPC),
              standsAgain ? "stand again" : "could not be put back");
    return written.bytes;
  }

 private:
  // Gives the error number, or 0. What has nothing to synchronise is in order as it is.
  int _Synchronise() const {
    if (RetryInterrupted([&] { return fdatasync(descriptor_); }) == 0) {
      return 0;
    }
    return errno == EINVAL || errno == ENOTSUP ? 0 : errno;
  }

  // All of the old bytes, since a device that fails may have changed more than it counted. A plain
  // file gets its size `before` again; null if it can't have grown.
  bool _PutBack(off_t position, const std::vector<std::uint8_t>& old,
                const struct stat* before) const {
    const Moved back = MoveAll(old.size(), [&](std::size_t done, std::size_t rest) {
      return pwrite(descriptor_, old.data() + done, rest, position + static_cast<off_t>(done));
    });
    const bool sizeStands =
        before == nullptr || !S_ISREG(before->st_mode) ||
        RetryInterrupted([&] { return ftruncate(descriptor_, before->st_size); }) == 0;
    return _Synchronise() == 0 && sizeStands && back.bytes == old.size();
  }

  const int descriptor_;
};

template <typename Unsigned>
Unsigned LoadLittleEndian(const std::uint8_t* bytes) {
  Unsigned value = 0;
  for (std::size_t i = 0; i < sizeof value; ++i) {
    value |= static_cast<Unsigned>(bytes[i]) << (8 * i);
  }
  return value;
}

template <typename Unsigned>
void StoreLittleEndian(std::uint8_t* bytes, Unsigned value) {
  for (std::size_t i = 0; i < sizeof value; ++i) {
    bytes[i] = static_cast<std::uint8_t>(value >> (8 * i));
  }
}

// A locally administered unicast address (IEEE 802: the first octet's second bit is set and its
// lowest is not) with a last octet of 0, made of the clock's nanoseconds.
std::uint64_t DefaultMacBase() {
  std::uint64_t base = static_cast<std::uint64_t>(platform::RealTime().tv_nsec) << 32;
  base |= static_cast<std::uint32_t>(platform::RealTime().tv_nsec);
  base &= 0xFFFFFFFFFF00;
  base &= 0xFFFFF0FFFFFFFFFF;
  return base | 0x0A0000000000;
}

// A text as it stands in its field.
std::vector<std::uint8_t> WithZero(const std::string& text) {
  std::vector<std::uint8_t> field(text.begin(), text.end());
  field.push_back(0);
  return field;
}

// Pieces between colons; empty ones don't count.
std::vector<std::string> SplitAtColons(const std::string& text) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t end = std::min(text.find(':', start), text.size());
    if (end > start) {
      pieces.push_back(text.substr(start, end - start));
    }
    start = end + 1;
  }
  return pieces;
}

}  // namespace

CSysEeprom::CSysEeprom()
    : lowPath_(platform::StoragePath(kLowFile)), highPath_(platform::StoragePath(kHighFile)) {
  Initialize(_Load());
}

void CSysEeprom::Initialize(const Reading& reading) {
  image_ = reading.image;
  loaded_ = reading.count >= 0;
  // Without a file the stores are tried, and log that it is missing.
  const bool mayStore = loaded_ || reading.error == ENOENT;
  if (!mayStore) {
    LOG_ERROR("The inventory can't be read, its defaults stand in memory: %s",
              std::strerror(reading.error));
  }
  if (_Signature(kInventoryBlock) != kInventorySignature) {
    LOG_CRITICAL(
        "Inventory Signature mismatch. Defaulting Inventory. Expected: 0x%08X and read 0x%08X",
        kInventorySignature, _Signature(kInventoryBlock));
    _DefaultInventory();
    if (mayStore) {
      _Store(kInventoryBlock);
    }
  }
  if (_Signature(kMacBlock) != kMacSignature) {
    LOG_CRITICAL("MAC addresses Signature mismatch. Defaulting. Expected: 0x%08X and read 0x%08X",
                 kMacSignature, _Signature(kMacBlock));
    _DefaultMacs();
    if (mayStore) {
      _Store(kMacBlock);
    }
  }
}

// Of a file that can't be read to its end nothing counts.
CSysEeprom::Reading CSysEeprom::_Load() const {
  Reading reading;
  errno = 0;
  reading.count = _ReadLow(reading.image.data(), 0, reading.image.size());
  reading.error = errno;
  if (reading.count < 0) {
    reading.image.fill(0);
  }
  return reading;
}

// For as long as the file has not been read, it may hold better than the defaults in memory. Once
// it can be read, what it holds counts, and over it the changes that have waited for that.
void CSysEeprom::_LoadAgain(const Range& range) {
  const Reading reading = _Load();
  if (reading.count == kNotOpened) {
    LogNotOpened(range.offset, range.size);
    return;
  }
  if (reading.count == kNotRead) {
    LogUnreadable(range.size, reading.error);
    return;
  }
  const Image changes = image_;
  Initialize(reading);
  for (const Range& part : {kInventoryBlock, kMacBlock, kFreePart}) {
    bool isChanged = false;
    for (std::size_t i = part.offset; i < part.offset + part.size; ++i) {
      if (unstored_[i]) {
        image_[i] = changes[i];
        isChanged = true;
      }
    }
    if (isChanged) {
      _Store(part);
    }
  }
}

void CSysEeprom::_Change(std::size_t offset, const std::vector<std::uint8_t>& bytes,
                         const Range& range) {
  if (!loaded_) {
    _LoadAgain(range);
  }
  _Put(offset, bytes);
  if (loaded_) {
    _Store(range);
    return;
  }
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    unstored_.set(offset + i);
  }
}

void CSysEeprom::_DefaultInventory() {
  std::fill_n(image_.begin() + kInventoryBlock.offset, kInventoryBlock.size, std::uint8_t{0});
  _SetSignature(kInventoryBlock, kInventorySignature);
  _Put(kSerialNumber.offset, WithZero("000001"));
  _Put(kHardwareRev.offset, WithZero("--"));
  _Put(kBoardVariant.offset, WithZero("--"));
}

void CSysEeprom::_DefaultMacs() {
  std::fill_n(image_.begin() + kMacBlock.offset, kMacBlock.size, std::uint8_t{0});
  _SetSignature(kMacBlock, kMacSignature);
  const std::uint64_t base = DefaultMacBase();
  auto octet = image_.begin() + kMacTable;
  for (std::uint64_t i = 0; i < kMacCount; ++i) {
    for (int shift = 40; shift >= 0; shift -= 8) {
      *octet++ = static_cast<std::uint8_t>((base + i) >> shift);
    }
  }
}

ssize_t CSysEeprom::_ReadLow(std::uint8_t* buffer, std::size_t offset, std::size_t length) const {
  const File file(lowPath_);
  if (!file.IsOpen()) {
    return kNotOpened;
  }
  if (!file.SeekTo(offset)) {
    LogErrorF("EEPROM read error! Tried to lseek to 0x%08X", static_cast<unsigned>(offset));
  }
  const ssize_t count = file.Read(buffer, length);
  return count < 0 ? kNotRead : count;
}

ssize_t CSysEeprom::_WriteLow(const std::uint8_t* buffer, std::size_t offset,
                              std::size_t length) const {
  const File file(lowPath_);
  if (!file.IsOpen()) {
    LogNotOpened(offset, length);
    return -1;
  }
  LogInfoF("EEPROM Write at 0x%08X, %zu bytes", static_cast<unsigned>(offset), length);
  off_t position = static_cast<off_t>(offset);
  if (!file.SeekTo(offset)) {
    LogErrorF("EEPROM read error! Tried to lseek to 0x%08x", static_cast<unsigned>(offset));
    position = 0;  // where the file was opened
  }
  return static_cast<ssize_t>(file.Replace(position, buffer, length));
}

void CSysEeprom::_Store(const Range& range) const {
  (void)_WriteLow(image_.data() + range.offset, range.offset, range.size);  // it logs a failure
}

std::uint32_t CSysEeprom::_Signature(const Range& block) const {
  return LoadLittleEndian<std::uint32_t>(image_.data() + block.offset);
}

void CSysEeprom::_SetSignature(const Range& block, std::uint32_t signature) {
  StoreLittleEndian(image_.data() + block.offset, signature);
}

void CSysEeprom::_Put(std::size_t offset, const std::vector<std::uint8_t>& bytes) {
  std::copy(bytes.begin(), bytes.end(), image_.begin() + static_cast<std::ptrdiff_t>(offset));
}

std::string CSysEeprom::_Text(const Range& field) const {
  const auto start = image_.begin() + static_cast<std::ptrdiff_t>(field.offset);
  const auto behind = start + static_cast<std::ptrdiff_t>(field.size);
  return {start, std::find(start, behind, std::uint8_t{0})};
}

int CSysEeprom::WriteBoardVariant(const std::string& text) {
  if (text.size() >= kBoardVariant.size) {
    LOG_CRITICAL(
        "Board Variant number has too many characters. It must be less than 16 character including "
        "the zero delimiter");
    return 0;
  }
  _Change(kBoardVariant.offset, WithZero(text), kInventoryBlock);
  return 1;
}

int CSysEeprom::WriteHardwareRev(const std::string& text) {
  if (text.size() >= kHardwareRev.size) {
    LOG_CRITICAL(
        "Hardware revision number has too many characters. It must be less than 32 character "
        "including the zero delimiter");
    return 0;
  }
  LOG_INFO("Writing hardware revision to EEPROM");
  _Change(kHardwareRev.offset, WithZero(text), kInventoryBlock);
  return 1;
}

int CSysEeprom::WriteSerialNumber(const std::string& text) {
  if (text.size() >= kSerialNumber.size) {
    LOG_CRITICAL(
        "Serial number has too many characters. It must be less than 16 character including the "
        "zero delimiter");
    return 0;
  }
  LOG_INFO("Writing serial number (%s) to EEPROM", text.c_str());
  _Change(kSerialNumber.offset, WithZero(text), kInventoryBlock);
  return 1;
}

std::string CSysEeprom::ReadBoardVariant() const {
  std::string text = _Text(kBoardVariant);
  LOG_INFO("VARIANT: %s\n", text.c_str());
  return text;
}

std::string CSysEeprom::ReadHardwareRev() const {
  std::string text = _Text(kHardwareRev);
  LOG_INFO("REVISION: %s\n", text.c_str());
  return text;
}

std::string CSysEeprom::ReadSerialNumber() const {
  std::string text = _Text(kSerialNumber);
  LOG_INFO("SN: %s\n", text.c_str());
  return text;
}

std::span<const std::uint8_t, CSysEeprom::kMacBytes> CSysEeprom::_Mac(int index) const {
  return std::span<const std::uint8_t, kMacBytes>(
      image_.data() + kMacTable + kMacBytes * static_cast<std::size_t>(index), kMacBytes);
}

std::string CSysEeprom::ReadMac(int index) const {
  if (index < 0 || index >= kMacCount) {
    LOG_CRITICAL("Failed to get MAC address. Index out of range");
    return "ERROR";
  }
  const auto mac = _Mac(index);
  return FormatMessage("%02x:%02x:%02x:%02x:%02x:%02x", unsigned{mac[0]}, unsigned{mac[1]},
                       unsigned{mac[2]}, unsigned{mac[3]}, unsigned{mac[4]}, unsigned{mac[5]});
}

std::uint64_t CSysEeprom::ReadMacInt(int index) const {
  if (index < 0 || index >= kMacCount) {
    LOG_CRITICAL("Failed to get MAC address. Index out of range");
    return 0;
  }
  std::uint64_t value = 0;
  for (const std::uint8_t octet : _Mac(index)) {
    value = value << 8 | octet;
  }
  return value;
}

int CSysEeprom::WriteMac(int index, const std::string& text) {
  std::array<std::uint8_t, kMacBytes> mac{};
  if (index < 0 || index >= kMacCount || ParseMac(text, mac.data()) == 0) {
    return 0;
  }
  LOG_INFO("Writing to EEPROM MAC index %d %02X:%02X:%02X:%02X:%02X:%02X", index, unsigned{mac[0]},
           unsigned{mac[1]}, unsigned{mac[2]}, unsigned{mac[3]}, unsigned{mac[4]},
           unsigned{mac[5]});
  const Range entry{kMacTable + kMacBytes * static_cast<std::size_t>(index), kMacBytes};
  _Change(entry.offset, {mac.begin(), mac.end()}, entry);
  return 1;
}

int CSysEeprom::ParseMac(const std::string& text, std::uint8_t* mac) {
  const std::vector<std::string> pieces = SplitAtColons(text);
  if (pieces.size() != kMacBytes) {
    return 0;
  }
  std::array<std::uint8_t, kMacBytes> parsed{};
  for (std::size_t i = 0; i < kMacBytes; ++i) {
    const char* const digits = pieces[i].c_str();
    char* end = nullptr;
    const unsigned long value = std::strtoul(digits, &end, 16);
    if (end == digits) {
      return 0;
    }
    parsed[i] = static_cast<std::uint8_t>(value);
  }
  std::copy(parsed.begin(), parsed.end(), mac);
  return 1;
}

void CSysEeprom::Erase() {
  _Change(0, std::vector<std::uint8_t>(kImageBytes), {0, kImageBytes});
}

std::size_t CSysEeprom::ReadHighBlock(std::uint8_t* buffer, std::size_t maxLength) {
  const File file(highPath_);
  std::array<std::uint8_t, kHighHeaderBytes> header{};
  if (!file.IsOpen() ||
      file.Read(header.data(), header.size()) != static_cast<ssize_t>(header.size())) {
    return 0;
  }
  const auto length = LoadLittleEndian<std::uint64_t>(header.data() + sizeof kHighMagic);
  if (LoadLittleEndian<std::uint32_t>(header.data()) != kHighMagic || length > maxLength) {
    return 0;
  }
  return static_cast<std::size_t>(
      std::max<ssize_t>(file.Read(buffer, static_cast<std::size_t>(length)), 0));
}

std::size_t CSysEeprom::WriteHighBlock(const std::uint8_t* buffer, std::size_t length) {
  const File file(highPath_);
  if (!file.IsOpen()) {
    return static_cast<std::size_t>(-1);
  }
  std::vector<std::uint8_t> record(kHighHeaderBytes);
  StoreLittleEndian(record.data(), kHighMagic);
  StoreLittleEndian(record.data() + sizeof kHighMagic, std::uint64_t{length});
  record.insert(record.end(), buffer, buffer + length);
  const std::size_t written = file.Replace(0, record.data(), record.size());
  return written - std::min(written, kHighHeaderBytes);
}
