#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace sim {

/// The most cable equalisers, and cable drivers, that a board carries.
inline constexpr std::size_t kMaxCableChips = 5;

/// What is broken about an SPI device.
enum class SpiFault : std::uint8_t {
  kNone,
  kMissing,      ///< its node can't be opened
  kMode,         ///< this setting is refused
  kLsbFirst,     ///< this setting is refused
  kBitsPerWord,  ///< this setting is refused
  kTransfer,     ///< a transfer fails
  kShort,        ///< a transfer ends in its middle, with the count of the bytes that were moved
  kVanished,     ///< it opens, but is gone when it is used
};

/// How the simulated machine is set up and what of it is broken. A person edits it as the file
/// "board.conf" in the board's folder; a test sets the members.
struct Settings {
  /// Levels of the two strap pins: 0 or 1, or -1 for a line whose value can't be read.
  std::array<int, 2> straps{1, 1};
  bool strapChipMissing = false;
  bool strapLineBusy = false;

  SpiFault equaliserSpiFault = SpiFault::kNone;
  SpiFault driverSpiFault = SpiFault::kNone;

  bool memoryMissing = false;   ///< the memory device can't be opened
  bool mappingRefused = false;  ///< it opens, but doesn't map
  bool unmappingRefused = false;
  /// The register at this byte offset doesn't answer: a bus error.
  std::optional<std::uint32_t> busErrorAt;

  /// Write every register access to the file "trace.txt" in the board's folder.
  bool traceToFile = false;

  /// How many cable equalisers, and how many cable drivers, are fitted: what the straps say. A
  /// board whose straps say nothing carries the most.
  std::size_t CableChips() const;

  friend bool operator==(const Settings&, const Settings&) = default;
};

/// Reads settings from a file of lines "key = value", with '#' in front of comments; one that is
/// missing is written, with the default settings and what each one means. A line that is not
/// understood is named on standard error and left out. Throws std::system_error.
Settings ReadSettings(const std::string& path);

}  // namespace sim
