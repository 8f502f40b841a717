#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

#include "sim/LogRecords.h"
#include "sim/SimulatedClock.h"
#include "sim/VideoSignal.h"

namespace sim {

/// Reads a signal as a person writes it, "<standard>[, st352 <word> | st352 none][, crc <errors per
/// second>][, pair <0 to 7> <audio>]...", where the standard is its id, its name, its name with its
/// link ("... Link 3") or "none". A name that several rows have means the first of them. Words are
/// separated by blanks or tabs; small and capital letters are the same. Numbers are decimal, or
/// hexadecimal behind "0x". Throws std::invalid_argument.
VideoSignal ParseSignal(const std::string& text);

/// Reads what a pair carries, "pcm", "none", or a kind of burst with the line in which it starts:
/// "dolby-e | ac-3 | e-ac-3 | data <type>" and "[line <number>]", `defaultLine` without it. Words
/// and numbers are as in a signal. Throws std::invalid_argument.
AudioPair ParseAudioPair(const std::string& text, std::uint32_t defaultLine);

/// The file in which a person plugs signals into the board's inputs, "sdi0 = <signal>" to "sdi3 =
/// ...", AES3 lines, "aes1 = <audio>" to "aes8 = ...", and references, "ref1 = <standard>" and
/// "ref2 = ...", also while the program runs. What it says is all that is plugged in: an input
/// without a line has nothing. A line that isn't understood leaves its input as it is, and of
/// several lines for one input the last one counts; each such line becomes a record at Warning. Not
/// thread-safe: the board calls it with its lock held.
class SignalFile {
 public:
  using PlugFunction = std::function<void(std::uint32_t input, const VideoSignal& signal)>;
  /// `reference` counts from 0; the id is 0 for a reference input without a signal.
  using ReferenceFunction = std::function<void(std::uint32_t reference, int standardId)>;
  /// `line` counts from 0.
  using AesFunction = std::function<void(std::uint32_t line, const AudioPair& audio)>;

  /// Writes the file if it is missing, and plugs what it says. `clock` and `log` are not owned.
  /// Throws std::system_error if the file can't be had.
  SignalFile(std::string path, const SimulatedClock& clock, LogRecords& log,
             const PlugFunction& plug, const ReferenceFunction& refer, const AesFunction& plugAes);

  /// Plugs what changed in the file; an input that has what its line says keeps its lock. A file
  /// that is missing or empty, as while it is being saved, changes nothing. Looks at the file every
  /// 100 ms at most.
  void Poll();

 private:
  // What tells one state of the file from another: node, size, and time of change in s and ns.
  using Stamp = std::tuple<std::uint64_t, std::int64_t, std::int64_t, std::int64_t>;
  // A signal, a reference's standard or the audio of an AES3 line.
  using Content = std::variant<VideoSignal, int, AudioPair>;
  struct Input {
    std::string key;
    std::function<Content(const std::string& text)> parse;
    std::function<void(const Content& content)> plug;
    std::optional<Content> plugged{};  // by this file; nothing yet if its line wasn't understood
  };

  Stamp _ReadStamp() const;
  void _Read();
  std::size_t _IndexOf(const std::string& key) const;

  const std::string path_;
  const SimulatedClock& clock_;
  LogRecords& log_;
  std::chrono::steady_clock::time_point lookedAt_;
  Stamp stamp_;
  std::vector<Input> inputs_;
};

}  // namespace sim
