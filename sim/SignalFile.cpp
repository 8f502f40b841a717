#include "sim/SignalFile.h"

#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "sim/ConfigFile.h"

namespace sim {
namespace {

constexpr std::chrono::milliseconds kInterval{100};
constexpr int kWarning = 4;

constexpr std::array kDefaults{
    std::pair{"sdi0", "1920x1080p 59.94 A"},
    std::pair{"sdi1", "1920x1080i 50"},
    std::pair{"sdi2", "3840x2160p 50 12G"},
    std::pair{"sdi3", "none"},
};
constexpr std::array kDefaultReferences{
    std::pair{"ref1", "1920x1080i 50"},
    std::pair{"ref2", "none"},
};

// The 5-bit data types of bursts that have a name here (SMPTE ST 338).
constexpr std::array kBurstTypes{
    std::pair{"dolby-e", 28U},
    std::pair{"ac-3", 1U},
    std::pair{"e-ac-3", 16U},
};
constexpr std::uint32_t kLastBurstType = 31;
constexpr std::uint32_t kLastLine = 2047;  // of 11 bits (SMPTE ST 292)
constexpr std::uint32_t kAesLines = 8;

void WriteDefaultSignals(const std::string& path) {
  std::ofstream file(path);
  file
      << R"(# The signals on the board's inputs. A change of this file takes effect at once, also while the
# program runs.
#
#   sdi0 = <standard>[, st352 none | st352 <word>][, crc <errors per second>]
#          [, pair <0 to 7> <audio>]...
#
# The standard is a name or an id of the list below, or "none" for an input without a signal. A name
# that stands there more than once means the first one. The signal carries the standard's own
# SMPTE ST 352 payload identifier, unless the line has another one (as st352 0x2180C998) or none.
# A line that isn't understood is named in log.txt and leaves its input as it is.
#
# Its 8 pairs of audio channels carry PCM unless the line says otherwise: none, pcm, or the bursts of
# dolby-e, ac-3, e-ac-3 or data <type>, which may tell the video line in which they start, as in
# "pair 0 dolby-e line 13". The AES3 lines carry the same; they are "none" unless a line says
# otherwise.
#
#   aes1 = <audio>
#
#   ref1 = <standard>
#
# The two external references have the timing of a standard, or none.

)";
  for (const auto& [input, signal] : kDefaults) {
    file << input << " = " << signal << '\n';
  }
  for (const auto& [reference, standard] : kDefaultReferences) {
    file << reference << " = " << standard << '\n';
  }
  file << "\n#  id name                                   st352\n";
  for (const VideoStandardRow& row : kVideoStandards) {
    if (row.id != 0) {
      file << "# " << std::setw(3) << row.id << ' ' << std::left << std::setw(38)
           << row.standard.GetLinkName() << std::right << " 0x" << std::uppercase << std::hex
           << std::setfill('0') << std::setw(8) << row.standard.payloadId << std::dec
           << std::setfill(' ') << '\n';
    }
  }
}

bool SameLetters(const std::string& a, const std::string& b) {
  return strcasecmp(a.c_str(), b.c_str()) == 0;
}

std::uint32_t ParseNumber(const std::string& text) {
  char* end = nullptr;
  const unsigned long long number = std::strtoull(text.c_str(), &end, 0);
  if (text.empty() || text.front() < '0' || text.front() > '9' ||
      end != text.c_str() + text.size() || number > std::numeric_limits<std::uint32_t>::max()) {
    throw std::invalid_argument("not a number of 32 bits");
  }
  return static_cast<std::uint32_t>(number);
}

int ParseStandard(const std::string& text) {
  if (SameLetters(text, "none")) {
    return 0;
  }
  for (const VideoStandardRow& row : kVideoStandards) {
    if (row.id != 0 &&
        (SameLetters(text, row.standard.name) || SameLetters(text, row.standard.GetLinkName()) ||
         text == std::to_string(row.id))) {
      return row.id;
    }
  }
  throw std::invalid_argument("no such standard");
}

// Cuts the first word off: the word, and what follows it.
std::pair<std::string, std::string> FirstWord(const std::string& text) {
  const std::size_t blank = text.find(' ');
  if (blank == std::string::npos) {
    return {text, ""};
  }
  return {text.substr(0, blank), std::string(Trimmed(std::string_view(text).substr(blank)))};
}

void ParsePair(const std::string& text, VideoSignal& signal) {
  const auto [number, audio] = FirstWord(text);
  const std::uint32_t pair = ParseNumber(number);
  if (pair >= signal.audio.size()) {
    throw std::invalid_argument("no such pair");
  }
  signal.audio[pair] = ParseAudioPair(audio, signal.Standard().auxLines);
}

void ParseDetail(const std::string& text, VideoSignal& signal) {
  const auto [word, value] = FirstWord(text);
  if (word == "st352" && value == "none") {
    signal.st352.reset();
  } else if (word == "st352") {
    signal.st352 = ParseNumber(value);
  } else if (word == "crc") {
    signal.crcErrorsPerSecond = ParseNumber(value);
  } else if (word == "pair") {
    ParsePair(value, signal);
  } else {
    throw std::invalid_argument("neither st352 nor crc nor pair");
  }
}

}  // namespace

AudioPair ParseAudioPair(const std::string& text, std::uint32_t defaultLine) {
  auto [kind, rest] = FirstWord(text);
  if (rest.empty() && SameLetters(kind, "none")) {
    return {.present = false};
  }
  if (rest.empty() && SameLetters(kind, "pcm")) {
    return {};
  }
  AudioPair pair{.line = std::max(defaultLine, 1U)};
  const auto* known =
      std::find_if(kBurstTypes.begin(), kBurstTypes.end(),
                   [&kind = kind](const auto& burst) { return SameLetters(kind, burst.first); });
  if (known != kBurstTypes.end()) {
    pair.burstType = known->second;
  } else if (SameLetters(kind, "data")) {
    const auto [type, behind] = FirstWord(rest);
    pair.burstType = ParseNumber(type);
    rest = behind;
  } else {
    throw std::invalid_argument("no such audio");
  }
  if (!rest.empty()) {
    const auto [word, line] = FirstWord(rest);
    pair.line = ParseNumber(line);
    if (word != "line" || pair.line == 0 || pair.line > kLastLine) {
      throw std::invalid_argument("no such line");
    }
  }
  if (pair.burstType > kLastBurstType) {
    throw std::invalid_argument("no such type of data");
  }
  return pair;
}

VideoSignal ParseSignal(const std::string& text) {
  std::size_t comma = text.find(',');
  const int id = ParseStandard(std::string(Trimmed(std::string_view(text).substr(0, comma))));
  VideoSignal signal = id == 0 ? VideoSignal{} : SignalOf(id);
  while (comma != std::string::npos) {
    const std::size_t next = text.find(',', comma + 1);
    const std::string_view detail = std::string_view(text).substr(comma + 1, next - comma - 1);
    ParseDetail(std::string(Trimmed(detail)), signal);
    comma = next;
  }
  return signal;
}

SignalFile::SignalFile(std::string path, const SimulatedClock& clock, LogRecords& log,
                       PlugFunction plug, ReferenceFunction refer, AesFunction plugAes)
    : path_(std::move(path)),
      clock_(clock),
      log_(log),
      plug_(std::move(plug)),
      refer_(std::move(refer)),
      plugAes_(std::move(plugAes)) {
  if (!std::filesystem::exists(path_)) {
    WriteDefaultSignals(path_);
  }
  _Read();
}

void SignalFile::Poll() {
  if (clock_.Steady() - lookedAt_ < kInterval) {
    return;
  }
  if (_ReadStamp() != stamp_) {
    _Read();
  }
  lookedAt_ = clock_.Steady();
}

SignalFile::Stamp SignalFile::_ReadStamp() const {
  struct stat status {};
  if (stat(path_.c_str(), &status) != 0) {
    return {};
  }
  return {status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

// The stamp is taken first: what changes while the file is read is seen at the next look.
void SignalFile::_Read() {
  stamp_ = _ReadStamp();
  lookedAt_ = clock_.Steady();
  ReadConfigFile(
      path_, [this](const std::string& key, const std::string& value) { _Apply(key, value); },
      [this](const std::string& complaint) { log_.Add(kWarning, complaint); });
}

// An input whose line didn't change keeps its lock.
void SignalFile::_Apply(const std::string& key, const std::string& value) {
  for (std::uint32_t input = 0; input < kDefaults.size(); ++input) {
    if (key != kDefaults[input].first) {
      continue;
    }
    const VideoSignal signal = ParseSignal(value);
    if (signal != std::exchange(plugged_[key], signal)) {
      plug_(input, signal);
    }
    return;
  }
  for (std::uint32_t reference = 0; reference < kDefaultReferences.size(); ++reference) {
    if (key != kDefaultReferences[reference].first) {
      continue;
    }
    const int id = ParseStandard(value);
    if (id != std::exchange(references_[key], id)) {
      refer_(reference, id);
    }
    return;
  }
  for (std::uint32_t line = 0; line < kAesLines; ++line) {
    if (key != "aes" + std::to_string(line + 1)) {
      continue;
    }
    const AudioPair audio = ParseAudioPair(value, 1);
    const auto known = aesLines_.find(key);
    if (known == aesLines_.end() || known->second != audio) {
      aesLines_[key] = audio;
      plugAes_(line, audio);
    }
    return;
  }
  throw std::invalid_argument("no such input");
}

}  // namespace sim
