#include "sim/ConfigFile.h"

#include <fstream>
#include <stdexcept>

namespace sim {

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
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
