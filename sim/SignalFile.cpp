#include "sim/SignalFile.h"

#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "map/AudioMap.h"
#include "sim/BoardFolder.h"
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
constexpr std::uint32_t kAesLines = audio_map::kPairs;
constexpr auto kNothing = "none";  // for any input

std::string DefaultSignals() {
  std::ostringstream text;
  text
      << R"(# The signals on the board's inputs. A change of this file takes effect at once, also while the
# program runs.
#
#   sdi0 = <standard>[, st352 none | st352 <word>][, crc <errors per second>]
#          [, pair <0 to 7> <audio>]...
#
# The standard is a name or an id of the list below, or "none" for an input without a signal. A name
# that stands there more than once means the first one. The signal carries the standard's own
# SMPTE ST 352 payload identifier, unless the line has another one (as st352 0x2180C998) or none.
#
# An input without a line has nothing plugged in, but an empty file changes nothing. Of several lines
# for one input the last one counts. A line that isn't understood is named in log.txt and leaves its
# input as it is. Words are separated by blanks or tabs; small and capital letters are the same.
#
# Its 8 pairs of audio channels carry PCM unless the line says otherwise: none, pcm, or the bursts of
# dolby-e, ac-3, e-ac-3 or data <type>, which may tell the video line in which they start, as in
# "pair 0 dolby-e line 13". The AES3 lines, aes1 to aes8, carry the same.
#
#   aes1 = <audio>
#
#   ref1 = <standard>
#
# The two external references have the timing of a standard, or none.

)";
  for (const auto& [input, signal] : kDefaults) {
    text << input << " = " << signal << '\n';
  }
  for (const auto& [reference, standard] : kDefaultReferences) {
    text << reference << " = " << standard << '\n';
  }
  text << "\n#  id name                                   st352\n";
  for (const VideoStandardRow& row : kVideoStandards) {
    if (row.id != 0) {
      text << "# " << std::setw(3) << row.id << ' ' << std::left << std::setw(38)
           << row.standard.GetLinkName() << std::right << " 0x" << std::uppercase << std::hex
           << std::setfill('0') << std::setw(8) << row.standard.payloadId << std::dec
           << std::setfill(' ') << '\n';
    }
  }
  return text.str();
}

bool SameLetters(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// The text with one blank between its words.
std::string SingleSpaced(const std::string& text) {
  std::istringstream words(text);
  std::string spaced;
  for (std::string word; words >> word;) {
    spaced += (spaced.empty() ? "" : " ") + word;
  }
  return spaced;
}

int ParseStandard(const std::string& text) {
  const std::string name = SingleSpaced(text);
  if (SameLetters(name, kNothing)) {
    return 0;
  }
  for (const VideoStandardRow& row : kVideoStandards) {
    if (row.id != 0 &&
        (SameLetters(name, row.standard.name) || SameLetters(name, row.standard.GetLinkName()) ||
         name == std::to_string(row.id))) {
      return row.id;
    }
  }
  throw std::invalid_argument("no such standard");
}

// Cuts the first word off: the word, and what follows it.
std::pair<std::string, std::string> FirstWord(const std::string& text) {
  const std::size_t blank = text.find_first_of(" \t");
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
  if (SameLetters(word, "st352")) {
    const bool none = SameLetters(value, kNothing);
    signal.st352 = none ? std::nullopt : std::optional(ParseNumber(value));
  } else if (SameLetters(word, "crc")) {
    signal.crcErrorsPerSecond = ParseNumber(value);
  } else if (SameLetters(word, "pair")) {
    ParsePair(value, signal);
  } else {
    throw std::invalid_argument("neither st352 nor crc nor pair");
  }
}

}  // namespace

AudioPair ParseAudioPair(const std::string& text, std::uint32_t defaultLine) {
  auto [kind, rest] = FirstWord(text);
  if (kind.empty()) {
    throw std::invalid_argument("the audio is missing");
  }
  if (rest.empty() && SameLetters(kind, kNothing)) {
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
    if (!SameLetters(word, "line")) {
      throw std::invalid_argument("only a line may follow");
    }
    pair.line = ParseNumber(line);
    if (pair.line == 0 || pair.line > kLastLine) {
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
                       const PlugFunction& plug, const ReferenceFunction& refer,
                       const AesFunction& plugAes)
    : path_(std::move(path)), clock_(clock), log_(log) {
  for (std::uint32_t input = 0; input < kDefaults.size(); ++input) {
    inputs_.push_back({kDefaults[input].first, ParseSignal, [plug, input](const Content& content) {
                         plug(input, std::get<VideoSignal>(content));
                       }});
  }
  for (std::uint32_t input = 0; input < kDefaultReferences.size(); ++input) {
    inputs_.push_back(
        {kDefaultReferences[input].first, ParseStandard,
         [refer, input](const Content& content) { refer(input, std::get<int>(content)); }});
  }
  for (std::uint32_t line = 0; line < kAesLines; ++line) {
    inputs_.push_back(
        {"aes" + std::to_string(line + 1),
         [](const std::string& text) { return ParseAudioPair(text, 1); },
         [plugAes, line](const Content& content) { plugAes(line, std::get<AudioPair>(content)); }});
  }
  ProvideFile(path_, DefaultSignals());
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
  struct Line {
    bool stands = false;
    std::optional<Content> content{};  // if it is understood
  };
  std::vector<Line> lines(inputs_.size());
  const auto apply = [&](const std::string& key, const std::string& value) {
    const std::size_t index = _IndexOf(key);
    const bool again = std::exchange(lines[index], {.stands = true}).stands;
    lines[index].content = inputs_[index].parse(value);
    if (again) {
      throw std::invalid_argument("takes the place of a line above");
    }
  };
  const auto complain = [this](const std::string& complaint) { log_.Add(kWarning, complaint); };
  if (!ReadConfigFile(path_, apply, complain)) {
    return;
  }
  for (std::size_t index = 0; index < inputs_.size(); ++index) {
    Input& input = inputs_[index];
    const Line& line = lines[index];
    const auto content = line.stands ? line.content : input.parse(kNothing);
    if (content && content != std::exchange(input.plugged, content)) {
      input.plug(*content);
    }
  }
}

std::size_t SignalFile::_IndexOf(const std::string& key) const {
  for (std::size_t index = 0; index < inputs_.size(); ++index) {
    if (SameLetters(key, inputs_[index].key)) {
      return index;
    }
  }
  throw std::invalid_argument("no such input");
}

}  // namespace sim
