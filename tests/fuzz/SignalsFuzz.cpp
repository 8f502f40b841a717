// Any bytes as the simulated board's signals.conf: what it says at first, then, and so on, with a
// '%' between.

#include <algorithm>
#include <filesystem>
#include <map>
#include <variant>

#include "fuzz/Fuzz.h"
#include "sim/SignalFile.h"

namespace {

constexpr auto kFile = "signals.conf";

sim::SimulatedClock theClock;
sim::LogRecords theLog;

void CheckAudio(const sim::AudioPair& audio) {
  Require(audio.burstType <= 31 && audio.line <= 2047, "a burst has a type and a line");
  Require(audio.present || audio.line == 0, "what isn't there has no bursts");
}

// A signal file and what it has plugged in.
struct Inputs {
  using Content = std::variant<sim::VideoSignal, int, sim::AudioPair>;
  std::map<std::string, Content> plugged;

  void Plug(const std::string& input, const Content& content) {
    const auto before = plugged.find(input);
    Require(before == plugged.end() || before->second != content, "what stays keeps its lock");
    plugged[input] = content;
    if (const auto* audio = std::get_if<sim::AudioPair>(&content)) {
      CheckAudio(*audio);
    }
    if (const auto* signal = std::get_if<sim::VideoSignal>(&content)) {
      Require(signal->standardId == 0 || signal->IsPresent(), "a standard is one of the table");
      std::for_each(signal->audio.begin(), signal->audio.end(), CheckAudio);
    }
  }

  sim::SignalFile file{kFile,
                       theClock,
                       theLog,
                       [this](auto input, auto& it) { Plug("sdi" + std::to_string(input), it); },
                       [this](auto input, int it) { Plug("ref" + std::to_string(input), it); },
                       [this](auto input, auto& it) { Plug("aes" + std::to_string(input), it); }};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  theClock.TakeOver();
  theLog.Clear();
  std::vector<std::string> states = Split(std::string(data, data + size), '%');
  states.resize(std::min<std::size_t>(states.size(), 4));  // more take time and show no more
  WriteFile(kFile, states.front());
  Inputs running;
  for (const std::string& state : states) {
    auto expected = running.plugged;
    WriteFile("saved", state);
    std::filesystem::rename("saved", kFile);  // as an editor does
    theClock.Advance(std::chrono::milliseconds(100));
    running.file.Poll();
    for (const auto& [input, content] : Inputs().plugged) {
      expected[input] = content;
    }
    Require(running.plugged == expected, "a change plugs in what a start with it plugs in");
  }
  for (const sim::LogRecord& record : theLog.All()) {
    Require(record.text.starts_with("signals.conf:"), "a complaint names the file");
  }
  return 0;
}
