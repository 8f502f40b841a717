#pragma once

#include <cstdio>
#include <memory>
#include <streambuf>

namespace cli {

/// Standard output that waits, for as long as this stands: what is written to std::cout and by
/// printf goes one way, in order, and nothing is lost where the reader takes no more for a while,
/// also if descriptor 1 doesn't block (O_NONBLOCK, which whoever shares the terminal may have set,
/// and which is left as it is). Where the reader is gone, writing fails as ever.
///
/// Like the streams that it stands in for: to be made and destroyed while one thread runs; flushed
/// by std::cout's flush, at the end, and at a terminal with each line.
class StandardOutput {
 public:
  /// Changes nothing if there is no memory for it.
  StandardOutput();
  /// Flushes, and puts std::cout and stdout back.
  ~StandardOutput();
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

 private:
  std::FILE* file;
  std::FILE* previousFile = nullptr;
  std::unique_ptr<std::streambuf> buffer;
  std::streambuf* previousBuffer = nullptr;
};

}  // namespace cli
