#pragma once

#include <sys/types.h>

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// The board's inventory: variant, hardware revision, serial number and 64 MAC addresses, in a
/// small non-volatile memory that the machine presents as a file.
///
/// The image is loaded and repaired once, at construction, and kept in memory; what changes it
/// stores the changed block. The file holds, little-endian, strings with a terminating zero:
///
///     offset size
///          0    4  inventory signature 0xCAFA0002    (inventory block: 76 bytes from 0)
///          4    8  reserved, 0
///         12   16  serial number
///         28   32  hardware revision
///         60   16  board variant
///         76    4  MAC signature 0xCAFE0002          (MAC block: 388 bytes from 76)
///         80  384  64 addresses of 6 bytes, first octet first
///        464 3076  free
///
/// A file that can't be read or written is logged and otherwise goes unnoticed: the program works
/// on with what is in memory. A store that breaks off with an error puts the old bytes back. For as
/// long as the file has not been read, nothing is written over what it may hold: each store first
/// tries to read it again. Threads: all operations belong to one thread.
class CSysEeprom {
 public:
  static constexpr int kMacCount = 64;
  static constexpr std::size_t kMacBytes = 6;

  /// Loads the image; what the file doesn't hold is zero. A block whose signature is wrong is
  /// logged at Critical, set to its defaults and stored; each block by itself. If reading fails
  /// with an error, the defaults stand in memory alone.
  CSysEeprom();
  CSysEeprom(const CSysEeprom&) = delete;
  CSysEeprom& operator=(const CSysEeprom&) = delete;
  virtual ~CSysEeprom() = default;

  // The texts. Each must be shorter than its field: below 16 characters for the variant and the
  // serial number, below 32 for the revision. Gives 1 if it was accepted (whether or not it could
  // be stored), 0 after a Critical line if it is too long. Behind the text's zero its field keeps
  // what it held.
  int WriteBoardVariant(const std::string& text);
  int WriteHardwareRev(const std::string& text);
  int WriteSerialNumber(const std::string& text);

  // Each logs the text at Info and gives it, as held in memory.
  std::string ReadBoardVariant() const;
  std::string ReadHardwareRev() const;
  std::string ReadSerialNumber() const;

  /// The address of an index from 0 to 63 as "0a:1b:2c:3d:4e:5f". Any other index is logged at
  /// Critical and gives "ERROR".
  std::string ReadMac(int index) const;
  /// The same as a 48-bit number with the first octet on top; 0 after the Critical line.
  std::uint64_t ReadMacInt(int index) const;
  /// Stores an address. Gives 0, with nothing changed, for an index outside 0 to 63 or a text that
  /// ParseMac refuses; else 1.
  int WriteMac(int index, const std::string& text);
  /// Parses six hexadecimal numbers with colons between them into the 6 bytes at `mac`; several
  /// colons in a row act as one, and of each number the low 8 bits count. Gives 1, or 0 with `mac`
  /// left alone.
  static int ParseMac(const std::string& text, std::uint8_t* mac);

  /// Zeroes the whole image and stores it. The blocks are defaulted at the next start.
  void Erase();

  /// Reads the data of the free-form record in the second file. Gives the number of bytes: 0
  /// without a valid record or if it is longer than `maxLength` bytes, and less than its length if
  /// the file ends before it.
  std::size_t ReadHighBlock(std::uint8_t* buffer, std::size_t maxLength);
  /// Replaces the record. Gives the number of data bytes that were written, or -1 (as std::size_t)
  /// if the file can't be opened. If it is less than `length`, the old record was put back as far
  /// as that went.
  std::size_t WriteHighBlock(const std::uint8_t* buffer, std::size_t length);

 private:
  // A range of bytes of the image.
  struct Range {
    std::size_t offset;
    std::size_t size;
  };

  static constexpr std::size_t kImageBytes = 3540;
  static constexpr Range kInventoryBlock{0, 76};
  static constexpr Range kSerialNumber{12, 16};
  static constexpr Range kHardwareRev{28, 32};
  static constexpr Range kBoardVariant{60, 16};
  static constexpr Range kMacBlock{76, 388};
  static constexpr std::size_t kMacTable = 80;
  static constexpr Range kFreePart{464, 3076};

  using Image = std::array<std::uint8_t, kImageBytes>;
  struct Reading {
    Image image{};
    ssize_t count = 0;  // as _ReadLow gives it
    int error = 0;      // errno behind it
  };

  // The log names it. NOLINTNEXTLINE(readability-identifier-naming)
  void Initialize(const Reading& reading);
  Reading _Load() const;
  void _LoadAgain(const Range& range);
  void _DefaultInventory();
  void _DefaultMacs();
  ssize_t _ReadLow(std::uint8_t* buffer, std::size_t offset, std::size_t length) const;
  ssize_t _WriteLow(const std::uint8_t* buffer, std::size_t offset, std::size_t length) const;
  void _Store(const Range& range) const;
  // Makes an operator's change and stores the range around it.
  void _Change(std::size_t offset, const std::vector<std::uint8_t>& bytes, const Range& range);
  void _Put(std::size_t offset, const std::vector<std::uint8_t>& bytes);

  std::uint32_t _Signature(const Range& block) const;
  void _SetSignature(const Range& block, std::uint32_t signature);
  std::string _Text(const Range& field) const;
  std::span<const std::uint8_t, kMacBytes> _Mac(int index) const;

  const std::string lowPath_;
  const std::string highPath_;
  Image image_{};
  bool loaded_ = false;                // the image has been read from the file
  std::bitset<kImageBytes> unstored_;  // bytes that were changed before that
};
