#include "platform/SystemLog.h"

#include <cstdio>
#include <string>

#include "sim/Board.h"

namespace platform {

void SystemLog(int severity, const char* text) {
  sim::Board::Get().log.Add(severity, text);
}

void SystemLogV(int severity, const char* format, std::va_list arguments) {
  std::va_list copy;
  va_copy(copy, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (length < 0) {
    return;
  }
  std::string text(static_cast<std::size_t>(length), '\0');
  (void)std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  sim::Board::Get().log.Add(severity, std::move(text));
}

}  // namespace platform
