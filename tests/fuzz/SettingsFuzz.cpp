// Any bytes as the simulated board's board.conf.

#include <iostream>
#include <set>
#include <sstream>

#include "fuzz/Fuzz.h"
#include "sim/RegisterFile.h"
#include "sim/Settings.h"

namespace {

// Reads settings from a text, and gives the numbers of the lines that were complained about.
std::set<std::size_t> Read(const std::string& content, sim::Settings& settings) {
  std::ostringstream complaints;
  std::streambuf* const usual = std::cerr.rdbuf(complaints.rdbuf());
  WriteFile("board.conf", content);
  settings = sim::ReadSettings("board.conf");
  std::cerr.rdbuf(usual);
  std::set<std::size_t> numbers;
  for (const std::string& complaint : Split(complaints.str(), '\n')) {
    if (!complaint.empty()) {
      Require(complaint.starts_with("board.conf:"), "a complaint is a line and names the file");
      numbers.insert(std::stoul(complaint.substr(11)));
    }
  }
  return numbers;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(data, data + size);
  sim::Settings settings;
  const std::set<std::size_t> refused = Read(content, settings);
  for (const int strap : settings.straps) {
    Require(strap >= -1 && strap <= 1, "a strap pin has a level or none");
  }
  const std::uint32_t busError = settings.busErrorAt.value_or(0);
  Require(busError % 4 == 0 && busError < sim::RegisterFile::kBytes, "a bus error has a register");

  std::string understood;
  std::size_t number = 0;
  for (const std::string& line : Split(content, '\n')) {
    understood += refused.contains(++number) ? "" : line + '\n';
  }
  sim::Settings again;
  Require(Read(understood, again).empty(), "a line is understood without the others");
  Require(again == settings, "a line that is refused changes nothing");
  return 0;
}
