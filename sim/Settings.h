#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace sim {

/// How the simulated machine is set up and what of it is broken. A person edits it as the file
/// "board.conf" in the board's folder; a test sets the members.
struct Settings {
  /// Levels of the two strap pins: 0 or 1, or -1 for a line whose value can't be read.
  std::array<int, 2> straps{1, 1};
  bool strapChipMissing = false;
  bool strapLineBusy = false;

  bool memoryMissing = false;   ///< the memory device can't be opened
  bool mappingRefused = false;  ///< it opens, but doesn't map
  bool unmappingRefused = false;
  /// The register at this byte offset doesn't answer: a bus error.
  std::optional<std::uint32_t> busErrorAt;

  /// Write every register access to the file "trace.txt" in the board's folder.
  bool traceToFile = false;
};

/// Reads settings from a file of lines "key = value", with '#' in front of comments. A line that is
/// not understood is named on standard error and left out.
Settings ReadSettings(const std::string& path);

/// Writes a file with the default settings and what each one means.
void WriteDefaultSettings(const std::string& path);

}  // namespace sim
