#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <tuple>

#include "sim/LogRecords.h"
#include "sim/SimulatedClock.h"
#include "sim/VideoSignal.h"

namespace sim {

/// Reads a signal as a person writes it, "<standard>[, st352 <word> | st352 none][, crc <errors per
/// second>][, pair <0 to 7> <audio>]...", where the standard is its id, its name, its name with its
/// link ("... Link 3") or "none". A name that several rows have means the first of them. Small and
/// capital letters are the same. Throws std::invalid_argument.
VideoSignal ParseSignal(const std::string& text);

/// Reads what a pair carries, "pcm", "none", or a kind of burst with the line in which it starts:
/// "dolby-e | ac-3 | e-ac-3 | data <type>" and "[line <number>]", `defaultLine` without it. Throws
/// std::invalid_argument.
AudioPair ParseAudioPair(const std::string& text, std::uint32_t defaultLine);

/// The file in which a person plugs signals into the board's inputs, "sdi0 = <signal>" to "sdi3 =
/// ...", AES3 lines, "aes1 = <audio>" to "aes8 = ...", and references, "ref1 = <standard>" and
/// "ref2 = ...", also while the program runs. Not thread-safe: the board calls it with its lock
/// held.
class SignalFile {
 public:
  using PlugFunction = std::function<void(std::uint32_t input, const VideoSignal& signal)>;
  /// `reference` counts from 0; the id is 0 for a reference input without a signal.
  using ReferenceFunction = std::function<void(std::uint32_t reference, int standardId)>;
  /// `line` counts from 0.
  using AesFunction = std::function<void(std::uint32_t line, const AudioPair& audio)>;

  /// Writes the file if it is missing, and plugs what it says. A line that isn't understood becomes
  /// a record at Warning in `log` and leaves its input as it is.
  SignalFile(std::string path, const SimulatedClock& clock, LogRecords& log, PlugFunction plug,
             ReferenceFunction refer, AesFunction plugAes);

  /// Plugs what changed in the file. Looks at the file every 100 ms at most.
  void Poll();

 private:
  // What tells one state of the file from another: node, size, and time of change in s and ns.
  using Stamp = std::tuple<std::uint64_t, std::int64_t, std::int64_t, std::int64_t>;

  Stamp _ReadStamp() const;
  void _Read();
  void _Apply(const std::string& key, const std::string& value);

  const std::string path_;
  const SimulatedClock& clock_;
  LogRecords& log_;
  const PlugFunction plug_;
  const ReferenceFunction refer_;
  const AesFunction plugAes_;
  std::chrono::steady_clock::time_point lookedAt_;
  Stamp stamp_;
  std::map<std::string, VideoSignal> plugged_;  // by key of an input
  std::map<std::string, int> references_;       // by key of a reference
  std::map<std::string, AudioPair> aesLines_;   // by key of an AES3 line
};

}  // namespace sim
