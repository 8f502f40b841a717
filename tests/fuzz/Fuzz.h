#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

/// A target is called with one input after another. It keeps its files in the working directory.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the target, so that the input is kept, if `holds` is false. `rule` says what must hold.
inline void Require(bool holds, const char* rule) {
  if (!holds) {
    std::fprintf(stderr, "This must hold and doesn't: %s\n", rule);
    std::abort();
  }
}

/// The pieces of a text between separators.
inline std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (std::size_t end = 0; end != std::string::npos; start = end + 1) {
    end = text.find(separator, start);
    pieces.push_back(text.substr(start, end - start));
  }
  return pieces;
}

/// An input that is a line and the content of a file.
struct LineAndFile {
  LineAndFile(const std::uint8_t* data, std::size_t size) : file(data, data + size) {
    line = file.substr(0, file.find('\n'));
    file.erase(0, line.size() + 1);
  }
  std::string line;
  std::string file;
};

inline void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

inline std::string ReadFile(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}
