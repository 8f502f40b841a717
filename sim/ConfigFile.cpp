#include "sim/ConfigFile.h"

#include <cstdlib>
#include <fstream>
#include <limits>
#include <stdexcept>

namespace sim {

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::uint32_t ParseNumber(const std::string& text) {
  if (text.empty()) {
    throw std::invalid_argument("a number is missing");
  }
  char* end = nullptr;
  const int base = text.starts_with("0x") || text.starts_with("0X") ? 16 : 10;
  const unsigned long long number = std::strtoull(text.c_str(), &end, base);
  if (text.front() < '0' || text.front() > '9' || end != text.c_str() + text.size() ||
      number > std::numeric_limits<std::uint32_t>::max()) {
    throw std::invalid_argument("not a number of 32 bits");
  }
  return static_cast<std::uint32_t>(number);
}

bool ReadConfigFile(
    const std::string& path,
    const std::function<void(const std::string& key, const std::string& value)>& apply,
    const std::function<void(const std::string& complaint)>& complain) {
  std::ifstream file(path);
  std::string text;
  int number = 0;
  while (std::getline(file, text)) {
    ++number;
    const std::string_view line = Trimmed(std::string_view(text).substr(0, text.find('#')));
    if (line.empty()) {
      continue;
    }
    try {
      const std::size_t equals = line.find('=');
      if (equals == std::string_view::npos) {
        throw std::invalid_argument("no '='");
      }
      apply(std::string(Trimmed(line.substr(0, equals))),
            std::string(Trimmed(line.substr(equals + 1))));
    } catch (const std::exception& error) {
      complain(path + ":" + std::to_string(number) + ": '" + std::string(line) +
               "': " + error.what());
    }
  }
  return number != 0;
}

}  // namespace sim
